#include "params/ArbHandler.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "host/SuiteCache.h"
#include "params/DistanceCurve.h"

namespace tv {

PF_Err Arb_Generic_Handler::create(PF_Handle* out, const void* defaultData, uint64_t defaultSize) {
    SuiteCache suites(in_data_);
    const PF_Handle h = suites->newHandle(declaredSize_);
    auto* bytes = h ? static_cast<uint8_t*>(suites->lockHandle(h)) : nullptr;
    if (!bytes) {
        if (h) suites->disposeHandle(h);
        return PF_Err_OUT_OF_MEMORY;
    }
    std::memset(bytes, 0, declaredSize_);
    if (storesSize_ && declaredSize_ >= 4) {
        const uint32_t length = uint32_t(defaultData ? defaultSize : 0);
        std::memcpy(bytes, &length, 4);
    }
    if (defaultData && headerSize() + defaultSize <= declaredSize_)
        std::memcpy(bytes + headerSize(), defaultData, defaultSize);
    suites->unlockHandle(h);
    *out = h;
    return PF_Err_NONE;
}

PF_Err Arb_Generic_Handler::handle(PF_ArbParamsExtra& extra) {
    SuiteCache suites(in_data_);
    HostServices& host = suites.host();
    auto* a = static_cast<PF_ArbCallbackArgs*>(extra.u);
    if (!a) return PF_Err_NONE;
    switch (extra.which_function) {
        case PF_Arbitrary_NEW_FUNC:
            host.diagnostic("New Function Arb: " + std::to_string(extra.id));
            return a->dstPH ? create(a->dstPH, nullptr, 0) : PF_Err_BAD_CALLBACK_PARAM;
        case PF_Arbitrary_DISPOSE_FUNC:
            if (a->arbH) host.disposeHandle(a->arbH);
            return PF_Err_NONE;
        case PF_Arbitrary_COPY_FUNC: {
            if (!a->dstPH) return PF_Err_OUT_OF_MEMORY;
            if (*a->dstPH) host.disposeHandle(*a->dstPH);
            const uint64_t size = host.handleSize(a->srcH);
            const PF_Handle copy = host.newHandle(size);
            void* to = copy ? host.lockHandle(copy) : nullptr;
            const void* from = to && a->srcH ? host.lockHandle(a->srcH) : nullptr;
            if (!to || !from) {
                if (copy) host.disposeHandle(copy);
                *a->dstPH = 0;
                return PF_Err_OUT_OF_MEMORY;
            }
            std::memcpy(to, from, size);
            host.unlockHandle(a->srcH);
            host.unlockHandle(copy);
            *a->dstPH = copy;
            return PF_Err_NONE;
        }
        case PF_Arbitrary_FLAT_SIZE_FUNC:
            if (a->flatSizeP) *a->flatSizeP = host.handleSize(a->arbH);
            return PF_Err_NONE;
        case PF_Arbitrary_FLATTEN_FUNC: {
            if (!a->flatData || !a->arbH) return PF_Err_BAD_CALLBACK_PARAM;
            const uint64_t size = std::min(host.handleSize(a->arbH), a->bufSize);
            const void* from = host.lockHandle(a->arbH);
            if (!from) return PF_Err_BAD_CALLBACK_PARAM;
            std::memcpy(a->flatData, from, size);
            host.unlockHandle(a->arbH);
            return PF_Err_NONE;
        }
        case PF_Arbitrary_UNFLATTEN_FUNC: {
            if (!a->flatData || !a->dstPH) return PF_Err_INTERNAL_STRUCT_DAMAGED;
            const PF_Handle h = host.newHandle(a->bufSize);
            void* to = h ? host.lockHandle(h) : nullptr;
            if (!to) {
                if (h) host.disposeHandle(h);
                return PF_Err_OUT_OF_MEMORY;
            }
            std::memcpy(to, a->flatData, a->bufSize);
            host.unlockHandle(h);
            *a->dstPH = h;
            return PF_Err_NONE;
        }
        default:
            return PF_Err_NONE;
    }
}

Arb_Curve_Handler::Arb_Curve_Handler(PF_InData* in_data)
    : Arb_Generic_Handler(in_data, sizeof(DistanceCurve), 0, false) {}

namespace {
bool IsOurTag(const PF_ArbParamsExtra& extra) {
    return reinterpret_cast<uintptr_t>(extra.refconPV) == kCurveArbRefcon;
}
}  // namespace

PF_Err CurveArbCallback(PF_InData* in_data, PF_ArbParamsExtra& extra) {
    if (!IsOurTag(extra)) return PF_Err_NONE;
    return Arb_Curve_Handler(in_data).handle(extra);
}

PF_Err CurveArbitraryCommand(PF_InData* in_data, PF_OutData*, void* extra) {
    return extra ? CurveArbCallback(in_data, *static_cast<PF_ArbParamsExtra*>(extra)) : PF_Err_NONE;
}

PF_Err GradientArbCallback(PF_InData* in_data, PF_ArbParamsExtra& extra, uint64_t declaredSize) {
    if (!IsOurTag(extra)) return PF_Err_NONE;
    return Arb_Gradient_Handler(in_data, declaredSize).handle(extra);
}

}  // namespace tv
