// Validators.cpp - ETag, Last-Modified, Cache-Control and the conditional-request check.
#include "protocol/Validators.h"
#include "protocol/HeaderText.h"

#include <cctype>
#include <cstdio>
#include <cstring>

namespace {

// A character allowed between an entity tag's quotes.
bool isETagChar(unsigned char c) {
    return c == 0x21 || (c >= 0x23 && c <= 0x7E) || c >= 0x80;
}

// Reads one entity tag at the start of text: its opaque part (quotes included) and whether it
// is weak. Returns the bytes taken, or 0 when text does not start with an entity tag.
size_t readETag(std::string_view text, std::string_view& opaque, bool& weak) {
    size_t at = 0;
    weak = text.size() >= 2 && text[0] == 'W' && text[1] == '/';
    if (weak) at = 2;
    if (at >= text.size() || text[at] != '"') return 0;
    size_t end = at + 1;
    while (end < text.size() && text[end] != '"') {
        if (!isETagChar(static_cast<unsigned char>(text[end]))) return 0;
        ++end;
    }
    if (end >= text.size()) return 0;
    opaque = text.substr(at, end + 1 - at);
    return end + 1;
}

// The whole of text as one entity tag, or false.
bool wholeETag(std::string_view text, std::string_view& opaque, bool& weak) {
    text = trim(text);
    return !text.empty() && readETag(text, opaque, weak) == text.size();
}

// Parses exactly count digits at text[at...] into value.
bool digits(std::string_view text, size_t at, size_t count, int& value) {
    if (at + count > text.size()) return false;
    value = 0;
    for (size_t i = 0; i < count; ++i) {
        char c = text[at + i];
        if (c < '0' || c > '9') return false;
        value = value * 10 + (c - '0');
    }
    return true;
}

int monthOf(std::string_view name) {
    static const char* const months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (int m = 0; m < 12; ++m)
        if (name == months[m]) return m;
    return -1;
}

bool isDayName(std::string_view name, bool longForm) {
    static const char* const shortNames[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
    static const char* const longNames[] = {"Monday", "Tuesday",  "Wednesday", "Thursday",
                                            "Friday", "Saturday", "Sunday"};
    for (int d = 0; d < 7; ++d)
        if (name == (longForm ? longNames[d] : shortNames[d])) return true;
    return false;
}

// "HH:MM:SS" at text[at...].
bool timeOfDay(std::string_view text, size_t at, struct tm& parts) {
    if (at + 8 > text.size() || text[at + 2] != ':' || text[at + 5] != ':') return false;
    return digits(text, at, 2, parts.tm_hour) && digits(text, at + 3, 2, parts.tm_min) &&
           digits(text, at + 6, 2, parts.tm_sec) && parts.tm_hour < 24 && parts.tm_min < 60 &&
           parts.tm_sec <= 60;
}

std::optional<time_t> toTime(struct tm& parts, int year) {
    static const int monthDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    int days = parts.tm_mon == 1 && !leap ? 28 : monthDays[parts.tm_mon];
    if (parts.tm_mday < 1 || parts.tm_mday > days || year < 1900) return std::nullopt;
    parts.tm_year = year - 1900;
    if (parts.tm_sec == 60) parts.tm_sec = 59; // a leap second names the second before it
    return timegm(&parts);
}

// The current representation's validator as the reply states it.
Validator replyValidator(const HttpReply& reply) {
    Validator validator;
    if (const std::string* etag = reply.header("ETag")) validator.etag = *etag;
    if (const std::string* date = reply.header("Last-Modified"))
        validator.lastModified = ParseHttpDate(*date).value_or(0);
    return validator;
}

} // namespace

std::string HttpDate(time_t when) {
    char text[64];
    struct tm parts;
    gmtime_r(&when, &parts);
    strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &parts);
    return text;
}

std::optional<time_t> ParseHttpDate(std::string_view text) {
    text = trim(text);
    struct tm parts = {};
    int year = 0;
    size_t comma = text.find(',');
    if (comma == 3 && text.size() == 29) { // Sun, 06 Nov 1994 08:49:37 GMT
        if (!isDayName(text.substr(0, 3), false) || text[4] != ' ' || text[7] != ' ' ||
            text[11] != ' ' || text[16] != ' ' || text[25] != ' ' || text.substr(26) != "GMT")
            return std::nullopt;
        parts.tm_mon = monthOf(text.substr(8, 3));
        if (parts.tm_mon < 0 || !digits(text, 5, 2, parts.tm_mday) || !digits(text, 12, 4, year) ||
            !timeOfDay(text, 17, parts))
            return std::nullopt;
        return toTime(parts, year);
    }
    if (comma != std::string_view::npos) { // Sunday, 06-Nov-94 08:49:37 GMT
        std::string_view rest = text.substr(comma + 1);
        if (!isDayName(text.substr(0, comma), true) || rest.size() != 23 || rest[0] != ' ' ||
            rest[3] != '-' || rest[7] != '-' || rest[10] != ' ' || rest[19] != ' ' ||
            rest.substr(20) != "GMT")
            return std::nullopt;
        parts.tm_mon = monthOf(rest.substr(4, 3));
        if (parts.tm_mon < 0 || !digits(rest, 1, 2, parts.tm_mday) || !digits(rest, 8, 2, year) ||
            !timeOfDay(rest, 11, parts))
            return std::nullopt;
        // A two-digit year more than 50 years ahead means the same digits in the past.
        time_t now = time(nullptr);
        struct tm today;
        gmtime_r(&now, &today);
        int thisYear = today.tm_year + 1900;
        year += thisYear - thisYear % 100;
        if (year > thisYear + 50) year -= 100;
        return toTime(parts, year);
    }
    // Sun Nov  6 08:49:37 1994
    if (text.size() != 24 || !isDayName(text.substr(0, 3), false) || text[3] != ' ' ||
        text[7] != ' ' || text[10] != ' ' || text[19] != ' ')
        return std::nullopt;
    parts.tm_mon = monthOf(text.substr(4, 3));
    if (parts.tm_mon < 0) return std::nullopt;
    if (text[8] == ' ') {
        if (!digits(text, 9, 1, parts.tm_mday)) return std::nullopt;
    } else if (!digits(text, 8, 2, parts.tm_mday)) {
        return std::nullopt;
    }
    if (!timeOfDay(text, 11, parts) || !digits(text, 20, 4, year)) return std::nullopt;
    return toTime(parts, year);
}

