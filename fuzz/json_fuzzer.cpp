// The JSON data-source loader. The input is loaded in UTF-8 mode and with a single-byte code page,
// by each of the loader's two passes; DataSourceFileError is the loader's answer to bad input,
// anything else escaping, or a pass that disagrees with the other, is a finding.
// A data source that loads is also built into its dictionary document, which is written out and
// queried.
#include "transspace.h"
#include "zeltdatasourcefile.h"
#include "zeltdatasourcefileexact.h"
#include "zeltplatform.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

namespace {

void checkStatus(TransStatus const& status) {
    if (status.failure() && ! status.warning()) {
        std::abort();
    }
}

// Whether the text may give the data source a character that XML cannot carry (a control
// character or U+FFFE/U+FFFF, written as an escape): its dictionary's text then fails to write,
// as the library documents. An escaped backslash before such letters counts too.
bool mayHoldUnwritable(std::string json) {
    std::transform(json.begin(), json.end(), json.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (char const* escape : {"\\b", "\\f", "\\u000", "\\u001", "\\ufff"}) {
        if (json.find(escape) != std::string::npos) {
            return true;
        }
    }
    return false;
}

void dictionary(ZELT_DataSource const& source, bool unwritable) {
    TransValue const value(source);
    TransStatus status;
    TransString* xml = value.asMBCSXML(status);
    if (! unwritable) {
        checkStatus(status);
    }
    TransValue::releaseString(xml);
    xml = value.asUTF16XML(status);
    if (! unwritable) {
        checkStatus(status);
    }
    TransValue::releaseString(xml);
    TransStringList* names =
        value.asStringList(TransString("/dictionary"), TransString("variable/@name"), status);
    checkStatus(status);
    TransValue::releaseStringList(names);
}

std::u16string dictionaryText(ZELT_DataSource const& source) {
    TransString* xml = TransValue(source).asUTF16XML();
    std::u16string text = xml->asUTF16();
    TransValue::releaseString(xml);
    return text;
}

// The quick pass may refuse what the exact pass loads, never the other way round, and what both
// load is the same data source.
void load(std::string const& text) {
    std::optional<ZELT_DataSource> const quick = loadDataSourceJsonQuickly(text, "fuzz.json");
    try {
        ZELT_DataSource const source = loadDataSourceJsonExactly(text, "fuzz.json");
        if (quick && dictionaryText(*quick) != dictionaryText(source)) {
            std::abort();
        }
        dictionary(source, mayHoldUnwritable(text));
    } catch (DataSourceFileError const&) {
        if (quick) {
            std::abort();
        }
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
