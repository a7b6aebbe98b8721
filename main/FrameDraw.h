// The main effect's draw of one gathered message, shared by the frame driver and the benchmark
// that times its stages: the main effect's parameters checked out for a command, and the message
// drawn with the frame's camera, lights and depth-of-field blurs into the frame's engines.
#pragma once

#include "engines/EngineFactory.h"
#include "host/HostServices.h"
#include "host/ObjectMessage.h"
#include "main/MainParams.h"

namespace tv {

// The parameters of one command, slot 26 (the depth map layer) left out.
struct MainParamValues {
    PF_ParamDef p[kMainParamCount];
    bool checkedOut[kMainParamCount] = {};
};

// Stops at the first failure; the slots after it stay as they were.
PF_Err CheckoutMainParams(PF_InData* in, HostServices& host, MainParamValues& v);
// Checks in every slot that was checked out; the first error is kept and the rest still run.
PF_Err CheckinMainParams(PF_InData* in, HostServices& host, MainParamValues& v);

// Draws one gathered message with the frame's camera into the engines, and frees its render
// items.
PF_Err DrawMessage(PF_InData* in, HostServices& host, ObjectMessage& message,
                   const MainParamValues& v, const FrameEngines& engines);

}  // namespace tv
