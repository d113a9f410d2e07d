// TRANS_ASSERT: an assertion that stays on in every build type.
//
// Like the C library's assert it prints the program, file, line, function and the condition text
// exactly as written, so that a condition joined with a message, as in
//   TRANS_ASSERT(! status.failure() && "Failure: TransString::asUTF16()");
// is printed whole, and then aborts.
#ifndef TRANSASSERT_H
#define TRANSASSERT_H

[[noreturn]] void transAssertFail(char const* condition, char const* file, int line,
                                  char const* function) noexcept;

#define TRANS_ASSERT(condition)                                                                    \
    (static_cast<bool>(condition)                                                                  \
         ? void(0)                                                                                 \
         : transAssertFail(#condition, __FILE__, __LINE__, __PRETTY_FUNCTION__))

#endif // TRANSASSERT_H
