#include <pixmill/core/TProgress.h>
#include <pixmill/filters/BilateralFilter.h>
#include <reference/bilateral_grid.h>
#include <reference/morphology.h>
#include <support/everyway.h>
#include <support/host.h>
#include <support/planes.h>
#include <support/throws.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

struct Case {
    int type, edgeType, sampleS, sampleR;
};

const Case kCases[] = {{CV_16UC1, CV_16UC1, 8, 3072},  {CV_16UC1, CV_16UC1, 16, 4096}, {CV_16UC1, CV_16UC1, 17, 9000},
                       {CV_16UC1, CV_16UC1, 2, 100},   {CV_8UC1, CV_8UC1, 8, 12},      {CV_8UC1, CV_16UC1, 5, 2000},
                       {CV_16UC1, CV_8UC1, 3, 1},      {CV_16UC1, CV_32FC1, 4, 700},   {CV_16UC1, CV_16UC1, 2, 60000},
                       {CV_8UC1, CV_16UC1, 16, 70000}, {CV_8UC1, CV_32FC1, 9, 9000}};

} // namespace

TEST(BilateralFilter, MatchesTheReferenceBitForBit)
{
    for (const Case& c : kCases)
        for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 9), cv::Size(33, 1), cv::Size(103, 77)}) {
            SCOPED_TRACE(testing::Message()
                         << c.type << " " << c.edgeType << " " << c.sampleS << " " << c.sampleR << " " << size);
            const cv::Mat in = scenePlane(size, c.type, 0, topOf(c.type), 3);
            const cv::Mat edge = scenePlane(size, c.edgeType, 0, topOf(c.edgeType), 4);
            const cv::Mat expected = BilateralGrid(edge, c.sampleS, c.sampleR).filter(in, edge);
            everyWay([&] {
                BilateralFilter filter;
                cv::Mat out = randomPlane(size, c.type, 0, 2);
                in.copyTo(out);
                ASSERT_EQ(filter.proc(edge, out, c.sampleS, c.sampleR, nullptr), 1);
                ASSERT_TRUE(samePixels(expected, out));
            });
        }
}

TEST(BilateralFilter, GuidesItselfWithoutAnEdgePictureAndKeepsItsGrid)
{
    const cv::Mat in = scenePlane({90, 70}, CV_16UC1, 1000, 60000, 3);
    BilateralFilter filter;
    cv::Mat out = in.clone();
    filter.proc(cv::Mat(), out, 8, 3072, nullptr);
    EXPECT_TRUE(samePixels<ushort>(BilateralGrid(in, 8, 3072).filter(in, in), out));
    EXPECT_EQ(filter.m_gridDirty, 0);
    const float* const grid = filter.m_values_p;
    out = in.clone();
    filter.proc(cv::Mat(), out, 8, 3072, nullptr);
    EXPECT_EQ(filter.m_values_p, grid);
    EXPECT_TRUE(samePixels<ushort>(BilateralGrid(in, 8, 3072).filter(in, in), out));
}

TEST(BilateralFilter, BuildsUponWhatTheHostPutIntoTheGrid)
{
    const cv::Mat in = scenePlane({90, 70}, CV_16UC1, 1000, 60000, 3);
    for (const auto& start : std::vector<std::pair<float, float>>{{0.3f, 0.7f}, {0.0f, 1e9f}, {1.0f, 0.0f}}) {
        const float weight = start.first, value = start.second;
        BilateralGrid reference(in, 8, 3072);
        std::fill(reference.weights.begin(), reference.weights.end(), weight);
        std::fill(reference.values.begin(), reference.values.end(), value);
        const cv::Mat expected = reference.filter(in, in);
        everyWay([&] {
            BilateralFilter filter;
            cv::Mat out = in.clone();
            filter.setup(in, in.cols, in.rows, 8, 3072, true);
            filter.gridInit(weight, value);
            filter.buildGrid(out, in);
            for (std::size_t i = 0; i < reference.values.size(); ++i)
                ASSERT_EQ(reference.values[i], filter.m_values_p[i]) << "cell " << i << " weight " << weight;
            filter.interpGrid(out, in);
            ASSERT_TRUE(samePixels<ushort>(expected, out));
        });
    }
}

