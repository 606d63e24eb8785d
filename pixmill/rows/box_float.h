#pragma once

#include <pixmill/rows/running_means.h>

#include <opencv2/core/types.hpp>

#include <algorithm>
#include <type_traits>

/// Box means of a plane of floats.
namespace pixmill::rows {

/// Columns of a strip whose sums stay in the cache.
inline int boxStrip(int width, cv::Size mask)
{
    return std::min(width, std::max({131072 / mask.height, mask.width, 512}));
}

/// Bytes of scratch for a thread's rows.
template <class T, std::enable_if_t<std::is_same_v<T, float>, int> = 0>
inline std::size_t boxScratch(int width, cv::Size mask)
{
    return sizeof(double) * (MeansOfRows::scratchSize(boxStrip(width, mask), mask) + MeansOfRows::pieceScratch(mask));
}

/// Rows first..end-1 of the means. `src` addresses the first window's corner.
inline void boxSpan(const float* src, int srcStep, float* dst, int dstStep, int width, cv::Size mask, int first,
                    int end, void* scratch)
{
    const int strip = boxStrip(width, mask);
    double *const pieces = static_cast<double*>(scratch), *const sums = pieces + MeansOfRows::pieceScratch(mask);
    for (int left = 0; left < width; left += strip) {
        MeansOfRows means;
        means.begin(sums, std::min(strip, width - left), mask, first);
        for (int y = first; y < end + mask.height - 1; ++y)
            means.push(rowAt(src, srcStep, y) + left, pieces, rowAt(dst, dstStep, y - mask.height + 1) + left);
    }
}

} // namespace pixmill::rows
