// FilmPoster.h - a film's poster: a frame from near its start, as a JPEG.
//
// The poster is the first key frame at or after kPosterSeconds (the first frame of a film with
// none there), turned upright by the video track's display matrix and converted to sRGB from
// the primaries the track declares.
//
// Films are untrusted: a track claiming more than kMaxFilmPixels is not decoded, and reading
// stops after kMaxPosterPackets packets without a frame (a broken index, a track of garbage).
//
// Threads: every call decodes with a context of its own, on the calling thread alone; any number
// may run at once.
#pragma once

#include <cstdint>
#include <ostream>

constexpr double kPosterSeconds = 1.0;
constexpr uint64_t kMaxFilmPixels = 8192ull * 8192ull;
constexpr int kMaxPosterPackets = 4096;

// Decodes the poster of the film open on fd (read at absolute offsets) and appends it to out as
// a JPEG fitted into the box at quality (see writeFittedRGB). False, with nothing written and one
// line naming name, when the film has no video track or no frame can be decoded.
// REQUIRES: boxWidth and boxHeight at least 1.
bool writeFilmPoster(int fd, const char* name, uint32_t boxWidth, uint32_t boxHeight, int quality,
                     std::ostream& out);
