// Turns a world's premultiplied colours into straight ones, as the frame's last step.
#pragma once

#include "host/HostServices.h"

namespace tv {

void UnpremultiplyRow8(PF_Pixel8* row, int32_t width);
void UnpremultiplyRowFloat(PF_PixelFloat* row, int32_t width);
// Runs row by row on the host's iterator for worlds wider or taller than 256, else in a loop.
// A 16-bit world is left as it is.
PF_Err UnpremultiplyWorld(HostServices* host, PF_EffectWorld& world);

}  // namespace tv
