// Catalogue.cpp - the demo library's pictures and albums.
//
// The texts deliberately carry what escaping must survive: accents, double quotes, an
// ampersand, a less-than sign and Japanese. Only three pictures are 4000 pixels on their long
// side, to keep generation quick.
#include "demo/Catalogue.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace demo {

const Camera kCameras[4] = {
    {"Tessellan Optics", "TX-100", false, true},
    {"Mosaic Camera Co.", "Mosaic 5D", true, false},
    {"Penrose Imaging", "PR-7 Mark II", false, false},
    {"Girih Works", "G-1 Compact", true, true},
};

const char* const kApplicationVersion = "6.0.5 (316)";
const char* const kLibraryName = "Demo Library";
const char* const kMediaImage = "Image";
const char* const kMediaMovie = "Movie";
const int kThemedAlbum = 5;
const char* const kTheme = "dark";

namespace {

constexpr Rational r(uint32_t n, uint32_t d) {
    return {n, d};
}

const Format J = Format::Jpeg;
const Rational none = {0, 1};

} // namespace

const std::vector<PhotoSpec>& catalogue() {
    static const std::vector<PhotoSpec> photos = {
        {"1", "sunset-over-the-bay", Scene::Sunset, 0, 4000, 3000, J, "Sunset over the bay",
         "Taken from the pier at Saint-Malo, just before the sun touched the water.",
         "2006:08:14 20:41:07", 1, r(1, 250), r(8, 1), r(35, 1), 100},
        {"2", "rolling-hills-in-may", Scene::Hills, 0, 1600, 1200, J, "Rolling hills in May",
         "Green everywhere after a wet spring.", "2006:05:21 11:02:45", 0, r(1, 500), r(11, 1),
         r(24, 1), 100},
        {"3", "morning-mist", Scene::Hills, 1, 1024, 768, J, "Morning mist",
         "Fog lifting off the valley at 6 a.m. — worth getting up for.", "2006:09:30 06:48:12", 2,
         r(1, 60), r(56, 10), r(85, 1), 200},
        {"4", "after-the-rain", Scene::Hills, 2, 1280, 960, J, "After the rain",
         "A double rainbow for a minute, then just this one.", "2006:06:03 18:20:33", 3, r(1, 160),
         r(71, 10), r(28, 1), 100},
        {"5", "alpine-lake", Scene::MountainLake, 0, 4000, 3000, J, "Alpine lake",
         "Über den Wolken: the lake at 2,352 m, still as glass. Grüße from the hut!",
         "2007:07:28 09:15:00", 0, r(1, 320), r(9, 1), r(185, 10), 100},
        {"6", "alpenglow", Scene::MountainLake, 1, 1600, 1200, J, "Alpenglow",
         "The peaks turned pink for ten minutes after sunset.", "2007:07:28 21:12:40", 1, r(1, 30),
         r(8, 1), r(50, 1), 400},
        {"7", "dunes-at-golden-hour", Scene::Dunes, 0, 1280, 960, J, "Dunes at golden hour",
         "Erg Chebbi. Sand in every pocket for a week.", "2007:03:11 17:55:21", 2, r(1, 640),
         r(10, 1), r(70, 1), 100},
        {"8", "dune-crest", Scene::Dunes, 1, 768, 1024, J, "Dune crest",
         "Wind-drawn ripples on the windward side.", "2007:03:12 18:30:02", 3, r(1, 400), r(8, 1),
         r(100, 1), 100},
        {"9", "lagoon", Scene::Beach, 0, 1024, 768, J, "Lagoon",
         "Turquoise water & white sand — no filter!", "2005:12:28 12:10:55", 0, r(1, 1000), r(8, 1),
         r(28, 1), 100},
        {"10", "sailing-past", Scene::Beach, 1, 800, 600, J, "Sailing past",
         "A lone sail on the horizon.", "2005:12:29 15:42:10", 1, r(1, 800), r(11, 1), r(35, 1),
         100},
        {"11", "lavender-rows", Scene::Lavender, 0, 1280, 960, J, "Lavender rows",
         "Plateau de Valensole, early July: the whole field hummed with bees.",
         "2006:07:04 19:03:27", 2, r(1, 250), r(11, 1), r(24, 1), 100},
        {"12", "lone-tree", Scene::Lavender, 1, 960, 1280, J, "Lone tree in the lavender",
         "The same field, with the camera turned on its side.", "2006:07:04 19:20:48", 3, r(1, 200),
         r(11, 1), r(35, 1), 100},
        {"13", "harbour-lights", Scene::CityDusk, 0, 1280, 960, J, "Harbour lights",
         "The city switching on, one window at a time.", "2007:11:02 17:31:09", 0, r(1, 15),
         r(4, 1), r(50, 1), 800},
        {"14", "cafe-at-dusk", Scene::CityDusk, 1, 800, 600, J, "Café at dusk",
         "Rue des Écoles, < 5 minutes from the hotel.", "2007:11:03 17:45:50", 1, r(1, 20),
         r(28, 10), r(35, 1), 1600},
        {"15", "pink-sky", Scene::Sunset, 2, 640, 480, J, "Pink sky",
         "\"Red sky at night, sailor's delight\"", "2006:08:15 20:55:03", 2, r(1, 125), r(56, 10),
         r(50, 1), 200},
        {"16", "golden-hour-at-sea", Scene::Sunset, 1, 1024, 768, J, "Golden hour at sea",
         "From the ferry to Île d'Yeu.", "2006:08:20 19:48:36", 3, r(1, 500), r(8, 1), r(105, 1),
         100},
        {"17", "milky-way", Scene::NightSky, 0, 3000, 4000, J, "Milky Way",
         "30 seconds at ISO 3200, tripod on the car roof.", "2007:08:12 23:41:18", 1, r(30, 1),
         r(28, 10), r(14, 1), 3200},
        {"18", "crescent-moon", Scene::NightSky, 1, 640, 480, J, "Crescent moon",
         "A long exposure, 2.5 s, braced against a fence post.", "2007:01:21 18:22:10", 0, r(5, 2),
         r(4, 1), r(50, 1), 800},
        {"19", "aurora-borealis", Scene::Aurora, 0, 1280, 960, J, "Aurora borealis",
         "Tromsø, 1 a.m., −18 °C.", "2008:02:09 01:04:56", 2, r(8, 1), r(28, 10), r(20, 1), 1600},
        {"20", "green-curtains", Scene::Aurora, 1, 600, 800, J, "Green curtains",
         "They moved faster than we expected.", "2008:02:09 01:17:31", 3, r(4, 1), r(28, 10),
         r(24, 1), 1600},
        {"21", "sunset-study", Scene::Sunset, 0, 640, 480, Format::Png, "Sunset study (PNG)",
         "The same sunset, kept as a lossless PNG.", "2006:08:14 20:44:00", 0, none, none, none, 0},
        {"22", "hills-study", Scene::Hills, 0, 640, 480, Format::Bmp, "Hills study (BMP)",
         "An old-fashioned bitmap, straight from the scanner.", "2006:05:21 11:30:00", 0, none,
         none, none, 0},
        {"23", "fireworks-over-the-harbour", Scene::Bokeh, 0, 640, 480, Format::Movie,
         "Fireworks over the harbour", "A ten-second clip; its thumbnail is the first frame.",
         "2007:07:14 23:05:12", 0, none, none, none, 0},
        {"24", "mediterranean-hexagons", Scene::Hexagons, 0, 1024, 768, J,
         "Hexagons, Mediterranean", "Floor tiles in a Lisbon café.", "2006:04:02 14:12:30", 0,
         r(1, 60), r(4, 1), r(35, 1), 400},
        {"25", "autumn-hexagons", Scene::Hexagons, 1, 800, 800, J, "Hexagons, autumn",
         "Ochre, rust & olive.", "2006:10:15 16:40:05", 1, r(1, 100), r(56, 10), r(50, 1), 200},
        {"26", "low-poly-dawn", Scene::Triangles, 0, 1280, 960, J, "Low-poly dawn",
         "Triangles all the way down.", "2007:02:17 07:12:44", 2, r(1, 125), r(8, 1), r(50, 1),
         100},
        {"27", "low-poly-sea", Scene::Triangles, 1, 640, 480, J, "Low-poly sea", "",
         "2007:02:18 12:00:00", 3, r(1, 250), r(8, 1), r(50, 1), 100},
        {"28", "tumbling-blocks", Scene::Cubes, 0, 1024, 768, J, "Tumbling blocks",
         "Count the cubes, then count them upside down.", "2006:11:05 10:20:30", 0, r(1, 80),
         r(56, 10), r(60, 1), 400},
        {"29", "pastel-blocks", Scene::Cubes, 1, 600, 800, J, "Pastel blocks",
         "From a quilt at my grandmother's.", "2006:12:24 15:05:55", 1, r(1, 60), r(4, 1), r(50, 1),
         800},
        {"30", "seigaiha", Scene::Seigaiha, 0, 1024, 768, J, "日本の夏 — seigaiha",
         "青海波: waves on a furoshiki bought in Kyoto.", "2007:08:02 13:33:33", 2, r(1, 200),
         r(8, 1), r(50, 1), 200},
        {"31", "teal-waves", Scene::Seigaiha, 1, 480, 640, J, "Teal waves",
         "The same pattern on a paper fan.", "2007:08:03 11:11:11", 3, r(1, 160), r(56, 10),
         r(35, 1), 200},
        {"0042", "truchet-meanders", Scene::Truchet, 0, 800, 600, J, "Truchet meanders",
         "Random tiles, no two rows alike. \"Truly\" random?", "2007:05:05 09:45:00", 0, r(1, 125),
         r(8, 1), r(40, 1), 200},
        {"33", "hexagon-sampler", Scene::Hexagons, 2, 480, 360, Format::Gif,
         "Hexagon sampler (GIF)", "Five colours, 1990s style.", "2006:04:03 09:00:00", 0, none,
         none, none, 0},
        {"34", "birthday-candles", Scene::Bokeh, 1, 800, 600, J, "Birthday candles",
         "Mamie's 80th: family only, please don't share.", "2007:09:08 20:12:00", 1, r(1, 30),
         r(18, 10), r(50, 1), 1600},
        {"36", "which-way-is-up", Scene::UprightCard, 0, 900, 1200, J, "Which way is up?",
         "A test card: the arrow points up and the red band is on top.", "2008:03:01 10:00:00", 0,
         r(1, 125), r(8, 1), r(35, 1), 100, 6},
        {"37", "printers-inks", Scene::InkChart, 0, 960, 640, J, "Printer's inks (CMYK)",
         "Six flat patches kept as inverted CMYK: red, green, blue, cyan, magenta, yellow.",
         "2008:03:01 10:05:00", 2, r(1, 60), r(8, 1), r(50, 1), 100, 1, true},
        {"38", "inks-in-display-p3", Scene::InkChart, 0, 960, 640, J, "Inks in Display P3",
         "The ink chart kept as a phone keeps it: wide-gamut values and their profile.",
         "2008:03:01 10:10:00", 0, r(1, 60), r(8, 1), r(50, 1), 100, 1, false, Gamut::DisplayP3},
        {"39", "inks-in-adobe-rgb", Scene::InkChart, 0, 960, 640, J, "Inks in Adobe RGB",
         "The ink chart kept as a camera set to Adobe RGB keeps it.", "2008:03:01 10:15:00", 1,
         r(1, 60), r(8, 1), r(50, 1), 100, 1, false, Gamut::AdobeRgb},
        {"40", "hexagons-from-a-phone", Scene::Hexagons, 0, 1280, 960, Format::Heic,
         "Hexagons from a phone (HEIC)", "Saved as HEIC; browsers are sent JPEGs made from it.",
         "2008:03:02 12:00:00", 0, none, none, none, 0},
        {"41", "lavender-raw", Scene::Lavender, 0, 1280, 960, Format::Raw,
         "Lavender, straight from the camera (raw)", "A raw file, shown by the preview it carries.",
         "2008:03:02 12:30:00", 0, none, none, none, 0},
        {"43", "waves-phone-film", Scene::Seigaiha, 1, 640, 360, Format::PhoneFilm,
         "Waves, filmed on a phone (HEVC)",
         "A phone's film with no thumbnail: the gallery shows its first frame after a second.",
         "2008:03:03 16:20:00", 0, none, none, none, 0},
        {"35", "truchet-second-try", Scene::Truchet, 1, 640, 480, J, "Truchet, second try",
         "Kept private until I'm happy with the colours.", "2007:05:06 10:00:00", 2, r(1, 100),
         r(8, 1), r(40, 1), 200},
    };
    return photos;
}

