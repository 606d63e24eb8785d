#include "roi.h"
#include <pixmill/primitives/copy.h>
#include <support/everyway.h>

#include <limits>

using namespace pixmill::test;

namespace {

template <class T>
using CopyFunction = IppStatus (*)(const T*, int, T*, int, IppiSize);

template <class T>
void expectCopies(CopyFunction<T> copy, int type)
{
    for (const cv::Size size : oddSizes()) {
        SCOPED_TRACE(testing::Message() << "type " << type << " " << size);
        const cv::Mat in = randomPlane(size, type, 0, topOf(type), 1);
        everyWay([&] {
            cv::Mat whole = randomPlane(size + cv::Size(4, 4), type, 0, topOf(type), 2);
            const cv::Mat before = whole.clone();
            cv::Mat out = innerOf(whole, 2);
            EXPECT_EQ(copy(in.ptr<T>(), stepOf(in), out.ptr<T>(), stepOf(out), roiOf(in)), ippStsNoErr);
            EXPECT_TRUE(samePixels<T>(in, out));
            EXPECT_TRUE(onlyInnerChanged(before, whole, 2));
        });
    }
}

TEST(Copy, EveryTypeCopiesItsRegionAndNothingElse)
{
    expectCopies<uchar>(ippiCopy_8u_C1R, CV_8UC1);
    expectCopies<uchar>(ippiCopy_8u_C4R, CV_8UC4);
    expectCopies<ushort>(ippiCopy_16u_C1R, CV_16UC1);
    expectCopies<ushort>(ippiCopy_16u_C3R, CV_16UC3);
    expectCopies<ushort>(ippiCopy_16u_C4R, CV_16UC4);
    expectCopies<float>(ippiCopy_32f_C1R, CV_32FC1);
}

template <class T>
void expectFills(IppStatus (*set)(T, T*, int, IppiSize), int type, T value)
{
    for (const cv::Size size : oddSizes())
        everyWay([&] {
            cv::Mat whole = randomPlane(size + cv::Size(4, 4), type, 0, 200, 2);
            const cv::Mat before = whole.clone();
            cv::Mat out = innerOf(whole, 2);
            EXPECT_EQ(set(value, out.ptr<T>(), stepOf(out), roiOf(out)), ippStsNoErr);
            EXPECT_TRUE(samePixels<T>(planeOf<T>(size, [&](int, int) { return value; }), out));
            EXPECT_TRUE(onlyInnerChanged(before, whole, 2));
        });
}

TEST(Set, FillsTheRegionAndNothingElse)
{
    expectFills<uchar>(ippiSet_8u_C1R, CV_8UC1, 255);
    expectFills<ushort>(ippiSet_16u_C1R, CV_16UC1, 65535);
    expectFills<float>(ippiSet_32f_C1R, CV_32FC1, -0.1f);
    std::vector<float> v(40, 1.0f);
    everyWay([&] {
        EXPECT_EQ(ippsSet_32f(2.5f, v.data(), 39), ippStsNoErr);
        EXPECT_EQ(v[38], 2.5f);
        EXPECT_EQ(v[39], 1.0f);
    });
}

TEST(Set, MaskedFillAndXorTouchWhatTheyShould)
{
    for (const cv::Size size : oddSizes()) {
        SCOPED_TRACE(testing::Message() << size);
        const cv::Mat start = randomPlane(size, CV_8UC1, 0, 256, 1), mask = randomPlane(size, CV_8UC1, 0, 3, 2);
        const cv::Mat filled =
            planeOf<uchar>(size, [&](int y, int x) { return mask.at<uchar>(y, x) ? 77 : start.at<uchar>(y, x); });
        const cv::Mat flipped = planeOf<uchar>(size, [&](int y, int x) { return start.at<uchar>(y, x) ^ 0xa5; });
        everyWay([&] {
            cv::Mat out = start.clone();
            EXPECT_EQ(ippiSet_8u_C1MR(77, out.ptr(), stepOf(out), roiOf(out), mask.ptr(), stepOf(mask)), ippStsNoErr);
            EXPECT_TRUE(samePixels<uchar>(filled, out));
            out = start.clone();
            EXPECT_EQ(ippiXorC_8u_C1IR(0xa5, out.ptr(), stepOf(out), roiOf(out)), ippStsNoErr);
            EXPECT_TRUE(samePixels<uchar>(flipped, out));
        });
    }
}

template <class T>
void expectReplicates(IppStatus (*replicate)(const T*, int, IppiSize, T*, int, IppiSize, int, int), int type)
{
    for (const cv::Size size : oddSizes())
        for (const cv::Rect margin : {cv::Rect(0, 0, 0, 0), cv::Rect(3, 5, 2, 0), cv::Rect(0, 1, 40, 7)}) {
            SCOPED_TRACE(testing::Message() << size << " margins " << margin);
            const cv::Mat in = randomPlane(size, type, 0, topOf(type), 1);
            const int left = margin.x, top = margin.y;
            const cv::Size outer(left + size.width + margin.width, top + size.height + margin.height);
            const cv::Mat expected =
                planeOf<T>(outer, [&](int y, int x) { return pixmill::reference::repeated<T>(in, y - top, x - left); });
            everyWay([&] {
                cv::Mat out = randomPlane(outer, type, 0, 200, 2);
                EXPECT_EQ(
                    replicate(in.ptr<T>(), stepOf(in), roiOf(in), out.ptr<T>(), stepOf(out), roiOf(out), top, left),
                    ippStsNoErr);
                EXPECT_TRUE(samePixels<T>(expected, out));
                if (type != CV_32FC1)
                    return;
                cv::Mat around = randomPlane(outer, type, 0, 200, 2);
                cv::Mat inner = around(cv::Rect(left, top, size.width, size.height));
                in.copyTo(inner);
                EXPECT_EQ(ippiCopyReplicateBorder_32f_C1IR(inner.ptr<float>(), stepOf(around), roiOf(inner),
                                                           roiOf(around), top, left),
                          ippStsNoErr);
                EXPECT_TRUE(samePixels<T>(expected, around));
            });
        }
}

TEST(CopyReplicateBorder, RepeatsTheNearestSample)
{
    expectReplicates<uchar>(ippiCopyReplicateBorder_8u_C1R, CV_8UC1);
    expectReplicates<ushort>(ippiCopyReplicateBorder_16u_C1R, CV_16UC1);
    expectReplicates<float>(ippiCopyReplicateBorder_32f_C1R, CV_32FC1);
}

TEST(CopyReplicateBorder, NegativeBordersAreSizeErrorsAndWriteNothing)
{
    struct Case {
        const char* name;
        IppiSize src, dst;
        int top, left;
    };
    const Case cases[] = {
        {"top", {4, 4}, {6, 6}, -1, 0},          {"left", {4, 4}, {6, 6}, 0, -1},
        {"right", {4, 4}, {6, 6}, 0, 3},         {"bottom", {4, 4}, {6, 6}, 3, 0},
        {"smaller", {4, 4}, {3, 3}, 0, 0},       {"noSource", {0, 4}, {6, 6}, 0, 0},
        {"noDestination", {4, 4}, {6, 0}, 0, 0}, {"farLeft", {4, 4}, {6, 6}, 0, std::numeric_limits<int>::max()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<float> src(16, 1), dst(36, 2), both(64, 3);
        EXPECT_EQ(ippiCopyReplicateBorder_32f_C1R(src.data(), 16, c.src, dst.data(), 24, c.dst, c.top, c.left),
                  ippStsSizeErr);
        EXPECT_EQ(dst, std::vector<float>(36, 2));
        EXPECT_EQ(ippiCopyReplicateBorder_32f_C1IR(&both[18], 32, c.src, c.dst, c.top, c.left), ippStsSizeErr);
        EXPECT_EQ(both, std::vector<float>(64, 3));
    }
}

template <class T>
void expectRamp(IppStatus (*ramp)(T*, int, IppiSize, float, float, int), int type, double top, float offset,
                float slope)
{
    for (const cv::Size size : {cv::Size(256, 1), cv::Size(65536, 1), cv::Size(33, 29)})
        for (const int axis : {ippAxsHorizontal, ippAxsVertical, ippAxsBoth}) {
            SCOPED_TRACE(testing::Message() << size << " axis " << axis << " " << offset << " + " << slope);
            const cv::Mat expected = planeOf<T>(size, [&](int y, int x) {
                const double place = axis == 0 ? x : axis == 1 ? y : double(x) * y;
                return rounded(double(offset) + double(slope) * place, top);
            });
            everyWay([&] {
                cv::Mat out = randomPlane(size, type, 0, 200);
                EXPECT_EQ(ramp(out.ptr<T>(), stepOf(out), size.width == 65536 ? IppiSize{65536, 1} : roiOf(out), offset,
                               slope, axis),
                          ippStsNoErr);
                EXPECT_TRUE(samePixels<T>(expected, out));
            });
        }
}

TEST(ImageRamp, IsTheRoundedSaturatedLine)
{
    for (const float slope : {1.0f, 0.5f, 1.7f, -0.3f, 1.0f / 3, 1e30f}) {
        expectRamp<uchar>(ippiImageRamp_8u_C1R, CV_8UC1, 255, 0.0f, slope);
        expectRamp<uchar>(ippiImageRamp_8u_C1R, CV_8UC1, 255, 100.5f, slope);
        expectRamp<ushort>(ippiImageRamp_16u_C1R, CV_16UC1, 65535, 0.5f, slope);
    }
    expectRamp<uchar>(ippiImageRamp_8u_C1R, CV_8UC1, 255, std::numeric_limits<float>::quiet_NaN(), 1.0f);
}

TEST(ImageRamp, UnknownAxisIsAnErrorAndWritesNothing)
{
    unsigned char v = 5;
    EXPECT_EQ(ippiImageRamp_8u_C1R(&v, 1, {1, 1}, 1, 1, 3), ippStsBadArgErr);
    EXPECT_EQ(ippiImageRamp_8u_C1R(&v, 1, {1, 1}, 1, 1, -1), ippStsBadArgErr);
    EXPECT_EQ(v, 5);
}

} // namespace
