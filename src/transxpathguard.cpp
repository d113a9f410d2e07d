#include "transxpathguard.h"

#include "transxpathfunctions.h"

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
    return std::u16string(expression != nullptr ? expression : u"");
}

namespace {

// The expression with each prefixed name test on the namespace axis made a test that selects
// nothing and still resolves the prefix.
std::u16string withoutNamespaceNameTests(std::u16string text) {
    PathShape const shape = pathShape(text.c_str());
    // From the last test back, so that the positions found stay valid.
    for (auto test = shape.namespaceTests.rbegin(); test != shape.namespaceTests.rend(); ++test) {
        std::u16string const name = text.substr(test->first, test->second);
        text.replace(test->first, test->second, u"*[false() and self::" + name + u"]");
    }
    return text;
}

} // namespace

namespace {

// The tokens of an expression, as far as the rewrites need them.
struct Token {
    enum Kind { Literal, Number, Name, Star, Symbol } kind;
    std::size_t start;
    std::size_t end;
    // Whether the token stands where an operand is expected: a name there is a name test or a
    // function, "*" a name test and "-" a unary minus.
    bool operandPlace;
};

bool isOperatorName(std::u16string_view name) noexcept {
    return contains(operatorNames, name);
}

std::vector<Token> tokens(std::u16string_view text) {
    std::vector<Token> result;
    bool operandPlace = true;
    std::size_t i = skipBlanks(text, 0);
    while (i < text.size()) {
        char16_t const c = text[i];
        Token token{Token::Symbol, i, i + 1, operandPlace};
        auto const digit = [&](std::size_t at) {
            return at < text.size() && text[at] >= u'0' && text[at] <= u'9';
        };
        if (c == u'"' || c == u'\'') {
            std::size_t const close = text.find(c, i + 1);
            token = {Token::Literal, i,
                     close == std::u16string_view::npos ? text.size() : close + 1, operandPlace};
            operandPlace = false;
        } else if (digit(i) || (c == u'.' && digit(i + 1))) {
            std::size_t end = i;
            while (digit(end) || (end < text.size() && text[end] == u'.')) {
                ++end;
            }
            token = {Token::Number, i, end, operandPlace};
            operandPlace = false;
        } else if (nameStart(c)) {
            std::size_t end = i;
            while (end < text.size() && nameChar(text[end])) {
                ++end;
            }
            if (end + 1 < text.size() && text[end] == u':' && text[end + 1] != u':') {
                ++end; // a prefixed name, or p:*
                if (text[end] == u'*') {
                    ++end;
                }
                while (end < text.size() && nameChar(text[end])) {
                    ++end;
                }
            }
            token = {Token::Name, i, end, operandPlace};
            operandPlace = ! operandPlace && isOperatorName(text.substr(i, end - i));
        } else if (c == u'*') {
            token.kind = Token::Star;
            operandPlace = ! operandPlace;
        } else {
            std::u16string_view const two = text.substr(i, 2);
            if (two == u"//" || two == u"::" || two == u"!=" || two == u"<=" || two == u">=" ||
                two == u"..") {
                token.end = i + 2;
            }
            // After a closing bracket or a dot an operator follows; after anything else, an
            // operand.
            operandPlace = ! (c == u')' || c == u']' || c == u'.');
        }
        result.push_back(token);
        i = skipBlanks(text, token.end);
    }
    return result;
}

struct Edit {
    std::size_t position;
    std::size_t removed;
    std::u16string inserted;
};

// Whether the token ends an operand that a unary minus or a root path stands in: a binary
// operator other than "|" and "/", a closing bracket or a comma.
bool endsOperand(std::u16string_view text, Token const& token) {
    std::u16string_view const symbol = text.substr(token.start, token.end - token.start);
    switch (token.kind) {
    case Token::Name:
        return ! token.operandPlace && isOperatorName(symbol);
    case Token::Star:
        return ! token.operandPlace;
    case Token::Symbol:
        return symbol == u")" || symbol == u"]" || symbol == u"," || symbol == u"=" ||
               symbol == u"!=" || symbol == u"<" || symbol == u"<=" || symbol == u">" ||
               symbol == u">=" || symbol == u"+" || symbol == u"-";
    default:
        return false;
    }
}

} // namespace

