#include "transsourcetree.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>
#include <xalanc/PlatformSupport/AttributesImpl.hpp>
#include <xalanc/XalanSourceTree/XalanSourceTreeAttr.hpp>
#include <xalanc/XalanSourceTree/XalanSourceTreeComment.hpp>
#include <xalanc/XalanSourceTree/XalanSourceTreeElement.hpp>
#include <xalanc/XalanSourceTree/XalanSourceTreeElementA.hpp>
#include <xalanc/XalanSourceTree/XalanSourceTreeProcessingInstruction.hpp>
#include <xalanc/XalanSourceTree/XalanSourceTreeText.hpp>
#include <xercesc/dom/DOM.hpp>

using xalanc::XalanMemMgrs;

namespace trans {

void SourceTreeDestroyer::operator()(xalanc::XalanSourceTreeDocument* document) const noexcept {
    xalanc::XalanDestroy(XalanMemMgrs::getDefaultXercesMemMgr(), document);
}

namespace {

XMLCh const* orEmpty(XMLCh const* text) noexcept {
    return text != nullptr ? text : u"";
}

bool hasColon(XMLCh const* name) noexcept {
    return std::u16string_view(orEmpty(name)).find(u':') != std::u16string_view::npos;
}

// Appends a new source-tree node behind the last child of its parent (or as the first child),
// without walking the siblings.
class TreeLinker {
public:
    explicit TreeLinker(xalanc::XalanSourceTreeDocument& tree) : tree_(tree) {}

    // The node that new nodes are created in, and its last child so far.
    struct Level {
        xalanc::XalanSourceTreeElement* element; // null: the document
        xalanc::XalanNode* lastChild;
    };

    template <typename Node>
    void append(Level& level, Node* node) {
        if (level.lastChild == nullptr) {
            appendFirst(level.element, node);
        } else {
            switch (level.lastChild->getNodeType()) {
            case xalanc::XalanNode::ELEMENT_NODE:
                static_cast<xalanc::XalanSourceTreeElement*>(level.lastChild)
                    ->appendSiblingNode(node);
                break;
            case xalanc::XalanNode::TEXT_NODE:
                static_cast<xalanc::XalanSourceTreeText*>(level.lastChild)->appendSiblingNode(node);
                break;
            case xalanc::XalanNode::COMMENT_NODE:
                static_cast<xalanc::XalanSourceTreeComment*>(level.lastChild)
                    ->appendSiblingNode(node);
                break;
            default:
                static_cast<xalanc::XalanSourceTreeProcessingInstruction*>(level.lastChild)
                    ->appendSiblingNode(node);
                break;
            }
        }
        level.lastChild = node;
    }

private:
    template <typename Node>
    void appendFirst(xalanc::XalanSourceTreeElement* parent, Node* node) {
        if (parent != nullptr) {
            parent->appendChildNode(node);
        } else {
            tree_.appendChildNode(node);
        }
    }
    void appendFirst(xalanc::XalanSourceTreeElement* parent, xalanc::XalanSourceTreeText* node) {
        parent->appendChildNode(node); // text is never a child of the document
    }

