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

// A new empty folder under the temporary directory, removed with everything in it by the
// destructor. path() is absolute and free of links: what the code under test reports back.
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

    // Writes path(relative), replacing the file and making the folders on the way; returns it.
    std::string write(const std::string& relative, const std::string& contents) const {
        std::string file = path(relative);
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        std::ofstream(file, std::ios::binary | std::ios::trunc) << contents;
        return file;
    }

    // Makes the folder path(relative) when it is missing; returns it.
    std::string sub(const std::string& relative) const {
        std::filesystem::create_directories(path(relative));
        return path(relative);
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
