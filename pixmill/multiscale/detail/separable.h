#pragma once

#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
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

constexpr int kSamples = 16;

/// Samples side by side, a struct because g++ keeps a few of them in registers.
struct Samples {
    float v[kSamples];
};

/// The weighed sums of sixteen samples side by side; `tap(i)` are those that meet weight i.
template <class Tap>
inline Samples weighed(const float* weights, int taps, bool mirrored, const Tap& tap)
{
    const int middle = mirrored ? taps / 2 : 0;
    Samples sum;
    for (int x = 0; x < kSamples; ++x)
        sum.v[x] = weights[middle] * tap(middle)[x];
    for (int i = middle + 1; i < taps; ++i) {
        const float *in = tap(i), *other = tap(mirrored ? 2 * middle - i : i);
        for (int x = 0; x < kSamples; ++x)
            sum.v[x] += weights[i] * (mirrored ? in[x] + other[x] : in[x]);
    }
    return sum;
}

/// Filters a plane's rows one after the other, and combines as many of them as the kernel has weights.
template <class T>
class SeparableRows {
public:
    SeparableRows(const cv::Mat& in, const SmallKernel& kernel, float* scratch)
        : m_in(in), m_kernel(kernel), m_stride(stride(in.cols)), m_padded(scratch),
          m_ring(scratch + room(in.cols, kernel))
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
        const float* padded = m_padded;
        std::copy_n(m_in.ptr<T>(y), m_in.cols, m_padded + m_kernel.anchor);
        for (std::size_t x = 0; x < m_stride; x += kSamples) {
            const Samples sum =
                weighed(m_kernel.weights.data(), m_kernel.taps(), mirrored, [=](int i) { return padded + x + i; });
            std::memcpy(to + x, sum.v, sizeof sum.v);
        }
    }

    /// The result's row y, from the filtered rows around it.
    void combine(int y, float* out) const
    {
        const int first = y - m_kernel.anchor;
        for (int x = 0; x < m_in.cols; x += kSamples) {
            const Samples sum = weighed(m_kernel.weights.data(), m_kernel.taps(), m_kernel.mirrored,
                                        [=](int i) { return row(first + i) + x; });
            std::memcpy(out + x, sum.v, sizeof(float) * std::size_t(std::min(kSamples, m_in.cols - x)));
        }
    }

private:
    static std::size_t stride(int width) { return (std::size_t(width) + kSamples - 1) / kSamples * kSamples; }
    static std::size_t room(int width, const SmallKernel& kernel) { return stride(width + kernel.taps() + kSamples); }
    float* row(int y) const
    {
        const int taps = m_kernel.taps();
        return m_ring + m_stride * std::size_t((y % taps + taps) % taps);
    }

    const cv::Mat& m_in;
    const SmallKernel& m_kernel;
    std::size_t m_stride;
    float *m_padded, *m_ring;
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
