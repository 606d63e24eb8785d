#pragma once

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

///@{
/// dst = src, exactly.
PIXMILL_API IppStatus ippiConvert_8u32f_C1R(const unsigned char* src, int srcStep, float* dst, int dstStep,
                                            IppiSize roi);
PIXMILL_API IppStatus ippiConvert_16u32f_C1R(const unsigned short* src, int srcStep, float* dst, int dstStep,
                                             IppiSize roi);
///@}

///@{
/// dst = src rounded, then saturated; NaN gives 0.
///
/// @param roundMode  `ippRndZero` toward zero, `ippRndNear` to nearest with ties to even, `ippRndFinancial` to nearest
///                   with ties away from zero; any other is `ippStsBadArgErr`.
PIXMILL_API IppStatus ippiConvert_32f8u_C1R(const float* src, int srcStep, unsigned char* dst, int dstStep,
                                            IppiSize roi, int roundMode);
PIXMILL_API IppStatus ippiConvert_32f16u_C1R(const float* src, int srcStep, unsigned short* dst, int dstStep,
                                             IppiSize roi, int roundMode);
///@}

/// dst = 257 * src in all four channels: 0..255 becomes 0..65535.
PIXMILL_API IppStatus ippiScale_8u16u_C4R(const unsigned char* src, int srcStep, unsigned short* dst, int dstStep,
                                          IppiSize roi);

/// dst = src / 257 to nearest in all four channels: 0..65535 becomes 0..255.
///
/// @param hint  an `IppHintAlgorithm`, which changes no result; any other is `ippStsBadArgErr`.
PIXMILL_API IppStatus ippiScale_16u8u_C4R(const unsigned short* src, int srcStep, unsigned char* dst, int dstStep,
                                          IppiSize roi, int hint);
