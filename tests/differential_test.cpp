// Queries answered from the cached source tree must equal, result for result and flag for flag,
// what the straightforward evaluation on the bridged view gives, exceptions included.
#include "testsupport.h"
#include "transdictionaryimpl.h"
#include "transdomadoption.h"
#include "transdomcopy.h"
#include "transdomimpl.h"
#include "transdomlinks.h"
#include "transdomreference.h"
#include "transspace.h"
#include "xmlfilereader.h"
#include "xmlsupport.h"
#include "zeltdatasource.h"
#include "zeltdatasourcefile.h"

#include <algorithm>
#include <clocale>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>
#include <xalanc/XalanDOM/XalanDOMString.hpp>
#include <xalanc/XalanDOM/XalanDocument.hpp>
#include <xercesc/dom/DOM.hpp>

using testing_support::flags;
using testing_support::parseXml;
using testing_support::ScopedLocale;

namespace {

ZELT_DataSource generated(int variables) {
    ZELT_DataSource source;
    source.setRowCount(variables * 3);
    source.reserveVariables(static_cast<std::size_t>(variables));
    for (int i = 0; i < variables; ++i) {
        std::string const name = "v" + std::to_string(i);
        ZELT_Variable variable(name, i % 7 == 0 ? 8 : 0);
        variable.setLabel("label " + std::to_string(i));
        if (variable.GetType() == 0) {
            variable.setMissingValues({-1.0 * i});
            if (i % 2 == 0) {
                variable.addValueLabel(1, "one");
                variable.addValueLabel(2.5, "two and a half");
                variable.addValueLabel(i, "self");
            }
        } else {
            variable.setMissingStrings({"NA"});
            variable.addValueLabel(std::string("A B"), "a b");
        }
        if (i % 10 == 0) {
            DatasourceAttributes attributes;
            attributes.setVersion(i);
            attributes.addAttribute("Note", {"first", "second"});
            attributes.addAttribute("$sys", {});
            variable.setAttributes(attributes);
        }
        source.addVariable(std::move(variable));
    }
    for (int set = 0; set < variables / 100 + 1; ++set) {
        std::vector<std::string> members;
        for (int m = 0; m < 10 && m < variables; ++m) {
            members.push_back("V" + std::to_string((set * 10 + m) % variables));
        }
        source.addVariableSet(VariableSet("set" + std::to_string(set), members));
    }
    VariableSet brands("$brands", {"v0", "v1", "unknown"});
    brands.setType(VariableSet::typeDichotomy);
    brands.setCountedValue("1");
    brands.setLabel("Brands");
    source.addMultipleResponseSet(brands);
    if (variables > 1) {
        source.setWeightVariableIndex(1);
    }
    source.addExtension(3, 3, 4, {1, 0, 0, 0, 2, 0, 0, 0});
    return source;
}

char const* const namespaced = R"(<?xml version="1.0"?>
<root xmlns:o="urn:outer" o:a="1" b="2">
  <item name="a" n="1"/><item name="b" n="2"/><item name="c" n="3"/>
  <text>hello <![CDATA[<world>]]> again</text><empty/>
  <inner xmlns:p="urn:inner"><p:thing p:id="7">t</p:thing><p:thing p:id="8"/></inner>
  <!--note--><?pi data?>
  <d xmlns="urn:default"><leaf v="x"/><leaf v="y">z</leaf></d>
</root>)";

// Namespace declarations beside attributes, default and prefixed, redeclared and undeclared. No
// CDATA section: the cached route answers from its own source tree here.
char const* const declarations = R"(<?xml version="1.0"?>
<root xmlns:p="urn:p" xmlns="urn:d" n="r" p:a="1">
  <item n="1"/><p:item n="2" xmlns:q="urn:q" q:m="s"/><!--c--><?pi x?>
  <inner xmlns="" xmlns:p="urn:inner" a="1"><p:thing p:id="7">t</p:thing></inner>
  <only xmlns:o="urn:o"/>
</root>)";

struct Answer {
    std::u16string string;
    std::vector<std::u16string> list;
    double number = 0;
    std::string stringFlags, listFlags, numberFlags;
    std::string exception; // the type of the exception raised, if any

    bool operator==(Answer const& other) const {
        bool const sameNumber =
            number == other.number || (std::isnan(number) && std::isnan(other.number));
        return string == other.string && list == other.list && sameNumber &&
               stringFlags == other.stringFlags && listFlags == other.listFlags &&
               numberFlags == other.numberFlags && exception == other.exception;
    }
};

std::ostream& operator<<(std::ostream& out, Answer const& answer) {
    std::string narrow;
    for (char16_t c : answer.string) {
        narrow += c < 0x80 ? static_cast<char>(c) : '?';
    }
    return out << "\"" << narrow << "\" [" << answer.stringFlags << "] list of "
               << answer.list.size() << " [" << answer.listFlags << "] " << answer.number << " ["
               << answer.numberFlags << "] " << answer.exception;
}

