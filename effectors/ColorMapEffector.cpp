// "Tavrin Color Map": samples a layer at each element's normalised coordinate and uses the pixel
// as a colour, or its luminance as a displacement, size or rotation.
#include <algorithm>
#include <cstring>
#include <vector>

#include "effectors/EffectorFrame.h"
#include "host/EffectTemplate.h"
#include "host/ParamBuilders.h"
#include "host/ParamVisibility.h"
#include "host/ParamHash.h"
#include "host/ParamValues.h"
#include "host/SuiteCache.h"
#include "effectors/EffectorEntries.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t {
    kTarget = 1,
    kAmplitude = 2,
    kApplyVertices = 3,
    kApplyFaces = 4,
    kAxis = 5,
    kColorMap = 6,
    kFlipX = 7,
    kFlipY = 8,
    kLuminanceShift = 9,
    kPlane = 10,
    kGroup = 11,
};

enum Apply : int32_t { kApplyPosition = 1, kApplySizeOrRotation = 2, kApplyColor = 3 };
enum Plane : int32_t { kPlaneXY = 1, kPlaneXZ = 2, kPlaneYZ = 3 };

// Stays on the panel greyed out; the shift used is the constant of the record.
constexpr ParamSpec LuminanceShift() {
    ParamSpec s = Fixed(9, 6, "Luminance Shift", 50, 0, 100, 0, 100, 1);
    s.uiFlags = 0x8;
    return s;
}

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Popup(1, 11, "Effector effects", "Vertices|Faces", 1, kParamFlagsSup),
        "Whether the map acts on vertices or on faces."),
    Doc(Float(2, 7, "Map Amplitude", 100, -1000000, 1000000, 0, 100, 1),
        "Strength of the shift of position, scale or rotation the map's brightness gives."),
    Doc(Popup(3, 5, "Apply Map To", "Position|Scale|Color", 3, kParamFlagsSup),
        "What the map changes on vertices: position, scale or colour."),
    Doc(Popup(4, 12, "Apply Map To", "Position|Rotation|Color", 3, kParamFlagsSup),
        "What the map changes on faces: position, rotation or colour."),
    Doc(Popup(5, 8, "Apply To Axis", "X Axis|Y Axis|Z Axis|XY Axis|XZ Axis|YZ Axis|XYZ Axis", 2),
        "Axes along which the map moves positions."),
    Doc(Row(6, 0, PF_Param_LAYER, "Color Map"),
        "The layer sampled at each vertex's (or face's) texture coordinates."),
    Doc(Row(7, 2, PF_Param_CHECKBOX, "Flip X"), "Mirrors the map left to right."),
    Doc(Row(8, 3, PF_Param_CHECKBOX, "Flip Y"), "Mirrors the map top to bottom."),
    Doc(LuminanceShift(), ParamUnit::Percent,
        "Brightness that leaves things unchanged; shown only, 50% is always used."),
    Doc(Popup(10, 10, "Map Over Plane", "XY|XZ|YZ", 2),
        "Which two of the texture coordinates address the map's width and height."),
    Doc(Popup(11, 4, "Effect Only Group", kGroupChoicesAll, 12, kParamFlagsSup),
        "Acts only on the vertices of this group; All Groups acts on every vertex."),
};

struct MapRecord {
    bool flipX = false, flipY = false;
    int32_t group = 12;
    float amplitude = 100;
    int32_t target = kTargetVertices, apply = kApplyColor;
    float luminanceShift = 0.5f;  // fixed: the parameter's value is not read
    int32_t axis = 2, plane = kPlaneXZ;
};

MapRecord Read(PF_InData* in) {
    MapRecord r;
    r.target = CheckoutParam(in, kTarget).u.popup;
    r.apply = CheckoutParam(in, r.target == kTargetFaces ? kApplyFaces : kApplyVertices).u.popup;
    r.amplitude = float(CheckoutParam(in, kAmplitude).u.floatValue);
    r.axis = CheckoutParam(in, kAxis).u.popup;
    r.flipX = CheckedParam(in, kFlipX);
    r.flipY = CheckedParam(in, kFlipY);
    r.plane = CheckoutParam(in, kPlane).u.popup;
    r.group = CheckoutParam(in, kGroup).u.popup;
    return r;
}

struct MapPixel {
    float a = 0, r = 0, g = 0, b = 0;
};

