// Assert.h - assertions for broken invariants: print "FILE:LINE: failed assertion `EXPR'" on
// standard output and end the process. Each names the source room and line it stands for.
// Never use these for bad input: input is answered, not asserted.
#pragma once

[[noreturn]] void tsAssertionFailed(const char* file, unsigned line, const char* expression);

#define TS_ASSERT(expression, file, line)                                                          \
    ((expression) ? (void)0 : tsAssertionFailed(file, line, #expression))
