// CFString.cpp - string storage (one byte or two a unit), conversion, comparison and parsing.
#include "cf/CFString.h"

#include "cf/CFInternal.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <mutex>
#include <unordered_map>
#include <vector>

struct CFString {
    CFRuntimeBase base;
    uint32_t length;   // UTF-16 units
    uint32_t capacity; // units the separate buffer holds (mutable strings only)
    bool wide;         // storage is UTF-16 rather than one byte a unit
    bool mutableStore; // chars is a separate growable buffer
    void* chars;       // the storage; inline right after the header for immutable strings
};

CFTypeID CFStringGetTypeID() {
    return kCFStringTypeID;
}

static const uint8_t* _narrow(CFStringRef s) {
    return static_cast<const uint8_t*>(s->chars);
}
static const UniChar* _wide(CFStringRef s) {
    return static_cast<const UniChar*>(s->chars);
}

static inline UniChar _unit(CFStringRef s, CFIndex i) {
    return s->wide ? _wide(s)[i] : _narrow(s)[i];
}

// An immutable string with room for `length` units of the chosen width, inline.
static CFString* _allocate(size_t length, bool wide) {
    size_t bytes = length * (wide ? 2 : 1);
    auto* s =
        static_cast<CFString*>(_CFRuntimeCreate(kCFStringTypeID, sizeof(CFString) + bytes + 1));
    s->length = static_cast<uint32_t>(length);
    s->wide = wide;
    s->chars = s + 1;
    return s;
}

void _CFStringFinalize(CFTypeRef value) {
    auto* s = static_cast<CFString*>(const_cast<void*>(value));
    if (s->mutableStore) free(s->chars);
}

// --- UTF-8 decoding -------------------------------------------------------------------------

