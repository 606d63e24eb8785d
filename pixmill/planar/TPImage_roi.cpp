#include <pixmill/planar/TPImage.h>

#include <pixmill/planar/crop.h>
#include <pixmill/primitives/copy.h>
#include <pixmill/primitives/filter.h>
#include <pixmill/primitives/resize.h>
#include <pixmill/resample/resample.h>
#include <pixmill/rows/ask.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <algorithm>

using namespace pixmill::rows;
using namespace pixmill::planar;

namespace {

/// Where `count` pixels of size `scale` from `first` end, cut at the plane's edge.
int farEdge(int first, int count, int scale, int edge)
{
    return int(std::clamp<long long>((long long)count * scale + first, -1, edge));
}

/// The mean of nine pixels whose sum is given, to nearest. A ninth is never closer than 1/18 to a tie, far more than
/// the product is off.
inline int meanOfNine(int sum)
{
    return roundToInt(float(sum) * (1.0f / 9.0f));
}

/// Three rows of a plane that repeats its edge pixels outside.
template <class T>
struct Window {
    const T *above, *row, *below;
    int cols;

    Window(const cv::Mat& plane, int y)
        : above(plane.ptr<T>(std::max(y - 1, 0))), row(plane.ptr<T>(y)),
          below(plane.ptr<T>(std::min(y + 1, plane.rows - 1))), cols(plane.cols)
    {
    }

    /// Asks for what was not read for the `last` window, further up.
    PIXMILL_ASKS void ask(int x, int n, const Window& last) const
    {
        for (const T* line : {above, row, below})
            if (line > last.below)
                askFor(line + x, n);
    }

    int columnSum(int x) const { return above[x] + row[x] + below[x]; }
    int mean(int x) const
    {
        return meanOfNine(columnSum(std::max(x - 1, 0)) + columnSum(x) + columnSum(std::min(x + 1, cols - 1)));
    }
};

/// Means of windows from sums of columns: the first window has its left column at `sums`, the next ones `step` further.
template <class T>
inline void meansOfSums(const int* __restrict sums, int step, T* __restrict out, int count)
{
    for (int i = 0; i < count; ++i)
        out[i] = T(meanOfNine(sums[i * step] + sums[i * step + 1] + sums[i * step + 2]));
}

/// Means of the windows around `count` pixels, `scale` apart from `first`; all of them inside the row. `known` is the
/// scale where the compiler may know it, else 0. What the `next` row takes is asked for.
template <int known, class T>
inline void meanRow(const Window<T>& window, const Window<T>& next, int first, int scale, T* out, int count)
{
    constexpr int kPiece = 512;
    int sums[kPiece + 2];
    const int most = std::max(kPiece / scale, 1);
    for (int done = 0; done < count; done += most) {
        const int part = std::min(most, count - done), left = first + done * scale - 1, n = (part - 1) * scale + 3;
        const int begin = std::max(left, 0), end = std::min(left + n, window.cols);
        next.ask(begin, end - begin, window);
        for (int x = begin; x < end; ++x)
            sums[x - left] = window.columnSum(x);
        if (begin > left)
            sums[0] = sums[1];
        if (end < left + n)
            sums[n - 1] = sums[n - 2];
        meansOfSums(sums, known ? known : scale, out + done, part);
    }
}

/// The plane's 3 x 3 means, reduced: only the pixels that reducing by 1 or by an even factor picks are averaged.
/// As in downSizeNX, columns past the plane's image repeat its last one, and rows past it the plane's last row.
template <int known, class T>
void pickedMeans(const cv::Mat& plane, cv::Mat& out, int scale)
{
    const int first = (scale - 1) / 2, exact = std::min(plane.cols / scale, out.cols);
    const auto pick = [&](int i, int size) { return int(std::min<long long>((long long)i * scale + first, size - 1)); };
    forEachRow(out.size(), [&](int y) {
        const Window<T> window(plane, pick(y, plane.rows));
        T* o = out.ptr<T>(y);
        meanRow<known>(window, Window<T>(plane, pick(y + 1, plane.rows)), first, scale, o, exact);
        for (int x = exact; x < out.cols; ++x)
            o[x] = exact > 0 ? o[exact - 1] : T(window.mean(pick(x, plane.cols)));
    });
}

/// The 3 x 3 means of a float plane, in the primitives' order of sums.
void floatMeans(const cv::Mat& plane, cv::Mat& out)
{
    const IppiSize size = {plane.cols, plane.rows}, more = {plane.cols + 2, plane.rows + 2};
    cv::Mat padded(more.height, more.width, CV_32FC1);
    ensure(out, plane.size(), CV_32FC1);
    ippiCopyReplicateBorder_32f_C1R(plane.ptr<float>(), int(plane.step), size, padded.ptr<float>(), int(padded.step),
                                    more, 1, 1);
    ippiFilterBox_32f_C1R(padded.ptr<float>(1) + 1, int(padded.step), out.ptr<float>(), int(out.step), size, {3, 3},
                          {1, 1});
}

/// Reduces `plane` into a result of w by h; where nothing of the plane lies in the region the result is black.
void reduce(const cv::Mat& plane, int w, int h, int scale, cv::Mat& out)
{
    ensure(out, {w, h}, plane.type());
    if (plane.empty() && !out.empty())
        out.setTo(0);
    else
        downSizeNX(plane, out, scale, IPPI_INTER_CUBIC);
}

template <class T>
void smoothAndReduce(const cv::Mat& plane, int w, int h, int scale, cv::Mat& out, cv::Mat& scratch)
{
    const bool picks = scale == 1 || scale % 2 == 0; // the other factors interpolate
    const cv::Size size = picks && scale > 1 ? cv::Size(w, h) : plane.size();
    cv::Mat& means = picks ? out : scratch;
    ensure(means, size, plane.type());
    if (plane.empty() || means.empty()) {
        if (scale > 1)
            reduce(plane, w, h, scale, out);
        return;
    }
    if (scale == 2)
        pickedMeans<2, T>(plane, means, 2);
    else if (scale == 4)
        pickedMeans<4, T>(plane, means, 4);
    else if (picks && scale > 1)
        pickedMeans<0, T>(plane, means, scale);
    else
        pickedMeans<1, T>(plane, means, 1);
    if (!picks)
        reduce(means, w, h, scale, out);
}

/// A side of a region: where it begins and ends on a plane of so many pixels.
cv::Range side(int first, int count, int scale, int edge, const char* call, const char* argument)
{
    const cv::Range range(first, farEdge(first, count, scale, edge));
    PIXMILL_CHECK(first >= 0 && first <= range.end, call, argument,
                  std::to_string(first) + " and " + std::to_string(count) + " on",
                  "a region that begins within the plane's " + std::to_string(edge) + " pixels");
    return range;
}

/// The most pixels of a reduced region that is larger than its plane: 2^26.
constexpr long kMostPixels = 1L << 26;

} // namespace

