#include "zeltdatasourcefile.h"

#include "testsupport.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using Format = ZELT_Variable::FormatType;
using FormatTuple = std::tuple<Format, int, int>;

char const* const fileName = "survey.json";

ZELT_DataSource load(std::string const& json) {
    return loadDataSourceJson(json, fileName);
}

// A file with the given variables (the text of the array's elements) and nothing else.
std::string withVariables(std::string const& variables) {
    return R"({"variables": [)" + variables + "]}";
}

// The message of the error the text is rejected with; "<accepted>" when it loads.
std::string errorOf(std::string const& json, std::string const& name = fileName) {
    try {
        loadDataSourceJson(json, name);
    } catch (DataSourceFileError const& error) {
        return error.what();
    } catch (std::exception const& error) {
        return std::string("<not a DataSourceFileError: ") + error.what() + ">";
    }
    return "<accepted>";
}

FormatTuple printFormat(ZELT_Variable const& variable) {
    FormatTuple result{};
    variable.GetFormatEx(std::get<0>(result), std::get<1>(result), std::get<2>(result));
    return result;
}

FormatTuple writeFormat(ZELT_Variable const& variable) {
    FormatTuple result{};
    variable.GetWriteFormatEx(std::get<0>(result), std::get<1>(result), std::get<2>(result));
    return result;
}

struct Missing {
    int count = 0;
    OBS const* values[3] = {};
};

Missing missingOf(ZELT_Variable const& variable) {
    Missing result;
    result.count = variable.GetMissingValues(result.values[0], result.values[1], result.values[2]);
    return result;
}

std::uint64_t bitsOf(OBS const* value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, value, sizeof bits);
    return bits;
}

std::string textOf(OBS const* value) {
    return std::string(value->text, sizeof value->text);
}

std::vector<std::pair<std::string, std::vector<std::string>>>
entriesOf(DatasourceAttributes const& attributes) {
    std::vector<std::pair<std::string, std::vector<std::string>>> result;
    for (unsigned long i = 0; i < attributes.Size(); ++i) {
        result.emplace_back(attributes.Name(i), attributes.Values(i));
    }
    return result;
}

} // namespace

TEST(DataSourceFile, AbsentKeysTakeTheirDefaults) {
    ZELT_DataSource const empty = load("{}");
    EXPECT_EQ(empty.ColumnCount(), 0);
    EXPECT_EQ(empty.GetTimestamp(), 0.0);
    EXPECT_EQ(empty.RowCount(), -1);
    EXPECT_EQ(empty.GetWeightVarIndex(), -1);
    EXPECT_EQ(empty.GetAttributes().Size(), 0u);
    EXPECT_TRUE(VariableSets(empty, VarSetsType::VariableSets).empty());
    EXPECT_TRUE(VariableSets(empty, VarSetsType::MultipleResponseSets).empty());

    ZELT_DataSource const ds = load(R"({
        "variables": [{"name": "n"}, {"name": "s", "type": 5}, {"name": "e", "label": ""}],
        "variableSets": [{"name": "group"}],
        "multipleResponseSets": [{"name": "$m"}],
        "extensions": [{"code": 7}]})");
    ASSERT_EQ(ds.ColumnCount(), 3);
    ZELT_Variable const& numeric = ds.GetVariable(0);
    ZELT_Variable const& text = ds.GetVariable(1);
    EXPECT_EQ(numeric.GetType(), 0);
    EXPECT_EQ(text.GetType(), 5);
    EXPECT_EQ(numeric.GetLabel(), nullptr);
    ASSERT_NE(ds.GetVariable(2).GetLabel(), nullptr);
    EXPECT_STREQ(ds.GetVariable(2).GetLabel(), "");
    EXPECT_EQ(numeric.GetAlignment(), ZELT_Variable::alignRight);
    EXPECT_EQ(text.GetAlignment(), ZELT_Variable::alignLeft);
    EXPECT_EQ(numeric.GetMeasurementLevel(), ZELT_Variable::levelUnknown);
    EXPECT_EQ(numeric.GetDisplayWidth(), 8);
    EXPECT_EQ(printFormat(numeric), FormatTuple(Format::F, 8, 2));
    EXPECT_EQ(writeFormat(numeric), FormatTuple(Format::F, 8, 2));
    EXPECT_EQ(printFormat(text), FormatTuple(Format::A, 5, 0));
    EXPECT_EQ(writeFormat(text), FormatTuple(Format::A, 5, 0));
    EXPECT_EQ(missingOf(numeric).count, 0);
    EXPECT_EQ(ZELT_ValueLabelMap(numeric.GetValueLabels()).Size(), 0);
    EXPECT_EQ(numeric.GetAttributes().Size(), 0u);

    auto const sets = VariableSets(ds, VarSetsType::VariableSets);
    ASSERT_EQ(sets.size(), 1u);
    EXPECT_TRUE(sets[0].GetVariableNames(ChangeCase::AsStored).empty());
    auto const mr = VariableSets(ds, VarSetsType::MultipleResponseSets);
    ASSERT_EQ(mr.size(), 1u);
    EXPECT_EQ(mr[0].GetType(), VariableSet::typeCategories);
    EXPECT_EQ(mr[0].GetLabel(), "");
    EXPECT_EQ(mr[0].GetValue(), "");
    EXPECT_FALSE(mr[0].qLabelSetByVariable());
    EXPECT_FALSE(mr[0].qUseVariableCategoryLabels());
    EXPECT_TRUE(mr[0].GetVariableNames(ChangeCase::AsStored).empty());

    ASSERT_TRUE(ds.HasExtension(7));
    ZELT_DataSource::Extension const record(ds, 7);
    EXPECT_EQ(record.Type(), 7);
    EXPECT_EQ(record.ElementSize(), 1);
    EXPECT_EQ(record.Length(), 0);
}

