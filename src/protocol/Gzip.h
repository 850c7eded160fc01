// Gzip.h - gzip for text replies: the client's Accept-Encoding, which types are worth it, the
// compression itself and a bounded cache of compressed bodies shared between requests.
//
// A representation is compressed once per version: replies with an "ETag" are cached under that
// tag (with their length and type), replies without one under a hash of their bytes, checked
// byte for byte on a hit. The cache is safe to use from several threads at once.
#pragma once

#include "http/HttpMessage.h"
#include "protocol/RequestHeaders.h"

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

// Bodies shorter than this are sent as they are: the gzip wrapper alone is 18 bytes.
constexpr uint64_t kGzipMinBytes = 256;
// Bodies longer than this are sent as they are: compressing them would hold a worker too long.
constexpr uint64_t kGzipMaxBytes = 8u << 20;

// Whether an Accept-Encoding value lets the reply be gzip-compressed: "gzip" (or "x-gzip")
// listed with a q-value above 0, or else "*" with a q-value above 0. Names and "q" in any case;
// a member with a malformed q-value is ignored.
bool AcceptsGzip(std::string_view acceptEncoding);

// Whether a Content-Type value names text worth compressing: text/*, JavaScript, JSON, XML
// and SVG. Parameters (e.g. "; charset=UTF-8") are ignored.
bool IsCompressibleType(std::string_view contentType);

// The gzip member (RFC 1952, no name, time 0: the same bytes on every run) of bytes.
std::string GzipCompress(std::string_view bytes);

// Compressed bodies by key, least recently used dropped first once their bytes (compressed
// bytes, plus the original bytes kept for hash-keyed entries) pass the capacity.
class GzipCache {
  public:
    explicit GzipCache(size_t capacityBytes) : capacity_(capacityBytes) {}
    GzipCache(const GzipCache&) = delete;
    GzipCache& operator=(const GzipCache&) = delete;

    // The compressed body for a reply with this "ETag" (non-empty), length and type, or null.
    std::shared_ptr<const std::string> find(std::string_view etag, uint64_t length,
                                            std::string_view contentType);
    // Keeps gzip under that key. An entry bigger than an eighth of the capacity is not kept.
    void store(std::string_view etag, uint64_t length, std::string_view contentType,
               std::shared_ptr<const std::string> gzip);

    // The same for a reply without a validator, keyed by its bytes.
    std::shared_ptr<const std::string> find(std::string_view bytes);
    void store(std::string_view bytes, std::shared_ptr<const std::string> gzip);

    size_t bytes() const;
    size_t entries() const;

  private:
    struct Entry {
        std::string key;
        std::shared_ptr<const std::string> gzip;
        std::string source; // the original bytes, for entries keyed by a hash
        size_t cost;
    };
    std::shared_ptr<const std::string> _find(const std::string& key, const std::string_view* bytes);
    void _store(std::string key, std::string source, std::shared_ptr<const std::string> gzip);

    mutable std::mutex mutex_;
    size_t capacity_;
    size_t bytes_ = 0;
    std::list<Entry> order_; // most recently used first
    std::unordered_map<std::string_view, std::list<Entry>::iterator> index_; // keys in order_
};

// The request step's gzip decision for a 200 reply, made before the conditional check so that
// a 304 names the right tag. When the reply's type is compressible, it has no
// "Content-Encoding" and its length is within bounds, it gets "Vary: Accept-Encoding"; when the
// request's Accept-Encoding also allows gzip, its "ETag" becomes GzipETag's and true is
// returned: call CompressReply once the reply is known to be sent with its body.
bool PrepareGzip(const RequestHeaders& request, HttpReply& reply);
// Replaces the body by its compressed bytes (from cache when they are there: a file body by its
// "ETag", any other body by its bytes, since made replies may share a tag) and sets
// "Content-Encoding: gzip". A file body is read and closed; if reading fails the reply becomes
// a 500 with no body. REQUIRES: PrepareGzip returned true for reply.
void CompressReply(HttpReply& reply, GzipCache& cache);
