// Bad and extreme input: one test per row of the README's robustness table. Each shows that the
// library neither crashes nor hands back a wrong answer as a good one.
#include "testsupport.h"
#include "transdomimpl.h"
#include "transdomreference.h"
#include "transspace.h"
#include "xmlfilereader.h"
#include "xmlsupport.h"
#include "zeltdatasource.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>
#include <xalanc/PlatformSupport/XSLException.hpp>
#include <xercesc/dom/DOM.hpp>

using testing_support::flags;
using testing_support::mbcs;
using testing_support::parseXml;
using testing_support::take;

namespace {

class Robustness : public ::testing::Test {
protected:
    TransSpace space_;
};

std::u16string query(TransValue const& value, char16_t const* context, char16_t const* path,
                     TransStatus& status) {
    return take(value.asString(TransString(context), TransString(path), status));
}

// A data source of one numeric variable "v" labelled `label`.
ZELT_DataSource labelled(std::string const& label) {
    ZELT_DataSource ds;
    ZELT_Variable variable("v");
    variable.setLabel(label);
    ds.addVariable(std::move(variable));
    return ds;
}

// A document whose elements are nested `depth` levels deep, built without a parser.
testing_support::OwnedDocument nested(std::size_t depth) {
    auto document = parseXml("<a/>");
    xercesc::DOMNode* element = document->getDocumentElement();
    for (std::size_t level = 1; level < depth; ++level) {
        element = element->appendChild(document->createElement(u"a"));
    }
    return document;
}

std::u16string repeated(char16_t const* unit, std::size_t times, char16_t const* tail = u"") {
    std::u16string text;
    for (std::size_t i = 0; i < times; ++i) {
        text += unit;
    }
    return text + tail;
}

} // namespace

TEST_F(Robustness, ControlCharactersBuildButFailTheWriters) {
    TransValue const value(labelled("a\x01z"));
    TransStatus status;
    EXPECT_EQ(u"a\u0001z", query(value, u"/dictionary/variable", u"@label", status));
    EXPECT_EQ("none", flags(status));
    for (bool const utf16 : {false, true}) {
        std::u16string const text =
            utf16 ? take(value.asUTF16XML(status)) : take(TransValue(value).asMBCSXML(status));
        EXPECT_TRUE(status.failure()) << utf16;
        EXPECT_EQ(std::u16string::npos, text.find(u"</dictionary>")) << "not handed back whole";
    }
}

TEST_F(Robustness, MalformedAndUnpairedTextIsReplacedNotTrusted) {
    // Malformed UTF-8 (a cut sequence, a byte that never starts one, an encoded surrogate) becomes
    // U+FFFD; the document stays writable.
    TransValue const value(labelled("caf\xC3|\xFF|\xED\xA0\x80"));
    TransStatus status;
    std::u16string const label = query(value, u"/dictionary/variable", u"@label", status);
    EXPECT_EQ(u"caf\uFFFD|\uFFFD|", label.substr(0, 7));
    EXPECT_EQ(std::u16string::npos, label.find_first_of(u"\xC3\xFF"));
    EXPECT_NE(std::u16string::npos, take(value.asUTF16XML(status)).find(u"</dictionary>"));
    EXPECT_EQ("none", flags(status));

    // An unpaired surrogate from a host's UTF-16 text is not carried into multibyte text.
    for (char16_t const* text : {u"x\xD800y", u"x\xDC00y", u"\xD800"}) {
        TransStatus s;
        std::string const bytes = TransString(text).asMBCS(s);
        EXPECT_EQ(std::string::npos, bytes.find("\xED")) << mbcs(TransString(text));
        EXPECT_FALSE(bytes.empty());
    }
}

TEST_F(Robustness, LongNamesAndLabelsRoundTrip) {
    std::string const name(10000, 'n');
    std::string const label(1 << 20, 'L');
    ZELT_DataSource ds;
    ZELT_Variable variable(name);
    variable.setLabel(label);
    variable.addValueLabel(1.0, label);
    ds.addVariable(std::move(variable));
    TransValue const value(ds);
    TransStatus status;
    std::u16string const context =
        u"/dictionary/variable[@name='" + std::u16string(name.begin(), name.end()) + u"']";
    EXPECT_EQ(std::u16string(label.begin(), label.end()),
              query(value, context.c_str(), u"@label", status));
    EXPECT_EQ(1048576.0,
              value.asDouble(TransString(u"/dictionary"),
                             TransString(u"string-length(valueLabelSet/valueLabel/@label)"),
                             status));
    EXPECT_GT(take(value.asUTF16XML(status)).size(), 2u * label.size());
    EXPECT_EQ("none", flags(status));
}

