// Validators.cpp - ETag, Last-Modified, Cache-Control and the conditional-request check.
#include "web/Validators.h"

#include <cstdio>

namespace {

thread_local const HttpRequest* current = nullptr;

std::string httpDate(time_t when) {
    char text[64];
    struct tm parts;
    gmtime_r(&when, &parts);
    strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &parts);
    return text;
}

} // namespace

Validator FileValidator(const struct stat& info, std::string_view variant) {
    char text[160];
    snprintf(text, sizeof text, "\"%llx-%llx-%llx-%llx", (unsigned long long)info.st_dev,
             (unsigned long long)info.st_ino, (unsigned long long)info.st_size,
             (unsigned long long)info.st_mtim.tv_sec * 1000000000ull +
                 (unsigned long long)info.st_mtim.tv_nsec);
    Validator validator;
    validator.etag = text;
    if (!variant.empty()) validator.etag.append("-").append(variant);
    validator.etag += '"';
    validator.lastModified = info.st_mtim.tv_sec;
    return validator;
}

void SetValidator(HttpReply& reply, const Validator& validator, CachePolicy policy) {
    if (!validator.etag.empty()) reply.setHeader("ETag", validator.etag);
    if (validator.lastModified) reply.setHeader("Last-Modified", httpDate(validator.lastModified));
    reply.setHeader("Cache-Control", policy == CachePolicy::Keep ? "max-age=86400" : "no-cache");
}

bool NotModified(const Validator& validator) {
    if (!current || validator.etag.empty()) return false;
    std::optional<std::string> tags = current->header("If-None-Match");
    return tags && *tags == validator.etag;
}

void ReplyNotModified(std::unique_ptr<HttpReply>& reply, const Validator& validator,
                      CachePolicy policy) {
    reply = std::make_unique<HttpReply>(304);
    SetValidator(*reply, validator, policy);
}

void CurrentRequestBegin(const HttpRequest& request) {
    current = &request;
}

void CurrentRequestEnd() {
    current = nullptr;
}

const HttpRequest* CurrentRequest() {
    return current;
}
