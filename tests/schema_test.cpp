#include "schemavalidator.h"
#include "testsupport.h"
#include "transspace.h"
#include "transvalue.h"
#include "transxmlchararray.h"
#include "zeltdatasource.h"
#include "zeltdatasourcefile.h"

#include <cfloat>
#include <clocale>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <string>
#include <unicode/unistr.h>
#include <vector>

using testing_support::OwnedString;
using testing_support::ScopedCodePage;
using testing_support::ScopedLocale;
using Format = ZELT_Variable::FormatType;

namespace {

class Schema : public ::testing::Test {
protected:
    // Every error of the document, one per line; empty when it is valid.
    std::string errors(std::string const& xml, std::string const& name = "doc.xml") {
        std::string text;
        for (ValidationError const& error : validator_.validate(xml, name)) {
            text += error.text() + "\n";
        }
        return text;
    }

    TransSpace space_; // keeps the XML libraries up while the validator lives
    DictionaryValidator validator_;
};

std::string utf8(char16_t const* text) {
    std::string result;
    icu::UnicodeString(text).toUTF8String(result);
    return result;
}

bool contains(std::string const& text, std::string const& part) {
    return text.find(part) != std::string::npos;
}

// The document's XML text in the process code page, as the library writes it.
std::string xmlOf(ZELT_DataSource const& ds) {
    TransStatus status;
    OwnedString const text(TransValue(ds).asMBCSXML(status));
    EXPECT_FALSE(status.failure());
    return text->asMBCS();
}

// The named format codes, so that generated variables use every format name in turn.
constexpr int namedFormats[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 15, 16, 17, 20, 21,
                                22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38,
                                39, 40, 41, 42, 43, 44, 45, 46, 47, 48, 49, 50, 51, 52, 53, 85, 86};
constexpr int formatCount = static_cast<int>(std::size(namedFormats));

// The groups of dictionary children that a generated data source has. Labels and the weight
// variable need variables: without them these groups stay empty.
namespace group {
constexpr unsigned variables = 1;
constexpr unsigned labels = 2;
constexpr unsigned weight = 4;
constexpr unsigned variableSets = 8;
constexpr unsigned responseSets = 16;
constexpr unsigned sourceAttributes = 32;
constexpr unsigned extensions = 64;
constexpr unsigned all = 127;
} // namespace group

DatasourceAttributes attributes(long long version) {
    DatasourceAttributes result;
    result.setVersion(version);
    result.addAttribute("$role", {"identifier"});
    result.addAttribute("Note", {"asked of all", "rounded down"});
    result.addAttribute("", {});
    return result;
}

ZELT_Variable numericVariable(int i, bool labels) {
    ZELT_Variable var("v" + std::to_string(i));
    switch (i % 6) {
    case 1:
        var.setMissingValues({9, 99.5, -0.125});
        break;
    case 2:
        var.setMissingRange(ZELT_Variable::missingLowest, 0);
        break;
    case 3:
        var.setMissingRange(1, ZELT_Variable::missingHighest, -DBL_MAX);
        break;
    case 4:
        var.setMissingValues({1.0 / 3});
        break;
    case 5:
        var.setMissingRange(-2.5, 1e6, 7);
        break;
    default:
        break;
    }
    if (labels) {
        var.addValueLabel(1, "One");
        var.addValueLabel(2.5, "Two and a half");
        var.addValueLabel(-1234567.0625, "Far below");
    }
    return var;
}

ZELT_Variable stringVariable(int i, bool labels) {
    ZELT_Variable var("s" + std::to_string(i), 1 + i % 20);
    var.setMissingStrings({"NA", "A B", " x"});
    if (labels) {
        var.addValueLabel(std::string("LON"), "London");
        var.addValueLabel(std::string("NEW YORK"), "New York");
        var.addValueLabel(std::string(), "Nothing");
    }
    return var;
}

// A data source with every kind of content that the builder writes: all format names, codes
// outside the alignment, measurement-level and format tables, negative integers, discrete and
// range missing values with both markers, numeric and string labels, attributes, every kind of
// multiple-response set and all ten extension codes.
ZELT_DataSource generated(int count, unsigned groups = group::all) {
    ZELT_DataSource ds;
    ds.setTimestamp(1795345509);
    ds.setRowCount(10LL * count);
    for (int i = 0; (groups & group::variables) != 0 && i < count; ++i) {
        bool const labels = (groups & group::labels) != 0;
        ZELT_Variable var = i % 4 == 3 ? stringVariable(i, labels) : numericVariable(i, labels);
        if (i % 3 != 0) {
            var.setLabel(i % 3 == 1 ? "Label of " + std::string(var.GetName()) : "");
        }
        var.setAlignment(i % 5);            // 3 and 4 have no keyword
        var.setMeasurementLevel(i % 6 - 1); // so have -1 and 4
        var.setDisplayWidth(static_cast<short>(i % 7 == 0 ? -3 : i % 40));
        var.setFormat(static_cast<Format>(namedFormats[i % formatCount]), 1 + i % 40, i % 4);
        var.setWriteFormat(
            static_cast<Format>(i % 9 == 0 ? 13 : namedFormats[(i + 7) % formatCount]), -(i % 3),
            2);
        if (i % 2 == 0) {
            var.setAttributes(attributes(i - 5));
        }
        ds.addVariable(var);
    }
    if ((groups & group::weight) != 0 && ds.ColumnCount() > 0) {
        ds.setWeightVariableIndex(ds.ColumnCount() - 1);
    }
    if ((groups & group::variableSets) != 0) {
        ds.addVariableSet(VariableSet("Everything", {"v0", "V1", "unknown", "s3"}));
        ds.addVariableSet(VariableSet("Nothing found", {"unknown"}));
    }
    if ((groups & group::responseSets) != 0) {
        VariableSet brands("$brands", {"v0", "v1", "v2"});
        brands.setType(VariableSet::typeDichotomy);
        brands.setCountedValue("1");
        brands.setLabel("Brands used");
        ds.addMultipleResponseSet(brands);
        VariableSet counted("counted", {"v4"});
        counted.setType(VariableSet::typeDichotomy);
        counted.setUseVariableCategoryLabels(true);
        counted.setLabelSetByVariable(true);
        ds.addMultipleResponseSet(counted);
        ds.addMultipleResponseSet(VariableSet("categories", {"v5", "unknown"}));
        VariableSet other("other");
        other.setType(7);
        other.setLabel("Other kind");
        ds.addMultipleResponseSet(other);
    }
    if ((groups & group::sourceAttributes) != 0) {
        ds.setAttributes(attributes(-9007199254740993LL));
    }
    if ((groups & group::extensions) != 0) {
        int elementSize = 1;
        for (int const code : {1, 2, 3, 4, 6, 8, 9, 10, 12, 15}) {
            std::vector<unsigned char> bytes(code == 1 ? 0 : 2 * elementSize);
            for (std::size_t b = 0; b < bytes.size(); ++b) {
                bytes[b] = static_cast<unsigned char>(0xF7 * b + code);
            }
            ds.addExtension(code, code == 2 ? -2 : code, elementSize, bytes);
            elementSize = elementSize % 8 + 1;
        }
    }
    return ds;
}

} // namespace

