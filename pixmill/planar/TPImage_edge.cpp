#include <pixmill/planar/TPImage.h>

#include <pixmill/planar/detail/edge_gain.h>
#include <pixmill/planar/detail/edge_rows.h>
#include <pixmill/primitives/lookup.h>
#include <pixmill/resample/planes.h>
#include <pixmill/resample/resample.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/doubling.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/pyramid.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <opencv2/core.hpp>

#include <cmath>
#include <vector>

using namespace pixmill::rows;
using namespace pixmill::resample;
using namespace pixmill::planar;

namespace {

/// Calls `use(y, up)` for each row `up` of `small` enlarged to `size` by the pyramid step, each thread downwards. The
/// enlarged plane exists only where the step's rows are not of the common form, or refuse.
template <class Use>
void forEachEnlargedRow(const cv::Mat& small, cv::Size size, const Use& use)
{
    if (small.type() != CV_16UC1 || !canExpand(small.cols, size.width) || !canExpand(small.rows, size.height) ||
        size.height > 2 * small.rows) {
        cv::Mat up(size, CV_16UC1);
        upSize2X(small, up, kPyramidStep);
        forEachRow(size, [&](int y) { use(y, up.ptr<ushort>(y)); });
        return;
    }
    TeamScratch<int> sums(pyramidScratch(small.cols, 1));
    TeamScratch<ushort> enlarged(size.width + 2);
    forEachRow(size, [&](int y) {
        const auto rows = expandedRows<ushort>(small, y);
        ushort* up = enlarged.mine();
        pyrUpRow<1>(rows.data(), y % 2 != 0, small.cols, up, size.width, sums.mine());
        use(y, up);
    });
}

/// A picture's own half, through the pyramid step. The step fills a plane of one row and column more than half;
/// enlarging reads of it what belongs to the picture.
cv::Mat ownHalf(const cv::Mat& full)
{
    cv::Mat reduced(full.rows / 2 + 1, full.cols / 2 + 1, CV_16UC1);
    downSize2X(full, reduced, kPyramidStep);
    return reduced(cv::Range(0, halfSize(full.rows)), cv::Range(0, halfSize(full.cols)));
}

/// Adds to the enlarged `after` the stored differences times the gain between `before`, of T, and `after`.
template <class T>
void restoreByGain(const cv::Mat& edge, const cv::Mat& before, const cv::Mat& after, cv::Mat& full, float epsilon,
                   float strength)
{
    const Team team;
    const int n = edge.cols;
    std::vector<EdgeGainRows<T>> walkers;
    for (int k = 0; k < team.size(); ++k)
        walkers.emplace_back(before, after, epsilon);
    const ushort* table = TPImage::m_lutEdgeToFull_p;
    TeamScratch<uchar> gains(n);
    TeamScratch<ushort> stored(n);
    forEachEnlargedRow(after, edge.size(), [&](int y, const ushort* up) {
        EdgeGainRows<T>& gain = walkers[team.member()];
        const uchar* above = gain.row(inside(y / 2, after.rows));
        const uchar* below = gain.row(inside(y / 2 + 1, after.rows));
        uchar* g = gains.mine();
        ushort* d = stored.mine();
        doubleRowLinear(above, below, y % 2 != 0, after.cols, g, n);
        storedRow(edge.ptr<uchar>(y), d, table, n);
        addStoredRow(up, d, strength * 0.0234375f, g, full.ptr<ushort>(y), n); // 6 / 256: a byte of gain is up to 6
    });
}

/// An empty plane is of any type.
void checkEdgePlane(const cv::Mat& plane, int type, const char* call, const char* argument)
{
    checkPlane(plane, call, argument);
    if (!plane.empty())
        checkPlane(plane, type, call, argument);
}

} // namespace

void TPImage::computeLUT()
{
    if (!m_lutFullToEdge_p || !m_lutEdgeToFull_p)
        throw "ERROR - TPImage::computeLUT: LUT is not allocated.";
    for (int i = 0; i < 32768; ++i) {
        m_lutFullToEdge_p[i] = toPixel8(128 - 0.7071f * std::sqrt(float(32768 - i)));
        m_lutFullToEdge_p[32768 + i] = toPixel8(128 + 0.7071f * std::sqrt(float(i)));
    }
    for (int i = 0; i < 128; ++i) {
        const float below = 1.4142271f * float(128 - i), above = 1.4142271f * float(i);
        m_lutEdgeToFull_p[i] = clamp16(int(32768.0f - below * below));
        m_lutEdgeToFull_p[128 + i] = clamp16(int(32768.0f + above * above));
    }
}

