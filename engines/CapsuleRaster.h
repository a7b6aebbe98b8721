// Capsule lines rasterised straight into one tile: each pixel gets the exact area it shares with
// the capsule (the round ends as chords within 1/8 pixel of the arc, the same outline the stroked
// path filled), summed row by row in a scratch the size of the tile. No path, no sorted cells.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "engines/DrawRecords.h"

namespace tv {

// A line from a to b, radius r0 at a and r1 at b: side edges square to the axis at both ends,
// half circles beyond them. Coincident ends lie along (1, 0).
struct Capsule {
    double ax = 0, ay = 0, bx = 0, by = 0;
    double r0 = 0, r1 = 0;
    int32_t chords0 = 1, chords1 = 1;  // straight pieces of each half circle
};

class CapsuleRaster {
  public:
    explicit CapsuleRaster(const ScanTile& tile);

    // Accumulates the capsule's coverage; false when it leaves nothing in the tile (not finite,
    // no radius, or outside).
    bool accumulate(const Capsule& c);

    // Calls rows(x, y, length) for each row the capsule touched, world pixels, before the sweep.
    template <class Rows>
    void touchedRows(const Rows& rows) const {
        for (int32_t y = rowLo_; y <= rowHi_; ++y) {
            const int32_t lo = rowMin_[size_t(y)], hi = std::min(rowMax_[size_t(y)], width_ - 1);
            if (hi >= lo) rows(left_ + lo, top_ + y, hi - lo + 1);
        }
    }

    // Hands each touched row to span(x, y, length, covers) in world pixels, covers 0..255 (255
    // full), and leaves the scratch zero for the next capsule.
    template <class Span>
    void sweep(const Span& span) {
        for (int32_t y = rowLo_; y <= rowHi_; ++y) {
            const int32_t lo = rowMin_[size_t(y)], hi = rowMax_[size_t(y)];
            if (hi < lo) continue;
            const int32_t n = sweepRow(y, lo, hi);
            if (n > 0) span(left_ + lo, top_ + y, n, covers_.data());
        }
        rowLo_ = height_;
        rowHi_ = -1;
    }

  private:
    // Turns row y's cells [lo, hi] into covers, clears them; returns how many lie in the tile.
    int32_t sweepRow(int32_t y, int32_t lo, int32_t hi);
    // One polygon edge in tile coordinates, clipped: left or right of the tile it becomes a
    // vertical on that side (what it adds to the pixels in the tile, and where its rows end);
    // above and below it adds nothing the tile shows.
    void edge(double x0, double y0, double x1, double y1);
    void edgeInX(double x0, double y0, double x1, double y1, float dir);
    void edgeInTile(double x0, double y0, double x1, double y1, float dir);

    ScanTile tile_;
    int32_t tileWidth_, tileHeight_;
    // The current capsule's box in world pixels; its cells are width + 2 per row (an edge on the
    // right side spills two cells).
    int32_t left_, top_, width_, height_, stride_;
    bool inside_ = false;  // the box was not cut by the tile's sides
    std::vector<float> cells_;
    std::vector<int32_t> rowMin_, rowMax_;
    std::vector<uint8_t> covers_;
    int32_t rowLo_, rowHi_;
};

// Chords of a round end as AGG's stroker cuts it (the path lines without perspective sizes took).
int32_t StrokeCapChords(double r);

// CapsuleArcSteps of the radii seen lately: the lines meeting at a vertex share its radius.
class ArcStepCache {
  public:
    int32_t steps(double r);

  private:
    struct Entry {
        double radius = -1;  // no radius asked yet
        int32_t steps = 1;
    };
    std::array<Entry, 512> entries_{};
};

// The capsule a projected line draws: tapered from its start to its end size with perspective
// sizes, else its start size all along, each end cut into as many chords as the path it replaced
// drew.
Capsule LineCapsule(const DrawLine& l, bool perspectiveSizes);
Capsule LineCapsule(const DrawLine& l, bool perspectiveSizes, ArcStepCache& cache);

}  // namespace tv
