// How a document value evaluates paths, and what its queries keep between calls.
//
// Paths are compiled and run with contexts of the value's own rather than through Xalan-C's
// XPathEvaluator, for three reasons: the evaluator's compilation prints every error on standard
// error, it leaves its execution context pointing into an unwound call after an exception, and it
// runs a path with no context node list, so that position() and last() are 0 at the context node.
#ifndef TRANSQUERYSTATE_H
#define TRANSQUERYSTATE_H

#include "transcontextindex.h"
#include "transdomimpl.h"
#include "transsourcetree.h"

#include <memory>
#include <string>
#include <unordered_map>
#include <xalanc/DOMSupport/XalanDocumentPrefixResolver.hpp>
#include <xalanc/PlatformSupport/PrefixResolver.hpp>
#include <xalanc/XPath/XObject.hpp>
#include <xalanc/XPath/XObjectFactoryDefault.hpp>
#include <xalanc/XPath/XPath.hpp>
#include <xalanc/XPath/XPathConstructionContextDefault.hpp>
#include <xalanc/XPath/XPathEnvSupportDefault.hpp>
#include <xalanc/XPath/XPathExecutionContextDefault.hpp>
#include <xalanc/XalanSourceTree/XalanSourceTreeDOMSupport.hpp>

namespace trans {

// Resolves a prefix against the namespace declarations anywhere in a document, the prefix xml to
// the XML namespace, to which it is bound by definition whatever the document declares, and the
// prefix of the library's standing functions to theirs.
class DocumentPrefixes : public xalanc::PrefixResolver {
public:
    explicit DocumentPrefixes(xalanc::XalanDocument const* document);

    xalanc::XalanDOMString const*
    getNamespaceForPrefix(xalanc::XalanDOMString const& prefix) const override;
    xalanc::XalanDOMString const& getURI() const override;

private:
    xalanc::XalanDocumentPrefixResolver declarations_;
    xalanc::XalanDOMString const xmlNamespace_;
    xalanc::XalanDOMString const standingNamespace_;
};

// A path compiled as the evaluator's own compilation does it, but silently: a path that does not
// compile throws the parse exception and prints nothing. The evaluator's compilation also keeps,
// for as long as the evaluator lives, the half-made object of a path that fails and the strings of
// every path it ever compiled; here a path that fails leaves nothing behind, and a path's strings
// go with it. The path is compiled as conformingPath() rewrites it; when that does not compile,
// the exception is the one for the expression as written.
class CompiledPath {
public:
    // Throws what parsing throws.
    CompiledPath(std::u16string const& expression, xalanc::PrefixResolver const& resolver);
    CompiledPath(CompiledPath const&) = delete;
    CompiledPath& operator=(CompiledPath const&) = delete;

    xalanc::XPath const& path() const noexcept { return path_; }

private:
    // Reports a problem by the exception alone.
    class SilentContext : public xalanc::XPathConstructionContextDefault {
    public:
        using XPathConstructionContextDefault::XPathConstructionContextDefault;
        void problem(eSource source, eClassification classification,
                     xalanc::XalanDOMString const& message, xalanc::Locator const* locator,
                     xalanc::XalanNode const* node) override;
        void problem(eSource source, eClassification classification,
                     xalanc::XalanDOMString const& message, xalanc::XalanNode const* node) override;
    };

    SilentContext construction_;
    xalanc::XPath path_;
};

// Runs compiled paths at a node, as the only node of the context node list (so position() and
// last() are 1 there), with the standing functions in its environment. Nothing is printed; errors
// are thrown as the evaluator's exceptions. The result of one call stays valid until the next call.
class PathEvaluator {
public:
    PathEvaluator();
    PathEvaluator(PathEvaluator const&) = delete;
    PathEvaluator& operator=(PathEvaluator const&) = delete;

    xalanc::XObjectPtr evaluate(xalanc::DOMSupport& domSupport, xalanc::XalanNode* node,
                                xalanc::XPath const& path, xalanc::PrefixResolver const& resolver);
    // The first node that the path selects, or null; throws the evaluator's conversion exception
    // when the result is not a node set.
    xalanc::XalanNode* selectSingleNode(xalanc::DOMSupport& domSupport, xalanc::XalanNode* node,
                                        xalanc::XPath const& path,
                                        xalanc::PrefixResolver const& resolver);

private:
    xalanc::XPathEnvSupportDefault environment_; // prints nothing: it has no print writer
    xalanc::XObjectFactoryDefault objects_;
    xalanc::XPathExecutionContextDefault context_;
};

} // namespace trans

// What queries reuse: the document as a Xalan source tree (or the bridged view for a document
// that the tree cannot mirror), its namespace declarations and compiled paths. The document never
// changes, so these are made once.
struct TransDOMImpl::QueryState {
    // Compiled paths kept per value; beyond this many, the oldest set is dropped.
    static constexpr std::size_t maxPaths = 256;

    // Queries on the source tree, when there is one, or on the view.
    QueryState(trans::SourceTree sourceTree, xalanc::XalanDocument* view);

    QueryState(QueryState const&) = delete;
    QueryState& operator=(QueryState const&) = delete;

    // The path compiled against the document's namespace declarations; throws what parsing throws.
    xalanc::XPath const& compiled(std::u16string const& expression);

    trans::SourceTree tree; // null: queries run on the bridged view
    xalanc::XalanDocument* document;
    std::unique_ptr<trans::EmptyRoot> empty; // for a document without an element
    xalanc::XalanNode* root;                 // where context paths start
    trans::DocumentPrefixes const resolver;
    xalanc::XalanSourceTreeDOMSupport domSupport;
    std::unordered_map<std::u16string, std::unique_ptr<trans::CompiledPath>> paths;
    std::unique_ptr<trans::ContextIndex> index; // on the source tree of a document with elements
};

#endif // TRANSQUERYSTATE_H
