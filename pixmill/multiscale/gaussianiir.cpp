#include <pixmill/multiscale/gaussianiir.h>

#include <pixmill/multiscale/detail/gaussian_lanes.h>
#include <pixmill/primitives/convert.h>
#include <pixmill/rows/lanes.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/recursive_gaussian.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <algorithm>
#include <vector>

using namespace pixmill::rows;
using namespace pixmill::multiscale;

namespace {

constexpr int kFewRows = 5;      ///< Fewer than this are swept one by one, in place: long lines need no lanes' memory.
constexpr int kColumnLanes = 64; ///< Columns that are swept side by side.
constexpr int kFewColumns = 4;   ///< Fewer than this are swept one by one.

void widen(const uchar* from, float* to, int n)
{
    ippiConvert_8u32f_C1R(from, n, to, n, {n, 1});
}

void widen(const ushort* from, float* to, int n)
{
    ippiConvert_16u32f_C1R(from, n, to, n, {n, 1});
}

void narrow(const float* from, uchar* to, int n)
{
    ippiConvert_32f8u_C1R(from, n, to, n, {n, 1}, ippRndNear);
}

void narrow(const float* from, ushort* to, int n)
{
    ippiConvert_32f16u_C1R(from, n, to, n, {n, 1}, ippRndNear);
}

void checkSteps(const char* call, int numsteps)
{
    PIXMILL_CHECK(numsteps <= kMostSweeps, call, "numsteps", numsteps, "65536 or less");
}

template <class T>
void blurThroughFloats(T* data, long length, float sigma, int numsteps)
{
    if (!data || length < 1)
        return;
    checkSteps("gaussianiir1d", numsteps);
    constexpr long kPiece = 1 << 20;
    std::vector<float> line(length);
    for (long i = 0; i < length; i += kPiece)
        widen(data + i, &line[i], int(std::min(kPiece, length - i)));
    gaussianiir1d(line.data(), length, sigma, numsteps);
    for (long i = 0; i < length; i += kPiece)
        narrow(&line[i], data + i, int(std::min(kPiece, length - i)));
}

/// The same coefficients for every lane.
template <int L>
struct LaneGains {
    explicit LaneGains(const RecursiveGaussian& gauss)
    {
        std::fill_n(nu, L, gauss.nu);
        std::fill_n(boundary, L, gauss.boundary);
    }
    float nu[L], boundary[L];
};

/// Sweeps every row of a plane, `steps` times; rows in groups that become lanes.
void sweepRows(float* plane, std::ptrdiff_t stride, int width, int height, const RecursiveGaussian& gauss, int steps)
{
    const int groups = (height + kRowLanes - 1) / kRowLanes;
    TeamScratch<float> scratch(height < kFewRows ? 0 : std::size_t(width) * kRowLanes);
    const LaneGains<kRowLanes> lanes(gauss);
    forEachIndex(groups, long(width) * height, [&](int group) {
        float* rows = plane + stride * group * kRowLanes;
        const int count = std::min(kRowLanes, height - group * kRowLanes);
        if (count < kFewRows) {
            for (int y = 0; y < count; ++y)
                for (int i = 0; i < steps; ++i)
                    sweepLine(rows + y * stride, 1, width, gauss.nu, gauss.boundary);
            return;
        }
        float* tile = scratch.mine();
        if (count == kRowLanes && steps > 0)
            return takesEight() ? RowSweeps<8>(rows, stride, width, tile, gauss).run(steps)
                                : RowSweeps<4>(rows, stride, width, tile, gauss).run(steps);
        const auto row = [=](int l) { return rows + l * stride; };
        rowsToLanes<kRowLanes>(row, count, width, tile);
        for (int i = 0; i < steps; ++i)
            sweepLines<kRowLanes>(tile, kRowLanes, width, lanes.nu, lanes.boundary);
        lanesToRows<kRowLanes>(tile, count, width, row);
    });
}

/// Every column of a plane, `steps` times, and the final scaling; strips of columns go through a buffer of their own,
/// so that no row step can map a strip onto a few cache lines.
template <int L, int W>
void sweepColumns(cv::Mat& plane, const RecursiveGaussian& gauss, int steps)
{
    const int strips = (plane.cols + L - 1) / L;
    TeamScratch<float> scratch(std::size_t(plane.rows) * L);
    forEachIndex(strips, long(plane.total()), [&](int strip) {
        float* buffer = scratch.mine();
        const int x = strip * L, count = std::min(L, plane.cols - x);
        if (count == L && steps > 0 && plane.rows > 1)
            return sweepStrip<L, W>(plane, x, buffer, gauss, steps);
        std::fill_n(buffer, count < L ? std::size_t(plane.rows) * L : 0, 0.0f);
        for (int y = 0; y < plane.rows; ++y)
            std::copy_n(plane.ptr<float>(y) + x, count, buffer + std::ptrdiff_t(y) * L);
        const auto inBuffer = [buffer](int y) { return buffer + std::ptrdiff_t(y) * L; };
        for (int i = 0; i < steps; ++i)
            sweepColumnsFused<L, W>(buffer, plane.rows, gauss, inBuffer, inBuffer, 1.0f);
        for (int y = 0; y < plane.rows; ++y) {
            float* out = plane.ptr<float>(y) + x;
            const float* in = buffer + std::ptrdiff_t(y) * L;
            for (int l = 0; l < count; ++l)
                out[l] = in[l] * gauss.post;
        }
    });
}

template <int W>
void sweepColumns(cv::Mat& plane, const RecursiveGaussian& gauss, int steps)
{
    if (plane.cols < kFewColumns)
        sweepColumns<1, W>(plane, gauss, steps);
    else if (plane.rows <= 6000) // a strip of columns is to stay in the second-level cache
        sweepColumns<kColumnLanes, W>(plane, gauss, steps);
    else
        sweepColumns<kColumnLanes / 4, W>(plane, gauss, steps);
}

/// `count` neighbouring lines whose samples lie `stride` apart, `steps` times.
void sweepNeighbours(float* data, std::ptrdiff_t stride, long length, long count, const RecursiveGaussian& gauss,
                     int steps)
{
    const LaneGains<kColumnLanes> lanes(gauss);
    const long groups = (count + kColumnLanes - 1) / kColumnLanes;
    forEachIndex(int(groups), length * count, [&](int group) {
        const long first = long(group) * kColumnLanes, end = std::min(count, first + kColumnLanes);
        for (int i = 0; i < steps; ++i)
            if (end - first == kColumnLanes)
                sweepLines<kColumnLanes>(data + first, stride, length, lanes.nu, lanes.boundary);
            else
                for (long k = first; k < end; ++k)
                    sweepLine(data + k, stride, length, gauss.nu, gauss.boundary);
    });
}

} // namespace

