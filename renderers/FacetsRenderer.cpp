// "Tavrin Facets Renderer": draws the faces the sources made, each turned and placed by what the
// face effectors did to its rotation and centroid. It makes no connectivity of its own.
#include <algorithm>
#include <cmath>

#include "host/EffectTemplate.h"
#include "host/ParamBuilders.h"
#include "host/ParamVisibility.h"
#include "host/ParamHash.h"
#include "host/ParamValues.h"
#include "host/RenderPayloads.h"
#include "host/SuiteCache.h"
#include "params/ArbHandler.h"
#include "params/CurveParam.h"
#include "renderers/FacetsRenderer.h"
#include "renderers/RendererEntries.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t {
    kColorsFromVertices = 1,
    kColorMode = 2,
    kFacetsColor = 3,
    kOpacityFromVertices = 4,
    kFacetsOpacity = 5,
    kLimitByDistance = 6,
    kMaxDistance = 7,
    kOpacityCurve = 8,
    kEffectGroup = 9,
};

void FillOpacityDefault(DistanceCurve& c) {
    c = DistanceCurve::DefaultOpacity();
}

constexpr ParamSpec CollapsedCurve(int32_t index, int32_t disk, const char* name) {
    ParamSpec s = CurveParam(index, disk, name, &FillOpacityDefault);
    s.flags |= 0x20;  // starts collapsed
    return s;
}

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Row(1, 2, PF_Param_CHECKBOX, "Get Colors From Vertices", 1, kParamFlagsSup),
        "Facets take their corners' colours; off, they take Facets Color."),
    Doc(Popup(2, 3, "Color Mode",
              "Interpolate Between Vertices|Average of Vertices|Color of First Vertex", 1),
        "How a facet takes its corners' colours: blended across it, their average, or the first "
        "corner's."),
    Doc(Color(3, 4, "Facets Color", 1, 1, 1),
        "Colour of the facets when not taken from the vertices."),
    Doc(Row(4, 5, PF_Param_CHECKBOX, "Get Opacity From Vertices", 1, kParamFlagsSup),
        "Facets take their corners' opacity; off, they take Facets Opacity."),
    Doc(Fixed(5, 6, "Facets Opacity", 50, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Opacity of the facets when not taken from the vertices."),
    Doc(Row(6, 9, PF_Param_CHECKBOX, "Limit Opacity by Distance", 1, 0xc6),
        "Fades facets by how far apart their corners are, through the curve below; large facets "
        "vanish."),
    Doc(Float(7, 1, "Maximum Distance", 100, 0, 1000000, 0, 100, 2), ParamUnit::WorldUnits,
        "With the limit on, facets whose corners lie farther apart than this are not drawn."),
    Doc(CollapsedCurve(8, 7, "Opacity over Distance"),
        "Opacity of a facet by its corners' distance, from 0 to Maximum Distance."),
    Doc(Popup(9, 8, "Effect Only Group", kGroupChoicesAll, 12, kParamFlagsSup),
        "Draws only the vertices of this group; All Groups draws every vertex."),
};

FacetsSettings Read(PF_InData* in) {
    FacetsSettings s;
    s.getColors = CheckedParam(in, kColorsFromVertices);
    s.colorMode = CheckoutParam(in, kColorMode).u.popup;
    const PF_Pixel8 c = CheckoutParam(in, kFacetsColor).u.color;
    s.color[0] = c.red / 255.0f;
    s.color[1] = c.green / 255.0f;
    s.color[2] = c.blue / 255.0f;
    s.color[3] = float(PercentParam(in, kFacetsOpacity));
    s.getOpacity = CheckedParam(in, kOpacityFromVertices);
    s.limitByDistance = CheckedParam(in, kLimitByDistance);
    s.maxDistance = CheckoutParam(in, kMaxDistance).u.floatValue;
    s.opacityCurve = ReadCurveParam(in, kOpacityCurve, DistanceCurve::DefaultOpacity());
    s.group = CheckoutParam(in, kEffectGroup).u.popup;
    return s;
}

uint64_t Hash(const FacetsSettings& s) {
    ParamHasher h(43);
    for (float c : s.color) h.add(c);
    h.add(s.maxDistance);
    h.add(s.colorMode).add(s.group);
    h.add(int32_t(s.getOpacity)).add(int32_t(s.getColors)).add(int32_t(s.limitByDistance));
    for (float v : s.opacityCurve.samples) h.add(v);
    return h.value();
}

uint64_t MessageHash(PF_InData* in, ObjectMessage&) {
    return Hash(Read(in));
}

PF_Err Contribute(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    RenderItem item;
    item.kind = kRenderFacets;
    BuildFacets(Read(in), *m.geometry, item.as<FacetsPayload>());
    m.pushRenderItem(m.renders, &item);
    return PF_Err_NONE;
}

// The renderer takes every group; SetGroup writes its group popup.
const GroupHooks kGroupHooks{
    .groupPopup = &kTable[kEffectGroup], .takesAllGroups = true, .hash = &MessageHash};

PF_Err Visibility(PF_InData* in) {
    const bool colorsFromVertices = CheckedParam(in, kColorsFromVertices);
    const bool limit = CheckedParam(in, kLimitByDistance);
    const ParamRule rules[] = {
        {kFacetsOpacity, CheckedParam(in, kOpacityFromVertices)},
        {kFacetsColor, colorsFromVertices},
        {kColorMode, !colorsFromVertices},
        {kMaxDistance, !limit},
        {kOpacityCurve, !limit},
    };
    return ShowParameters(in, rules);
}

const SubEffectHandlers kHandlers{
    .message = &Contribute,
    .group = &kGroupHooks,
    .visibility = &Visibility,
    .arbitraryCallback = &CurveArbitraryCommand,
};

}  // namespace

