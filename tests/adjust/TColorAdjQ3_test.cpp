#include <support/everyway.h>
#include <support/planes.h>

#include <pixmill/adjust/TColorAdjQ3.h>
#include <pixmill/multiscale/gaussianiir.h>

#include <cmath>
#include <memory>
#include <regex>
#include <vector>

using namespace pixmill::test;

namespace {

struct Controls {
    float warmth, tint, saturation, floor;
};

const Controls kControls[] = {
    {0, 0, 0, 0},           {0.8f, 0, 0, 0},       {-0.7f, 0.6f, 0.5f, 0.1f}, {0.3f, -0.9f, 1, -0.4f},
    {0, 0.2f, -0.5f, 0.6f}, {0.1f, 0.1f, -1, 0.2f}};

std::unique_ptr<TColorAdjQ3> object(const Controls& c)
{
    auto adjust = std::make_unique<TColorAdjQ3>(0.9f, 0.8f, 0.7f, 0.6f, 2.5f, 0.9f);
    adjust->m_warmth = c.warmth;
    adjust->m_tint = c.tint;
    adjust->m_saturation = c.saturation;
    adjust->m_chromaFloor = c.floor;
    adjust->m_dirty = 1;
    return adjust;
}

long clamped(long v)
{
    return v < 0 ? 0 : v > 65535 ? 65535 : v;
}

float mixed(float c, float channel, float target)
{
    return (1 - c) * channel + c * target;
}

/// One cell of the tables, step by step, for the scales of `object`.
cv::Vec2i cellReference(const Controls& k, int i, int a, int b)
{
    const float sat = k.saturation >= 0 ? 1 + (2.5f - 1) * k.saturation : 1 + k.saturation;
    const float tint = k.tint > 0 ? 0.5f * 0.7f * k.tint : 0.4f * 0.6f * k.tint;
    const float warm = k.warmth > 0 ? 0.5f * 0.9f * k.warmth : 0.5f * 0.8f * k.warmth;

    std::vector<unsigned char> row(256);
    for (int x = 0; x < 256; ++x)
        row[x] = (unsigned char)(std::min(255L, std::lrint(double(sat) * x)));
    int N = int(k.floor * 0.9f * (float(i) * 4.0f + 64));
    if (sat > 1)
        N = int(float(N) * (1 / sat));
    N = std::min(255, std::max(-255, N));
    for (int x = 0; x < N; ++x)
        row[x] = row[N];
    for (int x = 0; x < -N; ++x)
        row[x] = 0;
    if (0.3f * std::abs(N) > 1)
        gaussianiir1d(row.data(), 256, 0.3f * std::abs(N), 2);

    const float step = 2047.96875f, Y = float(int(step * i));
    const float dr = float(int(step * a)), db = float(int(step * b));
    const float R = Y + 2 * (dr - 32768), B = Y + 2 * (db - 32768);
    const float lumaLess = Y - 0.299f * R - 0.114f * B;
    float r = clamped(std::lrint(R)) * 1.5259022e-5f, bl = clamped(std::lrint(B)) * 1.5259022e-5f;
    float g = clamped(std::lrint(double(lumaLess) * 1.7036)) * 1.5259022e-5f;
    if (warm >= 0) {
        r = mixed(warm, r, r * 1.5f + 0.4f);
        g = mixed(warm, g, g * 1.35f + 0.28f);
        bl = mixed(warm, bl, bl);
    } else {
        r = mixed(-warm, r, r);
        g = mixed(-warm, g, g * 1.15f + 0.12f);
        bl = mixed(-warm, bl, bl * 1.6f + 0.48f);
    }
    if (tint >= 0) {
        r = mixed(tint, r, r * 1.25f + 0.2f);
        g = mixed(tint, g, g);
        bl = mixed(tint, bl, bl * 1.5f + 0.4f);
    } else {
        r = mixed(-tint, r, r);
        g = mixed(-tint, g, g * 1.5f + 0.4f);
        bl = mixed(-tint, bl, bl);
    }
    const float R2 = 65535 * r, B2 = 65535 * bl, Y2 = g * 38469.047f + 0.299f * R2 + 0.114f * B2;
    const long x = clamped(std::lrint((R2 - Y2) * 0.5f + 32768)) - 32768;
    const long y = clamped(std::lrint((B2 - Y2) * 0.5f + 32768)) - 32768;
    const int m = int(std::sqrt((float(x) * float(x) + float(y) * float(y)) * 2) / 256), m8 = std::min(m, 255);
    const float gain = row[m8] == 0 ? 0.0f : std::min(4.0f, float(4 + row[m8]) / float(4 + m));
    return {int(clamped(std::lrint(float(x) * gain + 32768))), int(clamped(std::lrint(float(y) * gain + 32768)))};
}

float between(float a, float b, float f)
{
    return a * (1 - f) + b * f;
}

void mapReference(const TColorAdjQ3& t, const cv::Mat& oldY, const cv::Mat& newY, const cv::Mat& Dr, const cv::Mat& Db,
                  cv::Mat& outDr, cv::Mat& outDb)
{
    outDr.create(Dr.size(), CV_16UC1);
    outDb.create(Dr.size(), CV_16UC1);
    for (int y = 0; y < Dr.rows; ++y)
        for (int x = 0; x < Dr.cols; ++x) {
            const int Y = newY.at<ushort>(y, x);
            const float ratio = std::max(1.0f, (float(Y) + 655.3f) / (float(oldY.at<ushort>(y, x)) + 655.3f));
            const long dr = clamped(std::lrint((float(Dr.at<ushort>(y, x)) - 32768) * ratio + 32768));
            const long db = clamped(std::lrint((float(Db.at<ushort>(y, x)) - 32768) * ratio + 32768));
            const long iY = Y >> 11, iDr = dr >> 11, iDb = db >> 11;
            const float w = 1.0f / 2048, fY = float(Y - (iY << 11)) * w, fDr = float(dr - (iDr << 11)) * w;
            const float fDb = float(db - (iDb << 11)) * w;
            const auto read = [&](const unsigned short(*grid)[33][33]) {
                float byY[2];
                for (int p = 0; p < 2; ++p) {
                    float byDr[2];
                    for (int q = 0; q < 2; ++q)
                        byDr[q] = between(grid[iY + p][iDr + q][iDb], grid[iY + p][iDr + q][iDb + 1], fDb);
                    byY[p] = between(byDr[0], byDr[1], fDr);
                }
                return ushort(clamped(std::lrint(between(byY[0], byY[1], fY))));
            };
            outDr.at<ushort>(y, x) = read(t.m_gridDr);
            outDb.at<ushort>(y, x) = read(t.m_gridDb);
        }
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
                        ASSERT_EQ(cv::Vec2i(t->m_gridDr[i][a][b], t->m_gridDb[i][a][b]), cellReference(c, i, a, b))
                            << c.warmth << " " << c.tint << " at " << i << " " << a << " " << b;
        });
}

