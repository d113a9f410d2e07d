#include "transsourcetree.h"

#include "transdomcopy.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>
#include <xalanc/PlatformSupport/DOMStringHelper.hpp>
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

// The tree's private members that its node factory uses, reached the one way the language allows:
// through an explicit instantiation of a template with a pointer to the member (which does not
// check access). Each tag names the member's type.
template <typename Tag, typename Tag::type Member>
struct MemberOf {
    friend typename Tag::type member(Tag) { return Member; }
};

#define TRANS_TREE_MEMBER(Tag, Type, name)                                                         \
    struct Tag {                                                                                   \
        using type = Type xalanc::XalanSourceTreeDocument::*;                                      \
        friend type member(Tag);                                                                   \
    };                                                                                             \
    template struct MemberOf<Tag, &xalanc::XalanSourceTreeDocument::name>

TRANS_TREE_MEMBER(ElementsA, xalanc::XalanSourceTreeElementAAllocator, m_elementAAllocator);
TRANS_TREE_MEMBER(ElementsANS, xalanc::XalanSourceTreeElementANSAllocator, m_elementANSAllocator);
TRANS_TREE_MEMBER(ElementsNA, xalanc::XalanSourceTreeElementNAAllocator, m_elementNAAllocator);
TRANS_TREE_MEMBER(ElementsNANS, xalanc::XalanSourceTreeElementNANSAllocator,
                  m_elementNANSAllocator);
TRANS_TREE_MEMBER(Attributes, xalanc::XalanSourceTreeAttributeAllocator, m_attributeAllocator);
TRANS_TREE_MEMBER(AttributesNS, xalanc::XalanSourceTreeAttributeNSAllocator,
                  m_attributeNSAllocator);
TRANS_TREE_MEMBER(Texts, xalanc::XalanSourceTreeTextAllocator, m_textAllocator);
TRANS_TREE_MEMBER(WhitespaceTexts, xalanc::XalanSourceTreeTextIWSAllocator, m_textIWSAllocator);
TRANS_TREE_MEMBER(Comments, xalanc::XalanSourceTreeCommentAllocator, m_commentAllocator);
TRANS_TREE_MEMBER(Instructions, xalanc::XalanSourceTreeProcessingInstructionAllocator,
                  m_piAllocator);
TRANS_TREE_MEMBER(AttributeArrays, xalanc::XalanSourceTreeDocument::AttributesArrayAllocatorType,
                  m_attributesVector);
TRANS_TREE_MEMBER(Names, xalanc::XalanDOMStringPool, m_namesStringPool);
TRANS_TREE_MEMBER(UnpooledStrings, xalanc::XalanDOMStringAllocator, m_nonPooledStrings);
TRANS_TREE_MEMBER(NextIndex, xalanc::XalanNode::IndexType, m_nextIndexValue);
TRANS_TREE_MEMBER(ElementsByID, xalanc::XalanSourceTreeDocument::ElementByIDMapType,
                  m_elementsByID);

#undef TRANS_TREE_MEMBER

// An attribute's value: the DOM's own text when it has one child text, as it has when it was made
// by the parser or by setAttribute.
XMLCh const* attributeValue(xercesc::DOMNode const& attribute) {
    xercesc::DOMNode const* text = onlyText(static_cast<xercesc::DOMAttr const&>(attribute));
    return orEmpty(text != nullptr ? text->getNodeValue() : attribute.getNodeValue());
}

// Attribute values, texts, comments and instructions' data as strings of the tree. The tree's own
// factory keeps attribute values, comments and whitespace in a pool whose table is fixed when the
// tree is made, and each value costs a search of that table. A dictionary repeats a few short
// values (codes, widths, types) on every variable and hardly any of the rest, so a small table
// serves instead: equal values that meet in one of its slots share one string, and every other
// value gets a string of its own.
class ValueStrings {
public:
    explicit ValueStrings(xalanc::XalanDOMStringAllocator& strings)
        : strings_(strings), slots_(slotCount) {}

