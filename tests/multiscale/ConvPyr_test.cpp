#include <pixmill/multiscale/ConvPyr.h>
#include <reference/convolution_pyramid.h>
#include <support/everyway.h>
#include <support/planes.h>

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <climits>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

const cv::Mat kH1 = (cv::Mat_<float>(1, 5) << 0.1f, 0.4f, 0.55f, 0.3f, 0.05f);
const cv::Mat kH2 = (cv::Mat_<float>(5, 1) << 0.2f, 0.45f, 0.7f, 0.35f, 0.15f);
const cv::Mat kG = (cv::Mat_<float>(1, 3) << 0.15f, 0.5f, 0.2f);

/// The same recipe from whole planes in single precision, whose bits the class must give.
cv::Mat recipe(const cv::Mat& in, int steps)
{
    if (steps == 0)
        return correlatedInFloats(in, kG);
    const cv::Mat smooth = correlatedInFloats(in, kH1);
    const cv::Mat coarse =
        planeOf<float>(halfOf(in.size()), [&](int y, int x) { return smooth.at<float>(2 * y, 2 * x); });
    const cv::Mat below = recipe(coarse, steps - 1);
    cv::Mat spread = cv::Mat::zeros(in.size(), CV_32FC1);
    for (int y = 0; y < coarse.rows; ++y)
        for (int x = 0; x < coarse.cols; ++x)
            spread.at<float>(2 * y, 2 * x) = below.at<float>(y, x);
    return correlatedInFloats(in, kG) + correlatedInFloats(spread, kH2);
}

} // namespace

TEST(ConvPyr, GivesTheOperatorAtEverySizeAndDepth)
{
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 9), cv::Size(33, 1), cv::Size(2, 2), cv::Size(5, 3),
                                cv::Size(16, 7), cv::Size(903, 457)})
        for (const int type : {CV_32FC1, CV_16UC1, CV_8UC1}) {
            SCOPED_TRACE(testing::Message() << size << " type " << type);
            const cv::Mat in = randomPlane(size, type, 0, 200); // a view: what lies around it counts as 0
            ConvPyr pyramid(kH1, kH2, kG);
            cv::Mat out, exact;
            EXPECT_TRUE(pyramid.proc(in, out));
            EXPECT_EQ(pyramid.m_level, 0);
            EXPECT_TRUE(samePixels<float>(recipe(in, pyramidSteps(size)), out));
            in.convertTo(exact, CV_64F);
            out.convertTo(out, CV_64F);
            exact = convolutionPyramid(exact, {kH1, kH2, kG}, pyramidSteps(size));
            EXPECT_LT(cv::norm(exact, out, cv::NORM_INF), 1e-5 * cv::norm(exact, cv::NORM_INF));
        }
}

TEST(ConvPyr, StepsCountLevelsAndShapeTheirOutput)
{
    const cv::Mat in = randomPlane({7, 5}, CV_32FC1, 0, 1);
    ConvPyr pyramid(kH1, kH2, kG);
    cv::Mat coarse, out;
    EXPECT_TRUE(pyramid.pyrDown(in, coarse));
    EXPECT_EQ(pyramid.m_level, 1);
    EXPECT_EQ(coarse.size(), cv::Size(4, 3));
    EXPECT_EQ(coarse.type(), CV_32FC1);
    const uchar* data = coarse.data;
    pyramid.pyrDown(in, coarse); // fits, so it stays
    EXPECT_EQ(coarse.data, data);
    EXPECT_TRUE(pyramid.pyrUp(coarse, in, out));
    EXPECT_EQ(pyramid.m_level, 1);
    EXPECT_EQ(out.size(), in.size());

    // Of two rows and columns of zeros in between, only the stuffed ones carry the coarse level.
    const cv::Mat identity = (cv::Mat_<float>(1, 1) << 1.0f), zero = (cv::Mat_<float>(1, 1) << 0.0f);
    ConvPyr plain(identity, identity, zero);
    plain.pyrUp(coarse, in, out);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x)
            EXPECT_EQ(out.at<float>(y, x), x % 2 || y % 2 ? 0.0f : coarse.at<float>(y / 2, x / 2));
}

TEST(ConvPyr, SharesTheKernelsAndFitsItsOutput)
{
    cv::Mat g = kG.clone();
    ConvPyr pyramid(kH1, kH2, g);
    EXPECT_EQ(pyramid.m_g.data, g.data);
    cv::Mat plane = randomPlane({9, 6}, CV_32FC1, 0, 1).clone();
    const cv::Mat expected = recipe(plane, 3);
    cv::Mat out(6, 9, CV_32FC1), other(6, 9, CV_8UC1);
    const uchar* data = out.data;
    pyramid.proc(plane, out);
    EXPECT_EQ(out.data, data);
    pyramid.proc(plane, other);
    EXPECT_TRUE(samePixels<float>(expected, other));
    pyramid.proc(plane, plane);
    EXPECT_TRUE(samePixels<float>(expected, plane));
}

