#include "directdictionary.h"

#include "transxmlchararray.h"
#include "zeltdatasource.h"
#include "zeltiocv.h"
#include "zeltwlib.h"

#include <array>
#include <charconv>
#include <clocale>
#include <cstdint>
#include <cstring>
#include <vector>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLUni.hpp>

using xercesc::DOMElement;
using X = TransXMLChArray;

namespace transbench {

namespace {

constexpr std::array<XMLCh const*, 3> alignmentNames{X::left_s, X::right_s, X::center_s};
constexpr std::array<XMLCh const*, 4> levelNames{X::unknown_s, X::nominal_s, X::ordinal_s,
                                                 X::scale_s};

std::array<XMLCh const*, 87> formatNameTable() {
    std::array<XMLCh const*, 87> table{};
    table[1] = X::A_s;
    table[2] = X::AHEX_s;
    table[3] = X::COMMA_s;
    table[4] = X::DOLLAR_s;
    table[5] = X::F_s;
    table[6] = X::IB_s;
    table[7] = X::IBHEX_s;
    table[8] = X::P_s;
    table[9] = X::PIB_s;
    table[10] = X::PK_s;
    table[11] = X::RB_s;
    table[12] = X::RBHEX_s;
    table[15] = X::Z_s;
    table[16] = X::N_s;
    table[17] = X::E_s;
    table[20] = X::DATE_s;
    table[21] = X::TIME_s;
    table[22] = X::DATETIME_s;
    table[23] = X::ADATE_s;
    table[24] = X::JDATE_s;
    table[25] = X::DTIME_s;
    table[26] = X::WKDAY_s;
    table[27] = X::MONTH_s;
    table[28] = X::MOYR_s;
    table[29] = X::QYR_s;
    table[30] = X::WKYR_s;
    table[31] = X::PERCENT_s;
    table[32] = X::DOT_s;
    table[33] = X::CCA_s;
    table[34] = X::CCB_s;
    table[35] = X::CCC_s;
    table[36] = X::CCD_s;
    table[37] = X::CCE_s;
    table[38] = X::EDATE_s;
    table[39] = X::SDATE_s;
    table[40] = X::G_s;
    table[41] = X::LNUMBER_s;
    table[42] = X::LDATE_s;
    table[43] = X::LTIME_s;
    table[44] = X::LCA_s;
    table[45] = X::LCB_s;
    table[46] = X::LCC_s;
    table[47] = X::LCD_s;
    table[48] = X::LCE_s;
    table[49] = X::LCF_s;
    table[50] = X::LCG_s;
    table[51] = X::LCH_s;
    table[52] = X::LCI_s;
    table[53] = X::LCJ_s;
    table[85] = X::MTIME_s;
    table[86] = X::YMDHMS_s;
    return table;
}

template <std::size_t N>
XMLCh const* lookup(std::array<XMLCh const*, N> const& table, long long code) {
    return code >= 0 && static_cast<unsigned long long>(code) < N
               ? table[static_cast<std::size_t>(code)]
               : nullptr;
}

constexpr std::array<int, 10> extensionCodes{1, 2, 3, 4, 6, 8, 9, 10, 12, 15};
constexpr std::uint64_t lowestBits = 0xFFEFFFFFFFFFFFFEull;
constexpr std::uint64_t highestBits = 0x7FEFFFFFFFFFFFFFull;

std::uint64_t bitsOf(OBS const& value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

std::size_t valueTextLength(char const* bytes, std::size_t length) noexcept {
    std::size_t end = 0;
    while (end < length && bytes[end] != ' ' && bytes[end] != '\0') {
        ++end;
    }
    return end;
}

// Creates the elements of one document; keeps a scratch buffer for attribute texts.
class Writer {
public:
    explicit Writer(xercesc::DOMDocument* document) : document_(document) {}

    DOMElement* element(XMLCh const* tag) { return document_->createElement(tag); }

    void text(DOMElement* element, XMLCh const* name, char const* bytes, std::size_t length) {
        buffer_.clear();
        decodeUTF8(bytes, length);
        buffer_.push_back(0);
        element->setAttribute(name, buffer_.data());
    }
    void text(DOMElement* element, XMLCh const* name, char const* bytes) {
        text(element, name, bytes, bytes != nullptr ? std::strlen(bytes) : 0);
    }
    void text(DOMElement* element, XMLCh const* name, std::string const& bytes) {
        text(element, name, bytes.data(), bytes.size());
    }

    template <typename Number>
    void number(DOMElement* element, XMLCh const* name, Number value) {
        char digits[32];
        std::to_chars_result const result = std::to_chars(digits, digits + sizeof digits, value);
        XMLCh wide[32];
        std::size_t length = 0;
        for (char const* p = digits; p != result.ptr; ++p) {
            wide[length++] = static_cast<XMLCh>(*p);
        }
        wide[length] = 0;
        element->setAttribute(name, wide);
    }

private:
    void decodeUTF8(char const* bytes, std::size_t length) {
        auto const* p = reinterpret_cast<unsigned char const*>(bytes);
        auto const* end = p + length;
        while (p < end) {
            std::uint32_t c = *p++;
            int more = 0;
            if (c >= 0xF0) {
                c &= 0x07;
                more = 3;
            } else if (c >= 0xE0) {
                c &= 0x0F;
                more = 2;
            } else if (c >= 0xC0) {
                c &= 0x1F;
                more = 1;
            }
            for (; more > 0 && p < end; --more) {
                c = (c << 6) | (*p++ & 0x3F);
            }
            if (c >= 0x10000) {
                c -= 0x10000;
                buffer_.push_back(static_cast<XMLCh>(0xD800 + (c >> 10)));
                buffer_.push_back(static_cast<XMLCh>(0xDC00 + (c & 0x3FF)));
            } else {
                buffer_.push_back(static_cast<XMLCh>(c));
            }
        }
    }

    xercesc::DOMDocument* document_;
    std::vector<XMLCh> buffer_;
};

DOMElement* formatElement(Writer& w, XMLCh const* tag, ZELT_Variable::FormatType type, int width,
                          int decimals) {
    static std::array<XMLCh const*, 87> const formatNames = formatNameTable();
    DOMElement* format = w.element(tag);
    if (XMLCh const* name = lookup(formatNames, static_cast<int>(type))) {
        format->setAttribute(X::type_s, name);
    }
    w.number(format, X::width_s, width);
    w.number(format, X::decimals_s, decimals);
    return format;
}

DOMElement* attributeSet(Writer& w, DatasourceAttributes const& attrs) {
    DOMElement* set = w.element(X::attributeSet_s);
    w.number(set, X::version_s, attrs.Version());
    for (unsigned long i = 0; i < attrs.Size(); ++i) {
        std::string const name = attrs.Name(i);
        DOMElement* attribute = w.element(X::attribute_s);
        w.text(attribute, X::name_s, name);
        attribute->setAttribute(X::type_s,
                                ! name.empty() && name[0] == '$' ? X::system_s : X::user_s);
        for (std::string const& value : attrs.Values(i)) {
            DOMElement* element = w.element(X::attributeValue_s);
            w.text(element, X::value_s, value);
            attribute->appendChild(element);
        }
        set->appendChild(attribute);
    }
    return set;
}

DOMElement* variableElement(Writer& w, ZELT_Variable const& var) {
    DOMElement* domvar = w.element(X::variable_s);
    w.text(domvar, X::name_s, var.GetName());
    if (char const* label = var.GetLabel()) {
        w.text(domvar, X::label_s, label);
    }
    w.number(domvar, X::type_s, var.GetType());
    if (XMLCh const* alignment =
            lookup(alignmentNames, static_cast<unsigned>(var.GetAlignment()))) {
        domvar->setAttribute(X::alignment_s, alignment);
    }
    if (XMLCh const* level = lookup(levelNames, static_cast<unsigned>(var.GetMeasurementLevel()))) {
        domvar->setAttribute(X::measurementLevel_s, level);
    }
    w.number(domvar, X::displayWidth_s, var.GetDisplayWidth());

    ZELT_Variable::FormatType type{};
    int width = 0;
    int decimals = 0;
    var.GetFormatEx(type, width, decimals);
    domvar->appendChild(formatElement(w, X::variableFormat_s, type, width, decimals));
    var.GetWriteFormatEx(type, width, decimals);
    domvar->appendChild(formatElement(w, X::variableWriteFormat_s, type, width, decimals));

    std::array<OBS const*, 3> values{};
    int const count = var.GetMissingValues(values[0], values[1], values[2]);
    long long const magnitude = count < 0 ? -static_cast<long long>(count) : count;
    std::size_t const number = static_cast<std::size_t>(magnitude < 3 ? magnitude : 3);
    for (std::size_t i = 0; i < number; ++i) {
        OBS const* value = values[i];
        if (value == nullptr) {
            continue;
        }
        DOMElement* element = w.element(X::missingValue_s);
        if (var.GetType() == 0) {
            std::uint64_t const bits = bitsOf(*value);
            if (bits == lowestBits) {
                element->setAttribute(X::data_s, X::lowest_s);
            } else if (bits == highestBits) {
                element->setAttribute(X::data_s, X::highest_s);
            } else {
                w.number(element, X::data_s, value->number);
            }
        } else {
            std::size_t const width8 = var.GetType() > 0 && var.GetType() < 8
                                           ? static_cast<std::size_t>(var.GetType())
                                           : 8;
            w.text(element, X::data_s, value->text, valueTextLength(value->text, width8));
        }
        if (count < 0 && i == 0) {
            element->setAttribute(X::type_s, X::lowerBound_s);
        } else if (count < 0 && i == 1) {
            element->setAttribute(X::type_s, X::upperBound_s);
        }
        domvar->appendChild(element);
    }

    DatasourceAttributes const& attributes = var.GetAttributes();
    if (attributes.Size() > 0) {
        domvar->appendChild(attributeSet(w, attributes));
    }
    return domvar;
}

// Null when the variable has no value labels.
DOMElement* valueLabelSetElement(Writer& w, ZELT_Variable const& var) {
    ZELT_ValueLabelMap labels(var.GetValueLabels());
    if (labels.Size() == 0) {
        return nullptr;
    }
    DOMElement* set = w.element(X::valueLabelSet_s);
    labels.Reset();
    char const* label = nullptr;
    if (var.GetType() == 0) {
        double value = 0.0;
        while (labels.GetNextPair(value, label) != 0) {
            DOMElement* element = w.element(X::valueLabel_s);
            w.number(element, X::value_s, value);
            w.text(element, X::label_s, label);
            set->appendChild(element);
        }
    } else {
        std::string value;
        while (labels.GetNextPair(value, label) != 0) {
            DOMElement* element = w.element(X::valueLabel_s);
            w.text(element, X::value_s, value.data(), valueTextLength(value.data(), value.size()));
            w.text(element, X::label_s, label);
            set->appendChild(element);
        }
    }
    DOMElement* variable = w.element(X::valueLabelVariable_s);
    w.text(variable, X::name_s, var.GetName());
    set->appendChild(variable);
    return set;
}

void appendMembers(Writer& w, VariableSet const& set, ZELT_DataSource const& ds,
                   DOMElement* element, XMLCh const* memberTag) {
    for (std::string const& member : set.GetVariableNames(ChangeCase::AsStored)) {
        int const index = ds.FindVarIndex(member.c_str(), 0);
        if (index == -1) {
            continue;
        }
        DOMElement* child = w.element(memberTag);
        w.text(child, X::name_s, ds.GetVariable(index).GetName());
        element->appendChild(child);
    }
}

void appendKeyword(Writer& w, DOMElement* parent, XMLCh const* tag, XMLCh const* value) {
    DOMElement* child = w.element(tag);
    child->setAttribute(X::value_s, value);
    parent->appendChild(child);
}

void appendTextKeyword(Writer& w, DOMElement* parent, XMLCh const* tag, std::string const& value) {
    DOMElement* child = w.element(tag);
    w.text(child, X::value_s, value);
    parent->appendChild(child);
}

DOMElement* multipleResponseSetElement(Writer& w, VariableSet const& set,
                                       ZELT_DataSource const& ds) {
    DOMElement* element = w.element(X::multipleResponseSet_s);
    w.text(element, X::name_s, set.GetName(ChangeCase::AsStored));
    if (set.GetType() == VariableSet::typeDichotomy) {
        appendKeyword(w, element, X::multipleResponseSetCategoryLabels_s,
                      set.qUseVariableCategoryLabels() ? X::countedValues_s : X::variableLabels_s);
        std::string const counted = set.GetValue();
        if (! counted.empty()) {
            appendTextKeyword(w, element, X::multipleResponseSetDichotomy_s, counted);
        }
    }
    if (set.qLabelSetByVariable()) {
        appendKeyword(w, element, X::multipleResponseSetLabelSource_s, X::variableLabel_s);
    } else {
        std::string const label = set.GetLabel();
        if (! label.empty()) {
            appendTextKeyword(w, element, X::multipleResponseSetLabel_s, label);
        }
    }
    appendMembers(w, set, ds, element, X::multipleResponseSetVariable_s);
    return element;
}

std::string headerLocale() {
    char const* current = std::setlocale(LC_CTYPE, nullptr);
    std::string locale = current != nullptr ? current : "";
    std::vector<std::string> locales;
    if (GetServerLocaleList(locale, locales) > 0 && ! locales.empty()) {
        locale = locales.front();
    }
    return locale;
}

} // namespace

xercesc::DOMDocument* buildDirectDictionary(ZELT_DataSource const& ds) {
    xercesc::DOMImplementation* implementation = xercesc::DOMImplementation::getImplementation();
    xercesc::DOMDocument* document =
        implementation->createDocument(xercesc::XMLPlatformUtils::fgMemoryManager);
    document->setStrictErrorChecking(true);
    document->setXmlStandalone(false);
    document->setXmlVersion(X::schemaVersion_s);
    Writer w(document);

    DOMElement* root = w.element(X::dictionary_s);
    document->appendChild(root);
    root->setAttribute(X::xmlns_s, X::schemaDefaultNSValue_s);
    root->setAttribute(X::xmlnsXsi_s, X::schemaInstanceValue_s);
    root->setAttribute(X::xsiSchemaLocation_s, X::schemaLocationValue_s);
    w.text(root, X::locale_s, headerLocale());
    std::string created;
    ToISODateTime(created, ds.GetTimestamp(), 2, true, true);
    w.text(root, X::creationDateTime_s, created);
    if (long long const rows = ds.RowCount(); rows >= 0) {
        w.number(root, X::rowCount_s, rows);
    }

    int const columns = ds.ColumnCount();
    for (int i = 0; i < columns; ++i) {
        root->appendChild(variableElement(w, ds.GetVariable(i)));
    }
    if (int const weight = ds.GetWeightVarIndex(); weight >= 0) {
        DOMElement* element = w.element(X::weightVariable_s);
        w.text(element, X::name_s, ds.GetVariable(weight).GetName());
        root->appendChild(element);
    }
    for (int i = 0; i < columns; ++i) {
        if (DOMElement* set = valueLabelSetElement(w, ds.GetVariable(i))) {
            root->appendChild(set);
        }
    }
    for (VariableSet const& set : VariableSets(ds, VarSetsType::VariableSets)) {
        DOMElement* element = w.element(X::variableSet_s);
        w.text(element, X::name_s, set.GetName(ChangeCase::AsStored));
        root->appendChild(element);
        appendMembers(w, set, ds, element, X::variableSetVariable_s);
    }
    for (VariableSet const& set : VariableSets(ds, VarSetsType::MultipleResponseSets)) {
        root->appendChild(multipleResponseSetElement(w, set, ds));
    }
    if (ds.GetAttributes().Size() > 0) {
        root->appendChild(attributeSet(w, ds.GetAttributes()));
    }
    for (int const code : extensionCodes) {
        if (! ds.HasExtension(code)) {
            continue;
        }
        ZELT_DataSource::Extension ext(ds, code);
        DOMElement* element = w.element(X::extension_s);
        w.number(element, X::type_s, ext.Type());
        w.number(element, X::elementSize_s, ext.ElementSize());
        w.number(element, X::length_s, ext.Length());
        std::vector<unsigned char> bytes(static_cast<std::size_t>(ext.Length()) *
                                         static_cast<std::size_t>(ext.ElementSize()));
        ext.GetNext(bytes.data(), ext.Length());
        static constexpr XMLCh digits[] = u"0123456789ABCDEF";
        std::vector<XMLCh> hex;
        hex.reserve(2 * bytes.size() + 1);
        for (unsigned char const byte : bytes) {
            hex.push_back(digits[byte >> 4]);
            hex.push_back(digits[byte & 0x0F]);
        }
        hex.push_back(0);
        element->setAttribute(X::data_s, hex.data());
        root->appendChild(element);
    }
    return document;
}

std::size_t serialize(xercesc::DOMNode const* node, char16_t const* encoding, std::string* bytes) {
    xercesc::DOMImplementation* implementation =
        xercesc::DOMImplementationRegistry::getDOMImplementation(X::LS_s);
    xercesc::DOMLSSerializer* serializer =
        implementation->createLSSerializer(xercesc::XMLPlatformUtils::fgMemoryManager);
    xercesc::DOMLSOutput* output =
        implementation->createLSOutput(xercesc::XMLPlatformUtils::fgMemoryManager);
    xercesc::DOMConfiguration* configuration = serializer->getDomConfig();
    if (configuration->canSetParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, false)) {
        configuration->setParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, false);
    }
    output->setEncoding(encoding);
    xercesc::MemBufFormatTarget target(1023, xercesc::XMLPlatformUtils::fgMemoryManager);
    output->setByteStream(&target);
    serializer->write(node, output);
    std::size_t const length = target.getLen();
    if (bytes != nullptr) {
        bytes->assign(reinterpret_cast<char const*>(target.getRawBuffer()), length);
    }
    output->release();
    serializer->release();
    return length;
}

std::u16string serializeUTF16(xercesc::DOMNode const* node) {
    std::string bytes;
    serialize(node, X::UTF16_s, &bytes);
    std::u16string text(bytes.size() / 2, u'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(char16_t));
    return text;
}

} // namespace transbench
