#ifndef TRANSVALUE_H
#define TRANSVALUE_H

#include "transexport.h"
#include "transstatus.h"
#include "transstring.h"
#include "transstringlist.h"
#include "transvalueimpl.h"

#include <memory>
#include <xercesc/util/XercesDefs.hpp>

namespace XERCES_CPP_NAMESPACE {
class DOMDocument;
}

class ZELT_DataSource;

/// TransValue: a value handle that owns exactly one TransValueImpl.
///
/// Copies are deep (the implementation is cloned). Each query forwards to the implementation; the
/// forms without a status drop it and never assert, so their callers see a failure only in the
/// placeholder result. Strings and lists returned are new and owned by the caller, who gives them
/// back with releaseString / releaseStringList (here or on a TransSpace) or deletes them.
class TRANS_EXPORT TransValue {
public:
    /// A null value.
    TransValue();
    /// A text value holding a copy of the string.
    TransValue(TransString const& text);
    /// A double value.
    TransValue(double number);
    /// A document value holding its own copy of the document's element tree (an empty document for
    /// a null pointer). Needs the XML libraries initialised (a live TransSpace).
    TransValue(xercesc::DOMDocument const* document);
    /// A document value holding the data source's dictionary document. Needs the XML libraries
    /// initialised (a live TransSpace).
    TransValue(ZELT_DataSource const& source);
    /// A deep copy.
    TransValue(TransValue const& other);
    /// Destruction, assignment and swap.
    ///@{
    ~TransValue();
    TransValue& operator=(TransValue other) noexcept;
    void swap(TransValue& other) noexcept;
    ///@}

    /// XPath queries on a document value: context selects one node from the document node, path is
    /// evaluated there. Other kinds: placeholder with failure and warning.
    ///@{
    TransString* asString(TransString const& context, TransString const& path,
                          TransStatus& status) const;
    TransString* asString(TransString const& context, TransString const& path) const;
    TransStringList* asStringList(TransString const& context, TransString const& path,
                                  TransStatus& status) const;
    TransStringList* asStringList(TransString const& context, TransString const& path) const;
    double asDouble(TransString const& context, TransString const& path, TransStatus& status) const;
    double asDouble(TransString const& context, TransString const& path) const;
    ///@}

    /// XML text of a document value, in the process code page or in UTF-16.
    ///@{
    TransString* asMBCSXML(TransStatus& status) const;
    TransString* asMBCSXML() const;
    TransString* asUTF16XML(TransStatus& status) const;
    TransString* asUTF16XML() const;
    ///@}
    /// asUTF16XML with a local status.
    TransString* asXML() const;

    /// The value as text, and as a number.
    ///@{
    TransString* asString(TransStatus& status) const;
    TransString* asString() const;
    double asDouble(TransStatus& status) const;
    double asDouble() const;
    ///@}

    /// The Xalan view of a document value, owned by the value; null for other kinds.
    ///@{
    xalanc::XalanDocument* asXalanDocument(TransStatus& status) const;
    xalanc::XalanDocument* asXalanDocument() const;
    ///@}

    /// Deletes the string (nothing for a null pointer) and nulls the pointer. Warning for a null
    /// pointer, never failure.
    ///@{
    static void releaseString(TransString*& string, TransStatus& status);
    static void releaseString(TransString*& string);
    static void releaseStringList(TransStringList*& strings, TransStatus& status);
    static void releaseStringList(TransStringList*& strings);
    ///@}

private:
    std::unique_ptr<TransValueImpl> impl_;
};

#endif // TRANSVALUE_H
