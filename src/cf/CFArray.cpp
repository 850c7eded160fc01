// CFArray.cpp - immutable arrays: the values are stored inline after the header.
#include "cf/CFArray.h"

#include "cf/CFInternal.h"

#include <cassert>
#include <cstring>

struct CFArray {
    CFRuntimeBase base;
    size_t count;
    CFTypeRef values[];
};

CFTypeID CFArrayGetTypeID() {
    return kCFArrayTypeID;
}

CFArrayRef _CFArrayCreateTakingValues(const CFTypeRef* values, CFIndex count) {
    size_t n = count > 0 ? size_t(count) : 0;
    auto* a = static_cast<CFArray*>(
        _CFRuntimeCreate(kCFArrayTypeID, sizeof(CFArray) + n * sizeof(CFTypeRef)));
    a->count = n;
    if (n) memcpy(a->values, values, n * sizeof(CFTypeRef));
    return a;
}

CFArrayRef CFArrayCreate(const CFTypeRef* values, CFIndex count) {
    for (CFIndex i = 0; i < count; ++i)
        CFRetain(values[i]);
    return _CFArrayCreateTakingValues(values, count);
}

CFIndex CFArrayGetCount(CFArrayRef a) {
    return CFIndex(a->count);
}

CFTypeRef CFArrayGetValueAtIndex(CFArrayRef a, CFIndex index) {
    assert(index >= 0 && size_t(index) < a->count);
    return a->values[index];
}

void _CFArrayFinalize(CFTypeRef value) {
    auto* a = static_cast<const CFArray*>(value);
    for (size_t i = 0; i < a->count; ++i)
        CFRelease(a->values[i]);
}
