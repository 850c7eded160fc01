// cftempl.h - owning, type-checked wrappers of platform values, and their runtime errors.
//
// A wrapper holds exactly one reference to a non-null value of its type: construction checks
// both (and throws through throwRTE otherwise), copying retains, destruction releases. Lookups
// that cannot be satisfied throw std::runtime_error with texts of the form
// "(In FUNCTION) : MESSAGE".
#pragma once

#include "cf/CFArray.h"
#include "cf/CFData.h"
#include "cf/CFDictionary.h"
#include "cf/CFNumber.h"
#include "cf/CFReadStream.h"
#include "cf/CFString.h"
#include "cf/CFURL.h"

#include <cstddef>
#include <ostream>
#include <string>

// Throws std::runtime_error with "(In func) : " and the formatted message (at most 8191
// characters in all). Never returns.
[[noreturn]] void throwRTE(const char* func, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// The UTF-8 form of a string, cut after the last whole character that fits in 1024 bytes.
std::string toString(CFStringRef string);

// The names a wrapper's errors use for the reference type it holds.
template <class T> struct CFTypeNames;
#define TS_CF_TYPE_NAMES(Ref, mangled, declared, typeIdFunction)                                   \
    template <> struct CFTypeNames<Ref> {                                                          \
        static constexpr const char* name = mangled;                                               \
        static constexpr const char* signature =                                                   \
            "CoreType<T, F>::CoreType(const void*, CoreType<T, F>::Rule) [with T = " declared      \
            ", CFTypeID (* F)() = " typeIdFunction "]";                                            \
    }
TS_CF_TYPE_NAMES(CFStringRef, "PK10__CFString", "const __CFString*", "CFStringGetTypeID");
TS_CF_TYPE_NAMES(CFMutableStringRef, "P10__CFString", "__CFString*", "CFStringGetTypeID");
TS_CF_TYPE_NAMES(CFNumberRef, "PK10__CFNumber", "const __CFNumber*", "CFNumberGetTypeID");
TS_CF_TYPE_NAMES(CFBooleanRef, "PK11__CFBoolean", "const __CFBoolean*", "CFBooleanGetTypeID");
TS_CF_TYPE_NAMES(CFDataRef, "PK8__CFData", "const __CFData*", "CFDataGetTypeID");
TS_CF_TYPE_NAMES(CFURLRef, "PK7__CFURL", "const __CFURL*", "CFURLGetTypeID");
TS_CF_TYPE_NAMES(CFDictionaryRef, "PK14__CFDictionary", "const __CFDictionary*",
                 "CFDictionaryGetTypeID");
TS_CF_TYPE_NAMES(CFArrayRef, "PK9__CFArray", "const __CFArray*", "CFArrayGetTypeID");
TS_CF_TYPE_NAMES(CFReadStreamRef, "P14__CFReadStream", "__CFReadStream*", "CFReadStreamGetTypeID");
#undef TS_CF_TYPE_NAMES

// The root of the family: T is the reference type, F the function answering its type id.
template <class T, CFTypeID (*F)()> class CoreType {
  public:
    // Who owns the reference handed to the constructor.
    enum Rule {
        Get = 0,    // the caller keeps its reference; the wrapper retains its own
        Create = 1, // the caller's reference passes to the wrapper
    };

    // Throws "Tried to create a ... from a NULL pointer" for null (nothing retained) and
    // "Tried to convert a non-... type to ..." for another type (nothing kept).
    CoreType(const void* ref, Rule rule) : ref_(static_cast<T>(const_cast<void*>(ref))) {
        if (!ref_)
            throwRTE(CFTypeNames<T>::signature, "Tried to create a %s from a NULL pointer",
                     CFTypeNames<T>::name);
        if (rule == Get) CFRetain(ref_);
        if (CFGetTypeID(ref_) != F()) {
            CFRelease(ref_);
            throwRTE("CoreType", "Tried to convert a non-%s type to %s", CFTypeNames<T>::name,
                     CFTypeNames<T>::name);
        }
    }
    CoreType(const CoreType& other) : ref_(other.ref_) { CFRetain(ref_); }
    // Releases the held reference first, then takes and retains the other's.
    // REQUIRES: other is not this wrapper.
    CoreType& operator=(const CoreType& other) {
        CFRelease(ref_);
        ref_ = other.ref_;
        CFRetain(ref_);
        return *this;
    }
    virtual ~CoreType() { CFRelease(ref_); }

    // The held reference, borrowed: valid while the wrapper lives.
    T get() const { return ref_; }
    operator T() const { return ref_; }

  protected:
    T ref_;
};

class CFString_t : public CoreType<CFStringRef, CFStringGetTypeID> {
  public:
    // A constant string for a literal.
    template <size_t N>
    CFString_t(const char (&literal)[N]) : CoreType(__CFStringMakeConstantString(literal), Get) {}
    CFString_t(const void* ref, Rule rule) : CoreType(ref, rule) {}
};

class CFMutableString_t : public CoreType<CFMutableStringRef, CFStringGetTypeID> {
  public:
    CFMutableString_t(const void* ref, Rule rule) : CoreType(ref, rule) {}
    operator CFStringRef() const { return ref_; }
};

class CFNumber_t : public CoreType<CFNumberRef, CFNumberGetTypeID> {
  public:
    CFNumber_t(const void* ref, Rule rule) : CoreType(ref, rule) {}
    // Both integer views read the number as a signed 32-bit integer.
    operator int() const;
    operator unsigned int() const;
    operator double() const;
};

typedef CoreType<CFBooleanRef, CFBooleanGetTypeID> CFBoolean_t;
typedef CoreType<CFDataRef, CFDataGetTypeID> CFData_t;
typedef CoreType<CFURLRef, CFURLGetTypeID> CFURL_t;

template <class E> class CFArray_t;
typedef CFArray_t<CFNumber_t> NumArray;
typedef CFArray_t<CFString_t> StrArray;

// The type name that a dictionary lookup's errors give for the wrapper it was asked for.
template <class W> struct CFWrapperName;
template <> struct CFWrapperName<CFString_t> { static constexpr const char* name = "CFString_t"; };
template <> struct CFWrapperName<CFNumber_t> { static constexpr const char* name = "CFNumber_t"; };
template <> struct CFWrapperName<CFBoolean_t> {
    static constexpr const char* name = "CFBoolean_t";
};
template <> struct CFWrapperName<NumArray> { static constexpr const char* name = "NumArray"; };
template <> struct CFWrapperName<StrArray> { static constexpr const char* name = "StrArray"; };

class CFDictionary_t : public CoreType<CFDictionaryRef, CFDictionaryGetTypeID> {
  public:
    CFDictionary_t(const void* ref, Rule rule) : CoreType(ref, rule) {}
    using CoreType::get;

    // The value for key as a W. Throws "dictionary doesn't have key '...'" when absent, and
    // the type error of W when the value is of another type.
    template <class W> W get(CFStringRef key) const;
    // The string for key, or a copy of def when absent (another type still throws).
    CFString_t get(CFStringRef key, const CFString_t& def) const;
};
template <> struct CFWrapperName<CFDictionary_t> {
    static constexpr const char* name = "CFDictionary_t";
};

template <class E> class CFArray_t : public CoreType<CFArrayRef, CFArrayGetTypeID> {
  public:
    CFArray_t(const void* ref, Rule rule) : CoreType(ref, rule) {}

    CFIndex count() const { return CFArrayGetCount(ref_); }
    // The element at index as an E. Throws "tried to access element I of a N element array"
    // when index is not inside the array.
    E elem(long index) const {
        long count = CFArrayGetCount(ref_);
        if (index < 0 || count <= index)
            throwRTE("elem", "tried to access element %u of a %u element array", unsigned(index),
                     unsigned(count));
        return E(CFArrayGetValueAtIndex(ref_, index), E::Get);
    }
};
template <> struct CFWrapperName<CFArray_t<CFDictionary_t>> {
    static constexpr const char* name = "CFArray_t<CFDictionary_t>";
};

template <class W> W CFDictionary_t::get(CFStringRef key) const {
    CFTypeRef value;
    if (!CFDictionaryGetValueIfPresent(ref_, key, &value)) {
        std::string signature =
            std::string("T CFDictionary_t::get(const __CFString*) const [with T = ") +
            CFWrapperName<W>::name + "]";
        throwRTE(signature.c_str(), "dictionary doesn't have key '%s'", toString(key).c_str());
    }
    return W(value, W::Get);
}

// A read stream, open for the wrapper's whole life and closed by its destructor.
class CFReadStream_t : public CoreType<CFReadStreamRef, CFReadStreamGetTypeID> {
  public:
    // Adopts and opens a stream. REQUIRES: rule is Create. Throws "couldn't open read stream
    // (file not found?)" when it does not open.
    CFReadStream_t(const void* ref, Rule rule);
    // Opens the URL's file. Throws "couldn't open read stream URL '...' (file not found?)".
    explicit CFReadStream_t(const CFURL_t& url);
    CFReadStream_t(const CFReadStream_t&) = delete;
    CFReadStream_t& operator=(const CFReadStream_t&) = delete;
    ~CFReadStream_t() override;

    bool seekAbsolute(int offset);
    bool seekRelative(int delta);
};

// Orders strings by literal, case-sensitive comparison (for maps keyed by CFString_t).
struct CFStringCmp {
    bool operator()(const CFString_t& a, const CFString_t& b) const {
        return CFStringCompare(a, b, 0) == kCFCompareLessThan;
    }
};

// A string made from UTF-8 bytes, or from ISO Latin 1 when they are not valid UTF-8.
CFString_t makeString(std::string_view bytes);