// Decodes one code point at p (below end). Returns its byte length, or 0 when the sequence is
// not valid UTF-8 (overlong forms, surrogates and values above U+10FFFF included).
static size_t _decodeUTF8(const uint8_t* p, const uint8_t* end, uint32_t* codePoint) {
    uint8_t b0 = p[0];
    if (b0 < 0x80) {
        *codePoint = b0;
        return 1;
    }
    size_t need;
    uint32_t cp, min;
    if ((b0 & 0xE0) == 0xC0) {
        need = 2, cp = b0 & 0x1F, min = 0x80;
    } else if ((b0 & 0xF0) == 0xE0) {
        need = 3, cp = b0 & 0x0F, min = 0x800;
    } else if ((b0 & 0xF8) == 0xF0) {
        need = 4, cp = b0 & 0x07, min = 0x10000;
    } else {
        return 0;
    }
    if (size_t(end - p) < need) return 0;
    for (size_t i = 1; i < need; ++i) {
        if ((p[i] & 0xC0) != 0x80) return 0;
        cp = (cp << 6) | (p[i] & 0x3F);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
    *codePoint = cp;
    return need;
}

// Counts the UTF-16 units of valid UTF-8 and the largest unit. False when invalid.
static bool _measureUTF8(const uint8_t* p, size_t n, size_t* units, uint32_t* maxUnit) {
    const uint8_t* end = p + n;
    size_t count = 0;
    uint32_t max = 0;
    while (p < end) {
        uint32_t cp;
        size_t used = _decodeUTF8(p, end, &cp);
        if (!used) return false;
        p += used;
        count += cp > 0xFFFF ? 2 : 1;
        if (cp > max) max = cp;
    }
    *units = count;
    *maxUnit = max;
    return true;
}

template <class Unit> static void _storeUTF8(const uint8_t* p, size_t n, Unit* out) {
    const uint8_t* end = p + n;
    while (p < end) {
        uint32_t cp;
        p += _decodeUTF8(p, end, &cp);
        if (cp > 0xFFFF) {
            cp -= 0x10000;
            *out++ = Unit(0xD800 + (cp >> 10));
            *out++ = Unit(0xDC00 + (cp & 0x3FF));
        } else {
            *out++ = Unit(cp);
        }
    }
}

static bool _isASCII(const uint8_t* p, size_t n) {
    uint8_t bits = 0;
    for (size_t i = 0; i < n; ++i)
        bits |= p[i];
    return bits < 0x80;
}

// --- creation --------------------------------------------------------------------------------

CFStringRef CFStringCreateWithBytes(const void* bytes, CFIndex length, CFStringEncoding encoding) {
    auto* p = static_cast<const uint8_t*>(bytes);
    size_t n = length > 0 ? size_t(length) : 0;
    if (encoding == kCFStringEncodingISOLatin1 || _isASCII(p, n)) {
        CFString* s = _allocate(n, false);
        if (n) memcpy(s->chars, p, n);
        return s;
    }
    if (encoding != kCFStringEncodingUTF8) return nullptr;
    size_t units;
    uint32_t maxUnit;
    if (!_measureUTF8(p, n, &units, &maxUnit)) return nullptr;
    CFString* s = _allocate(units, maxUnit > 0xFF);
    if (s->wide) {
        _storeUTF8(p, n, static_cast<UniChar*>(s->chars));
    } else {
        _storeUTF8(p, n, static_cast<uint8_t*>(s->chars));
    }
    return s;
}

CFStringRef CFStringCreateWithCharacters(const UniChar* units, CFIndex count) {
    size_t n = count > 0 ? size_t(count) : 0;
    bool wide = false;
    for (size_t i = 0; i < n && !wide; ++i)
        wide = units[i] > 0xFF;
    CFString* s = _allocate(n, wide);
    if (wide) {
        memcpy(s->chars, units, n * 2);
    } else {
        auto* out = static_cast<uint8_t*>(s->chars);
        for (size_t i = 0; i < n; ++i)
            out[i] = uint8_t(units[i]);
    }
    return s;
}

CFStringRef CFStringCreateWithFormat(const char* format, ...) {
    char small[256];
    va_list args;
    va_start(args, format);
    int n = vsnprintf(small, sizeof small, format, args);
    va_end(args);
    if (n < 0) return nullptr;
    std::string text;
    if (size_t(n) < sizeof small) {
        text.assign(small, size_t(n));
    } else {
        text.resize(size_t(n) + 1);
        va_start(args, format);
        vsnprintf(text.data(), text.size(), format, args);
        va_end(args);
        text.resize(size_t(n));
    }
    CFStringRef s =
        CFStringCreateWithBytes(text.data(), CFIndex(text.size()), kCFStringEncodingUTF8);
    if (!s)
        s = CFStringCreateWithBytes(text.data(), CFIndex(text.size()), kCFStringEncodingISOLatin1);
    return s;
}

CFStringRef __CFStringMakeConstantString(const char* text) {
    // Never destroyed, so constants outlive every static that may still hold one at exit.
    // Literals keep their address: look that up first, then the text (the same text may stand
    // at several addresses).
    static auto* byAddress = new std::unordered_map<const char*, CFStringRef>();
    static auto* constants = new std::unordered_map<std::string_view, CFStringRef>();
    static std::mutex* lock = new std::mutex;
    std::lock_guard<std::mutex> hold(*lock);
    auto known = byAddress->find(text);
    if (known != byAddress->end()) return known->second;
    auto found = constants->find(text);
    if (found != constants->end()) {
        byAddress->emplace(text, found->second);
        return found->second;
    }
    size_t n = strlen(text);
    CFStringRef s = CFStringCreateWithBytes(text, CFIndex(n), kCFStringEncodingUTF8);
    if (!s) s = CFStringCreateWithBytes(text, CFIndex(n), kCFStringEncodingISOLatin1);
    const_cast<CFString*>(s)->base.retainCount = kCFImmortal;
    constants->emplace(std::string_view(text, n), s);
    byAddress->emplace(text, s);
    return s;
}

// --- access ----------------------------------------------------------------------------------

CFIndex CFStringGetLength(CFStringRef s) {
    return CFIndex(s->length);
}

UniChar CFStringGetCharacterAtIndex(CFStringRef s, CFIndex i) {
    return _unit(s, i);
}

void CFStringGetCharacters(CFStringRef s, CFRange range, UniChar* buffer) {
    if (s->wide) {
        memcpy(buffer, _wide(s) + range.location, size_t(range.length) * 2);
        return;
    }
    const uint8_t* p = _narrow(s) + range.location;
    for (CFIndex i = 0; i < range.length; ++i)
        buffer[i] = p[i];
}

const UniChar* CFStringGetCharactersPtr(CFStringRef s) {
    return s->wide ? _wide(s) : nullptr;
}
const uint8_t* CFStringGetLatin1Ptr(CFStringRef s) {
    return s->wide ? nullptr : _narrow(s);
}

CFIndex CFStringGetBytes(CFStringRef s, CFRange range, CFStringEncoding encoding, uint8_t lossByte,
                         bool isExternalRepresentation, uint8_t* buffer, CFIndex maxLength,
                         CFIndex* usedLength) {
    CFIndex i = range.location, end = range.location + range.length, used = 0;
    while (i < end) {
        uint32_t cp = _unit(s, i);
        CFIndex units = 1;
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < end) {
            uint32_t low = _unit(s, i + 1);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                units = 2;
            }
        }
        if (cp >= 0xD800 && cp <= 0xDFFF) break; // a lone surrogate has no UTF-8 form
        uint8_t out[4];
        CFIndex n;
        if (encoding == kCFStringEncodingASCII || cp < 0x80) {
            if (cp >= 0x80) break;
            out[0] = uint8_t(cp), n = 1;
        } else if (encoding == kCFStringEncodingISOLatin1) {
            if (cp > 0xFF) break;
            out[0] = uint8_t(cp), n = 1;
        } else if (cp < 0x800) {
            out[0] = uint8_t(0xC0 | (cp >> 6)), out[1] = uint8_t(0x80 | (cp & 0x3F)), n = 2;
        } else if (cp < 0x10000) {
            out[0] = uint8_t(0xE0 | (cp >> 12)), out[1] = uint8_t(0x80 | ((cp >> 6) & 0x3F));
            out[2] = uint8_t(0x80 | (cp & 0x3F)), n = 3;
        } else {
            out[0] = uint8_t(0xF0 | (cp >> 18)), out[1] = uint8_t(0x80 | ((cp >> 12) & 0x3F));
            out[2] = uint8_t(0x80 | ((cp >> 6) & 0x3F)), out[3] = uint8_t(0x80 | (cp & 0x3F));
            n = 4;
        }
        if (buffer) {
            if (used + n > maxLength) break;
            memcpy(buffer + used, out, size_t(n));
        }
        used += n;
        i += units;
    }
    if (usedLength) *usedLength = used;
    return i - range.location;
}

