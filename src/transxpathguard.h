// Checks an XPath expression before it reaches the evaluator, which crashes the process on three
// kinds of expression instead of reporting an error or answering:
// - a prefixed name test on the namespace axis;
// - calls of the XSLT functions (current(), document(), key(), ...): it parses them but has no
//   XSLT context to run them in;
// - deep nesting: it parses and runs expressions by recursion, one level per bracket, predicate,
//   call argument and chained operator, and runs out of the stack when there are too many.
// Such an expression is refused with the evaluator's own parse exception.
#ifndef TRANSXPATHGUARD_H
#define TRANSXPATHGUARD_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace trans {

// The stack that the evaluator takes to parse and run one level of each construct, in bytes:
// measured on x86-64 (the most that a thread of 8 MiB held: parentheses 401 bytes a level,
// predicates 817, function calls 561, chained "and" 128, "+" 144, "or" 128, unions 42 or less),
// with a quarter more for safety.
constexpr std::size_t stackPerParenthesis = 512;
constexpr std::size_t stackPerPredicate = 1024;
constexpr std::size_t stackPerCall = 768;
constexpr std::size_t stackPerOperator = 192;
// Expressions that need less than this are not checked further; larger ones are refused when
// they need more than the calling thread has left, less stackMargin for what runs around them.
constexpr std::size_t stackWithoutCheck = std::size_t{256} << 10;
constexpr std::size_t stackMargin = std::size_t{256} << 10;

struct PathShape {
    std::u16string xsltFunction; // the first XSLT function called, or empty
    std::size_t stack = 0;       // an upper bound of the evaluator's stack for it, in bytes
    // Prefixed name tests on the namespace axis: where each starts, and its length.
    std::vector<std::pair<std::size_t, std::size_t>> namespaceTests;
};

// What the scan finds in the expression; string literals are skipped.
PathShape pathShape(char16_t const* expression);

// The expression, once checked: throws the evaluator's parse exception for an expression it
// cannot run safely.
std::u16string checkedPath(char16_t const* expression);

// The checked expression as the evaluator is to compile it so that it answers as XPath 1.0 does;
// every other character stays as it is:
// - a prefixed name test on the namespace axis (namespace::p:x, namespace::p:*), on which the
//   evaluator crashes, becomes a step that selects nothing, as such a test does (namespace nodes
//   have no namespace URI), while the prefix is still resolved;
// - calls of the standing functions (transxpathfunctions.h) get their prefix;
// - a root path "/" that an operator or a closing bracket follows becomes "/.", which the
//   evaluator reads (it takes "/ | /r" for a path that goes on after the root);
// - a run of unary minus signs, "--2" or "- - 2", becomes "-(-2)": the evaluator takes one sign
//   before an operand.
std::u16string conformingPath(std::u16string const& expression);

} // namespace trans

#endif // TRANSXPATHGUARD_H
