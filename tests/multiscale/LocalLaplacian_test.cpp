#include <support/everyway.h>
#include <support/planes.h>

#include <pixmill/multiscale/LocalLaplacian.h>

#include <opencv2/imgproc.hpp>

#include <climits>
#include <cmath>
#include <vector>

using namespace pixmill::test;

namespace {

using Proc = void (LocalLaplacian::*)(const cv::Mat&, cv::Mat&, float, float, int);

struct Variant {
    const char* name;
    Proc proc;
    int K;
    float step, invStep;
};

const Variant kVariants[] = {{"24", &LocalLaplacian::proc24K, 24, 2730.0f, 0.000366300374f},
                             {"16", &LocalLaplacian::proc16K, 16, 4095.0f, 0.000244200259f},
                             {"10", &LocalLaplacian::proc10K, 10, 6553.0f, 0.00015260186f}};

/// The enlarging step into a level of `size`, through twice the rows, whose values are always right.
cv::Mat enlarged(const cv::Mat& in, cv::Size size)
{
    cv::Mat out;
    cv::pyrUp(in, out, cv::Size(size.width, 2 * in.rows), cv::BORDER_REFLECT_101);
    return out.rowRange(0, size.height);
}

int clamp16(int v)
{
    return v < 0 ? 0 : v > 65535 ? 65535 : v;
}

/// Every pyramid as a whole, one channel after the other.
cv::Mat filterReference(const LocalLaplacian& filter, const cv::Mat& in, const Variant& variant, int levels)
{
    std::vector<cv::Mat> G{in};
    for (int l = 1; l < levels; ++l) {
        cv::Mat next;
        cv::pyrDown(G[l - 1], next, cv::Size(), cv::BORDER_REFLECT_101);
        G.push_back(next);
    }
    std::vector<std::vector<cv::Mat>> R(variant.K);
    for (int k = 0; k < variant.K; ++k) {
        cv::Mat remapped(in.size(), CV_16UC1);
        for (int y = 0; y < in.rows; ++y)
            for (int x = 0; x < in.cols; ++x) {
                const int v = in.at<ushort>(y, x);
                const long idx = std::lrint(((float)v - (float)k * variant.step) * 0.5f + 32768.0f);
                remapped.at<ushort>(y, x) = ushort(clamp16(v + 2 * filter.m_remap_p[clamp16(int(idx))] - 65536));
            }
        R[k].push_back(remapped);
        for (int l = 1; l < levels; ++l) {
            cv::Mat next;
            cv::pyrDown(R[k][l - 1], next, cv::Size(), cv::BORDER_REFLECT_101);
            cv::addWeighted(R[k][l - 1], 1.0, enlarged(next, R[k][l - 1].size()), -1.0, 32767.0, R[k][l - 1], -1);
            R[k].push_back(next);
        }
    }
    cv::Mat T;
    for (int l = levels - 1; l >= 0; --l) {
        cv::Mat cur(G[l].size(), CV_16UC1);
        for (int y = 0; y < cur.rows; ++y)
            for (int x = 0; x < cur.cols; ++x) {
                const float p = (float)G[l].at<ushort>(y, x) * variant.invStep;
                const int i = LocalLaplacian::clamp((int)p, 0, variant.K - 2);
                const float f = p - (float)i;
                cur.at<ushort>(y, x) = ushort(
                    (int)((float)R[i + 1][l].at<ushort>(y, x) * f + (float)R[i][l].at<ushort>(y, x) * (1.0f - f)));
            }
        if (T.empty())
            T = cur;
        else
            cv::addWeighted(cur, 1.0, enlarged(T, cur.size()), 1.0, -32767.0, T, -1);
    }
    return T;
}

void compare(const cv::Mat& in, const Variant& variant, float sigma, float smooth, int levels)
{
    LocalLaplacian filter;
    filter.m_sigma = sigma;
    filter.m_lutSmooth = smooth;
    filter.calRemapLut();
    const cv::Mat expected = filterReference(filter, in, variant, std::max(levels, 1));
    everyWay([&] {
        cv::Mat out = randomPlane(in.size(), CV_16UC1, 0, 2);
        (filter.*variant.proc)(in, out, sigma, smooth, levels);
        ASSERT_TRUE(samePixels<ushort>(expected, out));
    });
}

} // namespace

TEST(LocalLaplacian, MatchesWholePyramidsBitForBit)
{
    for (const Variant& variant : kVariants)
        for (const cv::Size size :
             {cv::Size(1, 1), cv::Size(1, 9), cv::Size(33, 1), cv::Size(2, 3), cv::Size(64, 48), cv::Size(101, 77)})
            for (const int levels : {0, 1, 2, 5}) {
                SCOPED_TRACE(testing::Message() << variant.name << " " << size << " levels " << levels);
                compare(scenePlane(size, CV_16UC1, 0, 65536, 2), variant, levels % 2 ? 0.15f : -0.4f, 0.3f, levels);
            }
}

TEST(LocalLaplacian, BandsOfATallPictureMeetWithoutASeam)
{
    for (const int levels : {2, 4, 7})
        compare(scenePlane({45, 2311}, CV_16UC1, 0, 65536, 3), kVariants[2], 0.2f, 0.3f, levels);
}

