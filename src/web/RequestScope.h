// RequestScope.h - the request being answered on this thread, as responders reach it.
//
// A responder is called with its reply, path, variables and body stream only; whatever else it
// needs of its request (the site, the headers a validator is checked against) it finds in the
// scope the request step opens around it on the worker thread that runs it. A responder whose
// long work (decoding, encoding) remains hands it on with answerAsHeavy: the request step then
// ends its first phase there and the work runs as heavy work, from what the first phase found.
#pragma once

#include "http/HttpMessage.h"
#include "protocol/RequestHeaders.h"
#include "protocol/Validators.h"
#include "web/Site.h"

#include <memory>
#include <ostream>
#include <utility>

// The long work a responder hands on: it finishes the reply as a responder would (Responder.h).
class HeavyWork {
  public:
    virtual ~HeavyWork() = default;
    virtual void run(std::unique_ptr<HttpReply>& reply, std::ostream& out) = 0;
};

struct RequestScope {
    Site& site;
    const HttpRequest& request;
    RequestHeaders headers;           // what the reply may depend on
    std::unique_ptr<HeavyWork> heavy; // set by answerAsHeavy

    // Opens the scope on this thread. REQUIRES: none open here; request outlives the scope.
    RequestScope(Site& site, const HttpRequest& request);
    ~RequestScope(); // closes it
    RequestScope(const RequestScope&) = delete;
    RequestScope& operator=(const RequestScope&) = delete;
};

// The scope open on this thread. REQUIRES: called inside a request step.
RequestScope& currentRequest();

// Whether the current request already holds what validator describes (Validators.h).
bool NotModified(const Validator& validator);

// Hands work (callable as void(std::unique_ptr<HttpReply>&, std::ostream&)) on to be run as heavy
// work once the responder returns; the responder then leaves no reply. Heavy work may be handed
// on once per request. REQUIRES: called by a responder, inside a request step.
template <class Work> void answerAsHeavy(Work&& work) {
    struct Holder : HeavyWork {
        explicit Holder(Work&& w) : work_(std::forward<Work>(w)) {}
        void run(std::unique_ptr<HttpReply>& reply, std::ostream& out) override {
            work_(reply, out);
        }
        std::decay_t<Work> work_;
    };
    currentRequest().heavy = std::make_unique<Holder>(std::forward<Work>(work));
}