TEST(DataSourceFile, AlignmentLevelAndWidthTakeWordsOrCodes) {
    struct Case {
        char const* json;
        int code;
    };
    for (Case const& c : {Case{R"("left")", 0}, Case{R"("right")", 1}, Case{R"("center")", 2},
                          Case{"7", 7}, Case{"-4", -4}}) {
        auto const ds = load(withVariables(R"({"name": "v", "type": 3, "alignment": )" +
                                           std::string(c.json) + "}"));
        EXPECT_EQ(ds.GetVariable(0).GetAlignment(), c.code) << c.json;
    }
    for (Case const& c : {Case{R"("unknown")", 0}, Case{R"("nominal")", 1},
                          Case{R"("ordinal")", 2}, Case{R"("scale")", 3}, Case{"99", 99}}) {
        auto const ds = load(withVariables(R"({"name": "v", "measurementLevel": )" +
                                           std::string(c.json) + "}"));
        EXPECT_EQ(ds.GetVariable(0).GetMeasurementLevel(), c.code) << c.json;
    }
    for (int width : {-32768, 0, 32767}) {
        auto const ds = load(withVariables(R"({"name": "v", "displayWidth": )" +
                                           std::to_string(width) + "}"));
        EXPECT_EQ(ds.GetVariable(0).GetDisplayWidth(), width);
    }
}

