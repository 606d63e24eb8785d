#pragma once

#include <pixmill/primitives/region.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/samples.h>

#include <opencv2/core/mat.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>

/// The application of a grid of coefficients to pixels: v = guide * a + b * scale in single precision, each coefficient
/// serving `repeats` rows and columns, and the grid's last ones all that follow.
namespace pixmill::filters {

using namespace rows;

/// The ratio of the sizes in single precision, rounded up. Where single precision rounds the ratio down, pixels past
/// the grid remain.
inline int repeatsOf(int guide, int grid)
{
    return int(std::ceil(float(guide) / float(grid)));
}

/// The full scale of a pixel type.
inline float scaleOf(uchar)
{
    return 255.0f;
}

inline float scaleOf(ushort)
{
    return 65535.0f;
}

inline uchar pixelOf(float v, uchar)
{
    return toPixel8(v);
}

inline ushort pixelOf(float v, ushort)
{
    return toPixel16(v);
}

/// out = offset + slope * guide. All may be one row. What comes `next` after `out` is fetched.
inline void applyRow(const float* slope, const float* guide, const float* offset, float* out, int n,
                     std::ptrdiff_t next = 0)
{
    fetchingRow(
        n, [=](int x) { out[x] = offset[x] + slope[x] * guide[x]; }, Fetch{out + next});
}

/// Coefficients of one row of the grid, spread over a run of pixels.
struct SpreadRow {
    static constexpr int kColumns = 1008; ///< A multiple of 2, 3 and 4: each run begins with a whole coefficient.

    float slope[kColumns], offset[kColumns];

    /// The n pixels from `first` on, counted from the first coefficient's first pixel. A coefficient serves `repeats`
    /// pixels, the last of the `count` all that follow.
    void fill(const float* a, const float* b, int count, int repeats, float scale, int first, int n)
    {
        int x = 0;
        if (first % repeats == 0 && repeats <= 4) {
            const int j = first / repeats, whole = limit(n / repeats, 0, std::max(count - j, 0));
            spread(a + j, b + j, whole, repeats, scale);
            x = whole * repeats;
        }
        while (x < n) {
            const int j = std::min((first + x) / repeats, count - 1);
            const int end = j == count - 1 ? n : int(std::min<long>(n, (j + 1L) * repeats - first));
            std::fill(slope + x, slope + end, a[j]);
            std::fill(offset + x, offset + end, b[j] * scale);
            x = end;
        }
    }

private:
    template <int repeats>
    void spread(const float* __restrict a, const float* __restrict b, int count, float scale)
    {
        for (int j = 0; j < count; ++j)
            for (int k = 0; k < repeats; ++k) {
                slope[j * repeats + k] = a[j];
                offset[j * repeats + k] = b[j] * scale;
            }
    }

    void spread(const float* a, const float* b, int count, int repeats, float scale)
    {
        switch (repeats) {
        case 1:
            return spread<1>(a, b, count, scale);
        case 2:
            return spread<2>(a, b, count, scale);
        case 3:
            return spread<3>(a, b, count, scale);
        default:
            return spread<4>(a, b, count, scale);
        }
    }
};

/// `out` may be `guide`.
template <class T>
inline void applySpread(const T* guide, const SpreadRow& row, T* out, int n)
{
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = 0; x < n; ++x)
        out[x] = pixelOf(float(guide[x]) * row.slope[x] + row.offset[x], T());
}

/// One row of the grid, or a part of it, applied to all pixels that it serves: the rows yFirst..yEnd-1, the columns
/// xFirst..xEnd-1, of which xFirst is the first that a[0] serves.
template <class T>
inline void applyGridRow(const float* a, const float* b, int count, int repeats, const cv::Mat& guide, cv::Mat& out,
                         int yFirst, int yEnd, int xFirst, int xEnd)
{
    SpreadRow row;
    for (int x = xFirst; x < xEnd; x += SpreadRow::kColumns) {
        const int n = std::min(SpreadRow::kColumns, xEnd - x);
        row.fill(a, b, count, repeats, scaleOf(T()), x - xFirst, n);
        for (int y = yFirst; y < yEnd; ++y)
            applySpread(guide.ptr<T>(y) + x, row, out.ptr<T>(y) + x, n);
    }
}

} // namespace pixmill::filters
