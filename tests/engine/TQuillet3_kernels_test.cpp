// The engine's own pixel steps: zone weights, mix, sum, colour-weighted luma.
#include <pixmill/engine/TQuillet3.h>
#include <reference/detail_zones.h>
#include <support/everyway.h>
#include <support/planes.h>

#include <regex>

using namespace pixmill::test;
using namespace pixmill::reference;

TEST(TQuillet3Zones, WeightsFollowTheRampsAndSumToAboutOne)
{
    const auto weight = [](int i) {
        return cv::Vec3i(TQuillet3::tg_shadowLut_p[i], TQuillet3::tg_midtoneLut_p[i], TQuillet3::tg_highlightLut_p[i]);
    };
    EXPECT_EQ(weight(0), cv::Vec3i(256, 0, 0));
    EXPECT_EQ(weight(8), cv::Vec3i(231, 24, 0));
    EXPECT_EQ(weight(7), cv::Vec3i(235, 21, 0));
    EXPECT_EQ(weight(77), cv::Vec3i(24, 231, 0));
    EXPECT_EQ(weight(78), cv::Vec3i(21, 235, 0));
    EXPECT_EQ(weight(85), cv::Vec3i(0, 256, 0));
    EXPECT_EQ(weight(128), cv::Vec3i(0, 256, 0));
    EXPECT_EQ(weight(170), cv::Vec3i(0, 256, 0));
    EXPECT_EQ(weight(171), cv::Vec3i(0, 253, 3));
    EXPECT_EQ(weight(255), cv::Vec3i(0, 0, 256));
    for (int i = 0; i < 256; ++i) {
        const cv::Vec3i w = weight(i);
        EXPECT_EQ(w, zoneWeights(i << 8)) << i;
        const int sum = w[0] + w[1] + w[2];
        EXPECT_TRUE(sum == 255 || sum == 256) << i;
    }
}

TEST(TQuillet3Mix, MatchesTheReferenceBitForBit)
{
    everyWay([] {
        for (const cv::Size size : oddSizes()) {
            SCOPED_TRACE(testing::Message() << size);
            const cv::Mat Y = randomPlane(size, CV_16UC1, 0, 65536, 1), s = randomPlane(size, CV_16UC1, 0, 65536, 2);
            const cv::Mat m = randomPlane(size, CV_16UC1, 0, 65536, 3);
            cv::Mat inOut = randomPlane(size, CV_16UC1, 0, 65536, 4);
            const cv::Mat expected = zonesMixed(Y, s, m, inOut);
            TQuillet3::mixSMH(Y, s, m, inOut);
            ASSERT_TRUE(samePixels<ushort>(expected, inOut));
        }
    });
}

TEST(TQuillet3Mix, ANegativeSumTruncatesTowardZero)
{
    const cv::Mat Y(1, 1, CV_16UC1, cv::Scalar(8 << 8)); // weights 231, 24, 0
    const cv::Mat centre(1, 1, CV_16UC1, cv::Scalar(32768)), below(1, 1, CV_16UC1, cv::Scalar(32767));
    cv::Mat inOut = centre.clone();
    TQuillet3::mixSMH(Y, below, centre, inOut);
    EXPECT_EQ(inOut.at<ushort>(0), 32768);
    const cv::Mat top(1, 1, CV_16UC1, cv::Scalar(65535));
    inOut = top.clone();
    TQuillet3::mixSMH(Y, top, top, inOut);
    EXPECT_EQ(inOut.at<ushort>(0), 32768 + 32767 * 255 / 256);
}

TEST(TQuillet3Edges, AddTwiceTheCentredDetailAndClamp)
{
    everyWay([] {
        for (const cv::Size size : oddSizes()) {
            const cv::Mat d0 = randomPlane(size, CV_16UC1, 20000, 45000, 1),
                          d1 = randomPlane(size, CV_16UC1, 0, 65536, 2);
            const cv::Mat d2 = randomPlane(size, CV_16UC1, 30000, 36000, 3);
            cv::Mat Y = randomPlane(size, CV_16UC1, 0, 65536, 4);
            const cv::Mat expected = detailAdded(Y, d0, d1, d2);
            TQuillet3::addEdges(d0, d1, d2, Y);
            ASSERT_TRUE(samePixels<ushort>(expected, Y)) << size;
        }
    });
}

