#pragma once

#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

/// A plane stretched to another size by linear interpolation between pixel centres.
namespace pixmill::multiscale {

using namespace rows;

/// Bytes are weighed in whole 2048ths, 16 bits in single precision.
template <class T>
using Weight = std::conditional_t<std::is_same_v<T, uchar>, int, float>;

/// What is kept of a row that is stretched along itself: of 2048ths, whole 128ths.
template <class T>
using Along = std::conditional_t<std::is_same_v<T, uchar>, short, float>;

/// What one place of the result reads: two neighbours and their weights.
template <class T>
struct Blend {
    int near, far;
    Weight<T> nearWeight, farWeight;
};

template <class T>
inline Blend<T> blendOf(int near, int far, float share)
{
    if constexpr (std::is_same_v<T, uchar>)
        return {near, far, roundToInt((1.0f - share) * 2048.0f), roundToInt(share * 2048.0f)};
    else
        return {near, far, 1.0f - share, share};
}

/// The blends of an axis of `to` places from one of `from`. Beyond the edges a column is the edge's own; a row is
/// weighed from the edge's twice (`twice`).
template <class T>
std::vector<Blend<T>> blendsOf(int from, int to, bool twice)
{
    const double scale = 1.0 / (double(to) / from);
    std::vector<Blend<T>> blends;
    blends.reserve(std::size_t(to));
    for (int i = 0; i < to; ++i) {
        const float at = float((i + 0.5) * scale - 0.5);
        const int below = int(std::floor(at));
        const bool outside = !twice && (below < 0 || below >= from - 1);
        blends.push_back(
            blendOf<T>(limit(below, 0, from - 1), limit(below + 1, 0, from - 1), outside ? 0.0f : at - float(below)));
    }
    return blends;
}

/// The blends of a row's columns, each a pair of neighbours: where an edge stands alone, the other weighs nothing.
template <class T>
struct PairBlends {
    PairBlends(int from, int to)
    {
        for (const Blend<T>& b : blendsOf<T>(from, to, false)) {
            const bool last = b.near > 0 && b.near == b.far;
            left.push_back(last ? b.near - 1 : b.near);
            leftWeight.push_back(last ? b.farWeight : b.nearWeight);
            rightWeight.push_back(last ? b.nearWeight : b.farWeight);
        }
    }
    std::vector<int> left;
    std::vector<Weight<T>> leftWeight, rightWeight;
};

/// Two samples side by side as one number, the left one in its lower half.
template <class T>
using SamplePair = std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint32_t>;

/// Kept out of line, so that it stays the plain loop at every processor level: gathers are slower.
template <class T>
__attribute__((noinline)) void pickNeighbours(const T* in, const int* left, SamplePair<T>* picked, int n)
{
    for (int x = 0; x < n; ++x)
        std::memcpy(picked + x, in + left[x], sizeof *picked);
}

/// A row of at least two samples stretched along itself.
template <class T>
inline void alongRow(const T* in, const PairBlends<T>& blends, int n, Along<T>* __restrict out)
{
    constexpr int kPiece = 512, kBits = 8 * sizeof(T);
    SamplePair<T> picked[kPiece];
    for (int first = 0; first < n; first += kPiece) {
        const int m = std::min(kPiece, n - first);
        pickNeighbours(in, blends.left.data() + first, picked, m);
        const Weight<T>*left = blends.leftWeight.data() + first, *right = blends.rightWeight.data() + first;
        Along<T>* const to = out + first;
        for (int x = 0; x < m; ++x) {
            const auto sum = Weight<T>(T(picked[x])) * left[x] + Weight<T>(int(picked[x] >> kBits)) * right[x];
            if constexpr (std::is_same_v<T, uchar>)
                to[x] = short(sum >> 4);
            else
                to[x] = sum;
        }
    }
}

/// Two rows of 128ths: what is below a quarter of a unit is dropped of each product.
inline void betweenRows(const short* __restrict near, const short* __restrict far, int nearWeight, int farWeight, int n,
                        uchar* __restrict out)
{
    const short a = short(nearWeight), b = short(farWeight);
    for (int x = 0; x < n; ++x)
        out[x] = uchar((short((a * near[x]) >> 16) + short((b * far[x]) >> 16) + 2) >> 2);
}

inline void betweenRows(const float* __restrict near, const float* __restrict far, float nearWeight, float farWeight,
                        int n, ushort* __restrict out)
{
    for (int x = 0; x < n; ++x)
        out[x] = nearPixel16(near[x] * nearWeight + far[x] * farWeight);
}

template <class T>
inline void meanOfFour(const T* __restrict above, const T* __restrict below, int n, T* __restrict out)
{
    for (int x = 0; x < n; ++x)
        out[x] = T((above[2 * x] + above[2 * x + 1] + below[2 * x] + below[2 * x + 1] + 2) >> 2);
}

/// Half the size exactly is the mean of four.
template <class T>
void halve(const cv::Mat& in, cv::Mat& out)
{
    forEachRow(out.size(), [&](int y) { meanOfFour(in.ptr<T>(2 * y), in.ptr<T>(2 * y + 1), out.cols, out.ptr<T>(y)); });
}

/// Stretches `in` to the size of `out`, another plane of its type: bytes or 16 bits.
template <class T>
void stretch(const cv::Mat& in, cv::Mat& out)
{
    if (in.cols == 2 * out.cols && in.rows == 2 * out.rows)
        return halve<T>(in, out);
    const PairBlends<T> across(in.cols, out.cols);
    const auto down = blendsOf<T>(in.rows, out.rows, true);
    TeamScratch<Along<T>> scratch(2 * std::size_t(out.cols));
    const auto along = [&](int y, Along<T>* to) {
        const T *row = in.ptr<T>(y), twice[] = {row[0], row[0]};
        alongRow(in.cols > 1 ? row : twice, across, out.cols, to);
    };
    forEachSpan(out.rows, long(out.total()), [&](int y, int end) {
        Along<T>*near = scratch.mine(), *far = near + out.cols;
        for (int nearRow = -1, farRow = -1; y < end; ++y) { // the rows that are stretched along themselves already
            const Blend<T>& b = down[y];
            if (b.near == farRow) {
                std::swap(near, far);
                std::swap(nearRow, farRow);
            }
            if (b.near != nearRow)
                along(nearRow = b.near, near);
            if (b.far != farRow)
                along(farRow = b.far, far);
            betweenRows(near, far, b.nearWeight, b.farWeight, out.cols, out.ptr<T>(y));
        }
    });
}

} // namespace pixmill::multiscale
