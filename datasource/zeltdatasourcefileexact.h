// The JSON loader's two passes on their own, for the tests that compare them. Not installed.
#ifndef ZELTDATASOURCEFILEEXACT_H
#define ZELTDATASOURCEFILEEXACT_H

#include "zeltdatasource.h"
#include "zeltexport.h"

#include <optional>
#include <string>

// What loadDataSourceJson gives, read in one pass that fills as it reads; nothing when that pass
// refuses the text (it refuses every fault, and may refuse valid text, such as a large object).
ZELT_EXPORT std::optional<ZELT_DataSource> loadDataSourceJsonQuickly(std::string const& text,
                                                                     std::string const& name);

// What loadDataSourceJson gives, read the straightforward way: the whole text into JSON values,
// then the fill. loadDataSourceJson takes this way only for a text its quick pass refuses.
ZELT_EXPORT ZELT_DataSource loadDataSourceJsonExactly(std::string const& text,
                                                      std::string const& name);

#endif // ZELTDATASOURCEFILEEXACT_H