    xalanc::XalanSourceTreeDocument& tree_;
};

// The source tree makes an element's namespace declarations its first attributes; the DOM, and
// with it the bridged view, keeps its own order. The tree's array of an element's attributes is
// private: it is reached the one way the language allows, through an explicit instantiation of a
// template with a pointer to the member (which does not check access).
struct AttributeArray {
    using type = xalanc::XalanSourceTreeAttr* const* xalanc::XalanSourceTreeElementA::*;
    friend type member(AttributeArray);
};

template <typename Tag, typename Tag::type Member>
struct MemberOf {
    friend typename Tag::type member(Tag) { return Member; }
};

template struct MemberOf<AttributeArray, &xalanc::XalanSourceTreeElementA::m_attributes>;

bool isNamespaceDeclaration(XMLCh const* name) {
    std::u16string_view const text(orEmpty(name));
    return text == u"xmlns" || text.substr(0, 6) == u"xmlns:";
}

// Puts the element's attributes, and their places in document order, in the DOM's order.
void keepAttributeOrder(xalanc::XalanSourceTreeElement& element,
                        xercesc::DOMNamedNodeMap const& map) {
    auto& withAttributes = static_cast<xalanc::XalanSourceTreeElementA&>(element);
    xalanc::XalanSize_t const count = withAttributes.getAttributeCount();
    std::size_t declarations = 0;
    for (xalanc::XalanSize_t i = 0; i < count; ++i) {
        declarations += isNamespaceDeclaration(map.item(i)->getNodeName()) ? 1 : 0;
    }
    if (declarations == 0 || declarations == count) {
        return; // one kind only: the tree's order is the DOM's
    }
    // Declarations first, each kind in the DOM's order: the tree's order.
    std::vector<xalanc::XalanSourceTreeAttr*> made(count);
    std::vector<xalanc::XalanSourceTreeAttr::IndexType> indexes(count);
    for (xalanc::XalanSize_t i = 0; i < count; ++i) {
        made[i] = withAttributes.getAttributeByIndex(i);
        indexes[i] = made[i]->getIndex();
    }
    std::size_t nextDeclaration = 0;
    std::size_t nextOther = declarations;
    auto** array =
        const_cast<xalanc::XalanSourceTreeAttr**>(withAttributes.*member(AttributeArray()));
    for (xalanc::XalanSize_t i = 0; i < count; ++i) {
        bool const declaration = isNamespaceDeclaration(map.item(i)->getNodeName());
        xalanc::XalanSourceTreeAttr* attribute =
            made[declaration ? nextDeclaration++ : nextOther++];
        attribute->setIndex(indexes[i]);
        array[i] = attribute;
    }
}

// Copies the document's nodes, in document order, into a source tree (see mirrorDocument). The
// document element gets no namespace node of its own for the xml prefix (the bridged view has
// none). Returns false for a document that the source tree cannot mirror node for node.
bool mirror(xercesc::DOMDocument const& document, xalanc::XalanSourceTreeDocument& tree) {
    xalanc::MemoryManager& memory = XalanMemMgrs::getDefaultXercesMemMgr();
    xalanc::AttributesImpl attributes(memory);
    TreeLinker linker(tree);

    struct Open {
        xercesc::DOMNode const* next; // the DOM child to copy next
        TreeLinker::Level level;
    };
    std::vector<Open> open{{document.getFirstChild(), {nullptr, nullptr}}};
    while (! open.empty()) {
        xercesc::DOMNode const* node = open.back().next;
        if (node == nullptr) {
            open.pop_back();
            continue;
        }
        open.back().next = node->getNextSibling();
        TreeLinker::Level& level = open.back().level;
        xalanc::XalanNode* parent = level.element != nullptr
                                        ? static_cast<xalanc::XalanNode*>(level.element)
                                        : static_cast<xalanc::XalanNode*>(&tree);
        switch (node->getNodeType()) {
        case xercesc::DOMNode::ELEMENT_NODE: {
            XMLCh const* local = node->getLocalName();
            XMLCh const* uri = node->getNamespaceURI();
            if (local == nullptr && hasColon(node->getNodeName())) {
                return false;
            }
            attributes.clear();
            xercesc::DOMNamedNodeMap const* map = node->getAttributes();
            for (XMLSize_t i = 0; map != nullptr && i < map->getLength(); ++i) {
                xercesc::DOMNode const* attribute = map->item(i);
                XMLCh const* attributeLocal = attribute->getLocalName();
                // The type ID puts the element in the tree's table for id().
                bool const id = static_cast<xercesc::DOMAttr const*>(attribute)->isId();
                attributes.addAttribute(orEmpty(attribute->getNamespaceURI()),
                                        attributeLocal != nullptr ? attributeLocal
                                                                  : attribute->getNodeName(),
                                        attribute->getNodeName(), id ? u"ID" : u"CDATA",
                                        orEmpty(attribute->getNodeValue()));
            }
            xalanc::XalanSourceTreeElement* element =
                uri != nullptr && *uri != 0
                    ? tree.createElementNode(uri, local, node->getNodeName(), attributes, parent,
                                             level.lastChild, nullptr, false)
                    : tree.createElementNode(node->getNodeName(), attributes, parent,
                                             level.lastChild, nullptr, false);
            if (map != nullptr && map->getLength() > 0) {
                keepAttributeOrder(*element, *map);
            }
            linker.append(level, element);
            open.push_back({node->getFirstChild(), {element, nullptr}});
            break;
        }
        case xercesc::DOMNode::TEXT_NODE: {
            XMLCh const* text = orEmpty(node->getNodeValue());
            auto const length = static_cast<xalanc::XalanDOMString::size_type>(
                std::char_traits<char16_t>::length(text));
            if (length == 0 || level.element == nullptr) {
                return false;
            }
            linker.append(level,
                          tree.createTextNode(text, length, parent, level.lastChild, nullptr));
            break;
        }
        case xercesc::DOMNode::COMMENT_NODE: {
            XMLCh const* text = orEmpty(node->getNodeValue());
            auto const length = static_cast<xalanc::XalanDOMString::size_type>(
                std::char_traits<char16_t>::length(text));
            linker.append(level,
                          tree.createCommentNode(text, length, parent, level.lastChild, nullptr));
            break;
        }
        case xercesc::DOMNode::PROCESSING_INSTRUCTION_NODE:
            linker.append(level, tree.createProcessingInstructionNode(
                                     node->getNodeName(), orEmpty(node->getNodeValue()), parent,
                                     level.lastChild, nullptr));
            break;
        case xercesc::DOMNode::DOCUMENT_TYPE_NODE:
            break; // not part of the XPath data model
        default:
            return false;
        }
    }
    return true;
}

// Buckets for the source tree's pool of attribute values and texts. The pool's hash table does not
// grow, so a table of the default size makes adding a large document's values quadratic.
std::size_t valuePoolBuckets(xercesc::DOMDocument const& document) {
    std::size_t values = 0;
    std::vector<xercesc::DOMNode const*> pending{&document};
    while (! pending.empty()) {
        xercesc::DOMNode const* node = pending.back();
        pending.pop_back();
        xercesc::DOMNamedNodeMap const* attributes = node->getAttributes();
        values += 1 + (attributes != nullptr ? attributes->getLength() : 0);
        for (xercesc::DOMNode const* child = node->getFirstChild(); child != nullptr;
             child = child->getNextSibling()) {
            pending.push_back(child);
        }
    }
    return std::max<std::size_t>(
        xalanc::XalanSourceTreeDocument::eDefaultValuesStringPoolBucketCount, (values / 4) | 1);
}

} // namespace

SourceTree mirrorDocument(xercesc::DOMDocument const& document) {
    using Tree = xalanc::XalanSourceTreeDocument;
    SourceTree tree(Tree::create(
        XalanMemMgrs::getDefaultXercesMemMgr(), false, Tree::eDefaultNamesStringPoolBlockSize,
        Tree::eDefaultNamesStringPoolBucketCount, Tree::eDefaultNamesStringPoolBucketSize,
        Tree::eDefaultValuesStringPoolBlockSize, valuePoolBuckets(document),
        Tree::eDefaultValuesStringPoolBucketSize));
    if (! mirror(document, *tree)) {
        tree.reset();
    }
    return tree;
}

EmptyRoot::EmptyRoot()
    : tree_(xalanc::XalanSourceTreeDocument::create(XalanMemMgrs::getDefaultXercesMemMgr())),
      fragment_(XalanMemMgrs::getDefaultXercesMemMgr(), *tree_) {}

} // namespace trans
