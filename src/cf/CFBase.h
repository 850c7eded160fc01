// CFBase.h - the common header of reference-counted platform values: type ids, retain, release.
//
// Every value (string, number, boolean, date, data, URL, array, dictionary, read stream) starts
// with a CFRuntimeBase. Values are created with a retain count of one; the last CFRelease frees
// them. Constants (CFSTR strings, the two booleans) are immortal: retain and release ignore them.
// Counts change atomically, so a value may be retained and released from several threads; the
// immutable kinds may then be read from several threads at once.
#pragma once

#include <cstddef>
#include <cstdint>

typedef unsigned long CFTypeID;
typedef long CFIndex;
typedef const void* CFTypeRef;
typedef uint16_t UniChar;

struct CFRange {
    CFIndex location;
    CFIndex length;
};
inline CFRange CFRangeMake(CFIndex location, CFIndex length) {
    return CFRange{location, length};
}

enum CFComparisonResult {
    kCFCompareLessThan = -1,
    kCFCompareEqualTo = 0,
    kCFCompareGreaterThan = 1
};

// Type ids, as CFGetTypeID answers them.
enum : CFTypeID {
    kCFStringTypeID = 1,
    kCFNumberTypeID,
    kCFBooleanTypeID,
    kCFDateTypeID,
    kCFDataTypeID,
    kCFURLTypeID,
    kCFArrayTypeID,
    kCFDictionaryTypeID,
    kCFReadStreamTypeID,
};

struct CFRuntimeBase {
    uint32_t typeID;
    uint32_t retainCount; // kCFImmortal for constants
};
constexpr uint32_t kCFImmortal = 0xFFFFFFFFu;

// Adds one reference and returns the value. REQUIRES: value is not null.
CFTypeRef CFRetain(CFTypeRef value);
// Drops one reference; the last one frees the value. REQUIRES: value is not null.
void CFRelease(CFTypeRef value);
// The type id of any value. REQUIRES: value is not null.
CFTypeID CFGetTypeID(CFTypeRef value);
// The current count; constants answer a very large number.
CFIndex CFGetRetainCount(CFTypeRef value);

// For the value implementations: allocates `size` zeroed bytes headed by a CFRuntimeBase with
// the type id and a count of one. Never returns null (aborts when memory is exhausted).
void* _CFRuntimeCreate(CFTypeID type, size_t size);