cv::Mat pixmill::planar::regionOf(const cv::Mat& in, cv::Rect region, int scale, const char* call)
{
    PIXMILL_CHECK(scale >= 1, call, "scale", scale, "1 or more");
    checkPlane(in, call, "the plane");
    const cv::Range rows = side(region.y, region.height, scale, in.rows, call, "y and height");
    const cv::Range columns = side(region.x, region.width, scale, in.cols, call, "x and width");
    const long pixels = long(region.width) * region.height;
    PIXMILL_CHECK(scale == 1 || pixels <= std::max(kMostPixels, long(in.total())), call, "width and height",
                  describe(region.size()), "at most 2^26 pixels");
    return in(rows, columns);
}

void pixmill::planar::cropInto(const cv::Mat& in, cv::Rect region, int scale, bool smooth, cv::Mat& out,
                               cv::Mat& scratch, const char* call)
{
    const int w = region.width, h = region.height;
    const cv::Mat view = regionOf(in, region, scale, call);
    if (!smooth) {
        if (scale > 1) {
            reduce(view, w, h, scale, out);
        } else {
            ensure(out, view.size(), view.type());
            view.copyTo(out);
        }
        return;
    }
    switch (in.type()) {
    case CV_8UC1:
        return smoothAndReduce<uchar>(view, w, h, scale, out, scratch);
    case CV_16UC1:
        return smoothAndReduce<ushort>(view, w, h, scale, out, scratch);
    case CV_32FC1:
        floatMeans(view, scale == 1 ? out : scratch);
        if (scale > 1)
            reduce(scratch, w, h, scale, out);
        return;
    default:
        throw "ERROR TPImage::MatRoi - input type";
    }
}

cv::Mat TPImage::MatRoi(const cv::Mat& in, int x, int y, int w, int h, int scale, bool half, bool smooth)
{
    cv::Mat out, scratch;
    const cv::Rect region =
        half ? cv::Rect(x / 2, y / 2, halfSize(std::max(w, 0)), halfSize(std::max(h, 0))) : cv::Rect(x, y, w, h);
    cropInto(in, region, scale, smooth, out, scratch, "TPImage::MatRoi");
    return out;
}
