// The evaluator's conversion of a number to text, as XPath 1.0 writes numbers.
//
// Xalan-C tries a few printf precisions until one reads back to the same double, which gives
// more digits than needed (2822499.752 becomes "2822499.7519999999"), writes numbers below about
// 5e-36 as "0", and overflows a fixed buffer, aborting the process, from about 1e95. Any path can
// reach it: a number literal is converted while the path is compiled, and string(), concat() or a
// number result is converted while it runs. Xalan calls the conversion through its exported
// symbol, so this library defines the same symbol: loaded before Xalan (it depends on it), its
// definition is the one the process uses, for Xalan's own calls as well. Every finite number is
// written with the fewest significant digits that read back to the same double, in plain decimal
// notation without an exponent, and negative zero as "0".
#include "transassert.h"
#include "transexport.h"

#include <charconv>
#include <cmath>
#include <xalanc/Include/PlatformDefinitions.hpp>
#include <xalanc/PlatformSupport/DOMStringHelper.hpp>

namespace XALAN_CPP_NAMESPACE {

TRANS_EXPORT XalanDOMString& NumberToDOMString(double theValue, XalanDOMString& theResult) {
    auto const append = [&theResult](char const* text) {
        while (*text != 0) {
            theResult.push_back(static_cast<XalanDOMChar>(*text++));
        }
    };
    if (std::isnan(theValue)) {
        append("NaN");
        return theResult;
    }
    if (std::isinf(theValue)) {
        append(theValue > 0 ? "Infinity" : "-Infinity");
        return theResult;
    }
    if (theValue == 0) {
        append("0"); // negative zero too
        return theResult;
    }
    // The shortest digits, as d.ddde±x: at most 17 digits, a sign and an exponent of three.
    char scientific[32];
    std::to_chars_result const written = std::to_chars(scientific, scientific + sizeof scientific,
                                                       theValue, std::chars_format::scientific);
    TRANS_ASSERT(written.ec == std::errc());
    char const* const end = written.ptr;
    char const* p = scientific;
    if (*p == '-') {
        theResult.push_back(u'-');
        ++p;
    }
    char digits[20];
    int count = 0;
    for (; *p != 'e'; ++p) {
        if (*p != '.') {
            digits[count++] = *p;
        }
    }
    int exponent = 0;
    std::from_chars(p + (p[1] == '+' ? 2 : 1), end, exponent);
    // The value is 0.d1d2...dn times 10 to the power of (exponent + 1).
    int const integerDigits = exponent + 1;
    if (integerDigits <= 0) {
        theResult.push_back(u'0');
        theResult.push_back(u'.');
        theResult.append(static_cast<XalanDOMString::size_type>(-integerDigits), u'0');
    }
    for (int i = 0; i < count || i < integerDigits; ++i) {
        if (i == integerDigits && integerDigits > 0) {
            theResult.push_back(u'.');
        }
        theResult.push_back(i < count ? static_cast<XalanDOMChar>(digits[i]) : u'0');
    }
    return theResult;
}

} // namespace XALAN_CPP_NAMESPACE
