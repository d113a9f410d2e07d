#include "transcontextindex.h"

#include <xalanc/DOMSupport/DOMServices.hpp>
#include <xalanc/XalanDOM/XalanAttr.hpp>
#include <xalanc/XalanDOM/XalanNamedNodeMap.hpp>

namespace trans {

namespace {

bool nameStart(char16_t c) noexcept {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || c == u'_';
}

bool nameChar(char16_t c) noexcept {
    return nameStart(c) || (c >= u'0' && c <= u'9') || c == u'-' || c == u'.';
}

// Reads a plain name (no prefix) at position; empty when there is none.
std::u16string name(std::u16string_view text, std::size_t& position) {
    std::size_t const start = position;
    if (position < text.size() && nameStart(text[position])) {
        while (position < text.size() && nameChar(text[position])) {
            ++position;
        }
    }
    return std::u16string(text.substr(start, position - start));
}

void skipBlanks(std::u16string_view text, std::size_t& position) {
    while (position < text.size() && text[position] == u' ') {
        ++position;
    }
}

bool hasName(xalanc::XalanNode const& node, std::u16string const& wanted) {
    return xalanc::DOMServices::getNamespaceOfNode(node).empty() &&
           std::u16string_view(xalanc::DOMServices::getLocalNameOfNode(node).c_str()) == wanted;
}

// The element children of each node, named `step`, in document order.
std::vector<xalanc::XalanNode*> children(std::vector<xalanc::XalanNode*> const& parents,
                                         std::u16string const& step) {
    std::vector<xalanc::XalanNode*> result;
    for (xalanc::XalanNode* parent : parents) {
        for (xalanc::XalanNode* child = parent->getFirstChild(); child != nullptr;
             child = child->getNextSibling()) {
            if (child->getNodeType() == xalanc::XalanNode::ELEMENT_NODE && hasName(*child, step)) {
                result.push_back(child);
            }
        }
    }
    return result;
}

} // namespace

bool ContextIndex::parse(std::u16string_view path, Pattern& pattern) {
    std::size_t position = 0;
    while (position < path.size() && path[position] == u'/') {
        ++position;
        std::u16string step = name(path, position);
        if (step.empty()) {
            return false;
        }
        pattern.steps.push_back(std::move(step));
    }
    if (pattern.steps.empty() || position >= path.size() || path[position] != u'[') {
        return false;
    }
    ++position;
    while (position < path.size() && path[position] != u'@') {
        std::u16string step = name(path, position);
        if (step.empty() || position >= path.size() || path[position] != u'/') {
            return false;
        }
        ++position;
        pattern.predicate.push_back(std::move(step));
    }
    if (position >= path.size()) {
        return false;
    }
    ++position; // '@'
    pattern.attribute = name(path, position);
    // "xmlns" names a namespace declaration, which is no attribute in XPath.
    if (pattern.attribute.empty() || pattern.attribute == u"xmlns") {
        return false;
    }
    skipBlanks(path, position);
    if (position >= path.size() || path[position] != u'=') {
        return false;
    }
    ++position;
    skipBlanks(path, position);
    if (position >= path.size() || (path[position] != u'\'' && path[position] != u'"')) {
        return false;
    }
    char16_t const quote = path[position];
    std::size_t const end = path.find(quote, position + 1);
    if (end == std::u16string_view::npos) {
        return false;
    }
    pattern.literal = std::u16string(path.substr(position + 1, end - position - 1));
    position = end + 1;
    skipBlanks(path, position);
    return position + 1 == path.size() && path[position] == u']';
}

ContextIndex::Index ContextIndex::build(Pattern const& pattern) const {
    std::vector<xalanc::XalanNode*> elements{&document_};
    for (std::u16string const& step : pattern.steps) {
        elements = children(elements, step);
    }
    Index index;
    index.reserve(elements.size());
    for (xalanc::XalanNode* element : elements) {
        std::vector<xalanc::XalanNode*> holders{element};
        for (std::u16string const& step : pattern.predicate) {
            holders = children(holders, step);
        }
        for (xalanc::XalanNode* holder : holders) {
            xalanc::XalanNamedNodeMap const* attributes = holder->getAttributes();
            for (xalanc::XalanSize_t i = 0; attributes != nullptr && i < attributes->getLength();
                 ++i) {
                auto const* attribute = static_cast<xalanc::XalanAttr const*>(attributes->item(i));
                if (! xalanc::DOMServices::isNamespaceDeclaration(*attribute) &&
                    hasName(*attribute, pattern.attribute)) {
                    index.emplace(attribute->getNodeValue().c_str(), element); // the first stays
                }
            }
        }
    }
    return index;
}

bool ContextIndex::select(std::u16string_view path, xalanc::XalanNode*& node) {
    Pattern pattern;
    if (! parse(path, pattern)) {
        return false;
    }
    std::u16string key;
    for (std::u16string const& step : pattern.steps) {
        key += u'/' + step;
    }
    key += u'[';
    for (std::u16string const& step : pattern.predicate) {
        key += step + u'/';
    }
    key += u'@' + pattern.attribute;

    auto found = indexes_.begin();
    while (found != indexes_.end() && found->first != key) {
        ++found;
    }
    if (found == indexes_.end()) {
        if (indexes_.size() >= maxIndexes) {
            indexes_.pop_back();
        }
        indexes_.emplace_front(key, build(pattern));
        found = indexes_.begin();
    }
    auto const entry = found->second.find(pattern.literal);
    node = entry != found->second.end() ? entry->second : nullptr;
    return true;
}

} // namespace trans
