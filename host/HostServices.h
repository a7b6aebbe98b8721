// THE seam between the effects and whatever hosts them. Every question an effect asks of its host
// goes through this interface, with plain value types. The effects know nothing of who implements
// it: the embedded host (standalone/) does, and a plug-in adapter for a commercial host would.
//
// A service the host does not provide fails the way a suite fetch fails: it throws
// HostErrorCode{PF_Err_BAD_CALLBACK_PARAM}. The base class implements every operation that way,
// so a host overrides what it offers and the rest fails loudly, never silently.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/BezierPath.h"
#include "host/HostTypes.h"
#include "host/ParamTable.h"

namespace tv {

[[noreturn]] inline void ThrowMissingService() {
    throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
}

// The task queue that runs work at idle on the host's main thread.
class IdleSuite {
  public:
    virtual ~IdleSuite() = default;
    // Runs the task later, at idle, on the host's main thread.
    virtual void queueTask(std::function<void()> task) = 0;
    // Called just before a task is queued at sequence setup, and by the object-panel button.
    virtual void panelNotify() = 0;
    // Called when an effect instance receives a new instance id.
    virtual void instanceIdChanged() = 0;
};

struct HostCameraMatrix {
    double matrix[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    double imagePlaneDistance = 1.0;
    int16_t imagePlaneWidth = 1;
    int16_t imagePlaneHeight = 1;
};

inline constexpr int32_t AEGP_ObjectType_LIGHT = 1;
inline constexpr int32_t AEGP_ObjectType_CAMERA = 2;
inline constexpr int32_t AEGP_LightType_POINT = 2;
inline constexpr int32_t AEGP_ObjectType_AV = 0;
inline constexpr int32_t AEGP_ObjectType_TEXT = 3;
inline constexpr int32_t AEGP_LightType_SPOT = 1;
inline constexpr uint32_t AEGP_LayerFlag_NULL_LAYER = 0x8000;

// One mask of a layer at a time: its name, colour, opacity (percent), and path in layer pixels.
struct MaskData {
    std::string name;
    float color[3] = {1, 1, 0};
    double opacity = 100;
    bool inverted = false;
    BezierPath path;
};

class HostServices {
  public:
    virtual ~HostServices() = default;

    // ---- effects of a layer ----------------------------------------------------------------
    virtual int32_t layerNumEffects(AEGP_LayerH) { ThrowMissingService(); }
    // Returns a new reference; the caller disposes it.
    virtual AEGP_EffectRefH layerEffectByIndex(AEGP_PluginID, AEGP_LayerH, int32_t) {
        ThrowMissingService();
    }
    virtual AEGP_InstalledEffectKey installedKeyFromLayerEffect(AEGP_EffectRefH) {
        ThrowMissingService();
    }
    virtual std::string effectMatchName(AEGP_InstalledEffectKey) { ThrowMissingService(); }
    virtual std::string effectDisplayName(AEGP_InstalledEffectKey) { ThrowMissingService(); }
    virtual uint32_t effectFlags(AEGP_EffectRefH) { ThrowMissingService(); }
    virtual PF_Err disposeEffect(AEGP_EffectRefH) { ThrowMissingService(); }
    // Calls the effect's entry function with the command and the extra record.
    virtual PF_Err effectCallGeneric(AEGP_PluginID, AEGP_EffectRefH, const A_Time&, PF_Cmd, void*) {
        ThrowMissingService();
    }
    // The effect reference of the calling instance; the caller disposes it.
    virtual AEGP_EffectRefH effectFromInstance(AEGP_PluginID, PF_ProgPtr) { ThrowMissingService(); }
    // The layer an effect sits on.
    virtual AEGP_LayerH effectLayer(AEGP_EffectRefH) { ThrowMissingService(); }

