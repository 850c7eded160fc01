// ExifFuzz_test.cpp - the fuzzing entry point run over deterministic mutations of valid EXIF
// blocks, so every test build exercises it (the sanitizers catch what a crash would not).
#include "../../fuzz/exif_fuzzer.cpp"

#include "ImageFixtures.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace {

using E = ExifBuilder;

// Payloads that reach every handler, in both byte orders, with loops and bad offsets.
std::vector<std::string> seeds() {
    std::vector<std::string> out;
    for (bool little : {false, true}) {
        E b(little);
        uint32_t make = b.text("Olympus"), model = b.text("E-1"),
                 date = b.text("2004:02:29 23:59:59");
        uint32_t f = b.fraction(56, 10), t = b.fraction(1, 4000), fl = b.fraction(140, 10),
                 sd = b.fraction(3, 1);
        uint32_t sub =
            b.directory({E::rational(33434, t), E::rational(33437, f), E::shortValue(34855, 1600),
                         E::ascii(36867, date, 20), E::rational(37386, fl), E::rational(37382, sd),
                         E::longValue(40962, 3648), E::longValue(40963, 2736)});
        uint32_t ifd1 = b.directory({E::longValue(513, 0), E::longValue(514, 0)});
        b.first(b.directory({E::ascii(271, make, 8), E::ascii(272, model, 4), E::shortValue(274, 6),
                             E::ascii(306, date, 20), E::pointer(sub)},
                            ifd1));
        out.push_back(b.payload());

        E loop(little);
        uint32_t ifd0 = loop.end(), next = ifd0 + 2 + 2 * 12 + 4;
        loop.directory({E::shortValue(34855, 80), E::pointer(next)});
        loop.directory({{33434, 10, 1, 0}, E::pointer(ifd0)}); // ExposureTime at the TIFF header
        loop.first(ifd0);
        out.push_back(loop.payload());

        E bad(little);
        uint32_t zero = bad.fraction(0, 0);
        bad.first(
            bad.directory({E::ascii(271, 0xFFFFFFF8u, 16), E::rational(33434, zero),
                           E::rational(33437, zero), E::ascii(272, 2, 4), E::pointer(0x7FFFFFFF)}));
        out.push_back(bad.payload());
    }
    return out;
}

// xorshift64*: the same mutations on every run.
struct Random {
    uint64_t state = 0x9E3779B97F4A7C15ull;
    uint64_t next() {
        state ^= state >> 12;
        state ^= state << 25;
        state ^= state >> 27;
        return state * 0x2545F4914F6CDD1Dull;
    }
    size_t below(size_t n) { return n ? size_t(next() % n) : 0; }
};

void mutate(std::string& p, Random& r) {
    static const uint32_t interesting[] = {
        0, 1, 2, 8, 0x7F, 0x80, 0xFF, 0x7FFF, 0x8769, 0xFFFF, 0x7FFFFFFF, 0x80000000u, 0xFFFFFFFFu};
    if (p.empty()) p = "Exif";
    switch (r.below(6)) {
    case 0:
        p[r.below(p.size())] ^= char(1u << r.below(8));
        break;
    case 1:
        p[r.below(p.size())] = char(interesting[r.below(std::size(interesting))]);
        break;
    case 2: { // a 16- or 32-bit value, in either order, at any place
        uint32_t v = r.below(2) ? interesting[r.below(std::size(interesting))]
                                : uint32_t(r.below(p.size() + 16));
        size_t at = r.below(p.size()), width = r.below(2) ? 2 : 4;
        for (size_t i = 0; i < width && at + i < p.size(); ++i)
            p[at + i] = char(v >> (8 * (r.below(2) ? i : width - 1 - i)));
        break;
    }
    case 3:
        p.resize(r.below(p.size() + 1));
        break;
    case 4: { // repeat a piece elsewhere
        size_t from = r.below(p.size()),
               length = r.below(std::min<size_t>(24, p.size() - from) + 1);
        p.insert(r.below(p.size() + 1), p.substr(from, length));
        break;
    }
    default:
        p[r.below(p.size())] = char(r.next());
        break;
    }
}

TEST(ExifFuzz, SeedsAreValidAndParse) {
    for (const std::string& seed : seeds()) {
        ExifData e(CFDataCreate(seed.data(), CFIndex(seed.size())));
        EXPECT_NE(e.tiffBase, nullptr);
    }
}

TEST(ExifFuzz, MutatedPayloadsNeverCrashHangOrLeak) {
    std::vector<std::string> base = seeds();
    Random random;
    testing::internal::CaptureStdout(); // SubjectDistance lines
    for (int i = 0; i < 20000; ++i) {
        std::string payload = base[random.below(base.size())];
        for (size_t n = 1 + random.below(4); n > 0; --n)
            mutate(payload, random);
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(payload.data()), payload.size());
    }
    testing::internal::GetCapturedStdout();
}

// Writes the seeds as the fuzzer's starting corpus: run with --gtest_also_run_disabled_tests.
TEST(ExifFuzz, DISABLED_WriteSeedCorpus) {
    std::filesystem::path dir =
        std::filesystem::path(TESSELLAN_SOURCE_DIR) / "fuzz" / "corpus" / "exif";
    std::filesystem::create_directories(dir);
    std::vector<std::string> all = seeds();
    for (size_t i = 0; i < all.size(); ++i)
        std::ofstream(dir / ("seed-" + std::to_string(i)), std::ios::binary) << all[i];
}

} // namespace
