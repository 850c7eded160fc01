// PictureResponders.h - the responders that send picture bytes: thumbnails and pictures.
//
// Both find the picture by query variables: "l" library, "a" album, and "p" (the photo id,
// thumbnails) or "i" (the position in the album's photo list, pictures). Thumbnails always
// leave as JPEG at the thumbnail quality; pictures are sent as stored, or, for a JPEG asked
// for with both "mw" and "mh", shrunk to fit that box at the image quality.
#pragma once

#include "cf/cftempl.h"
#include "http/HttpMessage.h"
#include "web/utility.h"

#include <memory>
#include <ostream>

void ThumbnailResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path,
                        const VarMap& vars, std::ostream& out);
void ImageResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path, const VarMap& vars,
                    std::ostream& out);
// Copies the file at url into out and returns a 200 reply of contentType; counts an image.
// Throws when the file cannot be opened.
std::unique_ptr<HttpReply> deliverImage(std::ostream& out, const CFURL_t& url,
                                        const char* contentType);
