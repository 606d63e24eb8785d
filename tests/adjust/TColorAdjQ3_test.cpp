#include <pixmill/adjust/TColorAdjQ3.h>
#include <reference/colour_table.h>
#include <support/everyway.h>
#include <support/planes.h>

#include <memory>
#include <regex>
#include <string>
#include <vector>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

using Controls = ColourControls;

const Controls kControls[] = {
    {0, 0, 0, 0},           {0.8f, 0, 0, 0},       {-0.7f, 0.6f, 0.5f, 0.1f}, {0.3f, -0.9f, 1, -0.4f},
    {0, 0.2f, -0.5f, 0.6f}, {0.1f, 0.1f, -1, 0.2f}};

constexpr ColourReach kReach = {0.9f, 0.8f, 0.7f, 0.6f, 2.5f, 0.9f};

std::unique_ptr<TColorAdjQ3> object(const Controls& c)
{
    auto adjust = std::make_unique<TColorAdjQ3>(kReach.warmUp, kReach.warmDown, kReach.tintUp, kReach.tintDown,
                                                kReach.satUp, kReach.floorScale);
    adjust->m_warmth = c.warmth;
    adjust->m_tint = c.tint;
    adjust->m_saturation = c.saturation;
    adjust->m_chromaFloor = c.floor;
    adjust->m_dirty = 1;
    return adjust;
}

/// What `proc` says of its time is taken up.
int quietly(TColorAdjQ3& t, const cv::Mat& oldY, const cv::Mat& newY, const cv::Mat& Dr, const cv::Mat& Db,
            cv::Mat& outDr, cv::Mat& outDb, std::string* said = nullptr)
{
    testing::internal::CaptureStdout();
    const int result = t.proc(oldY, newY, Dr, Db, outDr, outDb);
    const std::string line = testing::internal::GetCapturedStdout();
    if (said)
        *said = line;
    return result;
}

} // namespace

TEST(TColorAdjQ3, StartsAsTheIdentityOfItsNodes)
{
    const TColorAdjQ3 t(1, 1, 1, 1, 2, 1);
    EXPECT_EQ(t.m_dirty, 0);
    EXPECT_EQ(t.m_shift, 11);
    EXPECT_EQ(t.m_gridStep, 2047.96875f);
    for (int a = 0; a < 33; ++a) {
        EXPECT_EQ(t.m_gridDr[7][a][3], int(a * 2047.96875));
        EXPECT_EQ(t.m_gridDb[7][3][a], int(a * 2047.96875));
    }
}

TEST(TColorAdjQ3, TablesMatchTheReferenceInEveryCell)
{
    for (const Controls& c : kControls)
        everyWay([&] {
            const auto t = object(c);
            testing::internal::CaptureStdout();
            t->computeLUT16U();
            const std::string said = testing::internal::GetCapturedStdout();
            EXPECT_TRUE(std::regex_match(said, std::regex("time to compute LUT for color adj: [0-9.e+-]+\n"))) << said;
            EXPECT_EQ(t->m_dirty, 0);
            for (int i = 0; i < 33; i += 4)
                for (int a = 0; a < 33; ++a)
                    for (int b = 0; b < 33; ++b)
                        ASSERT_EQ(cv::Vec2i(t->m_gridDr[i][a][b], t->m_gridDb[i][a][b]), colourNode(c, kReach, i, a, b))
                            << c.warmth << " " << c.tint << " at " << i << " " << a << " " << b;
        });
}

TEST(TColorAdjQ3, MapsEveryPixelAsTheReference)
{
    everyWay([] {
        for (const cv::Size size : oddSizes()) {
            const auto t = object(kControls[2]);
            testing::internal::CaptureStdout();
            t->computeLUT16U();
            testing::internal::GetCapturedStdout();
            cv::Mat oldY = randomPlane(size, CV_16UC1, 0, 65536, 1), newY = randomPlane(size, CV_16UC1, 0, 65536, 2);
            cv::Mat Dr = randomPlane(size, CV_16UC1, 0, 65536, 3), Db = randomPlane(size, CV_16UC1, 0, 65536, 4);
            newY.at<ushort>(0, 0) = Dr.at<ushort>(0, 0) = Db.at<ushort>(0, 0) = 65535;
            const cv::Mat mapped = planeOf<cv::Vec2w>(size, [&](int y, int x) {
                return colourMapped(t->m_gridDr, t->m_gridDb, oldY.at<ushort>(y, x), newY.at<ushort>(y, x),
                                    Dr.at<ushort>(y, x), Db.at<ushort>(y, x));
            });
            cv::Mat outDr, outDb, out;
            EXPECT_EQ(quietly(*t, oldY, newY, Dr, Db, outDr, outDb), 1);
            cv::merge(std::vector<cv::Mat>{outDr, outDb}, out);
            ASSERT_TRUE(samePixels<ushort>(mapped, out)) << size;
        }
    });
}

