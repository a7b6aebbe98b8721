// The color map effector: its parameters, where it samples the map (truncation, clamping, flips,
// planes, face means, narrow maps), the three pixel formats, each target, the hidden parameters,
// and the hash following what the map layer shows. Maps are real layers of a document (solids and
// PNG files) through the embedded host, or hand-made worlds where a format needs it.
#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "standalone/ImageModule.h"
#include "host/Gather.h"
#include "host/ParamTable.h"
#include "resources/EffectTable.h"
#include "resources/EntryPoints.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"

namespace tv {
namespace {

namespace fs = std::filesystem;

constexpr A_Time kTimeZero{0, 30000};  // a 30 fps comp counts 30000 ticks a second

// The PNG maps of this process, removed when it ends.
struct TempFiles {
    fs::path dir = fs::temp_directory_path() / ("tavrin_colormap_" + std::to_string(::getpid()));
    ~TempFiles() {
        std::error_code ec;
        fs::remove_all(dir, ec);
    }
};

fs::path TempDir() {
    static TempFiles files;
    fs::create_directories(files.dir);
    return files.dir;
}

// Writes straight 8-bit RGBA rows as a PNG and returns its path.
std::string WritePng(const std::string& name, int w, int h, const std::vector<uint8_t>& rgba) {
    const std::string path = (TempDir() / name).string();
    EXPECT_NO_THROW(standalone::WriteImageThroughModule(path, path, w, h, false, 1, rgba.data()));
    return path;
}

// An opaque grid whose pixel (x, y) has red 40x + 10 and green 40y + 10, so the colour a vertex
// takes names the column and row that were read.
std::string GridPng(const std::string& name, int w, int h) {
    std::vector<uint8_t> rgba(size_t(w) * size_t(h) * 4);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            uint8_t* p = &rgba[(size_t(y) * size_t(w) + size_t(x)) * 4];
            p[0] = uint8_t(40 * x + 10);
            p[1] = uint8_t(40 * y + 10);
            p[2] = 200;
            p[3] = 255;
        }
    return WritePng(name, w, h, rgba);
}

struct Cell {
    int col = -1, row = -1;
    bool operator==(const Cell&) const = default;
};
std::ostream& operator<<(std::ostream& o, const Cell& c) {
    return o << "(" << c.col << ", " << c.row << ")";
}
Cell CellOf(const Color4f& c) {
    return Cell{int(std::lround((c.r * 255 - 10) / 40)), int(std::lround((c.g * 255 - 10) / 40))};
}

std::string Quote(const std::string& s) {
    return "\"" + s + "\"";
}

// A comp of the map's size with the map layer on top and, below it, a layer "Fx" whose stack is
// `effects` (document JSON of the effect list).
std::string Document(int w, int h, const std::string& mapLayer, const std::string& effects,
                     const std::string& extraLayers = "") {
    return R"j({"tavrin": 1, "comps": [{"name": "C", "width": )j" + std::to_string(w) +
           R"j(, "height": )j" + std::to_string(h) + R"j(, "layers": [)j" + mapLayer + "," +
           extraLayers + R"j({"name": "Fx", "solid": {"color": "#00ff00"}, "effects": [)j" +
           effects + "]}]}]}";
}

std::string ImageLayer(const std::string& path) {
    return R"j({"name": "Map", "image": {"file": )j" + Quote(path) + "}}";
}
std::string SolidLayer(const std::string& color) {
    return R"j({"name": "Map", "solid": {"color": )j" + Quote(color) + "}}";
}
std::string ColorMapEffect(const std::string& params) {
    return R"j({"effect": "Tavrin Color Map", "params": {)j" + params + "}}";
}

// A document loaded into a host; the Color Map instance is the last effect of "Fx".
template <class Host = standalone::EmbeddedHost>
struct Scene {
    Host host;
    standalone::Layer* fx = nullptr;
    standalone::Layer* map = nullptr;
    standalone::EffectInstance* colorMap = nullptr;

    explicit Scene(const std::string& doc) {
        standalone::LoadDocumentText(doc, "doc.json", host);
        auto& layers = host.project().comps[0]->layers;
        map = layers.front().get();
        fx = layers.back().get();
        colorMap = fx->effects.back().get();
    }

    // The whole stack of "Fx", as the main effect gathers it.
    GeometryStore gather() {
        ObjectMessage m;
        InitObjectMessage(m);
        EXPECT_EQ(Gather(host, fx->uid, kTimeZero, m), 0);
        GeometryStore copy = *m.geometry;
        DisposeObjectMessage(m);
        return copy;
    }

    // The Color Map alone, on a store made by hand.
    GeometryStore contribute(const GeometryStore& store, PF_Err expected = PF_Err_NONE) {
        ObjectMessage m;
        InitObjectMessage(m);
        *m.geometry = store;
        m.command = kObjContribute;
        EXPECT_EQ(host.callEffect(*colorMap, PF_Cmd_COMPLETELY_GENERAL, kTimeZero, &m), expected);
        GeometryStore copy = *m.geometry;
        DisposeObjectMessage(m);
        return copy;
    }

