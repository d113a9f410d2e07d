#include "testsupport.h"
#include "transdictionaryimpl.h"
#include "transspace.h"
#include "xmlsupport.h"
#include "zeltdatasource.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <tuple>
#include <vector>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/PlatformUtils.hpp>

using testing_support::mbcs;
using testing_support::OwnedDocument;
using testing_support::OwnedString;
using testing_support::parseXml;
using testing_support::ScopedCodePage;
using testing_support::ScopedLocale;
using testing_support::take;
using testing_support::takeList;
using testing_support::Texts;
using testing_support::treeShape;
using xercesc::DOMElement;
using xercesc::DOMNode;
using Format = ZELT_Variable::FormatType;

namespace {

class Dictionary : public ::testing::Test {
protected:
    TransSpace space_; // keeps the XML libraries up
};

OwnedDocument build(ZELT_DataSource const& ds) {
    TransDictionaryImpl builder;
    return OwnedDocument(builder.addDictionary(ds));
}

// The names of the format are ASCII; anything else shows as '?'.
std::string narrow(XMLCh const* text) {
    std::string result;
    for (; text != nullptr && *text != 0; ++text) {
        result += *text < 0x80 ? static_cast<char>(*text) : '?';
    }
    return result;
}

std::u16string attr(DOMElement const* element, char16_t const* name) {
    return element->hasAttribute(name) ? std::u16string(element->getAttribute(name)) : u"<absent>";
}

// All attributes of an element as "name=value", sorted by name.
std::u16string attrs(DOMElement const* element) {
    std::map<std::u16string, std::u16string> sorted;
    xercesc::DOMNamedNodeMap const* map = element->getAttributes();
    for (XMLSize_t i = 0; i < map->getLength(); ++i) {
        sorted.emplace(map->item(i)->getNodeName(), map->item(i)->getNodeValue());
    }
    std::u16string text;
    for (auto const& [name, value] : sorted) {
        text += (text.empty() ? u"" : u" ") + name + u"=" + value;
    }
    return text;
}

// The names of all child nodes in document order; with `collapse`, runs of one name are written
// once with their length: "variable*3 weightVariable".
std::string names(DOMNode const* parent, bool collapse = false) {
    std::string text;
    std::string last;
    int count = 0;
    auto const flush = [&] {
        if (count > 0) {
            text +=
                (text.empty() ? "" : " ") + last + (count > 1 ? "*" + std::to_string(count) : "");
        }
    };
    for (DOMNode const* child = parent->getFirstChild(); child; child = child->getNextSibling()) {
        std::string const name = narrow(child->getNodeName());
        if (! collapse || name != last) {
            flush();
            last = name;
            count = 0;
        }
        ++count;
    }
    flush();
    return text;
}

std::vector<DOMElement const*> elements(DOMNode const* parent, char16_t const* tag) {
    std::vector<DOMElement const*> found;
    for (DOMNode const* child = parent->getFirstChild(); child; child = child->getNextSibling()) {
        if (child->getNodeType() == DOMNode::ELEMENT_NODE &&
            child->getNodeName() == std::u16string(tag)) {
            found.push_back(static_cast<DOMElement const*>(child));
        }
    }
    return found;
}

// Each child element as "tag:what identifies it" (its name, its value, the variable of a
// value-label set or the type of an extension), in document order.
std::string sequence(DOMElement const* parent) {
    std::string text;
    for (DOMElement const* child = parent->getFirstElementChild(); child;
         child = child->getNextElementSibling()) {
        std::string item = narrow(child->getTagName());
        if (child->hasAttribute(u"name")) {
            item += ":" + narrow(child->getAttribute(u"name"));
        } else if (child->hasAttribute(u"value")) {
            item += ":" + narrow(child->getAttribute(u"value"));
        } else if (item == "valueLabelSet") {
            item += ":" + narrow(child->getLastElementChild()->getAttribute(u"name"));
        } else if (item == "extension") {
            item += ":" + narrow(child->getAttribute(u"type"));
        }
        text += (text.empty() ? "" : ", ") + item;
    }
    return text;
}

// Queries through the library.
std::u16string ask(TransValue const& value, char16_t const* context, char16_t const* path) {
    TransStatus status;
    std::u16string answer = take(value.asString(TransString(context), TransString(path), status));
    EXPECT_FALSE(status.failure()) << narrow(context) << " " << narrow(path);
    return answer;
}

Texts askList(TransValue const& value, char16_t const* context, char16_t const* path) {
    return takeList(value.asStringList(TransString(context), TransString(path)));
}

double number(TransValue const& value, char16_t const* path) {
    return value.asDouble(TransString(u"/"), TransString(path));
}

ZELT_Variable labelled(std::string name, std::string label, int type = 0) {
    ZELT_Variable var(std::move(name), type);
    var.setLabel(std::move(label));
    return var;
}

DatasourceAttributes
attributes(std::vector<std::pair<std::string, std::vector<std::string>>> entries,
           long long version = 0) {
    DatasourceAttributes result;
    result.setVersion(version);
    for (auto& [name, values] : entries) {
        result.addAttribute(name, values);
    }
    return result;
}

} // namespace

