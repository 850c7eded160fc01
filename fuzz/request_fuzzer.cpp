// request_fuzzer.cpp - libFuzzer entry point: the request step end to end. The bytes a client
// sends go through HttpRequest, each complete request through both phases of the request step and
// the server's own routes over a small published library (FuzzFiles.h), and each reply is written
// out as the connection writes it.
//
// Nothing a client sends may crash the server, hang it or leave a reply a browser cannot read:
// every reply has a known status, a length that matches its body, and a header that ends once.
#include "FuzzFiles.h"
#include "http/HttpMessage.h"
#include "web/RequestHandler.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

using fuzzfiles::kAuthorization;
constexpr int kMaxRequests = 4; // answered of one input

// Finishes the reply as the connection does and checks what would be written.
void writeOut(const HttpRequest& request, HttpReply& reply) {
    if (reply.status() < 100 || reply.status() > 599) __builtin_trap();
    const std::string* length = reply.header("Content-Length");
    if (reply.status() != 304 && length && *length != std::to_string(reply.bodyLength()))
        __builtin_trap();
    if (!length && reply.status() != 304)
        reply.setHeader("Content-Length", std::to_string(reply.bodyLength()));
    if (request.isHead()) reply.clearBody();
    std::string head = reply.serializeHeader();
    if (head.find("\r\n\r\n") != head.size() - 4) __builtin_trap(); // a header split early
    if (const HttpReply::FileSlice* file = reply.fileBody()) {
        std::string bytes(std::min<uint64_t>(file->length, 1 << 16), '\0');
        if (pread(file->fd, bytes.data(), bytes.size(), off_t(file->offset)) !=
            ssize_t(bytes.size()))
            __builtin_trap(); // a slice past the file's end
    } else if (std::unique_ptr<HttpBodySource> source = reply.takeSourceBody()) {
        uint64_t sent = 0; // a body made while sent (an album download) is as long as it says
        for (std::string_view piece; sent < source->length() && source->next(piece);)
            sent += piece.size();
        if (sent != source->length()) __builtin_trap();
    } else {
        (void)reply.serialize();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Site& site = fuzzfiles::fuzzSite();
    HttpRequest request;
    const char* bytes = reinterpret_cast<const char*>(data);
    size_t left = size;
    for (int answered = 0; answered < kMaxRequests && left > 0; ++answered) {
        size_t taken = request.append(bytes, left);
        if (taken > left) __builtin_trap();
        bytes += taken, left -= taken;
        if (request.failed() || request.headerTooLarge() || !request.isHeaderComplete()) break;
        std::unique_ptr<HttpReply> reply = HandleRequest(site, request);
        if (!reply) __builtin_trap();
        // Only the library's own credentials open it: "Basic " and their one encoding, after
        // which at most an unfinished group (which decodes to nothing) may follow.
        std::string given = request.header("Authorization").value_or(""), want = kAuthorization;
        int status = reply->status();
        if ((status == 200 || status == 206 || status == 304) &&
            (!given.starts_with(want) || given.size() > want.size() + 3))
            __builtin_trap();
        writeOut(request, *reply);
        request.next();
    }
    return 0;
}
