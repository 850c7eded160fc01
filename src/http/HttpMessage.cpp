// HttpMessage.cpp - request parsing on top of http-parser, reply serialization.
#include "http/HttpMessage.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <strings.h>
#include <unistd.h>

static bool _sameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// --- HttpRequest ----------------------------------------------------------------------------
//
// The parser is paused twice per request: in on_headers_complete, so that the request can be
// answered before anything after its header is parsed, and in on_message_complete, so that
// append knows where the next request starts and can count its header bytes from there.

const http_parser_settings& HttpRequest::_settings() {
    static const http_parser_settings settings = [] {
        http_parser_settings s;
        http_parser_settings_init(&s);
        s.on_message_begin = _onMessageBegin;
        s.on_url = _onUrl;
        s.on_header_field = _onHeaderField;
        s.on_header_value = _onHeaderValue;
        s.on_headers_complete = _onHeadersComplete;
        s.on_message_complete = _onMessageComplete;
        return s;
    }();
    return settings;
}

HttpRequest::HttpRequest() {
    http_parser_init(&parser_, HTTP_REQUEST);
    parser_.data = this;
}

int HttpRequest::_onMessageBegin(http_parser* parser) {
    auto* request = static_cast<HttpRequest*>(parser->data);
    request->url_.clear();
    request->headers_.clear();
    request->lastWasValue_ = false;
    return 0;
}

int HttpRequest::_onUrl(http_parser* parser, const char* at, size_t length) {
    static_cast<HttpRequest*>(parser->data)->url_.append(at, length);
    return 0;
}

// A header's name and value may each arrive in several pieces when they straddle two appends.
int HttpRequest::_onHeaderField(http_parser* parser, const char* at, size_t length) {
    auto* request = static_cast<HttpRequest*>(parser->data);
    if (request->headers_.empty() || request->lastWasValue_) request->headers_.emplace_back();
    request->headers_.back().first.append(at, length);
    request->lastWasValue_ = false;
    return 0;
}

int HttpRequest::_onHeaderValue(http_parser* parser, const char* at, size_t length) {
    auto* request = static_cast<HttpRequest*>(parser->data);
    if (request->headers_.empty()) request->headers_.emplace_back();
    request->headers_.back().second.append(at, length);
    request->lastWasValue_ = true;
    return 0;
}

int HttpRequest::_onHeadersComplete(http_parser* parser) {
    static_cast<HttpRequest*>(parser->data)->headerComplete_ = true;
    // This server never switches protocols: an Upgrade or CONNECT request is answered like any
    // other, and whatever follows it is parsed as HTTP.
    parser->upgrade = 0;
    http_parser_pause(parser, 1);
    return 0;
}

int HttpRequest::_onMessageComplete(http_parser* parser) {
    http_parser_pause(parser, 1);
    return 0;
}

// A character of an HTTP token (letters, digits and !#$%&'*+-.^_`|~).
static bool _isTokenChar(char c) {
    return isalnum(static_cast<unsigned char>(c)) || (c && strchr("!#$%&'*+-.^_`|~", c));
}

// Every method is answered as a read of the named resource, but the parser knows only the
// standard ones: a request whose method it does not know (or writes in lower case) reaches it as
// a GET. The method is gathered here until the space after it; bytes that cannot be part of a
// method go to the parser as they are (so garbage fails at once). Returns the bytes taken.
static bool _isKnownMethod(std::string_view method) {
    if (method == "GET") return true;
    for (int m = 0;; ++m) {
        std::string_view name = http_method_str(http_method(m));
        if (name == "<unknown>") return false;
        if (name == method) return true;
    }
}

