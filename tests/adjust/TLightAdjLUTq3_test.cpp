#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <reference/light_curve.h>
#include <reference/sampled_tables.h>
#include <reference/table_look_up.h>
#include <support/everyway.h>
#include <support/planes.h>

#include <array>
#include <vector>

using namespace pixmill::test;
using pixmill::reference::LightCurve;

namespace {

using Settings = std::array<float, 6>;

std::vector<Settings> settings()
{
    std::vector<Settings> all = {{0, 0, 0, 0, 0, 0},   {1, 0, 0, 0, 0, 0},  {-1, 0, 0, 0, 0, 0},     {0, 1, 0, 0, 0, 0},
                                 {0, -1, 0, 0, 0, 0},  {0, 0, 1, -1, 0, 0}, {0, 0, -1, 1, 0, 0},     {0, 0, 0, 0, 1, 1},
                                 {0, 0, 0, 0, -1, -1}, {1, 1, 1, 1, 1, 1},  {-1, -1, -1, -1, -1, -1}};
    cv::RNG rng(21);
    for (int i = 0; i < 20; ++i) {
        Settings s;
        for (float& v : s)
            v = rng.uniform(-1.0f, 1.0f);
        all.push_back(s);
    }
    return all;
}

LightCurve referenceOf(const Settings& s)
{
    return LightCurve({s[0], s[1], s[2], s[3], s[4], s[5]});
}

void setup(TLightAdjLUTq3& lut, const Settings& s)
{
    lut.setupParams(s[0], s[1], s[2], s[3], s[4], s[5]);
}

} // namespace

TEST(TLightAdjLUTq3, ParametersMatchTheReferenceBitForBit)
{
    TLightAdjLUTq3 lut;
    for (const Settings& s : settings()) {
        const LightCurve expected = referenceOf(s);
        setup(lut, s);
        EXPECT_EQ(lut.m_offset, expected.offset);
        EXPECT_EQ(lut.m_slope, expected.slope);
        EXPECT_EQ(lut.m_highlights, s[2]);
        EXPECT_EQ(lut.m_shadows, s[3]);
        EXPECT_EQ(lut.m_whites, s[4]);
        EXPECT_EQ(lut.m_blacks, s[5]);
        for (int i = 0; i < 64; ++i)
            ASSERT_EQ(lut.m_curve[i], expected.curve[i]) << i;
    }
}

TEST(TLightAdjLUTq3, MapsEveryKindOfPixelAsTheReferenceDoes)
{
    cv::RNG rng(5);
    TLightAdjLUTq3 lut;
    int bright = 0;
    for (const Settings& s : settings()) {
        const LightCurve expected = referenceOf(s);
        setup(lut, s);
        for (int i = 0; i < 4000; ++i) {
            const bool neutral = i % 4 == 0;
            const ushort y = ushort(i < 64 ? i % 2 * 65535 : rng.uniform(0, 65536));
            const ushort dr = ushort(neutral ? 32767 : rng.uniform(0, 65536)),
                         db = ushort(neutral ? 32767 : rng.uniform(0, 65536));
            ushort a[3] = {y, dr, db}, e[3] = {y, dr, db};
            lut.mapYDrDb(a[0], a[1], a[2]);
            expected.map(e[0], e[1], e[2]);
            for (int k = 0; k < 3; ++k)
                ASSERT_EQ(a[k], e[k]) << "channel " << k << " of " << y << " " << dr << " " << db;
            bright += !neutral && a[0] > 20000;
        }
    }
    EXPECT_GT(bright, 1000);
}

