#include <pixmill/curves/TLut3D.h>

#include <pixmill/rows/check.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

using namespace pixmill::rows;

namespace {

void checkTypes(const cv::Mat& in, const cv::Mat& out)
{
    if (in.type() != CV_16UC3 || out.type() != CV_16UC3)
        throw "Currently, we only handle 16UC3 type matrix";
}

/// Truncated, then the low 16 bits. What does not fit an int counts as its nearest end, and a NaN as the lowest.
inline ushort toCell(float v)
{
    return ushort(int(limit(v, -2147483648.0f, 2147483520.0f)));
}

inline int between(int a, int b, float f)
{
    return int(float(a) + float(b - a) * f);
}

/// One axis of the grid: where a value lies between its points.
struct Axis {
    float low, scale, last;
    int stride; ///< Triples from point to point.

    Axis(float min, float max, int size, int triples)
        : low(min), scale(float(size - 1) / (max - min)), last(float(size - 1)), stride(triples)
    {
    }
};

/// Pixels worked on at a time: first their places in the grid, then their corners one after the other, and then all
/// channels of all of them in the lanes of one loop.
constexpr int kTile = 128;

struct Tile {
    int cell[kTile];     ///< The lower corner, in triples.
    int upper[3][kTile]; ///< From a lower to an upper corner along each axis; 0 at the last point.
    float fraction[3][kTile];
    ushort corner[8][kTile * 3];
    float spread[3][kTile * 3]; ///< The fractions, for every channel.
};

/// Adds where the n values v[0], v[3], v[6] ... lie on an axis.
inline void place(const ushort* __restrict v, const Axis& axis, int n, int* __restrict cell, int* __restrict upper,
                  float* __restrict fraction)
{
    for (int x = 0; x < n; ++x) {
        const float p = limit((float(v[3 * x]) - axis.low) * axis.scale, 0.0f, axis.last);
        const int i = int(p);
        cell[x] += i * axis.stride;
        upper[x] = float(i) < axis.last ? axis.stride : 0;
        fraction[x] = p - float(i);
    }
}

/// Fetches the corners of n pixels, in the order of `linearInterpolateRGB`.
inline void fetch(const ushort* table, int n, Tile& t)
{
    const auto copy = [](ushort* to, const ushort* from) { std::memcpy(to, from, 3 * sizeof *from); };
    for (int x = 0; x < n; ++x) {
        const std::ptrdiff_t a = 3 * t.upper[0][x], b = 3 * t.upper[1][x], c = 3 * t.upper[2][x];
        const ushort* cell = table + std::ptrdiff_t(t.cell[x]) * 3;
        copy(t.corner[0] + 3 * x, cell);
        copy(t.corner[1] + 3 * x, cell + c);
        copy(t.corner[2] + 3 * x, cell + b);
        copy(t.corner[3] + 3 * x, cell + b + c);
        copy(t.corner[4] + 3 * x, cell + a);
        copy(t.corner[5] + 3 * x, cell + a + c);
        copy(t.corner[6] + 3 * x, cell + a + b);
        copy(t.corner[7] + 3 * x, cell + a + b + c);
        for (int k = 0; k < 3; ++k) {
            t.spread[0][3 * x + k] = t.fraction[0][x];
            t.spread[1][3 * x + k] = t.fraction[1][x];
            t.spread[2][3 * x + k] = t.fraction[2][x];
        }
    }
}

inline void interpolate(const Tile& t, ushort* __restrict out, int n)
{
    for (int x = 0; x < n; ++x) {
        const float f0 = t.spread[0][x], f1 = t.spread[1][x], f2 = t.spread[2][x];
        const int low =
            between(between(t.corner[0][x], t.corner[1][x], f2), between(t.corner[2][x], t.corner[3][x], f2), f1);
        const int high =
            between(between(t.corner[4][x], t.corner[5][x], f2), between(t.corner[6][x], t.corner[7][x], f2), f1);
        out[x] = ushort(between(low, high, f0));
    }
}

} // namespace

