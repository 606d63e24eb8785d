#include <pixmill/curves/TLut1D.h>

#include <pixmill/core/detail/plane.h>
#include <pixmill/core/detail/rows.h>
#include <pixmill/primitives/lookup.h>
#include <pixmill/primitives/memory.h>

namespace {

using namespace pixmill::detail;
using uchar = unsigned char;
using ushort = unsigned short;

constexpr const char* kType = "ERROR - TLut1D::TLut1D - type";

bool depthKnown(int depth)
{
    return depth == CV_8U || depth == CV_16U;
}

} // namespace

TLut1D::TLut1D(int inDepth, int outDepth) : m_inDepth(inDepth), m_outDepth(outDepth)
{
    if (!depthKnown(inDepth) || !depthKnown(outDepth))
        throw kType;
    const int entries = inDepth == CV_8U ? 256 : 65536;
    int step;
    if (outDepth == CV_8U)
        m_lut_p = ippiMalloc_8u_C1(entries, 1, &step);
    else
        m_lut_p = ippiMalloc_16u_C1(entries, 1, &step);
}

TLut1D::~TLut1D()
{
    ippiFree(m_lut_p);
}

void TLut1D::apply(const cv::Mat& in, cv::Mat out)
{
    if (!depthKnown(m_inDepth) || !depthKnown(m_outDepth))
        throw kType;
    CV_Assert(in.empty() || in.elemSize() >= size_t(CV_ELEM_SIZE(m_inDepth)));

    ensure(out, in.size(), m_outDepth);
    const IppiSize roi{in.cols, in.rows};
    const int inStep = int(in.step), outStep = int(out.step);
    const auto* table8 = static_cast<const uchar*>(m_lut_p);
    const auto* table16 = static_cast<const ushort*>(m_lut_p);
    if (m_inDepth == CV_8U && m_outDepth == CV_8U) {
        ippiLUTPalette_8u_C1R(in.ptr(), inStep, out.ptr(), outStep, roi, table8, 8);
    } else if (m_inDepth == CV_16U && m_outDepth == CV_16U) {
        ippiLUTPalette_16u_C1R(in.ptr<ushort>(), inStep, out.ptr<ushort>(), outStep, roi, table16, 16);
    } else if (m_inDepth == CV_16U) {
        // Eight significant bits, not sixteen: that only the low byte of a pixel counts is meant.
        ippiLUTPalette_16u8u_C1R(in.ptr<ushort>(), inStep, out.ptr(), outStep, roi, table8, 8);
    } else {
        CV_Assert(table16);
        forEachRow(in.size(), [&](int y) {
            const uchar* i = in.ptr(y);
            ushort* o = out.ptr<ushort>(y);
            for (int x = 0; x < in.cols; ++x)
                o[x] = table16[i[x]];
        });
    }
}

void TLut1D::apply(cv::Mat inOut)
{
    const cv::Mat in = inOut;
    apply(in, inOut);
}

void TLut1D::curve(int*, int*, int, int)
{
}
