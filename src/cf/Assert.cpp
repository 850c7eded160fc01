// Assert.cpp - the one way the process ends on a broken invariant.
#include "cf/Assert.h"

#include <cstdio>
#include <cstdlib>

void tsAssertionFailed(const char* file, unsigned line, const char* expression) {
    printf("%s:%u: failed assertion `%s'\n", file, line, expression);
    fflush(stdout);
    abort();
}
