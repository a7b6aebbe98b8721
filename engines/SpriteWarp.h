// Sprites on the software path: a layer's frame warped onto each projected sprite's rectangle,
// sampled bilinearly and tinted, "over" the output.
#pragma once

#include "engines/DrawRecords.h"
#include "host/HostTypes.h"

namespace tv {

// The premultiplied R, G, B, A of a straight A, R, G, B world (8 bits or float) at (u, v) in its
// pixels, pixel centres at +0.5, bilinear between the four nearest, clamped at the edges.
void SampleBilinear(const PF_EffectWorld& source, double u, double v, float out[4]);

// The half height of a sprite of half width `halfWidth` that keeps the source's proportions.
float SpriteHalfHeight(float halfWidth, const PF_EffectWorld& source);

// Draws one projected sprite (centre x, y and half sizes in pixels) of `source` into the part of
// `target` inside `tile`: each pixel, taken at its integer coordinates like the discs, maps back
// into the source, is tinted by the sprite's colour and opacity and goes "over" the pixel.
void DrawSpriteInTile(const DrawSprite& s, const PF_EffectWorld& source, PF_EffectWorld& target,
                      const ScanTile& tile);

}  // namespace tv