TEST(ConvPyr, EveryKernelsSumsKeepTheirOrderInEveryWay)
{
    const cv::Mat kernels[] = {
        (cv::Mat_<float>(1, 1) << 0.7f),
        (cv::Mat_<float>(1, 3) << 0.23f, 0.5f, 0.23f),
        (cv::Mat_<float>(1, 4) << 0.1f, 0.2f, 0.3f, 0.4f),
        (cv::Mat_<float>(1, 5) << 0.11f, 0.4f, 0.55f, 0.4f, 0.11f),
        (cv::Mat_<float>(1, 7) << 0.1f, 0.2f, 0.3f, 0.4f, 0.3f, 0.2f, 0.1f),
    };
    for (const cv::Mat& kernel : kernels)
        for (const int type : {CV_32FC1, CV_16UC1}) {
            SCOPED_TRACE(testing::Message() << kernel.cols << " weights, type " << type);
            const cv::Mat in = randomPlane({83, 61}, type, 0, 200), expected = correlatedInFloats(in, kernel);
            cv::Mat librarys;
            cv::sepFilter2D(in, librarys, CV_32F, kernel, kernel, cv::Point(-1, -1), 0,
                            cv::BORDER_CONSTANT | cv::BORDER_ISOLATED);
            EXPECT_LT(cv::norm(expected, librarys, cv::NORM_INF), 1e-6 * cv::norm(expected, cv::NORM_INF));
            everyWay([&] {
                cv::Mat coarse, up;
                ConvPyr(kernel, kernel, kernel).pyrDown(in, coarse);
                EXPECT_TRUE(samePixels<float>(
                    planeOf<float>(coarse.size(), [&](int y, int x) { return expected.at<float>(2 * y, 2 * x); }),
                    coarse));
                ConvPyr(kernel, kernel, kernel).pyrUp(cv::Mat::zeros(coarse.size(), CV_32FC1), in, up);
                EXPECT_TRUE(samePixels<float>(expected, up));
            });
        }
}

TEST(ConvPyr, PlanesThatDoNotFitThrow)
{
    ConvPyr pyramid(kH1, kH2, kG);
    cv::Mat out;
    EXPECT_THROW(pyramid.proc(cv::Mat(), out), cv::Exception);
    EXPECT_THROW(pyramid.proc(cv::Mat::zeros(4, 4, CV_32FC3), out), cv::Exception);
    EXPECT_THROW(pyramid.proc(cv::Mat::zeros(4, 4, CV_64FC1), out), cv::Exception);
    EXPECT_THROW(pyramid.pyrDown(cv::Mat::zeros(4, 4, CV_64FC1), out), cv::Exception);
    EXPECT_THROW(ConvPyr(cv::Mat(), kH2, kG).proc(cv::Mat::zeros(4, 4, CV_32FC1), out), cv::Exception);
    EXPECT_THROW(ConvPyr(kH1, kH2, cv::Mat::ones(3, 3, CV_32FC1)).proc(cv::Mat::zeros(4, 4, CV_32FC1), out),
                 cv::Exception);
    EXPECT_TRUE(out.empty());
    EXPECT_THROW(pyramid.pyrUp(cv::Mat::zeros(4, 4, CV_32FC1), cv::Mat::zeros(6, 6, CV_32FC1), out), cv::Exception);
    EXPECT_THROW(pyramid.pyrUp(cv::Mat::zeros(3, 3, CV_8UC1), cv::Mat::zeros(6, 6, CV_32FC1), out), cv::Exception);
    EXPECT_EQ(pyramid.m_level, 0);
}

TEST(ConvPyr, TheCountOfStepsStopsAtItsEnds)
{
    ConvPyr pyramid(kH1, kH2, kG);
    const cv::Mat fine = cv::Mat::zeros(6, 6, CV_32FC1);
    cv::Mat coarse, out;
    pyramid.m_level = INT_MAX;
    pyramid.pyrDown(fine, coarse);
    EXPECT_EQ(pyramid.m_level, INT_MAX);
    pyramid.m_level = INT_MIN;
    pyramid.pyrUp(coarse, fine, out);
    EXPECT_EQ(pyramid.m_level, INT_MIN);
    EXPECT_THROW(pyramid.proc(solid(CV_32FC1), out), cv::Exception);
}
