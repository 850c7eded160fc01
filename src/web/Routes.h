// Routes.h - the route table: for each directory part of a URL, the responder that answers it,
// where it is worked on and whether its reply may be given again.
//
// This table is the one place that knows the server's routes: the request step dispatches by it,
// the connection engine's classifier and the key of kept replies (RequestHandler.h) read it too.
// Lookups are by exact directory part ("/image/a/" is not "/image/"), case-sensitive.
// Immutable once made: any thread.
#pragma once

#include "http/HttpWork.h"
#include "web/Responder.h"

#include <initializer_list>
#include <string_view>
#include <vector>

struct Route {
    std::string_view prefix; // the directory part it answers, e.g. "/json/"
    Responder responder;
    // Light: answered by the next free worker. Heavy: admitted a few at a time (an album
    // download opens and checks every file before its first byte). A light route may still hand
    // its long work on to heavy work (RequestScope.h).
    HttpWorkKind kind;
    // Its 200 and 304 replies may be given again for a moment to an identical request
    // (RequestHandler.h); never a reply to a request with "Range" or "If-Range".
    bool keep;
};

class RouteTable {
  public:
    RouteTable(std::initializer_list<Route> rows) : rows_(rows) {}
    // The row whose prefix is directory, or null.
    const Route* find(std::string_view directory) const;

  private:
    std::vector<Route> rows_;
};

// The server's routes: "/" (pages and layout files), "/thumbnail/", "/image/", "/json/" and
// "/download/".
RouteTable ServerRoutes();