TEST_F(Robustness, MultiMegabyteExtensionsAreWrittenWhole) {
    std::vector<unsigned char> bytes(8 << 20);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(i * 7);
    }
    ZELT_DataSource ds;
    ds.addExtension(3, 1, 4, bytes);
    TransValue const value(ds);
    TransStatus status;
    EXPECT_EQ(16.0 * (1 << 20), value.asDouble(TransString(u"/dictionary/extension"),
                                               TransString(u"string-length(@data)"), status));
    std::u16string hex;
    for (unsigned char const byte : bytes) {
        hex += u"0123456789ABCDEF"[byte / 16];
        hex += u"0123456789ABCDEF"[byte % 16];
    }
    EXPECT_TRUE(query(value, u"/dictionary/extension", u"@data", status) == hex);
    EXPECT_EQ("none", flags(status));
}

TEST_F(Robustness, NoVariablesAtAll) {
    TransValue const value{ZELT_DataSource()};
    TransStatus status;
    EXPECT_EQ(0.0, value.asDouble(TransString(u"/dictionary"), TransString(u"count(*)"), status));
    EXPECT_EQ("none", flags(status));
    EXPECT_EQ(u"", query(value, u"/dictionary/variable", u"@name", status));
    EXPECT_EQ("F+W", flags(status));
    EXPECT_NE(std::u16string::npos, take(value.asUTF16XML(status)).find(u"<dictionary"));
}

// Excluded from the valgrind run (scripts/valgrind.sh), where it would take minutes.
TEST_F(Robustness, HundredThousandVariablesAtScale) {
    int const count = 100000;
    ZELT_DataSource ds;
    ds.reserveVariables(count);
    for (int i = 0; i < count; ++i) {
        ZELT_Variable variable("v" + std::to_string(i));
        variable.setLabel("label " + std::to_string(i));
        if (i % 2 == 0) {
            variable.addValueLabel(1.0, "yes");
        }
        ds.addVariable(std::move(variable));
    }
    TransValue const value(ds);
    TransStatus status;
    EXPECT_EQ(count,
              value.asDouble(TransString(u"/dictionary"), TransString(u"count(variable)"), status));
    EXPECT_EQ(u"label 54321",
              query(value, u"/dictionary/variable[@name='v54321']", u"@label", status));
    EXPECT_EQ(u"v99998", query(value, u"/dictionary/valueLabelSet[last()]",
                               u"valueLabelVariable/@name", status));
    EXPECT_EQ("none", flags(status));
}

TEST_F(Robustness, DeepDocumentsAreCopiedQueriedAndWrittenWhole) {
    // Copying, querying and writing do not recurse per level.
    std::size_t const depth = 100000;
    TransValue const copy{TransValue(nested(depth).get())};
    TransStatus status;
    EXPECT_EQ(100000.0, copy.asDouble(TransString(u"/a"),
                                      TransString(u"count(descendant-or-self::a)"), status));
    EXPECT_EQ("none", flags(status));
    std::u16string const elements =
        repeated(u"<a>", depth - 1, u"<a/>") + repeated(u"</a>", depth - 1);
    EXPECT_EQ(u"<?xml version=\"1.0\" encoding=\"UTF-16\" standalone=\"no\" ?>" + elements,
              take(copy.asUTF16XML(status)));
    EXPECT_EQ("none", flags(status));
    std::string const bytes = mbcs(*testing_support::OwnedString(copy.asMBCSXML(status)));
    EXPECT_EQ("none", flags(status));
    EXPECT_EQ(std::string(elements.begin(), elements.end()), bytes.substr(bytes.find("<a>")));
}