std::string CFStringGetUTF8(CFStringRef s) {
    if (!s->wide && _isASCII(_narrow(s), s->length))
        return std::string(reinterpret_cast<const char*>(_narrow(s)), s->length);
    CFRange all = CFRangeMake(0, s->length);
    CFIndex bytes = 0;
    CFStringGetBytes(s, all, kCFStringEncodingUTF8, 0, false, nullptr, 0, &bytes);
    std::string out(size_t(bytes), '\0');
    CFStringGetBytes(s, all, kCFStringEncodingUTF8, 0, false,
                     reinterpret_cast<uint8_t*>(out.data()), bytes, &bytes);
    out.resize(size_t(bytes));
    return out;
}

// --- comparison and parsing ------------------------------------------------------------------

CFComparisonResult CFStringCompare(CFStringRef a, CFStringRef b, unsigned) {
    if (a == b) return kCFCompareEqualTo;
    uint32_t n = a->length < b->length ? a->length : b->length;
    if (!a->wide && !b->wide) {
        int c = memcmp(a->chars, b->chars, n);
        if (c) return c < 0 ? kCFCompareLessThan : kCFCompareGreaterThan;
    } else {
        for (uint32_t i = 0; i < n; ++i) {
            UniChar x = _unit(a, i), y = _unit(b, i);
            if (x != y) return x < y ? kCFCompareLessThan : kCFCompareGreaterThan;
        }
    }
    if (a->length == b->length) return kCFCompareEqualTo;
    return a->length < b->length ? kCFCompareLessThan : kCFCompareGreaterThan;
}

