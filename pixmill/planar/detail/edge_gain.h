#pragma once

#include <pixmill/rows/gauss_rows.h>
#include <pixmill/rows/memory.h>
#include <pixmill/rows/pixel.h>

#include <opencv2/core/mat.hpp>

#include <algorithm>
#include <cstddef>
#include <type_traits>

/// How much a filter raised the local gradients of a plane: bytes of its size, 256 / 6 for a gain of 1, smoothed.
///
/// gain = (sum of before' * after' + e) / (sum of before'^2 + e) over 5 x 5 Gaussian windows, with the forward
/// differences along rows and along columns and e = epsilon * 65535. Differences that reach outside are 0; windows
/// repeat the edges. Products and each of the four smoothed sums are single precision.
namespace pixmill::planar {

using namespace rows;

/// The products of a row's differences: of `before` with itself and with `after`, along the row and to the next one.
template <class T>
inline void differenceProducts(const T* b, const T* bNext, const ushort* a, const ushort* aNext, double* __restrict own,
                               double* __restrict ownNext, double* __restrict cross, double* __restrict crossNext,
                               int n)
{
    const auto put = [](float db, float da, double& own, double& cross) {
        own = double(db * db);
        cross = double(da * db);
    };
    for (int x = 0; x + 1 < n; ++x)
        put(float(b[x + 1]) - float(b[x]), float(a[x + 1]) - float(a[x]), own[x], cross[x]);
    put(0, 0, own[n - 1], cross[n - 1]);
    for (int x = 0; x < n; ++x)
        put(float(bNext[x]) - float(b[x]), float(aNext[x]) - float(a[x]), ownNext[x], crossNext[x]);
}

/// Begins the 5 x 5 Gaussian: the kernel's outer, inner and middle column of five rows one below the other, at half its
/// weights.
inline void gaussColumns(const double* __restrict r0, const double* __restrict r1, const double* __restrict r2,
                         const double* __restrict r3, const double* __restrict r4, double* __restrict outer,
                         double* __restrict inner, double* __restrict middle, int n)
{
    for (int x = 0; x < n; ++x) {
        const double by2 = r0[x] + r4[x], by1 = r1[x] + r3[x], by0 = r2[x];
        outer[x] = by2 + 3.5 * by1 + 6.0 * by0;
        inner[x] = 3.5 * by2 + 15.5 * by1 + 26.0 * by0;
        middle[x] = 6.0 * by2 + 26.0 * by1 + 63.5 * by0;
    }
}

inline void sumColumns(const double* __restrict outer, const double* __restrict inner, const double* __restrict middle,
                       float* __restrict dst, int n)
{
    for (int x = 0; x < n; ++x) {
        const double half = (outer[x] + outer[x + 4]) + (inner[x + 1] + inner[x + 3]) + middle[x + 2];
        dst[x] = float(half * (2.0 / 571.0));
    }
}

/// The 5 x 5 Gaussian of whole numbers below 2^32. Every sum of theirs is exact, so equal weights are added first: 20
/// operations a sample instead of 50. A quotient that narrows to a tie of floats has few bits, and the reciprocal of
/// 571 is within 2^-57, so the product is the quotient there; elsewhere the quotient stays 2^-35 away from a tie.
inline void gaussRowOfWholes(const double* const* rows, float* dst, int n)
{
    constexpr int kPiece = 256;
    double outer[kPiece + 4], inner[kPiece + 4], middle[kPiece + 4];
    for (int x = 0; x < n; x += kPiece) {
        const int m = std::min(kPiece, n - x);
        gaussColumns(rows[0] + x, rows[1] + x, rows[2] + x, rows[3] + x, rows[4] + x, outer, inner, middle, m + 4);
        sumColumns(outer, inner, middle, dst + x, m);
    }
}

/// Gains as bytes, rounded to nearest, of `sums` of the four products, a row each; no number, and what no int holds,
/// are 0.
inline void gainRow(const float* __restrict sums, std::size_t stride, float floor, uchar* __restrict out, int n)
{
    const float *own = sums, *ownNext = own + stride, *cross = ownNext + stride, *crossNext = cross + stride;
    for (int x = 0; x < n; ++x) {
        const float v = (cross[x] + crossNext[x] + floor) / (own[x] + ownNext[x] + floor) * 42.666668f;
        const int gain = roundToInt(limit(v, 0.0f, 255.0f));
        out[x] = uchar(v < 2147483648.0f ? gain : 0);
    }
}

/// Walks down a band of the map's rows, with the rows of products and of bytes that a window needs at a time. T is the
/// type of `before`.
template <class T>
class EdgeGainRows {
public:
    /// Planes of one size, alive as long as this is.
    EdgeGainRows(const cv::Mat& before, const cv::Mat& after, float epsilon)
        : m_before(before), m_after(after), m_floor(epsilon * 65535.0f), m_cols(before.cols), m_rows(before.rows),
          m_stride((std::size_t(m_cols) + kSide - 1 + 15) / 16 * 16), m_products(kSide * kPlanes * m_stride),
          m_smoothed(kPlanes * m_stride), m_bytes(kSide * m_stride), m_columns(2 * m_stride), m_map(2 * m_stride)
    {
    }

