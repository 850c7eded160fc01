// demo_pictures_test.cpp - every file the demo library lists lies inside it, and every picture
// and thumbnail is a file the server can read: it probes as its type with a real size; the film is
// sent as stored and has a JPEG still.
#include "DemoLibrary.h"
#include "image/ImageInfo.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <set>

namespace {

namespace fs = std::filesystem;

int probe(const std::string& path, ImageSize& size) {
    size = {0, 0};
    CFURL_t url(CFURLCreateFromFileSystemRepresentation(path.data(), CFIndex(path.size()), false),
                CFURL_t::Create);
    return getImageInfo(url, &size, nullptr);
}

TEST(DemoPictures, EveryPictureAndThumbnailProbesWithARealSize) {
    CFDictionary_t root = readPropertyList(demoLibrary().folder + "/AlbumData.xml");
    auto master = root.get<CFDictionary_t>(CFSTR("Master Image List"));
    size_t count = size_t(CFDictionaryGetCount(master));
    std::vector<CFTypeRef> values(count);
    CFDictionaryGetKeysAndValues(master, nullptr, values.data());
    std::set<int> types;
    for (CFTypeRef value : values) {
        CFDictionary_t photo(value, CFDictionary_t::Get);
        std::string image = text(photo, CFSTR("ImagePath")),
                    thumbnail = text(photo, CFSTR("ThumbPath"));
        for (const std::string& path : {image, thumbnail, text(photo, CFSTR("OriginalPath"))}) {
            EXPECT_EQ(path.rfind(demoLibrary().folder + "/", 0), 0u) << path;
            EXPECT_TRUE(fs::is_regular_file(path) && fs::file_size(path) > 0) << path;
        }
        ImageSize size;
        EXPECT_EQ(probe(thumbnail, size), kImageJPEG) << thumbnail;
        EXPECT_EQ(std::max(size.width, size.height), 240) << thumbnail;
        int type = probe(image, size);
        types.insert(type);
        if (text(photo, CFSTR("MediaType")) == "Movie") {
            EXPECT_EQ(readFile(image).compare(4, 4, "ftyp"), 0) << image;
            continue;
        }
        EXPECT_NE(type, kImageUnknown) << image;
        EXPECT_TRUE(size.width >= 320 && size.height >= 240) << image;
    }
    EXPECT_EQ(types, (std::set<int>{kImageUnknown, kImageJPEG, kImagePNG, kImageGIF, kImageBMP}))
        << "every kind of file the server sends";
}

} // namespace
