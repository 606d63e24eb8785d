#include <pixmill/primitives/lookup.h>
#include <pixmill/primitives/region.h>
#include <pixmill/rows/pixel.h>

#include <algorithm>
#include <vector>

using namespace pixmill::rows;
using namespace pixmill::primitives;

namespace {

/// Four look-ups at a time: a loop of single ones spends more on counting, and gathers are slower still.
template <class S, class D, class Index>
inline void lookUpRow(const S* src, D* dst, int n, const D* table, Index index)
{
    int x = 0;
    for (; x + 4 <= n; x += 4) {
        const D a = table[index(src[x])], b = table[index(src[x + 1])];
        const D c = table[index(src[x + 2])], d = table[index(src[x + 3])];
        dst[x] = a, dst[x + 1] = b, dst[x + 2] = c, dst[x + 3] = d;
    }
    for (; x < n; ++x)
        dst[x] = table[index(src[x])];
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
            lookUpRow(s, d, roi.width, table, [](S v) { return int(v); });
        else
            lookUpRow(s, d, roi.width, table, [lowBits](S v) { return v & lowBits; });
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
