// Validators.h - what lets a browser keep a reply: ETag, Last-Modified, Cache-Control, and the
// check of the request's If-None-Match and If-Modified-Since before the work is done.
//
// A responder can ask, before decoding or reading anything, whether the client already holds
// what it would send (NotModified) and then answer 304 at once (ReplyNotModified). The request
// step checks again at its end for replies that carry a validator but were not answered 304 by
// their responder (FinishConditional). All functions may be called from several threads at
// once.
#pragma once

#include "http/HttpMessage.h"
#include "protocol/RequestHeaders.h"

#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>

// How long a browser may keep a reply without asking again.
enum class CachePolicy {
    Revalidate, // layout files and JSON: keep, but ask each time (304 when unchanged)
    Keep,       // thumbnails and pictures: keep for a while without asking
};

struct Validator {
    std::string etag;        // quoted entity tag, e.g. "\"1f-2a-63f1c2d0\""; empty: none
    time_t lastModified = 0; // 0: none
};

// The validator of a file's bytes as they are: its identity (device, inode), size and
// modification time (nanoseconds), with variant (e.g. "w1024h768q90" for a shrunk picture;
// empty for the file as it is) folded into the tag.
Validator FileValidator(const struct stat& info, std::string_view variant);

// Sets "ETag", "Last-Modified" (when present) and "Cache-Control" by policy.
void SetValidator(HttpReply& reply, const Validator& validator, CachePolicy policy);

// Whether the request already holds the representation that validator describes: If-None-Match
// lists its tag (or "*"), compared weakly, or, without If-None-Match, If-Modified-Since is at or
// after its time. A tag that names the compressed variant of validator's tag (GzipETag) matches
// too: the client holds the same version. False for garbage headers.
bool NotModified(const RequestHeaders& request, const Validator& validator);

// Makes reply a 304 carrying validator's headers (by policy) and no body.
void ReplyNotModified(std::unique_ptr<HttpReply>& reply, const Validator& validator,
                      CachePolicy policy);

// The request step's end for conditional requests: a 200 reply that carries "ETag" or
// "Last-Modified" and that request already holds becomes a 304 keeping "ETag",
// "Last-Modified", "Cache-Control", "Vary", "Expires" and "Content-Location", with no body and
// no "Content-Length". A 304 whose client listed the compressed variant of its tag is given
// that tag (and "Vary: Accept-Encoding"). Other replies are left alone.
void FinishConditional(const RequestHeaders& request, std::unique_ptr<HttpReply>& reply);

// --- The pieces, for the request step and its tests --------------------------------------

// The tag of the gzip-compressed variant of the representation tagged etag: "-gz" before the
// closing quote ("\"abc\"" -> "\"abc-gz\"", "W/\"abc\"" -> "W/\"abc-gz\""). Empty for empty.
std::string GzipETag(std::string_view etag);
// Whether an If-None-Match value (a comma-separated list of entity tags, or "*") lists etag,
// compared weakly (W/ ignored on both sides). A malformed member ends the list: the members
// before it still count. False for an empty etag unless the value is "*".
bool ETagListMatches(std::string_view list, std::string_view etag);
// Whether two entity tags are the same and both strong (for If-Range).
bool ETagStrongMatch(std::string_view a, std::string_view b);
// An HTTP-date in any of its three forms (IMF-fixdate "Sun, 06 Nov 1994 08:49:37 GMT", the
// obsolete "Sunday, 06-Nov-94 08:49:37 GMT" and "Sun Nov  6 08:49:37 1994"), or nothing for
// anything else (out-of-range fields, trailing bytes).
std::optional<time_t> ParseHttpDate(std::string_view text);
// The IMF-fixdate of a time.
std::string HttpDate(time_t when);
