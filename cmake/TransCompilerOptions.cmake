# Compiler settings shared by every target of our own.

# Sanitizers apply to the whole build, so that the libraries and the programs that load them agree.
if(TRANS_SANITIZE)
    set(_trans_sanitize_flags "")
    foreach(_sanitizer IN LISTS TRANS_SANITIZE)
        list(APPEND _trans_sanitize_flags "-fsanitize=${_sanitizer}")
    endforeach()
    add_compile_options(${_trans_sanitize_flags} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(${_trans_sanitize_flags})
endif()

# Warnings on (and fatal) for our own code only; the dependencies' headers come in as system headers.
function(trans_set_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor)
    if(TRANS_WARNINGS_AS_ERRORS)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()

# Installed programs and libraries find the project's libraries beside them.
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR};$ORIGIN")
