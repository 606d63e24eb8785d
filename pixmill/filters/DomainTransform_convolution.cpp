#include <pixmill/filters/DomainTransform.h>

#include <pixmill/filters/detail/domain_coordinates.h>
#include <pixmill/filters/detail/domain_planes.h>
#include <pixmill/filters/detail/domain_windows.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>

using namespace pixmill::rows;
using namespace pixmill::filters;

namespace {

constexpr int kStrip = 32; ///< Columns that are averaged at a time.
constexpr int kAhead = 16; ///< Rows that are fetched before they are summed.

/// How the running sums begin: from nothing, or with the first pixel as it is (which keeps a negative zero).
enum Start { fromZero, fromFirstPixel };

/// Runs `pass` with the number of channels as a constant where it is a common one, else with 0.
template <class Pass>
void withChannels(int channels, const Pass& pass)
{
    if (channels == 1)
        pass(std::integral_constant<int, 1>());
    else if (channels == 3)
        pass(std::integral_constant<int, 3>());
    else
        pass(std::integral_constant<int, 0>());
}

/// The means of sixteen windows of a line. The `count` that end it go by way of `spare`, since three channels touch a
/// float more.
template <int C>
inline void lineMeans(const WindowEnds& ends, const float* sums, bool wide, int channels, int count, float* place,
                      float* spare)
{
    const int step = C > 0 ? C : channels;
    if (wide && count == kWindows) {
        lineMeans512(ends, sums, place);
        return;
    }
    float* const to = spare ? spare : place;
    windowMeans<C>(ends, sums, wide ? 1 : step, channels, count, to, step);
    if (spare)
        std::copy_n(spare, count * step, place);
}

/// Replaces a line by the means of its windows.
template <int C>
inline void averageLine(Windows& windows, const float* sums, int channels, float* line, float* spare)
{
    constexpr int kTogether = 8; // by then what was written can be read
    const std::ptrdiff_t step = C > 0 ? C : channels;
    const int n = windows.n;
    const bool wide = takesMeans512<C>((n + 1) * step);
    const auto countAt = [n](int x) { return std::min(kWindows, n - x); };
    WindowEnds ends[kTogether];
    for (int x = 0; x < n;) {
        int found = 0;
        for (int at = x; found < kTogether && at < n; ++found, at += kWindows)
            windows.find(at, countAt(at), {~0u, wide ? C : 1}, ends[found]);
        for (int k = 0; k < found; ++k, x += kWindows)
            lineMeans<C>(ends[k], sums, wide, channels, countAt(x), line + x * step,
                         x + kWindows < n ? nullptr : spare);
    }
}

/// Where the rows' coordinates come from: lines that stand ready, or a plane whose rows are copied to gain their end.
struct RowCoordinates {
    const DomainCoordinates* ready;
    cv::Mat plane;

    bool apart() const { return ready && ready->apart(); }
    const float* line(int y, float* scratch) const
    {
        if (ready)
            return ready->across(y);
        float* const line = scratch + kPadBefore;
        std::copy_n(plane.ptr<float>(y), plane.cols, line);
        padLine(line, plane.cols);
        return line;
    }
};

/// One pass along the rows of `in`, which may be `out`.
void averageRows(const cv::Mat& in, cv::Mat& out, float radius, Start start, const RowCoordinates& coordinates)
{
    constexpr int kLines = 4; // side by side
    const int n = in.cols, height = in.rows, channels = in.channels();
    const std::ptrdiff_t sumsSize = (std::ptrdiff_t(n + 1) * channels + 31) / 16 * 16,
                         spareSize = kWindows * channels + 1;
    TeamScratch<float> scratch(sumsSize * kLines + spareSize + kPadBefore + n + kPadBehind);
    withChannels(channels, [&](auto c) {
        constexpr int C = decltype(c)::value;
        forEachIndex((height + kLines - 1) / kLines, long(in.total()), [&](int group) {
            float *sums = scratch.mine(), *spare = sums + sumsSize * kLines;
            const int first = group * kLines;
            const float* lines[kLines];
            for (int r = 0; r < kLines; ++r) // the last group may sum its last row again
                lines[r] = in.ptr<float>(std::min(first + r, height - 1));
            sumLines<C, kLines>(lines, n, channels, start == fromFirstPixel, sums, sumsSize);
            for (int r = 0; r < std::min(kLines, height - first); ++r) {
                Windows windows;
                windows.begin(coordinates.line(first + r, spare + spareSize), n, radius, coordinates.apart());
                averageLine<C>(windows, sums + r * sumsSize, channels, out.ptr<float>(first + r), spare);
            }
        });
    });
}

/// Running sums down the columns of a strip, row by row; only the last rows are kept, `mask` + 1 of them.
struct ColumnSums {
    float* rows;
    std::ptrdiff_t pitch;
    unsigned mask;
    int done = 0; ///< row i holds the sums of the picture's rows above i

