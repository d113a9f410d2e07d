#include "transsourcetree.h"

#include "transdomcopy.h"

#include <algorithm>
#include <cstdint>
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

// What the tree's element factory uses to make an element with attributes, reached the same way:
// the allocators of such elements and of attributes, the pool of names, the strings that are not
// pooled and the next node's place in document order.
struct ElementsWithAttributes {
    using type = xalanc::XalanSourceTreeElementAAllocator xalanc::XalanSourceTreeDocument::*;
    friend type member(ElementsWithAttributes);
};
template struct MemberOf<ElementsWithAttributes,
                         &xalanc::XalanSourceTreeDocument::m_elementAAllocator>;

struct PlainAttributes {
    using type = xalanc::XalanSourceTreeAttributeAllocator xalanc::XalanSourceTreeDocument::*;
    friend type member(PlainAttributes);
};
template struct MemberOf<PlainAttributes, &xalanc::XalanSourceTreeDocument::m_attributeAllocator>;

struct Names {
    using type = xalanc::XalanDOMStringPool xalanc::XalanSourceTreeDocument::*;
    friend type member(Names);
};
template struct MemberOf<Names, &xalanc::XalanSourceTreeDocument::m_namesStringPool>;

struct UnpooledStrings {
    using type = xalanc::XalanDOMStringAllocator xalanc::XalanSourceTreeDocument::*;
    friend type member(UnpooledStrings);
};
template struct MemberOf<UnpooledStrings, &xalanc::XalanSourceTreeDocument::m_nonPooledStrings>;

struct NextIndex {
    using type = xalanc::XalanNode::IndexType xalanc::XalanSourceTreeDocument::*;
    friend type member(NextIndex);
};
template struct MemberOf<NextIndex, &xalanc::XalanSourceTreeDocument::m_nextIndexValue>;

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

// An attribute's value: the DOM's own text when it has one child text, as it has when it was made
// by the parser or by setAttribute.
XMLCh const* attributeValue(xercesc::DOMNode const& attribute) {
    xercesc::DOMNode const* text = onlyText(static_cast<xercesc::DOMAttr const&>(attribute));
    return orEmpty(text != nullptr ? text->getNodeValue() : attribute.getNodeValue());
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
                            name, id ? u"ID" : u"CDATA", attributeValue(attribute)});
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

// Whether the element has attributes, and it and they are what the tree makes without namespaces
// and keeps out of its table of IDs: no namespace URI, no namespace declaration, no ID.
bool isPlainElement(xercesc::DOMNode const& element) {
    xercesc::DOMNamedNodeMap const* map = element.getAttributes();
    if (map == nullptr || map->getLength() == 0 || *orEmpty(element.getNamespaceURI()) != 0) {
        return false;
    }
    for (XMLSize_t i = 0; i < map->getLength(); ++i) {
        auto const* attribute = static_cast<xercesc::DOMAttr const*>(map->item(i));
        if (*orEmpty(attribute->getNamespaceURI()) != 0 || attribute->isId() ||
            isNamespaceDeclaration(attribute->getNodeName())) {
            return false;
        }
    }
    return true;
}

// Attribute values as strings of the tree. The tree's own factory keeps every value in a pool
// whose table grows with the document, and each value costs a search of that table. A dictionary
// repeats a few short values (codes, widths, types) on every variable and hardly any of the rest,
// so a small table serves instead: equal values that meet in one of its slots share one string,
// and every other value gets a string of its own.
class ValueStrings {
public:
    explicit ValueStrings(xalanc::XalanDOMStringAllocator& strings)
        : strings_(strings), slots_(slotCount) {}