namespace {

constexpr std::array<std::u16string_view, 4> nodeTypes{u"comment", u"node",
                                                       u"processing-instruction", u"text"};

// Axes on which nodes reached from different context nodes can be the same.
constexpr std::array<std::u16string_view, 9> overlappingAxes{
    u"ancestor",          u"ancestor-or-self", u"descendant", u"descendant-or-self", u"following",
    u"following-sibling", u"parent",           u"preceding",  u"preceding-sibling"};

class Rewriter {
public:
    explicit Rewriter(std::u16string const& expression)
        : text_(expression), all_(tokens(text_)), closing_(all_.size(), all_.size()) {
        // A bracket of either kind closes the innermost open one; an unclosed one closes behind
        // the last token.
        std::vector<std::size_t> open;
        for (std::size_t i = 0; i < all_.size(); ++i) {
            if (symbolIs(i, u"(") || symbolIs(i, u"[")) {
                open.push_back(i);
            } else if ((symbolIs(i, u")") || symbolIs(i, u"]")) && ! open.empty()) {
                closing_[open.back()] = i + 1;
                open.pop_back();
            }
        }
    }

    std::u16string rewritten() {
        std::vector<bool> steps(all_.size(), false);
        for (std::size_t i = 0; i < all_.size(); ++i) {
            rewriteToken(i);
        }
        // Added last, so that at one position they come before what was inserted there.
        for (std::size_t i = 0; i < all_.size(); ++i) {
            if (! steps[i] && all_[i].operandPlace) {
                groupSteps(i, steps);
            }
        }
        // One pass from the front: at one position, what was added later comes first, and a
        // replacement comes after the insertions there, so that it does not remove them.
        std::vector<std::size_t> order(edits_.size());
        for (std::size_t i = 0; i < order.size(); ++i) {
            order[i] = order.size() - 1 - i;
        }
        std::stable_sort(order.begin(), order.end(), [this](std::size_t a, std::size_t b) {
            Edit const& first = edits_[a];
            Edit const& second = edits_[b];
            return first.position != second.position ? first.position < second.position
                                                     : (first.removed == 0 && second.removed != 0);
        });
        std::u16string result;
        std::size_t copied = 0;
        for (std::size_t const index : order) {
            Edit const& edit = edits_[index];
            if (edit.position > copied) {
                result.append(text_, copied, edit.position - copied);
                copied = edit.position;
            }
            result += edit.inserted;
            copied = std::max(copied, edit.position + edit.removed);
        }
        result.append(text_, std::min(copied, text_.size()));
        return result;
    }

private:
    std::u16string_view spelling(std::size_t index) const {
        return index < all_.size()
                   ? text_.substr(all_[index].start, all_[index].end - all_[index].start)
                   : std::u16string_view();
    }
    bool symbolIs(std::size_t index, std::u16string_view symbol) const {
        return index < all_.size() && all_[index].kind == Token::Symbol &&
               spelling(index) == symbol;
    }
    bool isName(std::size_t index) const {
        return index < all_.size() && all_[index].kind == Token::Name;
    }
    // The index behind the bracket that closes the one at index.
    std::size_t behindClosing(std::size_t index) const {
        return index < closing_.size() ? closing_[index] : all_.size();
    }
    std::size_t behindPredicates(std::size_t index) const {
        while (symbolIs(index, u"[")) {
            index = behindClosing(index);
        }
        return index;
    }

    void rewriteToken(std::size_t& i) {
        Token const& token = all_[i];
        if (isName(i) && token.operandPlace && symbolIs(i + 1, u"(") &&
            ! (i > 0 &&
               (symbolIs(i - 1, u"@") || symbolIs(i - 1, u"::") || symbolIs(i - 1, u"$"))) &&
            contains(standingFunctions, spelling(i))) {
            edits_.push_back({token.start, 0, std::u16string(standingPrefix) + u":"});
        } else if (symbolIs(i, u"/") && token.operandPlace && i + 1 < all_.size() &&
                   all_[i + 1].kind == Token::Symbol &&
                   (symbolIs(i + 1, u"|") || endsOperand(text_, all_[i + 1]))) {
            // With a blank: the evaluator reads "." and the name characters behind it ("-" too)
            // as one token.
            edits_.push_back({token.end, 0, u". "});
        } else if (symbolIs(i, u"-") && token.operandPlace && symbolIs(i + 1, u"-")) {
            std::size_t run = i + 1;
            while (symbolIs(run, u"-")) {
                ++run;
            }
            std::size_t const signs = run - i;
            // The operand: up to the first token outside brackets that ends it.
            std::size_t end = run;
            while (end < all_.size() && ! (end > run && endsOperand(text_, all_[end]))) {
                end = symbolIs(end, u"(") || symbolIs(end, u"[") ? behindClosing(end) : end + 1;
            }
            std::u16string opening;
            for (std::size_t sign = 1; sign < signs; ++sign) {
                opening += u"-(";
            }
            edits_.push_back({token.start, all_[run - 1].end - token.start, opening + u"-"});
            edits_.push_back({end > run ? all_[end - 1].end : all_[run - 1].end, 0,
                              std::u16string(signs - 1, u')')});
            i = run - 1;
        }
    }

