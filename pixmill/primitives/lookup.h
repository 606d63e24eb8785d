#pragma once

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

PIXMILL_API IppStatus ippiLUTPalette_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep,
                                            IppiSize roi, const unsigned char* table, int nBitSize);
PIXMILL_API IppStatus ippiLUTPalette_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep,
                                             IppiSize roi, const unsigned short* table, int nBitSize);
PIXMILL_API IppStatus ippiLUTPalette_16u8u_C1R(const unsigned short* src, int srcStep, unsigned char* dst, int dstStep,
                                               IppiSize roi, const unsigned char* table, int nBitSize);
PIXMILL_API IppStatus ippiLUT_Linear_16u_C1IR(unsigned short* srcDst, int step, IppiSize roi, const int* values,
                                              const int* levels, int nLevels);
