#pragma once

/// @file
/// Records, status codes and enumerations of the image and vector primitives.
///
/// Rules of the whole family, unless a function says otherwise:
/// - Steps are bytes between rows, regions are in pixels, and a pointer addresses the first sample of the region.
/// - A status below 0 is an error: nothing was written. A status above 0 is a warning: the work was done.
///   Tested in this order: null pointers (`ippStsNullPtrErr`), region or length of zero or less (`ippStsSizeErr`),
///   steps of zero or less (`ippStsStepErr`), then the rest.
/// - Integer results are rounded once, at the end, to nearest with ties to even, then saturated; NaN gives 0.
///   32f arithmetic is one IEEE single-precision operation a sample.
/// - In-place forms read every sample as it was before the call. Element-wise forms accept dst == src.
/// - No global state: safe on disjoint regions from several threads.

typedef int IppStatus; ///< What every primitive returns: one of the codes below.

/// A size in pixels.
struct IppiSize {
    int width;  ///< Columns.
    int height; ///< Rows.
};

/// A rectangle in pixels.
struct IppiRect {
    int x;      ///< First column.
    int y;      ///< First row.
    int width;  ///< Columns.
    int height; ///< Rows.
};

/// A place in pixels.
struct IppiPoint {
    int x; ///< Column.
    int y; ///< Row.
};

/// Status codes: errors below 0, warnings above.
enum {
    ippStsLUTNofLevelsErr = -106, ///< fewer than 2 levels
    ippStsAnchorErr = -34,        ///< anchor outside the mask
    ippStsMaskSizeErr = -33,      ///< mask size or mask code not valid
    ippStsResizeFactorErr = -23,  ///< resize factor of zero or less
    ippStsInterpolationErr = -22, ///< unknown interpolation code
    ippStsStepErr = -14,          ///< step of zero or less
    ippStsOutOfRangeErr = -11,    ///< nBitSize out of range
    ippStsDivByZeroErr = -10,     ///< division by a zero constant; singular matrix
    ippStsNullPtrErr = -8,        ///< null pointer
    ippStsSizeErr = -6,           ///< region or length of zero or less; border sizes that do not fit
    ippStsBadArgErr = -5,         ///< unknown round mode, axis or hint
    ippStsNoErr = 0,              ///< success
    ippStsDivByZero = 6,          ///< warning: some divisor samples were 0
    ippStsWrongIntersectROI = 29  ///< warning: the source region misses the image; nothing done
};

/// How a conversion to whole numbers rounds.
enum IppRoundMode : int {
    ippRndZero = 0,     ///< Toward zero.
    ippRndNear = 1,     ///< To nearest, ties to even.
    ippRndFinancial = 2 ///< To nearest, ties away from zero.
};

/// What a caller would rather have; changes no result.
enum IppHintAlgorithm : int {
    ippAlgHintNone = 0,    ///< No wish.
    ippAlgHintFast = 1,    ///< Speed.
    ippAlgHintAccurate = 2 ///< Accuracy.
};

/// The axis along which a ramp rises.
enum IppiAxis : int {
    ippAxsHorizontal = 0, ///< Along the columns' numbers.
    ippAxsVertical = 1,   ///< Along the rows' numbers.
    ippAxsBoth = 2        ///< With the product of both numbers.
};

/// The window of a Gaussian mask.
enum IppiMaskSize : int {
    ippMskSize3x3 = 33, ///< 3 x 3 samples.
    ippMskSize5x5 = 55  ///< 5 x 5 samples.
};

/// Interpolation codes, the one vocabulary of all resampling; what each computes is told in `resize.h`.
enum {
    IPPI_INTER_NN = 1,     ///< The nearest sample.
    IPPI_INTER_LINEAR = 2, ///< The line between two samples along each axis.
    IPPI_INTER_CUBIC = 4   ///< The third-degree polynomial through four samples along each axis.
};
