// Responder.h - the signature of a page handler, as the request step calls it.
#pragma once

#include "cf/cftempl.h"
#include "http/HttpMessage.h"
#include "web/utility.h"

#include <memory>
#include <ostream>

// Builds the reply to one request. reply is null on entry; the Responder must leave a reply in
// it (status and at least "Content-Type"). path is the part of the request path after the
// table's prefix, still percent-encoded. The body goes to out, never into the reply: the caller
// sets the body and "Content-Length". To fail, throw a std::exception; the caller then answers
// with the error page.
typedef void (*Responder)(std::unique_ptr<HttpReply>& reply, const CFString_t& path,
                          const VarMap& vars, std::ostream& out);
