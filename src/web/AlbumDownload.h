// AlbumDownload.h - the album download: one ZIP archive of an album's pictures and films.
//
// "/download/?l=L&a=A" answers with "application/zip", named after the album ("attachment",
// see AttachmentDisposition), holding each photo's "ImagePath" file (the version the gallery
// shows, read where /image/ reads it) stored as it is, in album order. Names inside are the
// files' own names, made unique by " (2)", " (3)"... before the extension (ASCII case ignored).
// A file that is missing, unreadable or neither a picture nor a film is left out and named in
// a last member, kMissingFilesName. The archive is made while it is sent (ZipStream.h), with an
// exact "Content-Length" and no byte ranges; HEAD reads no file data.
//
// Refused with the error page, exactly as an album that does not exist: "l" or "a" missing or
// not numbers, an unknown library or album, an album the preferences do not publish, and any
// album of a library whose "FullSizeDownload" is not true.
#pragma once

#include "cf/cftempl.h"
#include "http/HttpMessage.h"
#include "web/utility.h"

#include <memory>
#include <ostream>
#include <string>
#include <string_view>

// The member that names the files left out.
constexpr const char* kMissingFilesName = "missing files.txt";

void AlbumDownloadResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path,
                            const VarMap& vars, std::ostream& out);

// The "Content-Disposition" of the archive of an album named albumName (UTF-8): "attachment;
// filename="NAME.zip"" where every byte a quoted file name cannot safely hold (controls, '"',
// '\', '/', and each non-ASCII character) is '_', followed for a name that is not all ASCII by
// "; filename*=UTF-8''" and the name percent-encoded. An empty name is "album".
std::string AttachmentDisposition(std::string_view albumName);