size_t HttpRequest::_gateMethod(const char* bytes, size_t length) {
    static constexpr size_t kLongestMethod = 24;
    // Nearly always the whole method is in these bytes: look at it where it lies.
    if (method_.empty()) {
        size_t end = 0;
        while (end < length && end <= kLongestMethod && _isTokenChar(bytes[end]))
            ++end;
        if (end < length && end > 0 && end <= kLongestMethod && bytes[end] == ' ') {
            std::string_view method(bytes, end);
            if (_isKnownMethod(method)) {
                methodChecked_ = true;
                return 0;
            }
            headerBytes_ += end;
            _feedMethod("GET");
            return end;
        }
    }
    size_t taken = 0;
    for (; taken < length; ++taken) {
        char c = bytes[taken];
        if (method_.empty() && (c == '\r' || c == '\n')) { // blank lines before a request
            if (http_parser_execute(&parser_, &_settings(), &c, 1) != 1) failed_ = true;
            if (failed_) return taken + 1;
            continue;
        }
        if (c == ' ' && !method_.empty()) break;
        if (!_isTokenChar(c) || method_.size() >= kLongestMethod) {
            _feedMethod(method_);
            return taken;
        }
        method_ += c;
    }
    headerBytes_ += taken;
    if (taken == length) return taken; // the method goes on in the next bytes
    _feedMethod(_isKnownMethod(method_) ? method_ : "GET");
    return taken;
}

void HttpRequest::_feedMethod(const std::string& method) {
    methodChecked_ = true;
    if (!method.empty() &&
        http_parser_execute(&parser_, &_settings(), method.data(), method.size()) != method.size())
        failed_ = true;
    method_.clear();
}

size_t HttpRequest::append(const char* bytes, size_t length) {
    size_t used = 0;
    while (used < length && !headerComplete_ && !failed_ && !headerTooLarge_) {
        if (!inBody_ && !methodChecked_) {
            used += _gateMethod(bytes + used, length - used);
            continue;
        }
        bool body = inBody_;
        // While reading a header, never hand the parser more than the header may still take, so
        // the limit holds however large the appended block is.
        size_t room = length - used;
        if (!body) room = std::min(room, kMaxHeaderBytes - headerBytes_);
        size_t taken = http_parser_execute(&parser_, &_settings(), bytes + used, room);
        used += taken;
        http_errno error = HTTP_PARSER_ERRNO(&parser_);
        if (error != HPE_OK && error != HPE_PAUSED) {
            failed_ = true;
        } else if (body) {
            if (error == HPE_PAUSED) { // the answered request is over: the next one starts here
                http_parser_pause(&parser_, 0);
                inBody_ = false;
                methodChecked_ = false;
                headerBytes_ = 0;
            }
        } else {
            headerBytes_ += taken;
            // Whether complete or not, the header has at least one more byte than taken: either
            // the line feed that ends it (taken after next()) or the rest still to come.
            if (headerBytes_ >= kMaxHeaderBytes) {
                headerTooLarge_ = true;
                headerComplete_ = false;
            }
        }
        // Without an error or a pause the parser takes everything it is given; anything else
        // would loop forever, so treat it as a failure.
        if (error == HPE_OK && taken < room) failed_ = true;
    }
    return used;
}

void HttpRequest::next() {
    if (!headerComplete_) return;
    headerComplete_ = false;
    inBody_ = true;
    http_parser_pause(&parser_, 0);
}

std::optional<std::string> HttpRequest::header(std::string_view name) const {
    if (const std::string* value = headerValue(name)) return *value;
    return std::nullopt;
}

const std::string* HttpRequest::headerValue(std::string_view name) const {
    for (const auto& [field, value] : headers_)
        if (_sameName(field, name)) return &value;
    return nullptr;
}

// --- HttpReply ------------------------------------------------------------------------------

