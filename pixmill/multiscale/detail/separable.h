#pragma once

#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <algorithm>
#include <cstddef>
#include <vector>

/// Small filters along rows and columns of a plane that is 0 outside of itself, in single precision.
namespace pixmill::multiscale {

using namespace rows;

/// The weights of a filter that reads `anchor` samples ahead of its own.
///
/// Sums go from the first weight to the last. Where weights are the same from both ends, samples of one weight are
/// added first, and their sums go from the middle outward.
struct SmallKernel {
    std::vector<float> weights;
    int anchor;
    bool mirrored;

    explicit SmallKernel(const cv::Mat& row) : weights(row.total()), anchor(int(row.total()) / 2)
    {
        cv::Mat floats;
        row.convertTo(floats, CV_32F);
        for (std::size_t i = 0; i < weights.size(); ++i)
            weights[i] = floats.at<float>(int(i));
        mirrored = taps() % 2 != 0 && std::equal(weights.begin(), weights.end(), weights.rbegin());
    }

    int taps() const { return int(weights.size()); }
};

/// How a kernel's sums are formed; the common numbers of taps are known to the compiler, 0 is any other.
template <int T, bool M>
struct Form {
    static constexpr int kTaps = T;
    static constexpr bool kMirrored = M;
};

/// out = the weighed sums of the samples in `rows[i]`, which meet weight i.
template <class F>
inline void weighRow(F, const float* weights, const float* const* rows, int taps, int n, float* __restrict out)
{
    if constexpr (F::kTaps > 0) {
        constexpr int kFirst = F::kMirrored ? F::kTaps / 2 : 0;
        const float* in[F::kTaps];
        float w[F::kTaps];
        std::copy_n(rows, F::kTaps, in);
        std::copy_n(weights, F::kTaps, w);
        for (int x = 0; x < n; ++x) {
            float sum = w[kFirst] * in[kFirst][x];
#pragma GCC unroll 8
            for (int i = kFirst + 1; i < F::kTaps; ++i)
                sum += w[i] * (F::kMirrored ? in[i][x] + in[F::kTaps - 1 - i][x] : in[i][x]);
            out[x] = sum;
        }
        return;
    }
    const int first = F::kMirrored ? taps / 2 : 0;
    for (int x = 0; x < n; ++x)
        out[x] = weights[first] * rows[first][x];
    for (int i = first + 1; i < taps; ++i) {
        const float *in = rows[i], *other = rows[taps - 1 - i], w = weights[i];
        for (int x = 0; x < n; ++x)
            out[x] += w * (F::kMirrored ? in[x] + other[x] : in[x]);
    }
}

/// Runs `body(form)` with the form of a kernel.
template <class Body>
inline void withForm(int taps, bool mirrored, const Body& body)
{
    switch (mirrored ? -taps : taps) {
    case 3:
        return body(Form<3, false>());
    case -3:
        return body(Form<3, true>());
    case 5:
        return body(Form<5, false>());
    case -5:
        return body(Form<5, true>());
    default:
        return mirrored ? body(Form<0, true>()) : body(Form<0, false>());
    }
}

/// Filters a plane's rows one after the other, and combines as many of them as the kernel has weights.
template <class T>
class SeparableRows {
public:
    SeparableRows(const cv::Mat& in, const SmallKernel& kernel, float* scratch)
        : m_in(in), m_kernel(kernel), m_stride(stride(in.cols)), m_padded(scratch),
          m_ring(scratch + room(in.cols, kernel)), m_rows(kernel.weights.size())
    {
        std::fill_n(m_padded, room(in.cols, kernel), 0.0f);
    }

    static std::size_t scratch(int width, const SmallKernel& kernel)
    {
        return room(width, kernel) + stride(width) * kernel.weights.size();
    }

    /// Filters row y along itself; rows outside are 0.
    void take(int y)
    {
        float* to = row(y);
        if (y < 0 || y >= m_in.rows)
            return (void)std::fill_n(to, m_stride, 0.0f);
        // Pairs only for floats and up to five weights, as hosts know it from the image library.
        const bool mirrored = m_kernel.mirrored && std::is_same_v<T, float> && m_kernel.taps() <= 5;
        std::copy_n(m_in.ptr<T>(y), m_in.cols, m_padded + m_kernel.anchor);
        for (int i = 0; i < m_kernel.taps(); ++i)
            m_rows[std::size_t(i)] = m_padded + i;
        weigh(mirrored, to);
    }

    /// The result's row y, from the filtered rows around it.
    void combine(int y, float* out)
    {
        for (int i = 0; i < m_kernel.taps(); ++i)
            m_rows[std::size_t(i)] = row(y - m_kernel.anchor + i);
        weigh(m_kernel.mirrored, out);
    }

private:
    static std::size_t stride(int width) { return (std::size_t(width) + 15) / 16 * 16; }
    static std::size_t room(int width, const SmallKernel& kernel) { return stride(width + kernel.taps()); }
    void weigh(bool mirrored, float* out) const
    {
        withForm(m_kernel.taps(), mirrored, [&](auto form) {
            weighRow(form, m_kernel.weights.data(), m_rows.data(), m_kernel.taps(), m_in.cols, out);
        });
    }
    float* row(int y) const
    {
        const int taps = m_kernel.taps();
        return m_ring + m_stride * std::size_t((y % taps + taps) % taps);
    }

    const cv::Mat& m_in;
    const SmallKernel& m_kernel;
    std::size_t m_stride;
    float *m_padded, *m_ring;
    std::vector<const float*> m_rows; ///< that meet the weights next
};

template <class T>
void filterSamples(const cv::Mat& in, const SmallKernel& kernel, cv::Mat& out)
{
    TeamScratch<float> scratch(SeparableRows<T>::scratch(in.cols, kernel));
    forEachSpan(in.rows, long(in.total()), [&](int first, int end) {
        SeparableRows<T> rows(in, kernel, scratch.mine());
        const int ahead = kernel.taps() - 1 - kernel.anchor;
        for (int y = first - kernel.anchor; y < first + ahead; ++y)
            rows.take(y);
        for (int y = first; y < end; ++y) {
            rows.take(y + ahead);
            rows.combine(y, out.ptr<float>(y));
        }
    });
}

/// Filters a plane of bytes, 16 bits or floats along rows and columns into `out`, another plane of floats.
inline void filterSeparable(const cv::Mat& in, const SmallKernel& kernel, cv::Mat& out)
{
    switch (in.depth()) {
    case CV_8U:
        return filterSamples<uchar>(in, kernel, out);
    case CV_16U:
        return filterSamples<ushort>(in, kernel, out);
    case CV_16S:
        return filterSamples<short>(in, kernel, out);
    default:
        return filterSamples<float>(in, kernel, out);
    }
}

} // namespace pixmill::multiscale