TEST_F(Dictionary, HeaderCarriesNamespacesLocaleTimeAndRowCount) {
    ZELT_DataSource ds;
    ds.setTimestamp(1700000000.75);
    {
        ScopedLocale const ctype(LC_CTYPE, "C");
        auto doc = build(ds);
        DOMElement const* root = doc->getDocumentElement();
        EXPECT_EQ(u"dictionary", std::u16string(root->getTagName()));
        EXPECT_EQ(nullptr, root->getNamespaceURI());
        EXPECT_EQ("", names(root));
        std::u16string const ns = attr(root, u"xmlns");
        EXPECT_EQ(0u, ns.rfind(u"http://", 0)) << narrow(ns.c_str());
        EXPECT_EQ(ns.size() - 10, ns.rfind(u"/zelt/data"));
        EXPECT_EQ(u"http://www.w3.org/2001/XMLSchema-instance", attr(root, u"xmlns:xsi"));
        EXPECT_EQ(ns + u" " + ns + u"/dictionary-1.0.xsd", attr(root, u"xsi:schemaLocation"));
        EXPECT_EQ(u"C", attr(root, u"locale"));
        EXPECT_EQ(u"2023-11-14T22:13:20", attr(root, u"creationDateTime"));
        EXPECT_EQ(5u, root->getAttributes()->getLength()); // no rowCount: the default is -1
    }

    ScopedLocale const german(LC_CTYPE, "de_DE.UTF-8");
    TransValue const value(ds);
    EXPECT_EQ(u"de_DE", ask(value, u"/dictionary", u"@locale"));
    std::string const xml = mbcs(*OwnedString(value.asMBCSXML()));
    EXPECT_EQ(0u,
              xml.find("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?><dictionary"));
    // A reader of the text sees the elements in the default namespace.
    auto parsed = parseXml(xml);
    ASSERT_NE(nullptr, parsed);
    EXPECT_EQ(attr(parsed->getDocumentElement(), u"xmlns"),
              std::u16string(parsed->getDocumentElement()->getNamespaceURI()));

    struct Case {
        long long rows;
        double timestamp;
        char16_t const* rowCount;
        char16_t const* created;
    };
    Case const cases[] = {
        {0, 0.0, u"0", u"1970-01-01T00:00:00"},
        {1234567, 951782400.0, u"1234567", u"2000-02-29T00:00:00"},
        {LLONG_MAX, -1.0, u"9223372036854775807", u"1969-12-31T23:59:59"},
        {-1, std::nan(""), u"<absent>", u""}, // an empty time is still written
        {LLONG_MIN, HUGE_VAL, u"<absent>", u""},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.rows);
        ZELT_DataSource source;
        source.setRowCount(c.rows);
        source.setTimestamp(c.timestamp);
        auto doc = build(source);
        EXPECT_EQ(c.rowCount, attr(doc->getDocumentElement(), u"rowCount"));
        EXPECT_EQ(c.created, attr(doc->getDocumentElement(), u"creationDateTime"));
    }
}

TEST_F(Dictionary, VariablesCarryTheirPropertiesAndBothFormats) {
    ZELT_DataSource ds;
    ds.addVariable(ZELT_Variable("num"));
    ZELT_Variable var = labelled("str", "", 8);
    var.setMeasurementLevel(3);
    ds.addVariable(var);
    var = labelled("share", "Share");
    var.setAlignment(2);
    var.setMeasurementLevel(1);
    var.setDisplayWidth(12);
    var.setFormat(Format::PERCENT, 6, 1);
    var.setWriteFormat(Format::G, 10, 3);
    ds.addVariable(var);
    var = ZELT_Variable("ord", 32767);
    var.setMeasurementLevel(2);
    var.setFormat(Format::MTIME, 5, 0);
    ds.addVariable(var);
    // Codes outside the tables: the attribute is left out, the element kept.
    var = ZELT_Variable("odd");
    var.setAlignment(7);
    var.setMeasurementLevel(-1);
    var.setDisplayWidth(-3);
    var.setFormat(static_cast<Format>(13), 4, 0);
    var.setWriteFormat(static_cast<Format>(200), -1, -2);
    ds.addVariable(var);
    var = ZELT_Variable("odder");
    var.setAlignment(-1);
    var.setMeasurementLevel(4);
    ds.addVariable(var);

    std::u16string const f82 = u"decimals=2 type=F width=8";
    std::vector<std::tuple<std::u16string, std::u16string, std::u16string>> const expected = {
        {u"alignment=right displayWidth=8 measurementLevel=unknown name=num type=0", f82, f82},
        {u"alignment=left displayWidth=8 label= measurementLevel=scale name=str type=8",
         u"decimals=0 type=A width=8", u"decimals=0 type=A width=8"},
        {u"alignment=center displayWidth=12 label=Share measurementLevel=nominal name=share type=0",
         u"decimals=1 type=PERCENT width=6", u"decimals=3 type=G width=10"},
        {u"alignment=left displayWidth=8 measurementLevel=ordinal name=ord type=32767",
         u"decimals=0 type=MTIME width=5", u"decimals=0 type=A width=32767"},
        {u"displayWidth=-3 name=odd type=0", u"decimals=0 width=4", u"decimals=-2 width=-1"},
        {u"displayWidth=8 name=odder type=0", f82, f82},
    };
    auto doc = build(ds);
    auto const variables = elements(doc->getDocumentElement(), u"variable");
    ASSERT_EQ(expected.size(), variables.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE(i);
        auto const& [variable, print, write] = expected[i];
        EXPECT_EQ(variable, attrs(variables[i]));
        ASSERT_EQ("variableFormat variableWriteFormat", names(variables[i]));
        EXPECT_EQ(print, attrs(variables[i]->getFirstElementChild()));
        EXPECT_EQ(write, attrs(variables[i]->getLastElementChild()));
    }
}

