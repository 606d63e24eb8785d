#include <pixmill/develop/detail/core.h>
#include <pixmill/develop/detail/mask_plane.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace pixmill::develop {

namespace {

constexpr int kStrip = 64; ///< Columns that are smoothed side by side, so that a row of them is a cache line or two.

/// Means over 2 * r + 1 samples along a row, to nearest.
void meanRow(const ushort* in, ushort* out, int n, int r)
{
    const auto inside = [&](int x) { return in[limit(x, 0, n - 1)]; };
    const unsigned width = unsigned(2 * r + 1);
    std::uint64_t sum = 0;
    for (int x = -r; x <= r; ++x)
        sum += inside(x);
    for (int x = 0; x < n; ++x) {
        out[x] = ushort((sum + width / 2) / width);
        sum += std::uint64_t(inside(x + r + 1)) - inside(x - r);
    }
}

/// The same down a strip of columns.
void meanStrip(const cv::Mat& in, cv::Mat& out, int x, int n, int r)
{
    const auto inside = [&](int y) { return in.ptr<ushort>(limit(y, 0, in.rows - 1)) + x; };
    const unsigned width = unsigned(2 * r + 1);
    std::uint64_t sums[kStrip] = {};
    for (int y = -r; y <= r; ++y)
        for (int i = 0; i < n; ++i)
            sums[i] += inside(y)[i];
    for (int y = 0; y < in.rows; ++y) {
        ushort* o = out.ptr<ushort>(y) + x;
        const ushort *next = inside(y + r + 1), *last = inside(y - r);
        for (int i = 0; i < n; ++i) {
            o[i] = ushort((sums[i] + width / 2) / width);
            sums[i] += std::uint64_t(next[i]) - last[i];
        }
    }
}

} // namespace

void feather(cv::Mat& mask, int reach)
{
    const int radius = (reach + 2) / 3;
    if (radius < 1)
        return;
    cv::Mat wide, other(mask.size(), CV_16UC1);
    mask.convertTo(wide, CV_16UC1, 257);
    const long pixels = long(mask.total());
    for (int pass = 0; pass < 3; ++pass) {
        forEachIndex(mask.rows, pixels,
                     [&](int y) { meanRow(wide.ptr<ushort>(y), other.ptr<ushort>(y), mask.cols, radius); });
        forEachIndex((mask.cols + kStrip - 1) / kStrip, pixels, [&](int strip) {
            meanStrip(other, wide, strip * kStrip, std::min(kStrip, mask.cols - strip * kStrip), radius);
        });
    }
    forEachRow(mask.size(), [&](int y) {
        for (int x = 0; x < mask.cols; ++x)
            mask.at<uchar>(y, x) = uchar((wide.at<ushort>(y, x) + 128) / 257);
    });
}

} // namespace pixmill::develop
