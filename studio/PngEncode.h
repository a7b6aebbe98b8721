// A comp frame as PNG bytes for the page: straight 8-bit RGBA, the same samples `tavrin render`
// writes (standalone/ImageOutput.h's ToStraight8), compressed for speed rather than size since
// the frame travels only to the local browser.
#pragma once

#include <string>

#include "standalone/ImageOutput.h"

namespace tv::studio {

std::string EncodePng(const standalone::FloatImage& image);

}  // namespace tv::studio