TEST_F(Dictionary, FormatCodesMapToTheirNames) {
    std::map<int, std::u16string> const named = {
        {1, u"A"},       {2, u"AHEX"},     {3, u"COMMA"},     {4, u"DOLLAR"}, {5, u"F"},
        {6, u"IB"},      {7, u"IBHEX"},    {8, u"P"},         {9, u"PIB"},    {10, u"PK"},
        {11, u"RB"},     {12, u"RBHEX"},   {15, u"Z"},        {16, u"N"},     {17, u"E"},
        {20, u"DATE"},   {21, u"TIME"},    {22, u"DATETIME"}, {23, u"ADATE"}, {24, u"JDATE"},
        {25, u"DTIME"},  {26, u"WKDAY"},   {27, u"MONTH"},    {28, u"MOYR"},  {29, u"QYR"},
        {30, u"WKYR"},   {31, u"PERCENT"}, {32, u"DOT"},      {33, u"CCA"},   {34, u"CCB"},
        {35, u"CCC"},    {36, u"CCD"},     {37, u"CCE"},      {38, u"EDATE"}, {39, u"SDATE"},
        {40, u"G"},      {41, u"LNUMBER"}, {42, u"LDATE"},    {43, u"LTIME"}, {44, u"LCA"},
        {45, u"LCB"},    {46, u"LCC"},     {47, u"LCD"},      {48, u"LCE"},   {49, u"LCF"},
        {50, u"LCG"},    {51, u"LCH"},     {52, u"LCI"},      {53, u"LCJ"},   {85, u"MTIME"},
        {86, u"YMDHMS"},
    };
    auto const name = [&named](int code) {
        auto const found = named.find(code);
        return found != named.end() ? found->second : u"<absent>";
    };
    std::vector<int> codes = {INT_MIN, -1, 200};
    for (int code = 0; code <= 88; ++code) {
        codes.push_back(code);
    }
    ZELT_DataSource ds;
    for (int code : codes) {
        ZELT_Variable var("c" + std::to_string(code));
        var.setFormat(static_cast<Format>(code), 8, 0);
        var.setWriteFormat(static_cast<Format>(code + 1), 9, 1);
        ds.addVariable(var);
    }
    auto doc = build(ds);
    auto const variables = elements(doc->getDocumentElement(), u"variable");
    ASSERT_EQ(codes.size(), variables.size());
    for (std::size_t i = 0; i < codes.size(); ++i) {
        SCOPED_TRACE(codes[i]);
        EXPECT_EQ(name(codes[i]), attr(variables[i]->getFirstElementChild(), u"type"));
        EXPECT_EQ(name(codes[i] + 1), attr(variables[i]->getLastElementChild(), u"type"));
    }
}

