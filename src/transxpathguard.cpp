#include "transxpathguard.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <pthread.h>
#include <string>
#include <string_view>
#include <xalanc/Include/XalanMemoryManagement.hpp>
#include <xalanc/XPath/XPathParserException.hpp>
#include <xalanc/XalanDOM/XalanDOMString.hpp>

namespace trans {

namespace {

constexpr std::array<std::u16string_view, 9> xsltFunctions{
    u"current",     u"document", u"element-available", u"format-number",      u"function-available",
    u"generate-id", u"key",      u"system-property",   u"unparsed-entity-uri"};

// Operators spelt as names, counted with the rest.
constexpr std::array<std::u16string_view, 4> operatorNames{u"and", u"div", u"mod", u"or"};

bool nameStart(char16_t c) noexcept {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || c == u'_' || c >= 0x80;
}

bool nameChar(char16_t c) noexcept {
    return nameStart(c) || (c >= u'0' && c <= u'9') || c == u'.' || c == u'-';
}

bool blank(char16_t c) noexcept {
    return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n';
}

template <std::size_t N>
bool contains(std::array<std::u16string_view, N> const& names, std::u16string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::size_t skipBlanks(std::u16string_view text, std::size_t i) noexcept {
    while (i < text.size() && blank(text[i])) {
        ++i;
    }
    return i;
}

// Where the name test behind the name "namespace" that ends at i starts, when the name is the axis
// and the test a prefixed one (p:x or p:*); npos otherwise.
std::size_t namespaceNameTest(std::u16string_view text, std::size_t i) noexcept {
    i = skipBlanks(text, i);
    if (text.substr(i, 2) != u"::") {
        return std::u16string_view::npos;
    }
    std::size_t const start = skipBlanks(text, i + 2);
    std::size_t end = start;
    while (end < text.size() && nameChar(text[end])) {
        ++end;
    }
    bool const prefixed = end > start && nameStart(text[start]) && end + 1 < text.size() &&
                          text[end] == u':' && text[end + 1] != u':';
    return prefixed ? start : std::u16string_view::npos;
}

// The length of the prefixed name test p:x or p:* at start.
std::size_t nameTestLength(std::u16string_view text, std::size_t start) noexcept {
    std::size_t end = start;
    while (end < text.size() && nameChar(text[end])) {
        ++end;
    }
    ++end; // the colon
    if (end < text.size() && text[end] == u'*') {
        return end + 1 - start;
    }
    while (end < text.size() && nameChar(text[end])) {
        ++end;
    }
    return end - start;
}

// Whether the bracket at i follows a name (a function call), blanks between allowed.
bool afterName(std::u16string_view text, std::size_t i) noexcept {
    while (i > 0 && blank(text[i - 1])) {
        --i;
    }
    return i > 0 && nameChar(text[i - 1]);
}

// The stack left to the calling thread below this frame; a megabyte when the thread's bounds
// cannot be read.
std::size_t availableStack() noexcept {
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) {
        return std::size_t{1} << 20;
    }
    void* lowest = nullptr;
    std::size_t size = 0;
    int const read = pthread_attr_getstack(&attributes, &lowest, &size);
    pthread_attr_destroy(&attributes);
    char here = 0;
    auto const position = reinterpret_cast<std::uintptr_t>(&here);
    auto const bottom = reinterpret_cast<std::uintptr_t>(lowest);
    if (read != 0) {
        return std::size_t{1} << 20;
    }
    return position > bottom ? position - bottom : 0;
}

std::u16string kibibytes(std::size_t bytes) {
    std::u16string text;
    for (char const digit : std::to_string((bytes + 1023) / 1024)) {
        text += static_cast<char16_t>(digit);
    }
    return text;
}

void throwParseError(std::u16string_view message) {
    xalanc::MemoryManager& memory = xalanc::XalanMemMgrs::getDefaultXercesMemMgr();
    xalanc::XalanDOMString const text(
        message.data(), memory, static_cast<xalanc::XalanDOMString::size_type>(message.size()));
    throw xalanc::XPathParserException(text, memory);
}

} // namespace

PathShape pathShape(char16_t const* expression) {
    std::u16string_view const text(expression != nullptr ? expression : u"");
    PathShape shape;
    // The stack that the open brackets take, with the bracket kind of each, and the most at once.
    std::vector<std::size_t> open;
    std::size_t depth = 0;
    std::size_t deepest = 0;
    std::size_t operators = 0;
    std::size_t i = 0;
    while (i < text.size()) {
        char16_t const c = text[i];
        if (c == u'"' || c == u'\'') {
            std::size_t const end = text.find(c, i + 1);
            i = end == std::u16string_view::npos ? text.size() : end + 1;
            continue;
        }
        if (! nameStart(c)) {
            if (c == u'(' || c == u'[') {
                std::size_t const cost = c == u'['            ? stackPerPredicate
                                         : afterName(text, i) ? stackPerCall
                                                              : stackPerParenthesis;
                open.push_back(cost);
                depth += cost;
                deepest = std::max(deepest, depth);
            } else if ((c == u')' || c == u']') && ! open.empty()) {
                depth -= open.back();
                open.pop_back();
            } else if (c == u'+' || c == u'-' || c == u'*' || c == u'=' || c == u'<' || c == u'>') {
                ++operators; // "*" as a name test is counted too: the count is an upper bound
            }
            ++i;
            continue;
        }
        // A name, possibly prefixed (a prefixed function is an extension, not an XSLT function).
        std::size_t const start = i;
        while (i < text.size() && nameChar(text[i])) {
            ++i;
        }
        bool const prefixed =
            (start > 0 && text[start - 1] == u':' && ! (start > 1 && text[start - 2] == u':')) ||
            (start > 0 && text[start - 1] == u'$');
        std::u16string_view const name = text.substr(start, i - start);
        if (contains(operatorNames, name)) {
            ++operators;
        }
        if (name == u"namespace") {
            std::size_t const test = namespaceNameTest(text, i);
            if (test != std::u16string_view::npos) {
                shape.namespaceTests.emplace_back(test, nameTestLength(text, test));
            }
        }
        std::size_t next = i;
        while (next < text.size() && blank(text[next])) {
            ++next;
        }
        if (shape.xsltFunction.empty() && ! prefixed && next < text.size() && text[next] == u'(' &&
            contains(xsltFunctions, name)) {
            shape.xsltFunction = name;
        }
    }
    shape.stack = deepest + operators * stackPerOperator;
    return shape;
}

std::u16string checkedPath(char16_t const* expression) {
    PathShape const shape = pathShape(expression);
    if (! shape.xsltFunction.empty()) {
        throwParseError(u"The function '" + shape.xsltFunction +
                        u"' is not available outside a stylesheet.");
    }
    if (shape.stack > stackWithoutCheck && shape.stack + stackMargin > availableStack()) {
        throwParseError(u"The expression is nested too deeply for the stack of this thread: its "
                        u"brackets, predicates, function calls and operators need about " +
                        kibibytes(shape.stack) + u" KiB of stack, and " +
                        kibibytes(availableStack()) + u" KiB are left.");
    }
    std::u16string text(expression != nullptr ? expression : u"");
    // From the last test back, so that the positions found stay valid.
    for (auto test = shape.namespaceTests.rbegin(); test != shape.namespaceTests.rend(); ++test) {
        std::u16string const name = text.substr(test->first, test->second);
        text.replace(test->first, test->second, u"*[false() and self::" + name + u"]");
    }
    return text;
}

} // namespace trans
