#include "testsupport.h"
#include "transdomimpl.h"
#include "transspace.h"
#include "transversion.h"
#include "xmlsupport.h"

#include <cstdint>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>
#include <xalanc/XalanDOM/XalanDOMString.hpp>
#include <xalanc/XercesParserLiaison/XercesWrapperToXalanNodeMap.hpp>
#include <xercesc/dom/DOMElement.hpp>

using testing_support::flags;
using testing_support::mbcs;
using testing_support::OwnedString;
using testing_support::parseXml;
using testing_support::ScopedCodePage;
using testing_support::take;
using testing_support::treeShape;
using testing_support::utf16;

#define TEST_STRINGIFY_NAME(name) #name
#define TEST_STRINGIFY(name) TEST_STRINGIFY_NAME(name)

namespace {

std::u16string const utf16Declaration =
    u"<?xml version=\"1.0\" encoding=\"UTF-16\" standalone=\"no\" ?>";

class Document : public ::testing::Test {
protected:
    TransSpace space_; // keeps the XML libraries up
};

} // namespace

TEST_F(Document, NullDocumentWritesNoElementAndFindsNothing) {
    TransValue const value(static_cast<xercesc::DOMDocument const*>(nullptr));
    TransStatus status;
    EXPECT_EQ(utf16Declaration, take(value.asUTF16XML(status)));
    EXPECT_EQ("none", flags(status));

    // The document node is still there: paths select it and find nothing below it.
    struct Case {
        char16_t const* context;
        char16_t const* path;
        char16_t const* text;
        char const* flags;
    };
    Case const cases[] = {
        {u"/", u"count(*)", u"0", "none"},
        {u".", u"count(//node()) + count(/)", u"1", "none"},
        {u"self::node()", u"count(ancestor-or-self::node())", u"1", "none"},
        {u"/", u"*", u"", "W"},
        {u"/", u"concat(name(), '|', local-name(.), '|', string(/))", u"||", "none"},
        {u"/", u"position() + last()", u"2", "none"},
        {u"//*", u".", u"", "F+W"},
        {u"/*", u".", u"", "F+W"}};
    for (Case const& c : cases) {
        OwnedString found(value.asString(TransString(c.context), TransString(c.path), status));
        EXPECT_EQ(utf16(*found), c.text) << mbcs(TransString(c.path));
        EXPECT_EQ(flags(status), c.flags) << mbcs(TransString(c.path));
    }
    // Errors in the context path still reach the caller: syntax, and a result that is no node set.
    EXPECT_ANY_THROW(value.asDouble(TransString(u"/["), TransString(u"."), status));
    EXPECT_ANY_THROW(value.asDouble(TransString(u"1+1"), TransString(u"."), status));
}

TEST_F(Document, CopiesOnlyTheDocumentElementTree) {
    auto source =
        parseXml("<!--before--><?pi x?><root a=\"1\"><child>text</child></root><!--after-->");
    TransValue const value(source.get());
    source.reset(); // the value keeps its own copy

    OwnedString xml(value.asMBCSXML());
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>"
              "<root a=\"1\"><child>text</child></root>",
              mbcs(*xml));
}

TEST_F(Document, TextRoundTripsThroughTheParser) {
    std::string const text =
        "<r xmlns=\"urn:d\" xmlns:p=\"urn:p\"><p:a p:k=\"v &amp; w\">x<![CDATA[<y>]]></p:a>"
        "<!-- c --><?target data?><b z=\"&#x20AC;\"/>caf\xC3\xA9</r>";
    auto source = parseXml(text);
    TransValue const value(source.get());
    auto again = parseXml(mbcs(*OwnedString(value.asMBCSXML())));
    EXPECT_EQ(treeShape(source.get()), treeShape(again.get()));
}

