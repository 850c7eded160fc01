// FilmWriter.cpp - RGB frames through an encoder into an ISO media file.
#include "demo/FilmWriter.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <cstdio>
#include <string_view>
#include <vector>

namespace demo {

namespace {

bool fail(const std::string& path, const char* why) {
    fprintf(stderr, "cannot write the film %s: %s\n", path.c_str(), why);
    return false;
}

// Sends frame (null: the end) and writes every packet that comes out.
bool drain(AVCodecContext* codec, AVFrame* frame, AVFormatContext* format, AVStream* stream) {
    if (avcodec_send_frame(codec, frame) < 0) return false;
    AVPacket* packet = av_packet_alloc();
    int status;
    while ((status = avcodec_receive_packet(codec, packet)) == 0) {
        av_packet_rescale_ts(packet, codec->time_base, stream->time_base);
        packet->stream_index = stream->index;
        if (av_interleaved_write_frame(format, packet) < 0) status = AVERROR_EXTERNAL;
        av_packet_unref(packet);
        if (status < 0) break;
    }
    av_packet_free(&packet);
    return status == AVERROR(EAGAIN) || status == AVERROR_EOF;
}

const AVCodec* encoderFor(FilmCodec codec) {
    switch (codec) {
    case FilmCodec::Mpeg4Part2:
        return avcodec_find_encoder(AV_CODEC_ID_MPEG4);
    case FilmCodec::H264:
        return avcodec_find_encoder(AV_CODEC_ID_H264);
    case FilmCodec::Hevc:
        return avcodec_find_encoder(AV_CODEC_ID_HEVC);
    }
    return nullptr;
}

// Quiets an HEVC encoder that reports to standard error by itself, through its own parameter
// list (the dictionary option named "...-params"), where it has one.
void quietHevcEncoder(AVCodecContext* codec) {
    if (codec->codec_id != AV_CODEC_ID_HEVC || !codec->priv_data) return;
    const AVOption* option = nullptr;
    while ((option = av_opt_next(codec->priv_data, option)))
        if (option->type == AV_OPT_TYPE_DICT && std::string_view(option->name).ends_with("-params"))
            av_opt_set(codec->priv_data, option->name, "log-level=error", 0);
}

} // namespace

bool canWriteFilm(FilmCodec codec) {
    return encoderFor(codec) != nullptr;
}

bool writeFilm(const std::string& path, const FilmSpec& spec) {
    if (av_log_get_level() > AV_LOG_ERROR) av_log_set_level(AV_LOG_ERROR); // never louder
    const AVCodec* encoder = encoderFor(spec.codec);
    if (!encoder) return fail(path, "no such encoder");
    AVFormatContext* format = nullptr;
    if (avformat_alloc_output_context2(&format, nullptr, "mp4", path.c_str()) < 0)
        return fail(path, "no ISO media muxer");
    AVCodecContext* codec = avcodec_alloc_context3(encoder);
    AVStream* stream = avformat_new_stream(format, nullptr);
    AVFrame* frame = av_frame_alloc();
    SwsContext* scale =
        sws_getContext(spec.width, spec.height, AV_PIX_FMT_RGB24, spec.width, spec.height,
                       AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr, nullptr);
    bool ok = codec && stream && frame && scale;
    if (ok) {
        codec->width = spec.width;
        codec->height = spec.height;
        codec->pix_fmt = AV_PIX_FMT_YUV420P;
        codec->time_base = AVRational{1, spec.framesPerSecond};
        codec->framerate = AVRational{spec.framesPerSecond, 1};
        codec->gop_size = spec.keyFrameEvery; // a key frame every so many, and no closer
        codec->keyint_min = spec.keyFrameEvery;
        codec->max_b_frames = 0;
        codec->thread_count = 1;
        codec->bit_rate = 400000;
        if (format->oformat->flags & AVFMT_GLOBALHEADER)
            codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        quietHevcEncoder(codec);
        ok = avcodec_open2(codec, encoder, nullptr) >= 0 &&
             avcodec_parameters_from_context(stream->codecpar, codec) >= 0;
        if (!ok) fail(path, "the encoder refuses the settings");
    }
    if (ok) {
        stream->time_base = codec->time_base;
        if (codec->codec_id == AV_CODEC_ID_HEVC)
            stream->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
        if (spec.rotation) {
            auto* matrix = reinterpret_cast<int32_t*>(
                av_stream_new_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, 9 * sizeof(int32_t)));
            if (matrix) av_display_rotation_set(matrix, double(spec.rotation)); // clockwise
        }
        ok = avio_open(&format->pb, path.c_str(), AVIO_FLAG_WRITE) >= 0 &&
             avformat_write_header(format, nullptr) >= 0;
        if (!ok) fail(path, "the file cannot be written");
    }
    if (ok) {
        frame->format = AV_PIX_FMT_YUV420P;
        frame->width = spec.width;
        frame->height = spec.height;
        ok = av_frame_get_buffer(frame, 0) >= 0;
    }
    std::vector<uint8_t> rgb(size_t(spec.width) * size_t(spec.height) * 3);
    for (int i = 0; ok && i < spec.frames; ++i) {
        spec.paint(i, rgb.data());
        ok = av_frame_make_writable(frame) >= 0;
        const uint8_t* planes[1] = {rgb.data()};
        int strides[1] = {spec.width * 3};
        if (ok) sws_scale(scale, planes, strides, 0, spec.height, frame->data, frame->linesize);
        frame->pts = i;
        ok = ok && drain(codec, frame, format, stream);
    }
    ok = ok && drain(codec, nullptr, format, stream) && av_write_trailer(format) >= 0;
    if (format && format->pb) avio_closep(&format->pb);
    sws_freeContext(scale);
    av_frame_free(&frame);
    avcodec_free_context(&codec);
    avformat_free_context(format);
    return ok;
}

} // namespace demo
