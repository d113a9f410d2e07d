# The API reference: `cmake --build build --target docs` writes HTML from the public headers to
# build/docs/html. An undocumented public member is an error. Needs doxygen (scripts/setup.sh docs),
# which nothing else in the build does.
find_program(DOXYGEN_EXECUTABLE doxygen)
set(TRANS_DOCS_OUTPUT "${PROJECT_BINARY_DIR}/docs")
configure_file("${PROJECT_SOURCE_DIR}/docs/Doxyfile.in" "${PROJECT_BINARY_DIR}/Doxyfile" @ONLY)
if(DOXYGEN_EXECUTABLE)
    add_custom_target(docs
        COMMAND "${CMAKE_COMMAND}" -E rm -rf "${TRANS_DOCS_OUTPUT}/html"
        COMMAND "${DOXYGEN_EXECUTABLE}" "${PROJECT_BINARY_DIR}/Doxyfile"
        COMMAND "${CMAKE_COMMAND}" -E echo "API reference: ${TRANS_DOCS_OUTPUT}/html/index.html"
        WORKING_DIRECTORY "${PROJECT_BINARY_DIR}"
        VERBATIM)
else()
    add_custom_target(docs
        COMMAND "${CMAKE_COMMAND}" -E echo "docs: doxygen is missing (scripts/setup.sh docs installs it)"
        COMMAND "${CMAKE_COMMAND}" -E false
        VERBATIM)
endif()