TEST(TLightAdjLUTq3, OutOfGamutOneChannelKeepsItsHueAndThreeBecomeWhite)
{
    TLightAdjLUTq3 lut;
    setup(lut, {});
    std::fill_n(lut.m_curve, 64, 8.0f);
    ushort strong[3] = {20000, 40000, 30000}, light[3] = {60000, 33000, 32000};
    lut.mapYDrDb(strong[0], strong[1], strong[2]);
    lut.mapYDrDb(light[0], light[1], light[2]);
    EXPECT_EQ(light[0], 65535);
    EXPECT_EQ(light[1], 32768);
    EXPECT_EQ(light[2], 32768);
    EXPECT_EQ(strong[0], 65535); // the gain puts every channel of it above 1, too

    // All channels a little above 1 become white, too; at twice as bright red alone leaves the gamut.
    ushort red[3];
    LightCurve reference = referenceOf({});
    for (const float level : {1.5f, 1.1f, 0.9f, 0.6f})
        for (const ushort luma : {65000, 60000, 50000, 20000}) {
            std::fill_n(lut.m_curve, 64, level);
            reference.curve.assign(64, level);
            ushort expected[3] = {luma, 45000, 28000};
            std::copy_n(expected, 3, red);
            lut.mapYDrDb(red[0], red[1], red[2]);
            reference.map(expected[0], expected[1], expected[2]);
            for (int k = 0; k < 3; ++k)
                EXPECT_EQ(red[k], expected[k]) << "channel " << k << " of " << luma << " at " << level;
        }
    EXPECT_NEAR(red[0] + 2 * (red[1] - 32768), 65535, 4); // red lands just below the top
}

TEST(TLightAdjLUTq3, NeutralSettingsHaveAGainOfOne)
{
    TLightAdjLUTq3 lut;
    setup(lut, {});
    EXPECT_EQ(lut.m_offset, 0.0f);
    EXPECT_EQ(lut.m_slope, 1.0f);
    for (int i = 0; i < 64; ++i)
        EXPECT_NEAR(lut.m_curve[i], TLightAdjLUTq3::toneCurveRef[i], 1e-6) << i;
    for (int y = 0; y < 65536; y += 17) {
        ushort v[3] = {ushort(y), 32768, 32768};
        lut.mapYDrDb(v[0], v[1], v[2]);
        EXPECT_NEAR(v[0], y, 2);
    }
    cv::Mat plane(1, 65536, CV_16UC1);
    for (int i = 0; i < 65536; ++i)
        plane.at<ushort>(i) = ushort(i);
    EXPECT_TRUE(lut.proc(plane));
    for (int i = 16; i < 65520; ++i)
        ASSERT_NEAR(plane.at<ushort>(i), i - 7, 2) << i; // the sampling's own shift
}

TEST(TLightAdjLUTq3, ContrastAndBrightnessReachTheirEnds)
{
    TLightAdjLUTq3 lut;
    setup(lut, {0, 1, 0, 0, 0, 0});
    EXPECT_EQ(lut.m_slope, 3.0f);
    setup(lut, {1, -1, 0, 0, 0, 0});
    EXPECT_EQ(lut.m_slope, 1.0f / 6);
    EXPECT_EQ(lut.m_offset, 0.343f);
    ushort black[3] = {0, 32768, 32768};
    lut.mapYDrDb(black[0], black[1], black[2]);
    EXPECT_EQ(black[0], 0); // whatever the gain
}

TEST(TLightAdjLUTq3, TheEnginesCallGivesTheSameTableInEveryWay)
{
    const cv::Mat in = randomPlane({203, 157}, CV_16UC1, 0, 65536);
    TLightAdjLUTq3 lut;
    setup(lut, {0.4f, -0.3f, 0.5f, 0.2f, -0.7f, 0.1f});
    const LightCurve reference = referenceOf({0.4f, -0.3f, 0.5f, 0.2f, -0.7f, 0.1f});
    const std::vector<int> table = pixmill::reference::sampledLumaTable([&](ushort y) {
        ushort dr = 32767, db = 32767;
        reference.map(y, dr, db);
        return y;
    });
    const cv::Mat expected = pixmill::reference::lookedUp<ushort, ushort>(in, table.data());
    everyWay([&] {
        cv::Mat plane = in.clone();
        lut.proc(plane);
        ASSERT_TRUE(samePixels<ushort>(expected, plane));
    });
}
