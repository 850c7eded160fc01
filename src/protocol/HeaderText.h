// HeaderText.h - the small pieces of reading HTTP header values: optional whitespace and trimming.
#pragma once

#include <string_view>

// Optional whitespace between the parts of a header value: space or tab.
inline bool isOWS(char c) {
    return c == ' ' || c == '\t';
}

// text without the optional whitespace at either end.
inline std::string_view trim(std::string_view text) {
    while (!text.empty() && isOWS(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isOWS(text.back()))
        text.remove_suffix(1);
    return text;
}
