#pragma once

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

typedef int IppStatus;

struct IppiSize {
    int width;
    int height;
};

struct IppiRect {
    int x;
    int y;
    int width;
    int height;
};

struct IppiPoint {
    int x;
    int y;
};

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

enum IppRoundMode { ippRndZero = 0, ippRndNear = 1, ippRndFinancial = 2 };
enum IppHintAlgorithm { ippAlgHintNone = 0, ippAlgHintFast = 1, ippAlgHintAccurate = 2 };
enum IppiAxis { ippAxsHorizontal = 0, ippAxsVertical = 1, ippAxsBoth = 2 };
enum IppiMaskSize { ippMskSize3x3 = 33, ippMskSize5x5 = 55 };
enum { IPPI_INTER_NN = 1, IPPI_INTER_LINEAR = 2, IPPI_INTER_CUBIC = 4 };