    xalanc::XalanDOMString const& get(std::u16string_view text) {
        std::uint32_t hash = 2166136261U; // FNV-1a
        for (char16_t const unit : text) {
            hash = (hash ^ unit) * 16777619U;
        }
        // The slot keeps the hash and length of its string: a value that differs is told apart
        // without reading the string.
        Slot& slot = slots_[hash % slotCount];
        if (slot.string == nullptr || slot.hash != hash || slot.length != text.size() ||
            std::u16string_view(slot.string->c_str(), text.size()) != text) {
            slot = {strings_.create(text.data(),
                                    static_cast<xalanc::XalanDOMString::size_type>(text.size())),
                    hash, text.size()};
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

    // The part of a qualified name before its colon; the whole name when it has none.
    xalanc::XalanDOMString const& prefix(XMLCh const* name) {
        std::u16string_view const text(name);
        return pool_.get(name, static_cast<xalanc::XalanDOMString::size_type>(
                                   std::min(text.find(u':'), text.size())));
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

// Makes the tree's nodes from the DOM's as the tree's own factory makes them from a parser's
// (createElementNode with its createAttributes, createTextNode, createCommentNode and
// createProcessingInstructionNode): the same node classes, names and namespace parts, places in
// document order and table of IDs, without the xml namespace node on the document element (the
// bridged view has none). Two things differ, and no query sees either: an element's attributes
// stay in the DOM's order (the factory puts namespace declarations first, where the bridged view
// keeps the DOM's order), and strings of values come from ValueStrings.
class TreeFactory {
public:
    explicit TreeFactory(xalanc::XalanSourceTreeDocument& tree)
        : tree_(tree), names_(tree.*member(Names())), values_(tree.*member(UnpooledStrings())),
          next_(tree.*member(NextIndex())) {}

    xalanc::XalanSourceTreeElement* element(xercesc::DOMNode const& node, xalanc::XalanNode* parent,
                                            xalanc::XalanNode* previous) {
        xercesc::DOMNamedNodeMap const* map = node.getAttributes();
        auto const count = static_cast<xalanc::XalanSize_t>(map != nullptr ? map->getLength() : 0);
        xalanc::XalanSourceTreeAttr** const array = count > 0 ? arrays(count) : nullptr;
        XMLCh const* qualified = node.getNodeName();
        xalanc::XalanDOMString const& name = names_.get(qualified);
        XMLCh const* uri = orEmpty(node.getNamespaceURI());
        xalanc::XalanSourceTreeElement* made = nullptr;
        if (*uri == 0 && count == 0) {
            made = (tree_.*member(ElementsNA()))
                       .create(name, &tree_, parent, previous, nullptr, next_++);
        } else if (*uri == 0) {
            made = (tree_.*member(ElementsA()))
                       .create(name, &tree_, array, count, parent, previous, nullptr, next_++);
        } else {
            xalanc::XalanDOMString const& local = names_.get(node.getLocalName());
            xalanc::XalanDOMString const& space = names_.get(uri);
            xalanc::XalanDOMString const& prefix =
                hasColon(qualified) ? names_.prefix(qualified) : names_.get(u"");
            if (count == 0) {
                made = (tree_.*member(ElementsNANS()))
                           .create(name, local, space, prefix, &tree_, parent, previous, nullptr,
                                   next_++);
            } else {
                made = (tree_.*member(ElementsANS()))
                           .create(name, local, space, prefix, &tree_, array, count, parent,
                                   previous, nullptr, next_++);
            }
        }
        for (xalanc::XalanSize_t i = 0; i < count; ++i) {
            array[i] = attribute(*map->item(i), made);
        }
        return made;
    }

    xalanc::XalanSourceTreeText* text(XMLCh const* data, xalanc::XalanDOMString::size_type length,
                                      xalanc::XalanNode* parent, xalanc::XalanNode* previous) {
        xalanc::XalanDOMString const& string = values_.get(std::u16string_view(data, length));
        return xalanc::isXMLWhitespace(data, 0, length)
                   ? (tree_.*member(WhitespaceTexts()))
                         .create(string, parent, previous, nullptr, next_++)
                   : (tree_.*member(Texts())).create(string, parent, previous, nullptr, next_++);
    }

    xalanc::XalanSourceTreeComment* comment(XMLCh const* data, xalanc::XalanNode* parent,
                                            xalanc::XalanNode* previous) {
        return (tree_.*member(Comments()))
            .create(values_.get(data), &tree_, parent, previous, nullptr, next_++);
    }

    xalanc::XalanSourceTreeProcessingInstruction* instruction(XMLCh const* target,
                                                              XMLCh const* data,
                                                              xalanc::XalanNode* parent,
                                                              xalanc::XalanNode* previous) {
        return (tree_.*member(Instructions()))
            .create(names_.get(target), values_.get(data), &tree_, parent, previous, nullptr,
                    next_++);
    }

private:
    xalanc::XalanSourceTreeAttr* attribute(xercesc::DOMNode const& node,
                                           xalanc::XalanSourceTreeElement* owner) {
        XMLCh const* qualified = node.getNodeName();
        XMLCh const* uri = orEmpty(node.getNamespaceURI());
        xalanc::XalanDOMString const& name = names_.get(qualified);
        xalanc::XalanDOMString const& value = values_.get(attributeValue(node));
        xalanc::XalanSourceTreeAttr* made = nullptr;
        if (*uri == 0) {
            made = (tree_.*member(Attributes())).create(name, value, owner, next_++);
        } else {
            XMLCh const* local = node.getLocalName();
            made = (tree_.*member(AttributesNS()))
                       .create(name, names_.get(local != nullptr ? local : qualified),
                               names_.get(uri), names_.prefix(qualified), value, owner, next_++);
        }
        if (static_cast<xercesc::DOMAttr const&>(node).isId()) {
            // The first element of an ID keeps it, as in the tree's own table.
            (tree_.*member(ElementsByID())).insert(made->getValue().c_str(), owner);
        }
        return made;
    }

    // Room for an element's attributes. It is cut from runs the tree's allocator of attribute
    // arrays makes and keeps: a run of at least its block size is made without searching its
    // earlier runs for room (which a large document's many runs would make slow). Runs double up
    // to a size that keeps the room left unused at the end of each small.
    xalanc::XalanSourceTreeAttr** arrays(xalanc::XalanSize_t count) {
        if (left_ < count) {
            using Arrays = xalanc::XalanSourceTreeDocument::AttributesArrayAllocatorType;
            std::size_t const run = std::max<std::size_t>(count, runSize_);
            free_ =
                (tree_.*member(AttributeArrays())).allocate(static_cast<Arrays::size_type>(run));
            left_ = run;
            runSize_ = std::min<std::size_t>(runSize_ * 2, largestRun);
        }
        xalanc::XalanSourceTreeAttr** const room = free_;
        free_ += count;
        left_ -= count;
        return room;
    }

    static constexpr std::size_t largestRun = 65536;
    xalanc::XalanSourceTreeDocument& tree_;
    TreeNames names_;
    ValueStrings values_;
    xalanc::XalanNode::IndexType& next_;
    xalanc::XalanSourceTreeAttr** free_ = nullptr;
    std::size_t left_ = 0;
    std::size_t runSize_ =
        xalanc::XalanSourceTreeDocument::AttributesArrayAllocatorType::eDefaultBlockSize;
};

// Copies the document's nodes, in document order, into a source tree (see mirrorDocument).
// Returns false for a document that the source tree cannot mirror node for node.
bool mirror(xercesc::DOMDocument const& document, xalanc::XalanSourceTreeDocument& tree) {
    TreeFactory factory(tree);
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
            if (node->getLocalName() == nullptr && hasColon(node->getNodeName())) {
                return false;
            }
            xalanc::XalanSourceTreeElement* element =
                factory.element(*node, parent, level.lastChild);
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
            linker.append(level, factory.text(text, length, parent, level.lastChild));
            break;
        }
        case xercesc::DOMNode::COMMENT_NODE:
            linker.append(level,
                          factory.comment(orEmpty(node->getNodeValue()), parent, level.lastChild));
            break;
        case xercesc::DOMNode::PROCESSING_INSTRUCTION_NODE:
            linker.append(level,
                          factory.instruction(node->getNodeName(), orEmpty(node->getNodeValue()),
                                              parent, level.lastChild));
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
    SourceTree tree(
        xalanc::XalanSourceTreeDocument::create(XalanMemMgrs::getDefaultXercesMemMgr()));
    if (! mirror(document, *tree)) {
        tree.reset();
    }
    return tree;
}

EmptyRoot::EmptyRoot()
    : tree_(xalanc::XalanSourceTreeDocument::create(XalanMemMgrs::getDefaultXercesMemMgr())),
      fragment_(XalanMemMgrs::getDefaultXercesMemMgr(), *tree_) {}

} // namespace trans
