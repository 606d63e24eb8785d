#include <pixmill/planar/TPImage.h>
#include <pixmill/resample/resample.h>
#include <reference/edge_plane.h>
#include <reference/table_look_up.h>
#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

#include <vector>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

/// Gives TPImage tables for the length of a test.
class EdgeTables : public testing::Test {
protected:
    EdgeTables() : m_toEdge(65536), m_toFull(256)
    {
        TPImage::m_lutFullToEdge_p = m_toEdge.data();
        TPImage::m_lutEdgeToFull_p = m_toFull.data();
        TPImage::computeLUT();
    }
    ~EdgeTables() override
    {
        TPImage::m_lutFullToEdge_p = nullptr;
        TPImage::m_lutEdgeToFull_p = nullptr;
    }

    std::vector<unsigned char> m_toEdge;
    std::vector<unsigned short> m_toFull;
};

} // namespace

TEST_F(EdgeTables, HoldTheSquareRootCurveAndItsInverse)
{
    struct Entry {
        int index, value;
    };
    for (const Entry& e : {Entry{0, 0}, {32767, 127}, {32768, 128}, {32769, 129}, {65535, 255}})
        EXPECT_EQ(m_toEdge[e.index], e.value) << e.index;
    for (const Entry& e : {Entry{0, 0}, {1, 509}, {127, 32766}, {128, 32768}, {129, 32770}, {192, 40960}, {255, 65026}})
        EXPECT_EQ(m_toFull[e.index], e.value) << e.index;
    EXPECT_EQ(m_toEdge, edgeTable());
}

TEST_F(EdgeTables, EdgePlanesMatchTheReferenceBitForBit)
{
    everyWay([&] {
        for (const cv::Size size : oddSizes()) {
            SCOPED_TRACE(testing::Message() << size);
            const cv::Mat full = randomPlane(size, CV_16UC1, 0, 65536, 1),
                          half = scenePlane(halfOf(size), CV_16UC1, 0, 65536, 2);
            const cv::Mat up = pyramidUp(half, size);
            cv::Mat edge, back, in;
            TPImage::fullToEdge(full, half, edge);
            ASSERT_TRUE(samePixels<uchar>(edgePlane(full, up, m_toEdge), edge));
            for (const float strength : {1.005f, 1.02f, -0.5f, 2.0f, 3e5f}) {
                TPImage::edgeToFull(edge, half, back, strength);
                ASSERT_TRUE(samePixels<ushort>(fullFromEdge(edge, up, strength, m_toFull), back)) << strength;
            }
            TPImage::applyFullToEdgeLUT(full, in);
            ASSERT_TRUE(samePixels<uchar>(lookedUp<ushort, uchar>(full, m_toEdge.data()), in));
        }
    });
}

TEST_F(EdgeTables, WithoutAHalfThePictureReducesItself)
{
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(7, 1), cv::Size(8, 6), cv::Size(9, 7), cv::Size(64, 33)}) {
        SCOPED_TRACE(testing::Message() << size);
        const cv::Mat full = scenePlane(size, CV_16UC1, 0, 65536, 1);
        cv::Mat reduced(size.height / 2 + 1, size.width / 2 + 1, CV_16UC1), edge;
        downSize2X(full, reduced, 257);
        const cv::Size half = halfOf(size);
        const cv::Mat own = reduced(cv::Rect(0, 0, half.width, half.height)).clone();
        TPImage::fullToEdge(full, cv::Mat(), edge);
        EXPECT_TRUE(samePixels<uchar>(edgePlane(full, pyramidUp(own, size), m_toEdge), edge));
    }
}

TEST_F(EdgeTables, AnEnlargedHalfHasNoEdgesAndComesBackAtAnyStrength)
{
    const cv::Mat half = scenePlane({20, 15}, CV_16UC1, 0, 65536), full = pyramidUp(half, {40, 30});
    cv::Mat edge, back;
    TPImage::fullToEdge(full, half, edge);
    EXPECT_EQ(cv::countNonZero(edge != 128), 0);
    for (const float strength : {0.0f, 1.0f, 3.0f}) {
        TPImage::edgeToFull(edge, half, back, strength);
        EXPECT_TRUE(samePixels<ushort>(full, back)) << strength;
    }
}

TEST_F(EdgeTables, TheGainFormMatchesTheReferenceBitForBit)
{
    everyWay([&] {
        for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 8), cv::Size(9, 1), cv::Size(61, 47), cv::Size(80, 52)})
            for (const float epsilon : {0.01f, 0.0f}) {
                SCOPED_TRACE(testing::Message() << size << " epsilon " << epsilon);
                const cv::Mat edge = randomPlane(size, CV_8UC1, 0, 256, 1);
                const cv::Mat before = scenePlane(halfOf(size), CV_16UC1, 0, 50000, 2);
                const cv::Mat after = scenePlane(halfOf(size), CV_16UC1, 0, 65536, 3);
                cv::Mat full;
                TPImage::edgeToFull(edge, before, after, full, epsilon, 1.3f);
                ASSERT_TRUE(samePixels<ushort>(fullFromEdge(edge, before, after, epsilon, 1.3f, m_toFull), full));
            }
    });
}

TEST_F(EdgeTables, TheGainFormTakesNoiseWidePlanesAndOtherTypesBefore)
{
    const cv::Size size(1131, 18);
    const cv::Mat edge = randomPlane(size, CV_8UC1, 0, 256, 1),
                  after = randomPlane(halfOf(size), CV_16UC1, 0, 65536, 3);
    const cv::Mat wholes = randomPlane(halfOf(size), CV_16UC1, 0, 65536, 2),
                  bytes = randomPlane(halfOf(size), CV_8UC1, 0, 256, 2),
                  floats = randomPlane(halfOf(size), CV_32FC1, -3000, 60000, 2);
    for (const cv::Mat& before : {wholes, bytes, floats})
        for (const float strength : {0.9f, 150.0f}) {
            SCOPED_TRACE(testing::Message() << "type " << before.type() << " strength " << strength);
            const cv::Mat expected = fullFromEdge(edge, before, after, 0.001f, strength, m_toFull);
            everyWay([&] {
                cv::Mat full;
                TPImage::edgeToFull(edge, before, after, full, 0.001f, strength);
                ASSERT_TRUE(samePixels<ushort>(expected, full));
            });
        }
}

TEST_F(EdgeTables, AnUnchangedHalfRestoresALittleMoreThanWasStored)
{
    const cv::Mat half = scenePlane({30, 20}, CV_16UC1, 10000, 50000), edge(40, 60, CV_8UC1, cv::Scalar(192));
    cv::Mat full;
    TPImage::edgeToFull(edge, half, half, full, 0.01f, 1.0f);
    const cv::Mat up = pyramidUp(half, {60, 40});
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 60; ++x)
            ASSERT_EQ(full.at<ushort>(y, x), std::min(65535, up.at<ushort>(y, x) + 8256)); // 8192 * 43 * 6 / 256
}

TEST(EdgePlane, MissingTablesAreTold)
{
    EXPECT_THROWS_TEXT(TPImage::computeLUT(), "ERROR - TPImage::computeLUT: LUT is not allocated.");
    cv::Mat edge;
    const cv::Mat in = cv::Mat::zeros(4, 4, CV_16UC1);
    EXPECT_THROWS_TEXT(TPImage::applyFullToEdgeLUT(in, edge), "ERROR - TPImage::applyFullToEdgeLUT: LUT is NULL.");
    EXPECT_THROW(TPImage::fullToEdge(in, cv::Mat(), edge), cv::Exception);
    EXPECT_TRUE(edge.empty());
}
