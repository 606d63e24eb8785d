#pragma once
// Plain form: `reference/table_look_up.h`.

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

///@{
/// dst = table[src & (2^nBitSize - 1)]: the low `nBitSize` bits of a sample choose one of so many entries.
///
/// @param nBitSize  1..8 for an 8u source, 1..16 for a 16u source; any other is `ippStsOutOfRangeErr`.
PIXMILL_API IppStatus ippiLUTPalette_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep,
                                            IppiSize roi, const unsigned char* table, int nBitSize);
PIXMILL_API IppStatus ippiLUTPalette_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep,
                                             IppiSize roi, const unsigned short* table, int nBitSize);
PIXMILL_API IppStatus ippiLUTPalette_16u8u_C1R(const unsigned short* src, int srcStep, unsigned char* dst, int dstStep,
                                               IppiSize roi, const unsigned char* table, int nBitSize);
///@}

/// Piecewise linear map: for v in [levels[k], levels[k + 1]) the rounded, saturated
/// values[k] + (v - levels[k]) * (values[k + 1] - values[k]) / (levels[k + 1] - levels[k]), formed in double.
///
/// The lowest such k counts, so a repeated level makes a jump. The last level itself takes the last value; what lies in
/// no interval stays. Levels may be negative, above 65535 or out of order.
///
/// @param nLevels  entries of `values` and of `levels`; below 2 is `ippStsLUTNofLevelsErr`.
PIXMILL_API IppStatus ippiLUT_Linear_16u_C1IR(unsigned short* srcDst, int step, IppiSize roi, const int* values,
                                              const int* levels, int nLevels);
