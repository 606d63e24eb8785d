#include <pixmill/curves/TLut3D.h>
#include <reference/colour_cube.h>
#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

#include <algorithm>
#include <limits>
#include <vector>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

struct Grid : TLut3D {
    std::vector<ushort> cells;

    Grid(int a, int b, int c, unsigned seed = 0) : cells(size_t(a) * b * c * 3)
    {
        m_size[0] = a, m_size[1] = b, m_size[2] = c;
        m_table_p = cells.data();
        cv::RNG rng(seed + 5);
        for (ushort& v : cells)
            v = ushort(rng.uniform(0, 65536));
    }
};

ColourCube cubeOf(const TLut3D& t)
{
    return {t.m_table_p,
            {t.m_size[0], t.m_size[1], t.m_size[2]},
            {t.m_min[0], t.m_min[1], t.m_min[2]},
            {t.m_max[0], t.m_max[1], t.m_max[2]}};
}

} // namespace

TEST(TLut3D, TheIdentityLiesInEitherOrder)
{
    for (const int order : {0, 1})
        for (const int channels : {3, 4}) {
            const int n = 5;
            Grid lut(n, n, n);
            lut.m_max[1] = 1000;
            std::vector<ushort> cells(size_t(n * n * n * channels), 9);
            lut.m_table_p = cells.data();
            lut.initialize(n, channels, TLut3D::COLOR_ORDER(order));
            const float s = 1 / (float(n) - 1);
            for (int i = 0; i < n * n * n; ++i) {
                const int fast = i % n, slow = i / n / n;
                const ushort* t = &cells[size_t(i) * channels];
                ASSERT_EQ(t[0], ushort(int(65535.0f * s * float(order == 0 ? fast : slow))));
                ASSERT_EQ(t[1], ushort(int(1000.0f * s * float(i / n % n))));
                ASSERT_EQ(t[2], ushort(int(65535.0f * s * float(order == 0 ? slow : fast))));
                if (channels == 4) {
                    ASSERT_EQ(t[3], 9);
                }
            }
        }
}

TEST(TLut3D, LooksUpByTrilinearInterpolation)
{
    Grid even(17, 17, 17), uneven(2, 5, 9, 1), single(1, 1, 1, 2), ranged(4, 4, 4, 3), least(2, 2, 2, 4),
        flat(3, 1, 2, 6);
    for (int k = 0; k < 3; ++k) {
        ranged.m_min[k] = 1000.0f * (k + 1);
        ranged.m_max[k] = 50000.0f - 777.0f * k;
    }
    for (const Grid* lut : {&even, &uneven, &single, &ranged, &least, &flat})
        for (const cv::Size size : oddSizes()) {
            SCOPED_TRACE(testing::Message() << lut->m_size[1] << ", " << size);
            cv::Mat in = randomPlane(size, CV_16UC3, 0, 65536), expected(size, CV_16UC3);
            in.at<cv::Vec3w>(0, 0) = cv::Vec3w(65535, 0, 65535);
            for (int x = 1; x < size.width; x += 3) // the table's ends, behind which there is no more of it
                in.at<cv::Vec3w>(size.height - 1, x) = cv::Vec3w::all(x % 2 ? 65535 : 0);
            for (int y = 0; y < size.height; ++y)
                for (int x = 0; x < size.width; ++x)
                    expected.at<cv::Vec3w>(y, x) = lookedUp(cubeOf(*lut), in.at<cv::Vec3w>(y, x));
            everyWay([&] {
                cv::Mat out = randomPlane(size, CV_16UC3, 0, 9), inPlace = in.clone();
                lut->applyLutOn16UC3Mat(in, out, TLut3D::LUT3D_INTERP(1));
                EXPECT_TRUE(samePixels<ushort>(expected, out));
                lut->LookupLinear(inPlace, inPlace);
                EXPECT_TRUE(samePixels<ushort>(expected, inPlace));
            });
        }
}

