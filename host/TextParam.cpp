#include "host/TextParam.h"

#include <algorithm>
#include <cstring>

#include "host/SuiteCache.h"

namespace tv {

std::string ReadTextParam(HostServices& host, PF_Handle handle) {
    if (!handle) return {};
    const uint64_t size = host.handleSize(handle);
    const auto* bytes = static_cast<const uint8_t*>(host.lockHandle(handle));
    std::string text;
    if (bytes && size >= 4) {
        uint32_t n;
        std::memcpy(&n, bytes, 4);
        text.assign(reinterpret_cast<const char*>(bytes + 4), std::min<uint64_t>(n, size - 4));
    }
    if (bytes) host.unlockHandle(handle);
    return text;
}

PF_Err WriteTextParam(HostServices& host, PF_ProgPtr effect, int32_t index,
                      const std::string& text) {
    const auto length = static_cast<uint32_t>(text.size());
    const PF_Handle handle = host.newHandle(4 + text.size());
    auto* target = handle ? static_cast<uint8_t*>(host.lockHandle(handle)) : nullptr;
    if (!target) return PF_Err_OUT_OF_MEMORY;
    std::memcpy(target, &length, 4);
    std::memcpy(target + 4, text.data(), text.size());
    host.unlockHandle(handle);
    PF_ParamDef value;
    value.param_type = PF_Param_ARBITRARY_DATA;
    value.u.arbData = handle;
    return host.setParamValue(effect, index, value);
}

std::string AllLightsLabel(PF_InData*, const std::string& text) {
    return text.empty() ? "<All Lights>" : text;
}

PF_Err DrawNameText(PF_InData* in, int32_t index, NameLabelFunc label, PF_EventExtra& event) {
    SuiteCache suites(in);
    HostServices& host = suites.host();
    PF_ParamDef def{};
    if (const PF_Err err = host.checkoutParam(in->effect_ref, index, in->current_time,
                                              in->time_step, in->time_scale, &def))
        return err;
    const std::string text = ReadTextParam(host, def.u.arbData);
    host.checkinParam(in->effect_ref, &def);
    const std::string shown = label ? label(in, text) : text.empty() ? "None" : text;
    size_t n = std::min(shown.size(), sizeof event.drawnText - 1);
    // Never half a character: back off continuation bytes at the cut.
    while (n > 0 && n < shown.size() && (static_cast<unsigned char>(shown[n]) & 0xC0) == 0x80) --n;
    std::memcpy(event.drawnText, shown.data(), n);
    event.drawnText[n] = '\0';
    return PF_Err_NONE;
}

}  // namespace tv
