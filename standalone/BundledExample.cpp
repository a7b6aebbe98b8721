#include "standalone/BundledExample.h"

namespace tv::standalone {

Comp& BuildBundledExample(EmbeddedHost& host, int32_t width, int32_t height) {
    Comp& comp = host.addComp(kBundledCompName, width, height, 30, 1, 2.0);
    const double s = width / 1280.0;  // sizes follow the frame, so small renders look the same
    comp.background[0] = 5 / 255.0f;  // "#05050d", as examples/network.json says
    comp.background[1] = 5 / 255.0f;
    comp.background[2] = 13 / 255.0f;
    Layer& layer = host.addLayer(comp, "Network", LayerKind::Solid);
    host.applyEffectInstance(layer, "KDL TAVRUS TWO");
    EffectInstance& sphere = host.applyEffectInstance(layer, "KDL TAVRSRC Primitives");
    sphere.params[1].value.u.popup = 2;                               // "Primitive Type": Sphere
    sphere.params[11].value.u.floatValue = 260 * s;                   // "Sphere Radius"
    sphere.params[12].value.u.slider = 48;                            // "Sphere Slices"
    sphere.params[13].value.u.slider = 32;                            // "Sphere Stacks"
    sphere.params[21].value.u.fixed = DoubleToFixed(25);              // "Y Rotate"
    sphere.params[20].value.u.fixed = DoubleToFixed(20);              // "X Rotate"
    sphere.params[24].value.u.color = PF_Pixel8{255, 120, 200, 255};  // "Color"
    sphere.params[25].value.u.fixed = DoubleToFixed(90);              // "Opacity"
    EffectInstance& points = host.applyEffectInstance(layer, "KDL TAVRREN Points");
    points.params[1].value.u.floatValue = 2 * s;  // "Points Size"
    EffectInstance& lines = host.applyEffectInstance(layer, "KDL TAVRREN Lines");
    lines.params[2].value.u.floatValue = 70 * s;   // "Maximum Distance"
    lines.params[8].value.u.floatValue = 0.6 * s;  // "Line Thickness"
    host.runIdleTasks();
    return comp;
}

}  // namespace tv::standalone
