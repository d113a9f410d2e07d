// The dictionary document written with plain Xerces-C calls: the yardstick for the builder.
//
// buildDirectDictionary makes the same document as TransDictionaryImpl::addDictionary (the same
// elements, attributes, attribute order and texts), but creates every element in its final place
// with appendChild, formats numbers with std::to_chars and converts texts with a plain UTF-8
// decoder. That gives the same text as the builder while integers are written without grouping
// (the "C" and English numeric locales), doubles are integers or short decimal fractions (the
// builder's "#0.###" text equals the shortest round-trip text for those), and the process's
// multibyte texts are UTF-8 (the default UTF-8 mode). The generated data sources meet all three.
#ifndef TRANSSPACE_BENCH_DIRECTDICTIONARY_H
#define TRANSSPACE_BENCH_DIRECTDICTIONARY_H

#include <cstddef>
#include <string>
#include <xercesc/util/XercesDefs.hpp>

namespace XERCES_CPP_NAMESPACE {
class DOMDocument;
class DOMNode;
} // namespace XERCES_CPP_NAMESPACE

class ZELT_DataSource;

namespace transbench {

// The dictionary document of the data source; the caller releases it. Needs the XML library
// initialised (a live TransSpace).
xercesc::DOMDocument* buildDirectDictionary(ZELT_DataSource const& ds);

// A DOMLSSerializer write of the node (a document or an element), set up as the library sets it
// up (no pretty printing), in `encoding`; the bytes go to `bytes` when it is given. Returns the
// byte count.
std::size_t serialize(xercesc::DOMNode const* node, char16_t const* encoding,
                      std::string* bytes = nullptr);
// The same write in UTF-16.
std::u16string serializeUTF16(xercesc::DOMNode const* node);

} // namespace transbench

#endif // TRANSSPACE_BENCH_DIRECTDICTIONARY_H
