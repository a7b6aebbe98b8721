// TV_Base_Render: the abstract engine every back end derives from, with the projection, depth
// sort and tiling they share; TV_Pass_Render: an engine that draws a frame in passes.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "engines/DrawRecords.h"
#include "host/CameraSnapshot.h"
#include "host/HostServices.h"

namespace tv {

// Where an engine's time went over its draw calls, summed, for callers that ask (benchmarks).
struct EngineTimes {
    double projectSeconds = 0;  // projecting the records and finding the tiles each one touches
    double tileSeconds = 0;     // drawing the tiles
};

// One draw call's records after projection (projected in place in the call's array), in blocks
// of their input order: each block notes the records of its stretch that projected, the columns
// and rows of the tile grid each one's bounds touch (bit c for column c, bit 8 + r for row r),
// and lists, tile by tile, the records touching the tile, so a tile walks only its own records
// instead of testing every record of the call.
template <class Record>
struct TiledRecords {
    struct Block {
        std::vector<uint32_t> kept;          // indices into the call's array of the records drawn
        std::vector<uint16_t> touches;       // one per kept record
        std::array<uint32_t, 64> perTile{};  // records touching each tile, row * grid + column
        // Tile t's records are records[inTiles[k]] for k in [tileStart[t], tileStart[t + 1]),
        // in record order.
        std::array<uint32_t, 65> tileStart{};
        std::vector<uint32_t> inTiles;
    };
    const Record* records = nullptr;  // the call's array, projected
    std::vector<Block> blocks;
    int32_t grid = 1;  // tiles per row and per column

    // The tile indices [0, count) by the number of records touching them, most first.
    std::vector<size_t> busiestFirst(size_t count) const {
        std::array<uint64_t, 64> total{};
        for (const Block& block : blocks)
            for (size_t t = 0; t < count && t < total.size(); ++t) total[t] += block.perTile[t];
        std::vector<size_t> order(count);
        for (size_t t = 0; t < count; ++t) order[t] = t;
        std::stable_sort(order.begin(), order.end(), [&total](size_t a, size_t b) {
            return (a < total.size() ? total[a] : 0) > (b < total.size() ? total[b] : 0);
        });
        return order;
    }

    // Calls fn with each record whose bounds touch tile `index` (row * grid + column), in order.
    template <class Fn>
    void forEachInTile(size_t index, Fn&& fn) const {
        for (const Block& block : blocks)
            for (uint32_t k = block.tileStart[index]; k < block.tileStart[index + 1]; ++k)
                fn(records[block.inTiles[k]]);
    }

    // Calls fn(tile) for each tile a `touches` value names.
    template <class Fn>
    static void forEachTouched(uint16_t touches, size_t grid, Fn&& fn) {
        for (unsigned rows = touches >> 8u; rows; rows &= rows - 1)
            for (unsigned cols = touches & 0xFFu; cols; cols &= cols - 1)
                fn(size_t(std::countr_zero(rows)) * grid + size_t(std::countr_zero(cols)));
    }

    // Lays out a block's per-tile lists from its touches and counts.
    static void listTiles(Block& block, size_t grid) {
        uint32_t sum = 0;
        for (size_t t = 0; t < block.perTile.size(); ++t) {
            block.tileStart[t] = sum;
            sum += block.perTile[t];
        }
        block.tileStart[block.perTile.size()] = sum;
        block.inTiles.resize(sum);
        std::array<uint32_t, 64> next;
        std::copy(block.tileStart.begin(), block.tileStart.end() - 1, next.begin());
        for (size_t i = 0; i < block.touches.size(); ++i)
            forEachTouched(block.touches[i], grid,
                           [&](size_t t) { block.inTiles[next[t]++] = block.kept[i]; });
    }
};

class TV_Base_Render : public AEBase {
  public:
    TV_Base_Render(HostServices* host, PF_EffectWorld* world, int32_t bitDepth)
        : host_(host), world_(world), bitDepth_(bitDepth) {}
    virtual ~TV_Base_Render() = default;

    // The slots, in their fixed order. Every draw operation returns a host error code. The
    // software engines project the records in place (no copy of a call's records is made), so
    // after a draw the array holds screen coordinates: draw each array once.
    virtual PF_Err drawPoints(std::vector<DrawPoint>&) { return PF_Err_NONE; }
    virtual PF_Err drawLines(std::vector<DrawLine>&) { return PF_Err_NONE; }
    virtual PF_Err drawTriangles(std::vector<DrawTriangle>&) { return PF_Err_NONE; }
    virtual PF_Err drawSprites(std::vector<DrawSprite>&) { return PF_Err_NONE; }
    virtual PF_Err drawBeams(std::vector<BeamPath>&) { return PF_Err_NONE; }
    virtual PF_Err prepareSprites(AEGP_LayerH, const std::vector<A_Time>&) { return PF_Err_NONE; }
    virtual PF_Err finishSprites() { return PF_Err_NONE; }
    virtual PF_Err frameEnded() { return PF_Err_NONE; }
    virtual bool wantsDepthSort() const { return true; }
    // Records per drawing call for an engine that draws each call whole before it returns, so
    // that a frame of millions of lines is fed in batches and never holds all of their records;
    // 0: all of a render item's records in one call.
    virtual size_t recordsPerCall() const { return 0; }
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
    HostServices* host() const { return host_; }
    int32_t bitDepth() const { return bitDepth_; }
    void diagnostic(const std::string& line) const {
        if (host_) host_->diagnostic(line);
    }
    std::string& pendingError() { return pendingError_; }

