// 4x4 matrices in the row-vector convention: p' = p * M, composed by left multiplication.
// Row-major storage: element (r, c) at r * 4 + c; translation in elements 12, 13, 14.
#pragma once

namespace tv {

struct Mat4 {
    double m[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    double& at(int r, int c) { return m[r * 4 + c]; }
    double at(int r, int c) const { return m[r * 4 + c]; }
};

Mat4 Multiply(const Mat4& a, const Mat4& b);  // a then b
bool Invert(const Mat4& a, Mat4& out);
void TransformPoint(const Mat4& m, const double in[3], double out[4]);  // (x, y, z, 1) * m

// The right-handed rotation about principal axis 0, 1 or 2 in the row-vector form (for Z the
// first row is cos, sin, 0). Callers turn degrees into radians in their own way, since the
// rounding of that step is part of their results.
Mat4 AxisRotation(int axis, double radians);

}  // namespace tv
