#include <pixmill/filters/DomainTransform.h>
#include <reference/domain_convolution.h>
#include <support/everyway.h>
#include <support/planes.h>

#include <cmath>
#include <limits>

using namespace pixmill::test;
using namespace pixmill::reference;

TEST(DomainConvolution, BothFiltersMatchTheReferenceBitForBit)
{
    for (const int type : {CV_32FC3, CV_32FC1})
        for (const cv::Size size : oddSizes()) {
            SCOPED_TRACE(testing::Message() << type << " " << size);
            const cv::Mat in = randomPlane(size, type, 0, 1);
            const cv::Mat expected = normalizedConvolution(in, 7.0f, 0.4f);
            everyWay([&] {
                DomainTransform filter;
                cv::Mat out = randomPlane(size, type, 0, 1, 9), used = in.clone(), other;
                filter.NormalizedConvolutionFilter(in, out, 7.0f, 0.4f);
                ASSERT_TRUE(samePixels<float>(expected, out));
                filter.InterpolatedConvolutionFilter(used, other, 7.0f, 0.4f);
                ASSERT_TRUE(samePixels<float>(expected, other));
                ASSERT_TRUE(samePixels<float>(expected, used)) << "the input is used up";
                used = in.clone();
                filter.NormalizedConvolutionFilter(used, used, 7.0f, 0.4f);
                ASSERT_TRUE(samePixels<float>(expected, used)) << "in place";
            });
        }
}

// Pictures taller than the rows that a window reaches, windows as tall as a column, coordinates too large to be exact.
TEST(DomainConvolution, WindowsOfEveryReachMatchTheReference)
{
    struct {
        cv::Size size;
        float sigmaS, sigmaR;
    } const cases[] = {{{37, 300}, 7.0f, 0.4f},
                       {{300, 37}, 7.0f, 0.4f},
                       {{35, 150}, 300.0f, 0.4f},
                       {{33, 200}, 9.0f, 1e-6f},
                       {{33, 200}, -30.0f, -0.4f}};
    for (const auto& [size, sigmaS, sigmaR] : cases)
        for (int c = 1; c <= 4; ++c) {
            SCOPED_TRACE(testing::Message() << size << " " << c << " channels, " << sigmaS << " " << sigmaR);
            cv::Mat in = randomPlane(size, CV_32FC(c), 0, 1);
            in.rowRange(size.height / 2, size.height * 3 / 4) =
                cv::Scalar::all(0.5); // large coordinates do not rise here
            const cv::Mat expected = normalizedConvolution(in, sigmaS, sigmaR);
            everyWay([&, sigmaS = sigmaS, sigmaR = sigmaR] {
                cv::Mat out;
                DomainTransform().NormalizedConvolutionFilter(in, out, sigmaS, sigmaR);
                ASSERT_TRUE(samePixels<float>(expected, out));
            });
        }
}

TEST(DomainConvolution, CoordinatesThatFallOrAreNoNumbersAreWalkedPixelByPixel)
{
    const float none = std::nanf(""), infinite = std::numeric_limits<float>::infinity();
    everyWay([&] {
        for (const float odd : {-40.0f, none, infinite})
            for (const float radius : {3.0f, 0.0f, -2.0f, 1e30f, infinite}) {
                SCOPED_TRACE(testing::Message() << odd << " " << radius);
                cv::Mat ct = randomPlane({70, 9}, CV_32FC1, 0, 40), img = randomPlane({70, 9}, CV_32FC3, 0, 1);
                for (int x = 0; x < 70; ++x) // one row rises, one is flat, one ends oddly
                    ct.at<float>(0, x) = float(x), ct.at<float>(1, x) = 5.0f, ct.at<float>(2, x) = x < 50 ? x : odd;
                ct.at<float>(3, 30) = odd;
                cv::Mat expected = img.clone(), other = img.clone();
                windowAverages(expected, ct, radius);
                DomainTransform().NCcompute(img, ct, radius);
                DomainTransform().ICcompute(other, ct, radius);
                ASSERT_TRUE(samePixels<float>(expected, img));
                ASSERT_TRUE(samePixels<float>(expected, other));
            }
    });
}

TEST(DomainConvolution, WindowsHoldTheirOwnPixelAndEndWithTheRow)
{
    DomainTransform filter;
    cv::Mat img = (cv::Mat_<float>(1, 4) << 1, 2, 4, 8), ct = (cv::Mat_<float>(1, 4) << 1, 2, 3, 10);
    cv::Mat same = img.clone(), all = img.clone(), none = img.clone();
    EXPECT_EQ(filter.NCcompute(img, ct, 1.0f), 1); // above t - 1 and not above t + 1
    EXPECT_EQ(cv::Vec4f(img.ptr<float>()), cv::Vec4f(1.5f, 3, 4, 8));
    filter.ICcompute(same, ct, 1.0f);
    EXPECT_TRUE(samePixels<float>(img, same));
    filter.NCcompute(all, ct, 100.0f);
    EXPECT_EQ(cv::Vec4f(all.ptr<float>()), cv::Vec4f::all(3.75f));
    filter.NCcompute(none, ct, 0.0f);
    EXPECT_TRUE(std::isnan(none.at<float>(0, 1)));
}

TEST(DomainConvolution, ModesPickTheFilterAndOthersLeaveTheOutput)
{
    const cv::Mat in = randomPlane({30, 20}, CV_32FC3, 0, 1);
    DomainTransform filter;
    filter.m_sigmaS = 5;
    filter.m_sigmaR = 0.3f;
    cv::Mat byMode, direct, untouched;
    EXPECT_EQ(filter.proc(in, byMode, 1), 1);
    filter.NormalizedConvolutionFilter(in, direct, 5, 0.3f);
    EXPECT_TRUE(samePixels<float>(direct, byMode));
    EXPECT_EQ(filter.proc(in, untouched, 2), 1);
    EXPECT_TRUE(untouched.empty());
    cv::Mat ct(3, 3, CV_32FC1, cv::Scalar(1)), bytes = cv::Mat::zeros(3, 3, CV_8UC1);
    EXPECT_THROW(filter.NCcompute(bytes, ct, 1), cv::Exception);
}

TEST(DomainTransformConvolution, AnOutputThatOverlapsTheInputAtOtherPlacesGetsWhatAnotherOneDoes)
{
    cv::Mat host = scenePlane({40, 24}, CV_32FC1, 0, 1), rows = host(cv::Rect(0, 0, 20, 12)), expected;
    cv::Mat sameStart(12, 20, CV_32FC1, rows.data, 2 * rows.step), aside = host(cv::Rect(3, 1, 20, 12));
    for (cv::Mat* out : {&sameStart, &aside}) {
        DomainTransform().NormalizedConvolutionFilter(rows.clone(), expected, 8, 0.3f);
        DomainTransform().NormalizedConvolutionFilter(rows, *out, 8, 0.3f);
        EXPECT_TRUE(samePixels<float>(expected, *out));
    }
    cv::Mat deep = solid(CV_32FC1), coordinates = cv::Mat::zeros(6, 7, CV_32FC1);
    EXPECT_THROW(DomainTransform().NCcompute(deep, coordinates, 2), cv::Exception);
    EXPECT_THROW(DomainTransform().RFcompute(coordinates, deep, 2), cv::Exception);
}