template <typename StringQuery, typename ListQuery, typename DoubleQuery>
Answer ask(StringQuery string, ListQuery list, DoubleQuery number) {
    Answer answer;
    try {
        TransStatus status;
        std::unique_ptr<TransString> text(string(status));
        answer.string = text->asUTF16();
        answer.stringFlags = flags(status);
        std::unique_ptr<TransStringList> entries(list(status));
        for (unsigned long i = 0; i < entries->size(); ++i) {
            answer.list.emplace_back(entries->asUTF16(i));
        }
        answer.listFlags = flags(status);
        answer.number = number(status);
        answer.numberFlags = flags(status);
    } catch (std::exception const& error) {
        answer.exception = typeid(error).name();
    } catch (...) {
        answer.exception = "non-standard exception";
    }
    return answer;
}

// Asks the same query both ways; or, given an equivalent path, that one the straightforward way.
void compare(TransDOMImpl const& value, std::u16string const& contextText,
             std::u16string const& pathText, std::u16string const& equivalentText = {}) {
    TransString const context(contextText.c_str());
    TransString const path(pathText.c_str());
    TransString const equivalent(equivalentText.empty() ? pathText.c_str()
                                                        : equivalentText.c_str());
    Answer const cached = ask([&](TransStatus& s) { return value.asString(context, path, s); },
                              [&](TransStatus& s) { return value.asStringList(context, path, s); },
                              [&](TransStatus& s) { return value.asDouble(context, path, s); });
    Answer const reference = ask(
        [&](TransStatus& s) {
            return TransDOMImplReference::asString(value, context, equivalent, s);
        },
        [&](TransStatus& s) {
            return TransDOMImplReference::asStringList(value, context, equivalent, s);
        },
        [&](TransStatus& s) {
            return TransDOMImplReference::asDouble(value, context, equivalent, s);
        });
    EXPECT_EQ(reference, cached) << "context " << context.asMBCS() << " path "
                                 << std::string(path.asMBCS()).substr(0, 200);
}

// Paths that work on any document: structure, axes, node kinds, functions and errors.
std::vector<std::u16string> const generalPaths = {u".",
                                                  u"*",
                                                  u"node()",
                                                  u"text()",
                                                  u"comment()",
                                                  u"processing-instruction()",
                                                  u"@*",
                                                  u"name(@*[1])",
                                                  u"local-name(@*[last()])",
                                                  u"namespace-uri(@*[1])",
                                                  u"count(@*)",
                                                  u"count(namespace::*)",
                                                  u"name(namespace::*[1])",
                                                  u"@node()",
                                                  u"name(@node()[1])",
                                                  u"attribute::node()[last()]",
                                                  u"attribute::*[namespace-uri()!='']",
                                                  u"namespace::node()",
                                                  u"name(namespace::node()[last()])",
                                                  u"namespace::*[name()='']",
                                                  u"//@node()",
                                                  u"count(//namespace::*)",
                                                  u"string(.)",
                                                  u"normalize-space(.)",
                                                  u"count(*)",
                                                  u"count(//*)",
                                                  u"count(//@*)",
                                                  u"count(//text())",
                                                  u"//text()",
                                                  u"..",
                                                  u"name(..)",
                                                  u"name(*[last()])",
                                                  u"local-name(*[1])",
                                                  u"namespace-uri(*[1])",
                                                  u"following-sibling::*[1]/@*",
                                                  u"preceding-sibling::node()",
                                                  u"ancestor-or-self::*",
                                                  u"descendant::*[position() mod 2 = 1]/@*[1]",
                                                  u"following::*[2]",
                                                  u"preceding::*[1]",
                                                  u"//*[@name][last()]/@name",
                                                  u"sum(//@n)",
                                                  u"1 = 1",
                                                  u"1 div 0",
                                                  u"0 div 0",
                                                  u"-0",
                                                  u"0.1 + 0.2",
                                                  u"'x'",
                                                  u"''",
                                                  u"concat('a', name())",
                                                  u"string-length(name())",
                                                  u"boolean(*)",
                                                  u"lang('en')",
                                                  u"id('x')",
                                                  u"/",
                                                  u"/*",
                                                  u"/*/@*",
                                                  u"//comment()",
                                                  u"//processing-instruction('pi')",
                                                  u"@xmlns",
                                                  u"@*[name()='xmlns']",
                                                  u"@xsi:schemaLocation",
                                                  u"@o:a",
                                                  u"//p:thing/@p:id",
                                                  u"//*[local-name()='leaf']/@v",
                                                  u"//*[local-name()='leaf']/text()",
                                                  u"(//*)[3]",
                                                  u"//*[1] | //*[2]",
                                                  u"nothing",
                                                  u"q:unbound",
                                                  u"item[",
                                                  u"unknown-function()",
                                                  u"",
                                                  u"  ",
                                                  u"count(",
                                                  u"@",
                                                  u"1 +",
                                                  u"$undefined",
                                                  u"current()"};

