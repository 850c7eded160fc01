// FilmWriter.h - films written with the system's video encoders, for the demo library and the
// tests: a phone's HEVC film, a turned film, a film whose frames change at a known time.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace demo {

// The video codecs films are written in.
enum class FilmCodec { Mpeg4Part2, H264, Hevc };

struct FilmSpec {
    FilmCodec codec = FilmCodec::Mpeg4Part2; // by the system's default encoder for it
    int width = 64, height = 48;             // the stored frames' size (even numbers)
    int framesPerSecond = 10;
    int frames = 20;
    int keyFrameEvery = 10; // frames between key frames
    int rotation = 0;       // degrees clockwise a player turns the frames (0, 90, 180, 270)
    // Paints frame number i (RGB, rows top-down, width * 3 bytes a row).
    std::function<void(int i, uint8_t* rgb)> paint;
};

// Whether this machine's libavcodec has an encoder for the codec.
bool canWriteFilm(FilmCodec codec);

// Writes the film as an ISO media file (an HEVC track tagged "hvc1", as phones write it) at path.
// False, with the reason on standard error, when the encoder or the file fails.
bool writeFilm(const std::string& path, const FilmSpec& spec);

} // namespace demo
