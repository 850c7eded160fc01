// phone_pictures_bench.cpp - phone pictures against their references, in one run.
//
// 1. 512-px sized thumbnails of 12 MP (4000x3000) HEIC files, two at a time (two threads of
//    writeFittedHeif) against two vipsthumbnail processes on the same files, which read them
//    with the same libheif: target at least 1.0 times vipsthumbnail's rate. vipsthumbnail comes
//    from Debian's libvips-tools; without it the reference is skipped.
// 2. A 4000x3000 JPEG carrying a Display P3 profile fitted into 1024x1024 against the same JPEG
//    without one: converting adds at most 15 %.
// Wall time for the pairs (both cores), best processor time for the single shrinks; the machine
// is shared, so figures are noisy.
#include "../tests/support/EncodeHEIF.h"
#include "../tests/support/EncodeJPEG.h"
#include "BenchPictures.h"
#include "image/ColourProfile.h"
#include "image/FittedJPEG.h"
#include "image/HeifPicture.h"

#include <chrono>
#include <fcntl.h>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace bench;

namespace {

constexpr int kWidth = 4000, kHeight = 3000;

// A camera-like picture: a gradient with texture and noise.
std::vector<uint8_t> cameraSamples() {
    std::vector<uint8_t> rgb(size_t(kWidth) * kHeight * 3);
    uint32_t noise = 12345;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            noise = noise * 1103515245u + 12345u;
            int n = int((noise >> 16) & 31) - 16, texture = ((x / 7) ^ (y / 5)) & 15;
            uint8_t* p = &rgb[(size_t(y) * kWidth + size_t(x)) * 3];
            p[0] = uint8_t(std::clamp(x * 255 / kWidth + n + texture, 0, 255));
            p[1] = uint8_t(std::clamp(y * 255 / kHeight + n, 0, 255));
            p[2] = uint8_t(std::clamp(128 + n * 2 - texture, 0, 255));
        }
    return rgb;
}

void save(const std::string& path, const std::string& bytes) {
    FILE* file = fopen(path.c_str(), "wb");
    if (!file || fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size()) {
        perror(path.c_str());
        exit(1);
    }
    fclose(file);
}

double wallSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Two workers, each making the thumbnails of every other file; seconds for all of them.
template <class Make> double pairOfWorkers(const std::vector<std::string>& files, Make make) {
    double start = wallSeconds();
    std::thread second([&] {
        for (size_t i = 1; i < files.size(); i += 2)
            make(files[i], 1);
    });
    for (size_t i = 0; i < files.size(); i += 2)
        make(files[i], 0);
    second.join();
    return wallSeconds() - start;
}

} // namespace

int main() {
    char folder[] = "/tmp/phone-bench-XXXXXX";
    if (!mkdtemp(folder)) return 1;
    const std::string dir = folder;
    std::vector<uint8_t> samples = cameraSamples();

    // 1. HEIC sized thumbnails.
    if (!testsupport::canEncodeHEIF()) {
        printf("HEIC: libheif has no encoder here, skipped\n");
    } else {
        testsupport::HeifOptions options;
        options.samples = &samples;
        options.lossless = false;
        std::string heic = testsupport::encodeHEIF(kWidth, kHeight, options);
        constexpr int kFiles = 8;
        std::vector<std::string> files;
        for (int i = 0; i < kFiles; ++i) {
            files.push_back(dir + "/p" + std::to_string(i) + ".heic");
            save(files.back(), heic);
        }
        auto ours = [&](const std::string& path, int) {
            int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
            std::ostringstream out;
            if (fd < 0 || !writeFittedHeif(fd, path.c_str(), 512, 512, 85, out)) exit(1);
            close(fd);
        };
        bool vips = system("command -v vipsthumbnail >/dev/null 2>&1") == 0;
        auto reference = [&](const std::string& path, int worker) {
            std::string command = "vipsthumbnail '" + path + "' -s 512 -o '" + dir + "/v" +
                                  std::to_string(worker) + ".jpg[Q=85]' 2>/dev/null";
            if (system(command.c_str()) != 0) exit(1);
        };
        double best = 1e9, bestReference = 1e9;
        for (int run = 0; run < 3; ++run) {
            best = std::min(best, pairOfWorkers(files, ours));
            if (vips) bestReference = std::min(bestReference, pairOfWorkers(files, reference));
        }
        printf("512-px thumbnails of %d HEIC files of 4000x3000 (%zu bytes), two at a time, best "
               "of 3:\n",
               kFiles, heic.size());
        printf("  writeFittedHeif, two threads   %6.2f thumbnails/s\n", kFiles / best);
        if (vips) {
            printf("  vipsthumbnail, two processes   %6.2f thumbnails/s\n", kFiles / bestReference);
            printf("  ratio                          %6.2f  (target >= 1.0)\n",
                   bestReference / best);
        } else {
            printf("  vipsthumbnail: not installed (Debian's libvips-tools), no reference\n");
        }
    }

    // 2. Colour conversion's share of a shrink.
    testsupport::JpegOptions plain;
    plain.samples = &samples;
    plain.quality = 90;
    testsupport::JpegOptions p3 = plain;
    p3.icc = profileForPrimaries(12);
    const std::string plainPath = dir + "/plain.jpg", p3Path = dir + "/p3.jpg";
    save(plainPath, testsupport::encodeJPEG(kWidth, kHeight, plain));
    save(p3Path, testsupport::encodeJPEG(kWidth, kHeight, p3));
    auto shrink = [](const std::string& path) {
        return cpuTime([&] {
            std::ostringstream out;
            if (!writeFittedJPEG(urlFor(path), 1024, 1024, 85, out)) exit(1);
        });
    };
    double plainBest = 1e9, p3Best = 1e9;
    for (int run = 0; run < 7; ++run) {
        plainBest = std::min(plainBest, shrink(plainPath));
        p3Best = std::min(p3Best, shrink(p3Path));
    }
    printf("4000x3000 JPEG fitted into 1024x1024, best processor time of 7:\n");
    printf("  no profile                     %8.2f ms\n", plainBest * 1e3);
    printf("  Display P3 profile, to sRGB    %8.2f ms\n", p3Best * 1e3);
    printf("  ratio                          %8.3f  (target <= 1.15)\n", p3Best / plainBest);

    std::string clean = "rm -rf '" + dir + "'";
    return system(clean.c_str()) == 0 ? 0 : 1;
}
