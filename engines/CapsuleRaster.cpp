#include "engines/CapsuleRaster.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "engines/AGGEngine.h"

namespace tv {

namespace {
constexpr double kPi = 3.14159265358979323846;

// The turn of one chord of a half circle cut into n (1 to 1024), worked out once: a million
// short lines would otherwise spend more on the cosine and sine than on their pixels.
struct ArcTurn {
    double cs = 1, sn = 0;
};
const std::vector<ArcTurn>& ArcTurns() {
    static const std::vector<ArcTurn> turns = [] {
        std::vector<ArcTurn> t(1025);
        for (int32_t n = 1; n <= 1024; ++n) {
            const double step = kPi / n;
            t[size_t(n)] = ArcTurn{std::cos(step), -std::sin(step)};
        }
        return t;
    }();
    return turns;
}

bool Finite(const Capsule& c) {
    return std::isfinite(c.ax) && std::isfinite(c.ay) && std::isfinite(c.bx) &&
           std::isfinite(c.by) && std::isfinite(c.r0) && std::isfinite(c.r1);
}
}  // namespace

CapsuleRaster::CapsuleRaster(const ScanTile& tile)
    : tile_(tile),
      tileWidth_(std::max(tile.right - tile.left, 0)),
      tileHeight_(std::max(tile.bottom - tile.top, 0)),
      left_(tile.left),
      top_(tile.top),
      width_(0),
      height_(0),
      stride_(2),
      rowMin_(size_t(tileHeight_), std::numeric_limits<int32_t>::max()),
      rowMax_(size_t(tileHeight_), -1),
      covers_(size_t(tileWidth_ + 2), 0),
      rowLo_(0),
      rowHi_(-1) {}

// Signed area accumulation: each row an edge crosses gets, per cell, the area its piece leaves
// to the cell's right; a running sum along the row is then the covered area of each pixel.
void CapsuleRaster::edgeInTile(double x0, double y0, double x1, double y1, float dir) {
    const double dxdy = (x1 - x0) / (y1 - y0);
    const double w = width_;
    double x = x0;
    const int32_t yBegin = int32_t(y0);
    const int32_t yEnd = std::min(height_, int32_t(std::ceil(y1)));
    if (yBegin >= yEnd) return;
    rowLo_ = std::min(rowLo_, yBegin);
    rowHi_ = std::max(rowHi_, yEnd - 1);
    for (int32_t yi = yBegin; yi < yEnd; ++yi) {
        const double dy = std::min(double(yi + 1), y1) - std::max(double(yi), y0);
        const double xNext = x + dxdy * dy;
        const double d = dy * dir;
        const double xa = std::clamp(std::min(x, xNext), 0.0, w);
        const double xb = std::clamp(std::max(x, xNext), 0.0, w);
        float* row = cells_.data() + size_t(yi) * size_t(stride_);
        // Both lie in [0, w]: truncation is the floor, and the ceiling one more unless exact
        // (without SSE4.1 std::floor and std::ceil are long bit tricks, per row of every edge).
        const int32_t ia = int32_t(xa);
        const int32_t ib = int32_t(xb) + (double(int32_t(xb)) < xb ? 1 : 0);
        const double xaFloor = ia, xbCeil = ib;
        int32_t& rowMin = rowMin_[size_t(yi)];
        int32_t& rowMax = rowMax_[size_t(yi)];
        rowMin = std::min(rowMin, ia);
        if (ib <= ia + 1) {
            const double mid = 0.5 * (xa + xb) - xaFloor;
            row[ia] += float(d * (1 - mid));
            row[ia + 1] += float(d * mid);
            rowMax = std::max(rowMax, ia + 1);
        } else {
            const double s = 1 / (xb - xa);
            const double fa = xa - xaFloor;
            const double a0 = 0.5 * s * (1 - fa) * (1 - fa);
            const double fb = xb - xbCeil + 1;
            const double am = 0.5 * s * fb * fb;
            row[ia] += float(d * a0);
            if (ib == ia + 2) {
                row[ia + 1] += float(d * (1 - a0 - am));
            } else {
                const double a1 = s * (1.5 - fa);
                row[ia + 1] += float(d * (a1 - a0));
                const float ds = float(d * s);
                for (int32_t xi = ia + 2; xi < ib - 1; ++xi) row[xi] += ds;
                const double a2 = a1 + double(ib - ia - 3) * s;
                row[ib - 1] += float(d * (1 - a2 - am));
            }
            row[ib] += float(d * am);
            rowMax = std::max(rowMax, ib);
        }
        x = xNext;
    }
}

// Splits a piece with y0 < y1 where it crosses the tile's left and right sides.
void CapsuleRaster::edgeInX(double x0, double y0, double x1, double y1, float dir) {
    const double w = width_;
    double ts[4] = {0, 0, 0, 1};
    int32_t n = 1;
    for (const double side : {0.0, w}) {
        if ((x0 < side) != (x1 < side)) ts[n++] = (side - x0) / (x1 - x0);
    }
    ts[n++] = 1;
    if (n == 4 && ts[1] > ts[2]) std::swap(ts[1], ts[2]);
    for (int32_t i = 0; i + 1 < n; ++i) {
        const double ta = ts[i], tb = ts[i + 1];
        if (!(tb > ta)) continue;
        const double ya = y0 + (y1 - y0) * ta, yb = i + 2 == n ? y1 : y0 + (y1 - y0) * tb;
        const double xa = x0 + (x1 - x0) * ta, xb = i + 2 == n ? x1 : x0 + (x1 - x0) * tb;
        const double xm = 0.5 * (xa + xb);
        if (!(yb > ya)) continue;
        if (xm <= 0)
            edgeInTile(0, ya, 0, yb, dir);
        else if (xm >= w)
            edgeInTile(w, ya, w, yb, dir);  // closes the rows that run out of the tile
        else
            edgeInTile(std::clamp(xa, 0.0, w), ya, std::clamp(xb, 0.0, w), yb, dir);
    }
}

void CapsuleRaster::edge(double x0, double y0, double x1, double y1) {
    if (!(std::isfinite(x0) && std::isfinite(y0) && std::isfinite(x1) && std::isfinite(y1))) return;
    if (y0 == y1) return;  // a horizontal edge moves no area
    float dir = 1;
    if (y0 > y1) std::swap(x0, x1), std::swap(y0, y1), dir = -1;
    // A capsule whose box (with its pixel of margin) lies in the tile needs no clipping.
    if (inside_) return edgeInTile(x0, y0, x1, y1, dir);
    const double h = height_;
    if (y1 <= 0 || y0 >= h) return;
    const double dxdy = (x1 - x0) / (y1 - y0);
    if (y0 < 0) x0 += dxdy * (0 - y0), y0 = 0;
    if (y1 > h) x1 -= dxdy * (y1 - h), y1 = h;
    if (!(y1 > y0)) return;
    edgeInX(x0, y0, x1, y1, dir);
}

bool CapsuleRaster::accumulate(const Capsule& c) {
    if (tileWidth_ == 0 || tileHeight_ == 0 || !Finite(c)) return false;
    if (!(c.r0 > 0) && !(c.r1 > 0)) return false;
    // The cells cover the capsule's box in the tile (a pixel of margin), packed row after row:
    // a line's edges and its sweep stay in a few kilobytes however large the tile.
    const double reach = std::max(c.r0, c.r1) + 1;
    bool clipped = false;
    auto span = [&clipped](double lo, double hi, int32_t from, int32_t size, int32_t& start,
                           int32_t& count) {
        const double a0 = std::floor(lo) - from, b0 = std::ceil(hi) - from;
        const double a = std::clamp(a0, 0.0, double(size)), b = std::clamp(b0, 0.0, double(size));
        clipped = clipped || a != a0 || b != b0;
        start = int32_t(a);
        count = int32_t(b) - start;
    };
    int32_t boxX = 0, boxY = 0;
    span(std::min(c.ax, c.bx) - reach, std::max(c.ax, c.bx) + reach, tile_.left, tileWidth_, boxX,
         width_);
    span(std::min(c.ay, c.by) - reach, std::max(c.ay, c.by) + reach, tile_.top, tileHeight_, boxY,
         height_);
    if (width_ <= 0 || height_ <= 0) return false;
    left_ = tile_.left + boxX, top_ = tile_.top + boxY;
    inside_ = !clipped;
    stride_ = width_ + 2;
    // Grown only (the sweep leaves every cell zero), to what the largest box so far needed.
    const size_t cells = size_t(stride_) * size_t(height_);
    if (cells_.size() < cells) cells_.resize(cells, 0.0f);
    rowLo_ = height_, rowHi_ = -1;
    const double ax = c.ax - left_, ay = c.ay - top_, bx = c.bx - left_, by = c.by - top_;
    const double dx = bx - ax, dy = by - ay;
    const double len = std::sqrt(dx * dx + dy * dy);
    double ux = 1, uy = 0;
    if (len > 0 && std::isfinite(len)) ux = dx / len, uy = dy / len;
    const double nx = -uy, ny = ux;
    // The outline, as the stroked path traced it: along one side, round the end, back along the
    // other side, round the start.
    double px = ax + nx * c.r0, py = ay + ny * c.r0;
    const double firstX = px, firstY = py;
    auto to = [&](double x, double y) {
        edge(px, py, x, y);
        px = x, py = y;
    };
    auto arc = [&](double cx, double cy, double fromX, double fromY, double r, int32_t n) {
        const ArcTurn& turn = ArcTurns()[size_t(n)];
        const double cs = turn.cs, sn = turn.sn;
        double ox = fromX * r, oy = fromY * r;
        for (int32_t i = 0; i <= n; ++i) {
            to(cx + ox, cy + oy);
            const double rx = ox * cs - oy * sn;
            oy = ox * sn + oy * cs;
            ox = rx;
        }
    };
    to(bx + nx * c.r1, by + ny * c.r1);
    arc(bx, by, nx, ny, c.r1, std::clamp(c.chords1, 1, 1024));
    to(ax - nx * c.r0, ay - ny * c.r0);
    arc(ax, ay, -nx, -ny, c.r0, std::clamp(c.chords0, 1, 1024));
    to(firstX, firstY);
    return rowHi_ >= rowLo_;
}

int32_t CapsuleRaster::sweepRow(int32_t y, int32_t lo, int32_t hi) {
    float* row = cells_.data() + size_t(y) * size_t(stride_);
    const int32_t end = std::min(hi, width_ - 1);
    float sum = 0;
    for (int32_t x = lo; x <= end; ++x) {
        sum += row[x];
        row[x] = 0;
        const float a = std::min(std::fabs(sum), 1.0f);
        covers_[size_t(x - lo)] = uint8_t(std::min(int32_t(a * 256.0f), 255));
    }
    for (int32_t x = std::max(lo, end + 1); x <= hi; ++x) row[x] = 0;
    rowMin_[size_t(y)] = std::numeric_limits<int32_t>::max();
    rowMax_[size_t(y)] = -1;
    return end - lo + 1;
}

int32_t StrokeCapChords(double r) {
    if (!(r > 0)) return 1;
    const double da = 2 * std::acos(r / (r + 0.125));
    if (!(da > kPi / 1024)) return 1024;
    return int32_t(kPi / da) + 1;
}

int32_t ArcStepCache::steps(double r) {
    const float key = float(r);
    uint32_t bits;
    std::memcpy(&bits, &key, 4);
    Entry& e = entries_[(bits ^ (bits >> 13)) % entries_.size()];
    if (!(e.radius == r)) e = Entry{r, CapsuleArcSteps(r)};
    return e.steps;
}

Capsule LineCapsule(const DrawLine& l, bool perspectiveSizes, ArcStepCache& cache) {
    if (!perspectiveSizes) return LineCapsule(l, false);
    Capsule c;
    c.ax = l.start[0], c.ay = l.start[1];
    c.bx = l.end[0], c.by = l.end[1];
    c.r0 = l.startSize, c.r1 = l.endSize;
    c.chords0 = cache.steps(c.r0), c.chords1 = cache.steps(c.r1);
    return c;
}

Capsule LineCapsule(const DrawLine& l, bool perspectiveSizes) {
    Capsule c;
    c.ax = l.start[0], c.ay = l.start[1];
    c.bx = l.end[0], c.by = l.end[1];
    c.r0 = l.startSize;
    if (perspectiveSizes) {
        c.r1 = l.endSize;
        c.chords0 = CapsuleArcSteps(c.r0), c.chords1 = CapsuleArcSteps(c.r1);
    } else {
        c.r1 = c.r0;
        c.chords0 = c.chords1 = StrokeCapChords(c.r0);
    }
    return c;
}

}  // namespace tv
