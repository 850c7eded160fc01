// CFDictionary.cpp - immutable dictionaries: pairs inline in creation order, and for larger
// dictionaries a sorted index so that lookups cost a binary search.
#include "cf/CFDictionary.h"

#include "cf/CFInternal.h"
#include "cf/CFString.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {
struct Pair {
    CFTypeRef key;
    CFTypeRef value;
};
} // namespace

struct CFDictionary {
    CFRuntimeBase base;
    uint32_t count;
    uint32_t* index; // pair positions sorted by key, or null for small dictionaries
    Pair pairs[];
};

// Below this size a linear scan beats the index.
constexpr uint32_t kIndexedFrom = 24;

CFTypeID CFDictionaryGetTypeID() {
    return kCFDictionaryTypeID;
}

static CFStringRef _key(const Pair& pair) {
    return static_cast<CFStringRef>(pair.key);
}

CFDictionaryRef _CFDictionaryCreateTakingPairs(const CFTypeRef* keys, const CFTypeRef* values,
                                               CFIndex count) {
    size_t n = count > 0 ? size_t(count) : 0;
    auto* d = static_cast<CFDictionary*>(
        _CFRuntimeCreate(kCFDictionaryTypeID, sizeof(CFDictionary) + n * sizeof(Pair)));
    for (size_t i = 0; i < n; ++i)
        d->pairs[i] = Pair{keys[i], values[i]};
    d->count = uint32_t(n);
    if (n < kIndexedFrom) {
        // Drop earlier duplicates so the last value of a repeated key wins.
        uint32_t kept = 0;
        for (uint32_t i = 0; i < n; ++i) {
            bool later = false;
            for (uint32_t j = i + 1; j < n && !later; ++j)
                later = CFStringEqual(_key(d->pairs[i]), _key(d->pairs[j]));
            if (later) {
                CFRelease(d->pairs[i].key);
                CFRelease(d->pairs[i].value);
            } else {
                d->pairs[kept++] = d->pairs[i];
            }
        }
        d->count = kept;
        return d;
    }
    std::vector<uint32_t> order(n);
    for (uint32_t i = 0; i < n; ++i)
        order[i] = i;
    std::stable_sort(order.begin(), order.end(), [d](uint32_t a, uint32_t b) {
        return CFStringCompare(_key(d->pairs[a]), _key(d->pairs[b]), 0) == kCFCompareLessThan;
    });
    // Equal keys sit side by side in creation order: keep the last of each run.
    std::vector<uint32_t> unique;
    unique.reserve(n);
    std::vector<bool> dropped(n, false);
    for (size_t i = 0; i < n; ++i) {
        if (i + 1 < n && CFStringEqual(_key(d->pairs[order[i]]), _key(d->pairs[order[i + 1]]))) {
            dropped[order[i]] = true;
        } else {
            unique.push_back(order[i]);
        }
    }
    if (unique.size() != n) {
        // Compact the pairs, keeping creation order, and renumber the index.
        std::vector<uint32_t> moved(n);
        uint32_t kept = 0;
        for (uint32_t i = 0; i < n; ++i) {
            if (dropped[i]) {
                CFRelease(d->pairs[i].key);
                CFRelease(d->pairs[i].value);
                continue;
            }
            moved[i] = kept;
            d->pairs[kept++] = d->pairs[i];
        }
        for (auto& position : unique)
            position = moved[position];
        d->count = kept;
    }
    d->index = static_cast<uint32_t*>(malloc(unique.size() * sizeof(uint32_t)));
    if (!d->index) abort();
    memcpy(d->index, unique.data(), unique.size() * sizeof(uint32_t));
    return d;
}

CFDictionaryRef CFDictionaryCreate(const CFTypeRef* keys, const CFTypeRef* values, CFIndex count) {
    for (CFIndex i = 0; i < count; ++i) {
        CFRetain(keys[i]);
        CFRetain(values[i]);
    }
    return _CFDictionaryCreateTakingPairs(keys, values, count);
}

CFIndex CFDictionaryGetCount(CFDictionaryRef d) {
    return CFIndex(d->count);
}

static const Pair* _find(CFDictionaryRef d, CFStringRef key) {
    if (!d->index) {
        for (uint32_t i = 0; i < d->count; ++i)
            if (CFStringEqual(_key(d->pairs[i]), key)) return &d->pairs[i];
        return nullptr;
    }
    uint32_t low = 0, high = d->count;
    while (low < high) {
        uint32_t mid = low + (high - low) / 2;
        const Pair& pair = d->pairs[d->index[mid]];
        CFComparisonResult c = CFStringCompare(_key(pair), key, 0);
        if (c == kCFCompareEqualTo) return &pair;
        if (c == kCFCompareLessThan) {
            low = mid + 1;
        } else {
            high = mid;
        }
    }
    return nullptr;
}

bool CFDictionaryGetValueIfPresent(CFDictionaryRef d, CFTypeRef key, CFTypeRef* value) {
    if (!key || CFGetTypeID(key) != kCFStringTypeID) return false;
    const Pair* pair = _find(d, static_cast<CFStringRef>(key));
    if (pair && value) *value = pair->value;
    return pair != nullptr;
}

CFTypeRef CFDictionaryGetValue(CFDictionaryRef d, CFTypeRef key) {
    CFTypeRef value = nullptr;
    return CFDictionaryGetValueIfPresent(d, key, &value) ? value : nullptr;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef d, CFTypeRef* keys, CFTypeRef* values) {
    for (uint32_t i = 0; i < d->count; ++i) {
        if (keys) keys[i] = d->pairs[i].key;
        if (values) values[i] = d->pairs[i].value;
    }
}

void _CFDictionaryFinalize(CFTypeRef value) {
    auto* d = static_cast<const CFDictionary*>(value);
    for (uint32_t i = 0; i < d->count; ++i) {
        CFRelease(d->pairs[i].key);
        CFRelease(d->pairs[i].value);
    }
    free(d->index);
}