PhotoDates photoDates(const PhotoSpec& photo) {
    struct tm parts = {};
    sscanf(photo.taken, "%d:%d:%d %d:%d:%d", &parts.tm_year, &parts.tm_mon, &parts.tm_mday,
           &parts.tm_hour, &parts.tm_min, &parts.tm_sec);
    parts.tm_year -= 1900;
    parts.tm_mon -= 1;
    PhotoDates dates;
    dates.taken = int64_t(timegm(&parts));
    int n = atoi(photo.key);
    dates.modified = dates.taken + (2 + n % 5) * 86400 + n * 37 * 60;
    dates.metaModified = dates.modified + 3 * 3600 + n * 60;
    return dates;
}

std::string exifDate(int64_t seconds) {
    time_t t = time_t(seconds);
    struct tm parts;
    gmtime_r(&t, &parts);
    char text[32];
    strftime(text, sizeof text, "%Y:%m:%d %H:%M:%S", &parts);
    return text;
}

const std::vector<AlbumSpec>& albums() {
    static const std::vector<AlbumSpec> list = {
        {5,
         "Tessellations",
         "Tiles, waves & blocks: pattern studies.",
         {"24", "33", "25", "28", "29", "26", "27", "0042", "30", "31", "36", "37", "38", "39",
          "40", "41", "43"}},
        {2,
         "Landscapes & Seascapes",
         "Holidays 2005–2008: hills, sea, dunes and night skies.",
         {"9",  "10", "2", "22", "4", "11", "12", "1",  "21", "15", "16", "3",
          "18", "7",  "8", "23", "5", "6",  "17", "13", "14", "19", "20"}},
        {9, "Family (private)", "Not for the web.", {"18", "34", "35", "1"}},
    };
    return list;
}

const std::vector<int>& publishedAlbums() {
    static const std::vector<int> ids = {2, 5};
    return ids;
}

} // namespace demo
