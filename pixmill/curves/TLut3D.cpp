#include <pixmill/curves/TLut3D.h>

#include <pixmill/core/detail/pixel.h>
#include <pixmill/core/detail/rows.h>

#include <algorithm>

namespace {

using namespace pixmill::detail;

void checkTypes(const cv::Mat& in, const cv::Mat& out)
{
    if (in.type() != CV_16UC3 || out.type() != CV_16UC3)
        throw "Currently, we only handle 16UC3 type matrix";
}

/// Truncated, then the low 16 bits; what is no number, or does not fit an int, is 0.
inline ushort toCell(float v)
{
    return v > -2147483648.0f && v < 2147483648.0f ? ushort(int(v)) : ushort(0);
}

inline ushort between(ushort a, ushort b, float f)
{
    return toCell(float(a) + float(b - a) * f);
}

inline void interpolate(ushort* result, const ushort* c0, const ushort* c1, const ushort* c2, const ushort* c3,
                        const ushort* c4, const ushort* c5, const ushort* c6, const ushort* c7, const float* f0,
                        const float* f1, const float* f2)
{
    for (int k = 0; k < 3; ++k) {
        const ushort low = between(between(c0[k], c1[k], f2[k]), between(c2[k], c3[k], f2[k]), f1[k]);
        const ushort high = between(between(c4[k], c5[k], f2[k]), between(c6[k], c7[k], f2[k]), f1[k]);
        result[k] = between(low, high, f0[k]);
    }
}

/// One axis of the grid: where a value lies between its points.
struct Axis {
    float low, scale, last;
    std::ptrdiff_t stride;

    Axis(float min, float max, int size, std::ptrdiff_t elements)
        : low(min), scale(float(size - 1) / (max - min)), last(float(size - 1)), stride(elements)
    {
    }

    struct Place {
        std::ptrdiff_t lower, toUpper; ///< In elements; at the last point there is no upper one, and the step is 0.
        float fraction;
    };

    Place find(ushort v) const
    {
        const float p = limit((float(v) - low) * scale, 0.0f, last);
        const int i = int(p);
        return {i * stride, float(i) < last ? stride : 0, p - float(i)};
    }
};

} // namespace

void TLut3D::initialize(int gridSize, int channels, COLOR_ORDER order)
{
    if (channels < 3)
        throw "Cannot generate identity 3d lookup table with less than 3 channels";
    if (order != FIRST_FASTEST && order != LAST_FASTEST)
        throw "Unknown pixels order";
    CV_Assert(m_table_p || gridSize < 1);

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
    CV_Assert(in.size() == out.size());
    CV_Assert(m_table_p && m_size[0] > 0 && m_size[1] > 0 && m_size[2] > 0);

    const std::ptrdiff_t row = std::ptrdiff_t(m_size[2]) * 3, slab = row * m_size[1];
    const Axis axes[3] = {{m_min[0], m_max[0], m_size[0], slab},
                          {m_min[1], m_max[1], m_size[1], row},
                          {m_min[2], m_max[2], m_size[2], 3}};
    forEachRow(in.size(), [&](int y) {
        const ushort* i = in.ptr<ushort>(y);
        ushort* o = out.ptr<ushort>(y);
        for (int x = 0; x < in.cols; ++x, i += 3, o += 3) {
            const Axis::Place a = axes[0].find(i[0]), b = axes[1].find(i[1]), c = axes[2].find(i[2]);
            const ushort* c0 = m_table_p + a.lower + b.lower + c.lower;
            const ushort *c2 = c0 + b.toUpper, *c4 = c0 + a.toUpper, *c6 = c4 + b.toUpper;
            const float f0[3] = {a.fraction, a.fraction, a.fraction}, f1[3] = {b.fraction, b.fraction, b.fraction},
                        f2[3] = {c.fraction, c.fraction, c.fraction};
            interpolate(o, c0, c0 + c.toUpper, c2, c2 + c.toUpper, c4, c4 + c.toUpper, c6, c6 + c.toUpper, f0, f1, f2);
        }
    });
}

void TLut3D::linearInterpolateRGB(ushort* result, const ushort* c0, const ushort* c1, const ushort* c2,
                                  const ushort* c3, const ushort* c4, const ushort* c5, const ushort* c6,
                                  const ushort* c7, const float* f0, const float* f1, const float* f2)
{
    interpolate(result, c0, c1, c2, c3, c4, c5, c6, c7, f0, f1, f2);
}
