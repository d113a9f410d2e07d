#include "zeltdatasource.h"

#include "zeltplatform.h"

#include <algorithm>
#include <clocale>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <unicode/locid.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>

namespace {

// Letter case changes touch ASCII letters only, byte by byte, so that they never depend on the
// process locale and leave the bytes of multibyte characters in UTF-8 alone.
std::string asciiUpper(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return result;
}

std::string asciiLower(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return result;
}

std::string changeCase(std::string const& text, ChangeCase change) {
    switch (change) {
    case ChangeCase::Upper:
        return asciiUpper(text);
    case ChangeCase::Lower:
        return asciiLower(text);
    default:
        return text;
    }
}

// True when upper-casing ASCII letters alone gives the full case mapping of ASCII text under the
// locale: everywhere except where "i" becomes a dotted capital I.
bool asciiCaseIsUnicodeCase(icu::Locale const& locale) {
    std::string_view const language = locale.getLanguage();
    return language != "tr" && language != "az";
}

// The key a variable name is matched by: its full Unicode upper-case mapping under the LC_CTYPE
// locale, as the space's handles compare texts, in UTF-8. The name is in the process code page; one
// that does not convert is matched by its bytes with ASCII letters upper-cased.
std::string nameKey(std::string_view name) {
    char const* localeName = std::setlocale(LC_CTYPE, nullptr);
    localeName = localeName != nullptr ? localeName : "C";
    bool const ascii = std::all_of(name.begin(), name.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (ascii) {
        // The answer for the last setting this thread saw is kept, not the locale itself.
        thread_local std::string lastSetting;
        thread_local bool lastAnswer = false;
        if (lastSetting.empty() || lastSetting != localeName) {
            lastAnswer = asciiCaseIsUnicodeCase(icu::Locale::createCanonical(localeName));
            lastSetting = localeName;
        }
        if (lastAnswer) {
            return asciiUpper(name);
        }
    }
    icu::Locale const locale = icu::Locale::createCanonical(localeName);
    std::string const codePage = qUTF8mode() != 0 ? "UTF-8" : ZELTMBDefaultCodePage();
    UErrorCode error = U_ZERO_ERROR;
    icu::LocalUConverterPointer converter(ucnv_open(codePage.c_str(), &error));
    if (U_SUCCESS(error)) {
        ucnv_setToUCallBack(converter.getAlias(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr,
                            nullptr, &error);
    }
    icu::UnicodeString text;
    if (U_SUCCESS(error)) {
        int32_t const length = static_cast<int32_t>(name.size());
        char16_t* buffer = text.getBuffer(length + 1);
        int32_t const units =
            ucnv_toUChars(converter.getAlias(), buffer, length + 1, name.data(), length, &error);
        text.releaseBuffer(U_SUCCESS(error) ? units : 0);
    }
    if (U_FAILURE(error)) {
        return asciiUpper(name);
    }
    std::string key;
    text.toUpper(locale).toUTF8String(key);
    return key;
}

[[noreturn]] void reject(std::string const& message) {
    throw std::invalid_argument(message);
}

OBS numberObs(double value) noexcept {
    OBS obs;
    obs.number = value;
    return obs;
}

} // namespace

// ------------------------------------------------------------------------------------------------
// DatasourceAttributes

std::string DatasourceAttributes::Name(unsigned long index) const {
    return entries_.at(index).first;
}

std::vector<std::string> DatasourceAttributes::Values(unsigned long index) const {
    return entries_.at(index).second;
}

void DatasourceAttributes::addAttribute(std::string name, std::vector<std::string> values) {
    bool const present = std::any_of(entries_.begin(), entries_.end(),
                                     [&name](auto const& entry) { return entry.first == name; });
    if (present) {
        reject("attribute \"" + name + "\" is already present");
    }
    entries_.emplace_back(std::move(name), std::move(values));
}

// ------------------------------------------------------------------------------------------------
// ZELT_ValueLabelMap

int ZELT_ValueLabelMap::Size() const noexcept {
    // A variable holds labels of one kind only, so one of the two lists is empty.
    return static_cast<int>(labels_->numeric_.size() + labels_->text_.size());
}

int ZELT_ValueLabelMap::GetNextPair(double& value, char const*& label) {
    if (next_ >= labels_->numeric_.size()) {
        return 0;
    }
    auto const& pair = labels_->numeric_[next_++];
    value = pair.first;
    label = pair.second.c_str();
    return 1;
}

int ZELT_ValueLabelMap::GetNextPair(std::string& value, char const*& label) {
    if (next_ >= labels_->text_.size()) {
        return 0;
    }
    auto const& pair = labels_->text_[next_++];
    value = pair.first;
    label = pair.second.c_str();
    return 1;
}

// ------------------------------------------------------------------------------------------------
// ZELT_Variable

ZELT_Variable::ZELT_Variable(std::string name, int type)
    : name_(std::move(name)), type_(type),
      alignment_(type == 0 ? alignRight : alignLeft), format_{type == 0
                                                                  ? Format{FormatType::F, 8, 2}
                                                                  : Format{FormatType::A, type, 0}},
      writeFormat_(format_) {
    if (name_.empty()) {
        reject("a variable name must not be empty");
    }
    if (type < 0 || type > maxStringWidth) {
        reject("variable \"" + name_ + "\": type " + std::to_string(type) +
               " is neither 0 (numeric) nor a string width from 1 to 32767");
    }
}

void ZELT_Variable::GetFormatEx(FormatType& type, int& width, int& decimals) const noexcept {
    type = format_.type;
    width = format_.width;
    decimals = format_.decimals;
}

void ZELT_Variable::GetWriteFormatEx(FormatType& type, int& width, int& decimals) const noexcept {
    type = writeFormat_.type;
    width = writeFormat_.width;
    decimals = writeFormat_.decimals;
}

int ZELT_Variable::GetMissingValues(OBS const*& first, OBS const*& second,
                                    OBS const*& third) const noexcept {
    int const number = missingCount_ < 0 ? -missingCount_ : missingCount_;
    first = number > 0 ? &missing_[0] : nullptr;
    second = number > 1 ? &missing_[1] : nullptr;
    third = number > 2 ? &missing_[2] : nullptr;
    return missingCount_;
}

void ZELT_Variable::setFormat(FormatType type, int width, int decimals) noexcept {
    format_ = Format{type, width, decimals};
}

void ZELT_Variable::setWriteFormat(FormatType type, int width, int decimals) noexcept {
    writeFormat_ = Format{type, width, decimals};
}

void ZELT_Variable::requireNumeric(char const* operation) const {
    if (type_ != 0) {
        reject("variable \"" + name_ + "\": " + operation + " needs a numeric variable");
    }
}

void ZELT_Variable::requireString(char const* operation) const {
    if (type_ == 0) {
        reject("variable \"" + name_ + "\": " + operation + " needs a string variable");
    }
}

void ZELT_Variable::setMissingValues(std::vector<double> const& values) {
    requireNumeric("numeric missing values");
    if (values.size() > missing_.size()) {
        reject("variable \"" + name_ + "\": at most 3 missing values, got " +
               std::to_string(values.size()));
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        missing_[i] = numberObs(values[i]);
    }
    missingCount_ = static_cast<int>(values.size());
}

void ZELT_Variable::setMissingStrings(std::vector<std::string> const& values) {
    requireString("string missing values");
    if (values.size() > missing_.size()) {
        reject("variable \"" + name_ + "\": at most 3 missing values, got " +
               std::to_string(values.size()));
    }
    for (std::string const& value : values) {
        if (value.size() > sizeof(OBS)) {
            reject("variable \"" + name_ + "\": missing value \"" + value +
                   "\" is longer than 8 bytes");
        }
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        OBS obs;
        std::fill(std::begin(obs.text), std::end(obs.text), ' ');
        std::copy(values[i].begin(), values[i].end(), std::begin(obs.text));
        missing_[i] = obs;
    }
    missingCount_ = static_cast<int>(values.size());
}

void ZELT_Variable::setMissingRange(double low, double high) {
    requireNumeric("a missing-value range");
    if (! (low <= high)) {
        reject("variable \"" + name_ + "\": the missing-value range's lower bound " +
               std::to_string(low) + " is not at most its upper bound " + std::to_string(high));
    }
    missing_[0] = numberObs(low);
    missing_[1] = numberObs(high);
    missingCount_ = -2;
}

void ZELT_Variable::setMissingRange(double low, double high, double value) {
    setMissingRange(low, high);
    missing_[2] = numberObs(value);
    missingCount_ = -3;
}

void ZELT_Variable::shrinkToFit() {
    valueLabels_.numeric_.shrink_to_fit();
    valueLabels_.text_.shrink_to_fit();
}

void ZELT_Variable::addValueLabel(double value, std::string label) {
    requireNumeric("a numeric value label");
    valueLabels_.numeric_.emplace_back(value, std::move(label));
}

void ZELT_Variable::addValueLabel(std::string value, std::string label) {
    requireString("a string value label");
    valueLabels_.text_.emplace_back(std::move(value), std::move(label));
}

// ------------------------------------------------------------------------------------------------
// VariableSet

VariableSet::VariableSet(std::string name, std::vector<std::string> variables)
    : name_(std::move(name)), variables_(std::move(variables)) {}

std::string VariableSet::GetName(ChangeCase change) const {
    return changeCase(name_, change);
}

std::vector<std::string> VariableSet::GetVariableNames(ChangeCase change) const {
    std::vector<std::string> names;
    names.reserve(variables_.size());
    for (std::string const& name : variables_) {
        names.push_back(changeCase(name, change));
    }
    return names;
}

// ------------------------------------------------------------------------------------------------
// ZELT_DataSource

ZELT_DataSource::Extension::Extension(ZELT_DataSource const& ds, int code) {
    auto const found = ds.extensions_.find(code);
    if (found == ds.extensions_.end()) {
        reject("no extension record with code " + std::to_string(code));
    }
    record_ = &found->second;
}

long ZELT_DataSource::Extension::Length() const noexcept {
    return static_cast<long>(record_->bytes.size() /
                             static_cast<std::size_t>(record_->elementSize));
}

long ZELT_DataSource::Extension::GetNext(void* buffer, long count) noexcept {
    long const number = std::min(count, Length() - position_);
    if (number <= 0) {
        return 0;
    }
    std::size_t const size = static_cast<std::size_t>(record_->elementSize);
    std::memcpy(buffer, record_->bytes.data() + static_cast<std::size_t>(position_) * size,
                static_cast<std::size_t>(number) * size);
    position_ += number;
    return number;
}

ZELT_Variable const& ZELT_DataSource::GetVariable(int index) const {
    if (index < 0) {
        throw std::out_of_range("variable index " + std::to_string(index) + " is negative");
    }
    return variables_.at(static_cast<std::size_t>(index));
}

std::size_t ZELT_DataSource::NameIndex::slotOf(std::string const& key,
                                               std::size_t hash) const noexcept {
    std::size_t const mask = slots_.size() - 1;
    for (std::size_t slot = hash & mask;; slot = (slot + 1) & mask) {
        int const index = slots_[slot];
        if (index < 0) {
            return slot;
        }
        auto const at = static_cast<std::size_t>(index);
        if (hashes_[at] == hash && keys_[at] == key) {
            return slot;
        }
    }
}

int ZELT_DataSource::NameIndex::find(std::string const& key) const noexcept {
    if (slots_.empty()) {
        return -1;
    }
    return slots_[slotOf(key, std::hash<std::string>()(key))];
}

void ZELT_DataSource::NameIndex::grow(std::size_t slots) {
    std::vector<int> grown(slots, -1);
    std::size_t const mask = slots - 1;
    for (std::size_t i = 0; i < hashes_.size(); ++i) {
        std::size_t slot = hashes_[i] & mask;
        while (grown[slot] >= 0) {
            slot = (slot + 1) & mask;
        }
        grown[slot] = static_cast<int>(i);
    }
    slots_ = std::move(grown);
}

void ZELT_DataSource::NameIndex::reserve(std::size_t count) {
    keys_.reserve(count);
    hashes_.reserve(count);
    std::size_t slots = 16;
    while (slots < 2 * count) {
        slots *= 2;
    }
    if (slots > slots_.size()) {
        grow(slots);
    }
}

int ZELT_DataSource::NameIndex::add(std::string key) {
    if (2 * (keys_.size() + 1) > slots_.size()) {
        grow(slots_.empty() ? 16 : 2 * slots_.size());
    }
    std::size_t const hash = std::hash<std::string>()(key);
    std::size_t const slot = slotOf(key, hash);
    if (slots_[slot] >= 0) {
        return slots_[slot];
    }
    keys_.push_back(std::move(key));
    try {
        hashes_.push_back(hash);
    } catch (...) {
        keys_.pop_back();
        throw;
    }
    slots_[slot] = static_cast<int>(keys_.size() - 1);
    return -1;
}

void ZELT_DataSource::NameIndex::removeLast() noexcept {
    // The key added last ends its probe sequence: no key added before it probed past its slot.
    std::size_t const slot = slotOf(keys_.back(), hashes_.back());
    slots_[slot] = -1;
    keys_.pop_back();
    hashes_.pop_back();
}

int ZELT_DataSource::FindVarIndex(char const* name, int) const {
    if (name == nullptr) {
        return -1;
    }
    return index_.find(nameKey(name));
}

int ZELT_DataSource::addVariable(ZELT_Variable variable) {
    if (variables_.size() >= static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        reject("too many variables");
    }
    int const index = static_cast<int>(variables_.size());
    int const present = index_.add(nameKey(variable.GetName()));
    if (present >= 0) {
        reject("variable \"" + std::string(variable.GetName()) + "\" duplicates the name of \"" +
               variables_[static_cast<std::size_t>(present)].GetName() + "\"");
    }
    variable.shrinkToFit(); // a data source holds many variables, and holds them long
    try {
        variables_.push_back(std::move(variable));
    } catch (...) {
        index_.removeLast();
        throw;
    }
    return index;
}

void ZELT_DataSource::setWeightVariableIndex(int index) {
    if (index < -1 || index >= ColumnCount()) {
        reject("weight variable index " + std::to_string(index) + " is neither -1 nor below " +
               std::to_string(ColumnCount()));
    }
    weightIndex_ = index;
}

void ZELT_DataSource::setWeightVariable(std::string const& name) {
    int const index = FindVarIndex(name.c_str(), 0);
    if (index < 0) {
        reject("weight variable \"" + name + "\" does not exist");
    }
    weightIndex_ = index;
}

void ZELT_DataSource::addVariableSet(VariableSet set) {
    if (set.GetName(ChangeCase::AsStored).empty()) {
        reject("a variable set name must not be empty");
    }
    variableSets_.push_back(std::move(set));
}

void ZELT_DataSource::addMultipleResponseSet(VariableSet set) {
    if (set.GetName(ChangeCase::AsStored).empty()) {
        reject("a multiple-response set name must not be empty");
    }
    multipleResponseSets_.push_back(std::move(set));
}

void ZELT_DataSource::addExtension(int code, int type, int elementSize,
                                   std::vector<unsigned char> bytes) {
    if (elementSize <= 0) {
        reject("extension " + std::to_string(code) + ": element size " +
               std::to_string(elementSize) + " is not positive");
    }
    if (bytes.size() % static_cast<std::size_t>(elementSize) != 0) {
        reject("extension " + std::to_string(code) + ": " + std::to_string(bytes.size()) +
               " bytes are not a multiple of the element size " + std::to_string(elementSize));
    }
    if (bytes.size() / static_cast<std::size_t>(elementSize) >
        static_cast<std::size_t>(std::numeric_limits<long>::max())) {
        reject("extension " + std::to_string(code) + ": too many elements");
    }
    if (HasExtension(code)) {
        reject("extension " + std::to_string(code) + " is already present");
    }
    extensions_.emplace(code, ExtensionRecord{type, elementSize, std::move(bytes)});
}

std::vector<VariableSet> VariableSets(ZELT_DataSource const& ds, VarSetsType type) {
    switch (type) {
    case VarSetsType::VariableSets:
        return ds.variableSets_;
    case VarSetsType::MultipleResponseSets:
        return ds.multipleResponseSets_;
    default:
        return {};
    }
}
