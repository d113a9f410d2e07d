// The evaluator's conversion of a number to text, made safe for large numbers.
//
// Xalan-C writes a double of about 1e97 or more with "%f" into a fixed buffer of about a hundred
// characters; the C library's buffer check then aborts the process. Any path can reach it: a long
// number literal is converted while the path is compiled, and string(), concat() or a number
// result is converted while it runs. Xalan calls the conversion through its exported symbol, so
// this library defines the same symbol: loaded before Xalan (it depends on it), its definition is
// the one the process uses, for Xalan's own calls as well. Numbers below 1e80 are handed to
// Xalan's definition, so their text stays exactly Xalan's; larger ones are all integers, written
// as every integer is, in full decimal digits.
#include "transassert.h"
#include "transexport.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <string>
#include <xalanc/Include/PlatformDefinitions.hpp>
#include <xalanc/PlatformSupport/DOMStringHelper.hpp>
#include <xalanc/XPath/XPathEvaluator.hpp>

#define TRANS_STRINGIFY_NAME(name) #name
#define TRANS_STRINGIFY(name) TRANS_STRINGIFY_NAME(name)

namespace {

using Conversion = xalanc::XalanDOMString& (*)(double, xalanc::XalanDOMString&);

// Xalan's own definition, looked up in the Xalan library itself (found through a function that
// only it defines).
Conversion xalanConversion() {
    Dl_info library{};
    auto const anchor = reinterpret_cast<void*>(&xalanc::XPathEvaluator::initialize);
    TRANS_ASSERT(dladdr(anchor, &library) != 0 && "NumberToDOMString: Xalan-C not found.");
    void* handle = dlopen(library.dli_fname, RTLD_NOW | RTLD_NOLOAD);
    TRANS_ASSERT(handle != nullptr && "NumberToDOMString: Xalan-C not loaded.");
    std::string const space = TRANS_STRINGIFY(XALAN_CPP_NAMESPACE);
    std::string const symbol =
        "_ZN" + std::to_string(space.size()) + space + "17NumberToDOMStringEdRNS_14XalanDOMStringE";
    void* function = dlsym(handle, symbol.c_str());
    dlclose(handle); // the library stays loaded: it was loaded before
    TRANS_ASSERT(function != nullptr && "NumberToDOMString: Xalan-C's conversion not found.");
    return reinterpret_cast<Conversion>(function);
}

} // namespace

namespace XALAN_CPP_NAMESPACE {

TRANS_EXPORT XalanDOMString& NumberToDOMString(double theValue, XalanDOMString& theResult) {
    if (! std::isfinite(theValue) || std::fabs(theValue) < 1e80) {
        static Conversion const xalan = xalanConversion();
        return xalan(theValue, theResult);
    }
    char digits[400]; // a double has at most 309 integer digits
    int const length = std::snprintf(digits, sizeof digits, "%.0f", theValue);
    TRANS_ASSERT(length > 0 && static_cast<std::size_t>(length) < sizeof digits);
    for (int i = 0; i < length; ++i) {
        theResult.push_back(static_cast<XalanDOMChar>(digits[i]));
    }
    return theResult;
}

} // namespace XALAN_CPP_NAMESPACE