std::vector<std::u16string> const generalContexts = {u"/",
                                                     u"/*",
                                                     u"/*/*[1]",
                                                     u"/*/*[last()]",
                                                     u"//*[3]",
                                                     u"//@*[1]",
                                                     u"//text()[1]",
                                                     u"//comment()",
                                                     u"/nothing",
                                                     u"  ",
                                                     u"/*[",
                                                     u"1+1",
                                                     u"'abc'",
                                                     u"q:root",
                                                     u"true()",
                                                     u"//p:thing",
                                                     u"//*[@*][namespace::*][last()]"};

// Long forms, each with a short path that answers the same: a predicate of hundreds or thousands
// of alternatives (a list of names), chained conditions, unions of many paths, deep brackets.
std::vector<std::pair<std::u16string, std::u16string>> longForms() {
    auto repeated = [](std::size_t count, std::u16string const& separator, auto part) {
        std::u16string text = part(0);
        for (std::size_t i = 1; i < count; ++i) {
            text += separator + part(i);
        }
        return text;
    };
    auto number = [](std::size_t i) {
        std::string const digits = std::to_string(i);
        return std::u16string(digits.begin(), digits.end());
    };
    auto names = [&](std::size_t count) {
        return u"//*[" +
               repeated(count, u" or ",
                        [&](std::size_t i) {
                            return i == count / 2 ? u"@n='2'" : u"@n='x" + number(i) + u"'";
                        }) +
               u"]";
    };
    auto same = [](std::u16string const& part) { return [part](std::size_t) { return part; }; };
    std::u16string const parenthesised =
        std::u16string(200, u'(') + u"count(//*)" + std::u16string(200, u')');
    return {{names(500), u"//*[@n='2']"},
            {names(5000), u"//*[@n='2']"},
            {repeated(1001, u" and ", same(u"@*")), u"boolean(@*)"},
            {repeated(1000, u" | ", [&](std::size_t i) { return u"item[@n=" + number(i) + u"]"; }),
             u"item[@n < 1000]"},
            {repeated(5000, u" | ", same(u"//@n")), u"//@n"},
            {parenthesised, u"count(//*)"}};
}

void compareAll(TransDOMImpl const& value, std::vector<std::u16string> const& contexts,
                std::vector<std::u16string> const& paths) {
    for (std::u16string const& context : contexts) {
        for (std::u16string const& path : paths) {
            compare(value, context, path);
        }
    }
}

class Differential : public ::testing::Test {
protected:
    TransSpace space_;
};

} // namespace

TEST_F(Differential, NamespacedDocument) {
    for (char const* xml : {namespaced, declarations}) {
        auto document = parseXml(xml);
        TransDOMImpl const value(document.get());
        compareAll(value, generalContexts, generalPaths);
        for (auto const& [longForm, shortForm] : longForms()) {
            for (char16_t const* context : {u"/", u"/*", u"//*[@*][namespace::*][last()]"}) {
                compare(value, context, longForm, shortForm);
                compare(value, context, shortForm, longForm);
            }
        }
    }
}

TEST_F(Differential, DocumentsBuiltByCalls) {
    // An attribute whose value is two texts.
    auto split = parseXml("<r><e/></r>");
    xercesc::DOMAttr* attribute = split->createAttribute(u"split");
    attribute->appendChild(split->createTextNode(u"ab"));
    attribute->appendChild(split->createTextNode(u"cd"));
    split->getDocumentElement()->setAttributeNode(attribute);
    compareAll(TransDOMImpl(split.get()), generalContexts, generalPaths);

    // Elements and attributes created by name only, some with prefixes, and text nodes side by
    // side: the shapes the bridged view shows as they are.
    auto document = parseXml("<r/>");
    xercesc::DOMElement* root = document->getDocumentElement();
    xercesc::DOMElement* child = document->createElement(u"x:child");
    child->setAttribute(u"x:a", u"1");
    child->setAttribute(u"xmlns:x", u"urn:x");
    root->appendChild(child);
    root->appendChild(document->createTextNode(u"one"));
    root->appendChild(document->createTextNode(u"two"));
    root->appendChild(document->createCDATASection(u"three"));
    TransDOMImpl const value(document.get());
    compareAll(value, generalContexts, generalPaths);

    // More attribute values than the tree's table of shared value strings has slots, most of them
    // unique and some repeated on every element, and one attribute made an ID.
    auto many = parseXml("<r/>");
    for (int i = 0; i < 6000; ++i) {
        xercesc::DOMElement* element = many->createElement(u"e");
        std::u16string const repeated = u"v" + std::u16string(1, char16_t(u'0' + i % 7));
        std::string const digits = std::to_string(i);
        element->setAttribute(u"a", repeated.c_str());
        element->setAttribute(u"b", (u"u" + std::u16string(digits.begin(), digits.end())).c_str());
        many->getDocumentElement()->appendChild(element);
        if (i == 5999) {
            element->setIdAttribute(u"b", true);
        }
    }
    compareAll(TransDOMImpl(many.get()), {u"/r", u"/r/e[@b='u4097']", u"id('u5999')"},
               {u"count(e[@a='v3'])", u"string(e[@b='u4097']/@a)", u"string(@b)", u"count(//@*)",
                u"string(id('u5999')/@a)", u"e[@a='v6'][last()]/@b"});
}

