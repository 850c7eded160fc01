// KeptReplies.cpp - the short-lived store of replies answered again on the loop thread.
#include "http/KeptReplies.h"

#include <fcntl.h>
#include <unistd.h>

std::unique_ptr<HttpReply> KeptReplies::find(const std::string& key, uint64_t now,
                                             uint64_t generation) {
    auto found = replies_.find(key);
    if (found == replies_.end()) return nullptr;
    const Kept& kept = found->second;
    if (now >= kept.until || kept.generation != generation) {
        forget(found);
        return nullptr;
    }
    auto reply = std::make_unique<HttpReply>(kept.status);
    reply->setHeaders(kept.headers);
    if (kept.body) reply->setSharedBody(kept.body);
    if (kept.file) {
        int fd = fcntl(*kept.file, F_DUPFD_CLOEXEC, 0);
        if (fd < 0) return nullptr; // out of descriptors: the work is done again
        reply->setFileBody(fd, kept.fileOffset, kept.fileLength);
    }
    return reply;
}

void KeptReplies::forget(std::unordered_map<std::string, Kept>::iterator kept) {
    bytes_ -= kept->second.ownedBytes;
    if (kept->second.file) --files_;
    replies_.erase(kept);
}

void KeptReplies::keep(const std::string& key, HttpReply& reply, uint64_t began,
                       uint64_t generation, uint64_t freshMilliseconds) {
    if ((reply.status() != 200 && reply.status() != 304) || reply.sourceBody()) return;
    const HttpReply::FileSlice* slice = reply.fileBody();
    if (!slice && reply.bodyLength() > kKeptBodyBytes) return;
    std::shared_ptr<const int> file;
    if (slice) {
        if (files_ >= kKeptFiles) return;
        int fd = fcntl(slice->fd, F_DUPFD_CLOEXEC, 0);
        if (fd < 0) return;
        file = std::shared_ptr<const int>(new int(fd), [](const int* held) {
            close(*held);
            delete held;
        });
    }
    uint64_t owned = 0;
    std::shared_ptr<const std::string> body;
    if (!slice && reply.bodyLength() > 0) {
        if (!reply.hasSharedBody()) {
            owned = reply.bodyLength();
            reply.setSharedBody(std::make_shared<const std::string>(reply.takeBody()));
        }
        body = reply.sharedBody();
    }
    auto found = replies_.find(key);
    if (found != replies_.end()) forget(found);
    if (replies_.size() >= maxReplies_ || bytes_ + owned > maxBytes_) {
        replies_.clear();
        bytes_ = 0;
        files_ = 0;
    }
    bytes_ += owned;
    if (file) ++files_;
    replies_.emplace(key, Kept{reply.status(), reply.headers(), std::move(body), file,
                               slice ? slice->offset : 0, slice ? slice->length : 0,
                               began + freshMilliseconds, generation, owned});
}
