#include "transdomadoption.h"

#include "transxerces.h"

#include <vector>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/PlatformUtils.hpp>

namespace {

using xercesc::DOMNode;

// Whether an attribute of the element's tree is of type ID.
bool hasIdAttribute(xercesc::DOMElement const& root) {
    std::vector<DOMNode const*> pending{&root};
    while (! pending.empty()) {
        DOMNode const* const element = pending.back();
        pending.pop_back();
        xercesc::DOMNamedNodeMap const* attributes = element->getAttributes();
        for (XMLSize_t i = 0; i < attributes->getLength(); ++i) {
            if (static_cast<xercesc::DOMAttr const*>(attributes->item(i))->isId()) {
                return true;
            }
        }
        for (DOMNode const* child = element->getFirstChild(); child != nullptr;
             child = child->getNextSibling()) {
            if (child->getNodeType() == DOMNode::ELEMENT_NODE) {
                pending.push_back(child);
            }
        }
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