    // The layer of the effect's comp with id `layerId`, and whether its source is a composition
    // (what a sprite must be); 0 when there is none or no host.
    AEGP_LayerH spriteLayer(int32_t layerId, bool& isComp) const;

    CameraSnapshot camera;     // the frame's camera at this pass
    PF_ProgPtr effectRef = 0;  // the main effect drawing this frame
    std::string text;          // a name; no engine reads it
    bool perspectiveSizes = false;
    bool legacyProjection = false;
    double cameraScale = 1.0;      // the camera's size scale for the legacy route and soft points
    EngineTimes* times = nullptr;  // when set, the draw calls add their time here

  protected:
    static constexpr int32_t kTileGrid = 5;  // the engines draw 5 x 5 tiles
    // A software engine's batch: some 27 MB of line records, enough that the tiles' fixed
    // costs stay small against the drawing.
    static constexpr size_t kSoftwareRecordsPerCall = size_t(1) << 18;
    using Clock = std::chrono::steady_clock;
    // Adds the time since `start` to one field of `times`, when a caller asked; returns now.
    Clock::time_point addTime(double EngineTimes::*field, Clock::time_point start) const {
        const Clock::time_point now = Clock::now();
        if (times) times->*field += std::chrono::duration<double>(now - start).count();
        return now;
    }
    // Normal route: one point to pixels; false when it lies behind the camera. `view` is the
    // point through the model-view matrix (viewOf), which the size's projection shares.
    void viewOf(const double in[3], float view[4]) const;
    bool projectXYZ(const float view[4], double& sx, double& sy, double& rhw) const;
    float projectSize(const float view[4], float size, double sx, double sy) const;
    // Legacy route: one step through projection * modelView; z and rhw are kept.
    void projectCombined(const double in[3], double& sx, double& sy, double& sz, double& rhw) const;
    bool projectLineLegacy(DrawLine& l) const;
    // Runs fn over the tiles through the host's iteration, or serially without a host. With
    // `order`, the threads take the tiles in that order (the busiest first, so the last tile to
    // finish is a short one); tiles draw into their own pixels, so the order changes no pixel.
    PF_Err runTiles(const std::vector<ScanTile>& tiles,
                    const std::function<void(const ScanTile&)>& fn,
                    const std::vector<size_t>* order = nullptr) const;

    // Projects the records in place and notes which tiles of the grid (from SplitIntoTiles, up
    // to 8 x 8) each one touches. A record touches a tile when it touches the tile's column
    // (`inColumn`, which reads only left and right) and its row (`inRow`, only top and bottom);
    // false only where the record draws nothing. Blocks of records run on the host's threads
    // when there are several; one block runs here, so a small call iterates once, for its tiles.
    template <class Record, class Project, class InColumn, class InRow>
    PF_Err projectIntoTiles(std::vector<Record>& in, const std::vector<ScanTile>& tiles,
                            int32_t grid, const Project& project, const InColumn& inColumn,
                            const InRow& inRow, TiledRecords<Record>& out) const {
        constexpr size_t kBlock = 1024;
        const size_t blocks = (in.size() + kBlock - 1) / kBlock;
        const auto n = size_t(grid);
        out.grid = grid;
        out.records = in.data();
        out.blocks.resize(blocks);
        auto job = [&](int32_t b) -> PF_Err {
            typename TiledRecords<Record>::Block& block = out.blocks[size_t(b)];
            const size_t first = size_t(b) * kBlock, last = std::min(in.size(), first + kBlock);
            block.kept.reserve(last - first);
            block.touches.reserve(last - first);
            for (size_t i = first; i < last; ++i) {
                Record& r = in[i];
                if (!project(r)) continue;
                uint16_t touches = 0;
                for (size_t c = 0; c < n; ++c)
                    if (inColumn(r, tiles[c])) touches = uint16_t(touches | (1u << c));
                for (size_t row = 0; row < n; ++row)
                    if (inRow(r, tiles[row * n])) touches = uint16_t(touches | (1u << (8 + row)));
                block.kept.push_back(uint32_t(i));
                block.touches.push_back(touches);
                TiledRecords<Record>::forEachTouched(touches, n,
                                                     [&block](size_t t) { ++block.perTile[t]; });
            }
            TiledRecords<Record>::listTiles(block, n);
            return PF_Err_NONE;
        };
        if (host_ && blocks > 1) return host_->iterate(int32_t(blocks), job);
        for (size_t b = 0; b < blocks; ++b) job(int32_t(b));
        return PF_Err_NONE;
    }