    // ---- installed effects ---------------------------------------------------------------
    virtual int32_t numInstalledEffects() { ThrowMissingService(); }
    // 0 starts the walk; returns 0 after the last.
    virtual AEGP_InstalledEffectKey nextInstalledEffect(AEGP_InstalledEffectKey) {
        ThrowMissingService();
    }
    // Appends a new instance of the installed effect to the layer's stack.
    // Moves an effect to position `index` (from 0) in its layer's stack.
    virtual PF_Err reorderEffect(AEGP_EffectRefH, int32_t) { ThrowMissingService(); }
    virtual AEGP_EffectRefH applyEffect(AEGP_PluginID, AEGP_LayerH, AEGP_InstalledEffectKey) {
        ThrowMissingService();
    }

    // ---- layers, items and comps -----------------------------------------------------------
    virtual uint32_t layerId(AEGP_LayerH) { ThrowMissingService(); }
    virtual AEGP_LayerH layerFromLayerId(AEGP_CompH, uint32_t) { ThrowMissingService(); }
    virtual AEGP_CompH layerParentComp(AEGP_LayerH) { ThrowMissingService(); }
    virtual uint32_t layerFlags(AEGP_LayerH) { ThrowMissingService(); }
    virtual std::string layerName(AEGP_LayerH) { ThrowMissingService(); }
    // The layer's source item; 0 for a layer without one (a camera, a light, a text layer).
    virtual AEGP_ItemH layerSourceItem(AEGP_LayerH) { ThrowMissingService(); }
    virtual AEGP_ItemType itemType(AEGP_ItemH) { ThrowMissingService(); }
    // A footage item's files: the one file, or every file of a numbered sequence in frame order;
    // empty when the item is not file footage.
    virtual std::vector<std::string> footageFiles(AEGP_ItemH) { ThrowMissingService(); }
    // A solid item's colour, straight R, G, B in 0..1; fails for other items.
    virtual void itemSolidColor(AEGP_ItemH, float[3]) { ThrowMissingService(); }
    // The layer's parent layer; 0 when it has none.
    virtual AEGP_LayerH layerParent(AEGP_LayerH) { ThrowMissingService(); }
    virtual AEGP_CompH compFromItem(AEGP_ItemH) { ThrowMissingService(); }
    virtual int32_t compNumLayers(AEGP_CompH) { ThrowMissingService(); }
    virtual AEGP_LayerH compLayerByIndex(AEGP_CompH, int32_t) { ThrowMissingService(); }
    // Whether the layer is present (between its in and out points) at a comp time.
    virtual bool layerActiveAtTime(AEGP_LayerH, const A_Time&) { ThrowMissingService(); }

    // ---- camera and lights ------------------------------------------------------------------
    // The effect's time as comp time.
    virtual A_Time convertEffectToCompTime(PF_ProgPtr, int32_t, uint32_t) { ThrowMissingService(); }
    // The comp's active camera as seen by the effect: row-major camera-to-world matrix, the
    // distance to the image plane and the image plane's size. Without a camera layer, the
    // default view.
    virtual HostCameraMatrix effectCameraMatrix(PF_ProgPtr, const A_Time&) {
        ThrowMissingService();
    }
    // The active camera layer at a comp time; 0 when the comp has none.
    virtual AEGP_LayerH effectCamera(PF_ProgPtr, const A_Time&) { ThrowMissingService(); }
    // Film size units (1 horizontal, 2 vertical, 3 diagonal) and size.
    virtual void cameraFilmSize(AEGP_LayerH, int32_t*, double*) { ThrowMissingService(); }
    virtual int32_t cameraType(AEGP_LayerH) { ThrowMissingService(); }  // 0 persp., 1 ortho.
    // A layer stream's value at a comp time (stream numbers of the host: 0 anchor point, the
    // point of interest for lights and cameras, 4 opacity, 11 zoom, 12 depth of
    // field, 13 focus distance, 14 aperture, 15 blur level, 16 intensity, 17 colour, 20 shadow
    // darkness, 21 shadow diffusion).
    virtual void layerStreamValue(AEGP_LayerH, int32_t, const A_Time&, double[4]) {
        ThrowMissingService();
    }
    virtual int32_t layerObjectType(AEGP_LayerH) { ThrowMissingService(); }  // 1 light, 2 camera
    virtual int32_t layerLightType(AEGP_LayerH) { ThrowMissingService(); }   // 2 point
    // Row-major layer-to-world matrix at a comp time.
    virtual void layerToWorldXform(AEGP_LayerH, const A_Time&, double[16]) {
        ThrowMissingService();
    }
    virtual void compDimensions(AEGP_CompH, int32_t*, int32_t*) { ThrowMissingService(); }
    // The comp's duration, and its work area (start and duration), in comp time.
    virtual A_Time compDuration(AEGP_CompH) { ThrowMissingService(); }
    virtual void compWorkArea(AEGP_CompH, A_Time*, A_Time*) { ThrowMissingService(); }

