# Installation: libraries, headers, the dictionary schema, the license, the tool's manual page, the
# CMake package and the pkg-config file.
include(CMakePackageConfigHelpers)

set(TRANS_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/TransSpace")

install(TARGETS transspace zelthost EXPORT TransSpaceTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
    INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/transspace")

install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/" "${PROJECT_SOURCE_DIR}/datasource/"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/transspace"
    FILES_MATCHING PATTERN "*.h"
    PATTERN "zeltdatasourcefileexact.h" EXCLUDE) # the loader's exact pass, for the tests

install(FILES "${PROJECT_SOURCE_DIR}/schema/dictionary-1.0.xsd"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/transspace")

install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/transspace")

configure_file("${PROJECT_SOURCE_DIR}/docs/transspace.1.in" "${PROJECT_BINARY_DIR}/transspace.1" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/transspace.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")

install(EXPORT TransSpaceTargets NAMESPACE TransSpace:: DESTINATION "${TRANS_CMAKE_DIR}")

configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/TransSpaceConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/TransSpaceConfig.cmake" INSTALL_DESTINATION "${TRANS_CMAKE_DIR}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/TransSpaceConfigVersion.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/TransSpaceConfig.cmake"
              "${PROJECT_BINARY_DIR}/TransSpaceConfigVersion.cmake"
              "${PROJECT_SOURCE_DIR}/cmake/FindXalanC.cmake"
    DESTINATION "${TRANS_CMAKE_DIR}")

# The pkg-config file finds the prefix from its own place, so that a copy installed with
# `cmake --install --prefix` elsewhere (or moved) still gives the right flags. Absolute install
# directories cannot move, and are written as they are.
set(TRANS_PKGCONFIG_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
    set(TRANS_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
    set(TRANS_PC_LIBDIR "${CMAKE_INSTALL_FULL_LIBDIR}")
    set(TRANS_PC_INCLUDEDIR "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
else()
    file(RELATIVE_PATH _trans_pc_up "/prefix/${TRANS_PKGCONFIG_DIR}" "/prefix")
    string(REGEX REPLACE "/$" "" _trans_pc_up "${_trans_pc_up}")
    set(TRANS_PC_PREFIX "\${pcfiledir}/${_trans_pc_up}")
    set(TRANS_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
    set(TRANS_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file("${PROJECT_SOURCE_DIR}/cmake/transspace.pc.in" "${PROJECT_BINARY_DIR}/transspace.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/transspace.pc" DESTINATION "${TRANS_PKGCONFIG_DIR}")
