// CFString.h - immutable and mutable strings of UTF-16 units.
//
// A string whose characters are all below U+0100 is stored one byte a character (album files are
// mostly ASCII); any other string is stored as UTF-16 units. Either way callers see UTF-16 units.
#pragma once

#include "cf/CFBase.h"

#include <string>
#include <string_view>

struct CFString;
typedef const CFString* CFStringRef;
typedef CFString* CFMutableStringRef;

typedef uint32_t CFStringEncoding;
enum : CFStringEncoding {
    kCFStringEncodingLegacy8Bit = 0, // the platform's legacy single-byte encoding
    kCFStringEncodingISOLatin1 = 0x0201,
    kCFStringEncodingASCII = 0x0600,
    kCFStringEncodingUTF8 = 0x08000100,
};

CFTypeID CFStringGetTypeID();

// A constant string for a literal: made once per text, never freed. CFSTR looks it up once
// per place it is written.
CFStringRef __CFStringMakeConstantString(const char* text);
#define CFSTR(text)                                                                                \
    ([]() -> CFStringRef {                                                                         \
        static const CFStringRef constant = __CFStringMakeConstantString("" text "");              \
        return constant;                                                                           \
    }())

// Creates a string from bytes in UTF-8, ASCII or ISO Latin 1. Returns null when the bytes are
// not valid in the encoding (bad UTF-8, or a byte above 127 for ASCII). The caller must release.
CFStringRef CFStringCreateWithBytes(const void* bytes, CFIndex length, CFStringEncoding encoding);
// Creates a string of the given UTF-16 units. The caller must release.
CFStringRef CFStringCreateWithCharacters(const UniChar* units, CFIndex count);
// Creates a string from printf-style formatting (no %@). The caller must release.
CFStringRef CFStringCreateWithFormat(const char* format, ...) __attribute__((format(printf, 1, 2)));

CFIndex CFStringGetLength(CFStringRef string);
UniChar CFStringGetCharacterAtIndex(CFStringRef string, CFIndex index);
// Copies the units of range into buffer. REQUIRES: range lies inside the string.
void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar* buffer);
// Direct access to the storage: exactly one of the two answers non-null.
const UniChar* CFStringGetCharactersPtr(CFStringRef string);
const uint8_t* CFStringGetLatin1Ptr(CFStringRef string);

// Converts the units of range to encoding (UTF-8 or ASCII; no loss byte, no BOM), whole
// characters only, writing at most maxLength bytes into buffer (buffer may be null to measure).
// Stops before the first character that does not fit or cannot be converted. Returns the
// number of units converted; *usedLength (if given) receives the number of bytes produced.
CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding,
                         uint8_t lossByte, bool isExternalRepresentation, uint8_t* buffer,
                         CFIndex maxLength, CFIndex* usedLength);
// The whole string in UTF-8, with no length limit.
std::string CFStringGetUTF8(CFStringRef string);

// Literal, case-sensitive comparison of the UTF-16 units (options are not supported: pass 0).
CFComparisonResult CFStringCompare(CFStringRef a, CFStringRef b, unsigned options);
bool CFStringHasSuffix(CFStringRef string, CFStringRef suffix);
// The leading integer: optional white space, an optional sign, then digits; 0 when there are
// none. Values beyond 32 bits are clamped.
int32_t CFStringGetIntValue(CFStringRef string);
// Equality of the units, with a fast answer for the same object.
bool CFStringEqual(CFStringRef a, CFStringRef b);

// Mutable strings: an empty string that grows. The caller must release.
CFMutableStringRef CFStringCreateMutable(CFIndex maxLength);
void CFStringAppend(CFMutableStringRef string, CFStringRef appended);
