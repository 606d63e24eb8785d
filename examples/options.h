#pragma once

#include <opencv2/core/types.hpp>

#include <array>
#include <string>
#include <vector>

/// A camera picture of 16 megapixels from Debian's package lomiri-wallpapers-16.04; others lie beside it.
constexpr const char* kPackagedPhoto = "/usr/share/backgrounds/seeding_by_Clements_Engelhardt.jpg";

/// What the person asked for; see main.cpp for the words.
struct Options {
    std::string photo;
    std::string out = "out";
    std::vector<std::string> chapters; ///< Empty: all.
    std::string strokes;               ///< Brush script; empty: none.
    std::string portrait; ///< A person's picture, for what is done to skin; none where there is no such file.

    /// Brightness, contrast, highlights, shadows, whites, blacks.
    std::array<float, 6> light{0.2f, 0.25f, -0.3f, 0.35f, 0.1f, 0.05f};
    std::array<float, 3> color{0, 0, 0}; ///< Red, green, blue weight.
    std::array<float, 4> tint{};         ///< Warmth, tint, saturation, colour floor.
    float slope[3][3] = {{0.3f, 0.1f, 0.2f}, {0.35f, 0.2f, 0.25f}, {0.25f, 0.2f, 0.2f}}; ///< [level][zone]
    float threshold[3][3] = {};

    cv::Rect region; ///< Empty: the middle of the picture, in its own pixels.
    int scale = 2;
};

int runConvert(const Options& options);
int runDevelop(const Options& options);
int runPaint(const Options& options);
int runToolbox(const Options& options);