    xalanc::XalanDOMString const& get(XMLCh const* text) {
        std::uint32_t hash = 2166136261U; // FNV-1a
        std::size_t length = 0;
        for (; text[length] != 0; ++length) {
            hash = (hash ^ text[length]) * 16777619U;
        }
        // The slot keeps the hash and length of its string: a value that differs is told apart
        // without reading the string.
        Slot& slot = slots_[hash % slotCount];
        if (slot.string == nullptr || slot.hash != hash || slot.length != length ||
            std::u16string_view(slot.string->c_str(), length) !=
                std::u16string_view(text, length)) {
            slot = {strings_.create(text, static_cast<xalanc::XalanDOMString::size_type>(length)),
                    hash, length};
        }
        return *slot.string;
    }

private:
    struct Slot {
        xalanc::XalanDOMString* string = nullptr;
        std::uint32_t hash = 0;
        std::size_t length = 0;
    };
    static constexpr std::size_t slotCount = 4096;
    xalanc::XalanDOMStringAllocator& strings_;
    std::vector<Slot> slots_;
};

// The tree's pooled strings for the DOM's names. The DOM keeps one copy of each name, so a name
// is found by its address first; only an address not seen in its slot is looked up in the pool.
class TreeNames {
public:
    explicit TreeNames(xalanc::XalanDOMStringPool& pool) : pool_(pool), slots_(slotCount) {}

    xalanc::XalanDOMString const& get(XMLCh const* name) {
        Slot& slot = slots_[(reinterpret_cast<std::uintptr_t>(name) / alignof(XMLCh)) % slotCount];
        if (slot.name != name || slot.string == nullptr) {
            slot = {name, &pool_.get(name)};
        }
        return *slot.string;
    }

private:
    struct Slot {
        XMLCh const* name = nullptr;
        xalanc::XalanDOMString const* string = nullptr;
    };
    static constexpr std::size_t slotCount = 1024;
    xalanc::XalanDOMStringPool& pool_;
    std::vector<Slot> slots_;
};

// A plain element (see isPlainElement), made as the tree's factory makes it (createElementNode
// with createAttributes): the same nodes, names, attribute order and places in document order;
// only the values' strings come from `values`.
xalanc::XalanSourceTreeElement* createPlainElement(xalanc::XalanSourceTreeDocument& tree,
                                                   xercesc::DOMNode const& node,
                                                   xalanc::XalanNode* parent,
                                                   xalanc::XalanNode* previous, TreeNames& names,
                                                   ValueStrings& values) {
    xercesc::DOMNamedNodeMap const& map = *node.getAttributes();
    auto const count = static_cast<xalanc::XalanSize_t>(map.getLength());
    xalanc::XalanNode::IndexType& next = tree.*member(NextIndex());
    xalanc::XalanSourceTreeAttr** const array = (tree.*member(AttributeArrays())).allocate(count);
    xalanc::XalanDOMString const& elementName = names.get(node.getNodeName());
    xalanc::XalanSourceTreeElement* const element =
        (tree.*member(ElementsWithAttributes()))
            .create(elementName, &tree, array, count, parent, previous, nullptr, next++);
    xalanc::XalanSourceTreeAttributeAllocator& made = tree.*member(PlainAttributes());
    for (xalanc::XalanSize_t i = 0; i < count; ++i) {
        xercesc::DOMNode const& attribute = *map.item(i);
        xalanc::XalanDOMString const& name = names.get(attribute.getNodeName());
        array[i] = made.create(name, values.get(attributeValue(attribute)), element, next++);
    }
    return element;
}

// What the tree must know of the document before it is made: how many attributes it has, how
// many attribute values and texts go to its pool, and which of its elements are plain (see
// isPlainElement), in document order.
struct Survey {
    std::size_t attributes = 0;
    std::size_t pooledValues = 0;
    std::vector<bool> plain;
};