TEST(DataSourceFile, FormatsComeAsTextOrObject) {
    struct Case {
        char const* json;
        FormatTuple expected;
    };
    Case const cases[] = {
        {R"("F8.2")", {Format::F, 8, 2}},
        {R"("A12")", {Format::A, 12, 0}},
        {R"("DATE11")", {Format::DATE, 11, 0}},
        {R"("DATETIME20")", {Format::DATETIME, 20, 0}},
        {R"("f8.2")", {Format::F, 8, 2}},
        {R"("Comma10.3")", {Format::COMMA, 10, 3}},
        {R"("YMDHMS19")", {Format::YMDHMS, 19, 0}},
        {R"({"type": 200, "width": 3})", {static_cast<Format>(200), 3, 0}},
        {R"({"type": -1, "width": 40, "decimals": 5})", {static_cast<Format>(-1), 40, 5}},
    };
    for (Case const& c : cases) {
        // A print format alone is also the write format.
        auto const ds =
            load(withVariables(R"({"name": "v", "format": )" + std::string(c.json) + "}"));
        EXPECT_EQ(printFormat(ds.GetVariable(0)), c.expected) << c.json;
        EXPECT_EQ(writeFormat(ds.GetVariable(0)), c.expected) << c.json;
    }

    auto const ds = load(withVariables(R"({"name": "both", "format": "F3.0", "writeFormat": "E10.4"},
        {"name": "write", "writeFormat": "N4"},
        {"name": "s", "type": 4, "writeFormat": {"type": 2, "width": 8}})"));
    EXPECT_EQ(printFormat(ds.GetVariable(0)), FormatTuple(Format::F, 3, 0));
    EXPECT_EQ(writeFormat(ds.GetVariable(0)), FormatTuple(Format::E, 10, 4));
    EXPECT_EQ(printFormat(ds.GetVariable(1)), FormatTuple(Format::F, 8, 2));
    EXPECT_EQ(writeFormat(ds.GetVariable(1)), FormatTuple(Format::N, 4, 0));
    EXPECT_EQ(printFormat(ds.GetVariable(2)), FormatTuple(Format::A, 4, 0));
    EXPECT_EQ(writeFormat(ds.GetVariable(2)), FormatTuple(Format::AHEX, 8, 0));
}

TEST(DataSourceFile, MissingValuesAreDiscreteOrARange) {
    auto const ds = load(withVariables(R"(
        {"name": "three", "missingValues": [7, -0.5, 1e300]},
        {"name": "none", "missingValues": []},
        {"name": "s", "type": 10, "missingValues": ["NA", "", "12345678"]},
        {"name": "open", "missingValues": {"range": ["lowest", "highest"]}},
        {"name": "plus", "missingValues": {"range": [1, "highest"], "value": -9}},
        {"name": "low", "missingValues": {"range": ["lowest", 0]}})"));

    Missing m = missingOf(ds.GetVariable(0));
    ASSERT_EQ(m.count, 3);
    EXPECT_EQ(m.values[0]->number, 7);
    EXPECT_EQ(m.values[1]->number, -0.5);
    EXPECT_EQ(m.values[2]->number, 1e300);
    EXPECT_EQ(missingOf(ds.GetVariable(1)).count, 0);

    m = missingOf(ds.GetVariable(2));
    ASSERT_EQ(m.count, 3);
    EXPECT_EQ(textOf(m.values[0]), "NA      ");
    EXPECT_EQ(textOf(m.values[1]), "        ");
    EXPECT_EQ(textOf(m.values[2]), "12345678");

    // The words are the markers, bit for bit.
    m = missingOf(ds.GetVariable(3));
    ASSERT_EQ(m.count, -2);
    EXPECT_EQ(bitsOf(m.values[0]), 0xFFEFFFFFFFFFFFFEull);
    EXPECT_EQ(bitsOf(m.values[1]), 0x7FEFFFFFFFFFFFFFull);
    EXPECT_EQ(m.values[2], nullptr);

    m = missingOf(ds.GetVariable(4));
    ASSERT_EQ(m.count, -3);
    EXPECT_EQ(m.values[0]->number, 1);
    EXPECT_EQ(m.values[1]->number, DBL_MAX);
    EXPECT_EQ(m.values[2]->number, -9);

    m = missingOf(ds.GetVariable(5));
    ASSERT_EQ(m.count, -2);
    EXPECT_EQ(m.values[0]->number, ZELT_Variable::missingLowest);
    EXPECT_EQ(m.values[1]->number, 0);
}

TEST(DataSourceFile, ValueLabelsAndAttributesKeepFileOrder) {
    auto const ds = load(R"({
        "variables": [
            {"name": "n", "valueLabels": [[3, "three"], [-1.5, "minus"], [3, "again"]],
             "attributes": {"version": 4, "entries": {"zeta": ["1", "2"], "Alpha": "one",
                                                      "$origin": [], "mid": [""]}}},
            {"name": "s", "type": 3, "valueLabels": [["PAR", "Paris"], ["LONDON", "London"]]}],
        "attributes": {"entries": {"Source": ["panel"]}}})");

    ZELT_ValueLabelMap numeric(ds.GetVariable(0).GetValueLabels());
    std::vector<std::pair<double, std::string>> numbers;
    double number = 0;
    char const* label = nullptr;
    while (numeric.GetNextPair(number, label) != 0) {
        numbers.emplace_back(number, label);
    }
    EXPECT_EQ(numbers, (std::vector<std::pair<double, std::string>>{
                           {3, "three"}, {-1.5, "minus"}, {3, "again"}}));

    ZELT_ValueLabelMap texts(ds.GetVariable(1).GetValueLabels());
    std::vector<std::pair<std::string, std::string>> strings;
    std::string value;
    while (texts.GetNextPair(value, label) != 0) {
        strings.emplace_back(value, label);
    }
    EXPECT_EQ(strings, (std::vector<std::pair<std::string, std::string>>{
                           {"PAR", "Paris"}, {"LONDON", "London"}}));

    DatasourceAttributes const& attributes = ds.GetVariable(0).GetAttributes();
    EXPECT_EQ(attributes.Version(), 4);
    using Entries = std::vector<std::pair<std::string, std::vector<std::string>>>;
    EXPECT_EQ(entriesOf(attributes), (Entries{{"zeta", {"1", "2"}},
                                              {"Alpha", {"one"}},
                                              {"$origin", {}},
                                              {"mid", {""}}}));
    EXPECT_EQ(ds.GetAttributes().Version(), 0);
    EXPECT_EQ(entriesOf(ds.GetAttributes()), (Entries{{"Source", {"panel"}}}));
}

TEST(DataSourceFile, SetsExtensionsWeightAndHeader) {
    auto const ds = load(R"({
        "timestamp": 1795345509.5, "rowCount": 250, "weightVariable": "WT",
        "variables": [{"name": "age"}, {"name": "wt"}],
        "variableSets": [{"name": "Demo", "variables": ["age", "gone", "AGE"]}],
        "multipleResponseSets": [
            {"name": "$d", "type": "dichotomy", "countedValue": "1", "useCategoryLabels": true,
             "labelFromVariable": true, "label": "Brands", "variables": ["b1", "b2"]},
            {"name": "$c", "type": "categories"},
            {"name": "$x", "type": 5}],
        "extensions": [{"code": 3, "type": 9, "elementSize": 4, "data": "0100000002000000"},
                       {"code": -2, "data": "aBcDeF"}]})");
    EXPECT_EQ(ds.GetTimestamp(), 1795345509.5);
    EXPECT_EQ(ds.RowCount(), 250);
    EXPECT_EQ(ds.GetWeightVarIndex(), 1);

    auto const sets = VariableSets(ds, VarSetsType::VariableSets);
    ASSERT_EQ(sets.size(), 1u);
    EXPECT_EQ(sets[0].GetName(ChangeCase::AsStored), "Demo");
    EXPECT_EQ(sets[0].GetVariableNames(ChangeCase::AsStored),
              (std::vector<std::string>{"age", "gone", "AGE"}));

    auto const mr = VariableSets(ds, VarSetsType::MultipleResponseSets);
    ASSERT_EQ(mr.size(), 3u);
    EXPECT_EQ(mr[0].GetName(ChangeCase::AsStored), "$d");
    EXPECT_EQ(mr[0].GetType(), VariableSet::typeDichotomy);
    EXPECT_EQ(mr[0].GetValue(), "1");
    EXPECT_EQ(mr[0].GetLabel(), "Brands");
    EXPECT_TRUE(mr[0].qUseVariableCategoryLabels());
    EXPECT_TRUE(mr[0].qLabelSetByVariable());
    EXPECT_EQ(mr[0].GetVariableNames(ChangeCase::AsStored),
              (std::vector<std::string>{"b1", "b2"}));
    EXPECT_EQ(mr[1].GetType(), VariableSet::typeCategories);
    EXPECT_EQ(mr[2].GetType(), 5);

    ASSERT_TRUE(ds.HasExtension(3));
    ZELT_DataSource::Extension words(ds, 3);
    EXPECT_EQ(words.Type(), 9);
    EXPECT_EQ(words.ElementSize(), 4);
    ASSERT_EQ(words.Length(), 2);
    unsigned char buffer[8] = {};
    EXPECT_EQ(words.GetNext(buffer, 2), 2);
    EXPECT_EQ(std::vector<unsigned char>(buffer, buffer + 8),
              (std::vector<unsigned char>{1, 0, 0, 0, 2, 0, 0, 0}));

    ASSERT_TRUE(ds.HasExtension(-2));
    ZELT_DataSource::Extension bytes(ds, -2);
    EXPECT_EQ(bytes.Type(), -2);
    ASSERT_EQ(bytes.Length(), 3);
    EXPECT_EQ(bytes.GetNext(buffer, 3), 3);
    EXPECT_EQ(std::vector<unsigned char>(buffer, buffer + 3),
              (std::vector<unsigned char>{0xAB, 0xCD, 0xEF}));
    EXPECT_FALSE(ds.HasExtension(9));
}

