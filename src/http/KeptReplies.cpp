// KeptReplies.cpp - the short-lived store of replies answered again on the loop thread.
#include "http/KeptReplies.h"

std::unique_ptr<HttpReply> KeptReplies::find(const std::string& key, uint64_t now,
                                             uint64_t generation) {
    auto found = replies_.find(key);
    if (found == replies_.end()) return nullptr;
    const Kept& kept = found->second;
    if (now >= kept.until || kept.generation != generation) {
        bytes_ -= kept.ownedBytes;
        replies_.erase(found);
        return nullptr;
    }
    auto reply = std::make_unique<HttpReply>(kept.status);
    reply->setHeaders(kept.headers);
    if (kept.body) reply->setSharedBody(kept.body);
    return reply;
}

void KeptReplies::keep(const std::string& key, HttpReply& reply, uint64_t began,
                       uint64_t generation, uint64_t freshMilliseconds) {
    if ((reply.status() != 200 && reply.status() != 304) || reply.fileBody() ||
        reply.sourceBody() || reply.bodyLength() > kKeptBodyBytes)
        return;
    uint64_t owned = 0;
    std::shared_ptr<const std::string> body;
    if (reply.bodyLength() > 0) {
        if (!reply.hasSharedBody()) {
            owned = reply.bodyLength();
            reply.setSharedBody(std::make_shared<const std::string>(reply.takeBody()));
        }
        body = reply.sharedBody();
    }
    auto found = replies_.find(key);
    if (found != replies_.end()) {
        bytes_ -= found->second.ownedBytes;
        replies_.erase(found);
    }
    if (replies_.size() >= maxReplies_ || bytes_ + owned > maxBytes_) {
        replies_.clear();
        bytes_ = 0;
    }
    bytes_ += owned;
    replies_.emplace(key, Kept{reply.status(), reply.headers(), std::move(body),
                               began + freshMilliseconds, generation, owned});
}
