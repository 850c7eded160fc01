// Gamut.h - the wide-gamut colour spaces of the demo's test cards and their ICC profiles, also
// used by the tests that check conversion to sRGB.
#pragma once

#include <string>

namespace demo {

enum class Gamut { Srgb, DisplayP3, AdobeRgb };

// The ICC profile of the space; empty for sRGB.
std::string gamutProfile(Gamut gamut);

// The bytes of a profile the colour engine made (a cmsHPROFILE), which this closes.
std::string savedProfile(void* profile);

} // namespace demo
