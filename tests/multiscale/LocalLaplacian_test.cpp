#include <pixmill/multiscale/LocalLaplacian.h>
#include <reference/local_laplacian.h>
#include <support/everyway.h>
#include <support/planes.h>

#include <climits>
#include <vector>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

using Proc = void (LocalLaplacian::*)(const cv::Mat&, cv::Mat&, float, float, int);

struct Variant {
    const char* name;
    Proc proc;
    pixmill::reference::LaplacianForm form;
};

const Variant kVariants[] = {{"24", &LocalLaplacian::proc24K, {24, 2730.0f, 0.000366300374f}},
                             {"16", &LocalLaplacian::proc16K, {16, 4095.0f, 0.000244200259f}},
                             {"10", &LocalLaplacian::proc10K, {10, 6553.0f, 0.00015260186f}}};

void compare(const cv::Mat& in, const Variant& variant, float sigma, float smooth, int levels)
{
    LocalLaplacian filter;
    const cv::Mat expected = localLaplacian(in, remapTable(sigma, smooth), variant.form, std::max(levels, 1));
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

TEST(LocalLaplacian, DifferencesFillTheirSumsAndNoMore)
{
    const cv::Mat in = planeOf<ushort>({200, 180}, [](int y, int x) {
        return 6553 * (1 + y / 24 % 8) + (x / 24 % 2 ? 4096 : -4096); // where the curve of the last two has its peaks
    });
    for (const float sigma : {0.12497f, 0.125f, -0.125f}) // of 4094 and 4096: eight of these need a 17th bit
        compare(in, kVariants[2], sigma, 0.0f, 4);
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
    LocalLaplacian filter;
    for (const float sigma : {-0.15f, 0.4f, 1.7f}) {
        filter.m_sigma = sigma;
        filter.calRemapLut();
        const std::vector<int> expected = remapTable(sigma, filter.m_lutSmooth);
        for (int i = 0; i < 65536; ++i)
            ASSERT_EQ(filter.m_remap_p[i], expected[i]) << i << " sigma " << sigma;
    }
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
