// The host's arbitrary-data selectors for the curve and gradient parameters.
#pragma once

#include <cstdint>
#include <vector>

#include "host/HostTypes.h"

namespace tv {

inline constexpr uint32_t kCurveArbRefcon = 'rGvT';

class Arb_Generic_Handler {
  public:
    Arb_Generic_Handler(PF_InData* in_data, uint64_t declaredSize, uint32_t headerBytes,
                        bool storesSize)
        : in_data_(in_data),
          declaredSize_(declaredSize),
          headerBytes_(headerBytes),
          storesSize_(storesSize) {}
    virtual ~Arb_Generic_Handler() = default;

    // Allocates the declared size, zeroed; the length word when the kind stores it; the default
    // data at headerSize().
    virtual PF_Err create(PF_Handle* out, const void* defaultData, uint64_t defaultSize);
    virtual uint32_t headerSize() const { return headerBytes_; }

    // Runs one selector; unknown selectors succeed and do nothing.
    PF_Err handle(PF_ArbParamsExtra& extra);

  protected:
    PF_InData* in_data_;
    uint64_t declaredSize_;
    uint32_t headerBytes_;
    bool storesSize_;
};

// Gradients: a 4-byte length word, then the stops.
class Arb_Gradient_Handler : public Arb_Generic_Handler {
  public:
    Arb_Gradient_Handler(PF_InData* in_data, uint64_t declaredSize)
        : Arb_Generic_Handler(in_data, declaredSize, 4, true) {}
};

// Curves: 800 bytes of samples, no header.
class Arb_Curve_Handler : public Arb_Generic_Handler {
  public:
    explicit Arb_Curve_Handler(PF_InData* in_data);
};

// The arbitrary callbacks of an effect's curve or gradient parameters: they act only when the
// extra's refcon is the parameters' tag, and succeed doing nothing otherwise.
PF_Err CurveArbCallback(PF_InData* in_data, PF_ArbParamsExtra& extra);
PF_Err GradientArbCallback(PF_InData* in_data, PF_ArbParamsExtra& extra, uint64_t declaredSize);

// The ARBITRARY_CALLBACK handler of an effect whose only arbitrary parameters are curves: hands
// the command's extra, when there is one, to CurveArbCallback.
PF_Err CurveArbitraryCommand(PF_InData* in_data, PF_OutData* out_data, void* extra);

}  // namespace tv
