// RequestStepHttp_test.cpp - the end of the request step through HandleRequest: gzip, 304 and
// byte ranges together, as responders' replies meet them.
#include "settings/PreferenceStore.h"
#include "support/Inflate.h"
#include "support/ParsedRequest.h"
#include "support/TempFolder.h"
#include "web/Gzip.h"
#include "web/RequestHandler.h"
#include "web/Validators.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using testsupport::inflateAll;

namespace {

std::string gFilePath; // what /t/file/ serves
std::string gFileType; // with this type
std::string gText;     // what /t/text/ and /t/early/ serve, as text/css
std::string gTextETag; // with this tag, when not empty
int gEarlyChecks = 0;  // how often /t/early/ found the client's copy current

void fileResponder(std::unique_ptr<HttpReply>& reply, const CFString_t&, const VarMap&,
                   std::ostream&) {
    int fd = open(gFilePath.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info;
    if (fd < 0 || fstat(fd, &info) != 0) throw std::runtime_error("cannot open " + gFilePath);
    reply = std::make_unique<HttpReply>(200);
    reply->setHeader("Content-Type", gFileType);
    SetValidator(*reply, FileValidator(info, ""), CachePolicy::Revalidate);
    reply->setFileBody(fd, 0, uint64_t(info.st_size));
}

void textResponder(std::unique_ptr<HttpReply>& reply, const CFString_t&, const VarMap&,
                   std::ostream& out) {
    reply = std::make_unique<HttpReply>(200);
    reply->setHeader("Content-Type", "text/css");
    if (!gTextETag.empty()) SetValidator(*reply, {gTextETag, 0}, CachePolicy::Revalidate);
    out << gText;
}

void earlyResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path, const VarMap& vars,
                    std::ostream& out) {
    Validator validator{gTextETag, 0};
    if (NotModified(validator)) {
        ++gEarlyChecks;
        return ReplyNotModified(reply, validator, CachePolicy::Revalidate);
    }
    textResponder(reply, path, vars, out);
}

class RequestStepHttpTest : public ::testing::Test {
  protected:
    void SetUp() override {
        CFPreferencesSetPath(files.path("none.plist"));
        rmap[CFString_t("/t/file/")] = fileResponder;
        rmap[CFString_t("/t/text/")] = textResponder;
        rmap[CFString_t("/t/early/")] = earlyResponder;
        gFilePath = files.write("site.css", std::string(4000, 'c') + "0123456789");
        gFileType = "text/css";
        gText = std::string(1000, 't');
        gTextETag = "\"text1\"";
        gEarlyChecks = 0;
    }
    void TearDown() override {
        rmap.erase(CFString_t("/t/file/"));
        rmap.erase(CFString_t("/t/text/"));
        rmap.erase(CFString_t("/t/early/"));
    }
    std::unique_ptr<HttpReply> ask(const std::string& target, const std::string& headers = "",
                                   const char* method = "GET") {
        request = testsupport::parsedRequest(headers, target, method);
        return HandleRequest(*request);
    }
    static std::string header(const HttpReply& reply, const char* name) {
        const std::string* value = reply.header(name);
        return value ? *value : "(none)";
    }
    testsupport::TempFolder files;
    std::unique_ptr<HttpRequest> request;
};

TEST_F(RequestStepHttpTest, RepliesAsBrowsersExpect) {
    struct Case {
        const char* name;
        const char* target;
        std::string headers;
        int status;
        const char* encoding; // Content-Encoding, "(none)" when absent
        bool gzipTag;         // the ETag names the compressed variant
        std::string length;   // Content-Length, "(none)" when absent
        const char* acceptRanges;
    } cases[] = {
        {"text file as it is", "/t/file/", "", 200, "(none)", false, "4010", "bytes"},
        {"text file compressed", "/t/file/", "Accept-Encoding: gzip, br\r\n", 200, "gzip", true, "",
         "(none)"},
        {"range of the plain file", "/t/file/", "Range: bytes=-10\r\n", 206, "(none)", false, "10",
         "bytes"},
        {"no range of the compressed variant", "/t/file/",
         "Range: bytes=-10\r\nAccept-Encoding: gzip\r\n", 200, "gzip", true, "", "(none)"},
        {"unsatisfiable range", "/t/file/", "Range: bytes=5000-\r\n", 416, "(none)", false, "0",
         "bytes"},
        {"text in memory takes no range", "/t/text/", "Range: bytes=0-1\r\n", 200, "(none)", false,
         "1000", "(none)"},
        {"held text: 304 without length", "/t/text/", "If-None-Match: \"text1\"\r\n", 304, "(none)",
         false, "(none)", "(none)"},
        {"held compressed text", "/t/text/",
         "If-None-Match: \"text1-gz\"\r\nAccept-Encoding: gzip\r\n", 304, "(none)", true, "(none)",
         "(none)"},
        {"plain tag held, gzip now accepted: the compressed variant is sent", "/t/text/",
         "If-None-Match: \"text1\"\r\nAccept-Encoding: gzip\r\n", 200, "gzip", true, "", "(none)"},
        {"early 304 with the compressed tag", "/t/early/",
         "If-None-Match: \"text1-gz\"\r\nAccept-Encoding: gzip\r\n", 304, "(none)", true, "(none)",
         "(none)"},
        {"unknown path keeps its 404", "/t/none/", "Accept-Encoding: gzip\r\n", 404, "(none)",
         false, "", "(none)"},
    };
    for (const Case& c : cases) {
        auto reply = ask(c.target, c.headers);
        EXPECT_EQ(reply->status(), c.status) << c.name;
        EXPECT_EQ(header(*reply, "Content-Encoding"), c.encoding) << c.name;
        EXPECT_EQ(header(*reply, "Vary"), c.status == 404 ? "(none)" : "Accept-Encoding") << c.name;
        EXPECT_EQ(header(*reply, "Accept-Ranges"), c.acceptRanges) << c.name;
        std::string etag = header(*reply, "ETag");
        if (c.status != 404) {
            EXPECT_EQ(etag.size() > 4 && etag.compare(etag.size() - 4, 4, "-gz\"") == 0, c.gzipTag)
                << c.name << ": " << etag;
        }
        std::string length = c.length.empty() ? std::to_string(reply->bodyLength()) : c.length;
        EXPECT_EQ(header(*reply, "Content-Length"), length) << c.name;
        if (c.status == 304) {
            EXPECT_EQ(reply->bodyLength(), 0u) << c.name;
        }
        if (std::string(c.encoding) == "gzip") {
            std::string plain =
                std::string(c.target) == "/t/file/" ? std::string(4000, 'c') + "0123456789" : gText;
            EXPECT_EQ(inflateAll(reply->body()), plain) << c.name;
        }
    }
    EXPECT_EQ(gEarlyChecks, 1) << "the responder answered 304 before doing its work";
}

TEST_F(RequestStepHttpTest, SmallAndNonTextRepliesAreNotCompressed) {
    gText = std::string(kGzipMinBytes - 1, 's');
    auto small = ask("/t/text/", "Accept-Encoding: gzip\r\n");
    EXPECT_EQ(header(*small, "Content-Encoding"), "(none)");
    EXPECT_EQ(header(*small, "Vary"), "(none)") << "never compressed, so never varies";

    gFileType = "video/mp4";
    auto film = ask("/t/file/", "Accept-Encoding: gzip\r\n");
    EXPECT_EQ(header(*film, "Content-Encoding"), "(none)");
    EXPECT_EQ(header(*film, "Vary"), "(none)");
    EXPECT_EQ(header(*film, "Accept-Ranges"), "bytes");
}

TEST_F(RequestStepHttpTest, HeadAnswersWithTheHeadersOfGet) {
    for (const char* headers : {"", "Accept-Encoding: gzip\r\n", "Range: bytes=0-9\r\n"}) {
        auto get = ask("/t/file/", headers);
        auto head = ask("/t/file/", headers, "HEAD");
        EXPECT_EQ(head->status(), get->status()) << headers;
        EXPECT_EQ(head->headers(), get->headers()) << headers;
    }
}

TEST_F(RequestStepHttpTest, MadeRepliesSharingATagKeepTheirOwnBytes) {
    // Every JSON reply carries the tag of the album files: two photos' details of one length
    // must not be taken for one another.
    gTextETag = "\"albums\"";
    gText = std::string(3000, 'a');
    auto first = ask("/t/text/", "Accept-Encoding: gzip\r\n");
    gText = std::string(3000, 'b');
    auto second = ask("/t/text/", "Accept-Encoding: gzip\r\n");
    EXPECT_TRUE(inflateAll(first->body()) == std::string(3000, 'a')) << "the first reply";
    EXPECT_TRUE(inflateAll(second->body()) == gText) << "the second reply is the first's";
}

} // namespace
