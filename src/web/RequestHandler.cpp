// RequestHandler.cpp - the request step: URL split, variables, access control, routing, the
// heavy phase, and the connection engine's view of the route table.
#include "web/RequestHandler.h"

#include "protocol/Credentials.h"
#include "protocol/Gzip.h"
#include "protocol/Ranges.h"
#include "protocol/Validators.h"
#include "settings/PreferenceStore.h"
#include "settings/Preferences.h"
#include "web/PageFrame.h"
#include "web/RequestScope.h"
#include "web/utility.h"

#include <chrono>
#include <cstdio>
#include <exception>
#include <sstream>

namespace {

// Room made for a body before it is written: small pages fit without growing, and the block
// stays below the size whose release makes malloc tidy up all its small blocks.
constexpr size_t kBodyReserve = 4096;

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

uint64_t steadyMilliseconds() {
    return uint64_t(std::chrono::duration_cast<std::chrono::milliseconds>(
                        std::chrono::steady_clock::now().time_since_epoch())
                        .count());
}

// The body stream of the calling thread, emptied and in the default format. One per thread:
// making a stream costs a locale look-up.
std::ostringstream& bodyStream() {
    thread_local std::ostringstream out;
    std::string buffer;
    buffer.reserve(kBodyReserve);
    out.str(std::move(buffer));
    out.clear();
    out.flags(std::ios::dec | std::ios::skipws);
    out.fill(' ');
    return out;
}

// Whether the request may be answered; *holdMs receives how long its answer must wait (a client
// that keeps guessing the password is answered ever more slowly, see GuessThrottle.h).
bool isAuthorized(Site& site, const HttpRequest& request, const RequestHeaders& headers,
                  uint32_t* holdMs) {
    bool enabled = false;
    std::string user, pass;
    prefGetAuthInfo(enabled, user, pass);
    if (!enabled) return true;
    const std::string* header = headers.authorization;
    std::string text = header ? toString(makeString(*header)) : std::string();
    bool matched = BasicCredentialsMatch(header ? &text : nullptr, user, pass);
    GuessThrottle::Verdict verdict =
        site.throttle.settle(request.peer(), matched, steadyMilliseconds());
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

// Runs work (a responder, or heavy work handed on) so that nothing it does ends the process: an
// exception or a missing reply becomes the error page, after whatever was written. A responder
// that handed heavy work on (mayHandOn) leaves no reply on purpose.
template <class Work>
void guarded(Work&& work, std::unique_ptr<HttpReply>& reply, const CFString_t& leaf,
             const VarMap& vars, std::ostream& out, bool mayHandOn) {
    try {
        work();
    } catch (const std::exception& e) {
        puts(e.what());
        ErrorPageResponder(reply, leaf, vars, out);
    } catch (...) {
        puts("a responder failed with an unknown exception");
        ErrorPageResponder(reply, leaf, vars, out);
    }
    if (!reply && !(mayHandOn && currentRequest().heavy)) {
        puts("a responder left no reply");
        ErrorPageResponder(reply, leaf, vars, out);
    }
}

// What HTTP asks of every reply once its responder is done: the body stream becomes the body
// unless the reply has one of its own (a file, or bytes shared with a cache); the encoding is
// chosen (a compressed variant has a tag of its own), then a reply the client already holds
// becomes a 304, then the body is compressed or narrowed to the requested range. A 304 has no
// "Content-Length": it would have to be the length of the representation the client holds.
std::unique_ptr<HttpReply> finishReply(Site& site, const RequestHeaders& headers,
                                       std::unique_ptr<HttpReply> reply, std::ostringstream& out,
                                       uint32_t holdMs) {
    std::string body = std::move(out).str();
    if (!body.empty() || (!reply->fileBody() && reply->bodyLength() == 0))
        reply->setBody(std::move(body));
    bool gzip = PrepareGzip(headers, *reply);
    FinishConditional(headers, reply);
    if (reply->status() == 304) {
        reply->clearBody();
        reply->removeHeader("Content-Length");
    } else {
        if (gzip)
            CompressReply(*reply, site.gzip);
        else
            ApplyRange(headers, *reply);
        reply->setHeader("Content-Length", std::to_string(reply->bodyLength()));
    }
    reply->setHoldMilliseconds(holdMs);
    return reply;
}

// The second phase: the work a responder handed on, with what the first phase read.
class StepHeavyPhase : public HttpHeavyPhase {
  public:
    StepHeavyPhase(Site& site, const HttpRequest& request, std::unique_ptr<HeavyWork> work,
                   CFString_t leaf, VarMap vars, uint32_t holdMs)
        : site_(site), request_(request), work_(std::move(work)), leaf_(std::move(leaf)),
          vars_(std::move(vars)), holdMs_(holdMs) {}

    std::unique_ptr<HttpReply> run() override {
        RequestScope scope(site_, request_);
        std::ostringstream& out = bodyStream();
        std::unique_ptr<HttpReply> reply;
        guarded([&] { work_->run(reply, out); }, reply, leaf_, vars_, out, false);
        return finishReply(site_, scope.headers, std::move(reply), out, holdMs_);
    }

  private:
    Site& site_;
    const HttpRequest& request_;
    std::unique_ptr<HeavyWork> work_;
    CFString_t leaf_;
    VarMap vars_;
    uint32_t holdMs_;
};

// The route a request goes to, or null.
const Route* routeOf(const Site& site, const HttpRequest& request) {
    return site.rmap.find(splitTarget(request.url()).directory);
}

} // namespace

RequestTarget splitTarget(std::string_view url) {
    RequestTarget target;
    if (url.size() > kMaxURLBytes) return target;
    size_t dirEnd = 0, leafEnd = url.size();
    for (size_t i = 0; i < url.size(); ++i) {
        if (url[i] == '/') {
            dirEnd = i + 1;
        } else if (url[i] == '?') {
            leafEnd = i;
            target.hasQuery = true;
            target.query = url.substr(i + 1);
            break;
        }
    }
    target.directory = url.substr(0, dirEnd);
    target.leaf = url.substr(dirEnd, leafEnd - dirEnd);
    return target;
}

HttpAnswer AnswerRequest(void* data, const HttpRequest& request) {
    Site& site = *static_cast<Site*>(data);
    RequestScope scope(site, request);
    std::ostringstream& out = bodyStream();
    std::unique_ptr<HttpReply> reply;
    VarMap vars;
    uint32_t holdMs = 0;
    CFString_t leafPart("");

    const std::string& url = request.url();
    RequestTarget target = splitTarget(url);
    std::string_view path(url.data(), target.directory.size() + target.leaf.size());
    if (url.empty() || !isASCII(path)) {
        puts(url.empty() ? "request without a URL" : "request URL is not ASCII");
        ErrorPageResponder(reply, leafPart, vars, out);
    } else {
        leafPart = asciiString(target.leaf);
        vars.queryToMap(std::string(target.query));
        if (!isAuthorized(site, request, scope.headers, &holdMs)) {
            refuse(reply, out);
        } else {
            if (const std::string* cookies = scope.headers.cookie)
                vars.cookiesToMap(toString(makeString(*cookies)));
            const Route* route = site.rmap.find(target.directory);
            Responder responder = route ? route->responder : ErrorPageResponder;
            guarded([&] { responder(reply, leafPart, vars, out); }, reply, leafPart, vars, out,
                    true);
        }
    }

    HttpAnswer answer;
    if (scope.heavy && !reply) {
        answer.heavy = std::make_unique<StepHeavyPhase>(
            site, request, std::move(scope.heavy), std::move(leafPart), std::move(vars), holdMs);
        return answer;
    }
    answer.reply = finishReply(site, scope.headers, std::move(reply), out, holdMs);
    return answer;
}

std::unique_ptr<HttpReply> HandleRequest(Site& site, const HttpRequest& request) {
    HttpAnswer answer = AnswerRequest(&site, request);
    return answer.heavy ? answer.heavy->run() : std::move(answer.reply);
}

HttpWorkKind ClassifyRequest(void* site, const HttpRequest& request) {
    const Route* route = routeOf(*static_cast<Site*>(site), request);
    return route ? route->kind : HttpWorkKind::Light;
}

bool ReplyReuseKey(void* site, const HttpRequest& request, std::string& key) {
    const std::string& url = request.url();
    if (url.empty()) return false;
    const Route* route = routeOf(*static_cast<Site*>(site), request);
    if (!route || !route->keep) return false;
    RequestHeaders headers(request);
    if (headers.range || headers.ifRange) return false;
    key.clear();
    key += request.isHead() ? 'H' : 'G';
    key.append(url);
    headers.appendReuseKey(key);
    return true;
}

uint64_t ReplyReuseGeneration(void*) {
    return prefGeneration();
}

bool AdmitKeptReply(void* data, const HttpRequest& request) {
    // Only 200 and 304 replies are kept, and only until the settings change: a kept reply to a
    // request with credentials was made because they were accepted, and one without was made
    // while no password was asked. The throttle is asked as the step asks it, and an address whose
    // answers are being held goes to a worker, which holds it. Without a password asked, no
    // address has a record, and the throttle answers at once.
    if (!request.headerValue("Authorization")) return true;
    GuessThrottle::Verdict verdict =
        static_cast<Site*>(data)->throttle.settle(request.peer(), true, steadyMilliseconds());
    return verdict.allowed && verdict.holdMs == 0;
}

HttpEngineConfig SiteEngineConfig(Site& site) {
    HttpEngineConfig config;
    config.handler = AnswerRequest;
    config.data = &site;
    config.classifier = ClassifyRequest;
    config.reuse = {ReplyReuseKey, ReplyReuseGeneration, AdmitKeptReply, kReplyFreshMilliseconds};
    return config;
}
