#include "transsourcetree.h"

#include "transdomcopy.h"

#include <algorithm>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <vector>
#include <xalanc/XalanSourceTree/XalanSourceTreeAttr.hpp>
#include <xalanc/XalanSourceTree/XalanSourceTreeComment.hpp>
#include <xalanc/XalanSourceTree/XalanSourceTreeElement.hpp>
#include <xalanc/XalanSourceTree/XalanSourceTreeElementA.hpp>
#include <xalanc/XalanSourceTree/XalanSourceTreeProcessingInstruction.hpp>
#include <xalanc/XalanSourceTree/XalanSourceTreeText.hpp>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/sax2/Attributes.hpp>

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

// The tree's allocator of attribute arrays, reached the same way.
struct AttributeArrays {
    using type = xalanc::XalanSourceTreeDocument::AttributesArrayAllocatorType
        xalanc::XalanSourceTreeDocument::*;
    friend type member(AttributeArrays);
};

template struct MemberOf<AttributeArrays, &xalanc::XalanSourceTreeDocument::m_attributesVector>;

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

// An element's attributes as the source tree reads them: the DOM's own texts, not copies. They
// stay valid while the element is being mirrored.
class DomAttributes : public xercesc::Attributes {
public:
    void clear() noexcept { entries_.clear(); }

    void add(xercesc::DOMNode const& attribute) {
        XMLCh const* local = attribute.getLocalName();
        XMLCh const* name = attribute.getNodeName();
        // The type ID puts the element in the tree's table for id().
        bool const id = static_cast<xercesc::DOMAttr const&>(attribute).isId();
        entries_.push_back({orEmpty(attribute.getNamespaceURI()), local != nullptr ? local : name,
                            name, id ? u"ID" : u"CDATA", valueOf(attribute)});
    }

    XMLSize_t getLength() const override { return entries_.size(); }
    XMLCh const* getURI(XMLSize_t index) const override { return field(index, &Entry::uri); }
    XMLCh const* getLocalName(XMLSize_t index) const override {
        return field(index, &Entry::local);
    }
    XMLCh const* getQName(XMLSize_t index) const override { return field(index, &Entry::qname); }
    XMLCh const* getType(XMLSize_t index) const override { return field(index, &Entry::type); }
    XMLCh const* getValue(XMLSize_t index) const override { return field(index, &Entry::value); }

    bool getIndex(XMLCh const* uri, XMLCh const* localPart, XMLSize_t& index) const override {
        return find(
            [&](Entry const& entry) {
                return same(entry.uri, uri) && same(entry.local, localPart);
            },
            index);
    }
    int getIndex(XMLCh const* uri, XMLCh const* localPart) const override {
        XMLSize_t index = 0;
        return getIndex(uri, localPart, index) ? static_cast<int>(index) : -1;
    }
    bool getIndex(XMLCh const* qName, XMLSize_t& index) const override {
        return find([&](Entry const& entry) { return same(entry.qname, qName); }, index);
    }
    int getIndex(XMLCh const* qName) const override {
        XMLSize_t index = 0;
        return getIndex(qName, index) ? static_cast<int>(index) : -1;
    }
    XMLCh const* getType(XMLCh const* uri, XMLCh const* localPart) const override {
        return getType(static_cast<XMLSize_t>(getIndex(uri, localPart)));
    }
    XMLCh const* getType(XMLCh const* qName) const override {
        return getType(static_cast<XMLSize_t>(getIndex(qName)));
    }
    XMLCh const* getValue(XMLCh const* uri, XMLCh const* localPart) const override {
        return getValue(static_cast<XMLSize_t>(getIndex(uri, localPart)));
    }
    XMLCh const* getValue(XMLCh const* qName) const override {
        return getValue(static_cast<XMLSize_t>(getIndex(qName)));
    }

private:
    struct Entry {
        XMLCh const* uri;
        XMLCh const* local;
        XMLCh const* qname;
        XMLCh const* type;
        XMLCh const* value;
    };

    static XMLCh const* valueOf(xercesc::DOMNode const& attribute) {
        xercesc::DOMNode const* text = onlyText(static_cast<xercesc::DOMAttr const&>(attribute));
        return orEmpty(text != nullptr ? text->getNodeValue() : attribute.getNodeValue());
    }

