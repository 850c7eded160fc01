// LayoutPages.cpp - locating a layout file and sending it.
#include "web/LayoutPages.h"

#include "protocol/StaticFiles.h"
#include "protocol/Validators.h"
#include "settings/Preferences.h"
#include "web/Bundle.h"
#include "web/PageFrame.h"
#include "web/RequestScope.h"

#include <optional>
#include <string>

namespace {

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

// The content type for a layout file's name: by its bare ending, first match wins.
CFStringRef layoutContentType(const CFString_t& name) {
    if (CFStringHasSuffix(name, CFSTR("html"))) return CFSTR("text/html");
    if (CFStringHasSuffix(name, CFSTR("css"))) return CFSTR("text/css");
    if (CFStringHasSuffix(name, CFSTR("js"))) return CFSTR("application/x-javascript");
    return CFSTR("unknown");
}

// The layout's own folder in the user's application-support folder ("" when there is none).
std::string userLayoutFolder(const std::string& layout) {
    CFURLRef support = applicationSupportURL();
    if (!support) return "";
    std::string folder = CFURLGetPOSIXPath(support);
    if (!folder.empty() && folder.back() == '/') folder.pop_back();
    return folder + "/Tessellan/layouts/" + layout;
}

// The file of the layout: the application's own copy when there is one, else the user's;
// nothing when neither is there.
std::optional<StaticFile> findLayoutFile(const std::string& name, const std::string& layout) {
    const std::string& resources = BundleResourcesPath();
    if (!resources.empty())
        if (auto file = StaticFile::open(currentRequest().site.files,
                                         resources + "/layouts/" + layout, name))
            return file;
    std::string user = userLayoutFolder(layout);
    return user.empty() ? std::nullopt : StaticFile::open(currentRequest().site.files, user, name);
}

// Throws the missing file's error, naming the user's path.
[[noreturn]] void missingLayoutFile(const std::string& name, const std::string& layout) {
    std::string user = userLayoutFolder(layout);
    if (user.empty())
        throwRTE("PrimaryPageResponder", "no folder for the layout '%s'", layout.c_str());
    std::string path = user + "/" + name;
    CFURL_t url(CFURLCreateFromFileSystemRepresentation(path.data(), CFIndex(path.size()), false),
                CFURL_t::Create);
    throwRTE("CFReadStream_t", "couldn't open read stream URL '%s' (file not found?)",
             toString(CFURLGetString(url)).c_str());
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
    contentType = layoutContentType(name);
    return url;
}

void PrimaryPageResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path,
                          const VarMap& vars, std::ostream& out) {
    CFString_t name = CFStringGetLength(path) == 0 ? CFString_t("index.html") : path;
    std::string nameText = CFStringGetUTF8(name);
    std::string layout = CFStringGetUTF8(prefGetLayout());
    if (!isPlainFileName(nameText) || !prefLayoutNameUsable(layout))
        throwRTE("PrimaryPageResponder", "'%s' in layout '%s' is outside the layout folder",
                 nameText.c_str(), layout.c_str());
    std::optional<StaticFile> found = findLayoutFile(nameText, layout);
    // A layout without a site icon of its own gets the one built into the server.
    if (!found && nameText == "favicon.ico") return FaviconResponder(reply, path, vars, out);
    if (!found) missingLayoutFile(nameText, layout);
    StaticFile& file = *found;
    Validator validator = FileValidator(file.info(), "");
    if (NotModified(validator)) return ReplyNotModified(reply, validator, CachePolicy::Revalidate);
    reply = std::make_unique<HttpReply>(200);
    reply->setHeader("Content-Type", CFStringGetUTF8(layoutContentType(name)));
    SetValidator(*reply, validator, CachePolicy::Revalidate);
    file.giveTo(*reply);
    ++currentRequest().site.stats.pageCount;
}
