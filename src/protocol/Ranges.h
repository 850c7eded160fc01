// Ranges.h - byte ranges of file replies: the Range and If-Range headers, 206 and 416.
//
// Only a single range is served (206 with "Content-Range"); a request for several ranges gets
// the whole file (200), which a client must accept. A Range header that is not valid syntax, or
// names another unit, is ignored as if absent. Lengths and positions are 64-bit throughout.
#pragma once

#include "http/HttpMessage.h"
#include "protocol/RequestHeaders.h"

#include <cstdint>
#include <string_view>

// More range-members than this in one header are not worth looking at: the header is ignored.
constexpr size_t kMaxRangeSpecs = 64;

struct ByteRange {
    uint64_t first = 0; // first byte sent
    uint64_t last = 0;  // last byte sent (inclusive); first <= last < length
};

struct RangeRequest {
    enum Kind {
        Whole,         // no usable Range: send the whole representation (200)
        Single,        // one satisfiable range: 206 with range
        Several,       // more than one range, at least one satisfiable: the whole (200)
        Unsatisfiable, // no range overlaps the representation: 416
    } kind = Whole;
    ByteRange range; // for Single
};

// Interprets a Range header's value for a representation of length bytes (RFC 9110: "bytes"
// in any case, comma-separated int-ranges "a-b" / "a-" and suffix-ranges "-n", empty members
// and optional whitespace allowed). Positions too large for 64 bits count as 2^64 - 1. A
// reversed range ("9-5"), an empty set, other garbage or more than kMaxRangeSpecs members give
// Whole. Every range of a zero-length representation is unsatisfiable.
RangeRequest ParseRange(std::string_view header, uint64_t length);

// Whether an If-Range value lets a Range apply to a reply with these "ETag" and
// "Last-Modified" values (either may be null): a strong tag equal to etag, or an HTTP-date
// equal to lastModified. Anything else (a weak tag, garbage) means: send the whole.
bool IfRangeMatches(std::string_view ifRange, const std::string* etag,
                    const std::string* lastModified);

// The request step's end for byte ranges. A 200 reply whose body is a file (streamed, or held
// by the file cache as a shared body) gets "Accept-Ranges: bytes"; with a usable Range (and
// If-Range, when present, matching) it becomes a 206 whose body is narrowed to the range with
// "Content-Range: bytes a-b/len", or a 416 with "Content-Range: bytes */len", no body and no cache
// headers. Other replies are left alone. "Content-Length" is the caller's to set afterwards.
void ApplyRange(const RequestHeaders& request, HttpReply& reply);
