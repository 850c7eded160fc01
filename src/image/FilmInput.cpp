// FilmInput.cpp - the demuxer on a descriptor.
#include "image/FilmInput.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/display.h>
}

#include <cerrno>
#include <cmath>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kBufferBytes = 64 * 1024;

void silenceOnce() {
    static const bool done = [] {
        av_log_set_level(AV_LOG_QUIET);
        return true;
    }();
    (void)done;
}

} // namespace

std::unique_ptr<FilmInput> FilmInput::open(int fd) {
    silenceOnce();
    struct stat info;
    if (fstat(fd, &info) != 0) return nullptr;
    std::unique_ptr<FilmInput> input(new FilmInput());
    input->source_ = {fd, int64_t(info.st_size)};

    auto readPacket = [](void* self, uint8_t* into, int length) -> int {
        auto* s = static_cast<Source*>(self);
        for (;;) {
            ssize_t n = pread(s->fd, into, size_t(length), off_t(s->position));
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) return AVERROR(errno);
            if (n == 0) return AVERROR_EOF;
            s->position += n;
            return int(n);
        }
    };
    auto seek = [](void* self, int64_t offset, int whence) -> int64_t {
        auto* s = static_cast<Source*>(self);
        if (whence & AVSEEK_SIZE) return s->size;
        int64_t to;
        switch (whence & ~AVSEEK_FORCE) {
        case SEEK_SET:
            to = offset;
            break;
        case SEEK_CUR:
            to = s->position + offset;
            break;
        case SEEK_END:
            to = s->size + offset;
            break;
        default:
            return AVERROR(EINVAL);
        }
        if (to < 0) return AVERROR(EINVAL);
        s->position = to;
        return to;
    };

    auto* buffer = static_cast<uint8_t*>(av_malloc(kBufferBytes));
    if (!buffer) return nullptr;
    input->io_ =
        avio_alloc_context(buffer, kBufferBytes, 0, &input->source_, readPacket, nullptr, seek);
    if (!input->io_) {
        av_free(buffer);
        return nullptr;
    }
    input->format_ = avformat_alloc_context();
    if (!input->format_) return nullptr;
    input->format_->pb = input->io_;
    input->format_->flags |= AVFMT_FLAG_CUSTOM_IO;
    // On failure the demuxer frees the context it was given.
    if (avformat_open_input(&input->format_, nullptr, nullptr, nullptr) < 0) return nullptr;
    return input;
}

FilmInput::~FilmInput() {
    avformat_close_input(&format_);
    if (io_) {
        av_freep(&io_->buffer);
        avio_context_free(&io_);
    }
}

AVStream* FilmInput::video() const {
    int index = av_find_best_stream(format_, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0) return nullptr;
    AVStream* stream = format_->streams[index];
    return stream->disposition & AV_DISPOSITION_ATTACHED_PIC ? nullptr : stream;
}

AVStream* FilmInput::sizedVideo() {
    auto sized = [](const AVStream* s) {
        return s && s->codecpar->width > 0 && s->codecpar->height > 0;
    };
    AVStream* stream = video();
    if (sized(stream)) return stream;
    format_->probesize = kMaxProbeBytes;
    if (avformat_find_stream_info(format_, nullptr) < 0) return nullptr;
    stream = video();
    return sized(stream) ? stream : nullptr;
}

int FilmInput::orientation() const {
    AVStream* stream = video();
    if (!stream) return 1;
    size_t size = 0;
    const uint8_t* matrix = av_stream_get_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    if (!matrix || size < 9 * sizeof(int32_t)) return 1;
    // The matrix turns the frame anticlockwise by this many degrees for display.
    double degrees = av_display_rotation_get(reinterpret_cast<const int32_t*>(matrix));
    if (std::isnan(degrees)) return 1;
    long quarter = std::lround(degrees / 90.0);
    if (std::fabs(degrees - double(quarter) * 90.0) > 1.0) return 1;
    switch (((quarter % 4) + 4) % 4) {
    case 1:
        return 8; // a quarter anticlockwise
    case 2:
        return 3;
    case 3:
        return 6; // a quarter clockwise
    default:
        return 1;
    }
}
