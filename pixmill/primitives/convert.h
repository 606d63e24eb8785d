#pragma once

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

PIXMILL_API IppStatus ippiConvert_8u32f_C1R(const unsigned char* src, int srcStep, float* dst, int dstStep,
                                            IppiSize roi);
PIXMILL_API IppStatus ippiConvert_16u32f_C1R(const unsigned short* src, int srcStep, float* dst, int dstStep,
                                             IppiSize roi);
PIXMILL_API IppStatus ippiConvert_32f8u_C1R(const float* src, int srcStep, unsigned char* dst, int dstStep,
                                            IppiSize roi, int roundMode);
PIXMILL_API IppStatus ippiConvert_32f16u_C1R(const float* src, int srcStep, unsigned short* dst, int dstStep,
                                             IppiSize roi, int roundMode);
PIXMILL_API IppStatus ippiScale_8u16u_C4R(const unsigned char* src, int srcStep, unsigned short* dst, int dstStep,
                                          IppiSize roi);
PIXMILL_API IppStatus ippiScale_16u8u_C4R(const unsigned short* src, int srcStep, unsigned char* dst, int dstStep,
                                          IppiSize roi, int hint);
