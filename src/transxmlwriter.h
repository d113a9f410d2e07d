// The XML text of a document, written level by level with an explicit stack, so that documents of
// any depth are written whole.
//
// The text is byte for byte what Xerces-C's DOMLSSerializer writes for the document with its
// default settings (pretty-printing off, no filter, no error handler) into the given encoding: the
// same declaration, namespace declarations added for elements and attributes whose namespace is not
// declared in scope, the same escapes and character references, CDATA sections split the same way,
// and the same place to stop when a character cannot be written. UTF-8 and host-order UTF-16 are
// encoded here; every other encoding goes through the serializer's own formatter, called in the
// order the serializer calls it.
#ifndef TRANSXMLWRITER_H
#define TRANSXMLWRITER_H

#include <cstddef>
#include <string>
#include <xercesc/util/XercesDefs.hpp>

namespace XERCES_CPP_NAMESPACE {
class DOMDocument;
}

namespace trans {

// How a write ended. The text written before a stop is kept.
enum class XmlWriteEnd {
    Complete,
    // Where the serializer's write returns false: a character that the encoding cannot hold in a
    // name, comment, processing instruction or CDATA delimiter, or an encoding it does not know.
    Stopped,
    // Where the serializer raises: a character that XML cannot carry in text, an attribute value,
    // a comment or a processing instruction. Also an unpaired surrogate in a CDATA section or a
    // namespace name, which the serializer does not check and would write as broken text (or not
    // finish writing).
    Raised,
};

// The text: bytes in the encoding, or UTF-16 code units when the encoding is UTF-16 in the host's
// byte order (then `bytes` stays empty).
struct XmlText {
    std::string bytes;
    std::u16string units;
    bool inUnits = false;
};

// Writes the document into `text` (which it empties first) in the named encoding, which the
// declaration names as given. `expectedSize` (code units or bytes) presizes the text.
// Out-of-memory errors pass to the caller.
XmlWriteEnd writeXml(xercesc::DOMDocument const& document, XMLCh const* encoding, XmlText& text,
                     std::size_t expectedSize = 0);

} // namespace trans

#endif // TRANSXMLWRITER_H
