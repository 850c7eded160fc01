// MutatedFiles_test.cpp - damaged JPEG files through the probe, the EXIF reader and the scaler:
// answers may be anything, but nothing may crash, leak or read outside what it was given.
#include "ImageFixtures.h"
#include "image/ExifData.h"
#include "image/ImageInfo.h"
#include "image/ScaledJPEG.h"

#include <gtest/gtest.h>
#include <sstream>

namespace {

std::string cameraBlock(bool little) {
    ExifBuilder b(little);
    uint32_t make = b.text("Pentax"), date = b.text("2010:10:10 10:10:10");
    uint32_t t = b.fraction(1, 250);
    uint32_t sub =
        b.directory({ExifBuilder::rational(33434, t), ExifBuilder::ascii(36867, date, 20)});
    b.first(b.directory({ExifBuilder::ascii(271, make, 7), ExifBuilder::pointer(sub)}));
    return b.payload();
}

TEST(MutatedFiles, NeverCrashTheProbeTheReaderOrTheScaler) {
    const std::string bases[] = {
        insertSegment(encodeJPEG(64, 48, 3, 75, false), 0xE1, cameraBlock(false)),
        insertSegment(encodeJPEG(48, 64, 1, 60, true), 0xE1, cameraBlock(true)),
        encodeJPEG(40, 40, 3, 90, true, true),
    };
    uint64_t state = 0x243F6A8885A308D3ull;
    auto next = [&state](size_t n) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return size_t((state >> 33) % n);
    };
    TempDir dir;
    testing::internal::CaptureStderr(); // libjpeg's warnings and errors
    testing::internal::CaptureStdout(); // SubjectDistance lines
    for (int i = 0; i < 600; ++i) {
        std::string file = bases[next(std::size(bases))];
        for (size_t n = 1 + next(6); n > 0; --n) {
            // Most damage goes into the segments before the scan, where the structure is.
            size_t at = next(4) ? next(std::min<size_t>(file.size(), 400)) : next(file.size());
            switch (next(4)) {
            case 0:
                file[at] = char(next(256));
                break;
            case 1:
                file[at] = char(0xFF);
                break;
            case 2:
                file.resize(at);
                break;
            default:
                file.insert(at, file.substr(next(file.size()), next(16)));
                break;
            }
            if (file.empty()) file = "\xFF\xD8\xFF";
        }
        CFURL_t url = dir.write("m.jpg", file);
        for (int ask = 0; ask < 4; ++ask) {
            ImageSize size;
            CFDataRef exif = nullptr;
            getImageInfo(url, (ask & 1) ? &size : nullptr, (ask & 2) ? &exif : nullptr);
            try {
                ExifData e(exif);
            } catch (const std::runtime_error&) {
            }
        }
        std::ostringstream scaled, full;
        writeScaledJPEG(url, 0, 0, 50, scaled, -1);
        writeScaledJPEG(url, 0, 0, 50, full, 1);
        int width, height;
        getJPEGSize(url, width, height);
    }
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
}

} // namespace
