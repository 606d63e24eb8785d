#include <support/everyway.h>
#include <support/planes.h>

#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/curves/TSpline.h>

#include <array>
#include <cmath>
#include <vector>

using pixmill::test::everyWay;
using pixmill::test::randomPlane;

namespace {

using ushort = unsigned short;
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

/// Everything again, one statement a step.
struct Reference {
    float curve[64], ref[64], offset, slope;

    explicit Reference(const Settings& s)
    {
        const float brightness = s[0], contrast = s[1], highlights = s[2], shadows = s[3], whites = s[4], blacks = s[5];
        double d = 0.343 * double(brightness);
        d = d * double(brightness);
        d = d * double(brightness);
        offset = float(d);
        float c = contrast * contrast;
        c = c * contrast;
        slope = c > 0 ? 2 * c + 1 : 1 / (1 - 5 * c);

        const float g = 0.714285731f;
        const float u = float(double(blacks) * -0.2), v = float(1.0 - double(whites) * 0.2);
        const float p = u - 0.5f, q = v - 0.5f;
        float r = u - 0.5f * p, w = v - 0.5f * q;
        r = r - 0.5f;
        w = w - 0.5f;
        TSpline spline(5);
        const float x[5] = {p * g + 0.5f, r * g + 0.5f, 0.5f, w * g + 0.5f, q * g + 0.5f};
        const float y[5] = {0.0f, (shadows * 0.25f + 0.5f) * 0.5f, 0.5f, 1.0f - (0.5f - highlights * 0.25f) * 0.5f,
                            1.0f};
        for (int i = 0; i < 5; ++i) {
            spline.m_x_p[i] = x[i];
            spline.m_y_p[i] = y[i];
        }
        spline.update();
        for (int i = 0; i < 64; ++i) {
            const float t = float(i) * 0.0158730168f;
            float value = spline.value(t);
            if (t < x[0])
                value = 0;
            if (t > x[4])
                value = 1;
            curve[i] = value < 0 ? 0 : value > 1 ? 1 : value;
            ref[i] = i < 9 ? 0 : i == 9 ? 2.08616271e-08f : i < 54 ? float(i - 9) / 45.0f : 1;
        }
    }

    static int s16(double v)
    {
        const long i = std::lrint(v);
        return i >= 0 && i <= 65535 ? int(i) : i > 0 ? 65535 : 0;
    }

    static float place(float v)
    {
        const float pos = float(double(v) * 0.703125 + 0.1484375);
        return (pos < 0.0078125f ? 0.0078125f : pos > 0.9921875f ? 0.9921875f : pos) * 64.0f;
    }

    void map(ushort& y, ushort& dr, ushort& db) const
    {
        const float one = 1.52590219e-05f;
        const float Y = y, yn = Y * one;
        float R = (float(dr) - 32768.0f) * 2.0f, B = (float(db) - 32768.0f) * 2.0f;
        R = R + Y;
        B = B + Y;
        const float redPart = 0.299f * R, bluePart = 0.114f * B;
        const float rest = Y - redPart;
        const double G = double(rest - bluePart) * 1.7036;
        const int R16 = s16(R), G16 = s16(G), B16 = s16(B);

        const float w = std::sqrt(yn);
        float t = float((double(offset) + 0.707) + double(slope) * (double(w) - 0.707));
        t = t > 0 ? t * t : t + t;

        float pos = place(yn);
        int i = int(pos);
        const float ref0 = (float(i + 1) - pos) * ref[i], ref1 = (pos - float(i)) * ref[std::min(i + 1, 63)];
        const float under = (ref0 + ref1) + 0.00100000005f;
        pos = place(t);
        i = int(pos);
        const float cur0 = (float(i + 1) - pos) * curve[i], cur1 = (pos - float(i)) * curve[std::min(i + 1, 63)];
        const float over = (cur0 + 0.00100000005f) + cur1;
        float gain = over / under;
        gain = gain < 0 ? 0 : gain > 8 ? 8 : gain;

        float c[3] = {R16 * one, G16 * one, B16 * one};
        for (float& v : c) {
            v = v * gain;
            v = v < 0 ? 0 : v > 4 ? 4 : v;
        }
        const float mx = std::max({c[0], c[1], c[2]}), mn = std::min({c[0], c[1], c[2]});
        if (mx > 1 && mn >= 1) {
            c[0] = c[1] = c[2] = 1;
        } else if (mx > 1) {
            const float k = float((1.0 - double(mn)) / (double(mx - mn) + 1e-07));
            for (float& v : c) {
                const float part = (v - mn) * k;
                v = part + mn;
            }
        }
        const float R2 = c[0] * 65535.0f, B2 = c[2] * 65535.0f, G2 = c[1] * 38469.0469f;
        const float red = 0.299f * R2, blue = 0.114f * B2;
        float Y2 = red + blue;
        Y2 = Y2 + G2;
        y = ushort(s16(Y2));
        dr = ushort(s16(float((R2 - Y2) * 0.5f + 32768.0f)));
        db = ushort(s16(float((B2 - Y2) * 0.5f + 32768.0f)));
    }
};

void setup(TLightAdjLUTq3& lut, const Settings& s)
{
    lut.setupParams(s[0], s[1], s[2], s[3], s[4], s[5]);
}

} // namespace

TEST(TLightAdjLUTq3, ParametersMatchTheReferenceBitForBit)
{
    TLightAdjLUTq3 lut;
    for (const Settings& s : settings()) {
        const Reference expected(s);
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
        const Reference expected(s);
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

    std::fill_n(lut.m_curve, 64, 0.6f); // twice as bright: red leaves the gamut, blue and green stay
    ushort red[3] = {20000, 45000, 28000}, expected[3] = {20000, 45000, 28000};
    Reference reference({});
    std::fill_n(reference.curve, 64, 0.6f);
    lut.mapYDrDb(red[0], red[1], red[2]);
    reference.map(expected[0], expected[1], expected[2]);
    EXPECT_EQ(red[0], expected[0]);
    EXPECT_EQ(red[1], expected[1]);
    EXPECT_EQ(red[2], expected[2]);
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
    const Reference reference({0.4f, -0.3f, 0.5f, 0.2f, -0.7f, 0.1f});
    std::vector<int> samples;
    for (int i = 0; i < 4096; ++i) {
        ushort y = ushort(i * 16), dr = 32767, db = 32767;
        reference.map(y, dr, db);
        samples.push_back(y);
    }
    everyWay([&] {
        cv::Mat plane = in.clone();
        lut.proc(plane);
        for (int y = 0; y < in.rows; ++y)
            for (int x = 0; x < in.cols; ++x) {
                const double u = (in.at<ushort>(y, x) + 0.5) / 16 - 0.5, i = std::floor(u);
                const int a = samples[std::max(0, int(i))], b = samples[std::min(4095, int(i) + 1)];
                ASSERT_EQ(plane.at<ushort>(y, x), int(std::floor(a * (1 - (u - i)) + b * (u - i) + 0.5)));
            }
    });
}
