#include "roi.h"
#include <pixmill/primitives/convert.h>
#include <support/everyway.h>

#include <limits>

using namespace pixmill::test;

namespace {

struct RoundingCase {
    const char* name;
    float in;
    int zero, nearest, financial; // as 8 bits
};

const float kInf = std::numeric_limits<float>::infinity();

// clang-format off
const RoundingCase kRoundings[] = {
    // name                  in           zero  nearest  financial
    {"tieDownToEven",        2.5f,           2,       2,         3},
    {"tieUpToEven",          3.5f,           3,       4,         4},
    {"halfToZero",           0.5f,           0,       0,         1},
    {"justBelowHalf",        0.49999997f,    0,       0,         0},
    {"justAboveTie",         2.5000002f,     2,       3,         3},
    {"negative",             -0.75f,         0,       0,         0},
    {"lastTie",              254.5f,       254,     254,       255},
    {"above",                255.5f,       255,     255,       255},
    {"farAbove",             3e38f,        255,     255,       255},
    {"farBelow",             -3e38f,         0,       0,         0},
    {"infinite",             kInf,         255,     255,       255},
    {"minusInfinite",        -kInf,          0,       0,         0},
    {"nan",                  std::numeric_limits<float>::quiet_NaN(), 0, 0, 0},
};
// clang-format on

TEST(Convert, EachRoundModeSaturates)
{
    for (const RoundingCase& c : kRoundings) {
        SCOPED_TRACE(c.name);
        everyWay([&] {
            const std::vector<float> in(37, c.in);
            const int expected[] = {c.zero, c.nearest, c.financial};
            for (const int mode : {ippRndZero, ippRndNear, ippRndFinancial}) {
                std::vector<unsigned char> out(37, 99);
                EXPECT_EQ(ippiConvert_32f8u_C1R(in.data(), 148, out.data(), 37, {37, 1}, mode), ippStsNoErr);
                EXPECT_EQ(out, std::vector<unsigned char>(37, (unsigned char)expected[mode]));
            }
        });
    }
}

TEST(Convert, SixteenBitsRoundTheSameWay)
{
    const float in[] = {65534.5f, 65533.5f, 65535.5f, 65536.0f, 1e9f, 0.5f, 1.5f, -1.0f, 32768.5f, 32767.498f};
    const unsigned short nearest[] = {65534, 65534, 65535, 65535, 65535, 0, 2, 0, 32768, 32767};
    const unsigned short zero[] = {65534, 65533, 65535, 65535, 65535, 0, 1, 0, 32768, 32767};
    const unsigned short financial[] = {65535, 65534, 65535, 65535, 65535, 1, 2, 0, 32769, 32767};
    const unsigned short* expected[] = {zero, nearest, financial};
    for (const int mode : {0, 1, 2}) {
        unsigned short out[10];
        EXPECT_EQ(ippiConvert_32f16u_C1R(in, 40, out, 20, {10, 1}, mode), ippStsNoErr);
        for (int i = 0; i < 10; ++i)
            EXPECT_EQ(out[i], expected[mode][i]) << "mode " << mode << ", " << in[i];
    }
}

TEST(Convert, UnknownModesAndHintsAreErrors)
{
    const float in = 5;
    unsigned char out8 = 1;
    unsigned short out16 = 1;
    for (const int mode : {-1, 3}) {
        EXPECT_EQ(ippiConvert_32f8u_C1R(&in, 4, &out8, 1, {1, 1}, mode), ippStsBadArgErr);
        EXPECT_EQ(ippiConvert_32f16u_C1R(&in, 4, &out16, 2, {1, 1}, mode), ippStsBadArgErr);
        const unsigned short pixel[4] = {9, 9, 9, 9};
        unsigned char narrow[4] = {1, 1, 1, 1};
        EXPECT_EQ(ippiScale_16u8u_C4R(pixel, 8, narrow, 4, {1, 1}, mode), ippStsBadArgErr);
        EXPECT_EQ(narrow[0], 1);
    }
    EXPECT_EQ(out8, 1);
    EXPECT_EQ(out16, 1);
}

TEST(Convert, PlanesKeepTheirPlaces)
{
    for (const cv::Size size : oddSizes()) {
        SCOPED_TRACE(testing::Message() << size);
        const cv::Mat in8 = randomPlane(size, CV_8UC1, 0, 256), in16 = randomPlane(size, CV_16UC1, 0, 65536);
        const cv::Mat in32 = randomPlane(size, CV_32FC1, -20000, 90000);
        const cv::Mat wide8 = planeOf<float>(size, [&](int y, int x) { return in8.at<uchar>(y, x); });
        const cv::Mat wide16 = planeOf<float>(size, [&](int y, int x) { return in16.at<ushort>(y, x); });
        const cv::Mat narrow16 =
            planeOf<ushort>(size, [&](int y, int x) { return rounded(in32.at<float>(y, x), 65535); });
        everyWay([&] {
            cv::Mat f = randomPlane(size, CV_32FC1, 0, 1), s = randomPlane(size, CV_16UC1, 0, 9);
            ippiConvert_8u32f_C1R(in8.ptr(), stepOf(in8), f.ptr<float>(), stepOf(f), roiOf(f));
            EXPECT_TRUE(samePixels<float>(wide8, f));
            ippiConvert_16u32f_C1R(in16.ptr<ushort>(), stepOf(in16), f.ptr<float>(), stepOf(f), roiOf(f));
            EXPECT_TRUE(samePixels<float>(wide16, f));
            ippiConvert_32f16u_C1R(in32.ptr<float>(), stepOf(in32), s.ptr<ushort>(), stepOf(s), roiOf(s), ippRndNear);
            EXPECT_TRUE(samePixels<ushort>(narrow16, s));
        });
    }
}

TEST(Scale, MapsTheFullRangeOfAllFourChannels)
{
    std::vector<unsigned short> wide(65536), again(65536);
    std::vector<unsigned char> narrow(65536);
    for (int v = 0; v < 65536; ++v)
        wide[v] = (unsigned short)v;
    everyWay([&] {
        for (const int hint : {ippAlgHintNone, ippAlgHintFast, ippAlgHintAccurate}) {
            ASSERT_EQ(ippiScale_16u8u_C4R(wide.data(), 512, narrow.data(), 256, {64, 256}, hint), ippStsNoErr);
            for (int v = 0; v < 65536; ++v)
                ASSERT_EQ(narrow[v], (v + 128) / 257) << v;
        }
        ASSERT_EQ(ippiScale_8u16u_C4R(narrow.data(), 256, again.data(), 512, {64, 256}), ippStsNoErr);
        for (int v = 0; v < 65536; ++v)
            ASSERT_EQ(again[v], narrow[v] * 257) << v;
    });
}

} // namespace
