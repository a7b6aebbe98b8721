// What the renderers that can compute their result at other frames and hold it share: the
// requests for the layer's geometry at those frames, what the frame key then depends on (and the
// hash and dependency hooks built on it), and the frame button.
#pragma once

#include <cstdint>
#include <vector>

#include "host/GeometryStore.h"
#include "host/HostServices.h"
#include "host/ObjectMessage.h"
#include "host/ParamTable.h"
#include "renderers/LinesRenderer.h"
#include "renderers/NeighbourSearch.h"

namespace tv {

// The host's parallel iteration as the searches take it.
ParallelFor HostParallel(HostServices& host);

// First pass: flags the message and asks for the calling layer's geometry at `times` (layer
// ticks of the effect's time scale); the main effect gathers them and sends the message again.
void RequestHeldFrames(PF_InData* in, ObjectMessage& m, const std::vector<int32_t>& times);

// Second pass: the stores of the requested frames, in request order.
std::vector<GeometryStore*> HeldFrameStores(ObjectMessage& m);

// MixHash: the frame key depends on the calling layer at `times` as well.
void AddHeldFrameDependencies(PF_InData* in, ObjectMessage& m, const std::vector<int32_t>& times);

// The frame-key hooks of a renderer that holds frames, over its own parameter record `Params`
// (which has `calcMode`): `Read` reads it, `Hash` hashes it and `Frames` lists the frames it holds.
template <class Params, Params (*Read)(PF_InData*), uint64_t (*Hash)(const Params&),
          std::vector<int32_t> (*Frames)(const PF_InData*, const Params&)>
struct HeldFrameHooks {
    static uint64_t MessageHash(PF_InData* in, ObjectMessage&) { return Hash(Read(in)); }
    // Frames held from other times are part of what this frame shows.
    static void Dependencies(PF_InData* in, ObjectMessage& m) {
        const Params p = Read(in);
        if (p.calcMode != kLinesEveryFrame) AddHeldFrameDependencies(in, m, Frames(in, p));
    }
};

// The checkbox that works as a button: pressed, it captures the current frame into `frameNum`'s
// parameter and springs back; while the result is held at one frame it reads "Frame N".
PF_Err UpdateFrameButton(PF_InData* in, const ParamSpec& button, const ParamSpec& frameNum,
                         bool holdingOneFrame);

}  // namespace tv
