// The dispatch shared by every sub-effect (sources, effectors, renderers): one entry template,
// with each effect supplying only what differs.
#pragma once

#include <string>

#include "host/GroupMessage.h"
#include "host/HostTypes.h"
#include "host/ObjectMessage.h"
#include "host/ParamTable.h"
#include "host/TextParam.h"
#include "host/EffectInfo.h"

namespace tv {

struct SubEffectHandlers {
    // Answers an ObjectMessage (PF_Cmd_COMPLETELY_GENERAL). Null: the effect adds nothing.
    PF_Err (*message)(PF_InData*, PF_OutData*, ObjectMessage&) = nullptr;
    // Set: GetGroup, GetTarget, SetGroup and MixHash are answered from these hooks and every
    // other command goes to message.
    const GroupHooks* group = nullptr;
    // Shows and hides parameters from their values. USER_CHANGED_PARAM and UPDATE_PARAMS_UI run
    // it when the effect has no handler of its own for them.
    PF_Err (*visibility)(PF_InData*) = nullptr;
    // UPDATE_PARAMS_UI runs visibility only once per instance, not on every update.
    bool visibilityOnce = false;
    PF_Err (*userChangedParam)(PF_InData*, PF_OutData*, PF_ParamDef*[], void* extra) = nullptr;
    PF_Err (*updateParamsUI)(PF_InData*, PF_OutData*, PF_ParamDef*[]) = nullptr;
    PF_Err (*event)(PF_InData*, PF_OutData*, PF_ParamDef*[], void* extra) = nullptr;
    // What the effect's name filter shows for its text; null: the text, or "None" when empty.
    NameLabelFunc nameLabel = nullptr;
    PF_Err (*arbitraryCallback)(PF_InData*, PF_OutData*, void* extra) = nullptr;
    PF_Err (*frameSetup)(PF_InData*, PF_OutData*, PF_ParamDef*[]) = nullptr;
    // Runs after the shared step of PF_Cmd_SEQUENCE_RESETUP, with the new record in out_data.
    PF_Err (*sequenceResetup)(PF_InData*, PF_OutData*) = nullptr;
    // The options button (PF_Cmd_DO_DIALOG).
    PF_Err (*doDialog)(PF_InData*, PF_OutData*) = nullptr;
    // The options button's label, set at PARAMS_SETUP; null: the host's own.
    const char* optionsButtonName = nullptr;
    bool queryDynamicFlags = true;  // Transform and Legacy have no such case
    // Runs after the shared QUERY_DYNAMIC_FLAGS step, for effects whose flags depend on values.
    PF_Err (*dynamicFlags)(PF_InData*, PF_OutData*) = nullptr;
    // About box name and description when they differ from the effect's own row.
    const char* aboutName = nullptr;
    const char* aboutDescription = nullptr;
};

// The about text: "%s %i.%i.%i\n%s".
void WriteAbout(PF_OutData* out_data, const char* name, const char* description);

// The dynamic-flags rule; the API's major and minor numbers are compared independently.
bool HostSupportsRenderGuid(const PF_InData* in_data);

// Runs one command for the sub-effect described by its table row and handlers.
PF_Err SubEffectEntry(const EffectInfo& info, const SubEffectHandlers& handlers, PF_Cmd cmd,
                      PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                      PF_LayerDef* output, void* extra);

// The value of the calling instance's parameter `index` at the command's time.
PF_ParamDef CheckoutParam(PF_InData* in_data, int32_t index);

// SetGroup: writes a group of 1..10 to the popup as it stands, anything else as 12.
PF_Err WriteGroupPopup(PF_InData* in_data, const ParamSpec& popup, int16_t group);
// MixHash: hands the effect's 8-byte hash to the message's sink.
void MixHashInto(ObjectMessage& message, uint64_t hash);

// Copies one world to another of the same size and depth, in bands on the host's threads when
// a host is given.
PF_Err CopyWorld(const PF_EffectWorld& from, PF_EffectWorld& to, HostServices* host = nullptr);

}  // namespace tv
