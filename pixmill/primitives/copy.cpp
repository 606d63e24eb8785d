#include <pixmill/primitives/copy.h>

#include <pixmill/primitives/region.h>
#include <pixmill/rows/pixel.h>

#include <algorithm>
#include <cstring>

using namespace pixmill::rows;
using namespace pixmill::primitives;

namespace {

template <int kChannels, class T>
IppStatus copyRegion(const T* src, int srcStep, T* dst, int dstStep, IppiSize roi)
{
    if (const IppStatus fault = checkRegion({src, dst}, roi, {srcStep, dstStep}))
        return fault;
    const std::size_t rowBytes = sizeof(T) * kChannels * std::size_t(roi.width);
    forEachRow(sizeOf(roi), [&](int y) { std::memmove(rowAt(dst, dstStep, y), rowAt(src, srcStep, y), rowBytes); });
    return ippStsNoErr;
}

template <class T>
IppStatus setRegion(T value, T* dst, int dstStep, IppiSize roi)
{
    if (const IppStatus fault = checkRegion({dst}, roi, {dstStep}))
        return fault;
    forEachRow(sizeOf(roi), [&](int y) {
        T* d = rowAt(dst, dstStep, y);
        std::fill(d, d + roi.width, value);
    });
    return ippStsNoErr;
}

bool borderFits(IppiSize srcRoi, IppiSize dstRoi, int top, int left)
{
    return top >= 0 && left >= 0 && (long long)left + srcRoi.width <= dstRoi.width &&
           (long long)top + srcRoi.height <= dstRoi.height;
}

/// Only samples of the source region are read and, when it lies in place, only others are written; so the rows are
/// independent of one another in both forms.
template <class T>
void replicateRegion(const T* src, int srcStep, IppiSize srcRoi, T* dst, int dstStep, IppiSize dstRoi, int top,
                     int left)
{
    forEachRow(sizeOf(dstRoi), [&](int y) {
        const T* s = rowAt(src, srcStep, limit(y - top, 0, srcRoi.height - 1));
        T* d = rowAt(dst, dstStep, y);
        T* inner = d + left;
        if (inner != s)
            std::memmove(inner, s, sizeof(T) * std::size_t(srcRoi.width));
        std::fill(d, inner, s[0]);
        std::fill(inner + srcRoi.width, d + dstRoi.width, s[srcRoi.width - 1]);
    });
}

template <class T>
IppStatus copyReplicateBorder(const T* src, int srcStep, IppiSize srcRoi, T* dst, int dstStep, IppiSize dstRoi, int top,
                              int left)
{
    if (srcRoi.width > 0 && srcRoi.height > 0) {
        if (const IppStatus fault = checkRegion({src, dst}, dstRoi, {srcStep, dstStep}))
            return fault;
    } else {
        return src && dst ? ippStsSizeErr : ippStsNullPtrErr;
    }
    if (!borderFits(srcRoi, dstRoi, top, left))
        return ippStsSizeErr;
    replicateRegion(src, srcStep, srcRoi, dst, dstStep, dstRoi, top, left);
    return ippStsNoErr;
}

inline void storeRounded(double v, uchar& pixel)
{
    pixel = toPixel8(v);
}

inline void storeRounded(double v, ushort& pixel)
{
    pixel = toPixel16(v);
}

template <class T>
IppStatus rampRegion(T* dst, int dstStep, IppiSize roi, float offset, float slope, int axis)
{
    if (const IppStatus fault = checkRegion({dst}, roi, {dstStep}))
        return fault;
    if (axis != ippAxsHorizontal && axis != ippAxsVertical && axis != ippAxsBoth)
        return ippStsBadArgErr;
    forEachRow(sizeOf(roi), [&](int y) {
        T* d = rowAt(dst, dstStep, y);
        // At most 24 + 31 bits: the products are the exact ones or their nearest doubles, in any order.
        const double perColumn = axis == ippAxsVertical ? 0.0 : axis == ippAxsBoth ? double(slope) * y : double(slope);
        const double start = axis == ippAxsVertical ? double(offset) + double(slope) * y : double(offset);
        for (int x = 0; x < roi.width; ++x)
            storeRounded(start + perColumn * x, d[x]);
    });
    return ippStsNoErr;
}

} // namespace

IppStatus ippiCopy_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep, IppiSize roi)
{
    return copyRegion<1>(src, srcStep, dst, dstStep, roi);
}

