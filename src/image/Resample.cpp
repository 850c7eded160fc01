// Resample.cpp - the separable Catmull-Rom shrink, with fixed-point weights.
#include "image/Resample.h"

#include <algorithm>
#include <cmath>

constexpr int kWeightBits = 14;
constexpr int kOne = 1 << kWeightBits;
constexpr double kSupport = 2.0;

double catmullRom(double x) {
    x = std::fabs(x);
    if (x < 1) return (1.5 * x - 2.5) * x * x + 1;
    if (x < 2) return ((-0.5 * x + 2.5) * x - 4) * x + 2;
    return 0;
}

static uint8_t clampSample(int32_t value) {
    value = (value + kOne / 2) >> kWeightBits;
    return uint8_t(std::clamp(value, 0, 255));
}

void Resampler::plan(uint32_t in, uint32_t out, std::vector<Taps>& taps,
                     std::vector<int16_t>& weights) {
    const double scale = double(in) / out; // >= 1
    const double reach = kSupport * scale;
    taps.resize(out);
    std::vector<double> w;
    for (uint32_t o = 0; o < out; ++o) {
        double center = (o + 0.5) * scale; // in input coordinates
        int64_t first = std::max<int64_t>(0, int64_t(std::floor(center - reach + 0.5)));
        int64_t last = std::min<int64_t>(int64_t(in) - 1, int64_t(std::ceil(center + reach - 0.5)));
        w.clear();
        double sum = 0;
        for (int64_t i = first; i <= last; ++i) {
            double value = catmullRom((double(i) + 0.5 - center) / scale);
            w.push_back(value);
            sum += value;
        }
        // Trim zero weights at both ends.
        size_t begin = 0, end = w.size();
        while (begin + 1 < end && w[begin] == 0)
            ++begin;
        while (end > begin + 1 && w[end - 1] == 0)
            --end;
        taps[o] = {uint32_t(first + int64_t(begin)), uint32_t(end - begin),
                   uint32_t(weights.size())};
        int32_t total = 0;
        size_t biggest = weights.size();
        for (size_t i = begin; i < end; ++i) {
            int16_t fixed = int16_t(std::lround(w[i] / sum * kOne));
            if (biggest == weights.size() || fixed > weights[biggest]) biggest = weights.size();
            weights.push_back(fixed);
            total += fixed;
        }
        weights[biggest] = int16_t(weights[biggest] + (kOne - total)); // sums to exactly one
    }
}

Resampler::Resampler(uint32_t inWidth, uint32_t inHeight, uint32_t outWidth, uint32_t outHeight,
                     RowSink sink)
    : inWidth_(inWidth), inHeight_(inHeight), outWidth_(outWidth), outHeight_(outHeight),
      sink_(std::move(sink)) {
    plan(inWidth_, outWidth_, xTaps_, xWeights_);
    plan(inHeight_, outHeight_, yTaps_, yWeights_);
    // Every output row's rows must be held at once, together with rows already pushed for the
    // next one: the widest reach plus the step between rows is always enough.
    uint32_t widest = 1;
    for (const Taps& t : yTaps_)
        widest = std::max(widest, t.count);
    ringRows_ = std::min(inHeight_, widest + inHeight_ / outHeight_ + 2);
    ring_.resize(size_t(ringRows_) * outWidth_ * 3);
    outRow_.resize(size_t(outWidth_) * 3);
}

void Resampler::across(const uint8_t* in, uint8_t* out) const {
    for (uint32_t x = 0; x < outWidth_; ++x) {
        const Taps& t = xTaps_[x];
        const int16_t* w = &xWeights_[t.offset];
        const uint8_t* p = in + size_t(t.first) * 3;
        int32_t r = 0, g = 0, b = 0;
        for (uint32_t k = 0; k < t.count; ++k, p += 3) {
            r += w[k] * p[0];
            g += w[k] * p[1];
            b += w[k] * p[2];
        }
        out[size_t(x) * 3] = clampSample(r);
        out[size_t(x) * 3 + 1] = clampSample(g);
        out[size_t(x) * 3 + 2] = clampSample(b);
    }
}

void Resampler::push(const uint8_t* row) {
    if (pushed_ >= inHeight_) return;
    across(row, &ring_[size_t(pushed_ % ringRows_) * outWidth_ * 3]);
    ++pushed_;
    emitReady();
}

void Resampler::emitReady() {
    const size_t stride = size_t(outWidth_) * 3;
    std::vector<int32_t>& sums = sums_;
    while (emitted_ < outHeight_) {
        const Taps& t = yTaps_[emitted_];
        if (t.first + t.count > pushed_) return;
        sums.assign(stride, 0);
        const int16_t* w = &yWeights_[t.offset];
        for (uint32_t k = 0; k < t.count; ++k) {
            const uint8_t* src = &ring_[size_t((t.first + k) % ringRows_) * stride];
            int32_t weight = w[k];
            for (size_t i = 0; i < stride; ++i)
                sums[i] += weight * src[i];
        }
        for (size_t i = 0; i < stride; ++i)
            outRow_[i] = clampSample(sums[i]);
        sink_(outRow_.data(), emitted_);
        ++emitted_;
    }
}