TEST_F(Dictionary, MissingValuesFollowTheWriteFormat) {
    double const lowest = std::nextafter(-DBL_MAX, 0.0);
    std::vector<std::pair<ZELT_Variable, Texts>> cases; // values as "data" or "data/type"
    ZELT_Variable var("three");
    var.setMissingValues({9, 99, 999});
    cases.emplace_back(var, Texts{u"9", u"99", u"999"});
    var = ZELT_Variable("low");
    var.setMissingRange(lowest, 0);
    cases.emplace_back(var, Texts{u"lowest/lowerBound", u"0/upperBound"});
    var = ZELT_Variable("high");
    var.setMissingRange(1, DBL_MAX, 0);
    cases.emplace_back(var, Texts{u"1/lowerBound", u"highest/upperBound", u"0"});
    var = ZELT_Variable("extreme"); // markers go by their bits, also as discrete values
    var.setMissingValues({-DBL_MAX, DBL_MAX, lowest});
    cases.emplace_back(
        var, Texts{u"-17976931348623157" + std::u16string(292, u'0'), u"highest", u"lowest"});
    var = ZELT_Variable("fraction");
    var.setMissingRange(-0.5, 0.12345, 1e-4);
    cases.emplace_back(var, Texts{u"-0.5/lowerBound", u"0.123/upperBound", u"0"});
    var = ZELT_Variable("s4", 4);
    var.setMissingStrings({"AB", "A B", " X"});
    cases.emplace_back(var, Texts{u"AB", u"A", u""});
    var = ZELT_Variable("s20", 20);
    var.setMissingStrings({"ABCDEFGH", std::string("C\0D", 3)});
    cases.emplace_back(var, Texts{u"ABCDEFGH", u"C"});
    var = ZELT_Variable("s2", 2);
    var.setMissingStrings({"ABCD"});
    cases.emplace_back(var, Texts{u"AB"});
    cases.emplace_back(ZELT_Variable("none"), Texts{});

    ZELT_DataSource ds;
    for (auto const& c : cases) {
        ds.addVariable(c.first);
    }
    auto doc = build(ds);
    auto const variables = elements(doc->getDocumentElement(), u"variable");
    ASSERT_EQ(cases.size(), variables.size());
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(cases[i].first.GetName());
        std::string shape = "variableFormat variableWriteFormat";
        Texts found;
        for (DOMElement const* missing : elements(variables[i], u"missingValue")) {
            std::u16string const type = attr(missing, u"type");
            found.push_back(attr(missing, u"data") + (type == u"<absent>" ? u"" : u"/" + type));
            shape += " missingValue";
        }
        EXPECT_EQ(shape, names(variables[i]));
        EXPECT_EQ(cases[i].second, found);
    }
}

TEST_F(Dictionary, ValueLabelSetsFollowTheVariablesAndTheWeight) {
    ZELT_DataSource ds;
    ZELT_Variable numeric("n");
    numeric.addValueLabel(2, "two");
    numeric.addValueLabel(1.5, "one and a half");
    numeric.addValueLabel(0.12345, "small");
    ds.addVariable(numeric);
    ds.addVariable(ZELT_Variable("plain"));
    ZELT_Variable text("s", 8);
    text.addValueLabel("AB CD", "first");
    text.addValueLabel("ABCDEFGHIJ", "long"); // not limited to eight bytes
    text.addValueLabel(std::string("Q\0R", 3), "zero");
    ds.addVariable(text);
    for (char const* name : {"t1", "t2"}) { // identical labels, separate sets
        ZELT_Variable twin(name);
        twin.addValueLabel(1, "yes");
        twin.addValueLabel(0, "no");
        ds.addVariable(twin);
    }
    ds.setWeightVariable("PLAIN");

    auto doc = build(ds);
    DOMElement const* root = doc->getDocumentElement();
    EXPECT_EQ(
        "variable:n, variable:plain, variable:s, variable:t1, variable:t2, weightVariable:plain, "
        "valueLabelSet:n, valueLabelSet:s, valueLabelSet:t1, valueLabelSet:t2",
        sequence(root));
    auto const sets = elements(root, u"valueLabelSet");
    ASSERT_EQ(4u, sets.size());
    EXPECT_EQ(u"", attrs(sets[0]));
    EXPECT_EQ("valueLabel valueLabel valueLabel valueLabelVariable", names(sets[0]));
    EXPECT_EQ("valueLabel valueLabel valueLabelVariable", names(sets[3]));
    Texts labels;
    for (DOMElement const* set : sets) {
        for (DOMElement const* label : elements(set, u"valueLabel")) {
            labels.push_back(attrs(label));
        }
    }
    EXPECT_EQ((Texts{u"label=two value=2", u"label=one and a half value=1.5",
                     u"label=small value=0.123", u"label=first value=AB",
                     u"label=long value=ABCDEFGHIJ", u"label=zero value=Q", u"label=yes value=1",
                     u"label=no value=0", u"label=yes value=1", u"label=no value=0"}),
              labels);

    TransValue const value(ds);
    EXPECT_EQ(u"AB", ask(value, u"/dictionary/valueLabelSet[valueLabelVariable/@name='s']",
                         u"valueLabel[1]/@value"));
    EXPECT_EQ(4, number(value, u"count(/dictionary/valueLabelSet/valueLabelVariable)"));
}

