// RequestStepHttp_test.cpp - the end of the request step through HandleRequest: gzip, 304 and
// byte ranges together, as responders' replies meet them.
#include "protocol/Gzip.h"
#include "protocol/Validators.h"
#include "settings/PreferenceStore.h"
#include "support/ParsedRequest.h"
#include "support/TempFolder.h"
#include "web/RequestHandler.h"
#include "web/RequestScope.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

namespace {

// One gzip member inflated (up to 1 MiB), or "(not a whole gzip member)".
std::string inflateAll(std::string_view gzip) {
    z_stream stream = {};
    std::string out(1 << 20, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(gzip.data()));
    stream.avail_in = uInt(gzip.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = uInt(out.size());
    int status = inflateInit2(&stream, 15 + 16) == Z_OK ? inflate(&stream, Z_FINISH) : Z_DATA_ERROR;
    out.resize(stream.total_out);
    inflateEnd(&stream);
    return status == Z_STREAM_END ? out : "(not a whole gzip member)";
}

std::string gFilePath; // what /t/file/ serves, as text/css unless ?type= says otherwise
std::string gText;     // what /t/text/ serves, as text/css (?n=: that many bytes)
std::string gTextETag; // with this tag, when not empty
int gEarlyChecks = 0;  // how often /t/text/?early=1 found the client's copy current

void fileResponder(std::unique_ptr<HttpReply>& reply, const CFString_t&, const VarMap& vars,
                   std::ostream&) {
    int fd = open(gFilePath.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info;
    if (fd < 0 || fstat(fd, &info) != 0) throw std::runtime_error("cannot open " + gFilePath);
    reply = std::make_unique<HttpReply>(200);
    std::string type;
    vars.getString("type", type, "text/css");
    reply->setHeader("Content-Type", type);
    SetValidator(*reply, FileValidator(info, ""), CachePolicy::Revalidate);
    reply->setFileBody(fd, 0, uint64_t(info.st_size));
}

void textResponder(std::unique_ptr<HttpReply>& reply, const CFString_t&, const VarMap& vars,
                   std::ostream& out) {
    std::string early;
    if (vars.getString("early", early, "") && NotModified(Validator{gTextETag, 0})) {
        ++gEarlyChecks; // the client's copy is current: answered before doing the work
        return ReplyNotModified(reply, {gTextETag, 0}, CachePolicy::Revalidate);
    }
    reply = std::make_unique<HttpReply>(200);
    reply->setHeader("Content-Type", "text/css");
    if (!gTextETag.empty()) SetValidator(*reply, {gTextETag, 0}, CachePolicy::Revalidate);
    int n = 0;
    out << (vars.getInt("n", n, 0) ? std::string(size_t(n), 's') : gText);
}

class RequestStepHttpTest : public ::testing::Test {
  protected:
    void SetUp() override {
        CFPreferencesSetPath(files.path("none.plist"));
        site.rmap = RouteTable{{"/t/file/", fileResponder, HttpWorkKind::Light, true},
                               {"/t/text/", textResponder, HttpWorkKind::Light, true}};
        gFilePath = files.write("site.css", std::string(4000, 'c') + "0123456789");
        gText = std::string(1000, 't');
        gTextETag = "\"text1\"";
        gEarlyChecks = 0;
    }
    std::unique_ptr<HttpReply> ask(const std::string& target, const std::string& headers = "",
                                   const char* method = "GET") {
        request = testsupport::parsedRequest(headers, target, method);
        return HandleRequest(site, *request);
    }
    testsupport::TempFolder files;
    Site site{files.path("cache")};
    std::unique_ptr<HttpRequest> request;
};

// What a browser reads off the reply: the status, then the encoding, "gz-tag" when the ETag names
// the compressed variant, "len" for a Content-Length that is the body's ("len=N" when not),
// "ranges" for Accept-Ranges: bytes, "vary" for Vary: Accept-Encoding.
std::string summary(const HttpReply& reply) {
    auto has = [&](const char* name, std::string_view ending) {
        return reply.header(name) && std::string_view(*reply.header(name)).ends_with(ending);
    };
    std::string text = std::to_string(reply.status());
    if (const std::string* encoding = reply.header("Content-Encoding")) text += " " + *encoding;
    if (has("ETag", "-gz\"")) text += " gz-tag";
    if (const std::string* length = reply.header("Content-Length"))
        text += *length == std::to_string(reply.bodyLength()) ? " len" : " len=" + *length;
    if (has("Accept-Ranges", "bytes")) text += " ranges";
    if (has("Vary", "Accept-Encoding")) text += " vary";
    return text;
}

TEST_F(RequestStepHttpTest, RepliesAsBrowsersExpect) {
    const std::string cases[][4] = {
        // what would be wrong, target, headers, summary
        {"text file as it is", "/t/file/", "", "200 len ranges vary"},
        {"text file compressed", "/t/file/", "Accept-Encoding: gzip, br\r\n",
         "200 gzip gz-tag len vary"},
        {"range of the plain file", "/t/file/", "Range: bytes=-10\r\n", "206 len ranges vary"},
        {"a range of the compressed variant", "/t/file/",
         "Range: bytes=-10\r\nAccept-Encoding: gzip\r\n", "200 gzip gz-tag len vary"},
        {"unsatisfiable range", "/t/file/", "Range: bytes=5000-\r\n", "416 len ranges vary"},
        {"text in memory takes a range", "/t/text/", "Range: bytes=0-1\r\n", "200 len vary"},
        {"held text: 304 with a length", "/t/text/", "If-None-Match: \"text1\"\r\n", "304 vary"},
        {"held compressed text", "/t/text/",
         "If-None-Match: \"text1-gz\"\r\nAccept-Encoding: gzip\r\n", "304 gz-tag vary"},
        {"plain tag held, gzip now accepted: the compressed variant is sent", "/t/text/",
         "If-None-Match: \"text1\"\r\nAccept-Encoding: gzip\r\n", "200 gzip gz-tag len vary"},
        {"early 304 with the compressed tag", "/t/text/?early=1",
         "If-None-Match: \"text1-gz\"\r\nAccept-Encoding: gzip\r\n", "304 gz-tag vary"},
        {"unknown path loses its 404", "/t/none/", "Accept-Encoding: gzip\r\n", "404 len"},
        {"small text compressed", "/t/text/?n=" + std::to_string(kGzipMinBytes - 1),
         "Accept-Encoding: gzip\r\n", "200 len"},
        {"a film compressed", "/t/file/?type=video/mp4", "Accept-Encoding: gzip\r\n",
         "200 len ranges"},
    };
    for (auto& c : cases) {
        auto reply = ask(c[1], c[2]);
        EXPECT_EQ(summary(*reply), c[3]) << c[0];
        auto head = ask(c[1], c[2], "HEAD");
        EXPECT_EQ(std::pair(head->status(), head->headers()),
                  std::pair(reply->status(), reply->headers()))
            << c[0] << ": HEAD answers with the headers of GET";
        if (reply->status() == 304) { // validators kept; no type, no body
            EXPECT_TRUE(reply->header("Cache-Control") && !reply->header("Content-Type")) << c[0];
            EXPECT_EQ(reply->bodyLength(), 0u) << c[0];
        }
        std::string plain = c[1] == "/t/file/" ? std::string(4000, 'c') + "0123456789" : gText;
        if (reply->header("Content-Encoding")) {
            EXPECT_EQ(inflateAll(reply->body()), plain) << c[0];
            EXPECT_LT(reply->bodyLength(), plain.size() / 2) << c[0] << ": compressed";
        }
    }
    EXPECT_EQ(gEarlyChecks, 2) << "the responder answered 304 (GET, HEAD) before doing its work";
}

TEST_F(RequestStepHttpTest, MadeRepliesSharingATagKeepTheirOwnBytes) {
    // Every JSON reply carries the tag of the album files: two photos' details of one length
    // must not be taken for one another.
    gTextETag = "\"albums\"";
    gText = std::string(3000, 'a');
    ask("/t/text/", "Accept-Encoding: gzip\r\n");
    gText = std::string(3000, 'b');
    auto second = ask("/t/text/", "Accept-Encoding: gzip\r\n");
    EXPECT_TRUE(inflateAll(second->body()) == gText) << "the second reply is the first's";
}

} // namespace
