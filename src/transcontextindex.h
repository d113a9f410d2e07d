// Answers the most common kind of context path from an index instead of a scan: a path that picks
// one element by an attribute value,
//   /dictionary/variable[@name='v5']
//   /dictionary/valueLabelSet[valueLabelVariable/@name='v5']
// that is, child steps from the root with plain names, and one predicate comparing the attributes
// reached by plain child steps with a literal. The index maps each value to the first element in
// document order whose predicate it satisfies, which is the node the evaluator would select.
// Every other path is left to the evaluator.
#ifndef TRANSCONTEXTINDEX_H
#define TRANSCONTEXTINDEX_H

#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>
#include <xalanc/XalanDOM/XalanDocument.hpp>
#include <xalanc/XalanDOM/XalanNode.hpp>

namespace trans {

class ContextIndex {
public:
    explicit ContextIndex(xalanc::XalanDocument& document) : document_(document) {}

    // True when the path has the indexed form; `node` is then the element it selects (null when
    // it selects none).
    bool select(std::u16string_view path, xalanc::XalanNode*& node);

private:
    struct Pattern {
        std::vector<std::u16string> steps;     // child steps from the document node
        std::vector<std::u16string> predicate; // child steps inside the predicate
        std::u16string attribute;
        std::u16string literal;
    };
    using Index = std::unordered_map<std::u16string, xalanc::XalanNode*>;

    static bool parse(std::u16string_view path, Pattern& pattern);
    Index build(Pattern const& pattern) const;

    // Indexes are kept per steps, predicate steps and attribute; beyond this many the oldest goes.
    static constexpr std::size_t maxIndexes = 8;

    xalanc::XalanDocument& document_;
    std::list<std::pair<std::u16string, Index>> indexes_; // most recently made first
};

} // namespace trans

#endif // TRANSCONTEXTINDEX_H
