#include "zeltdatasourcefile.h"
#include "zeltdatasourcefileexact.h"

#include "testsupport.h"
#include "transspace.h"
#include "transvalue.h"

#include <gtest/gtest.h>

#include <cfloat>
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

OBS obsOf(double value) {
    OBS obs;
    obs.number = value;
    return obs;
}

OBS obsOf(char const (&text)[9]) {
    OBS obs;
    std::memcpy(obs.text, text, sizeof obs.text);
    return obs;
}

bool startsWith(std::string const& text, std::string const& head) {
    return text.compare(0, head.size(), head) == 0;
}

FormatTuple printFormat(ZELT_Variable const& variable) {
    FormatTuple r{};
    variable.GetFormatEx(std::get<0>(r), std::get<1>(r), std::get<2>(r));
    return r;
}

FormatTuple writeFormat(ZELT_Variable const& variable) {
    FormatTuple r{};
    variable.GetWriteFormatEx(std::get<0>(r), std::get<1>(r), std::get<2>(r));
    return r;
}

// The signed count of missing values and the values present.
using Missing = std::pair<int, std::vector<OBS>>;

Missing missingOf(ZELT_Variable const& variable) {
    OBS const* values[3] = {};
    Missing result{variable.GetMissingValues(values[0], values[1], values[2]), {}};
    for (OBS const* value : values) {
        if (value != nullptr) {
            result.second.push_back(*value);
        }
    }
    return result;
}

// Value labels in the order the map yields them; Value is double or std::string.
template <typename Value>
std::vector<std::pair<Value, std::string>> labelsOf(ZELT_Variable const& variable) {
    ZELT_ValueLabelMap map(variable.GetValueLabels());
    std::vector<std::pair<Value, std::string>> result;
    Value value{};
    char const* label = nullptr;
    while (map.GetNextPair(value, label) != 0) {
        result.emplace_back(value, label);
    }
    return result;
}

using Entries = std::vector<std::pair<std::string, std::vector<std::string>>>;