TEST(LocalLaplacian, NoiseAndExtremesExtrapolateAndWrapAlike)
{
    cv::Mat in = randomPlane({90, 71}, CV_16UC1, 0, 65536, 5);
    compare(in, kVariants[0], 0.15f, 0.0f, 3);
    compare(in, kVariants[1], -0.9f, 0.3f, 3);
    in.setTo(65535, in > 40000);
    compare(in, kVariants[2], 1.7f, 0.3f, 3);
    compare(in, kVariants[2], 0.0f, 0.3f, 3);
}

TEST(LocalLaplacian, InPlaceGivesTheSamePixels)
{
    const cv::Mat in = scenePlane({120, 90}, CV_16UC1, 0, 65536, 4);
    LocalLaplacian filter;
    cv::Mat apart, same = in.clone();
    filter.proc10K(in, apart, 0.2f, 0.3f, 4);
    filter.proc10K(same, same, 0.2f, 0.3f, 4);
    EXPECT_TRUE(samePixels<ushort>(apart, same));
    EXPECT_EQ(filter.m_numLevels, 4);
    EXPECT_EQ(filter.m_sigma, 0.2f);
    EXPECT_THROW(filter.proc10K(cv::Mat::zeros(3, 3, CV_8UC1), apart, 0.2f, 0.3f, 4), cv::Exception);
}

TEST(LocalLaplacianRemap, IsASawtoothThatFlattensOrEnhances)
{
    LocalLaplacian filter;
    filter.m_lutSmooth = 0;
    struct Point {
        int at, flattened;
    };
    for (const float sigma : {0.25f, -0.25f}) { // D = 8192
        filter.m_sigma = sigma;
        filter.calRemapLut();
        for (const Point& p : {Point{0, 0},
                               {32768 - 8192, 0},
                               {32768 - 4096, 4096},
                               {32768 - 2048, 2048},
                               {32768, 0},
                               {32768 + 2048, -2048},
                               {32768 + 4096, -4096},
                               {32768 + 6144, -2048},
                               {40960, 0},
                               {65535, 0}})
            EXPECT_EQ(filter.m_remap_p[p.at], 32768 + (sigma > 0 ? p.flattened : -p.flattened)) << sigma << " " << p.at;
    }
    for (const float sigma : {0.0f, 1.0f, -3.0f, 1e20f}) {
        filter.m_sigma = sigma;
        filter.calRemapLut();
        EXPECT_EQ(filter.m_remap_p[32768], 32768);
        EXPECT_EQ(filter.m_remap_p[65535], 32768);
    }
}

TEST(LocalLaplacianRemap, SmoothingRoundsTheCornersAsTheRecursionDoes)
{
    LocalLaplacian sharp, smooth;
    sharp.m_sigma = smooth.m_sigma = -0.15f;
    sharp.m_lutSmooth = 0.0001f; // below one entry
    sharp.calRemapLut();
    smooth.calRemapLut();
    const float s = 4915.0f * 0.3f;
    const double lambda = (double)(s * s) * 0.25, dnu = (1 + 2 * lambda - std::sqrt(1 + 4 * lambda)) / (2 * lambda);
    const float nu = (float)dnu, boundary = (float)(1 / (1 - dnu)), post = (float)((dnu / lambda) * (dnu / lambda));
    std::vector<float> a(sharp.m_remap_p, sharp.m_remap_p + 65536);
    for (int round = 0; round < 2; ++round) {
        a[0] *= boundary;
        for (int i = 1; i < 65535; ++i)
            a[i] += nu * a[i - 1];
        a[65535] = (a[65535] + nu * a[65534]) * boundary;
        for (int i = 65534; i >= 0; --i)
            a[i] += nu * a[i + 1];
    }
    for (int i = 0; i < 65536; ++i)
        ASSERT_EQ(smooth.m_remap_p[i], clamp16(int(std::lrint(a[i] * post)))) << i;
}

TEST(LocalLaplacianDepth, FollowsTheShorterSide)
{
    EXPECT_EQ(LocalLaplacian::levelJ(1, 1, 1.0f), 2);
    EXPECT_EQ(LocalLaplacian::levelJ(4000, 16, 1.0f), 5);
    EXPECT_EQ(LocalLaplacian::levelJ(23, 4000, 1.0f), 6) << "4.52 rounds up";
    EXPECT_EQ(LocalLaplacian::levelJ(0, 5, 1.0f), 2);
    EXPECT_EQ(LocalLaplacian::clamp(5, 0, 3), 3);
    EXPECT_EQ(LocalLaplacian::clamp(-5, 0, 3), 0);
}

TEST(LocalLaplacian, LevelsPastOnePixelCostNothingAndGiveWhatTheyWould)
{
    const cv::Mat in = randomPlane({13, 6}, CV_16UC1, 0, 65536);
    for (const Variant& variant : kVariants)
        for (const int levels : {5, 6, 9, 40}) // of one pixel from the fifth on
            compare(in, variant, -0.2f, 0.3f, levels);
    cv::Mat out;
    LocalLaplacian().proc16K(randomPlane({130, 100}, CV_16UC1, 0, 65536), out, 0.2f, 0.3f, INT_MAX);
    EXPECT_THROW(LocalLaplacian().proc10K(solid(CV_16UC1), out, 0.2f, 0.3f, 2), cv::Exception);
}
