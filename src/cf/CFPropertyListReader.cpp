// CFPropertyListReader.cpp - streams an XML property list through expat into values.
#include "cf/CFPropertyList.h"

#include "cf/CFArray.h"
#include "cf/CFData.h"
#include "cf/CFDictionary.h"
#include "cf/CFNumber.h"
#include "cf/CFString.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <expat.h>
#include <unordered_map>
#include <vector>

namespace {

constexpr size_t kMaxDepth = 512;
constexpr size_t kMaxSharedKeys = 4096;
constexpr size_t kReadSize = 1 << 16;
constexpr size_t kMaxReadSize = size_t(1) << 28;

enum class Leaf { None, Key, String, Integer, Real, Date, Data };

struct Frame {
    bool dict;
    size_t start; // first item of this container in Reader::items
};

class Reader {
  public:
    Reader() : parser_(XML_ParserCreate(nullptr)) {
        XML_SetUserData(parser_, this);
        XML_SetElementHandler(parser_, &Reader::_StartElementCallBack,
                              &Reader::_EndElementCallBack);
        XML_SetCharacterDataHandler(parser_, &Reader::_CharacterDataCallBack);
        XML_SetEntityDeclHandler(parser_, &Reader::_EntityDeclCallBack);
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader() {
        for (CFTypeRef item : items_)
            CFRelease(item);
        for (auto& shared : keys_)
            CFRelease(shared.second);
        if (root_) CFRelease(root_);
        XML_ParserFree(parser_);
    }

    // Feeds the next bytes (final: no more follow). False once the document is known bad.
    bool feed(const char* bytes, size_t length, bool final) {
        void* buffer = XML_GetBuffer(parser_, int(length));
        if (!buffer) return fail("out of memory");
        if (length) memcpy(buffer, bytes, length);
        return parse(length, final);
    }
    // Expat cannot split a tag or a comment: one that spans many reads is scanned again from its
    // start on every read, which a hostile file could make quadratic. A read that brings no
    // event doubles the next one, so such a token costs a few scans; events bring it back down.
    bool feedFromStream(CFReadStreamRef stream) {
        size_t readSize = kReadSize;
        for (;;) {
            void* buffer = XML_GetBuffer(parser_, int(readSize));
            if (!buffer) return fail("out of memory");
            CFIndex n = CFReadStreamRead(stream, static_cast<uint8_t*>(buffer), CFIndex(readSize));
            if (n < 0) return fail(std::string("read error: ") + strerror(errno));
            events_ = 0;
            if (!parse(size_t(n), n == 0)) return false;
            if (n == 0) return true;
            readSize = events_ ? kReadSize : std::min(readSize * 2, kMaxReadSize);
        }
    }

    // The root value once the whole document has been fed, or null. The caller must release.
    CFTypeRef takeRoot(CFPropertyListError* error) {
        if (error_.reason.empty() && !root_) fail("no property list value in the document");
        if (!error_.reason.empty()) {
            if (error) *error = error_;
            return nullptr;
        }
        CFTypeRef root = root_;
        root_ = nullptr;
        return root;
    }

  private:
    bool parse(size_t length, bool final) {
        if (!error_.reason.empty()) return false;
        if (XML_ParseBuffer(parser_, int(length), final) == XML_STATUS_ERROR) {
            if (error_.reason.empty()) fail(XML_ErrorString(XML_GetErrorCode(parser_)));
            return false;
        }
        return error_.reason.empty();
    }

    bool fail(const std::string& why) {
        if (error_.reason.empty()) {
            error_.reason = why;
            error_.line = XML_GetCurrentLineNumber(parser_);
            error_.column = XML_GetCurrentColumnNumber(parser_) + 1;
            XML_StopParser(parser_, XML_FALSE);
        }
        return false;
    }

    // True when a value may stand here: as the root, in an array, or after a key in a dict.
    bool valueAllowed() const {
        if (frames_.empty()) return !root_;
        const Frame& top = frames_.back();
        return !top.dict || (items_.size() - top.start) % 2 == 1;
    }

    void push(CFTypeRef value) {
        if (frames_.empty()) {
            root_ = value;
        } else {
            items_.push_back(value);
        }
    }

    void startElement(const char* name) {
        ++events_;
        if (!error_.reason.empty()) return;
        if (leaf_ != Leaf::None) return void(fail("element inside a text element"));
        if (strcmp(name, "plist") == 0) {
            if (!frames_.empty() || root_ || sawPlist_) return void(fail("misplaced <plist>"));
            sawPlist_ = true;
            return;
        }
        if (strcmp(name, "key") == 0) {
            if (frames_.empty() || !frames_.back().dict || valueAllowed())
                return void(fail("misplaced <key>"));
            return startLeaf(Leaf::Key);
        }
        if (!valueAllowed()) return void(fail(std::string("misplaced <") + name + ">"));
        if (strcmp(name, "dict") == 0 || strcmp(name, "array") == 0) {
            if (frames_.size() >= kMaxDepth) return void(fail("nested too deeply"));
            frames_.push_back(Frame{name[0] == 'd', items_.size()});
        } else if (strcmp(name, "string") == 0) {
            startLeaf(Leaf::String);
        } else if (strcmp(name, "integer") == 0) {
            startLeaf(Leaf::Integer);
        } else if (strcmp(name, "real") == 0) {
            startLeaf(Leaf::Real);
        } else if (strcmp(name, "date") == 0) {
            startLeaf(Leaf::Date);
        } else if (strcmp(name, "data") == 0) {
            startLeaf(Leaf::Data);
        } else if (strcmp(name, "true") == 0) {
            push(kCFBooleanTrue);
        } else if (strcmp(name, "false") == 0) {
            push(kCFBooleanFalse);
        } else {
            fail(std::string("unknown element <") + name + ">");
        }
    }

    void startLeaf(Leaf leaf) {
        leaf_ = leaf;
        text_.clear();
    }

    void endElement(const char* name) {
        ++events_;
        if (!error_.reason.empty()) return;
        if (leaf_ != Leaf::None) {
            Leaf leaf = leaf_;
            leaf_ = Leaf::None;
            CFTypeRef value = makeLeaf(leaf);
            if (value) {
                push(value);
            } else {
                fail("bad text");
            }
            return;
        }
        if (strcmp(name, "dict") == 0 || strcmp(name, "array") == 0) endContainer();
    }

    void endContainer() {
        Frame frame = frames_.back();
        frames_.pop_back();
        size_t count = items_.size() - frame.start;
        const CFTypeRef* first = items_.data() + frame.start;
        CFTypeRef container;
        if (frame.dict) {
            if (count % 2) return void(fail("<key> without a value"));
            scratchKeys_.clear();
            scratchValues_.clear();
            for (size_t i = 0; i < count; i += 2) {
                scratchKeys_.push_back(first[i]);
                scratchValues_.push_back(first[i + 1]);
            }
            container = _CFDictionaryCreateTakingPairs(scratchKeys_.data(), scratchValues_.data(),
                                                       CFIndex(count / 2));
        } else {
            container = _CFArrayCreateTakingValues(first, CFIndex(count));
        }
        items_.resize(frame.start);
        push(container);
    }

    CFTypeRef makeLeaf(Leaf leaf) {
        switch (leaf) {
        case Leaf::Key:
            return sharedKey();
        case Leaf::String:
            if (text_.empty()) return CFSTR("");
            return CFStringCreateWithBytes(text_.data(), CFIndex(text_.size()),
                                           kCFStringEncodingUTF8);
        case Leaf::Integer:
            return makeInteger();
        case Leaf::Real:
            return makeReal();
        case Leaf::Date:
            return makeDate();
        case Leaf::Data:
            return makeData();
        case Leaf::None:
            break;
        }
        return nullptr;
    }

    // Keys repeat in every photo's dictionary: one string serves them all. Photo ids (all
    // digits) are unique keys, so they are not worth remembering.
    CFTypeRef sharedKey() {
        auto found = keys_.find(text_);
        if (found != keys_.end()) return CFRetain(found->second);
        CFStringRef key =
            CFStringCreateWithBytes(text_.data(), CFIndex(text_.size()), kCFStringEncodingUTF8);
        bool digits = !text_.empty() && text_.find_first_not_of("0123456789") == std::string::npos;
        if (!digits && keys_.size() < kMaxSharedKeys)
            keys_.emplace(text_, static_cast<CFStringRef>(CFRetain(key)));
        return key;
    }

    std::string_view trimmedText() const {
        std::string_view text(text_);
        size_t begin = text.find_first_not_of(" \t\r\n");
        if (begin == std::string_view::npos) return {};
        size_t end = text.find_last_not_of(" \t\r\n");
        return text.substr(begin, end - begin + 1);
    }

    CFTypeRef makeInteger() {
        std::string text(trimmedText());
        const char* digits = text.c_str();
        bool negative = *digits == '-';
        const char* body = digits + (negative || *digits == '+');
        int base = body[0] == '0' && (body[1] == 'x' || body[1] == 'X') ? 16 : 10;
        char* end = nullptr;
        errno = 0;
        long long value = strtoll(digits, &end, base);
        if (text.empty() || *end || errno == ERANGE) {
            // Values above the signed range are kept by their bits, as unsigned numbers are.
            errno = 0;
            unsigned long long big = negative ? 0 : strtoull(digits, &end, base);
            if (negative || text.empty() || *end || errno == ERANGE)
                return fail("bad <integer>"), nullptr;
            value = static_cast<long long>(big);
        }
        int64_t v = value;
        return CFNumberCreate(kCFNumberSInt64Type, &v);
    }

    CFTypeRef makeReal() {
        std::string text(trimmedText());
        char* end = nullptr;
        double value = strtod(text.c_str(), &end);
        if (text.empty() || *end) return fail("bad <real>"), nullptr;
        return CFNumberCreate(kCFNumberDoubleType, &value);
    }

    CFTypeRef makeDate() {
        std::string text(trimmedText());
        struct tm parts = {};
        int consumed = 0;
        if (sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2dZ%n", &parts.tm_year, &parts.tm_mon,
                   &parts.tm_mday, &parts.tm_hour, &parts.tm_min, &parts.tm_sec, &consumed) != 6 ||
            size_t(consumed) != text.size())
            return fail("bad <date>"), nullptr;
        parts.tm_year -= 1900;
        parts.tm_mon -= 1;
        double seconds = double(timegm(&parts));
        return CFDateCreate(seconds - kCFAbsoluteTimeIntervalSince1970);
    }