TEST_F(Dictionary, SetsNameTheFoundVariablesAndTheirLabelChildren) {
    ZELT_DataSource ds;
    for (char const* name : {"Age", "Income", "Q1", "Q2"}) {
        ds.addVariable(ZELT_Variable(name));
    }
    ds.addVariableSet(VariableSet("MixedCase", {"age", "INCOME", "unknown", "AGE"}));
    ds.addVariableSet(VariableSet("Empty", {"nothing"}));
    VariableSet set("Dich", {"q1", "Q2"});
    set.setType(VariableSet::typeDichotomy);
    set.setCountedValue("1");
    set.setLabel("Label one");
    ds.addMultipleResponseSet(set);
    set = VariableSet("Counted", {"Q2"});
    set.setType(VariableSet::typeDichotomy);
    set.setUseVariableCategoryLabels(true);
    set.setLabelSetByVariable(true);
    set.setLabel("never read");
    ds.addMultipleResponseSet(set);
    set = VariableSet("Categories", {"q1"});
    set.setCountedValue("5"); // only a dichotomy set has a counted value
    ds.addMultipleResponseSet(set);
    set = VariableSet("Orphan", {"gone", "lost"});
    set.setType(7);
    set.setLabel("L");
    ds.addMultipleResponseSet(set);

    auto doc = build(ds);
    DOMElement const* root = doc->getDocumentElement();
    EXPECT_EQ("variable*4 variableSet*2 multipleResponseSet*4", names(root, true));
    auto const sets = elements(root, u"variableSet");
    auto const responses = elements(root, u"multipleResponseSet");
    ASSERT_EQ(2u, sets.size());
    ASSERT_EQ(4u, responses.size());
    EXPECT_EQ(u"name=MixedCase", attrs(sets[0]));
    EXPECT_EQ("variableSetVariable:Age, variableSetVariable:Income, variableSetVariable:Age",
              sequence(sets[0]));
    EXPECT_EQ("", names(sets[1]));
    EXPECT_EQ(u"name=Dich", attrs(responses[0]));
    EXPECT_EQ("multipleResponseSetCategoryLabels:variableLabels, multipleResponseSetDichotomy:1, "
              "multipleResponseSetLabel:Label one, multipleResponseSetVariable:Q1, "
              "multipleResponseSetVariable:Q2",
              sequence(responses[0]));
    EXPECT_EQ("multipleResponseSetCategoryLabels:countedValues, "
              "multipleResponseSetLabelSource:variableLabel, multipleResponseSetVariable:Q2",
              sequence(responses[1]));
    EXPECT_EQ("multipleResponseSetVariable:Q1", sequence(responses[2]));
    EXPECT_EQ("multipleResponseSetLabel:L", sequence(responses[3]));

    TransValue const value(ds);
    EXPECT_EQ((Texts{u"Age", u"Income", u"Age"}),
              askList(value, u"/dictionary/variableSet[1]", u"variableSetVariable/@name"));
}

TEST_F(Dictionary, WeightVariableAndAttributeSets) {
    ZELT_DataSource ds;
    ZELT_Variable annotated("a");
    annotated.setMissingValues({1});
    annotated.setAttributes(
        attributes({{"Note", {"a", "b"}}, {"$sys", {"x"}}, {"", {}}, {"x$", {""}}}, 7));
    ds.addVariable(annotated);
    ds.addVariable(ZELT_Variable("b"));
    ZELT_Variable weight("Wgt");
    weight.addValueLabel(1, "one");
    ds.addVariable(weight);
    ds.setWeightVariable("WGT");
    ds.setAttributes(attributes({{"$VD.Created", {"2024"}}}, -5));

    auto doc = build(ds);
    DOMElement const* root = doc->getDocumentElement();
    EXPECT_EQ("variable*3 weightVariable valueLabelSet attributeSet", names(root, true));
    EXPECT_EQ(u"name=Wgt", attrs(elements(root, u"weightVariable").at(0)));
    auto const variables = elements(root, u"variable");
    EXPECT_EQ("variableFormat variableWriteFormat missingValue attributeSet", names(variables[0]));
    EXPECT_EQ("variableFormat variableWriteFormat", names(variables[1]));

    DOMElement const* set = variables[0]->getLastElementChild();
    EXPECT_EQ(u"version=7", attrs(set));
    EXPECT_EQ("attribute attribute attribute attribute", names(set));
    Texts found;
    for (DOMElement const* attribute : elements(set, u"attribute")) {
        found.push_back(attrs(attribute) + u":");
        for (DOMElement const* text : elements(attribute, u"attributeValue")) {
            found.back() += u" " + attrs(text);
        }
    }
    EXPECT_EQ((Texts{u"name=Note type=user: value=a value=b", u"name=$sys type=system: value=x",
                     u"name= type=user:", u"name=x$ type=user: value="}),
              found);

    DOMElement const* own = elements(root, u"attributeSet").at(0);
    EXPECT_EQ(u"version=-5", attrs(own));
    EXPECT_EQ(u"name=$VD.Created type=system", attrs(own->getFirstElementChild()));

    TransValue const value(ds);
    EXPECT_EQ((Texts{u"a", u"b"}), askList(value, u"/dictionary/variable[@name='a']/attributeSet",
                                           u"attribute[@name='Note']/attributeValue/@value"));
}

