// Pieces shared by the benchmark programs: command-line options of their own, the timing marker
// that bench/report reads, and the dictionary values and data sources they work on.
#ifndef TRANSSPACE_BENCH_BENCHSUPPORT_H
#define TRANSSPACE_BENCH_BENCHSUPPORT_H

#include "transvalue.h"
#include "zeltdatasource.h"

#include <string>

namespace transbench {

// Where the dictionary values that the benchmarks work on come from.
enum class ValueSource {
    // TransValue(dataSource): the library's own builder (the default).
    DataSource,
    // TransValue(document) of the document made by buildDirectDictionary: the same document,
    // for runs in which the library's builder is too slow to set up a large value.
    Document,
};

struct Options {
    ValueSource values = ValueSource::DataSource;
    bool markers = false; // print "timing NAME" on standard error when a timed loop starts
    bool check = true;    // run the start-up check
    bool checkOnly = false;
};

// The options the benchmark library left over; removes the ones recognised here:
//   --values-from=datasource|document   --markers   --no-check   --check-only
// Exits with a message for an unknown option.
Options parseOptions(int& argc, char** argv);

// The options in force (parseOptions stores them here).
Options const& options();

// Prints the marker for the benchmark named `name` (when markers are on) right before its timed
// loop.
void timingStarts(std::string const& name);

// The generated data source of n variables, made once per process.
ZELT_DataSource const& dataSource(int n);

// A new dictionary value of the data source, made as options().values says.
TransValue makeDictionaryValue(ZELT_DataSource const& ds);

// The text of the value source for reports: "datasource" or "document".
char const* valueSourceName();

// Stops the program with a message on standard error.
[[noreturn]] void fail(std::string const& message);

} // namespace transbench

#endif // TRANSSPACE_BENCH_BENCHSUPPORT_H
