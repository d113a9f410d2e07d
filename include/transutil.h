/// TransUtil: the conversions shared by the whole library.
#ifndef TRANSUTIL_H
#define TRANSUTIL_H

#include "transexport.h"

#include <string>
#include <unicode/unistr.h>

class TRANS_EXPORT TransUtil {
public:
    /// Not instantiated: the conversions are static.
    TransUtil() = delete;

    /// Converter name for the process's multibyte text, asked afresh: "UTF-8" when the platform's
    /// UTF-8 mode is on, otherwise the platform's default code page.
    static std::string codepage();

    /// Multibyte text in the process code page to UTF-16. Empty when the converter cannot be opened
    /// or the conversion fails; malformed bytes are substituted.
    static icu::UnicodeString MBCStoUTF16(std::string const& text);

    /// UTF-16 to multibyte text in the process code page. Empty when the converter cannot be opened
    /// or the conversion fails; characters the code page lacks become its substitute.
    static std::string UTF16toMBCS(icu::UnicodeString const& text);

    /// Parses text as a number in the process's LC_NUMERIC locale (grouping accepted). Returns the
    /// missing value, -1.7976931348623157e308, when the text is not a number.
    static double UTF16toDouble(icu::UnicodeString const& text);
};

#endif // TRANSUTIL_H
