// The tool's XML file reader. XmlFileError is its answer to bad input, anything else escaping is a
// finding, and so is a document whose directly linked nodes differ from the DOM parser's. A
// document that is read is also made into a document value, written out and queried.
#include "transspace.h"
#include "xmlfilereader.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/XMLString.hpp>

namespace {

void checkStatus(TransStatus const& status) {
    if (status.failure() && ! status.warning()) {
        std::abort();
    }
}

bool equal(XMLCh const* left, XMLCh const* right) {
    return xercesc::XMLString::equals(left, right);
}

// Whether the two trees have the same nodes, names, values and attributes, and each its links
// in order: every child's parent and previous sibling, and the last child.
bool same(xercesc::DOMNode const& left, xercesc::DOMNode const& right) {
    if (left.getNodeType() != right.getNodeType() ||
        ! equal(left.getNodeName(), right.getNodeName()) ||
        ! equal(left.getNamespaceURI(), right.getNamespaceURI()) ||
        ! equal(left.getNodeValue(), right.getNodeValue())) {
        return false;
    }
    xercesc::DOMNamedNodeMap const* leftMap = left.getAttributes();
    xercesc::DOMNamedNodeMap const* rightMap = right.getAttributes();
    XMLSize_t const count = leftMap != nullptr ? leftMap->getLength() : 0;
    if (count != (rightMap != nullptr ? rightMap->getLength() : 0)) {
        return false;
    }
    for (XMLSize_t i = 0; i < count; ++i) {
        auto const* a = static_cast<xercesc::DOMAttr const*>(leftMap->item(i));
        auto const* b = static_cast<xercesc::DOMAttr const*>(rightMap->item(i));
        if (! same(*a, *b) || a->getSpecified() != b->getSpecified() || a->isId() != b->isId() ||
            a->getOwnerElement() != &left || b->getOwnerElement() != &right) {
            return false;
        }
    }
    xercesc::DOMNode const* a = left.getFirstChild();
    xercesc::DOMNode const* b = right.getFirstChild();
    xercesc::DOMNode const* previousA = nullptr;
    xercesc::DOMNode const* previousB = nullptr;
    for (; a != nullptr && b != nullptr; a = a->getNextSibling(), b = b->getNextSibling()) {
        if (a->getParentNode() != &left || b->getParentNode() != &right ||
            a->getPreviousSibling() != previousA || b->getPreviousSibling() != previousB ||
            ! same(*a, *b)) {
            return false;
        }
        previousA = a;
        previousB = b;
    }
    return a == nullptr && b == nullptr && left.getLastChild() == previousA &&
           right.getLastChild() == previousB;
}

void use(xercesc::DOMDocument const* document) {
    TransValue const value(document);
    TransStatus status;
    TransString* xml = value.asUTF16XML(status);
    checkStatus(status);
    TransValue::releaseString(xml);
    TransStringList* texts = value.asStringList(TransString("/*"), TransString("//text()"), status);
    checkStatus(status);
    TransValue::releaseStringList(texts);
    TransString* text = value.asString(TransString("/*"), TransString("@*"), status);
    checkStatus(status);
    TransValue::releaseString(text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static TransSpace* const space = new TransSpace; // the XML libraries stay up for the whole run
    (void)space;
    XmlDocument document;
    try {
        document = readXmlText(std::string(reinterpret_cast<char const*>(data), size), "fuzz.xml");
    } catch (XmlFileError const&) {
        return 0;
    }
    XmlDocument const parsed = readXmlText(std::string(reinterpret_cast<char const*>(data), size),
                                           "fuzz.xml", NodeLinks::Parser);
    if (! same(*parsed, *document)) {
        std::abort();
    }
    use(document.get());
    return 0;
}
