// Values.h - building property-list values for the preferences: each function returns a new
// value the caller owns; the containers take over the values handed to them.
#pragma once

#include "cf/CFArray.h"
#include "cf/CFDictionary.h"
#include "cf/CFNumber.h"
#include "cf/cftempl.h"

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace ctl {

// Text in UTF-8; bytes that are not UTF-8 (a path, say) are taken as ISO Latin 1.
inline CFTypeRef newString(std::string_view text) {
    return CFRetain(makeString(text).get());
}
inline CFTypeRef newInteger(int64_t value) {
    return CFNumberCreate(kCFNumberSInt64Type, &value);
}
inline CFTypeRef newBoolean(bool value) {
    return CFRetain(value ? kCFBooleanTrue : kCFBooleanFalse);
}
inline CFTypeRef newArray(const std::vector<CFTypeRef>& values) {
    return _CFArrayCreateTakingValues(values.data(), CFIndex(values.size()));
}

// A copy of base (null: empty) with the given keys set; a null value removes its key.
CFTypeRef newDictionaryWith(CFDictionaryRef base,
                            const std::vector<std::pair<std::string_view, CFTypeRef>>& changes);

} // namespace ctl
