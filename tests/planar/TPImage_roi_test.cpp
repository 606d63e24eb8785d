#include <pixmill/planar/TPImage.h>
#include <reference/view.h>
#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

#include <limits>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

struct Region {
    const char* name;
    int x, y, w, h, scale;
    bool half;
};

// Of a plane of 61 by 47.
// clang-format off
const Region kRegions[] = {
    // name                   x   y   w   h   scale half
    {"inside",                 5,  7, 40, 30, 1,    false},
    {"whole",                  0,  0, 61, 47, 1,    false},
    {"onePixel",              60, 46,  1,  1, 1,    false},
    {"cutAtTheFarEdge",       50, 40, 30, 30, 1,    false},
    {"byTwo",                  3,  2, 20, 15, 2,    false},
    {"byTwoOddEdge",           0,  0, 31, 24, 2,    false},
    {"byTwoFarPast",          50, 40, 20, 20, 2,    false},
    {"byThree",                4,  1, 17, 12, 3,    false},
    {"byThreeCut",            31, 30, 15,  9, 3,    false},
    {"byFour",                 1,  5, 15, 11, 4,    false},
    {"byFourCut",             40, 33, 10, 10, 4,    false},
    {"byFive",                 0,  0, 12,  9, 5,    false},
    {"byEight",                0,  0,  8,  6, 8,    false},
    {"coarserThanTheView",    58, 45,  6,  4, 8,    false},
    {"oneOfAll",               0,  0,  1,  1, 4096, false},
    {"halfOdd",               11, 13, 21, 19, 1,    true},
    {"halfByTwo",             11, 13, 21, 19, 2,    true},
};
// clang-format on

template <class T>
void compareRegion(const Region& region, double high)
{
    const cv::Mat in = randomPlane({61, 47}, cv::DataType<T>::type, 0, high);
    cv::Rect r(region.x, region.y, region.w, region.h);
    if (region.half)
        r = {region.x / 2, region.y / 2, region.w / 2 + region.w % 2, region.h / 2 + region.h % 2};
    const cv::Mat expected[] = {viewOf<T>(in, r, region.scale, false), viewOf<T>(in, r, region.scale, true)};
    everyWay([&] {
        for (const bool smoothed : {false, true}) {
            SCOPED_TRACE(smoothed ? "smooth" : "plain");
            const cv::Mat out =
                TPImage::MatRoi(in, region.x, region.y, region.w, region.h, region.scale, region.half, smoothed);
            EXPECT_TRUE(samePixels<T>(expected[smoothed], out));
            EXPECT_TRUE(out.data < in.datastart || out.data >= in.dataend);
        }
    });
}

class MatRoiRegion : public testing::TestWithParam<Region> {};

} // namespace

TEST_P(MatRoiRegion, MatchesTheReferenceBitForBit)
{
    compareRegion<uchar>(GetParam(), 256);
    compareRegion<ushort>(GetParam(), 65536);
    compareRegion<float>(GetParam(), 1);
}

INSTANTIATE_TEST_SUITE_P(Table, MatRoiRegion, testing::ValuesIn(kRegions),
                         [](const auto& info) { return info.param.name; });

TEST(MatRoi, MeansOfEverySumRoundToNearest)
{
    // One bright pixel count and value a column: sums 0..2295 and their neighbours at 16 bits.
    cv::Mat in(3, 3 * 2296, CV_16UC1, cv::Scalar(0));
    for (int s = 0; s < 2296; ++s)
        for (int i = 0; i < 9; ++i)
            in.at<ushort>(i / 3, 3 * s + i % 3) = ushort(s * 28 + i * 7);
    EXPECT_TRUE(samePixels<ushort>(boxMeansAround<ushort>(in, 1, cv::BORDER_REPLICATE),
                                   TPImage::MatRoi(in, 0, 0, in.cols, in.rows, 1, false, true)));
}

TEST(MatRoi, LargePlanesGoThroughInTilesWithoutASeam)
{
    for (const int scale : {1, 2, 6}) {
        const cv::Mat in = randomPlane({6151, 13}, CV_16UC1, 0, 65536);
        const int w = 6151 / scale + 1, h = 13 / scale;
        const cv::Mat expected = viewOf<ushort>(in, {0, 0, w, h}, scale, true);
        EXPECT_TRUE(samePixels<ushort>(expected, TPImage::MatRoi(in, 0, 0, w, h, scale, false, true)));
    }
}

