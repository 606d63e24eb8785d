#pragma once
// Plain forms: `reference/box_mean.h`, `reference/gauss_mask.h`, `reference/morphology.h`.

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

/// @file
/// Filters of a neighbourhood. `src` addresses the first result's sample inside a larger image: neighbours outside the
/// region are read from memory, where the caller must have put them. Cell (i, j) of a mask lies on
/// src(x - anchor.x + i, y - anchor.y + j). `src` and `dst` must not overlap, but in the forms in place, which read
/// every sample as it was before the call and write none outside the region.
///
/// A mask side of 0 or less is `ippStsMaskSizeErr`, an anchor outside the mask `ippStsAnchorErr`.

///@{
/// dst = mean of the mask.width x mask.height window, at a cost that hardly depends on its size.
///
/// 8u, 16u: the exact sum over the count. 32f: the sum in double, in an order that depends on the mask and the place in
/// the region alone, divided and narrowed once; a sample, were it infinite or NaN, affects only the windows that hold
/// it. A window of one sample copies.
PIXMILL_API IppStatus ippiFilterBox_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep,
                                           IppiSize roi, IppiSize mask, IppiPoint anchor);
PIXMILL_API IppStatus ippiFilterBox_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep,
                                            IppiSize roi, IppiSize mask, IppiPoint anchor);
PIXMILL_API IppStatus ippiFilterBox_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize roi,
                                            IppiSize mask, IppiPoint anchor);
///@}

///@{
/// The same in place, with the same bits.
PIXMILL_API IppStatus ippiFilterBox_8u_C1IR(unsigned char* srcDst, int step, IppiSize roi, IppiSize mask,
                                            IppiPoint anchor);
PIXMILL_API IppStatus ippiFilterBox_16u_C1IR(unsigned short* srcDst, int step, IppiSize roi, IppiSize mask,
                                             IppiPoint anchor);
PIXMILL_API IppStatus ippiFilterBox_32f_C1IR(float* srcDst, int step, IppiSize roi, IppiSize mask, IppiPoint anchor);
///@}

///@{
/// dst = weighted mean of the 5 x 5 window (`ippMskSize5x5`) with rows 2 7 12 7 2, 7 31 52 31 7, 12 52 127 52 12,
/// 7 31 52 31 7, 2 7 12 7 2 over 571, or of the 3 x 3 window (`ippMskSize3x3`) with rows 1 2 1, 2 4 2, 1 2 1 over 16;
/// centred. 32f: summed in double, row by row, and narrowed once. Any other code is `ippStsMaskSizeErr`.
PIXMILL_API IppStatus ippiFilterGauss_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep,
                                             IppiSize roi, int mask);
PIXMILL_API IppStatus ippiFilterGauss_32f_C1R(const float* src, int srcStep, float* dst, int dstStep, IppiSize roi,
                                              int mask);
///@}

///@{
/// dst = greatest (Dilate) or least (Erode) sample under the non-zero bytes of `mask`, whose rows are maskSize.width
/// bytes apart. A mask without one is `ippStsMaskSizeErr`.
PIXMILL_API IppStatus ippiDilate_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep,
                                        IppiSize roi, const unsigned char* mask, IppiSize maskSize, IppiPoint anchor);
PIXMILL_API IppStatus ippiDilate_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep,
                                         IppiSize roi, const unsigned char* mask, IppiSize maskSize, IppiPoint anchor);
PIXMILL_API IppStatus ippiErode_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep,
                                       IppiSize roi, const unsigned char* mask, IppiSize maskSize, IppiPoint anchor);
PIXMILL_API IppStatus ippiErode_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep,
                                        IppiSize roi, const unsigned char* mask, IppiSize maskSize, IppiPoint anchor);
///@}

///@{
/// srcDst = greatest or least sample of the 3 x 3 window around each, in place.
PIXMILL_API IppStatus ippiDilate3x3_16u_C1IR(unsigned short* srcDst, int step, IppiSize roi);
PIXMILL_API IppStatus ippiErode3x3_16u_C1IR(unsigned short* srcDst, int step, IppiSize roi);
///@}