    float* row(int y) const { return rows + std::ptrdiff_t(unsigned(y) & mask) * pitch; }

    /// Goes on to row `end`, reading samples left..left+n-1 of the picture's rows.
    inline void advance(const cv::Mat& img, int left, int n, int end, Start start)
    {
        for (; done < end; ++done) {
            const float* __restrict in = img.ptr<float>(done) + left;
            const float* ahead = img.ptr<float>(std::min(done + kAhead, img.rows - 1)) + left;
            for (int i = 0; i < n; i += 16)
                __builtin_prefetch(ahead + i, 1, 2);
            const float* __restrict sum = row(done);
            float* __restrict next = row(done + 1);
            for (int i = 0; i < n; ++i)
                next[i] = sum[i] + in[i];
            if (done == 0 && start == fromFirstPixel)
                std::copy_n(in, n, next);
        }
    }
};

/// How many rows of sums the windows of sixteen rows reach over: with coordinates at least 7/8 apart, a power of two.
int sumRows(bool apart, float radius, int n)
{
    const double reach = 2 * std::ceil(double(radius) / 0.875) + 2 * kWindows + 8;
    int rows = 64;
    while (rows < reach && rows <= n)
        rows *= 2;
    return apart && radius >= 0.0f && rows <= n ? rows : n + 1;
}

/// A strip of columns with the windows of sixteen of its rows.
template <int C>
struct WindowStrip {
    int columns, channels;
    ColumnSums sums;
    bool wide;
    float* tile; ///< sixteen rows
    Windows windows[kStrip] = {};
    WindowEnds ends[kStrip] = {};

    /// The windows of rows y..y+count-1. Returns how many of the picture's rows their sums ask for.
    inline int find(int y, int count)
    {
        const SumPlaces places = {sums.mask, wide ? int(sums.pitch) : 1};
        int reach = y + count;
        for (int x = 0; x < columns; ++x) {
            windows[x].find(y, count, places, ends[x]);
            reach = std::max({reach, windows[x].low, windows[x].high}); // a negative radius swaps the ends
        }
        return reach;
    }

