// Gamut.cpp - ICC profiles of the wide-gamut spaces, made with the colour engine.
#include "demo/Gamut.h"

#include "image/ColourProfile.h"

#include <lcms2.h>

namespace demo {

namespace {

// Adobe RGB (1998): its primaries, D65 white and a 563/256 power curve.
std::string adobeRgbProfile() {
    cmsCIExyY white = {0.3127, 0.3290, 1};
    cmsCIExyYTRIPLE primaries = {{0.64, 0.33, 1}, {0.21, 0.71, 1}, {0.15, 0.06, 1}};
    cmsToneCurve* gamma = cmsBuildGamma(nullptr, 563.0 / 256);
    cmsToneCurve* curves[3] = {gamma, gamma, gamma};
    std::string bytes = savedProfile(cmsCreateRGBProfile(&white, &primaries, curves));
    cmsFreeToneCurve(gamma);
    return bytes;
}

} // namespace

std::string savedProfile(void* profile) {
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    std::string bytes(size, '\0');
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    return bytes;
}

std::string gamutProfile(Gamut gamut) {
    switch (gamut) {
    case Gamut::DisplayP3:
        return profileForPrimaries(12);
    case Gamut::AdobeRgb:
        return adobeRgbProfile();
    case Gamut::Srgb:
        break;
    }
    return std::string();
}

} // namespace demo