Entries entriesOf(DatasourceAttributes const& attributes) {
    Entries result;
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
    EXPECT_EQ(missingOf(numeric).first, 0);
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
        auto const ds = load(
            withVariables(R"({"name": "v", "type": 3, "alignment": )" + std::string(c.json) + "}"));
        EXPECT_EQ(ds.GetVariable(0).GetAlignment(), c.code) << c.json;
    }
    for (Case const& c : {Case{R"("unknown")", 0}, Case{R"("nominal")", 1}, Case{R"("ordinal")", 2},
                          Case{R"("scale")", 3}, Case{"99", 99}}) {
        auto const ds = load(
            withVariables(R"({"name": "v", "measurementLevel": )" + std::string(c.json) + "}"));
        EXPECT_EQ(ds.GetVariable(0).GetMeasurementLevel(), c.code) << c.json;
    }
    for (int width : {-32768, 0, 32767}) {
        auto const ds =
            load(withVariables(R"({"name": "v", "displayWidth": )" + std::to_string(width) + "}"));
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

    auto const ds =
        load(withVariables(R"({"name": "both", "format": "F3.0", "writeFormat": "E10.4"},
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

    // Compared bit for bit: the "lowest" marker is not -DBL_MAX.
    EXPECT_EQ(missingOf(ds.GetVariable(0)), Missing(3, {obsOf(7), obsOf(-0.5), obsOf(1e300)}));
    EXPECT_EQ(missingOf(ds.GetVariable(1)), Missing(0, {}));
    EXPECT_EQ(missingOf(ds.GetVariable(2)),
              Missing(3, {obsOf("NA      "), obsOf("        "), obsOf("12345678")}));
    EXPECT_EQ(missingOf(ds.GetVariable(3)),
              Missing(-2, {obsOf(ZELT_Variable::missingLowest), obsOf(DBL_MAX)}));
    EXPECT_NE(missingOf(ds.GetVariable(3)).second[0], obsOf(-DBL_MAX));
    EXPECT_EQ(missingOf(ds.GetVariable(4)), Missing(-3, {obsOf(1), obsOf(DBL_MAX), obsOf(-9)}));
    EXPECT_EQ(missingOf(ds.GetVariable(5)),
              Missing(-2, {obsOf(ZELT_Variable::missingLowest), obsOf(0.0)}));
}

TEST(DataSourceFile, ValueLabelsAndAttributesKeepFileOrder) {
    auto const ds = load(R"({
        "variables": [
            {"name": "n", "valueLabels": [[3, "three"], [-1.5, "minus"], [3, "again"]],
             "attributes": {"version": 4, "entries": {"zeta": ["1", "2"], "Alpha": "one",
                                                      "$origin": [], "mid": [""]}}},
            {"name": "s", "type": 3, "valueLabels": [["PAR", "Paris"], ["LONDON", "London"]]}],
        "attributes": {"entries": {"Source": ["panel"]}}})");

    EXPECT_EQ(
        labelsOf<double>(ds.GetVariable(0)),
        (std::vector<std::pair<double, std::string>>{{3, "three"}, {-1.5, "minus"}, {3, "again"}}));
    EXPECT_EQ(
        labelsOf<std::string>(ds.GetVariable(1)),
        (std::vector<std::pair<std::string, std::string>>{{"PAR", "Paris"}, {"LONDON", "London"}}));

    DatasourceAttributes const& attributes = ds.GetVariable(0).GetAttributes();
    EXPECT_EQ(attributes.Version(), 4);
    EXPECT_EQ(entriesOf(attributes),
              (Entries{{"zeta", {"1", "2"}}, {"Alpha", {"one"}}, {"$origin", {}}, {"mid", {""}}}));
    EXPECT_EQ(ds.GetAttributes().Version(), 0);
    EXPECT_EQ(entriesOf(ds.GetAttributes()), (Entries{{"Source", {"panel"}}}));
}

TEST(DataSourceFile, SetsExtensionsWeightAndHeader) {
    auto const ds = load(R"({
        "timestamp": 1795345509.5, "rowCount": 2.5e2, "weightVariable": "ÉTÉ",
        "variables": [{"name": "age"}, {"name": "été"}],
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
    EXPECT_EQ(mr[0].GetVariableNames(ChangeCase::AsStored), (std::vector<std::string>{"b1", "b2"}));
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
        std::string location;
        char const* words;
    };
    // clang-format off
    std::vector<Case> cases = {
        {"[1, 2]", "/", "expected an object"},
        {R"({"rows": 1})", "/rows", "unknown key \"rows\""},
        {R"({"attributes": {"entries": {}, "owner": "x"}})", "/attributes/owner", "unknown key"},
        {R"({"variableSets": [{"name": "g", "size": 1}]})", "/variableSets/0/size", "unknown key"},
        {R"({"multipleResponseSets": [{"name": "$m", "counted": "1"}]})",
         "/multipleResponseSets/0/counted", "unknown key"},
        {R"({"extensions": [{"code": 1, "size": 1}]})", "/extensions/0/size", "unknown key"},
        {R"({"timestamp": "now"})", "/timestamp", "expected a number"},
        {R"({"rowCount": 2.5})", "/rowCount", "expected an integer"},
        {R"({"variables": {}})", "/variables", "expected an array"},
        {R"({"attributes": {"entries": {"Note": ["a", 2]}}})", "/attributes/entries/Note/1",
         "expected a string"},
        {R"({"multipleResponseSets": [{"name": "$m", "useCategoryLabels": 1}]})",
         "/multipleResponseSets/0/useCategoryLabels", "expected true or false"},
        {R"({"multipleResponseSets": [{"name": "$m", "type": "multiple"}]})",
         "/multipleResponseSets/0/type", "unknown set type"},
        {R"({"variables": [{"type": 0}]})", "/variables/0", "missing key \"name\""},
        {R"({"variables": [{"name": ""}]})", "/variables/0/name", "empty"},
        {R"({"variables": [{"name": "Age"}, {"name": "aGE"}]})", "/variables/1/name", "duplicate"},
        {R"({"variables": [{"name": "é"}, {"name": "É"}]})", "/variables/1/name", "duplicate"},
        {R"({"rowCount": 1, "rowCount": 2})", "/rowCount", "duplicate key \"rowCount\""},
        {R"({"variables": [{"name": "a", "valueLabels": [[1, "x"]]}, {"name": "b", "name": "c"}]})",
         "/variables/1/name", "duplicate key"},
        {R"({"attributes": {"entries": {"a/b": "x", "a/b": "y"}}})", "/attributes/entries/a~1b",
         "duplicate key"},
        {R"({"rowCount": 1e-3})", "/rowCount", "expected an integer, found a number with a fraction"},
        {R"({"rowCount": 1e19})", "/rowCount", "out of range"},
        {R"({"variables": [{"name": 1e3}]})", "/variables/0/name", "expected a string, found a number"},
        {R"({"weightVariable": "wt", "variables": [{"name": "w"}]})", "/weightVariable",
         "no variable named \"wt\""},
        {R"({"variableSets": [{"name": ""}]})", "/variableSets/0/name", "empty"},
        {R"({"multipleResponseSets": [{"label": "x"}]})", "/multipleResponseSets/0",
         "missing key \"name\""},
        {R"({"multipleResponseSets": [{"name": ""}]})", "/multipleResponseSets/0/name", "empty"},
        {R"({"extensions": [{"type": 1}]})", "/extensions/0", "missing key \"code\""},
        {R"({"extensions": [{"code": 1, "data": 12}]})", "/extensions/0/data", "hexadecimal"},
        {R"({"extensions": [{"code": 1, "data": "abc"}]})", "/extensions/0/data", "odd"},
        {R"({"extensions": [{"code": 1, "data": "0g"}]})", "/extensions/0/data", "not hexadecimal"},
        {R"({"extensions": [{"code": 1, "elementSize": 2, "data": "010203"}]})",
         "/extensions/0/data", "whole number of elements"},
        {R"({"extensions": [{"code": 1, "elementSize": 0}]})", "/extensions/0/elementSize",
         "out of range"},
        {R"({"extensions": [{"code": 4}, {"code": 4}]})", "/extensions/1/code", "already present"},
        // The variables are read as they come; a fault after them still comes first when the
        // rules put it first.
        {R"({"variables": [{"name": "a", "type": -1}], "rows": 1})", "/rows", "unknown key"},
        {R"({"variables": [{"name": "a", "type": -1}], "timestamp": "now"})", "/timestamp",
         "expected a number"},
        {R"({"variables": [{"name": "a"}], "variables": []})", "/variables",
         "duplicate key \"variables\""},
        {R"({"variables": [{"name": "a"}], "weightVariable": "b"})", "/weightVariable",
         "no variable named \"b\""},
    };
    // The keys of one variable beside its name, with the location below /variables/0.
    Case const variableCases[] = {
        {R"("colour": 1)", "/colour", "unknown key"},
        {R"("format": {"type": 5, "width": 8, "scale": 1})", "/format/scale", "unknown key"},
        {R"("missingValues": {"range": [1, 2], "step": 1})", "/missingValues/step", "unknown key"},
        {R"("label": 5)", "/label", "expected a string"},
        {R"("format": 5)", "/format", "expected a format"},
        {R"("type": -1)", "/type", "out of range"},
        {R"("type": 32768)", "/type", "out of range"},
        {R"("displayWidth": 32768)", "/displayWidth", "out of range"},
        {R"("displayWidth": -32769)", "/displayWidth", "out of range"},
        {R"("alignment": "middle")", "/alignment", "unknown value \"middle\""},
        {R"("measurementLevel": "interval")", "/measurementLevel", "unknown value \"interval\""},
        {R"("format": "Q8.2")", "/format", "unknown format name \"Q8.2\""},
        {R"("writeFormat": "PCT8")", "/writeFormat", "unknown format name \"PCT8\""},
        {R"("format": "F")", "/format", "width"},
        {R"("format": "F8.")", "/format", "decimals"},
        {R"("format": "F8.2 ")", "/format", "not a name, a width"},
        {R"("format": {"type": 5})", "/format", "missing key \"width\""},
        {R"("missingValues": [1, 2, 3, 4])", "/missingValues", "more than 3"},
        {R"("missingValues": ["NA"])", "/missingValues/0", "expected a number"},
        {R"("type": 8, "missingValues": {"range": [1, 2]})", "/missingValues", "numeric"},
        {R"("type": 9, "missingValues": ["123456789"])", "/missingValues/0", "8 bytes"},
        {R"("missingValues": {"range": [5, 1]})", "/missingValues/range", "lower bound"},
        {R"("missingValues": {"range": [1]})", "/missingValues/range", "two bounds"},
        {R"("missingValues": {"range": ["low", 1]})", "/missingValues/range/0",
         "unknown range bound \"low\""},
        {R"("missingValues": {"value": 1})", "/missingValues", "missing key \"range\""},
        {R"("valueLabels": [["1", "one"]])", "/valueLabels/0/0", "expected a number"},
        {R"("type": 2, "valueLabels": [["x", "ex"], [1, "one"]])", "/valueLabels/1/0",
         "expected a string"},
        {R"("valueLabels": [[1, "one", "extra"]])", "/valueLabels/0", "pair"},
    };
    // clang-format on
    for (Case const& c : variableCases) {
        cases.push_back({withVariables(R"({"name": "a", )" + c.json + "}"),
                         "/variables/0" + c.location, c.words});
    }
    for (Case const& c : cases) {
        std::string const message = errorOf(c.json);
        EXPECT_TRUE(startsWith(message, std::string(fileName) + ": " + c.location + ": "))
            << c.json << "\n  -> " << message;
        EXPECT_NE(message.find(c.words), std::string::npos) << c.json << "\n  -> " << message;
        EXPECT_EQ(message.find('\n'), std::string::npos) << message;
    }
}

// Whatever the order of the keys, and however large an object, the same file gives the same data
// source: its dictionary is the same, byte for byte.
TEST(DataSourceFile, KeyOrderAndObjectSizeDoNotChangeTheData) {
    std::string entries;
    for (int i = 0; i < 300; ++i) {
        entries += (i == 0 ? "\"e" : ", \"e") + std::to_string(i) + "\": \"x\"";
    }
    std::string const variables =
        R"("variables": [{"name": "age", "label": "Age", "format": "F3", "missingValues": [99],
          "valueLabels": [[1, "one"], [99, "none"], [-0.0, "zero"], [1e300, "big"]]},
          {"valueLabels": [["a", "A"], ["b\u00e9", "B\n\"q\""]], "missingValues": ["NA"],
           "type": 8, "name": "city", "attributes": {"entries": {"Note": ["n"], "One": "o"},
           "version": 2}},
          {"displayWidth": 12, "alignment": 2, "measurementLevel": "scale", "name": "\u00c9t\u00e9",
           "format": {"type": 5, "width": 10, "decimals": 3}, "writeFormat": "comma12.1",
           "missingValues": {"range": ["lowest", 0], "value": 9}, "type": 0.0, "label": ""},
          {"name": "w", "missingValues": {"range": [1, "highest"]}, "valueLabels": [],
           "alignment": "center", "measurementLevel": 2, "attributes": {"entries": {}}}])";
    std::string const others[] = {R"("timestamp": 1795345509, "rowCount": 12)",
                                  R"("weightVariable": "AGE")",
                                  R"("variableSets": [{"name": "s", "variables": ["city"]}])",
                                  R"("attributes": {"version": 1, "entries": {"k": ["v"]}})"};
    std::string const large =
        R"("attributes": {"version": 1, "entries": {"k": ["v"], )" + entries + "}}";
    auto file = [&](std::size_t variablesAt, bool largeAttributes) {
        std::string text;
        for (std::size_t i = 0; i <= std::size(others); ++i) {
            std::string const& item =
                i == variablesAt ? variables : (i > variablesAt ? others[i - 1] : others[i]);
            bool const attributes = &item == &others[3];
            text += (text.empty() ? "{" : ", ") + (attributes && largeAttributes ? large : item);
        }
        return text + "}";
    };
    TransSpace space;
    // The quick pass takes every text without a large object and gives what the exact pass gives.
    auto dictionary = [](std::string const& json) {
        std::u16string text = testing_support::take(TransValue(load(json)).asUTF16XML());
        auto const quick = loadDataSourceJsonQuickly(json, fileName);
        EXPECT_EQ(quick.has_value(), json.find("e299") == std::string::npos) << json;
        if (quick) {
            EXPECT_EQ(testing_support::take(TransValue(*quick).asUTF16XML()), text) << json;
        }
        EXPECT_EQ(testing_support::take(
                      TransValue(loadDataSourceJsonExactly(json, fileName)).asUTF16XML()),
                  text)
            << json;
        return text;
    };
    for (bool const largeAttributes : {false, true}) {
        std::u16string const expected = dictionary(file(0, largeAttributes));
        for (char16_t const* part :
             {u"rowCount=\"12\"", u"<weightVariable name=\"age\"", u"<variableSet name=\"s\"",
              u"<attribute name=\"k\"", u"<attribute name=\"Note\"",
              largeAttributes ? u"<attribute name=\"e299\"" : u"<valueLabel "}) {
            EXPECT_NE(expected.find(part), std::u16string::npos);
        }
        for (std::size_t at = 1; at <= std::size(others); ++at) {
            EXPECT_EQ(dictionary(file(at, largeAttributes)), expected) << file(at, largeAttributes);
        }
    }
}