Survey surveyDocument(xercesc::DOMDocument const& document) {
    Survey survey;
    std::vector<xercesc::DOMNode const*> next{document.getFirstChild()};
    while (! next.empty()) {
        xercesc::DOMNode const* node = next.back();
        if (node == nullptr) {
            next.pop_back();
            continue;
        }
        next.back() = node->getNextSibling();
        xercesc::DOMNamedNodeMap const* map = node->getAttributes();
        std::size_t const count = map != nullptr ? map->getLength() : 0;
        bool const plain =
            node->getNodeType() == xercesc::DOMNode::ELEMENT_NODE && isPlainElement(*node);
        if (node->getNodeType() == xercesc::DOMNode::ELEMENT_NODE) {
            survey.plain.push_back(plain);
        }
        survey.attributes += count;
        survey.pooledValues += 1 + (plain ? 0 : count);
        next.push_back(node->getFirstChild());
    }
    return survey;
}

// Copies the document's nodes, in document order, into a source tree (see mirrorDocument). The
// document element gets no namespace node of its own for the xml prefix (the bridged view has
// none). Returns false for a document that the source tree cannot mirror node for node.
bool mirror(xercesc::DOMDocument const& document, Survey const& survey,
            xalanc::XalanSourceTreeDocument& tree) {
    DomAttributes attributes;
    TreeNames names(tree.*member(Names()));
    ValueStrings values(tree.*member(UnpooledStrings()));
    TreeLinker linker(tree);
    std::size_t elements = 0;

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
            bool const namespaced = uri != nullptr && *uri != 0;
            xalanc::XalanSourceTreeElement* element = nullptr;
            if (survey.plain[elements++]) {
                element = createPlainElement(tree, *node, parent, level.lastChild, names, values);
            } else {
                element = namespaced
                              ? tree.createElementNode(uri, local, node->getNodeName(), attributes,
                                                       parent, level.lastChild, nullptr, false)
                              : tree.createElementNode(node->getNodeName(), attributes, parent,
                                                       level.lastChild, nullptr, false);
                if (map != nullptr && map->getLength() > 0) {
                    keepAttributeOrder(*element, *map);
                }
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

} // namespace

SourceTree mirrorDocument(xercesc::DOMDocument const& document) {
    using Tree = xalanc::XalanSourceTreeDocument;
    Survey const survey = surveyDocument(document);
    // The pool of attribute values and texts has a hash table that does not grow: a table of the
    // default size would make adding a large document's values quadratic.
    SourceTree tree(Tree::create(
        XalanMemMgrs::getDefaultXercesMemMgr(), false, Tree::eDefaultNamesStringPoolBlockSize,
        Tree::eDefaultNamesStringPoolBucketCount, Tree::eDefaultNamesStringPoolBucketSize,
        Tree::eDefaultValuesStringPoolBlockSize,
        std::max<std::size_t>(Tree::eDefaultValuesStringPoolBucketCount,
                              (survey.pooledValues / 4) | 1),
        Tree::eDefaultValuesStringPoolBucketSize));
    // Elements' attribute arrays are cut from blocks; when the last block cannot give an array,
    // the allocator searches every block for one that can, which makes a large document's arrays
    // quadratic. One block that holds them all is made instead: the block size is fixed when the
    // allocator is constructed, so the tree's allocator, which has allocated nothing yet, is
    // replaced in place by one constructed with that size. (Its constructor allocates nothing and
    // cannot throw; only Xalan-C's compiled code reaches it through the tree.)
    using Arrays = Tree::AttributesArrayAllocatorType;
    std::size_t const blockSize = std::min<std::size_t>(
        std::max<std::size_t>(Arrays::eDefaultBlockSize, survey.attributes + 1),
        std::numeric_limits<Arrays::size_type>::max());
    Arrays& arrays = (*tree).*member(AttributeArrays());
    arrays.~Arrays();
    new (&arrays)
        Arrays(XalanMemMgrs::getDefaultXercesMemMgr(), static_cast<Arrays::size_type>(blockSize));
    if (! mirror(document, survey, *tree)) {
        tree.reset();
    }
    return tree;
}

EmptyRoot::EmptyRoot()
    : tree_(xalanc::XalanSourceTreeDocument::create(XalanMemMgrs::getDefaultXercesMemMgr())),
      fragment_(XalanMemMgrs::getDefaultXercesMemMgr(), *tree_) {}

} // namespace trans
