// The tool's XML file reader. XmlFileError is its answer to bad input, anything else escaping is a
// finding. A document that is read is also made into a document value, written out and queried.
#include "transspace.h"
#include "xmlfilereader.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void checkStatus(TransStatus const& status) {
    if (status.failure() && ! status.warning()) {
        std::abort();
    }
}

void use(xercesc::DOMDocument const* document) {
    TransValue const value(document);
    TransStatus status;
    TransString* xml = value.asUTF16XML(status);
    checkStatus(status);
    TransValue::releaseString(xml);
    TransStringList* texts = value.asStringList(TransString("/*"), TransString("//text()"), status);
    checkStatus(status);
    TransValue::releaseStringList(texts);
    TransString* text = value.asString(TransString("/*"), TransString("@*"), status);
    checkStatus(status);
    TransValue::releaseString(text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static TransSpace* const space = new TransSpace; // the XML libraries stay up for the whole run
    (void)space;
    XmlDocument document;
    try {
        document = readXmlText(std::string(reinterpret_cast<char const*>(data), size), "fuzz.xml");
    } catch (XmlFileError const&) {
        return 0;
    }
    use(document.get());
    return 0;
}
