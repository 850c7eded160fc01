// LayoutPages.h - the site layout's files: pages, style sheets and scripts, sent as stored.
//
// A layout is a folder named after it in "layouts" of the application's resources, or of
// "Tessellan" in the user's application-support folder; the "siteLayout" preference names the
// one in use, read again for every request.
#pragma once

#include "cf/cftempl.h"
#include "http/HttpMessage.h"
#include "web/utility.h"

#include <memory>
#include <ostream>

// Sends the layout file named by path ("index.html" for the empty path), from the application's
// own layout folder, else the user's, as a body shared with the file cache or as the file
// itself (see StaticFiles: no link out of the layout folder is followed). The reply carries
// the file's validator and asks browsers to revalidate; a request that holds it gets 304.
// A missing "favicon.ico" is answered with the icon built into the server (FaviconResponder).
// Throws when another file is in neither folder (naming the user's path), or when the name is not
// a plain file name or the layout name is unusable (see prefLayoutNameUsable).
void PrimaryPageResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path,
                          const VarMap& vars, std::ostream& out);
