// The facets renderer: its table, the item it builds, the placed and lit triangles, which
// parameters show, and that only a GPU engine draws facets.
#include <gtest/gtest.h>

#include <cmath>

#include "engines/FacetFeeding.h"
#include "engines/Feeding.h"
#include "engines/Shading.h"
#include "host/RenderPayloads.h"
#include "renderers/FacetsRenderer.h"
#include "resources/EffectTable.h"
#include "resources/EntryPoints.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

TEST(FacetsTable, RowsAsTheUserSeesThem) {
    const ParamTable t = FacetsRenderParams();
    ASSERT_EQ(t.size(), 10u);
    const char* names[] = {"input",
                           "Get Colors From Vertices",
                           "Color Mode",
                           "Facets Color",
                           "Get Opacity From Vertices",
                           "Facets Opacity",
                           "Limit Opacity by Distance",
                           "Maximum Distance",
                           "Opacity over Distance",
                           "Effect Only Group"};
    const int32_t disks[] = {0, 2, 3, 4, 5, 6, 9, 1, 7, 8};
    for (size_t i = 0; i < t.size(); ++i) {
        EXPECT_STREQ(t[i].name, names[i]);
        EXPECT_EQ(t[i].diskId, disks[i]) << i;
    }
    EXPECT_EQ(t[6].flags, 0xc6u);
    EXPECT_EQ(t[8].flags & 0x20u, 0x20u);  // the curve starts collapsed
    EXPECT_EQ(t[5].def[0], 50);
    EXPECT_EQ(t[7].def[0], 100);
    EXPECT_EQ(t[9].def[0], 12);
    const EffectInfo* info = FindEffectByDisplayName("Tavrin Facets Renderer");
    ASSERT_NE(info, nullptr);
    EXPECT_TRUE(info->built);
}

// Two ranges: group 1 a square of two faces, group 2 one face; the centroids as the gather
// derives them.
GeometryStore TwoRanges() {
    GeometryStore s;
    s.positions = {{0, 0, 0},  {10, 0, 0},  {10, 10, 0}, {0, 10, 0},
                   {0, 0, 50}, {30, 0, 50}, {0, 30, 50}};
    s.colors.assign(7, Color4f{1, 0.5f, 0.25f, 0.8f});
    s.faces = {{0, 1, 2}, {0, 2, 3}, {0, 1, 2}};
    ObjectRange a;
    a.group = 1, a.vertexStart = 0, a.vertexCount = 4, a.faceStart = 0, a.faceCount = 2;
    ObjectRange b;
    b.group = 2, b.vertexStart = 4, b.vertexCount = 3, b.faceStart = 2, b.faceCount = 1;
    s.ranges = {a, b};
    for (const auto& f : {Vec3i{0, 1, 2}, Vec3i{0, 2, 3}, Vec3i{4, 5, 6}}) {
        const Vec3f& p = s.positions[size_t(f.x)];
        const Vec3f& q = s.positions[size_t(f.y)];
        const Vec3f& r = s.positions[size_t(f.z)];
        s.faceCentroids.push_back(
            {(p.x + q.x + r.x) / 3, (p.y + q.y + r.y) / 3, (p.z + q.z + r.z) / 3});
    }
    s.faceRotations.assign(3, Vec3f{});
    return s;
}

struct Item {
    RenderItem item;
    Item() {
        RegisterStandardPayloadReleasers();
        item.kind = kRenderFacets;
    }
    ~Item() { FreeRenderItem(item); }
    FacetsPayload& p() { return item.as<FacetsPayload>(); }
};

TEST(FacetsItem, ASourceWithoutFacesGivesNoEntries) {
    GeometryStore s = TwoRanges();
    s.faces.clear();
    for (ObjectRange& r : s.ranges) r.faceCount = 0;
    Item it;
    BuildFacets(FacetsSettings{}, s, it.p());
    EXPECT_EQ(it.p().faceCount, 0u);
}

TEST(FacetsItem, MaximumDistanceZeroWithTheLimitGivesFactorsZeroAndKeepsTheFaces) {
    FacetsSettings settings;
    settings.maxDistance = 0;
    Item it;
    BuildFacets(settings, TwoRanges(), it.p());
    ASSERT_EQ(it.p().faceCount, 3u);
    for (uint32_t i = 0; i < 3; ++i) EXPECT_EQ(it.p().opacity[i], 0.0f);
}

