// The group and hash questions the main effect asks every source and renderer, answered once for
// all of them; effects state only their popup and hash.
#pragma once

#include <cstdint>

#include "host/HostTypes.h"
#include "host/ObjectMessage.h"
#include "host/ParamTable.h"

namespace tv {

// "Effector effects": the elements an effector works on.
enum EffectorTarget : int32_t { kTargetVertices = 1, kTargetFaces = 2 };

struct GroupHooks {
    // The popup SetGroup writes, and GetGroup reads unless the effect takes every group.
    const ParamSpec* groupPopup = nullptr;
    // GetGroup answers 12 (every group) whatever the popup holds.
    bool takesAllGroups = false;
    // The effect's 8-byte hash for MixHash.
    uint64_t (*hash)(PF_InData*, ObjectMessage&) = nullptr;
    // Runs after the hash is mixed in: other frames the result depends on. Optional.
    void (*dependencies)(PF_InData*, ObjectMessage&) = nullptr;
    // Effectors answer GetTarget: faces when the popup at targetParam reads "Faces", else (and
    // with no such popup) vertices. Sources and renderers leave it unanswered.
    bool effector = false;
    int32_t targetParam = 0;
};

// Answers GetGroup, GetTarget, SetGroup and MixHash into err and returns true; returns false for
// every other command, which the effect itself answers.
bool AnswerGroupMessage(PF_InData* in, ObjectMessage& m, const GroupHooks& hooks, PF_Err& err);

}  // namespace tv
