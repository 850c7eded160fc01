// StrictJson.h - a strict JSON checker for the tests (RFC 8259: one value, no trailing commas,
// no raw control characters or bare backslashes in strings, UTF-8 text), which also hands back
// every string it read, decoded to UTF-8.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace testsupport {

class StrictJson {
  public:
    // Whether text is exactly one JSON value with optional white space around it. On failure
    // error says where; strings() holds the decoded strings read, in order.
    bool parse(std::string_view text) {
        text_ = text;
        at_ = 0;
        strings_.clear();
        error_.clear();
        space();
        if (!value(0)) return false;
        space();
        return at_ == text_.size() || fail("text after the value");
    }
    const std::string& error() const { return error_; }
    const std::vector<std::string>& strings() const { return strings_; }

  private:
    bool fail(const char* what) {
        if (error_.empty())
            error_ = std::string(what) + " at byte " + std::to_string(at_) + ": '" +
                     std::string(text_.substr(at_ > 20 ? at_ - 20 : 0, 40)) + "'";
        return false;
    }
    bool more() const { return at_ < text_.size(); }
    char peek() const { return more() ? text_[at_] : '\0'; }
    void space() {
        while (more() && (peek() == ' ' || peek() == '\t' || peek() == '\n' || peek() == '\r'))
            ++at_;
    }
    bool literal(std::string_view word) {
        if (text_.substr(at_, word.size()) != word) return fail("bad literal");
        at_ += word.size();
        return true;
    }
    bool value(int depth) {
        if (depth > 100) return fail("too deep");
        switch (peek()) {
        case '{':
            return object(depth);
        case '[':
            return array(depth);
        case '"':
            return string();
        case 't':
            return literal("true");
        case 'f':
            return literal("false");
        case 'n':
            return literal("null");
        default:
            return number();
        }
    }
    bool object(int depth) {
        ++at_;
        space();
        if (peek() == '}') return ++at_, true;
        for (;;) {
            space();
            if (peek() != '"' || !string()) return fail("expected a key");
            space();
            if (peek() != ':') return fail("expected ':'");
            ++at_;
            space();
            if (!value(depth + 1)) return false;
            space();
            if (peek() == '}') return ++at_, true;
            if (peek() != ',') return fail("expected ',' or '}'");
            ++at_;
        }
    }
    bool array(int depth) {
        ++at_;
        space();
        if (peek() == ']') return ++at_, true;
        for (;;) {
            space();
            if (!value(depth + 1)) return false;
            space();
            if (peek() == ']') return ++at_, true;
            if (peek() != ',') return fail("expected ',' or ']'");
            ++at_;
        }
    }
    bool digits() {
        size_t start = at_;
        while (peek() >= '0' && peek() <= '9')
            ++at_;
        return at_ > start;
    }
    bool number() {
        if (peek() == '-') ++at_;
        if (peek() == '0') {
            ++at_;
        } else if (!digits()) {
            return fail("expected a value");
        }
        if (peek() == '.' && (++at_, !digits())) return fail("bad fraction");
        if (peek() == 'e' || peek() == 'E') {
            ++at_;
            if (peek() == '+' || peek() == '-') ++at_;
            if (!digits()) return fail("bad exponent");
        }
        return true;
    }
    static void put(std::string& out, uint32_t c) {
        if (c < 0x80) {
            out += char(c);
        } else if (c < 0x800) {
            out += char(0xC0 | c >> 6);
            out += char(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += char(0xE0 | c >> 12);
            out += char(0x80 | (c >> 6 & 0x3F));
            out += char(0x80 | (c & 0x3F));
        } else {
            out += char(0xF0 | c >> 18);
            out += char(0x80 | (c >> 12 & 0x3F));
            out += char(0x80 | (c >> 6 & 0x3F));
            out += char(0x80 | (c & 0x3F));
        }
    }
    bool hex4(uint32_t& unit) {
        unit = 0;
        for (int i = 0; i < 4; ++i, ++at_) {
            char c = peek();
            int v = c >= '0' && c <= '9'   ? c - '0'
                    : c >= 'a' && c <= 'f' ? c - 'a' + 10
                    : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                           : -1;
            if (v < 0) return fail("bad \\u escape");
            unit = unit << 4 | uint32_t(v);
        }
        return true;
    }
    bool string() {
        ++at_;
        std::string out;
        for (;;) {
            if (!more()) return fail("unterminated string");
            unsigned char c = static_cast<unsigned char>(text_[at_]);
            if (c == '"') break;
            if (c < 0x20) return fail("raw control character in a string");
            if (c == '\\') {
                ++at_;
                char e = peek();
                ++at_;
                const char* simple = "\"\\/bfnrt";
                const char* meaning = "\"\\/\b\f\n\r\t";
                if (e == 'u') {
                    uint32_t unit;
                    if (!hex4(unit)) return false;
                    if (unit >= 0xD800 && unit < 0xDC00 && text_.substr(at_, 2) == "\\u") {
                        at_ += 2;
                        uint32_t low;
                        if (!hex4(low)) return false;
                        if (low < 0xDC00 || low > 0xDFFF) return fail("unpaired surrogate");
                        unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
                    }
                    put(out, unit);
                } else if (e && std::string_view(simple).find(e) != std::string_view::npos) {
                    out += meaning[std::string_view(simple).find(e)];
                } else {
                    --at_;
                    return fail("bad escape");
                }
                continue;
            }
            // UTF-8: a lead byte and its continuation bytes.
            size_t extra = c < 0x80                ? 0
                           : c >= 0xF0 && c < 0xF5 ? 3
                           : c >= 0xE0             ? 2
                           : c >= 0xC2             ? 1
                                                   : 9;
            if (extra == 9 || at_ + extra >= text_.size()) return fail("bad UTF-8");
            for (size_t i = 1; i <= extra; ++i)
                if ((static_cast<unsigned char>(text_[at_ + i]) & 0xC0) != 0x80)
                    return fail("bad UTF-8");
            out.append(text_.substr(at_, extra + 1));
            at_ += extra + 1;
        }
        ++at_;
        strings_.push_back(std::move(out));
        return true;
    }

    std::string_view text_;
    size_t at_ = 0;
    std::vector<std::string> strings_;
    std::string error_;
};

} // namespace testsupport
