// JsonApi.h - the read-only JSON API under "/json/": libraries, albums, photo pages, one
// photo's details, the site name, and the fixed script files shipped in resources/json.
#pragma once

#include "cf/cftempl.h"
#include "http/HttpMessage.h"
#include "web/utility.h"

#include <memory>
#include <ostream>

// Answers the command named by path (exact, case-sensitive): "getlibs", "getalbums",
// "getallalbums", "getpics", "getsite", "getpicinfo"; any other name is sent as the file of
// that name in the resources' "json" folder. Variables: "l" library id, "a" album id, "i"
// photo index in the album (0-based), "c" photos per page (getpics, default 24).
//
// Always status 200 with one "Content-Type", and a validator that browsers revalidate: for the
// commands JsonValidator's (a request that holds it is answered 304 before any work), for a
// script file the file's own. A missing variable a command needs, a negative
// "i" in getpics, or an "i" outside the album in getpicinfo give an empty body. Unknown
// library or album ids, malformed library entries and a missing resource file throw
// std::runtime_error (the caller answers the error page); what was written before stays in out.
void JavascriptApiResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path,
                            const VarMap& vars, std::ostream& out);

// Writes the album array of the library: one object per published album with "name", "id",
// "comment", "size" and, when the library's "albumConfig" has an entry for the album, "theme".
// The objects are separated by ",\n" and the array ends "]\n" with no line feed before the
// bracket ("[\n]\n" for no albums). Throws for an unknown library, an album dictionary
// without "AlbumId", "PhotoCount" or "AlbumName", and a config entry without "theme".
std::ostream& EmitAlbumList(std::ostream& os, int library);
