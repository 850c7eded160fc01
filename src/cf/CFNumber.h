// CFNumber.h - numbers (integer or real), the two booleans, and dates.
#pragma once

#include "cf/CFBase.h"

struct CFNumber;
typedef const CFNumber* CFNumberRef;
struct CFBoolean;
typedef const CFBoolean* CFBooleanRef;
struct CFDate;
typedef const CFDate* CFDateRef;

// Seconds since 2001-01-01 00:00:00 GMT.
typedef double CFAbsoluteTime;
constexpr CFAbsoluteTime kCFAbsoluteTimeIntervalSince1970 = 978307200.0;

enum CFNumberType {
    kCFNumberSInt32Type = 3,
    kCFNumberSInt64Type = 4,
    kCFNumberFloat64Type = 6,
    kCFNumberIntType = 9,
    kCFNumberDoubleType = 13,
};

CFTypeID CFNumberGetTypeID();
// Creates a number from the value at valuePtr, of the given type. The caller must release.
CFNumberRef CFNumberCreate(CFNumberType type, const void* valuePtr);
// Stores the number as the given type. Integers narrow by keeping the low bits, reals by
// truncation toward zero (clamped to the type's range, NaN as 0). Returns false when the value
// did not convert exactly.
bool CFNumberGetValue(CFNumberRef number, CFNumberType type, void* valuePtr);
bool CFNumberIsFloatType(CFNumberRef number);

CFTypeID CFBooleanGetTypeID();
extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
bool CFBooleanGetValue(CFBooleanRef boolean);

// The caller must release.
CFDateRef CFDateCreate(CFAbsoluteTime time);
CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date);
