// ColourProfile.cpp - ICC profiles to sRGB with the colour engine (lcms2), and a cache of the
// transforms made.
#include "image/ColourProfile.h"

#include <lcms2.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <unordered_map>

namespace {

// Distinct profiles kept; past this the cache starts again (transforms in use stay alive).
constexpr size_t kMaxCachedProfiles = 32;

// The engine's own messages: a broken profile is reported once, by srgbTransformFor.
void quietEngine(cmsContext, cmsUInt32Number, const char*) {}

struct Cache {
    std::mutex mutex;
    // Profile bytes to transform; null for "none needed" and for refused profiles.
    std::unordered_map<std::string, std::shared_ptr<const SrgbTransform>> transforms;
};

Cache& cache() {
    static Cache* made = [] {
        cmsSetLogErrorHandler(quietEngine);
        return new Cache; // never destroyed: workers may still shrink pictures at exit
    }();
    return *made;
}

// Whether transform leaves every colour as it is, to the nearest step: then the profile is sRGB
// in all but its bytes, and converting would only cost time.
bool changesNothing(cmsHTRANSFORM transform) {
    uint8_t samples[6 * 6 * 6 * 3], out[sizeof samples];
    size_t n = 0;
    for (int r = 0; r < 6; ++r)
        for (int g = 0; g < 6; ++g)
            for (int b = 0; b < 6; ++b) {
                samples[n++] = uint8_t(r * 51);
                samples[n++] = uint8_t(g * 51);
                samples[n++] = uint8_t(b * 51);
            }
    cmsDoTransform(transform, samples, out, cmsUInt32Number(n / 3));
    for (size_t i = 0; i < n; ++i)
        if (std::abs(int(samples[i]) - int(out[i])) > 1) return false;
    return true;
}

// A new transform for profile, or null (see srgbTransformFor); *refused says why not, when it
// was refused.
std::shared_ptr<const SrgbTransform> makeTransform(std::string_view profile, const char** refused) {
    if (profile.size() > kMaxProfileBytes) {
        *refused = "is too large";
        return nullptr;
    }
    cmsHPROFILE source = cmsOpenProfileFromMem(profile.data(), cmsUInt32Number(profile.size()));
    if (!source) {
        *refused = "cannot be read";
        return nullptr;
    }
    if (cmsGetColorSpace(source) != cmsSigRgbData) {
        cmsCloseProfile(source);
        return nullptr;
    }
    cmsHPROFILE srgb = cmsCreate_sRGBProfile();
    cmsHTRANSFORM transform = cmsCreateTransform(source, TYPE_RGB_8, srgb, TYPE_RGB_8,
                                                 INTENT_PERCEPTUAL, cmsFLAGS_NOCACHE);
    cmsCloseProfile(srgb);
    cmsCloseProfile(source);
    if (!transform) {
        *refused = "cannot be converted";
        return nullptr;
    }
    if (changesNothing(transform)) {
        cmsDeleteTransform(transform);
        return nullptr;
    }
    return std::make_shared<const SrgbTransform>(transform);
}

} // namespace

SrgbTransform::~SrgbTransform() {
    cmsDeleteTransform(static_cast<cmsHTRANSFORM>(handle_));
}

void SrgbTransform::apply(uint8_t* rgb, size_t pixels) const {
    // Made without the engine's one-pixel cache, so one transform serves threads at once.
    cmsDoTransform(static_cast<cmsHTRANSFORM>(handle_), rgb, rgb, cmsUInt32Number(pixels));
}

std::shared_ptr<const SrgbTransform> srgbTransformFor(std::string_view profile, const char* name) {
    if (profile.empty()) return nullptr;
    Cache& kept = cache();
    std::string key(profile.size() > kMaxProfileBytes ? profile.substr(0, 64) : profile);
    {
        std::lock_guard<std::mutex> lock(kept.mutex);
        auto found = kept.transforms.find(key);
        if (found != kept.transforms.end()) return found->second;
    }
    const char* refused = nullptr;
    std::shared_ptr<const SrgbTransform> made = makeTransform(profile, &refused);
    std::lock_guard<std::mutex> lock(kept.mutex);
    if (kept.transforms.size() >= kMaxCachedProfiles) kept.transforms.clear();
    bool fresh = kept.transforms.emplace(std::move(key), made).second;
    if (refused && fresh)
        printf("colour profile of '%s' %s (%zu bytes); shrunk as sRGB\n", name, refused,
               profile.size());
    return made;
}

std::string profileForPrimaries(int colourPrimaries) {
    cmsCIExyY white = {0.3127, 0.3290, 1.0}; // D65
    cmsCIExyYTRIPLE primaries;
    switch (colourPrimaries) {
    case 9: // BT.2020
        primaries = {{0.708, 0.292, 1.0}, {0.170, 0.797, 1.0}, {0.131, 0.046, 1.0}};
        break;
    case 11: // DCI-P3, its own white
        white = {0.314, 0.351, 1.0};
        [[fallthrough]];
    case 12: // Display P3
        primaries = {{0.680, 0.320, 1.0}, {0.265, 0.690, 1.0}, {0.150, 0.060, 1.0}};
        break;
    default:
        return "";
    }
    // The sRGB tone curve: a line near black, then a 2.4 power.
    const cmsFloat64Number curve[5] = {2.4, 1.0 / 1.055, 0.055 / 1.055, 1.0 / 12.92, 0.04045};
    cmsToneCurve* tone = cmsBuildParametricToneCurve(nullptr, 4, curve);
    cmsToneCurve* tones[3] = {tone, tone, tone};
    cmsHPROFILE made = tone ? cmsCreateRGBProfile(&white, &primaries, tones) : nullptr;
    if (tone) cmsFreeToneCurve(tone);
    if (!made) return "";
    cmsUInt32Number size = 0;
    std::string bytes;
    if (cmsSaveProfileToMem(made, nullptr, &size) && size > 0) {
        bytes.resize(size);
        if (!cmsSaveProfileToMem(made, bytes.data(), &size)) bytes.clear();
    }
    cmsCloseProfile(made);
    return bytes;
}

void IccChunks::add(const uint8_t* payload, size_t length) {
    static const char kTag[] = "ICC_PROFILE"; // followed by its NUL
    if (length < sizeof kTag + 2 || memcmp(payload, kTag, sizeof kTag) != 0) return;
    unsigned number = payload[sizeof kTag], count = payload[sizeof kTag + 1];
    size_t bytes = length - sizeof kTag - 2;
    if (number == 0 || count == 0 || number > count || (count_ && count != count_) ||
        !parts_[number].empty() || bytes == 0) {
        broken_ = true;
        return;
    }
    count_ = count;
    bytes_ += bytes;
    parts_[number].assign(reinterpret_cast<const char*>(payload) + sizeof kTag + 2, bytes);
}

std::string IccChunks::profile() const {
    if (broken_ || count_ == 0) return "";
    std::string whole;
    whole.reserve(bytes_);
    for (unsigned number = 1; number <= count_; ++number) {
        if (parts_[number].empty()) return "";
        whole += parts_[number];
    }
    return whole;
}
