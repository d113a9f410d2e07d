#include "testsupport.h"
#include "transdomimpl.h"
#include "transspace.h"
#include "transversion.h"
#include "transxerces.h"
#include "transxmlwriter.h"
#include "xmlsupport.h"

#include <atomic>
#include <cstdint>
#include <dlfcn.h>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>
#include <xalanc/XalanDOM/XalanDOMString.hpp>
#include <xalanc/XercesParserLiaison/XercesWrapperToXalanNodeMap.hpp>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/XMLFormatter.hpp>
#include <xercesc/util/XMLUni.hpp>

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

using trans::XmlWriteEnd;

struct Written {
    std::string bytes;
    XmlWriteEnd end;
};

struct StringTarget : xercesc::XMLFormatTarget {
    void writeChars(XMLByte const* bytes, XMLSize_t count, xercesc::XMLFormatter*) override {
        text.append(reinterpret_cast<char const*>(bytes), count);
    }
    std::string text;
};

// What DOMLSSerializer writes with pretty-printing off, and how its write ends.
Written serialized(xercesc::DOMDocument const& document, char16_t const* encoding) {
    xercesc::DOMImplementation* implementation =
        xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS");
    trans::XercesPtr<xercesc::DOMLSSerializer> serializer(implementation->createLSSerializer());
    trans::XercesPtr<xercesc::DOMLSOutput> output(implementation->createLSOutput());
    serializer->getDomConfig()->setParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, false);
    StringTarget target;
    output->setEncoding(encoding);
    output->setByteStream(&target);
    XmlWriteEnd end = XmlWriteEnd::Complete;
    try {
        if (! serializer->write(&document, output.get())) {
            end = XmlWriteEnd::Stopped;
        }
    } catch (xercesc::DOMLSException const&) {
        end = XmlWriteEnd::Raised;
    }
    return {target.text, end};
}

Written written(xercesc::DOMDocument const& document, char16_t const* encoding) {
    trans::XmlText text;
    XmlWriteEnd const end = trans::writeXml(document, encoding, text);
    if (text.inUnits) {
        text.bytes.assign(reinterpret_cast<char const*>(text.units.data()), 2 * text.units.size());
    }
    return {text.bytes, end};
}

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

