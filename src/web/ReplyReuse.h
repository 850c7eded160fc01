// ReplyReuse.h - which requests the connection engine may answer again from a reply it kept
// (see HttpReuseRules in HttpContext.h), and what key tells them apart.
//
// Kept: layout files ("/"), the JSON API ("/json/"), thumbnails and pictures (a 304, a made
// picture from the cache, a shrunk picture, an original file). Never: a request with "Range" or
// "If-Range", or a URL longer than the request step reads. The key holds the method class (HEAD
// or not), the URL and the values of every request header the request step reads
// ("Accept-Encoding", "If-None-Match", "If-Modified-Since", "Authorization", "Cookie"), so two
// requests with one key get the same reply from the request step.
//
// Staleness: a kept reply is used for kReplyFreshMilliseconds after the work that made it was
// handed out, so a changed layout file, album file, picture or thumbnail is seen by every request
// that arrives one second after the change. Settings changes are seen at once: the generation moves
// on with the preference store's change count and when a reload is pending (SIGHUP).
#pragma once

#include "http/HttpMessage.h"

#include <cstdint>
#include <string>

constexpr uint64_t kReplyFreshMilliseconds = 1000;

// Writes the request's key into key and returns true when its reply may be kept (see above).
bool ReplyReuseKey(const HttpRequest& request, std::string& key);
// The settings' generation (see above). Any thread.
uint64_t ReplyReuseGeneration();
