#pragma once

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

PIXMILL_API IppStatus ippiResizeGetBufSize(IppiRect srcRoi, IppiRect dstRoi, int nChannel, int interpolation,
                                           int* pSize);
PIXMILL_API IppStatus ippiResizeSqrPixel_8u_C1R(const unsigned char* src, IppiSize srcSize, int srcStep,
                                                IppiRect srcRoi, unsigned char* dst, int dstStep, IppiRect dstRoi,
                                                double xFactor, double yFactor, double xShift, double yShift,
                                                int interpolation, unsigned char* buffer);
PIXMILL_API IppStatus ippiResizeSqrPixel_16u_C1R(const unsigned short* src, IppiSize srcSize, int srcStep,
                                                 IppiRect srcRoi, unsigned short* dst, int dstStep, IppiRect dstRoi,
                                                 double xFactor, double yFactor, double xShift, double yShift,
                                                 int interpolation, unsigned char* buffer);
PIXMILL_API IppStatus ippiResizeSqrPixel_32f_C1R(const float* src, IppiSize srcSize, int srcStep, IppiRect srcRoi,
                                                 float* dst, int dstStep, IppiRect dstRoi, double xFactor,
                                                 double yFactor, double xShift, double yShift, int interpolation,
                                                 unsigned char* buffer);
