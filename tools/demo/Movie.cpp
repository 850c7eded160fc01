// Movie.cpp - a short MPEG-4 film (one H.264 video track) showing a still picture.
#include "demo/Bytes.h"
#include "demo/Encoders.h"
#include "demo/H264.h"

namespace demo {

namespace {

constexpr uint32_t kTimescale = 600;
constexpr uint32_t kFramesPerSecond = 5;

// A box: 32-bit size (header included), four-letter type, contents.
std::string box(const char* type, const std::string& contents) {
    std::string out;
    put32be(out, uint32_t(8 + contents.size()));
    out += type;
    out += contents;
    return out;
}

// A full box: a box whose contents start with a version byte and 24 bits of flags.
std::string fullBox(const char* type, uint32_t flags, const std::string& contents) {
    std::string head;
    put32be(head, flags & 0xFFFFFF);
    return box(type, head + contents);
}

void putMatrix(std::string& out) {
    const uint32_t unity[9] = {0x00010000, 0, 0, 0, 0x00010000, 0, 0, 0, 0x40000000};
    for (uint32_t m : unity)
        put32be(out, m);
}

std::string sampleEntry(const H264Stream& stream) {
    std::string avcC;
    put8(avcC, 1);                   // configuration version
    avcC += stream.sps.substr(1, 3); // profile, compatibility, level
    put8(avcC, 0xFF);                // four-byte NAL lengths
    put8(avcC, 0xE1);                // one sequence parameter set
    put16be(avcC, uint32_t(stream.sps.size()));
    avcC += stream.sps;
    put8(avcC, 1); // one picture parameter set
    put16be(avcC, uint32_t(stream.pps.size()));
    avcC += stream.pps;

    std::string avc1(6, '\0'); // reserved
    put16be(avc1, 1);          // data reference 1
    avc1.append(16, '\0');     // pre-defined and reserved
    put16be(avc1, uint32_t(stream.width));
    put16be(avc1, uint32_t(stream.height));
    put32be(avc1, 0x00480000); // 72 dpi
    put32be(avc1, 0x00480000);
    put32be(avc1, 0);
    put16be(avc1, 1);      // one frame per sample
    avc1.append(32, '\0'); // no compressor name
    put16be(avc1, 0x18);   // colour, no alpha
    put16be(avc1, 0xFFFF);
    avc1 += box("avcC", avcC);
    std::string stsd;
    put32be(stsd, 1);
    return fullBox("stsd", 0, stsd + box("avc1", avc1));
}

std::string sampleTables(const H264Stream& stream, uint32_t dataOffset) {
    uint32_t count = uint32_t(stream.frames.size());
    std::string stts, stss, stsc, stsz, stco;
    put32be(stts, 1);
    put32be(stts, count);
    put32be(stts, kTimescale / kFramesPerSecond);
    put32be(stss, 1);
    put32be(stss, 1); // the first frame is the key frame
    put32be(stsc, 1);
    put32be(stsc, 1); // every sample in chunk 1
    put32be(stsc, count);
    put32be(stsc, 1);
    put32be(stsz, 0);
    put32be(stsz, count);
    for (const std::string& frame : stream.frames)
        put32be(stsz, uint32_t(4 + frame.size()));
    put32be(stco, 1);
    put32be(stco, dataOffset);
    return box("stbl", sampleEntry(stream) + fullBox("stts", 0, stts) + fullBox("stss", 0, stss) +
                           fullBox("stsc", 0, stsc) + fullBox("stsz", 0, stsz) +
                           fullBox("stco", 0, stco));
}

std::string movieBox(const H264Stream& stream, uint32_t duration, uint32_t dataOffset) {
    std::string mvhd;
    put32be(mvhd, 0); // creation and modification times: unknown
    put32be(mvhd, 0);
    put32be(mvhd, kTimescale);
    put32be(mvhd, duration);
    put32be(mvhd, 0x00010000); // rate 1.0
    put16be(mvhd, 0x0100);     // volume 1.0
    mvhd.append(10, '\0');
    putMatrix(mvhd);
    mvhd.append(24, '\0');
    put32be(mvhd, 2); // next track id

    std::string tkhd;
    put32be(tkhd, 0);
    put32be(tkhd, 0);
    put32be(tkhd, 1); // track 1
    put32be(tkhd, 0);
    put32be(tkhd, duration);
    tkhd.append(8, '\0');
    put32be(tkhd, 0); // layer, alternate group
    put32be(tkhd, 0); // no volume: video
    putMatrix(tkhd);
    put32be(tkhd, uint32_t(stream.width) << 16);
    put32be(tkhd, uint32_t(stream.height) << 16);

    std::string mdhd;
    put32be(mdhd, 0);
    put32be(mdhd, 0);
    put32be(mdhd, kTimescale);
    put32be(mdhd, duration);
    put16be(mdhd, 0x55C4); // language "und", packed
    put16be(mdhd, 0);

    std::string hdlr(4, '\0');
    hdlr += "vide";
    hdlr.append(12, '\0');
    hdlr += std::string("Video", 6); // name, with its terminating zero

    std::string vmhd(8, '\0'); // copy mode, no colour
    std::string dref;
    put32be(dref, 1);
    dref += fullBox("url ", 1, ""); // the data is in this file
    std::string minf = fullBox("vmhd", 1, vmhd) + box("dinf", fullBox("dref", 0, dref)) +
                       sampleTables(stream, dataOffset);
    std::string mdia = fullBox("mdhd", 0, mdhd) + fullBox("hdlr", 0, hdlr) + box("minf", minf);
    std::string trak = fullBox("tkhd", 3, tkhd) + box("mdia", mdia); // enabled, in the movie
    return box("moov", fullBox("mvhd", 0, mvhd) + box("trak", trak));
}

} // namespace

std::string movieFile(const Canvas& still, int seconds) {
    H264Stream stream = encodeStillH264(still, seconds * int(kFramesPerSecond));
    std::string ftyp = "isom";
    put32be(ftyp, 0x200);
    ftyp += "isomiso2avc1mp41";
    std::string head = box("ftyp", ftyp);

    std::string samples;
    for (const std::string& frame : stream.frames) {
        put32be(samples, uint32_t(frame.size()));
        samples += frame;
    }
    uint32_t duration = uint32_t(seconds) * kTimescale;
    // The movie box's size does not depend on the offset it records: measure it first.
    size_t moovSize = movieBox(stream, duration, 0).size();
    uint32_t dataOffset = uint32_t(head.size() + moovSize + 8);
    return head + movieBox(stream, duration, dataOffset) + box("mdat", samples);
}

} // namespace demo
