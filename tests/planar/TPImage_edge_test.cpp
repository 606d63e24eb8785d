#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

#include <pixmill/planar/TPImage.h>
#include <pixmill/resample/resample.h>

#include <cmath>
#include <vector>

using namespace pixmill::test;

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

int clamp16(long v)
{
    return int(v < 0 ? 0 : v > 65535 ? 65535 : v);
}

cv::Mat enlarged(const cv::Mat& half, cv::Size size, int interpolation = 257)
{
    cv::Mat up(size, half.type());
    upSize2X(half, up, interpolation);
    return up;
}

/// out(x, y) = pixel(x, y) over a plane.
template <class T, class Pixel>
cv::Mat planeOf(cv::Size size, int type, const Pixel& pixel)
{
    cv::Mat out(size, type);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            out.at<T>(y, x) = T(pixel(x, y));
    return out;
}

cv::Mat edgeReference(const cv::Mat& full, const cv::Mat& up, const std::vector<unsigned char>& table)
{
    return planeOf<uchar>(full.size(), CV_8UC1, [&](int x, int y) {
        return table[clamp16((full.at<ushort>(y, x) - up.at<ushort>(y, x)) / 2 + 32768)];
    });
}

/// 25 taps on repeated edges.
template <class T, class Sum>
cv::Mat gaussReference(const cv::Mat& in)
{
    const int weights[5][5] = {
        {2, 7, 12, 7, 2}, {7, 31, 52, 31, 7}, {12, 52, 127, 52, 12}, {7, 31, 52, 31, 7}, {2, 7, 12, 7, 2}};
    return planeOf<T>(in.size(), in.type(), [&](int x, int y) {
        Sum sum = 0;
        for (int j = -2; j <= 2; ++j)
            for (int i = -2; i <= 2; ++i)
                sum += Sum(weights[j + 2][i + 2]) *
                       in.at<T>(std::min(std::max(y + j, 0), in.rows - 1), std::min(std::max(x + i, 0), in.cols - 1));
        return std::is_integral_v<T> ? double(std::lrint(sum / 571.0)) : double(sum / 571.0);
    });
}

/// The six-argument form, plane by plane.
cv::Mat gainReference(const cv::Mat& edge, const cv::Mat& before, const cv::Mat& after, float epsilon, float strength,
                      const std::vector<unsigned short>& table)
{
    const cv::Size size = before.size();
    const auto floats = [](const cv::Mat& m) {
        cv::Mat out;
        m.convertTo(out, CV_32F);
        return out;
    };
    const auto alongX = [&](const cv::Mat& plane) {
        const cv::Mat m = floats(plane);
        return planeOf<float>(size, CV_32FC1, [&](int x, int y) {
            return x + 1 < size.width ? m.at<float>(y, x + 1) - m.at<float>(y, x) : 0.0f;
        });
    };
    const auto alongY = [&](const cv::Mat& plane) {
        const cv::Mat m = floats(plane);
        return planeOf<float>(size, CV_32FC1, [&](int x, int y) {
            return y + 1 < size.height ? m.at<float>(y + 1, x) - m.at<float>(y, x) : 0.0f;
        });
    };
    const auto smoothProduct = [&](const cv::Mat& a, const cv::Mat& b) {
        return gaussReference<float, double>(
            planeOf<float>(size, CV_32FC1, [&](int x, int y) { return a.at<float>(y, x) * b.at<float>(y, x); }));
    };
    const cv::Mat bx = alongX(before), by = alongY(before), ax = alongX(after), ay = alongY(after);
    const cv::Mat sxx = smoothProduct(bx, bx), syy = smoothProduct(by, by);
    const cv::Mat nx = smoothProduct(ax, bx), ny = smoothProduct(ay, by);
    const float floor = epsilon * 65535.0f;
    const cv::Mat gain8 = gaussReference<uchar, int>(planeOf<uchar>(size, CV_8UC1, [&](int x, int y) {
        float num = nx.at<float>(y, x) + ny.at<float>(y, x), den = sxx.at<float>(y, x) + syy.at<float>(y, x);
        num = num + floor;
        den = den + floor;
        const float scaled = num / den * 42.666666666666664f;
        return scaled > 255 ? 255 : scaled > 0 ? std::lrint(scaled) : 0;
    }));
    const cv::Mat gainFull = enlarged(gain8, edge.size(), 2), up = enlarged(after, edge.size());
    const float s = strength * 0.0234375f;
    return planeOf<ushort>(edge.size(), CV_16UC1, [&](int x, int y) {
        const float d = float(table[edge.at<uchar>(y, x)]) - 32768.0f;
        return clamp16(std::lrint(float(up.at<ushort>(y, x)) + d * s * float(gainFull.at<uchar>(y, x))));
    });
}