// The pixel under (s, t): no interpolation, and the first row and column are never read. A
// pixel outside the world (a map under 3 pixels wide or high) reads as zero, as does a format
// this reader does not know.
MapPixel Sample(const PF_EffectWorld& map, float s, float t) {
    const int32_t col = int32_t(float(map.width - 2) * s + 1.0f);
    const int32_t row = int32_t(float(map.height - 2) * t + 1.0f);
    MapPixel p;
    if (col < 0 || row < 0 || col >= map.width || row >= map.height) return p;
    const uint8_t* line = map.data + size_t(row) * size_t(map.rowbytes);
    switch (map.format) {
        case PF_PixelFormat_ARGB32: {
            const PF_Pixel8& q = reinterpret_cast<const PF_Pixel8*>(line)[col];
            p = {q.alpha / 255.0f, q.red / 255.0f, q.green / 255.0f, q.blue / 255.0f};
            break;
        }
        case PF_PixelFormat_ARGB64: {
            PF_Pixel16 q;
            std::memcpy(&q, line + size_t(col) * sizeof q, sizeof q);
            constexpr float k = 3.0517578125e-5f;  // 1 / 32768, the 16-bit white
            p = {q.alpha * k, q.red * k, q.green * k, q.blue * k};
            break;
        }
        case PF_PixelFormat_ARGB128: {
            PF_PixelFloat q;
            std::memcpy(&q, line + size_t(col) * sizeof q, sizeof q);
            p = {q.alpha, q.red, q.green, q.blue};
            break;
        }
        default:
            break;
    }
    return p;
}

// For each face, the first vertex of the source that made it (its corners are relative to it).
std::vector<int64_t> FaceVertexBases(const GeometryStore& s) {
    std::vector<int64_t> bases(s.faces.size(), -1);
    for (const ObjectRange& range : s.ranges)
        for (uint32_t f = range.faceStart; f < range.faceStart + range.faceCount; ++f)
            if (f < bases.size()) bases[f] = range.vertexStart;
    return bases;
}

// The element's coordinate: a vertex's uvw, or the mean of a face's three corners. False when a
// corner lies outside the store.
bool Coordinate(const GeometryStore& s, const std::vector<int64_t>& bases, bool faces, uint32_t i,
                Vec3f& uvw) {
    if (!faces) {
        if (i >= s.uvw.size()) return false;
        uvw = s.uvw[i];
        return true;
    }
    if (i >= bases.size() || bases[i] < 0) return false;
    const Vec3i& f = s.faces[i];
    const int64_t corner[3] = {f.x + bases[i], f.y + bases[i], f.z + bases[i]};
    for (int64_t c : corner)
        if (c < 0 || size_t(c) >= s.uvw.size()) return false;
    const Vec3f& a = s.uvw[size_t(corner[0])];
    const Vec3f& b = s.uvw[size_t(corner[1])];
    const Vec3f& c = s.uvw[size_t(corner[2])];
    const float third = 0.33333334f;
    uvw = Vec3f{(a.x + b.x + c.x) * third, (a.y + b.y + c.y) * third, (a.z + b.z + c.z) * third};
    return true;
}

void Apply(const MapRecord& r, const PF_EffectWorld& map, GeometryStore& s,
           const std::vector<int64_t>& bases, uint32_t i) {
    const bool faces = r.target == kTargetFaces;
    Vec3f uvw;
    if (!Coordinate(s, bases, faces, i, uvw)) return;
    float u = r.plane == kPlaneYZ ? uvw.y : uvw.x;
    float v = r.plane == kPlaneXY ? uvw.y : uvw.z;
    u = std::clamp(u, 0.0f, 1.0f);
    v = std::clamp(v, 0.0f, 1.0f);
    if (r.flipX) u = 1.0f - u;
    if (r.flipY) v = 1.0f - v;
    const MapPixel p = Sample(map, u, v);
    const float lum = (p.g + p.r + p.b) * p.a / 3.0f - r.luminanceShift;
    const AxisMask mask = AxisSelection(r.axis);
    switch (r.apply) {
        case kApplyPosition: {
            std::vector<Vec3f>& locations = faces ? s.faceCentroids : s.positions;
            if (i >= locations.size()) break;
            if (mask.x) locations[i].x += lum * r.amplitude;
            if (mask.y) locations[i].y += lum * r.amplitude;
            if (mask.z) locations[i].z += lum * r.amplitude;
            break;
        }
        case kApplySizeOrRotation:
            if (faces) {
                if (i >= s.faceRotations.size()) break;
                Vec3f& rot = s.faceRotations[i];
                if (mask.x) rot.x += lum * r.amplitude;
                if (mask.y) rot.y += lum * r.amplitude;
                if (mask.z) rot.z += lum * r.amplitude;
            } else if (i < s.scales.size()) {
                s.scales[i] = std::max(0.0f, s.scales[i] + lum * r.amplitude / 100.0f);
            }
            break;
        default: {
            auto paint = [&p](Color4f& c) {
                c.r = p.r;
                c.g = p.g;
                c.b = p.b;
                c.a *= p.a;
            };
            ForEachColorOf(s, faces, i, paint);
            break;
        }
    }
}

