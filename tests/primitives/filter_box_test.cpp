#include "roi.h"
#include <pixmill/primitives/filter.h>
#include <pixmill/rows/box_integer.h>
#include <reference/box_mean.h>
#include <support/everyway.h>

#include <limits>

using namespace pixmill::test;
using pixmill::reference::boxMeans;

namespace {

pixmill::reference::Window windowOf(IppiSize mask, IppiPoint anchor)
{
    return {{mask.width, mask.height}, {anchor.x, anchor.y}};
}

const IppiSize kMasks[] = {{1, 1}, {3, 3}, {1, 7}, {7, 1}, {4, 2}, {2, 3}, {5, 5}, {19, 19}, {8, 16}, {33, 3}};

/// Where samples of 1e16 meet their opposites, every change in the order of a sum shows.
void addCancellingSamples(cv::Mat& m)
{
    cv::RNG rng(3);
    for (int i = 0; i < int(m.total()) / 9; ++i)
        m.at<float>(rng.uniform(0, m.rows), rng.uniform(0, m.cols)) = i % 2 ? 1e16f : -1e16f;
}

template <class T>
using BoxFunction = IppStatus (*)(const T*, int, T*, int, IppiSize, IppiSize, IppiPoint);
template <class T>
using BoxInPlaceFunction = IppStatus (*)(T*, int, IppiSize, IppiSize, IppiPoint);

template <class T>
void expectBoxes(BoxFunction<T> box, BoxInPlaceFunction<T> boxInPlace, int type, const std::vector<cv::Size>& sizes)
{
    for (const cv::Size size : sizes)
        for (const IppiSize mask : kMasks)
            for (const IppiPoint anchor : {IppiPoint{mask.width / 2, mask.height / 2}, IppiPoint{0, mask.height - 1}}) {
                SCOPED_TRACE(testing::Message() << size << " mask " << mask.width << " x " << mask.height << " anchor "
                                                << anchor.x << ", " << anchor.y);
                const int margin = 40;
                cv::Mat padded = randomPlane(size + cv::Size(2 * margin, 2 * margin), type, 0, topOf(type));
                if (type == CV_32FC1)
                    addCancellingSamples(padded);
                const cv::Mat expected = boxMeans<T>(padded, {margin, margin}, size, windowOf(mask, anchor));
                everyWay([&] {
                    cv::Mat out = randomPlane(size, type, 0, 9), work = padded.clone();
                    const cv::Mat in = innerOf(padded, margin), inner = innerOf(work, margin);
                    EXPECT_EQ(box(in.ptr<T>(), stepOf(in), out.ptr<T>(), stepOf(out), roiOf(out), mask, anchor), 0);
                    EXPECT_TRUE(samePixels<T>(expected, out));
                    EXPECT_EQ(boxInPlace(const_cast<T*>(inner.ptr<T>()), stepOf(inner), roiOf(inner), mask, anchor), 0);
                    EXPECT_TRUE(samePixels<T>(expected, inner)) << "in place";
                    EXPECT_TRUE(onlyInnerChanged(padded.clone(), work, margin));
                });
            }
}

TEST(FilterBox, IsTheRoundedMeanOfTheOriginalSamples)
{
    const std::vector<cv::Size> sizes = {{1, 1}, {1, 9}, {33, 1}, {5, 3}, {70, 75}};
    expectBoxes<uchar>(ippiFilterBox_8u_C1R, ippiFilterBox_8u_C1IR, CV_8UC1, sizes);
    expectBoxes<ushort>(ippiFilterBox_16u_C1R, ippiFilterBox_16u_C1IR, CV_16UC1, sizes);
    expectBoxes<float>(ippiFilterBox_32f_C1R, ippiFilterBox_32f_C1IR, CV_32FC1, sizes);
}

TEST(FilterBox, LongRowsAndManyBandsKeepTheirSeams)
{
    // Past the pieces and strips that rows are cut into, and past the bands of the form in place.
    const cv::Size size(1100, 137);
    const IppiSize mask{15, 9};
    const IppiPoint anchor{7, 4};
    for (const int type : {CV_8UC1, CV_16UC1}) {
        const cv::Mat padded = randomPlane(size + cv::Size(40, 40), type, 0, topOf(type));
        const cv::Mat in = innerOf(padded, 20);
        const cv::Mat expected = type == CV_8UC1 ? boxMeans<uchar>(padded, {20, 20}, size, windowOf(mask, anchor))
                                                 : boxMeans<ushort>(padded, {20, 20}, size, windowOf(mask, anchor));
        everyWay([&] {
            cv::Mat out(size, type), work = padded.clone();
            cv::Mat inner = innerOf(work, 20);
            if (type == CV_8UC1) {
                ippiFilterBox_8u_C1R(in.ptr(), stepOf(in), out.ptr(), stepOf(out), roiOf(out), mask, anchor);
                ippiFilterBox_8u_C1IR(inner.ptr(), stepOf(inner), roiOf(inner), mask, anchor);
                EXPECT_TRUE(samePixels<uchar>(expected, out));
                EXPECT_TRUE(samePixels<uchar>(expected, inner));
            } else {
                ippiFilterBox_16u_C1R(in.ptr<ushort>(), stepOf(in), out.ptr<ushort>(), stepOf(out), roiOf(out), mask,
                                      anchor);
                ippiFilterBox_16u_C1IR(inner.ptr<ushort>(), stepOf(inner), roiOf(inner), mask, anchor);
                EXPECT_TRUE(samePixels<ushort>(expected, out));
                EXPECT_TRUE(samePixels<ushort>(expected, inner));
            }
        });
    }
    const cv::Mat padded = randomPlane(size + cv::Size(40, 40), CV_32FC1, -1, 1), in = innerOf(padded, 20);
    for (const IppiSize tall : {IppiSize{15, 9}, IppiSize{3, 19}}) {
        const cv::Mat expected = boxMeans<float>(padded, {20, 20}, size, windowOf(tall, {1, 1}));
        everyWay([&] {
            cv::Mat out(size, CV_32FC1);
            ippiFilterBox_32f_C1R(in.ptr<float>(), stepOf(in), out.ptr<float>(), stepOf(out), roiOf(out), tall, {1, 1});
            EXPECT_TRUE(samePixels<float>(expected, out));
        });
    }
    // The mask is high, so that whole rows of windows would not stay in the cache and go in strips.
    const cv::Mat wide = randomPlane({2700, 160}, CV_32FC1, -1, 1);
    const IppiSize high{2, 127};
    const cv::Mat expected = boxMeans<float>(wide, {0, 0}, {2690, 30}, windowOf(high, {0, 0}));
    everyWay([&] {
        cv::Mat out(30, 2690, CV_32FC1);
        ippiFilterBox_32f_C1R(wide.ptr<float>(), stepOf(wide), out.ptr<float>(), stepOf(out), roiOf(out), high, {0, 0});
        EXPECT_TRUE(samePixels<float>(expected, out));
    });
}

TEST(FilterBox, SumsPastThirtyTwoBitsAreExact)
{
    const IppiSize mask{182, 181}; // 65535 times their count is more than 2^31
    const cv::Mat in = randomPlane({190, 185}, CV_16UC1, 65000, 65536);
    const cv::Mat expected = boxMeans<ushort>(in, {0, 0}, {9, 5}, windowOf(mask, {0, 0}));
    everyWay([&] {
        cv::Mat out(5, 9, CV_16UC1);
        ippiFilterBox_16u_C1R(in.ptr<ushort>(), stepOf(in), out.ptr<ushort>(), stepOf(out), roiOf(out), mask, {0, 0});
        EXPECT_TRUE(samePixels<ushort>(expected, out));
    });
}

template <class T>
void expectMeansNearTies(long long count, int step)
{
    std::vector<unsigned> sums;
    std::vector<T> means, expected;
    for (int quotient = 0; quotient < T(-1); quotient += step) {
        sums.push_back(unsigned(quotient * count + (count - 1) / 2)); // the last to round down
        sums.push_back(unsigned(quotient * count + count / 2 + 1));   // the first to round up
        expected.push_back(T(quotient));
        expected.push_back(T(quotient + 1));
        if (count % 2 == 0) {
            sums.push_back(unsigned(quotient * count + count / 2));
            expected.push_back(T(quotient + quotient % 2));
        }
    }
    means.resize(sums.size());
    pixmill::rows::meansRow(sums.data(), count, means.data(), int(sums.size()));
    ASSERT_EQ(means, expected) << "count " << count;
}

TEST(FilterBox, MeansNextToATieRoundToTheRightSide)
{
    for (long long count = 1; count < 12000; ++count) {
        expectMeansNearTies<uchar>(count, count % 101 == 0 ? 1 : 17);
        expectMeansNearTies<ushort>(count, count % 101 == 0 ? 257 : 6553);
    }
    expectMeansNearTies<uchar>(8191, 1);
    expectMeansNearTies<uchar>(8193, 1);
    expectMeansNearTies<ushort>(32767, 1);
}

/// Rows whose samples come again after `count`, so that all windows of that length have the same sum.
template <class T>
void expectMeansOfPeriodicRows(BoxFunction<T> box, int type, int count, int quotient)
{
    const IppiSize roi{70, 1}, mask{count, 1};
    for (const int more : {(count - 1) / 2, count / 2 + 1}) {
        cv::Mat in(1, count + roi.width, type);
        for (int x = 0; x < in.cols; ++x)
            in.at<T>(0, x) = T(quotient + (x * 5LL % count < more)); // 5 and the count have no divisor in common
        everyWay([&] {
            cv::Mat out(1, roi.width, type);
            box(in.ptr<T>(), stepOf(in), out.ptr<T>(), stepOf(out), roi, mask, {0, 0});
            EXPECT_EQ(cv::countNonZero(out != quotient + (more > count / 2)), 0) << count << " of " << quotient;
        });
    }
}

TEST(FilterBox, WholeRowsOfMeansNextToATieRoundToTheRightSide)
{
    for (const int count : {3, 7, 9, 81, 127, 361, 1023, 2999, 8191, 8193, 11449})
        for (const int quotient : {0, 1, 127, 254})
            expectMeansOfPeriodicRows<uchar>(ippiFilterBox_8u_C1R, CV_8UC1, count, quotient);
    for (const int count : {3, 7, 9, 81, 127, 361, 2999, 8193, 16383, 16387, 32767, 32769})
        for (const int quotient : {0, 1, 32767, 65534})
            expectMeansOfPeriodicRows<ushort>(ippiFilterBox_16u_C1R, CV_16UC1, count, quotient);
}

TEST(FilterBox, OneSampleReachesOnlyTheWindowsThatHoldIt)
{
    const cv::Size size(67, 61);
    for (const float odd :
         {1e30f, -3e38f, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()})
        for (const int r : {1, 2, 9}) {
            SCOPED_TRACE(testing::Message() << odd << " radius " << r);
            cv::Mat padded(size.height + 2 * r, size.width + 2 * r, CV_32FC1, cv::Scalar(0.7f));
            const cv::Point at(30, 25); // in the padded plane
            padded.at<float>(at) = odd;
            const cv::Mat in = innerOf(padded, r);
            everyWay([&] {
                cv::Mat out(size, CV_32FC1);
                ippiFilterBox_32f_C1R(in.ptr<float>(), stepOf(in), out.ptr<float>(), stepOf(out), roiOf(out),
                                      {2 * r + 1, 2 * r + 1}, {r, r});
                for (int y = 0; y < size.height; ++y)
                    for (int x = 0; x < size.width; ++x) {
                        const bool holds = std::abs(x + r - at.x) <= r && std::abs(y + r - at.y) <= r;
                        ASSERT_EQ(out.at<float>(y, x) == 0.7f, !holds) << x << ", " << y;
                    }
            });
        }
}

TEST(FilterBox, MeansInTheMiddleOfTwoFloatsNarrowLikeTheQuotient)
{
    // Sums of three whose third is the middle of 1 and the next float, or next to it, or a subnormal float.
    const float ulp = 0x1p-23f, tiny = std::numeric_limits<float>::denorm_min();
    const float rows[][3] = {{2, 1, 1.5f * ulp},
                             {2, 1, 1.5f * ulp + 0x1p-46f},
                             {2, 1, 1.5f * ulp - 0x1p-47f},
                             {2, 1 + ulp, 3.5f * ulp},
                             {tiny, 0, 0},
                             {tiny, tiny, 0},
                             {-tiny, -2 * tiny, -tiny},
                             {3e38f, 3e38f, 3.4e38f},
                             {-0.0f, -0.0f, -0.0f},
                             {0x1p-126f, 0, 0},
                             {-2, -1, -1.5f * ulp}};
    for (const auto& row : rows)
        everyWay([&] {
            float out = 9;
            ippiFilterBox_32f_C1R(row, 12, &out, 4, {1, 1}, {3, 1}, {0, 0});
            const float expected = float((0.0 + double(row[0]) + (double(row[1]) + double(row[2]))) / 3.0);
            EXPECT_EQ(std::memcmp(&out, &expected, 4), 0) << row[0] << ", " << row[1] << ", " << row[2] << ": " << out;
        });
}

TEST(FilterBox, WindowOfOneCopies)
{
    float v[2] = {-0.0f, std::numeric_limits<float>::quiet_NaN()}, out[2] = {1, 1};
    EXPECT_EQ(ippiFilterBox_32f_C1R(v, 8, out, 8, {2, 1}, {1, 1}, {0, 0}), ippStsNoErr);
    EXPECT_EQ(std::memcmp(v, out, sizeof v), 0);
}

} // namespace
