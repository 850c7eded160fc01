// varmap_fuzzer.cpp - libFuzzer entry point: the query and cookie rules of VarMap.
//
// The input is read twice. As it is: the text before the first line feed is a query, the rest a
// Cookie header, and neither may crash or hang the scanners. As pairs: NUL-separated
// "name=value" chunks that, written out as a query (values percent-encoded) and as a Cookie
// header, must read back to exactly those pairs, the first value of a name winning.
#include "web/utility.h"

#include <cctype>
#include <cstdint>
#include <string>
#include <vector>

namespace {

std::string percentEncoded(const std::string& value) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : value)
        if (isalnum(c) || c == ' ')
            out += c == ' ' ? '+' : char(c);
        else
            out += {'%', kHex[c >> 4], kHex[c & 15]};
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string input(reinterpret_cast<const char*>(data), size);

    size_t feed = input.find('\n');
    VarMap raw;
    raw.queryToMap(input.substr(0, feed));
    if (feed != std::string::npos) raw.cookiesToMap(input.substr(feed + 1));
    std::string text;
    int number = 0;
    raw.getString("a", text, "");
    raw.getInt("i", number, 0);
    std::vector<uint32_t> list;
    queryToVector(list, input);
    if (list.empty()) __builtin_trap();

    VarMap expectedQuery, expectedCookies;
    std::string query, cookies;
    for (size_t start = 0; start <= input.size();) {
        size_t stop = std::min(input.find('\0', start), input.size());
        std::string chunk = input.substr(start, stop - start);
        start = stop + 1;
        size_t equals = chunk.find('=');
        if (equals == std::string::npos) continue;
        std::string name = chunk.substr(0, equals), value = chunk.substr(equals + 1);
        if (!query.empty()) query += '&';
        query += name + "=" + percentEncoded(value);
        expectedQuery.try_emplace(name, value);

        // A cookie name has no ";" and starts with no white space; its value holds no ";".
        std::erase(name, ';');
        std::erase(value, ';');
        while (!name.empty() && uint8_t(name[0]) < 128 && isspace(name[0]))
            name.erase(0, 1);
        if (!cookies.empty()) cookies += "; ";
        cookies += name + "=" + value;
        expectedCookies.try_emplace(name, value);
    }
    VarMap fromQuery, fromCookies;
    fromQuery.queryToMap(query);
    fromCookies.cookiesToMap(cookies);
    if (fromQuery != expectedQuery) __builtin_trap();
    if (fromCookies != expectedCookies) __builtin_trap();
    return 0;
}