    CFTypeRef makeData() {
        CFMutableDataRef data = CFDataCreateMutable(CFIndex(text_.size() / 4 * 3 + 3));
        uint32_t accumulator = 0;
        int bits = 0;
        bool padding = false;
        for (unsigned char c : text_) {
            int value;
            if (c >= 'A' && c <= 'Z') {
                value = c - 'A';
            } else if (c >= 'a' && c <= 'z') {
                value = c - 'a' + 26;
            } else if (c >= '0' && c <= '9') {
                value = c - '0' + 52;
            } else if (c == '+') {
                value = 62;
            } else if (c == '/') {
                value = 63;
            } else if (c == '=') {
                padding = true;
                continue;
            } else if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
                continue;
            } else {
                CFRelease(data);
                return fail("bad <data>"), nullptr;
            }
            if (padding) {
                CFRelease(data);
                return fail("bad <data>"), nullptr;
            }
            accumulator = (accumulator << 6) | uint32_t(value);
            bits += 6;
            if (bits >= 8) {
                bits -= 8;
                uint8_t byte = uint8_t(accumulator >> bits);
                CFDataAppendBytes(data, &byte, 1);
            }
        }
        return data;
    }

    static void XMLCALL _StartElementCallBack(void* reader, const XML_Char* name,
                                              const XML_Char**) {
        static_cast<Reader*>(reader)->startElement(name);
    }
    static void XMLCALL _EndElementCallBack(void* reader, const XML_Char* name) {
        static_cast<Reader*>(reader)->endElement(name);
    }
    static void XMLCALL _CharacterDataCallBack(void* reader, const XML_Char* text, int length) {
        auto* self = static_cast<Reader*>(reader);
        ++self->events_;
        if (self->leaf_ != Leaf::None) self->text_.append(text, size_t(length));
    }
    // Entity declarations have no place in a property list, and refusing them rules out
    // entity-expansion bombs.
    static void XMLCALL _EntityDeclCallBack(void* reader, const XML_Char*, int, const XML_Char*,
                                            int, const XML_Char*, const XML_Char*, const XML_Char*,
                                            const XML_Char*) {
        static_cast<Reader*>(reader)->fail("entity declaration");
    }

