// GuessThrottle_test.cpp - answers to an address that keeps guessing: free refusals, delays
// that double to their cap, held answers, other addresses and the bounded table.
#include "protocol/GuessThrottle.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

constexpr uint64_t kStart = 1000000;

// Refuses address `count` times, each guess sent when the previous answer went out; returns
// the holds and advances *now past the last one.
std::vector<uint32_t> refuse(GuessThrottle& throttle, const char* address, int count,
                             uint64_t* now) {
    std::vector<uint32_t> holds;
    for (int i = 0; i < count; ++i) {
        GuessThrottle::Verdict verdict = throttle.settle(address, false, *now);
        EXPECT_FALSE(verdict.allowed);
        holds.push_back(verdict.holdMs);
        *now += verdict.holdMs;
    }
    return holds;
}

TEST(GuessThrottle, DelaysDoubleToTheirCapAndHoldAnswersOfThatAddressOnly) {
    GuessThrottle throttle;
    uint64_t now = kStart;
    EXPECT_EQ(refuse(throttle, "192.0.2.6", 13, &now),
              (std::vector<uint32_t>{0, 0, 0, 0, 0, 250, 500, 1000, 2000, 4000, 8000, 8000, 8000}));
    refuse(throttle, "192.0.2.7", 7, &now); // the last answer went out at now
    GuessThrottle::Verdict next = throttle.settle("192.0.2.7", false, now);
    EXPECT_EQ(next.holdMs, 1000u);

    // name, address, credentials right, ms after the last answer went out, allowed, hold
    const std::tuple<const char*, const char*, bool, uint64_t, bool, uint32_t> cases[] = {
        {"a guess beside a held answer waits untried", "192.0.2.7", false, 400, false, 600},
        {"so do right credentials beside it", "192.0.2.7", true, 400, false, 600},
        {"another address is refused at once", "192.0.2.8", false, 400, false, 0},
        {"another address is let in at once", "192.0.2.9", true, 400, true, 0},
        {"right credentials once the held answer is out", "192.0.2.7", true, 1000, true, 0},
        {"the right answer cleared the record", "192.0.2.7", false, 1000, false, 0},
    };
    for (auto [name, address, matched, after, allowed, holdMs] : cases) {
        GuessThrottle::Verdict verdict = throttle.settle(address, matched, now + after);
        EXPECT_EQ(std::make_pair(verdict.allowed, verdict.holdMs), std::make_pair(allowed, holdMs))
            << name;
    }
}

TEST(GuessThrottle, QuietAddressesStartOverAndTheTableStaysBounded) {
    GuessThrottle throttle;
    uint64_t now = kStart;
    refuse(throttle, "192.0.2.7", 6, &now);
    now += GuessThrottle::kForgetMs;
    EXPECT_EQ(refuse(throttle, "192.0.2.7", 6, &now), (std::vector<uint32_t>{0, 0, 0, 0, 0, 250}))
        << "a burst long over is forgotten";

    for (int i = 0; i < 1000; ++i)
        throttle.settle("10.0." + std::to_string(i / 256) + "." + std::to_string(i % 256), false,
                        ++now);
    EXPECT_EQ(throttle.size(), GuessThrottle::kMaxAddresses);
    EXPECT_EQ(refuse(throttle, "10.0.3.231", 5, &now), (std::vector<uint32_t>{0, 0, 0, 0, 250}))
        << "the address seen last kept its record";
    EXPECT_EQ(refuse(throttle, "192.0.2.7", 1, &now), (std::vector<uint32_t>{0}))
        << "the address seen longest ago gave its place";
}

} // namespace
