// HttpMessage.h - the HTTP request being read on a connection and the reply written back.
//
// HttpRequest parses the bytes of one connection, request after request, and stops after each
// request's header so that the request can be answered before the next one is read. HttpReply
// holds a status, ordered headers and a body, and serializes them for writing.
#pragma once

#include <http_parser.h>

#include <cstddef>
#include <cstdint>
#include <memory>
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
    // The same without a copy: the value, valid until the next request, or null.
    const std::string* headerValue(std::string_view name) const;
    // The method is HEAD. Meaningful once isHeaderComplete().
    bool isHead() const { return headerComplete_ && parser_.method == HTTP_HEAD; }
    // The client lets the connection carry another request after this one: HTTP/1.1 without
    // "Connection: close", or HTTP/1.0 with "Connection: keep-alive". Meaningful once
    // isHeaderComplete().
    bool keepAlive() const { return headerComplete_ && http_should_keep_alive(&parser_) != 0; }
    // The request says HTTP/1.0 (or older). Meaningful once isHeaderComplete().
    bool isHTTP10() const {
        return parser_.http_major < 1 || (parser_.http_major == 1 && parser_.http_minor == 0);
    }
    // No byte of a request header has been taken since the last request was answered (what was
    // appended, if anything, was that request's body).
    bool isBetweenRequests() const {
        return !headerComplete_ && (inBody_ || (headerBytes_ == 0 && method_.empty()));
    }

    // The client's address as text ("192.0.2.7"), the same for every request of a connection;
    // empty when unknown (a request not read from a socket).
    const std::string& peer() const { return peer_; }
    void setPeer(std::string address) { peer_ = std::move(address); }

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
    std::string peer_;
};

// The standard reason phrase of an HTTP status code ("Not Found"), or "Unknown".
const char* HttpReasonPhrase(int status);

// A body made while it is sent: the connection pulls its bytes piece by piece, only when the
// socket has taken the previous piece, so memory stays bounded however long the body is. Made
// on a worker thread, then used on the loop thread only; destroyed on either.
class HttpBodySource {
  public:
    virtual ~HttpBodySource() = default;
    // The body's exact length, known before its first byte (it is the "Content-Length").
    virtual uint64_t length() const = 0;
    // Points bytes at the next piece of the body: at least one byte, and no more than what is
    // left of length(). The piece stays valid and unchanged until the next call or destruction.
    // False when the body cannot go on (a file changed or vanished); the source has then logged
    // one line, and the connection closes, so the client sees a truncated transfer rather than
    // wrong bytes. REQUIRES: not called again after the length is reached or after false.
    virtual bool next(std::string_view& bytes) = 0;
};

// A reply: HTTP/1.1, a status with its standard reason phrase, headers in the order they were
// first set, and a body. The body is one of: bytes held by the reply (setBody), bytes shared
// with a cache (setSharedBody, never copied), a slice of an open file (setFileBody, streamed
// by the connection in pieces so that memory does not grow with the file), or a source that
// makes the bytes as they go (setSourceBody). Replies may be built on a worker thread and handed
// to the loop thread; a reply is used by one thread at a time.
class HttpReply {
  public:
    // A slice of an open file: length bytes from offset.
    struct FileSlice {
        int fd = -1;
        uint64_t offset = 0;
        uint64_t length = 0;
    };

    // Room for the usual headers (type, length, and one more) is made at once.
    explicit HttpReply(int status) : status_(status) { headers_.reserve(3); }
    // Closes the file of a file body.
    ~HttpReply();
    HttpReply(const HttpReply&) = delete;
    HttpReply& operator=(const HttpReply&) = delete;

    int status() const { return status_; }
    // Changes the status (a 200 becoming 206, 304 or 416).
    void setStatus(int status) { status_ = status; }
    // Milliseconds the connection waits before it starts sending this reply (0: at once). The
    // wait holds no thread and delays nothing but this connection.
    uint32_t holdMilliseconds() const { return hold_; }
    void setHoldMilliseconds(uint32_t milliseconds) { hold_ = milliseconds; }

    // Sets a header. A header of the same name (compared without regard to ASCII case) keeps
    // its place and takes the new value; a new name goes last.
    void setHeader(std::string_view name, std::string value);
    // Removes the header called name (any ASCII case), if present.
    void removeHeader(std::string_view name);
    // The value of the header called name (any ASCII case), or null. Valid until the next change.
    const std::string* header(std::string_view name) const;
    const std::vector<std::pair<std::string, std::string>>& headers() const { return headers_; }
    // Replaces all headers with these, in their order. REQUIRES: no two share a name.
    void setHeaders(const std::vector<std::pair<std::string, std::string>>& headers) {
        headers_ = headers;
    }

    // Takes the body over without copying it (move a big body in). Drops any other body.
    void setBody(std::string body);
    // Shares bytes that outlive the reply (a cache's), without copying. Drops any other body.
    // REQUIRES: body is not null.
    void setSharedBody(std::shared_ptr<const std::string> body);
    // Sends length bytes of the open file fd from offset; the reply owns fd from now on and
    // closes it. Drops any other body.
    void setFileBody(int fd, uint64_t offset, uint64_t length);
    // Sends what source makes (see HttpBodySource); the reply owns it. Drops any other body.
    // REQUIRES: source is not null.
    void setSourceBody(std::unique_ptr<HttpBodySource> source);
    // Drops the body, whatever its kind (a 304 or a HEAD reply).
    void clearBody();

    // The body is bytes shared with a cache (setSharedBody).
    bool hasSharedBody() const { return shared_ != nullptr; }
    // Those shared bytes, or null.
    const std::shared_ptr<const std::string>& sharedBody() const { return shared_; }
    // The file slice when the body comes from a file, else null.
    const FileSlice* fileBody() const { return file_.fd >= 0 ? &file_ : nullptr; }
    // Hands the file slice out: the caller owns its descriptor; the reply has no body after.
    FileSlice takeFileBody();
    // The source when the body is made while sent, else null.
    const HttpBodySource* sourceBody() const { return source_.get(); }
    // Hands the source out; the reply has no body after.
    std::unique_ptr<HttpBodySource> takeSourceBody() { return std::move(source_); }
    // The bytes of an in-memory body (owned or shared); empty for a file or source body.
    std::string_view body() const;
    // The body's length in bytes, whatever its kind.
    uint64_t bodyLength() const;
    // Hands an owned in-memory body out without copying it (a shared body is copied); the
    // reply's body is empty afterwards. REQUIRES: the body is not a file or a source.
    std::string takeBody();
    // The status line, the headers and the blank line that ends them: what a HEAD request gets.
    std::string serializeHeader() const;
    // serializeHeader() followed by an in-memory body: the whole reply in one buffer (copies
    // the body). REQUIRES: the body is not a file.
    std::string serialize() const;

  private:
    int status_;
    uint32_t hold_ = 0;
    std::vector<std::pair<std::string, std::string>> headers_;
    std::string body_;
    std::shared_ptr<const std::string> shared_;
    FileSlice file_;
    std::unique_ptr<HttpBodySource> source_;
};
