// The layers source's geometry: vertices at the comp's lights or 3D layers, a curve between spot
// lights, replication into copies with facets, and the hash of all of it.
#pragma once

#include <cstdint>
#include <string>

#include "host/HostServices.h"
#include "sources/Replication.h"

namespace tv {

enum LayersObjectType : int32_t { kLayersLights = 1, kLayers3D = 2 };
enum LayersLightType : int32_t { kLayersPointLights = 1, kLayersSpotLights = 2 };
enum LayersLayerType : int32_t {
    kLayersNulls = 1,
    kLayersAV = 2,
    kLayersSeparator = 3,
    kLayersAll3D = 4
};

struct LayersSettings {
    std::string namePrefix;
    int32_t objectType = kLayersLights;
    int32_t lightType = kLayersPointLights;
    int32_t layerType = kLayersNulls;
    bool getColor = true;
    bool getOpacity = true;  // from intensity for lights, from opacity for 3D layers
    float color[4] = {1, 1, 1, 0.5f};
    bool betweenLights = true;
    int32_t betweenCount = 50;
    ReplicationSettings replication;
    bool generateFacets = true;
    int32_t group = 12;

    bool spotLights() const {
        return objectType == kLayersLights && lightType == kLayersSpotLights;
    }
    uint32_t dimensionMask() const { return replication.copies < 2 ? 1u : 3u; }
};

// What the walk over the comp found, one entry per selected layer in comp order. `targets`
// holds the spot lights' points of interest in world space (3 per light).
struct GatheredLayers {
    VertexArrays base;
    std::vector<double> targets;
};

// Walks the comp's layers at a comp time and keeps those the settings select. A host error stops
// the walk and is returned; what was gathered stands.
PF_Err GatherLayers(HostServices& host, AEGP_CompH comp, const A_Time& time,
                    const LayersSettings& s, GatheredLayers& out);

// Spot lights: the normals toward each target, or the curve of `betweenCount` vertices through
// the lights when there are two or more and the option is on.
void BetweenLights(const LayersSettings& s, GatheredLayers& g);

// Gathered base vertices to the final arrays: copies, transform, colour override, facets.
VertexArrays BuildLayers(const LayersSettings& s, VertexArrays base);

// Appends to the store with one ObjectRange and sets the pending counts.
void AppendLayers(const LayersSettings& s, const VertexArrays& v, GeometryStore& store);

// What the name control shows: the prefix, or what an empty prefix selects.
std::string LayersNameLabel(int32_t objectType, const std::string& prefix);

// The settings and every gathered vertex (after BetweenLights), seed 64.
uint64_t LayersHash(const LayersSettings& s, const VertexArrays& base);

}  // namespace tv
