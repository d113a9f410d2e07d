// Host data-source component: the dictionary of a data file (variables, value labels, variable
// and multiple-response sets, custom attributes and extension records).
//
// Two faces:
// - The host-style getters (upper camel case: ColumnCount, GetVariable, ...) are what the library
//   reads. They never change the data source.
// - The fill API (lower camel case: addVariable, setLabel, ...) builds an in-memory data source for
//   a host program, a file loader or a test. Every fill operation checks its arguments and throws
//   std::invalid_argument, leaving the object unchanged, rather than store a state that would break
//   a getter's contract.
//
// Texts are bytes in the process code page, stored and returned as given. Indices count from 0.
// References and pointers handed out by the getters stay valid until the object that owns them is
// changed or destroyed. The getters only read, so a filled data source may be read from several
// threads at once; filling needs exclusive access.
#ifndef ZELTDATASOURCE_H
#define ZELTDATASOURCE_H

#include "zeltexport.h"

#include <array>
#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// ------------------------------------------------------------------------------------------------
// Observation value

// One observation value: a double for a numeric variable, or the first eight bytes of the text
// (blank padded) for a string variable.
union OBS {
    double number;
    char text[8];
};
static_assert(sizeof(OBS) == 8, "an observation is eight bytes");

// True when the eight bytes, taken as one 64-bit word, are equal; no floating-point comparison.
inline bool ObsEqual(OBS const& left, OBS const& right) noexcept {
    std::uint64_t a = 0;
    std::uint64_t b = 0;
    std::memcpy(&a, &left, sizeof a);
    std::memcpy(&b, &right, sizeof b);
    return a == b;
}

inline bool operator==(OBS const& left, OBS const& right) noexcept {
    return ObsEqual(left, right);
}

inline bool operator!=(OBS const& left, OBS const& right) noexcept {
    return ! ObsEqual(left, right);
}

// ------------------------------------------------------------------------------------------------
// Selectors

// Which sets VariableSets returns.
enum class VarSetsType : int {
    VariableSets = 0,
    MultipleResponseSets = 1,
};

// Letter case of the names a VariableSet returns. Upper and Lower change ASCII letters only;
// AsStored (and any other code) returns the names exactly as stored.
enum class ChangeCase : int {
    Upper = 0,
    Lower = 1,
    AsStored = 2,
};

// ------------------------------------------------------------------------------------------------
// Custom attributes

// An ordered collection of named attributes, each with a list of texts, and a version number.
class ZELT_EXPORT DatasourceAttributes {
public:
    DatasourceAttributes() = default;

    // Host-style getters.
    unsigned long Size() const noexcept { return static_cast<unsigned long>(entries_.size()); }
    // Name and values of entry `index` (below Size(), else std::out_of_range).
    std::string Name(unsigned long index) const;
    std::vector<std::string> Values(unsigned long index) const;
    long long Version() const noexcept { return version_; }

    // Fill API.
    // Sets the collection's version number (default 0).
    void setVersion(long long version) noexcept { version_ = version; }
    // Appends an entry; a name already present (compared byte for byte) is rejected.
    void addAttribute(std::string name, std::vector<std::string> values);

private:
    std::vector<std::pair<std::string, std::vector<std::string>>> entries_;
    long long version_ = 0;
};

// ------------------------------------------------------------------------------------------------
// Value labels

// Handle to one variable's value labels; read them through ZELT_ValueLabelMap. A numeric
// variable's labels have double values, a string variable's labels text values, each kept in the
// order in which they were added (duplicates included).
class ZELT_EXPORT ZELT_VLImplPointer {
public:
    ZELT_VLImplPointer() = default;

private:
    friend class ZELT_Variable;
    friend class ZELT_ValueLabelMap;

    std::vector<std::pair<double, std::string>> numeric_;
    std::vector<std::pair<std::string, std::string>> text_;
};

// Iteration over a variable's value labels. It reads the labels in place: it must not outlive
// the variable, and the label pointers it hands out live as long as the variable.
class ZELT_EXPORT ZELT_ValueLabelMap {
public:
    explicit ZELT_ValueLabelMap(ZELT_VLImplPointer const& labels) noexcept : labels_(&labels) {}
    ZELT_ValueLabelMap(ZELT_VLImplPointer&&) = delete; // would dangle

    // Number of labels.
    int Size() const noexcept;
    // Restarts the iteration at the first label.
    void Reset() noexcept { next_ = 0; }
    // Numeric variables: the next pair; 0 when none is left (also for a string variable).
    int GetNextPair(double& value, char const*& label);
    // String variables: the next pair; 0 when none is left (also for a numeric variable).
    int GetNextPair(std::string& value, char const*& label);

private:
    ZELT_VLImplPointer const* labels_;
    std::size_t next_ = 0;
};