TEST(MatRoi, PlainCopiesTakeAnyType)
{
    const cv::Mat in = randomPlane({9, 7}, CV_16UC3, 0, 65536);
    EXPECT_TRUE(samePixels<ushort>(in(cv::Rect(2, 1, 4, 3)).clone(), TPImage::MatRoi(in, 2, 1, 4, 3, 1, false, false)));
    EXPECT_THROWS_TEXT(TPImage::MatRoi(in, 2, 1, 4, 3, 1, false, true), "ERROR TPImage::MatRoi - input type");
    EXPECT_THROWS_TEXT(TPImage::MatRoi(in, 0, 0, 4, 3, 2, false, true), "ERROR TPImage::MatRoi - input type");
    EXPECT_THROWS_TEXT(TPImage::MatRoi(in, 0, 0, 4, 3, 2, false, false), "ERROR - downSizeNX - type");
}

TEST(MatRoi, RegionsThatReachOutsideAtTheNearEdgeAreRefused)
{
    const cv::Mat in = randomPlane({9, 7}, CV_16UC1, 0, 65536);
    constexpr int kMost = std::numeric_limits<int>::max(), kLeast = std::numeric_limits<int>::min();
    for (const bool smooth : {false, true})
        for (const int scale : {1, 2, 3}) {
            const auto roi = [&](int x, int y, int w, int h) {
                return TPImage::MatRoi(in, x, y, w, h, scale, false, smooth);
            };
            EXPECT_THROW(roi(-1, 0, 4, 4), cv::Exception);
            EXPECT_THROW(roi(0, -1, 4, 4), cv::Exception);
            EXPECT_THROW(roi(10, 0, 4, 4), cv::Exception);
            EXPECT_THROW(roi(0, 8, 4, 4), cv::Exception);
            EXPECT_THROW(roi(0, 0, -3, 4), cv::Exception);
            EXPECT_THROW(roi(kMost, 0, 4, 4), cv::Exception);
            EXPECT_THROW(roi(kLeast, kLeast, kLeast, kLeast), cv::Exception);
        }
    EXPECT_THROW(TPImage::MatRoi(cv::Mat(), 0, 0, 1, 1, 1, false, false), cv::Exception);
    EXPECT_THROW(TPImage::MatRoi(in, 0, 0, 4, 4, 0, false, true), cv::Exception);
    EXPECT_THROW(TPImage::MatRoi(in, 0, 0, 4, 4, -2, false, false), cv::Exception);
    EXPECT_EQ(TPImage::MatRoi(in, 0, 0, kMost, 4, 1, false, false).size(), cv::Size(9, 4));
}

TEST(MatRoi, ARegionWithoutPixelsIsEmptyOrBlack)
{
    const cv::Mat in = randomPlane({9, 7}, CV_16UC1, 1, 65536);
    for (const bool smooth : {false, true}) {
        EXPECT_TRUE(TPImage::MatRoi(in, 0, 0, 0, 4, 1, false, smooth).empty());
        EXPECT_TRUE(TPImage::MatRoi(in, 9, 7, 4, 4, 1, false, smooth).empty());
        EXPECT_THROWS_TEXT(TPImage::MatRoi(in, 0, 0, 0, 4, 2, false, smooth), "downSizeNX - out is not allocated");
        for (const int scale : {2, 3}) {
            const cv::Mat past = TPImage::MatRoi(in, 9, 0, 3, 4, scale, false, smooth);
            EXPECT_TRUE(samePixels<ushort>(cv::Mat(4, 3, CV_16UC1, cv::Scalar(0)), past));
        }
    }
}

TEST(MatRoi, HalfARegionOfNegativeSizeIsEmptyAndAResultIsBounded)
{
    const cv::Mat in = randomPlane({9, 7}, CV_16UC1, 0, 65536);
    for (const int size : {-1, -2, -5, std::numeric_limits<int>::min()})
        for (const bool smooth : {false, true})
            EXPECT_TRUE(TPImage::MatRoi(in, 2, 2, size, 6, 1, true, smooth).empty()) << size;
    EXPECT_REFUSES(TPImage::MatRoi(in, 0, 0, std::numeric_limits<int>::max(), 4, 2, false, true),
                   "TPImage::MatRoi: width and height is 2147483647 x 4");
    EXPECT_REFUSES(TPImage::MatRoi(in, 10, 0, 1, 1, 1, false, false), "TPImage::MatRoi: x and width");
}
