#pragma once

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

PIXMILL_API IppStatus ippiFilterBox_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep,
                                           IppiSize roi, IppiSize mask, IppiPoint anchor);
PIXMILL_API IppStatus ippiFilterBox_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep,
                                            IppiSize roi, IppiSize mask, IppiPoint anchor);
PIXMILL_API IppStatus ippiFilterBox_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize roi,
                                            IppiSize mask, IppiPoint anchor);
PIXMILL_API IppStatus ippiFilterBox_8u_C1IR(unsigned char* srcDst, int step, IppiSize roi, IppiSize mask,
                                            IppiPoint anchor);
PIXMILL_API IppStatus ippiFilterBox_16u_C1IR(unsigned short* srcDst, int step, IppiSize roi, IppiSize mask,
                                             IppiPoint anchor);
PIXMILL_API IppStatus ippiFilterBox_32f_C1IR(float* srcDst, int step, IppiSize roi, IppiSize mask, IppiPoint anchor);

PIXMILL_API IppStatus ippiFilterGauss_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep,
                                             IppiSize roi, int mask);
PIXMILL_API IppStatus ippiFilterGauss_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize roi,
                                              int mask);

PIXMILL_API IppStatus ippiDilate_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep,
                                        IppiSize roi, const unsigned char* mask, IppiSize maskSize, IppiPoint anchor);
PIXMILL_API IppStatus ippiDilate_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep,
                                         IppiSize roi, const unsigned char* mask, IppiSize maskSize, IppiPoint anchor);
PIXMILL_API IppStatus ippiErode_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep,
                                       IppiSize roi, const unsigned char* mask, IppiSize maskSize, IppiPoint anchor);
PIXMILL_API IppStatus ippiErode_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep,
                                        IppiSize roi, const unsigned char* mask, IppiSize maskSize, IppiPoint anchor);
PIXMILL_API IppStatus ippiDilate3x3_16u_C1IR(unsigned short* srcDst, int step, IppiSize roi);
PIXMILL_API IppStatus ippiErode3x3_16u_C1IR(unsigned short* srcDst, int step, IppiSize roi);