// ------------------------------------------------------------------------------------------------
// Variables

class ZELT_EXPORT ZELT_Variable {
public:
    // Format type codes that have a name. The type carries any int code, also unnamed ones.
    // clang-format off
    enum class FormatType : int {
        A = 1, AHEX = 2, COMMA = 3, DOLLAR = 4, F = 5, IB = 6, IBHEX = 7, P = 8, PIB = 9,
        PK = 10, RB = 11, RBHEX = 12, Z = 15, N = 16, E = 17, DATE = 20, TIME = 21,
        DATETIME = 22, ADATE = 23, JDATE = 24, DTIME = 25, WKDAY = 26, MONTH = 27, MOYR = 28,
        QYR = 29, WKYR = 30, PERCENT = 31, DOT = 32, CCA = 33, CCB = 34, CCC = 35, CCD = 36,
        CCE = 37, EDATE = 38, SDATE = 39, G = 40, LNUMBER = 41, LDATE = 42, LTIME = 43,
        LCA = 44, LCB = 45, LCC = 46, LCD = 47, LCE = 48, LCF = 49, LCG = 50, LCH = 51,
        LCI = 52, LCJ = 53, MTIME = 85, YMDHMS = 86,
    };
    // clang-format on

    static constexpr int alignLeft = 0;
    static constexpr int alignRight = 1;
    static constexpr int alignCenter = 2;

    static constexpr int levelUnknown = 0;
    static constexpr int levelNominal = 1;
    static constexpr int levelOrdinal = 2;
    static constexpr int levelScale = 3;

    // Range markers of numeric missing values. missingLowest is the double next above -DBL_MAX
    // (bit pattern 0xFFEFFFFFFFFFFFFE); -DBL_MAX itself is an ordinary value.
    static constexpr double missingLowest = -1.7976931348623155e308;
    static constexpr double missingHighest = DBL_MAX;

    static constexpr int maxStringWidth = 32767;

    // A variable named `name` (non-empty) of type `type`: 0 numeric, 1 to 32767 the string width
    // in bytes. Defaults: no label, alignment right (numeric) or left (string), measurement level
    // unknown, display width 8, print format F8.2 (numeric) or A<type> (string), write format as
    // the print format, no missing values, no value labels, no attributes.
    explicit ZELT_Variable(std::string name, int type = 0);

    // Host-style getters.
    char const* GetName() const noexcept { return name_.c_str(); }
    // Null when the variable has no label; an empty label is "".
    char const* GetLabel() const noexcept { return label_ ? label_->c_str() : nullptr; }
    int GetType() const noexcept { return type_; }
    int GetAlignment() const noexcept { return alignment_; }
    int GetMeasurementLevel() const noexcept { return measurementLevel_; }
    short GetDisplayWidth() const noexcept { return displayWidth_; }
    void GetFormatEx(FormatType& type, int& width, int& decimals) const noexcept;
    void GetWriteFormatEx(FormatType& type, int& width, int& decimals) const noexcept;
    // The count of missing values, negative when the first two are a range's bounds (-3: plus a
    // discrete value); the pointers beyond the count are set to null.
    int GetMissingValues(OBS const*& first, OBS const*& second, OBS const*& third) const noexcept;
    ZELT_VLImplPointer const& GetValueLabels() const noexcept { return valueLabels_; }
    DatasourceAttributes const& GetAttributes() const noexcept { return attributes_; }

    // Fill API. Name and type are fixed at construction.
    // Sets the label (an empty label is a label).
    void setLabel(std::string label) { label_ = std::move(label); }
    // Removes the label.
    void clearLabel() noexcept { label_.reset(); }
    // Any int code; the named ones are alignLeft, alignRight, alignCenter.
    void setAlignment(int code) noexcept { alignment_ = code; }
    // Any int code; the named ones are levelUnknown to levelScale.
    void setMeasurementLevel(int code) noexcept { measurementLevel_ = code; }
    void setDisplayWidth(short width) noexcept { displayWidth_ = width; }
    // Print format; any type code, width and decimals.
    void setFormat(FormatType type, int width, int decimals) noexcept;
    // Write format; any type code, width and decimals.
    void setWriteFormat(FormatType type, int width, int decimals) noexcept;
    // Numeric variables: up to 3 discrete missing values.
    void setMissingValues(std::vector<double> const& values);
    // String variables: up to 3 discrete missing values of at most 8 bytes, padded with blanks.
    void setMissingStrings(std::vector<std::string> const& values);
    // Numeric variables: the range low..high (low <= high, either may be a marker).
    void setMissingRange(double low, double high);
    // Numeric variables: the range low..high and one discrete value.
    void setMissingRange(double low, double high, double value);
    // Removes all missing values.
    void clearMissingValues() noexcept { missingCount_ = 0; }
    // Numeric variables: appends a value label.
    void addValueLabel(double value, std::string label);
    // String variables: appends a value label (the value is not limited to 8 bytes).
    void addValueLabel(std::string value, std::string label);
    // Replaces the custom attributes.
    void setAttributes(DatasourceAttributes attributes) { attributes_ = std::move(attributes); }

private:
    friend class ZELT_DataSource;

