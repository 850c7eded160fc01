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

// The content type for a layout file's name: by its bare ending, first match wins.
CFStringRef layoutContentType(const CFString_t& name) {
    if (CFStringHasSuffix(name, CFSTR("html"))) return CFSTR("text/html");
    if (CFStringHasSuffix(name, CFSTR("css"))) return CFSTR("text/css");
    if (CFStringHasSuffix(name, CFSTR("js"))) return CFSTR("application/x-javascript");
    return CFSTR("unknown");
}

// The file of the layout: the application's own copy when there is one, else the user's;
// nothing when neither is there.
std::optional<StaticFile> findLayoutFile(const std::string& name, const std::string& layout) {
    for (const std::string& folder : layoutSearchFolders(BundleResourcesPath()))
        if (auto file = StaticFile::open(currentRequest().site.files, folder + "/" + layout, name))
            return file;
    return std::nullopt;
}

// Throws the missing file's error, naming the user's path.
[[noreturn]] void missingLayoutFile(const std::string& name, const std::string& layout) {
    std::string user = userLayoutsFolder();
    if (user.empty())
        throwRTE("PrimaryPageResponder", "no folder for the layout '%s'", layout.c_str());
    std::string path = user + "/" + layout + "/" + name;
    CFURL_t url(CFURLCreateFromFileSystemRepresentation(path.data(), CFIndex(path.size()), false),
                CFURL_t::Create);
    throwRTE("CFReadStream_t", "couldn't open read stream URL '%s' (file not found?)",
             toString(CFURLGetString(url)).c_str());
}

} // namespace

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
