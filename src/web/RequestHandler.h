// RequestHandler.h - the request step: turns one request whose header is complete into its reply,
// and tells the connection engine, from the route table, how each request is worked on.
//
// The step splits the URL once into a directory part (up to the last "/" before the first "?")
// and a leaf, reads the query and cookie variables, checks Basic credentials when the preferences
// ask for them (refusing with the 401 page, and holding the answers to an address that keeps
// guessing: GuessThrottle.h, HttpReply::holdMilliseconds), and lets the route for the directory
// part build the reply inside a request scope (RequestScope.h). Nothing a client sends ends the
// process: an unknown path, a URL that is not ASCII, a failing responder or one that leaves no
// reply is answered with the error page.
//
// A responder that hands long work on (answerAsHeavy) ends the first phase: the step answers with
// a heavy phase that runs that work as heavy work and finishes the reply there. Then the reply is
// finished as HTTP asks: text is gzip-compressed when the client accepts it (Gzip.h), a reply the
// client already holds becomes a 304 (Validators.h), and a file body is narrowed to a requested
// byte range (Ranges.h).
//
// Kept replies: a reply of a route that allows it (Routes.h) may be given again, for
// kReplyFreshMilliseconds, to a request with the same method class (HEAD or not), URL and
// RequestHeaders, in the same settings generation; never to a request with "Range" or "If-Range"
// or a URL longer than the step reads. The password throttle is asked before a kept reply goes
// out, as the step asks it: an address whose answers are being held is not answered from it.
//
// Every function here may run on several threads at once.
#pragma once

#include "http/HttpContext.h"
#include "web/Site.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

// A URL as the request step splits it. Views into the URL.
struct RequestTarget {
    std::string_view directory; // up to and including the last "/" before the first "?"
    std::string_view leaf;      // after that "/", up to the first "?"
    std::string_view query;     // after the first "?"
    bool hasQuery = false;
};
// Longer URLs are not routed: all parts empty.
constexpr size_t kMaxURLBytes = 200;
RequestTarget splitTarget(std::string_view url);

// The request step (an HttpRequestHandler whose data is the Site).
HttpAnswer AnswerRequest(void* site, const HttpRequest& request);
// Both phases of the step at once on the calling thread (tests, fuzzing): the reply, with its
// body and "Content-Length" set (none for a 304). Never null.
std::unique_ptr<HttpReply> HandleRequest(Site& site, const HttpRequest& request);

constexpr uint64_t kReplyFreshMilliseconds = 1000;

// What the connection engine is told of the site: the step, the route table's classifier and
// the rules of kept replies (see above). The timeouts are left at their defaults.
HttpEngineConfig SiteEngineConfig(Site& site);

// The pieces of SiteEngineConfig, for their tests. data is the Site.
HttpWorkKind ClassifyRequest(void* site, const HttpRequest& request);
bool ReplyReuseKey(void* site, const HttpRequest& request, std::string& key);
uint64_t ReplyReuseGeneration(void* site);
bool AdmitKeptReply(void* site, const HttpRequest& request);
