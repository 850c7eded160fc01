// CFNumber.cpp - numbers, booleans and dates.
#include "cf/CFNumber.h"

#include "cf/CFInternal.h"

#include <cmath>
#include <cstring>
#include <ctime>
#include <limits>

struct CFNumber {
    CFRuntimeBase base;
    bool real;
    union {
        int64_t integer;
        double floating;
    };
};

struct CFBoolean {
    CFRuntimeBase base;
    bool value;
};

struct CFDate {
    CFRuntimeBase base;
    CFAbsoluteTime time;
};

CFTypeID CFNumberGetTypeID() {
    return kCFNumberTypeID;
}

CFNumberRef CFNumberCreate(CFNumberType type, const void* valuePtr) {
    auto* n = static_cast<CFNumber*>(_CFRuntimeCreate(kCFNumberTypeID, sizeof(CFNumber)));
    switch (type) {
    case kCFNumberSInt32Type:
    case kCFNumberIntType: {
        int32_t v;
        memcpy(&v, valuePtr, sizeof v);
        n->integer = v;
        break;
    }
    case kCFNumberSInt64Type:
        memcpy(&n->integer, valuePtr, sizeof n->integer);
        break;
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
        n->real = true;
        memcpy(&n->floating, valuePtr, sizeof n->floating);
        break;
    }
    return n;
}

template <class Int> static bool _fromDouble(double d, Int* out) {
    if (std::isnan(d)) {
        *out = 0;
        return false;
    }
    double low = double(std::numeric_limits<Int>::min()),
           high = double(std::numeric_limits<Int>::max());
    if (d <= low) {
        *out = std::numeric_limits<Int>::min();
        return d == low;
    }
    if (d >= high) {
        *out = std::numeric_limits<Int>::max();
        return false;
    }
    *out = Int(d);
    return double(*out) == d;
}

bool CFNumberGetValue(CFNumberRef n, CFNumberType type, void* valuePtr) {
    switch (type) {
    case kCFNumberSInt32Type:
    case kCFNumberIntType: {
        int32_t v;
        bool exact;
        if (n->real) {
            exact = _fromDouble(n->floating, &v);
        } else {
            v = int32_t(uint32_t(uint64_t(n->integer))); // keep the low bits
            exact = v == n->integer;
        }
        memcpy(valuePtr, &v, sizeof v);
        return exact;
    }
    case kCFNumberSInt64Type: {
        int64_t v;
        bool exact = true;
        if (n->real) {
            exact = _fromDouble(n->floating, &v);
        } else {
            v = n->integer;
        }
        memcpy(valuePtr, &v, sizeof v);
        return exact;
    }
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType: {
        double v = n->real ? n->floating : double(n->integer);
        memcpy(valuePtr, &v, sizeof v);
        return true;
    }
    }
    return false;
}

bool CFNumberIsFloatType(CFNumberRef n) {
    return n->real;
}

CFTypeID CFBooleanGetTypeID() {
    return kCFBooleanTypeID;
}

static CFBoolean _true{{kCFBooleanTypeID, kCFImmortal}, true};
static CFBoolean _false{{kCFBooleanTypeID, kCFImmortal}, false};
const CFBooleanRef kCFBooleanTrue = &_true;
const CFBooleanRef kCFBooleanFalse = &_false;

bool CFBooleanGetValue(CFBooleanRef b) {
    return b->value;
}

CFDateRef CFDateCreate(CFAbsoluteTime time) {
    auto* d = static_cast<CFDate*>(_CFRuntimeCreate(kCFDateTypeID, sizeof(CFDate)));
    d->time = time;
    return d;
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date) {
    return date->time;
}

