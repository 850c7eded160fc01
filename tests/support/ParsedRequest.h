// ParsedRequest.h - a request parsed from its header lines, for tests that hand one to the web
// layer without a connection.
#pragma once

#include "http/HttpMessage.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace testsupport {

// "<method> <target> HTTP/1.1", a Host line, then headers (each ending in CRLF). Fails the test
// when the header is not complete.
inline std::unique_ptr<HttpRequest> parsedRequest(const std::string& headers,
                                                  const std::string& target = "/f",
                                                  const std::string& method = "GET") {
    auto request = std::make_unique<HttpRequest>();
    std::string bytes = method + " " + target + " HTTP/1.1\r\nHost: x\r\n" + headers + "\r\n";
    request->append(bytes.data(), bytes.size());
    EXPECT_TRUE(request->isHeaderComplete()) << headers;
    return request;
}

} // namespace testsupport
