// "Tavrin OBJ Object": OBJ File Source, Create a Tavrin from the points in the OBJ File. The file
// is the footage of the layer chosen by "OBJ Layer": one mesh, or one file per frame.
#include <sstream>
#include <string>
#include <vector>

#include "host/EffectTemplate.h"
#include "host/LayerLookup.h"
#include "host/ParamBuilders.h"
#include "host/ParamValues.h"
#include "host/ParamVisibility.h"
#include "host/SequenceRecord.h"
#include "host/SuiteCache.h"
#include "sources/SourceEntries.h"
#include "sources/ObjGenerate.h"
#include "sources/ObjImport.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t {
    kLayer = 1,
    kIsSequence = 2,
    kAfterSequence = 3,
    kResolution = 4,
    kCenterXY = 6,
    kCenterZ = 7,
    kInvertX = 8,
    kInvertY = 9,
    kInvertZ = 10,
    kUniformScale = 11,
    kScaleX = 12,
    kScaleY = 13,
    kScaleZ = 14,
    kRotateX = 15,
    kRotateY = 16,
    kRotateZ = 17,
    kColor = 19,
    kOpacity = 20,
    kImportFacets = 21,
    kTextureMode = 22,
    kGroup = 23,
};

constexpr uint32_t kStatic = PF_ParamFlag_CANNOT_TIME_VARY;

constexpr ParamSpec Checkbox(int32_t index, int32_t disk, const char* name, bool on,
                             uint32_t flags = 0) {
    return Row(index, disk, PF_Param_CHECKBOX, name, on ? 1 : 0, flags);
}

