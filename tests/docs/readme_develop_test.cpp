// The README's first program lifts shadows and warms, and leaves its promise of a fourth channel.
#include "first_program.inc"
#include <support/planes.h>

#include <gtest/gtest.h>

namespace {

using namespace pixmill::test;

TEST(Readme, FirstProgramLiftsShadowsAndWarms)
{
    const cv::Mat grey = scenePlane({203, 157}, CV_8UC1, 20, 90, 5), full(grey.size(), CV_8UC1, cv::Scalar(255));
    cv::Mat packed;
    cv::merge(std::vector<cv::Mat>{grey, grey, grey, full}, packed);
    develop(packed.data, packed.cols, packed.rows);
    const cv::Scalar after = cv::mean(packed);
    EXPECT_GT(after[1], 1.1 * cv::mean(grey)[0]);
    EXPECT_GT(after[2], after[0] + 1); // more red than blue
    EXPECT_EQ(after[3], 255);
}

} // namespace
