// CFData.cpp - byte blocks.
#include "cf/CFData.h"

#include "cf/CFInternal.h"

#include <cstdlib>
#include <cstring>

struct CFData {
    CFRuntimeBase base;
    size_t length;
    size_t capacity;
    uint8_t* bytes;
};

CFTypeID CFDataGetTypeID() {
    return kCFDataTypeID;
}

static void _grow(CFData* d, size_t capacity) {
    if (capacity <= d->capacity) return;
    auto* fresh = static_cast<uint8_t*>(realloc(d->bytes, capacity));
    if (!fresh) abort();
    d->bytes = fresh;
    d->capacity = capacity;
}

CFMutableDataRef CFDataCreateMutable(CFIndex capacity) {
    auto* d = static_cast<CFData*>(_CFRuntimeCreate(kCFDataTypeID, sizeof(CFData)));
    _grow(d, capacity > 0 ? size_t(capacity) : 16);
    return d;
}

CFDataRef CFDataCreate(const void* bytes, CFIndex length) {
    CFMutableDataRef d = CFDataCreateMutable(length);
    CFDataAppendBytes(d, bytes, length);
    return d;
}

void CFDataSetLength(CFMutableDataRef d, CFIndex length) {
    size_t n = length > 0 ? size_t(length) : 0;
    _grow(d, n);
    if (n > d->length) memset(d->bytes + d->length, 0, n - d->length);
    d->length = n;
}

void CFDataAppendBytes(CFMutableDataRef d, const void* bytes, CFIndex length) {
    if (length <= 0) return;
    size_t n = size_t(length);
    if (d->length + n > d->capacity)
        _grow(d, d->length + n > 2 * d->capacity ? d->length + n : 2 * d->capacity);
    memcpy(d->bytes + d->length, bytes, n);
    d->length += n;
}

CFIndex CFDataGetLength(CFDataRef d) {
    return CFIndex(d->length);
}
const uint8_t* CFDataGetBytePtr(CFDataRef d) {
    return d->bytes;
}
uint8_t* CFDataGetMutableBytePtr(CFMutableDataRef d) {
    return d->bytes;
}

void _CFDataFinalize(CFTypeRef value) {
    free(static_cast<const CFData*>(value)->bytes);
}

