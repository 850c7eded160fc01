// RequestHandler.h - turns one request whose header is complete into its reply.
//
// Splits the URL into a directory part (up to the last "/" before the first "?") and a leaf,
// reads the query and cookie variables, checks Basic credentials when the preferences ask for
// them (refusing with the 401 page), and lets the responder registered for the directory part
// build the reply. Nothing a client sends ends the process: an unknown path, a URL that is not
// ASCII, a failing responder or one that leaves no reply is answered with the error page.
#pragma once

#include "cf/cftempl.h"
#include "http/HttpMessage.h"
#include "web/Responder.h"

#include <map>
#include <memory>

// The responder for each directory part, looked up by exact key.
typedef std::map<CFString_t, Responder, CFStringCmp> ResponderMap;
extern ResponderMap rmap;

// The reply to request, with its body and "Content-Length" set. Never null.
std::unique_ptr<HttpReply> HandleRequest(const HttpRequest& request);