    static bool same(XMLCh const* left, XMLCh const* right) {
        return std::u16string_view(orEmpty(left)) == std::u16string_view(orEmpty(right));
    }

    template <typename Match>
    bool find(Match const& match, XMLSize_t& index) const {
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            if (match(entries_[i])) {
                index = i;
                return true;
            }
        }
        return false;
    }

    // A field of the entry; null past the end, as the interface asks.
    XMLCh const* field(XMLSize_t index, XMLCh const* Entry::*member) const noexcept {
        return index < entries_.size() ? entries_[index].*member : nullptr;
    }

    std::vector<Entry> entries_;
};

// Copies the document's nodes, in document order, into a source tree (see mirrorDocument). The
// document element gets no namespace node of its own for the xml prefix (the bridged view has
// none). Returns false for a document that the source tree cannot mirror node for node.
bool mirror(xercesc::DOMDocument const& document, xalanc::XalanSourceTreeDocument& tree) {
    DomAttributes attributes;
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
                attributes.add(*map->item(i));
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

// The document's attributes, and its attribute values and texts.
struct Counts {
    std::size_t attributes = 0;
    std::size_t values = 0;
};

Counts countNodes(xercesc::DOMDocument const& document) {
    Counts counts;
    std::vector<xercesc::DOMNode const*> pending{&document};
    while (! pending.empty()) {
        xercesc::DOMNode const* node = pending.back();
        pending.pop_back();
        xercesc::DOMNamedNodeMap const* attributes = node->getAttributes();
        std::size_t const count = attributes != nullptr ? attributes->getLength() : 0;
        counts.attributes += count;
        counts.values += 1 + count;
        for (xercesc::DOMNode const* child = node->getFirstChild(); child != nullptr;
             child = child->getNextSibling()) {
            pending.push_back(child);
        }
    }
    return counts;
}

} // namespace

SourceTree mirrorDocument(xercesc::DOMDocument const& document) {
    using Tree = xalanc::XalanSourceTreeDocument;
    Counts const counts = countNodes(document);
    // The pool of attribute values and texts has a hash table that does not grow: a table of the
    // default size would make adding a large document's values quadratic.
    SourceTree tree(Tree::create(
        XalanMemMgrs::getDefaultXercesMemMgr(), false, Tree::eDefaultNamesStringPoolBlockSize,
        Tree::eDefaultNamesStringPoolBucketCount, Tree::eDefaultNamesStringPoolBucketSize,
        Tree::eDefaultValuesStringPoolBlockSize,
        std::max<std::size_t>(Tree::eDefaultValuesStringPoolBucketCount, (counts.values / 4) | 1),
        Tree::eDefaultValuesStringPoolBucketSize));
    // Elements' attribute arrays are cut from blocks; when the last block cannot give an array,
    // the allocator searches every block for one that can, which makes a large document's arrays
    // quadratic. One block that holds them all is made instead: the block size is fixed when the
    // allocator is constructed, so the tree's allocator, which has allocated nothing yet, is
    // replaced in place by one constructed with that size. (Its constructor allocates nothing and
    // cannot throw; only Xalan-C's compiled code reaches it through the tree.)
    using Arrays = Tree::AttributesArrayAllocatorType;
    std::size_t const blockSize = std::min<std::size_t>(
        std::max<std::size_t>(Arrays::eDefaultBlockSize, counts.attributes + 1),
        std::numeric_limits<Arrays::size_type>::max());
    Arrays& arrays = (*tree).*member(AttributeArrays());
    arrays.~Arrays();
    new (&arrays)
        Arrays(XalanMemMgrs::getDefaultXercesMemMgr(), static_cast<Arrays::size_type>(blockSize));
    if (! mirror(document, *tree)) {
        tree.reset();
    }
    return tree;
}

EmptyRoot::EmptyRoot()
    : tree_(xalanc::XalanSourceTreeDocument::create(XalanMemMgrs::getDefaultXercesMemMgr())),
      fragment_(XalanMemMgrs::getDefaultXercesMemMgr(), *tree_) {}

} // namespace trans
