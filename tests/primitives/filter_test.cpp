#include "roi.h"
#include <pixmill/primitives/filter.h>
#include <pixmill/rows/morphology3x3.h>
#include <reference/gauss_mask.h>
#include <reference/morphology.h>
#include <support/everyway.h>

#include <limits>

using namespace pixmill::test;
using pixmill::reference::extremes;

namespace {

double gaussSum(const cv::Mat& padded, int y, int x, int code)
{
    return pixmill::reference::gaussMean(code / 11, y + 2, x + 2,
                                         [&](int j, int i) { return pixmill::reference::sampleOf(padded, j, i); });
}

TEST(FilterGauss, IsTheWeightedMean)
{
    std::vector<cv::Size> sizes = oddSizes();
    sizes.push_back({1600, 3}); // more than a strip
    for (const cv::Size size : sizes)
        for (const int code : {33, 55}) {
            SCOPED_TRACE(testing::Message() << size << " mask " << code);
            const cv::Mat in8 = randomPlane(size + cv::Size(4, 4), CV_8UC1, 0, 256);
            const cv::Mat in32 = randomPlane(size + cv::Size(4, 4), CV_32FC1, -1, 1);
            const cv::Mat expected8 =
                planeOf<uchar>(size, [&](int y, int x) { return std::nearbyint(gaussSum(in8, y, x, code)); });
            const cv::Mat expected32 = planeOf<float>(size, [&](int y, int x) { return gaussSum(in32, y, x, code); });
            everyWay([&] {
                cv::Mat out8 = randomPlane(size, CV_8UC1, 0, 256, 2), out32 = randomPlane(size, CV_32FC1, 0, 1, 2);
                const cv::Mat from8 = innerOf(in8, 2), from32 = innerOf(in32, 2);
                EXPECT_EQ(
                    ippiFilterGauss_8u_C1R(from8.ptr(), stepOf(from8), out8.ptr(), stepOf(out8), roiOf(out8), code),
                    ippStsNoErr);
                EXPECT_TRUE(samePixels<uchar>(expected8, out8));
                EXPECT_EQ(ippiFilterGauss_32f_C1R(from32.ptr<float>(), stepOf(from32), out32.ptr<float>(),
                                                  stepOf(out32), roiOf(out32), code),
                          ippStsNoErr);
                EXPECT_TRUE(samePixels<float>(expected32, out32));
            });
        }
}

TEST(FilterGauss, EveryByteSumRoundsRight)
{
    // 2 * a + 7 * b + 12 * c + 127 * d reaches every sum; the rest of the window is 0.
    std::vector<bool> seen(571 * 255 + 1);
    for (int d = 0; d < 256; ++d)
        for (int c = 0; c < 256; c += 5)
            for (int a = 0; a < 12; ++a) {
                uchar window[25] = {};
                window[0] = uchar(a), window[2] = uchar(c), window[12] = uchar(d);
                const int sum = 2 * a + 12 * c + 127 * d;
                if (seen[sum])
                    continue;
                seen[sum] = true;
                uchar out = 0;
                ippiFilterGauss_8u_C1R(window + 12, 5, &out, 1, {1, 1}, 55);
                ASSERT_EQ(out, (2 * sum + 571) / 1142) << sum;
            }
}

TEST(FilterGauss, SumsThatNarrowDoubtfullyAreDivided)
{
    float window[25] = {};
    for (const float v : {1.0f + 0x1p-23f, std::numeric_limits<float>::denorm_min(), 571.0f * 0x1p-140f}) {
        window[0] = v;
        float out = 9;
        ippiFilterGauss_32f_C1R(window + 12, 20, &out, 4, {1, 1}, 55);
        EXPECT_EQ(out, float(2.0 * double(v) / 571.0)) << v;
    }
}

TEST(FilterGauss, UnknownMaskCodesAreErrorsAndWriteNothing)
{
    const float in[25] = {};
    float out = 3;
    for (const int code : {0, 35, 53, 5})
        EXPECT_EQ(ippiFilterGauss_32f_C1R(in + 12, 20, &out, 4, {1, 1}, code), ippStsMaskSizeErr);
    EXPECT_EQ(out, 3);
}

struct NamedMask {
    const char* name;
    pixmill::reference::Mask mask;
};

NamedMask disc(const char* name, int r)
{
    NamedMask named{name, {{2 * r + 1, 2 * r + 1}, {r, r}, {}}};
    for (int y = -r; y <= r; ++y)
        for (int x = -r; x <= r; ++x)
            named.mask.cells.push_back(x * x + y * y <= r * r ? 0x7f : 0);
    return named;
}

std::vector<NamedMask> masks()
{
    std::vector<uchar> farCell(81);
    farCell[80] = 1;
    return {
        disc("one", 0),
        disc("cross", 1),
        disc("disc", 4),
        disc("wideDisc", 9),
        {"offCentre", {{3, 2}, {2, 0}, {1, 0, 1, 0, 255, 0}}},
        {"rowsWithGaps", {{7, 3}, {1, 2}, {1, 1, 0, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1}}},
        {"farCell", {{9, 9}, {0, 0}, farCell}},
    };
}

template <class T>
using MorphologyFunction = IppStatus (*)(const T*, int, T*, int, IppiSize, const unsigned char*, IppiSize, IppiPoint);

template <class T>
void expectMorphology(MorphologyFunction<T> dilate, MorphologyFunction<T> erode, int type)
{
    std::vector<cv::Size> sizes = oddSizes();
    sizes.push_back({2500, 2}); // more than a strip
    for (const cv::Size size : sizes)
        for (const auto& [name, mask] : masks()) {
            SCOPED_TRACE(testing::Message() << size << " " << name);
            const int margin = 10;
            const cv::Mat padded = randomPlane(size + cv::Size(2 * margin, 2 * margin), type, 0, topOf(type));
            const cv::Mat in = innerOf(padded, margin);
            const cv::Mat largest = extremes<T>(padded, margin, size, mask, true);
            const cv::Mat smallest = extremes<T>(padded, margin, size, mask, false);
            everyWay([&, &mask = mask] {
                const IppiSize side{mask.size.width, mask.size.height};
                const IppiPoint anchor{mask.anchor.x, mask.anchor.y};
                cv::Mat out = randomPlane(size, type, 0, 200, 2);
                EXPECT_EQ(dilate(in.ptr<T>(), stepOf(in), out.ptr<T>(), stepOf(out), roiOf(out), mask.cells.data(),
                                 side, anchor),
                          ippStsNoErr);
                EXPECT_TRUE(samePixels<T>(largest, out));
                erode(in.ptr<T>(), stepOf(in), out.ptr<T>(), stepOf(out), roiOf(out), mask.cells.data(), side, anchor);
                EXPECT_TRUE(samePixels<T>(smallest, out));
            });
        }
}

TEST(Morphology, TakesTheExtremeUnderAnyMask)
{
    expectMorphology<uchar>(ippiDilate_8u_C1R, ippiErode_8u_C1R, CV_8UC1);
    expectMorphology<ushort>(ippiDilate_16u_C1R, ippiErode_16u_C1R, CV_16UC1);
}

TEST(Morphology, ThreeByThreeInPlaceSeesTheOriginalSamples)
{
    const pixmill::reference::Mask full{{3, 3}, {1, 1}, std::vector<uchar>(9, 1)};
    std::vector<cv::Size> sizes = oddSizes();
    sizes.push_back({20, 300});
    for (const cv::Size size : sizes) {
        SCOPED_TRACE(testing::Message() << size);
        const cv::Mat padded = randomPlane(size + cv::Size(4, 4), CV_16UC1, 0, 65536);
        const cv::Mat largest = extremes<ushort>(padded, 2, size, full, true);
        const cv::Mat smallest = extremes<ushort>(padded, 2, size, full, false);
        everyWay([&] {
            for (const bool dilate : {true, false}) {
                cv::Mat work = padded.clone(), inner = innerOf(work, 2);
                const auto run = dilate ? ippiDilate3x3_16u_C1IR : ippiErode3x3_16u_C1IR;
                EXPECT_EQ(run(inner.ptr<ushort>(), stepOf(inner), roiOf(inner)), ippStsNoErr);
                EXPECT_TRUE(samePixels<ushort>(dilate ? largest : smallest, inner));
                EXPECT_TRUE(onlyInnerChanged(padded.clone(), work, 2));
            }
            if (size.height != 1)
                return;
            std::vector<ushort> columnMax(size.width + 2), columnMin(size.width + 2), most(size.width),
                least(size.width);
            const auto row = [&](int y) { return padded.ptr<ushort>(y) + 2; };
            pixmill::rows::extremes3x3Row(row(1), row(2), row(3), columnMax.data(), columnMin.data(), most.data(),
                                          least.data(), size.width);
            EXPECT_TRUE(samePixels<ushort>(largest, cv::Mat(1, size.width, CV_16UC1, most.data())));
            EXPECT_TRUE(samePixels<ushort>(smallest, cv::Mat(1, size.width, CV_16UC1, least.data())));
        });
    }
}

/// Runs `filter(src, step, dst, dstStep, roi)` from a block that ends with the last window's last sample.
template <class T, class Filter>
void expectReadsOnlyWindows(IppiSize mask, const Filter& filter)
{
    for (const IppiSize roi : {IppiSize{1, 1}, IppiSize{37, 5}, IppiSize{4, 40}}) {
        const int columns = roi.width + mask.width - 1, rows = roi.height + mask.height - 1;
        everyWay([&] {
            // Copies that end nowhere else, for the address checker to stand behind.
            const std::vector<T> block(std::size_t(columns) * rows, T(7));
            std::vector<T> out(std::size_t(roi.width) * roi.height);
            const T* first = &block[std::size_t(mask.height / 2) * columns + mask.width / 2];
            EXPECT_EQ(filter(first, columns * int(sizeof(T)), out.data(), roi.width * int(sizeof(T)), roi), 0);
            EXPECT_EQ(out, std::vector<T>(out.size(), T(7)));
        });
    }
}

TEST(Filters, ReadNoSampleOutsideTheWindows)
{
    for (const IppiSize mask : {IppiSize{3, 3}, IppiSize{5, 3}, IppiSize{9, 21}}) {
        const IppiPoint anchor{mask.width / 2, mask.height / 2};
        const std::vector<uchar> cells(std::size_t(mask.width) * mask.height, 1);
        const auto box = [&](auto f) { return [=](auto... args) { return f(args..., mask, anchor); }; };
        expectReadsOnlyWindows<uchar>(mask, box(ippiFilterBox_8u_C1R));
        expectReadsOnlyWindows<ushort>(mask, box(ippiFilterBox_16u_C1R));
        expectReadsOnlyWindows<float>(mask, box(ippiFilterBox_32f_C1R));
        expectReadsOnlyWindows<uchar>(
            mask, [&](auto... args) { return ippiErode_8u_C1R(args..., cells.data(), mask, anchor); });
        expectReadsOnlyWindows<ushort>(
            mask, [&](auto... args) { return ippiDilate_16u_C1R(args..., cells.data(), mask, anchor); });
    }
    for (const int side : {3, 5}) {
        expectReadsOnlyWindows<uchar>({side, side},
                                      [&](auto... args) { return ippiFilterGauss_8u_C1R(args..., 11 * side); });
        expectReadsOnlyWindows<float>({side, side},
                                      [&](auto... args) { return ippiFilterGauss_32f_C1R(args..., 11 * side); });
    }
}

} // namespace
