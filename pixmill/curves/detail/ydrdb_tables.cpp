#include <pixmill/curves/detail/ydrdb_tables.h>

#include <pixmill/primitives/memory.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/look_up.h>
#include <pixmill/rows/plane.h>

#include <algorithm>

namespace pixmill::curves {

using namespace rows;

ushort* allocateTable()
{
    int step;
    return ippiMalloc_16u_C1(kTableEntries, 1, &step);
}

void stretchLuma(const std::array<ushort, kLumaSamples>& samples, ushort* table)
{
    // Entry X lies at sample X / 16 - 15 / 32: half a gap in front of the first sample repeats it, then come sixteen
    // entries to a gap, at its odd 32nds.
    constexpr int half = kTableEntries / kLumaSamples / 2;
    std::fill_n(table, half, samples.front());
    std::fill_n(table + kTableEntries - half, half, samples.back());
    const auto gaps = [&](int first, int end) {
        for (int i = first; i < end; ++i) {
            const int a = samples[i], rise = samples[i + 1] - a;
            ushort* out = table + half + i * 2 * half;
            for (int k = 0; k < 2 * half; ++k)
                out[k] = static_cast<ushort>((a * 32 + rise * (2 * k + 1) + 16) >> 5); // halves go up
        }
    };
    runSpan(gaps, 0, kLumaSamples - 1);
}

void checkLumaInOut(const cv::Mat& inOutY16U, const char* call)
{
    if (inOutY16U.type() != CV_16UC1)
        throw "ERROR - TLutYDrDb::proc - inOutY16U.type()!=CV_16UC1";
    checkPlane(inOutY16U, call, "inOutY16U");
}

void applyLumaTable(const ushort* table, const cv::Mat& inY, cv::Mat& outY, const char* call)
{
    if (!table)
        throw "ERROR - TLutYDrDb::applyYLUT - !m_lutY_p";
    if (inY.type() != CV_16UC1)
        throw "ERROR -  TLutYDrDb::applyYLUT(const Mat &inY, Mat &outY) - inY.type() != CV_16UC1";
    checkPlane(inY, call, "inY");

    ensure(outY, inY.size(), CV_16UC1);
    lookUpRows<16, ushort>(inY.data, inY.step, outY.data, outY.step, inY.size(), table);
}

} // namespace pixmill::curves