TEST(DataSourceFile, RuleBreaksNameTheLocationAndTheFault) {
    struct Case {
        std::string json;
        char const* location;
        char const* words;
    };
    auto const one = [](char const* variable) { return withVariables(variable); };
    Case const cases[] = {
        // Structure and keys
        {"[1, 2]", "/", "expected an object"},
        {R"({"rows": 1})", "/rows", "unknown key \"rows\""},
        {one(R"({"name": "a", "colour": 1})"), "/variables/0/colour", "unknown key"},
        {one(R"({"name": "a", "format": {"type": 5, "width": 8, "scale": 1}})"),
         "/variables/0/format/scale", "unknown key"},
        {one(R"({"name": "a", "missingValues": {"range": [1, 2], "step": 1}})"),
         "/variables/0/missingValues/step", "unknown key"},
        {R"({"attributes": {"entries": {}, "owner": "x"}})", "/attributes/owner", "unknown key"},
        {R"({"variableSets": [{"name": "g", "label": "x"}]})", "/variableSets/0/label",
         "unknown key"},
        {R"({"multipleResponseSets": [{"name": "$m", "counted": "1"}]})",
         "/multipleResponseSets/0/counted", "unknown key"},
        {R"({"extensions": [{"code": 1, "size": 1}]})", "/extensions/0/size", "unknown key"},
        // Wrong types
        {R"({"timestamp": "now"})", "/timestamp", "expected a number"},
        {R"({"rowCount": 2.5})", "/rowCount", "expected an integer"},
        {R"({"variables": {}})", "/variables", "expected an array"},
        {one(R"({"name": 5})"), "/variables/0/name", "expected a string"},
        {one(R"({"name": "a", "label": null})"), "/variables/0/label", "expected a string"},
        {one(R"({"name": "a", "format": 5})"), "/variables/0/format", "expected a format"},
        {R"({"multipleResponseSets": [{"name": "$m", "useCategoryLabels": 1}]})",
         "/multipleResponseSets/0/useCategoryLabels", "expected true or false"},
        {R"({"attributes": {"entries": {"Note": ["a", 2]}}})", "/attributes/entries/Note/1",
         "expected a string"},
        {R"({"variableSets": [{"name": "g", "variables": "a"}]})", "/variableSets/0/variables",
         "expected an array"},
        {R"({"extensions": [{"code": 1, "data": 12}]})", "/extensions/0/data", "hexadecimal"},
        // Names
        {one(R"({"type": 0})"), "/variables/0", "missing key \"name\""},
        {one(R"({"name": ""})"), "/variables/0/name", "empty"},
        {one(R"({"name": "Age"}, {"name": "aGE"})"), "/variables/1/name", "duplicate"},
        {R"({"weightVariable": "wt", "variables": [{"name": "w"}]})", "/weightVariable",
         "no variable named \"wt\""},
        {R"({"variableSets": [{"name": ""}]})", "/variableSets/0/name", "empty"},
        {R"({"multipleResponseSets": [{"label": "x"}]})", "/multipleResponseSets/0",
         "missing key \"name\""},
        {R"({"multipleResponseSets": [{"name": ""}]})", "/multipleResponseSets/0/name", "empty"},
        // Numbers and words out of range
        {one(R"({"name": "a", "type": -1})"), "/variables/0/type", "out of range"},
        {one(R"({"name": "a", "type": 32768})"), "/variables/0/type", "out of range"},
        {one(R"({"name": "a", "displayWidth": 32768})"), "/variables/0/displayWidth",
         "out of range"},
        {one(R"({"name": "a", "displayWidth": -32769})"), "/variables/0/displayWidth",
         "out of range"},
        {one(R"({"name": "a", "alignment": "middle"})"), "/variables/0/alignment",
         "unknown value \"middle\""},
        {one(R"({"name": "a", "measurementLevel": "interval"})"), "/variables/0/measurementLevel",
         "unknown value \"interval\""},
        {R"({"multipleResponseSets": [{"name": "$m", "type": "multiple"}]})",
         "/multipleResponseSets/0/type", "unknown set type"},
        // Formats
        {one(R"({"name": "a", "format": "Q8.2"})"), "/variables/0/format",
         "unknown format name \"Q8.2\""},
        {one(R"({"name": "a", "writeFormat": "PCT8"})"), "/variables/0/writeFormat",
         "unknown format name \"PCT8\""},
        {one(R"({"name": "a", "format": "F"})"), "/variables/0/format", "width"},
        {one(R"({"name": "a", "format": "F8."})"), "/variables/0/format", "decimals"},
        {one(R"({"name": "a", "format": {"type": 5}})"), "/variables/0/format",
         "missing key \"width\""},
        // Missing values and value labels
        {one(R"({"name": "a", "missingValues": [1, 2, 3, 4]})"), "/variables/0/missingValues",
         "more than 3"},
        {one(R"({"name": "a", "missingValues": ["NA"]})"), "/variables/0/missingValues/0",
         "expected a number"},
        {one(R"({"name": "a", "type": 8, "missingValues": {"range": [1, 2]}})"),
         "/variables/0/missingValues", "numeric"},
        {one(R"({"name": "a", "type": 9, "missingValues": ["123456789"]})"),
         "/variables/0/missingValues/0", "8 bytes"},
        {one(R"({"name": "a", "missingValues": {"range": [5, 1]}})"),
         "/variables/0/missingValues/range", "lower bound"},
        {one(R"({"name": "a", "missingValues": {"range": [1]}})"),
         "/variables/0/missingValues/range", "two bounds"},
        {one(R"({"name": "a", "missingValues": {"range": ["low", 1]}})"),
         "/variables/0/missingValues/range/0", "unknown range bound \"low\""},
        {one(R"({"name": "a", "missingValues": {"value": 1}})"), "/variables/0/missingValues",
         "missing key \"range\""},
        {one(R"({"name": "a", "valueLabels": [["1", "one"]]})"), "/variables/0/valueLabels/0/0",
         "expected a number"},
        {one(R"({"name": "a", "type": 2, "valueLabels": [["x", "ex"], [1, "one"]]})"),
         "/variables/0/valueLabels/1/0", "expected a string"},
        {one(R"({"name": "a", "valueLabels": [[1, "one", "extra"]]})"),
         "/variables/0/valueLabels/0", "pair"},
        // Extensions
        {R"({"extensions": [{"type": 1}]})", "/extensions/0", "missing key \"code\""},
        {R"({"extensions": [{"code": 1, "data": "abc"}]})", "/extensions/0/data", "odd"},
        {R"({"extensions": [{"code": 1, "data": "0g"}]})", "/extensions/0/data",
         "not hexadecimal"},
        {R"({"extensions": [{"code": 1, "elementSize": 2, "data": "010203"}]})",
         "/extensions/0/data", "whole number of elements"},
        {R"({"extensions": [{"code": 1, "elementSize": 0}]})", "/extensions/0/elementSize",
         "out of range"},
        {R"({"extensions": [{"code": 4}, {"code": 4}]})", "/extensions/1/code",
         "already present"},
    };
    for (Case const& c : cases) {
        std::string const message = errorOf(c.json);
        std::string const head = std::string(fileName) + ": " + c.location + ": ";
        EXPECT_EQ(message.compare(0, head.size(), head), 0) << c.json << "\n  -> " << message;
        EXPECT_NE(message.find(c.words), std::string::npos) << c.json << "\n  -> " << message;
        EXPECT_EQ(message.find('\n'), std::string::npos) << message;
    }
}

