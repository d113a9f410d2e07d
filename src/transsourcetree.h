// The document of a value as a Xalan source tree, on which its queries run: the tree answers
// them far faster than the bridged view of the Xerces document, and gives the same results.
#ifndef TRANSSOURCETREE_H
#define TRANSSOURCETREE_H

#include <memory>
#include <xalanc/XalanSourceTree/XalanSourceTreeDocument.hpp>
#include <xalanc/XalanSourceTree/XalanSourceTreeDocumentFragment.hpp>
#include <xercesc/dom/DOMDocument.hpp>

namespace trans {

struct SourceTreeDestroyer {
    void operator()(xalanc::XalanSourceTreeDocument* document) const noexcept;
};
using SourceTree = std::unique_ptr<xalanc::XalanSourceTreeDocument, SourceTreeDestroyer>;

// The document copied node for node, in document order: each DOM node becomes one node of the
// same kind, as it is one node in the bridged view, with the attributes in the DOM's order. Null
// for a document that the source tree cannot mirror node for node; queries on such a document run
// on the bridged view. That is: CDATA sections (a node kind of their own there, which text() does
// not select), entity references, empty text nodes, and nodes created without namespace support
// whose names carry a prefix.
SourceTree mirrorDocument(xercesc::DOMDocument const& document);

// The root of a document without any node. Paths run at it as at the document node of a document
// that has no element: the evaluator crashes on an absolute path at a document node without an
// element, but takes a document fragment as the root of its nodes.
class EmptyRoot {
public:
    EmptyRoot();
    EmptyRoot(EmptyRoot const&) = delete;
    EmptyRoot& operator=(EmptyRoot const&) = delete;

    xalanc::XalanNode* node() noexcept { return &fragment_; }

private:
    SourceTree tree_;
    xalanc::XalanSourceTreeDocumentFragment fragment_; // goes before the tree that owns it
};

} // namespace trans

#endif // TRANSSOURCETREE_H
