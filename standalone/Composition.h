// The embedded host's composition model: a project of comps, their layers, and the effect
// instances on each layer with their parameter values in the host's representation.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/HostTypes.h"
#include "standalone/Keyframes.h"

namespace tv::standalone {

enum class LayerKind : uint8_t { Solid, Null, Camera, Light, Image, Obj, Audio, Text, Precomp };

// One parameter stream of an effect instance.
struct ParamState {
    PF_ParamDef value;         // static value, in the host's representation
    bool hidden = false;       // the stream's hidden flag, as the effect set it
    uint32_t changeFlags = 0;  // PF_ChangeFlag_* of the last write
    std::vector<Key> keys;     // when not empty, the value is animated (times in layer time)
};

// A parameter value as up to four numbers, for keyframes, and back.
std::array<double, 4> ParamToNumbers(const PF_ParamDef& def);
PF_ParamDef NumbersToParam(PF_ParamType type, const std::array<double, 4>& v);
// Whether a parameter kind changes smoothly between keys (others hold).
bool Interpolates(PF_ParamType type);

struct EffectInstance {
    uint64_t uid = 0;  // also the PF_ProgPtr the effect sees as effect_ref
    AEGP_InstalledEffectKey key = 0;
    bool active = true;
    std::vector<ParamState> params;  // index 0 is the input layer
    PF_Handle sequenceData = 0;
};

// A layer property that may be keyframed: its value, or its keys when there are any.
struct AnimatedValue {
    std::array<double, 4> value{};
    std::vector<Key> keys;
    std::array<double, 4> at(double seconds) const {
        return keys.empty() ? value : Evaluate(keys, seconds, 4);
    }
};

// A camera layer: two-node, looking from its position at its point of interest, or one-node,
// looking along its own +Z turned by its orientation and rotations.
struct CameraData {
    bool oneNode = false;
    AnimatedValue position;         // parent space (comp space without a parent)
    AnimatedValue pointOfInterest;  // parent space; unused by one-node cameras
    AnimatedValue zoom;             // pixels
    double filmSize = 36.0;         // millimetres, measured horizontally
    bool orthographic = false;
    bool depthOfField = false;
    AnimatedValue focusDistance;
    AnimatedValue aperture;
    AnimatedValue blurLevel;  // percent
};

enum LightType : int32_t { kLightParallel = 0, kLightSpot = 1, kLightPoint = 2, kLightAmbient = 3 };

struct LightData {
    int32_t type = kLightPoint;
    AnimatedValue position;
    AnimatedValue pointOfInterest;  // spot and parallel lights aim at it
    AnimatedValue coneAngle;        // spot: degrees
    AnimatedValue coneFeather;      // spot: percent
    AnimatedValue intensity;        // percent
    AnimatedValue color;            // 0..1
    AnimatedValue shadowDarkness;
    AnimatedValue shadowDiffusion;
};

// A layer's placement: anchor point (layer pixels) to position (parent pixels), scale in
// percent, rotation in degrees (clockwise on screen), opacity in percent. 3D layers use the
// third components and add orientation and X/Y rotation; `rotation` is the Z rotation.
struct Transform2D {
    AnimatedValue anchor;       // defaults to the layer's centre
    AnimatedValue position;     // defaults to the comp's centre
    AnimatedValue scale;        // [100, 100, 100]
    AnimatedValue rotation;     // 0
    AnimatedValue opacity;      // 100
    AnimatedValue orientation;  // 3D: [x, y, z] degrees
    AnimatedValue rotationX;    // 3D
    AnimatedValue rotationY;    // 3D
    bool set = false;           // false: defaults from the layer and comp sizes
};

// A mask: a closed or open path of vertices with in and out tangents (relative to the vertex),
// in layer pixels; the whole path may be keyframed (all keys with the same vertex count).
struct MaskVertex {
    double x = 0, y = 0;
    double inX = 0, inY = 0;
    double outX = 0, outY = 0;
};
struct MaskPathKey {
    double t = 0;
    Interp interp = Interp::Linear;
    std::vector<MaskVertex> vertices;
};
struct Mask {
    std::string name;
    float color[3] = {1, 1, 0};
    AnimatedValue opacity;  // percent
    bool inverted = false;
    bool closed = true;
    std::vector<MaskVertex> vertices;  // the path when it has no keys
    std::vector<MaskPathKey> keys;
};

struct Layer {
    uint64_t uid = 0;  // the AEGP_LayerH of this layer
    uint32_t id = 0;   // the layer id, unique in the project
    std::string name;
    LayerKind kind = LayerKind::Solid;
    bool enabled = true;  // the video switch
    bool solo = false;    // when any layer of the comp is soloed, only those show
    bool is3D = false;
    bool motionBlur = false;
    bool collapse = false;
    double inPoint = 0;    // seconds, comp time
    double outPoint = 0;   // seconds, comp time
    double startTime = 0;  // comp time of the layer's own time 0
    int32_t width = 0;     // the layer's source size in pixels
    int32_t height = 0;
    uint32_t parent = 0;              // the layer id of the parent, 0 for none
    uint64_t sourceComp = 0;          // precomp: the uid of the comp it shows
    float solidColor[3] = {0, 0, 0};  // solid: straight R, G, B in 0..1
    std::string imagePath;            // image footage: the resolved file
    int32_t imageWidth = 0;           // image footage: its header's size and channels
    int32_t imageHeight = 0;
    int32_t imageChannels = 0;
    int64_t audioFrames = 0;  // audio: its header's length, channels and rate
    int32_t audioChannels = 0;
    int32_t audioRate = 0;
    std::string sourceFile;             // footage, audio, text font: the resolved file
    std::vector<std::string> objFiles;  // OBJ footage: the resolved file of each frame
    uint64_t sourceItem = 0;            // OBJ footage added from a project item: its uid
    std::string comment;                // the footage's comment
    std::string objPattern;             // OBJ sequence: the resolved pattern (### for the number)
    int32_t objFirst = 0, objLast = 0;  // OBJ sequence: the numbers of its first and last files
    std::string text;                   // text layers: the string
    std::string fontFamily;             // text layers: a family, when no font file is given
    double fontSize = 72;               // text layers: pixels
    float textColor[3] = {1, 1, 1};     // text layers: fill colour
    std::vector<Mask> masks;
    Transform2D transform;  // 2D layers
    CameraData camera;      // camera layers
    LightData light;        // light layers
    std::vector<std::unique_ptr<EffectInstance>> effects;
};

struct Comp {
    uint64_t uid = 0;  // AEGP_CompH; also its item handle
    std::string name;
    int32_t width = 1920;
    int32_t height = 1080;
    double pixelAspect = 1.0;
    int32_t fpsNum = 30;
    int32_t fpsDen = 1;
    double duration = 10.0;    // seconds
    std::string workingSpace;  // the colour space its pixels are in; empty: sRGB
    double workStart = 0;      // the work area, seconds; workEnd 0 means the whole duration
    double workEnd = 0;
    double shutterAngle = 180.0;
    double shutterPhase = -180.0;
    bool motionBlur = false;
    // The comp's colour, and how much of it is drawn under the layers. Alpha 0 (a colour given
    // without one) is the compositing hosts' rule: the frame stays transparent where nothing is
    // drawn, and the colour is only laid under frames written to a format without alpha.
    float background[3] = {0, 0, 0};
    float backgroundAlpha = 0;
    std::vector<std::unique_ptr<Layer>> layers;  // index 0 is the top of the stack

    // Ticks per second of this comp's times: at least 1000 ticks per frame, so that
    // motion-blur samples fall between frames.
    uint32_t timeScale() const;
    int32_t ticksPerFrame() const;
    A_Time frameTime(int64_t frame) const;
    // Frames of the whole comp (at least one): frame f shows time f / fps.
    int64_t frameCount() const;
    // The frames of the work area, first and last inclusive: those whose time lies in
    // [workStart, workEnd); the whole comp when no work area is set.
    std::pair<int64_t, int64_t> workAreaFrames() const;
};

// A footage item imported into the project without a layer of its own yet (the OBJ import
// dialog makes these); a placeholder has no files.
struct FootageItem {
    uint64_t uid = 0;
    std::vector<std::string> files;
    std::string comment;
};

struct Project {
    std::vector<std::unique_ptr<Comp>> comps;
    std::vector<FootageItem> footage;
};

}  // namespace tv::standalone
