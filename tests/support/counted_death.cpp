// SPDX-License-Identifier: Apache-2.0
// An assertion ends the process, and with it would go the counts of what led there. Linked where
// branches are counted and assertions are tested, with -Wl,--wrap=__assert_fail.
extern "C" {

void __gcov_dump();
[[noreturn]] void __real___assert_fail(const char* text, const char* file, unsigned line,
                                       const char* function);

[[noreturn]] void __wrap___assert_fail(const char* text, const char* file, unsigned line,
                                       const char* function) {
    __gcov_dump();
    __real___assert_fail(text, file, line, function);
}
}