TEST_F(Dictionary, ExtensionsComeLastInCodeOrderAsHex) {
    ZELT_DataSource ds;
    ds.addVariable(ZELT_Variable("v"));
    ds.setAttributes(attributes({{"k", {"v"}}}));
    std::vector<unsigned char> sixteen;
    for (unsigned char b = 0; b < 16; ++b) {
        sixteen.push_back(b);
    }
    ds.addExtension(15, 99, 1, {0x00, 0x0A, 0xFF});
    ds.addExtension(3, 7, 8, sixteen);
    ds.addExtension(1, 1, 4, {});
    ds.addExtension(10, -2, 2, {0xBE, 0xEF});
    for (int unasked : {5, 7, 11, 13, 14, 16}) {
        ds.addExtension(unasked, unasked, 1, {0x01});
    }

    auto doc = build(ds);
    DOMElement const* root = doc->getDocumentElement();
    EXPECT_EQ("variable attributeSet extension*4", names(root, true));
    Texts found;
    for (DOMElement const* extension : elements(root, u"extension")) {
        found.push_back(attrs(extension));
    }
    EXPECT_EQ((Texts{u"data= elementSize=4 length=0 type=1",
                     u"data=000102030405060708090A0B0C0D0E0F elementSize=8 length=2 type=7",
                     u"data=BEEF elementSize=2 length=1 type=-2",
                     u"data=000AFF elementSize=1 length=3 type=99"}),
              found);
}

TEST_F(Dictionary, GroupsKeepTheirOrderWhateverSubsetIsPresent) {
    for (unsigned mask = 0; mask < 128; ++mask) {
        bool const plain = mask & 1u, labels = mask & 2u, weight = mask & 4u, sets = mask & 8u,
                   responses = mask & 16u, own = mask & 32u, extensions = mask & 64u;
        ZELT_DataSource ds;
        std::string variables;
        std::string labelSets;
        // Labelled variables between unlabelled ones: their sets still stand after all variables.
        for (auto const& [on, name, labelled] :
             {std::tuple(plain, "p1", false), std::tuple(labels, "l1", true),
              std::tuple(weight, "w", false), std::tuple(plain, "p2", false),
              std::tuple(labels, "l2", true)}) {
            if (on) {
                ZELT_Variable var(name);
                if (labelled) {
                    var.addValueLabel(1, "one");
                    labelSets += std::string(", valueLabelSet:") + name;
                }
                ds.addVariable(var);
                variables += std::string(", variable:") + name;
            }
        }
        std::string expected = variables;
        if (weight) {
            ds.setWeightVariable("w");
            expected += ", weightVariable:w";
        }
        expected += labelSets;
        if (sets) {
            ds.addVariableSet(VariableSet("vs1", {"p1"}));
            ds.addVariableSet(VariableSet("vs2"));
            expected += ", variableSet:vs1, variableSet:vs2";
        }
        if (responses) {
            ds.addMultipleResponseSet(VariableSet("mr1", {"l1"}));
            ds.addMultipleResponseSet(VariableSet("mr2"));
            expected += ", multipleResponseSet:mr1, multipleResponseSet:mr2";
        }
        if (own) {
            ds.setAttributes(attributes({{"k", {"v"}}}));
            expected += ", attributeSet";
        }
        if (extensions) {
            ds.addExtension(12, 12, 1, {1});
            ds.addExtension(2, 2, 1, {2});
            expected += ", extension:2, extension:12";
        }
        auto doc = build(ds);
        EXPECT_EQ(expected.empty() ? "" : expected.substr(2), sequence(doc->getDocumentElement()))
            << "groups " << mask;
    }
}

TEST_F(Dictionary, GermanNumericLocaleKeepsNumbersReadable) {
    ZELT_DataSource ds;
    ds.setRowCount(1234567);
    ZELT_Variable amount("amount");
    amount.setDisplayWidth(12345);
    amount.setFormat(Format::COMMA, 1000, 2);
    amount.setMissingValues({1234.5, -0.25});
    amount.addValueLabel(1234567.125, "big");
    amount.addValueLabel(0.5, "half");
    amount.setAttributes(attributes({{"k", {"1.5"}}}, 9876543210LL));
    ds.addVariable(amount);
    ds.addExtension(2, 1234, 1, std::vector<unsigned char>(1500));

    ScopedLocale const german(LC_NUMERIC, "de_DE.UTF-8");
    TransValue const value(ds);
    char16_t const* const var = u"/dictionary/variable";
    EXPECT_EQ(u"1234567", ask(value, u"/dictionary", u"@rowCount"));
    EXPECT_EQ(u"12345", ask(value, var, u"@displayWidth"));
    EXPECT_EQ(u"1000", ask(value, var, u"variableFormat/@width"));
    EXPECT_EQ(u"9876543210", ask(value, var, u"attributeSet/@version"));
    EXPECT_EQ((Texts{u"1234.5", u"-0.25"}), askList(value, var, u"missingValue/@data"));
    EXPECT_EQ((Texts{u"1234567.125", u"0.5"}),
              askList(value, u"/dictionary/valueLabelSet", u"valueLabel/@value"));
    EXPECT_EQ(u"1234 1 1500", ask(value, u"/dictionary/extension",
                                  u"concat(@type, ' ', @elementSize, ' ', @length)"));

    // The text parses back to the same tree.
    auto parsed = parseXml(mbcs(*OwnedString(value.asMBCSXML())));
    ASSERT_NE(nullptr, parsed);
    EXPECT_EQ(treeShape(build(ds).get()), treeShape(parsed.get()));
}

