// The bodies of cameras and lights: their own animated properties, with defaults placed from the
// comp's size; both are always 3D.
#include <algorithm>

#include "standalone/DocumentRead.h"

namespace tv::standalone::docread {

void ReadCameraBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                    const Comp& comp) {
    r.checkKeys(body, kpath,
                {"oneNode", "zoom", "position", "pointOfInterest", "filmSize", "orthographic",
                 "depthOfField", "focusDistance", "aperture", "blurLevel"});
    CameraData& c = layer.camera;
    const double zoom = comp.width * 50.0 / 36.0;  // a 50 mm lens on 36 mm film
    c.zoom.value = {zoom, 0, 0, 0};
    c.position.value = {comp.width / 2.0, comp.height / 2.0, -zoom, 0};
    c.pointOfInterest.value = {comp.width / 2.0, comp.height / 2.0, 0, 0};
    c.focusDistance.value = {zoom, 0, 0, 0};
    c.aperture.value = {25.3, 0, 0, 0};
    c.blurLevel.value = {100, 0, 0, 0};
    if (body.contains("oneNode")) c.oneNode = r.boolean(body["oneNode"], kpath + ".oneNode");
    if (c.oneNode && body.contains("pointOfInterest"))
        r.fail(kpath + ".pointOfInterest",
               "a one-node camera has no point of interest; turn it with the transform's "
               "orientation and rotations");
    if (body.contains("zoom")) {
        ReadAnimated(r, body["zoom"], kpath + ".zoom", 1, 1, 1e6, c.zoom);
        // Unless given, the camera stands at its own zoom from the comp's plane and
        // focuses on it.
        c.position.value[2] = -c.zoom.at(0)[0];
        c.focusDistance = c.zoom;
    }
    if (body.contains("position"))
        ReadAnimated(r, body["position"], kpath + ".position", 3, -1e7, 1e7, c.position);
    if (body.contains("pointOfInterest"))
        ReadAnimated(r, body["pointOfInterest"], kpath + ".pointOfInterest", 3, -1e7, 1e7,
                     c.pointOfInterest);
    if (body.contains("filmSize"))
        c.filmSize = r.number(body["filmSize"], kpath + ".filmSize", 0.1, 10000);
    if (body.contains("orthographic"))
        c.orthographic = r.boolean(body["orthographic"], kpath + ".orthographic");
    if (body.contains("depthOfField"))
        c.depthOfField = r.boolean(body["depthOfField"], kpath + ".depthOfField");
    if (body.contains("focusDistance"))
        ReadAnimated(r, body["focusDistance"], kpath + ".focusDistance", 1, 0, 1e7,
                     c.focusDistance);
    if (body.contains("aperture"))
        ReadAnimated(r, body["aperture"], kpath + ".aperture", 1, 0, 1e5, c.aperture);
    if (body.contains("blurLevel"))
        ReadAnimated(r, body["blurLevel"], kpath + ".blurLevel", 1, 0, 1e5, c.blurLevel);
    layer.is3D = true;
}

void ReadLightBody(const Reader& r, const json& body, const std::string& kpath, Layer& layer,
                   const Comp& comp) {
    r.checkKeys(body, kpath,
                {"type", "position", "pointOfInterest", "intensity", "color", "coneAngle",
                 "coneFeather", "shadowDarkness", "shadowDiffusion"});
    LightData& li = layer.light;
    li.position.value = {comp.width / 2.0, comp.height / 2.0, -300, 0};
    li.pointOfInterest.value = {comp.width / 2.0, comp.height / 2.0, 0, 0};
    li.intensity.value = {100, 0, 0, 0};
    li.color.value = {1, 1, 1, 0};
    li.coneAngle.value = {90, 0, 0, 0};
    li.coneFeather.value = {50, 0, 0, 0};
    li.shadowDarkness.value = {100, 0, 0, 0};
    if (body.contains("type")) {
        const std::string t = r.text(body["type"], kpath + ".type");
        const std::vector<std::string> types = {"parallel", "spot", "point", "ambient"};
        const auto it = std::find(types.begin(), types.end(), t);
        if (it == types.end())
            r.fail(kpath + ".type", "\"" + t + "\" is not a light type; " + NearestNames(t, types));
        li.type = int32_t(it - types.begin());
    }
    const bool spot = li.type == kLightSpot;
    for (const char* key : {"coneAngle", "coneFeather"})
        if (body.contains(key) && !spot) r.fail(kpath + "." + key, "only spot lights have a cone");
    if (body.contains("pointOfInterest") && !spot && li.type != kLightParallel)
        r.fail(kpath + ".pointOfInterest",
               "only spot and parallel lights aim at a point of interest");
    if (body.contains("position"))
        ReadAnimated(r, body["position"], kpath + ".position", 3, -1e7, 1e7, li.position);
    if (body.contains("pointOfInterest"))
        ReadAnimated(r, body["pointOfInterest"], kpath + ".pointOfInterest", 3, -1e7, 1e7,
                     li.pointOfInterest);
    if (body.contains("intensity"))
        ReadAnimated(r, body["intensity"], kpath + ".intensity", 1, -1e6, 1e6, li.intensity);
    if (body.contains("color")) {
        if (body["color"].is_string()) {
            float c[3];
            r.color(body["color"], kpath + ".color", c);
            li.color.value = {c[0], c[1], c[2], 0};
        } else {
            ReadAnimated(r, body["color"], kpath + ".color", 3, 0, 1, li.color);
        }
    }
    if (body.contains("coneAngle"))
        ReadAnimated(r, body["coneAngle"], kpath + ".coneAngle", 1, 0, 180, li.coneAngle);
    if (body.contains("coneFeather"))
        ReadAnimated(r, body["coneFeather"], kpath + ".coneFeather", 1, 0, 100, li.coneFeather);
    if (body.contains("shadowDarkness"))
        ReadAnimated(r, body["shadowDarkness"], kpath + ".shadowDarkness", 1, 0, 100,
                     li.shadowDarkness);
    if (body.contains("shadowDiffusion"))
        ReadAnimated(r, body["shadowDiffusion"], kpath + ".shadowDiffusion", 1, 0, 1e6,
                     li.shadowDiffusion);
    layer.is3D = true;
}

}  // namespace tv::standalone::docread