void TLut3D::initialize(int gridSize, int channels, COLOR_ORDER order)
{
    if (channels < 3)
        throw "Cannot generate identity 3d lookup table with less than 3 channels";
    if (order != FIRST_FASTEST && order != LAST_FASTEST)
        throw "Unknown pixels order";
    PIXMILL_CHECK(m_table_p || gridSize < 1, "TLut3D::initialize", "m_table_p", "null", "not null");

    const float s = 1 / (float(gridSize) - 1);
    const int first = order == FIRST_FASTEST ? 0 : 2;
    ushort* t = m_table_p;
    for (int slow = 0; slow < gridSize; ++slow)
        for (int middle = 0; middle < gridSize; ++middle)
            for (int fast = 0; fast < gridSize; ++fast, t += channels) {
                t[first] = toCell(m_max[first] * s * float(fast));
                t[1] = toCell(m_max[1] * s * float(middle));
                t[2 - first] = toCell(m_max[2 - first] * s * float(slow));
            }
}

void TLut3D::getLut3DAsMat16UC3(cv::Mat& out)
{
    const char* call = "TLut3D::getLut3DAsMat16UC3";
    PIXMILL_CHECK(m_size[0] >= 0 && m_size[0] <= 46340, call, "m_size[0]", m_size[0], "0..46340"); // its square fits
    PIXMILL_CHECK(m_table_p || m_size[0] == 0, call, "m_table_p", "null", "not null");
    out = cv::Mat(m_size[0], m_size[0] * m_size[0], CV_16UC3, m_table_p);
}

void TLut3D::applyLutOn16UC3Mat(cv::Mat& in, cv::Mat& out, LUT3D_INTERP interp) const
{
    checkTypes(in, out);
    if (interp == LUT3D_LINEAR)
        LookupLinear(in, out);
}

void TLut3D::LookupLinear(cv::Mat& in, cv::Mat& out) const
{
    checkTypes(in, out);
    const char* call = "TLut3D::LookupLinear";
    checkPlane(in, call, "in");
    checkCovers(out, in.size(), CV_16UC3, call, "out");
    checkPointer(m_table_p, call, "m_table_p");
    for (const int size : m_size) // a float tells the points of an axis apart
        PIXMILL_CHECK(size > 0 && size <= 1 << 24, call, "m_size", size, "1 to 2^24");
    PIXMILL_CHECK(double(m_size[0]) * m_size[1] * m_size[2] < 2147483648.0, call, "m_size",
                  double(m_size[0]) * m_size[1] * m_size[2], "less than 2^31 points");

    const Axis axes[3] = {{m_min[0], m_max[0], m_size[0], m_size[1] * m_size[2]},
                          {m_min[1], m_max[1], m_size[1], m_size[2]},
                          {m_min[2], m_max[2], m_size[2], 1}};
    forEachRow(in.size(), [&](int y) {
        Tile t;
        for (int x = 0; x < in.cols; x += kTile) {
            const int n = std::min(kTile, in.cols - x);
            const ushort* from = in.ptr<ushort>(y) + 3 * x;
            std::fill_n(t.cell, n, 0);
            for (int k = 0; k < 3; ++k)
                place(from + k, axes[k], n, t.cell, t.upper[k], t.fraction[k]);
            fetch(m_table_p, n, t);
            interpolate(t, out.ptr<ushort>(y) + 3 * x, 3 * n);
        }
    });
}

void TLut3D::linearInterpolateRGB(ushort* result, const ushort* c0, const ushort* c1, const ushort* c2,
                                  const ushort* c3, const ushort* c4, const ushort* c5, const ushort* c6,
                                  const ushort* c7, const float* f0, const float* f1, const float* f2)
{
    // A host's fractions may lie outside 0..1.
    const auto cell = [](ushort a, ushort b, float f) { return toCell(float(a) + float(b - a) * f); };
    for (int k = 0; k < 3; ++k) {
        const ushort low = cell(cell(c0[k], c1[k], f2[k]), cell(c2[k], c3[k], f2[k]), f1[k]);
        const ushort high = cell(cell(c4[k], c5[k], f2[k]), cell(c6[k], c7[k], f2[k]), f1[k]);
        result[k] = cell(low, high, f0[k]);
    }
}
