// write_seeds.cpp - writes the seed corpora of the fuzzing targets from the project's own
// fixtures: requests like the tests', the library's property lists, pictures from the tests'
// encoder. Usage: write_fuzz_seeds CORPUS_FOLDER (fuzz/corpus); existing seeds are replaced.
#include "FuzzFiles.h"
#include "support/EncodeJPEG.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::filesystem::path gRoot;

// The bytes of a literal, NULs included.
template <size_t N> std::string B(const char (&literal)[N]) {
    return std::string(literal, N - 1);
}

void seed(const char* target, int number, const std::string& bytes) {
    std::filesystem::path folder = gRoot / target;
    std::filesystem::create_directories(folder);
    std::ofstream(folder / ("seed-" + std::to_string(number)), std::ios::binary) << bytes;
}

void seeds(const char* target, const std::vector<std::string>& all) {
    for (size_t i = 0; i < all.size(); ++i)
        seed(target, int(i), all[i]);
}

// The file's bytes with the temporary folder's name replaced by a steady one, so that the
// seeds are the same on every run.
std::string fileText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream out;
    out << file.rdbuf();
    std::string text = out.str();
    const std::string& folder = fuzzfiles::processFolder();
    for (size_t at = text.find(folder); at != std::string::npos; at = text.find(folder, at))
        text.replace(at, folder.size(), "/home/ana/Pictures");
    return text;
}

std::string repeated(const std::string& text, int times) {
    std::string out;
    for (int i = 0; i < times; ++i)
        out += text;
    return out;
}

// jpeg with the size in its frame header replaced: a header claiming more than it holds.
std::string claiming(std::string jpeg, int width, int height) {
    for (size_t at = 2; at + 9 < jpeg.size(); ++at)
        if (uint8_t(jpeg[at]) == 0xFF && (uint8_t(jpeg[at + 1]) & 0xFE) == 0xC0) {
            jpeg[at + 5] = char(height >> 8), jpeg[at + 6] = char(height);
            jpeg[at + 7] = char(width >> 8), jpeg[at + 8] = char(width);
            break;
        }
    return jpeg;
}

std::string get(const std::string& target, const std::string& headers = "",
                const char* method = "GET", bool auth = true) {
    return std::string(method) + " " + target + " HTTP/1.1\r\nHost: fuzz\r\n" +
           (auth ? std::string("Authorization: ") + fuzzfiles::kAuthorization + "\r\n" : "") +
           headers + "\r\n";
}