TEST_F(Differential, EmptyDocument) {
    TransDOMImpl const value(static_cast<xercesc::DOMDocument const*>(nullptr));
    compareAll(value, generalContexts, generalPaths);
    // The document node is there without an element: at it, a query fails exactly where it fails
    // on a document of one element without namespace declarations.
    auto document = parseXml("<r/>");
    TransDOMImpl const single(document.get());
    auto failure = [](TransDOMImpl const& on, std::u16string const& path) {
        TransStatus status;
        std::unique_ptr<TransStringList> const list(
            on.asStringList(TransString(u"/"), TransString(path.c_str()), status));
        return status.failure();
    };
    for (std::u16string const& path : generalPaths) {
        EXPECT_EQ(failure(single, path), failure(value, path))
            << TransString(path.c_str()).asMBCS();
    }
}

TEST_F(Differential, DictionariesOfSeveralSizes) {
    std::vector<std::u16string> const contexts = {
        u"/dictionary",
        u"/dictionary/variable[@name='v3']",
        u"/dictionary/variable[last()]",
        u"/dictionary/valueLabelSet[valueLabelVariable/@name='v4']",
        u"/dictionary/variableSet[1]",
        u"/dictionary/multipleResponseSet",
        u"/dictionary/attributeSet",
        u"//extension",
        u"/dictionary/weightVariable",
        u"/dictionary/variable[@name='nothing']",
        u"/*[local-name()='dictionary']"};
    std::vector<std::u16string> paths = generalPaths;
    for (char16_t const* path :
         {u"attribute::rowCount", u"@locale", u"@creationDateTime", u"attribute::label",
          u"valueLabel/@label", u"valueLabel/@value", u"variableFormat/@type",
          u"missingValue/@data", u"count(variable)", u"count(valueLabelSet)",
          u"attributeSet/attribute/@type", u"attributeSet/attribute/attributeValue/@value",
          u"variableSetVariable/@name", u"multipleResponseSetDichotomy/@value", u"@data",
          u"sum(variable/@type)", u"variable[@name='v2']/@displayWidth"}) {
        paths.emplace_back(path);
    }
    for (int variables : {0, 1, 12, 250}) {
        SCOPED_TRACE(variables);
        TransDOMImpl const dictionary(generated(variables));
        compareAll(dictionary, contexts, paths);
    }
}

TEST_F(Differential, ExampleSurveyUnderLocaleSwitches) {
    ZELT_DataSource const source = loadDataSourceFile(TRANS_SOURCE_DIR "/examples/survey.json");
    TransDOMImpl const value(source);
    std::vector<std::u16string> const contexts = {
        u"/dictionary", u"/dictionary/variable[@name='age']", u"//valueLabelSet[2]"};
    for (char const* locale : {"de_DE.UTF-8", "en_US.UTF-8", "tr_TR.UTF-8"}) {
        ScopedLocale const numeric(LC_ALL, locale);
        compareAll(value, contexts,
                   {u"@label", u"missingValue/@data", u"number(missingValue[2]/@data)",
                    u"valueLabel/@value", u"string(1.5)", u"'1,5'", u"count(*)", u"@rowCount"});
    }
}

