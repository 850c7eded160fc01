// cftempl.cpp - the wrappers' out-of-line members, throwRTE and toString.
#include "cf/cftempl.h"

#include "cf/Assert.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <stdexcept>

void throwRTE(const char* func, const char* format, ...) {
    // One buffer per thread: requests are answered on several.
    thread_local char buffer[8192];
    int n = snprintf(buffer, sizeof buffer, "(In %s) : ", func);
    if (n >= 0 && n < int(sizeof buffer) - 1) {
        va_list args;
        va_start(args, format);
        vsnprintf(buffer + n, sizeof buffer - size_t(n), format, args);
        va_end(args);
    }
    throw std::runtime_error(buffer);
}

std::string toString(CFStringRef string) {
    CFString_t held(string, CFString_t::Get);
    uint8_t buffer[1024];
    CFIndex used = 0;
    CFStringGetBytes(held, CFRangeMake(0, CFStringGetLength(held)), kCFStringEncodingUTF8, 0, false,
                     buffer, sizeof buffer, &used);
    return std::string(reinterpret_cast<const char*>(buffer), size_t(used));
}

CFString_t makeString(std::string_view bytes) {
    CFStringRef s =
        CFStringCreateWithBytes(bytes.data(), CFIndex(bytes.size()), kCFStringEncodingUTF8);
    if (!s)
        s = CFStringCreateWithBytes(bytes.data(), CFIndex(bytes.size()),
                                    kCFStringEncodingISOLatin1);
    return CFString_t(s, CFString_t::Create);
}

CFNumber_t::operator int() const {
    int32_t value = 0;
    CFNumberGetValue(ref_, kCFNumberSInt32Type, &value);
    return value;
}

CFNumber_t::operator unsigned int() const {
    return static_cast<unsigned int>(static_cast<int>(*this));
}

CFNumber_t::operator double() const {
    double value = 0;
    CFNumberGetValue(ref_, kCFNumberDoubleType, &value);
    return value;
}

CFString_t CFDictionary_t::get(CFStringRef key, const CFString_t& def) const {
    CFTypeRef value;
    if (!CFDictionaryGetValueIfPresent(ref_, key, &value)) return def;
    return CFString_t(value, CFString_t::Get);
}

CFReadStream_t::CFReadStream_t(const void* ref, Rule rule) : CoreType(ref, rule) {
    TS_ASSERT(rule == Create, "cftempl", 125);
    if (!CFReadStreamOpen(ref_))
        throwRTE("CFReadStream_t", "couldn't open read stream (file not found?)");
}

CFReadStream_t::CFReadStream_t(const CFURL_t& url)
    : CoreType(CFReadStreamCreateWithFile(url), Create) {
    if (!CFReadStreamOpen(ref_))
        throwRTE("CFReadStream_t", "couldn't open read stream URL '%s' (file not found?)",
                 toString(CFURLGetString(url)).c_str());
}

CFReadStream_t::~CFReadStream_t() {
    CFReadStreamClose(ref_);
}

bool CFReadStream_t::seekAbsolute(int offset) {
    int32_t value = offset;
    CFNumber_t number(CFNumberCreate(kCFNumberSInt32Type, &value), CFNumber_t::Create);
    return CFReadStreamSetProperty(ref_, kCFStreamPropertyFileCurrentOffset, number);
}

bool CFReadStream_t::seekRelative(int delta) {
    CFNumber_t current(CFReadStreamCopyProperty(ref_, kCFStreamPropertyFileCurrentOffset),
                       CFNumber_t::Create);
    int32_t offset;
    if (!CFNumberGetValue(current, kCFNumberSInt32Type, &offset)) return false;
    int64_t target = int64_t(offset) + delta;
    if (target < INT32_MIN || target > INT32_MAX) return false;
    return seekAbsolute(int(target));
}
