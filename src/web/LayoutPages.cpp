// LayoutPages.cpp - locating a layout file and sending it.
#include "web/LayoutPages.h"

#include "server/Bundle.h"
#include "server/Globals.h"
#include "server/Preferences.h"

#include <string>

namespace {

// A name that is a whole path component of its own: no "/", no "." or "..", no encoded slash.
bool staysInFolder(const std::string& name) {
    return name != "." && name != ".." && name.find('/') == std::string::npos &&
           name.find("%2F") == std::string::npos && name.find("%2f") == std::string::npos;
}

// The user's application-support folder, found once.
CFURLRef applicationSupportURL() {
    static CFURLRef known = nullptr;
    if (!known) {
        std::string path = ApplicationSupportPath();
        if (!path.empty())
            known =
                CFURLCreateFromFileSystemRepresentation(path.data(), CFIndex(path.size()), true);
    }
    return known;
}

} // namespace

CFURLRef locateFile(const CFString_t& name, CFStringRef& contentType, const CFString_t& layout) {
    CFMutableString_t folder(CFStringCreateMutable(0), CFMutableString_t::Create);
    CFStringAppend(folder.get(), CFSTR("layouts/"));
    CFStringAppend(folder.get(), layout);
    CFURLRef url = BundleCopyResourceURL(name, folder);
    if (!url) {
        CFURLRef support = applicationSupportURL();
        if (!support) return nullptr;
        CFMutableString_t relative(CFStringCreateMutable(0), CFMutableString_t::Create);
        CFStringAppend(relative.get(), CFSTR("Tessellan/layouts/"));
        CFStringAppend(relative.get(), layout);
        CFStringAppend(relative.get(), CFSTR("/"));
        CFStringAppend(relative.get(), name);
        url = CFURLCreateCopyAppendingPathComponent(support, relative, false);
        if (!url) return nullptr;
    }
    if (CFStringHasSuffix(name, CFSTR("html"))) {
        contentType = CFSTR("text/html");
    } else if (CFStringHasSuffix(name, CFSTR("css"))) {
        contentType = CFSTR("text/css");
    } else if (CFStringHasSuffix(name, CFSTR("js"))) {
        contentType = CFSTR("application/x-javascript");
    } else {
        contentType = CFSTR("unknown");
    }
    return url;
}

void PrimaryPageResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path, const VarMap&,
                          std::ostream& out) {
    CFString_t name = CFStringGetLength(path) == 0 ? CFString_t("index.html") : path;
    CFString_t layout = prefGetLayout();
    std::string nameText = CFStringGetUTF8(name), layoutText = CFStringGetUTF8(layout);
    if (!staysInFolder(nameText) || !staysInFolder(layoutText))
        throwRTE("PrimaryPageResponder", "'%s' in layout '%s' is outside the layout folder",
                 nameText.c_str(), layoutText.c_str());
    CFStringRef contentType = CFSTR("unknown");
    CFURL_t url(locateFile(name, contentType, layout), CFURL_t::Create);
    CFReadStream_t stream(url);
    stream.writeToStream(out);
    reply = std::make_unique<HttpReply>(200);
    reply->setHeader("Content-Type", CFStringGetUTF8(contentType));
    ++stats.pageCount;
}
