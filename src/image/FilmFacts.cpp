// FilmFacts.cpp - a film's facts from its headers, and the codecs parameter of RFC 6381.
#include "image/FilmFacts.h"

#include "image/FilmInput.h"
#include "image/Orientation.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

// Appends the byte value as two upper-case hex digits, after separator when given.
void appendHex(std::string& out, unsigned value, const char* separator = "") {
    char text[8];
    snprintf(text, sizeof text, "%s%02X", separator, value & 0xFF);
    out.append(text);
}

// avcC: version 1, then profile, compatibility and level bytes.
std::string avcParameter(const uint8_t* p, size_t length, int profile, int level) {
    std::string out = "avc1";
    if (length >= 4 && p[0] == 1) {
        appendHex(out, p[1], ".");
        appendHex(out, p[2]);
        appendHex(out, p[3]);
    } else if (profile > 0 && level > 0) {
        appendHex(out, unsigned(profile), ".");
        appendHex(out, 0);
        appendHex(out, unsigned(level));
    }
    return out;
}

// hvcC: version 1; profile space (2 bits), tier (1), profile (5); 32 compatibility flags; 48
// constraint flags; level. The parameter writes the flags bit-reversed, in hex, and the
// constraint bytes up to the last that is not zero.
std::string hevcParameter(const uint8_t* p, size_t length, const char* tag) {
    const char* prefix = tag && strcmp(tag, "hev1") == 0 ? "hev1" : "hvc1";
    if (length < 13 || p[0] != 1) return prefix;
    unsigned space = p[1] >> 6, tier = (p[1] >> 5) & 1, profile = p[1] & 0x1F;
    uint32_t flags = uint32_t(p[2]) << 24 | uint32_t(p[3]) << 16 | uint32_t(p[4]) << 8 | p[5];
    uint32_t reversed = 0;
    for (int bit = 0; bit < 32; ++bit)
        if (flags & (1u << bit)) reversed |= 1u << (31 - bit);
    char spaceLetter[2] = {space ? char('A' + space - 1) : '\0', '\0'};
    char text[64];
    snprintf(text, sizeof text, "%s.%s%u.%X.%c%u", prefix, spaceLetter, profile, reversed,
             tier ? 'H' : 'L', unsigned(p[12]));
    std::string out = text;
    int last = 5;
    while (last >= 0 && p[6 + last] == 0)
        --last;
    for (int i = 0; i <= last; ++i)
        appendHex(out, p[6 + i], ".");
    return out;
}

// av1C: marker and version (0x81); profile (3 bits), level (5); tier (1), high bit depth (1),
// twelve bit (1), ...
std::string av1Parameter(const uint8_t* p, size_t length) {
    if (length < 3 || p[0] != 0x81) return "av01";
    unsigned profile = p[1] >> 5, level = p[1] & 0x1F, tier = p[2] >> 7;
    unsigned depth = (p[2] & 0x40) ? ((p[2] & 0x20) ? 12 : 10) : 8;
    char text[32];
    snprintf(text, sizeof text, "av01.%u.%02u%c.%02u", profile, level, tier ? 'H' : 'M', depth);
    return text;
}

} // namespace

std::string codecsParameter(const std::string& codec, const uint8_t* extradata, size_t length,
                            int profile, int level, const char* tag) {
    if (!extradata) length = 0;
    if (codec == "h264") return avcParameter(extradata, length, profile, level);
    if (codec == "hevc") return hevcParameter(extradata, length, tag);
    if (codec == "av1") return av1Parameter(extradata, length);
    if (codec == "vp8") return "vp8";
    if (codec == "vp9") {
        char text[32];
        snprintf(text, sizeof text, "vp09.%02d.10.08", profile > 0 ? profile : 0);
        return text;
    }
    return "";
}

bool readFilmFacts(int fd, FilmFacts* facts) {
    std::unique_ptr<FilmInput> input = FilmInput::open(fd);
    if (!input) return false;
    AVFormatContext* format = input->format();
    AVStream* video = input->sizedVideo();
    if (!video) return false;
    const AVCodecParameters* parameters = video->codecpar;
    *facts = FilmFacts();
    if (format->duration > 0 && format->duration != AV_NOPTS_VALUE)
        facts->duration = double(format->duration) / AV_TIME_BASE;
    else if (video->duration > 0 && video->duration != AV_NOPTS_VALUE)
        facts->duration = double(video->duration) * av_q2d(video->time_base);
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(parameters->codec_id);
    facts->codec = descriptor ? descriptor->name : "";
    char tag[5] = {};
    for (int i = 0; i < 4; ++i)
        tag[i] = char((parameters->codec_tag >> (8 * i)) & 0xFF);
    facts->codecs = codecsParameter(facts->codec, parameters->extradata,
                                    size_t(std::max(parameters->extradata_size, 0)),
                                    parameters->profile, parameters->level, tag);
    facts->orientation = input->orientation();
    bool turned = orientationSwapsSides(facts->orientation);
    facts->width = uint32_t(turned ? parameters->height : parameters->width);
    facts->height = uint32_t(turned ? parameters->width : parameters->height);
    return true;
}
