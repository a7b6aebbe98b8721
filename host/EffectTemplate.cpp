#include "host/EffectTemplate.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "host/ScriptBridge.h"
#include "host/SequenceRecord.h"
#include "host/SuiteCache.h"
#include "host/TextParam.h"

namespace tv {

void WriteAbout(PF_OutData* out_data, const char* name, const char* description) {
    std::snprintf(out_data->return_msg, sizeof(out_data->return_msg), "%s %i.%i.%i\n%s", name,
                  kVersionMajor, kVersionMinor, kVersionBug, description);
}

bool HostSupportsRenderGuid(const PF_InData* in_data) {
    return in_data->version.major >= 13 && in_data->version.minor >= 8;
}

PF_Err CopyWorld(const PF_EffectWorld& from, PF_EffectWorld& to, HostServices* host) {
    if (!from.data || !to.data) return PF_Err_BAD_CALLBACK_PARAM;
    if (from.width != to.width || from.height != to.height || from.format != to.format)
        return PF_Err_BAD_CALLBACK_PARAM;
    const size_t pixelBytes = from.format == PF_PixelFormat_ARGB128  ? 16
                              : from.format == PF_PixelFormat_ARGB64 ? 8
                                                                     : 4;
    // Bands of 64 rows: a pass-through effect copies the whole frame, and every renderer and
    // source in a stack is one, so the copies run on the host's threads where there is one.
    constexpr int32_t kBand = 64;
    const int32_t bands = (from.height + kBand - 1) / kBand;
    auto band = [&](int32_t b) {
        const int32_t last = std::min(from.height, (b + 1) * kBand);
        for (int32_t y = b * kBand; y < last; ++y)
            std::memcpy(to.data + size_t(y) * to.rowbytes, from.data + size_t(y) * from.rowbytes,
                        pixelBytes * size_t(from.width));
        return PF_Err_NONE;
    };
    if (host && bands > 1) return host->iterate(bands, band);
    for (int32_t b = 0; b < bands; ++b) band(b);
    return PF_Err_NONE;
}

PF_ParamDef CheckoutParam(PF_InData* in_data, int32_t index) {
    SuiteCache suites(in_data);
    PF_ParamDef def;
    const PF_Err err = suites->checkoutParam(in_data->effect_ref, index, in_data->current_time,
                                             in_data->time_step, in_data->time_scale, &def);
    if (err) throw HostErrorCode{err};
    suites->checkinParam(in_data->effect_ref, &def);
    return def;
}

PF_Err WriteGroupPopup(PF_InData* in_data, const ParamSpec& popup, int16_t group) {
    PF_ParamDef v = DefaultParamValue(popup);
    v.u.popup = (group >= 1 && group <= 10) ? group : kAllGroups;
    return SuiteCache(in_data)->setParamValue(in_data->effect_ref, popup.index, v);
}

void MixHashInto(ObjectMessage& message, uint64_t hash) {
    message.mixIn(message.hash, &hash, 8);
}

namespace {

PF_Err SmartRenderPassThrough(const EffectInfo& info, PF_InData* in_data) {
    SuiteCache suites(in_data);
    suites->diagnostic(std::string(info.displayName) + " Common render called");
    PF_EffectWorld* input = nullptr;
    PF_EffectWorld* output = nullptr;
    PF_Err err = suites->checkoutLayerPixels(in_data->effect_ref, 0, &input);
    if (!err) err = suites->checkoutOutput(in_data->effect_ref, &output);
    if (!err && input && output) err = CopyWorld(*input, *output, &suites.host());
    if (input) {
        const PF_Err err2 = suites->checkinLayerPixels(in_data->effect_ref, 0);
        if (!err) err = err2;
    }
    return err;
}

PF_Err Dispatch(const EffectInfo& info, const SubEffectHandlers& h, PF_Cmd cmd, PF_InData* in_data,
                PF_OutData* out_data, PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    switch (cmd) {
        case PF_Cmd_ABOUT:
            WriteAbout(out_data, h.aboutName ? h.aboutName : info.displayName,
                       h.aboutDescription ? h.aboutDescription : info.description);
            return PF_Err_NONE;
        case PF_Cmd_GLOBAL_SETUP:
            out_data->my_version = kEffectVersionWord;
            out_data->out_flags = info.outFlags;
            out_data->out_flags2 = info.outFlags2;
            // Only effects that answer QUERY_DYNAMIC_FLAGS announce it.
            if (h.queryDynamicFlags)
                out_data->out_flags2 |= PF_OutFlag2_SUPPORTS_QUERY_DYNAMIC_FLAGS;
            return PF_Err_NONE;
        case PF_Cmd_GLOBAL_SETDOWN:
            return PF_Err_NONE;
        case PF_Cmd_PARAMS_SETUP: {
            const PF_Err err = SetupParams(in_data, out_data, info.params());
            if (err || !h.optionsButtonName) return err;
            SuiteCache suites(in_data);
            return suites->setOptionsButtonName(in_data->effect_ref, h.optionsButtonName);
        }
        case PF_Cmd_SEQUENCE_SETUP:
            return SetupSequence(in_data, out_data);
        case PF_Cmd_SEQUENCE_RESETUP: {
            const PF_Err err = ResetupSequence(in_data, out_data);
            return err || !h.sequenceResetup ? err : h.sequenceResetup(in_data, out_data);
        }
        case PF_Cmd_SEQUENCE_FLATTEN:
            return FlattenSequence(in_data, out_data);
        case PF_Cmd_SEQUENCE_SETDOWN:
            return SetdownSequence(in_data, out_data);
        case PF_Cmd_RENDER:
            if (!params || !params[0] || !params[0]->u.ld || !output)
                return PF_Err_BAD_CALLBACK_PARAM;
            return CopyWorld(*params[0]->u.ld, *output, in_data->pica_basicP);
        case PF_Cmd_USER_CHANGED_PARAM:
            if (h.userChangedParam) return h.userChangedParam(in_data, out_data, params, extra);
            return h.visibility ? h.visibility(in_data) : PF_Err_NONE;
        case PF_Cmd_UPDATE_PARAMS_UI:
            if (h.updateParamsUI) return h.updateParamsUI(in_data, out_data, params);
            if (!h.visibility) return PF_Err_NONE;
            if (h.visibilityOnce && !MarkOnce(in_data, kSeqFlagVisibilityCurrent))
                return PF_Err_NONE;
            return h.visibility(in_data);
        case PF_Cmd_EVENT: {
            if (h.event) return h.event(in_data, out_data, params, extra);
            // A name filter draws its name or placeholder, and a click opens its name dialog.
            auto* event = static_cast<PF_EventExtra*>(extra);
            if (!event || (event->e_type != PF_Event_DO_CLICK && event->e_type != PF_Event_DRAW))
                return PF_Err_NONE;
            const ParamTable table = info.params();
            if (event->paramIndex <= 0 || size_t(event->paramIndex) >= table.size())
                return PF_Err_NONE;
            const ParamSpec& spec = table[size_t(event->paramIndex)];
            if (spec.type != PF_Param_ARBITRARY_DATA || !*spec.text) return PF_Err_NONE;
            if (event->e_type == PF_Event_DRAW)
                return DrawNameText(in_data, event->paramIndex, h.nameLabel, *event);
            return RunNameDialog(in_data, event->paramIndex, spec.text, event->changeFlags);
        }
        case PF_Cmd_ARBITRARY_CALLBACK:
            return h.arbitraryCallback ? h.arbitraryCallback(in_data, out_data, extra)
                                       : PF_Err_NONE;
        case PF_Cmd_DO_DIALOG:
            return h.doDialog ? h.doDialog(in_data, out_data) : PF_Err_NONE;
        case PF_Cmd_FRAME_SETUP:
            return h.frameSetup ? h.frameSetup(in_data, out_data, params) : PF_Err_NONE;
        case PF_Cmd_COMPLETELY_GENERAL: {
            if (!extra) return PF_Err_NONE;
            auto& message = *static_cast<ObjectMessage*>(extra);
            if (message.magic != kTavrMagic) return PF_Err_NONE;
            if (message.command == kObjGetInstanceId) {
                std::array<uint8_t, 16> id{};
                if (!ReadInstanceId(in_data, id)) {
                    SuiteCache(in_data)->diagnostic("No Sequence Data Detected");
                    return PF_Err_INTERNAL_STRUCT_DAMAGED;
                }
                std::memcpy(message.payload, id.data(), 16);
                return PF_Err_NONE;
            }
            if (PF_Err err; h.group && AnswerGroupMessage(in_data, message, *h.group, err))
                return err;
            return h.message ? h.message(in_data, out_data, message) : PF_Err_NONE;
        }
        case PF_Cmd_QUERY_DYNAMIC_FLAGS:
            if (h.queryDynamicFlags && HostSupportsRenderGuid(in_data)) {
                out_data->out_flags &= ~PF_OutFlag_NON_PARAM_VARY;
                out_data->out_flags2 &=
                    ~(PF_OutFlag2_I_USE_3D_CAMERA | PF_OutFlag2_I_USE_3D_LIGHTS);
            }
            if (h.queryDynamicFlags && h.dynamicFlags) return h.dynamicFlags(in_data, out_data);
            return PF_Err_NONE;
        case PF_Cmd_SMART_PRE_RENDER: {
            if (auto* pre = static_cast<PF_PreRenderExtra*>(extra)) {
                pre->result_rect = PF_LRect{};
                pre->max_result_rect = PF_LRect{};
            }
            return PF_Err_NONE;
        }
        case PF_Cmd_SMART_RENDER:
            return SmartRenderPassThrough(info, in_data);
        default:
            return PF_Err_NONE;
    }
}

}  // namespace

PF_Err SubEffectEntry(const EffectInfo& info, const SubEffectHandlers& handlers, PF_Cmd cmd,
                      PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                      PF_LayerDef* output, void* extra) {
    if (cmd < 0 || cmd >= PF_Cmd_NUM_CMDS) return PF_Err_NONE;
    try {
        return Dispatch(info, handlers, cmd, in_data, out_data, params, output, extra);
    } catch (const HostErrorCode& e) {
        return e.code;
    }
}

}  // namespace tv
