#ifndef TRANSDOMCOPY_H
#define TRANSDOMCOPY_H

#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMNode.hpp>

namespace trans {

// The attribute's only child when that is a text node, whose text is then the attribute's value;
// otherwise null. Reading the value there spares the attribute's own accessor its cast.
inline xercesc::DOMNode const* onlyText(xercesc::DOMAttr const& attribute) noexcept {
    xercesc::DOMNode const* first = attribute.getFirstChild();
    bool const only = first != nullptr && first->getNodeType() == xercesc::DOMNode::TEXT_NODE &&
                      first->getNextSibling() == nullptr;
    return only ? first : nullptr;
}

// A deep copy of the node's tree, made in `document` and not yet inserted: the same nodes,
// names, values, attribute order and attribute types as the document's own deep import gives,
// built by the calls a program that writes such a tree would make. It walks level by level, so
// any depth is copied. An entity reference's children belong to its own document and are not
// copied. `ids` is set to whether an attribute of the tree is of type ID.
xercesc::DOMNode* copyTree(xercesc::DOMDocument& document, xercesc::DOMNode const& root, bool& ids);

} // namespace trans

#endif // TRANSDOMCOPY_H