// Answers in which the evaluator on its own departs from XPath 1.0: what the library answers on
// both routes, as text, as a list and as a number.
TEST_F(Differential, AnswersFollowXPath) {
    auto document = parseXml("<!DOCTYPE r [<!ATTLIST e id ID #IMPLIED>]>"
                             "<r><e id='k1'/><e id='k2'>x\xF0\x9D\x84\x9Ey</e></r>");
    TransDOMImpl const value(document.get());
    double const nan = std::nan("");
    struct Rule {
        char16_t const* path;
        char16_t const* text; // null: a syntax error
        double number;
    };
    for (Rule const& rule : std::vector<Rule>{
             // Numbers in the fewest digits that tell them apart, without an exponent.
             {u"number('2822499.752')", u"2822499.752", 2822499.752},
             {u"1234567.891", u"1234567.891", 1234567.891},
             {u"concat(2822499.752 * 1, '')", u"2822499.752", 2822499.752},
             {u"0.000000000000000000000000000000000000000012",
              u"0.000000000000000000000000000000000000000012", 1.2e-41},
             {u"-0.0000000000000000000000000000000000000012",
              u"-0.0000000000000000000000000000000000000012", -1.2e-39},
             {u"0 - 0.5 * 0", u"0", 0},
             // round(): negative zero from -0.5 up to 0, no error from adding a half.
             {u"1 div round(-0.4)", u"-Infinity", -HUGE_VAL},
             {u"1 div round(-0)", u"-Infinity", -HUGE_VAL},
             {u"1 div round(-0.49999999999999994)", u"-Infinity", -HUGE_VAL},
             {u"round(0.49999999999999994)", u"0", 0},
             {u"round(-2.5)", u"-2", -2},
             {u"round(2.5)", u"3", 3},
             {u"round(0 div 0)", u"NaN", nan},
             // Characters, not UTF-16 units.
             {u"string-length('\U0001D11E')", u"1", 1},
             {u"string-length()", u"3", 3},
             {u"substring('a\U0001D11Eb', 2, 1)", u"\U0001D11E", TransMissingValue},
             {u"substring('a\U0001D11Eb', 3, 1)", u"b", TransMissingValue},
             {u"substring('a\U0001D11Eb', 2)", u"\U0001D11Eb", TransMissingValue},
             {u"string-length(substring-before('a\U0001D11Eb', 'b'))", u"2", 2},
             {u"translate('x', 'x', '\U0001D11E')", u"\U0001D11E", TransMissingValue},
             {u"translate('a\U0001D11Eb', '\U0001D11Eba', 'c')", u"c", TransMissingValue},
             {u"substring('12345', 1.5, 2.6)", u"234", 234},
             {u"substring('12345', 0, 3)", u"12", 12},
             {u"substring('12345', 0 div 0, 3)", u"", TransMissingValue},
             {u"substring('12345', 1, 0 div 0)", u"", TransMissingValue},
             {u"substring('12345', -42, 1 div 0)", u"12345", 12345},
             {u"substring('12345', -1 div 0, 1 div 0)", u"", TransMissingValue},
             {u"round()", nullptr, 0},
             {u"substring('a')", nullptr, 0},
             // id() finds elements by the attributes the document type declares IDs.
             {u"count(id('k2 k1 k3'))", u"2", 2},
             {u"string(id('k2'))", u"x\U0001D11Ey", TransMissingValue},
             // Unary minus signs in a row, and unions that start with the root.
             {u"--2", u"2", 2},
             {u"- - 2 * 3", u"6", 6},
             {u"1 - - -(2)", u"-1", -1},
             {u"--'a'", u"NaN", nan},
             {u"/-1", u"NaN", nan},
             {u"/--1", u"NaN", nan},
             {u"count(/ | /*)", u"2", 2},
             {u"count(/r | /)", u"2", 2},
             {u"count((/))", u"1", 1},
             {u"e/ | /", nullptr, 0},
             {u"- -", nullptr, 0},
         }) {
        std::u16string const path = rule.path;
        SCOPED_TRACE(TransString(rule.path).asMBCS());
        compare(value, u"/r", path);
        TransString const context(u"/r");
        TransStatus status;
        std::unique_ptr<TransString> const text(
            value.asString(context, TransString(rule.path), status));
        std::unique_ptr<TransStringList> const list(
            value.asStringList(context, TransString(rule.path), status));
        double const number = value.asDouble(context, TransString(rule.path), status);
        if (rule.text == nullptr) {
            EXPECT_EQ("F+W", flags(status));
            continue;
        }
        EXPECT_EQ(rule.text, std::u16string(text->asUTF16()));
        ASSERT_EQ(1u, list->size());
        EXPECT_EQ(rule.text, std::u16string(list->asUTF16(0)));
        EXPECT_TRUE(number == rule.number || (std::isnan(number) && std::isnan(rule.number)))
            << number;
    }
}

namespace {

// The node's tree as one line per node: type, name, namespace, value, and each attribute with
// its value, whether it is specified and whether it is of type ID, in the element's order. A line
// marks every link that disagrees with the others: a child's parent, the siblings read backwards,
// the last child and an attribute's owner and text.
void describe(xercesc::DOMNode const& node, std::u16string& out) {
    auto text = [](XMLCh const* t) { return std::u16string(t != nullptr ? t : u"(null)"); };
    out += std::u16string(1, char16_t(u'0' + node.getNodeType())) + u" " +
           text(node.getNodeName()) + u" {" + text(node.getNamespaceURI()) + u"} " +
           text(node.getNodeValue()) + u"\n";
    if (xercesc::DOMNamedNodeMap const* attributes = node.getAttributes()) {
        for (XMLSize_t i = 0; i < attributes->getLength(); ++i) {
            auto const* a = static_cast<xercesc::DOMAttr const*>(attributes->item(i));
            out += u"  @" + text(a->getName()) + u" {" + text(a->getNamespaceURI()) + u"} " +
                   text(a->getValue()) + (a->getSpecified() ? u" specified" : u"") +
                   (a->isId() ? u" id" : u"") + u"\n";
            xercesc::DOMNode const* value = a->getFirstChild();
            if (a->getOwnerElement() != &node ||
                (value != nullptr &&
                 (value->getParentNode() != a || value->getPreviousSibling() != nullptr ||
                  a->getLastChild()->getNextSibling() != nullptr))) {
                out += u"  broken attribute links\n";
            }
        }
    }
    std::vector<xercesc::DOMNode const*> forward, backward;
    for (auto const* child = node.getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        forward.push_back(child);
        if (child->getParentNode() != &node) {
            out += u"  broken parent link\n";
        }
        describe(*child, out);
    }
    for (auto const* child = node.getLastChild(); child != nullptr;
         child = child->getPreviousSibling()) {
        backward.insert(backward.begin(), child);
    }
    auto const* element = dynamic_cast<xercesc::DOMElement const*>(&node);
    if (backward != forward ||
        (element != nullptr && trans::lastChildOf(*element) != node.getLastChild()) ||
        std::any_of(forward.begin(), forward.end(), [](xercesc::DOMNode const* child) {
            return trans::previousSiblingOf(*child) != child->getPreviousSibling();
        })) {
        out += u"  broken sibling links\n";
    }
}

std::string describe(xercesc::DOMNode const& node) {
    std::u16string out;
    describe(node, out);
    return TransString(out.c_str()).asMBCS();
}

} // namespace

