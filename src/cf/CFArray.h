// CFArray.h - immutable arrays of values.
#pragma once

#include "cf/CFBase.h"

struct CFArray;
typedef const CFArray* CFArrayRef;

CFTypeID CFArrayGetTypeID();
// Retains each of the count values. The caller must release the array.
CFArrayRef CFArrayCreate(const CFTypeRef* values, CFIndex count);
// Takes over one reference to each value instead of retaining it (for builders).
CFArrayRef _CFArrayCreateTakingValues(const CFTypeRef* values, CFIndex count);
CFIndex CFArrayGetCount(CFArrayRef array);
// Borrowed. REQUIRES: 0 <= index < count.
CFTypeRef CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);
