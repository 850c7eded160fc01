// HttpMessage.h - the HTTP request being read on a connection and the reply written back.
//
// HttpRequest parses the bytes of one connection, request after request, and stops after each
// request's header so that the request can be answered before the next one is read. HttpReply
// holds a status, ordered headers and a body, and serializes them for writing.
#pragma once

#include <http_parser.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The requests of one connection. Feed it bytes with append until isHeaderComplete (answer the
// request), failed or headerTooLarge (give the connection up). After answering, call next and
// feed the bytes that append did not take, then the following reads.
class HttpRequest {
  public:
    // A request header may be this long (request line, header lines and the blank line).
    static constexpr size_t kMaxHeaderBytes = 65536;

    HttpRequest();
    // The parser points back at its request, so a request stays where it was made.
    HttpRequest(const HttpRequest&) = delete;
    HttpRequest& operator=(const HttpRequest&) = delete;

    // Parses bytes up to the end of the current request's header and returns how many it took:
    // all of them unless the header completed (or parsing stopped) before their end. The bytes
    // not taken belong to what follows and must be appended again after next(). Takes nothing
    // while a complete header waits for next(), after a failure, or once the header is too large.
    // Bytes after a complete header are the request's body (read and dropped after next()) or
    // the next request; a body is never taken for a request.
    size_t append(const char* bytes, size_t length);

    // Lets parsing go on after the current request has been answered: its body, if any, is
    // skipped, then the next request begins. Does nothing unless isHeaderComplete().
    void next();

    // True from the end of a request's header until next().
    bool isHeaderComplete() const { return headerComplete_; }
    // The bytes are not HTTP: the connection cannot go on.
    bool failed() const { return failed_; }
    // The current request's header has grown past kMaxHeaderBytes: the connection cannot go on.
    // Such a request never counts as complete.
    bool headerTooLarge() const { return headerTooLarge_; }

    // The request target exactly as received (still percent-encoded). Complete once
    // isHeaderComplete().
    const std::string& url() const { return url_; }
    // The value of the first header called name (compared without regard to ASCII case), or
    // nothing when the request has no such header.
    std::optional<std::string> header(std::string_view name) const;
    // The method is HEAD. Meaningful once isHeaderComplete().
    bool isHead() const { return headerComplete_ && parser_.method == HTTP_HEAD; }

  private:
    size_t _gateMethod(const char* bytes, size_t length);
    void _feedMethod(const std::string& method);
    static const http_parser_settings& _settings();
    static int _onMessageBegin(http_parser* parser);
    static int _onUrl(http_parser* parser, const char* at, size_t length);
    static int _onHeaderField(http_parser* parser, const char* at, size_t length);
    static int _onHeaderValue(http_parser* parser, const char* at, size_t length);
    static int _onHeadersComplete(http_parser* parser);
    static int _onMessageComplete(http_parser* parser);

    http_parser parser_;
    std::string url_;
    std::vector<std::pair<std::string, std::string>> headers_;
    bool lastWasValue_ = false;   // the last header callback delivered value bytes
    bool headerComplete_ = false; // paused after on_headers_complete, waiting for next()
    bool inBody_ = false;         // after next(): reading the answered request's remainder
    bool failed_ = false;
    bool methodChecked_ = false; // the current request's method has been looked at
    std::string method_;         // the method gathered so far, until the space after it
    bool headerTooLarge_ = false;
    size_t headerBytes_ = 0; // bytes of the current request's header taken so far
};

// The standard reason phrase of an HTTP status code ("Not Found"), or "Unknown".
const char* HttpReasonPhrase(int status);

// A reply: HTTP/1.1, a status with its standard reason phrase, headers in the order they were
// first set, and a body.
class HttpReply {
  public:
    // Room for the usual headers (type, length, and one more) is made at once.
    explicit HttpReply(int status) : status_(status) { headers_.reserve(3); }

    int status() const { return status_; }

    // Sets a header. A header of the same name (compared without regard to ASCII case) keeps
    // its place and takes the new value; a new name goes last.
    void setHeader(std::string_view name, std::string value);
    // The value of the header called name (any ASCII case), or null. Valid until the next change.
    const std::string* header(std::string_view name) const;
    const std::vector<std::pair<std::string, std::string>>& headers() const { return headers_; }

    // Takes the body over without copying it (move a big body in).
    void setBody(std::string body) { body_ = std::move(body); }
    const std::string& body() const { return body_; }
    // Hands the body out without copying it; the reply's body is empty afterwards.
    std::string takeBody() { return std::move(body_); }

    // The status line, the headers and the blank line that ends them: what a HEAD request gets.
    std::string serializeHeader() const;
    // serializeHeader() followed by the body: the whole reply in one buffer (copies the body;
    // to avoid the copy write serializeHeader() and then body()).
    std::string serialize() const;

  private:
    int status_;
    std::vector<std::pair<std::string, std::string>> headers_;
    std::string body_;
};
