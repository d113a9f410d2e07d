// Finds calls of the XSLT functions in an XPath expression. The XPath evaluator parses them
// (current(), document(), key(), ...) but has no XSLT context to run them in, and crashes the
// process when it tries; such an expression is refused before it reaches the evaluator.
#ifndef TRANSXPATHGUARD_H
#define TRANSXPATHGUARD_H

#include <string>

namespace trans {

// The name of the first XSLT function that the expression calls, or an empty text when it calls
// none. String literals are skipped.
std::u16string xsltFunctionCalled(char16_t const* expression);

// Throws the evaluator's parse exception when the expression calls an XSLT function.
void refuseXsltFunctions(char16_t const* expression);

} // namespace trans

#endif // TRANSXPATHGUARD_H
