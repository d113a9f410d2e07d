/// TransTextImpl: a text, stored as given (not trimmed).
///
/// asString returns a copy (warning when empty); asDouble parses it in the process's LC_NUMERIC
/// locale, failure and warning when it is not a number.
#ifndef TRANSTEXTIMPL_H
#define TRANSTEXTIMPL_H

#include "transexport.h"
#include "transvalueimpl.h"

class TRANS_EXPORT TransTextImpl : public TransValueImpl {
public:
    /// Holds a copy of the text.
    explicit TransTextImpl(TransString const& text);
    /// Copies, assignment and swap: values of this kind.
    ///@{
    TransTextImpl(TransTextImpl const& other) = default;
    ~TransTextImpl() override;
    TransTextImpl& operator=(TransTextImpl other) noexcept;
    void swap(TransTextImpl& other) noexcept;
    ///@}

    TransTextImpl* clone() const override;
    TransString* asString(TransString const& context, TransString const& path,
                          TransStatus& status) const override;
    TransStringList* asStringList(TransString const& context, TransString const& path,
                                  TransStatus& status) const override;
    TransString* asMBCSXML(TransStatus& status) const override;
    TransString* asUTF16XML(TransStatus& status) const override;
    TransString* asString(TransStatus& status) const override;
    double asDouble(TransString const& context, TransString const& path,
                    TransStatus& status) const override;
    double asDouble(TransStatus& status) const override;
    xalanc::XalanDocument* asXalanDocument(TransStatus& status) const override;

private:
    TransString text_;
};

#endif // TRANSTEXTIMPL_H
