#include <pixmill/curves/TLut3D.h>

#include <pixmill/curves/detail/cube.h>
#include <pixmill/curves/detail/cube_avx512.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

using namespace pixmill::rows;
using namespace pixmill::curves;

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

    const Cube cube = {m_table_p,
                       {{m_min[0], m_max[0], m_size[0], m_size[1] * m_size[2]},
                        {m_min[1], m_max[1], m_size[1], m_size[2]},
                        {m_min[2], m_max[2], m_size[2], 1}}};
    const bool roomy = cube.roomy();
    forEachRow(in.size(), [&](int y) {
        const ushort* from = in.ptr<ushort>(y);
        ushort* to = out.ptr<ushort>(y);
        wideThenPlain(
            in.cols, [&](int n) { return roomy ? lookUpCube512(cube, from, to, n) : 0; },
            [&](int x, int n) { lookUpCube(cube, from + 3 * x, to + 3 * x, n - x); });
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