TEST(BuilderPlacement, KeptAnchorsBuildTheSameDocumentAsSearching) {
    TransSpace space;
    auto text = [](xercesc::DOMDocument* document) {
        std::unique_ptr<TransString> xml(TransValue(document).asUTF16XML());
        std::u16string out(xml->asUTF16());
        describe(*document, out); // and every link
        document->release();
        return out;
    };
    // Locales with plain digits, another decimal separator, and other digits and signs.
    for (char const* locale : {"de_DE.UTF-8", "en_US.UTF-8", "ar_EG.UTF-8"}) {
        ScopedLocale const numeric(LC_NUMERIC, locale);
        for (int variables : {0, 3, 40}) {
            SCOPED_TRACE(std::string(locale) + " " + std::to_string(variables));
            ZELT_DataSource source = generated(variables);
            DatasourceAttributes attributes;
            attributes.setVersion(-3);
            attributes.addAttribute("Source", {"test"});
            source.setAttributes(attributes);

            TransDictionaryImpl whole;
            std::u16string const built = text(whole.addDictionary(source));

            // The same steps called one at a time after the build, where every element is placed
            // by searching all descendants of its parent.
            ZELT_DataSource header;
            header.setRowCount(source.RowCount());
            TransDictionaryImpl steps;
            xercesc::DOMDocument* document = steps.addDictionary(header);
            xercesc::DOMElement* root = document->getDocumentElement();
            steps.addVariables(source, root);
            steps.addWeightVariable(source, root);
            steps.addVariableSets(source, root);
            steps.addMultipleResponseSets(source, root);
            steps.addDatasourceAttributes(source, root);
            steps.addExtensions(source, root);
            EXPECT_EQ(built, text(document));
        }
    }
}

// The value's own copy of a document equals the document's deep import: nodes, names, values,
// attribute order and types, and the elements found by ID.
TEST_F(Differential, CopiesEqualTheDocumentsOwnImport) {
    char const* const typed = R"(<!DOCTYPE r [
  <!ATTLIST item id ID #IMPLIED kind CDATA "plain">
  <!ENTITY e "entity text">
]>
<r><item id="a">&e; and text</item><item id="b" kind="special"/><item/></r>)";
    for (char const* xml : {namespaced, declarations, typed}) {
        SCOPED_TRACE(xml);
        auto source = parseXml(xml);
        xercesc::DOMAttr* split = source->createAttribute(u"split"); // a value of two texts
        split->appendChild(source->createTextNode(u"ab"));
        split->appendChild(source->createTextNode(u"cd"));
        source->getDocumentElement()->setAttributeNode(split);
        xercesc::DOMElement const& root = *source->getDocumentElement();
        auto imported = parseXml("<x/>");
        auto copied = parseXml("<x/>");
        imported->replaceChild(imported->importNode(&root, true), imported->getDocumentElement());
        bool ids = false;
        copied->replaceChild(trans::copyTree(*copied, root, ids), copied->getDocumentElement());
        std::u16string expected, actual;
        describe(*imported->getDocumentElement(), expected);
        describe(*copied->getDocumentElement(), actual);
        EXPECT_EQ(std::string(TransString(actual.c_str()).asMBCS()),
                  std::string(TransString(expected.c_str()).asMBCS()));
        EXPECT_EQ(ids, xml == typed);
        for (char16_t const* id : {u"a", u"b"}) {
            xercesc::DOMElement const* byImport = imported->getElementById(id);
            xercesc::DOMElement const* byCopy = copied->getElementById(id);
            ASSERT_EQ(byCopy == nullptr, byImport == nullptr);
            if (byCopy != nullptr) {
                EXPECT_TRUE(byCopy->isEqualNode(byImport));
            }
        }
    }
}