    /// Their means, from column `left` of the picture on.
    inline void store(cv::Mat& img, int left, int y, int count)
    {
        int done = 0;
        if (C == 3 && wide && count == kWindows)
            for (; done + kWindows <= columns; done += kWindows)
                for (int i = 0; i < kWindows; ++i)
                    columnMeans512(ends + done, i, sums.rows + done * C, img.ptr<float>(y + i) + (left + done) * C);
        for (int x = done; x < columns; ++x)
            windowMeans<C>(ends[x], sums.rows + x * channels, wide ? 1 : sums.pitch, channels, count,
                           tile + x * channels, sums.pitch);
        for (int i = 0; i < count && done < columns; ++i)
            std::copy_n(tile + i * sums.pitch + done * channels, (columns - done) * channels,
                        img.ptr<float>(y + i) + (left + done) * channels);
    }
};

/// One pass along the columns, a strip at a time, so that the picture need not be transposed.
void averageColumns(cv::Mat& img, const DomainCoordinates& coordinates, float radius, Start start)
{
    const int n = img.rows, channels = img.channels(), strips = (img.cols + kStrip - 1) / kStrip;
    const int kept = sumRows(coordinates.apart(), radius, n);
    const unsigned mask = kept == n + 1 ? ~0u : unsigned(kept - 1);
    const std::ptrdiff_t pitch = kStrip * channels + 16;
    TeamScratch<float> scratch(pitch * (kept + kWindows));
    withChannels(channels, [&](auto c) {
        constexpr int C = decltype(c)::value;
        forEachIndex(strips, long(img.total()), [&](int index) {
            const int left = index * kStrip, columns = std::min(kStrip, img.cols - left);
            float* tile = scratch.mine();
            WindowStrip<C> strip{
                columns, channels, {tile + pitch * kWindows, pitch, mask}, takesMeans512<C>(pitch * kept), tile};
            std::fill_n(strip.sums.row(0), columns * channels, 0.0f);
            for (int x = 0; x < columns; ++x)
                strip.windows[x].begin(coordinates.down(left + x), n, radius, coordinates.apart());
            for (int y = 0; y < n; y += kWindows) {
                const int count = std::min(kWindows, n - y), reach = strip.find(y, count);
                strip.sums.advance(img, left * channels, columns * channels, reach, start);
                strip.store(img, left, y, count);
            }
        });
    });
}

/// Three times rows and columns, from `in` to `out`, which may be the same; every radius comes from `sigmaS` itself.
void convolve(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR, Start start)
{
    if (in.empty())
        return;
    const DomainCoordinates coordinates(in, sigmaS / sigmaR);
    const double base = std::sqrt(3.0) / std::sqrt(63.0) * double(sigmaS);
    for (const int factor : {4, 2, 1}) {
        const float sigma = float(factor * base), radius = float(double(sigma) * std::sqrt(3.0));
        averageRows(factor == 4 ? in : out, out, radius, start, {&coordinates, {}});
        averageColumns(out, coordinates, radius, start);
    }
}

/// One pass along the rows with coordinates that stand in a plane.
int averageRows(const char* call, cv::Mat& img, const cv::Mat& ct, float radius, Start start)
{
    checkPlane(img, call, "img");
    PIXMILL_CHECK(img.depth() == CV_32F, call, "img", describe(img), "floats in rows and columns");
    PIXMILL_CHECK(ct.dims <= 2 && ct.type() == CV_32FC1 && img.size() == ct.size(), call, "ct", describe(ct),
                  "CV_32FC1 of the size of img");
    if (!img.empty())
        averageRows(img, img, radius, start, {nullptr, ct});
    return 1;
}

} // namespace

int DomainTransform::NCcompute(cv::Mat& img, cv::Mat& ct, float radius)
{
    return averageRows("DomainTransform::NCcompute", img, ct, radius, fromZero);
}

int DomainTransform::ICcompute(cv::Mat& img, cv::Mat& ct, float radius)
{
    return averageRows("DomainTransform::ICcompute", img, ct, radius, fromFirstPixel);
}

int DomainTransform::NormalizedConvolutionFilter(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR)
{
    checkFloats(in, "DomainTransform::NormalizedConvolutionFilter");
    const cv::Mat source = unsharedOrSame(in, out);
    ensure(out, source.size(), source.type());
    convolve(source, out, sigmaS, sigmaR, fromZero);
    return 1;
}

int DomainTransform::InterpolatedConvolutionFilter(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR)
{
    checkFloats(in, "DomainTransform::InterpolatedConvolutionFilter");
    cv::Mat working = in; // the host's own pixels, which are meant to be used up
    convolve(working, working, sigmaS, sigmaR, fromFirstPixel);
    ensure(out, working.size(), working.type());
    unsharedOrSame(working, out).copyTo(out);
    return 1;
}
