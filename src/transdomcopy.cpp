#include "transdomcopy.h"

#include "transdomlinks.h"

#include <vector>
#include <xercesc/dom/DOM.hpp>

namespace trans {

namespace {

using xercesc::DOMNode;

void copyAttributes(xercesc::DOMElement const& source, xercesc::DOMElement& copy,
                    xercesc::DOMDocument& document, bool& ids) {
    xercesc::DOMNamedNodeMap const* attributes = source.getAttributes();
    XMLSize_t const count = attributes != nullptr ? attributes->getLength() : 0;
    for (XMLSize_t i = 0; i < count; ++i) {
        auto const& attribute = *static_cast<xercesc::DOMAttr const*>(attributes->item(i));
        if (! attribute.getSpecified()) {
            continue; // a default from a document type, which the copy does not have
        }
        bool const named = attribute.getLocalName() != nullptr;
        bool const id = attribute.isId();
        // A value of one text (or none) alone gives the same attribute. Entity references among
        // its children are kept only by the document's own import.
        DOMNode const* const text = onlyText(attribute);
        if (text != nullptr || attribute.getFirstChild() == nullptr) {
            XMLCh const* const value = text != nullptr ? text->getNodeValue() : u"";
            if (named) {
                copy.setAttributeNS(attribute.getNamespaceURI(), attribute.getName(), value);
                if (id) {
                    copy.setIdAttributeNS(attribute.getNamespaceURI(), attribute.getLocalName(),
                                          true);
                }
            } else {
                setNewAttribute(copy, attribute.getName(), value);
                if (id) {
                    copy.setIdAttribute(attribute.getName(), true);
                }
            }
        } else {
            auto* const imported = static_cast<xercesc::DOMAttr*>(
                document.importNode(const_cast<xercesc::DOMAttr*>(&attribute), true));
            if (named) {
                copy.setAttributeNodeNS(imported);
            } else {
                copy.setAttributeNode(imported);
            }
            if (id) {
                copy.setIdAttributeNode(imported, true);
            }
        }
        ids = ids || id;
    }
}

DOMNode* shallowCopy(xercesc::DOMDocument& document, DOMNode const& source, bool& ids) {
    switch (source.getNodeType()) {
    case DOMNode::ELEMENT_NODE: {
        xercesc::DOMElement* const copy =
            source.getLocalName() == nullptr
                ? document.createElement(source.getNodeName())
                : document.createElementNS(source.getNamespaceURI(), source.getNodeName());
        copyAttributes(static_cast<xercesc::DOMElement const&>(source), *copy, document, ids);
        return copy;
    }
    case DOMNode::TEXT_NODE:
        return document.createTextNode(source.getNodeValue());
    case DOMNode::CDATA_SECTION_NODE:
        return document.createCDATASection(source.getNodeValue());
    case DOMNode::COMMENT_NODE:
        return document.createComment(source.getNodeValue());
    case DOMNode::PROCESSING_INSTRUCTION_NODE:
        return document.createProcessingInstruction(source.getNodeName(), source.getNodeValue());
    default:
        return document.importNode(&source, false);
    }
}

} // namespace

DOMNode* copyTree(xercesc::DOMDocument& document, DOMNode const& root, bool& ids) {
    ids = false;
    struct Pending {
        DOMNode const* source;
        DOMNode* copy;
    };
    DOMNode* const copy = shallowCopy(document, root, ids);
    std::vector<Pending> pending{{&root, copy}};
    while (! pending.empty()) {
        Pending const next = pending.back();
        pending.pop_back();
        for (DOMNode const* child = next.source->getFirstChild(); child != nullptr;
             child = child->getNextSibling()) {
            DOMNode* const childCopy =
                appendNewChild(*next.copy, *shallowCopy(document, *child, ids));
            if (child->getNodeType() == DOMNode::ELEMENT_NODE) {
                pending.push_back({child, childCopy});
            }
        }
    }
    return copy;
}

} // namespace trans
