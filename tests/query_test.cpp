#include "testsupport.h"
#include "transspace.h"
#include "xmlsupport.h"

#include <cmath>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <vector>

using testing_support::flags;
using testing_support::OwnedList;
using testing_support::parseXml;
using testing_support::ScopedLocale;
using testing_support::take;

namespace {

char const* const document = R"(<root xmlns:o="urn:outer">
<item name="a" n="1"/><item name="b" n="2"/><item name="c" n="3"/>
<text>hello</text><number>12.5</number><empty/>
<inner xmlns:p="urn:inner"><p:thing p:id="7">t</p:thing></inner>
<!--note--><?pi data?>
<d xmlns="urn:default"><leaf v="x"/></d>
<ns xmlns:p="urn:p" xmlns="urn:d" n="r" xml:lang="de"/>
</root>)";

// One query and what each of the three conversions answers.
struct Query {
    char16_t const* context;
    char16_t const* path;
    std::u16string string;
    char const* stringFlags;
    std::vector<std::u16string> list;
    char const* listFlags;
    double number;
    char const* numberFlags;
};

double const missing = TransMissingValue;

std::vector<Query> const queries = {
    // One attribute; an element's own node value is empty.
    {u"/root/item[1]", u"attribute::name", u"a", "none", {u"a"}, "none", missing, "W"},
    {u"/root/item[1]", u".", u"", "W", {u""}, "none", missing, "W"},
    // Several nodes: the first, flagged, where one was expected.
    {u"/root", u"item/@n", u"1", "W", {u"1", u"2", u"3"}, "none", 1, "W"},
    // Numbers, booleans and strings by XPath's own conversions.
    {u"/root", u"count(item)", u"3", "none", {u"3"}, "none", 3, "none"},
    {u"/root", u"1 = 1", u"true", "none", {u"true"}, "none", 1, "none"},
    {u"/root", u"1 = 2", u"false", "none", {u"false"}, "none", 0, "none"},
    {u"/root", u"1 div 2", u"0.5", "none", {u"0.5"}, "none", 0.5, "none"},
    {u"/root", u"'abc'", u"abc", "none", {u"abc"}, "none", missing, "W"},
    {u"/root", u"''", u"", "W", {u""}, "none", missing, "W"},
    {u"/root", u"string(number)", u"12.5", "none", {u"12.5"}, "none", 12.5, "none"},
    // Empty node set.
    {u"/root", u"nothing", u"", "W", {}, "W", missing, "W"},
    // Text, comment and processing-instruction nodes give their content.
    {u"/root", u"text/text()", u"hello", "none", {u"hello"}, "none", missing, "W"},
    {u"/root", u"comment()", u"note", "none", {u"note"}, "none", missing, "W"},
    {u"/root", u"processing-instruction()", u"data", "none", {u"data"}, "none", missing, "W"},
    // "/" selects the document node; an absolute path ignores the context node.
    {u"/", u"count(root/item)", u"3", "none", {u"3"}, "none", 3, "none"},
    {u"/root/item[2]", u"/root/item[3]/@name", u"c", "none", {u"c"}, "none", missing, "W"},
    // Prefixes declared on an inner element, and a default namespace reached by local name.
    {u"/root/inner", u"p:thing/@p:id", u"7", "none", {u"7"}, "none", 7, "none"},
    {u"//p:thing", u"text()", u"t", "none", {u"t"}, "none", missing, "W"},
    {u"/root",
     u"*[local-name()='d']/*[local-name()='leaf']/@v",
     u"x",
     "none",
     {u"x"},
     "none",
     missing,
     "W"},
    {u"/root", u"d", u"", "W", {}, "W", missing, "W"}, // unprefixed names have no namespace
    // Attributes, namespace declarations among them, in the document's order.
    {u"/root/*[@n='r']",
     u"@node()",
     u"r",
     "W",
     {u"r", u"de", u"urn:d", u"urn:p"},
     "none",
     missing,
     "W"},
    {u"/root/*[@n='r']", u"name(@node()[1])", u"n", "none", {u"n"}, "none", missing, "W"},
    // The xml prefix is bound by definition.
    {u"/root/*[@xml:lang]", u"string(@xml:lang)", u"de", "none", {u"de"}, "none", missing, "W"},
    // Namespace nodes have no namespace URI: a prefixed name test selects none of them.
    {u"/root/*[@n='r']", u"count(namespace::p:*)", u"0", "none", {u"0"}, "none", 0, "none"},
    {u"/root", u"namespace::o:item | //namespace::p:*", u"", "W", {}, "W", missing, "W"},
    {u"//namespace::p:*", u".", u"", "F+W", {}, "F+W", missing, "F+W"},
    {u"/root", u"namespace::q:*", u"", "F+W", {}, "F+W", missing, "F+W"},
    // The context node is the only node of its context: position and size 1.
    {u"/root/item[2]", u"position() * 10 + last()", u"11", "none", {u"11"}, "none", 11, "none"},
    // No context node, blank arguments, and errors in the path.
    {u"/nothing", u".", u"", "F+W", {}, "F+W", missing, "F+W"},
    {u"   ", u"@name", u"", "F+W", {}, "F+W", missing, "F+W"},
    {u"/root", u"", u"", "F+W", {}, "F+W", missing, "F+W"},
    {u"/root", u"item[", u"", "F+W", {}, "F+W", missing, "F+W"},
    {u"/root", u"no-such-function()", u"", "F+W", {}, "F+W", missing, "F+W"},
    {u"/root", u"q:item", u"", "F+W", {}, "F+W", missing, "F+W"},
};

