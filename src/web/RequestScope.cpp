// RequestScope.cpp - the one per-thread pointer of the request step.
#include "web/RequestScope.h"

#include "cf/Assert.h"

namespace {

thread_local RequestScope* current = nullptr;

} // namespace

RequestScope::RequestScope(Site& site, const HttpRequest& request)
    : site(site), request(request), headers(request) {
    TS_ASSERT(!current, "RequestScope", __LINE__);
    current = this;
}

RequestScope::~RequestScope() {
    current = nullptr;
}

RequestScope& currentRequest() {
    TS_ASSERT(current, "RequestScope", __LINE__);
    return *current;
}

bool NotModified(const Validator& validator) {
    return NotModified(currentRequest().headers, validator);
}