TEST(FacetsItem, FactorsFromTheMeanSideAndIndicesOffsetByTheRange) {
    FacetsSettings settings;
    settings.maxDistance = 100;
    Item it;
    BuildFacets(settings, TwoRanges(), it.p());
    ASSERT_EQ(it.p().faceCount, 3u);
    // The second range's face has its vertex start added.
    EXPECT_EQ(it.p().triples[2].a, 4);
    EXPECT_EQ(it.p().triples[2].c, 6);
    // Square half: sides 10, 10, 14.14...; mean / 100 through the default curve.
    const double e = (10 + 10 + std::sqrt(200.0)) / 3;
    EXPECT_FLOAT_EQ(it.p().opacity[0], DistanceCurve::DefaultOpacity().eval(float(e / 100)));
    // Without the limit every factor is 1.
    settings.limitByDistance = false;
    Item all;
    BuildFacets(settings, TwoRanges(), all.p());
    for (uint32_t i = 0; i < 3; ++i) EXPECT_EQ(all.p().opacity[i], 1.0f);
    // A mean side beyond the maximum: 0.
    settings.limitByDistance = true;
    settings.maxDistance = 12;
    Item far;
    BuildFacets(settings, TwoRanges(), far.p());
    EXPECT_EQ(far.p().opacity[2], 0.0f);  // sides 30, 30, 42.4
}

TEST(FacetsItem, TheGroupPopupChoosesRanges) {
    FacetsSettings settings;
    settings.group = 2;
    Item it;
    BuildFacets(settings, TwoRanges(), it.p());
    ASSERT_EQ(it.p().faceCount, 1u);
    EXPECT_EQ(it.p().triples[0].a, 4);
    EXPECT_DOUBLE_EQ(it.p().centroids[2], 50.0);
}

TEST(FacetPlacement, HalfATurnAboutZMapsCornersThroughTheirMean) {
    const double corners[3][3] = {{0, 0, 0}, {3, 0, 0}, {0, 3, 0}};  // mean (1, 1, 0)
    const double rotation[3] = {0, 0, 180};
    const double centroid[3] = {1, 1, 0};
    double out[3][3];
    PlaceFacet(corners, rotation, centroid, out);
    // Relative (-1, -1) turns to (1, 1): corner 0 lands at (2, 2).
    EXPECT_NEAR(out[0][0], 2, 1e-9);
    EXPECT_NEAR(out[0][1], 2, 1e-9);
    EXPECT_NEAR(out[1][0], -1, 1e-9);  // (2, -1) -> (-2, 1)
    EXPECT_NEAR(out[1][1], 2, 1e-9);
    EXPECT_NEAR(out[2][2], 0, 1e-9);
}

TEST(FacetPlacement, AMovedCentroidMovesTheFacet) {
    const double corners[3][3] = {{0, 0, 0}, {3, 0, 0}, {0, 3, 0}};
    const double rotation[3] = {0, 0, 0};
    const double centroid[3] = {11, 21, 5};
    double out[3][3];
    PlaceFacet(corners, rotation, centroid, out);
    EXPECT_NEAR(out[0][0], 10, 1e-9);
    EXPECT_NEAR(out[0][1], 20, 1e-9);
    EXPECT_NEAR(out[0][2], 5, 1e-9);
}

TEST(FacetTriangles, ColourModesOverridesAndTheFactor) {
    GeometryStore s = TwoRanges();
    s.colors[1] = {0, 1, 0, 0.4f};
    FacetsSettings settings;
    settings.limitByDistance = false;
    settings.colorMode = 3;  // first vertex
    Item it;
    BuildFacets(settings, s, it.p());
    std::vector<DrawTriangle> out;
    BuildFacetTriangles(it.item, s, nullptr, out);
    ASSERT_EQ(out.size(), 3u);
    EXPECT_FLOAT_EQ(out[0].colors[1][1], 0.5f);  // corner 1 takes corner 0's colour
    EXPECT_FLOAT_EQ(out[0].colors[1][3], 0.8f);
    settings.getColors = false;
    settings.getOpacity = false;
    settings.color[0] = 0.1f, settings.color[3] = 0.3f;
    Item over;
    BuildFacets(settings, s, over.p());
    out.clear();
    BuildFacetTriangles(over.item, s, nullptr, out);
    EXPECT_FLOAT_EQ(out[0].colors[2][0], 0.1f);
    EXPECT_FLOAT_EQ(out[0].colors[2][3], 0.3f);
}