    // The tiled draw of one call, the same for every software engine: the world cut into
    // kTileGrid x kTileGrid tiles, the records projected once and handed to the tiles they reach
    // (projectIntoTiles, with `project`, `inColumn` and `inRow` as there), then every tile on the
    // host's threads calling `drawTile(tile, forEach)`, where forEach(fn) calls fn with each of
    // the tile's records in order. Both stages are timed when a caller asked.
    template <class Record, class Project, class InColumn, class InRow, class DrawTile>
    PF_Err drawTiled(std::vector<Record>& records, const Project& project, const InColumn& inColumn,
                     const InRow& inRow, const DrawTile& drawTile) const {
        if (records.empty()) return PF_Err_NONE;
        Clock::time_point start = Clock::now();
        std::vector<ScanTile> tiles;
        splitIntoTiles(*world_, kTileGrid, tiles);
        if (tiles.empty()) return PF_Err_NONE;
        TiledRecords<Record> tiled;
        const PF_Err projectErr =
            projectIntoTiles(records, tiles, kTileGrid, project, inColumn, inRow, tiled);
        if (projectErr) return projectErr;
        start = addTime(&EngineTimes::projectSeconds, start);
        const std::vector<size_t> order = tiled.busiestFirst(tiles.size());
        const PF_Err err = runTiles(
            tiles,
            [&](const ScanTile& tile) {
                const auto t = size_t(&tile - tiles.data());
                drawTile(tile, [&](const auto& fn) { tiled.forEachInTile(t, fn); });
            },
            &order);
        addTime(&EngineTimes::tileSeconds, start);
        return err;
    }

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

// An engine that draws a frame in passes over its samples into render targets of its own, then
// composites them and reads the result back into a world: the GL engine. The frame driver's
// unified path runs it through these calls only.
class TV_Pass_Render : public TV_Base_Render {
  public:
    using TV_Base_Render::TV_Base_Render;

    // The frame's targets: passes accumulated (or multisampled), width x height.
    virtual void allocateTargets(bool accumulate, int32_t width, int32_t height) = 0;
    // "Polygon Visibility": 1 both sides, 2 front facing (cull back), 3 back facing (cull front).
    virtual void setCullMode(int32_t popup) = 0;
    // A layer's pixels as depth, white at depthNear and dark at depthFar (world units); null
    // world: no depth map.
    virtual void prepareDepthLayer(const PF_EffectWorld* layer, float depthNear,
                                   float depthFar) = 0;
    // The frame's sample count and blur factor, and each sample's offsets.
    virtual void prepareSamples(const CameraSnapshot& camera, int32_t sampleCount,
                                float blurFactor) = 0;
    // The samples [start, end) that the next renderPasses draws, with the time sample's camera.
    virtual void setPassRange(const CameraSnapshot& camera, int32_t sampleCount, float blurFactor,
                              int32_t start, int32_t end) = 0;
    // Forgets what the last time sample drew, before the next one's records arrive.
    virtual void clearDrawables() = 0;
    virtual void renderPasses() = 0;
    virtual void compositeFrame() = 0;
    virtual void readBack(PF_EffectWorld& world) = 0;

    // Fades and clip distances in view units (world / the camera's scale).
    float nearFade = 0, farFade = 0, zNear = 0, zFar = 0;
    bool applyDof = false;  // lens offsets in the samples (read by prepareSamples)
    int32_t passesRun = 0;  // passes drawn so far in this frame
    // Why a call failed when the reason is the engine's own (a GPU limit), for the frame's error.
    std::string failure;
};

// Cuts a segment at the near plane given its two ends' 1/w. Returns 1 when both are in front,
// 0 when both are behind, else the parameter of the cut from the end in front, negated when the
// end in front was the second. `a` and `b` are world positions; the cut end is written back.
double ClipSegmentToNear(double a[3], double b[3], double wa, double wb);

// A record's depth: the dot product of the view direction with its centre. The sort key, the
// greater first.
double DepthKey(const DrawPoint& p, const double viewDirection[3]);
double DepthKey(const DrawSprite& s, const double viewDirection[3]);
double DepthKey(const DrawLine& l, const double viewDirection[3]);
// A line's key from its two ends, as DepthKey of a record with those ends.
double LineDepthKey(const double start[3], const double end[3], const double viewDirection[3]);
double DepthKey(const DrawTriangle& t, const double viewDirection[3]);

// Far records first, by the dot product of the view direction with each record's centre. An
// unstable introsort: equal keys keep no defined order, but the same one every time, with or
// without a host; with one, large sorts run on its threads.
void DepthSort(std::vector<DrawPoint>& points, const double viewDirection[3],
               HostServices* host = nullptr);
void DepthSort(std::vector<DrawLine>& lines, const double viewDirection[3],
               HostServices* host = nullptr);
void DepthSort(std::vector<DrawTriangle>& triangles, const double viewDirection[3],
               HostServices* host = nullptr);
void DepthSort(std::vector<DrawSprite>& sprites, const double viewDirection[3],
               HostServices* host = nullptr);

// n x n tiles, rows outer; the last column and row take the remainder. A null world: none.
void SplitIntoTiles(const PF_EffectWorld& world, int32_t n, std::vector<ScanTile>& out);

}  // namespace tv
