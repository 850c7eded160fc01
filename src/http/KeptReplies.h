// KeptReplies.h - replies kept for a moment, so that a request asking exactly what a recent one
// asked is answered on the loop thread without a worker.
//
// A reply is kept under a key that the caller builds from everything its making read of the
// request (URL, the headers that matter), with the loop time at which the work that made it was
// handed out and a generation number (what the settings were then). It is used again only while
// both hold: less than the freshness time has passed since that hand-out, and the generation is
// still the same. So a file changed at time T is seen by every request that arrives a freshness
// time after T, and a changed setting at once. Only 200 and 304 replies are kept: with an
// in-memory body of at most kKeptBodyBytes, or with a file body, whose descriptor the store
// duplicates and holds (at most kKeptFiles at once) and duplicates again for each copy it hands
// out. Used on the loop thread only.
#pragma once

#include "http/HttpMessage.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

// The largest in-memory body a kept reply may have.
constexpr uint64_t kKeptBodyBytes = 256 * 1024;
// The most replies with a file body kept at once (each holds a descriptor).
constexpr size_t kKeptFiles = 64;

class KeptReplies {
  public:
    // The store forgets everything when it would hold more replies or owned bytes than this.
    explicit KeptReplies(size_t maxReplies = 4096, uint64_t maxBytes = 16 << 20)
        : maxReplies_(maxReplies), maxBytes_(maxBytes) {}

    // A copy of the reply kept under key (status, headers in order, body shared) when it is
    // still fresh at loop time now for generation, else null (a stale one is dropped).
    std::unique_ptr<HttpReply> find(const std::string& key, uint64_t now, uint64_t generation);
    // Keeps reply under key, made by work handed out at loop time began under generation, when
    // it may be kept (see above); an owned body then becomes shared with the kept copy, so the
    // reply itself is unchanged for its writer. freshMilliseconds: how long it stays usable.
    void keep(const std::string& key, HttpReply& reply, uint64_t began, uint64_t generation,
              uint64_t freshMilliseconds);
    size_t size() const { return replies_.size(); }

  private:
    struct Kept;
    void forget(std::unordered_map<std::string, Kept>::iterator kept);

    struct Kept {
        int status;
        std::vector<std::pair<std::string, std::string>> headers;
        std::shared_ptr<const std::string> body; // null: none
        std::shared_ptr<const int> file;         // a file body's own descriptor; null: none
        uint64_t fileOffset, fileLength;
        uint64_t until; // loop time it stops being fresh
        uint64_t generation;
        uint64_t ownedBytes; // bytes of the body the store alone holds
    };

    size_t maxReplies_;
    uint64_t maxBytes_;
    uint64_t bytes_ = 0;
    size_t files_ = 0; // kept replies with a file body
    std::unordered_map<std::string, Kept> replies_;
};
