/// TransImage: one record of a space's image lists.
///
/// A plain record: the space reads only its name (compared after trimming, as exact multibyte
/// text); bytes, text and number belong to the caller and are carried unchanged.
#ifndef TRANSIMAGE_H
#define TRANSIMAGE_H

#include "transexport.h"
#include "transstring.h"

#include <cstdint>
#include <string>

class TRANS_EXPORT TransImage {
public:
    /// Empty name, bytes and text; number 0.
    TransImage();
    /// Member-wise copies.
    ///@{
    TransImage(TransImage const& other);
    TransImage& operator=(TransImage const& other);
    ///@}
    ~TransImage();

    /// The name the space finds the image by.
    TransString name;
    /// The caller's bytes.
    std::string bytes;
    /// The caller's text.
    TransString text;
    /// The caller's number.
    int32_t number;
};

#endif // TRANSIMAGE_H
