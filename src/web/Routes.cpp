// Routes.cpp - the server's route table.
#include "web/Routes.h"

#include "web/AlbumDownload.h"
#include "web/JsonApi.h"
#include "web/LayoutPages.h"
#include "web/PictureResponders.h"

const Route* RouteTable::find(std::string_view directory) const {
    for (const Route& row : rows_)
        if (row.prefix == directory) return &row;
    return nullptr;
}

RouteTable ServerRoutes() {
    return {
        {"/", PrimaryPageResponder, HttpWorkKind::Light, true},
        {"/thumbnail/", ThumbnailResponder, HttpWorkKind::Light, true},
        {"/image/", ImageResponder, HttpWorkKind::Light, true},
        {"/json/", JavascriptApiResponder, HttpWorkKind::Light, true},
        {"/download/", AlbumDownloadResponder, HttpWorkKind::Heavy, false},
    };
}
