// FilmFacts.h - what a film is, read from its headers without decoding a frame: its length, its
// video codec, the codec parameter a browser is asked about, and its size.
//
// Threads: any number of calls may run at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct FilmFacts {
    double duration = 0; // seconds; 0 when the film does not say
    std::string codec;   // the video codec's short name ("h264", "hevc", "vp9", "av1", ...)
    std::string codecs;  // its "codecs" parameter (RFC 6381: "avc1.64001F", "hvc1.2.4.L153.B0"), or
                         // empty when there is none to tell
    uint32_t width = 0;  // the frames' size once turned upright by the display matrix
    uint32_t height = 0;
    int orientation = 1; // the EXIF orientation that turns a frame upright (1, 3, 6 or 8)
};

// Reads the facts of the film open on fd (at absolute offsets; its offset is left alone). False
// when the file is not a film the demuxer knows or has no video track; facts is then unspecified.
bool readFilmFacts(int fd, FilmFacts* facts);

// The "codecs" parameter of a video track, from its codec's configuration record (extradata) as
// an ISO media file stores it: avcC for H.264, hvcC for HEVC, av1C for AV1; VP8 and VP9 by
// their profile. tag is the sample entry's four-letter code when known ("hev1" keeps it; HEVC
// is otherwise "hvc1"). Empty for other codecs and for records too short to read.
std::string codecsParameter(const std::string& codec, const uint8_t* extradata, size_t length,
                            int profile, int level, const char* tag);
