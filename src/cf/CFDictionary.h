// CFDictionary.h - immutable dictionaries with string keys.
#pragma once

#include "cf/CFBase.h"

struct CFDictionary;
typedef const CFDictionary* CFDictionaryRef;

CFTypeID CFDictionaryGetTypeID();
// Retains every key and value; a repeated key keeps its last value. Keys must be strings.
// The caller must release the dictionary.
CFDictionaryRef CFDictionaryCreate(const CFTypeRef* keys, const CFTypeRef* values, CFIndex count);
// Takes over one reference to each key and value instead of retaining them (for builders).
CFDictionaryRef _CFDictionaryCreateTakingPairs(const CFTypeRef* keys, const CFTypeRef* values,
                                               CFIndex count);
CFIndex CFDictionaryGetCount(CFDictionaryRef dict);
// Looks the key up by string equality; stores the borrowed value when present.
bool CFDictionaryGetValueIfPresent(CFDictionaryRef dict, CFTypeRef key, CFTypeRef* value);
// The borrowed value, or null.
CFTypeRef CFDictionaryGetValue(CFDictionaryRef dict, CFTypeRef key);
// Fills the borrowed keys and values, in the order they were given at creation.
void CFDictionaryGetKeysAndValues(CFDictionaryRef dict, CFTypeRef* keys, CFTypeRef* values);
