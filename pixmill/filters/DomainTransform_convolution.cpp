#include <pixmill/filters/DomainTransform.h>

#include <pixmill/core/detail/plane.h>
#include <pixmill/core/detail/rows.h>
#include <pixmill/core/detail/scratch.h>
#include <pixmill/filters/detail/domain_coordinates.h>
#include <pixmill/filters/detail/domain_windows.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace pixmill::detail;

namespace {

constexpr int kStrip = 16; ///< Columns that are averaged at a time.

/// How the running sums begin: from nothing, or with the first pixel as it is (which keeps a negative zero).
enum Start { fromZero, fromFirstPixel };

/// Runs `pass` with the number of channels as a constant, 0 for more than four.
template <class Pass>
void withChannels(int channels, const Pass& pass)
{
    switch (channels) {
    case 1:
        return pass(std::integral_constant<int, 1>());
    case 2:
        return pass(std::integral_constant<int, 2>());
    case 3:
        return pass(std::integral_constant<int, 3>());
    case 4:
        return pass(std::integral_constant<int, 4>());
    default:
        return pass(std::integral_constant<int, 0>());
    }
}

/// Replaces a line by the means of its windows. The last of them go by way of `spare`, since three channels touch a
/// float more.
template <int C>
inline void averageLine(Windows windows, const float* sums, int channels, float* line, float* spare)
{
    int x = 0;
    for (; x + kWindows < windows.n; x += kWindows) {
        windows.find(x, kWindows);
        windowMeans<C>(windows, sums, channels, kWindows, line + std::ptrdiff_t(x) * channels, channels);
    }
    windows.find(x, windows.n - x);
    windowMeans<C>(windows, sums, channels, windows.n - x, spare, channels);
    std::copy_n(spare, (windows.n - x) * channels, line + std::ptrdiff_t(x) * channels);
}

/// One pass along the rows of `in`, which may be `out`; `lineOf(y, scratch)` gives a row's coordinates.
template <class LineOf>
void averageRows(const cv::Mat& in, cv::Mat& out, float radius, Start start, const LineOf& lineOf)
{
    const int n = in.cols, channels = in.channels();
    const std::size_t sumsSize = std::size_t(n + 1) * channels + 1, spareSize = kWindows * channels + 1;
    TeamScratch<float> scratch(sumsSize + spareSize + n + kCoordinatesPad);
    withChannels(channels, [&](auto c) {
        constexpr int C = decltype(c)::value;
        forEachRow(in.size(), [&](int y) {
            float *sums = scratch.mine(), *spare = sums + sumsSize;
            const float* coordinate = lineOf(y, spare + spareSize);
            sumLine<C>(in.ptr<float>(y), n, channels, start == fromFirstPixel, sums);
            averageLine<C>({coordinate, n, radius, plainLine(coordinate, n, radius)}, sums, channels, out.ptr<float>(y),
                           spare);
        });
    });
}

/// A row of a strip; whole strips are copied by a known length.
template <int C>
inline void copyStrip(const float* __restrict from, int columns, int channels, float* __restrict to)
{
    if (C > 0 && columns == kStrip)
        std::copy_n(from, kStrip * C, to);
    else
        std::copy_n(from, columns * channels, to);
}

/// The running sums of up to sixteen columns, `line` floats from one column to the next.
template <int C>
inline void sumColumns(const cv::Mat& img, int left, int columns, Start start, float* sums, std::ptrdiff_t line,
                       float* spare)
{
    constexpr int kAhead = 8; // rows
    const int channels = C > 0 ? C : img.channels();
    for (int x = 0; x < columns; ++x)
        std::fill_n(sums + x * line, channels, 0.0f);
    for (int y = 0; y < img.rows; ++y) {
        const float* ahead = img.ptr<float>(std::min(y + kAhead, img.rows - 1)) + std::ptrdiff_t(left) * channels;
        for (int i = 0; i < columns * channels; i += 16)
            __builtin_prefetch(ahead + i);
        copyStrip<C>(img.ptr<float>(y) + std::ptrdiff_t(left) * channels, columns, channels, spare);
        float* sum = sums + std::ptrdiff_t(y) * channels;
        for (int x = 0; x < columns; ++x, sum += line)
            addPixel<C>(sum, spare + x * channels, channels, sum + channels);
        for (int x = 0; x < columns && y == 0 && start == fromFirstPixel; ++x)
            std::copy_n(spare + x * channels, channels, sums + x * line + channels);
    }
}

/// One pass along the columns, a strip at a time, so that the picture need not be transposed.
void averageColumns(cv::Mat& img, const DomainCoordinates& coordinates, float radius, Start start)
{
    const int n = img.rows, channels = img.channels(), strips = (img.cols + kStrip - 1) / kStrip;
    const std::ptrdiff_t line = (std::ptrdiff_t(n + 1) * channels + 63) / 64 * 64 + 16;
    const std::ptrdiff_t pitch = kStrip * channels + 16;
    TeamScratch<float> scratch(line * kStrip + pitch * kWindows);
    withChannels(channels, [&](auto c) {
        constexpr int C = decltype(c)::value;
        forEachIndex(strips, long(img.total()), [&](int strip) {
            float *sums = scratch.mine(), *tile = sums + line * kStrip;
            const int left = strip * kStrip, columns = std::min(kStrip, img.cols - left);
            sumColumns<C>(img, left, columns, start, sums, line, tile);
            Windows windows[kStrip];
            for (int x = 0; x < columns; ++x) {
                const float* coordinate = coordinates.down(left + x);
                windows[x] = {coordinate, n, radius, plainLine(coordinate, n, radius)};
            }
            for (int y = 0; y < n; y += kWindows) {
                const int count = std::min(kWindows, n - y);
                for (int x = 0; x < columns; ++x) {
                    windows[x].find(y, count);
                    windowMeans<C>(windows[x], sums + x * line, channels, count, tile + x * channels, pitch);
                }
                for (int i = 0; i < count; ++i)
                    copyStrip<C>(tile + i * pitch, columns, channels,
                                 img.ptr<float>(y + i) + std::ptrdiff_t(left) * channels);
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
        averageRows(factor == 4 ? in : out, out, radius, start, [&](int y, float*) { return coordinates.across(y); });
        averageColumns(out, coordinates, radius, start);
    }
}

/// One pass along the rows with coordinates that stand in a plane.
int averageRows(cv::Mat& img, const cv::Mat& ct, float radius, Start start)
{
    CV_Assert(img.dims <= 2 && img.depth() == CV_32F && ct.type() == CV_32FC1 && img.size() == ct.size());
    if (!img.empty())
        averageRows(img, img, radius, start, [&](int y, float* coordinate) -> const float* {
            std::copy_n(ct.ptr<float>(y), ct.cols, coordinate);
            std::fill_n(coordinate + ct.cols, kCoordinatesPad, std::numeric_limits<float>::infinity());
            return coordinate;
        });
    return 1;
}

} // namespace

int DomainTransform::NCcompute(cv::Mat& img, cv::Mat& ct, float radius)
{
    return averageRows(img, ct, radius, fromZero);
}

int DomainTransform::ICcompute(cv::Mat& img, cv::Mat& ct, float radius)
{
    return averageRows(img, ct, radius, fromFirstPixel);
}

int DomainTransform::NormalizedConvolutionFilter(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR)
{
    CV_Assert(in.dims <= 2 && in.depth() == CV_32F);
    const cv::Mat source = in.data != out.data && overlap(in, out) ? in.clone() : in;
    ensure(out, source.size(), source.type());
    convolve(source, out, sigmaS, sigmaR, fromZero);
    return 1;
}

int DomainTransform::InterpolatedConvolutionFilter(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR)
{
    CV_Assert(in.dims <= 2 && in.depth() == CV_32F);
    cv::Mat working = in; // the host's own pixels, which are meant to be used up
    convolve(working, working, sigmaS, sigmaR, fromFirstPixel);
    ensure(out, working.size(), working.type());
    working.copyTo(out);
    return 1;
}
