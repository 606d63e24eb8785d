#pragma once

#include <pixmill/develop/detail/core.h>

#include <opencv2/core/mat.hpp>

#include <algorithm>
#include <vector>

/// Planes of a view that moves: a picture's pixel (x, y) lies at (x mod cols, y mod rows), so what stays in view stays
/// where it is. A plane of the whole picture is a ring as well, of which nothing wraps.
namespace pixmill::develop {

inline const ushort* at(const cv::Mat& ring, int y, int x)
{
    return ring.ptr<ushort>(y % ring.rows) + x % ring.cols;
}

inline ushort* at(cv::Mat& ring, int y, int x)
{
    return ring.ptr<ushort>(y % ring.rows) + x % ring.cols;
}

/// `n` samples of row y from x on, across the seam; from column `cols` of the picture on its last sample repeats.
inline void fetch(const cv::Mat& ring, int y, int x, int n, int cols, ushort* out)
{
    const int inside = std::min(n, cols - x);
    for (int i = 0; i < inside;) {
        const int part = std::min(inside - i, ring.cols - (x + i) % ring.cols);
        std::memcpy(out + i, at(ring, y, x + i), std::size_t(part) * 2);
        i += part;
    }
    std::fill(out + inside, out + n, out[inside - 1]);
}

/// The same, where they lie if side by side, else in `copy`.
inline const ushort* span(const cv::Mat& ring, int y, int x, int n, int cols, ushort* copy)
{
    if (x + n <= cols && x % ring.cols + n <= ring.cols)
        return at(ring, y, x);
    fetch(ring, y, x, n, cols, copy);
    return copy;
}

/// The columns of a range that lie side by side in a ring of `cols` columns.
template <class Body>
void forEachPiece(int x, int end, int cols, const Body& body)
{
    while (x < end) {
        const int next = std::min(end, (x / cols + 1) * cols);
        body(x, next);
        x = next;
    }
}

/// What of `all` is outside `kept`, which lies within it: up to four rectangles.
inline std::vector<cv::Rect> without(const cv::Rect& all, const cv::Rect& kept)
{
    if (kept.empty())
        return {all};
    const int right = kept.x + kept.width, bottom = kept.y + kept.height;
    const cv::Rect parts[] = {{all.x, all.y, all.width, kept.y - all.y},
                              {all.x, bottom, all.width, all.y + all.height - bottom},
                              {all.x, kept.y, kept.x - all.x, kept.height},
                              {right, kept.y, all.x + all.width - right, kept.height}};
    std::vector<cv::Rect> rest;
    std::copy_if(std::begin(parts), std::end(parts), std::back_inserter(rest),
                 [](const cv::Rect& part) { return !part.empty(); });
    return rest;
}

} // namespace pixmill::develop
