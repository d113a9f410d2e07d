# Installs the project into a scratch prefix and builds and runs the example host program against
# that copy twice, as users would: with find_package(TransSpace), and with the flags pkg-config
# gives. Neither build names a language standard: the package must bring the C++17 its headers
# need. CXX_COMPILER is the project's compiler; the CMake build prefers clang++ when there is one,
# whose default (C++14 in clang 14) is older than the headers need.
# Usage: cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -DCXX_COMPILER=... -P TestInstalledPackage.cmake
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "failed: ${ARGN}\n${output}")
    endif()
endfunction()

function(run_host program)
    execute_process(COMMAND "${program}" RESULT_VARIABLE result OUTPUT_VARIABLE output)
    message("${program}:\n${output}")
    if(NOT result EQUAL 0 OR NOT output MATCHES "label of city: City of residence")
        message(FATAL_ERROR "${program} failed (${result})")
    endif()
endfunction()

run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}")

find_program(CLANGXX clang++)
set(host_compiler "${CXX_COMPILER}")
if(CLANGXX)
    set(host_compiler "${CLANGXX}")
endif()
run("${CMAKE_COMMAND}" -S "${SOURCE_DIR}/examples/host" -B "${WORK_DIR}/host" -G Ninja
    "-DCMAKE_CXX_COMPILER=${host_compiler}" "-DCMAKE_PREFIX_PATH=${prefix}" -DCMAKE_BUILD_TYPE=Release)
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/host")
run_host("${WORK_DIR}/host/host")

# pkg-config reads the same copy; its file finds the prefix from where it lies.
find_program(PKG_CONFIG pkg-config REQUIRED)
file(GLOB_RECURSE pc_file "${prefix}/*/transspace.pc")
get_filename_component(pc_dir "${pc_file}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} "${pc_dir}")
execute_process(COMMAND "${PKG_CONFIG}" --cflags --libs transspace OUTPUT_VARIABLE flags
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND "${PKG_CONFIG}" --variable=libdir transspace OUTPUT_VARIABLE libdir
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
string(FIND "${flags}" "-I${prefix}/" include_flag)
if(include_flag EQUAL -1)
    message(FATAL_ERROR "pkg-config does not point into ${prefix}: ${flags}")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
run("${CXX_COMPILER}" "${SOURCE_DIR}/examples/host/host.cpp" -o "${WORK_DIR}/host-pkg-config"
    ${flags} "-Wl,-rpath,${libdir}")
run_host("${WORK_DIR}/host-pkg-config")