TEST_F(Schema, IsTheOneTheLibraryNames) {
    std::string const text(dictionarySchemaText());
    std::string const ns = utf8(TransXMLChArray::schemaDefaultNSValue_s);
    EXPECT_TRUE(contains(text, "targetNamespace=\"" + ns + "\""));
    EXPECT_EQ(ns + " " + dictionarySchemaLocation, utf8(TransXMLChArray::schemaLocationValue_s));
    std::ifstream file(TRANS_SOURCE_DIR "/schema/dictionary-1.0.xsd", std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), text)
        << "the built-in schema is not the one in schema/";
}

TEST_F(Schema, TheSurveyValidatesInEveryEncoding) {
    ZELT_DataSource const survey = loadDataSourceFile(TRANS_SOURCE_DIR "/examples/survey.json");
    EXPECT_EQ("", errors(xmlOf(survey)));

    TransStatus status;
    OwnedString const utf16(TransValue(survey).asUTF16XML(status));
    char16_t const* units = utf16->asUTF16();
    std::string const bytes(reinterpret_cast<char const*>(units),
                            std::char_traits<char16_t>::length(units) * sizeof(char16_t));
    EXPECT_EQ("", errors(bytes));
}

TEST_F(Schema, GeneratedSourcesOfEverySizeValidate) {
    for (int const count : {0, 1, 10, 1000}) {
        std::string const xml = xmlOf(generated(count));
        EXPECT_EQ("", errors(xml)) << count << " variables";
    }
}

