# Fails unless the first C++ block of README is the text of EXAMPLE, so that the program a reader
# copies from the README is the one the build compiles and the tests run.
# Usage: cmake -DREADME=... -DEXAMPLE=... -P CheckReadmeExample.cmake
file(READ "${README}" readme)
file(READ "${EXAMPLE}" example)
string(FIND "${readme}" "```c++\n" start)
if(start EQUAL -1)
    message(FATAL_ERROR "${README} has no C++ block")
endif()
math(EXPR start "${start} + 7")
string(SUBSTRING "${readme}" ${start} -1 rest)
string(FIND "${rest}" "```" length)
string(SUBSTRING "${rest}" 0 ${length} block)
if(NOT block STREQUAL example)
    message(FATAL_ERROR "the first C++ block of ${README} differs from ${EXAMPLE}")
endif()
