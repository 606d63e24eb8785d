#include <pixmill/resample/detail/float_pyramid.h>
#include <pixmill/resample/planes.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/pyramid.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <type_traits>

namespace pixmill::resample {

using namespace rows;

namespace {

constexpr int kBorder = cv::BORDER_REFLECT_101;

template <class T>
void reduceRows(const cv::Mat& in, cv::Mat& out)
{
    TeamScratch<typename PyramidSum<T>::type> scratch(pyramidScratch(in.cols, 1));
    const auto span = [&](int y, int end) {
        auto* const sums = scratch.mine();
        for (; y < end; ++y) {
            const T* rows[5];
            for (int k = 0; k < 5; ++k)
                rows[k] = in.ptr<T>(mirrored(2 * y - 2 + k, in.rows));
            pyrDownRow<1>(rows, in.cols, out.ptr<T>(y), out.cols, sums);
        }
    };
    forEachSpan(out.rows, resampleWork(in, out), span, kFinePieces);
}

template <class T>
void expandRows(const cv::Mat& in, cv::Mat& out)
{
    TeamScratch<typename PyramidSum<T>::type> scratch(pyramidScratch(in.cols, 1));
    const auto span = [&](int y, int end) {
        auto* const sums = scratch.mine();
        for (; y < end; ++y) {
            const auto rows = expandedRows<T>(in, y);
            pyrUpRow<1>(rows.data(), y % 2 != 0, in.cols, out.ptr<T>(y), out.cols, sums);
        }
    };
    forEachSpan(std::min(out.rows, 2 * in.rows), resampleWork(in, out), span, kFinePieces);
    if (out.rows > 2 * in.rows)
        std::copy_n(out.ptr<T>(out.rows - 3), out.cols, out.ptr<T>(out.rows - 1));
}

/// The last `N` source rows, filtered along: row r stands in slot r mod N.
template <class T, int N>
struct RowRing {
    T* rows;
    std::size_t width;
    int next; ///< The first row that is not there yet.

    T* operator()(int r) const { return rows + r % N * width; }
};

template <class T, class Channels>
void reduceFloats(const cv::Mat& in, cv::Mat& out, Channels channels)
{
    const int n = out.cols * out.channels();
    TeamScratch<T> scratch(5 * std::size_t(n));
    const auto span = [&](int y, int end) {
        RowRing<T, 5> ring{scratch.mine(), std::size_t(n), std::max(std::min(2 * y - 2, in.rows - 5), 0)};
        for (; y < end; ++y) {
            for (; ring.next < std::min(2 * y + 3, in.rows); ++ring.next)
                pyrDownAlong(in.ptr<T>(ring.next), in.cols, channels, ring(ring.next), out.cols);
            const T* rows[5];
            for (int k = 0; k < 5; ++k)
                rows[k] = ring(mirrored(2 * y - 2 + k, in.rows));
            pyrDownAcross(rows, out.ptr<T>(y), n);
        }
    };
    forEachSpan(out.rows, resampleWork(in, out), span, kFinePieces);
}

template <class T, class Channels>
void expandFloats(const cv::Mat& in, cv::Mat& out, Channels channels)
{
    const std::size_t width = (2 * std::size_t(in.cols) + 1) * in.channels();
    TeamScratch<T> scratch(3 * width);
    const auto span = [&](int y, int end) {
        RowRing<T, 3> ring{scratch.mine(), width, std::max(y / 2 - 1, 0)};
        for (; y < end; ++y) {
            for (; ring.next < std::min(y / 2 + 2, in.rows); ++ring.next)
                pyrUpAlong(in.ptr<T>(ring.next), in.cols, channels, ring(ring.next));
            pyrUpAcross(expandedRows<T>(y, in.rows, ring).data(), y % 2 != 0, out.ptr<T>(y), out.cols * out.channels());
        }
    };
    forEachSpan(std::min(out.rows, 2 * in.rows), resampleWork(in, out), span, kFinePieces);
    if (out.rows > 2 * in.rows)
        out.row(out.rows - 3).copyTo(out.row(out.rows - 1));
}

/// Calls `with` the number of channels; the usual ones are numbers that the compiler knows.
template <class With>
void withChannels(int channels, const With& with)
{
    if (channels == 1)
        with(std::integral_constant<int, 1>());
    else if (channels == 3)
        with(std::integral_constant<int, 3>());
    else
        with(channels);
}

template <class T>
void reduceFloats(const cv::Mat& in, cv::Mat& out)
{
    withChannels(in.channels(), [&](auto channels) { reduceFloats<T>(in, out, channels); });
}

template <class T>
void expandFloats(const cv::Mat& in, cv::Mat& out)
{
    withChannels(in.channels(), [&](auto channels) { expandFloats<T>(in, out, channels); });
}

bool areOwn(const cv::Mat& in, const cv::Mat& out, bool (*can)(int, int))
{
    const bool known = in.type() == CV_8UC1 || in.type() == CV_16UC1 || in.depth() == CV_32F || in.depth() == CV_64F;
    return known && in.dims <= 2 && out.dims <= 2 && in.data && !overlap(in, out) && can(in.cols, out.cols) &&
           can(in.rows, out.rows);
}

} // namespace

void pyramidDown(const cv::Mat& in, cv::Mat& out)
{
    if (!areOwn(in, out, canReduce))
        cv::pyrDown(in, out, out.size(), kBorder);
    else if (in.depth() == CV_8U)
        reduceRows<uchar>(in, out);
    else if (in.depth() == CV_16U)
        reduceRows<ushort>(in, out);
    else
        in.depth() == CV_32F ? reduceFloats<float>(in, out) : reduceFloats<double>(in, out);
}

void pyramidUp(const cv::Mat& in, cv::Mat& out)
{
    checkPixels(in, "upSize2X",
                "in"); // cv::pyrUp takes an empty plane for half of one pixel, and reads where it has none
    if (areOwn(in, out, canExpand)) {
        if (in.depth() == CV_8U)
            expandRows<uchar>(in, out);
        else if (in.depth() == CV_16U)
            expandRows<ushort>(in, out);
        else
            in.depth() == CV_32F ? expandFloats<float>(in, out) : expandFloats<double>(in, out);
    } else if (out.dims <= 2 && out.rows == 2 * in.rows - 1) {
        // cv::pyrUp stores a wrong last row here, on some processors. Twice the rows are always right.
        cv::Mat whole;
        cv::pyrUp(in, whole, cv::Size(out.cols, 2 * in.rows), kBorder);
        whole.rowRange(0, out.rows).copyTo(out);
    } else {
        cv::pyrUp(in, out, out.size(), kBorder);
    }
}

} // namespace pixmill::resample
