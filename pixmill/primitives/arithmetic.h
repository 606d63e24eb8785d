#pragma once

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

PIXMILL_API IppStatus ippiAdd_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize roi);
PIXMILL_API IppStatus ippiSub_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize roi);
PIXMILL_API IppStatus ippiMul_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize roi);
PIXMILL_API IppStatus ippiDiv_32f_C1IR(const float* src, int srcStep, float* srcDst, int step, IppiSize roi);
PIXMILL_API IppStatus ippiSub_32f_C1R(const float* src1, int step1, const float* src2, int step2, float* dst,
                                      int dstStep, IppiSize roi);
PIXMILL_API IppStatus ippiMul_32f_C1R(const float* src1, int step1, const float* src2, int step2, float* dst,
                                      int dstStep, IppiSize roi);
PIXMILL_API IppStatus ippiDiv_32f_C1R(const float* src1, int step1, const float* src2, int step2, float* dst,
                                      int dstStep, IppiSize roi);
PIXMILL_API IppStatus ippiAddC_32f_C1IR(float value, float* srcDst, int step, IppiSize roi);
PIXMILL_API IppStatus ippiSubC_32f_C1IR(float value, float* srcDst, int step, IppiSize roi);
PIXMILL_API IppStatus ippiDivC_32f_C1IR(float value, float* srcDst, int step, IppiSize roi);
PIXMILL_API IppStatus ippiMulC_32f_C1R(const float* src, int srcStep, float value, float* dst, int dstStep,
                                       IppiSize roi);
PIXMILL_API IppStatus ippiSqr_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize roi);
PIXMILL_API IppStatus ippiSqr_32f_C1IR(float* srcDst, int step, IppiSize roi);
PIXMILL_API IppStatus ippiThreshold_GTVal_32f_C1IR(float* srcDst, int step, IppiSize roi, float threshold, float value);
PIXMILL_API IppStatus ippiThreshold_LTVal_32f_C1IR(float* srcDst, int step, IppiSize roi, float threshold, float value);
PIXMILL_API IppStatus ippsDiv_32f_I(const float* src, float* srcDst, int len);