    XML_Parser parser_;
    std::vector<CFTypeRef> items_; // values (and dict keys) of the open containers
    std::vector<Frame> frames_;
    std::vector<CFTypeRef> scratchKeys_, scratchValues_;
    std::unordered_map<std::string, CFStringRef> keys_;
    Leaf leaf_ = Leaf::None;
    std::string text_;
    CFTypeRef root_ = nullptr;
    bool sawPlist_ = false;
    size_t events_ = 0; // parser events during the current read
    CFPropertyListError error_;
};

} // namespace

std::string CFPropertyListError::text() const {
    return reason + " at line " + std::to_string(line) + ", column " + std::to_string(column);
}

CFTypeRef CFPropertyListCreateFromStream(CFReadStreamRef stream, CFPropertyListError* error) {
    Reader reader;
    reader.feedFromStream(stream);
    return reader.takeRoot(error);
}

CFTypeRef CFPropertyListCreateFromStream(CFReadStreamRef stream, std::string* error) {
    CFPropertyListError why;
    CFTypeRef root = CFPropertyListCreateFromStream(stream, &why);
    if (!root && error) *error = why.text();
    return root;
}

CFTypeRef CFPropertyListCreateFromXMLData(std::string_view xml, CFPropertyListError* error) {
    Reader reader;
    reader.feed(xml.data(), xml.size(), true);
    return reader.takeRoot(error);
}

CFTypeRef CFPropertyListCreateFromXMLData(std::string_view xml, std::string* error) {
    CFPropertyListError why;
    CFTypeRef root = CFPropertyListCreateFromXMLData(xml, &why);
    if (!root && error) *error = why.text();
    return root;
}
