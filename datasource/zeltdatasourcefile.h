// Data-source files: a data source described as JSON (UTF-8), loaded into the in-memory data
// source through its fill API.
//
// Every key is optional except a variable's name; unknown keys, wrong types and values that break
// a rule are errors. Texts are converted from UTF-8 to the process code page as they are loaded.
#ifndef ZELTDATASOURCEFILE_H
#define ZELTDATASOURCEFILE_H

#include "zeltdatasource.h"
#include "zeltexport.h"

#include <stdexcept>
#include <string>

// A file that cannot be read, is not JSON, or breaks a rule of the format. what() is one line:
// "NAME: /json/pointer: what is wrong", "NAME:LINE:COLUMN: what is wrong" for a syntax error, or
// "NAME: invalid JSON: what is wrong" where the parser gives no position (a number out of range).
class ZELT_EXPORT DataSourceFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Loads the data source described by the file at path; errors name the file as given.
ZELT_EXPORT ZELT_DataSource loadDataSourceFile(std::string const& path);

// Loads the data source described by JSON text; errors name it by `name`.
ZELT_EXPORT ZELT_DataSource loadDataSourceJson(std::string const& text, std::string const& name);

#endif // ZELTDATASOURCEFILE_H
