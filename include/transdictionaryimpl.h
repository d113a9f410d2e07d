#ifndef TRANSDICTIONARYIMPL_H
#define TRANSDICTIONARYIMPL_H

#include "transexport.h"

#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>
#include <xercesc/util/XercesDefs.hpp>

namespace XERCES_CPP_NAMESPACE {
class DOMDocument;
class DOMElement;
class DOMNode;
} // namespace XERCES_CPP_NAMESPACE

class ZELT_DataSource;
class ZELT_Variable;
class VariableSet;
class DatasourceAttributes;

/// TransDictionaryImpl: builds the XML dictionary document of a data source.
///
/// The document has one root, "dictionary", with the namespace declarations, the schema location
/// and the header attributes locale, creationDateTime and (for a known row count) rowCount, and as
/// children, in this order: one "variable" per column, the "weightVariable", one "valueLabelSet"
/// per labelled variable, the "variableSet"s, the "multipleResponseSet"s, the data source's own
/// "attributeSet", and one "extension" per extension record. Elements are created without a
/// namespace, so paths name them without a prefix.
///
/// A builder is used once: construct it, call addDictionary, take the document. The builder never
/// releases the document; the caller owns it. Integers are written in the process's LC_NUMERIC
/// locale, doubles in English; texts are converted from the process code page.
class TRANS_EXPORT TransDictionaryImpl {
public:
    /// A builder with no document yet.
    TransDictionaryImpl() noexcept = default;
    /// Leaves the document alone: it belongs to the caller of addDictionary.
    ~TransDictionaryImpl() = default;
    /// Not copyable: a builder is used once.
    ///@{
    TransDictionaryImpl(TransDictionaryImpl const&) = delete;
    TransDictionaryImpl& operator=(TransDictionaryImpl const&) = delete;
    ///@}

    /// Creates the document and its root with the namespace attributes. False (and no document)
    /// when the XML library raises.
    bool createDocument();
    /// Builds the whole dictionary; null when the document could not be created, in which case
    /// nothing is read from the data source. The caller owns the document. Exceptions raised while
    /// it is filled pass to the caller (the half-built document is released).
    xercesc::DOMDocument* addDictionary(ZELT_DataSource const& ds);
    /// Inserts child into parent right behind the last element named tag below parent and returns
    /// it; null, inserting nothing, when there is no such element.
    xercesc::DOMNode* insertAfterTag(xercesc::DOMElement* parent, xercesc::DOMNode* child,
                                     XMLCh const* tag);

    /// Adds one "variable" element per variable to the dictionary; returns the number added.
    int addVariables(ZELT_DataSource const& ds, xercesc::DOMElement* domdict);
    /// Adds the variable's print format ("variableFormat") or write format
    /// ("variableWriteFormat") to its element.
    ///@{
    bool addVariableFormat(ZELT_Variable const& var, xercesc::DOMElement* domvar);
    bool addVariableWriteFormat(ZELT_Variable const& var, xercesc::DOMElement* domvar);
    ///@}
    /// Sets type (the format's name; left out for a code without a name), width and decimals.
    bool setFormatAttributes(xercesc::DOMElement* element, int type, int width, int decimals);

    /// Missing values; returns the count the data source reported (negative for a range).
    int addMissingValues(ZELT_Variable const& var, xercesc::DOMElement* domvar);
    /// The variable's value-label set; 1 when written, 0 when the variable has no labels.
    int addValueLabelSet(ZELT_Variable const& var, xercesc::DOMElement* domdict);

    /// Variable sets and multiple-response sets; the plural forms return the number of sets, the
    /// singular forms the number of member elements written.
    ///@{
    int addVariableSets(ZELT_DataSource const& ds, xercesc::DOMElement* domdict);
    int addVariableSet(VariableSet const& set, ZELT_DataSource const& ds,
                       xercesc::DOMElement* domdict);
    int addMultipleResponseSets(ZELT_DataSource const& ds, xercesc::DOMElement* domdict);
    int addMultipleResponseSet(VariableSet const& set, ZELT_DataSource const& ds,
                               xercesc::DOMElement* domdict);
    ///@}

    /// Adds the "weightVariable" element; false when the data source has no weight variable.
    bool addWeightVariable(ZELT_DataSource const& ds, xercesc::DOMElement* domdict);
    /// Adds the data source's or the variable's custom attributes as an "attributeSet"; false
    /// when there are none.
    ///@{
    bool addDatasourceAttributes(ZELT_DataSource const& ds, xercesc::DOMElement* domdict);
    bool addVariableAttributes(ZELT_Variable const& var, xercesc::DOMElement* domvar);
    ///@}
    /// A new, unplaced attributeSet for the collection; null for an empty collection.
    xercesc::DOMElement* addAttributes(DatasourceAttributes const& attrs);
    /// Adds one "attribute" with its values to an attributeSet.
    bool addAttribute(std::string const& name, std::vector<std::string> const& values,
                      xercesc::DOMElement* domset);
    /// Returns the number of extension records present.
    int addExtensions(ZELT_DataSource const& ds, xercesc::DOMElement* domdict);

private:
    /// Places child behind the last element of the first anchor tag that exists below parent, or,
    /// when none does, as parent's first child.
    void place(xercesc::DOMElement* parent, xercesc::DOMNode* child,
               std::initializer_list<XMLCh const*> anchors);

    xercesc::DOMDocument* document_ = nullptr;

    /// While addDictionary builds, the tags searched for are direct children of the element
    /// searched, and the root's children come in fixed groups: the last root child of each anchor
    /// tag is kept here and other parents' children are searched from the end, so that placing an
    /// element costs no search of the whole document. The result is the same.
    static constexpr std::size_t rootAnchorCount = 5;
    bool building_ = false;
    xercesc::DOMElement* lastRootChild_[rootAnchorCount] = {};
};

#endif // TRANSDICTIONARYIMPL_H