// A failing case names its paths, not the bytes of the record.
void PrintTo(Query const& query, std::ostream* out) {
    *out << testing_support::mbcs(TransString(query.context)) << " | "
         << testing_support::mbcs(TransString(query.path));
}

class Queries : public ::testing::TestWithParam<Query> {
protected:
    TransSpace space_;
};

} // namespace

TEST_P(Queries, ConvertTheResultWithTheirFlags) {
    Query const& query = GetParam();
    auto source = parseXml(document);
    TransValue const value(source.get());
    TransString const context(query.context);
    TransString const path(query.path);
    TransStatus status;

    EXPECT_EQ(query.string, take(value.asString(context, path, status)));
    EXPECT_EQ(query.stringFlags, flags(status));

    OwnedList list(value.asStringList(context, path, status));
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(query.list, testing_support::entries(*list));
    EXPECT_EQ(query.listFlags, flags(status));

    EXPECT_EQ(query.number, value.asDouble(context, path, status));
    EXPECT_EQ(query.numberFlags, flags(status));
}

INSTANTIATE_TEST_SUITE_P(Document, Queries, ::testing::ValuesIn(queries),
                         [](::testing::TestParamInfo<Query> const& param) {
                             return "query" + std::to_string(param.index);
                         });

TEST(QueryErrors, AnErrorInTheContextPathReachesTheCaller) {
    TransSpace space;
    auto source = parseXml(document);
    TransValue const value(source.get());
    TransStatus status;
    for (char16_t const* context : {u"/root[", u"1+1", u"'abc'", u"q:root", u"nonsense()"}) {
        EXPECT_ANY_THROW(value.asString(TransString(context), TransString(u"."), status))
            << "context " << TransString(context).asMBCS();
    }
}

TEST(QueryNumbers, InfinityAndStringsFollowTheRules) {
    TransSpace space;
    auto source = parseXml(document);
    TransValue const value(source.get());
    TransStatus status;
    EXPECT_EQ(u"Infinity", take(value.asString(TransString(u"/"), TransString(u"1 div 0"))));
    EXPECT_TRUE(std::isinf(value.asDouble(TransString(u"/"), TransString(u"1 div 0"), status)));
    EXPECT_EQ("none", flags(status));
    EXPECT_EQ(u"0.30000000000000004",
              take(value.asString(TransString(u"/"), TransString(u"0.1 + 0.2"))));

    // Strings and node values are parsed in the process's numeric locale.
    ScopedLocale const german(LC_NUMERIC, "de_DE.UTF-8");
    EXPECT_EQ(12.5, value.asDouble(TransString(u"/"), TransString(u"'12,5'"), status));
    EXPECT_EQ("none", flags(status));
    EXPECT_EQ(u"0.5", take(value.asString(TransString(u"/"), TransString(u"1 div 2"))));
}
