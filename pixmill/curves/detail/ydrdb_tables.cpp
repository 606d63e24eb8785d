#include <pixmill/curves/detail/ydrdb_tables.h>

#include <pixmill/core/detail/plane.h>
#include <pixmill/primitives/lookup.h>
#include <pixmill/primitives/memory.h>
#include <pixmill/primitives/resize.h>

#include <vector>

namespace pixmill::detail {

unsigned short* allocateTable()
{
    int step;
    return ippiMalloc_16u_C1(kTableEntries, 1, &step);
}

void stretchLuma(const std::array<unsigned short, kLumaSamples>& samples, unsigned short* table)
{
    const IppiRect from{0, 0, kLumaSamples, 1}, to{0, 0, kTableEntries, 1};
    int bytes = 0;
    ippiResizeGetBufSize(from, to, 1, IPPI_INTER_LINEAR, &bytes);
    std::vector<unsigned char> buffer(bytes);
    ippiResizeSqrPixel_16u_C1R(samples.data(), {kLumaSamples, 1}, kLumaSamples * 2, from, table, kTableEntries * 2, to,
                               16.0, 1.0, 0.0, 0.0, IPPI_INTER_LINEAR, buffer.data());
}

void checkLumaInOut(const cv::Mat& inOutY16U)
{
    if (inOutY16U.type() != CV_16UC1)
        throw "ERROR - TLutYDrDb::proc - inOutY16U.type()!=CV_16UC1";
}

void applyLumaTable(const unsigned short* table, const cv::Mat& inY, cv::Mat& outY)
{
    if (!table)
        throw "ERROR - TLutYDrDb::applyYLUT - !m_lutY_p";
    if (inY.type() != CV_16UC1)
        throw "ERROR -  TLutYDrDb::applyYLUT(const Mat &inY, Mat &outY) - inY.type() != CV_16UC1";

    ensure(outY, inY.size(), CV_16UC1);
    ippiLUTPalette_16u_C1R(inY.ptr<unsigned short>(), int(inY.step), outY.ptr<unsigned short>(), int(outY.step),
                           {inY.cols, inY.rows}, table, 16);
}

} // namespace pixmill::detail
