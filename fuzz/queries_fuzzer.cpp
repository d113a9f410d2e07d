// Two-step queries on document values. The input is a context path and a path, split at the first
// newline and read as UTF-8; both go through asString, asStringList and asDouble on the dictionary
// of the example survey and on a document with namespaces. An error in the context path is thrown
// as an XSLException, which a host catches: that is not a finding. Anything else escaping, a crash
// or a status with failure but no warning is.
#include "transspace.h"
#include "xmlfilereader.h"
#include "zeltdatasourcefile.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <unicode/unistr.h>
#include <xalanc/PlatformSupport/XSLException.hpp>

namespace {

char const namespacedXml[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<root xmlns:o="urn:outer" o:a="1" b="2">
  <o:item n="1">one</o:item><o:item n="2">two &amp; more</o:item>
  <inner xmlns:p="urn:inner"><p:thing p:id="7">t<!-- note --><?pi data?></p:thing></inner>
  <d xmlns="urn:default"><leaf v="x"/><leaf v="3.5"/></d>
  <text><![CDATA[<cdata>]]> mixed <b>bold</b> tail &#x20AC;</text>
</root>)";

// The space keeps the XML libraries up for the whole run; it is never destroyed.
struct Documents {
    TransSpace space;
    TransValue dictionary{loadDataSourceFile(TRANS_FUZZ_SURVEY)};
    TransValue namespaced{readXmlText(namespacedXml, "namespaced.xml").get()};
};

void checkStatus(TransStatus const& status) {
    if (status.failure() && ! status.warning()) {
        std::abort(); // failure always comes with the warning
    }
}

// Runs one query; an error in the context path is thrown, and caught here as a host would.
template <typename Query>
void guarded(Query const& query) {
    try {
        TransStatus status;
        query(status);
        checkStatus(status);
    } catch (xalanc::XSLException const&) {
    }
}

void queryAll(TransValue const& value, TransString const& context, TransString const& path) {
    guarded([&](TransStatus& status) {
        TransString* text = value.asString(context, path, status);
        TransValue::releaseString(text);
    });
    guarded([&](TransStatus& status) {
        TransStringList* list = value.asStringList(context, path, status);
        TransValue::releaseStringList(list);
    });
    guarded([&](TransStatus& status) { value.asDouble(context, path, status); });
}

TransString utf16(std::string const& utf8) {
    icu::UnicodeString text = icu::UnicodeString::fromUTF8(utf8);
    return TransString(text.getTerminatedBuffer());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static Documents* const documents = new Documents;
    std::string const input(reinterpret_cast<char const*>(data), size);
    std::size_t const newline = input.find('\n');
    TransString const context = utf16(input.substr(0, newline));
    TransString const path =
        utf16(newline == std::string::npos ? std::string() : input.substr(newline + 1));
    queryAll(documents->dictionary, context, path);
    queryAll(documents->namespaced, context, path);
    return 0;
}
