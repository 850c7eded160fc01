// RequestHeaders.h - the request headers a reply depends on, read once from the request.
//
// The request step and the HTTP rules of this layer read a request's headers only through this
// record: the functions here take a RequestHeaders, never the request. The key under which a reply
// may be kept and given again (appendReuseKey) is made from every field, so a header that starts
// to matter to a reply cannot be left out of it: a new field goes into kFields and thereby into
// the key.
//
// A record points into the request it was read from and is valid while that request is unchanged
// (the connection keeps it so until the reply has been written). Read-only once made: any thread.
#pragma once

#include "http/HttpMessage.h"

#include <string>
#include <string_view>

struct RequestHeaders {
    const std::string* acceptEncoding = nullptr;  // "Accept-Encoding"
    const std::string* ifNoneMatch = nullptr;     // "If-None-Match"
    const std::string* ifModifiedSince = nullptr; // "If-Modified-Since"
    const std::string* range = nullptr;           // "Range"
    const std::string* ifRange = nullptr;         // "If-Range"
    const std::string* authorization = nullptr;   // "Authorization"
    const std::string* cookie = nullptr;          // "Cookie"

    // Every field and the header it holds, in key order.
    struct Field {
        std::string_view name;
        const std::string* RequestHeaders::*member;
    };
    static const Field kFields[7];

    RequestHeaders() = default;
    // Reads every field from request. Implicit, so that a request can be given where the rules
    // below want its headers. REQUIRES: request outlives the record, unchanged.
    RequestHeaders(const HttpRequest& request); // NOLINT(google-explicit-constructor)

    // Appends every field to key: a separator no header value holds (the parser refuses line
    // feeds in values), then '+' and the value, or '-' for an absent header.
    void appendReuseKey(std::string& key) const;
};
