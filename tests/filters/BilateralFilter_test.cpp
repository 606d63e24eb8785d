#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

#include <pixmill/core/TProgress.h>
#include <pixmill/filters/BilateralFilter.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

using namespace pixmill::test;

namespace {

double sampleOf(const cv::Mat& m, int y, int x)
{
    return m.depth() == CV_8U ? m.at<uchar>(y, x) : m.depth() == CV_16U ? m.at<ushort>(y, x) : m.at<float>(y, x);
}

int toByte(float v)
{
    return int(std::lrint(v < 0 ? 0.0f : v > 255 ? 255.0f : v));
}

/// The filter again: dense arrays, one thread, every line by itself.
struct Reference {
    int gx, gy, gz, step, range, minVal;
    std::vector<float> weights, values;

    Reference(const cv::Mat& edge, int sampleS, int sampleR) : step(sampleS), range(sampleR)
    {
        double least, most;
        cv::minMaxIdx(edge, &least, &most);
        minVal = int(least);
        gx = (edge.cols + step - 1) / step + 4;
        gy = (edge.rows + step - 1) / step + 4;
        const int k = int((most - least) / range);
        gz = k + (most - least > double(range) * k) + 4;
        if (gz > 252) {
            gz = 252;
            range = int((most - least) / 248);
        }
        weights.assign(std::size_t(gx) * gy * gz, 1e-20f);
        values.assign(weights.size(), 0.0f);
    }

    std::size_t at(int x, int y, int z) const { return (std::size_t(y) * gx + x) * gz + z; }

    float position(double v, double pad) const
    {
        const double alpha = 1.0 / range;
        const float scaled = float(v) * float(alpha);
        return scaled + float(pad - minVal * alpha);
    }

    void blurLine(std::vector<float>& grid, std::size_t first, std::size_t stride, int n) const
    {
        const float nu = 0.13511288f, gain = 1.1562202f;
        const float q = 0.85f * 0.85f * 0.25f, scale = (nu / q) * (nu / q);
        const auto a = [&](int i) -> float& { return grid[first + i * stride]; };
        for (int round = 0; round < 2; ++round) {
            a(0) *= gain;
            for (int i = 1; i < n; ++i)
                a(i) = a(i) + nu * a(i - 1);
            a(n - 1) *= gain;
            for (int i = n - 2; i >= 0; --i)
                a(i) = a(i) + nu * a(i + 1);
        }
        for (int i = 0; i < n; ++i)
            a(i) *= scale;
    }

    cv::Mat filter(const cv::Mat& in, const cv::Mat& edge)
    {
        for (int y = 0; y < in.rows; ++y)
            for (int x = 0; x < in.cols; ++x) {
                const int z = std::min(toByte(position(sampleOf(edge, y, x), 2.0)), gz - 2);
                values[at(x / step + 2, y / step + 2, z)] += float(sampleOf(in, y, x));
                weights[at(x / step + 2, y / step + 2, z)] += 1.0f;
            }
        for (auto* grid : {&weights, &values}) {
            for (int y = 0; y < gy; ++y)
                for (int x = 0; x < gx; ++x)
                    blurLine(*grid, at(x, y, 0), 1, gz);
            for (int y = 0; y < gy; ++y)
                for (int z = 0; z < gz; ++z)
                    blurLine(*grid, at(0, y, z), gz, gx);
            for (int x = 0; x < gx; ++x)
                for (int z = 0; z < gz; ++z)
                    blurLine(*grid, at(x, 0, z), std::size_t(gx) * gz, gy);
        }
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] = values[i] / weights[i];

        cv::Mat out(in.size(), in.type());
        for (int y = 0; y < in.rows; ++y)
            for (int x = 0; x < in.cols; ++x) {
                const float px = float(x) / step + 1 + 0.5f, py = float(y) / step + 1 + 0.5f;
                const float fx = px - int(px), fy = py - int(py);
                const float zf = position(sampleOf(edge, y, x), 1.5);
                const int zi = toByte(zf), z = std::min(zi, gz - 2);
                const float f = zf - float(zi);
                const auto column = [&](int dx, int dy) {
                    const float* cell = &values[at(int(px) + dx, int(py) + dy, z)];
                    return cell[0] + (cell[1] - cell[0]) * f;
                };
                const float top = column(0, 0) + (column(1, 0) - column(0, 0)) * fx;
                const float bottom = column(0, 1) + (column(1, 1) - column(0, 1)) * fx;
                const long v = std::lrint(double(top + (bottom - top) * fy));
                if (in.depth() == CV_8U)
                    out.at<uchar>(y, x) = uchar(std::min(255L, std::max(0L, v)));
                else
                    out.at<ushort>(y, x) = ushort(std::min(65535L, std::max(0L, v)));
            }
        return out;
    }
};

