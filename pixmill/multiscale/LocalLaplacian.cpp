#include <pixmill/multiscale/LocalLaplacian.h>

#include <pixmill/multiscale/detail/remapped_pyramid.h>
#include <pixmill/primitives/convert.h>
#include <pixmill/primitives/copy.h>
#include <pixmill/primitives/lookup.h>
#include <pixmill/primitives/memory.h>
#include <pixmill/resample/planes.h>
#include <pixmill/rows/logarithm.h>
#include <pixmill/rows/memory.h>
#include <pixmill/rows/recursive_gaussian.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>

using namespace pixmill::rows;
using namespace pixmill::resample;
using namespace pixmill::multiscale;

namespace {

constexpr int kEntries = 65536;
constexpr int kLargestShort = 32767 / 8; ///< Differences whose enlarging sums have 16 bits.
constexpr int kLeastBand = 256; ///< Rows of a band; its neighbours' rows that it computes again stay few beside them.

/// Of pixel values from a reference on, what the remapping adds for that reference and for the next one.
template <int K, class Sum>
AlignedArray<Two<Sum>> differencesBetween(const ushort* remap, int step)
{
    AlignedArray<Two<Sum>> between(kEntries - (K - 2) * step);
    for (int from = 0; from < int(between.size()); ++from) {
        const Sum pair[2] = {Sum(difference(remap, from)), Sum(difference(remap, from - step))};
        between[from] = twoAt(pair);
    }
    return between;
}

/// How often a plane can be halved until it is one pixel.
int halvings(cv::Size size)
{
    int count = 0;
    for (; size.width > 1 || size.height > 1; size = halfSize(size))
        ++count;
    return count;
}

/// What further levels of one pixel do to the last two, which have one pixel too. A level's pixel is its detail and the
/// next one's, less the bias, and all levels of one pixel have the same detail: the bias, or a little less, as
/// interpolation truncates.
void addLevels(int count, std::vector<cv::Mat>& coefficients)
{
    const ushort detail = coefficients[coefficients.size() - 2].at<ushort>(0, 0);
    ushort& top = coefficients.back().at<ushort>(0, 0);
    top = ushort(limit(top - (32767L - detail) * count, 0L, 65535L));
}

/// Adds the enlarged next level to a level's coefficients, less the bias, in place.
void collapse(const cv::Mat& above, cv::Mat& level)
{
    TeamScratch<int> sums(pyramidScratch(above.cols, 1));
    TeamScratch<ushort> enlarged(level.cols + 2);
    forEachRow(level.size(), [&](int y) {
        const auto rows = expandedRows<ushort>(above, y);
        ushort *up = enlarged.mine(), *row = level.ptr<ushort>(y);
        pyrUpRow<1>(rows.data(), y % 2 != 0, above.cols, up, level.cols, sums.mine());
        for (int x = 0; x < level.cols; ++x)
            row[x] = clamp16(row[x] + up[x] - 32767);
    });
}

constexpr int kTableBytes = kEntries * int(sizeof(ushort));

/// A sawtooth around 32768 of half-width |d|, that leans against the difference for d >= 0.
void drawSawtooth(ushort* table, int d)
{
    const int D = std::abs(d), half = D / 2, peak = d >= 0 ? half : -half;
    int levels[7] = {0, 32768 - D, 32768 - half, 32768, 32768 + half, 32768 + D, 65535};
    const int values[7] = {32768, 32768, 32768 + peak, 32768, 32768 - peak, 32768, 32768};
    for (int& level : levels)
        level = limit(level, 0, 65535);
    ippiImageRamp_16u_C1R(table, kTableBytes, {kEntries, 1}, 0, 1, ippAxsHorizontal);
    ippiLUT_Linear_16u_C1IR(table, kTableBytes, {kEntries, 1}, values, levels, 7);
}

void smoothTable(ushort* table, float sigma)
{
    const auto gauss = RecursiveGaussian::make<double>(sigma, 2);
    AlignedArray<float> line(kEntries);
    ippiConvert_16u32f_C1R(table, kTableBytes, line.data(), 2 * kTableBytes, {kEntries, 1});
    for (int step = 0; step < 2; ++step)
        sweepLine(line.data(), 1, kEntries, gauss.nu, gauss.boundary);
    for (float& v : line)
        v *= gauss.post;
    ippiConvert_32f16u_C1R(line.data(), 2 * kTableBytes, table, kTableBytes, {kEntries, 1}, ippRndNear);
}

/// Room for the coefficients of `count` levels; the finest ones stand in `out` unless that overlaps the picture.
std::vector<cv::Mat> roomForCoefficients(const cv::Mat& picture, const cv::Mat& out, int count)
{
    std::vector<cv::Mat> levels(count);
    levels[0] = overlap(picture, out) ? cv::Mat(out.size(), CV_16UC1) : out;
    for (int l = 1; l < count; ++l)
        levels[l].create(halfSize(levels[l - 1].size()), CV_16UC1);
    return levels;
}

template <int K, class Sum>
void computeCoefficients(const cv::Mat& picture, const ushort* remap, const RemapDifferences<K>& differences, int step,
                         float invStep, std::vector<cv::Mat>& coefficients)
{
    const AlignedArray<Two<Sum>> between = differencesBetween<K, Sum>(remap, step);
    const int height = picture.rows, bands = limit(height / kLeastBand, 1, teamSize());
    forEachIndex(bands, long(picture.total()) * K, [&](int band) {
        const int first = int(long(height) * band / bands), end = int(long(height) * (band + 1) / bands);
        RemappedBand<K, Sum>(picture, differences, between, invStep, coefficients).run(first, end);
    });
}

} // namespace