// Our writer against the serializer on the same documents, in every kind of encoding: the UTF-8
// and host-order UTF-16 that the writer encodes itself, and those it leaves to the formatter.
TEST_F(Document, WriterMatchesTheSerializerByteForByte) {
    using xercesc::DOMDocument;
    using xercesc::DOMElement;
    auto root = [](DOMDocument& d) { return d.getDocumentElement(); };
    auto append = [root](std::function<xercesc::DOMNode*(DOMDocument&)> make) {
        return [root, make](DOMDocument& d) { root(d)->appendChild(make(d)); };
    };
    struct Case {
        char const* name;
        std::string xml;
        std::function<void(DOMDocument&)> change; // made with the DOM: what a parser would refuse
        XmlWriteEnd utf8End;
    };
    std::string const escapes =
        "<r a=\"&lt;&gt;&amp;&quot;'&#9;&#10;&#13; \">&lt;&gt;&amp;\"'&#13;\n\t"
        "<b c=\"\" d=\"x\"/></r>";
    std::string const characters = "<r a=\"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80\">\xC3\xA9 "
                                   "\xE2\x82\xAC \xE6\x97\xA5 \xF0\x9F\x98\x80 \xC2\x80</r>";
    std::vector<Case> const cases{
        {"escapes", escapes, nullptr, XmlWriteEnd::Complete},
        {"characters", characters, nullptr, XmlWriteEnd::Complete},
        {"nodes", "<r><!-- c \xE2\x82\xAC --><?pi data?><?empty?>t<![CDATA[<&>]]></r>", nullptr,
         XmlWriteEnd::Complete},
        {"non-ASCII names", "<r><\xC3\xA9l \xC3\xBC=\"1\" z=\"2\"/></r>", nullptr,
         XmlWriteEnd::Complete},
        {"namespaces",
         "<r xmlns=\"urn:d\" xmlns:p=\"urn:p\" p:a=\"1\"><p:e xmlns:p=\"urn:q\" p:b=\"2\"/>"
         "<e xmlns=\"\"><f/></e><g xml:lang=\"en\"/></r>",
         nullptr, XmlWriteEnd::Complete},
        {"namespaces needing declarations", "<r/>",
         [root](DOMDocument& d) {
             DOMElement* e = d.createElementNS(u"urn:x", u"p:e");
             e->setAttributeNS(u"urn:y", u"q:a", u"1");
             e->setAttributeNS(u"urn:x", u"p:b", u"2");
             e->setAttributeNS(xercesc::XMLUni::fgXMLNSURIName, u"xmlns:p", u"urn:other");
             DOMElement* inner = d.createElementNS(u"urn:d", u"i");
             inner->appendChild(d.createElementNS(nullptr, u"plain"))
                 ->appendChild(d.createElementNS(nullptr, u"plain"));
             e->appendChild(inner);
             e->appendChild(d.createElementNS(u"urn:\u20AC&\"", u"j"));
             root(d)->appendChild(e);
         },
         XmlWriteEnd::Complete},
        {"cdata sections", "<r/>",
         [root](DOMDocument& d) {
             for (char16_t const* text : {u"", u"]]>", u"a]]>b", u"x]]>", u"]]]>]]>]]", u"\u0001\t",
                                          u"\u20AC\u00E9\U0001F600\u65E5x", u"\u00E9"}) {
                 root(d)->appendChild(d.createCDATASection(text));
             }
         },
         XmlWriteEnd::Complete},
        {"entity references", "<r/>",
         [root](DOMDocument& d) {
             root(d)->appendChild(d.createEntityReference(u"ent"));
             xercesc::DOMAttr* a = d.createAttribute(u"a");
             a->appendChild(d.createTextNode(u"x"));
             a->appendChild(d.createEntityReference(u"ent"));
             root(d)->setAttributeNode(a);
         },
         XmlWriteEnd::Complete},
        {"long text with pairs across the writer's parts", "<r/>",
         [root](DOMDocument& d) {
             std::u16string text;
             for (int i = 0; i < 3; ++i) {
                 text += std::u16string(16383, u'x') + u"\U0001F600&<";
             }
             root(d)->setAttribute(u"a", text.c_str());
             root(d)->appendChild(d.createTextNode(text.c_str()));
             root(d)->appendChild(d.createComment(text.c_str()));
         },
         XmlWriteEnd::Complete},
        {"control character after a long text", "<r/>",
         [root](DOMDocument& d) {
             root(d)->appendChild(d.createTextNode(std::u16string(200000, u'y').c_str()));
             root(d)->appendChild(d.createTextNode(u"x\u0001"));
         },
         XmlWriteEnd::Raised},
        {"XML 1.1 line ends", "<r/>",
         [root](DOMDocument& d) {
             d.setXmlVersion(u"1.1");
             root(d)->setAttribute(u"a", u"\u0085\u2028\t");
             root(d)->appendChild(d.createTextNode(u"\u0085\u2028\r"));
         },
         XmlWriteEnd::Complete},
        {"control character in text", "<r><a/></r>",
         append([](DOMDocument& d) { return d.createTextNode(u"x\u0001"); }), XmlWriteEnd::Raised},
        {"control character in an attribute", "<r><a/></r>",
         [root](DOMDocument& d) { root(d)->setAttribute(u"bad", u"x\u0001y"); },
         XmlWriteEnd::Raised},
        {"control character in a comment", "<r><a/></r>",
         append([](DOMDocument& d) { return d.createComment(u"\u0008"); }), XmlWriteEnd::Raised},
        {"control character in a processing instruction", "<r><a/></r>",
         append([](DOMDocument& d) { return d.createProcessingInstruction(u"t", u"\u001F"); }),
         XmlWriteEnd::Raised},
        {"unpaired surrogate in text", "<r><a/></r>",
         append([](DOMDocument& d) { return d.createTextNode(u"x\xD800y"); }), XmlWriteEnd::Raised},
        {"unpaired surrogate in an attribute", "<r><a/></r>",
         [root](DOMDocument& d) { root(d)->setAttribute(u"a", u"\xDC00"); }, XmlWriteEnd::Raised},
    };
    char16_t const* const encodings[] = {
        u"UTF-8",      u"utf-8",        u"UTF-16",    u"UTF-16BE", u"US-ASCII",
        u"ISO-8859-1", u"windows-1252", u"Shift_JIS", u"EUC-JP",   u"no-such-encoding"};
    for (Case const& c : cases) {
        auto document = parseXml(c.xml);
        if (c.change) {
            c.change(*document);
        }
        EXPECT_EQ(c.utf8End, written(*document, u"UTF-8").end) << c.name;
        for (char16_t const* encoding : encodings) {
            Written const expected = serialized(*document, encoding);
            Written const actual = written(*document, encoding);
            EXPECT_EQ(expected.bytes, actual.bytes)
                << c.name << " in " << mbcs(TransString(encoding));
            EXPECT_EQ(expected.end, actual.end) << c.name << " in " << mbcs(TransString(encoding));
        }
    }
    // The serializer does not look for unpaired surrogates in CDATA sections and namespace names:
    // it writes broken UTF-8 for them, or never returns (a lead surrogate last in a section). Our
    // writer raises, after the text before the node.
    for (char16_t const* text : {u"x\xD800", u"\xDC00y"}) {
        for (bool const cdata : {true, false}) {
            auto document = parseXml("<r><a/></r>");
            DOMElement* r = document->getDocumentElement();
            if (cdata) {
                r->appendChild(document->createCDATASection(text));
            } else {
                r->appendChild(document->createElementNS(text, u"e"));
            }
            Written const actual = written(*document, u"UTF-8");
            EXPECT_EQ(XmlWriteEnd::Raised, actual.end);
            EXPECT_EQ(cdata ? "<r><a/>" : "<r><a/><e",
                      actual.bytes.substr(actual.bytes.find("<r>")));
        }
    }
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
    // Associations made after lookups join the ones looked up; a node keeps its first.
    for (std::uintptr_t i = 5001; i <= 9000; ++i) {
        map.addAssociation(node(i << 32), wrapper(i << 32));
    }
    map.addAssociation(node(keys[1]), nullptr);
    for (std::uintptr_t const key : {keys[1], keys.back(), std::uintptr_t{9000} << 32}) {
        EXPECT_EQ(map.getNode(node(key)), wrapper(key)) << key;
    }
    // The first lookups of a map filled beforehand may come from several threads at once.
    XercesWrapperToXalanNodeMap shared(xalanc::XalanMemMgrs::getDefaultXercesMemMgr());
    for (std::uintptr_t const key : keys) {
        shared.addAssociation(node(key), wrapper(key));
    }
    std::vector<std::thread> readers;
    std::atomic<int> wrong{0};
    for (int t = 0; t < 4; ++t) {
        readers.emplace_back([&] {
            for (std::uintptr_t const key : keys) {
                wrong += shared.getNode(node(key)) == wrapper(key) ? 0 : 1;
            }
        });
    }
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(wrong, 0);
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
