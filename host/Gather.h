// How the main effect finds its siblings on a layer and drives them for one frame: sources in a
// stable order by group, effectors split by target, renderers last; layer requests with their
// second call; the loop guard; the hash walk; and the automatic renderer.
#pragma once

#include <string>
#include <vector>

#include "host/HostServices.h"
#include "host/ObjectMessage.h"

namespace tv {

inline constexpr const char* kSourcePrefix = "KDL TAVRSRC";
inline constexpr const char* kEffectorPrefix = "KDL TAVREFF";
inline constexpr const char* kRendererPrefix = "KDL TAVRREN";
inline constexpr const char* kLegacyRendererName = "KDL TAVRUS";
inline constexpr const char* kPointsRendererName = "KDL TAVRREN Points";
inline constexpr const char* kInfiniteLoopMessage =
    "Infinite Loop Detected. You can't select the same layer as an instance";
inline constexpr PF_Err kLoopGuardStatus = -1;

struct GatherContext {
    int32_t status = 0;
    HostServices* host = nullptr;
    AEGP_LayerH layer = 0;
    AEGP_PluginID pluginId = 0;
    uint32_t layerId = 0;
    const GatherContext* parent = nullptr;
    A_Time time;
};

void FindEffects(HostServices& host, AEGP_LayerH layer, const char* prefix, const char* alternative,
                 std::vector<int32_t>& indices);
PF_Err SendMessage(HostServices& host, AEGP_LayerH layer, const A_Time& time,
                   ObjectMessage& message, int32_t effectIndex, uint32_t requiredFlags);
PF_Err QueryGroups(HostServices& host, AEGP_LayerH layer, const A_Time& time,
                   const std::vector<int32_t>& indices, std::vector<int16_t>& groups);
PF_Err QueryInstanceIds(HostServices& host, AEGP_LayerH layer, const A_Time& time,
                        const std::vector<int32_t>& indices, std::vector<std::string>& ids);
PF_Err SetGroupById(HostServices& host, AEGP_LayerH layer, const A_Time& time,
                    const std::string& instanceId, int16_t group);

// The whole gather of one layer at one comp time. Returns the first error, or kLoopGuardStatus
// when a layer request ran in a circle (what was gathered stays usable).
PF_Err Gather(HostServices& host, AEGP_LayerH layer, const A_Time& time, ObjectMessage& message);
PF_Err GatherById(GatherContext& context, ObjectMessage& message, uint32_t layerId,
                  const A_Time& time);
PF_Err GatherLayer(GatherContext& context, AEGP_LayerH layer, const A_Time& time,
                   ObjectMessage& message);
PF_Err RunRenderers(GatherContext& context, AEGP_LayerH layer, const A_Time& time,
                    ObjectMessage& message);

// Mixes every effect's hash of the layer, and of the layers they depend on, into the key.
PF_Err MixStackHash(HostServices& host, AEGP_LayerH layer, const A_Time& time, PF_ProgPtr effectRef,
                    GuidMixInPtr mixIn, std::vector<uint32_t> visited);

// Adds a Points renderer to a layer that has a main effect and nothing else of the family.
PF_Err AddDefaultRenderer(HostServices& host, AEGP_LayerH layer);

}  // namespace tv