TEST_F(Dictionary, TextsAreConvertedFromTheProcessCodePage) {
    struct Encoded {
        int utf8Mode;
        char const* codePage;
        std::string name, label, value, set; // Größe, Café, été, Maße
    };
    Encoded const encodings[] = {
        {1, "", "Gr\303\266\303\237e", "Caf\303\251", "\303\251t\303\251", "Ma\303\237e"},
        {0, "ISO-8859-1", "Gr\366\337e", "Caf\351", "\351t\351", "Ma\337e"},
    };
    for (Encoded const& t : encodings) {
        SCOPED_TRACE(t.codePage);
        ScopedCodePage const codePage(t.utf8Mode, t.codePage);
        ZELT_DataSource ds;
        ZELT_Variable var = labelled(t.name, t.label, 8);
        var.setMissingStrings({t.value});
        var.addValueLabel(t.value, t.label);
        var.setAttributes(attributes({{t.set, {t.label}}}));
        ds.addVariable(var);
        ds.setWeightVariable(t.name);
        ds.addVariableSet(VariableSet(t.set, {t.name}));
        VariableSet response(t.set, {t.name});
        response.setType(VariableSet::typeDichotomy);
        response.setCountedValue(t.value);
        response.setLabel(t.label);
        ds.addMultipleResponseSet(response);

        TransValue const value(ds);
        EXPECT_EQ(u"Größe/Café/été/Maße/Café/Größe/été/Café/Maße/Größe/été/Café",
                  ask(value, u"/dictionary",
                      u"concat(variable/@name, '/', variable/@label, '/', "
                      u"variable/missingValue/@data, '/', variable/attributeSet/attribute/@name, "
                      u"'/', variable/attributeSet/attribute/attributeValue/@value, '/', "
                      u"weightVariable/@name, '/', valueLabelSet/valueLabel/@value, '/', "
                      u"valueLabelSet/valueLabel/@label, '/', variableSet/@name, '/', "
                      u"variableSet/variableSetVariable/@name, '/', "
                      u"multipleResponseSet/multipleResponseSetDichotomy/@value, '/', "
                      u"multipleResponseSet/multipleResponseSetLabel/@value)"));
        EXPECT_NE(std::u16string::npos, take(value.asUTF16XML()).find(u"name=\"Größe\""));
    }
}

// While a space is alive the builder keeps number formatters and converters between calls. With the
// numeric locale and the code page switched between calls, every document is still, byte for byte,
// the one built while nothing is kept.
TEST(DictionaryKeptObjects, DocumentsEqualThoseBuiltWithNothingKept) {
    struct Setting {
        char const* locale;
        int utf8Mode;
        char const* codePage;
    };
    // Neighbours differ in their digits or their code page.
    Setting const settings[] = {{"en_US.UTF-8", 1, ""},
                                {"ar_EG.UTF-8", 0, "ISO-8859-1"},
                                {"de_DE.UTF-8", 0, "windows-1251"},
                                {"ar_EG.UTF-8", 1, ""},
                                {"C", 1, ""}};
    // Texts that are valid, and different, in each code page.
    ZELT_DataSource ds;
    ds.setRowCount(1234567);
    ZELT_Variable amount = labelled("Gr\303\266\303\237e", "Caf\303\251 \321\217");
    amount.setDisplayWidth(-12);
    amount.setMissingValues({-0.0, 1234.5, 1e20});
    amount.addValueLabel(-3.0, "minus \303\251");
    amount.addValueLabel(0.125, "eighth");
    amount.addValueLabel(9007199254740992.0, "2^53");
    amount.setAttributes(attributes({{"\303\251t\303\251", {"1.5", "\303\237"}}}, 98765));
    ds.addVariable(amount);
    ZELT_Variable code = labelled("code", "\303\251", 8);
    code.setMissingStrings({"\303\251t\303\251"});
    code.addValueLabel("\303\251", "\303\251");
    ds.addVariable(code);
    ds.addExtension(2, 1234, 1, std::vector<unsigned char>(3));

    auto document = [&](Setting const& setting) {
        ScopedLocale const locale(LC_NUMERIC, setting.locale);
        ScopedCodePage const codePage(setting.utf8Mode, setting.codePage);
        return take(TransValue(ds).asUTF16XML());
    };
    std::vector<std::u16string> expected;
    xercesc::XMLPlatformUtils::Initialize(); // the XML libraries without a space
    for (Setting const& setting : settings) {
        expected.push_back(document(setting));
    }
    xercesc::XMLPlatformUtils::Terminate();
    for (std::size_t i = 1; i < expected.size(); ++i) {
        EXPECT_NE(expected[i - 1], expected[i]) << "settings " << i - 1 << " and " << i;
    }

    TransSpace space;
    for (int round = 0; round < 2; ++round) {
        for (std::size_t step = 0; step < std::size(settings); ++step) {
            std::size_t const i = round == 0 ? step : std::size(settings) - 1 - step;
            EXPECT_EQ(expected[i], document(settings[i])) << "setting " << i << ", round " << round;
        }
    }
}

