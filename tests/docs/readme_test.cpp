// The README's programs, compiled as they stand there, do what the text beside them says.
#include "parts.inc"
#include <support/planes.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace pixmill::test;

struct Means {
    double saturation = 0, light = 0;
};

/// Means over the pixels: (max - min) / max, and max, of B, G, R.
Means meansOf(const cv::Mat& packed)
{
    Means means;
    for (int y = 0; y < packed.rows; ++y)
        for (int x = 0; x < packed.cols; ++x) {
            const uchar* p = packed.ptr(y, x);
            const auto range = std::minmax({p[0], p[1], p[2]});
            means.saturation += range.second ? double(range.second - range.first) / range.second : 0;
            means.light += range.second;
        }
    return {means.saturation / double(packed.total()), means.light / double(packed.total())};
}

TEST(Readme, ThePartsBrightenAndKeepColours)
{
    cv::Mat channels[4], packed;
    for (int i = 0; i < 4; ++i)
        channels[i] = scenePlane({203, 157}, CV_8UC1, 20 + 20 * i, 90 + 40 * i, 5);
    cv::merge(channels, 4, packed);
    const Means before = meansOf(packed);
    brighten(packed.data, packed.cols, packed.rows, int(packed.step));
    const Means after = meansOf(packed);
    EXPECT_GT(after.light, 1.1 * before.light);
    EXPECT_NEAR(after.saturation, before.saturation, 0.02 * before.saturation); // without the colour step 11 % less
}

TEST(Readme, LiveViewRendersTheViewItNames)
{
    const cv::Mat base = scenePlane({640, 400}, CV_16UC1, 0, 65536), fine(base.size(), CV_16UC1, cv::Scalar(32768)),
                  medium = fine, coarse = fine;
    const TPImage picture(base.cols, base.rows);
    TProgress progress(nullptr, nullptr);
    const int x = 10, y = 20;
    cv::Size shown;
    const auto show = [&](const cv::Mat& result) { shown = result.size(); };
#include "live_view.inc"
    EXPECT_EQ(shown, cv::Size(1920, 1080));
}

} // namespace
