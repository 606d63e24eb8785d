#include <pixmill/filters/DomainTransform.h>

#include <pixmill/core/detail/plane.h>
#include <pixmill/core/detail/rows.h>
#include <pixmill/core/detail/scratch.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace pixmill::detail;

namespace {

constexpr int kStrip = 16; ///< Columns that are turned into lines at a time.

/// How the running sums begin: from nothing, or with the first pixel as it is (which keeps a negative zero).
enum Start { fromZero, fromFirstPixel };

/// Working memory of one line of n pixels: its coordinates with a sentinel behind them, and its running sums.
std::size_t lineScratch(int n, int channels)
{
    return std::size_t(n + 1) + std::size_t(n + 1) * channels;
}

/// The first of j, j + 1, ... n whose coordinate lies above `limit`; the sentinel at n ends every search.
inline int firstAbove(const float* coordinate, float limit, int j, int n)
{
    while (j < n && !(coordinate[j] > limit))
        ++j;
    return j;
}

/// Replaces every pixel of a line by the mean of those whose coordinate is above its own less `radius` and not above
/// its own plus `radius`. Sums run along the line in single precision.
inline void averageLine(float* line, const float* coordinates, float radius, int n, int channels, Start start,
                        float* scratch)
{
    float *coordinate = scratch, *sums = scratch + n + 1;
    std::copy_n(coordinates, n, coordinate);
    coordinate[n] = std::numeric_limits<float>::infinity();
    std::fill_n(sums, channels, 0.0f);
    for (int i = 0; i < n * channels; ++i)
        sums[i + channels] = start == fromFirstPixel && i < channels ? line[i] : sums[i] + line[i];

    int low = firstAbove(coordinate, coordinate[0] - radius, 0, n), high = 0;
    if (low == n)
        low = 0; // no sample lies above: the window begins with the line
    for (int x = 0; x < n; ++x) {
        if (x > 0)
            low = firstAbove(coordinate, coordinate[x] - radius, low, n);
        high = firstAbove(coordinate, coordinate[x] + radius, high, n);
        const float count = float(high - low);
        const float *upper = sums + std::ptrdiff_t(high) * channels, *lower = sums + std::ptrdiff_t(low) * channels;
        for (int k = 0; k < channels; ++k)
            line[x * channels + k] = (upper[k] - lower[k]) / count;
    }
}

void checkPass(const cv::Mat& img, const cv::Mat& ct)
{
    CV_Assert(img.dims <= 2 && img.depth() == CV_32F && ct.type() == CV_32FC1 && img.size() == ct.size());
}

/// One pass along the rows.
void averageRows(cv::Mat& img, const cv::Mat& ct, float radius, Start start)
{
    const int n = img.cols, channels = img.channels();
    TeamScratch<float> scratch(lineScratch(n, channels));
    forEachRow(img.size(), [&](int y) {
        averageLine(img.ptr<float>(y), ct.ptr<float>(y), radius, n, channels, start, scratch.mine());
    });
}

/// One pass along the columns, whose coordinates are the rows of `ct`. Columns are turned into lines a strip at a time,
/// so that the picture need not be transposed.
void averageColumns(cv::Mat& img, const cv::Mat& ct, float radius, Start start)
{
    const int n = img.rows, channels = img.channels(), strips = (img.cols + kStrip - 1) / kStrip;
    const std::size_t line = std::size_t(n) * channels;
    TeamScratch<float> lines(line * kStrip), scratch(lineScratch(n, channels));
    forEachIndex(strips, long(img.total()), [&](int strip) {
        float* const buffer = lines.mine();
        const int x0 = strip * kStrip, count = std::min(kStrip, img.cols - x0);
        for (int y = 0; y < n; ++y) {
            const float* row = img.ptr<float>(y) + std::ptrdiff_t(x0) * channels;
            for (int x = 0; x < count; ++x)
                for (int k = 0; k < channels; ++k)
                    buffer[x * line + std::ptrdiff_t(y) * channels + k] = row[x * channels + k];
        }
        for (int x = 0; x < count; ++x)
            averageLine(buffer + x * line, ct.ptr<float>(x0 + x), radius, n, channels, start, scratch.mine());
        for (int y = 0; y < n; ++y) {
            float* row = img.ptr<float>(y) + std::ptrdiff_t(x0) * channels;
            for (int x = 0; x < count; ++x)
                for (int k = 0; k < channels; ++k)
                    row[x * channels + k] = buffer[x * line + std::ptrdiff_t(y) * channels + k];
        }
    });
}

/// Domain coordinates along rows: running sums of the steps 1 + ratio * gradient, in place of the gradients.
void accumulateSteps(cv::Mat& gradients, float ratio)
{
    forEachRow(gradients.size(), [&](int y) {
        float* row = gradients.ptr<float>(y);
        float sum = 0;
        for (int x = 0; x < gradients.cols; ++x) {
            const float step = 1 + ratio * row[x];
            sum = x == 0 ? step : sum + step;
            row[x] = sum;
        }
    });
}

struct Coordinates {
    cv::Mat across; ///< H x W.
    cv::Mat down;   ///< W x H: a column's coordinates are a row.

    Coordinates(DomainTransform& filter, const cv::Mat& in, float sigmaS, float sigmaR)
    {
        const float ratio = sigmaS / sigmaR;
        cv::Mat gaps, sum;
        filter.diffx(in, gaps);
        filter.channelSum(gaps, across, 0);
        filter.diffy(in, gaps);
        filter.channelSum(gaps, sum, 0);
        cv::transpose(sum, down);
        accumulateSteps(across, ratio);
        accumulateSteps(down, ratio);
    }
};

/// Three times rows and columns; every radius comes from `sigmaS` itself.
void convolve(cv::Mat& img, const Coordinates& coordinates, float sigmaS, Start start)
{
    const double base = std::sqrt(3.0) / std::sqrt(63.0) * double(sigmaS);
    for (const int factor : {4, 2, 1}) {
        const float sigma = float(factor * base), radius = float(double(sigma) * std::sqrt(3.0));
        averageRows(img, coordinates.across, radius, start);
        averageColumns(img, coordinates.down, radius, start);
    }
}

} // namespace

int DomainTransform::NCcompute(cv::Mat& img, cv::Mat& ct, float radius)
{
    checkPass(img, ct);
    averageRows(img, ct, radius, fromZero);
    return 1;
}

int DomainTransform::ICcompute(cv::Mat& img, cv::Mat& ct, float radius)
{
    checkPass(img, ct);
    averageRows(img, ct, radius, fromFirstPixel);
    return 1;
}

int DomainTransform::NormalizedConvolutionFilter(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR)
{
    CV_Assert(in.dims <= 2 && in.depth() == CV_32F);
    const cv::Mat source = in;
    const Coordinates coordinates(*this, source, sigmaS, sigmaR);
    ensure(out, source.size(), source.type());
    source.copyTo(out);
    convolve(out, coordinates, sigmaS, fromZero);
    return 1;
}

int DomainTransform::InterpolatedConvolutionFilter(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR)
{
    CV_Assert(in.dims <= 2 && in.depth() == CV_32F);
    cv::Mat working = in; // the host's own pixels, which are meant to be used up
    const Coordinates coordinates(*this, working, sigmaS, sigmaR);
    ensure(out, working.size(), working.type());
    convolve(working, coordinates, sigmaS, fromFirstPixel);
    working.copyTo(out);
    return 1;
}
