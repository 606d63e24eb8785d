#include <pixmill/primitives/resize.h>

#include <pixmill/primitives/region.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/rows.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>

using namespace pixmill::rows;

namespace {

/// Columns worked on at a time: their tables and four rows of sums stay in the second-level cache, and the work buffer
/// has a bound whatever the picture's width.
constexpr int kTile = 1024;
constexpr int kSegment = kTile + 8; ///< source pixels under a tile that is not reduced
constexpr int kTaps = 4;
constexpr int kAlign = 64;

struct Axis {
    double factor, shift;
    int low, high; ///< first and last source index
};

/// Where one destination column or row reads: `taps` source indices from `base` with their weights, or, where `t` is 0,
/// the sample at `base + anchorOf(taps)` alone.
struct Position {
    int base;
    double t;
    double weight[kTaps];
};

/// Scratch of one tile, laid into the caller's buffer.
struct Scratch {
    double weight[kTaps][kTile];
    double t[kTile];
    double rows[kTaps][kTile];
    double segment[kSegment];
    int base[kTile];
};

/// Which tap stands at floor(u).
constexpr int anchorOf(int taps)
{
    return taps / 2 - 1;
}

/// The source position of a destination index. Far outside, every tap is an edge sample, so it is limited to where an
/// int holds it; a NaN goes to the low side.
inline double sourcePosition(const Axis& axis, int destination)
{
    const double u = limit((destination + 0.5 - axis.shift) / axis.factor - 0.5, axis.low - 8.0, axis.high + 8.0);
    const double fine = std::floor(u * 256 + 0.5) / 256;
    return std::abs(u - fine) < 1e-9 ? fine : u;
}

template <int taps>
inline Position positionOf(const Axis& axis, int destination)
{
    const double u = sourcePosition(axis, destination), whole = std::floor(u), t = u - whole;
    const int base = int(whole) - anchorOf(taps);
    if (taps == 2)
        return {base, t, {1 - t, t}};
    return {base,
            t,
            {-t * (t - 1) * (t - 2) / 6, (t + 1) * (t - 1) * (t - 2) / 2, -(t + 1) * t * (t - 2) / 2,
             (t + 1) * t * (t - 1) / 6}};
}

/// A half that lies a little low, as the weights of thirds and sixths are rounded, is still a half and goes up.
constexpr double kHalf = 0.5 + 1e-9;

inline void store(double v, uchar& out)
{
    out = static_cast<uchar>(limit(v, 0.0, 255.0) + kHalf);
}

inline void store(double v, ushort& out)
{
    out = static_cast<ushort>(limit(v, 0.0, 65535.0) + kHalf);
}

inline void store(double v, float& out)
{
    out = float(v);
}

/// One source row at the tile's columns from `x` on, unrounded. `sample(i)` is the source pixel i places right of the
/// first base.
template <int taps, class Sample>
inline void xPass(const Scratch& scratch, int x, int n, double* __restrict out, const Sample& sample)
{
    for (; x < n; ++x) {
        const int i = scratch.base[x];
        double sum = sample(i) * scratch.weight[0][x];
        for (int k = 1; k < taps; ++k)
            sum += sample(i + k) * scratch.weight[k][x];
        out[x] = scratch.t[x] == 0 ? sample(i + anchorOf(taps)) : sum;
    }
}

/// The same where the weights come round every `period` columns, one source pixel on: no tables, no gathers.
template <int taps, int period>
inline void xPassPeriodic(const Scratch& scratch, int n, double* __restrict out)
{
    double weight[period][taps];
    const double* from[period];
    bool exact[period];
    for (int p = 0; p < period; ++p) {
        for (int k = 0; k < taps; ++k)
            weight[p][k] = scratch.weight[k][p];
        from[p] = scratch.segment + scratch.base[p];
        exact[p] = scratch.t[p] == 0;
    }
    for (int j = 0; j < n / period; ++j)
        for (int p = 0; p < period; ++p) {
            const double* const s = from[p] + j;
            double sum = s[0] * weight[p][0];
            for (int k = 1; k < taps; ++k)
                sum += s[k] * weight[p][k];
            out[j * period + p] = exact[p] ? s[anchorOf(taps)] : sum;
        }
    const double* const segment = scratch.segment;
    xPass<taps>(scratch, n / period * period, n, out, [segment](int i) { return segment[i]; });
}

inline bool hasPeriod(const Scratch& scratch, int n, int period)
{
    if (n < 2 * period)
        return false;
    for (int x = period; x < n; ++x)
        if (scratch.base[x] != scratch.base[x - period] + 1 || scratch.t[x] != scratch.t[x - period])
            return false;
    return true;
}

template <int taps, class T>
inline void yPass(const double* const rows[taps], const Position& p, int n, T* __restrict out)
{
    if (p.t == 0) {
        const double* row = rows[anchorOf(taps)];
        for (int x = 0; x < n; ++x)
            store(row[x], out[x]);
        return;
    }
    for (int x = 0; x < n; ++x) {
        double sum = rows[0][x] * p.weight[0];
        for (int k = 1; k < taps; ++k)
            sum += rows[k][x] * p.weight[k];
        store(sum, out[x]);
    }
}

template <class T>
struct Plane {
    T* data;
    int step;