TEST_F(Document, CopiesAreIndependent) {
    auto source = parseXml("<root><v n=\"1\"/></root>");
    auto original = std::make_unique<TransValue>(source.get());
    TransValue const copy(*original);
    std::unique_ptr<TransValueImpl> clone(
        TransDOMImpl(source.get()).clone()); // clone of a temporary outlives it
    std::u16string const text = take(original->asUTF16XML());
    original.reset();
    EXPECT_EQ(text, take(copy.asUTF16XML()));
    TransStatus status;
    EXPECT_EQ(text, take(clone->asUTF16XML(status)));
    EXPECT_EQ(1.0, copy.asDouble(TransString(u"/root/v"), TransString(u"@n")));
}

TEST_F(Document, ScalarQueriesHaveFixedAnswers) {
    auto source = parseXml("<root/>");
    TransValue const value(source.get());
    TransStatus status;
    std::u16string const xml = take(value.asUTF16XML(status));
    EXPECT_EQ(xml, take(value.asString(status)));
    EXPECT_EQ("W", flags(status));
    EXPECT_EQ(xml, take(value.asXML()));
    EXPECT_EQ(TransMissingValue, value.asDouble(status));
    EXPECT_EQ("F+W", flags(status));

    xalanc::XalanDocument* view = value.asXalanDocument(status);
    EXPECT_NE(nullptr, view);
    EXPECT_EQ("none", flags(status));
    EXPECT_EQ(view, value.asXalanDocument(status));
}

TEST_F(Document, UTF16TextHasNoByteOrderMark) {
    auto source = parseXml("<root>\xE2\x82\xAC</root>");
    TransValue const value(source.get());
    std::u16string const text = take(value.asUTF16XML());
    EXPECT_EQ(utf16Declaration + u"<root>\u20AC</root>", text);
    // Later writes, which know the length from the first, give the same text.
    EXPECT_EQ(text, take(value.asUTF16XML()));
    EXPECT_EQ(text, take(value.asUTF16XML()));
    std::string big(200000, 'x');
    TransValue const large(parseXml("<root>" + big + "</root>").get());
    std::u16string const first = take(large.asUTF16XML());
    EXPECT_EQ(first, take(large.asUTF16XML()));
    EXPECT_EQ(first.size(), utf16Declaration.size() + 13 + big.size());
}

TEST_F(Document, MultibyteTextFollowsTheCodePage) {
    auto source = parseXml("<root a=\"\xC3\xA9\xE2\x82\xAC\">\xC3\xA9\xE2\x82\xAC</root>");
    TransValue const value(source.get());
    {
        ScopedCodePage const latin1(0, "ISO-8859-1");
        OwnedString xml(value.asMBCSXML());
        // é is one byte in the code page; the euro sign is not in it and becomes a reference.
        EXPECT_EQ("<?xml version=\"1.0\" encoding=\"ISO-8859-1\" standalone=\"no\" ?>"
                  "<root a=\"\xE9&#x20AC;\">\xE9&#x20AC;</root>",
                  mbcs(*xml));
        EXPECT_EQ(u"<root a=\"\u00E9&#x20AC;\">\u00E9&#x20AC;</root>",
                  utf16(*xml).substr(utf16(*xml).find(u"<root")));
    }
    OwnedString xml(value.asMBCSXML());
    EXPECT_NE(std::string::npos, mbcs(*xml).find("encoding=\"UTF-8\""));
}

TEST_F(Document, TextThatXMLCannotCarryFailsTheWriter) {
    auto source = parseXml("<root><a/></root>");
    source->getDocumentElement()->setAttribute(u"bad", u"x\u0001y");
    TransValue const value(source.get());
    TransStatus status;
    std::u16string const text = take(value.asUTF16XML(status));
    EXPECT_TRUE(status.failure());
    EXPECT_EQ(std::u16string::npos, text.find(u"</root>")) << "a failed write is not whole";
}

TEST(DocumentSpaces, FirstSpaceDestroyedLeavesTheSecondsDocumentsUsable) {
    auto first = std::make_unique<TransSpace>();
    TransSpace second;
    auto source = parseXml("<root><v n=\"42\"/></root>");
    second.add(TransString("doc"), TransValue(source.get()));
    source.reset();
    first.reset();

    TransValue const& stored = second.find(TransString("DOC"));
    TransStatus status;
    EXPECT_EQ(42.0, stored.asDouble(TransString(u"/root/v"), TransString(u"@n"), status));
    EXPECT_EQ("none", flags(status));
    TransValue const copy(stored);
    EXPECT_EQ(take(stored.asUTF16XML()), take(copy.asUTF16XML()));
}

