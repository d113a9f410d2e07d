#include "benchsupport.h"

#include "directdictionary.h"
#include "generator.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <xercesc/dom/DOM.hpp>

namespace transbench {

namespace {

Options& storedOptions() {
    static Options stored;
    return stored;
}

} // namespace

Options parseOptions(int& argc, char** argv) {
    Options& result = storedOptions();
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        char const* arg = argv[i];
        if (std::strcmp(arg, "--values-from=datasource") == 0) {
            result.values = ValueSource::DataSource;
        } else if (std::strcmp(arg, "--values-from=document") == 0) {
            result.values = ValueSource::Document;
        } else if (std::strcmp(arg, "--markers") == 0) {
            result.markers = true;
        } else if (std::strcmp(arg, "--no-check") == 0) {
            result.check = false;
        } else if (std::strcmp(arg, "--check-only") == 0) {
            result.checkOnly = true;
        } else if (std::strncmp(arg, "--", 2) == 0) {
            fail(std::string("unknown option ") + arg +
                 " (own options: --values-from=datasource|document, --markers, --no-check, "
                 "--check-only)");
        } else {
            argv[kept++] = argv[i];
        }
    }
    argc = kept;
    argv[argc] = nullptr;
    return result;
}

Options const& options() {
    return storedOptions();
}

void timingStarts(std::string const& name) {
    if (options().markers) {
        std::fprintf(stderr, "timing %s\n", name.c_str());
        std::fflush(stderr);
    }
}

ZELT_DataSource const& dataSource(int n) {
    static std::map<int, std::unique_ptr<ZELT_DataSource>> cache;
    std::unique_ptr<ZELT_DataSource>& entry = cache[n];
    if (! entry) {
        entry = std::make_unique<ZELT_DataSource>(makeDataSource(n));
    }
    return *entry;
}

TransValue makeDictionaryValue(ZELT_DataSource const& ds) {
    if (options().values == ValueSource::DataSource) {
        return TransValue(ds);
    }
    xercesc::DOMDocument* document = buildDirectDictionary(ds);
    TransValue value(document);
    document->release();
    return value;
}

char const* valueSourceName() {
    return options().values == ValueSource::DataSource ? "datasource" : "document";
}

void fail(std::string const& message) {
    std::fprintf(stderr, "%s\n", message.c_str());
    std::exit(1);
}

} // namespace transbench