IppStatus ippiCopy_8u_C4R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep, IppiSize roi)
{
    return copyRegion<4>(src, srcStep, dst, dstStep, roi);
}

IppStatus ippiCopy_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep, IppiSize roi)
{
    return copyRegion<1>(src, srcStep, dst, dstStep, roi);
}

IppStatus ippiCopy_16u_C3R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep, IppiSize roi)
{
    return copyRegion<3>(src, srcStep, dst, dstStep, roi);
}

IppStatus ippiCopy_16u_C4R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep, IppiSize roi)
{
    return copyRegion<4>(src, srcStep, dst, dstStep, roi);
}

IppStatus ippiCopy_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize roi)
{
    return copyRegion<1>(src, srcStep, dst, dstStep, roi);
}

IppStatus ippiSet_8u_C1R(unsigned char value, unsigned char* dst, int dstStep, IppiSize roi)
{
    return setRegion(value, dst, dstStep, roi);
}

IppStatus ippiSet_16u_C1R(unsigned short value, unsigned short* dst, int dstStep, IppiSize roi)
{
    return setRegion(value, dst, dstStep, roi);
}

IppStatus ippiSet_32f_C1R(float value, float* dst, int dstStep, IppiSize roi)
{
    return setRegion(value, dst, dstStep, roi);
}

IppStatus ippiSet_8u_C1MR(unsigned char value, unsigned char* dst, int dstStep, IppiSize roi, const unsigned char* mask,
                          int maskStep)
{
    if (const IppStatus fault = checkRegion({dst, mask}, roi, {dstStep, maskStep}))
        return fault;
    zipRegion(dst, dstStep, mask, maskStep, dst, dstStep, roi, [value](uchar d, uchar m) { return m ? value : d; });
    return ippStsNoErr;
}

IppStatus ippsSet_32f(float value, float* dst, int len)
{
    if (const IppStatus fault = checkRegion({dst}, {len, 1}, {}))
        return fault;
    forEachSpan(
        len, len, [=](int first, int end) { std::fill(dst + first, dst + end, value); }, kFinePieces);
    return ippStsNoErr;
}

IppStatus ippiXorC_8u_C1IR(unsigned char value, unsigned char* srcDst, int step, IppiSize roi)
{
    if (const IppStatus fault = checkRegion({srcDst}, roi, {step}))
        return fault;
    mapRegion(srcDst, step, srcDst, step, roi, [value](uchar v) { return uchar(v ^ value); });
    return ippStsNoErr;
}

IppStatus ippiCopyReplicateBorder_8u_C1R(const unsigned char* src, int srcStep, IppiSize srcRoi, unsigned char* dst,
                                         int dstStep, IppiSize dstRoi, int top, int left)
{
    return copyReplicateBorder(src, srcStep, srcRoi, dst, dstStep, dstRoi, top, left);
}

IppStatus ippiCopyReplicateBorder_16u_C1R(const unsigned short* src, int srcStep, IppiSize srcRoi, unsigned short* dst,
                                          int dstStep, IppiSize dstRoi, int top, int left)
{
    return copyReplicateBorder(src, srcStep, srcRoi, dst, dstStep, dstRoi, top, left);
}

IppStatus ippiCopyReplicateBorder_32f_C1R(const float* src, int srcStep, IppiSize srcRoi, float* dst, int dstStep,
                                          IppiSize dstRoi, int top, int left)
{
    return copyReplicateBorder(src, srcStep, srcRoi, dst, dstStep, dstRoi, top, left);
}

IppStatus ippiCopyReplicateBorder_32f_C1IR(const float* src, int step, IppiSize srcRoi, IppiSize dstRoi, int top,
                                           int left)
{
    // The frame around the samples is the caller's to be written, though the pointer to them is const.
    float* inner = const_cast<float*>(src);
    float* corner = src && step > 0 && top >= 0 && left >= 0 ? rowAt(inner, step, -top) - left : inner;
    return copyReplicateBorder(src, step, srcRoi, corner, step, dstRoi, top, left);
}

IppStatus ippiImageRamp_8u_C1R(unsigned char* dst, int dstStep, IppiSize roi, float offset, float slope, int axis)
{
    return rampRegion(dst, dstStep, roi, offset, slope, axis);
}

IppStatus ippiImageRamp_16u_C1R(unsigned short* dst, int dstStep, IppiSize roi, float offset, float slope, int axis)
{
    return rampRegion(dst, dstStep, roi, offset, slope, axis);
}
