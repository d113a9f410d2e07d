#include "zeltdatasourcefile.h"
#include "zeltdatasourcefileexact.h"

#include "zeltplatform.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <sys/stat.h>
#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>
#include <unicode/unistr.h>

namespace {

using Json = nlohmann::ordered_json; // keeps the file's order of attribute entries

// ------------------------------------------------------------------------------------------------
// Errors with the JSON location of the value at fault

// A key as a token of a JSON pointer.
std::string pointerToken(std::string const& key) {
    std::string escaped;
    for (char c : key) {
        if (c == '~') {
            escaped += "~0";
        } else if (c == '/') {
            escaped += "~1";
        } else {
            escaped += c;
        }
    }
    return escaped;
}

// Thrown instead of an error by the quick pass (see loadDataSourceJson), which leaves every message
// to the exact pass.
struct Refused {};

class Location {
public:
    // The location named `name` (which must outlive it) at the pointer; a quiet location builds no
    // pointer and refuses without a message.
    Location(std::string const& name, std::string pointer, bool quiet = false)
        : name_(&name), pointer_(std::move(pointer)), quiet_(quiet) {}

    Location operator/(std::string const& key) const {
        return quiet_ ? *this : Location(*name_, pointer_ + "/" + pointerToken(key));
    }
    Location operator/(std::size_t index) const {
        return quiet_ ? *this : *this / std::to_string(index);
    }

    [[noreturn]] void fail(std::string const& what) const {
        if (quiet_) {
            throw Refused{};
        }
        throw DataSourceFileError(*name_ + ": " + (pointer_.empty() ? "/" : pointer_) + ": " +
                                  what);
    }

