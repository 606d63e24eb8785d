#include <pixmill/core/detail/aligned.h>
#include <pixmill/primitives/detail/morphology3x3.h>
#include <pixmill/primitives/detail/region.h>
#include <pixmill/primitives/filter.h>

#include <cstring>
#include <vector>

using namespace pixmill::detail;

namespace {

struct Largest {
    template <class T>
    T operator()(T a, T b) const
    {
        return larger(a, b);
    }
};

struct Smallest {
    template <class T>
    T operator()(T a, T b) const
    {
        return smaller(a, b);
    }
};

template <class Pick, class T>
IppStatus morphology(const T* src, int srcStep, T* dst, int dstStep, IppiSize roi, const unsigned char* mask,
                     IppiSize maskSize, IppiPoint anchor)
{
    if (const IppStatus fault = checkRegion({src, dst, mask}, roi, {srcStep, dstStep}))
        return fault;
    if (maskSize.width <= 0 || maskSize.height <= 0)
        return ippStsMaskSizeErr;
    std::vector<IppiPoint> cells; // relative to the anchor
    for (int j = 0; j < maskSize.height; ++j)
        for (int i = 0; i < maskSize.width; ++i)
            if (mask[std::size_t(j) * maskSize.width + i])
                cells.push_back({i - anchor.x, j - anchor.y});
    if (cells.empty())
        return ippStsMaskSizeErr;
    if (anchor.x < 0 || anchor.x >= maskSize.width || anchor.y < 0 || anchor.y >= maskSize.height)
        return ippStsAnchorErr;

    forEachRow(sizeOf(roi), [&](int y) {
        T* d = rowAt(dst, dstStep, y);
        const T* firstRow = rowAt(src, srcStep, y + cells[0].y) + cells[0].x;
        std::memcpy(d, firstRow, sizeof(T) * std::size_t(roi.width));
        for (const IppiPoint& cell : cells) {
            const T* s = rowAt(src, srcStep, y + cell.y) + cell.x;
            for (int x = 0; x < roi.width; ++x)
                d[x] = Pick()(d[x], s[x]);
        }
    });
    return ippStsNoErr;
}

template <class Pick>
IppStatus morphology3x3InPlace(unsigned short* srcDst, int step, IppiSize roi)
{
    if (const IppStatus fault = checkRegion({srcDst}, roi, {step}))
        return fault;
    const int columns = roi.width + 2, rows = roi.height + 2;
    AlignedArray<unsigned short> copy(std::size_t(columns) * rows);
    for (int y = 0; y < rows; ++y)
        std::memcpy(&copy[std::size_t(y) * columns], rowAt(srcDst, step, y - 1) - 1, sizeof(unsigned short) * columns);
    const unsigned char mask[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
    return morphology<Pick>(&copy[columns + 1], int(sizeof(unsigned short)) * columns, srcDst, step, roi, mask, {3, 3},
                            {1, 1});
}

} // namespace

IppStatus ippiDilate_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep, IppiSize roi,
                            const unsigned char* mask, IppiSize maskSize, IppiPoint anchor)
{
    return morphology<Largest>(src, srcStep, dst, dstStep, roi, mask, maskSize, anchor);
}

IppStatus ippiDilate_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep, IppiSize roi,
                             const unsigned char* mask, IppiSize maskSize, IppiPoint anchor)
{
    return morphology<Largest>(src, srcStep, dst, dstStep, roi, mask, maskSize, anchor);
}

IppStatus ippiErode_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep, IppiSize roi,
                           const unsigned char* mask, IppiSize maskSize, IppiPoint anchor)
{
    return morphology<Smallest>(src, srcStep, dst, dstStep, roi, mask, maskSize, anchor);
}

IppStatus ippiErode_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep, IppiSize roi,
                            const unsigned char* mask, IppiSize maskSize, IppiPoint anchor)
{
    return morphology<Smallest>(src, srcStep, dst, dstStep, roi, mask, maskSize, anchor);
}

IppStatus ippiDilate3x3_16u_C1IR(unsigned short* srcDst, int step, IppiSize roi)
{
    return morphology3x3InPlace<Largest>(srcDst, step, roi);
}

IppStatus ippiErode3x3_16u_C1IR(unsigned short* srcDst, int step, IppiSize roi)
{
    return morphology3x3InPlace<Smallest>(srcDst, step, roi);
}
