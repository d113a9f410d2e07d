#include "transxmlwriter.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/XMLFormatter.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/TranscodingException.hpp>
#include <xercesc/util/XMLChar.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUTF16Transcoder.hpp>
#include <xercesc/util/XMLUTF8Transcoder.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace trans {
namespace {

using xercesc::DOMNode;
using xercesc::XMLFormatter;
using xercesc::XMLString;
using xercesc::XMLUni;

// Thrown where the serializer stops; caught in writeXml.
struct Stop {
    XmlWriteEnd end;
};

// The escapes of text (& < > CR) and of attribute values and namespace names (& < " LF CR TAB).
enum class Escapes { Text, Attribute };

std::size_t length(XMLCh const* text) noexcept {
    return text == nullptr ? 0 : XMLString::stringLen(text);
}

bool isEmpty(XMLCh const* text) noexcept {
    return text == nullptr || *text == 0;
}

bool isLeadSurrogate(XMLCh unit) noexcept {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isTrailSurrogate(XMLCh unit) noexcept {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

// Raises, as the serializer does, for text holding a character that XML cannot carry (checked
// before any of the text is written).
void requireXmlCharacters(XMLCh const* text, bool xml11) {
    if (text == nullptr) {
        return;
    }
    auto isXmlChar = [xml11](XMLCh unit, XMLCh next) {
        return xml11 ? xercesc::XMLChar1_1::isXMLChar(unit, next)
                     : xercesc::XMLChar1_0::isXMLChar(unit, next);
    };
    for (XMLCh const* cursor = text; *cursor != 0; ++cursor) {
        if (isXmlChar(*cursor, 0)) {
            continue;
        }
        if (! isLeadSurrogate(*cursor)) {
            throw Stop{XmlWriteEnd::Raised};
        }
        XMLCh const lead = *cursor++;
        if (*cursor == 0 || ! isXmlChar(lead, *cursor)) {
            throw Stop{XmlWriteEnd::Raised};
        }
    }
}

// Raises for an unpaired surrogate in text the serializer writes unchecked (CDATA sections,
// namespace names): its transcoders would write broken text for it, or not return.
void requirePairedSurrogates(XMLCh const* text, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        if (isLeadSurrogate(text[i]) && i + 1 < count && isTrailSurrogate(text[i + 1])) {
            ++i;
        } else if (isLeadSurrogate(text[i]) || isTrailSurrogate(text[i])) {
            throw Stop{XmlWriteEnd::Raised};
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Outputs. Each takes what the serializer hands its formatter, with the same meaning:
//   markup       no escapes; a character the encoding lacks stops the write
//   markupOrRefs no escapes; a character the encoding lacks becomes a character reference
//   escaped      escapes as given; a character the encoding lacks becomes a character reference
//   cdata        one CDATA section's text without "]]>", split around characters the encoding
//                lacks, which become character references between the sections

// Text in UTF-8 or host-order UTF-16, which hold every character: no references, no stops.
template <typename Unit>
class DirectOutput {
public:
    // Room for the expected size and a sixteenth more is reserved in the text, not filled, so
    // that pages the text never reaches are never touched. Units are written into a part of their
    // own and appended to the text a part at a time.
    DirectOutput(std::basic_string<Unit>& text, std::size_t expectedSize)
        : text_(text), part_(std::make_unique<Unit[]>(partCapacity)) {
        if (expectedSize > 0) {
            text_.reserve(expectedSize + expectedSize / 16);
        }
    }
    ~DirectOutput() {
        try {
            finish();
        } catch (...) {
            // Out of memory: the text keeps the parts appended before.
        }
    }
    DirectOutput(DirectOutput const&) = delete;
    DirectOutput& operator=(DirectOutput const&) = delete;

    // Appends what the part holds.
    void finish() {
        text_.append(part_.get(), used_);
        used_ = 0;
    }

    void markup(XMLCh const* text, std::size_t count) { copy(text, count); }
    void markupOrRefs(XMLCh const* text, std::size_t count) { copy(text, count); }

    void escaped(XMLCh const* text, std::size_t count, Escapes escapes) {
        unsigned char const mask = escapes == Escapes::Text ? textEscape : attributeEscape;
        for (std::size_t i = 0; i < count;) {
            // "&quot;", the longest reference, is six units; a character is at most three bytes
            // in UTF-8, a pair four. Room is made a part at a time, so a long text needs no room
            // six times its size.
            std::size_t const end = std::min(count, i + partSize);
            Unit* out = room(6 * (end - i));
            for (; i < end; ++i) {
                XMLCh const unit = text[i];
                if (unit < 0x80 && (escapeKinds[unit] & mask) != 0) {
                    for (char const* reference = references[unit]; *reference != 0; ++reference) {
                        *out++ = static_cast<Unit>(*reference);
                    }
                } else {
                    out = encode(text, i, count, out);
                }
            }
            commit(out);
        }
    }

    void cdata(XMLCh const* text, std::size_t count) {
        copy(u"<![CDATA[", 9);
        copy(text, count);
        copy(u"]]>", 3);
    }

private:
    static constexpr std::size_t partSize = 16384;
    static constexpr unsigned char textEscape = 1;
    static constexpr unsigned char attributeEscape = 2;
    static constexpr auto escapeKinds = [] {
        struct Table {
            unsigned char kinds[128] = {};
            constexpr unsigned char operator[](std::size_t i) const { return kinds[i]; }
        } table;
        table.kinds[u'&'] = textEscape | attributeEscape;
        table.kinds[u'<'] = textEscape | attributeEscape;
        table.kinds[u'\r'] = textEscape | attributeEscape;
        table.kinds[u'>'] = textEscape;
        table.kinds[u'"'] = attributeEscape;
        table.kinds[u'\n'] = attributeEscape;
        table.kinds[u'\t'] = attributeEscape;
        return table;
    }();
    static constexpr auto references = [] {
        struct Table {
            char const* text[128] = {};
            constexpr char const* operator[](std::size_t i) const { return text[i]; }
        } table;
        table.text[u'&'] = "&amp;";
        table.text[u'<'] = "&lt;";
        table.text[u'>'] = "&gt;";
        table.text[u'"'] = "&quot;";
        table.text[u'\r'] = "&#xD;";
        table.text[u'\n'] = "&#xA;";
        table.text[u'\t'] = "&#x9;";
        return table;
    }();

    // The largest room asked for: six units for each unit of an escaped part.
    static constexpr std::size_t partCapacity = 6 * partSize;

    Unit* room(std::size_t count) {
        if (partCapacity - used_ < count) {
            finish();
        }
        return part_.get() + used_;
    }
    void commit(Unit* end) noexcept { used_ = static_cast<std::size_t>(end - part_.get()); }

    void copy(XMLCh const* text, std::size_t count) {
        for (std::size_t i = 0; i < count;) {
            std::size_t const end = std::min(count, i + partSize);
            Unit* out = room(3 * (end - i) + 1); // a pair's second unit may be past the part
            for (; i < end; ++i) {
                out = encode(text, i, count, out);
            }
            commit(out);
        }
    }

    // Writes text[i], or the pair starting there (then i moves to its second unit).
    static Unit* encode(XMLCh const* text, std::size_t& i, std::size_t count, Unit* out) noexcept {
        XMLCh const unit = text[i];
        if constexpr (sizeof(Unit) == sizeof(char16_t)) {
            (void)count;
            *out++ = unit;
        } else if (unit < 0x80) {
            *out++ = static_cast<Unit>(unit);
        } else if (unit < 0x800) {
            *out++ = static_cast<Unit>(0xC0 | (unit >> 6));
            *out++ = static_cast<Unit>(0x80 | (unit & 0x3F));
        } else if (isLeadSurrogate(unit) && i + 1 < count && isTrailSurrogate(text[i + 1])) {
            char32_t const point =
                0x10000 + ((char32_t(unit) - 0xD800) << 10) + (text[++i] - 0xDC00);
            *out++ = static_cast<Unit>(0xF0 | (point >> 18));
            *out++ = static_cast<Unit>(0x80 | ((point >> 12) & 0x3F));
            *out++ = static_cast<Unit>(0x80 | ((point >> 6) & 0x3F));
            *out++ = static_cast<Unit>(0x80 | (point & 0x3F));
        } else {
            *out++ = static_cast<Unit>(0xE0 | (unit >> 12));
            *out++ = static_cast<Unit>(0x80 | ((unit >> 6) & 0x3F));
            *out++ = static_cast<Unit>(0x80 | (unit & 0x3F));
        }
        return out;
    }

    std::basic_string<Unit>& text_;
    std::unique_ptr<Unit[]> part_; // the first used_ units are written
    std::size_t used_ = 0;
};

// Any other encoding: the serializer's formatter, given the same calls with the same flags.
class FormatterOutput {
public:
    explicit FormatterOutput(XMLFormatter& formatter) : formatter_(formatter) {}

    void finish() noexcept {} // the formatter hands each write to its target at once

    void markup(XMLCh const* text, std::size_t count) {
        format(text, count, XMLFormatter::NoEscapes, XMLFormatter::UnRep_Fail);
    }
    void markupOrRefs(XMLCh const* text, std::size_t count) {
        format(text, count, XMLFormatter::NoEscapes, XMLFormatter::UnRep_CharRef);
    }
    void escaped(XMLCh const* text, std::size_t count, Escapes escapes) {
        format(text, count,
               escapes == Escapes::Text ? XMLFormatter::CharEscapes : XMLFormatter::AttrEscapes,
               XMLFormatter::UnRep_CharRef);
    }

    void cdata(XMLCh const* text, std::size_t count) {
        xercesc::XMLTranscoder* const coder = formatter_.getTranscoder();
        XMLCh const* source = text;
        XMLCh const* const end = text + count;
        while (source < end) {
            XMLCh const* run = source;
            while (run < end && coder->canTranscodeTo(*run)) {
                ++run;
            }
            if (run > source) {
                markup(u"<![CDATA[", 9);
                markup(source, static_cast<std::size_t>(run - source));
                markup(u"]]>", 3);
                source = run;
                continue;
            }
            // One reference per code unit, up to the next character the encoding holds.
            do {
                XMLCh reference[16] = u"&#x";
                XMLString::binToText(static_cast<unsigned int>(*source), reference + 3, 8, 16);
                std::size_t const size = XMLString::stringLen(reference);
                reference[size] = u';';
                markup(reference, size + 1);
                ++source;
            } while (source < end && ! coder->canTranscodeTo(*source));
        }
    }

private:
    void format(XMLCh const* text, std::size_t count, XMLFormatter::EscapeFlags escapes,
                XMLFormatter::UnRepFlags unrepresentable) {
        try {
            formatter_.formatBuf(text, count, escapes, unrepresentable);
        } catch (xercesc::TranscodingException const&) {
            throw Stop{XmlWriteEnd::Stopped};
        }
    }

    XMLFormatter& formatter_;
};

// ---------------------------------------------------------------------------------------------
// The walk: the serializer's order of writes, with the open elements on a stack of our own.

template <typename Output>
class Writer {
public:
    Writer(Output& output, bool xml11) : out_(output), xml11_(xml11) {}

    void document(xercesc::DOMDocument const& document, XMLCh const* encoding,
                  XMLCh const* version) {
        literalOrRefs(u"<?xml version=\"");
        out_.markupOrRefs(version, length(version));
        literalOrRefs(u"\" encoding=\"");
        out_.markupOrRefs(encoding, length(encoding));
        literalOrRefs(u"\" standalone=\"");
        if (document.getXmlStandalone()) {
            literalOrRefs(u"yes");
        } else {
            literalOrRefs(u"no");
        }
        literalOrRefs(u"\" ?>");

        DOMNode const* node = document.getFirstChild();
        for (;;) {
            while (node != nullptr) {
                if (node->getNodeType() == DOMNode::ELEMENT_NODE) {
                    std::size_t const scope = startTag(*node);
                    if (DOMNode const* child = node->getFirstChild()) {
                        literalOrRefs(u">");
                        open_.push_back({node, scope});
                        node = child;
                        continue;
                    }
                    literal(u"/>");
                    bindings_.resize(scope);
                } else {
                    leaf(*node);
                }
                node = node->getNextSibling();
            }
            if (open_.empty()) {
                return;
            }
            Open const element = open_.back();
            open_.pop_back();
            enclosed(u"</", element.node->getNodeName(), u">");
            bindings_.resize(element.scope);
            node = element.node->getNextSibling();
        }
    }

private:
    struct Open {
        DOMNode const* node;
        std::size_t scope; // the size of bindings_ before the element's own declarations
    };
    // A namespace declaration in scope. The prefix is "" for the default namespace; a null uri
    // (an undeclared default namespace) is skipped by the look-ups, as the serializer skips it.
    struct Binding {
        XMLCh const* prefix;
        XMLCh const* uri;
    };

    template <std::size_t Size>
    void literal(char16_t const (&text)[Size]) {
        out_.markup(text, Size - 1);
    }
    // Markup around a name or text, each written as the serializer writes it: on its own.
    template <std::size_t OpenSize, std::size_t CloseSize>
    void enclosed(char16_t const (&open)[OpenSize], XMLCh const* text,
                  char16_t const (&close)[CloseSize]) {
        literal(open);
        out_.markup(text, length(text));
        literal(close);
    }
    template <std::size_t Size>
    void literalOrRefs(char16_t const (&text)[Size]) {
        out_.markupOrRefs(text, Size - 1);
    }

    // The innermost declaration of the prefix with a uri, or null.
    XMLCh const* boundUri(XMLCh const* prefix) const noexcept {
        for (auto binding = bindings_.rbegin(); binding != bindings_.rend(); ++binding) {
            if (binding->uri != nullptr && XMLString::equals(binding->prefix, prefix)) {
                return binding->uri;
            }
        }
        return nullptr;
    }
    bool isBound(XMLCh const* prefix, XMLCh const* uri) const noexcept {
        XMLCh const* bound = boundUri(prefix);
        return bound != nullptr && XMLString::equals(bound, uri);
    }
    bool declaresHere(std::size_t scope, XMLCh const* prefix) const noexcept {
        return std::any_of(
            bindings_.begin() + static_cast<std::ptrdiff_t>(scope), bindings_.end(),
            [prefix](Binding const& b) { return XMLString::equals(b.prefix, prefix); });
    }
    void declare(std::size_t scope, XMLCh const* prefix, XMLCh const* uri) {
        auto const here = bindings_.begin() + static_cast<std::ptrdiff_t>(scope);
        auto const found = std::find_if(here, bindings_.end(), [prefix](Binding const& b) {
            return XMLString::equals(b.prefix, prefix);
        });
        if (found != bindings_.end()) {
            found->uri = uri;
        } else {
            bindings_.push_back({prefix, uri});
        }
    }
    void writeDeclaration(XMLCh const* prefix, XMLCh const* uri) {
        std::size_t const uriLength = length(uri);
        requirePairedSurrogates(uri, uriLength);
        literalOrRefs(u" xmlns");
        if (*prefix != 0) {
            literalOrRefs(u":");
            out_.markupOrRefs(prefix, length(prefix));
        }
        literalOrRefs(u"=\"");
        out_.escaped(uri, uriLength, Escapes::Attribute);
        literalOrRefs(u"\"");
    }

    // The start tag up to its end ("/>" or ">" is the caller's); the size of bindings_ before it.
    std::size_t startTag(DOMNode const& element) {
        XMLCh const* name = element.getNodeName();
        literal(u"<");
        out_.markup(name, length(name));

        std::size_t const scope = bindings_.size();
        XMLCh const* prefix = element.getPrefix();
        XMLCh const* uri = element.getNamespaceURI();
        if (! isEmpty(uri) || (isEmpty(prefix) && boundUri(XMLUni::fgZeroLenString) != nullptr)) {
            if (isEmpty(prefix)) {
                prefix = XMLUni::fgZeroLenString;
            }
            if (! isBound(prefix, uri)) {
                declare(scope, prefix, uri);
                writeDeclaration(prefix, uri);
            }
        }

        xercesc::DOMNamedNodeMap const* attributes = element.getAttributes();
        XMLSize_t const count = attributes->getLength();
        for (XMLSize_t i = 0; i < count; ++i) {
            auto const* attribute = static_cast<xercesc::DOMAttr const*>(attributes->item(i));
            if (! attribute->getSpecified()) {
                continue;
            }
            XMLCh const* space = attribute->getNamespaceURI();
            if (space != nullptr) {
                if (XMLString::equals(space, XMLUni::fgXMLNSURIName)) {
                    XMLCh const* declared =
                        XMLString::equals(attribute->getNodeName(), XMLUni::fgXMLNSString)
                            ? XMLUni::fgZeroLenString
                            : attribute->getLocalName();
                    if (declaresHere(scope, declared)) {
                        continue; // declared for this element already
                    }
                    // Kept under its local name: "xmlns" for the default namespace.
                    declare(scope, attribute->getLocalName(), attribute->getNodeValue());
                } else if (! XMLString::equals(space, XMLUni::fgXMLURIName)) {
                    XMLCh const* attributePrefix = attribute->getPrefix();
                    if (! isEmpty(attributePrefix) && ! isBound(attributePrefix, space)) {
                        declare(scope, attributePrefix, space);
                        writeDeclaration(attributePrefix, space);
                    }
                }
            }
            XMLCh const* attributeName = attribute->getNodeName();
            literalOrRefs(u" ");
            out_.markupOrRefs(attributeName, length(attributeName));
            literalOrRefs(u"=\"");
            for (DOMNode const* part = attribute->getFirstChild(); part != nullptr;
                 part = part->getNextSibling()) {
                if (part->getNodeType() == DOMNode::TEXT_NODE) {
                    XMLCh const* value = part->getNodeValue();
                    requireXmlCharacters(value, xml11_);
                    out_.escaped(value, length(value), Escapes::Attribute);
                } else if (part->getNodeType() == DOMNode::ENTITY_REFERENCE_NODE) {
                    XMLCh const* reference = part->getNodeName();
                    literalOrRefs(u"&");
                    out_.markupOrRefs(reference, length(reference));
                    literalOrRefs(u";");
                }
            }
            literalOrRefs(u"\"");
        }
        return scope;
    }

    void leaf(DOMNode const& node) {
        XMLCh const* value = node.getNodeValue();
        switch (node.getNodeType()) {
        case DOMNode::TEXT_NODE:
            requireXmlCharacters(value, xml11_);
            out_.escaped(value, length(value), Escapes::Text);
            break;
        case DOMNode::CDATA_SECTION_NODE:
            cdataSection(value);
            break;
        case DOMNode::COMMENT_NODE:
            requireXmlCharacters(value, xml11_);
            enclosed(u"<!--", value, u"-->");
            break;
        case DOMNode::PROCESSING_INSTRUCTION_NODE: {
            XMLCh const* target = node.getNodeName();
            requireXmlCharacters(target, xml11_);
            requireXmlCharacters(value, xml11_);
            literal(u"<?");
            out_.markup(target, length(target));
            if (! isEmpty(value)) {
                literal(u" ");
                out_.markup(value, length(value));
            }
            literal(u"?>");
            break;
        }
        case DOMNode::ENTITY_REFERENCE_NODE:
            enclosed(u"&", node.getNodeName(), u";");
            break;
        default:
            // A document type: a value never holds one. The serializer raises for other kinds.
            throw Stop{XmlWriteEnd::Raised};
        }
    }

    // The serializer cuts value + "]]>" at every "]]>", which it leaves out: each part is a
    // section of its own, an empty part an empty section, and the empty rest after the last cut
    // nothing.
    void cdataSection(XMLCh const* value) {
        std::u16string const whole = (value == nullptr ? std::u16string() : value) + u"]]>";
        requirePairedSurrogates(whole.data(), whole.size());
        std::u16string_view rest(whole);
        for (std::size_t end = rest.find(u"]]>"); end != std::u16string_view::npos;
             end = rest.find(u"]]>")) {
            if (end == 0) {
                literal(u"<![CDATA[");
                literal(u"]]>");
            } else {
                out_.cdata(rest.data(), end);
            }
            rest.remove_prefix(end + 3);
        }
    }

    Output& out_;
    bool const xml11_;
    std::vector<Open> open_;
    std::vector<Binding> bindings_;
};

template <typename Output>
XmlWriteEnd walk(Output& output, xercesc::DOMDocument const& document, XMLCh const* encoding,
                 XMLCh const* version, bool xml11) {
    XmlWriteEnd end = XmlWriteEnd::Complete;
    try {
        Writer<Output>(output, xml11).document(document, encoding, version);
    } catch (Stop const& stop) {
        end = stop.end;
    }
    output.finish(); // what was written before a stop is kept
    return end;
}

// The formatter's bytes, appended to one string.
class StringTarget : public xercesc::XMLFormatTarget {
public:
    explicit StringTarget(std::string& text) : text_(text) {}
    void writeChars(XMLByte const* bytes, XMLSize_t count, XMLFormatter*) override {
        text_.append(reinterpret_cast<char const*>(bytes), count);
    }

private:
    std::string& text_;
};

// Whether the formatter writes UTF-16 as this host stores it.
bool writesHostUTF16(xercesc::XMLTranscoder& coder) {
    if (dynamic_cast<xercesc::XMLUTF16Transcoder*>(&coder) == nullptr) {
        return false;
    }
    XMLCh const probe[] = {0x0102};
    XMLByte bytes[8] = {};
    XMLSize_t eaten = 0;
    XMLSize_t const written = coder.transcodeTo(probe, 1, bytes, sizeof bytes, eaten,
                                                xercesc::XMLTranscoder::UnRep_Throw);
    return written == sizeof(XMLCh) && std::memcmp(bytes, probe, sizeof(XMLCh)) == 0;
}

} // namespace

XmlWriteEnd writeXml(xercesc::DOMDocument const& document, XMLCh const* encoding, XmlText& text,
                     std::size_t expectedSize) {
    text = XmlText();
    XMLCh const* version = document.getXmlVersion();
    if (isEmpty(version)) {
        version = XMLUni::fgVersion1_0;
    }
    bool const xml11 = XMLString::equals(version, XMLUni::fgVersion1_1);

    StringTarget target(text.bytes);
    std::unique_ptr<XMLFormatter> formatter;
    try {
        formatter = std::make_unique<XMLFormatter>(
            encoding, version, &target, XMLFormatter::NoEscapes, XMLFormatter::UnRep_CharRef);
    } catch (xercesc::TranscodingException const&) {
        return XmlWriteEnd::Stopped; // an encoding the serializer does not know: nothing written
    }

    // XML 1.1 escapes control characters as references: the formatter's own work.
    xercesc::XMLTranscoder& coder = *formatter->getTranscoder();
    if (! xml11 && dynamic_cast<xercesc::XMLUTF8Transcoder*>(&coder) != nullptr) {
        DirectOutput<char> output(text.bytes, expectedSize);
        return walk(output, document, encoding, version, xml11);
    }
    if (! xml11 && writesHostUTF16(coder)) {
        text.inUnits = true;
        DirectOutput<char16_t> output(text.units, expectedSize);
        return walk(output, document, encoding, version, xml11);
    }
    FormatterOutput output(*formatter);
    return walk(output, document, encoding, version, xml11);
}

} // namespace trans
