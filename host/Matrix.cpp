#include "host/Matrix.h"

#include <cmath>

namespace tv {

Mat4 AxisRotation(int axis, double radians) {
    const double c = std::cos(radians), s = std::sin(radians);
    Mat4 m;
    const int u = (axis + 1) % 3, v = (axis + 2) % 3;
    m.at(u, u) = c;
    m.at(u, v) = s;
    m.at(v, u) = -s;
    m.at(v, v) = c;
    return m;
}

Mat4 Multiply(const Mat4& a, const Mat4& b) {
    Mat4 r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            double s = 0;
            for (int k = 0; k < 4; ++k) s += a.at(i, k) * b.at(k, j);
            r.at(i, j) = s;
        }
    return r;
}

bool Invert(const Mat4& a, Mat4& out) {
    // Gauss-Jordan elimination with partial pivoting.
    double w[4][8];
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 8; ++c) w[r][c] = c < 4 ? a.at(r, c) : (c - 4 == r ? 1 : 0);
    for (int col = 0; col < 4; ++col) {
        int pivot = col;
        for (int r = col + 1; r < 4; ++r)
            if (std::fabs(w[r][col]) > std::fabs(w[pivot][col])) pivot = r;
        if (w[pivot][col] == 0) return false;
        if (pivot != col)
            for (int c = 0; c < 8; ++c) std::swap(w[pivot][c], w[col][c]);
        const double inv = 1.0 / w[col][col];
        for (int c = 0; c < 8; ++c) w[col][c] *= inv;
        for (int r = 0; r < 4; ++r) {
            if (r == col || w[r][col] == 0) continue;
            const double f = w[r][col];
            for (int c = 0; c < 8; ++c) w[r][c] -= f * w[col][c];
        }
    }
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) out.at(r, c) = w[r][c + 4];
    return true;
}

void TransformPoint(const Mat4& m, const double in[3], double out[4]) {
    for (int c = 0; c < 4; ++c)
        out[c] = in[0] * m.at(0, c) + in[1] * m.at(1, c) + in[2] * m.at(2, c) + m.at(3, c);
}

}  // namespace tv