TEST(TColorAdjQ3, MapsEveryPixelAsTheReference)
{
    everyWay([] {
        for (const cv::Size size : oddSizes()) {
            const auto t = object(kControls[2]);
            cv::Mat oldY = randomPlane(size, CV_16UC1, 0, 65536, 1), newY = randomPlane(size, CV_16UC1, 0, 65536, 2);
            cv::Mat Dr = randomPlane(size, CV_16UC1, 0, 65536, 3), Db = randomPlane(size, CV_16UC1, 0, 65536, 4);
            newY.at<ushort>(0, 0) = Dr.at<ushort>(0, 0) = Db.at<ushort>(0, 0) = 65535;
            cv::Mat outDr, outDb, wantDr, wantDb;
            testing::internal::CaptureStdout();
            EXPECT_EQ(t->proc(oldY, newY, Dr, Db, outDr, outDb), 1);
            testing::internal::GetCapturedStdout();
            mapReference(*t, oldY, newY, Dr, Db, wantDr, wantDb);
            ASSERT_TRUE(samePixels<ushort>(wantDr, outDr)) << size;
            ASSERT_TRUE(samePixels<ushort>(wantDb, outDb)) << size;
        }
    });
}

TEST(TColorAdjQ3, NoSaturationLeavesNoColourAndTheTimeIsAlwaysTold)
{
    const auto t = object({0, 0, -1, 0});
    const cv::Mat Y = randomPlane({20, 10}, CV_16UC1, 0, 65536, 1), D = randomPlane({20, 10}, CV_16UC1, 0, 65536, 2);
    cv::Mat outDr, outDb;
    for (int call = 0; call < 2; ++call) {
        testing::internal::CaptureStdout();
        t->proc(Y, Y, D, D, outDr, outDb);
        EXPECT_NE(testing::internal::GetCapturedStdout().find("time to compute LUT for color adj: "),
                  std::string::npos);
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
