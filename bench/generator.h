// Synthetic data sources for the benchmarks and the tests: dictionaries of any size with every kind
// of content the builder writes.
//
// makeDataSource(n) has the variables "v0" .. "v{n-1}", all numeric. Each has a label, print and
// write formats, an alignment, a measurement level, a display width and one discrete missing value;
// every second one (even index) has three value labels; every tenth one (index divisible by ten)
// has two custom attributes. There are n / 100 variable sets "set0" .. of ten members each, spread
// over the whole range, and one multiple-response set "$mrset" of ten dichotomies. The header has a
// fixed timestamp and a row count. All numbers are integers or halves, so their text is exact in
// any notation.
#ifndef TRANSSPACE_BENCH_GENERATOR_H
#define TRANSSPACE_BENCH_GENERATOR_H

#include "zeltdatasource.h"

#include <string>

namespace transbench {

// Timestamp and row count of every generated data source.
constexpr double generatedTimestamp = 1795345509.0;
constexpr long long generatedRowCount = 1000;

// Name of variable `index`: "v" followed by the decimal index.
std::string variableName(int index);

// True when variable `index` of a generated data source has value labels.
constexpr bool hasValueLabels(int index) noexcept {
    return index % 2 == 0;
}

// True when variable `index` of a generated data source has custom attributes.
constexpr bool hasAttributes(int index) noexcept {
    return index % 10 == 0;
}

// A data source of `variables` variables (0 or more) as described above.
ZELT_DataSource makeDataSource(int variables);

// The JSON text of a survey-like data source of `variables` variables: labels of 20 to 60
// characters, a third of the variables with 5 to 10 value labels, every fifth a string variable,
// missing values on every fourth, attributes on every tenth, a variable set per 100 variables and a
// multiple-response set. The "variables" key comes first or last among the top-level keys.
std::string dataSourceJson(int variables, bool variablesFirst);

} // namespace transbench

#endif // TRANSSPACE_BENCH_GENERATOR_H
