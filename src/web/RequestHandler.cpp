// RequestHandler.cpp - the request step: URL split, variables, access control, routing.
#include "web/RequestHandler.h"

#include "http/HttpContext.h"
#include "settings/Preferences.h"
#include "protocol/Credentials.h"
#include "protocol/GuessThrottle.h"
#include "protocol/Gzip.h"
#include "web/PageFrame.h"
#include "protocol/Ranges.h"
#include "protocol/Validators.h"
#include "web/utility.h"

#include <chrono>
#include <cstdio>
#include <exception>
#include <sstream>

ResponderMap rmap;

// The URL is copied into a buffer of this size; a longer one leaves both parts empty.
constexpr size_t kMaxURLBytes = 200;
// Room made for a body before it is written: small pages fit without growing, and the block
// stays below the size whose release makes malloc tidy up all its small blocks.
constexpr size_t kBodyReserve = 4096;

namespace {

bool isASCII(std::string_view bytes) {
    for (unsigned char c : bytes)
        if (c >= 0x80) return false;
    return true;
}

CFString_t asciiString(std::string_view bytes) {
    return CFString_t(
        CFStringCreateWithBytes(bytes.data(), CFIndex(bytes.size()), kCFStringEncodingASCII),
        CFString_t::Create);
}

// Whether the request may be answered; *holdMs receives how long its answer must wait (a client
// that keeps guessing the password is answered ever more slowly, see GuessThrottle.h).
bool isAuthorized(const HttpRequest& request, uint32_t* holdMs) {
    bool enabled = false;
    std::string user, pass;
    prefGetAuthInfo(enabled, user, pass);
    if (!enabled) return true;
    std::optional<std::string> header = request.header("Authorization");
    std::string text = header ? toString(makeString(*header)) : std::string();
    bool matched = BasicCredentialsMatch(header ? &text : nullptr, user, pass);
    uint64_t now = uint64_t(std::chrono::duration_cast<std::chrono::milliseconds>(
                                std::chrono::steady_clock::now().time_since_epoch())
                                .count());
    GuessThrottle::Verdict verdict = GuessThrottle::shared().settle(request.peer(), matched, now);
    *holdMs = verdict.holdMs;
    return verdict.allowed && matched;
}

void refuse(std::unique_ptr<HttpReply>& reply, std::ostream& out) {
    reply = std::make_unique<HttpReply>(401);
    reply->setHeader("Www-Authenticate", "Basic realm=\"Tessellan\"");
    reply->setHeader("Content-Type", "text/html");
    EmitPageHeader(out, CFString_t("Unauthorized Access"));
    // Readable on a phone, with a way to be asked again: following the link to this same
    // address is refused again, and the browser asks for the name and password anew. The
    // link comes first in the text but is shown after the sentence.
    out << "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\" />"
           "<style>body{display:flex;flex-direction:column;gap:1em;max-width:34em;"
           "margin:2em auto;padding:0 1em;font:1.125rem/1.5 sans-serif}a{order:1}</style>"
           "<a href=\"\">Try again</a>";
    out << "This server contains private content. You must provide a valid username and password."
        << "</body>\n</html>\n";
}

void respond(Responder responder, std::unique_ptr<HttpReply>& reply, const CFString_t& leaf,
             const VarMap& vars, std::ostream& out) {
    try {
        responder(reply, leaf, vars, out);
    } catch (const std::exception& e) {
        puts(e.what());
        ErrorPageResponder(reply, leaf, vars, out);
    } catch (...) {
        puts("a responder failed with an unknown exception");
        ErrorPageResponder(reply, leaf, vars, out);
    }
    if (!reply) {
        puts("a responder left no reply");
        ErrorPageResponder(reply, leaf, vars, out);
    }
}

// What HTTP asks of every reply once its responder is done: the encoding is chosen first (a
// compressed variant has a tag of its own), then a reply the client already holds becomes a 304,
// then the body is compressed or narrowed to the requested range. A 304 has no
// "Content-Length": it would have to be the length of the representation the client holds.
void finishReply(const HttpRequest& request, std::unique_ptr<HttpReply>& reply) {
    bool gzip = PrepareGzip(request, *reply);
    FinishConditional(request, reply);
    if (reply->status() == 304) {
        reply->clearBody();
        reply->removeHeader("Content-Length");
        return;
    }
    if (gzip)
        CompressReply(*reply, SharedGzipCache());
    else
        ApplyRange(request, *reply);
    reply->setHeader("Content-Length", std::to_string(reply->bodyLength()));
}

} // namespace

std::unique_ptr<HttpReply> HandleRequest(const HttpRequest& request) {
    std::unique_ptr<HttpReply> reply;
    // One body stream serves every request (making a stream costs a locale look-up); each
    // request starts it empty and with the default format.
    thread_local std::ostringstream out;
    std::string buffer;
    buffer.reserve(kBodyReserve);
    out.str(std::move(buffer));
    out.clear();
    out.flags(std::ios::dec | std::ios::skipws);
    out.fill(' ');
    VarMap vars;
    uint32_t holdMs = 0;
    CurrentRequestBegin(request);

    const std::string& url = request.url();
    std::string_view bytes(url.data(), url.size() <= kMaxURLBytes ? url.size() : 0);
    size_t dirEnd = 0, leafEnd = bytes.size();
    bool hasQuery = false;
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] == '/') {
            dirEnd = i + 1;
        } else if (bytes[i] == '?') {
            leafEnd = i;
            hasQuery = true;
            break;
        }
    }
    std::string_view path = bytes.substr(0, leafEnd);

    if (url.empty() || !isASCII(path)) {
        puts(url.empty() ? "request without a URL" : "request URL is not ASCII");
        ErrorPageResponder(reply, CFString_t(""), vars, out);
    } else {
        CFString_t dirPart = asciiString(path.substr(0, dirEnd));
        CFString_t leafPart = asciiString(path.substr(dirEnd));
        vars.queryToMap(hasQuery ? std::string(bytes.substr(leafEnd + 1)) : std::string());
        if (!isAuthorized(request, &holdMs)) {
            refuse(reply, out);
        } else {
            if (std::optional<std::string> cookies = request.header("Cookie"))
                vars.cookiesToMap(toString(makeString(*cookies)));
            auto row = rmap.find(dirPart);
            respond(row != rmap.end() ? row->second : ErrorPageResponder, reply, leafPart, vars,
                    out);
        }
    }

    if (reply->status() == kHttpStatusAgainAsHeavy) { // answered again as heavy work
        CurrentRequestEnd();
        return reply;
    }
    // A responder either writes its body to the stream or gives the reply a body of its own
    // (a file, or bytes shared with a cache) and writes nothing.
    std::string body = std::move(out).str();
    if (!body.empty() || (!reply->fileBody() && reply->bodyLength() == 0))
        reply->setBody(std::move(body));
    finishReply(request, reply);
    reply->setHoldMilliseconds(holdMs);
    CurrentRequestEnd();
    return reply;
}