struct Case {
    int type, edgeType, sampleS, sampleR;
};

const Case kCases[] = {{CV_16UC1, CV_16UC1, 8, 3072},  {CV_16UC1, CV_16UC1, 16, 4096}, {CV_16UC1, CV_16UC1, 17, 9000},
                       {CV_16UC1, CV_16UC1, 2, 100},   {CV_8UC1, CV_8UC1, 8, 12},      {CV_8UC1, CV_16UC1, 5, 2000},
                       {CV_16UC1, CV_8UC1, 3, 1},      {CV_16UC1, CV_32FC1, 4, 700},   {CV_16UC1, CV_16UC1, 2, 60000},
                       {CV_8UC1, CV_16UC1, 16, 70000}, {CV_8UC1, CV_32FC1, 9, 9000}};

double topOf(int type)
{
    return CV_MAT_DEPTH(type) == CV_8U ? 256 : 65536;
}

} // namespace

TEST(BilateralFilter, MatchesTheReferenceBitForBit)
{
    for (const Case& c : kCases)
        for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 9), cv::Size(33, 1), cv::Size(103, 77)}) {
            SCOPED_TRACE(testing::Message()
                         << c.type << " " << c.edgeType << " " << c.sampleS << " " << c.sampleR << " " << size);
            const cv::Mat in = scenePlane(size, c.type, 0, topOf(c.type), 3);
            const cv::Mat edge = scenePlane(size, c.edgeType, 0, topOf(c.edgeType), 4);
            const cv::Mat expected = Reference(edge, c.sampleS, c.sampleR).filter(in, edge);
            everyWay([&] {
                BilateralFilter filter;
                cv::Mat out = randomPlane(size, c.type, 0, 2);
                in.copyTo(out);
                ASSERT_EQ(filter.proc(edge, out, c.sampleS, c.sampleR, nullptr), 1);
                if (c.type == CV_8UC1)
                    ASSERT_TRUE(samePixels<uchar>(expected, out));
                else
                    ASSERT_TRUE(samePixels<ushort>(expected, out));
            });
        }
}

TEST(BilateralFilter, GuidesItselfWithoutAnEdgePictureAndKeepsItsGrid)
{
    const cv::Mat in = scenePlane({90, 70}, CV_16UC1, 1000, 60000, 3);
    BilateralFilter filter;
    cv::Mat out = in.clone();
    filter.proc(cv::Mat(), out, 8, 3072, nullptr);
    EXPECT_TRUE(samePixels<ushort>(Reference(in, 8, 3072).filter(in, in), out));
    EXPECT_EQ(filter.m_gridDirty, 0);
    const float* const grid = filter.m_values_p;
    out = in.clone();
    filter.proc(cv::Mat(), out, 8, 3072, nullptr);
    EXPECT_EQ(filter.m_values_p, grid);
    EXPECT_TRUE(samePixels<ushort>(Reference(in, 8, 3072).filter(in, in), out));
}

TEST(BilateralFilter, BuildsUponWhatTheHostPutIntoTheGrid)
{
    const cv::Mat in = scenePlane({90, 70}, CV_16UC1, 1000, 60000, 3);
    for (const auto& start : std::vector<std::pair<float, float>>{{0.3f, 0.7f}, {0.0f, 1e9f}, {1.0f, 0.0f}}) {
        const float weight = start.first, value = start.second;
        Reference reference(in, 8, 3072);
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
    struct Host {
        int refuse, reports;
        static bool callback(int, void* self)
        {
            auto* host = static_cast<Host*>(self);
            return host->reports++ != host->refuse;
        }
    };
    const cv::Mat in = scenePlane({60, 40}, CV_16UC1, 0, 65536, 3);
    for (int refuse = 0; refuse < 6; ++refuse) {
        Host host{refuse, 0};
        TProgress progress(Host::callback, &host);
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
                cv::Mat expected = before.clone();
                for (int y = r; y < size.height - r; ++y)
                    for (int x = r; x < size.width - r; ++x) {
                        const double g = sampleOf(before, y, x), c = sampleOf(in, y, x);
                        double dil = g, ero = g;
                        for (int j = -r; j <= r; ++j)
                            for (int i = -r; i <= r; ++i)
                                if (i == 0 || j == 0 || std::sqrt(double(i * i + j * j)) <= r + 0.5) {
                                    dil = std::max(dil, sampleOf(before, y + j, x + i));
                                    ero = std::min(ero, sampleOf(before, y + j, x + i));
                                }
                        const double hi = dil - g <= g - ero ? g : dil, lo = g - ero < dil - g ? g : ero;
                        if (lo < c && c < hi && type == CV_8UC1)
                            expected.at<uchar>(y, x) = uchar(c);
                        else if (lo < c && c < hi)
                            expected.at<ushort>(y, x) = ushort(c);
                    }
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
