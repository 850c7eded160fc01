// Validators.h - what lets a browser keep a reply: ETag, Last-Modified, Cache-Control, and the
// check of the request's If-None-Match and If-Modified-Since before the work is done.
//
// The request step records the request being answered on its thread (CurrentRequestBegin), so
// that a responder can ask, before decoding or reading anything, whether the client already
// holds what it would send (NotModified) and then answer 304 at once (ReplyNotModified).
#pragma once

#include "http/HttpMessage.h"

#include <ctime>
#include <memory>
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

// Whether the request being answered on this thread already holds the representation that
// validator describes: If-None-Match lists its tag (or "*"), or, without If-None-Match,
// If-Modified-Since is at or after its time. False outside a request and for garbage headers.
bool NotModified(const Validator& validator);

// Makes reply a 304 carrying validator's headers (by policy) and no body.
void ReplyNotModified(std::unique_ptr<HttpReply>& reply, const Validator& validator,
                      CachePolicy policy);

// The request step's bracket around one request on the calling thread. The request must stay
// alive until CurrentRequestEnd.
void CurrentRequestBegin(const HttpRequest& request);
void CurrentRequestEnd();
// The request being answered on this thread, or null.
const HttpRequest* CurrentRequest();
