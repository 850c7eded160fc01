// Ranges.cpp - Range parsing and the 206/416 replies of file bodies.
#include "protocol/Ranges.h"
#include "protocol/HeaderText.h"

#include "protocol/Validators.h"

#include <limits>
#include <string>
#include <strings.h>

namespace {

constexpr uint64_t kHuge = std::numeric_limits<uint64_t>::max();

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Reads the digits at text[at...] (at least one), saturating at 2^64 - 1.
bool number(std::string_view text, size_t& at, uint64_t& value) {
    size_t start = at;
    value = 0;
    for (; at < text.size() && isDigit(text[at]); ++at) {
        uint64_t digit = uint64_t(text[at] - '0');
        value = value > (kHuge - digit) / 10 ? kHuge : value * 10 + digit;
    }
    return at > start;
}

} // namespace

RangeRequest ParseRange(std::string_view header, uint64_t length) {
    RangeRequest whole;
    size_t at = 0;
    while (at < header.size() && isOWS(header[at]))
        ++at;
    if (header.size() - at < 6 || strncasecmp(header.data() + at, "bytes=", 6) != 0) return whole;
    at += 6;

    size_t members = 0, satisfiable = 0;
    ByteRange found;
    while (at < header.size()) {
        char c = header[at];
        if (c == ',' || isOWS(c)) { // empty members and the whitespace around commas
            ++at;
            continue;
        }
        if (++members > kMaxRangeSpecs) return whole;
        ByteRange range;
        bool usable;
        if (c == '-') { // the last n bytes
            uint64_t suffix;
            ++at;
            if (!number(header, at, suffix)) return whole;
            usable = suffix > 0 && length > 0;
            range.first = suffix >= length ? 0 : length - suffix;
            range.last = length - 1;
        } else {
            uint64_t first, last = kHuge;
            if (!number(header, at, first) || at >= header.size() || header[at] != '-')
                return whole;
            ++at;
            if (at < header.size() && isDigit(header[at])) {
                number(header, at, last);
                if (last < first) return whole;
            }
            usable = first < length;
            range.first = first;
            range.last = last < length ? last : length - 1;
        }
        // A member ends at a comma, after optional whitespace.
        while (at < header.size() && isOWS(header[at]))
            ++at;
        if (at < header.size() && header[at] != ',') return whole;
        if (usable) {
            ++satisfiable;
            found = range;
        }
    }
    if (members == 0) return whole;
    if (satisfiable == 0) return RangeRequest{RangeRequest::Unsatisfiable, {}};
    if (members > 1) return RangeRequest{RangeRequest::Several, {}};
    return RangeRequest{RangeRequest::Single, found};
}

bool IfRangeMatches(std::string_view ifRange, const std::string* etag,
                    const std::string* lastModified) {
    size_t start = ifRange.find_first_not_of(" \t");
    if (start == std::string_view::npos) return false;
    ifRange.remove_prefix(start);
    if (ifRange.front() == '"' || ifRange.substr(0, 2) == "W/")
        return etag && ETagStrongMatch(ifRange, *etag);
    if (!lastModified) return false;
    std::optional<time_t> wanted = ParseHttpDate(ifRange);
    std::optional<time_t> current = ParseHttpDate(*lastModified);
    return wanted && current && *wanted == *current;
}

void ApplyRange(const RequestHeaders& request, HttpReply& reply) {
    // Files, whether streamed or held by the file cache (a shared body); never a gzip variant.
    bool fromFile = reply.fileBody() || reply.hasSharedBody();
    if (reply.status() != 200 || !fromFile || reply.header("Content-Encoding")) return;
    reply.setHeader("Accept-Ranges", "bytes");
    const std::string* header = request.range;
    if (!header) return;
    if (const std::string* ifRange = request.ifRange)
        if (!IfRangeMatches(*ifRange, reply.header("ETag"), reply.header("Last-Modified"))) return;
    uint64_t length = reply.bodyLength();
    RangeRequest wanted = ParseRange(*header, length);
    if (wanted.kind == RangeRequest::Unsatisfiable) {
        reply.setStatus(416);
        reply.clearBody();
        reply.setHeader("Content-Range", "bytes */" + std::to_string(length));
        for (const char* name : {"ETag", "Last-Modified", "Cache-Control", "Expires"})
            reply.removeHeader(name);
        return;
    }
    if (wanted.kind != RangeRequest::Single) return;
    uint64_t count = wanted.range.last - wanted.range.first + 1;
    if (reply.fileBody()) {
        HttpReply::FileSlice slice = reply.takeFileBody();
        reply.setFileBody(slice.fd, slice.offset + wanted.range.first, count);
    } else {
        reply.setBody(std::string(reply.body().substr(size_t(wanted.range.first), size_t(count))));
    }
    reply.setStatus(206);
    reply.setHeader("Content-Range", "bytes " + std::to_string(wanted.range.first) + "-" +
                                         std::to_string(wanted.range.last) + "/" +
                                         std::to_string(length));
}
