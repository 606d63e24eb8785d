#pragma once

#include <pixmill/mask/detail/brush_blocks.h>

#include <cmath>
#include <cstdlib>

/// How a dot moves coverage where the picture's colours hold it back, on pixels of one row.
///
/// The order and precision of every step make the result; loops are plain so that they vectorise without changing a
/// bit. Called with a count known to the compiler, they become straight vector code.

namespace pixmill::mask {

using namespace rows;

/// The picture under a run of pixels.
struct BrushPixels {
    const uchar* y8;
    const ushort* dr;
    const ushort* db;
};

/// How far a dot spreads over colours that differ from the one under its centre.
struct EdgeBrush {
    float y0, dr0, db0; ///< the colour under the centre, 0..1
    float kc, ky;       ///< weights of a difference in chroma and in luma

    EdgeBrush(uchar y8, ushort dr, ushort db, float edge)
        : y0(float(y8) * kPerByte), dr0(float(dr) * kPerWord), db0(float(db) * kPerWord), kc(edge * 6.0f),
          ky((edge * 0.5f) * 3.0f)
    {
    }

    /// With colour differences of precision `Real` and falloff partly so, coverage truncated to its low byte.
    template <class Real>
    void coverRow(const float* __restrict w, const BrushPixels& under, uchar* __restrict cover, int n) const
    {
        for (int i = 0; i < n; ++i) {
            const Real dr = float(under.dr[i]) * kPerWord, db = float(under.db[i]) * kPerWord;
            const Real yy = float(under.y8[i]) * kPerByte;
            const float dc = float(std::abs(dr - Real(dr0)) + std::abs(db - Real(db0)));
            const float dy = float(std::abs(yy - Real(y0)));
            const float d = dc * kc + dy * ky;
            const float ratio = float(Real(d) / (Real(w[i]) + Real(0.1)));
            const float t = ratio < 1.0f ? ratio : 1.0f;
            const float s = float(Real(t * t) * (Real(3) - Real(t) - Real(t)));
            const float kept = w[i] * (1.0f - s);
            cover[i] = uchar(int(Real(kept) * Real(255) + Real(float(cover[i]) * (1.0f - kept))));
        }
    }

    /// A whole block of weights 0..1 with the result of double precision, in single; false, and nothing done, where
    /// that cannot be told from it.
    ///
    /// Truncation gives the same pixel unless both values lie around an integer. With u = 2^-24, the ratio below is
    /// within 11u of that in double precision, relatively. Where it is clear of 1, the coverage stays in both.
    /// Elsewhere the share kept differs by at most (77 t^2 + 5) u, the coverage by 255 - old times this, and by 390u
    /// for the sums.
    bool coverBlock(const float* __restrict w, const BrushPixels& under, uchar* __restrict cover) const
    {
        float moved[kBrushBlock];
        int unsure = 0;
        for (int i = 0; i < kBrushBlock; ++i) {
            const float dr = float(under.dr[i]) * kPerWord, db = float(under.db[i]) * kPerWord;
            const float yy = float(under.y8[i]) * kPerByte;
            const float d = (std::abs(dr - dr0) + std::abs(db - db0)) * kc + std::abs(yy - y0) * ky;
            const float ratio = d / (w[i] + 0.1f);
            const float t = ratio < 1.0f ? ratio : 1.0f, t2 = t * t;
            const float kept = w[i] * (1.0f - t2 * (3.0f - t - t));
            const float old = cover[i], rest = 255.0f - old, v = old + kept * rest;
            const float doubt = 4e-5f + rest * (7e-6f * t2 + 5e-7f);
            const float nearest = (v + kToInteger) - kToInteger;
            unsure |= int(std::abs(v - nearest) <= doubt) & int(ratio <= 1.000004f) & int(w[i] > 0.0f);
            moved[i] = v;
        }
        if (unsure)
            return false;
        for (int i = 0; i < kBrushBlock; ++i)
            cover[i] = uchar(int(moved[i]));
        return true;
    }

    /// A run in double precision, see inBlocks; weights of 0 follow it.
    void coverRun(const float* __restrict w, const BrushPixels& under, uchar* __restrict cover, int n, int room,
                  bool isWithinOne) const
    {
        const auto row = [=](int i, int count) {
            coverRow<double>(w + i, {under.y8 + i, under.dr + i, under.db + i}, cover + i, count);
        };
        const auto block = [=](int i) {
            if (!isWithinOne || !coverBlock(w + i, {under.y8 + i, under.dr + i, under.db + i}, cover + i))
                row(i, kBrushBlock);
        };
        inBlocks(n, room, block, row);
    }
};

} // namespace pixmill::mask
