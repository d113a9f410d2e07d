/// TransXMLChArray: every element name, attribute name and keyword of the dictionary document, as
/// zero-terminated UTF-16 constants named after their text with the suffix _s.
#ifndef TRANSXMLCHARRAY_H
#define TRANSXMLCHARRAY_H

#include "transexport.h"

#include <xercesc/util/XercesDefs.hpp>

class TRANS_EXPORT TransXMLChArray {
public:
    /// Not instantiated: the names are static.
    TransXMLChArray() = delete;

    /// Document header.
    ///@{
    static XMLCh const dictionary_s[];
    static XMLCh const xmlns_s[];
    static XMLCh const xmlnsXsi_s[];
    static XMLCh const xsiSchemaLocation_s[];
    static XMLCh const schemaDefaultNSValue_s[];
    static XMLCh const schemaInstanceValue_s[];
    static XMLCh const schemaLocationValue_s[];
    static XMLCh const schemaVersion_s[];
    static XMLCh const locale_s[];
    static XMLCh const creationDateTime_s[];
    static XMLCh const rowCount_s[];
    ///@}

    /// Variables.
    ///@{
    static XMLCh const variable_s[];
    static XMLCh const name_s[];
    static XMLCh const label_s[];
    static XMLCh const type_s[];
    static XMLCh const alignment_s[];
    static XMLCh const left_s[];
    static XMLCh const right_s[];
    static XMLCh const center_s[];
    static XMLCh const measurementLevel_s[];
    static XMLCh const unknown_s[];
    static XMLCh const nominal_s[];
    static XMLCh const ordinal_s[];
    static XMLCh const scale_s[];
    static XMLCh const displayWidth_s[];
    ///@}

    /// Formats.
    ///@{
    static XMLCh const variableFormat_s[];
    static XMLCh const variableWriteFormat_s[];
    static XMLCh const width_s[];
    static XMLCh const decimals_s[];
    static XMLCh const A_s[];
    static XMLCh const ADATE_s[];
    static XMLCh const AHEX_s[];
    static XMLCh const CCA_s[];
    static XMLCh const CCB_s[];
    static XMLCh const CCC_s[];
    static XMLCh const CCD_s[];
    static XMLCh const CCE_s[];
    static XMLCh const COMMA_s[];
    static XMLCh const DATE_s[];
    static XMLCh const DATETIME_s[];
    static XMLCh const DOLLAR_s[];
    static XMLCh const DOT_s[];
    static XMLCh const DTIME_s[];
    static XMLCh const E_s[];
    static XMLCh const EDATE_s[];
    static XMLCh const F_s[];
    static XMLCh const G_s[];
    static XMLCh const IB_s[];
    static XMLCh const IBHEX_s[];
    static XMLCh const JDATE_s[];
    static XMLCh const LCA_s[];
    static XMLCh const LCB_s[];
    static XMLCh const LCC_s[];
    static XMLCh const LCD_s[];
    static XMLCh const LCE_s[];
    static XMLCh const LCF_s[];
    static XMLCh const LCG_s[];
    static XMLCh const LCH_s[];
    static XMLCh const LCI_s[];
    static XMLCh const LCJ_s[];
    static XMLCh const LDATE_s[];
    static XMLCh const LNUMBER_s[];
    static XMLCh const LTIME_s[];
    static XMLCh const MONTH_s[];
    static XMLCh const MOYR_s[];
    static XMLCh const N_s[];
    static XMLCh const P_s[];
    static XMLCh const PERCENT_s[];
    static XMLCh const PIB_s[];
    static XMLCh const PK_s[];
    static XMLCh const QYR_s[];
    static XMLCh const RB_s[];
    static XMLCh const RBHEX_s[];
    static XMLCh const SDATE_s[];
    static XMLCh const TIME_s[];
    static XMLCh const WKDAY_s[];
    static XMLCh const WKYR_s[];
    static XMLCh const Z_s[];
    static XMLCh const MTIME_s[];
    static XMLCh const YMDHMS_s[];
    ///@}

    /// Missing values.
    ///@{
    static XMLCh const missingValue_s[];
    static XMLCh const data_s[];
    static XMLCh const lowest_s[];
    static XMLCh const highest_s[];
    static XMLCh const lowerBound_s[];
    static XMLCh const upperBound_s[];
    ///@}

    /// Value labels.
    ///@{
    static XMLCh const valueLabelSet_s[];
    static XMLCh const valueLabel_s[];
    static XMLCh const value_s[];
    static XMLCh const valueLabelVariable_s[];
    ///@}

    /// Weight variable.
    ///@{
    static XMLCh const weightVariable_s[];
    ///@}

    /// Variable sets and multiple-response sets.
    ///@{
    static XMLCh const variableSet_s[];
    static XMLCh const variableSetVariable_s[];
    static XMLCh const multipleResponseSet_s[];
    static XMLCh const multipleResponseSetCategoryLabels_s[];
    static XMLCh const multipleResponseSetDichotomy_s[];
    static XMLCh const multipleResponseSetLabel_s[];
    static XMLCh const multipleResponseSetLabelSource_s[];
    static XMLCh const multipleResponseSetVariable_s[];
    static XMLCh const countedValues_s[];
    static XMLCh const variableLabels_s[];
    static XMLCh const variableLabel_s[];
    ///@}

    /// Attributes.
    ///@{
    static XMLCh const attributeSet_s[];
    static XMLCh const version_s[];
    static XMLCh const attribute_s[];
    static XMLCh const attributeValue_s[];
    static XMLCh const system_s[];
    static XMLCh const user_s[];
    ///@}

    /// Extensions.
    ///@{
    static XMLCh const extension_s[];
    static XMLCh const elementSize_s[];
    static XMLCh const length_s[];
    ///@}

    /// XML output.
    ///@{
    static XMLCh const LS_s[];
    static XMLCh const UTF16_s[];
    ///@}

    /// Reserved: part of the format, written by no operation of the library.
    ///@{
    static XMLCh const dataType_s[];
    static XMLCh const dichotomy_s[];
    static XMLCh const named_s[];
    static XMLCh const procedure_s[];
    static XMLCh const size_s[];
    static XMLCh const source_s[];
    static XMLCh const stringDataType_s[];
    static XMLCh const transform_s[];
    static XMLCh const variableFormatGroup_s[];
    static XMLCh const variableKey_s[];
    static XMLCh const variableNameType_s[];
    static XMLCh const work_s[];
    ///@}
};

#endif // TRANSXMLCHARRAY_H
