#include <pixmill/primitives/convert.h>

#include <pixmill/primitives/region.h>
#include <pixmill/rows/pixel.h>

#include <climits>

using namespace pixmill::rows;
using namespace pixmill::primitives;

namespace {

template <class T>
IppStatus widenRegion(const T* src, int srcStep, float* dst, int dstStep, IppiSize roi)
{
    if (const IppStatus fault = checkRegion({src, dst}, roi, {srcStep, dstStep}))
        return fault;
    mapRegion(src, srcStep, dst, dstStep, roi, [](T v) { return float(v); });
    return ippStsNoErr;
}

/// Limiting first changes no result, as the limits are whole; below them every mode is then a floor.
template <class T>
IppStatus narrowRegion(const float* src, int srcStep, T* dst, int dstStep, IppiSize roi, int roundMode)
{
    if (const IppStatus fault = checkRegion({src, dst}, roi, {srcStep, dstStep}))
        return fault;
    constexpr float kTop = float(T(-1));
    switch (roundMode) {
    case ippRndZero:
        mapRegion(src, srcStep, dst, dstStep, roi, [](float v) { return T(int(limit(v, 0.0f, kTop))); });
        return ippStsNoErr;
    case ippRndNear:
        mapRegion(src, srcStep, dst, dstStep, roi, [](float v) { return T(roundToInt(limit(v, 0.0f, kTop))); });
        return ippStsNoErr;
    case ippRndFinancial: // in double, where the sum is exact
        mapRegion(src, srcStep, dst, dstStep, roi, [](float v) { return T(int(limit(v, 0.0f, kTop) + 0.5)); });
        return ippStsNoErr;
    default:
        return ippStsBadArgErr;
    }
}

/// Rows that hold more samples than an int counts have no pixel.
IppiSize samplesOf4(IppiSize pixels)
{
    return {pixels.width < 0 || pixels.width > INT_MAX / 4 ? 0 : pixels.width * 4, pixels.height};
}

} // namespace

IppStatus ippiConvert_8u32f_C1R(const unsigned char* src, int srcStep, float* dst, int dstStep, IppiSize roi)
{
    return widenRegion(src, srcStep, dst, dstStep, roi);
}

IppStatus ippiConvert_16u32f_C1R(const unsigned short* src, int srcStep, float* dst, int dstStep, IppiSize roi)
{
    return widenRegion(src, srcStep, dst, dstStep, roi);
}

IppStatus ippiConvert_32f8u_C1R(const float* src, int srcStep, unsigned char* dst, int dstStep, IppiSize roi,
                                int roundMode)
{
    return narrowRegion(src, srcStep, dst, dstStep, roi, roundMode);
}

IppStatus ippiConvert_32f16u_C1R(const float* src, int srcStep, unsigned short* dst, int dstStep, IppiSize roi,
                                 int roundMode)
{
    return narrowRegion(src, srcStep, dst, dstStep, roi, roundMode);
}

IppStatus ippiScale_8u16u_C4R(const unsigned char* src, int srcStep, unsigned short* dst, int dstStep, IppiSize roi)
{
    if (const IppStatus fault = checkRegion({src, dst}, samplesOf4(roi), {srcStep, dstStep}))
        return fault;
    mapRegion(src, srcStep, dst, dstStep, samplesOf4(roi), [](uchar v) { return ushort(v * 257); });
    return ippStsNoErr;
}

IppStatus ippiScale_16u8u_C4R(const unsigned short* src, int srcStep, unsigned char* dst, int dstStep, IppiSize roi,
                              int hint)
{
    if (const IppStatus fault = checkRegion({src, dst}, samplesOf4(roi), {srcStep, dstStep}))
        return fault;
    if (hint != ippAlgHintNone && hint != ippAlgHintFast && hint != ippAlgHintAccurate)
        return ippStsBadArgErr;
    // (v + 128) / 257 for every v of 16 bits, in no more than 16: the high byte of v - round(v / 256) and a half.
    mapRegion(src, srcStep, dst, dstStep, samplesOf4(roi), [](ushort v) {
        const auto share = ushort(((v >> 7) + 1) >> 1);
        return uchar(ushort(v - share + 128) >> 8);
    });
    return ippStsNoErr;
}
