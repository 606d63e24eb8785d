#include <pixmill/primitives/resize.h>

#include <pixmill/core/detail/pixel.h>
#include <pixmill/core/detail/rows.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

using pixmill::detail::limit;
using pixmill::detail::runSpan;

/// Columns worked on at a time: their tables and four rows of sums stay in the second-level cache, and the work buffer
/// has a bound whatever the picture's width.
constexpr int kTile = 1024;
constexpr int kTaps = 4;
constexpr int kAlign = 64;

/// Where one destination column or row reads: `taps` source indices, limited to the source, with their weights. A
/// position on a sample has `exact` set, and the sample is `index[0]`.
struct Position {
    int index[kTaps];
    double weight[kTaps];
    bool exact;
};

/// Scratch of one tile, laid into the caller's buffer.
struct Scratch {
    Position columns[kTile];
    double rows[kTaps][kTile];
};

struct Axis {
    double factor, shift;
    int low, high; ///< first and last source index
};

/// The source position of a destination index. Far outside every tap is an edge sample, so it is limited to where an
/// int holds it; a NaN goes to the low side.
double sourcePosition(const Axis& axis, int destination)
{
    const double u = (destination + 0.5 - axis.shift) / axis.factor - 0.5;
    const double limited = limit(u, axis.low - 8.0, axis.high + 8.0);
    const double fine = std::nearbyint(limited * 256.0) / 256.0;
    return std::abs(limited - fine) < 1e-9 ? fine : limited;
}

Position positionOf(const Axis& axis, int destination, int interpolation)
{
    const double u = sourcePosition(axis, destination);
    const double whole = std::floor(interpolation == IPPI_INTER_NN ? u + 0.5 : u);
    const double t = u - whole;
    const int i = int(whole);
    const auto inside = [&axis](int index) { return limit(index, axis.low, axis.high); };
    Position p = {};
    p.exact = interpolation == IPPI_INTER_NN || t == 0;
    if (p.exact) {
        std::fill(p.index, p.index + kTaps, inside(i));
        p.weight[0] = 1;
    } else if (interpolation == IPPI_INTER_LINEAR) {
        p.index[0] = inside(i);
        p.index[1] = inside(i + 1);
        p.weight[0] = 1 - t;
        p.weight[1] = t;
    } else {
        for (int k = 0; k < kTaps; ++k)
            p.index[k] = inside(i - 1 + k);
        p.weight[0] = -t * (t - 1) * (t - 2) / 6;
        p.weight[1] = (t + 1) * (t - 1) * (t - 2) / 2;
        p.weight[2] = -(t + 1) * t * (t - 2) / 2;
        p.weight[3] = (t + 1) * t * (t - 1) / 6;
    }
    return p;
}

inline void store(double v, unsigned char& out)
{
    out = static_cast<unsigned char>(limit(v, 0.0, 255.0) + 0.5);
}

inline void store(double v, unsigned short& out)
{
    out = static_cast<unsigned short>(limit(v, 0.0, 65535.0) + 0.5);
}

inline void store(double v, float& out)
{
    out = float(v);
}

template <class T>
void xPass(const T* in, const Position* columns, int n, int taps, double* out)
{
    for (int x = 0; x < n; ++x) {
        const Position& p = columns[x];
        double sum = in[p.index[0]];
        if (!p.exact) {
            sum *= p.weight[0];
            for (int k = 1; k < taps; ++k)
                sum += in[p.index[k]] * p.weight[k];
        }
        out[x] = sum;
    }
}

template <class T>
struct Plane {
    T* data;
    int step;

    T* row(int y) const
    {
        return reinterpret_cast<T*>(reinterpret_cast<std::uintptr_t>(data) + std::ptrdiff_t(y) * step);
    }
};

template <class T>
void resizeTile(const Plane<const T>& src, const Plane<T>& dst, const Axis& xAxis, const Axis& yAxis, IppiRect tile,
                int interpolation, Scratch& scratch)
{
    const int taps = interpolation == IPPI_INTER_CUBIC ? 4 : interpolation == IPPI_INTER_LINEAR ? 2 : 1;
    for (int x = 0; x < tile.width; ++x)
        scratch.columns[x] = positionOf(xAxis, tile.x + x, interpolation);

    // Four neighbouring source rows never share a slot.
    int held[kTaps] = {-1, -1, -1, -1};
    const auto sums = [&](int y) {
        double* const row = scratch.rows[y % kTaps];
        if (held[y % kTaps] != y)
            xPass(src.row(y), scratch.columns, tile.width, taps, row);
        held[y % kTaps] = y;
        return row;
    };
    for (int y = 0; y < tile.height; ++y) {
        const Position p = positionOf(yAxis, tile.y + y, interpolation);
        T* const out = dst.row(tile.y + y) + tile.x;
        const double* rows[kTaps] = {};
        for (int k = 0; k < (p.exact ? 1 : taps); ++k)
            rows[k] = sums(p.index[k]);
        for (int x = 0; x < tile.width; ++x) {
            double sum = rows[0][x];
            if (!p.exact) {
                sum *= p.weight[0];
                for (int k = 1; k < taps; ++k)
                    sum += rows[k][x] * p.weight[k];
            }
            store(sum, out[x]);
        }
    }
}

