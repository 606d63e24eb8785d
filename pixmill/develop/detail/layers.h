#pragma once

#include <pixmill/develop/Developer.h>

#include <opencv2/core/mat.hpp>

/// A photograph taken apart.
namespace pixmill::develop {

/// Luma without its detail, the detail by size, and colour. base + 2 * (d0 + d1 + d2 - 3 * 32768) is the photograph's
/// luma, exactly where the picture was not reduced. Before the detail is taken out, base is that luma.
struct Layers {
    cv::Mat base;      ///< CV_16UC1, H x W.
    cv::Mat detail[3]; ///< CV_16UC1, H x W, centred on 32768; the finest first. Empty before they are taken out.
    cv::Mat dr, db;    ///< CV_16UC1, half size, centred on 32768: (R - Y) / 2 and (B - Y) / 2 of the even pixels.

    cv::Size size() const { return base.size(); }
    bool hasDetail() const { return !detail[0].empty(); }
};

/// Takes packed pixels apart into luma and colour.
void separate(const Pixels& pixels, Layers& out);

/// Takes the detail out of the luma. @return false when `progress` cancelled; `layers` are then as they were.
bool takeDetailOut(Layers& layers, const Progress& progress);

/// Each plane's means of factor x factor pixels; sides are divided and rounded up, and past the edge its pixels repeat.
Layers reduced(const Layers& layers, int factor);

/// The same for one plane of CV_8UC1 or CV_16UC1, into a given size.
void reduceMeans(const cv::Mat& in, int factor, cv::Size size, cv::Mat& out);

} // namespace pixmill::develop
