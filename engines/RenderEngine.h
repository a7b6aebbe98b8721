// TV_Base_Render: the abstract engine every back end derives from, with the projection, depth
// sort and tiling they share.
#pragma once

#include <string>
#include <vector>

#include "engines/DrawRecords.h"
#include "host/CameraSnapshot.h"
#include "host/HostServices.h"

namespace tv {

class TV_Base_Render : public AEBase {
  public:
    TV_Base_Render(HostServices* host, PF_EffectWorld* world, int32_t bitDepth)
        : host_(host), world_(world), bitDepth_(bitDepth) {}
    virtual ~TV_Base_Render() = default;

    // The slots, in their fixed order. Every draw operation returns a host error code.
    virtual PF_Err drawPoints(std::vector<DrawPoint>&) { return PF_Err_NONE; }
    virtual PF_Err drawLines(std::vector<DrawLine>&) { return PF_Err_NONE; }
    virtual PF_Err drawTriangles(std::vector<DrawTriangle>&) { return PF_Err_NONE; }
    virtual PF_Err drawSprites(std::vector<DrawSprite>&) { return PF_Err_NONE; }
    virtual PF_Err drawBeams(std::vector<BeamPath>&) { return PF_Err_NONE; }
    virtual PF_Err prepareSprites(AEGP_LayerH, const std::vector<A_Time>&) { return PF_Err_NONE; }
    virtual PF_Err finishSprites() { return PF_Err_NONE; }
    virtual PF_Err frameEnded() { return PF_Err_NONE; }
    virtual bool wantsDepthSort() const { return true; }
    virtual bool isGpu() const { return false; }

    void setRenderParams(const double scale[3], const double viewport[4], const float modelView[16],
                         const float projection[16], const double viewDirection[3]);
    // Screen coordinates and pixel sizes in place; false drops the record.
    bool projectPoint(DrawPoint& p) const;
    bool projectLine(DrawLine& l) const;
    bool projectTriangle(DrawTriangle& t) const;
    bool projectSprite(DrawSprite& s) const;
    void splitIntoTiles(const PF_EffectWorld& world, int32_t n, std::vector<ScanTile>& out) const;

    const double* viewDirection() const { return viewDirection_; }
    int32_t bitDepth() const { return bitDepth_; }
    void diagnostic(const std::string& line) const {
        if (host_) host_->diagnostic(line);
    }
    std::string& pendingError() { return pendingError_; }

    CameraSnapshot camera;  // the frame's camera at this pass
    std::string text;       // a name; no engine reads it
    bool perspectiveSizes = false;
    bool legacyProjection = false;
    double cameraScale = 1.0;  // the camera's size scale for the legacy route and soft points

  protected:
    // Normal route: one point to pixels; false when it lies behind the camera.
    bool projectXYZ(const double in[3], double& sx, double& sy, double& rhw) const;
    float projectSize(const double in[3], float size, double sx, double sy) const;
    // Legacy route: one step through projection * modelView; z and rhw are kept.
    void projectCombined(const double in[3], double& sx, double& sy, double& sz, double& rhw) const;
    bool projectLineLegacy(DrawLine& l) const;
    // Runs fn over the tiles through the host's iteration, or serially without a host.
    PF_Err runTiles(const std::vector<ScanTile>& tiles,
                    const std::function<void(const ScanTile&)>& fn) const;

    HostServices* host_;
    PF_EffectWorld* world_;
    int32_t bitDepth_;
    double scale_[3] = {1, 1, 1};
    double viewport_[4] = {0, 0, 0, 0};
    float modelView_[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    float projection_[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    float combined_[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    double viewDirection_[3] = {0, 0, 1};
    std::string pendingError_;
};

// Cuts a segment at the near plane given its two ends' 1/w. Returns 1 when both are in front,
// 0 when both are behind, else the parameter of the cut from the end in front, negated when the
// end in front was the second. `a` and `b` are world positions; the cut end is written back.
double ClipSegmentToNear(double a[3], double b[3], double wa, double wb);

// Far records first, by the dot product of the view direction with each record's centre. An
// unstable introsort: equal keys keep no defined order.
void DepthSort(std::vector<DrawPoint>& points, const double viewDirection[3]);
void DepthSort(std::vector<DrawLine>& lines, const double viewDirection[3]);
void DepthSort(std::vector<DrawTriangle>& triangles, const double viewDirection[3]);
void DepthSort(std::vector<DrawSprite>& sprites, const double viewDirection[3]);

// n x n tiles, rows outer; the last column and row take the remainder. A null world: none.
void SplitIntoTiles(const PF_EffectWorld& world, int32_t n, std::vector<ScanTile>& out);

}  // namespace tv
