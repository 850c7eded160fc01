// PhoneFilm.cpp - the phone's film: the canvas panning slowly, encoded as HEVC.
#include "demo/Encoders.h"
#include "demo/FilmWriter.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

namespace demo {

void writePhoneFilm(const std::string& path, const Canvas& canvas) {
    FilmSpec spec;
    spec.codec = canWriteFilm(FilmCodec::Hevc) ? FilmCodec::Hevc : FilmCodec::Mpeg4Part2;
    spec.width = canvas.width() & ~1;
    spec.height = canvas.height() & ~1;
    spec.framesPerSecond = 10;
    spec.frames = 30;
    spec.keyFrameEvery = 10;
    // Each frame is the canvas moved one pixel further left, its right edge repeated.
    spec.paint = [&canvas, &spec](int i, uint8_t* rgb) {
        for (int y = 0; y < spec.height; ++y)
            for (int x = 0; x < spec.width; ++x)
                store(rgb + (size_t(y) * size_t(spec.width) + size_t(x)) * 3,
                      canvas.get(std::min(x + i, canvas.width() - 1), y));
    };
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::string part = path + ".part";
    if (!writeFilm(part, spec) || rename(part.c_str(), path.c_str()) != 0) {
        remove(part.c_str());
        throw std::runtime_error("cannot write " + path);
    }
}

} // namespace demo
