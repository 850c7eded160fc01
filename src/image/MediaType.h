// MediaType.h - what the first bytes of a file say it is: a picture, a film or neither, and the
// content type it is sent with.
//
// Only files recognised here ever leave the server as pictures or films, so recognition is by
// signature, never by name alone: the file name's extension only picks among the types of a
// container the bytes already show (an ISO media file with an unfamiliar brand, a TIFF-based
// camera raw file).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

enum class MediaKind {
    None,    // neither a picture nor a film: never served
    Picture, // a still picture
    Film,    // a moving picture
};

struct MediaType {
    MediaKind kind = MediaKind::None;
    const char* contentType = nullptr; // a constant string; null when kind is None
    bool jpeg = false;                 // the bytes begin like a JPEG (FF D8 FF)
};

// Bytes from the start of a file that sniffMediaType looks at; shorter files are sniffed on
// what they have.
constexpr size_t kMediaSniffBytes = 512;

// The type of a file whose first bytes are head[0..length) and whose name (or path) is name.
// Recognised: JPEG, PNG, GIF, BMP, TIFF of both byte orders and the camera raw files built on
// it, WebP, HEIC/HEIF/AVIF and other ISO media files (MP4, M4V, 3GP, QuickTime), QuickTime
// files without a type box, AVI, MPEG program and transport streams, Matroska/WebM, and the
// raw files of a few cameras with signatures of their own.
MediaType sniffMediaType(const uint8_t* head, size_t length, std::string_view name);
