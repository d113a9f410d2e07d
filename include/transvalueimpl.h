/// @file
/// TransValueImpl, the kinds of value behind a TransValue, and the missing value.
#ifndef TRANSVALUEIMPL_H
#define TRANSVALUEIMPL_H

#include "transexport.h"
#include "transstatus.h"
#include "transstring.h"
#include "transstringlist.h"

#include <limits>
#include <xalanc/Include/PlatformDefinitions.hpp>

namespace XALAN_CPP_NAMESPACE {
class XalanDocument;
}

/// The placeholder of every double query that has no number: the lowest finite double.
inline constexpr double TransMissingValue = -std::numeric_limits<double>::max();

/// TransValueImpl: the abstract kind of value behind a TransValue.
///
/// Every kind answers the same queries. A kind without a sensible answer returns a placeholder (a
/// new empty string or list, the missing value, a null pointer) with failure and warning. The query
/// forms with a context and a path are XPath queries answered by document values only.
/// Every TransString* and TransStringList* returned is new and owned by the caller, also on
/// failure.
class TRANS_EXPORT TransValueImpl {
public:
    /// Destroys the value.
    virtual ~TransValueImpl();

    /// A new object of the same kind and value, owned by the caller.
    virtual TransValueImpl* clone() const = 0;
    /// The XPath query's answer as a new string: context selects one node from the document node,
    /// path is evaluated there.
    virtual TransString* asString(TransString const& context, TransString const& path,
                                  TransStatus& status) const = 0;
    /// The XPath query's answer as a new list, one entry per node.
    virtual TransStringList* asStringList(TransString const& context, TransString const& path,
                                          TransStatus& status) const = 0;
    /// The value as XML text in the process code page.
    virtual TransString* asMBCSXML(TransStatus& status) const = 0;
    /// The value as XML text in UTF-16.
    virtual TransString* asUTF16XML(TransStatus& status) const = 0;
    /// The value as a new string.
    virtual TransString* asString(TransStatus& status) const = 0;
    /// The XPath query's answer as a number; the missing value when there is none.
    virtual double asDouble(TransString const& context, TransString const& path,
                            TransStatus& status) const = 0;
    /// The value as a number; the missing value when there is none.
    virtual double asDouble(TransStatus& status) const = 0;
    /// The value's Xalan document, owned by the value; null for scalar kinds.
    virtual xalanc::XalanDocument* asXalanDocument(TransStatus& status) const = 0;

protected:
    /// Construction, copying and assignment are for the kinds.
    ///@{
    TransValueImpl() = default;
    TransValueImpl(TransValueImpl const&) = default;
    TransValueImpl& operator=(TransValueImpl const&) = default;
    ///@}
};

#endif // TRANSVALUEIMPL_H
