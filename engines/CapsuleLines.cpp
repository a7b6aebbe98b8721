#include "engines/CapsuleLines.h"

#include <algorithm>
#include <cmath>

#include "engines/BlendPixel.h"

namespace tv {

namespace {

uint8_t Byte(float c) {
    return uint8_t(std::clamp(int32_t(c * 255.0f + 0.5f), 0, 255));
}

// 8 bits: the straight colour rounded to bytes first, then premultiplied, as the stroked path
// wrote it.
PF_Pixel8 Premultiplied8(const float c[4]) {
    const uint32_t a = Byte(c[3]);
    auto pre = [a](float v) { return uint8_t((uint32_t(Byte(v)) * a + 255) >> 8); };
    return PF_Pixel8{uint8_t(a), pre(c[0]), pre(c[1]), pre(c[2])};
}

PF_PixelFloat PremultipliedFloat(const float c[4]) {
    return PF_PixelFloat{c[3], c[0] * c[3], c[1] * c[3], c[2] * c[3]};
}

void Blend(PF_Pixel8& dst, const PF_Pixel8& src, int32_t cover) {
    BlendPremultipliedPixel8(dst, src, cover);
}
void Blend(PF_PixelFloat& dst, const PF_PixelFloat& src, int32_t cover) {
    BlendPixelFloat(dst, src, cover);
}

}  // namespace

CapsuleLineDrawer::CapsuleLineDrawer(const PF_EffectWorld& world, int32_t bitDepth,
                                     bool perspectiveSizes, const ScanTile& tile)
    : world_(world),
      bitDepth_(bitDepth),
      perspectiveSizes_(perspectiveSizes),
      rasters_{CapsuleRaster(tile), CapsuleRaster(tile), CapsuleRaster(tile), CapsuleRaster(tile)} {
}

CapsuleLineDrawer::~CapsuleLineDrawer() {
    finish();
}

void CapsuleLineDrawer::resetGradient(const DrawLine& l) {
    current_ = &l;
    if (++line_ == 0) {  // the stamps wrapped: forget them all
        stamps_.fill(0);
        line_ = 1;
    }
}

const PF_Pixel8& CapsuleLineDrawer::gradient8(int32_t i) {
    if (stamps_[size_t(i)] != line_) {
        float c[4];
        for (int k = 0; k < 4; ++k)
            c[k] = current_->startColor[k] +
                   (current_->endColor[k] - current_->startColor[k]) * float(i) / 255.0f;
        table8_[size_t(i)] = Premultiplied8(c);
        stamps_[size_t(i)] = line_;
    }
    return table8_[size_t(i)];
}

const PF_PixelFloat& CapsuleLineDrawer::gradientFloat(int32_t i) {
    if (stamps_[size_t(i)] != line_) {
        float c[4];
        for (int k = 0; k < 4; ++k)
            c[k] = current_->startColor[k] +
                   (current_->endColor[k] - current_->startColor[k]) * float(i) / 255.0f;
        tableFloat_[size_t(i)] = PremultipliedFloat(c);
        stamps_[size_t(i)] = line_;
    }
    return tableFloat_[size_t(i)];
}

template <class Pixel>
void CapsuleLineDrawer::blendSpans(CapsuleRaster& raster, const DrawLine& l) {
    auto row = [this](int32_t x, int32_t y) {
        return reinterpret_cast<Pixel*>(world_.data + size_t(y) * size_t(world_.rowbytes)) + x;
    };
    const double dx = l.end[0] - l.start[0], dy = l.end[1] - l.start[1];
    const double len = std::sqrt(dx * dx + dy * dy);
    const bool solid = std::equal(l.startColor, l.startColor + 4, l.endColor);
    if (solid || !(len > 0) || !std::isfinite(len)) {
        Pixel c;
        if constexpr (sizeof(Pixel) == 4)
            c = Premultiplied8(l.startColor);
        else
            c = PremultipliedFloat(l.startColor);
        raster.sweep([&](int32_t x, int32_t y, int32_t n, const uint8_t* covers) {
            Pixel* p = row(x, y);
            for (int32_t i = 0; i < n; ++i) Blend(p[i], c, covers[i]);  // 0 leaves the pixel
        });
        return;
    }
    // The gradient runs along the axis in 256 steps, a pixel taking the step its corner falls
    // in (sixteenths of a hundredth of the length, as the stroked path's span counted them).
    resetGradient(l);
    const double kx = dx / len * 1600.0 / len, ky = dy / len * 1600.0 / len;
    raster.sweep([&](int32_t x, int32_t y, int32_t n, const uint8_t* covers) {
        Pixel* p = row(x, y);
        const double g0 = (double(x) - l.start[0]) * kx + (double(y) - l.start[1]) * ky;
        for (int32_t i = 0; i < n; ++i) {
            if (!covers[i]) continue;
            const double g = std::clamp(std::floor(g0 + kx * double(i)), -1.0, 1600.0);
            const int32_t step = std::clamp(int32_t(g) * 256 / 1600, 0, 255);
            if constexpr (sizeof(Pixel) == 4)
                Blend(p[i], gradient8(step), covers[i]);
            else
                Blend(p[i], gradientFloat(step), covers[i]);
        }
    });
}

void CapsuleLineDrawer::blend(CapsuleRaster& raster, const DrawLine& l) {
    if (bitDepth_ == 8)
        blendSpans<PF_Pixel8>(raster, l);
    else
        blendSpans<PF_PixelFloat>(raster, l);
}

// A line is blended a few lines late: its rows are asked for from memory when its edges are
// done, and arrive while the next lines' edges are worked out, instead of each row stalling the
// blend.
void CapsuleLineDrawer::draw(const DrawLine& l) {
    if (bitDepth_ != 8 && bitDepth_ != 32) return;
    const size_t slot = (first_ + count_) % kInFlight;
    if (count_ == kInFlight) {
        blendOldest();
        return draw(l);
    }
    CapsuleRaster& raster = rasters_[slot];
    if (!raster.accumulate(LineCapsule(l, perspectiveSizes_, arcSteps_))) return;
    const size_t pixelBytes = bitDepth_ == 8 ? 4 : 16;
    raster.touchedRows([&](int32_t x, int32_t y, int32_t n) {
        const uint8_t* row = world_.data + size_t(y) * size_t(world_.rowbytes);
        const uint8_t* first = row + size_t(x) * pixelBytes;
        const uint8_t* last = row + size_t(x + n) * pixelBytes - 1;
        __builtin_prefetch(first, 1);
        if ((reinterpret_cast<uintptr_t>(first) ^ reinterpret_cast<uintptr_t>(last)) >= 64)
            __builtin_prefetch(last, 1);
    });
    pending_[slot] = l;
    ++count_;
}

void CapsuleLineDrawer::blendOldest() {
    blend(rasters_[first_], pending_[first_]);
    first_ = (first_ + 1) % kInFlight;
    --count_;
}

void CapsuleLineDrawer::finish() {
    while (count_ > 0) blendOldest();
}

}  // namespace tv
