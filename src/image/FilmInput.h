// FilmInput.h - a film file opened by the demuxer, read from a descriptor.
//
// The demuxer reads the file through pread at absolute offsets, so the descriptor's own offset
// is left alone and the file that was checked (see MediaFile) is the file that is read. Its
// messages are silenced: callers say in one line what failed.
//
// Threads: each FilmInput is used by one thread at a time; any number may exist at once.
#pragma once

#include <cstdint>
#include <memory>

struct AVFormatContext;
struct AVStream;

// The most a film's first frames are read to learn its tracks' facts.
constexpr int64_t kMaxProbeBytes = 4 * 1024 * 1024;

class FilmInput {
  public:
    // Opens the film on fd and reads its headers (not its frames). Nothing when the demuxer does
    // not recognise it or its headers are broken.
    static std::unique_ptr<FilmInput> open(int fd);
    ~FilmInput();
    FilmInput(const FilmInput&) = delete;
    FilmInput& operator=(const FilmInput&) = delete;

    AVFormatContext* format() const { return format_; }
    // The film's main video track (the demuxer's best one, never an attached cover picture);
    // null when it has none.
    AVStream* video() const;
    // The video track once its frame size is known: some files (MPEG streams, some ISO media
    // tracks) tell it only in their frames, which are then looked at (at most kMaxProbeBytes).
    // Null when there is no such track or its size stays unknown.
    AVStream* sizedVideo();
    // The EXIF orientation (1, 3, 6 or 8) that turns the video track's frames upright, from its
    // display matrix; 1 without one, and for turns that are not quarter turns.
    int orientation() const;

  private:
    FilmInput() = default;

    struct Source {
        int fd;
        int64_t size;
        int64_t position = 0;
    };
    Source source_{};
    struct AVIOContext* io_ = nullptr;
    AVFormatContext* format_ = nullptr;
};
