// Routes.h - the server's responder table: which responder answers each directory part.
#pragma once

// Fills rmap (RequestHandler.h) with the server's routes: "/" (pages and layout files),
// "/thumbnail/", "/image/", "/json/" and "/download/". Call once, before the first request.
void RegisterResponders();