    // ---- time ------------------------------------------------------------------------------
    virtual A_Time convertCompToLayerTime(AEGP_LayerH, const A_Time&) { ThrowMissingService(); }
    // How long a layer lasts, in its own time (its out point less its in point).
    virtual A_Time layerDuration(AEGP_LayerH) { ThrowMissingService(); }
    virtual A_Time convertLayerToCompTime(AEGP_LayerH, const A_Time&) { ThrowMissingService(); }

    // ---- parameters of the calling instance ------------------------------------------------
    // Adds one parameter during PF_Cmd_PARAMS_SETUP, in table order.
    virtual PF_Err addParam(PF_ProgPtr, const ParamSpec&) { ThrowMissingService(); }
    // The value of parameter `index` at `time` (in `scale` ticks per second).
    virtual PF_Err checkoutParam(PF_ProgPtr, int32_t, int32_t, int32_t, uint32_t, PF_ParamDef*) {
        ThrowMissingService();
    }
    virtual PF_Err checkinParam(PF_ProgPtr, PF_ParamDef*) { ThrowMissingService(); }
    // Writes a new (static) value of parameter `index`, as the stream suite's set-value does.
    virtual PF_Err setParamValue(PF_ProgPtr, int32_t, const PF_ParamDef&) { ThrowMissingService(); }
    // Shows or hides parameter `index` in the host's panel.
    virtual PF_Err setParamHidden(PF_ProgPtr, int32_t, bool) { ThrowMissingService(); }
    // Rewrites the label shown beside parameter `index`'s control (a checkbox's text), and marks
    // the parameter changed.
    virtual PF_Err setParamLabel(PF_ProgPtr, int32_t, const std::string&) { ThrowMissingService(); }
    // The label of the effect's options button (the host's effect UI suite).
    virtual PF_Err setOptionsButtonName(PF_ProgPtr, const std::string&) { ThrowMissingService(); }
    // Renames parameter `index`'s stream as the panel shows it (the dynamic stream's name).
    virtual PF_Err setParamName(PF_ProgPtr, int32_t, const std::string&) { ThrowMissingService(); }

    // ---- pixels of the smart-render protocol ------------------------------------------------
    // The input layer's pixels (index 0) or a layer parameter's, at the current time; a null
    // world when the parameter names no layer. Each checkout is checked in.
    virtual PF_Err checkoutLayerPixels(PF_ProgPtr, int32_t, PF_EffectWorld**) {
        ThrowMissingService();
    }
    virtual PF_Err checkinLayerPixels(PF_ProgPtr, int32_t) { ThrowMissingService(); }
    virtual PF_Err checkoutOutput(PF_ProgPtr, PF_EffectWorld**) { ThrowMissingService(); }
    // A layer's frame as a sprite shows it: its source and effects at `layerTime` (the layer's
    // own time), at 8 or 32 bits, straight A, R, G, B; a null world when it has no pixels.
    // Each checkout is checked in.
    virtual PF_Err checkoutLayerFrame(AEGP_LayerH, const A_Time&, int32_t, PF_EffectWorld**) {
        ThrowMissingService();
    }
    virtual PF_Err checkinLayerFrame(PF_EffectWorld*) { ThrowMissingService(); }