TEST(TQuillet3Color, SixteenAndEightBitDifferencesMatchTheReference)
{
    const float r = 0.31f, g = -0.12f, b = 0.77f;
    everyWay([&] {
        for (const cv::Size size : oddSizes())
            for (const int type : {CV_16UC1, CV_8UC1}) {
                SCOPED_TRACE(testing::Message() << size << " type " << type);
                const cv::Mat Y = randomPlane(size, CV_16UC1, 0, 65536, 4);
                const cv::Mat dr = randomPlane(size, type, 0, topOf(type), 1),
                              db = randomPlane(size, type, 0, topOf(type), 2);
                cv::Mat out = Y.clone();
                TQuillet3::modYWithC(dr, db, r, g, b, out);
                ASSERT_TRUE(samePixels<ushort>(lumaWeighted(Y, dr, db, r, g, b), out));
            }
    });
}

TEST(TQuillet3Color, EqualWeightsChangeNothing)
{
    const cv::Mat Dr = randomPlane({40, 30}, CV_16UC1, 0, 65536, 1), Db = randomPlane({40, 30}, CV_16UC1, 0, 65536, 2);
    const cv::Mat Y = randomPlane({40, 30}, CV_16UC1, 0, 65536, 3);
    cv::Mat out = Y.clone();
    TQuillet3::modYWithC(Dr, Db, 0.7f, 0.7f, 0.7f, out);
    EXPECT_TRUE(samePixels<ushort>(Y, out));
}

TEST(TQuillet3Color, OtherTypesThrowATimedLineThatOutlivesTheThrow)
{
    const std::regex line(R"(\d{5,}\.\d{3} - 359 - modYWithC : bad dr type - )");
    const cv::Mat u8 = cv::Mat::zeros(2, 2, CV_8UC1), u16 = cv::Mat::zeros(2, 2, CV_16UC1);
    const cv::Mat f32 = cv::Mat::zeros(2, 2, CV_32FC1);
    for (const auto& [dr, db] : {std::pair(f32, f32), std::pair(u8, u16), std::pair(u16, u8)}) {
        cv::Mat Y = u16.clone();
        try {
            TQuillet3::modYWithC(dr, db, 1, 0, 0, Y);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const char* text) {
            EXPECT_TRUE(std::regex_match(text, line)) << text;
        }
    }
}

TEST(TQuillet3Controls, CountAsSetFromAHundredthOn)
{
    EXPECT_FALSE(TQuillet3::bNZ(0.0099f));
    EXPECT_TRUE(TQuillet3::bNZ(0.01f));
    EXPECT_TRUE(TQuillet3::bNZ(-0.01f));
    EXPECT_FALSE(TQuillet3::neq(0.5f, 0.505f));
    EXPECT_TRUE(TQuillet3::neq(0.5f, 0.52f));
    TQuillet3 engine;
    for (int zone = 0; zone < 3; ++zone)
        for (auto* controls : {&engine.m_detailK, &engine.m_detailT}) {
            EXPECT_FALSE(engine.bNeedSHMix(1));
            (*controls)[1][zone] = -0.01f;
            EXPECT_TRUE(engine.bNeedSHMix(1)) << zone;
            EXPECT_FALSE(engine.bNeedSHMix(0));
            (*controls)[1][zone] = 0;
        }
}

TEST(TQuillet3Controls, TheIdentityCurveHasThreePointsAndTheEntryPointsAnswerOne)
{
    int x[3], y[3], count = 0;
    TQuillet3::computeYCurve(x, y, &count);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(cv::Vec3i(x), cv::Vec3i(0, 32768, 65535));
    EXPECT_EQ(cv::Vec3i(y), cv::Vec3i(0, 32768, 65536));
    const cv::Mat none;
    EXPECT_EQ(detailProcForPixelOp(none, none, none, none, 1), 1);
    EXPECT_EQ(detailProcForFilterOp(none, none, none, none, 1), 1);
    EXPECT_EQ(detailProcForEdgeOp(none, none, none, none, 1), 1);
}
