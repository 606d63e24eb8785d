#pragma once

namespace pixmill::rows {

/// Inverse of a row-major 3 x 3 matrix: cofactors over the determinant, in single precision.
///
/// Returns false, and leaves `inv` alone, when the determinant is exactly 0. `inv` may be `m`.
inline bool invert3x3(const float m[9], float inv[9])
{
    const float c00 = m[4] * m[8] - m[5] * m[7];
    const float c01 = m[5] * m[6] - m[3] * m[8];
    const float c02 = m[3] * m[7] - m[4] * m[6];
    const float det = m[0] * c00 + m[1] * c01 + m[2] * c02;
    if (det == 0.0f)
        return false;

    const float c10 = m[2] * m[7] - m[1] * m[8];
    const float c11 = m[0] * m[8] - m[2] * m[6];
    const float c12 = m[1] * m[6] - m[0] * m[7];
    const float c20 = m[1] * m[5] - m[2] * m[4];
    const float c21 = m[2] * m[3] - m[0] * m[5];
    const float c22 = m[0] * m[4] - m[1] * m[3];
    inv[0] = c00 / det, inv[1] = c10 / det, inv[2] = c20 / det;
    inv[3] = c01 / det, inv[4] = c11 / det, inv[5] = c21 / det;
    inv[6] = c02 / det, inv[7] = c12 / det, inv[8] = c22 / det;
    return true;
}

} // namespace pixmill::rows