// A value that takes its document answers, flags and writes exactly as one that copies it: the
// nodes beside the element and the parser's document properties are not the value's.
// Linking nodes directly leaves a document exactly as the DOM's own calls do, and raises where
// they raise: every case runs once with the DOM's calls and once with the linking functions.
TEST(DomLinks, EqualTheDomsOwnCalls) {
    TransSpace space; // keeps the XML libraries initialized
    using xercesc::DOMElement;
    using xercesc::DOMNode;
    struct Case {
        char const* name;
        std::function<void(xercesc::DOMDocument&, DOMElement& root, std::string& log, bool linked)>
            run;
    };
    auto element = [](xercesc::DOMDocument& document, XMLCh const* name) {
        return document.createElement(name);
    };
    auto child = [](DOMNode& node, int index) {
        DOMNode* found = node.getFirstChild();
        for (int i = 0; i < index; ++i) {
            found = found->getNextSibling();
        }
        return found;
    };
    // One call, and the code of the exception it raises.
    auto insert = [](std::string& log, bool linked, DOMElement& parent, DOMNode* node,
                     DOMNode* before) {
        try {
            linked ? trans::insertNewChild(parent, *node, before)
                   : parent.insertBefore(node, before);
        } catch (xercesc::DOMException const& e) {
            log += "raised " + std::to_string(e.code) + "\n";
        }
    };
    auto set = [](std::string& log, bool linked, DOMElement& parent, XMLCh const* name,
                  XMLCh const* value) {
        try {
            linked ? trans::setNewAttribute(parent, name, value) : parent.setAttribute(name, value);
        } catch (xercesc::DOMException const& e) {
            log += "raised " + std::to_string(e.code) + "\n";
        }
    };
    std::vector<Case> const cases{
        {"elements and texts appended, before the first and in the middle",
         [&](auto& d, auto& root, auto& log, bool linked) {
             // A list that reads from where it stopped while the document reports no change.
             xercesc::DOMNodeList* all = d.getElementsByTagName(u"*");
             XMLSize_t const last = all->getLength() - 1;
             DOMElement* e = element(d, u"e");
             insert(log, linked, root, e, nullptr);
             insert(log, linked, *e, d.createTextNode(u"t1"), nullptr);
             insert(log, linked, *e, element(d, u"f"), nullptr);
             insert(log, linked, *e, element(d, u"g"), e->getFirstChild());
             insert(log, linked, *e, d.createTextNode(u"t2"), child(*e, 2));
             insert(log, linked, root, element(d, u"h"), child(root, 1));
             insert(log, linked, root, element(d, u"i"), child(root, 0));
             log += TransString(all->item(last)->getNodeName()).asMBCS() + std::string("\n");
         }},
        {"a subtree, a namespaced parent and a namespaced child",
         [&](auto& d, auto& root, auto& log, bool linked) {
             DOMElement* x = element(d, u"x");
             x->appendChild(element(d, u"y"));
             insert(log, linked, root, x, child(root, 2)); // before the text "tail"
             auto& prefixed = *static_cast<DOMElement*>(child(root, 4));
             insert(log, linked, prefixed, d.createElementNS(u"urn:p", u"p:d"), nullptr);
             insert(log, linked, root, d.createElementNS(u"urn:p", u"p:e"), &prefixed);
         }},
        {"attributes in name order; an attribute set again keeps its node",
         [&](auto& d, auto& root, auto& log, bool linked) {
             DOMElement* e = element(d, u"e");
             root.appendChild(e);
             for (char16_t const* name : {u"z", u"a", u"m", u"b"}) {
                 set(log, linked, *e, name, name[0] == u'm' ? u"" : u"value");
             }
             xercesc::DOMAttr const* before = e->getAttributeNode(u"a");
             set(log, linked, *e, u"a", u"again");
             log += before == e->getAttributeNode(u"a") ? "same node\n" : "new node\n";
             set(log, linked, *static_cast<DOMElement*>(child(root, 3)), u"q", u"namespaced");
             set(log, linked, root, u"xmlns:p", u"urn:other");
         }},
        {"what raises: a bad name, a child elsewhere, another document, a cycle, itself",
         [&](auto& d, auto& root, auto& log, bool linked) {
             set(log, linked, root, u"1x", u"value");
             insert(log, linked, root, element(d, u"n"), child(*child(root, 1), 0));
             auto other = parseXml("<o/>");
             insert(log, linked, root, other->createElement(u"o"), nullptr);
             DOMElement* x = element(d, u"x");
             DOMElement* y = element(d, u"y");
             x->appendChild(y);
             insert(log, linked, *y, x, nullptr);
             DOMElement* z = element(d, u"z");
             insert(log, linked, root, z, z);
         }},
        {"a child that has a parent moves",
         [&](auto&, auto& root, auto& log, bool linked) {
             insert(log, linked, root, child(root, 1), child(root, 0));
             insert(log, linked, root, child(root, 0), nullptr);
         }},
        {"a range on the document follows the insertion",
         [&](auto& d, auto& root, auto& log, bool linked) {
             xercesc::DOMRange* range = d.createRange();
             range->setStart(&root, 1);
             range->setEnd(&root, 2);
             insert(log, linked, root, element(d, u"r"), child(root, 0));
             log += std::to_string(range->getStartOffset()) + "-" +
                    std::to_string(range->getEndOffset()) + "\n";
             range->release();
         }},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        std::string described[2];
        for (bool linked : {false, true}) {
            auto document = parseXml(R"(<r xmlns:p="urn:p"><a/><b>text</b>tail<p:c/></r>)");
            std::string& log = described[linked ? 1 : 0];
            c.run(*document, *document->getDocumentElement(), log, linked);
            log += describe(*document);
        }
        EXPECT_EQ(described[0], described[1]);
        EXPECT_EQ(std::string::npos, described[1].find("broken")) << described[1];
    }
}

