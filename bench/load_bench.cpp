// Loading data-source files, beside the JSON parser merely checking the same bytes.
//
//   loadFile/N/first, loadFile/N/last  loadDataSourceFile of a survey-like file (read, parse,
//                                      fill) with "variables" the first or the last top-level key
//   accept/N                           nlohmann::json::accept of the same bytes, in memory
//
// N is the number of variables: 10,000 and 100,000. The files are written to the temporary
// directory once per process. `load_bench --write-json FILE N` only writes the file of N variables
// ("variables" last) and exits, for timing the command-line tool on it.
#include "benchsupport.h"
#include "generator.h"
#include "zeltdatasourcefile.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <unistd.h>

using namespace transbench;

namespace {

constexpr int sizes[] = {10000, 100000};

void writeFile(std::string const& path, std::string const& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
    if (! out.flush()) {
        fail("cannot write " + path);
    }
}

// The file of n variables, written once; removed at exit.
std::string const& jsonFile(int n, bool variablesFirst) {
    static std::map<std::pair<int, bool>, std::string> paths;
    std::string& path = paths[{n, variablesFirst}];
    if (path.empty()) {
        char const* directory = std::getenv("TMPDIR");
        path = std::string(directory != nullptr ? directory : "/tmp") + "/load_bench_" +
               std::to_string(::getpid()) + "_" + std::to_string(n) +
               (variablesFirst ? "_first" : "_last") + ".json";
        writeFile(path, dataSourceJson(n, variablesFirst));
        std::atexit([] {
            for (auto const& entry : paths) {
                std::remove(entry.second.c_str());
            }
        });
    }
    return path;
}

void loadFile(benchmark::State& state, int n, bool variablesFirst, std::string const& name) {
    std::string const& path = jsonFile(n, variablesFirst);
    // One load before the timing, so that neither key order pays alone for the heap's first growth
    // (the order that runs first in the process would).
    loadDataSourceFile(path);
    timingStarts(name);
    for (auto _ : state) {
        ZELT_DataSource source = loadDataSourceFile(path);
        benchmark::DoNotOptimize(source.ColumnCount());
        state.PauseTiming();
        { ZELT_DataSource dropped = std::move(source); }
        state.ResumeTiming();
    }
}

void accept(benchmark::State& state, int n, std::string const& name) {
    std::string const text = dataSourceJson(n, false);
    timingStarts(name);
    for (auto _ : state) {
        benchmark::DoNotOptimize(nlohmann::json::accept(text));
    }
}

void setUp(benchmark::internal::Benchmark* b) {
    b->Unit(benchmark::kMillisecond)->MinTime(0.5);
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "--write-json") == 0) {
        writeFile(argv[2], dataSourceJson(std::atoi(argv[3]), false));
        return 0;
    }
    benchmark::Initialize(&argc, argv);
    parseOptions(argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    for (int const n : sizes) {
        for (bool const first : {true, false}) {
            std::string const name = "loadFile/" + std::to_string(n) + (first ? "/first" : "/last");
            setUp(benchmark::RegisterBenchmark(name.c_str(), [n, first, name](benchmark::State& s) {
                loadFile(s, n, first, name);
            }));
        }
        std::string const name = "accept/" + std::to_string(n);
        setUp(benchmark::RegisterBenchmark(name.c_str(),
                                           [n, name](benchmark::State& s) { accept(s, n, name); }));
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
