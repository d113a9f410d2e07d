#include "transxpathguard.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <xalanc/Include/XalanMemoryManagement.hpp>
#include <xalanc/XPath/XPathParserException.hpp>
#include <xalanc/XalanDOM/XalanDOMString.hpp>

namespace trans {

namespace {

constexpr std::array<std::u16string_view, 9> xsltFunctions{
    u"current",     u"document", u"element-available", u"format-number",      u"function-available",
    u"generate-id", u"key",      u"system-property",   u"unparsed-entity-uri"};

bool nameStart(char16_t c) noexcept {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || c == u'_' || c >= 0x80;
}

bool nameChar(char16_t c) noexcept {
    return nameStart(c) || (c >= u'0' && c <= u'9') || c == u'.' || c == u'-';
}

bool blank(char16_t c) noexcept {
    return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n';
}

} // namespace

std::u16string xsltFunctionCalled(char16_t const* expression) {
    std::u16string_view const text(expression != nullptr ? expression : u"");
    std::size_t i = 0;
    while (i < text.size()) {
        char16_t const c = text[i];
        if (c == u'"' || c == u'\'') {
            std::size_t const end = text.find(c, i + 1);
            i = end == std::u16string_view::npos ? text.size() : end + 1;
            continue;
        }
        if (! nameStart(c)) {
            ++i;
            continue;
        }
        // A name, possibly prefixed (a prefixed function is an extension, not an XSLT function).
        std::size_t const start = i;
        while (i < text.size() && nameChar(text[i])) {
            ++i;
        }
        bool const prefixed =
            (start > 0 && text[start - 1] == u':' && ! (start > 1 && text[start - 2] == u':')) ||
            (start > 0 && text[start - 1] == u'$');
        std::u16string_view const name = text.substr(start, i - start);
        std::size_t next = i;
        while (next < text.size() && blank(text[next])) {
            ++next;
        }
        if (! prefixed && next < text.size() && text[next] == u'(' &&
            std::find(xsltFunctions.begin(), xsltFunctions.end(), name) != xsltFunctions.end()) {
            return std::u16string(name);
        }
    }
    return std::u16string();
}

void refuseXsltFunctions(char16_t const* expression) {
    std::u16string const name = xsltFunctionCalled(expression);
    if (name.empty()) {
        return;
    }
    xalanc::MemoryManager& memory = xalanc::XalanMemMgrs::getDefaultXercesMemMgr();
    xalanc::XalanDOMString message(u"The function '", memory);
    message.append(name.c_str());
    message.append(u"' is not available outside a stylesheet.");
    throw xalanc::XPathParserException(message, memory);
}

} // namespace trans