TEST_F(Dictionary, LargeDataSourceKeepsEveryGroupInOrder) {
    // 2,000 keep the test quick under valgrind; Robustness.HundredThousandVariablesAtScale goes
    // further.
    int const count = 2000;
    ZELT_DataSource ds;
    ds.reserveVariables(count);
    std::string expected;
    std::string labelSets;
    for (int i = 0; i < count; ++i) {
        std::string const name = "v" + std::to_string(i);
        ZELT_Variable var(name);
        var.setFormat(i % 2 == 0 ? Format::F : Format::PERCENT, 8, i % 4);
        var.setMissingValues({-static_cast<double>(i)});
        if (i % 2 == 1) {
            var.addValueLabel(1, "yes");
            var.addValueLabel(0, "no");
            labelSets += ", valueLabelSet:" + name;
        }
        if (i % 10 == 0) {
            var.setAttributes(attributes({{"$index", {std::to_string(i)}}}));
        }
        ds.addVariable(std::move(var));
        expected += ", variable:" + name;
    }
    expected += ", weightVariable:v1999" + labelSets;
    for (int s = 0; s < 30; ++s) {
        VariableSet set("set" + std::to_string(s));
        for (int k = 0; k < 10; ++k) {
            set.addVariableName("V" + std::to_string(s * 50 + k));
        }
        ds.addVariableSet(set);
        expected += ", variableSet:set" + std::to_string(s);
    }
    VariableSet response("$mr", {"v1", "v2", "v3"});
    response.setType(VariableSet::typeDichotomy);
    response.setCountedValue("1");
    ds.addMultipleResponseSet(response);
    ds.setWeightVariable("v1999");
    ds.setAttributes(attributes({{"source", {"generated"}}}));
    ds.addExtension(4, 4, 8, std::vector<unsigned char>(800, 0x11));
    expected += ", multipleResponseSet:$mr, attributeSet, extension:4";

    auto doc = build(ds);
    DOMElement const* root = doc->getDocumentElement();
    ASSERT_EQ("variable*2000 weightVariable valueLabelSet*1000 variableSet*30 multipleResponseSet "
              "attributeSet extension",
              names(root, true));
    ASSERT_EQ(expected.substr(2), sequence(root)); // and in the data source's order within groups
    auto const variables = elements(root, u"variable");
    for (int i = 0; i < count; ++i) {
        ASSERT_EQ(std::string("variableFormat variableWriteFormat missingValue") +
                      (i % 10 == 0 ? " attributeSet" : ""),
                  names(variables[static_cast<std::size_t>(i)]))
            << i;
    }

    TransValue const value(doc.get());
    EXPECT_EQ(count, number(value, u"count(dictionary/variable)"));
    EXPECT_EQ(count, number(value, u"count(dictionary/variable/missingValue)"));
    EXPECT_EQ(count / 10, number(value, u"count(dictionary/variable/attributeSet)"));
    EXPECT_EQ(count, number(value, u"count(dictionary/valueLabelSet/valueLabel)"));
    EXPECT_EQ(300, number(value, u"count(dictionary/variableSet/variableSetVariable)"));
    EXPECT_EQ(u"v1459",
              ask(value, u"/dictionary/variableSet[30]", u"variableSetVariable[10]/@name"));
    EXPECT_EQ(5, number(value, u"count(dictionary/multipleResponseSet/*)"));
    EXPECT_EQ(1600, number(value, u"string-length(dictionary/extension/@data)"));
}

TEST_F(Dictionary, InsertAfterTagPlacesBehindTheLastElementOfTheTag) {
    auto doc = parseXml("<p><a/><b/><a/><c/></p>");
    ASSERT_NE(nullptr, doc);
    DOMElement* parent = doc->getDocumentElement();
    TransDictionaryImpl builder;
    DOMElement* x = doc->createElement(u"x");
    EXPECT_EQ(nullptr, builder.insertAfterTag(parent, x, u"z"));
    EXPECT_EQ(nullptr, x->getParentNode());
    EXPECT_EQ("a b a c", names(parent));
    // Only elements below the parent count, not the parent itself.
    DOMElement* leaf = parent->getFirstElementChild();
    EXPECT_EQ(nullptr, builder.insertAfterTag(leaf, x, u"a"));
    EXPECT_EQ("", names(leaf));

    EXPECT_EQ(x, builder.insertAfterTag(parent, x, u"a"));
    EXPECT_EQ("a b a x c", names(parent));
    DOMElement* y = doc->createElement(u"y");
    EXPECT_EQ(y, builder.insertAfterTag(parent, y, u"c"));
    EXPECT_EQ("a b a x c y", names(parent));
}