    /// Row y of the map, until two more were asked for. Rows one after the other cost one each; any other begins anew.
    const uchar* row(int y)
    {
        if (y < m_first || y < m_next - 2 || y > m_next) {
            m_first = m_next = y;
            m_nextBytes = std::max(y - kReach, 0);
            m_nextProducts = std::max(m_nextBytes - kReach, 0);
        }
        for (; m_next <= y; ++m_next)
            smoothBytes(m_next);
        return m_map.data() + y % 2 * m_stride;
    }

private:
    static constexpr int kSide = 5, kReach = 2, kPlanes = 4;

    int inside(int y) const { return limit(y, 0, m_rows - 1); }
    double* products(int y, int plane) { return m_products.data() + (y % kSide * kPlanes + plane) * m_stride; }
    uchar* bytes(int y) { return m_bytes.data() + y % kSide * m_stride; }

    /// Repeats the ends of a row that begins at the third place.
    template <class V>
    void repeatEnds(V* row) const
    {
        std::fill_n(row, kReach, row[kReach]);
        std::fill_n(row + m_cols + kReach, kReach, row[m_cols + kReach - 1]);
    }

    void multiply(int y)
    {
        const int next = inside(y + 1);
        double* p[kPlanes];
        for (int k = 0; k < kPlanes; ++k)
            p[k] = products(y, k) + kReach;
        differenceProducts(m_before.ptr<T>(y), m_before.ptr<T>(next), m_after.ptr<ushort>(y), m_after.ptr<ushort>(next),
                           p[0], p[1], p[2], p[3], m_cols);
        for (double* row : p)
            repeatEnds(row - kReach);
    }

    void divide(int y)
    {
        for (; m_nextProducts <= inside(y + kReach); ++m_nextProducts)
            multiply(m_nextProducts);
        for (int k = 0; k < kPlanes; ++k) {
            const double* rows[kSide];
            for (int j = 0; j < kSide; ++j)
                rows[j] = products(inside(y + j - kReach), k);
            float* smoothed = m_smoothed.data() + k * m_stride;
            if constexpr (std::is_same_v<T, ushort>)
                gaussRowOfWholes(rows, smoothed, m_cols);
            else
                gaussRow<Gauss5x5>(rows, smoothed, m_cols);
        }
        gainRow(m_smoothed.data(), m_stride, m_floor, bytes(y) + kReach, m_cols);
        repeatEnds(bytes(y));
    }

    void smoothBytes(int y)
    {
        for (; m_nextBytes <= inside(y + kReach); ++m_nextBytes)
            divide(m_nextBytes);
        const uchar* rows[kSide];
        for (int j = 0; j < kSide; ++j)
            rows[j] = bytes(inside(y + j - kReach));
        gauss5x5Row(rows, m_columns.data(), std::ptrdiff_t(m_stride), m_map.data() + y % 2 * m_stride, m_cols);
    }

    const cv::Mat &m_before, &m_after;
    float m_floor;
    int m_cols, m_rows;
    std::size_t m_stride;
    AlignedArray<double> m_products;
    AlignedArray<float> m_smoothed;
    AlignedArray<uchar> m_bytes;
    AlignedArray<ushort> m_columns;
    AlignedArray<uchar> m_map;
    int m_first = 0, m_next = -1, m_nextBytes = 0, m_nextProducts = 0; ///< The first rows that are not there yet.
};

} // namespace pixmill::planar
