# Fails unless every command and option that `transspace --help` lists appears in the manual page,
# so that the two cannot drift apart.
# Usage: cmake -DTOOL=path/to/transspace -DMAN_PAGE=transspace.1 -P CheckManPage.cmake
execute_process(COMMAND "${TOOL}" --help OUTPUT_VARIABLE help RESULT_VARIABLE result)
if(NOT result EQUAL 0 OR help STREQUAL "")
    message(FATAL_ERROR "${TOOL} --help failed (${result})")
endif()

# The page's text as a reader sees it: no font changes, "\-" as "-".
file(READ "${MAN_PAGE}" page)
string(REGEX REPLACE "\\\\f[BIRP]" "" page "${page}")
string(REPLACE "\\-" "-" page "${page}")
string(REPLACE "\\e" "\\" page "${page}")

# Options (-x, --word) anywhere in the help, and the commands it lists at two spaces' indent.
# Punctuation becomes blanks first (a bracket would also upset CMake's lists).
string(REGEX REPLACE "[^A-Za-z0-9\n-]" " " help " ${help}")
string(REGEX MATCHALL "[ \n]--?[A-Za-z][A-Za-z0-9-]*" options "${help}")
string(REGEX MATCHALL "\n  [a-z][a-z0-9-]*" commands "${help}")
set(missing "")
foreach(token IN LISTS options commands)
    string(STRIP "${token}" token)
    if(NOT page MATCHES "(^|[^A-Za-z0-9-])${token}([^A-Za-z0-9-]|$)")
        list(APPEND missing "${token}")
    endif()
endforeach()
if(missing)
    list(REMOVE_DUPLICATES missing)
    message(FATAL_ERROR "${MAN_PAGE} does not mention what --help lists: ${missing}")
endif()
list(REMOVE_DUPLICATES options)
list(REMOVE_DUPLICATES commands)
list(LENGTH options option_count)
list(LENGTH commands command_count)
message("${MAN_PAGE}: all ${option_count} options and ${command_count} commands of --help are there")
