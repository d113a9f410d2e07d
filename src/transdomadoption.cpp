#include "transdomadoption.h"

#include "transxerces.h"

#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/PlatformUtils.hpp>

namespace {

using xercesc::DOMNode;

// Whether an attribute of the element's tree is of type ID.
bool hasIdAttribute(xercesc::DOMElement const& root) {
    DOMNode const* node = &root;
    while (node != nullptr) {
        if (xercesc::DOMNamedNodeMap const* attributes = node->getAttributes()) {
            for (XMLSize_t i = 0; i < attributes->getLength(); ++i) {
                if (static_cast<xercesc::DOMAttr const*>(attributes->item(i))->isId()) {
                    return true;
                }
            }
        }
        // Document order, elements only, without a stack: down, else across, else up and across.
        DOMNode const* next = node->getFirstChild();
        while (next != nullptr && next->getNodeType() != DOMNode::ELEMENT_NODE) {
            next = next->getNextSibling();
        }
        while (next == nullptr && node != &root) {
            next = node->getNextSibling();
            while (next != nullptr && next->getNodeType() != DOMNode::ELEMENT_NODE) {
                next = next->getNextSibling();
            }
            if (next == nullptr) {
                node = node->getParentNode();
            }
        }
        node = next;
    }
    return false;
}

} // namespace

std::unique_ptr<TransDOMImpl> TransDOMImplAdoption::adopt(xercesc::DOMDocument* document) {
    std::unique_ptr<xercesc::DOMDocument, TransDOMImpl::DocumentReleaser> owned(document);
    if (document == nullptr || document->getDoctype() != nullptr) {
        return std::make_unique<TransDOMImpl>(static_cast<xercesc::DOMDocument const*>(document));
    }
    // What the copy leaves out: the nodes beside the element, and the properties the parser set.
    for (DOMNode* child = document->getFirstChild(); child != nullptr;) {
        DOMNode* const next = child->getNextSibling();
        if (child->getNodeType() != DOMNode::ELEMENT_NODE) {
            document->removeChild(child)->release();
        }
        child = next;
    }
    trans::XercesPtr<xercesc::DOMDocument> const fresh(
        xercesc::DOMImplementation::getImplementation()->createDocument(
            xercesc::XMLPlatformUtils::fgMemoryManager));
    document->setXmlVersion(fresh->getXmlVersion());
    document->setXmlStandalone(fresh->getXmlStandalone());
    document->setDocumentURI(fresh->getDocumentURI());

    auto value = std::make_unique<TransDOMImpl>(static_cast<xercesc::DOMDocument const*>(nullptr));
    xercesc::DOMElement const* element = document->getDocumentElement();
    value->ids_ = element != nullptr && hasIdAttribute(*element);
    value->xercesDocument_ = std::move(owned);
    return value;
}