std::string GzipETag(std::string_view etag) {
    if (etag.empty()) return std::string();
    std::string tag(etag);
    if (tag.back() == '"' && tag.size() >= 2)
        tag.insert(tag.size() - 1, "-gz");
    else
        tag += "-gz";
    return tag;
}

bool ETagListMatches(std::string_view list, std::string_view etag) {
    list = trim(list);
    if (list == "*") return true;
    std::string_view wanted;
    bool wantedWeak;
    if (!wholeETag(etag, wanted, wantedWeak)) return false;
    while (!list.empty()) {
        if (list.front() == ',' || isOWS(list.front())) { // empty members are allowed
            list.remove_prefix(1);
            continue;
        }
        std::string_view opaque;
        bool weak;
        size_t taken = readETag(list, opaque, weak);
        if (taken == 0) return false;
        if (opaque == wanted) return true;
        list = trim(list.substr(taken));
        if (!list.empty() && list.front() != ',') return false;
    }
    return false;
}

bool ETagStrongMatch(std::string_view a, std::string_view b) {
    std::string_view opaqueA, opaqueB;
    bool weakA, weakB;
    return wholeETag(a, opaqueA, weakA) && wholeETag(b, opaqueB, weakB) && !weakA && !weakB &&
           opaqueA == opaqueB;
}

Validator FileValidator(const struct stat& info, std::string_view variant) {
    char text[160];
    snprintf(text, sizeof text, "\"%llx-%llx-%llx-%llx", (unsigned long long)info.st_dev,
             (unsigned long long)info.st_ino, (unsigned long long)info.st_size,
             (unsigned long long)info.st_mtim.tv_sec * 1000000000ull +
                 (unsigned long long)info.st_mtim.tv_nsec);
    Validator validator;
    validator.etag = text;
    if (!variant.empty()) validator.etag.append("-").append(variant);
    validator.etag += '"';
    validator.lastModified = info.st_mtim.tv_sec;
    return validator;
}

void SetValidator(HttpReply& reply, const Validator& validator, CachePolicy policy) {
    if (!validator.etag.empty()) reply.setHeader("ETag", validator.etag);
    if (validator.lastModified) reply.setHeader("Last-Modified", HttpDate(validator.lastModified));
    reply.setHeader("Cache-Control", policy == CachePolicy::Keep ? "max-age=86400" : "no-cache");
}

bool NotModified(const RequestHeaders& request, const Validator& validator) {
    if (const std::string* tags = request.ifNoneMatch) {
        if (validator.etag.empty()) return trim(*tags) == "*";
        return ETagListMatches(*tags, validator.etag) ||
               ETagListMatches(*tags, GzipETag(validator.etag));
    }
    if (!validator.lastModified) return false;
    const std::string* since = request.ifModifiedSince;
    if (!since) return false;
    std::optional<time_t> date = ParseHttpDate(*since);
    return date && validator.lastModified <= *date;
}

void ReplyNotModified(std::unique_ptr<HttpReply>& reply, const Validator& validator,
                      CachePolicy policy) {
    reply = std::make_unique<HttpReply>(304);
    SetValidator(*reply, validator, policy);
}

void FinishConditional(const RequestHeaders& request, std::unique_ptr<HttpReply>& reply) {
    if (reply->status() == 304) {
        // A responder's early 304 names the plain tag; the client may hold the compressed one.
        const std::string* etag = reply->header("ETag");
        const std::string* tags = request.ifNoneMatch;
        if (etag && tags && !ETagListMatches(*tags, *etag)) {
            std::string gzipTag = GzipETag(*etag);
            if (ETagListMatches(*tags, gzipTag)) {
                reply->setHeader("ETag", gzipTag);
                reply->setHeader("Vary", "Accept-Encoding");
            }
        }
        return;
    }
    if (reply->status() != 200) return;
    Validator validator = replyValidator(*reply);
    if (validator.etag.empty() && !validator.lastModified) return;
    if (!NotModified(request, validator)) return;
    auto notModified = std::make_unique<HttpReply>(304);
    for (const char* name :
         {"ETag", "Last-Modified", "Cache-Control", "Vary", "Expires", "Content-Location"})
        if (const std::string* value = reply->header(name)) notModified->setHeader(name, *value);
    reply = std::move(notModified);
}
