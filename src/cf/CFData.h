// CFData.h - blocks of bytes, immutable or growable.
#pragma once

#include "cf/CFBase.h"

struct CFData;
typedef const CFData* CFDataRef;
typedef CFData* CFMutableDataRef;

CFTypeID CFDataGetTypeID();
// Copies length bytes. The caller must release.
CFDataRef CFDataCreate(const void* bytes, CFIndex length);
// An empty block with room for capacity bytes. The caller must release.
CFMutableDataRef CFDataCreateMutable(CFIndex capacity);
// Grows (zero-filled) or shrinks the block.
void CFDataSetLength(CFMutableDataRef data, CFIndex length);
void CFDataAppendBytes(CFMutableDataRef data, const void* bytes, CFIndex length);
CFIndex CFDataGetLength(CFDataRef data);
const uint8_t* CFDataGetBytePtr(CFDataRef data);
uint8_t* CFDataGetMutableBytePtr(CFMutableDataRef data);