    // The index behind the step at index, or index when there is none; overlapping tells whether
    // its axis is one on which different context nodes reach the same nodes.
    std::size_t step(std::size_t index, bool& overlapping) const {
        overlapping = false;
        std::size_t next = index;
        if (symbolIs(next, u".") || symbolIs(next, u"..")) {
            overlapping = symbolIs(next, u"..");
            return behindPredicates(next + 1);
        }
        if (symbolIs(next, u"@")) {
            ++next;
        } else if (isName(next) && symbolIs(next + 1, u"::")) {
            overlapping = contains(overlappingAxes, spelling(next));
            next += 2;
        }
        if (isName(next) && symbolIs(next + 1, u"(") && contains(nodeTypes, spelling(next))) {
            next = behindClosing(next + 1);
        } else if ((isName(next) && ! symbolIs(next + 1, u"(")) ||
                   (next < all_.size() && all_[next].kind == Token::Star)) {
            ++next;
        } else {
            return index;
        }
        return behindPredicates(next);
    }

    // The index behind the primary expression and its predicates at index, or index.
    std::size_t primary(std::size_t index) const {
        std::size_t next = index;
        if (next < all_.size() &&
            (all_[next].kind == Token::Literal || all_[next].kind == Token::Number)) {
            ++next;
        } else if (symbolIs(next, u"$") && isName(next + 1)) {
            next += 2;
        } else if (symbolIs(next, u"(")) {
            next = behindClosing(next);
        } else if (isName(next) && symbolIs(next + 1, u"(") &&
                   ! contains(nodeTypes, spelling(next))) {
            next = behindClosing(next + 1);
        } else {
            return index;
        }
        return behindPredicates(next);
    }

    // Marks the tokens from index up to end that are not inside brackets.
    void mark(std::size_t index, std::size_t end, std::vector<bool>& steps) const {
        while (index < end) {
            if (symbolIs(index, u"(") || symbolIs(index, u"[")) {
                index = behindClosing(index);
            } else {
                steps[index++] = true;
            }
        }
    }

    // Groups the location path that starts at index, if one does, after each step that can give
    // a node more than once and that more steps follow: the evaluator runs the rest of a path for
    // every node a step gives before it drops the repeats, so a path with several such steps
    // costs the number of nodes to the power of their count. A group gives its nodes once each.
    // A step can give repeats when its axis overlaps from different context nodes and it runs at
    // several: after the path's first step or primary expression, and "//" after any step. The
    // path's own tokens are marked in steps, so that its steps are not taken for paths again.
    void groupSteps(std::size_t index, std::vector<bool>& steps) {
        std::size_t next = index;
        std::size_t before = 0; // steps before the next one, a primary expression counted
        if (! symbolIs(next, u"/") && ! symbolIs(next, u"//")) {
            bool overlapping = false;
            std::size_t behind = primary(next);
            if (behind == next) {
                behind = step(next, overlapping); // the first step runs at one node
            }
            if (behind == next) {
                return; // not a path
            }
            mark(next, behind, steps);
            next = behind;
            before = 1;
        }
        // At the root the first step runs at one node as well.
        std::vector<std::size_t> groupEnds;
        bool repeats = false; // whether the last step can give a node more than once
        while (symbolIs(next, u"/") || symbolIs(next, u"//")) {
            bool overlapping = false;
            std::size_t const behind = step(next + 1, overlapping);
            if (behind == next + 1) {
                break; // the root alone, or a syntax error left to the evaluator
            }
            if (repeats) {
                groupEnds.push_back(all_[next - 1].end);
            }
            repeats = before > 0 && (overlapping || symbolIs(next, u"//"));
            mark(next, behind, steps);
            ++before;
            next = behind;
        }
        if (groupEnds.empty()) {
            return;
        }
        edits_.push_back({all_[index].start, 0, std::u16string(groupEnds.size(), u'(')});
        for (std::size_t const end : groupEnds) {
            edits_.push_back({end, 0, u")"});
        }
    }

    std::u16string_view text_;
    std::vector<Token> all_;
    std::vector<std::size_t> closing_; // for each opening bracket, the index behind its closing one
    std::vector<Edit> edits_;
};

} // namespace

std::u16string conformingPath(std::u16string const& expression) {
    return Rewriter(withoutNamespaceNameTests(expression)).rewritten();
}

} // namespace trans
