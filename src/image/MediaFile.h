// MediaFile.h - a library file opened once to be sent: a regular file (after following links)
// whose first bytes are a picture or a film.
//
// The descriptor opened for the check is the one that is probed, decoded or handed to the reply,
// so the file that was checked is the file that leaves, whatever happens to its path meanwhile.
#pragma once

#include "cf/CFURL.h"
#include "image/MediaType.h"

#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>

class MediaFile {
  public:
    // Opens path read-only, without waiting (a FIFO or a device never blocks) and closed on
    // exec. Nothing when path cannot be opened, is not a regular file, or its bytes are neither
    // a picture nor a film (sniffMediaType, with path's extension as the refinement); *why then
    // says which, for a log line (when why is given).
    static std::optional<MediaFile> open(std::string_view path, const char** why = nullptr);

    MediaFile(MediaFile&& other) noexcept;
    MediaFile& operator=(MediaFile&&) = delete;
    MediaFile(const MediaFile&) = delete;
    // Closes the descriptor unless it was released.
    ~MediaFile();

    // The open descriptor (positioned at the start); -1 after release.
    int fd() const { return fd_; }
    // The file as it was when opened (identity, size, modification time).
    const struct stat& info() const { return info_; }
    const MediaType& type() const { return type_; }
    bool isFilm() const { return type_.kind == MediaKind::Film; }

    const std::string& path() const { return path_; }

    // A URL of the path that carries a duplicate of the descriptor, so that the first read
    // stream opened on it (the header probe, the JPEG decoder) reads this very file. Null when
    // the descriptor cannot be duplicated. The caller must release it.
    CFURLRef copyReadingURL() const;

    // Hands the descriptor over; the caller closes it from now on.
    int release();

  private:
    MediaFile(std::string path, int fd, const struct stat& info, MediaType type)
        : path_(std::move(path)), fd_(fd), info_(info), type_(type) {}

    std::string path_;
    int fd_;
    struct stat info_;
    MediaType type_;
};
