#include <pixmill/curves/TLutY16U.h>

#include <pixmill/curves/detail/ydrdb_tables.h>
#include <pixmill/primitives/memory.h>

using namespace pixmill::rows;
using namespace pixmill::curves;

TLutY16U::TLutY16U() : m_lutY_p(allocateTable())
{
}

TLutY16U::~TLutY16U()
{
    ippiFree(m_lutY_p);
}

void TLutY16U::setupYLUT()
{
    if (!m_lutY_p)
        m_lutY_p = allocateTable();
}

void TLutY16U::computeLUT16U(bool compute)
{
    if (!compute || !m_lutY_p)
        return;
    sampleLuma(m_lutY_p, [this](ushort& y) {
        ushort c1 = 32767, c2 = 32767;
        mapYDrDb(y, c1, c2);
    });
}

bool TLutY16U::proc(cv::Mat& inOutY16U)
{
    checkLumaInOut(inOutY16U, "TLutY16U::proc");
    computeLUT16U(true);
    cv::Mat out = inOutY16U;
    applyYLUT(inOutY16U, out);
    return true;
}

void TLutY16U::applyYLUT(const cv::Mat& inY, cv::Mat& outY)
{
    applyLumaTable(m_lutY_p, inY, outY, "TLutY16U::applyYLUT");
}