// A checkbox that a new instance shows off whatever its default.
constexpr ParamSpec StartsOff(ParamSpec s) {
    s.value = 0;
    return s;
}

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Row(1, 26, PF_Param_LAYER, "OBJ Layer", 0, kParamFlagsSup),
        "The layer whose footage is the OBJ file (or the first file of a sequence)."),
    Doc(Checkbox(2, 3, "Obj Sequence", false, kStatic),
        "Reads a numbered series of OBJ files, one per frame, instead of one file."),
    Doc(Popup(3, 4, "After OBJ Sequence Ends",
              "Do Nothing|Loop Sequence|Ping Pong Sequence|Freeze Last Frame", 4, kStatic),
        "What follows the last file: nothing, a loop, back and forth, or the last file held."),
    Doc(Fixed(4, 5, "OBJ Resolution", 100, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Share of the file's vertices kept; lower values thin the model out."),
    GroupStart(5, 7, "Transform OBJ"),
    Doc(PointPercent(6, 8, "OBJ XY Location", 50, 50),
        "Where the model's origin stands on the layer, in pixels."),
    Doc(Float(7, 9, "OBJ Z Location", 1, -1000000, 1000000, -100, 100, 1), ParamUnit::WorldUnits,
        "Depth of the model's origin."),
    Doc(Checkbox(8, 23, "Invert X", false), "Mirrors the model along X."),
    Doc(Checkbox(9, 24, "Invert Y", false), "Mirrors the model along Y."),
    Doc(Checkbox(10, 25, "Invert Z", false), "Mirrors the model along Z."),
    Doc(Checkbox(11, 10, "Uniform Scale", true, kParamFlagsSup),
        "Scales all three axes by OBJ X Scale; off, each axis has its own scale."),
    Doc(Percent(Float(12, 11, "OBJ X Scale", 100, -1000000, 1000000, -1000, 1000, 1)),
        ParamUnit::Percent, "Size of the model along X, against the file's own units."),
    // The default lies above the slider range, on purpose.
    Doc(Percent(Float(13, 12, "OBJ Y Scale", 100, -100000, 100000, -100, 100, 1)),
        ParamUnit::Percent, "Size of the model along Y, without Uniform Scale."),
    Doc(Percent(Float(14, 13, "OBJ Z Scale", 100, -100000, 100000, -100, 100, 1)),
        ParamUnit::Percent, "Size of the model along Z, without Uniform Scale."),
    Doc(Angle(15, 14, "X Rotate"), ParamUnit::Degrees,
        "Turns the model about the X axis, around its centre."),
    Doc(Angle(16, 15, "Y Rotate"), ParamUnit::Degrees,
        "Turns the model about the Y axis, around its centre."),
    Doc(Angle(17, 16, "Z Rotate"), ParamUnit::Degrees,
        "Turns the model about the Z axis, around its centre."),
    GroupEnd(18, 17),
    Doc(Color(19, 18, "Color", 1, 1, 1), "Colour of every vertex."),
    Doc(Fixed(20, 19, "Opacity", 50, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Opacity of every vertex."),
    // A new instance starts without facets, while a reset turns them on.
    Doc(StartsOff(
            Checkbox(21, 22, "Import Facets", true, kParamFlagsSup | PF_ParamFlag_START_COLLAPSED)),
        "Also reads the file's faces, for the facets renderer; a new instance starts with it off."),
    Doc(Popup(22, 27, "Texture Coordinates",
              "Import from OBJ|Generate based on Position|Generate based on ID", 1,
              kParamFlagsSup | PF_ParamFlag_START_COLLAPSED),
        "Where each vertex's texture coordinates come from: the file, its position, or its "
        "number."),
    Doc(Popup(23, 20, "Group", kGroupChoicesNone, 12, kParamFlagsSup),
        "The group this source's vertices join; effectors and renderers choose vertices by group."),
};
static_assert(sizeof kTable / sizeof kTable[0] == 24);

// The file of this frame: the footage of the chosen layer, or one file of its sequence. Empty
// when no layer is chosen, it has no files, or the sequence has ended ("Do Nothing").
std::string FrameFile(PF_InData* in, uint32_t layerId, int32_t afterSequence) {
    if (layerId == 0) return {};
    SuiteCache suites(in);
    HostServices& host = suites.host();
    try {
        const AEGP_LayerH layer = LayerOfOwnComp(host, in->effect_ref, int32_t(layerId));
        if (!layer) return {};
        const std::vector<std::string> files = host.footageFiles(host.layerSourceItem(layer));
        const int32_t n = int32_t(files.size());
        if (n == 0) return {};
        if (n == 1) return files[0];
        const int64_t frame = in->time_step > 0 ? int64_t(in->current_time) / in->time_step : 0;
        const int32_t index = ObjSequenceIndex(frame, n, afterSequence);
        return index < 0 ? std::string() : files[size_t(index)];
    } catch (const HostErrorCode&) {
        return {};
    }
}

ObjSettings ReadSettings(PF_InData* in) {
    ObjSettings s;
    s.uniformScale = CheckedParam(in, kUniformScale);
    s.invert[0] = CheckedParam(in, kInvertX);
    s.invert[1] = CheckedParam(in, kInvertY);
    s.invert[2] = CheckedParam(in, kInvertZ);
    const int32_t scaleParams[3] = {kScaleX, kScaleY, kScaleZ};
    for (int a = 0; a < 3; ++a) {
        s.scale[a] =
            CheckoutParam(in, s.uniformScale ? kScaleX : scaleParams[a]).u.floatValue / 100.0;
        if (s.invert[a]) s.scale[a] = -s.scale[a];
    }
    s.rotation[0] = FixedParam(in, kRotateX);
    s.rotation[1] = FixedParam(in, kRotateY);
    s.rotation[2] = FixedParam(in, kRotateZ);
    const PF_ParamDef center = CheckoutParam(in, kCenterXY);
    s.center[0] = float(FullResolutionX(in, center.u.point[0]));
    s.center[1] = float(FullResolutionY(in, center.u.point[1]));
    s.center[2] = float(CheckoutParam(in, kCenterZ).u.floatValue);
    s.resolution = PercentParam(in, kResolution);
    s.importFacets = CheckedParam(in, kImportFacets);
    s.isSequence = CheckedParam(in, kIsSequence);
    s.afterSequence = CheckoutParam(in, kAfterSequence).u.popup;
    s.textureMode = CheckoutParam(in, kTextureMode).u.popup;
    s.group = CheckoutParam(in, kGroup).u.popup;
    const PF_Pixel8 color = CheckoutParam(in, kColor).u.color;
    s.color[0] = color.red / 255.0f;
    s.color[1] = color.green / 255.0f;
    s.color[2] = color.blue / 255.0f;
    s.color[3] = float(PercentParam(in, kOpacity));
    s.layerId = uint32_t(CheckoutParam(in, kLayer).u.layerId);
    s.path = FrameFile(in, s.layerId, s.afterSequence);
    return s;
}

// The mesh of this frame; the reader's messages, each a problem with the file, become the host's
// diagnostic lines and a note of the render.
ObjMesh Build(PF_InData* in, const ObjSettings& s) {
    std::ostringstream log;
    ObjMesh mesh = BuildObj(s, log);
    std::istringstream lines(log.str());
    try {
        SuiteCache suites(in);
        for (std::string line; std::getline(lines, line);) suites->diagnostic(line);
        for (const std::string& problem : ObjProblems(log.str(), mesh.badLines))
            suites->renderNote("obj-problem", problem);
    } catch (const HostErrorCode&) {
        // A host without a console loses the messages, not the mesh.
    }
    return mesh;
}

uint64_t Hash(PF_InData* in, ObjectMessage&) {
    return ObjHash(ReadSettings(in));
}

PF_Err Contribute(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    const ObjSettings s = ReadSettings(in);
    m.setPayloadInt(0);
    m.setPayloadGroup(static_cast<int16_t>(s.group));
    AppendObj(s, Build(in, s), *m.geometry);
    return PF_Err_NONE;
}

const GroupHooks kGroupHooks{.groupPopup = &kTable[kGroup], .hash = &Hash};

// With a uniform scale the first scale reads "OBJ Scale" and the other two are hidden; the
// sequence box stays hidden (the import sets it) and its end behaviour shown.
PF_Err UpdateVisibility(PF_InData* in) {
    const bool uniform = CheckedParam(in, kUniformScale);
    SuiteCache suites(in);
    if (const PF_Err err =
            suites->setParamName(in->effect_ref, kScaleX, uniform ? "OBJ Scale" : "OBJ X Scale"))
        return err;
    const ParamRule hidden[] = {
        {kScaleY, uniform}, {kScaleZ, uniform}, {kIsSequence, true}, {kAfterSequence, false}};
    return ShowParameters(in, hidden);
}

PF_Err DoDialog(PF_InData* in, PF_OutData* out) {
    return RunObjImport(in, out, kLayer, kIsSequence);
}

PF_Err Resetup(PF_InData* in, PF_OutData* out) {
    return ObjSequenceResetup(in, out, kLayer);
}

const SubEffectHandlers kHandlers{
    .message = &Contribute,
    .group = &kGroupHooks,
    .visibility = &UpdateVisibility,
    .visibilityOnce = true,
    .sequenceResetup = &Resetup,
    .doDialog = &DoDialog,
    .optionsButtonName = "Import OBJ",
};

}  // namespace

ParamTable OBJSourceParams() {
    return kTable;
}

PF_Err OBJSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                               PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kOBJSourceInfo, kHandlers, cmd, in_data, out_data, params, output, extra);
}

// The effect's row in the module's effect table.
const EffectInfo kOBJSourceInfo{
    8,
    "Tavrin OBJ Object",
    "KDL TAVRSRC OBJ",
    "OBJSourceEntryPointFunc",
    &OBJSourceEntryPointFunc,
    0x200004,
    0x1401,
    EffectRole::Source,
    "OBJ File Source, Create a Tavrin from the points in the OBJ File.",
    true,
    &OBJSourceParams,
    "A source that reads a Wavefront OBJ model (or a numbered sequence of them, one per frame) and "
    "makes its vertices, and its faces if asked.",
    "Import the .obj file as footage on a layer of the comp and choose that layer as OBJ Layer. "
    "Place, scale and turn the model with the Transform OBJ controls; turn on Import Facets to "
    "draw its faces with the Facets renderer."};

}  // namespace tv
