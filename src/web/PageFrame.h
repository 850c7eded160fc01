// PageFrame.h - the frame every generated HTML page shares, the error page and the site icon.
#pragma once

#include "cf/cftempl.h"
#include "http/HttpMessage.h"
#include "web/utility.h"

#include <memory>
#include <ostream>

// Writes the XML and document type declarations, the generator comment with the version, the
// head with title (HTML-escaped) and the opening body tag with id "Body" and, for each of
// bodyClass, onload and onResize that is not empty, its attribute. base is not used (callers
// pass ".").
std::ostream& EmitPageHeader(std::ostream& os, const CFString_t& title, const char* base,
                             const CFString_t& bodyClass, const CFString_t& onload,
                             const CFString_t& onResize);
// Closes the body and the page.
std::ostream& EmitPageFooter(std::ostream& os);

// Writes the declarations, the head with title and style sheets, and the opening frameset
// whose first column is cols pixels wide, or "25%" when cols is not positive.
std::ostream& EmitFramePageHeader(std::ostream& os, const CFString_t& title, int cols);
// Closes the frameset and the page.
std::ostream& EmitFramePageFooter(std::ostream& os);

// Answers 404 with the "Page Not Found" page; replaces whatever reply was there. Counts an error.
void ErrorPageResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path,
                        const VarMap& vars, std::ostream& out);
// Answers 200 with the site icon ("image/ico"). Counts an image.
void FaviconResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path, const VarMap& vars,
                      std::ostream& out);
