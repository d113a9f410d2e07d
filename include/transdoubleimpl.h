/// TransDoubleImpl: a double.
///
/// asString writes the number in the process's LC_NUMERIC locale with the pattern "#0.###" (no
/// grouping, at most three fraction digits, half-even rounding); asDouble returns it, with the
/// warning flag alone when it equals the missing value.
#ifndef TRANSDOUBLEIMPL_H
#define TRANSDOUBLEIMPL_H

#include "transexport.h"
#include "transvalueimpl.h"

#include <unicode/locid.h>

class TRANS_EXPORT TransDoubleImpl : public TransValueImpl {
public:
    /// Holds the number.
    explicit TransDoubleImpl(double value) noexcept;
    /// Copies, assignment and swap: values of this kind.
    ///@{
    TransDoubleImpl(TransDoubleImpl const& other) = default;
    ~TransDoubleImpl() override;
    TransDoubleImpl& operator=(TransDoubleImpl other) noexcept;
    void swap(TransDoubleImpl& other) noexcept;
    ///@}

    /// The number in the given locale, pattern "#0.###". Empty with failure and warning when the
    /// locale has no decimal number format.
    TransString* asString(icu::Locale const& locale, TransStatus& status) const;
    /// The number in English ("." as decimal separator), for XML attributes.
    TransString* asXMLString(TransStatus& status) const;

    TransDoubleImpl* clone() const override;
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
    double value_;
};

#endif // TRANSDOUBLEIMPL_H