    // ---- audio -------------------------------------------------------------------------------
    // The audio of layer parameter `index`, mixed to mono float samples at `rate` Hz, for
    // `lengthSeconds` from `startSeconds` of the effect's own time; silence where the layer has
    // no sound. Fails when the parameter names no layer with audio.
    // ---- footage of the project ------------------------------------------------------------
    // The footage whose file is `path`, or whose comment is (then `byComment` is set); 0: none.
    virtual AEGP_ItemH findFootage(const std::string& /*path*/, bool& /*byComment*/) {
        ThrowMissingService();
    }
    // Imports OBJ footage of these files (a sequence when more than one; a placeholder when
    // none) with the comment given.
    virtual AEGP_ItemH importFootage(const std::vector<std::string>&, const std::string&) {
        ThrowMissingService();
    }
    // Points footage at other files (a relinked file, a sequence's list made again): every
    // layer that shows the item shows them.
    virtual void replaceFootageFiles(AEGP_ItemH, const std::vector<std::string>&) {
        ThrowMissingService();
    }
    // A layer of the comp that shows the item, or 0; and a new one.
    virtual AEGP_LayerH compLayerOfItem(AEGP_CompH, AEGP_ItemH) { ThrowMissingService(); }
    virtual AEGP_LayerH addLayerOfItem(AEGP_CompH, AEGP_ItemH) { ThrowMissingService(); }

    // ---- scripts ------------------------------------------------------------------------------
    // Runs a script in the host's scripting engine; the result text of its last expression, or
    // an error text.
    virtual PF_Err executeScript(const std::string&, std::string& /*result*/,
                                 std::string& /*error*/) {
        ThrowMissingService();
    }

    // ---- paths of the effect's own layer --------------------------------------------------
    // The number of masks of the layer the effect is on.
    virtual int32_t layerMaskCount(PF_ProgPtr) { ThrowMissingService(); }
    // Mask `index` (0-based) at a comp time.
    virtual PF_Err layerMask(PF_ProgPtr, int32_t, const A_Time&, MaskData&) {
        ThrowMissingService();
    }
    // The outlines of a text layer's glyphs at a comp time, one closed path per contour, in
    // layer pixels; an error with a message when the font cannot be read.
    virtual PF_Err layerTextOutlines(PF_ProgPtr, const A_Time&, std::vector<BezierPath>&) {
        ThrowMissingService();
    }

    virtual PF_Err layerAudio(PF_ProgPtr, int32_t, double, double, int32_t, std::vector<float>&) {
        ThrowMissingService();
    }
    // A token for what layer parameter `index` shows from `time` over `timeStep` (same scale):
    // it changes whenever those pixels may change and is stable otherwise.
    virtual uint64_t layerParamStateToken(PF_ProgPtr, int32_t, const A_Time&, int32_t) {
        ThrowMissingService();
    }

    // ---- handles -----------------------------------------------------------------------------
    virtual PF_Handle newHandle(uint64_t) { ThrowMissingService(); }
    // Returns the bytes, or null when the handle cannot be locked.
    virtual void* lockHandle(PF_Handle) { ThrowMissingService(); }
    virtual void unlockHandle(PF_Handle) { ThrowMissingService(); }
    virtual void disposeHandle(PF_Handle) { ThrowMissingService(); }
    virtual uint64_t handleSize(PF_Handle) { ThrowMissingService(); }

    // ---- system ------------------------------------------------------------------------------
    // A fresh 16-byte GUID in the field order of CoCreateGuid.
    virtual void newGuid(uint8_t[16]) { ThrowMissingService(); }
    // The idle task queue; null when the host has none.
    virtual IdleSuite* acquireIdleSuite() { ThrowMissingService(); }
    virtual void releaseIdleSuite(IdleSuite*) { ThrowMissingService(); }
    // Runs fn(i) for i in 0..count-1, possibly in parallel; the first non-zero result wins.
    virtual PF_Err iterate(int32_t, const std::function<PF_Err(int32_t)>&) {
        ThrowMissingService();
    }
    // A diagnostic line: what the effects print on standard output.
    virtual void diagnostic(const std::string&) { ThrowMissingService(); }
    // A message for the user, outside of a command's return message.
    virtual void reportInfo(const std::string&) { ThrowMissingService(); }
    // How a frame was drawn, for a host that tells its user: `key` names the fact ("path",
    // "no-gpu", "facets-skipped"), `text` says it. A host that shows nothing ignores it.
    virtual void renderNote(const std::string& /*key*/, const std::string& /*text*/) {}
};

}  // namespace tv
