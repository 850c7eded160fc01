// CFInternal.h - hooks between CFBase and the value implementations; not for callers.
#pragma once

#include "cf/CFBase.h"

void _CFStringFinalize(CFTypeRef value);
void _CFDataFinalize(CFTypeRef value);
void _CFURLFinalize(CFTypeRef value);
void _CFArrayFinalize(CFTypeRef value);
void _CFDictionaryFinalize(CFTypeRef value);
void _CFReadStreamFinalize(CFTypeRef value);
