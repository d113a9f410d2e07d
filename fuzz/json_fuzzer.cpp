// The JSON data-source loader. The input is loaded in UTF-8 mode and with a single-byte code page;
// DataSourceFileError is the loader's answer to bad input, anything else escaping is a finding.
// A data source that loads is also built into its dictionary document, which is written out and
// queried.
#include "transspace.h"
#include "zeltdatasourcefile.h"
#include "zeltplatform.h"

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

void dictionary(ZELT_DataSource const& source) {
    TransValue const value(source);
    TransStatus status;
    TransString* xml = value.asMBCSXML(status);
    checkStatus(status);
    TransValue::releaseString(xml);
    xml = value.asUTF16XML(status);
    checkStatus(status);
    TransValue::releaseString(xml);
    TransStringList* names =
        value.asStringList(TransString("/dictionary"), TransString("variable/@name"), status);
    checkStatus(status);
    TransValue::releaseStringList(names);
}

void load(std::string const& text) {
    try {
        ZELT_DataSource const source = loadDataSourceJson(text, "fuzz.json");
        dictionary(source);
    } catch (DataSourceFileError const&) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static TransSpace* const space = new TransSpace; // the XML libraries stay up for the whole run
    (void)space;
    std::string const text(reinterpret_cast<char const*>(data), size);
    ZELTSetUTF8mode(1);
    ZELTSetMBDefaultCodePage("");
    load(text);
    ZELTSetUTF8mode(0);
    ZELTSetMBDefaultCodePage("windows-1252");
    load(text);
    return 0;
}
