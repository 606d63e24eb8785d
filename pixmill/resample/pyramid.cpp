#include <pixmill/resample/planes.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/pyramid.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>

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

bool areOwn(const cv::Mat& in, const cv::Mat& out, bool (*can)(int, int))
{
    return (in.type() == CV_8UC1 || in.type() == CV_16UC1) && in.dims <= 2 && out.dims <= 2 && in.data &&
           !overlap(in, out) && can(in.cols, out.cols) && can(in.rows, out.rows);
}

} // namespace

void pyramidDown(const cv::Mat& in, cv::Mat& out)
{
    if (!areOwn(in, out, canReduce))
        cv::pyrDown(in, out, out.size(), kBorder);
    else if (in.depth() == CV_8U)
        reduceRows<uchar>(in, out);
    else
        reduceRows<ushort>(in, out);
}

void pyramidUp(const cv::Mat& in, cv::Mat& out)
{
    checkPixels(in, "upSize2X",
                "in"); // cv::pyrUp takes an empty plane for half of one pixel, and reads where it has none
    if (areOwn(in, out, canExpand)) {
        in.depth() == CV_8U ? expandRows<uchar>(in, out) : expandRows<ushort>(in, out);
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