bool CFStringEqual(CFStringRef a, CFStringRef b) {
    if (a == b) return true;
    if (a->length != b->length) return false;
    if (!a->wide && !b->wide) return memcmp(a->chars, b->chars, a->length) == 0;
    return CFStringCompare(a, b, 0) == kCFCompareEqualTo;
}

static bool _matchesAt(CFStringRef s, CFStringRef part, CFIndex at) {
    for (uint32_t i = 0; i < part->length; ++i)
        if (_unit(s, at + i) != _unit(part, i)) return false;
    return true;
}

bool CFStringHasSuffix(CFStringRef s, CFStringRef suffix) {
    return suffix->length <= s->length && _matchesAt(s, suffix, s->length - suffix->length);
}

int32_t CFStringGetIntValue(CFStringRef s) {
    uint32_t i = 0, n = s->length;
    while (i < n && (_unit(s, i) == ' ' || (_unit(s, i) >= '\t' && _unit(s, i) <= '\r')))
        ++i;
    bool negative = false;
    if (i < n && (_unit(s, i) == '-' || _unit(s, i) == '+')) negative = _unit(s, i++) == '-';
    int64_t value = 0;
    for (; i < n && _unit(s, i) >= '0' && _unit(s, i) <= '9'; ++i) {
        value = value * 10 + (_unit(s, i) - '0');
        if (value > int64_t(1) << 32) value = int64_t(1) << 32; // clamp, keep scanning
    }
    if (negative) value = -value;
    if (value > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
    if (value < std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
    return int32_t(value);
}

// --- mutable strings -------------------------------------------------------------------------

CFMutableStringRef CFStringCreateMutable(CFIndex) {
    auto* s = static_cast<CFString*>(_CFRuntimeCreate(kCFStringTypeID, sizeof(CFString)));
    s->mutableStore = true;
    return s;
}

// Makes room for `extra` more units, widening the storage when `wide` is asked for.
static void _reserve(CFString* s, size_t extra, bool wide) {
    size_t need = s->length + extra;
    bool widen = wide && !s->wide;
    if (need <= s->capacity && !widen) return;
    size_t capacity = s->capacity * 2 > need ? s->capacity * 2 : need + 16;
    bool nowWide = s->wide || wide;
    void* fresh = malloc(capacity * (nowWide ? 2 : 1));
    if (!fresh) abort();
    if (widen) {
        auto* out = static_cast<UniChar*>(fresh);
        for (uint32_t i = 0; i < s->length; ++i)
            out[i] = _narrow(s)[i];
    } else if (s->length) {
        memcpy(fresh, s->chars, s->length * (nowWide ? 2 : 1));
    }
    free(s->chars);
    s->chars = fresh;
    s->capacity = uint32_t(capacity);
    s->wide = nowWide;
}

void CFStringAppend(CFMutableStringRef s, CFStringRef appended) {
    uint32_t n = appended->length;
    _reserve(s, n, appended->wide);
    for (uint32_t i = 0; i < n; ++i) {
        if (s->wide) {
            static_cast<UniChar*>(s->chars)[s->length + i] = _unit(appended, i);
        } else {
            static_cast<uint8_t*>(s->chars)[s->length + i] = uint8_t(_unit(appended, i));
        }
    }
    s->length += n;
}