    bool quiet() const noexcept { return quiet_; }

private:
    std::string const* name_;
    std::string pointer_;
    bool quiet_;
};

char const* typeName(Json const& value) {
    switch (value.type()) {
    case Json::value_t::null:
        return "null";
    case Json::value_t::boolean:
        return "a boolean";
    case Json::value_t::string:
        return "a string";
    case Json::value_t::array:
        return "an array";
    case Json::value_t::object:
        return "an object";
    case Json::value_t::number_float: {
        double const number = value.get<double>();
        return std::trunc(number) == number ? "a number" : "a number with a fraction";
    }
    default:
        return "a number";
    }
}

void expect(bool ok, Json const& value, Location const& at, char const* wanted) {
    if (! ok) {
        at.fail(std::string("expected ") + wanted + ", found " + typeName(value));
    }
}

// Checks that an object has only the given keys.
void onlyKeys(Json const& object, Location const& at, std::initializer_list<char const*> keys) {
    expect(object.is_object(), object, at, "an object");
    for (auto const& item : object.items()) {
        bool const known = std::any_of(keys.begin(), keys.end(),
                                       [&](char const* key) { return item.key() == key; });
        if (! known) {
            (at / item.key()).fail("unknown key \"" + item.key() + "\"");
        }
    }
}

long long integer(Json const& value, Location const& at, long long low, long long high) {
    long long number = 0;
    if (value.is_number_float()) {
        // A number written with an exponent, such as 1e3, is an integer when its value is whole.
        double const whole = value.get<double>();
        expect(std::isfinite(whole) && std::trunc(whole) == whole, value, at, "an integer");
        if (whole < -0x1p63 || whole >= 0x1p63) {
            at.fail("integer out of range");
        }
        number = static_cast<long long>(whole);
    } else if (value.is_number_unsigned()) {
        auto const unsignedValue = value.get<std::uint64_t>();
        if (unsignedValue > static_cast<std::uint64_t>(std::numeric_limits<long long>::max())) {
            at.fail("integer out of range");
        }
        number = static_cast<long long>(unsignedValue);
    } else {
        expect(value.is_number_integer(), value, at, "an integer");
        number = value.get<long long>();
    }
    if (number < low || number > high) {
        at.fail("integer out of range " + std::to_string(low) + " to " + std::to_string(high));
    }
    return number;
}

int integer32(Json const& value, Location const& at) {
    return static_cast<int>(
        integer(value, at, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

double number(Json const& value, Location const& at) {
    expect(value.is_number(), value, at, "a number");
    return value.get<double>();
}

bool boolean(Json const& value, Location const& at) {
    expect(value.is_boolean(), value, at, "true or false");
    return value.get<bool>();
}

// ------------------------------------------------------------------------------------------------
// Text in the process code page

class CodePage {
public:
    // The process code page; a name the Unicode library does not know is an error at `at`.
    explicit CodePage(Location const& at) {
        name_ = qUTF8mode() != 0 ? "UTF-8" : ZELTMBDefaultCodePage();
        utf8_ = ucnv_compareNames(name_.c_str(), "UTF-8") == 0;
        if (! utf8_) {
            UErrorCode error = U_ZERO_ERROR;
            converter_.adoptInstead(ucnv_open(name_.c_str(), &error));
            if (U_FAILURE(error)) {
                at.fail("unknown code page \"" + name_ + "\"");
            }
            // Refuse characters the code page cannot hold instead of substituting them.
            ucnv_setFromUCallBack(converter_.getAlias(), UCNV_FROM_U_CALLBACK_STOP, nullptr,
                                  nullptr, nullptr, &error);
        }
    }

    std::string const& name() const noexcept { return name_; }
    bool isUTF8() const noexcept { return utf8_; }

    // The UTF-8 text in the code page; false when it cannot be represented.
    bool convert(std::string const& utf8, std::string& result) const {
        if (utf8_ || utf8.empty()) {
            result = utf8;
            return true;
        }
        icu::UnicodeString const text = icu::UnicodeString::fromUTF8(utf8);
        UErrorCode error = U_ZERO_ERROR;
        int32_t const needed = ucnv_fromUChars(converter_.getAlias(), nullptr, 0, text.getBuffer(),
                                               text.length(), &error);
        if (error != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(error)) {
            return false;
        }
        result.assign(static_cast<std::size_t>(needed), '\0');
        error = U_ZERO_ERROR;
        ucnv_fromUChars(converter_.getAlias(), result.data(), needed, text.getBuffer(),
                        text.length(), &error);
        return U_SUCCESS(error);
    }

private:
    std::string name_;
    bool utf8_ = false;
    icu::LocalUConverterPointer converter_;
};

std::string text(Json const& value, Location const& at, CodePage const& codePage) {
    expect(value.is_string(), value, at, "a string");
    std::string result;
    if (! codePage.convert(value.get_ref<std::string const&>(), result)) {
        at.fail("text cannot be written in the code page " + codePage.name());
    }
    return result;
}

// ------------------------------------------------------------------------------------------------
// Formats

struct FormatName {
    char const* name;
    int code;
};

constexpr FormatName formatNames[] = {
    {"A", 1},        {"AHEX", 2},   {"COMMA", 3},    {"DOLLAR", 4}, {"F", 5},      {"IB", 6},
    {"IBHEX", 7},    {"P", 8},      {"PIB", 9},      {"PK", 10},    {"RB", 11},    {"RBHEX", 12},
    {"Z", 15},       {"N", 16},     {"E", 17},       {"DATE", 20},  {"TIME", 21},  {"DATETIME", 22},
    {"ADATE", 23},   {"JDATE", 24}, {"DTIME", 25},   {"WKDAY", 26}, {"MONTH", 27}, {"MOYR", 28},
    {"QYR", 29},     {"WKYR", 30},  {"PERCENT", 31}, {"DOT", 32},   {"CCA", 33},   {"CCB", 34},
    {"CCC", 35},     {"CCD", 36},   {"CCE", 37},     {"EDATE", 38}, {"SDATE", 39}, {"G", 40},
    {"LNUMBER", 41}, {"LDATE", 42}, {"LTIME", 43},   {"LCA", 44},   {"LCB", 45},   {"LCC", 46},
    {"LCD", 47},     {"LCE", 48},   {"LCF", 49},     {"LCG", 50},   {"LCH", 51},   {"LCI", 52},
    {"LCJ", 53},     {"MTIME", 85}, {"YMDHMS", 86},
};

struct Format {
    ZELT_Variable::FormatType type;
    int width;
    int decimals;
};

// Parses "F8.2", "A12", "DATE11": a format name (any letter case), the width, and optionally a
// point and the decimals. Returns what is wrong, or the empty text.
std::string parseFormatText(std::string const& text, Format& format) {
    std::size_t position = 0;
    while (position < text.size() && std::isalpha(static_cast<unsigned char>(text[position]))) {
        ++position;
    }
    std::string name = text.substr(0, position);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    auto const found = std::find_if(std::begin(formatNames), std::end(formatNames),
                                    [&](FormatName const& entry) { return name == entry.name; });
    if (found == std::end(formatNames)) {
        return "unknown format name \"" + text + "\"";
    }
    auto digits = [&](int& value) {
        std::size_t const start = position;
        long long number = 0;
        while (position < text.size() && std::isdigit(static_cast<unsigned char>(text[position]))) {
            number = number * 10 + (text[position] - '0');
            if (number > std::numeric_limits<int>::max()) {
                return false;
            }
            ++position;
        }
        value = static_cast<int>(number);
        return position > start;
    };
    format.type = static_cast<ZELT_Variable::FormatType>(found->code);
    format.decimals = 0;
    if (! digits(format.width)) {
        return "format \"" + text + "\" needs a width (up to 2147483647) after the name";
    }
    if (position < text.size() && text[position] == '.') {
        ++position;
        if (! digits(format.decimals)) {
            return "format \"" + text + "\" needs the decimals (up to 2147483647) after the point";
        }
    }
    if (position != text.size()) {
        return "format \"" + text +
               "\" is not a name, a width and optionally \".\" and the decimals";
    }
    return std::string();
}

Format format(Json const& value, Location const& at) {
    Format result{};
    if (value.is_string()) {
        std::string const formatText = value.get<std::string>();
        std::string const fault = parseFormatText(formatText, result);
        if (! fault.empty()) {
            at.fail(fault);
        }
        return result;
    }
    expect(value.is_object(), value, at, "a format text such as \"F8.2\" or an object");
    onlyKeys(value, at, {"type", "width", "decimals"});
    for (char const* key : {"type", "width"}) {
        if (! value.contains(key)) {
            at.fail(std::string("missing key \"") + key + "\"");
        }
    }
    result.type = static_cast<ZELT_Variable::FormatType>(integer32(value["type"], at / "type"));
    result.width = integer32(value["width"], at / "width");
    result.decimals =
        value.contains("decimals") ? integer32(value["decimals"], at / "decimals") : 0;
    return result;
}

// ------------------------------------------------------------------------------------------------
// Variables

int code(Json const& value, Location const& at, std::initializer_list<char const*> names) {
    if (value.is_string()) {
        std::string const word = value.get<std::string>();
        int index = 0;
        for (char const* name : names) {
            if (word == name) {
                return index;
            }
            ++index;
        }
        std::string list;
        for (char const* name : names) {
            list += list.empty() ? "" : ", ";
            list += std::string("\"") + name + "\"";
        }
        at.fail("unknown value \"" + word + "\" (expected " + list + " or an integer code)");
    }
    return integer32(value, at);
}

double missingBound(Json const& value, Location const& at) {
    if (value.is_string()) {
        std::string const word = value.get<std::string>();
        if (word == "lowest") {
            return ZELT_Variable::missingLowest;
        }
        if (word == "highest") {
            return ZELT_Variable::missingHighest;
        }
        at.fail("unknown range bound \"" + word +
                "\" (expected a number, \"lowest\" or \"highest\")");
    }
    return number(value, at);
}

void missingValues(ZELT_Variable& variable, Json const& value, Location const& at,
                   CodePage const& codePage) {
    bool const numeric = variable.GetType() == 0;
    if (value.is_object()) {
        onlyKeys(value, at, {"range", "value"});
        if (! numeric) {
            at.fail("a range of missing values needs a numeric variable");
        }
        if (! value.contains("range")) {
            at.fail("missing key \"range\"");
        }
        Json const& range = value["range"];
        expect(range.is_array() && range.size() == 2, range, at / "range",
               "an array of two bounds");
        double const low = missingBound(range[0], at / "range" / 0);
        double const high = missingBound(range[1], at / "range" / 1);
        try {
            if (value.contains("value")) {
                variable.setMissingRange(low, high, number(value["value"], at / "value"));
            } else {
                variable.setMissingRange(low, high);
            }
        } catch (std::invalid_argument const& error) {
            (at / "range").fail(error.what());
        }
        return;
    }
    expect(value.is_array(), value, at, "an array of up to 3 values or a range object");
    if (value.size() > 3) {
        at.fail("more than 3 missing values");
    }
    try {
        if (numeric) {
            std::vector<double> numbers;
            for (std::size_t i = 0; i < value.size(); ++i) {
                numbers.push_back(number(value[i], at / i));
            }
            variable.setMissingValues(numbers);
        } else {
            std::vector<std::string> texts;
            for (std::size_t i = 0; i < value.size(); ++i) {
                texts.push_back(text(value[i], at / i, codePage));
                if (texts.back().size() > 8) {
                    (at / i).fail("a string missing value has at most 8 bytes");
                }
            }
            variable.setMissingStrings(texts);
        }
    } catch (std::invalid_argument const& error) {
        at.fail(error.what());
    }
}

void valueLabels(ZELT_Variable& variable, Json const& value, Location const& at,
                 CodePage const& codePage) {
    expect(value.is_array(), value, at, "an array of [value, label] pairs");
    bool const numeric = variable.GetType() == 0;
    for (std::size_t i = 0; i < value.size(); ++i) {
        Json const& pair = value[i];
        Location const where = at / i;
        expect(pair.is_array() && pair.size() == 2, pair, where, "a [value, label] pair");
        std::string label = text(pair[1], where / 1, codePage);
        if (numeric) {
            variable.addValueLabel(number(pair[0], where / 0), std::move(label));
        } else {
            variable.addValueLabel(text(pair[0], where / 0, codePage), std::move(label));
        }
    }
}

DatasourceAttributes attributes(Json const& value, Location const& at, CodePage const& codePage) {
    onlyKeys(value, at, {"version", "entries"});
    DatasourceAttributes result;
    if (value.contains("version")) {
        result.setVersion(integer(value["version"], at / "version",
                                  std::numeric_limits<long long>::min(),
                                  std::numeric_limits<long long>::max()));
    }
    if (value.contains("entries")) {
        Json const& entries = value["entries"];
        Location const where = at / "entries";
        expect(entries.is_object(), entries, where, "an object");
        for (auto const& entry : entries.items()) {
            Location const item = where / entry.key();
            std::vector<std::string> texts;
            if (entry.value().is_array()) {
                for (std::size_t i = 0; i < entry.value().size(); ++i) {
                    texts.push_back(text(entry.value()[i], item / i, codePage));
                }
            } else {
                texts.push_back(text(entry.value(), item, codePage));
            }
            std::string name;
            if (! codePage.convert(entry.key(), name)) {
                item.fail("text cannot be written in the code page " + codePage.name());
            }
            try {
                result.addAttribute(std::move(name), std::move(texts));
            } catch (std::invalid_argument const& error) {
                item.fail(error.what());
            }
        }
    }
    return result;
}

ZELT_Variable variable(Json const& value, Location const& at, CodePage const& codePage) {
    onlyKeys(value, at,
             {"name", "label", "type", "alignment", "measurementLevel", "displayWidth", "format",
              "writeFormat", "missingValues", "valueLabels", "attributes"});
    if (! value.contains("name")) {
        at.fail("missing key \"name\"");
    }
    std::string name = text(value["name"], at / "name", codePage);
    if (name.empty()) {
        (at / "name").fail("a variable name must not be empty");
    }
    int const type = value.contains("type")
                         ? static_cast<int>(integer(value["type"], at / "type", 0,
                                                    ZELT_Variable::maxStringWidth))
                         : 0;
    ZELT_Variable result(std::move(name), type);
    if (value.contains("label")) {
        result.setLabel(text(value["label"], at / "label", codePage));
    }
    if (value.contains("alignment")) {
        result.setAlignment(
            code(value["alignment"], at / "alignment", {"left", "right", "center"}));
    }
    if (value.contains("measurementLevel")) {
        result.setMeasurementLevel(code(value["measurementLevel"], at / "measurementLevel",
                                        {"unknown", "nominal", "ordinal", "scale"}));
    }
    if (value.contains("displayWidth")) {
        result.setDisplayWidth(static_cast<short>(
            integer(value["displayWidth"], at / "displayWidth", std::numeric_limits<short>::min(),
                    std::numeric_limits<short>::max())));
    }
    if (value.contains("format")) {
        Format const print = format(value["format"], at / "format");
        result.setFormat(print.type, print.width, print.decimals);
        result.setWriteFormat(print.type, print.width, print.decimals);
    }
    if (value.contains("writeFormat")) {
        Format const write = format(value["writeFormat"], at / "writeFormat");
        result.setWriteFormat(write.type, write.width, write.decimals);
    }
    if (value.contains("missingValues")) {
        missingValues(result, value["missingValues"], at / "missingValues", codePage);
    }
    if (value.contains("valueLabels")) {
        valueLabels(result, value["valueLabels"], at / "valueLabels", codePage);
    }
    if (value.contains("attributes")) {
        result.setAttributes(attributes(value["attributes"], at / "attributes", codePage));
    }
    return result;
}

// ------------------------------------------------------------------------------------------------
// Sets and extensions

std::vector<std::string> memberNames(Json const& value, Location const& at,
                                     CodePage const& codePage) {
    expect(value.is_array(), value, at, "an array of variable names");
    std::vector<std::string> names;
    for (std::size_t i = 0; i < value.size(); ++i) {
        names.push_back(text(value[i], at / i, codePage));
    }
    return names;
}

std::string setName(Json const& value, Location const& at, CodePage const& codePage) {
    std::string name = text(value, at, codePage);
    if (name.empty()) {
        at.fail("a set name must not be empty");
    }
    return name;
}

VariableSet variableSet(Json const& value, Location const& at, CodePage const& codePage) {
    onlyKeys(value, at, {"name", "variables"});
    if (! value.contains("name")) {
        at.fail("missing key \"name\"");
    }
    VariableSet set(setName(value["name"], at / "name", codePage));
    if (value.contains("variables")) {
        set.setVariableNames(memberNames(value["variables"], at / "variables", codePage));
    }
    return set;
}

VariableSet multipleResponseSet(Json const& value, Location const& at, CodePage const& codePage) {
    onlyKeys(value, at,
             {"name", "type", "countedValue", "useCategoryLabels", "labelFromVariable", "label",
              "variables"});
    if (! value.contains("name")) {
        at.fail("missing key \"name\"");
    }
    VariableSet set(setName(value["name"], at / "name", codePage));
    if (value.contains("type")) {
        Json const& type = value["type"];
        if (type.is_string()) {
            std::string const word = type.get<std::string>();
            if (word == "dichotomy") {
                set.setType(VariableSet::typeDichotomy);
            } else if (word == "categories") {
                set.setType(VariableSet::typeCategories);
            } else {
                (at / "type")
                    .fail("unknown set type \"" + word +
                          "\" (expected \"dichotomy\", \"categories\" or an integer)");
            }
        } else {
            set.setType(integer32(type, at / "type"));
        }
    }
    if (value.contains("countedValue")) {
        set.setCountedValue(text(value["countedValue"], at / "countedValue", codePage));
    }
    if (value.contains("useCategoryLabels")) {
        set.setUseVariableCategoryLabels(
            boolean(value["useCategoryLabels"], at / "useCategoryLabels"));
    }
    if (value.contains("labelFromVariable")) {
        set.setLabelSetByVariable(boolean(value["labelFromVariable"], at / "labelFromVariable"));
    }
    if (value.contains("label")) {
        set.setLabel(text(value["label"], at / "label", codePage));
    }
    if (value.contains("variables")) {
        set.setVariableNames(memberNames(value["variables"], at / "variables", codePage));
    }
    return set;
}

int hexDigit(char c) noexcept {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

void extension(ZELT_DataSource& source, Json const& value, Location const& at) {
    onlyKeys(value, at, {"code", "type", "elementSize", "data"});
    if (! value.contains("code")) {
        at.fail("missing key \"code\"");
    }
    int const extensionCode = integer32(value["code"], at / "code");
    int const type = value.contains("type") ? integer32(value["type"], at / "type") : extensionCode;
    int const elementSize = value.contains("elementSize")
                                ? static_cast<int>(integer(value["elementSize"], at / "elementSize",
                                                           1, std::numeric_limits<int>::max()))
                                : 1;
    std::vector<unsigned char> bytes;
    if (value.contains("data")) {
        Json const& data = value["data"];
        expect(data.is_string(), data, at / "data", "hexadecimal text");
        std::string const hex = data.get<std::string>();
        if (hex.size() % 2 != 0) {
            (at / "data").fail("hexadecimal data of odd length");
        }
        bytes.reserve(hex.size() / 2);
        for (std::size_t i = 0; i < hex.size(); i += 2) {
            int const high = hexDigit(hex[i]);
            int const low = hexDigit(hex[i + 1]);
            if (high < 0 || low < 0) {
                (at / "data")
                    .fail("not hexadecimal at character " + std::to_string(i + (high < 0 ? 1 : 2)));
            }
            bytes.push_back(static_cast<unsigned char>(high * 16 + low));
        }
        if (bytes.size() % static_cast<std::size_t>(elementSize) != 0) {
            (at / "data")
                .fail(std::to_string(bytes.size()) +
                      " bytes are not a whole number of elements of " +
                      std::to_string(elementSize) + " bytes");
        }
    }
    try {
        source.addExtension(extensionCode, type, elementSize, std::move(bytes));
    } catch (std::invalid_argument const& error) {
        (at / "code").fail(error.what());
    }
}

// ------------------------------------------------------------------------------------------------
// The whole file

constexpr std::initializer_list<char const*> topLevelKeys = {
    "timestamp",  "rowCount",     "weightVariable",
    "variables",  "variableSets", "multipleResponseSets",
    "attributes", "extensions"};

void addHeader(ZELT_DataSource& source, Json const& root, Location const& at) {
    if (root.contains("timestamp")) {
        source.setTimestamp(number(root["timestamp"], at / "timestamp"));
    }
    if (root.contains("rowCount")) {
        source.setRowCount(integer(root["rowCount"], at / "rowCount",
                                   std::numeric_limits<long long>::min(),
                                   std::numeric_limits<long long>::max()));
    }
}

void addVariable(ZELT_DataSource& source, Json const& value, Location const& at,
                 CodePage const& codePage) {
    ZELT_Variable parsed = variable(value, at, codePage);
    if (at.quiet()) {
        // The source refuses a name it holds already; the exact pass says so in its own words.
        try {
            source.addVariable(std::move(parsed));
        } catch (std::invalid_argument const&) {
            throw Refused{};
        }
        return;
    }
    if (source.FindVarIndex(parsed.GetName(), 0) != -1) {
        (at / "name")
            .fail(std::string("duplicate variable name \"") + value["name"].get<std::string>() +
                  "\"");
    }
    source.addVariable(std::move(parsed));
}

// What follows the variables: the weight, the sets, the attributes and the extensions.
void addTrailer(ZELT_DataSource& source, Json const& root, Location const& at,
                CodePage const& codePage) {
    if (root.contains("weightVariable")) {
        Location const where = at / "weightVariable";
        std::string const name = text(root["weightVariable"], where, codePage);
        if (source.FindVarIndex(name.c_str(), 0) == -1) {
            where.fail("no variable named \"" + root["weightVariable"].get<std::string>() + "\"");
        }
        source.setWeightVariable(name);
    }
    if (root.contains("variableSets")) {
        Json const& sets = root["variableSets"];
        expect(sets.is_array(), sets, at / "variableSets", "an array of sets");
        for (std::size_t i = 0; i < sets.size(); ++i) {
            source.addVariableSet(variableSet(sets[i], at / "variableSets" / i, codePage));
        }
    }
    if (root.contains("multipleResponseSets")) {
        Json const& sets = root["multipleResponseSets"];
        expect(sets.is_array(), sets, at / "multipleResponseSets", "an array of sets");
        for (std::size_t i = 0; i < sets.size(); ++i) {
            source.addMultipleResponseSet(
                multipleResponseSet(sets[i], at / "multipleResponseSets" / i, codePage));
        }
    }
    if (root.contains("attributes")) {
        source.setAttributes(attributes(root["attributes"], at / "attributes", codePage));
    }
    if (root.contains("extensions")) {
        Json const& extensions = root["extensions"];
        expect(extensions.is_array(), extensions, at / "extensions", "an array of records");
        for (std::size_t i = 0; i < extensions.size(); ++i) {
            extension(source, extensions[i], at / "extensions" / i);
        }
    }
}

ZELT_DataSource dataSource(Json const& root, Location const& at) {
    onlyKeys(root, at, topLevelKeys);
    CodePage const codePage(at);
    ZELT_DataSource source;
    addHeader(source, root, at);
    if (root.contains("variables")) {
        Json const& variables = root["variables"];
        expect(variables.is_array(), variables, at / "variables", "an array of variables");
        source.reserveVariables(variables.size());
        for (std::size_t i = 0; i < variables.size(); ++i) {
            addVariable(source, variables[i], at / "variables" / i, codePage);
        }
    }
    addTrailer(source, root, at, codePage);
    return source;
}

// The quick pass: one reading of the text that fills the data source as it goes. The elements of
// the top-level "variables" array are read straight into a draft of their fields (texts, the
// scalars, the value labels as pairs) and filled as soon as each ends; the other values (the
// top level, a variable's formats, missing values and attributes) are built as JSON values from
// the inside out, so that a finished value is moved into its parent once and never copied.
// Whatever is amiss (a syntax error, a duplicate or unknown key, a value of the wrong kind, a value
// the fill refuses) stops it with Refused.
class QuickFill : public nlohmann::json_sax<Json> {
public:
    QuickFill(ZELT_DataSource& source, CodePage const& codePage, Location const& at)
        : source_(source), codePage_(codePage), at_(at) {}

    // The top-level object without its "variables".
    Json& root() noexcept { return root_; }

    bool null() override { return value(Json()); }
    bool boolean(bool flag) override { return value(Json(flag)); }
    bool number_integer(number_integer_t number) override { return value(Json(number)); }
    bool number_unsigned(number_unsigned_t number) override { return value(Json(number)); }
    bool number_float(number_float_t number, string_t const&) override {
        return value(Json(number));
    }
    // Texts are copied, not moved, out of the parser's buffer, which keeps its room for the next.
    bool string(string_t& text) override {
        // A variable's name and label and a value label's text are kept as they come.
        if (! open_.empty()) {
            Open& top = open_.back();
            if (top.kind == Kind::variable && (key_ == Field::name || key_ == Field::label)) {
                (key_ == Field::name ? draft_.name : draft_.label) = text;
                return true;
            }
            if (top.kind == Kind::pair && top.count == 1) {
                ++top.count;
                draft_.labels.back().second = text;
                return true;
            }
        }
        return value(Json(text));
    }
    bool binary(binary_t&) override { throw Refused{}; }
    bool start_object(std::size_t) override {
        if (! open_.empty() && open_.back().kind == Kind::variables) {
            draft_.clear();
            open_.push_back(Open{Kind::variable, 0, Json()});
            return true;
        }
        refuseInPair();
        open_.push_back(Open{Kind::generic, 0, Json(Json::value_t::object)});
        // Members go straight into the object; room for the format's objects is made at once, so
        // that a finished member is not copied when the object grows.
        open_.back().value.get_ref<Json::object_t&>().reserve(16);
        return true;
    }
    bool start_array(std::size_t) override {
        if (open_.empty()) {
            throw Refused{};
        }
        Open& top = open_.back();
        if (top.kind == Kind::variable && key_ == Field::valueLabels) {
            open_.push_back(Open{Kind::labels, 0, Json()});
            return true;
        }
        if (top.kind == Kind::labels) {
            draft_.labels.emplace_back();
            open_.push_back(Open{Kind::pair, 0, Json()});
            return true;
        }
        refuseInPair();
        // The root's "variables" array is filled from, not kept.
        bool const variables =
            open_.size() == 1 && top.value.get_ref<Json::object_t&>().back().first == "variables";
        open_.push_back(Open{variables ? Kind::variables : Kind::generic, 0,
                             variables ? Json() : Json(Json::value_t::array)});
        return true;
    }
    bool end_object() override { return end(); }
    bool end_array() override { return end(); }
    bool key(string_t& key) override {
        Open& top = open_.back();
        if (top.kind == Kind::variable) {
            key_ = fieldOf(key);
            auto const bit = 1U << static_cast<unsigned>(key_);
            if (key_ == Field::unknown || (draft_.seen & bit) != 0) {
                throw Refused{};
            }
            draft_.seen |= bit;
            return true;
        }
        auto& members = top.value.get_ref<Json::object_t&>();
        // Keys are compared one by one: the format's objects are small, and a large one is left to
        // the exact pass.
        if (members.size() >= maxQuickKeys) {
            throw Refused{};
        }
        for (auto const& member : members) {
            if (member.first == key) {
                throw Refused{};
            }
        }
        if (open_.size() == 1 && key == "variables" && sawVariables_) {
            throw Refused{};
        }
        sawVariables_ = sawVariables_ || (open_.size() == 1 && key == "variables");
        members.emplace_back(key, Json());
        return true;
    }
    bool parse_error(std::size_t, std::string const&, nlohmann::detail::exception const&) override {
        throw Refused{};
    }

private:
    static constexpr std::size_t maxQuickKeys = 256;

    // The keys of a variable, in the order in which they are filled.
    enum class Field : unsigned {
        name,
        type,
        label,
        alignment,
        measurementLevel,
        displayWidth,
        format,
        writeFormat,
        missingValues,
        valueLabels,
        attributes,
        unknown
    };
    static constexpr char const* fieldNames[] = {
        "name",   "type",        "label",         "alignment",   "measurementLevel", "displayWidth",
        "format", "writeFormat", "missingValues", "valueLabels", "attributes"};

    static Field fieldOf(std::string const& key) noexcept {
        for (unsigned i = 0; i < std::size(fieldNames); ++i) {
            if (key == fieldNames[i]) {
                return static_cast<Field>(i);
            }
        }
        return Field::unknown;
    }

    // One variable's fields as read: texts in UTF-8, the other keys' values (null when absent,
    // which the bits of `seen` tell apart from a null in the text).
    struct Draft {
        unsigned seen = 0;
        std::string name;
        std::string label;
        Json values[std::size(fieldNames)];
        std::vector<std::pair<Json, std::string>> labels; // value and label text

        bool has(Field field) const noexcept {
            return (seen & (1U << static_cast<unsigned>(field))) != 0;
        }
        Json const& operator[](Field field) const noexcept {
            return values[static_cast<unsigned>(field)];
        }
        void clear() noexcept {
            seen = 0;
            labels.clear();
        }
    };

    enum class Kind {
        generic,   // a value built as JSON
        variables, // the root's "variables" array
        variable,  // one of its elements, read into the draft
        labels,    // the variable's "valueLabels" array
        pair,      // one [value, label] pair of it
    };

    struct Open {
        Kind kind;
        int count; // the values a pair has had
        Json value;
    };

    // A pair holds a number or a text, then a text; no array or object.
    void refuseInPair() const {
        if (! open_.empty() && open_.back().kind == Kind::pair) {
            throw Refused{};
        }
    }

    bool end() {
        Open finished = std::move(open_.back());
        open_.pop_back();
        switch (finished.kind) {
        case Kind::variables:
            // The placeholder of "variables" goes: the root keeps only what is filled at the end.
            open_.back().value.get_ref<Json::object_t&>().pop_back();
            return true;
        case Kind::variable:
            addVariable();
            return true;
        case Kind::labels:
            return true;
        case Kind::pair:
            if (finished.count != 2) {
                throw Refused{};
            }
            return true;
        case Kind::generic:
            break;
        }
        return value(std::move(finished.value));
    }

    bool value(Json&& finished) {
        if (open_.empty()) {
            if (! finished.is_object()) {
                throw Refused{};
            }
            root_ = std::move(finished);
            return true;
        }
        Open& parent = open_.back();
        switch (parent.kind) {
        case Kind::generic:
            if (parent.value.is_object()) {
                parent.value.get_ref<Json::object_t&>().back().second = std::move(finished);
            } else {
                parent.value.get_ref<Json::array_t&>().push_back(std::move(finished));
            }
            return true;
        case Kind::variable:
            // Names, labels and value labels other than texts and arrays are left to the exact
            // pass.
            if (key_ == Field::name || key_ == Field::label || key_ == Field::valueLabels) {
                throw Refused{};
            }
            draft_.values[static_cast<unsigned>(key_)] = std::move(finished);
            return true;
        case Kind::pair:
            if (parent.count == 0 && (finished.is_number() || finished.is_string())) {
                ++parent.count;
                draft_.labels.back().first = std::move(finished);
                return true;
            }
            break;
        case Kind::variables:
        case Kind::labels:
            break;
        }
        throw Refused{};
    }

    // The text in the code page, in place.
    void convert(std::string& text) const {
        if (codePage_.isUTF8()) {
            return;
        }
        std::string converted;
        if (! codePage_.convert(text, converted)) {
            throw Refused{};
        }
        text = std::move(converted);
    }

    // Fills the variable the draft holds, as the exact pass would.
    void addVariable() {
        Draft& d = draft_;
        Location const& at = at_;
        if (! d.has(Field::name)) {
            throw Refused{};
        }
        convert(d.name);
        if (d.name.empty()) {
            throw Refused{};
        }
        int const type =
            d.has(Field::type)
                ? static_cast<int>(integer(d[Field::type], at, 0, ZELT_Variable::maxStringWidth))
                : 0;
        ZELT_Variable result(std::move(d.name), type);
        if (d.has(Field::label)) {
            convert(d.label);
            result.setLabel(std::move(d.label));
        }
        if (d.has(Field::alignment)) {
            result.setAlignment(code(d[Field::alignment], at, {"left", "right", "center"}));
        }
        if (d.has(Field::measurementLevel)) {
            result.setMeasurementLevel(
                code(d[Field::measurementLevel], at, {"unknown", "nominal", "ordinal", "scale"}));
        }
        if (d.has(Field::displayWidth)) {
            result.setDisplayWidth(static_cast<short>(integer(d[Field::displayWidth], at,
                                                              std::numeric_limits<short>::min(),
                                                              std::numeric_limits<short>::max())));
        }
        if (d.has(Field::format)) {
            Format const print = format(d[Field::format], at);
            result.setFormat(print.type, print.width, print.decimals);
            result.setWriteFormat(print.type, print.width, print.decimals);
        }
        if (d.has(Field::writeFormat)) {
            Format const write = format(d[Field::writeFormat], at);
            result.setWriteFormat(write.type, write.width, write.decimals);
        }
        if (d.has(Field::missingValues)) {
            missingValues(result, d[Field::missingValues], at, codePage_);
        }
        bool const numeric = type == 0;
        for (auto& [value, label] : d.labels) {
            convert(label);
            if (numeric) {
                result.addValueLabel(number(value, at), std::move(label));
            } else {
                result.addValueLabel(text(value, at, codePage_), std::move(label));
            }
        }
        if (d.has(Field::attributes)) {
            result.setAttributes(attributes(d[Field::attributes], at, codePage_));
        }
        try {
            source_.addVariable(std::move(result));
        } catch (std::invalid_argument const&) {
            throw Refused{}; // a name the source holds already
        }
    }

    ZELT_DataSource& source_;
    CodePage const& codePage_;
    Location const& at_;
    std::vector<Open> open_;
    Draft draft_;
    Field key_ = Field::unknown; // the current key of the innermost variable
    Json root_;
    bool sawVariables_ = false;
};

ZELT_DataSource quickLoad(std::string const& text, std::string const& name) {
    Location const at(name, std::string(), true);
    CodePage const codePage(at);
    ZELT_DataSource source;
    QuickFill fill(source, codePage, at);
    if (! Json::sax_parse(text, &fill)) {
        throw Refused{};
    }
    Json const& root = fill.root();
    if (root.contains("variables")) {
        throw Refused{}; // not an array
    }
    onlyKeys(root, at, topLevelKeys);
    addHeader(source, root, at);
    addTrailer(source, root, at, codePage);
    return source;
}

// Line and column (both from 1) of a byte offset in the text.
std::pair<std::size_t, std::size_t> lineAndColumn(std::string const& text, std::size_t offset) {
    offset = std::min(offset, text.size());
    std::size_t line = 1;
    std::size_t column = 1;
    for (std::size_t i = 0; i < offset; ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return {line, column};
}

// Reads the text for keys given twice in one object (the parser itself keeps the last) and refuses
// the first such key, naming it by its JSON pointer. Syntax errors are left to the parser proper.
class DuplicateKeys : public nlohmann::json_sax<Json> {
public:
    explicit DuplicateKeys(std::string name) : name_(std::move(name)) {}

    bool null() override { return element(); }
    bool boolean(bool) override { return element(); }
    bool number_integer(number_integer_t) override { return element(); }
    bool number_unsigned(number_unsigned_t) override { return element(); }
    bool number_float(number_float_t, string_t const&) override { return element(); }
    bool string(string_t&) override { return element(); }
    bool binary(binary_t&) override { return element(); }
    bool start_object(std::size_t) override { return start(true); }
    bool start_array(std::size_t) override { return start(false); }
    bool end_object() override { return end(); }
    bool end_array() override { return end(); }
    bool key(string_t& key) override {
        Container& object = containers_.back();
        object.key = key;
        if (! object.keys.insert(key).second) {
            (Location(name_, object.pointer) / key).fail("duplicate key \"" + key + "\"");
        }
        return true;
    }
    bool parse_error(std::size_t, std::string const&, nlohmann::detail::exception const&) override {
        return false;
    }

private:
    struct Container {
        bool object;
        std::string pointer;
        std::set<std::string> keys;
        std::string key;       // an object's current key
        std::size_t count = 0; // an array's elements so far
    };

    // The pointer of the value that starts now in the innermost container, counted in an array.
    std::string childPointer() {
        if (containers_.empty()) {
            return std::string();
        }
        Container& parent = containers_.back();
        return parent.pointer + "/" +
               (parent.object ? pointerToken(parent.key) : std::to_string(parent.count++));
    }
    bool element() {
        childPointer();
        return true;
    }
    bool start(bool object) {
        containers_.push_back({object, childPointer(), {}, {}, 0});
        return true;
    }
    bool end() {
        containers_.pop_back();
        return true;
    }

    std::string name_;
    std::vector<Container> containers_;
};

} // namespace

ZELT_DataSource loadDataSourceJson(std::string const& text, std::string const& name) {
    // Files are loaded in one quick pass; one that it refuses is read again by the exact pass,
    // which finds the same data or the first fault in the text with its location.
    std::optional<ZELT_DataSource> quick = loadDataSourceJsonQuickly(text, name);
    return quick ? std::move(*quick) : loadDataSourceJsonExactly(text, name);
}

std::optional<ZELT_DataSource> loadDataSourceJsonQuickly(std::string const& text,
                                                         std::string const& name) {
    try {
        return quickLoad(text, name);
    } catch (Refused const&) {
        return std::nullopt;
    }
}

ZELT_DataSource loadDataSourceJsonExactly(std::string const& text, std::string const& name) {
    Json root;
    try {
        DuplicateKeys duplicates(name);
        Json::sax_parse(text, &duplicates);
        root = Json::parse(text);
    } catch (Json::parse_error const& error) {
        // The library's message repeats the position in its own words; keep only the reason,
        // which follows the first ": " after the position (the reason may itself hold ": ").
        std::string reason = error.what();
        std::size_t const position = reason.find(", column ");
        std::size_t const colon = reason.find(
            ": ", position == std::string::npos ? reason.find("parse error") : position);
        if (colon != std::string::npos) {
            reason = reason.substr(colon + 2);
        }
        auto const [line, column] = lineAndColumn(text, error.byte > 0 ? error.byte - 1 : 0);
        throw DataSourceFileError(name + ":" + std::to_string(line) + ":" + std::to_string(column) +
                                  ": invalid JSON: " + reason);
    } catch (Json::exception const& error) {
        // Well-formed text the library still refuses, such as a number beyond the range of a
        // double ("1e400"); it gives no position.
        std::string reason = error.what();
        std::size_t const bracket = reason.find("] ");
        if (bracket != std::string::npos) {
            reason = reason.substr(bracket + 2);
        }
        throw DataSourceFileError(name + ": invalid JSON: " + reason);
    }
    return dataSource(root, Location(name, ""));
}

ZELT_DataSource loadDataSourceFile(std::string const& path) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                         &std::fclose);
    std::string contents;
    if (file != nullptr) {
        // A regular file is read into room made for its size at once; other files (a pipe) grow.
        struct stat status {};
        if (::fstat(::fileno(file.get()), &status) == 0 && S_ISREG(status.st_mode) &&
            status.st_size > 0) {
            contents.reserve(static_cast<std::size_t>(status.st_size) + 1);
        }
        char buffer[65536];
        std::size_t count = 0;
        while ((count = std::fread(buffer, 1, sizeof buffer, file.get())) > 0) {
            contents.append(buffer, count);
        }
    }
    if (file == nullptr || std::ferror(file.get()) != 0) {
        throw DataSourceFileError(path + ": " + std::strerror(errno));
    }
    return loadDataSourceJson(contents, path);
}
