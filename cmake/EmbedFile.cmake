# Writes a C++ source that holds a file's bytes, so a program carries the file built in.
# Usage: cmake -DINPUT=file -DOUTPUT=source.cpp -DSYMBOL=name -P EmbedFile.cmake
# The source defines `extern char const SYMBOL[]` (NUL-terminated) and `extern std::size_t const
# SYMBOL_size` (the file's size without the terminator).
file(READ "${INPUT}" content HEX)
string(LENGTH "${content}" hex_length)
math(EXPR size "${hex_length} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${content}")
file(WRITE "${OUTPUT}"
    "// Generated from ${INPUT}; do not edit.\n"
    "#include <cstddef>\n"
    "extern char const ${SYMBOL}[];\n"
    "extern std::size_t const ${SYMBOL}_size;\n"
    "char const ${SYMBOL}[] = {${bytes}'\\0'};\n"
    "std::size_t const ${SYMBOL}_size = ${size};\n")
