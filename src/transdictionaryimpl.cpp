#include "transdictionaryimpl.h"

#include "transassert.h"
#include "transcodepage.h"
#include "transdomlinks.h"
#include "transnumbers.h"
#include "transutil.h"
#include "transvalue.h"
#include "transxerces.h"
#include "transxmlchararray.h"
#include "zeltdatasource.h"
#include "zeltiocv.h"
#include "zeltwlib.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLString.hpp>

using xercesc::DOMElement;
using xercesc::DOMNode;
using X = TransXMLChArray;

namespace {

// ---------------------------------------------------------------------------------------------
// Code tables

constexpr std::array<XMLCh const*, 3> alignmentNames{X::left_s, X::right_s, X::center_s};
constexpr std::array<XMLCh const*, 4> measurementLevelNames{X::unknown_s, X::nominal_s,
                                                            X::ordinal_s, X::scale_s};

// Format names by type code; codes without a name are null.
std::array<XMLCh const*, 87> const& formatNames() {
    static std::array<XMLCh const*, 87> const names = [] {
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
    }();
    return names;
}

// A code outside a table has no text. Such codes do not come from a conforming data source; the
// attribute is then left out rather than given a made-up keyword, so that the element still
// carries everything that is known about the variable.
template <std::size_t N>
XMLCh const* tableName(std::array<XMLCh const*, N> const& table, long long code) {
    if (code < 0 || static_cast<unsigned long long>(code) >= N) {
        return nullptr;
    }
    return table[static_cast<std::size_t>(code)];
}

// The extension codes asked for, in the order their records are written.
constexpr std::array<int, 10> extensionCodes{1, 2, 3, 4, 6, 8, 9, 10, 12, 15};

// Range markers of numeric missing values, by bit pattern: lowest is the double next above
// -DBL_MAX, highest is DBL_MAX.
constexpr std::uint64_t lowestBits = 0xFFEFFFFFFFFFFFFEull;
constexpr std::uint64_t highestBits = 0x7FEFFFFFFFFFFFFFull;

OBS obsFromBits(std::uint64_t bits) noexcept {
    static_assert(sizeof(OBS) == sizeof(bits), "an observation is eight bytes");
    OBS value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

double obsAsDouble(OBS const& value) noexcept {
    double number;
    std::memcpy(&number, &value, sizeof number);
    return number;
}

// ---------------------------------------------------------------------------------------------
// Attribute values

// Multibyte text from the data source, converted as a TransString converts it; a text that does
// not convert is written empty (setText below converts the same way).
icu::UnicodeString fromMBCS(char const* text, std::size_t length) {
    return text != nullptr ? TransUtil::MBCStoUTF16(std::string(text, length))
                           : icu::UnicodeString();
}

void setText(DOMElement* element, XMLCh const* name, char const* text, std::size_t length) {
    thread_local std::u16string value; // reused: a dictionary sets several texts per variable
    trans::mbcsToUTF16(text, text != nullptr ? length : 0, value);
    trans::setNewAttribute(*element, name, value.c_str());
}

void setText(DOMElement* element, XMLCh const* name, char const* text) {
    setText(element, name, text, text != nullptr ? std::strlen(text) : 0);
}

void setText(DOMElement* element, XMLCh const* name, std::string const& text) {
    setText(element, name, text.c_str(), text.size());
}

// The integer in the process's numeric locale, as TransIntegerImpl::asString writes it; the
// attribute is left out when it cannot be formatted.
void setInteger(DOMElement* element, XMLCh const* name, long long value) {
    icu::UnicodeString text;
    if (trans::formatNumber(value, text)) {
        trans::setNewAttribute(*element, name, text.getTerminatedBuffer());
    }
}

// The double in English, as TransDoubleImpl::asXMLString writes it; the attribute is left out when
// it cannot be formatted.
void setDouble(DOMElement* element, XMLCh const* name, double value) {
    icu::UnicodeString text;
    if (trans::formatNumber(value, icu::Locale::getEnglish(), text)) {
        trans::setNewAttribute(*element, name, text.getTerminatedBuffer());
    }
}

// Bytes of a string value up to the first blank or zero byte.
std::size_t valueTextLength(char const* bytes, std::size_t length) noexcept {
    std::size_t end = 0;
    while (end < length && bytes[end] != ' ' && bytes[end] != '\0') {
        ++end;
    }
    return end;
}

void appendHex(std::u16string& text, unsigned char const* bytes, std::size_t length) {
    static constexpr char16_t digits[] = u"0123456789ABCDEF";
    text.reserve(text.size() + 2 * length);
    for (std::size_t i = 0; i < length; ++i) {
        text.push_back(digits[bytes[i] >> 4]);
        text.push_back(digits[bytes[i] & 0x0F]);
    }
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Skeleton and placement

bool TransDictionaryImpl::createDocument() {
    try {
        xercesc::DOMImplementation* implementation =
            xercesc::DOMImplementation::getImplementation();
        document_ = implementation->createDocument(xercesc::XMLPlatformUtils::fgMemoryManager);
        trans::XercesPtr<xercesc::DOMDocument> guard(document_);
        document_->setStrictErrorChecking(true);
        document_->setXmlStandalone(false);
        document_->setXmlVersion(X::schemaVersion_s);
        DOMElement* root = document_->createElement(X::dictionary_s);
        document_->appendChild(root);
        trans::setNewAttribute(*root, X::xmlns_s, X::schemaDefaultNSValue_s);
        trans::setNewAttribute(*root, X::xmlnsXsi_s, X::schemaInstanceValue_s);
        trans::setNewAttribute(*root, X::xsiSchemaLocation_s, X::schemaLocationValue_s);
        guard.release();
        return true;
    } catch (...) {
        document_ = nullptr;
        return false;
    }
}

xercesc::DOMDocument* TransDictionaryImpl::addDictionary(ZELT_DataSource const& ds) {
    if (! createDocument()) {
        return nullptr;
    }
    // The document is the caller's once returned; until then an exception must not leak it.
    trans::XercesPtr<xercesc::DOMDocument> guard(document_);
    building_ = true;
    std::fill(std::begin(lastRootChild_), std::end(lastRootChild_), nullptr);
    try {
        DOMElement* domdict = document_->getDocumentElement();

        char const* current = std::setlocale(LC_CTYPE, nullptr);
        std::string locale = current != nullptr ? current : "";
        std::vector<std::string> locales;
        if (GetServerLocaleList(locale, locales) > 0 && ! locales.empty()) {
            locale = locales.front();
        }
        setText(domdict, X::locale_s, locale);

        std::string created;
        ToISODateTime(created, ds.GetTimestamp(), 2, true, true);
        setText(domdict, X::creationDateTime_s, created);

        long long const rows = ds.RowCount();
        if (rows >= 0) {
            setInteger(domdict, X::rowCount_s, rows);
        }

        addVariables(ds, domdict);
        addWeightVariable(ds, domdict);
        addVariableSets(ds, domdict);
        addMultipleResponseSets(ds, domdict);
        addDatasourceAttributes(ds, domdict);
        addExtensions(ds, domdict);
    } catch (...) {
        building_ = false;
        document_ = nullptr;
        throw;
    }
    building_ = false;
    return guard.release();
}

DOMNode* TransDictionaryImpl::insertAfterTag(DOMElement* parent, DOMNode* child, XMLCh const* tag) {
    TRANS_ASSERT(parent);
    TRANS_ASSERT(child);
    TRANS_ASSERT(tag);
    xercesc::DOMNodeList* found = parent->getElementsByTagName(tag);
    XMLSize_t const count = found != nullptr ? found->getLength() : 0;
    if (count == 0) {
        return nullptr;
    }
    DOMNode* last = found->item(count - 1);
    return trans::insertNewChild(*parent, *child, last->getNextSibling());
}

namespace {

// The root's anchor tags, by their slot in lastRootChild_.
constexpr std::array<XMLCh const*, 5> rootAnchorTags{X::variable_s, X::weightVariable_s,
                                                     X::valueLabelSet_s, X::variableSet_s,
                                                     X::multipleResponseSet_s};

int rootAnchorSlot(XMLCh const* tag) noexcept {
    for (std::size_t slot = 0; slot < rootAnchorTags.size(); ++slot) {
        if (xercesc::XMLString::equals(rootAnchorTags[slot], tag)) {
            return static_cast<int>(slot);
        }
    }
    return -1;
}

// The last direct child of parent named tag, searched from the end.
DOMElement* lastChildNamed(DOMElement* parent, XMLCh const* tag) {
    for (DOMNode* node = trans::lastChildOf(*parent); node != nullptr;
         node = trans::previousSiblingOf(*node)) {
        if (node->getNodeType() == DOMNode::ELEMENT_NODE &&
            xercesc::XMLString::equals(node->getNodeName(), tag)) {
            return static_cast<DOMElement*>(node);
        }
    }
    return nullptr;
}

} // namespace

void TransDictionaryImpl::place(DOMElement* parent, DOMNode* child,
                                std::initializer_list<XMLCh const*> anchors) {
    if (! building_) {
        for (XMLCh const* anchor : anchors) {
            if (insertAfterTag(parent, child, anchor) != nullptr) {
                return;
            }
        }
        trans::insertNewChild(*parent, *child, parent->getFirstChild());
        return;
    }
    bool const root = parent == document_->getDocumentElement();
    DOMNode* before = parent->getFirstChild();
    for (XMLCh const* anchor : anchors) {
        int const slot = root ? rootAnchorSlot(anchor) : -1;
        DOMElement* last = slot >= 0 ? lastRootChild_[slot] : lastChildNamed(parent, anchor);
        if (last != nullptr) {
            before = last->getNextSibling();
            break;
        }
    }
    trans::insertNewChild(*parent, *child, before);
    if (root) {
        // Each element placed on the root while building follows every element of its own tag.
        int const slot = rootAnchorSlot(child->getNodeName());
        if (slot >= 0) {
            lastRootChild_[slot] = static_cast<DOMElement*>(child);
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Variables and formats

int TransDictionaryImpl::addVariables(ZELT_DataSource const& ds, DOMElement* domdict) {
    TRANS_ASSERT(domdict);
    TRANS_ASSERT(document_);
    std::uint32_t index = 0;
    for (; index < static_cast<std::uint32_t>(ds.ColumnCount()); ++index) {
        ZELT_Variable const& var = ds.GetVariable(static_cast<int>(index));
        DOMElement* domvar = document_->createElement(X::variable_s);
        setText(domvar, X::name_s, var.GetName());
        if (char const* label = var.GetLabel()) {
            setText(domvar, X::label_s, label);
        }
        setInteger(domvar, X::type_s, var.GetType());
        if (XMLCh const* alignment =
                tableName(alignmentNames, static_cast<unsigned>(var.GetAlignment()))) {
            trans::setNewAttribute(*domvar, X::alignment_s, alignment);
        }
        if (XMLCh const* level = tableName(measurementLevelNames,
                                           static_cast<unsigned>(var.GetMeasurementLevel()))) {
            trans::setNewAttribute(*domvar, X::measurementLevel_s, level);
        }
        setInteger(domvar, X::displayWidth_s, var.GetDisplayWidth());

        addVariableFormat(var, domvar);
        addVariableWriteFormat(var, domvar);
        addMissingValues(var, domvar);
        addVariableAttributes(var, domvar);

        place(domdict, domvar, {X::variable_s});
        addValueLabelSet(var, domdict);
    }
    return static_cast<int>(index);
}

bool TransDictionaryImpl::addVariableFormat(ZELT_Variable const& var, DOMElement* domvar) {
    TRANS_ASSERT(domvar);
    TRANS_ASSERT(document_);
    DOMElement* format = document_->createElement(X::variableFormat_s);
    ZELT_Variable::FormatType type{};
    int width = 0;
    int decimals = 0;
    var.GetFormatEx(type, width, decimals);
    bool const result = setFormatAttributes(format, static_cast<int>(type), width, decimals);
    trans::insertNewChild(*domvar, *format, domvar->getFirstChild());
    return result;
}

bool TransDictionaryImpl::addVariableWriteFormat(ZELT_Variable const& var, DOMElement* domvar) {
    TRANS_ASSERT(domvar);
    TRANS_ASSERT(document_);
    DOMElement* format = document_->createElement(X::variableWriteFormat_s);
    ZELT_Variable::FormatType type{};
    int width = 0;
    int decimals = 0;
    var.GetWriteFormatEx(type, width, decimals);
    bool const result = setFormatAttributes(format, static_cast<int>(type), width, decimals);
    place(domvar, format, {X::variableFormat_s});
    return result;
}

bool TransDictionaryImpl::setFormatAttributes(DOMElement* element, int type, int width,
                                              int decimals) {
    TRANS_ASSERT(element);
    if (XMLCh const* name = tableName(formatNames(), type)) {
        trans::setNewAttribute(*element, X::type_s, name);
    }
    setInteger(element, X::width_s, width);
    setInteger(element, X::decimals_s, decimals);
    return true;
}

// ---------------------------------------------------------------------------------------------
// Missing values and value labels

int TransDictionaryImpl::addMissingValues(ZELT_Variable const& var, DOMElement* domvar) {
    TRANS_ASSERT(domvar);
    TRANS_ASSERT(document_);
    int const type = var.GetType();
    std::array<OBS const*, 3> values{};
    int const count = var.GetMissingValues(values[0], values[1], values[2]);
    // Only three values can be delivered: a larger count is read as three, never beyond.
    long long const magnitude = count < 0 ? -static_cast<long long>(count) : count;
    std::size_t const number = static_cast<std::size_t>(magnitude < 3 ? magnitude : 3);
    OBS const lowest = obsFromBits(lowestBits);
    OBS const highest = obsFromBits(highestBits);

    for (std::size_t i = 0; i < number; ++i) {
        OBS const* value = values[i];
        if (value == nullptr) {
            continue; // a value the data source did not deliver
        }
        DOMElement* element = document_->createElement(X::missingValue_s);
        if (type == 0) {
            if (*value == lowest) {
                trans::setNewAttribute(*element, X::data_s, X::lowest_s);
            } else if (*value == highest) {
                trans::setNewAttribute(*element, X::data_s, X::highest_s);
            } else {
                setDouble(element, X::data_s, obsAsDouble(*value));
            }
        } else {
            auto const* bytes = reinterpret_cast<char const*>(value);
            std::size_t const width = type > 0 && type < 8 ? static_cast<std::size_t>(type) : 8;
            setText(element, X::data_s, bytes, valueTextLength(bytes, width));
        }
        if (count < 0 && i == 0) {
            trans::setNewAttribute(*element, X::type_s, X::lowerBound_s);
        } else if (count < 0 && i == 1) {
            trans::setNewAttribute(*element, X::type_s, X::upperBound_s);
        }
        place(domvar, element, {X::missingValue_s, X::variableWriteFormat_s, X::variableFormat_s});
    }
    return count;
}

int TransDictionaryImpl::addValueLabelSet(ZELT_Variable const& var, DOMElement* domdict) {
    TRANS_ASSERT(domdict);
    TRANS_ASSERT(document_);
    ZELT_ValueLabelMap labels(var.GetValueLabels());
    if (labels.Size() == 0) {
        return 0;
    }
    DOMElement* set = document_->createElement(X::valueLabelSet_s);
    int const type = var.GetType();
    labels.Reset();
    char const* label = nullptr;
    if (type == 0) {
        double value = 0.0;
        while (labels.GetNextPair(value, label) != 0) {
            DOMElement* element = document_->createElement(X::valueLabel_s);
            setDouble(element, X::value_s, value);
            setText(element, X::label_s, label);
            place(set, element, {X::valueLabel_s});
        }
    } else {
        std::string value;
        while (labels.GetNextPair(value, label) != 0) {
            DOMElement* element = document_->createElement(X::valueLabel_s);
            setText(element, X::value_s, value.c_str(),
                    valueTextLength(value.data(), value.size()));
            setText(element, X::label_s, label);
            place(set, element, {X::valueLabel_s});
        }
    }
    DOMElement* variable = document_->createElement(X::valueLabelVariable_s);
    setText(variable, X::name_s, var.GetName());
    if (building_) {
        DOMElement* lastLabel = lastChildNamed(set, X::valueLabel_s);
        trans::insertNewChild(*set, *variable,
                              lastLabel != nullptr ? lastLabel->getNextSibling() : nullptr);
    } else if (insertAfterTag(set, variable, X::valueLabel_s) == nullptr) {
        trans::insertNewChild(*set, *variable, nullptr);
    }
    place(domdict, set, {X::valueLabelSet_s, X::weightVariable_s, X::variable_s});
    return 1;
}

// ---------------------------------------------------------------------------------------------
// Variable sets and multiple-response sets

namespace {

constexpr ChangeCase setNameCase = static_cast<ChangeCase>(2);

// Appends one member element per member name that the data source finds, named with the found
// variable's own name; returns how many were written.
int addMembers(xercesc::DOMDocument* document, VariableSet const& set, ZELT_DataSource const& ds,
               DOMElement* element, XMLCh const* memberTag) {
    int written = 0;
    for (std::string const& member : set.GetVariableNames(setNameCase)) {
        int const index = ds.FindVarIndex(member.c_str(), 0);
        if (index == -1) {
            continue;
        }
        DOMElement* child = document->createElement(memberTag);
        setText(child, X::name_s, ds.GetVariable(index).GetName());
        trans::insertNewChild(*element, *child, nullptr);
        ++written;
    }
    return written;
}

void appendKeyword(xercesc::DOMDocument* document, DOMElement* parent, XMLCh const* tag,
                   XMLCh const* value) {
    DOMElement* child = document->createElement(tag);
    trans::setNewAttribute(*child, X::value_s, value);
    trans::insertNewChild(*parent, *child, nullptr);
}

} // namespace

int TransDictionaryImpl::addVariableSets(ZELT_DataSource const& ds, DOMElement* domdict) {
    TRANS_ASSERT(domdict);
    TRANS_ASSERT(document_);
    std::vector<VariableSet> const sets = VariableSets(ds, static_cast<VarSetsType>(0));
    for (VariableSet const& set : sets) {
        addVariableSet(set, ds, domdict);
    }
    return static_cast<int>(sets.size());
}

int TransDictionaryImpl::addVariableSet(VariableSet const& set, ZELT_DataSource const& ds,
                                        DOMElement* domdict) {
    TRANS_ASSERT(domdict);
    TRANS_ASSERT(document_);
    DOMElement* element = document_->createElement(X::variableSet_s);
    setText(element, X::name_s, set.GetName(setNameCase));
    place(domdict, element,
          {X::variableSet_s, X::valueLabelSet_s, X::weightVariable_s, X::variable_s});
    return addMembers(document_, set, ds, element, X::variableSetVariable_s);
}

int TransDictionaryImpl::addMultipleResponseSets(ZELT_DataSource const& ds, DOMElement* domdict) {
    TRANS_ASSERT(domdict);
    TRANS_ASSERT(document_);
    std::vector<VariableSet> const sets = VariableSets(ds, static_cast<VarSetsType>(1));
    for (VariableSet const& set : sets) {
        addMultipleResponseSet(set, ds, domdict);
    }
    return static_cast<int>(sets.size());
}

int TransDictionaryImpl::addMultipleResponseSet(VariableSet const& set, ZELT_DataSource const& ds,
                                                DOMElement* domdict) {
    TRANS_ASSERT(domdict);
    TRANS_ASSERT(document_);
    DOMElement* element = document_->createElement(X::multipleResponseSet_s);
    setText(element, X::name_s, set.GetName(setNameCase));
    place(domdict, element,
          {X::multipleResponseSet_s, X::variableSet_s, X::valueLabelSet_s, X::weightVariable_s,
           X::variable_s});

    if (set.GetType() == 2) {
        appendKeyword(document_, element, X::multipleResponseSetCategoryLabels_s,
                      set.qUseVariableCategoryLabels() ? X::countedValues_s : X::variableLabels_s);
        std::string const counted = set.GetValue();
        if (! counted.empty()) {
            icu::UnicodeString value = fromMBCS(counted.data(), counted.size());
            appendKeyword(document_, element, X::multipleResponseSetDichotomy_s,
                          value.getTerminatedBuffer());
        }
    }
    if (set.qLabelSetByVariable()) {
        appendKeyword(document_, element, X::multipleResponseSetLabelSource_s, X::variableLabel_s);
    } else {
        std::string const label = set.GetLabel();
        if (! label.empty()) {
            icu::UnicodeString value = fromMBCS(label.data(), label.size());
            appendKeyword(document_, element, X::multipleResponseSetLabel_s,
                          value.getTerminatedBuffer());
        }
    }
    return addMembers(document_, set, ds, element, X::multipleResponseSetVariable_s);
}

// ---------------------------------------------------------------------------------------------
// Weight variable, attributes and extensions

bool TransDictionaryImpl::addWeightVariable(ZELT_DataSource const& ds, DOMElement* domdict) {
    TRANS_ASSERT(domdict);
    TRANS_ASSERT(document_);
    int const index = ds.GetWeightVarIndex();
    if (index < 0) {
        return true;
    }
    DOMElement* element = document_->createElement(X::weightVariable_s);
    setText(element, X::name_s, ds.GetVariable(index).GetName());
    place(domdict, element, {X::variable_s});
    return true;
}

bool TransDictionaryImpl::addDatasourceAttributes(ZELT_DataSource const& ds, DOMElement* domdict) {
    TRANS_ASSERT(domdict);
    TRANS_ASSERT(document_);
    DatasourceAttributes const attributes = ds.GetAttributes();
    DOMElement* set = addAttributes(attributes);
    if (set == nullptr) {
        return false;
    }
    place(domdict, set,
          {X::multipleResponseSet_s, X::variableSet_s, X::valueLabelSet_s, X::weightVariable_s,
           X::variable_s});
    return true;
}

bool TransDictionaryImpl::addVariableAttributes(ZELT_Variable const& var, DOMElement* domvar) {
    TRANS_ASSERT(domvar);
    TRANS_ASSERT(document_);
    DatasourceAttributes const attributes = var.GetAttributes();
    DOMElement* set = addAttributes(attributes);
    if (set == nullptr) {
        return false;
    }
    trans::insertNewChild(*domvar, *set, nullptr);
    return true;
}

DOMElement* TransDictionaryImpl::addAttributes(DatasourceAttributes const& attrs) {
    TRANS_ASSERT(document_);
    unsigned long const size = attrs.Size();
    if (size == 0) {
        return nullptr;
    }
    DOMElement* set = document_->createElement(X::attributeSet_s);
    setInteger(set, X::version_s, attrs.Version());
    for (unsigned long i = 0; i < size; ++i) {
        addAttribute(attrs.Name(i), attrs.Values(i), set);
    }
    return set;
}

bool TransDictionaryImpl::addAttribute(std::string const& name,
                                       std::vector<std::string> const& values, DOMElement* domset) {
    TRANS_ASSERT(domset);
    TRANS_ASSERT(document_);
    DOMElement* attribute = document_->createElement(X::attribute_s);
    setText(attribute, X::name_s, name);
    trans::setNewAttribute(*attribute, X::type_s,
                           ! name.empty() && name[0] == '$' ? X::system_s : X::user_s);
    for (std::string const& value : values) {
        DOMElement* element = document_->createElement(X::attributeValue_s);
        setText(element, X::value_s, value);
        trans::insertNewChild(*attribute, *element, nullptr);
    }
    trans::insertNewChild(*domset, *attribute, nullptr);
    return true;
}

int TransDictionaryImpl::addExtensions(ZELT_DataSource const& ds, DOMElement* domdict) {
    TRANS_ASSERT(domdict);
    TRANS_ASSERT(document_);
    int present = 0;
    for (int const code : extensionCodes) {
        if (! ds.HasExtension(code)) {
            continue;
        }
        ++present;
        ZELT_DataSource::Extension ext(ds, code);
        DOMElement* element = document_->createElement(X::extension_s);
        setInteger(element, X::type_s, ext.Type());
        setInteger(element, X::elementSize_s, ext.ElementSize());
        setInteger(element, X::length_s, ext.Length());

        long long const bytes =
            static_cast<long long>(ext.Length()) * static_cast<long long>(ext.ElementSize());
        std::vector<unsigned char> buffer(bytes > 0 ? static_cast<std::size_t>(bytes) : 0);
        long const nelems = ext.GetNext(buffer.data(), ext.Length());
        TRANS_ASSERT(nelems == ext.Length());
        std::u16string data;
        appendHex(data, buffer.data(), buffer.size());
        trans::setNewAttribute(*element, X::data_s, data.c_str());
        trans::insertNewChild(*domdict, *element, nullptr);
    }
    return present;
}
