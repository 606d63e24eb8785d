#pragma once

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

///@{
/// dst = src
PIXMILL_API IppStatus ippiCopy_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep,
                                      IppiSize roi);
PIXMILL_API IppStatus ippiCopy_8u_C4R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep,
                                      IppiSize roi);
PIXMILL_API IppStatus ippiCopy_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep,
                                       IppiSize roi);
PIXMILL_API IppStatus ippiCopy_16u_C3R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep,
                                       IppiSize roi);
PIXMILL_API IppStatus ippiCopy_16u_C4R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep,
                                       IppiSize roi);
PIXMILL_API IppStatus ippiCopy_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize roi);
///@}

///@{
/// dst = value
PIXMILL_API IppStatus ippiSet_8u_C1R(unsigned char value, unsigned char* dst, int dstStep, IppiSize roi);
PIXMILL_API IppStatus ippiSet_16u_C1R(unsigned short value, unsigned short* dst, int dstStep, IppiSize roi);
PIXMILL_API IppStatus ippiSet_32f_C1R(float value, float* dst, int dstStep, IppiSize roi);
///@}

/// dst = value where mask is not 0; other samples keep their values.
PIXMILL_API IppStatus ippiSet_8u_C1MR(unsigned char value, unsigned char* dst, int dstStep, IppiSize roi,
                                      const unsigned char* mask, int maskStep);

/// dst[n] = value for n below `len`.
PIXMILL_API IppStatus ippsSet_32f(float value, float* dst, int len);

/// srcDst = srcDst ^ value
PIXMILL_API IppStatus ippiXorC_8u_C1IR(unsigned char value, unsigned char* srcDst, int step, IppiSize roi);

///@{
/// dst(x, y) = src(clamp(x - left, 0, srcRoi.width - 1), clamp(y - top, 0, srcRoi.height - 1)) over all of `dstRoi`:
/// the source, with its edge samples repeated around it. A border below 0 on any side is `ippStsSizeErr`.
PIXMILL_API IppStatus ippiCopyReplicateBorder_8u_C1R(const unsigned char* src, int srcStep, IppiSize srcRoi,
                                                     unsigned char* dst, int dstStep, IppiSize dstRoi, int top,
                                                     int left);
PIXMILL_API IppStatus ippiCopyReplicateBorder_16u_C1R(const unsigned short* src, int srcStep, IppiSize srcRoi,
                                                      unsigned short* dst, int dstStep, IppiSize dstRoi, int top,
                                                      int left);
PIXMILL_API IppStatus ippiCopyReplicateBorder_32f_C1R(const float* src, int srcStep, IppiSize srcRoi, float* dst,
                                                      int dstStep, IppiSize dstRoi, int top, int left);
///@}

/// The same around samples already in place: `src` addresses the first of them, and `dstRoi` begins `top` rows above
/// and `left` samples left of it. Only the border is written.
PIXMILL_API IppStatus ippiCopyReplicateBorder_32f_C1IR(const float* src, int step, IppiSize srcRoi, IppiSize dstRoi,
                                                       int top, int left);

///@{
/// dst(x, y) = offset + slope * x, slope * y or slope * x * y, formed in double, rounded once and saturated.
///
/// @param axis  an `IppiAxis`; any other is `ippStsBadArgErr`.
PIXMILL_API IppStatus ippiImageRamp_8u_C1R(unsigned char* dst, int dstStep, IppiSize roi, float offset, float slope,
                                           int axis);
PIXMILL_API IppStatus ippiImageRamp_16u_C1R(unsigned short* dst, int dstStep, IppiSize roi, float offset, float slope,
                                            int axis);
///@}
