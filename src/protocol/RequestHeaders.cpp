// RequestHeaders.cpp - reading the headers a reply depends on, and their part of a reuse key.
#include "protocol/RequestHeaders.h"

const RequestHeaders::Field RequestHeaders::kFields[7] = {
    {"Accept-Encoding", &RequestHeaders::acceptEncoding},
    {"If-None-Match", &RequestHeaders::ifNoneMatch},
    {"If-Modified-Since", &RequestHeaders::ifModifiedSince},
    {"Range", &RequestHeaders::range},
    {"If-Range", &RequestHeaders::ifRange},
    {"Authorization", &RequestHeaders::authorization},
    {"Cookie", &RequestHeaders::cookie},
};

RequestHeaders::RequestHeaders(const HttpRequest& request) {
    for (const Field& field : kFields)
        this->*field.member = request.headerValue(field.name);
}

void RequestHeaders::appendReuseKey(std::string& key) const {
    for (const Field& field : kFields) {
        key += '\n';
        if (const std::string* value = this->*field.member) {
            key += '+';
            key += *value;
        } else {
            key += '-';
        }
    }
}
