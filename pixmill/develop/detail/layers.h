#pragma once

#include <pixmill/develop/Developer.h>

#include <opencv2/core/mat.hpp>

#include <functional>

/// A photograph taken apart.
namespace pixmill::develop {

/// Luma without its detail, the detail by size, and colour. base + 2 * (d0 + d1 + d2 - 3 * 32768) is the photograph's
/// luma, exactly where the picture was not reduced. Before the detail is taken out, base is that luma.
struct Layers {
    cv::Mat base;      ///< CV_16UC1, H x W.
    cv::Mat detail[3]; ///< CV_16UC1, H x W, centred on 32768; the finest first. Empty before they are taken out.
    cv::Mat dr, db;    ///< CV_16UC1, half size, centred on 32768: (R - Y) / 2 and (B - Y) / 2 of the even pixels.

    /// Where base and detail are rings of a few rows of a larger picture: its size, and what fills in rows y to end - 1
    /// before they are read. Threads call it for rows of their own.
    cv::Size picture;
    std::function<void(int y, int end)> fill;

    cv::Size size() const { return picture.empty() ? base.size() : picture; }
    bool hasDetail() const { return !detail[0].empty(); }
};

/// Luma smoothed, and what the coarser steps took away: base and detail before they are planes.
struct Smoothed {
    cv::Mat fine;           ///< CV_32FC1, H x W.
    cv::Mat medium, coarse; ///< CV_32FC1, half size.

    bool empty() const { return fine.empty(); }
};

/// Takes packed pixels apart into luma and colour.
void separate(const Pixels& pixels, Layers& out);

/// Smooths luma. @return false when `progress` cancelled; `out` is then as it was.
bool smooth(const cv::Mat& luma, Smoothed& out, const Progress& progress);

/// Takes the detail out of the luma. @return false when `progress` cancelled; `layers` are then as they were.
bool takeDetailOut(Layers& layers, const Progress& progress);

/// The same with what was smoothed before.
void takeDetailOut(Layers& layers, const Smoothed& smoothed);

/// The same as rings of `rows` rows, for one way from the first row to the last. They fill themselves in from the
/// pixels of both arguments.
Layers ringsOf(const Layers& luma, const Smoothed& smoothed, int rows);

/// Each plane's means of factor x factor pixels; sides are divided and rounded up, and past the edge its pixels repeat.
Layers reduced(const Layers& layers, int factor);

/// The same for one plane of CV_8UC1 or CV_16UC1, into a given size.
void reduceMeans(const cv::Mat& in, int factor, cv::Size size, cv::Mat& out);

} // namespace pixmill::develop
