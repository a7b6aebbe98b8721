#include "params/CurveParam.h"

#include <cstring>

#include "host/EffectTemplate.h"
#include "host/SuiteCache.h"

namespace tv {

PF_Err AddCurveParam(PF_InData* in_data, const ParamSpec& spec) {
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    const PF_Handle h = host.newHandle(sizeof(DistanceCurve));
    void* bytes = h ? host.lockHandle(h) : nullptr;
    if (!bytes) {
        if (h) host.disposeHandle(h);
        return PF_Err_OUT_OF_MEMORY;
    }
    std::memset(bytes, 0, sizeof(DistanceCurve));
    if (spec.fillCurve) {
        DistanceCurve curve;
        std::memcpy(&curve, bytes, sizeof curve);
        spec.fillCurve(curve);
        std::memcpy(bytes, &curve, sizeof curve);
    }
    host.unlockHandle(h);
    ParamSpec added = spec;
    added.arbDefault = h;
    PF_Err err = PF_Err_NONE;
    try {
        err = host.addParam(in_data->effect_ref, added);
    } catch (const HostErrorCode&) {
        host.disposeHandle(h);
        throw;
    }
    if (err) host.disposeHandle(h);
    return err;
}

DistanceCurve ReadCurveParam(PF_InData* in_data, int32_t index, const DistanceCurve& fallback) {
    const PF_Handle h = CheckoutParam(in_data, index).u.arbData;
    if (!h) return fallback;
    SuiteCache suites(in_data);
    DistanceCurve c = fallback;
    if (suites->handleSize(h) >= sizeof(DistanceCurve))
        if (const void* bytes = suites->lockHandle(h)) {
            std::memcpy(&c, bytes, sizeof c);
            suites->unlockHandle(h);
        }
    return c;
}

}  // namespace tv
