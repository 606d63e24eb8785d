#pragma once

#include <reference/planes.h>

/// Dilation and erosion: the greatest or least sample under a mask; and the guide that they sharpen.
///
///     dilation(y, x) = max of in(y + j, x + i) over the cells of the mask, erosion the min
///     guide: towards the nearer of dilation and erosion, the picture's own pixel where it lies strictly between
///
/// J. Serra, "Image Analysis and Mathematical Morphology", 1982; H. Kramer, J. Bruckner, "Iterations of a Non-linear
/// Transformation for Enhancement of Digital Images", 1975 (the nearer extreme).
namespace pixmill::reference {

struct Mask {
    cv::Size size;
    cv::Point anchor;
    std::vector<uchar> cells; ///< row by row, those that count are not 0
};

/// The cells within r + 1/2 of the middle, and all of its row and column.
inline Mask discMask(int r)
{
    Mask mask{{2 * r + 1, 2 * r + 1}, {r, r}, {}};
    for (int j = -r; j <= r; ++j)
        for (int i = -r; i <= r; ++i)
            mask.cells.push_back(i == 0 || j == 0 || std::sqrt(double(i * i + j * j)) <= r + 0.5);
    return mask;
}

template <class T>
int extremeAt(const cv::Mat& in, int y, int x, const Mask& mask, bool greatest)
{
    int best = greatest ? -1 : 65536;
    for (int j = 0; j < mask.size.height; ++j)
        for (int i = 0; i < mask.size.width; ++i)
            if (mask.cells[j * mask.size.width + i]) {
                const int v = in.at<T>(y - mask.anchor.y + j, x - mask.anchor.x + i);
                best = greatest ? std::max(best, v) : std::min(best, v);
            }
    return best;
}

/// Of a plane padded by `margin` on every side.
template <class T>
cv::Mat extremes(const cv::Mat& padded, int margin, cv::Size size, const Mask& mask, bool greatest)
{
    return planeOf<T>(size, [&](int y, int x) { return extremeAt<T>(padded, margin + y, margin + x, mask, greatest); });
}

/// The guide after one step towards edges of `in`; a margin of r pixels stays.
template <class T>
cv::Mat gradientGuide(const cv::Mat& in, const cv::Mat& guide, int r)
{
    const Mask mask = discMask(r);
    return planeOf<T>(in.size(), [&](int y, int x) {
        const int g = guide.at<T>(y, x), c = in.at<T>(y, x);
        if (y < r || y >= in.rows - r || x < r || x >= in.cols - r)
            return g;
        const int dil = extremeAt<T>(guide, y, x, mask, true), ero = extremeAt<T>(guide, y, x, mask, false);
        const int high = dil - g <= g - ero ? g : dil, low = g - ero < dil - g ? g : ero;
        return low < c && c < high ? c : g;
    });
}

} // namespace pixmill::reference
