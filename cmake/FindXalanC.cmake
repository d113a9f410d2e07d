# Finds the Xalan-C XSLT/XPath library, for which the distribution ships no CMake package.
#
# Imported target: XalanC::XalanC
# Result variables: XalanC_FOUND, XalanC_VERSION, XalanC_INCLUDE_DIRS, XalanC_LIBRARIES

find_path(XalanC_INCLUDE_DIR NAMES xalanc/XPath/XPathEvaluator.hpp)
find_library(XalanC_LIBRARY NAMES xalan-c xalan-c_1 Xalan-C_1)
find_library(XalanC_MESSAGE_LIBRARY NAMES xalanMsg XalanMessages_1)

if(XalanC_INCLUDE_DIR AND EXISTS "${XalanC_INCLUDE_DIR}/xalanc/Include/XalanVersion.hpp")
    file(STRINGS "${XalanC_INCLUDE_DIR}/xalanc/Include/XalanVersion.hpp" _xalan_version_lines
         REGEX "^#define XALAN_VERSION_(MAJOR|MINOR|REVISION) +\\(?[0-9]+")
    foreach(_part MAJOR MINOR REVISION)
        string(REGEX REPLACE ".*#define XALAN_VERSION_${_part} +\\(?([0-9]+).*" "\\1" _xalan_${_part}
               "${_xalan_version_lines}")
    endforeach()
    set(XalanC_VERSION "${_xalan_MAJOR}.${_xalan_MINOR}.${_xalan_REVISION}")
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(XalanC
    REQUIRED_VARS XalanC_LIBRARY XalanC_MESSAGE_LIBRARY XalanC_INCLUDE_DIR
    VERSION_VAR XalanC_VERSION)

if(XalanC_FOUND)
    set(XalanC_INCLUDE_DIRS "${XalanC_INCLUDE_DIR}")
    set(XalanC_LIBRARIES "${XalanC_LIBRARY}" "${XalanC_MESSAGE_LIBRARY}")
    if(NOT TARGET XalanC::XalanC)
        if(NOT TARGET XercesC::XercesC)
            find_package(XercesC REQUIRED)
        endif()
        add_library(XalanC::XalanMessages UNKNOWN IMPORTED)
        set_target_properties(XalanC::XalanMessages PROPERTIES IMPORTED_LOCATION "${XalanC_MESSAGE_LIBRARY}")
        add_library(XalanC::XalanC UNKNOWN IMPORTED)
        set_target_properties(XalanC::XalanC PROPERTIES
            IMPORTED_LOCATION "${XalanC_LIBRARY}"
            INTERFACE_INCLUDE_DIRECTORIES "${XalanC_INCLUDE_DIR}"
            INTERFACE_LINK_LIBRARIES "XalanC::XalanMessages;XercesC::XercesC")
    endif()
endif()

mark_as_advanced(XalanC_INCLUDE_DIR XalanC_LIBRARY XalanC_MESSAGE_LIBRARY)
