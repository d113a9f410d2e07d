/// TransIntegerImpl: a 64-bit signed integer, made by the dictionary builder to write integers.
///
/// asString writes the integer exactly, without grouping, in the process's LC_NUMERIC locale;
/// asDouble converts it with no flag.
#ifndef TRANSINTEGERIMPL_H
#define TRANSINTEGERIMPL_H

#include "transexport.h"
#include "transvalueimpl.h"

class TRANS_EXPORT TransIntegerImpl : public TransValueImpl {
public:
    /// Holds the integer.
    explicit TransIntegerImpl(long long value) noexcept;
    /// Copies, assignment and swap: values of this kind.
    ///@{
    TransIntegerImpl(TransIntegerImpl const& other) = default;
    ~TransIntegerImpl() override;
    TransIntegerImpl& operator=(TransIntegerImpl other) noexcept;
    void swap(TransIntegerImpl& other) noexcept;
    ///@}

    /// The integer.
    long long asInteger() const noexcept { return value_; }

    TransIntegerImpl* clone() const override;
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
    long long value_;
};

#endif // TRANSINTEGERIMPL_H