TEST(DataSourceFile, InvalidJsonNamesLineAndColumn) {
    // A missing comma: the error is on line 3, at the key that should have followed one.
    std::string const message =
        errorOf("{\n  \"timestamp\": 1\n  \"rowCount\": 2\n}", "broken.json");
    std::string const head = "broken.json:3:";
    ASSERT_EQ(message.compare(0, head.size(), head), 0) << message;
    int const column = std::atoi(message.c_str() + head.size());
    EXPECT_GE(column, 3) << message; // within "rowCount", quotes included
    EXPECT_LE(column, 12) << message;
    EXPECT_NE(message.find(": invalid JSON: "), std::string::npos) << message;

    struct Case {
        char const* text;
        char const* head;
        char const* words;
    };
    for (Case const& c : {Case{"", "x.json:1:1: invalid JSON: ", "end of input"},
                          Case{R"({"a": tru})", "x.json:1:", "invalid literal"},
                          Case{"{}\n\n  x", "x.json:3:", "expected end of input"}}) {
        std::string const error = errorOf(c.text, "x.json");
        EXPECT_EQ(error.compare(0, std::strlen(c.head), c.head), 0) << error;
        EXPECT_NE(error.find(c.words), std::string::npos) << error;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    }
}

TEST(DataSourceFile, TextsArriveInTheProcessCodePage) {
    {
        testing_support::ScopedCodePage const latin1(0, "ISO-8859-1");
        auto const ds = load(R"({
            "weightVariable": "éTé",
            "variables": [{"name": "été", "label": "café", "type": 8,
                           "missingValues": ["ééééé"], "valueLabels": [["né", "Zoë"]],
                           "attributes": {"entries": {"Größe": "groß"}}}],
            "multipleResponseSets": [{"name": "$ü", "label": "ä", "countedValue": "ö"}]})");
        EXPECT_EQ(ds.GetWeightVarIndex(), 0);
        ZELT_Variable const& variable = ds.GetVariable(0);
        EXPECT_STREQ(variable.GetName(), "\xE9t\xE9");
        EXPECT_STREQ(variable.GetLabel(), "caf\xE9");
        Missing const m = missingOf(variable);
        ASSERT_EQ(m.count, 1);
        EXPECT_EQ(textOf(m.values[0]), "\xE9\xE9\xE9\xE9\xE9   "); // 5 bytes here, padded
        ZELT_ValueLabelMap labels(variable.GetValueLabels());
        std::string value;
        char const* label = nullptr;
        ASSERT_EQ(labels.GetNextPair(value, label), 1);
        EXPECT_EQ(value, "n\xE9");
        EXPECT_STREQ(label, "Zo\xEB");
        EXPECT_EQ(entriesOf(variable.GetAttributes()),
                  (std::vector<std::pair<std::string, std::vector<std::string>>>{
                      {"Gr\xF6\xDF"
                       "e",
                       {"gro\xDF"}}}));
        auto const mr = VariableSets(ds, VarSetsType::MultipleResponseSets);
        ASSERT_EQ(mr.size(), 1u);
        EXPECT_EQ(mr[0].GetName(ChangeCase::AsStored), "$\xFC");
        EXPECT_EQ(mr[0].GetLabel(), "\xE4");
        EXPECT_EQ(mr[0].GetValue(), "\xF6");

        std::string const euro = errorOf(withVariables(R"({"name": "a", "label": "5 €"})"));
        EXPECT_EQ(euro.rfind("survey.json: /variables/0/label: ", 0), 0u) << euro;
        EXPECT_NE(euro.find("code page"), std::string::npos) << euro;
        std::string const euroName = errorOf(R"({"variableSets": [{"name": "€"}]})");
        EXPECT_EQ(euroName.rfind("survey.json: /variableSets/0/name: ", 0), 0u) << euroName;
    }
    // In UTF-8 mode the same texts pass unchanged, and the 5 letters are 10 bytes: too long.
    auto const ds = load(withVariables(R"({"name": "été", "label": "5 €"})"));
    EXPECT_STREQ(ds.GetVariable(0).GetName(), u8"été");
    EXPECT_STREQ(ds.GetVariable(0).GetLabel(), u8"5 €");
    std::string const tooLong =
        errorOf(withVariables(R"({"name": "a", "type": 10, "missingValues": ["ééééé"]})"));
    EXPECT_EQ(tooLong.rfind("survey.json: /variables/0/missingValues/0: ", 0), 0u) << tooLong;
}

TEST(DataSourceFile, LoadsFromAFileAndNamesItInErrors) {
    std::string const path = ::testing::TempDir() + "datasourcefile_test.json";
    {
        std::ofstream out(path, std::ios::binary);
        out << R"({"rowCount": 12, "variables": [{"name": "x"}]})";
    }
    ZELT_DataSource const ds = loadDataSourceFile(path);
    EXPECT_EQ(ds.RowCount(), 12);
    EXPECT_EQ(ds.ColumnCount(), 1);
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out << R"({"rowCount": "many"})";
    }
    try {
        loadDataSourceFile(path);
        ADD_FAILURE() << "a wrong type was accepted";
    } catch (DataSourceFileError const& error) {
        EXPECT_EQ(std::string(error.what()).rfind(path + ": /rowCount: ", 0), 0u) << error.what();
    }
    std::remove(path.c_str());

    std::string const missing = ::testing::TempDir() + "no-such-dir/missing.json";
    try {
        loadDataSourceFile(missing);
        ADD_FAILURE() << "a missing file was loaded";
    } catch (DataSourceFileError const& error) {
        EXPECT_EQ(std::string(error.what()).rfind(missing + ": ", 0), 0u) << error.what();
    }
}
