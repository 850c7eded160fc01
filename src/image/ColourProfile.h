// ColourProfile.h - embedded colour profiles, and turning the pixels they describe into sRGB.
//
// A picture that carries an ICC profile (a JPEG's APP2 "ICC_PROFILE" chunks, a HEIF's colour
// box) is converted to sRGB whenever it is shrunk or re-encoded, so that a wide-gamut picture
// (a phone's P3, a camera's Adobe RGB) is shown in its true colours by browsers that take
// untagged pictures as sRGB; the pictures made carry no profile.
//
// Profiles are untrusted bytes. One larger than kMaxProfileBytes, one the colour engine cannot
// read, and an RGB one it cannot build a transform from are "refused": the picture is then
// shrunk as if it were sRGB, and one line naming the picture says so (once per profile and
// process, so a gallery page does not fill the log). Profiles of other colour spaces (grey,
// CMYK) are left alone: those pictures are converted as before.
//
// Threads: transforms are immutable and may be applied from any number of threads at once; the
// cache that makes them (srgbTransformFor) is guarded by a mutex of its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

constexpr size_t kMaxProfileBytes = 4 * 1024 * 1024;

// Turns 8-bit RGB pixels described by one profile into sRGB.
class SrgbTransform {
  public:
    // REQUIRES: handle is a transform from 8-bit RGB to 8-bit RGB the colour engine made; the
    // object owns it.
    explicit SrgbTransform(void* handle) : handle_(handle) {}
    ~SrgbTransform();
    SrgbTransform(const SrgbTransform&) = delete;
    SrgbTransform& operator=(const SrgbTransform&) = delete;

    // Converts pixels (3 bytes each) in place.
    void apply(uint8_t* rgb, size_t pixels) const;

  private:
    void* handle_;
};

// The transform from an RGB profile's space to sRGB; null when none is needed (the profile is
// sRGB, or describes no RGB space) or the profile is refused (one line naming name, see above).
// Transforms are kept per profile, so asking again costs a lookup.
std::shared_ptr<const SrgbTransform> srgbTransformFor(std::string_view profile, const char* name);

// The ICC profile of a colour box: the RGB primaries (CIE xy of red, green, blue and white)
// with the sRGB tone curve, for the colour-primaries codes of ISO/IEC 23091-2 that pictures use
// beside sRGB's own (9: BT.2020, 11 and 12: DCI-P3 and Display P3). Empty for 1 (sRGB itself)
// and for codes it does not know.
std::string profileForPrimaries(int colourPrimaries);

// The profile stored in a JPEG's APP2 chunks: chunk payloads ("ICC_PROFILE" 00, sequence number,
// count, bytes) are handed to add in any order, and profile() puts them together. Empty when
// there were none, or when they do not form one whole profile (a number missing or repeated,
// counts that differ). At most 255 chunks of 64 KiB: srgbTransformFor refuses what is too large.
class IccChunks {
  public:
    void add(const uint8_t* payload, size_t length);
    std::string profile() const;

  private:
    std::string parts_[256];
    unsigned count_ = 0;  // the count the chunks claim; 0 before the first
    bool broken_ = false; // a chunk was malformed, repeated or disagreed
    size_t bytes_ = 0;
};