std::string exifPayload(int orientation) {
    std::string app1("Exif\0\0MM\0\x2a\0\0\0\x08\0\x01"
                     "\x01\x12\0\x03\0\0\0\x01\0\x06\0\0\0\0\0\0",
                     32);
    app1[25] = char(orientation);
    return app1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: write_fuzz_seeds CORPUS_FOLDER\n");
        return 2;
    }
    gRoot = argv[1];
    fuzzfiles::setUpLibrary();
    const std::string& library = fuzzfiles::processFolder();

    seeds("plist",
          {fileText(library + "/prefs.plist"), fileText(library + "/Family/AlbumData.xml"),
           "<?xml version=\"1.0\"?><plist version=\"1.0\"><array><date>2006-05-01T12:30:00Z</date>"
           "<data>AAEC/w==</data><real>-1.5e3</real><integer>-9223372036854775808</integer>"
           "<true/><false/><string/><dict/><array/></array></plist>",
           "<dict><key>a</key><dict><key>a</key><string>x &lt;&#233;&#x1F600;</string></dict>"
           "<key>b</key><array><array><integer>0x10</integer></array></array></dict>",
           "<!DOCTYPE plist [<!ENTITY e \"x\">]><plist><string>&e;</string></plist>",
           "<plist><string><![CDATA[a]]>\xC3\xA9<!-- c --></string></plist>",
           "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><string>\xE9</string>",
           "<plist><real>nan</real><real>inf</real><integer>99999999999999999999</integer></plist>",
           "<plist>" + repeated("<array>", 513) + repeated("</array>", 513) + "</plist>"});

    std::string family = "l=1&a=1", trips = "l=2&a=5";
    seeds("request",
          {get("/"),
           get("/index.html"),
           get("/screen.css", "Accept-Encoding: gzip\r\n"),
           get("/app.js", "If-None-Match: \"x\"\r\nRange: bytes=0-10\r\n"),
           get("/favicon.ico", "", "HEAD"),
           get("/json/getlibs"),
           get("/json/getsite"),
           get("/json/getallalbums", "Cookie: l=1; a=1\r\n"),
           get("/json/getalbums?l=1"),
           get("/json/getpics?" + trips + "&i=1&c=2"),
           get("/json/getpicinfo?" + family + "&i=0"),
           get("/json/getpicinfo?" + family + "&i=1"),
           get("/json/tessellan.js"),
           get("/thumbnail/?" + family + "&p=10"),
           get("/thumbnail/?" + family + "&p=11&size=64"),
           get("/image/?" + family + "&i=0&mw=20&mh=20"),
           get("/image/?" + trips + "&i=0", "Range: bytes=-100\r\n"),
           get("/image/?" + trips + "&i=1&fit=exact&mw=50&mh=40"),
           get("/image/?" + family + "&i=2&fit=exact&mw=9&mh=7"),
           get("/image/?" + family + "&i=3"),
           get("/json/getpics?l=9&a=1"),
           get("/nowhere/x"),
           get("/", "", "GET", false),
           get("/", "Authorization: Basic YW5hOndyb25n\r\n", "GET", false),
           get("/json/getlibs") + get("/json/getalbums?l=2", "Connection: close\r\n"),
           "GET /json/getsite HTTP/1.0\r\nConnection: keep-alive\r\nAuthorization: " +
               std::string(fuzzfiles::kAuthorization) + "\r\n\r\n",
           "POST /json/getlibs HTTP/1.1\r\nContent-Length: 3\r\nAuthorization: " +
               std::string(fuzzfiles::kAuthorization) + "\r\n\r\nabc" + get("/json/getsite"),
           get("/%C3%A9/caf\xC3\xA9?x=%zz")});

    seeds("varmap", {"a=1&b=2\nsid=abc; theme=dark", "q=caf%C3%A9+au+lait&flag&a=%26b=1",
                     "a+b%41=c+d&z=%zz&g=%4g&a=x%4\n a =1 ;b=2; flag",
                     B("a=1\0b=x y;z\0 c=\xA0\0=v"), "12,0,,4294967297,7x"});

    seeds("credentials", {"YW5hOnMzY3JldDpwYXNz", "YW5h", "YW5hOg==", "YW5hOnA=", "YW5hOnBh",
                          "YW5hOnBhc", "=", "YQ=", "YW5h\nOg==", B("ana\0pass")});

    using testsupport::encodeJPEG;
    testsupport::JpegOptions cmyk;
    cmyk.components = 4;
    cmyk.adobe = true;
    testsupport::JpegOptions noJfif;
    noJfif.jfif = false;
    noJfif.app1 = exifPayload(8);
    std::string jpeg = fuzzfiles::jpegBytes(16, 12, 6);
    seeds("probe", {jpeg, fuzzfiles::jpegBytes(8, 8, 0, true), encodeJPEG(8, 8, noJfif),
                    B("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\0\x10\0\0\0\x0c\x08\x02\0\0\0"),
                    B("GIF89a\x10\0\x0c\0\0\0\0"),
                    B("BM\0\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\x10\0\0\0\x0c\0\0\0\x01\0\x18\0"),
                    B("\0\0\0\x18"
                      "ftypheic\0\0\0\0mif1heic"),
                    B("II*\0\x08\0\0\0\x02\0\0\x01\x03\0\x01\0\0\0\x10\0\0\0"
                      "\x01\x01\x03\0\x01\0\0\0\x0c\0\0\0\0\0\0\0"),
                    B("RIFF\x20\0\0\0WEBPVP8 "), B("RIFF\x20\0\0\0AVI LIST"),
                    B("\x1a\x45\xdf\xa3\x01\0\0\0\0\0\0\x1f\x42\x86\x81\x01"),
                    B("\0\0\x01\xba\x44\0\x04\0\x04\x01")});

    seeds("jpeg",
          {jpeg, fuzzfiles::jpegBytes(40, 30, 0, true, true), fuzzfiles::jpegBytes(100, 20, 3),
           fuzzfiles::jpegBytes(20, 100, 5), encodeJPEG(24, 24, cmyk),
           fuzzfiles::jpegBytes(9, 7, 0, false, true), jpeg.substr(0, jpeg.size() / 2),
           encodeJPEG(33, 17, noJfif), claiming(jpeg, 65500, 65500), claiming(jpeg, 900, 600),
           claiming(fuzzfiles::jpegBytes(9, 7, 0, false, true), 700, 500)});
    printf("seeds written to %s\n", argv[1]);
    return 0;
}
