// FilmPoster.cpp - seeking, decoding one frame, and making it a JPEG.
#include "image/FilmPoster.h"

#include "image/ColourProfile.h"
#include "image/FilmInput.h"
#include "image/FittedJPEG.h"
#include "image/Orientation.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <cstdio>
#include <memory>
#include <vector>

namespace {

struct CodecFree {
    void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
};
struct PacketFree {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
struct FrameFree {
    void operator()(AVFrame* f) const { av_frame_free(&f); }
};
struct ScaleFree {
    void operator()(SwsContext* s) const { sws_freeContext(s); }
};
using Codec = std::unique_ptr<AVCodecContext, CodecFree>;
using Packet = std::unique_ptr<AVPacket, PacketFree>;
using Frame = std::unique_ptr<AVFrame, FrameFree>;
using Scale = std::unique_ptr<SwsContext, ScaleFree>;

bool refuse(const char* name, const char* why) {
    fprintf(stderr, "Film '%s' has no poster: %s\n", name, why);
    return false;
}

// A decoder for the track, on the calling thread alone, that skips all but key frames.
Codec openDecoder(const AVStream* video) {
    const AVCodec* decoder = avcodec_find_decoder(video->codecpar->codec_id);
    if (!decoder) return nullptr;
    Codec codec(avcodec_alloc_context3(decoder));
    if (!codec || avcodec_parameters_to_context(codec.get(), video->codecpar) < 0) return nullptr;
    codec->thread_count = 1;
    codec->skip_frame = AVDISCARD_NONKEY;
    if (avcodec_open2(codec.get(), decoder, nullptr) < 0) return nullptr;
    return codec;
}

// Reads packets of the track from where the demuxer stands until one frame comes out.
Frame decodeOne(AVFormatContext* format, AVCodecContext* codec, int track) {
    Packet packet(av_packet_alloc());
    Frame frame(av_frame_alloc());
    if (!packet || !frame) return nullptr;
    bool draining = false;
    for (int read = 0; read < kMaxPosterPackets;) {
        if (!draining) {
            int status = av_read_frame(format, packet.get());
            if (status < 0) {
                draining = true;
                avcodec_send_packet(codec, nullptr);
            } else {
                if (packet->stream_index == track) {
                    ++read;
                    avcodec_send_packet(codec, packet.get()); // a broken packet is skipped
                }
                av_packet_unref(packet.get());
            }
        }
        int received = avcodec_receive_frame(codec, frame.get());
        if (received == 0) return frame;
        if (received != AVERROR(EAGAIN)) return nullptr; // drained, or broken for good
    }
    return nullptr;
}

// The frame as 8-bit RGB, stored rows (not yet turned).
bool toRGB(const AVFrame* frame, std::vector<uint8_t>& rgb) {
    Scale scale(sws_getContext(frame->width, frame->height, AVPixelFormat(frame->format),
                               frame->width, frame->height, AV_PIX_FMT_RGB24, SWS_BILINEAR, nullptr,
                               nullptr, nullptr));
    if (!scale) return false;
    // The matrix and range the track declares; unspecified is taken as BT.601 limited range.
    int colourspace =
        frame->colorspace == AVCOL_SPC_UNSPECIFIED ? SWS_CS_DEFAULT : int(frame->colorspace);
    const int* coefficients = sws_getCoefficients(colourspace);
    int fullRange = frame->color_range == AVCOL_RANGE_JPEG ? 1 : 0;
    sws_setColorspaceDetails(scale.get(), coefficients, fullRange,
                             sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);
    rgb.resize(size_t(frame->width) * size_t(frame->height) * 3);
    uint8_t* planes[4] = {rgb.data(), nullptr, nullptr, nullptr};
    int strides[4] = {frame->width * 3, 0, 0, 0};
    return sws_scale(scale.get(), frame->data, frame->linesize, 0, frame->height, planes,
                     strides) == frame->height;
}

} // namespace

bool writeFilmPoster(int fd, const char* name, uint32_t boxWidth, uint32_t boxHeight, int quality,
                     std::ostream& out) {
    std::unique_ptr<FilmInput> input = FilmInput::open(fd);
    if (!input) return refuse(name, "not a film that can be read");
    AVFormatContext* format = input->format();
    AVStream* video = input->sizedVideo();
    if (!video) return refuse(name, "no video track of a known size");
    const AVCodecParameters* parameters = video->codecpar;
    if (parameters->width <= 0 || parameters->height <= 0 ||
        uint64_t(parameters->width) * uint64_t(parameters->height) > kMaxFilmPixels)
        return refuse(name, "its frame size is missing or too large");
    Codec codec = openDecoder(video);
    if (!codec) return refuse(name, "no decoder for its video");

    // The first key frame at or after kPosterSeconds; a film without one there starts at 0.
    int64_t at =
        av_rescale_q(int64_t(kPosterSeconds * AV_TIME_BASE), AV_TIME_BASE_Q, video->time_base);
    if (video->start_time != AV_NOPTS_VALUE) at += video->start_time;
    Frame frame;
    if (av_seek_frame(format, video->index, at, 0) >= 0)
        frame = decodeOne(format, codec.get(), video->index);
    if (!frame) {
        avcodec_flush_buffers(codec.get());
        if (av_seek_frame(format, video->index, INT64_MIN, AVSEEK_FLAG_BACKWARD) < 0 &&
            avformat_seek_file(format, -1, INT64_MIN, 0, 0, 0) < 0)
            return refuse(name, "it cannot be read from its start");
        frame = decodeOne(format, codec.get(), video->index);
    }
    if (!frame) return refuse(name, "no frame can be decoded");
    if (frame->width <= 0 || frame->height <= 0 ||
        uint64_t(frame->width) * uint64_t(frame->height) > kMaxFilmPixels)
        return refuse(name, "its frame size is missing or too large");

    std::vector<uint8_t> stored;
    if (!toRGB(frame.get(), stored)) return refuse(name, "its frames cannot be converted");
    int orientation = input->orientation();
    uint32_t width = uint32_t(frame->width), height = uint32_t(frame->height);
    std::vector<uint8_t> upright;
    const uint8_t* pixels = stored.data();
    if (orientation != 1) {
        upright.resize(stored.size());
        orientPixels(orientation, stored.data(), width, height, 3, upright.data());
        pixels = upright.data();
        if (orientationSwapsSides(orientation)) std::swap(width, height);
    }
    std::string primaries = profileForPrimaries(int(frame->color_primaries));
    std::shared_ptr<const SrgbTransform> colour =
        primaries.empty() ? nullptr : srgbTransformFor(primaries, name);
    RGBPicture picture{pixels, width, height, size_t(width) * 3};
    return writeFittedRGB(picture, boxWidth, boxHeight, quality, out, colour.get());
}
