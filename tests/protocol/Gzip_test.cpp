// Gzip_test.cpp - Accept-Encoding negotiation, compressible types and the bounded cache of
// compressed bodies (the compressed bytes are RequestStepHttp_test's).
#include "protocol/Gzip.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

TEST(Gzip, AcceptEncodingAndCompressibleTypes) {
    const std::pair<const char*, bool> accepts[] = {
        {"gzip", true},        {"x-gzip", true},       {"gzip ; Q = 0.001", true},
        {"gzip;q=0", false},   {"*, gzip;q=0", false}, // gzip refused beats star
        {"gzip, *;q=0", true},                         // gzip allowed beats a refused star
        {"gzip;q=2", false},   // q above one is malformed: the member is ignored
        {"gzip;q=x, *", true}, // a garbage q on gzip, the star still counts
        {"gzipped", false},
    };
    for (auto [header, accepted] : accepts)
        EXPECT_EQ(AcceptsGzip(header), accepted) << header;
    const std::pair<const char*, bool> types[] = {{"text/html", true},
                                                  {"Application/JSON ; charset=utf-8", true},
                                                  {"image/svg+xml", true},
                                                  {"image/jpeg", false},
                                                  {"text/", false}};
    for (auto [type, compressible] : types)
        EXPECT_EQ(IsCompressibleType(type), compressible) << type;
}

TEST(Gzip, CacheKeepsItsBoundDroppingTheLeastRecentlyUsedAndTellsVersionsApart) {
    GzipCache cache(64 * 1024);
    auto body = std::make_shared<const std::string>(std::string(1000, 'z'));
    for (int i = 0; i < 200; ++i) {
        cache.store("\"t" + std::to_string(i) + "\"", 5000, "text/css", body);
        EXPECT_LE(cache.bytes(), 64u * 1024) << i;
        // The first entry is used all along and must survive.
        EXPECT_NE(cache.find("\"t0\"", 5000, "text/css"), nullptr) << i;
    }
    EXPECT_GT(cache.entries(), 40u);
    EXPECT_EQ(cache.find("\"t1\"", 5000, "text/css"), nullptr) << "least recently used went first";
    EXPECT_NE(cache.find("\"t199\"", 5000, "text/css"), nullptr);
    size_t entries = cache.entries();
    cache.store("\"big\"", 1, "text/css", std::make_shared<const std::string>(9000, 'x'));
    EXPECT_EQ(cache.entries(), entries) << "no entry over an eighth of the capacity is kept";
    auto a = std::make_shared<const std::string>("a");
    cache.store("\"v1\"", 300, "text/css", a);
    EXPECT_EQ(cache.find("\"v1\"", 300, "text/css"), a);
    EXPECT_EQ(cache.find("\"v2\"", 300, "text/css"), nullptr) << "other tag";
    EXPECT_EQ(cache.find("\"v1\"", 301, "text/css"), nullptr) << "other length";
    EXPECT_EQ(cache.find("\"v1\"", 300, "text/html"), nullptr) << "other type";
}

} // namespace
