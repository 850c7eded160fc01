// TempFolder.h - a fresh folder for a test's files, removed with them when the test is done, and
// reading a file back whole.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace testsupport {

// A new empty folder under the temporary directory; the destructor removes it with everything
// in it (a failure to remove is ignored). path() is absolute and has no links in it, so it is
// what the code under test reports back for files inside.
class TempFolder {
  public:
    // Throws std::runtime_error when no folder can be made.
    TempFolder() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "tessellan-test-XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed for " + pattern);
        path_ = std::filesystem::canonical(pattern).string();
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::string& path() const { return path_; }
    std::string path(const std::string& relative) const { return path_ + "/" + relative; }

    // Writes contents to path(relative), replacing the file and making the folders on the way;
    // returns path(relative).
    std::string write(const std::string& relative, const std::string& contents) const {
        std::string file = path(relative);
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        std::ofstream(file, std::ios::binary | std::ios::trunc) << contents;
        return file;
    }

    // Makes the folder path(relative) when it is missing; returns path(relative).
    std::string sub(const std::string& relative) const {
        std::string folder = path(relative);
        std::filesystem::create_directories(folder);
        return folder;
    }

  private:
    std::string path_;
};

// The whole file, or "" when it cannot be read.
inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream contents;
    contents << in.rdbuf();
    return contents.str();
}

} // namespace testsupport