cv::Size halfOf(cv::Size s)
{
    return {(s.width + 1) / 2, (s.height + 1) / 2};
}

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
    for (int i = 0; i < 32768; ++i) {
        ASSERT_EQ(m_toEdge[32768 + i], std::min(255L, std::lrint(128 + 0.7071f * std::sqrt(float(i))))) << i;
        ASSERT_EQ(m_toEdge[i], std::max(0L, std::lrint(128 - 0.7071f * std::sqrt(float(32768 - i))))) << i;
    }
}

TEST_F(EdgeTables, EdgePlanesMatchTheReferenceBitForBit)
{
    everyWay([&] {
        for (const cv::Size size : oddSizes()) {
            SCOPED_TRACE(testing::Message() << size);
            const cv::Mat full = randomPlane(size, CV_16UC1, 0, 65536, 1),
                          half = scenePlane(halfOf(size), CV_16UC1, 0, 65536, 2);
            cv::Mat edge, back, in;
            TPImage::fullToEdge(full, half, edge);
            ASSERT_TRUE(samePixels<uchar>(edgeReference(full, enlarged(half, size), m_toEdge), edge));
            for (const float strength : {1.005f, 1.02f, -0.5f, 2.0f, 3e5f}) {
                TPImage::edgeToFull(edge, half, back, strength);
                const cv::Mat up = enlarged(half, size);
                const bool whole = std::abs(strength - 1.0f) <= 0.01f;
                ASSERT_TRUE(samePixels<ushort>(
                    planeOf<ushort>(size, CV_16UC1,
                                    [&](int x, int y) {
                                        const int table = m_toFull[edge.at<uchar>(y, x)], u = up.at<ushort>(y, x);
                                        return whole ? clamp16(u + table - 32768)
                                                     : clamp16(
                                                           std::lrint(float(u) + (float(table) - 32768.0f) * strength));
                                    }),
                    back))
                    << strength;
            }
            TPImage::applyFullToEdgeLUT(full, in);
            ASSERT_TRUE(samePixels<uchar>(
                planeOf<uchar>(size, CV_8UC1, [&](int x, int y) { return m_toEdge[full.at<ushort>(y, x)]; }), in));
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
        EXPECT_TRUE(samePixels<uchar>(edgeReference(full, enlarged(own, size), m_toEdge), edge));
    }
}

TEST_F(EdgeTables, AnEnlargedHalfHasNoEdgesAndComesBackAtAnyStrength)
{
    const cv::Mat half = scenePlane({20, 15}, CV_16UC1, 0, 65536), full = enlarged(half, {40, 30});
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
                ASSERT_TRUE(samePixels<ushort>(gainReference(edge, before, after, epsilon, 1.3f, m_toFull), full));
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
            const cv::Mat expected = gainReference(edge, before, after, 0.001f, strength, m_toFull);
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
    const cv::Mat up = enlarged(half, {60, 40});
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 60; ++x)
            ASSERT_EQ(full.at<ushort>(y, x), clamp16(up.at<ushort>(y, x) + 8256)); // 8192 * 43 * 6 / 256
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