// The library's own versions of two of Xalan-C's functions (the bridged view's node map and string
// append) are the ones the process uses, and they keep Xalan's results.
TEST_F(Document, ReplacedXalanFunctionsAreInForceAndKeepTheirResults) {
    using xalanc::XalanDOMString;
    using xalanc::XalanNode;
    using xalanc::XercesWrapperToXalanNodeMap;
    // The definitions the process's symbol lookup finds, as Xalan's own calls do.
    auto libraryOf = [](void const* address) {
        Dl_info info{};
        return address != nullptr && dladdr(address, &info) != 0 ? std::string(info.dli_fname)
                                                                 : std::string("(none)");
    };
    std::string const library = libraryOf(reinterpret_cast<void const*>(&transVersion));
    std::string const space = TEST_STRINGIFY(XALAN_CPP_NAMESPACE);
    std::string const prefix = "_ZN" + std::to_string(space.size()) + space;
    for (char const* symbol :
         {"27XercesWrapperToXalanNodeMapC1ERN11xercesc_3_213MemoryManagerE",
          "27XercesWrapperToXalanNodeMapD1Ev",
          "27XercesWrapperToXalanNodeMap14addAssociationEPKN11xercesc_3_27DOMNodeEPNS_9XalanNodeE",
          "27XercesWrapperToXalanNodeMap5clearEv",
          "K27XercesWrapperToXalanNodeMap7getNodeEPKN11xercesc_3_27DOMNodeE",
          "14XalanDOMString6appendEPKDsm"}) {
        std::string const name =
            symbol[0] == 'K' ? "_ZNK" + prefix.substr(3) + (symbol + 1) : prefix + symbol;
        EXPECT_EQ(libraryOf(dlsym(RTLD_DEFAULT, name.c_str())), library) << name;
    }

    // Addresses that differ only in their high bits, or share their low bits, and a null key;
    // the first association of a node is the one kept, and clear() forgets them all.
    XercesWrapperToXalanNodeMap map(xalanc::XalanMemMgrs::getDefaultXercesMemMgr());
    auto node = [](std::uintptr_t address) { return reinterpret_cast<xercesc::DOMNode*>(address); };
    auto wrapper = [](std::uintptr_t address) { return reinterpret_cast<XalanNode*>(address + 1); };
    std::vector<std::uintptr_t> keys{0};
    for (std::uintptr_t i = 1; i <= 5000; ++i) {
        keys.push_back(i << 32);
        keys.push_back(0x7f0000000000 + i * 4096);
        keys.push_back(0x7f0000000000 + i * 8);
    }
    for (std::uintptr_t const key : keys) {
        map.addAssociation(node(key), wrapper(key));
        map.addAssociation(node(key), nullptr);
    }
    for (std::uintptr_t const key : keys) {
        ASSERT_EQ(map.getNode(node(key)), wrapper(key)) << key;
    }
    EXPECT_EQ(map.getNode(node(0x7f0000000000 + 3)), nullptr);
    map.clear();
    EXPECT_EQ(map.getNode(node(keys[1])), nullptr);
    EXPECT_EQ(map.getNode(nullptr), nullptr);

    // Appending pieces, the empty one and the string to itself (its storage moves meanwhile).
    XalanDOMString text;
    std::u16string expected;
    for (int i = 0; i < 2000; ++i) {
        std::u16string const piece = i % 7 == 0 ? u"" : u"piece " + std::u16string(i % 13, u'x');
        text.append(piece.c_str(), i % 2 == 0 ? piece.size() : XalanDOMString::npos);
        expected += piece;
        if (i % 500 == 0) {
            text.append(text.c_str(), text.length());
            expected += expected;
        }
    }
    EXPECT_EQ(std::u16string(text.c_str(), text.length()), expected);
    EXPECT_EQ(text.c_str()[text.length()], u'\0');
}
