// utility.h - request variables (query string and cookies) and the HTML and JSON escapers.
#pragma once

#include "cf/cftempl.h"

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

// The variables of one request: names to values, both raw bytes (nothing is converted between
// character sets). Each name is present once; the first value stored under it wins, and a later
// one, from the same text or a later call, is dropped.
class VarMap : public std::map<std::string, std::string> {
  public:
    VarMap() = default;

    // Adds the pairs of a URL query (the text after "?"). A name runs up to the next "=" (an "&"
    // does not end it) and is kept as it is; text after the last pair that has no "=" adds
    // nothing. A value runs up to the next "&" with "+" read as a space and "%XY" as the byte
    // XY; a character that is not a hex digit counts as 0, and an escape cut by the end of the
    // text appends nothing ("%") or its one digit's value ("%4" is the byte 4).
    void queryToMap(const std::string& query);
    // Adds the pairs of a "Cookie" header value: white space before a name is skipped, a name
    // runs to the next "=" (white space in front of it stays), a value runs to the next ";"
    // and is kept as it is, with no decoding.
    void cookiesToMap(const std::string& cookies);
    // Advances p over white space (isspace of the character taken as a signed char), not
    // beyond end.
    static void eatWhitespace(std::string::const_iterator& p, std::string::const_iterator end);

    // Copies the value of name into value and returns true; when absent copies def and returns
    // false.
    bool getString(const char* name, std::string& value, const std::string& def) const;
    // Sets value to atol of name's value and returns true (even when the value is not a number,
    // which reads as 0); when absent sets def and returns false.
    bool getInt(const char* name, int& value, int def) const;
};

// Parses a comma-separated list of decimal numbers into list (cleared first). Empty items read
// as 0; a character other than a digit or "," ends the list; the number in progress when the
// text ends or stops is always appended, so the list is never empty ("" gives [0]). Overflow
// wraps silently.
void queryToVector(std::vector<uint32_t>& list, const std::string& text);

// Streams a string escaped for HTML text and attribute values (UTF-8). Holds its own reference.
class HtmlString : public CFString_t {
  public:
    explicit HtmlString(const CFString_t& string) : CFString_t(string) {}
};

// Streams a string as a JSON string literal, quotes included. Holds a reference to the wrapper
// it was made from, which must outlive the statement that streams it.
class JavascriptString {
  public:
    explicit JavascriptString(const CFString_t& string) : string_(string) {}
    const CFString_t& string() const { return string_; }

  private:
    const CFString_t& string_;
};

// Writes the string with '"', '&', '<' and '>' replaced by their entities, except where such a
// character is the first of the string or follows another one: there it is written as it is.
// A run of ordinary text whose UTF-8 form is longer than two bytes per UTF-16 unit (text from
// U+0800 up, such as East Asian scripts) is cut to the whole characters that fit.
std::ostream& operator<<(std::ostream& os, const HtmlString& string);
// Writes a double quote, each UTF-16 unit from 0x20 to 0x7E (except the double quote and the
// backslash) as it is and every other unit as "\u" with four lower-case hex digits, and a
// closing double quote: always a valid JSON string. After the first escape the stream's fill
// character stays '0' and its base is decimal.
std::ostream& operator<<(std::ostream& os, const JavascriptString& string);

// One step of the HTML escaper: writes the units of s from last up to current (excluded) as
// UTF-8 (cut as described above), then replacement if not null, and moves last past current.
// When current equals last it does nothing at all, not even the replacement.
// REQUIRES: last <= current <= the length of s.
void writePendingText(std::ostream& os, CFStringRef s, long& last, long& current,
                      const char* replacement);
