// Memory of a stored dictionary value beside the bare document.
//
//   memory_bench document N   (a) heap and RSS growth for the document that addDictionary builds
//                             for N generated variables (the document alone, kept alive)
//   memory_bench value N      (b) growth for a space holding the value: TransValue(dataSource)
//                             added to a space, the temporary value destroyed, then one query
//                             (the label of variable v{N/2}) run on the stored value
//   memory_bench [N]          both, each in a process of its own, and the ratio b / a
//   memory_bench document-of FILE.json
//                             (a) for the data source of a JSON file (loadDataSourceFile)
//
// N defaults to 100,000. Growth is measured from right after the data source was generated and
// the XML libraries were brought up. "heap" is the bytes malloc has handed out and not had back
// (mallinfo2: uordblks + hblkhd); "rss" the resident set growth; "peak_rss" the highest resident
// set during the measurement less the resident set before it (-1 when the peak cannot be reset).
// With --values-from=document, (a) is the document made by buildDirectDictionary and (b) a value
// made from that document, for runs in which the library's builder is too slow. Each
// measurement prints one JSON object on a line of its own.
#include "benchsupport.h"
#include "directdictionary.h"
#include "generator.h"
#include "transdictionaryimpl.h"
#include "transspace.h"
#include "zeltdatasourcefile.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <malloc.h>
#include <string>
#include <unistd.h>
#include <xercesc/dom/DOM.hpp>

using namespace transbench;

namespace {

constexpr int defaultSize = 100000;

long long heapInUse() {
    struct mallinfo2 const info = mallinfo2();
    return static_cast<long long>(info.uordblks + info.hblkhd);
}

// A field of /proc/self/status in bytes ("VmRSS", "VmHWM"); -1 when absent.
long long statusBytes(char const* field) {
    std::ifstream status("/proc/self/status");
    std::string line;
    std::string const prefix = std::string(field) + ":";
    while (std::getline(status, line)) {
        if (line.compare(0, prefix.size(), prefix) == 0) {
            return std::atoll(line.c_str() + prefix.size()) * 1024;
        }
    }
    return -1;
}

// Resets the peak resident set to the current one; false when the kernel refuses.
bool resetPeak() {
    std::ofstream clear("/proc/self/clear_refs");
    clear << "5";
    clear.flush();
    return static_cast<bool>(clear);
}

struct Snapshot {
    long long heap = heapInUse();
    long long rss = statusBytes("VmRSS");
};

void report(char const* measurement, int n, Snapshot const& before, bool peakReset) {
    Snapshot const after;
    long long const peak = peakReset ? statusBytes("VmHWM") - before.rss : -1;
    std::printf("{\"measurement\": \"%s\", \"variables\": %d, \"values_from\": \"%s\", "
                "\"heap_bytes\": %lld, \"rss_bytes\": %lld, \"peak_rss_bytes\": %lld}\n",
                measurement, n, valueSourceName(), after.heap - before.heap, after.rss - before.rss,
                peak);
    std::fflush(stdout);
}

int measureDocument(ZELT_DataSource const& ds) {
    Snapshot const before;
    bool const peakReset = resetPeak();
    xercesc::DOMDocument* document = nullptr;
    if (options().values == ValueSource::DataSource) {
        TransDictionaryImpl builder;
        document = builder.addDictionary(ds);
    } else {
        document = buildDirectDictionary(ds);
    }
    if (document == nullptr) {
        fail("memory_bench: no document");
    }
    report("document", ds.ColumnCount(), before, peakReset);
    document->release();
    return 0;
}

int measureValue(int n) {
    TransSpace space;
    ZELT_DataSource const& ds = dataSource(n);
    TransString const handle("dictionary");
    TransString const context(
        ("/dictionary/variable[@name='" + variableName(n / 2) + "']").c_str());
    TransString const path("attribute::label");
    Snapshot const before;
    bool const peakReset = resetPeak();
    {
        TransValue const value = makeDictionaryValue(ds);
        if (! space.add(handle, value)) {
            fail("memory_bench: TransSpace::add failed");
        }
    }
    TransStatus status;
    TransString* label = space.find(handle).asString(context, path, status);
    if (status.failure() || std::strlen(label->asMBCS()) == 0) {
        fail("memory_bench: the query on the stored value failed");
    }
    TransValue::releaseString(label);
    report("value", n, before, peakReset);
    return 0;
}

// Runs this program with `arguments` and returns the heap growth it printed.
long long runChild(std::string const& arguments) {
    char self[4096];
    ssize_t const length = readlink("/proc/self/exe", self, sizeof self - 1);
    if (length <= 0) {
        fail("memory_bench: cannot find its own program file");
    }
    self[length] = '\0';
    std::string const command = std::string(self) + " " + arguments;
    FILE* child = popen(command.c_str(), "r");
    if (child == nullptr) {
        fail("memory_bench: cannot run " + command);
    }
    std::string output;
    char buffer[512];
    while (std::fgets(buffer, sizeof buffer, child) != nullptr) {
        output += buffer;
    }
    if (pclose(child) != 0) {
        fail("memory_bench: " + command + " failed");
    }
    std::fputs(output.c_str(), stdout);
    std::size_t const at = output.find("\"heap_bytes\": ");
    if (at == std::string::npos) {
        fail("memory_bench: no heap figure from " + command);
    }
    return std::atoll(output.c_str() + at + std::strlen("\"heap_bytes\": "));
}

int usage() {
    std::fprintf(stderr, "usage: memory_bench [--values-from=datasource|document] "
                         "[document N | value N | N | document-of FILE.json]\n");
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    parseOptions(argc, argv);
    std::string const mode = argc > 1 ? argv[1] : "";
    if (mode == "document-of" && argc == 3) {
        TransSpace space;
        ZELT_DataSource const source = loadDataSourceFile(argv[2]);
        return measureDocument(source);
    }
    if (mode == "document" || mode == "value") {
        int const n = argc > 2 ? std::atoi(argv[2]) : defaultSize;
        if (n <= 0 || argc > 3) {
            return usage();
        }
        if (mode == "document") {
            TransSpace space;
            return measureDocument(dataSource(n));
        }
        return measureValue(n);
    }
    if (argc > 2) {
        return usage();
    }
    int const n = argc > 1 ? std::atoi(argv[1]) : defaultSize;
    if (n <= 0) {
        return usage();
    }
    std::string const source = std::string(" --values-from=") + valueSourceName();
    long long const document = runChild("document " + std::to_string(n) + source);
    long long const value = runChild("value " + std::to_string(n) + source);
    std::printf("stored value / bare document (heap): %.2f\n",
                document > 0 ? static_cast<double>(value) / static_cast<double>(document) : 0.0);
    return 0;
}
