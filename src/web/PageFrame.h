// PageFrame.h - the frame every generated HTML page shares, the error page and the site icon.
#pragma once

#include "cf/cftempl.h"
#include "http/HttpMessage.h"
#include "web/utility.h"

#include <memory>
#include <ostream>

// Writes the XML and document type declarations, the generator comment with the version, the
// head with title (HTML-escaped) and the opening body tag with id "Body".
std::ostream& EmitPageHeader(std::ostream& os, const CFString_t& title);
// Closes the body and the page.
std::ostream& EmitPageFooter(std::ostream& os);

// Answers 404 with the "Page Not Found" page; replaces whatever reply was there. Counts an error.
void ErrorPageResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path,
                        const VarMap& vars, std::ostream& out);
// Answers 200 with the site icon ("image/ico"). Counts an image.
void FaviconResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path, const VarMap& vars,
                      std::ostream& out);
