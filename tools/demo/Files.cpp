// Files.cpp - claiming the library folder and writing files through a rename.
#include "demo/Files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace demo {

namespace fs = std::filesystem;

const char* const kMarkerName = ".tessellan-demo-library";

namespace {

[[noreturn]] void fail(const std::string& what, const std::string& why) {
    throw std::runtime_error(what + ": " + why);
}

} // namespace

std::string claimLibraryFolder(const std::string& folder) {
    std::error_code error;
    fs::path path(folder);
    if (fs::exists(path, error)) {
        if (!fs::is_directory(path, error)) fail(folder, "exists and is not a folder");
        bool empty = fs::is_empty(path, error);
        if (error) fail(folder, error.message());
        if (!empty && !fs::exists(path / kMarkerName, error))
            fail(folder, "folder is not empty and was not made by make_demo_library; "
                         "refusing to write into it");
    } else if (!fs::create_directories(path, error)) {
        fail(folder, error ? error.message() : "could not be created");
    }
    fs::path absolute = fs::canonical(path, error);
    if (error) fail(folder, error.message());
    writeFileAtomically((absolute / kMarkerName).string(),
                        "This folder was written by make_demo_library; running it again "
                        "rewrites it.\n");
    return absolute.string();
}

void writeFileAtomically(const std::string& path, std::string_view bytes) {
    std::error_code error;
    fs::path parent = fs::path(path).parent_path();
    if (!parent.empty()) {
        fs::create_directories(parent, error);
        if (error) fail(parent.string(), error.message());
    }
    std::string temporary = path + ".part";
    FILE* file = fopen(temporary.c_str(), "wb");
    if (!file) fail(temporary, strerror(errno));
    bool written = fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    int savedErrno = errno;
    if (fclose(file) != 0 && written) {
        written = false;
        savedErrno = errno;
    }
    if (!written) {
        remove(temporary.c_str());
        fail(path, strerror(savedErrno));
    }
    if (rename(temporary.c_str(), path.c_str()) != 0) {
        savedErrno = errno;
        remove(temporary.c_str());
        fail(path, strerror(savedErrno));
    }
}

} // namespace demo
