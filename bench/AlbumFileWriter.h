// AlbumFileWriter.h - the large album file the benchmarks load: 50,000 photos in 200 albums by
// default, written the way photo applications lay the file out.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

inline constexpr int kAlbums = 200;
// Where the album files say their library was on the computer that wrote them.
inline constexpr const char* kOldHome = "/home/ana/Pictures/Old Library";

// Writes the album file the way the photo application lays it out (tab-indented, one element a
// line), streaming so that the generating process stays small. Stored paths are under kOldHome;
// archivePath is what the file records as its library folder.
inline void writeAlbumFile(const std::string& file, int photos,
                           const char* archivePath = kOldHome) {
    FILE* out = fopen(file.c_str(), "w");
    if (!out) {
        perror(file.c_str());
        exit(1);
    }
    std::mt19937 random(20090512);
    auto pick = [&](int n) { return int(random() % unsigned(n)); };
    static const char* events[] = {
        "Trip to the coast", "Birthday",           "Garden",
        "Christmas",         "Hiking in the Alps", "\xC3\x89t\xC3\xA9 \xC3\xA0 Nice",
        "School play",       "New house"};
    static const char* words[] = {"sunset", "family", "beach", "dog",     "mountain",
                                  "party",  "snow",   "lake",  "grandma", "bike"};
    const char* home = kOldHome;

    fprintf(out,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
            "\t<key>Application Version</key>\n\t<string>6.0.5 (316)</string>\n"
            "\t<key>Archive Path</key>\n\t<string>%s</string>\n"
            "\t<key>List of Albums</key>\n\t<array>\n",
            archivePath);
    const int firstKey = 1000;
    for (int album = 0; album < kAlbums; ++album) {
        std::vector<int> keys;
        if (album == 0) {
            for (int i = 0; i < photos; ++i)
                keys.push_back(firstKey + i);
        } else {
            int start = pick(photos), count = 20 + pick(400);
            for (int i = 0; i < count && start + i < photos; ++i)
                keys.push_back(firstKey + start + i);
        }
        fprintf(out, "\t\t<dict>\n\t\t\t<key>AlbumId</key>\n\t\t\t<integer>%d</integer>\n",
                album == 0 ? 999000 : 1000 + album);
        fprintf(out, "\t\t\t<key>AlbumName</key>\n\t\t\t<string>%s</string>\n",
                album == 0
                    ? "Photos"
                    : (std::string(events[album % 8]) + " " + std::to_string(album)).c_str());
        fprintf(out, "\t\t\t<key>Album Type</key>\n\t\t\t<string>%s</string>\n",
                album == 0 ? "Master" : "Regular");
        fprintf(out, "\t\t\t<key>Comments</key>\n\t\t\t<string>%s</string>\n",
                album % 3 ? "" : "Pictures everyone asked for");
        fprintf(out, "\t\t\t<key>GUID</key>\n\t\t\t<string>%08X-0C3E-4A6B-9E1F-%012X</string>\n",
                unsigned(random()), unsigned(album));
        fputs("\t\t\t<key>KeyList</key>\n\t\t\t<array>\n", out);
        for (int key : keys)
            fprintf(out, "\t\t\t\t<string>%d</string>\n", key);
        fprintf(out,
                "\t\t\t</array>\n\t\t\t<key>PhotoCount</key>\n\t\t\t<integer>%zu</integer>\n"
                "\t\t\t<key>PlayMusic</key>\n\t\t\t<string>YES</string>\n"
                "\t\t\t<key>RepeatSlideShow</key>\n\t\t\t<string>YES</string>\n"
                "\t\t\t<key>SecondsPerSlide</key>\n\t\t\t<integer>3</integer>\n"
                "\t\t\t<key>SlideShowUseTitles</key>\n\t\t\t<false/>\n"
                "\t\t\t<key>TransitionName</key>\n\t\t\t<string>Dissolve</string>\n"
                "\t\t</dict>\n",
                keys.size());
    }
    fputs("\t</array>\n\t<key>Master Image List</key>\n\t<dict>\n", out);
    for (int i = 0; i < photos; ++i) {
        int key = firstKey + i, year = 2003 + i * 7 / photos;
        const char* event = events[(i / 300) % 8];
        double date = 86400.0 * 365 * (year - 2001) + pick(86400 * 300) + pick(1000) / 1000.0;
        char name[32];
        snprintf(name, sizeof name, "IMG_%04d", i % 10000);
        std::string caption = pick(4) ? name : std::string(words[pick(10)]) + " at the " + event;
        std::string comment =
            pick(5) ? "" : std::string("With ") + words[pick(10)] + " and " + words[pick(10)];
        fprintf(out, "\t\t<key>%d</key>\n\t\t<dict>\n", key);
        fprintf(out, "\t\t\t<key>MediaType</key>\n\t\t\t<string>%s</string>\n",
                pick(40) ? "Image" : "Movie");
        fprintf(out, "\t\t\t<key>Caption</key>\n\t\t\t<string>%s</string>\n", caption.c_str());
        fprintf(out, "\t\t\t<key>Comment</key>\n\t\t\t<string>%s</string>\n", comment.c_str());
        fprintf(out, "\t\t\t<key>GUID</key>\n\t\t\t<string>%08X-%04X-%04X-%04X-%08X%04X</string>\n",
                unsigned(random()), unsigned(random() & 0xFFFF), unsigned(random() & 0xFFFF),
                unsigned(random() & 0xFFFF), unsigned(random()), unsigned(random() & 0xFFFF));
        fprintf(out, "\t\t\t<key>Roll</key>\n\t\t\t<integer>%d</integer>\n", i / 300);
        fprintf(out, "\t\t\t<key>Rating</key>\n\t\t\t<integer>%d</integer>\n", pick(6));
        fprintf(out,
                "\t\t\t<key>ImagePath</key>\n\t\t\t<string>%s/Modified/%d/%s/%s.jpg</string>\n",
                home, year, event, name);
        fprintf(out,
                "\t\t\t<key>OriginalPath</key>\n\t\t\t<string>%s/Originals/%d/%s/%s.JPG</string>\n",
                home, year, event, name);
        fprintf(out,
                "\t\t\t<key>ThumbPath</key>\n\t\t\t<string>%s/Data/%d/%s/Thumbs/%d.jpg</string>\n",
                home, year, event, key);
        fprintf(out, "\t\t\t<key>DateAsTimerInterval</key>\n\t\t\t<real>%.6f</real>\n", date);
        fprintf(out, "\t\t\t<key>ModDateAsTimerInterval</key>\n\t\t\t<real>%.6f</real>\n",
                date + pick(86400 * 30));
        fprintf(out, "\t\t\t<key>MetaModDateAsTimerInterval</key>\n\t\t\t<real>%.6f</real>\n",
                date + pick(86400 * 60));
        fprintf(out, "\t\t\t<key>Aspect Ratio</key>\n\t\t\t<real>%s</real>\n",
                pick(4) ? "1.333333" : "0.750000");
        fprintf(out, "\t\t\t<key>ImageType</key>\n\t\t\t<string>JPEG</string>\n");
        fputs("\t\t\t<key>Keywords</key>\n\t\t\t<array>\n", out);
        for (int k = pick(3); k > 0; --k)
            fprintf(out, "\t\t\t\t<string>%d</string>\n", 1 + pick(30));
        fputs("\t\t\t</array>\n", out);
        fprintf(out, "\t\t\t<key>latitude</key>\n\t\t\t<real>%.6f</real>\n",
                43.0 + pick(100000) / 1e5);
        fprintf(out, "\t\t\t<key>longitude</key>\n\t\t\t<real>%.6f</real>\n",
                7.0 + pick(100000) / 1e5);
        fputs("\t\t</dict>\n", out);
    }
    fputs("\t</dict>\n</dict>\n</plist>\n", out);
    fclose(out);
}
