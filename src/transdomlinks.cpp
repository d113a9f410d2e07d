#include "transdomlinks.h"

#include <typeinfo>
#include <xercesc/dom/impl/DOMAttrImpl.hpp>
#include <xercesc/dom/impl/DOMAttrMapImpl.hpp>
#include <xercesc/dom/impl/DOMAttrNSImpl.hpp>
#include <xercesc/dom/impl/DOMDocumentImpl.hpp>
#include <xercesc/dom/impl/DOMElementImpl.hpp>
#include <xercesc/dom/impl/DOMElementNSImpl.hpp>
#include <xercesc/dom/impl/DOMNodeVector.hpp>
#include <xercesc/dom/impl/DOMTextImpl.hpp>

namespace trans {

namespace {

using xercesc::DOMNode;

// The links of a node that can be a child: its own flags and owner, and its siblings. Both are
// null for a node of any other class.
struct ChildLinks {
    xercesc::DOMNodeImpl* node = nullptr;
    xercesc::DOMChildNode* siblings = nullptr;

    explicit operator bool() const noexcept { return node != nullptr; }
};

// Whether the node's class is exactly Impl, compared by the address of its type_info: one
// comparison, no walk of the class hierarchy. The XML library defines these type_info objects and
// every module binds to its one copy; were a module to hold a copy of its own, nodes would only
// compare unequal and take the DOM's own call.
template <typename Impl>
bool isA(DOMNode const& node) noexcept {
    return &typeid(node) == &typeid(Impl);
}

xercesc::DOMElementImpl* elementImpl(DOMNode& node) noexcept {
    return isA<xercesc::DOMElementImpl>(node) || isA<xercesc::DOMElementNSImpl>(node)
               ? static_cast<xercesc::DOMElementImpl*>(&node)
               : nullptr;
}

ChildLinks childLinks(DOMNode& node) noexcept {
    if (xercesc::DOMElementImpl* element = elementImpl(node)) {
        return {&element->fNode, &element->fChild};
    }
    if (isA<xercesc::DOMTextImpl>(node)) {
        auto& text = static_cast<xercesc::DOMTextImpl&>(node);
        return {&text.fNode, &text.fChild};
    }
    return {};
}

// The members an attribute map keeps to itself, read the way its derived classes may.
struct MapLinks : xercesc::DOMAttrMapImpl {
    static xercesc::DOMNodeVector* nodesOf(xercesc::DOMAttrMapImpl& map) noexcept {
        return map.*(&MapLinks::fNodes);
    }
    static DOMNode* ownerOf(xercesc::DOMAttrMapImpl& map) noexcept {
        return map.*(&MapLinks::fOwnerNode);
    }
};

// Whether the document has ranges, which every insertion must update (a document of another
// class counts as having them).
bool hasRanges(xercesc::DOMDocument* document) {
    if (document == nullptr || ! isA<xercesc::DOMDocumentImpl>(*document)) {
        return true;
    }
    auto const* ranges = static_cast<xercesc::DOMDocumentImpl*>(document)->getRanges();
    return ranges != nullptr && ranges->size() != 0;
}

// Gives the attribute, which has no children, a new text child holding `value` and marks it
// specified, as DOMAttrImpl::setValue does.
void linkValue(xercesc::DOMAttrImpl& attribute, xercesc::DOMDocument& document,
               XMLCh const* value) {
    auto* text = static_cast<xercesc::DOMTextImpl*>(document.createTextNode(value));
    text->fNode.fOwnerNode = &attribute;
    text->fNode.isOwned(true);
    text->fNode.isFirstChild(true);
    text->fChild.previousSibling = text;
    attribute.fParent.fFirstChild = text;
    attribute.fNode.isSpecified(true);
    attribute.fParent.changed();
}

// Whether `ancestor` is `node` or one of its ancestors.
bool isAncestorOrSelf(DOMNode const* ancestor, DOMNode* node) {
    for (; node != nullptr; node = parentOf(*node)) {
        if (node == ancestor) {
            return true;
        }
    }
    return false;
}

} // namespace

void setNewAttribute(xercesc::DOMElement& element, XMLCh const* name, XMLCh const* value) {
    xercesc::DOMElementImpl* impl = isA<xercesc::DOMElementImpl>(element)
                                        ? static_cast<xercesc::DOMElementImpl*>(&element)
                                        : nullptr;
    xercesc::DOMDocument* document = element.getOwnerDocument();
    // Where the name is in the map, or where it goes (-1 - place).
    int const point = impl != nullptr && impl->fAttributes != nullptr && name != nullptr
                          ? impl->fAttributes->findNamePoint(name)
                          : 0;
    if (impl == nullptr || value == nullptr || impl->fNode.isReadOnly() ||
        impl->fAttributes == nullptr || document == nullptr ||
        ! isA<xercesc::DOMDocumentImpl>(*document) || name == nullptr || point >= 0) {
        element.setAttribute(name, value);
        return;
    }
    // The document implementation's own nodes, as setAttribute creates them (the name is checked
    // here and raises as there).
    auto* attribute = static_cast<xercesc::DOMAttrImpl*>(document->createAttribute(name));
    xercesc::DOMAttrMapImpl* map = impl->fAttributes;
    map->reserve(10); // the vector setNamedItem makes for a first attribute
    // The links setNamedItemFast makes: owned by the map's element, in the map's order of names.
    attribute->fNode.fOwnerNode = MapLinks::ownerOf(*map);
    attribute->fNode.isOwned(true);
    MapLinks::nodesOf(*map)->insertElementAt(attribute, static_cast<XMLSize_t>(-1 - point));
    linkValue(*attribute, *document, value);
}

void setNewValue(xercesc::DOMAttr& attribute, XMLCh const* value) {
    xercesc::DOMAttrImpl* impl =
        isA<xercesc::DOMAttrImpl>(attribute) || isA<xercesc::DOMAttrNSImpl>(attribute)
            ? static_cast<xercesc::DOMAttrImpl*>(&attribute)
            : nullptr;
    xercesc::DOMDocument* document = attribute.getOwnerDocument();
    if (impl == nullptr || value == nullptr || impl->fNode.isReadOnly() || impl->fNode.isIdAttr() ||
        impl->fParent.fFirstChild != nullptr || document == nullptr ||
        ! isA<xercesc::DOMDocumentImpl>(*document)) {
        attribute.setValue(value);
        return;
    }
    linkValue(*impl, *document, value);
}

DOMNode* parentOf(DOMNode const& node) {
    ChildLinks const links = childLinks(const_cast<DOMNode&>(node));
    if (! links) {
        return node.getParentNode();
    }
    return links.node->isOwned() ? links.node->fOwnerNode : nullptr;
}

DOMNode* insertNewChild(xercesc::DOMElement& parent, DOMNode& child, DOMNode* before) {
    xercesc::DOMElementImpl* impl = elementImpl(parent);
    ChildLinks const links = childLinks(child);
    xercesc::DOMDocument* document = parent.getOwnerDocument();
    bool fast = impl != nullptr && links && ! links.node->isOwned() && ! impl->fNode.isReadOnly() &&
                child.getOwnerDocument() == document && &child != before && ! hasRanges(document) &&
                ! (child.hasChildNodes() && isAncestorOrSelf(&child, &parent));
    ChildLinks beforeLinks;
    if (fast && before != nullptr) {
        beforeLinks = childLinks(*before);
        fast =
            beforeLinks && beforeLinks.node->isOwned() && beforeLinks.node->fOwnerNode == &parent;
    }
    DOMNode* const first = fast ? impl->fParent.fFirstChild : nullptr;
    ChildLinks const firstLinks = first != nullptr ? childLinks(*first) : ChildLinks();
    ChildLinks const lastLinks =
        firstLinks ? childLinks(*firstLinks.siblings->previousSibling) : ChildLinks();
    ChildLinks const previousLinks = beforeLinks && before != first
                                         ? childLinks(*beforeLinks.siblings->previousSibling)
                                         : ChildLinks();
    fast = fast && (first == nullptr || (firstLinks && lastLinks)) &&
           (! beforeLinks || before == first || previousLinks);
    if (! fast) {
        return parent.insertBefore(&child, before);
    }
    // The links DOMParentNode::insertBefore makes, in its order.
    links.node->fOwnerNode = &parent;
    links.node->isOwned(true);
    if (first == nullptr) {
        impl->fParent.fFirstChild = &child;
        links.node->isFirstChild(true);
        links.siblings->previousSibling = &child;
    } else if (before == nullptr) {
        DOMNode* const last = firstLinks.siblings->previousSibling;
        lastLinks.siblings->nextSibling = &child;
        links.siblings->previousSibling = last;
        firstLinks.siblings->previousSibling = &child;
    } else if (before == first) {
        firstLinks.node->isFirstChild(false);
        links.siblings->nextSibling = first;
        links.siblings->previousSibling = firstLinks.siblings->previousSibling;
        firstLinks.siblings->previousSibling = &child;
        impl->fParent.fFirstChild = &child;
        links.node->isFirstChild(true);
    } else {
        DOMNode* const previous = beforeLinks.siblings->previousSibling;
        links.siblings->nextSibling = before;
        previousLinks.siblings->nextSibling = &child;
        beforeLinks.siblings->previousSibling = &child;
        links.siblings->previousSibling = previous;
    }
    impl->fParent.changed();
    return &child;
}

DOMNode* appendNewChild(DOMNode& parent, DOMNode& child) {
    if (parent.getNodeType() != DOMNode::ELEMENT_NODE) {
        return parent.appendChild(&child);
    }
    return insertNewChild(static_cast<xercesc::DOMElement&>(parent), child, nullptr);
}

DOMNode* lastChildOf(xercesc::DOMElement const& parent) {
    xercesc::DOMElementImpl* impl = elementImpl(const_cast<xercesc::DOMElement&>(parent));
    if (impl == nullptr) {
        return parent.getLastChild();
    }
    DOMNode* const first = impl->fParent.fFirstChild;
    if (first == nullptr) {
        return nullptr;
    }
    ChildLinks const links = childLinks(*first);
    return links ? links.siblings->previousSibling : parent.getLastChild();
}

DOMNode* previousSiblingOf(DOMNode const& node) {
    ChildLinks const links = childLinks(const_cast<DOMNode&>(node));
    if (! links) {
        return node.getPreviousSibling();
    }
    return links.node->isFirstChild() ? nullptr : links.siblings->previousSibling;
}

} // namespace trans
