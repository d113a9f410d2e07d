// Links new nodes into a document as the DOM's own calls do, at a fraction of their cost.
//
// Xerces-C's calls check every insertion and reach a node's links through a cross-cast per access
// (castToNodeImpl and its kin are dynamic_casts); on a large document that is most of the cost of
// building it. These functions make the links themselves on the document implementation's own
// node classes, as its parser does, and leave the DOM in exactly the state the call they stand for
// leaves it in: the same nodes, order, attribute order, flags and change count. Where a node is
// not of those classes, or where that call would raise or do more (a child that already has a
// parent, an attribute that exists, a read-only parent, ranges on the document), they make the
// call itself, with its exceptions.
#ifndef TRANSDOMLINKS_H
#define TRANSDOMLINKS_H

#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNode.hpp>

namespace trans {

// element.setAttribute(name, value).
void setNewAttribute(xercesc::DOMElement& element, XMLCh const* name, XMLCh const* value);

// parent.insertBefore(child, before); null `before` appends.
xercesc::DOMNode* insertNewChild(xercesc::DOMElement& parent, xercesc::DOMNode& child,
                                 xercesc::DOMNode* before);

// parent.appendChild(&child), for a parent of any kind: linked directly below an element.
xercesc::DOMNode* appendNewChild(xercesc::DOMNode& parent, xercesc::DOMNode& child);

// attribute.setValue(value) on an attribute without children, as the parser gives one its value:
// one new text child.
void setNewValue(xercesc::DOMAttr& attribute, XMLCh const* value);

// node.getParentNode().
xercesc::DOMNode* parentOf(xercesc::DOMNode const& node);

// parent.getLastChild() and node.getPreviousSibling().
xercesc::DOMNode* lastChildOf(xercesc::DOMElement const& parent);
xercesc::DOMNode* previousSiblingOf(xercesc::DOMNode const& node);

} // namespace trans

#endif // TRANSDOMLINKS_H
