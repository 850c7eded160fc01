// ExifFuzz_test.cpp - the fuzzing entry point run over deterministic mutations of its seed
// corpus, so every test build exercises it (the sanitizers catch what a crash would not).
#include "../../fuzz/exif_fuzzer.cpp"

#include "support/TempFolder.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace {

TEST(ExifFuzz, MutatedSeedsNeverCrashHangOrLeak) {
    std::vector<std::string> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(
             std::filesystem::path(TESSELLAN_SOURCE_DIR) / "fuzz" / "corpus" / "exif"))
        seeds.push_back(testsupport::readFile(entry.path().string()));
    ASSERT_GE(seeds.size(), 6u);
    static const uint32_t interesting[] = {
        0,      1,      2,      8,           0x7F,         0x80,        0xFF,
        0x7FFF, 0x8769, 0xFFFF, 0x7FFF'FFFF, 0x8000'0000u, 0xFFFF'FFFFu};
    uint64_t state = 0x9E3779B97F4A7C15ull; // xorshift64*: the same mutations on every run
    auto below = [&state](size_t n) {
        state ^= state >> 12;
        state ^= state << 25;
        state ^= state >> 27;
        return n ? size_t((state * 0x2545F4914F6CDD1Dull) % n) : 0;
    };
    testing::internal::CaptureStdout(); // SubjectDistance lines
    for (int i = 0; i < 20000; ++i) {
        std::string p = seeds[below(seeds.size())];
        for (size_t n = 1 + below(4); n > 0; --n) {
            if (p.empty()) p = "Exif";
            size_t at = below(p.size());
            switch (below(5)) {
            case 0:
                p[at] ^= char(1u << below(8));
                break;
            case 1: { // a 16- or 32-bit value, in either order
                uint32_t v = below(2) ? interesting[below(std::size(interesting))]
                                      : uint32_t(below(p.size() + 16));
                size_t width = below(2) ? 2 : 4;
                bool big = below(2);
                for (size_t k = 0; k < width && at + k < p.size(); ++k)
                    p[at + k] = char(v >> (8 * (big ? width - 1 - k : k)));
                break;
            }
            case 2:
                p.resize(below(p.size() + 1));
                break;
            case 3: // repeat a piece elsewhere
                p.insert(below(p.size() + 1),
                         p.substr(at, below(std::min<size_t>(24, p.size() - at) + 1)));
                break;
            default:
                p[at] = char(interesting[below(std::size(interesting))]);
                break;
            }
        }
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(p.data()), p.size());
    }
    testing::internal::GetCapturedStdout();
}

} // namespace