TEST(BilateralFilter, SizesItsGridFromThePictureAndTheRange)
{
    cv::Mat edge(30, 50, CV_16UC1, cv::Scalar(700));
    BilateralFilter filter;
    EXPECT_EQ(filter.setup(edge, 50, 30, 8, 100, true), 1);
    EXPECT_EQ(cv::Vec3i(filter.m_gridX, filter.m_gridY, filter.m_gridZ), cv::Vec3i(11, 8, 4)) << "flat";
    edge.at<ushort>(0, 0) = 900;
    filter.setup(edge, 50, 30, 8, 100, true);
    EXPECT_EQ(filter.m_gridZ, 6);
    EXPECT_EQ(filter.m_minVal, 700);
    edge.at<ushort>(0, 0) = 65535;
    filter.setup(edge, 50, 30, 8, 10, true);
    EXPECT_EQ(filter.m_gridZ, 252);
    EXPECT_EQ(filter.m_sampleR, (65535 - 700) / 248);
    EXPECT_EQ(filter.setup(edge, 1, 1, 1, 10, false), 0) << "a step below 2";
    EXPECT_EQ(filter.m_width, 50);
    EXPECT_FALSE(filter.m_is16Bit);
}

TEST(BilateralFilter, AStepBelowTwoUsesTheGridThereIsOrDoesNothing)
{
    const cv::Mat in = scenePlane({60, 40}, CV_16UC1, 0, 65536, 3), other = scenePlane({50, 40}, CV_16UC1, 0, 65536, 3);
    BilateralFilter filter;
    cv::Mat out = in.clone();
    EXPECT_EQ(filter.proc(cv::Mat(), out, 1, 3072, nullptr), 1);
    EXPECT_TRUE(samePixels<ushort>(in, out)) << "no grid yet";
    filter.proc(cv::Mat(), out, 8, 3072, nullptr);
    const cv::Mat expected = out.clone();
    out = in.clone();
    filter.proc(cv::Mat(), out, 1, 55, nullptr);
    EXPECT_TRUE(samePixels<ushort>(expected, out)) << "the kept grid";
    out = other.clone();
    filter.proc(cv::Mat(), out, 1, 55, nullptr);
    EXPECT_TRUE(samePixels<ushort>(other, out)) << "a kept grid of another size";
}

TEST(BilateralFilter, ACancelStopsAtEveryReportAndLeavesThePictureUntilItIsRead)
{
    const cv::Mat in = scenePlane({60, 40}, CV_16UC1, 0, 65536, 3);
    for (int refuse = 0; refuse < 6; ++refuse) {
        RefusingHost host{refuse};
        TProgress progress(RefusingHost::callback, &host);
        BilateralFilter filter;
        cv::Mat out = in.clone();
        EXPECT_EQ(filter.proc(cv::Mat(), out, 8, 3072, &progress), refuse == 5);
        EXPECT_EQ(host.reports, std::min(refuse + 1, 5));
        if (refuse < 4) {
            EXPECT_TRUE(samePixels<ushort>(in, out)) << refuse;
        }
    }
}

TEST(BilateralFilter, RejectsASizeThatDiffersAndABrokenGuard)
{
    cv::Mat out = cv::Mat::zeros(10, 10, CV_8UC1), wrong = cv::Mat::zeros(10, 10, CV_32FC1);
    BilateralFilter filter;
    EXPECT_THROWS_TEXT(filter.proc(cv::Mat::zeros(9, 10, CV_8UC1), out, 4, 10, nullptr),
                       "ERROR - bool BilateralFilter::proc - inOut.size !=  edge.size");
    EXPECT_THROW(filter.proc(cv::Mat(), wrong, 4, 10, nullptr), cv::Exception);
    EXPECT_THROW(filter.proc(cv::Mat(), out, 4, 0, nullptr), cv::Exception);

    filter.proc(cv::Mat(), out, 4, 10, nullptr);
    const std::size_t cells = std::size_t(filter.m_gridX) * filter.m_gridY * filter.m_gridZ;
    unsigned guard = 0;
    std::memcpy(&guard, filter.m_values_p + cells, sizeof guard);
    EXPECT_EQ(guard, 0x6d6d6d6du);
    filter.m_values_p[cells] = 0;
    EXPECT_THROWS_TEXT(filter.dealloc(), "BilateralFilter::dealloc() - != 0x6d6d6d6d");
    EXPECT_EQ(filter.m_weights_p, nullptr);
    EXPECT_EQ(filter.m_values_p, nullptr);

    auto* broken = new BilateralFilter;
    broken->proc(cv::Mat(), out, 4, 10, nullptr);
    broken->m_weights_p[cells] = 0;
    EXPECT_THROWS_TEXT(delete broken, "BilateralFilter::dealloc() - != 0x6d6d6d6d");
}