TEST_F(Schema, EverySubsetOfGroupsValidates) {
    struct Tag {
        unsigned group;
        char const* tag;
    };
    Tag const tags[] = {{group::variables, "<variable "},
                        {group::labels, "<valueLabelSet>"},
                        {group::weight, "<weightVariable "},
                        {group::variableSets, "<variableSet "},
                        {group::responseSets, "<multipleResponseSet "},
                        {group::extensions, "<extension "}};
    for (unsigned groups = 0; groups <= group::all; ++groups) {
        std::string const xml = xmlOf(generated(6, groups));
        EXPECT_EQ("", errors(xml)) << "groups " << groups;
        bool const variables = (groups & group::variables) != 0;
        for (Tag const& tag : tags) {
            bool const needsVariables = tag.group == group::labels || tag.group == group::weight;
            bool const expected = (groups & tag.group) != 0 && (variables || ! needsVariables);
            EXPECT_EQ(expected, contains(xml, tag.tag)) << "groups " << groups << ": " << tag.tag;
        }
        // Only the data source's attribute set has this version.
        EXPECT_EQ((groups & group::sourceAttributes) != 0,
                  contains(xml, "version=\"-9007199254740993\""))
            << "groups " << groups;
    }
}

TEST_F(Schema, IntegersValidateInEveryNumericLocale) {
    struct Case {
        char const* locale;
        char const* sign; // the locale's negative sign as written, in UTF-8
    };
    for (Case const& c :
         {Case{"de_DE.UTF-8", "\"-3\""}, Case{"ar_EG.UTF-8", "\xD8\x9C-"}, // U+061C, '-'
          Case{"fa_IR.UTF-8", "\xE2\x80\x8E\xE2\x88\x92"}}) {              // U+200E, U+2212
        ScopedLocale const numeric(LC_NUMERIC, c.locale);
        std::string const xml = xmlOf(generated(40));
        EXPECT_TRUE(contains(xml, c.sign)) << c.locale;
        EXPECT_TRUE(contains(xml, "value=\"2.5\"")) << c.locale << ": doubles stay English";
        EXPECT_EQ("", errors(xml)) << c.locale;
    }
}

TEST_F(Schema, SingleByteCodePageValidates) {
    ScopedCodePage const latin1(0, "ISO-8859-1");
    ZELT_DataSource ds = generated(10);
    ZELT_Variable region("r\xE9gion", 8);
    region.setLabel("R\xE9gion of residence");
    region.setMissingStrings({"\xE9t\xE9"});
    region.addValueLabel(std::string("\xC9"), "\xC9st");
    ds.addVariable(region);
    std::string const xml = xmlOf(ds);
    EXPECT_TRUE(contains(xml, "encoding=\"ISO-8859-1\""));
    EXPECT_TRUE(contains(xml, "label=\"R\xE9gion of residence\""));
    EXPECT_EQ("", errors(xml));
}

namespace {

// A small valid document, one element a line, that the cases below break line by line.
std::vector<std::string> const validLines = {
    R"(<?xml version="1.0" encoding="UTF-8"?>)",
    R"(<dictionary xmlns="http://xml.zelt.com/zelt/data" locale="en_US")"
    R"( creationDateTime="2026-11-22T11:05:09" rowCount="3">)",
    R"(<variable name="age" type="0" alignment="right" measurementLevel="scale" displayWidth="8">)",
    R"(<variableFormat type="F" width="3" decimals="0"/>)",
    R"(<variableWriteFormat type="F" width="3" decimals="0"/>)",
    R"(<missingValue data="lowest" type="lowerBound"/>)",
    R"(<missingValue data="0" type="upperBound"/>)",
    R"(<missingValue data="999"/>)",
    R"(</variable>)",
    R"(<valueLabelSet>)",
    R"(<valueLabel value="999" label="Refused"/>)",
    R"(<valueLabelVariable name="age"/>)",
    R"(</valueLabelSet>)",
    R"(<extension type="3" elementSize="1" length="2" data="0AFF"/>)",
    R"(</dictionary>)",
};

// The document with the given lines (1-based) replaced; the line count stays the same.
std::string edited(std::vector<std::pair<std::size_t, std::string>> const& edits) {
    std::vector<std::string> lines = validLines;
    for (auto const& [line, text] : edits) {
        lines.at(line - 1) = text;
    }
    std::string xml;
    for (std::string const& line : lines) {
        xml += line + "\n";
    }
    return xml;
}

} // namespace

