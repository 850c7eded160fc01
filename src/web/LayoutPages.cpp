// LayoutPages.cpp - locating a layout file and sending it.
#include "web/LayoutPages.h"

#include "settings/Preferences.h"
#include "web/Bundle.h"
#include "web/Globals.h"

#include <string>

namespace {

// A name that is a whole path component of its own: no "/", no "." or "..", no encoded slash.
bool staysInFolder(CFStringRef name) {
    CFIndex length = CFStringGetLength(name);
    auto at = [name](CFIndex i) { return CFStringGetCharacterAtIndex(name, i); };
    if ((length == 1 && at(0) == '.') || (length == 2 && at(0) == '.' && at(1) == '.'))
        return false;
    for (CFIndex i = 0; i < length; ++i) {
        if (at(i) == '/') return false;
        if (at(i) == '%' && i + 2 < length && at(i + 1) == '2' &&
            (at(i + 2) == 'F' || at(i + 2) == 'f'))
            return false;
    }
    return true;
}

// A layout name may name a nested folder ("Themes/Dark") but never climb out of "layouts".
bool layoutStaysInFolder(CFStringRef layout) {
    std::string text = CFStringGetUTF8(layout);
    if (!text.empty() && text[0] == '/') return false;
    for (size_t start = 0; start <= text.size();) {
        size_t end = text.find('/', start);
        if (end == std::string::npos) end = text.size();
        if (text.compare(start, end - start, "..") == 0) return false;
        start = end + 1;
    }
    return true;
}

// The user's application-support folder, found once.
CFURLRef applicationSupportURL() {
    static const CFURLRef known = [] {
        std::string path = ApplicationSupportPath();
        return path.empty() ? CFURLRef(nullptr)
                            : CFURLCreateFromFileSystemRepresentation(path.data(),
                                                                      CFIndex(path.size()), true);
    }();
    return known;
}

} // namespace

CFURLRef locateFile(const CFString_t& name, CFStringRef& contentType, const CFString_t& layout) {
    std::string relative = "layouts/";
    relative.append(CFStringGetUTF8(layout)).append("/").append(CFStringGetUTF8(name));
    CFURLRef url = BundleCopyResourceURLAtPath(relative);
    if (!url) {
        CFURLRef support = applicationSupportURL();
        if (!support) return nullptr;
        url = CFURLCreateCopyAppendingPathComponent(support, makeString("Tessellan/" + relative),
                                                    false);
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
    if (!staysInFolder(name) || !layoutStaysInFolder(layout))
        throwRTE("PrimaryPageResponder", "'%s' in layout '%s' is outside the layout folder",
                 toString(name).c_str(), toString(layout).c_str());
    CFStringRef contentType = CFSTR("unknown");
    CFURL_t url(locateFile(name, contentType, layout), CFURL_t::Create);
    CFReadStream_t stream(url);
    stream.writeToStream(out);
    reply = std::make_unique<HttpReply>(200);
    reply->setHeader("Content-Type", CFStringGetUTF8(contentType));
    ++stats.pageCount;
}
