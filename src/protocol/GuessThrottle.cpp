// GuessThrottle.cpp - the table of refusals per address and the delays it answers.
#include "protocol/GuessThrottle.h"

#include <algorithm>
#include <cstdio>

namespace {

// The delay of the n-th refusal past the free ones (n from 1).
uint32_t delayOf(uint32_t n) {
    uint32_t delay = GuessThrottle::kFirstDelayMs;
    for (uint32_t i = 1; i < n && delay < GuessThrottle::kMaxDelayMs; ++i)
        delay *= 2;
    return std::min(delay, GuessThrottle::kMaxDelayMs);
}

} // namespace

size_t GuessThrottle::size() const {
    std::lock_guard<std::mutex> hold(lock_);
    return records_.size();
}

GuessThrottle::Record& GuessThrottle::insertRecord(std::string_view address) {
    if (records_.size() >= kMaxAddresses) {
        auto oldest = std::min_element(records_.begin(), records_.end(), [](auto& a, auto& b) {
            return a.second.lastSeen < b.second.lastSeen;
        });
        records_.erase(oldest);
    }
    return records_.emplace(std::string(address), Record{}).first->second;
}

GuessThrottle::Verdict GuessThrottle::settle(std::string_view address, bool matched,
                                             uint64_t nowMs) {
    std::lock_guard<std::mutex> hold(lock_);
    auto found = records_.find(std::string(address));
    if (found == records_.end() && matched) return {true, 0}; // the usual case: nothing to do
    Record& record = found != records_.end() ? found->second : insertRecord(address);
    if (record.notBefore > nowMs) {
        // An answer to this address is still held: this request waits for it, untried.
        record.lastSeen = nowMs;
        return {false, uint32_t(record.notBefore - nowMs)};
    }
    if (matched) {
        records_.erase(found);
        return {true, 0};
    }
    if (record.refusals > 0 && nowMs - record.lastSeen >= kForgetMs) record.refusals = 0;
    record.lastSeen = nowMs;
    if (++record.refusals <= kFreeRefusals) return {false, 0};
    if (record.refusals == kFreeRefusals + 1)
        printf("password refused %u times from %.*s\n", record.refusals, int(address.size()),
               address.data());
    uint32_t delay = delayOf(record.refusals - kFreeRefusals);
    record.notBefore = nowMs + delay;
    return {false, delay};
}