void TPImage::fullToEdge(const cv::Mat& full, const cv::Mat& half, cv::Mat& edge)
{
    const char* call = "TPImage::fullToEdge";
    checkPointer(m_lutFullToEdge_p, call, "m_lutFullToEdge_p");
    checkPlane(full, call, "full");
    checkPlane(half, call, "half");
    const cv::Mat small = half.empty() ? ownHalf(full) : half;
    checkEdgePlane(full, CV_16UC1, call, "full");
    const cv::Mat source = full; // keeps the pixels should `edge` be the same object
    ensure(edge, full.size(), CV_8UC1);
    const uchar* table = m_lutFullToEdge_p;
    TeamScratch<ushort> differences(source.cols);
    forEachEnlargedRow(small, source.size(), [&](int y, const ushort* up) {
        ushort* d = differences.mine();
        edgeDifferenceRow(source.ptr<ushort>(y), up, d, source.cols);
        lookUpRow<16>(d, edge.ptr<uchar>(y), table, source.cols);
    });
}

void TPImage::edgeToFull(const cv::Mat& edge, const cv::Mat& half, cv::Mat& full, float strength)
{
    const char* call = "TPImage::edgeToFull";
    checkEdgePlane(edge, CV_8UC1, call, "edge");
    checkPointer(m_lutEdgeToFull_p, call, "m_lutEdgeToFull_p");
    checkPlane(half, call, "half");
    const cv::Mat bytes = edge, small = half;
    ensure(full, edge.size(), CV_16UC1);
    const bool whole = std::abs(strength - 1.0f) <= 0.01f;
    const ushort* table = m_lutEdgeToFull_p;
    TeamScratch<ushort> stored(bytes.cols);
    forEachEnlargedRow(small, bytes.size(), [&](int y, const ushort* up) {
        ushort *d = stored.mine(), *out = full.ptr<ushort>(y);
        storedRow(bytes.ptr<uchar>(y), d, table, bytes.cols);
        if (whole)
            addStoredRow(up, d, out, bytes.cols);
        else
            addStoredRow(up, d, strength, nullptr, out, bytes.cols);
    });
}

void TPImage::edgeToFull(const cv::Mat& edge, const cv::Mat& before, const cv::Mat& after, cv::Mat& full, float epsilon,
                         float strength)
{
    const char* call = "TPImage::edgeToFull";
    checkEdgePlane(edge, CV_8UC1, call, "edge");
    checkPointer(m_lutEdgeToFull_p, call, "m_lutEdgeToFull_p");
    checkPlane(after, CV_16UC1, call, "after");
    checkPlane(before, after.size(), CV_MAKETYPE(before.depth(), 1), call, "before");
    const cv::Mat bytes = edge, small = after, filtered = before;
    ensure(full, edge.size(), after.type());
    if (filtered.type() == CV_16UC1) {
        restoreByGain<ushort>(bytes, filtered, small, full, epsilon, strength);
        return;
    }
    cv::Mat floats;
    filtered.convertTo(floats, CV_32F);
    restoreByGain<float>(bytes, floats, small, full, epsilon, strength);
}

void TPImage::applyFullToEdgeLUT(const cv::Mat& in, cv::Mat& edge)
{
    if (!m_lutFullToEdge_p)
        throw "ERROR - TPImage::applyFullToEdgeLUT: LUT is NULL.";
    checkEdgePlane(in, CV_16UC1, "TPImage::applyFullToEdgeLUT", "in");
    const cv::Mat source = in;
    ensure(edge, in.size(), CV_8UC1);
    ippiLUTPalette_16u8u_C1R(source.ptr<ushort>(), int(source.step), edge.ptr<uchar>(), int(edge.step),
                             {source.cols, source.rows}, m_lutFullToEdge_p, 16);
}
