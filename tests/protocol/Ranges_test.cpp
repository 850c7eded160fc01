// Ranges_test.cpp - Range header parsing, and narrowing file replies to 206 or 416 (If-Range too).
#include "protocol/Ranges.h"

#include "support/ParsedRequest.h"
#include "support/TempFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

constexpr uint64_t kGiB = 1ull << 30;
constexpr uint64_t kMax = ~0ull;
const std::string k1994 = "Sun, 06 Nov 1994 08:49:37 GMT";

using testsupport::parsedRequest;

// A Range header of count one-byte members.
std::string members(size_t count) {
    std::string header = "bytes=0-0";
    for (size_t i = 1; i < count; ++i)
        header += "," + std::to_string(i) + "-" + std::to_string(i);
    return header;
}

TEST(Ranges, ParseTable) {
    using K = RangeRequest;
    struct Case {
        const char* name;
        std::string header;
        uint64_t length;
        RangeRequest::Kind kind;
        uint64_t first = 0, last = 0;
    } cases[] = {
        {"closed range", "bytes=0-99", 1000, K::Single, 0, 99},
        {"open range runs to the end", "bytes=500-", 1000, K::Single, 500, 999},
        {"suffix longer than the file takes it all", "bytes=-5000", 1000, K::Single, 0, 999},
        {"last past the end is clipped", "bytes=990-2000", 1000, K::Single, 990, 999},
        {"unit in any case, whitespace around", "  BYTES=1-2 ", 10, K::Single, 1, 2},
        {"empty members are allowed", "bytes=,1-2,", 10, K::Single, 1, 2},
        {"first at the end is unsatisfiable", "bytes=1000-", 1000, K::Unsatisfiable},
        {"zero suffix", "bytes=-0", 1000, K::Unsatisfiable},
        {"several ranges get the whole", "bytes=0-1,5-6", 1000, K::Several},
        {"reversed range is invalid", "bytes=9-5", 1000, K::Whole},
        {"letters in a number", "bytes=1a-5", 1000, K::Whole},
        {"one bad member spoils the set", "bytes=0-5,x", 1000, K::Whole},
        {"huge first is unsatisfiable", "bytes=99999999999999999999999-", 1000, K::Unsatisfiable},
        {"2^63 and past", "bytes=9223372036854775808-18446744073709551616", kMax, K::Single,
         9223372036854775808ull, kMax - 1},
        {"past 4 GiB", "bytes=4294967296-4294967305", 5 * kGiB, K::Single, 4 * kGiB, 4 * kGiB + 9},
        {"the most members looked at", members(kMaxRangeSpecs), 100000, K::Several},
        {"absurdly many members", members(10000), 100000, K::Whole},
    };
    for (const Case& c : cases) {
        RangeRequest r = ParseRange(c.header, c.length);
        EXPECT_EQ(r.kind, c.kind) << c.name << ": " << c.header.substr(0, 60);
        if (r.kind != K::Single) continue;
        EXPECT_EQ(r.range.first, c.first) << c.name;
        EXPECT_EQ(r.range.last, c.last) << c.name;
    }
}