LocalLaplacian::LocalLaplacian()
{
    int step = 0;
    m_remap_p = ippiMalloc_16u_C1(kEntries, 1, &step);
    if (!m_remap_p)
        throw "ERROR - LocalLaplacian::LocalLaplacian - !m_remap_p";
    std::fill_n(m_remap_p, kEntries, ushort(32768));
}

LocalLaplacian::~LocalLaplacian()
{
    ippiFree(m_remap_p);
}

int LocalLaplacian::levelJ(int width, int height, float scale)
{
    const float t = logarithm(float(std::min(width, height)) * scale) / logarithm(2.0f);
    const double n = double(t) + 0.5;
    return (n >= 1 && n < INT_MAX ? int(n) : 1) + 1;
}

int LocalLaplacian::clamp(int value, int low, int high)
{
    return value < low ? low : value > high ? high : value;
}

void LocalLaplacian::calRemapLut()
{
    PIXMILL_CHECK(m_remap_p, "LocalLaplacian::calRemapLut", "m_remap_p", describe(m_remap_p), "the table");
    const int d = int(limit(32768.0f * m_sigma, -1e9f, 1e9f));
    drawSawtooth(m_remap_p, d);
    const float sigma = float(std::abs(d)) * m_lutSmooth;
    if (sigma > 1.0f)
        smoothTable(m_remap_p, sigma);
}

template <int K>
void LocalLaplacian::filter(const char* call, const cv::Mat& in, cv::Mat& out, int step, float invStep)
{
    PIXMILL_CHECK(in.type() == CV_16UC1, call, "in", describe(in), "CV_16UC1");
    checkPixels(in, call, "in");
    const cv::Mat picture = in; // keeps the pixels should `out` be created anew over them
    ensure(out, in.size(), CV_16UC1);
    calRemapLut();

    const int levels = std::max(m_numLevels, 1), count = std::min(levels, halvings(in.size()) + 2);
    std::vector<cv::Mat> coefficients = roomForCoefficients(picture, out, count);
    const RemapDifferences<K> differences(m_remap_p, step);
    if (differences.largest() <= kLargestShort)
        computeCoefficients<K, short>(picture, m_remap_p, differences, step, invStep, coefficients);
    else
        computeCoefficients<K, int>(picture, m_remap_p, differences, step, invStep, coefficients);

    if (levels > count)
        addLevels(levels - count, coefficients);
    for (int l = count - 2; l >= 0; --l)
        collapse(coefficients[l + 1], coefficients[l]);
    if (coefficients[0].data != out.data)
        coefficients[0].copyTo(out);
}

void LocalLaplacian::proc24K(const cv::Mat& in, cv::Mat& out, float sigma, float lutSmooth, int numLevels)
{
    m_sigma = sigma;
    m_lutSmooth = lutSmooth;
    m_numLevels = numLevels;
    filter<24>("LocalLaplacian::proc24K", in, out, 2730, 0.000366300374f);
}

void LocalLaplacian::proc16K(const cv::Mat& in, cv::Mat& out, float sigma, float lutSmooth, int numLevels)
{
    m_sigma = sigma;
    m_lutSmooth = lutSmooth;
    m_numLevels = numLevels;
    filter<16>("LocalLaplacian::proc16K", in, out, 4095, 0.000244200259f);
}

void LocalLaplacian::proc10K(const cv::Mat& in, cv::Mat& out, float sigma, float lutSmooth, int numLevels)
{
    m_sigma = sigma;
    m_lutSmooth = lutSmooth;
    m_numLevels = numLevels;
    filter<10>("LocalLaplacian::proc10K", in, out, 6553, 0.00015260186f);
}