TEST(TLut3D, APixelOnAPointOfTheIdentityReturnsWithinTruncation)
{
    const int n = 9;
    Grid lut(n, n, n);
    lut.initialize(n, 3, TLut3D::COLOR_ORDER(1));
    for (int a = 0; a < n; ++a)
        for (int b = 0; b < n; ++b) {
            cv::Mat in(1, 1, CV_16UC3, cv::Scalar(a * 8191.875, b * 8191.875, (n - 1 - a) * 8191.875)),
                out = in.clone();
            lut.LookupLinear(in, out);
            for (int k = 0; k < 3; ++k)
                EXPECT_NEAR(out.at<cv::Vec3w>(0)[k], in.at<cv::Vec3w>(0)[k], 4);
        }
    cv::Mat top(1, 1, CV_16UC3, cv::Scalar::all(65535)), out = top.clone();
    lut.LookupLinear(top, out);
    EXPECT_EQ(out.at<cv::Vec3w>(0), cv::Vec3w(65535, 65535, 65535));
}

TEST(TLut3D, InterpolatesAxisByAxisFromTheLastOne)
{
    ushort corners[8][3], result[3];
    for (int i = 0; i < 8; ++i)
        for (int k = 0; k < 3; ++k)
            corners[i][k] = ushort(i & 1 ? 10000 * (k + 1) : 0) + ushort(i & 2 ? 101 : 0) + ushort(i & 4 ? 7 : 0);
    const auto at = [&](float a, float b, float c) {
        const float f0[] = {a, a, a}, f1[] = {b, b, b}, f2[] = {c, c, c};
        TLut3D::linearInterpolateRGB(result, corners[0], corners[1], corners[2], corners[3], corners[4], corners[5],
                                     corners[6], corners[7], f0, f1, f2);
        return std::vector<int>(result, result + 3);
    };
    EXPECT_EQ(at(0, 0, 0.5f), (std::vector<int>{5000, 10000, 15000}));
    EXPECT_EQ(at(0, 0.5f, 0), (std::vector<int>{50, 50, 50}));
    EXPECT_EQ(at(0.5f, 0, 0), (std::vector<int>{3, 3, 3}));
    EXPECT_EQ(at(0.5f, 0.5f, 0), (std::vector<int>{53, 53, 53})); // 50 and 57, each truncated before the next axis
}

TEST(TLut3D, TheHeaderOverTheTableSharesIt)
{
    Grid lut(3, 3, 3);
    cv::Mat m;
    lut.getLut3DAsMat16UC3(m);
    EXPECT_EQ(m.size(), cv::Size(9, 3));
    EXPECT_EQ(m.type(), CV_16UC3);
    EXPECT_EQ(m.step, size_t(3 * 3 * 6));
    EXPECT_EQ(m.data, reinterpret_cast<unsigned char*>(lut.cells.data()));
}

TEST(TLut3D, FailuresSayWhatTheHostExpects)
{
    Grid lut(2, 2, 2);
    const std::vector<ushort> before = lut.cells;
    EXPECT_THROWS_TEXT(lut.initialize(2, 2, TLut3D::COLOR_ORDER(0)),
                       "Cannot generate identity 3d lookup table with less than 3 channels");
    EXPECT_THROWS_TEXT(lut.initialize(2, 3, TLut3D::COLOR_ORDER(2)), "Unknown pixels order");
    EXPECT_EQ(lut.cells, before);
    cv::Mat in(2, 2, CV_16UC3, cv::Scalar::all(5)), bytes(2, 2, CV_8UC3), smaller(1, 2, CV_16UC3);
    const char* type = "Currently, we only handle 16UC3 type matrix";
    EXPECT_THROWS_TEXT(lut.applyLutOn16UC3Mat(bytes, in, TLut3D::LUT3D_INTERP(1)), type);
    EXPECT_THROWS_TEXT(lut.applyLutOn16UC3Mat(in, bytes, TLut3D::LUT3D_INTERP(0)), type);
    EXPECT_THROW(lut.LookupLinear(in, smaller), cv::Exception);
    lut.applyLutOn16UC3Mat(in, in, TLut3D::LUT3D_INTERP(0)); // no such look-up: nothing happens
    EXPECT_EQ(in.at<cv::Vec3w>(1, 1), cv::Vec3w(5, 5, 5));

    TLut3D none;
    EXPECT_EQ(none.m_max[2], 65535.0f);
    EXPECT_THROW(none.LookupLinear(in, in), cv::Exception);
    EXPECT_THROW(none.initialize(2, 3, TLut3D::FIRST_FASTEST), cv::Exception);
    none.initialize(0, 3, TLut3D::FIRST_FASTEST);
    lut.m_max[0] = lut.m_min[0] = 0; // no range: nothing may be read outside the table
    lut.LookupLinear(in, in);
    lut.initialize(1, 3, TLut3D::FIRST_FASTEST);
}
