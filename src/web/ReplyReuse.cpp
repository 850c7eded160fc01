// ReplyReuse.cpp - the key of a request whose reply the connection engine may answer again.
#include "web/ReplyReuse.h"

#include "settings/PreferenceStore.h"
#include "settings/Preferences.h"

#include <string_view>

namespace {

// As the request step: a longer URL is not routed.
constexpr size_t kMaxURLBytes = 200;

// The request headers the request step reads, in key order.
constexpr std::string_view kKeyHeaders[] = {"Accept-Encoding", "If-None-Match", "If-Modified-Since",
                                            "Authorization", "Cookie"};

// The directory part of the URL's path: up to the last "/" before the first "?".
std::string_view directoryOf(std::string_view url) {
    size_t end = 0;
    for (size_t i = 0; i < url.size() && url[i] != '?'; ++i)
        if (url[i] == '/') end = i + 1;
    return url.substr(0, end);
}

} // namespace

bool ReplyReuseKey(const HttpRequest& request, std::string& key) {
    const std::string& url = request.url();
    if (url.empty() || url.size() > kMaxURLBytes) return false;
    if (request.headerValue("Range") || request.headerValue("If-Range")) return false;
    std::string_view directory = directoryOf(url);
    if (directory != "/" && directory != "/json/" && directory != "/thumbnail/" &&
        directory != "/image/")
        return false;
    key.clear();
    key += request.isHead() ? 'H' : 'G';
    key.append(url);
    for (std::string_view name : kKeyHeaders) {
        // A separator that no header value holds (the parser refuses line feeds in values), then
        // '+' and the value, or '-' for none.
        key += '\n';
        if (const std::string* value = request.headerValue(name)) {
            key += '+';
            key += *value;
        } else {
            key += '-';
        }
    }
    return true;
}

uint64_t ReplyReuseGeneration() {
    return CFPreferencesChangeCount() * 2 + (syncPrefs ? 1 : 0);
}
