// Comp frames: each visible 2D layer's pixels through its effect stack, then "over" the frame,
// bottom to top, on the comp's background.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "standalone/EmbeddedHost.h"
#include "standalone/ImageOutput.h"
#include "standalone/LayerWorld.h"

namespace tv::standalone {

class CompRenderer {
  public:
    explicit CompRenderer(EmbeddedHost& host) : host_(host) {}

    // Renders one frame of a comp. Messages the effects returned are appended to `messages`.
    FloatImage renderFrame(const Comp& comp, int64_t frame, int32_t bitDepth,
                           std::vector<std::string>& messages);
    // Renders the comp at a comp time (precomps are rendered at their layer's time).
    FloatImage renderAtTime(const Comp& comp, const A_Time& time, int32_t bitDepth,
                            std::vector<std::string>& messages, int depth = 0);

    size_t cacheHits() const { return cacheHits_; }
    // Composites only this layer of the rendered comp (null: every layer); the others stay in
    // the comp for the effects to read.
    void setSoloLayer(const Layer* layer) { solo_ = layer; }

  private:
    void fillSource(const Layer& layer, const A_Time& compTime, int32_t bitDepth, LayerWorld& world,
                    std::vector<std::string>& messages, int depth);
    // Runs the layer's effect stack; returns the world that holds the result.
    LayerWorld* runEffects(Layer& layer, const A_Time& layerTime, int32_t bitDepth, LayerWorld& a,
                           LayerWorld& b, std::vector<std::string>& messages);

    EmbeddedHost& host_;
    std::mutex cacheMutex_;
    std::map<std::tuple<uint64_t, uint64_t, int32_t>, WorldBytes> cache_;
    size_t cacheHits_ = 0;
    const Layer* solo_ = nullptr;
};

// "Over" of a straight-alpha layer world onto a premultiplied frame at an integer offset.
void CompositeOver(FloatImage& frame, const PF_EffectWorld& layer, int32_t left, int32_t top,
                   float opacity);

// Where a layer pixel lands: comp = A * layer + b (2x2 matrix a, offset b).
struct Placement {
    double a[4] = {1, 0, 0, 1};
    double b[2] = {0, 0};
    bool isTranslation() const { return a[0] == 1 && a[1] == 0 && a[2] == 0 && a[3] == 1; }
};
Placement PlaceLayer(const Layer& layer, const Comp& comp, double seconds, float& opacity);
// "Over" through a general placement, sampling the layer bilinearly.
void CompositePlaced(FloatImage& frame, const PF_EffectWorld& layer, const Placement& placement,
                     float opacity);

}  // namespace tv::standalone