    uint64_t hash(const A_Time& time = kTimeZero) {
        static uint64_t mixed;
        mixed = 0;
        ObjectMessage m;
        InitObjectMessage(m);
        m.command = kObjMixHash;
        m.hash->mixInCallback = [](PF_ProgPtr, uint32_t size, const void* data) -> PF_Err {
            std::memcpy(&mixed, data, std::min<uint32_t>(size, 8));
            return PF_Err_NONE;
        };
        EXPECT_EQ(host.callEffect(*colorMap, PF_Cmd_COMPLETELY_GENERAL, time, &m), 0);
        DisposeObjectMessage(m);
        return mixed;
    }
};

// Vertices at the given uvw, white at 50 %, scale 1, all at (10, 20, 30).
GeometryStore Vertices(const std::vector<Vec3f>& uvw) {
    GeometryStore s;
    s.uvw = uvw;
    s.positions.assign(uvw.size(), Vec3f{10, 20, 30});
    s.colors.assign(uvw.size(), Color4f{1, 1, 1, 0.5f});
    s.scales.assign(uvw.size(), 1.0f);
    s.lattice.resize(uvw.size());
    s.normals.resize(uvw.size());
    return s;
}

std::string Primitives(int x, int y) {
    return R"j({"effect": "Tavrin Primitives Object", "params": {"X Points": )j" +
           std::to_string(x) + R"j(, "Y Points": )j" + std::to_string(y) +
           R"j(, "Z Points": 1, "Opacity": 50}})j";
}

// ---- the parameter table --------------------------------------------------------------------

TEST(ColorMap, ParameterTableAsOnDisk) {
    const ParamTable t = ColorMapEffectorParams();
    ASSERT_EQ(t.size(), 12u);
    struct Row {
        const char* name;
        int32_t disk;
        PF_ParamType type;
        double def;
    };
    const Row rows[] = {
        {"Effector effects", 11, PF_Param_POPUP, 1},
        {"Map Amplitude", 7, PF_Param_FLOAT_SLIDER, 100},
        {"Apply Map To", 5, PF_Param_POPUP, 3},
        {"Apply Map To", 12, PF_Param_POPUP, 3},
        {"Apply To Axis", 8, PF_Param_POPUP, 2},
        {"Color Map", 0, PF_Param_LAYER, 0},
        {"Flip X", 2, PF_Param_CHECKBOX, 0},
        {"Flip Y", 3, PF_Param_CHECKBOX, 0},
        {"Luminance Shift", 6, PF_Param_FIX_SLIDER, 50},
        {"Map Over Plane", 10, PF_Param_POPUP, 2},
        {"Effect Only Group", 4, PF_Param_POPUP, 12},
    };
    for (int i = 1; i <= 11; ++i) {
        const Row& r = rows[i - 1];
        EXPECT_EQ(t[size_t(i)].index, i);
        EXPECT_STREQ(t[size_t(i)].name, r.name) << i;
        EXPECT_EQ(t[size_t(i)].diskId, r.disk) << i;
        EXPECT_EQ(t[size_t(i)].type, r.type) << i;
        EXPECT_EQ(t[size_t(i)].def[0], r.def) << i;
    }
    EXPECT_STREQ(t[1].text, "Vertices|Faces");
    EXPECT_STREQ(t[3].text, "Position|Scale|Color");
    EXPECT_STREQ(t[4].text, "Position|Rotation|Color");
    EXPECT_STREQ(t[10].text, "XY|XZ|YZ");
    EXPECT_EQ(t[2].validMin, -1000000);
    EXPECT_EQ(t[2].validMax, 1000000);
    EXPECT_EQ(t[2].sliderMin, 0);
    EXPECT_EQ(t[2].sliderMax, 100);
    EXPECT_EQ(t[2].precision, 1);
    EXPECT_EQ(t[9].uiFlags, 0x8u);  // on the panel, greyed out
    EXPECT_EQ(t[9].validMax, 100);
    for (int i : {1, 3, 4, 11}) EXPECT_EQ(t[size_t(i)].flags, kParamFlagsSup) << i;
    EXPECT_TRUE(EffectTable()[8].built);
}

// ---- no map -----------------------------------------------------------------------------------

TEST(ColorMap, NoLayerChangesNothingAndFailsNothing) {
    const std::string stack = R"j({"effect": "Tavrin"}, )j" + Primitives(3, 2);
    Scene<> plain(Document(200, 100, SolidLayer("#ffffff"), stack));
    const GeometryStore before = plain.gather();
    for (const char* apply : {"Color", "Position", "Scale"}) {
        Scene<> s(Document(200, 100, SolidLayer("#ffffff"),
                           stack + "," +
                               ColorMapEffect(R"j("Apply Map To": )j" + Quote(apply) +
                                              R"j(, "Apply To Axis": "XYZ Axis")j")));
        const GeometryStore g = s.gather();  // returns no error
        EXPECT_EQ(g.positions, before.positions) << apply;
        EXPECT_EQ(g.colors, before.colors) << apply;
        EXPECT_EQ(g.scales, before.scales) << apply;
    }
}

// ---- targets through a whole gather ----------------------------------------------------------

TEST(ColorMap, ColourTakesTheMapsRgbAndMultipliesAlpha) {
    Scene<> s(Document(200, 100, SolidLayer("#ff8000"),
                       R"j({"effect": "Tavrin"}, )j" + Primitives(3, 2) + "," +
                           ColorMapEffect(R"j("Color Map": "Map")j")));
    const GeometryStore g = s.gather();
    ASSERT_EQ(g.colors.size(), 6u);
    for (const Color4f& c : g.colors) {
        EXPECT_FLOAT_EQ(c.r, 1.0f);
        EXPECT_FLOAT_EQ(c.g, 128 / 255.0f);
        EXPECT_FLOAT_EQ(c.b, 0.0f);
        EXPECT_FLOAT_EQ(c.a, 0.5f);  // 50 % times an opaque map
    }
}

TEST(ColorMap, GreyBlackAndWhiteMovePositionByLuminance) {
    // lum = (g + r + b) * a / 3 - 0.5: 128/255 - 0.5 for mid grey (near 0), -0.5 for black,
    // +0.5 for white; times the amplitude, on Y alone (the default axis).
    const std::pair<const char*, double> maps[] = {
        {"#808080", 128 / 255.0 - 0.5}, {"#000000", -0.5}, {"#ffffff", 0.5}};
    const std::string stack = R"j({"effect": "Tavrin"}, )j" + Primitives(3, 2);
    Scene<> plain(Document(200, 100, SolidLayer("#000000"), stack));
    const GeometryStore before = plain.gather();
    for (double amplitude : {100.0, -40.0}) {
        for (const auto& [color, lum] : maps) {
            Scene<> s(
                Document(200, 100, SolidLayer(color),
                         stack + "," +
                             ColorMapEffect(R"j("Color Map": "Map", "Apply Map To": "Position",
                                                      "Map Amplitude": )j" +
                                            std::to_string(amplitude))));
            const GeometryStore g = s.gather();
            ASSERT_EQ(g.positions.size(), before.positions.size());
            for (size_t i = 0; i < g.positions.size(); ++i) {
                EXPECT_EQ(g.positions[i].x, before.positions[i].x);
                EXPECT_NEAR(g.positions[i].y - before.positions[i].y, lum * amplitude, 1e-4)
                    << color;
                EXPECT_EQ(g.positions[i].z, before.positions[i].z);
            }
        }
    }
}