    T* row(int y) const { return rowAt(data, step, y); }
};

template <int taps, class T>
inline void interpolateTile(const Plane<const T>& src, const Plane<T>& dst, const Axis& xAxis, const Axis& yAxis,
                            IppiRect tile, Scratch& scratch)
{
    for (int x = 0; x < tile.width; ++x) {
        const Position p = positionOf<taps>(xAxis, tile.x + x);
        scratch.base[x] = p.base;
        scratch.t[x] = p.t;
        for (int k = 0; k < taps; ++k)
            scratch.weight[k][x] = p.weight[k];
    }
    const int first = scratch.base[0], count = scratch.base[tile.width - 1] + taps - first;
    for (int x = 0; x < tile.width; ++x)
        scratch.base[x] -= first;
    const int period = hasPeriod(scratch, tile.width, 2) ? 2 : hasPeriod(scratch, tile.width, 4) ? 4 : 0;
    const auto column = [&xAxis](int i) { return limit(i, xAxis.low, xAxis.high); };

    int held[kTaps] = {-1, -1, -1, -1}; // neighbouring source rows never share a slot
    const auto sums = [&](int y) {
        double* const sums = scratch.rows[y % kTaps];
        if (held[y % kTaps] == y)
            return sums;
        held[y % kTaps] = y;
        const T* const in = src.row(y);
        if (count <= kSegment) {
            const double* const segment = scratch.segment;
            for (int i = 0; i < count; ++i)
                scratch.segment[i] = in[column(first + i)];
            if (period == 2)
                xPassPeriodic<taps, 2>(scratch, tile.width, sums);
            else if (period == 4)
                xPassPeriodic<taps, 4>(scratch, tile.width, sums);
            else
                xPass<taps>(scratch, 0, tile.width, sums, [segment](int i) { return segment[i]; });
        } else {
            xPass<taps>(scratch, 0, tile.width, sums, [&](int i) { return double(in[column(first + i)]); });
        }
        return sums;
    };
    for (int y = 0; y < tile.height; ++y) {
        const Position p = positionOf<taps>(yAxis, tile.y + y);
        const double* rows[taps] = {};
        for (int k = 0; k < taps; ++k)
            if (p.t != 0 || k == anchorOf(taps))
                rows[k] = sums(limit(p.base + k, yAxis.low, yAxis.high));
        yPass<taps>(rows, p, tile.width, dst.row(tile.y + y) + tile.x);
    }
}

template <class T>
inline void pickTile(const Plane<const T>& src, const Plane<T>& dst, const Axis& xAxis, const Axis& yAxis,
                     IppiRect tile, Scratch& scratch)
{
    const auto nearest = [](const Axis& axis, int destination) {
        return limit(int(std::floor(sourcePosition(axis, destination) + 0.5)), axis.low, axis.high);
    };
    for (int x = 0; x < tile.width; ++x)
        scratch.base[x] = nearest(xAxis, tile.x + x);
    for (int y = 0; y < tile.height; ++y) {
        const T* const in = src.row(nearest(yAxis, tile.y + y));
        T* const out = dst.row(tile.y + y) + tile.x;
        for (int x = 0; x < tile.width; ++x)
            out[x] = in[scratch.base[x]];
    }
}

template <class T>
void resizeTile(const Plane<const T>& src, const Plane<T>& dst, const Axis& xAxis, const Axis& yAxis, IppiRect tile,
                int interpolation, Scratch& scratch)
{
    runSpan(
        [&](int, int) {
            if (interpolation == IPPI_INTER_NN)
                pickTile(src, dst, xAxis, yAxis, tile, scratch);
            else if (interpolation == IPPI_INTER_LINEAR)
                interpolateTile<2>(src, dst, xAxis, yAxis, tile, scratch);
            else
                interpolateTile<4>(src, dst, xAxis, yAxis, tile, scratch);
        },
        0, 1);
}

template <class T>
IppStatus resize(const T* src, IppiSize srcSize, int srcStep, IppiRect srcRoi, T* dst, int dstStep, IppiRect dstRoi,
                 double xFactor, double yFactor, double xShift, double yShift, int interpolation, uchar* buffer)
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
        // The last index leaves room for the positions around it.
        const long long end = std::min<long long>({(long long)first + length, whole, INT_MAX - 16});
        return Axis{factor, shift, std::max(first, 0), int(end) - 1};
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