TEST_F(Differential, AdoptedDocumentsAnswerAsCopiedOnes) {
    char const* const prologue = R"(<?xml version="1.1" encoding="UTF-8" standalone="yes"?>
<!--before--><?first pi?>
<root xmlns:o="urn:outer" o:a="1"><item n="1">one</item><!--in--><item n="2"/></root>
<!--after-->)";
    char const* const typed = R"(<!DOCTYPE r [<!ATTLIST item id ID #IMPLIED kind CDATA "plain">]>
<r><item id="a">x</item><item id="b" kind="k"/></r>)";
    auto answer = [](TransDOMImpl const& value, std::u16string const& context,
                     std::u16string const& path) {
        TransString const c(context.c_str());
        TransString const p(path.c_str());
        return ask([&](TransStatus& s) { return value.asString(c, p, s); },
                   [&](TransStatus& s) { return value.asStringList(c, p, s); },
                   [&](TransStatus& s) { return value.asDouble(c, p, s); });
    };
    auto written = [](TransDOMImpl const& value, bool utf16) {
        TransStatus status;
        std::unique_ptr<TransString> const text(utf16 ? value.asUTF16XML(status)
                                                      : value.asMBCSXML(status));
        return utf16 ? std::string(TransString(text->asUTF16()).asMBCS()) + flags(status)
                     : std::string(text->asMBCS()) + flags(status);
    };
    for (char const* xml : {prologue, namespaced, typed}) {
        SCOPED_TRACE(xml);
        auto original = parseXml(xml);
        TransDOMImpl const copied(original.get());
        std::unique_ptr<TransDOMImpl> const adopted =
            TransDOMImplAdoption::adopt(original.release());
        for (bool const utf16 : {false, true}) {
            EXPECT_EQ(written(*adopted, utf16), written(copied, utf16));
        }
        for (std::u16string const& context : generalContexts) {
            for (std::u16string const& path : generalPaths) {
                EXPECT_EQ(answer(*adopted, context, path), answer(copied, context, path))
                    << TransString(context.c_str()).asMBCS() << " "
                    << TransString(path.c_str()).asMBCS();
            }
        }
    }
    // An attribute made of type ID by a call, not by a document type: the view finds its element.
    auto identified = parseXml("<r><e k='a'/><e k='b'/></r>");
    static_cast<xercesc::DOMElement*>(identified->getDocumentElement()->getLastChild())
        ->setIdAttribute(u"k", true);
    std::unique_ptr<TransDOMImpl> const adoptedIds =
        TransDOMImplAdoption::adopt(identified.release());
    TransStatus status;
    xalanc::XalanDocument const* view = adoptedIds->asXalanDocument(status);
    ASSERT_NE(view, nullptr);
    EXPECT_NE(view->getElementById(xalanc::XalanDOMString(u"b")), nullptr);
    EXPECT_EQ(answer(*TransDOMImplAdoption::adopt(nullptr), u"/", u"count(node())"),
              answer(TransDOMImpl(static_cast<xercesc::DOMDocument const*>(nullptr)), u"/",
                     u"count(node())"));
}

// The file reader links the nodes of most elements itself: it reads every document into the
// same nodes, names, values, flags and links as through the DOM parser's own calls.
TEST(XmlReader, DirectLinksBuildWhatTheParserBuilds) {
    TransSpace space;
    std::vector<std::string> documents = {
        R"(<r xmlns="urn:d" xmlns:p="urn:p" p:a="1" b="2"><p:e p:x="x" x="y"/>)"
        R"(<e>text &amp; more<![CDATA[ cdata ]]> tail</e><!-- c --><?pi data?></r>)",
        R"(<r><e z="1" a="2" m="3" xmlns:q="urn:q" q:a="4" xmlns="urn:e"/><f/></r>)",
        R"(<r><e a="" b="&#x41;&lt;" c="x&#10;y">&#x1F600;<![CDATA[]]></e></r>)",
        "<?xml version=\"1.0\"?><!--before--><?p x?>\n<r>\n  <e>a<f/>b</e>\n  <g/>\n</r>"
        "<!--after-->",
        R"(<!DOCTYPE r [<!ATTLIST e id ID #IMPLIED d CDATA "def"><!ENTITY ent "E&amp;">]>)"
        R"(<r><e id="i1"/><e>&ent;</e><f k="&ent;">&ent;<g/>&ent;</f></r>)",
        R"(<r xmlns="urn:a"><e xmlns=""><f/></e><g xmlns:x="urn:x" x:y="1" y="2"/></r>)",
        R"(<r xml:lang="en"><e xml:space="preserve"> </e><x:e xmlns:x="urn:x"/></r>)"};
    // A dictionary as the builder writes it, in UTF-16.
    std::unique_ptr<TransString> const dictionary(TransValue(generated(30)).asUTF16XML());
    documents.emplace_back(reinterpret_cast<char const*>(dictionary->asUTF16()),
                           std::char_traits<char16_t>::length(dictionary->asUTF16()) * 2);
    for (std::string const& text : documents) {
        SCOPED_TRACE(text.substr(0, 60));
        XmlDocument const direct = readXmlText(text, "doc.xml");
        XmlDocument const parsed = readXmlText(text, "doc.xml", NodeLinks::Parser);
        EXPECT_EQ(describe(*parsed), describe(*direct));
    }
}
