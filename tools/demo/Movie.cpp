// Movie.cpp - a minimal MPEG-4 file standing for a film.
#include "demo/Bytes.h"
#include "demo/Encoders.h"

namespace demo {

namespace {

// A box: 32-bit size (header included), four-letter type, contents.
std::string box(const char* type, const std::string& contents) {
    std::string out;
    put32be(out, uint32_t(8 + contents.size()));
    out += type;
    out += contents;
    return out;
}

} // namespace

std::string movieFile(int seconds, int width, int height) {
    std::string ftyp = "isom";
    put32be(ftyp, 0x200);
    ftyp += "isomiso2mp41";

    constexpr uint32_t timescale = 600;
    std::string mvhd;
    put32be(mvhd, 0); // version 0, no flags
    put32be(mvhd, 0); // creation and modification times: unknown
    put32be(mvhd, 0);
    put32be(mvhd, timescale);
    put32be(mvhd, uint32_t(seconds) * timescale);
    put32be(mvhd, 0x00010000); // rate 1.0
    put16be(mvhd, 0x0100);     // volume 1.0
    mvhd.append(10, '\0');     // reserved
    const uint32_t matrix[9] = {0x00010000, 0, 0, 0, 0x00010000, 0, 0, 0, 0x40000000};
    for (uint32_t m : matrix)
        put32be(mvhd, m);
    mvhd.append(24, '\0'); // pre-defined
    put32be(mvhd, 2);      // next track id

    // The frame size travels in a user-data note, as there is no track to carry it.
    std::string note = "Tessellan demo film, " + std::to_string(width) + "x" +
                       std::to_string(height) + ", no frames";
    std::string text;
    put16be(text, uint32_t(note.size()));
    put16be(text, 0x55C4); // language "und", packed
    text += note;
    std::string udta = box("\xA9"
                           "cmt",
                           text);

    return box("ftyp", ftyp) + box("moov", box("mvhd", mvhd) + box("udta", udta)) +
           box("mdat", std::string());
}

} // namespace demo
