// Plist.h - building property-list values for the writer: each function returns a new value
// the caller owns, and the containers take over the values handed to them.
#pragma once

#include "cf/CFArray.h"
#include "cf/CFDictionary.h"
#include "cf/CFNumber.h"
#include "cf/CFString.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace demo {

// Text in UTF-8; bytes that are not UTF-8 (a path, say) are taken as ISO Latin 1.
inline CFTypeRef plString(std::string_view text) {
    CFStringRef s =
        CFStringCreateWithBytes(text.data(), CFIndex(text.size()), kCFStringEncodingUTF8);
    return s ? s
             : CFStringCreateWithBytes(text.data(), CFIndex(text.size()),
                                       kCFStringEncodingISOLatin1);
}
inline CFTypeRef plInteger(int64_t value) {
    return CFNumberCreate(kCFNumberSInt64Type, &value);
}
inline CFTypeRef plReal(double value) {
    return CFNumberCreate(kCFNumberDoubleType, &value);
}
inline CFTypeRef plBoolean(bool value) {
    return value ? kCFBooleanTrue : kCFBooleanFalse;
}
inline CFTypeRef plArray(const std::vector<CFTypeRef>& values) {
    return _CFArrayCreateTakingValues(values.data(), CFIndex(values.size()));
}
inline CFTypeRef plDict(const std::vector<std::pair<std::string_view, CFTypeRef>>& entries) {
    std::vector<CFTypeRef> keys, values;
    for (const auto& [key, value] : entries) {
        keys.push_back(plString(key));
        values.push_back(value);
    }
    return _CFDictionaryCreateTakingPairs(keys.data(), values.data(), CFIndex(keys.size()));
}

} // namespace demo
