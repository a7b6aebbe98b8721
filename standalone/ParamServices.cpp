// The embedded host's parameter services: definitions added at PARAMS_SETUP, values checked out
// (keyframes evaluated at the asked time) and written back, hidden flags, labels and names.
#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

PF_Err EmbeddedHost::addParam(PF_ProgPtr ref, const ParamSpec& spec) {
    // During PARAMS_SETUP the effect_ref names the installed effect.
    InstalledEffect* effect = state_.installedEffect(static_cast<AEGP_InstalledEffectKey>(ref));
    if (!effect) return PF_Err_BAD_CALLBACK_PARAM;
    ParamSpec added = spec;
    added.index = static_cast<int32_t>(effect->params.size());
    effect->params.push_back(added);
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::checkoutParam(PF_ProgPtr ref, int32_t index, int32_t time, int32_t,
                                   uint32_t scale, PF_ParamDef* out) {
    const EffectInstance* instance = instanceByUid(ref);
    if (!instance || !out) return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 0 || size_t(index) >= instance->params.size()) return PF_Err_INVALID_INDEX;
    std::lock_guard lock(paramsMutex_);
    const ParamState& state = instance->params[size_t(index)];
    *out = state.value;
    if (!state.keys.empty() && scale) {
        const double seconds = double(time) / double(scale);
        *out = NumbersToParam(state.value.param_type, Evaluate(state.keys, seconds, 4));
    }
    // A point is given in the layer's pixels at the resolution drawn, as a host's preview
    // resolution gives it; the effects scale it back by the downsample.
    if (out->param_type == PF_Param_POINT && downsample_.num != int32_t(downsample_.den))
        for (int32_t& v : out->u.point)
            v = DoubleToFixed(FixedToDouble(v) * downsample_.num / downsample_.den);
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::checkinParam(PF_ProgPtr, PF_ParamDef*) {
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::setParamValue(PF_ProgPtr ref, int32_t index, const PF_ParamDef& value) {
    EffectInstance* instance = instanceByUid(ref);
    if (!instance) return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 0 || size_t(index) >= instance->params.size()) return PF_Err_INVALID_INDEX;
    std::lock_guard lock(paramsMutex_);
    ParamState& state = instance->params[size_t(index)];
    const PF_ParamType type = state.value.param_type;
    state.value = value;
    state.value.param_type = type;
    state.changeFlags |= 1;  // PF_ChangeFlag_CHANGED_VALUE
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::setParamHidden(PF_ProgPtr ref, int32_t index, bool hidden) {
    EffectInstance* instance = instanceByUid(ref);
    if (!instance) return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 0 || size_t(index) >= instance->params.size()) return PF_Err_INVALID_INDEX;
    std::lock_guard lock(paramsMutex_);
    instance->params[size_t(index)].hidden = hidden;
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::setOptionsButtonName(PF_ProgPtr ref, const std::string& name) {
    // Called at PARAMS_SETUP, whose effect_ref names the installed effect: the label is the
    // effect kind's, as its parameters are.
    InstalledEffect* effect = state_.installedEffect(static_cast<AEGP_InstalledEffectKey>(ref));
    if (!effect) return PF_Err_BAD_CALLBACK_PARAM;
    effect->optionsButtonName = name;
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::setParamLabel(PF_ProgPtr ref, int32_t index, const std::string& label) {
    EffectInstance* instance = instanceByUid(ref);
    if (!instance) return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 0 || size_t(index) >= instance->params.size()) return PF_Err_INVALID_INDEX;
    std::lock_guard lock(paramsMutex_);
    labels_[{ref, index}] = label;
    instance->params[size_t(index)].changeFlags |= 1;  // PF_ChangeFlag_CHANGED_VALUE
    return PF_Err_NONE;
}

std::string EmbeddedHost::paramLabel(uint64_t instanceUid, int32_t index) const {
    {
        std::lock_guard lock(paramsMutex_);
        const auto it = labels_.find({instanceUid, index});
        if (it != labels_.end()) return it->second;
    }
    const EffectInstance* instance = instanceByUid(instanceUid);
    const InstalledEffect* effect = instance ? installedEffect(instance->key) : nullptr;
    if (!effect || index < 0 || size_t(index) >= effect->params.size()) return {};
    return effect->params[size_t(index)].text;
}

PF_Err EmbeddedHost::setParamName(PF_ProgPtr ref, int32_t index, const std::string& name) {
    EffectInstance* instance = instanceByUid(ref);
    if (!instance) return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 0 || size_t(index) >= instance->params.size()) return PF_Err_INVALID_INDEX;
    std::lock_guard lock(paramsMutex_);
    names_[{ref, index}] = name;
    return PF_Err_NONE;
}

std::string EmbeddedHost::paramName(uint64_t instanceUid, int32_t index) const {
    {
        std::lock_guard lock(paramsMutex_);
        const auto it = names_.find({instanceUid, index});
        if (it != names_.end()) return it->second;
    }
    const EffectInstance* instance = instanceByUid(instanceUid);
    const InstalledEffect* effect = instance ? installedEffect(instance->key) : nullptr;
    if (!effect || index < 0 || size_t(index) >= effect->params.size()) return {};
    return effect->params[size_t(index)].name;
}

}  // namespace tv::standalone