TEST(TColorAdjQ3, NoSaturationLeavesNoColourAndTheTimeIsAlwaysTold)
{
    const auto t = object({0, 0, -1, 0});
    const cv::Mat Y = randomPlane({20, 10}, CV_16UC1, 0, 65536, 1), D = randomPlane({20, 10}, CV_16UC1, 0, 65536, 2);
    cv::Mat outDr, outDb;
    for (int call = 0; call < 2; ++call) {
        std::string said;
        quietly(*t, Y, Y, D, D, outDr, outDb, &said);
        EXPECT_NE(said.find("time to compute LUT for color adj: "), std::string::npos);
    }
    EXPECT_EQ(cv::countNonZero(outDr != 32768), 0);
    EXPECT_EQ(cv::countNonZero(outDb != 32768), 0);
}

TEST(TColorAdjQ3, ExtremeControlsStayInsideTheirRows)
{
    for (const float floor : {1000.0f, -1000.0f, 1e30f, -1e30f}) {
        const auto t = object({5, 5, 3, floor});
        testing::internal::CaptureStdout();
        t->computeLUT16U();
        testing::internal::GetCapturedStdout();
        EXPECT_LE(t->m_gridDr[32][32][32], 65535);
    }
    const auto t = object(kControls[0]);
    cv::Mat a, b;
    EXPECT_THROW(t->proc(cv::Mat::zeros(3, 3, CV_16UC1), cv::Mat::zeros(3, 3, CV_16UC1), cv::Mat::zeros(3, 4, CV_16UC1),
                         cv::Mat::zeros(3, 4, CV_16UC1), a, b),
                 cv::Exception);
}

TEST(TColorAdjQ3, OverlappingViewsGiveWhatPlanesApartGive)
{
    const auto t = object(kControls[0]);
    const cv::Mat Y = randomPlane({20, 10}, CV_16UC1, 0, 65536, 1);
    cv::Mat parent = randomPlane({21, 11}, CV_16UC1, 0, 65536, 2).clone(), expectedDr, expectedDb, outDb;
    const cv::Mat in = parent(cv::Rect(0, 0, 20, 10));
    cv::Mat out = parent(cv::Rect(1, 0, 20, 10));
    testing::internal::CaptureStdout();
    t->proc(Y, Y, in.clone(), Y, expectedDr, expectedDb);
    t->proc(Y, Y, in, Y, out, outDb);
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(samePixels<ushort>(expectedDr, out));
}

TEST(TColorAdjQ3, InPlaceAtEveryShiftEveryWayGivesTheSame)
{
    const cv::Size size(75, 9);
    const cv::Mat oldY = randomPlane(size, CV_16UC1, 0, 65536, 1), newY = randomPlane(size, CV_16UC1, 0, 65536, 2);
    const cv::Mat Dr = randomPlane(size, CV_16UC1, 0, 65536, 3), Db = randomPlane(size, CV_16UC1, 0, 65536, 4);
    for (int shift = 11; shift <= 16; ++shift) {
        SCOPED_TRACE(shift);
        cv::Mat expectedDr, expectedDb;
        everyWay([&] {
            const auto t = object(kControls[3]);
            t->m_shift = shift;
            cv::Mat outDr = Dr.clone(), outDb = Db.clone();
            if (expectedDr.empty())
                quietly(*t, oldY, newY, Dr, Db, expectedDr, expectedDb);
            quietly(*t, oldY, newY, outDr, outDb, outDr, outDb);
            EXPECT_TRUE(samePixels<ushort>(expectedDr, outDr));
            EXPECT_TRUE(samePixels<ushort>(expectedDb, outDb));
        });
    }
}