TEST(DataSourceFile, InvalidJsonNamesLineAndColumn) {
    // A missing comma: the error is on line 3, at the key that should have followed one.
    std::string const message =
        errorOf("{\n  \"timestamp\": 1\n  \"rowCount\": 2\n}", "broken.json");
    ASSERT_TRUE(startsWith(message, "broken.json:3:")) << message;
    int const column = std::atoi(message.c_str() + std::strlen("broken.json:3:"));
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
        EXPECT_TRUE(startsWith(error, c.head)) << error;
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
                           "attributes": {"entries": {"Maß": "groß"}}}],
            "multipleResponseSets": [{"name": "$ü", "label": "ä", "countedValue": "ö"}]})");
        EXPECT_EQ(ds.GetWeightVarIndex(), 0);
        ZELT_Variable const& variable = ds.GetVariable(0);
        EXPECT_STREQ(variable.GetName(), "\xE9t\xE9");
        EXPECT_STREQ(variable.GetLabel(), "caf\xE9");
        EXPECT_EQ(missingOf(variable), Missing(1, {obsOf("\xE9\xE9\xE9\xE9\xE9   ")})); // 5 bytes
        EXPECT_EQ(labelsOf<std::string>(variable),
                  (std::vector<std::pair<std::string, std::string>>{{"n\xE9", "Zo\xEB"}}));
        EXPECT_EQ(entriesOf(variable.GetAttributes()), (Entries{{"Ma\xDF", {"gro\xDF"}}}));
        auto const mr = VariableSets(ds, VarSetsType::MultipleResponseSets);
        ASSERT_EQ(mr.size(), 1u);
        EXPECT_EQ(mr[0].GetName(ChangeCase::AsStored), "$\xFC");
        EXPECT_EQ(mr[0].GetLabel(), "\xE4");
        EXPECT_EQ(mr[0].GetValue(), "\xF6");

        std::string const euro = errorOf(withVariables(R"({"name": "a", "label": "5 €"})"));
        EXPECT_TRUE(startsWith(euro, "survey.json: /variables/0/label: ")) << euro;
        EXPECT_NE(euro.find("code page"), std::string::npos) << euro;
        std::string const euroName = errorOf(R"({"variableSets": [{"name": "€"}]})");
        EXPECT_TRUE(startsWith(euroName, "survey.json: /variableSets/0/name: ")) << euroName;
    }
    {
        testing_support::ScopedCodePage const unknown(0, "NOPE");
        EXPECT_EQ(errorOf("{}"), "survey.json: /: unknown code page \"NOPE\"");
    }
    // In UTF-8 mode the same texts pass unchanged, and the 5 letters are 10 bytes: too long.
    auto const ds = load(withVariables(R"({"name": "été", "label": "5 €"})"));
    EXPECT_STREQ(ds.GetVariable(0).GetName(), u8"été");
    EXPECT_STREQ(ds.GetVariable(0).GetLabel(), u8"5 €");
    std::string const tooLong =
        errorOf(withVariables(R"({"name": "a", "type": 10, "missingValues": ["ééééé"]})"));
    EXPECT_TRUE(startsWith(tooLong, "survey.json: /variables/0/missingValues/0: ")) << tooLong;
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
        EXPECT_TRUE(startsWith(error.what(), path + ": /rowCount: ")) << error.what();
    }
    std::remove(path.c_str());

    // Files that cannot be read give the system's reason.
    std::string const missing = ::testing::TempDir() + "no-such-dir/missing.json";
    for (auto const& [unreadable, reason] :
         {std::pair<std::string, char const*>{missing, "No such file or directory"},
          {::testing::TempDir(), "Is a directory"}}) {
        try {
            loadDataSourceFile(unreadable);
            ADD_FAILURE() << unreadable << " was loaded";
        } catch (DataSourceFileError const& error) {
            EXPECT_EQ(error.what(), unreadable + ": " + reason);
        }
    }
}