    struct Format {
        FormatType type;
        int width;
        int decimals;
    };

    // Gives back the room its growing lists keep beyond their contents.
    void shrinkToFit();

    void requireNumeric(char const* operation) const;
    void requireString(char const* operation) const;

    std::string name_;
    std::optional<std::string> label_;
    int type_;
    int alignment_;
    int measurementLevel_ = levelUnknown;
    short displayWidth_ = 8;
    Format format_;
    Format writeFormat_;
    std::array<OBS, 3> missing_{};
    int missingCount_ = 0;
    ZELT_VLImplPointer valueLabels_;
    DatasourceAttributes attributes_;
};

// ------------------------------------------------------------------------------------------------
// Variable sets and multiple-response sets

// A named list of member variable names. As a multiple-response set it also has a type
// (typeCategories or typeDichotomy, any int accepted), a label, a counted value and two flags.
class ZELT_EXPORT VariableSet {
public:
    static constexpr int typeCategories = 1;
    static constexpr int typeDichotomy = 2;

    VariableSet() = default;
    // A set named `name` with the member names `variables`; the members need not exist.
    explicit VariableSet(std::string name, std::vector<std::string> variables = {});

    // Host-style getters.
    std::string GetName(ChangeCase change) const;
    std::vector<std::string> GetVariableNames(ChangeCase change) const;
    int GetType() const noexcept { return type_; }
    // The label, empty when absent.
    std::string GetLabel() const { return label_; }
    // The counted value, empty when absent.
    std::string GetValue() const { return value_; }
    bool qLabelSetByVariable() const noexcept { return labelSetByVariable_; }
    bool qUseVariableCategoryLabels() const noexcept { return useVariableCategoryLabels_; }

    // Fill API.
    void setName(std::string name) { name_ = std::move(name); }
    void setVariableNames(std::vector<std::string> names) { variables_ = std::move(names); }
    void addVariableName(std::string name) { variables_.push_back(std::move(name)); }
    // Default typeCategories.
    void setType(int type) noexcept { type_ = type; }
    void setLabel(std::string label) { label_ = std::move(label); }
    void setCountedValue(std::string value) { value_ = std::move(value); }
    void setLabelSetByVariable(bool flag) noexcept { labelSetByVariable_ = flag; }
    void setUseVariableCategoryLabels(bool flag) noexcept { useVariableCategoryLabels_ = flag; }

private:
    std::string name_;
    std::vector<std::string> variables_;
    int type_ = typeCategories;
    std::string label_;
    std::string value_;
    bool labelSetByVariable_ = false;
    bool useVariableCategoryLabels_ = false;
};

// ------------------------------------------------------------------------------------------------
// Data source

class ZELT_DataSource;

// The variable sets (VarSetsType::VariableSets) or multiple-response sets of `ds`, in the order
// they were added; empty for any other selector.
ZELT_EXPORT std::vector<VariableSet> VariableSets(ZELT_DataSource const& ds, VarSetsType type);

class ZELT_EXPORT ZELT_DataSource {
    struct ExtensionRecord {
        int type;
        int elementSize;
        std::vector<unsigned char> bytes;
    };

public:
    // Reads one extension record front to back. It reads the record in place and must not
    // outlive the data source.
    class ZELT_EXPORT Extension {
    public:
        // The record of `code`; a code that HasExtension rejects throws std::invalid_argument.
        Extension(ZELT_DataSource const& ds, int code);
        Extension(ZELT_DataSource&&, int) = delete; // would dangle