TEST_F(Schema, BrokenDocumentsAreRejectedWhereTheyBreak) {
    ASSERT_EQ("", errors(edited({})));
    struct Case {
        char const* what;
        std::vector<std::pair<std::size_t, std::string>> edits;
        unsigned long long line; // where the first error is reported
        char const* message;     // part of its message
    };
    std::vector<Case> const cases = {
        {"formats out of order", {{4, validLines[4]}, {5, validLines[3]}}, 9, "variableFormat"},
        {"extension before a value-label set",
         {{10, validLines[13] + validLines[9]}, {14, ""}},
         15,
         "valueLabelSet"},
        {"unknown format name", {{4, R"(<variableFormat type="Q" width="3"/>)"}}, 4, "'Q'"},
        {"variable without name", {{3, R"(<variable type="0">)"}}, 3, "'name'"},
        {"value-label set without its variable", {{12, ""}}, 13, "valueLabelVariable"},
        {"fourth missing value",
         {{8, R"(<missingValue data="999"/><missingValue data="1"/>)"}},
         9,
         "missingValue"},
        {"non-hex extension data", {{14, R"(<extension data="0AFG"/>)"}}, 14, "0AFG"},
        {"lower-case extension data", {{14, R"(<extension data="0aff"/>)"}}, 14, "0aff"},
        {"unknown attribute",
         {{11, R"(<valueLabel value="999" label="Refused" lang="en"/>)"}},
         11,
         "'lang'"},
        {"grouped integer", {{3, R"(<variable name="age" displayWidth="1,000">)"}}, 3, "1,000"},
        {"plus sign", {{4, R"(<variableFormat width="+3"/>)"}}, 4, "+3"},
        {"negative row count",
         {{2, R"(<dictionary xmlns="http://xml.zelt.com/zelt/data")"
              R"( locale="C" creationDateTime="" rowCount="-1">)"}},
         2,
         "-1"},
        {"unknown alignment", {{3, R"(<variable name="age" alignment="justify">)"}}, 3, "justify"},
        {"no namespace", {{2, R"(<dictionary locale="C" creationDateTime="">)"}}, 2, "namespace"},
        {"another schema location",
         {{2, R"(<dictionary xmlns="http://xml.zelt.com/zelt/data" locale="C" creationDateTime="")"
              R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
              R"( xsi:noNamespaceSchemaLocation="http://example.invalid/other.xsd">)"}},
         2,
         "other.xsd\" is not loaded"},
        {"an external DTD",
         {{1, R"(<!DOCTYPE dictionary SYSTEM "file:///etc/passwd">)"}},
         1,
         "/etc/passwd\" is not loaded"},
    };
    for (Case const& c : cases) {
        std::vector<ValidationError> const found = validator_.validate(edited(c.edits), "doc.xml");
        ASSERT_FALSE(found.empty()) << c.what << " is accepted";
        EXPECT_EQ("doc.xml", found.front().file);
        EXPECT_EQ(c.line, found.front().line) << c.what << ": " << found.front().text();
        EXPECT_GT(found.front().column, 0u) << c.what;
        EXPECT_TRUE(contains(found.front().message, c.message))
            << c.what << ": " << found.front().text();
    }
}

TEST_F(Schema, EveryErrorIsReportedAndTheValidatorIsReusable) {
    std::string const twice =
        edited({{3, R"(<variable type="0" alignment="up">)"}, {14, R"(<extension data="X"/>)"}});
    std::vector<ValidationError> const found = validator_.validate(twice, "twice.xml");
    ASSERT_EQ(3u, found.size()) << errors(twice);
    EXPECT_EQ(3u, found[0].line);
    EXPECT_EQ(14u, found[2].line);
    EXPECT_EQ("", errors(edited({}))) << "errors of an earlier document are not carried over";

    std::string const cut = edited({}).substr(0, 200);
    std::vector<ValidationError> const broken = validator_.validate(cut, "cut.xml");
    ASSERT_EQ(1u, broken.size()) << "a document that is not well-formed stops at its first error";
    EXPECT_EQ(0u, broken.front().text().rfind("cut.xml:", 0));
}
