#include "standalone/BundledExample.h"

namespace tv::standalone {

Comp& BuildBundledExample(EmbeddedHost& host) {
    Comp& comp = host.addComp(kBundledCompName, 1280, 720, 30, 1, 2.0);
    comp.background[0] = 0.02f;
    comp.background[1] = 0.02f;
    comp.background[2] = 0.05f;
    Layer& layer = host.addLayer(comp, "Network", LayerKind::Solid);
    host.applyEffectInstance(layer, "KDL TAVRUS TWO");
    host.applyEffectInstance(layer, "KDL TAVRSRC Primitives");
    host.applyEffectInstance(layer, "KDL TAVRREN Points");
    host.applyEffectInstance(layer, "KDL TAVRREN Lines");
    host.runIdleTasks();
    return comp;
}

}  // namespace tv::standalone
