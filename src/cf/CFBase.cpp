// CFBase.cpp - retain, release and type ids shared by every platform value.
#include "cf/CFBase.h"

#include "cf/CFInternal.h"

#include <cstdio>
#include <cstdlib>

static const CFRuntimeBase* _base(CFTypeRef value) {
    return static_cast<const CFRuntimeBase*>(value);
}

void* _CFRuntimeCreate(CFTypeID type, size_t size) {
    void* memory = calloc(1, size);
    if (!memory) {
        fputs("out of memory\n", stderr);
        abort();
    }
    auto* base = static_cast<CFRuntimeBase*>(memory);
    base->typeID = static_cast<uint32_t>(type);
    base->retainCount = 1;
    return memory;
}

CFTypeRef CFRetain(CFTypeRef value) {
    auto* base = const_cast<CFRuntimeBase*>(_base(value));
    // Immortal counts are never written, so reading one without ordering is safe.
    if (__atomic_load_n(&base->retainCount, __ATOMIC_RELAXED) != kCFImmortal)
        __atomic_fetch_add(&base->retainCount, 1, __ATOMIC_RELAXED);
    return value;
}

void CFRelease(CFTypeRef value) {
    auto* base = const_cast<CFRuntimeBase*>(_base(value));
    if (__atomic_load_n(&base->retainCount, __ATOMIC_RELAXED) == kCFImmortal) return;
    // The last release must see every write other threads made before their own releases.
    if (__atomic_sub_fetch(&base->retainCount, 1, __ATOMIC_ACQ_REL) > 0) return;
    switch (base->typeID) {
    case kCFStringTypeID:
        _CFStringFinalize(value);
        break;
    case kCFDataTypeID:
        _CFDataFinalize(value);
        break;
    case kCFURLTypeID:
        _CFURLFinalize(value);
        break;
    case kCFArrayTypeID:
        _CFArrayFinalize(value);
        break;
    case kCFDictionaryTypeID:
        _CFDictionaryFinalize(value);
        break;
    case kCFReadStreamTypeID:
        _CFReadStreamFinalize(value);
        break;
    default:
        break;
    }
    free(base);
}

CFTypeID CFGetTypeID(CFTypeRef value) {
    return _base(value)->typeID;
}

CFIndex CFGetRetainCount(CFTypeRef value) {
    uint32_t count = __atomic_load_n(&_base(value)->retainCount, __ATOMIC_RELAXED);
    return count == kCFImmortal ? CFIndex(0x7FFFFFFF) : CFIndex(count);
}