TEST(ColorMap, LuminanceShiftValueIsNotRead) {
    // The shift stays 0.5 whatever the slider says: white still moves by half the amplitude.
    for (const char* shift : {"0", "100"}) {
        Scene<> s(Document(
            5, 5, SolidLayer("#ffffff"),
            ColorMapEffect(
                R"j("Color Map": "Map", "Apply Map To": "Position", "Luminance Shift": )j" +
                std::string(shift))));
        const GeometryStore g = s.contribute(Vertices({{0.5f, 0.5f, 0.5f}}));
        EXPECT_FLOAT_EQ(g.positions[0].y, 20.0f + 50.0f) << shift;
    }
}

TEST(ColorMap, ScaleGrowsByLuminanceAndStopsAtZero) {
    Scene<> white(Document(5, 5, SolidLayer("#ffffff"),
                           ColorMapEffect(R"j("Color Map": "Map", "Apply Map To": "Scale")j")));
    EXPECT_FLOAT_EQ(white.contribute(Vertices({{0, 0, 0}})).scales[0], 1.5f);  // 1 + 0.5
    // Black with 300: 1 - 1.5 would be negative.
    Scene<> black(Document(
        5, 5, SolidLayer("#000000"),
        ColorMapEffect(R"j("Color Map": "Map", "Apply Map To": "Scale", "Map Amplitude": 300)j")));
    EXPECT_EQ(black.contribute(Vertices({{0, 0, 0}})).scales[0], 0.0f);
}