TEST(Shading, ReachAndFacingWorkedByHand) {
    ShadingRecord s;
    s.enabled = true;
    s.radius = 100;
    s.falloff = 100;
    s.bothSides = false;
    ShadingLight light;
    light.position[2] = 50;  // 50 above a surface facing +Z at the origin
    light.intensity = 100;
    s.lights = {light};
    const double p[3] = {0, 0, 0}, up[3] = {0, 0, 1}, down[3] = {0, 0, -1};
    float c[4] = {0.8f, 0.6f, 0.4f, 0.5f};
    ShadeColor(s, p, up, c);
    EXPECT_FLOAT_EQ(c[0], 0.8f);  // inside the radius, facing: full light
    EXPECT_FLOAT_EQ(c[3], 0.5f);
    // In the falloff band: 150 away is half way down.
    s.lights[0].position[2] = 150;
    float half[4] = {0.8f, 0.6f, 0.4f, 1};
    ShadeColor(s, p, up, half);
    EXPECT_FLOAT_EQ(half[0], 0.4f);
    // Beyond radius + falloff: dark.
    s.lights[0].position[2] = 250;
    float dark[4] = {0.8f, 0.6f, 0.4f, 1};
    ShadeColor(s, p, up, dark);
    EXPECT_FLOAT_EQ(dark[0], 0.0f);
    // Facing away: dark on one side, lit with both sides.
    s.lights[0].position[2] = 50;
    float away[4] = {0.8f, 0.6f, 0.4f, 1};
    ShadeColor(s, p, down, away);
    EXPECT_FLOAT_EQ(away[0], 0.0f);
    s.bothSides = true;
    float both[4] = {0.8f, 0.6f, 0.4f, 1};
    ShadeColor(s, p, down, both);
    EXPECT_FLOAT_EQ(both[0], 0.8f);
    // Two lights at 45 degrees sum past 1 and are held there; a coloured light tints.
    ShadingLight side;
    side.position[0] = 30, side.position[2] = 30;
    side.color[1] = 0;
    s.lights = {side, side};
    float two[4] = {1, 1, 1, 1};
    ShadeColor(s, p, up, two);
    EXPECT_FLOAT_EQ(two[0], 1.0f);  // 2 x cos 45 = 1.41, held to 1
    EXPECT_FLOAT_EQ(two[1], 0.0f);
    // Not enabled: nothing changes.
    s.enabled = false;
    float off[4] = {0.3f, 0.3f, 0.3f, 1};
    ShadeColor(s, p, up, off);
    EXPECT_FLOAT_EQ(off[0], 0.3f);
}

// Counts the triangles handed to it; GPU or not as asked.
struct CountingEngine : TV_Base_Render {
    bool gpu;
    size_t triangles = 0;
    explicit CountingEngine(bool g) : TV_Base_Render(nullptr, nullptr, 8), gpu(g) {}
    PF_Err drawTriangles(std::vector<DrawTriangle>& t) override {
        triangles += t.size();
        return PF_Err_NONE;
    }
    bool isGpu() const override { return gpu; }
    bool wantsDepthSort() const override { return !gpu; }
};

TEST(FacetFeeding, OnlyAGpuEngineDrawsFacets) {
    const GeometryStore s = TwoRanges();
    FacetsSettings settings;
    settings.limitByDistance = false;
    Item it;
    BuildFacets(settings, s, it.p());
    const UsageMasks masks = BuildUsageMasks({}, s.positions.size());
    CountingEngine software(false), gpu(true);
    ASSERT_EQ(FeedItem(software, software, software, it.item, s, masks), PF_Err_NONE);
    EXPECT_EQ(software.triangles, 0u);
    ASSERT_EQ(FeedItem(gpu, gpu, gpu, it.item, s, masks), PF_Err_NONE);
    EXPECT_EQ(gpu.triangles, 3u);
}

TEST(FacetsVisibility, HiddenByTheCheckboxes) {
    standalone::EmbeddedHost host;
    standalone::Comp& comp = host.addComp("C", 100, 100, 10, 1, 4.0);
    standalone::EffectInstance& fx =
        host.applyEffectInstance(host.addLayer(comp, "L", standalone::LayerKind::Solid),
                                 host.findInstalledByDisplayName("Tavrin Facets Renderer")->key);
    auto update = [&] {
        return host.callEffect(fx, PF_Cmd_UPDATE_PARAMS_UI, comp.frameTime(0), nullptr);
    };
    auto hidden = [&](int32_t i) { return fx.params[size_t(i)].hidden; };
    ASSERT_EQ(update(), PF_Err_NONE);
    // Defaults: colours and opacity from vertices, the limit on.
    EXPECT_TRUE(hidden(5));
    EXPECT_TRUE(hidden(3));
    EXPECT_FALSE(hidden(2));
    EXPECT_FALSE(hidden(7));
    EXPECT_FALSE(hidden(8));
    fx.params[1].value.u.checkbox = 0;
    fx.params[4].value.u.checkbox = 0;
    fx.params[6].value.u.checkbox = 0;
    ASSERT_EQ(host.callEffect(fx, PF_Cmd_USER_CHANGED_PARAM, comp.frameTime(0), nullptr),
              PF_Err_NONE);
    EXPECT_FALSE(hidden(5));
    EXPECT_FALSE(hidden(3));
    EXPECT_TRUE(hidden(2));
    EXPECT_TRUE(hidden(7));
    EXPECT_TRUE(hidden(8));
}

}  // namespace
}  // namespace tv