        int Type() const noexcept { return record_->type; }
        // Bytes per element.
        int ElementSize() const noexcept { return record_->elementSize; }
        // Number of elements.
        long Length() const noexcept;
        // Copies up to `count` elements from the cursor into `buffer`, advances the cursor and
        // returns how many it copied (0 at the end or for count <= 0).
        long GetNext(void* buffer, long count) noexcept;

    private:
        ExtensionRecord const* record_;
        long position_ = 0;
    };

    // An empty data source: no variables, timestamp 0, row count -1, no weight variable. A
    // moved-from data source may only be assigned to or destroyed.
    ZELT_DataSource() = default;
    ZELT_DataSource(ZELT_DataSource const&) = default;
    ZELT_DataSource(ZELT_DataSource&&) = default;
    ZELT_DataSource& operator=(ZELT_DataSource const&) = default;
    ZELT_DataSource& operator=(ZELT_DataSource&&) = default;
    virtual ~ZELT_DataSource() = default;

    // Host-style getters.
    int ColumnCount() const noexcept { return static_cast<int>(variables_.size()); }
    // The variable at `index` (below ColumnCount(), else std::out_of_range).
    ZELT_Variable const& GetVariable(int index) const;
    // Index of the variable named `name` (in the process code page), ignoring letter case as the
    // space's handles do: names are compared by their full Unicode upper-case mapping under the
    // LC_CTYPE locale. -1 when there is none or `name` is null. The int is not used.
    int FindVarIndex(char const* name, int) const;
    // -1 when there is no weight variable.
    int GetWeightVarIndex() const noexcept { return weightIndex_; }
    // Seconds since 1970-01-01T00:00:00 UTC.
    double GetTimestamp() const noexcept { return timestamp_; }
    // Negative when unknown.
    virtual long long RowCount() const { return rowCount_; }
    bool HasExtension(int code) const { return extensions_.count(code) != 0; }
    DatasourceAttributes const& GetAttributes() const noexcept { return attributes_; }

    // Fill API.
    // Makes room for `count` variables in the name index (the variables themselves never move).
    void reserveVariables(std::size_t count) { index_.reserve(count); }
    // Appends a variable and returns its index; a name already present (ignoring letter case as
    // FindVarIndex does) is rejected.
    int addVariable(ZELT_Variable variable);
    void setTimestamp(double timestamp) noexcept { timestamp_ = timestamp; }
    // Negative: unknown.
    void setRowCount(long long count) noexcept { rowCount_ = count; }
    // The weight variable by index: -1 for none, else an existing variable's index.
    void setWeightVariableIndex(int index);
    // The weight variable by name, matched as FindVarIndex matches; the name must exist.
    void setWeightVariable(std::string const& name);
    // Appends a variable set; its name must not be empty.
    void addVariableSet(VariableSet set);
    // Appends a multiple-response set; its name must not be empty.
    void addMultipleResponseSet(VariableSet set);
    // Replaces the data source's own custom attributes.
    void setAttributes(DatasourceAttributes attributes) { attributes_ = std::move(attributes); }
    // Adds the extension record `code` (not yet present) with the given type, a positive element
    // size and raw bytes whose count is a multiple of the element size.
    void addExtension(int code, int type, int elementSize, std::vector<unsigned char> bytes);

private:
    friend std::vector<VariableSet> VariableSets(ZELT_DataSource const& ds, VarSetsType type);

    std::deque<ZELT_Variable> variables_; // a variable never moves once added
    // Upper-cased name -> variable index, so that FindVarIndex is a hash lookup, not a scan: the
    // keys and their hashes by index, and an open-addressed table of indices (linear probing, at
    // most half full). A name is upper-cased under the locale in force when it is added or looked
    // up.
    class NameIndex {
    public:
        // The index of `key`, or -1.
        int find(std::string const& key) const noexcept;
        // Adds `key` as the next index, unless present: then its index is returned and nothing
        // changes. Returns -1 when added.
        int add(std::string key);
        // Takes back the key added last.
        void removeLast() noexcept;
        void reserve(std::size_t count);

    private:
        std::size_t slotOf(std::string const& key, std::size_t hash) const noexcept;
        void grow(std::size_t slots);

        std::vector<std::string> keys_;
        std::vector<std::size_t> hashes_;
        std::vector<int> slots_; // -1: empty
    };
    NameIndex index_;
    double timestamp_ = 0.0;
    long long rowCount_ = -1;
    int weightIndex_ = -1;
    std::vector<VariableSet> variableSets_;
    std::vector<VariableSet> multipleResponseSets_;
    DatasourceAttributes attributes_;
    std::map<int, ExtensionRecord> extensions_;
};

#endif // ZELTDATASOURCE_H
