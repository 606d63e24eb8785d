#pragma once
// Plain form: `reference/resize.h`.

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

/// @file
/// Resizing on the square-pixel model: pixel i is the square [i, i + 1), and
///     destination coordinate = factor * source coordinate + shift   on both axes.
/// So destination pixel X reads the source at u = (X + 0.5 - shift) / factor - 0.5, an integer u being a sample. A u
/// that misses a multiple of 1/256 only by the rounding of a factor like 1.0 / 3 is taken as that multiple.
///
/// Codes: `IPPI_INTER_NN` the nearest sample, floor(u + 0.5); `IPPI_INTER_LINEAR` the line between the samples floor(u)
/// and the next; `IPPI_INTER_CUBIC` the third-degree polynomial through the four samples from floor(u) - 1. Along x
/// first, then along y. Where u is a sample, that sample is the result, whatever its neighbours hold. There is no
/// averaging when reducing.
///
/// Weights and sums are double and rounded once, at the end. Exact halves go up, in these functions alone; then the
/// result saturates. Samples outside the source region repeat its edge, so every pixel of the destination region is
/// written.
///
/// `src` and `dst` address the images' origins, and the rectangles choose within them. `buffer` holds at least the
/// bytes that `ippiResizeGetBufSize` gives for the same rectangles and code. The planes must not share pixels.
///
/// Statuses, in this order: `ippStsNullPtrErr` (buffer included), `ippStsSizeErr` for a side of zero or less,
/// `ippStsStepErr`, `ippStsResizeFactorErr` for a factor that is not above 0, `ippStsInterpolationErr` for another
/// code, and the warning `ippStsWrongIntersectROI` when the source region misses the image. In all of them `dst` is
/// untouched.
///
/// Serial: a call works on its own thread alone.

/// Stores the bytes of work buffer that a resize of these regions needs: above 0 whenever `pSize` is not null, also
/// when the status tells of a bad size or code, as callers drop the status and allocate what was stored.
PIXMILL_API IppStatus ippiResizeGetBufSize(IppiRect srcRoi, IppiRect dstRoi, int nChannel, int interpolation,
                                           int* pSize);

///@{
/// Fills `dstRoi` from `srcRoi`, by the formula above.
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
///@}