void gaussianiir1d(float* data, long length, float sigma, int numsteps)
{
    if (!data || length < 1 || sigma <= 0 || numsteps < 0)
        return;
    checkSteps("gaussianiir1d", numsteps);
    const auto gauss = RecursiveGaussian::make<double>(sigma, numsteps);
    for (int i = 0; i < numsteps; ++i)
        sweepLine(data, 1, length, gauss.nu, gauss.boundary);
    for (long i = 0; i < length; ++i)
        data[i] *= gauss.post;
}

void gaussianiir1d(unsigned short* data, long length, float sigma, int numsteps)
{
    blurThroughFloats(data, length, sigma, numsteps);
}

void gaussianiir1d(unsigned char* data, long length, float sigma, int numsteps)
{
    blurThroughFloats(data, length, sigma, numsteps);
}

void gaussianiir2d(cv::Mat& inOut, float sigma, int numsteps)
{
    if (inOut.type() != CV_32FC1)
        throw "ERROR - gaussianiir2d - inOut.type()!=CV_32FC1";
    if (sigma <= 0 || numsteps < 0)
        throw "ERROR - gaussianiir2d - sigma <= 0 || numsteps < 0";
    checkPlane(inOut, "gaussianiir2d", "inOut");
    checkSteps("gaussianiir2d", numsteps);
    if (inOut.empty())
        return;

    const auto gauss = RecursiveGaussian::make<float>(sigma, numsteps, 2);
    sweepRows(inOut.ptr<float>(), std::ptrdiff_t(inOut.step1()), inOut.cols, inOut.rows, gauss, numsteps);
    if (takesEight())
        sweepColumns<8>(inOut, gauss, numsteps);
    else
        sweepColumns<4>(inOut, gauss, numsteps);
}

void gaussianiir3d(float* volume, long width, long height, long depth, float sigma, int numsteps)
{
    if (sigma <= 0 || numsteps < 0 || width < 1 || height < 1 || depth < 1)
        return;
    constexpr const char* kCall = "gaussianiir3d";
    constexpr long kMostSide = INT_MAX - 64, kMostSamples = 1L << 60;
    PIXMILL_CHECK(volume, kCall, "volume", describe(volume), "samples");
    PIXMILL_CHECK(width <= kMostSide, kCall, "width", width, "less than 2^31 - 64");
    PIXMILL_CHECK(height <= kMostSide, kCall, "height", height, "less than 2^31 - 64");
    PIXMILL_CHECK(depth <= kMostSide && depth <= kMostSamples / (width * height), kCall, "depth", depth,
                  "less than 2^31 - 64, and a volume that memory can hold");
    checkSteps(kCall, numsteps);

    const auto gauss = RecursiveGaussian::make<double>(sigma, numsteps, 3);
    const long slice = width * height;
    for (long z = 0; z < depth; ++z)
        sweepRows(volume + z * slice, width, int(width), int(height), gauss, numsteps);
    for (long z = 0; z < depth; ++z)
        sweepNeighbours(volume + z * slice, width, height, width, gauss, numsteps);
    for (long y = 0; y < height; ++y)
        sweepNeighbours(volume + y * width, slice, depth, width, gauss, numsteps);
    for (long i = 0; i < slice * depth; ++i)
        volume[i] *= gauss.post;
}