PF_Err Contribute(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    const MapRecord r = Read(in);
    SuiteCache suites(in);
    // Once per message: the map's pixels at the current time, or none when no layer is chosen.
    PF_EffectWorld* map = nullptr;
    PF_Err err = suites->checkoutLayerPixels(in->effect_ref, kColorMap, &map);
    if (!err && map && map->data && m.geometry) {
        GeometryStore& s = *m.geometry;
        const bool faces = r.target == kTargetFaces;
        const IndexRange range = EffectorRange(s, r.group, r.target);
        const std::vector<int64_t> bases = faces ? FaceVertexBases(s) : std::vector<int64_t>{};
        const uint32_t end = range.start + range.count;
        err =
            ForEachElement(in, range.start, end, [&](uint32_t i) { Apply(r, *map, s, bases, i); });
    }
    // Checked in whatever happened; the first failure is the one returned.
    const PF_Err checkin = suites->checkinLayerPixels(in->effect_ref, kColorMap);
    return err ? err : checkin;
}

uint64_t Hash(PF_InData* in, const MapRecord& r) {
    ParamHasher h(57);
    h.add(int32_t(r.flipX)).add(int32_t(r.flipY)).add(r.group).add(r.amplitude);
    h.add(r.target).add(r.apply).add(r.luminanceShift).add(r.axis).add(r.plane);
    // What the map layer shows at this time: its pixels may change with no parameter here.
    const A_Time now{in->current_time, in->time_scale};
    h.add(SuiteCache(in)->layerParamStateToken(in->effect_ref, kColorMap, now, in->time_step));
    return h.value();
}

uint64_t HashOf(PF_InData* in, ObjectMessage&) {
    return Hash(in, Read(in));
}

const GroupHooks kGroupHooks{
    .groupPopup = &kTable[kGroup], .hash = &HashOf, .effector = true, .targetParam = kTarget};

PF_Err Visibility(PF_InData* in) {
    const MapRecord r = Read(in);
    const bool faces = r.target == kTargetFaces;
    const bool rotation = faces && r.apply == kApplySizeOrRotation;
    const ParamRule rules[] = {
        {kApplyVertices, faces},
        {kApplyFaces, !faces},
        {kAxis, !(r.apply == kApplyPosition || rotation)},
    };
    return ShowParameters(in, rules);
}

const SubEffectHandlers kHandlers{
    .message = &Contribute,
    .group = &kGroupHooks,
    .visibility = &Visibility,
};

}  // namespace

ParamTable ColorMapEffectorParams() {
    return kTable;
}

PF_Err ColorMapEffectorEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                      PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kColorMapEffectorInfo, kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

// The effect's row in the module's effect table.
const EffectInfo kColorMapEffectorInfo{
    9,
    "Tavrin Color Map",
    "KDL TAVREFF Color Map",
    "ColorMapEffectorEntryPointFunc",
    &ColorMapEffectorEntryPointFunc,
    0x200000,
    0x1401,
    EffectRole::Effector,
    "Color Map Effector, Applies Color Map to Position/Scale/Color of Particles.",
    true,
    &ColorMapEffectorParams,
    "An effector that samples a layer's image at each vertex's texture coordinates and uses the "
    "pixel as the vertex's colour, or its brightness to shift position, scale or rotation.",
    "Choose the image layer as Color Map and what it applies to. For colour the map's pixels "
    "colour the vertices; for position, scale or rotation, Map Amplitude sets how far bright and "
    "dark pixels shift them."};

}  // namespace tv
