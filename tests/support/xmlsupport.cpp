#include "xmlsupport.h"

#include <gtest/gtest.h>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/HandlerBase.hpp>
#include <xercesc/util/XMLString.hpp>

namespace testing_support {

void DocumentReleaser::operator()(xercesc::DOMDocument* document) const noexcept {
    if (document != nullptr) {
        document->release();
    }
}

OwnedDocument parseXml(std::string const& text) {
    xercesc::XercesDOMParser parser;
    parser.setDoNamespaces(true);
    parser.setValidationScheme(xercesc::XercesDOMParser::Val_Never);
    xercesc::HandlerBase errors;
    parser.setErrorHandler(&errors);
    xercesc::MemBufInputSource input(reinterpret_cast<XMLByte const*>(text.data()), text.size(),
                                     "test");
    try {
        parser.parse(input);
    } catch (...) {
        ADD_FAILURE() << "not well-formed: " << text;
        return OwnedDocument();
    }
    return OwnedDocument(parser.adoptDocument());
}

namespace {

std::string narrow(XMLCh const* text) {
    if (text == nullptr) {
        return "";
    }
    std::u16string const wide(text);
    std::string result;
    for (char16_t c : wide) {
        if (c < 0x80) {
            result.push_back(static_cast<char>(c));
        } else {
            result += "&#" + std::to_string(static_cast<unsigned>(c)) + ";";
        }
    }
    return result;
}

void describe(xercesc::DOMNode const* node, std::string& out) {
    for (xercesc::DOMNode const* child = node->getFirstChild(); child != nullptr;
         child = child->getNextSibling()) {
        switch (child->getNodeType()) {
        case xercesc::DOMNode::ELEMENT_NODE: {
            out += "<" + narrow(child->getNodeName());
            xercesc::DOMNamedNodeMap const* attributes = child->getAttributes();
            for (XMLSize_t i = 0; i < attributes->getLength(); ++i) {
                out += " " + narrow(attributes->item(i)->getNodeName()) + "=\"" +
                       narrow(attributes->item(i)->getNodeValue()) + "\"";
            }
            out += ">";
            describe(child, out);
            out += "</>";
            break;
        }
        case xercesc::DOMNode::TEXT_NODE:
        case xercesc::DOMNode::CDATA_SECTION_NODE:
            out += "[" + narrow(child->getNodeValue()) + "]";
            break;
        case xercesc::DOMNode::COMMENT_NODE:
            out += "<!--" + narrow(child->getNodeValue()) + "-->";
            break;
        case xercesc::DOMNode::PROCESSING_INSTRUCTION_NODE:
            out += "<?" + narrow(child->getNodeName()) + " " + narrow(child->getNodeValue()) + "?>";
            break;
        default:
            break;
        }
    }
}

} // namespace

std::string treeShape(xercesc::DOMDocument const* document) {
    std::string out;
    if (document != nullptr) {
        describe(document, out);
    }
    return out;
}

} // namespace testing_support
