// CFPropertyListWriter.cpp - writes values as an XML property-list document.
#include "cf/CFPropertyList.h"

#include "cf/CFArray.h"
#include "cf/CFData.h"
#include "cf/CFDictionary.h"
#include "cf/CFNumber.h"
#include "cf/CFString.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

namespace {

void appendEscaped(std::string& out, CFStringRef string) {
    for (unsigned char c : CFStringGetUTF8(string)) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        default:
            if (c >= 0x20 || c == '\t' || c == '\n' || c == '\r') out += char(c);
        }
    }
}

void appendReal(std::string& out, double value) {
    char text[40];
    snprintf(text, sizeof text, "%.15g", value);
    if (strtod(text, nullptr) != value) snprintf(text, sizeof text, "%.17g", value);
    out += text;
}

void appendData(std::string& out, CFDataRef data, const std::string& indent) {
    static const char* alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const uint8_t* p = CFDataGetBytePtr(data);
    size_t n = size_t(CFDataGetLength(data));
    std::string line;
    for (size_t i = 0; i < n; i += 3) {
        uint32_t group = uint32_t(p[i]) << 16;
        if (i + 1 < n) group |= uint32_t(p[i + 1]) << 8;
        if (i + 2 < n) group |= p[i + 2];
        line += alphabet[(group >> 18) & 63];
        line += alphabet[(group >> 12) & 63];
        line += i + 1 < n ? alphabet[(group >> 6) & 63] : '=';
        line += i + 2 < n ? alphabet[group & 63] : '=';
        if (line.size() >= 68) {
            out += indent + line + "\n";
            line.clear();
        }
    }
    if (!line.empty()) out += indent + line + "\n";
}

void appendValue(std::string& out, CFTypeRef value, int depth) {
    std::string indent(size_t(depth), '\t');
    out += indent;
    switch (CFGetTypeID(value)) {
    case kCFStringTypeID:
        out += "<string>";
        appendEscaped(out, static_cast<CFStringRef>(value));
        out += "</string>\n";
        break;
    case kCFNumberTypeID: {
        auto number = static_cast<CFNumberRef>(value);
        if (CFNumberIsFloatType(number)) {
            double real;
            CFNumberGetValue(number, kCFNumberDoubleType, &real);
            out += "<real>";
            appendReal(out, real);
            out += "</real>\n";
        } else {
            int64_t integer;
            CFNumberGetValue(number, kCFNumberSInt64Type, &integer);
            out += "<integer>" + std::to_string(integer) + "</integer>\n";
        }
        break;
    }
    case kCFBooleanTypeID:
        out += CFBooleanGetValue(static_cast<CFBooleanRef>(value)) ? "<true/>\n" : "<false/>\n";
        break;
    case kCFDateTypeID: {
        time_t seconds = time_t(CFDateGetAbsoluteTime(static_cast<CFDateRef>(value)) +
                                kCFAbsoluteTimeIntervalSince1970);
        struct tm parts;
        gmtime_r(&seconds, &parts);
        char text[32];
        strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
        out += std::string("<date>") + text + "</date>\n";
        break;
    }
    case kCFDataTypeID:
        out += "<data>\n";
        appendData(out, static_cast<CFDataRef>(value), indent);
        out += indent + "</data>\n";
        break;
    case kCFArrayTypeID: {
        auto array = static_cast<CFArrayRef>(value);
        CFIndex count = CFArrayGetCount(array);
        if (count == 0) {
            out += "<array/>\n";
            break;
        }
        out += "<array>\n";
        for (CFIndex i = 0; i < count; ++i)
            appendValue(out, CFArrayGetValueAtIndex(array, i), depth + 1);
        out += indent + "</array>\n";
        break;
    }
    case kCFDictionaryTypeID: {
        auto dict = static_cast<CFDictionaryRef>(value);
        size_t count = size_t(CFDictionaryGetCount(dict));
        if (count == 0) {
            out += "<dict/>\n";
            break;
        }
        std::vector<CFTypeRef> keys(count), values(count);
        CFDictionaryGetKeysAndValues(dict, keys.data(), values.data());
        std::vector<size_t> order(count);
        for (size_t i = 0; i < count; ++i)
            order[i] = i;
        std::sort(order.begin(), order.end(), [&](size_t a, size_t b) {
            return CFStringCompare(static_cast<CFStringRef>(keys[a]),
                                   static_cast<CFStringRef>(keys[b]), 0) == kCFCompareLessThan;
        });
        out += "<dict>\n";
        for (size_t i : order) {
            out += indent + "\t<key>";
            appendEscaped(out, static_cast<CFStringRef>(keys[i]));
            out += "</key>\n";
            appendValue(out, values[i], depth + 1);
        }
        out += indent + "</dict>\n";
        break;
    }
    default:
        out += "<string></string>\n";
        break;
    }
}

} // namespace

std::string CFPropertyListCreateXMLText(CFTypeRef value) {
    // Readers need no document type line: the root element says what the document is.
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                      "<plist version=\"1.0\">\n";
    appendValue(out, value, 0);
    out += "</plist>\n";
    return out;
}
