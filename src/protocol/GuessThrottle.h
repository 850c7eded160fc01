// GuessThrottle.h - slowing down password guessing, one client address at a time.
//
// The first kFreeRefusals refusals from an address are answered at once. Each one after that
// is answered later by a delay that doubles from kFirstDelayMs up to kMaxDelayMs (250 ms,
// 500 ms, 1 s, 2 s, 4 s, then 8 s each), counted from the moment the address's previous answer
// went or goes out, so that guesses sent side by side on several connections queue one behind
// the other. While an answer to the address is still being held, a further request from it is
// not tried at all, right credentials or not: it is refused, and held until that answer goes.
// Right credentials are otherwise answered at once and clear the address's record. A record
// without refusals for kForgetMs starts over. Other addresses are never slowed.
//
// The records are a table of at most kMaxAddresses; a new address takes the place of the one
// seen longest ago. One line is logged per burst, when an address's answers start being slowed:
// "password refused N times from ADDR". Any number of threads may use one throttle at once.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

class GuessThrottle {
  public:
    static constexpr uint32_t kFreeRefusals = 5;
    static constexpr uint32_t kFirstDelayMs = 250;
    static constexpr uint32_t kMaxDelayMs = 8000;
    static constexpr uint64_t kForgetMs = 15 * 60 * 1000;
    static constexpr size_t kMaxAddresses = 256;

    struct Verdict {
        bool allowed;    // the request may be answered as the credentials say
        uint32_t holdMs; // how long its answer waits before it goes out
    };

    // The verdict for a request from address at nowMs (a steady clock in milliseconds) whose
    // credentials matched or not.
    Verdict settle(std::string_view address, bool matched, uint64_t nowMs);

    // Addresses with a record. For tests.
    size_t size() const;

  private:
    struct Record {
        uint32_t refusals = 0;
        uint64_t notBefore = 0; // when the last answer held for the address goes out
        uint64_t lastSeen = 0;
    };

    // A new record for address, in place of the one seen longest ago when the table is full.
    // REQUIRES: address has none.
    Record& insertRecord(std::string_view address);

    mutable std::mutex lock_;
    std::unordered_map<std::string, Record> records_;
};
