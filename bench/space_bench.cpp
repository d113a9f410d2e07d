// TransSpace with many stored values: add, find and exists in a space of 1,000 and of 1,000,000
// double values under the handles "h0" .. "h{N-1}".
//
//   space/add/N     adds 64 new handles (one timed iteration: the time is for all 64), then removes
//                   them untimed, so the space stays at N to N + 64 entries
//   space/find/N    find of "h{N/2}" (steady state: the same handle object every time)
//   space/exists/N  exists of "h{N/2}"
#include "benchsupport.h"
#include "transspace.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

using namespace transbench;

namespace {

constexpr int sizes[] = {1000, 1000000};
constexpr int batch = 64;

std::string handleName(int index) {
    return "h" + std::to_string(index);
}

// One filled space per size, made on first use.
std::map<int, std::unique_ptr<TransSpace>> spaces;

TransSpace& filledSpace(int n) {
    std::unique_ptr<TransSpace>& entry = spaces[n];
    if (! entry) {
        entry = std::make_unique<TransSpace>();
        for (int i = 0; i < n; ++i) {
            if (! entry->add(TransString(handleName(i).c_str()), TransValue(0.5 * i))) {
                fail("space_bench: add failed while filling");
            }
        }
    }
    return *entry;
}

void spaceAdd(benchmark::State& state, int n, std::string const& name) {
    TransSpace& space = filledSpace(n);
    std::vector<TransString> handles;
    for (int i = 0; i < batch; ++i) {
        handles.emplace_back(("x" + std::to_string(i)).c_str());
    }
    TransValue const value(1.5);
    timingStarts(name);
    for (auto _ : state) {
        auto const start = std::chrono::steady_clock::now();
        for (TransString const& handle : handles) {
            benchmark::DoNotOptimize(space.add(handle, value));
        }
        auto const stop = std::chrono::steady_clock::now();
        state.SetIterationTime(std::chrono::duration<double>(stop - start).count());
        for (TransString const& handle : handles) {
            space.remove(handle);
        }
    }
    state.counters["adds_per_iteration"] = batch;
}

void spaceFind(benchmark::State& state, int n, std::string const& name) {
    TransSpace const& space = filledSpace(n);
    TransString const handle(handleName(n / 2).c_str());
    if (space.find(handle).asDouble() != 0.5 * (n / 2)) {
        fail("space_bench: find returned the wrong value");
    }
    timingStarts(name);
    for (auto _ : state) {
        TransStatus status;
        benchmark::DoNotOptimize(&space.find(handle, status));
    }
}

void spaceExists(benchmark::State& state, int n, std::string const& name) {
    TransSpace const& space = filledSpace(n);
    TransString const handle(handleName(n / 2).c_str());
    if (! space.exists(handle)) {
        fail("space_bench: exists did not find the handle");
    }
    timingStarts(name);
    for (auto _ : state) {
        TransStatus status;
        benchmark::DoNotOptimize(space.exists(handle, status));
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    parseOptions(argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    using Function = void (*)(benchmark::State&, int, std::string const&);
    struct Family {
        char const* name;
        Function function;
    };
    for (int const n : sizes) {
        for (Family const family :
             {Family{"add", spaceAdd}, Family{"find", spaceFind}, Family{"exists", spaceExists}}) {
            std::string const name = std::string("space/") + family.name + "/" + std::to_string(n);
            auto* b = benchmark::RegisterBenchmark(
                name.c_str(), [function = family.function, n, name](benchmark::State& state) {
                    function(state, n, name);
                });
            b->Unit(benchmark::kNanosecond)->MinTime(0.3);
            if (family.function == spaceAdd) {
                b->UseManualTime();
            }
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    spaces.clear();
    return 0;
}
