// XPath functions that the evaluator answers otherwise than XPath 1.0 defines them: round(),
// which loses negative zero and rounds by adding a half, and the string functions that count in
// UTF-16 units rather than characters (string-length(), substring(), translate()).
//
// The evaluator's core functions live in one table for the whole process, which a host may use
// for its own evaluations. So these are installed as extension functions in the environment of
// the library's own evaluator alone, and the library's paths call them there: before a path is
// compiled, each call of one of these functions is given the prefix standingPrefix, which the
// library's prefix resolver binds to standingNamespace.
#ifndef TRANSXPATHFUNCTIONS_H
#define TRANSXPATHFUNCTIONS_H

#include <array>
#include <string_view>
#include <xalanc/XPath/XPathEnvSupportDefault.hpp>

namespace trans {

constexpr std::u16string_view standingPrefix = u"trans-xpath1";
constexpr std::u16string_view standingNamespace = u"urn:transspace:xpath-1.0-functions";

// The functions that stand in for the evaluator's, by their XPath names.
constexpr std::array<std::u16string_view, 4> standingFunctions{u"round", u"string-length",
                                                               u"substring", u"translate"};

// XPath 1.0's round(): the integer closest to x, the greater one of two; NaN, infinities and
// zeros as they are; negative zero for -0.5 <= x < 0.
double xpathRound(double x) noexcept;

// Installs the standing functions in the environment, under standingNamespace.
void installStandingFunctions(xalanc::XPathEnvSupportDefault& environment);

} // namespace trans

#endif // TRANSXPATHFUNCTIONS_H
