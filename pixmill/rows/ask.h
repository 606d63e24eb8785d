#pragma once

#include <opencv2/core/mat.hpp>

#include <algorithm>

namespace pixmill::rows {

/// What asks and does nothing else is always inlined: g++ would drop the call.
#define PIXMILL_ASKS __attribute__((always_inline)) inline

/// Asks for `n` samples that are soon read or written. Rows that do not follow each other lie in pages of their own, at
/// whose beginnings the processor would wait; asked for in pieces, between the work on the row before, they come beside
/// that work.
template <class T>
PIXMILL_ASKS void askFor(const T* samples, int n)
{
    constexpr int kLine = 64 / int(sizeof(T));
    for (int x = 0; x < n; x += kLine)
        __builtin_prefetch(samples + x, 0, 2);
}

/// The same for samples `x` to `x + n` of a 16-bit plane's row `y`, if it has one.
PIXMILL_ASKS void askFor(const cv::Mat& plane, int y, int x, int n)
{
    if (y < plane.rows)
        askFor(plane.ptr<unsigned short>(y) + x, std::min(n, plane.cols - x));
}

} // namespace pixmill::rows