TEST(BilateralGradientGuide, MatchesTheReferenceBitForBit)
{
    for (const int type : {CV_8UC1, CV_16UC1})
        for (const int r : {1, 2, 5})
            for (const cv::Size size : {cv::Size(3, 40), cv::Size(12, 11), cv::Size(61, 47)}) {
                const cv::Mat in = scenePlane(size, type, 0, topOf(type), 1),
                              before = scenePlane(size, type, 0, topOf(type), 2);
                const cv::Mat expected =
                    type == CV_8UC1 ? gradientGuide<uchar>(in, before, r) : gradientGuide<ushort>(in, before, r);
                everyWay([&] {
                    cv::Mat guide = before.clone();
                    EXPECT_EQ(BilateralFilter::gradientGuide(in, guide, r), 1);
                    ASSERT_EQ(cv::norm(expected, guide, cv::NORM_INF), 0) << size << " r " << r << " type " << type;
                });
            }
}

TEST(BilateralGradientGuide, LooksAtTypesOnlyWhenThereIsARadius)
{
    cv::Mat guide = cv::Mat::zeros(4, 4, CV_8UC1);
    EXPECT_EQ(BilateralFilter::gradientGuide(cv::Mat::zeros(4, 4, CV_32FC1), guide, 0), 1);
    EXPECT_THROWS_TEXT(BilateralFilter::gradientGuide(cv::Mat::zeros(4, 4, CV_16UC1), guide, 1),
                       "ERROR - BilateralFilter::gradientGuide - in image type");
    cv::Mat wide = cv::Mat::zeros(4, 4, CV_32FC1);
    EXPECT_THROWS_TEXT(BilateralFilter::gradientGuide(wide, wide, 1),
                       "ERROR - BilateralFilter::gradientGuide - in image type");
}

TEST(BilateralFilter, PaddingThatAHostChangesNeverLeavesTheGrid)
{
    const cv::Mat in = scenePlane({60, 45}, CV_8UC1, 0, 256);
    for (const int pad : {-2, 10, 209, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(pad);
        cv::Mat expected = in.clone(), again = in.clone();
        BilateralFilter filter;
        filter.proc(cv::Mat(), expected, 5, 8, nullptr);
        filter.m_padXY = filter.m_padZ = pad;
        filter.proc(in, again, 0, 0, nullptr); // the kept grid has the padding it was made with
        EXPECT_TRUE(samePixels<uchar>(expected, again));
        cv::Mat fresh = in.clone();
        if (pad == 10)
            EXPECT_EQ(filter.proc(cv::Mat(), fresh, 5, 8, nullptr), 1);
        else
            EXPECT_THROW(filter.proc(cv::Mat(), fresh, 5, 8, nullptr), cv::Exception);
    }
}

TEST(BilateralFilter, SizesThatAHostChangesCountAsNoGrid)
{
    const cv::Mat in = scenePlane({60, 45}, CV_8UC1, 0, 256);
    for (int BilateralFilter::*member : {&BilateralFilter::m_gridX, &BilateralFilter::m_gridY,
                                         &BilateralFilter::m_gridZ, &BilateralFilter::m_sampleS}) {
        cv::Mat out = in.clone();
        BilateralFilter filter;
        filter.proc(cv::Mat(), out, 5, 8, nullptr);
        in.copyTo(out);
        filter.*member += 3;
        filter.proc(in, out, 0, 0, nullptr);
        filter.filterGrids();
        EXPECT_TRUE(samePixels<uchar>(in, out));
        EXPECT_THROW(filter.buildGrid(out, in), cv::Exception);
    }
}

TEST(BilateralFilter, HostileArgumentsAreRefusedByName)
{
    BilateralFilter filter;
    float line[4] = {1, 2, 3, 4};
    EXPECT_REFUSED(filter.iir(nullptr, 4, 1, 0.85f, 2), "BilateralFilter::iir: line is null, wanted samples");
    EXPECT_REFUSED(filter.iir(line, 4, 1, 0.85f, INT_MAX),
                   "BilateralFilter::iir: K is 2147483647, wanted 65536 or less");
    filter.iir(line, 4, 1, 0.85f, INT_MIN);
    cv::Mat deep = solid(CV_8UC1), guide = solid(CV_8UC1);
    EXPECT_THROW(filter.proc(cv::Mat(), deep, 4, 4, nullptr), cv::Exception);
    EXPECT_THROW(BilateralFilter::gradientGuide(deep, guide, 1), cv::Exception);
}