const char* HttpReasonPhrase(int status) {
    switch (status) {
    case 100:
        return "Continue";
    case 101:
        return "Switching Protocols";
    case 200:
        return "OK";
    case 201:
        return "Created";
    case 202:
        return "Accepted";
    case 203:
        return "Non-Authoritative Information";
    case 204:
        return "No Content";
    case 205:
        return "Reset Content";
    case 206:
        return "Partial Content";
    case 300:
        return "Multiple Choices";
    case 301:
        return "Moved Permanently";
    case 302:
        return "Found";
    case 303:
        return "See Other";
    case 304:
        return "Not Modified";
    case 305:
        return "Use Proxy";
    case 307:
        return "Temporary Redirect";
    case 308:
        return "Permanent Redirect";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 402:
        return "Payment Required";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 406:
        return "Not Acceptable";
    case 407:
        return "Proxy Authentication Required";
    case 408:
        return "Request Timeout";
    case 409:
        return "Conflict";
    case 410:
        return "Gone";
    case 411:
        return "Length Required";
    case 412:
        return "Precondition Failed";
    case 413:
        return "Content Too Large";
    case 414:
        return "URI Too Long";
    case 415:
        return "Unsupported Media Type";
    case 416:
        return "Range Not Satisfiable";
    case 417:
        return "Expectation Failed";
    case 426:
        return "Upgrade Required";
    case 431:
        return "Request Header Fields Too Large";
    case 500:
        return "Internal Server Error";
    case 501:
        return "Not Implemented";
    case 502:
        return "Bad Gateway";
    case 503:
        return "Service Unavailable";
    case 504:
        return "Gateway Timeout";
    case 505:
        return "HTTP Version Not Supported";
    default:
        return "Unknown";
    }
}

void HttpReply::setHeader(std::string_view name, std::string value) {
    for (auto& [field, old] : headers_) {
        if (_sameName(field, name)) {
            old = std::move(value);
            return;
        }
    }
    headers_.emplace_back(std::string(name), std::move(value));
}

const std::string* HttpReply::header(std::string_view name) const {
    for (const auto& [field, value] : headers_)
        if (_sameName(field, name)) return &value;
    return nullptr;
}

std::string HttpReply::serializeHeader() const {
    size_t length = 64;
    for (const auto& [field, value] : headers_)
        length += field.size() + value.size() + 4;
    std::string text;
    text.reserve(length);
    text.append("HTTP/1.1 ")
        .append(std::to_string(status_))
        .append(" ")
        .append(HttpReasonPhrase(status_));
    text.append("\r\n");
    for (const auto& [field, value] : headers_) {
        text += field;
        text += ": ";
        text += value;
        text += "\r\n";
    }
    text += "\r\n";
    return text;
}

std::string HttpReply::serialize() const {
    std::string text = serializeHeader();
    std::string_view bytes = body();
    text.reserve(text.size() + bytes.size());
    text += bytes;
    return text;
}

HttpReply::~HttpReply() {
    clearBody();
}

void HttpReply::removeHeader(std::string_view name) {
    for (auto it = headers_.begin(); it != headers_.end(); ++it) {
        if (_sameName(it->first, name)) {
            headers_.erase(it);
            return;
        }
    }
}

void HttpReply::setBody(std::string body) {
    clearBody();
    body_ = std::move(body);
}

void HttpReply::setSharedBody(std::shared_ptr<const std::string> body) {
    clearBody();
    shared_ = std::move(body);
}

void HttpReply::setFileBody(int fd, uint64_t offset, uint64_t length) {
    clearBody();
    file_ = FileSlice{fd, offset, length};
}

void HttpReply::setSourceBody(std::unique_ptr<HttpBodySource> source) {
    clearBody();
    source_ = std::move(source);
}

void HttpReply::clearBody() {
    std::string().swap(body_);
    shared_.reset();
    source_.reset();
    if (file_.fd >= 0) close(file_.fd);
    file_ = FileSlice{};
}

HttpReply::FileSlice HttpReply::takeFileBody() {
    FileSlice slice = file_;
    file_ = FileSlice{};
    return slice;
}

std::string_view HttpReply::body() const {
    return shared_ ? std::string_view(*shared_) : std::string_view(body_);
}

uint64_t HttpReply::bodyLength() const {
    if (source_) return source_->length();
    return file_.fd >= 0 ? file_.length : uint64_t(body().size());
}

std::string HttpReply::takeBody() {
    std::string taken = shared_ ? std::string(*shared_) : std::move(body_);
    clearBody();
    return taken;
}

