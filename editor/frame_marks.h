#pragma once

#include <opencv2/core/mat.hpp>

#include <array>

namespace editor {

/// Counts of R, G and B in 64 steps each, and shares of pixels that reached an end of their range.
struct Histogram {
    std::array<std::array<int, 64>, 3> counts{};
    double dark = 0, bright = 0;
};

/// Of every `step`th pixel of every `step`th row of a CV_8UC4 picture in R, G, B, A.
Histogram histogramOf(const cv::Mat& rgba, int step);

/// Paints blue where all of a pixel's channels are 0, red where one of them is 255.
void markClipping(cv::Mat& rgba);

/// Tints red by half where the mask selects.
void showMask(cv::Mat& rgba, const cv::Mat& mask);

} // namespace editor