TEST_F(Robustness, XmlFilesAreReadWithinTheirLimits) {
    auto nestedText = [](std::size_t depth) {
        std::string text;
        for (std::size_t i = 0; i < depth; ++i) {
            text += "<a>";
        }
        for (std::size_t i = 0; i < depth; ++i) {
            text += "</a>";
        }
        return text;
    };
    EXPECT_NE(readXmlText(nestedText(xmlNestingLimit), "deep.xml"), nullptr);
    for (std::size_t depth : {xmlNestingLimit + 1, 1000000u}) {
        try {
            readXmlText(nestedText(depth), "deep.xml");
            ADD_FAILURE() << depth << " levels were read";
        } catch (XmlFileError const& error) {
            EXPECT_EQ("deep.xml:1:12292: elements are nested deeper than 4096 levels",
                      std::string(error.what()));
        }
    }
    // Entity bombs and external entities: see Tool.RejectsBadXmlWithItsPosition.
}

TEST_F(Robustness, HugeNestedAndUnknownPathsFailCleanly) {
    TransValue const value(parseXml("<a><a>1</a></a>").get());
    TransString const root(u"/a");
    struct Case {
        std::u16string path;
        char const* flags; // of the path's query; the same text as the context path throws
    };
    std::vector<Case> const refused{
        {repeated(u"(", 100000, u"1") + repeated(u")", 100000), "F+W"},
        {repeated(u"a[", 10000, u"1") + repeated(u"]", 10000), "F+W"},
        {repeated(u"1+", 100000, u"1"), "F+W"},
        {repeated(u"concat('x',", 20000, u"'y'") + repeated(u")", 20000), "F+W"},
        {u"nosuchfunction(a)", "F+W"},
        {u"p:f(a)", "F+W"},
    };
    for (Case const& c : refused) {
        TransStatus status;
        EXPECT_EQ(u"", query(value, u"/a", c.path.c_str(), status));
        EXPECT_EQ(c.flags, flags(status)) << mbcs(TransString(c.path.substr(0, 40).c_str()));
        EXPECT_THROW(value.asString(TransString(c.path.c_str()), root), xalanc::XSLException);
    }
    // Within the stack, and wide rather than deep: answered, as paths and as context paths.
    std::u16string const alternatives = u"a[" + repeated(u"@n='x' or ", 5000, u"text()='1']");
    std::vector<std::pair<std::u16string, std::u16string>> const answered{
        {repeated(u"(", 999, u"a/text()") + repeated(u")", 999), u"1"},
        {u"a/text()" + repeated(u"|a/text()", 100000), u"1"},
        {u"count(" + alternatives + u")", u"1"},
        {u"count(" + repeated(u"a | ", 5000, u"a") + u")", u"1"},
        {u"string(" + repeated(u"1=1 and ", 1001, u"1=1") + u")", u"true"}};
    for (auto const& [path, answer] : answered) {
        TransStatus status;
        EXPECT_EQ(answer, query(value, u"/a", path.c_str(), status));
        EXPECT_EQ("none", flags(status));
    }
    TransStatus status;
    EXPECT_EQ(u"1", query(value, (u"/a/" + alternatives).c_str(), u"string(.)", status));
    // A thread with less stack has the same expression refused, not its stack overrun.
    struct Run {
        TransValue const* value;
        std::u16string path;
        std::string flags;
    } run{&value, u"count(" + alternatives + u")", ""};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, std::size_t{512} << 10);
    pthread_t thread;
    ASSERT_EQ(0, pthread_create(
                     &thread, &attributes,
                     [](void* argument) -> void* {
                         Run& r = *static_cast<Run*>(argument);
                         TransStatus local;
                         query(*r.value, u"/a", r.path.c_str(), local);
                         r.flags = flags(local);
                         return nullptr;
                     },
                     &run));
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    EXPECT_EQ("F+W", run.flags);
    EXPECT_EQ(1.0e6,
              value.asDouble(
                  root,
                  TransString((u"string-length('" + std::u16string(1000000, u'x') + u"')").c_str()),
                  status));
    EXPECT_EQ("none", flags(status));
}

