// Conversion of multibyte text in the process code page, shared by TransUtil and the builder.
#ifndef TRANSCODEPAGE_H
#define TRANSCODEPAGE_H

#include <cstddef>
#include <string>

namespace trans {

// The multibyte text in the process code page (read afresh) as UTF-16 in `result`, as
// TransUtil::MBCStoUTF16 converts it: empty when the converter cannot be opened, the conversion
// fails or the text is too long for the converter's counts; malformed bytes are substituted.
void mbcsToUTF16(char const* bytes, std::size_t length, std::u16string& result);

} // namespace trans

#endif // TRANSCODEPAGE_H
