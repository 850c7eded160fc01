// utility.cpp - the query and cookie scanners, the typed getters and the two escapers.
#include "web/utility.h"

#include "cf/Assert.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <memory>

// --- request variables ----------------------------------------------------------------------

// The value of a hex digit; any other character counts as 0 (no rejection, on purpose).
static int _hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return 0;
}

// Scans a name up to the next "=" and leaves p on it. False (p at end) when there is none.
static bool _scanName(std::string::const_iterator& p, std::string::const_iterator end,
                      std::string& name) {
    std::string::const_iterator start = p;
    while (p != end && *p != '=')
        ++p;
    if (p == end) return false;
    name.assign(start, p);
    return true;
}

void VarMap::queryToMap(const std::string& query) {
    std::string::const_iterator p = query.begin(), end = query.end();
    std::string name;
    while (p != end) {
        if (!_scanName(p, end, name)) return;
        std::string value;
        for (++p; p != end && *p != '&'; ++p) {
            if (*p == '+') {
                value.push_back(' ');
            } else if (*p == '%') {
                if (++p == end) break;
                int byte = _hexValue(*p);
                if (++p == end) {
                    value.push_back(char(byte));
                    break;
                }
                value.push_back(char((byte << 4) | _hexValue(*p)));
            } else {
                value.push_back(*p);
            }
        }
        if (p != end) ++p; // past the "&"
        try_emplace(std::move(name), std::move(value));
    }
}

void VarMap::cookiesToMap(const std::string& cookies) {
    std::string::const_iterator p = cookies.begin(), end = cookies.end();
    std::string name;
    eatWhitespace(p, end);
    while (p != end) {
        if (!_scanName(p, end, name)) return;
        std::string::const_iterator start = ++p;
        while (p != end && *p != ';')
            ++p;
        std::string value(start, p);
        if (p != end) ++p; // past the ";"
        eatWhitespace(p, end);
        try_emplace(std::move(name), std::move(value));
    }
}

void VarMap::eatWhitespace(std::string::const_iterator& p, std::string::const_iterator end) {
    // A byte above 127 is a negative signed char, which is never white space (and isspace must
    // not be handed a negative value).
    while (p != end) {
        signed char c = static_cast<signed char>(*p);
        if (c < 0 || !isspace(c)) return;
        ++p;
    }
}

bool VarMap::getString(const char* name, std::string& value, const std::string& def) const {
    const_iterator found = find(name);
    if (found == end()) {
        value = def;
        return false;
    }
    value = found->second;
    return true;
}

bool VarMap::getInt(const char* name, int& value, int def) const {
    const_iterator found = find(name);
    if (found == end()) {
        value = def;
        return false;
    }
    value = int(atol(found->second.c_str()));
    return true;
}

void queryToVector(std::vector<uint32_t>& list, const std::string& text) {
    list.clear();
    uint32_t number = 0;
    for (char c : text) {
        if (c >= '0' && c <= '9') {
            number = number * 10 + uint32_t(c - '0');
        } else if (c == ',') {
            list.push_back(number);
            number = 0;
        } else {
            break;
        }
    }
    list.push_back(number);
}

// --- escaping -------------------------------------------------------------------------------

// Calls visit(units, start, count) over the UTF-16 units of s: once over the whole storage when
// the string gives direct access (units are then one byte or two each), otherwise block by
// block through a 64-unit buffer, so that no character costs an allocation.
template <class Visit> static void _forEachBlock(CFStringRef s, Visit&& visit) {
    CFIndex length = CFStringGetLength(s);
    if (const uint8_t* narrow = CFStringGetLatin1Ptr(s)) return visit(narrow, CFIndex(0), length);
    if (const UniChar* wide = CFStringGetCharactersPtr(s)) return visit(wide, CFIndex(0), length);
    UniChar block[64];
    for (CFIndex start = 0; start < length; start += 64) {
        CFIndex count = std::min<CFIndex>(64, length - start);
        CFStringGetCharacters(s, CFRangeMake(start, count), block);
        visit(static_cast<const UniChar*>(block), start, count);
    }
}

void writePendingText(std::ostream& os, CFStringRef s, long& last, long& current,
                      const char* replacement) {
    TS_ASSERT(current >= last, "utility", 161);
    if (current == last) return;
    // Two bytes a unit is too small for characters of three UTF-8 bytes; such a stretch is cut
    // at the last whole character that fits. Pages have always been written this way.
    CFIndex units = current - last;
    size_t size = size_t(units) * 2;
    uint8_t small[512];
    std::unique_ptr<uint8_t[]> large;
    uint8_t* buffer = small;
    if (size > sizeof small) {
        large.reset(new uint8_t[size]);
        buffer = large.get();
    }
    CFIndex used = 0;
    CFStringGetBytes(s, CFRangeMake(last, units), kCFStringEncodingUTF8, 0, false, buffer,
                     CFIndex(size), &used);
    os.write(reinterpret_cast<const char*>(buffer), used);
    if (replacement) os << replacement;
    last = current + 1;
}

std::ostream& operator<<(std::ostream& os, const HtmlString& string) {
    CFStringRef s = string.get();
    long last = 0;
    _forEachBlock(s, [&](const auto* units, CFIndex start, CFIndex count) {
        for (CFIndex i = 0; i < count; ++i) {
            long current = start + i;
            switch (units[i]) {
            case '"':
                writePendingText(os, s, last, current, "&quot;");
                break;
            case '&':
                writePendingText(os, s, last, current, "&amp;");
                break;
            case '<':
                writePendingText(os, s, last, current, "&lt;");
                break;
            case '>':
                writePendingText(os, s, last, current, "&gt;");
                break;
            default:
                break;
            }
        }
    });
    long length = CFStringGetLength(s);
    writePendingText(os, s, last, length, nullptr);
    return os;
}

static const char kHexDigits[] = "0123456789abcdef";

namespace {
// Collects output bytes and hands them to the stream in blocks rather than one by one.
class _BlockWriter {
  public:
    explicit _BlockWriter(std::ostream& os) : os_(os) {}
    ~_BlockWriter() { flush(); }
    void put(char c) {
        if (used_ == sizeof buffer_) flush();
        buffer_[used_++] = c;
    }
    void flush() {
        os_.write(buffer_, std::streamsize(used_));
        used_ = 0;
    }

  private:
    std::ostream& os_;
    char buffer_[256];
    size_t used_ = 0;
};
} // namespace

std::ostream& operator<<(std::ostream& os, const JavascriptString& string) {
    bool escaped = false;
    {
        _BlockWriter out(os);
        out.put('"');
        _forEachBlock(string.string().get(), [&](const auto* units, CFIndex, CFIndex count) {
            for (CFIndex i = 0; i < count; ++i) {
                unsigned unit = units[i];
                if (unit >= 0x20 && unit <= 0x7E && unit != '"' && unit != '\\') {
                    out.put(char(unit));
                    continue;
                }
                out.put('\\');
                out.put('u');
                for (int shift = 12; shift >= 0; shift -= 4)
                    out.put(kHexDigits[(unit >> shift) & 0xF]);
                escaped = true;
            }
        });
        out.put('"');
    }
    // The escapes used to be written with a zero fill and a hexadecimal base that was then set
    // back to decimal; callers may have come to depend on that state, so it is left the same.
    if (escaped) {
        os.fill('0');
        os.setf(std::ios::dec, std::ios::basefield);
    }
    return os;
}