// A library inside a host reports through the status and the context path's exception only, on
// both routes of evaluation: nothing reaches the host's standard error.
TEST_F(Robustness, FailingQueriesWriteNothingToStandardError) {
    TransDOMImpl const value(parseXml("<a xmlns:p='urn:p'><a>1</a></a>").get());
    std::vector<std::u16string> const paths = {
        u"a[",  u"nosuchfunction(a)", u"q:a", u"count(1)", u"current()", u"namespace::p:*",
        u"1 +", u"sum('x') div",      u"//",  u"@"};
    std::FILE* captured = std::tmpfile();
    ASSERT_NE(captured, nullptr);
    std::fflush(stderr);
    int const saved = dup(2);
    dup2(fileno(captured), 2);
    for (std::u16string const& path : paths) {
        TransStatus status;
        TransString const text(path.c_str());
        take(value.asString(TransString(u"/a"), text, status));
        take(TransDOMImplReference::asString(value, TransString(u"/a"), text, status));
        for (int route = 0; route < 2; ++route) {
            try {
                take(route == 0
                         ? value.asString(text, TransString(u"."), status)
                         : TransDOMImplReference::asString(value, text, TransString(u"."), status));
            } catch (xalanc::XSLException const&) {
            }
        }
    }
    std::fflush(stderr);
    dup2(saved, 2);
    close(saved);
    EXPECT_EQ(std::ftell(captured), 0L) << "the queries wrote on standard error";
    std::fclose(captured);
}

namespace {

// Heap in use, from the C library's allocator; 0 where another allocator replaces it (the
// sanitizers, valgrind).
std::size_t heapInUse() {
    return mallinfo2().uordblks;
}

} // namespace

TEST_F(Robustness, ManyNewAndBadPathsKeepMemoryFlatAtScale) {
    TransValue const value(parseXml("<a><b n='1'/><b n='2'/></a>").get());
    TransString const root(u"/a");
    auto round = [&](int first) {
        for (int i = first; i < first + 5000; ++i) {
            std::string const number = std::to_string(i);
            std::u16string const n(number.begin(), number.end());
            TransStatus status;
            value.asDouble(root, TransString((u"count(b) + " + n).c_str()), status);
            value.asDouble(root, TransString((u"b[" + n).c_str()), status); // does not compile
        }
    };
    round(0); // fills the cache of compiled paths
    std::size_t const before = heapInUse();
    if (before == 0) {
        GTEST_SKIP() << "the allocator in use does not report the heap";
    }
    round(5000);
    round(10000);
    // Before compiled paths owned their strings, 10,000 more paths held on to about 30 MB.
    EXPECT_LT(heapInUse(), before + (1u << 20));
}

TEST_F(Robustness, HugeNumbersBecomeTheirDigits) {
    TransValue const value(parseXml("<a n='1e5'/>").get());
    TransString const root(u"/a");
    // 10^100 in the fewest digits that read back to the same double, without an exponent.
    std::u16string const literal = u"1" + std::u16string(100, u'0');
    TransStatus status;
    EXPECT_EQ(literal, query(value, u"/a", literal.c_str(), status));
    EXPECT_EQ(u"x-" + literal,
              query(value, u"/a", (u"concat('x', -" + literal + u" * 1)").c_str(), status));
    EXPECT_EQ(1e100, value.asDouble(root, TransString(literal.c_str()), status));
    EXPECT_EQ(301u,
              query(value, u"/a", (literal + u" * " + literal + u" * " + literal).c_str(), status)
                  .size());
    EXPECT_EQ("none", flags(status));
    // The context path converts its number while it is compiled; it is not a node set.
    EXPECT_THROW(value.asString(TransString(literal.c_str()), root), xalanc::XSLException);
}

TEST_F(Robustness, StepsAfterSiblingStepsStayPolynomial) {
    // Each node a sibling step gives once per context node: the evaluator on its own runs the
    // remaining steps for every repeat, here about 200^5 / 120 times.
    std::string xml = "<r>";
    for (int i = 0; i < 200; ++i) {
        xml += "<e/>";
    }
    TransValue const value(parseXml(xml + "</r>").get());
    TransStatus status;
    EXPECT_EQ(u"195", query(value, u"/r",
                            u"count(e/following-sibling::e/following-sibling::e/"
                            u"following-sibling::e/following-sibling::e/following-sibling::e)",
                            status));
    EXPECT_EQ(u"200", query(value, u"/",
                            u"count(//e/preceding-sibling::e/following-sibling::e/"
                            u"preceding-sibling::e/following-sibling::node()/..//e)",
                            status));
}
