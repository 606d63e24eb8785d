#include <pixmill/resample/planes.h>

#include <pixmill/primitives/types.h>
#include <pixmill/resample/detail/doubling_avx512.h>
#include <pixmill/resample/detail/reducing.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>
#include <pixmill/rows/streaming.h>

#include <algorithm>
#include <cstddef>

namespace pixmill::resample {

using namespace rows;

namespace {

/// Row pointers of a plane whose rows outside repeat its edge.
template <class T>
class EdgeRows {
public:
    explicit EdgeRows(const cv::Mat& plane) : m_plane(plane) {}

    const T* operator[](int y) const { return m_plane.ptr<T>(inside(y, m_plane.rows)); }

private:
    const cv::Mat& m_plane;
};

/// Runs `row(y, scratch)` for every row of `out`, with the running member's piece of the scratch.
template <class Scratch, class Row>
void forEachRowOf(const cv::Mat& out, const cv::Mat& in, Scratch& scratch, const Row& row)
{
    const auto span = [&](int y, int end) {
        auto* const mine = scratch.mine();
        for (; y < end; ++y)
            row(y, mine);
    };
    forEachSpan(out.rows, resampleWork(in, out), span, kFinePieces);
}

template <class T>
void doubleLinear(const cv::Mat& in, cv::Mat& out)
{
    const EdgeRows<T> rows(in);
    // Several threads hide the reading of lines from one another, up to larger planes.
    const bool stream = streams(out.total() * sizeof(T) / std::size_t(teamSize()));
    const auto span = [&](int y, int end) {
        for (; y < end; ++y)
            doubleWideLinear(rows[y / 2], rows[y / 2 + 1], y % 2 != 0, in.cols, out.ptr<T>(y), out.cols, stream);
        if (stream)
            endStreaming();
    };
    forEachSpan(out.rows, resampleWork(in, out), span, kFinePieces);
}

template <class T>
void doubleCubic(const cv::Mat& in, cv::Mat& out)
{
    TeamScratch<int> scratch(in.cols);
    const EdgeRows<T> rows(in);
    forEachRowOf(out, in, scratch, [&](int y, int* sums) {
        const int i = y / 2;
        const T* const four[] = {rows[i - 1], rows[i], rows[i + 1], rows[i + 2]};
        doubleWideCubic(four, y % 2 != 0, in.cols, out.ptr<T>(y), out.cols, sums);
    });
}

/// Floats: every source row's halfway sums are made once and stay for the four rows that they meet.
void doubleCubicFloat(const cv::Mat& in, cv::Mat& out)
{
    TeamScratch<double> scratch(4 * std::size_t(in.cols));
    const EdgeRows<float> rows(in);
    const auto span = [&](int y, int end) {
        double* const mine = scratch.mine();
        int held[4] = {-1, -1, -1, -1};
        const auto sums = [&](int source) -> const double* {
            const int i = inside(source, in.rows);
            double* const row = mine + std::ptrdiff_t(i % 4) * in.cols;
            if (held[i % 4] != i)
                halfwaySums(in.ptr<float>(i), in.cols, row);
            held[i % 4] = i;
            return row;
        };
        for (; y < end; ++y) {
            const int i = y / 2;
            const bool between = y % 2 != 0;
            const float* const four[] = {rows[i - 1], rows[i], rows[i + 1], rows[i + 2]};
            const double* of[] = {sums(i), sums(i), sums(i), sums(i)};
            for (const int k : {0, 2, 3})
                if (between)
                    of[k] = sums(i - 1 + k);
            doubleRowCubic(four, of, between, in.cols, out.ptr<float>(y), out.cols);
        }
    };
    forEachSpan(out.rows, resampleWork(in, out), span);
}

template <class T, int stride>
void pick(const cv::Mat& in, cv::Mat& out, int factor, int first)
{
    const EdgeRows<T> rows(in);
    forEachIndex(out.rows, resampleWork(in, out), [&](int y) {
        pickRow<stride>(rows[first + factor * y], factor, first, in.cols, out.ptr<T>(y), out.cols);
    });
}

template <class T>
bool pick(const cv::Mat& in, cv::Mat& out, int factor, int first)
{
    switch (factor) {
    case 2:
        pick<T, 2>(in, out, factor, first);
        break;
    case 4:
        pick<T, 4>(in, out, factor, first);
        break;
    default:
        pick<T, 0>(in, out, factor, first);
    }
    return true;
}

template <class T, int stride>
void halfway(const cv::Mat& in, cv::Mat& out, int factor, int interpolation)
{
    const EdgeRows<T> rows(in);
    TeamScratch<int> scratch(in.cols);
    const int first = firstPixelOf(factor);
    forEachRowOf(out, in, scratch, [&](int y, int* sums) {
        const int i = first + factor * y;
        const T* const four[] = {rows[i - 1], rows[i], rows[i + 1], rows[i + 2]};
        if (interpolation == IPPI_INTER_CUBIC)
            halfwayRowCubic<stride>(four, factor, first, in.cols, out.ptr<T>(y), out.cols, sums);
        else
            halfwayRowLinear<stride>(four[1], four[2], factor, first, in.cols, out.ptr<T>(y), out.cols);
    });
}

template <class T>
bool halfway(const cv::Mat& in, cv::Mat& out, int factor, int interpolation)
{
    if (factor == 3)
        halfway<T, 3>(in, out, factor, interpolation);
    else
        halfway<T, 0>(in, out, factor, interpolation);
    return true;
}

} // namespace

long resampleWork(const cv::Mat& in, const cv::Mat& out)
{
    return long(std::max(in.total(), out.total()) / 8);
}

bool doublePlane(const cv::Mat& in, cv::Mat& out, int interpolation)
{
    if (interpolation != IPPI_INTER_LINEAR && interpolation != IPPI_INTER_CUBIC)
        return false;
    const bool linear = interpolation == IPPI_INTER_LINEAR;
    switch (in.type()) {
    case CV_8UC1:
        linear ? doubleLinear<uchar>(in, out) : doubleCubic<uchar>(in, out);
        return true;
    case CV_16UC1:
        linear ? doubleLinear<ushort>(in, out) : doubleCubic<ushort>(in, out);
        return true;
    case CV_32FC1:
        linear ? doubleLinear<float>(in, out) : doubleCubicFloat(in, out);
        return true;
    default:
        return false;
    }
}

bool reducePlane(const cv::Mat& in, cv::Mat& out, int factor, int interpolation)
{
    const bool nearest = interpolation == IPPI_INTER_NN;
    const bool known = nearest || interpolation == IPPI_INTER_LINEAR || interpolation == IPPI_INTER_CUBIC;
    // The indices of a far larger output than the source fills would not fit an int.
    const bool countable = factor > 0 && (long long)factor * (1LL + std::max(out.cols, out.rows)) < 1 << 30;
    if (!known || !countable)
        return false;

    const bool halved = factor % 2 != 0 && !nearest;
    const int first = firstPixelOf(factor) + (factor % 2 != 0 && nearest ? 1 : 0); // a tie goes to the next pixel
    switch (in.type()) {
    case CV_8UC1:
        return halved ? halfway<uchar>(in, out, factor, interpolation) : pick<uchar>(in, out, factor, first);
    case CV_16UC1:
        return halved ? halfway<ushort>(in, out, factor, interpolation) : pick<ushort>(in, out, factor, first);
    case CV_32FC1:
        return halved ? false : pick<float>(in, out, factor, first);
    default:
        return false;
    }
}

} // namespace pixmill::resample
