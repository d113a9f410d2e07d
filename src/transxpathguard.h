// Checks an XPath expression before it reaches the evaluator, which crashes the process on three
// kinds of expression instead of reporting an error or answering:
// - a prefixed name test on the namespace axis;
// - calls of the XSLT functions (current(), document(), key(), ...): it parses them but has no
//   XSLT context to run them in;
// - deep nesting: it parses and runs expressions by recursion, one level per bracket, predicate,
//   call argument and chained operator, and runs out of stack on a few thousand of them.
// Such an expression is refused with the evaluator's own parse exception.
#ifndef TRANSXPATHGUARD_H
#define TRANSXPATHGUARD_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace trans {

// Expressions whose nesting() is greater than this are refused. It keeps the evaluator within
// about a megabyte of stack.
constexpr std::size_t maxPathNesting = 1000;

struct PathShape {
    std::u16string xsltFunction; // the first XSLT function called, or empty
    std::size_t nesting = 0;     // deepest bracket level plus the number of operators
    // Prefixed name tests on the namespace axis: where each starts, and its length.
    std::vector<std::pair<std::size_t, std::size_t>> namespaceTests;
};

// What the scan finds in the expression; string literals are skipped.
PathShape pathShape(char16_t const* expression);

// The expression as the evaluator is to compile it: a prefixed name test on the namespace axis
// (namespace::p:x, namespace::p:*), on which the evaluator crashes, becomes a step that selects
// nothing, as such a test does (namespace nodes have no namespace URI), while the prefix is still
// resolved. Throws the evaluator's parse exception for an expression it cannot run safely.
std::u16string checkedPath(char16_t const* expression);

} // namespace trans

#endif // TRANSXPATHGUARD_H
