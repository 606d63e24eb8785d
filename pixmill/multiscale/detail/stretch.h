#pragma once

#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <cmath>
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
    for (int i = 0; i < to; ++i) {
        const float at = float((i + 0.5) * scale - 0.5);
        const int below = int(std::floor(at));
        const bool outside = !twice && (below < 0 || below >= from - 1);
        blends.push_back(
            blendOf<T>(limit(below, 0, from - 1), limit(below + 1, 0, from - 1), outside ? 0.0f : at - float(below)));
    }
    return blends;
}

template <class T>
inline void alongRow(const T* in, const Blend<T>* blends, int n, Along<T>* out)
{
    for (int x = 0; x < n; ++x) {
        const Weight<T> sum = in[blends[x].near] * blends[x].nearWeight + in[blends[x].far] * blends[x].farWeight;
        if constexpr (std::is_same_v<T, uchar>)
            out[x] = short(sum >> 4);
        else
            out[x] = sum;
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
    const auto across = blendsOf<T>(in.cols, out.cols, false), down = blendsOf<T>(in.rows, out.rows, true);
    TeamScratch<Along<T>> scratch(2 * std::size_t(out.cols));
    forEachSpan(out.rows, long(out.total()), [&](int y, int end) {
        Along<T>*near = scratch.mine(), *far = near + out.cols;
        for (int nearRow = -1, farRow = -1; y < end; ++y) { // the rows that are stretched along themselves already
            const Blend<T>& b = down[y];
            if (b.near == farRow) {
                std::swap(near, far);
                std::swap(nearRow, farRow);
            }
            if (b.near != nearRow)
                alongRow(in.ptr<T>(nearRow = b.near), across.data(), out.cols, near);
            if (b.far != farRow)
                alongRow(in.ptr<T>(farRow = b.far), across.data(), out.cols, far);
            betweenRows(near, far, b.nearWeight, b.farWeight, out.cols, out.ptr<T>(y));
        }
    });
}

} // namespace pixmill::multiscale
