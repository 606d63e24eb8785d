#pragma once

#include <pixmill/mask/detail/brush_blocks.h>

#include <cstring>
#include <initializer_list>

/// How a dot without an edge moves coverage, on pixels of one row.
///
/// The order and precision of every step make the result; loops are plain so that they vectorise without changing a
/// bit. Called with a count known to the compiler, they become straight vector code.

namespace pixmill::mask {

using namespace rows;

constexpr float kFullToInteger = kToInteger + 255.0f;

inline int lowBits(float v)
{
    int bits;
    std::memcpy(&bits, &v, sizeof bits);
    return bits;
}

/// Moves coverage toward full by the weights, rounding.
inline void coverRow(const float* __restrict w, uchar* __restrict cover, int n)
{
    for (int i = 0; i < n; ++i) {
        const double weight = w[i];
        cover[i] = clamp8(roundToInt(255.0 * weight + (1.0 - weight) * double(cover[i])));
    }
}

/// The same by the share of what is open that each weight leaves open, see openShare. The last difference is rounded,
/// not its second operand, so that an exact half becomes an even coverage here too.
inline void coverShares(const float* __restrict share, uchar* __restrict cover, int n)
{
    for (int i = 0; i < n; ++i) {
        const int open = 255 - cover[i];
        cover[i] = uchar(lowBits(kFullToInteger - float(open) * share[i]));
    }
}

/// A share with which coverShares does to every coverage what coverRow does with this weight, or -1.
///
/// That is 1 - weight, or a neighbour of it, for every weight of 0..1 that was tried; most of the others have none.
inline float openShare(float weight)
{
    if (weight == 0.0f || weight == 1.0f) // most of a table
        return 1.0f - weight;
    constexpr float kStep = 5.96046448e-08f; // 2^-24
    float weights[256];
    uchar every[256], wanted[256];
    for (int i = 0; i < 256; ++i) {
        weights[i] = weight;
        every[i] = wanted[i] = uchar(i);
    }
    coverRow(weights, wanted, 256);
    const float left = 1.0f - weight;
    for (const float share : {left, left - kStep, left + kStep, left - 2 * kStep, left + 2 * kStep, 1.0f, 0.0f}) {
        float shares[256];
        uchar covered[256];
        for (int i = 0; i < 256; ++i)
            shares[i] = share;
        std::memcpy(covered, every, sizeof covered);
        coverShares(shares, covered, 256);
        if (std::memcmp(covered, wanted, sizeof covered) == 0)
            return share;
    }
    return -1.0f;
}

/// A run of n pixels by shares, followed by shares of 1: see inBlocks.
inline void coverSharesRun(const float* __restrict share, uchar* __restrict cover, int n, int room)
{
    const auto block = [=](int first) {
        if (isBlockOf(cover + first, 255))
            return; // full coverage stays full
        // In pieces for which compilers find the short conversions between bytes and floats.
        for (int i = first; i < first + kBrushBlock; i += kBrushLanes)
            coverShares(share + i, cover + i, kBrushLanes);
    };
    inBlocks(n, room, block, [=](int i, int left) { coverShares(share + i, cover + i, left); });
}

} // namespace pixmill::mask
