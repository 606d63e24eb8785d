#pragma once

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

/// @file
/// Single-precision arithmetic, sample by sample; infinities and NaN pass. Beware of the order: the forms with two
/// sources and a destination subtract and divide the *second* source by the first.

///@{
/// srcDst = srcDst + src, - src, * src
PIXMILL_API IppStatus ippiAdd_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize roi);
PIXMILL_API IppStatus ippiSub_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize roi);
PIXMILL_API IppStatus ippiMul_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize roi);
///@}

/// srcDst = srcDst / src. Returns `ippStsDivByZero` when a sample of `src` was 0; the quotients are then infinite or
/// NaN.
PIXMILL_API IppStatus ippiDiv_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize roi);

/// dst = src2 - src1
PIXMILL_API IppStatus ippiSub_32f_C1R(const float* src1, int step1, const float* src2, int step2, float* dst,
                                      int dstStep, IppiSize roi);

/// dst = src1 * src2
PIXMILL_API IppStatus ippiMul_32f_C1R(const float* src1, int step1, const float* src2, int step2, float* dst,
                                      int dstStep, IppiSize roi);

/// dst = src2 / src1. Returns `ippStsDivByZero` when a sample of `src1` was 0.
PIXMILL_API IppStatus ippiDiv_32f_C1R(const float* src1, int step1, const float* src2, int step2, float* dst,
                                      int dstStep, IppiSize roi);

///@{
/// srcDst = srcDst + value, - value
PIXMILL_API IppStatus ippiAddC_32f_C1IR(float value, float* srcDst, int step, IppiSize roi);
PIXMILL_API IppStatus ippiSubC_32f_C1IR(float value, float* srcDst, int step, IppiSize roi);
///@}

/// srcDst = srcDst / value. A `value` of 0 is `ippStsDivByZeroErr`, and nothing is written.
PIXMILL_API IppStatus ippiDivC_32f_C1IR(float value, float* srcDst, int step, IppiSize roi);

/// dst = src * value
PIXMILL_API IppStatus ippiMulC_32f_C1R(const float* src, int srcStep, float value, float* dst, int dstStep,
                                       IppiSize roi);

///@{
/// dst = src * src
PIXMILL_API IppStatus ippiSqr_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize roi);
PIXMILL_API IppStatus ippiSqr_32f_C1IR(float* srcDst, int step, IppiSize roi);
///@}

///@{
/// srcDst = value where srcDst > threshold, or < threshold; equal samples and NaN stay.
PIXMILL_API IppStatus ippiThreshold_GTVal_32f_C1IR(float* srcDst, int step, IppiSize roi, float threshold, float value);
PIXMILL_API IppStatus ippiThreshold_LTVal_32f_C1IR(float* srcDst, int step, IppiSize roi, float threshold, float value);
///@}

/// srcDst[n] = srcDst[n] / src[n] for n below `len`; `ippStsDivByZero` as above.
PIXMILL_API IppStatus ippsDiv_32f_I(const float* src, float* srcDst, int len);
