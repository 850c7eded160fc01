// Routes.cpp - the server's responder table.
#include "web/Routes.h"

#include "web/AlbumDownload.h"
#include "web/JsonApi.h"
#include "web/LayoutPages.h"
#include "web/PictureResponders.h"
#include "web/RequestHandler.h"

void RegisterResponders() {
    rmap[CFString_t("/")] = PrimaryPageResponder;
    rmap[CFString_t("/thumbnail/")] = ThumbnailResponder;
    rmap[CFString_t("/image/")] = ImageResponder;
    rmap[CFString_t("/json/")] = JavascriptApiResponder;
    rmap[CFString_t("/download/")] = AlbumDownloadResponder;
}
