#ifndef TRANSDOMIMPL_H
#define TRANSDOMIMPL_H

#include "transexport.h"
#include "transvalueimpl.h"

#include <cstddef>
#include <memory>
#include <xalanc/Include/PlatformDefinitions.hpp>
#include <xercesc/util/XercesDefs.hpp>

namespace XERCES_CPP_NAMESPACE {
class DOMDocument;
}

namespace XALAN_CPP_NAMESPACE {
class XalanDocument;
class XercesParserLiaison;
class XObjectPtr;
} // namespace XALAN_CPP_NAMESPACE

namespace trans {
class PathEvaluator;
}

class ZELT_DataSource;

/// TransDOMImpl: a whole XML document as a value.
///
/// A document value owns its own Xerces document, which never changes after construction, and a
/// Xalan view of it on which XPath queries run. It is built from a caller's document (copied: only
/// the document element and its subtree), from another document value (copied), or from a data
/// source (the dictionary document, taken over). Document values may only exist while a TransSpace
/// is alive or the caller keeps the XML libraries initialised itself.
///
/// Queries take a context path, evaluated at the document node to select one node, and a path
/// evaluated at that node. Prefixes in both resolve against the namespace declarations anywhere in
/// the document. The result is converted by XPath's own rules; node sets give the nodes' DOM node
/// values (an attribute's value, a text node's text, the empty string for an element):
/// - failure + warning: blank context or path, no context node, an error in the path, or a result
///   type that has no conversion;
/// - warning alone: an empty answer, no number, an empty node set, or several nodes where one was
///   expected (asString, asDouble);
/// - no flag: one clean answer.
///
/// An error raised while evaluating the context path (a syntax error, a result that is not a node
/// set) is an XPath exception thrown to the caller; handle it while the XML libraries are still up
/// (before the last TransSpace goes), since the exception's text lives in their memory. A document
/// without any element (a value made from a null document) has no node to select: its context paths
/// select nothing.
class TRANS_EXPORT TransDOMImpl : public TransValueImpl {
public:
    /// A copy of the caller's document element and its subtree; a null pointer, or a document
    /// without an element, gives an empty document. The caller keeps its document.
    explicit TransDOMImpl(xercesc::DOMDocument const* document);
    /// A copy with its own document, view and evaluator.
    TransDOMImpl(TransDOMImpl const& other);
    /// The dictionary document of the data source. Exceptions of the XML library raised while the
    /// dictionary is filled pass to the caller. Should the document not be created at all, the
    /// value holds an empty document.
    explicit TransDOMImpl(ZELT_DataSource const& source);
    /// Destruction, assignment and swap.
    ///@{
    ~TransDOMImpl() override;
    TransDOMImpl& operator=(TransDOMImpl other) noexcept;
    void swap(TransDOMImpl& other) noexcept;
    ///@}

    TransDOMImpl* clone() const override;
    TransString* asString(TransString const& context, TransString const& path,
                          TransStatus& status) const override;
    TransStringList* asStringList(TransString const& context, TransString const& path,
                                  TransStatus& status) const override;
    /// The document as XML text in the process code page, named in the declaration: byte for byte
    /// what Xerces-C's DOMLSSerializer writes (pretty-printing off), at any depth. Characters the
    /// code page lacks are written as character references in text and attribute values. Failure,
    /// with the text written up to that point, where the serializer stops or raises: a character
    /// XML cannot carry in text, an attribute value, a comment or a processing instruction (also
    /// an unpaired surrogate in a CDATA section or namespace name), or a character the code page
    /// lacks in a name, comment or processing instruction. Failure and warning with an empty text
    /// when the process has no code page name, or one the serializer does not know.
    TransString* asMBCSXML(TransStatus& status) const override;
    /// The document as XML text in UTF-16 (no byte-order mark). Failure as for asMBCSXML.
    TransString* asUTF16XML(TransStatus& status) const override;
    /// asUTF16XML, always with the warning flag.
    TransString* asString(TransStatus& status) const override;
    double asDouble(TransString const& context, TransString const& path,
                    TransStatus& status) const override;
    /// The missing value with failure and warning: a document has no number.
    double asDouble(TransStatus& status) const override;
    /// The Xalan view of the document, owned by the value; the same pointer on every call.
    xalanc::XalanDocument* asXalanDocument(TransStatus& status) const override;

private:
    friend class TransDOMImplReference; // the straightforward evaluation, kept for comparison
    friend class TransDOMImplAdoption;  // a value that takes its document (the tool's)

    struct DocumentReleaser {
        void operator()(xercesc::DOMDocument* document) const noexcept;
    };
    struct LiaisonDeleter {
        void operator()(xalanc::XercesParserLiaison* liaison) const noexcept;
    };
    struct EvaluatorDeleter {
        void operator()(trans::PathEvaluator* evaluator) const noexcept;
    };
    /// What queries reuse: the document as a Xalan source tree, its namespace declarations and
    /// compiled paths. The document never changes, so these are made once.
    struct QueryState;
    struct QueryStateDeleter {
        void operator()(QueryState* state) const noexcept;
    };
    enum class Evaluation { Cached, Straightforward };

    void init();
    void copyDocument(xercesc::DOMDocument const* source);
    /// The bridged Xalan view of the document, made on first need.
    xalanc::XalanDocument* view() const;
    QueryState& queryState() const;
    TransString* writeXML(bool utf16, TransStatus& status) const;

    TransString* queryString(TransString const& context, TransString const& path,
                             TransStatus& status, Evaluation evaluation) const;
    TransStringList* queryList(TransString const& context, TransString const& path,
                               TransStatus& status, Evaluation evaluation) const;
    double queryDouble(TransString const& context, TransString const& path, TransStatus& status,
                       Evaluation evaluation) const;
    xalanc::XObjectPtr evaluate(char16_t const* context, char16_t const* path, TransStatus& status,
                                Evaluation evaluation) const;
    /// Evaluation on the bridged view with a prefix resolver and paths made for this query only.
    xalanc::XObjectPtr evaluateXPath(char16_t const* context, char16_t const* path,
                                     TransStatus& status) const;
    /// The same results from the source tree, the namespace table and compiled paths made once.
    xalanc::XObjectPtr evaluateCached(char16_t const* context, char16_t const* path,
                                      TransStatus& status) const;

    /// Declared in this order; destroyed query state first, then the liaison (with the view),
    /// then the evaluator, then the document (see the destructor).
    std::unique_ptr<xercesc::DOMDocument, DocumentReleaser> xercesDocument_;
    std::unique_ptr<xalanc::XercesParserLiaison, LiaisonDeleter> parserLiaison_;
    mutable xalanc::XalanDocument* dom_ = nullptr; // owned by parserLiaison_
    std::unique_ptr<trans::PathEvaluator, EvaluatorDeleter> evaluator_;
    mutable std::unique_ptr<QueryState, QueryStateDeleter> queries_;
    bool ids_ = false;                    // whether an attribute is of type ID, for id()
    mutable std::size_t writtenSize_ = 0; // units or bytes of the last whole text written
};

#endif // TRANSDOMIMPL_H