TEST(ColorMap, AxisMaskLimitsThePositionChange) {
    Scene<> s(Document(5, 5, SolidLayer("#ffffff"),
                       ColorMapEffect(R"j("Color Map": "Map", "Apply Map To": "Position",
                                          "Apply To Axis": "XZ Axis", "Map Amplitude": 10)j")));
    const GeometryStore g = s.contribute(Vertices({{0, 0, 0}}));
    EXPECT_FLOAT_EQ(g.positions[0].x, 15.0f);
    EXPECT_EQ(g.positions[0].y, 20.0f);
    EXPECT_FLOAT_EQ(g.positions[0].z, 35.0f);
}

// ---- where the map is read ---------------------------------------------------------------------

// A 5 x 5 grid: col = trunc(3 s + 1), row = trunc(3 t + 1).
struct GridScene : Scene<> {
    explicit GridScene(const std::string& params, int w = 5, int h = 5)
        : Scene<>(
              Document(w, h,
                       ImageLayer(GridPng(
                           "grid" + std::to_string(w) + "x" + std::to_string(h) + ".png", w, h)),
                       ColorMapEffect(R"j("Color Map": "Map")j" + params))) {}
    std::vector<Cell> cells(const std::vector<Vec3f>& uvw) {
        std::vector<Cell> out;
        for (const Color4f& c : contribute(Vertices(uvw)).colors) out.push_back(CellOf(c));
        return out;
    }
};

TEST(ColorMap, ColumnsAndRowsAreTruncatedAndTheFirstNeverRead) {
    GridScene s(R"j(, "Map Over Plane": "XY")j");
    const std::vector<Cell> got = s.cells({{0, 0, 0},
                                           {0.3f, 0.66f, 0},  // 1.9 and 2.98 truncate
                                           {0.5f, 0.5f, 0},
                                           {1, 1, 0},
                                           {0.999f, 0.34f, 0}});
    const std::vector<Cell> want = {{1, 1}, {1, 2}, {2, 2}, {4, 4}, {3, 2}};
    EXPECT_EQ(got, want);
}

TEST(ColorMap, CoordinatesOutsideZeroToOneAreHeldAtTheEdge) {
    GridScene s(R"j(, "Map Over Plane": "XY")j");
    const std::vector<Cell> got = s.cells({{1.7f, -0.4f, 0}, {-3, 2, 0}, {-0.01f, 1.01f, 0}});
    const std::vector<Cell> want = {{4, 1}, {1, 4}, {1, 4}};
    EXPECT_EQ(got, want);
}

TEST(ColorMap, FlipsMirrorEachCoordinate) {
    const std::vector<Vec3f> uvw = {{0, 0, 0}, {1, 0.5f, 0}};
    EXPECT_EQ(GridScene(R"j(, "Map Over Plane": "XY", "Flip X": true)j").cells(uvw),
              (std::vector<Cell>{{4, 1}, {1, 2}}));
    EXPECT_EQ(GridScene(R"j(, "Map Over Plane": "XY", "Flip Y": true)j").cells(uvw),
              (std::vector<Cell>{{1, 4}, {4, 2}}));
    EXPECT_EQ(GridScene(R"j(, "Map Over Plane": "XY", "Flip X": true, "Flip Y": true)j").cells(uvw),
              (std::vector<Cell>{{4, 4}, {1, 2}}));
    // The flip comes after the clamp: -2 holds at 0, then flips to 1.
    EXPECT_EQ(GridScene(R"j(, "Map Over Plane": "XY", "Flip X": true)j").cells({{-2, 0, 0}}),
              (std::vector<Cell>{{4, 1}}));
}

TEST(ColorMap, PlanesPickTwoOfTheThreeCoordinates) {
    const std::vector<Vec3f> uvw = {{0, 0.5f, 1}};
    EXPECT_EQ(GridScene(R"j(, "Map Over Plane": "XY")j").cells(uvw), (std::vector<Cell>{{1, 2}}));
    EXPECT_EQ(GridScene(R"j(, "Map Over Plane": "XZ")j").cells(uvw), (std::vector<Cell>{{1, 4}}));
    EXPECT_EQ(GridScene(R"j(, "Map Over Plane": "YZ")j").cells(uvw), (std::vector<Cell>{{2, 4}}));
    // XZ is the default.
    EXPECT_EQ(GridScene("").cells(uvw), (std::vector<Cell>{{1, 4}}));
}

TEST(ColorMap, TwoPixelWideMapAlwaysReadsItsSecondColumn) {
    // width - 2 is 0: col = trunc(0 * s + 1) = 1 for every s.
    GridScene s(R"j(, "Map Over Plane": "XY")j", 2, 5);
    EXPECT_EQ(s.cells({{0, 0, 0}, {0.5f, 0, 0}, {1, 1, 0}}),
              (std::vector<Cell>{{1, 1}, {1, 1}, {1, 4}}));
}

TEST(ColorMap, OnePixelWideMapReadsAsTheArithmeticFalls) {
    // width - 2 is -1: col = trunc(1 - s), so s = 0 asks for column 1, outside the map, which
    // reads as a zero pixel (black, alpha 0); every s above 0 reads column 0.
    GridScene s(R"j(, "Map Over Plane": "XY")j", 1, 5);
    const GeometryStore g = s.contribute(Vertices({{0, 0, 0}, {0.25f, 0, 0}, {1, 1, 0}}));
    EXPECT_EQ(g.colors[0], (Color4f{0, 0, 0, 0}));
    EXPECT_EQ(CellOf(g.colors[1]), (Cell{0, 1}));
    EXPECT_EQ(CellOf(g.colors[2]), (Cell{0, 4}));
    EXPECT_FLOAT_EQ(g.colors[1].a, 0.5f);
}

TEST(ColorMap, PrimitivesCoordinatesThroughAGather) {
    // Three points along X have u = 0, 1/3, 2/3 and z 0: on the XZ plane the columns are
    // trunc(3u + 1) = 1, 2, 3 and the row is 1.
    const std::string png = GridPng("grid5x5.png", 5, 5);
    Scene<> s(Document(5, 5, ImageLayer(png),
                       R"j({"effect": "Tavrin"}, )j" + Primitives(3, 1) + "," +
                           ColorMapEffect(R"j("Color Map": "Map")j")));
    const GeometryStore g = s.gather();
    ASSERT_EQ(g.colors.size(), 3u);
    EXPECT_EQ(CellOf(g.colors[0]), (Cell{1, 1}));
    EXPECT_EQ(CellOf(g.colors[1]), (Cell{2, 1}));
    EXPECT_EQ(CellOf(g.colors[2]), (Cell{3, 1}));
}

// ---- faces -----------------------------------------------------------------------------------

// Two sources of three vertices and one face each; the second's face indices are relative to its
// own first vertex (3).
GeometryStore TwoFaces() {
    GeometryStore s = Vertices({{0, 0, 0},
                                {1, 0, 0},
                                {0.5f, 1, 0},  // mean (0.5, 1/3): cell (2, 2)
                                {1, 1, 0},
                                {1, 1, 0},
                                {1, 1, 0}});  // mean (1, 1): cell (4, 4)
    s.faces = {{0, 1, 2}, {0, 1, 2}};
    ObjectRange a, b;
    a.vertexStart = 0, a.vertexCount = 3, a.faceStart = 0, a.faceCount = 1;
    b.vertexStart = 3, b.vertexCount = 3, b.faceStart = 1, b.faceCount = 1;
    s.ranges = {a, b};
    s.faceCentroids = {Vec3f{1, 2, 3}, Vec3f{4, 5, 6}};
    s.faceColorsA.assign(2, Color4f{1, 1, 1, 0.5f});
    s.faceColorsB.assign(2, Color4f{1, 1, 1, 0.25f});
    s.faceColorsC.assign(2, Color4f{1, 1, 1, 1});
    s.faceRotations.assign(2, Vec3f{});
    return s;
}

TEST(ColorMap, FacesReadTheMeanOfTheirCornersAndPaintAllThreeColours) {
    GridScene s(R"j(, "Effector effects": "Faces", "Map Over Plane": "XY")j");
    const GeometryStore g = s.contribute(TwoFaces());
    EXPECT_EQ(CellOf(g.faceColorsA[0]), (Cell{2, 2}));
    EXPECT_EQ(CellOf(g.faceColorsA[1]), (Cell{4, 4}));
    for (const auto* list : {&g.faceColorsA, &g.faceColorsB, &g.faceColorsC})
        for (size_t f = 0; f < 2; ++f) EXPECT_EQ(CellOf((*list)[f]), CellOf(g.faceColorsA[f]));
    // Each corner colour keeps its own alpha times the (opaque) map's.
    EXPECT_FLOAT_EQ(g.faceColorsA[0].a, 0.5f);
    EXPECT_FLOAT_EQ(g.faceColorsB[0].a, 0.25f);
    EXPECT_FLOAT_EQ(g.faceColorsC[0].a, 1.0f);
    // The vertex colours are left alone.
    EXPECT_EQ(g.colors, TwoFaces().colors);
}

TEST(ColorMap, FacesMoveCentroidsAndTurnRotations) {
    Scene<> moved(Document(5, 5, SolidLayer("#ffffff"),
                           ColorMapEffect(R"j("Color Map": "Map", "Effector effects": "Faces",
                                              "Apply Map To#2": "Position", "Map Amplitude": 10)j")));
    GeometryStore g = moved.contribute(TwoFaces());
    EXPECT_EQ(g.faceCentroids[0], (Vec3f{1, 7, 3}));  // Y Axis: + 0.5 * 10
    EXPECT_EQ(g.faceCentroids[1], (Vec3f{4, 10, 6}));
    EXPECT_EQ(g.positions, TwoFaces().positions);
    Scene<> turned(Document(5, 5, SolidLayer("#000000"),
                            ColorMapEffect(R"j("Color Map": "Map", "Effector effects": "Faces",
                                               "Apply Map To#2": "Rotation", "Map Amplitude": 90,
                                               "Apply To Axis": "XZ Axis")j")));
    g = turned.contribute(TwoFaces());
    for (const Vec3f& r : g.faceRotations) EXPECT_EQ(r, (Vec3f{-45, 0, -45}));
}

// ---- pixel formats, check-out and check-in ---------------------------------------------------

// A host that hands out a world of its own for the Color Map's layer parameter and counts.
class WorldHost : public standalone::EmbeddedHost {
  public:
    PF_EffectWorld* world = nullptr;
    PF_Err failWith = PF_Err_NONE;
    int checkouts = 0, checkins = 0;
    PF_Err checkoutLayerPixels(PF_ProgPtr ref, int32_t index, PF_EffectWorld** out) override {
        if (index != 6) return EmbeddedHost::checkoutLayerPixels(ref, index, out);
        ++checkouts;
        *out = failWith ? nullptr : world;
        return failWith;
    }
    PF_Err checkinLayerPixels(PF_ProgPtr ref, int32_t index) override {
        if (index == 6) ++checkins;
        return EmbeddedHost::checkinLayerPixels(ref, index);
    }
};

// A 5 x 5 world of one format with padded rows; every pixel holds `pixel`'s bytes.
template <class Pixel>
struct TestWorld {
    PF_EffectWorld world;
    std::vector<uint8_t> bytes;
    TestWorld(PF_PixelFormat format, const Pixel& pixel) {
        world.width = world.height = 5;
        world.rowbytes = int32_t(5 * sizeof(Pixel) + 12);
        world.format = format;
        bytes.assign(size_t(world.rowbytes) * 5, 0xEE);
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 5; ++x)
                std::memcpy(&bytes[size_t(y) * size_t(world.rowbytes) + x * sizeof(Pixel)], &pixel,
                            sizeof(Pixel));
        world.data = bytes.data();
    }
};

struct FormatScene : Scene<WorldHost> {
    explicit FormatScene(const std::string& apply)
        : Scene<WorldHost>(Document(5, 5, SolidLayer("#000000"),
                                    ColorMapEffect(R"j("Apply Map To": )j" + Quote(apply) +
                                                   R"j(, "Map Amplitude": 10)j"))) {}
};

TEST(ColorMap, EightBitPixelsAreOver255) {
    FormatScene s("Color");
    TestWorld<PF_Pixel8> w(PF_PixelFormat_ARGB32, PF_Pixel8{128, 255, 0, 51});
    s.host.world = &w.world;
    const Color4f c = s.contribute(Vertices({{0.5f, 0.5f, 0.5f}})).colors[0];
    EXPECT_EQ(c, (Color4f{1.0f, 0.0f, 51 / 255.0f, 0.5f * (128 / 255.0f)}));
}

TEST(ColorMap, SixteenBitPixelsAreOver32768) {
    FormatScene colour("Color");
    TestWorld<PF_Pixel16> w(PF_PixelFormat_ARGB64, PF_Pixel16{16384, 32768, 8192, 0});
    colour.host.world = &w.world;
    EXPECT_EQ(colour.contribute(Vertices({{0.5f, 0.5f, 0.5f}})).colors[0],
              (Color4f{1.0f, 0.25f, 0.0f, 0.25f}));
    FormatScene position("Position");
    position.host.world = &w.world;
    // lum = (0.25 + 1 + 0) * 0.5 / 3 - 0.5
    const float lum = (0.25f + 1.0f + 0.0f) * 0.5f / 3.0f - 0.5f;
    EXPECT_FLOAT_EQ(position.contribute(Vertices({{0, 0, 0}})).positions[0].y, 20 + lum * 10);
}

TEST(ColorMap, FloatPixelsAreTakenAsTheyStand) {
    FormatScene s("Color");
    TestWorld<PF_PixelFloat> w(PF_PixelFormat_ARGB128, PF_PixelFloat{0.75f, 2.0f, 0.5f, -0.25f});
    s.host.world = &w.world;
    EXPECT_EQ(s.contribute(Vertices({{1, 1, 1}})).colors[0], (Color4f{2.0f, 0.5f, -0.25f, 0.375f}));
}

TEST(ColorMap, AnUnknownFormatReadsAsZero) {
    TestWorld<PF_Pixel8> w(PF_PixelFormat(7), PF_Pixel8{255, 255, 255, 255});
    FormatScene colour("Color");
    colour.host.world = &w.world;
    EXPECT_EQ(colour.contribute(Vertices({{0, 0, 0}})).colors[0], (Color4f{0, 0, 0, 0}));
    FormatScene position("Position");
    position.host.world = &w.world;
    EXPECT_FLOAT_EQ(position.contribute(Vertices({{0, 0, 0}})).positions[0].y, 20 - 5);
}

TEST(ColorMap, OneCheckoutPerMessageAlwaysCheckedIn) {
    FormatScene s("Color");
    TestWorld<PF_Pixel8> w(PF_PixelFormat_ARGB32, PF_Pixel8{255, 0, 0, 255});
    s.host.world = &w.world;
    s.contribute(Vertices(std::vector<Vec3f>(50, Vec3f{0.5f, 0.5f, 0.5f})));
    EXPECT_EQ(s.host.checkouts, 1);
    EXPECT_EQ(s.host.checkins, 1);
    // No pixels: nothing changes, and the parameter is still checked in.
    s.host.world = nullptr;
    const GeometryStore before = Vertices({{0.5f, 0.5f, 0.5f}});
    EXPECT_EQ(s.contribute(before).colors, before.colors);
    EXPECT_EQ(s.host.checkins, 2);
    // A failed checkout: its code is returned after the check-in, and nothing changes.
    s.host.failWith = PF_Err_OUT_OF_MEMORY;
    EXPECT_EQ(s.contribute(before, PF_Err_OUT_OF_MEMORY).colors, before.colors);
    EXPECT_EQ(s.host.checkouts, 3);
    EXPECT_EQ(s.host.checkins, 3);
}

// ---- groups and messages -------------------------------------------------------------------

TEST(ColorMap, OnlyTheGroupsRangeIsTouched) {
    Scene<> s(Document(5, 5, SolidLayer("#ff0000"),
                       ColorMapEffect(R"j("Color Map": "Map", "Effect Only Group": "Group 2")j")));
    GeometryStore store = Vertices({{0, 0, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}});
    store.vertexGroups[1] = GroupRange{0, 2};
    store.vertexGroups[2] = GroupRange{2, 2};
    const GeometryStore g = s.contribute(store);
    EXPECT_EQ(g.colors[0], (Color4f{1, 1, 1, 0.5f}));
    EXPECT_EQ(g.colors[1], (Color4f{1, 1, 1, 0.5f}));
    EXPECT_EQ(g.colors[2], (Color4f{1, 0, 0, 0.5f}));
    EXPECT_EQ(g.colors[3], (Color4f{1, 0, 0, 0.5f}));
}

TEST(ColorMap, TargetFlagFollowsTheEffectorPopup) {
    for (const auto& [target, flag] :
         {std::pair{"Vertices", kMsgTargetsVertices}, std::pair{"Faces", kMsgTargetsFaces}}) {
        Scene<> s(Document(5, 5, SolidLayer("#ffffff"),
                           ColorMapEffect(R"j("Effector effects": )j" + Quote(target))));
        ObjectMessage m;
        InitObjectMessage(m);
        m.command = kObjGetTarget;
        EXPECT_EQ(s.host.callEffect(*s.colorMap, PF_Cmd_COMPLETELY_GENERAL, kTimeZero, &m), 0);
        EXPECT_EQ(m.flags, flag) << target;
        DisposeObjectMessage(m);
    }
}

// ---- hidden parameters -----------------------------------------------------------------------

TEST(ColorMap, HiddenParametersFollowTargetAndApply) {
    struct Case {
        const char* params;
        bool vertices, faces, axis;  // hidden: 3, 4, 5
    };
    const Case cases[] = {
        {R"j("Effector effects": "Vertices")j", false, true, true},  // colour by default
        {R"j("Apply Map To": "Position")j", false, true, false},
        {R"j("Apply Map To": "Scale")j", false, true, true},
        {R"j("Effector effects": "Faces")j", true, false, true},
        {R"j("Effector effects": "Faces", "Apply Map To#2": "Rotation")j", true, false, false},
        {R"j("Effector effects": "Faces", "Apply Map To#2": "Position")j", true, false, false},
    };
    for (const Case& c : cases) {
        Scene<> s(Document(5, 5, SolidLayer("#ffffff"), ColorMapEffect(c.params)));
        EXPECT_EQ(s.host.callEffect(*s.colorMap, PF_Cmd_UPDATE_PARAMS_UI, kTimeZero, nullptr), 0);
        const auto& p = s.colorMap->params;
        EXPECT_EQ(p[3].hidden, c.vertices) << c.params;
        EXPECT_EQ(p[4].hidden, c.faces) << c.params;
        EXPECT_EQ(p[5].hidden, c.axis) << c.params;
        for (int i : {1, 2, 6, 7, 8, 9, 10, 11}) EXPECT_FALSE(p[size_t(i)].hidden) << i;
    }
}

// ---- the map layer's own pixels --------------------------------------------------------------

TEST(ColorMap, TheMapLayersEffectsAreApplied) {
    // A main effect on the map clears its pixels: the map is then transparent black.
    Scene<> s(Document(5, 5,
                       R"j({"name": "Map", "solid": {"color": "#ff0000"},
                            "effects": [{"effect": "Tavrin"}]})j",
                       ColorMapEffect(R"j("Color Map": "Map")j")));
    EXPECT_EQ(s.contribute(Vertices({{0, 0, 0}})).colors[0], (Color4f{0, 0, 0, 0}));
    s.map->effects[0]->active = false;  // switched off, the solid shows
    EXPECT_EQ(s.contribute(Vertices({{0, 0, 0}})).colors[0], (Color4f{1, 0, 0, 0.5f}));
}

TEST(ColorMap, MappingItsOwnLayerReadsThatLayersSource) {
    Scene<> s(Document(5, 5, SolidLayer("#ff0000"),
                       R"j({"effect": "Tavrin"}, )j" + Primitives(2, 1) + "," +
                           ColorMapEffect(R"j("Color Map": "Fx")j")));
    for (const Color4f& c : s.gather().colors) EXPECT_EQ(c, (Color4f{0, 1, 0, 0.5f}));
}

TEST(ColorMap, LayersMappingEachOtherEnd) {
    // Each layer's main effect gathers a Color Map that reads the other layer, whose own stack
    // reads the first again: the layer met a second time gives its source, so this ends.
    const std::string stack = R"j({"effect": "Tavrin"}, )j" + Primitives(2, 1) + "," +
                              R"j({"effect": "Tavrin Points Renderer"}, )j";
    Scene<> s(Document(8, 8,
                       R"j({"name": "Map", "solid": {"color": "#ff0000"}, "effects": [)j" + stack +
                           ColorMapEffect(R"j("Color Map": "Fx")j") + "]}",
                       stack + ColorMapEffect(R"j("Color Map": "Map")j")));
    const GeometryStore g = s.gather();
    ASSERT_EQ(g.colors.size(), 2u);
}

// ---- the hash --------------------------------------------------------------------------------

TEST(ColorMap, HashFollowsTheMapLayersContent) {
    Scene<> s(Document(5, 5, SolidLayer("#ff0000"), ColorMapEffect(R"j("Color Map": "Map")j"),
                       R"j({"name": "Other", "solid": {"color": "#0000ff"}},)j"));
    const uint64_t base = s.hash();
    EXPECT_EQ(s.hash(), base);
    // A layer the map does not show changes nothing.
    s.host.project().comps[0]->layers[1]->solidColor[2] = 0.5f;
    EXPECT_EQ(s.hash(), base);
    // The map's colour does, and coming back gives the same key again.
    s.map->solidColor[1] = 0.5f;
    const uint64_t green = s.hash();
    EXPECT_NE(green, base);
    s.map->solidColor[1] = 0.0f;
    EXPECT_EQ(s.hash(), base);
    // An effect on the map, and its values.
    auto& transform = s.host.applyEffectInstance(*s.map, "KDL TAVREFF Transform");
    const uint64_t withEffect = s.hash();
    EXPECT_NE(withEffect, base);
    EXPECT_EQ(s.hash(), withEffect);
    transform.params[6].value.u.floatValue = 12;  // X Translate
    EXPECT_NE(s.hash(), withEffect);
}

TEST(ColorMap, HashFollowsTheRecordButNotTheShiftSlider) {
    Scene<> s(Document(5, 5, SolidLayer("#ff0000"), ColorMapEffect(R"j("Color Map": "Map")j")));
    auto& p = s.colorMap->params;
    const uint64_t base = s.hash();
    p[9].value.u.fixed = 10 << 16;  // Luminance Shift: not read
    EXPECT_EQ(s.hash(), base);
    p[7].value.u.checkbox = 1;  // Flip X
    const uint64_t flipped = s.hash();
    EXPECT_NE(flipped, base);
    p[2].value.u.floatValue = 5;  // Map Amplitude
    const uint64_t louder = s.hash();
    EXPECT_NE(louder, flipped);
    p[6].value.u.layerId = 0;  // no map
    EXPECT_NE(s.hash(), louder);
}

TEST(ColorMap, HashFollowsARewrittenImage) {
    std::vector<uint8_t> red(5 * 5 * 4, 255), blue(5 * 5 * 4, 255);
    for (size_t i = 0; i < red.size(); i += 4) red[i + 1] = red[i + 2] = 0;
    for (size_t i = 0; i < blue.size(); i += 4) blue[i] = blue[i + 1] = 0;
    const std::string path = WritePng("rewritten.png", 5, 5, red);
    fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(1));
    Scene<> s(Document(5, 5, ImageLayer(path), ColorMapEffect(R"j("Color Map": "Map")j")));
    const uint64_t before = s.hash();
    EXPECT_EQ(s.contribute(Vertices({{0, 0, 0}})).colors[0], (Color4f{1, 0, 0, 0.5f}));
    WritePng("rewritten.png", 5, 5, blue);
    fs::last_write_time(path, fs::file_time_type::clock::now());
    EXPECT_NE(s.hash(), before);
    EXPECT_EQ(s.contribute(Vertices({{0, 0, 0}})).colors[0], (Color4f{0, 0, 1, 0.5f}));
}

// ---- a whole frame ---------------------------------------------------------------------------

// The points of the frame, as the sum of red and of blue over every pixel.
std::pair<double, double> RedAndBlue(const standalone::FloatImage& image) {
    double red = 0, blue = 0;
    for (size_t i = 0; i < image.rgba.size(); i += 4) {
        red += image.rgba[i];
        blue += image.rgba[i + 2];
    }
    return {red, blue};
}

TEST(ColorMap, FramesFollowTheMapAndItsCacheKey) {
    for (int32_t depth : {8, 32}) {
        Scene<> s(Document(60, 60, SolidLayer("#ff0000"),
                           R"j({"effect": "Tavrin"},
                               {"effect": "Tavrin Primitives Object",
                                "params": {"X Points": 4, "Y Points": 4, "Z Points": 1,
                                           "Cube Width": 30, "Cube Height": 30, "Opacity": 100}},
                               )j" +
                               ColorMapEffect(R"j("Color Map": "Map")j") +
                               R"j(, {"effect": "Tavrin Points Renderer",
                                     "params": {"Points Size": 4}})j"));
        s.map->enabled = false;  // the map's own pixels stay out of the frame
        s.fx->solidColor[1] = 0;
        const standalone::Comp& comp = *s.host.project().comps[0];
        standalone::CompRenderer renderer(s.host);
        std::vector<std::string> messages;
        const auto [red, blue] = RedAndBlue(renderer.renderFrame(comp, 0, depth, messages));
        EXPECT_GT(red, 1.0) << depth;
        EXPECT_EQ(blue, 0.0) << depth;
        renderer.renderFrame(comp, 0, depth, messages);
        EXPECT_EQ(renderer.cacheHits(), 1u);  // nothing changed: the frame is reused
        s.map->solidColor[0] = 0;
        s.map->solidColor[2] = 1;
        const auto [red2, blue2] = RedAndBlue(renderer.renderFrame(comp, 0, depth, messages));
        EXPECT_EQ(renderer.cacheHits(), 1u);  // a new key: drawn again, blue now
        EXPECT_EQ(red2, 0.0) << depth;
        EXPECT_NEAR(blue2, red, 1e-3) << depth;
    }
}

}  // namespace
}  // namespace tv
