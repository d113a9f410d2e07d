# Installs the project into a scratch prefix, then configures, builds and runs the example host
# program against it with find_package(TransSpace): proves the installed package files.
# Usage: cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -P TestInstalledPackage.cmake
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "failed: ${ARGN}\n${output}")
    endif()
endfunction()

run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}")
run("${CMAKE_COMMAND}" -S "${SOURCE_DIR}/examples/host" -B "${WORK_DIR}/host"
    "-DCMAKE_PREFIX_PATH=${prefix}" -DCMAKE_BUILD_TYPE=Release)
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/host")
execute_process(COMMAND "${WORK_DIR}/host/host" RESULT_VARIABLE result OUTPUT_VARIABLE output)
message("${output}")
if(NOT result EQUAL 0 OR NOT output MATCHES "label of city: City of residence")
    message(FATAL_ERROR "the host program failed (${result})")
endif()

# pkg-config sees the same installation.
find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
    set(ENV{PKG_CONFIG_PATH} "${prefix}/lib/pkgconfig:${prefix}/lib/x86_64-linux-gnu/pkgconfig")
    run("${PKG_CONFIG}" --exists transspace)
endif()
