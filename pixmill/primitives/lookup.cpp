#include <pixmill/primitives/lookup.h>

#include <pixmill/primitives/detail/lookup_avx512.h>
#include <pixmill/primitives/region.h>
#include <pixmill/rows/look_up.h>
#include <pixmill/rows/pixel.h>

#include <algorithm>
#include <vector>

using namespace pixmill::rows;
using namespace pixmill::primitives;

namespace {

/// By all bits of a sample.
template <class S, class D>
void lookUpWhole(const S* s, D* d, const D* table, int n)
{
    if constexpr (sizeof(S) == 1 && sizeof(D) == 1)
        if (takesBytePermutes()) {
            lookUpBytes512(s, d, table, n);
            return;
        }
    lookUpRow<8 * sizeof(S)>(s, d, table, n);
}

template <class S, class D>
IppStatus lookUp(const S* src, int srcStep, D* dst, int dstStep, IppiSize roi, const D* table, int nBitSize)
{
    if (const IppStatus fault = checkRegion({src, dst, table}, roi, {srcStep, dstStep}))
        return fault;
    constexpr int kAllBits = 8 * sizeof(S);
    if (nBitSize < 1 || nBitSize > kAllBits)
        return ippStsOutOfRangeErr;
    const int lowBits = (1 << nBitSize) - 1;
    forEachRow(sizeOf(roi), [&](int y) {
        const S* s = rowAt(src, srcStep, y);
        D* d = rowAt(dst, dstStep, y);
        if (nBitSize == kAllBits)
            lookUpWhole(s, d, table, roi.width);
        else
            lookUpRow(s, d, table, roi.width, [lowBits](S v) { return v & lowBits; });
    });
    return ippStsNoErr;
}

/// The linear map of every 16-bit value. The lowest interval that holds a value wins, so they are laid down from the
/// last to the first; an interval without width lays down nothing.
std::vector<ushort> tabulate(const int* values, const int* levels, int nLevels)
{
    std::vector<ushort> table(65536);
    for (int v = 0; v < 65536; ++v)
        table[v] = ushort(v);
    const int last = nLevels - 1;
    if (levels[last] >= 0 && levels[last] <= 65535)
        table[levels[last]] = clamp16(values[last]);
    for (int k = last - 1; k >= 0; --k) {
        const double level = levels[k], value = values[k];
        const double width = levels[k + 1] - level, rise = values[k + 1] - value;
        const int end = std::min(levels[k + 1], 65536);
        for (int v = std::max(levels[k], 0); v < end; ++v)
            table[v] = toPixel16(value + (v - level) * rise / width);
    }
    return table;
}

} // namespace

IppStatus ippiLUTPalette_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep, IppiSize roi,
                                const unsigned char* table, int nBitSize)
{
    return lookUp(src, srcStep, dst, dstStep, roi, table, nBitSize);
}

IppStatus ippiLUTPalette_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep, IppiSize roi,
                                 const unsigned short* table, int nBitSize)
{
    return lookUp(src, srcStep, dst, dstStep, roi, table, nBitSize);
}

IppStatus ippiLUTPalette_16u8u_C1R(const unsigned short* src, int srcStep, unsigned char* dst, int dstStep,
                                   IppiSize roi, const unsigned char* table, int nBitSize)
{
    return lookUp(src, srcStep, dst, dstStep, roi, table, nBitSize);
}

IppStatus ippiLUT_Linear_16u_C1IR(unsigned short* srcDst, int step, IppiSize roi, const int* values, const int* levels,
                                  int nLevels)
{
    if (const IppStatus fault = checkRegion({srcDst, values, levels}, roi, {step}))
        return fault;
    if (nLevels < 2)
        return ippStsLUTNofLevelsErr;
    const std::vector<ushort> table = tabulate(values, levels, nLevels);
    return lookUp(srcDst, step, srcDst, step, roi, table.data(), 16);
}