template <class T>
IppStatus resize(const T* src, IppiSize srcSize, int srcStep, IppiRect srcRoi, T* dst, int dstStep, IppiRect dstRoi,
                 double xFactor, double yFactor, double xShift, double yShift, int interpolation, unsigned char* buffer)
{
    if (!src || !dst || !buffer)
        return ippStsNullPtrErr;
    for (const int side : {srcSize.width, srcSize.height, srcRoi.width, srcRoi.height, dstRoi.width, dstRoi.height})
        if (side <= 0)
            return ippStsSizeErr;
    if (srcStep <= 0 || dstStep <= 0)
        return ippStsStepErr;
    if (!(xFactor > 0) || !(yFactor > 0))
        return ippStsResizeFactorErr;
    if (interpolation != IPPI_INTER_NN && interpolation != IPPI_INTER_LINEAR && interpolation != IPPI_INTER_CUBIC)
        return ippStsInterpolationErr;
    const auto axis = [](double factor, double shift, int first, int length, int whole) {
        return Axis{factor, shift, std::max(first, 0), int(std::min<long long>((long long)first + length, whole)) - 1};
    };
    const Axis x = axis(xFactor, xShift, srcRoi.x, srcRoi.width, srcSize.width);
    const Axis y = axis(yFactor, yShift, srcRoi.y, srcRoi.height, srcSize.height);
    if (x.low > x.high || y.low > y.high)
        return ippStsWrongIntersectROI;

    const std::uintptr_t aligned = (reinterpret_cast<std::uintptr_t>(buffer) + kAlign - 1) / kAlign * kAlign;
    Scratch& scratch = *reinterpret_cast<Scratch*>(aligned);
    for (int done = 0; done < dstRoi.width; done += kTile) {
        const IppiRect tile = {dstRoi.x + done, dstRoi.y, std::min(kTile, dstRoi.width - done), dstRoi.height};
        resizeTile(Plane<const T>{src, srcStep}, Plane<T>{dst, dstStep}, x, y, tile, interpolation, scratch);
    }
    return ippStsNoErr;
}

} // namespace

IppStatus ippiResizeGetBufSize(IppiRect srcRoi, IppiRect dstRoi, int nChannel, int interpolation, int* pSize)
{
    if (!pSize)
        return ippStsNullPtrErr;
    *pSize = int(sizeof(Scratch)) + kAlign;
    for (const int side : {srcRoi.width, srcRoi.height, dstRoi.width, dstRoi.height, nChannel})
        if (side <= 0)
            return ippStsSizeErr;
    if (interpolation != IPPI_INTER_NN && interpolation != IPPI_INTER_LINEAR && interpolation != IPPI_INTER_CUBIC)
        return ippStsInterpolationErr;
    return ippStsNoErr;
}

IppStatus ippiResizeSqrPixel_8u_C1R(const unsigned char* src, IppiSize srcSize, int srcStep, IppiRect srcRoi,
                                    unsigned char* dst, int dstStep, IppiRect dstRoi, double xFactor, double yFactor,
                                    double xShift, double yShift, int interpolation, unsigned char* buffer)
{
    return resize(src, srcSize, srcStep, srcRoi, dst, dstStep, dstRoi, xFactor, yFactor, xShift, yShift, interpolation,
                  buffer);
}

IppStatus ippiResizeSqrPixel_16u_C1R(const unsigned short* src, IppiSize srcSize, int srcStep, IppiRect srcRoi,
                                     unsigned short* dst, int dstStep, IppiRect dstRoi, double xFactor, double yFactor,
                                     double xShift, double yShift, int interpolation, unsigned char* buffer)
{
    return resize(src, srcSize, srcStep, srcRoi, dst, dstStep, dstRoi, xFactor, yFactor, xShift, yShift, interpolation,
                  buffer);
}

IppStatus ippiResizeSqrPixel_32f_C1R(const float* src, IppiSize srcSize, int srcStep, IppiRect srcRoi, float* dst,
                                     int dstStep, IppiRect dstRoi, double xFactor, double yFactor, double xShift,
                                     double yShift, int interpolation, unsigned char* buffer)
{
    return resize(src, srcSize, srcStep, srcRoi, dst, dstStep, dstRoi, xFactor, yFactor, xShift, yShift, interpolation,
                  buffer);
}