void BuildFacets(const FacetsSettings& s, const GeometryStore& store, FacetsPayload& out) {
    std::vector<IndexTriple> triples;
    std::vector<float> opacity;
    std::vector<double> rotations, centroids;
    const size_t n = store.positions.size();
    for (const ObjectRange& r : store.ranges) {
        if (s.group != 12 && r.group != s.group) continue;
        if (r.faceCount < 1 || r.vertexCount < 3) continue;
        for (uint32_t f = r.faceStart; f < r.faceStart + r.faceCount && f < store.faces.size();
             ++f) {
            const Vec3i& face = store.faces[f];
            const int32_t idx[3] = {face.x + int32_t(r.vertexStart),
                                    face.y + int32_t(r.vertexStart),
                                    face.z + int32_t(r.vertexStart)};
            if (idx[0] < 0 || idx[1] < 0 || idx[2] < 0 || size_t(idx[0]) >= n ||
                size_t(idx[1]) >= n || size_t(idx[2]) >= n)
                continue;
            // The mean of the three sides, in double.
            double e = 0;
            for (int k = 0; k < 3; ++k) {
                const Vec3f& a = store.positions[size_t(idx[k])];
                const Vec3f& b = store.positions[size_t(idx[(k + 1) % 3])];
                e += std::sqrt(double(a.x - b.x) * (a.x - b.x) + double(a.y - b.y) * (a.y - b.y) +
                               double(a.z - b.z) * (a.z - b.z));
            }
            e /= 3;
            float factor = 1.0f;
            if (s.limitByDistance)
                factor = e > s.maxDistance || s.maxDistance <= 0
                             ? 0.0f
                             : s.opacityCurve.eval(float(e / s.maxDistance));
            // A factor of 0 keeps the face: it is drawn with no opacity.
            triples.push_back(IndexTriple{idx[0], idx[1], idx[2]});
            opacity.push_back(factor);
            const Vec3f rot = f < store.faceRotations.size() ? store.faceRotations[f] : Vec3f{};
            rotations.insert(rotations.end(), {double(rot.x), double(rot.y), double(rot.z)});
            if (f < store.faceCentroids.size()) {
                const Vec3f& c = store.faceCentroids[f];
                centroids.insert(centroids.end(), {double(c.x), double(c.y), double(c.z)});
            } else {
                // No centroid was derived for this face: its corners' mean serves.
                double m[3] = {0, 0, 0};
                for (int32_t v : idx) {
                    const Vec3f& p = store.positions[size_t(v)];
                    m[0] += p.x / 3.0, m[1] += p.y / 3.0, m[2] += p.z / 3.0;
                }
                centroids.insert(centroids.end(), {m[0], m[1], m[2]});
            }
        }
    }
    out = FacetsPayload{};
    out.faceCount = uint32_t(triples.size());
    out.triples = new IndexTriple[triples.size()];
    out.opacity = new float[opacity.size()];
    out.rotations = new double[rotations.size()];
    out.centroids = new double[centroids.size()];
    std::copy(triples.begin(), triples.end(), out.triples);
    std::copy(opacity.begin(), opacity.end(), out.opacity);
    std::copy(rotations.begin(), rotations.end(), out.rotations);
    std::copy(centroids.begin(), centroids.end(), out.centroids);
    out.colorMode = s.colorMode;
    std::copy(std::begin(s.color), std::end(s.color), out.color);
    out.overrideColor = !s.getColors;
    out.overrideOpacity = !s.getOpacity;
}

ParamTable FacetsRenderParams() {
    return kTable;
}

PF_Err FacetsRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                  PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kFacetsRenderInfo, kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

// The effect's row in the module's effect table.
const EffectInfo kFacetsRenderInfo{
    15,
    "Tavrin Facets Renderer",
    "KDL TAVRREN Facets",
    "FacetsRenderEntryPointFunc",
    &FacetsRenderEntryPointFunc,
    0x208000,
    0x1401,
    EffectRole::Renderer,
    "Facets Renderer, Renders 3D Facets from the Geometry Objects.",
    true,
    &FacetsRenderParams,
    "A renderer that fills the faces a source makes (OBJ faces, lattice faces, extruded paths), "
    "shaded by the main effect's lights.",
    "Use it with a source that makes faces (Generate Faces on the Primitives source, Import Facets "
    "on the OBJ source). Limit Opacity by Distance hides facets larger than Maximum Distance: turn "
    "it off, or raise the distance, to see every face."};

}  // namespace tv
