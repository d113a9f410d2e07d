/// TransNullImpl: no value. Every query fails with failure and warning.
#ifndef TRANSNULLIMPL_H
#define TRANSNULLIMPL_H

#include "transexport.h"
#include "transvalueimpl.h"

class TRANS_EXPORT TransNullImpl : public TransValueImpl {
public:
    /// The null value.
    TransNullImpl() = default;
    /// Copies, assignment and swap: values of this kind.
    ///@{
    TransNullImpl(TransNullImpl const& other) = default;
    ~TransNullImpl() override;
    TransNullImpl& operator=(TransNullImpl other) noexcept;
    void swap(TransNullImpl& other) noexcept;
    ///@}

    TransNullImpl* clone() const override;
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
};

#endif // TRANSNULLIMPL_H
