// RequestHandler.h - turns one request whose header is complete into its reply.
//
// Splits the URL into a directory part (up to the last "/" before the first "?") and a leaf,
// reads the query and cookie variables, checks Basic credentials when the preferences ask for
// them (refusing with the 401 page, and holding the answers to an address that keeps guessing:
// GuessThrottle.h, HttpReply::holdMilliseconds), and lets the responder registered for the
// directory part build the reply. Nothing a client sends ends the process: an unknown path, a URL that is not
// ASCII, a failing responder or one that leaves no reply is answered with the error page.
//
// Then the reply is finished as HTTP asks: text is gzip-compressed when the client accepts it
// (Gzip.h), a reply the client already holds becomes a 304 (Validators.h), and a file body is
// narrowed to a requested byte range (Ranges.h). May run on several threads at once.
#pragma once

#include "cf/cftempl.h"
#include "http/HttpMessage.h"
#include "web/Responder.h"

#include <map>
#include <memory>

// The responder for each directory part, looked up by exact key.
typedef std::map<CFString_t, Responder, CFStringCmp> ResponderMap;
extern ResponderMap rmap;

// The reply to request, with its body and "Content-Length" set (none for a 304). Never null.
// Run as light work, a request that needs decoding gets HttpReplyAgainAsHeavy().
std::unique_ptr<HttpReply> HandleRequest(const HttpRequest& request);