// A file reply of the given size whose last ten bytes are "0123456789": the end of a file
// (sparse when big) kBase bytes longer, so a narrowed slice must stay offset within it.
class RangeFileTest : public ::testing::Test {
  protected:
    static constexpr uint64_t kBase = 90;
    std::unique_ptr<HttpReply> fileReply(uint64_t size, int status = 200) {
        int fd = open(files.path("film.mp4").c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
        EXPECT_EQ(ftruncate(fd, off_t(kBase + size)), 0);
        EXPECT_EQ(pwrite(fd, "0123456789", 10, off_t(kBase + size - 10)), 10);
        auto reply = std::make_unique<HttpReply>(status);
        reply->setHeader("ETag", "\"v1\"");
        reply->setHeader("Last-Modified", k1994);
        reply->setHeader("Cache-Control", "max-age=86400");
        reply->setFileBody(fd, kBase, size);
        return reply;
    }
    // The slice's bytes when it is small, else "?".
    static std::string sliceBytes(const HttpReply& reply) {
        const HttpReply::FileSlice* slice = reply.fileBody();
        if (!slice || slice->length > 4096) return "?";
        std::string bytes(slice->length, '\0');
        ssize_t n = pread(slice->fd, bytes.data(), bytes.size(), off_t(slice->offset));
        return n == ssize_t(bytes.size()) ? bytes : "?";
    }
    testsupport::TempFolder files;
};

TEST_F(RangeFileTest, FileRepliesAreNarrowedOrRefused) {
    const uint64_t big = 5 * kGiB;
    struct Case {
        const char* name;
        uint64_t size;
        std::string headers;
        int status;
        std::string contentRange, bytes = {}; // bytes: checked when not empty
        uint64_t offset = 0, length = 0;
    } cases[] = {
        {"no Range", 100, "", 200, "", "", 0, 100},
        {"suffix of 5 GiB", big, "Range: bytes=-4\r\n", 206,
         "bytes 5368709116-5368709119/5368709120", "6789", big - 4, 4},
        {"closed range past 4 GiB", big, "Range: bytes=5368709110-5368709112\r\n", 206,
         "bytes 5368709110-5368709112/5368709120", "012", big - 10, 3},
        {"past the end of 5 GiB", big, "Range: bytes=5368709120-\r\n", 416, "bytes */5368709120"},
        {"several ranges: whole", 100, "Range: bytes=0-1,5-6\r\n", 200, "", "", 0, 100},
        {"If-Range matches", 100, "Range: bytes=95-\r\nIf-Range: \"v1\"\r\n", 206,
         "bytes 95-99/100", "56789", 95, 5},
        {"If-Range is an old version", 100, "Range: bytes=95-\r\nIf-Range: \"v0\"\r\n", 200, "", "",
         0, 100},
        {"weak If-Range", 100, "Range: bytes=95-\r\nIf-Range: W/\"v1\"\r\n", 200, "", "", 0, 100},
        {"If-Range the date", 100, "Range: bytes=95-\r\nIf-Range: " + k1994 + "\r\n", 206,
         "bytes 95-99/100", "", 95, 5},
        {"If-Range another date", 100,
         "Range: bytes=95-\r\nIf-Range: " + k1994.substr(0, 24) + "8 GMT\r\n", 200, "", "", 0, 100},
    };
    for (const Case& c : cases) {
        auto reply = fileReply(c.size);
        ApplyRange(*parsedRequest(c.headers), *reply);
        EXPECT_EQ(reply->status(), c.status) << c.name;
        const std::string* accept = reply->header("Accept-Ranges");
        EXPECT_TRUE(accept && *accept == "bytes") << c.name;
        const std::string* range = reply->header("Content-Range");
        EXPECT_EQ(range ? *range : "", c.contentRange) << c.name;
        if (c.status == 416) {
            EXPECT_EQ(reply->fileBody(), nullptr) << c.name << ": a 416 has no body";
            EXPECT_EQ(reply->bodyLength(), 0u) << c.name;
            EXPECT_EQ(reply->header("Cache-Control"), nullptr) << c.name << ": never kept";
            continue;
        }
        ASSERT_NE(reply->fileBody(), nullptr) << c.name;
        EXPECT_EQ(reply->fileBody()->offset, kBase + c.offset) << c.name;
        EXPECT_EQ(reply->fileBody()->length, c.length) << c.name;
        EXPECT_EQ(c.bytes.empty() ? "" : sliceBytes(*reply), c.bytes) << c.name;
    }
    auto notFound = fileReply(100, 404);
    ApplyRange(*parsedRequest("Range: bytes=0-1\r\n"), *notFound);
    EXPECT_EQ(notFound->status(), 404) << "only a success is narrowed";
}

} // namespace
