#pragma once
// Plain forms: `reference/threshold_table.h`, `reference/tone_curve.h`.

#include <pixmill/curves/TLut1D.h>

/// Tables of the linear threshold curve: a straight line through mid-grey, a gap or a dead zone cut into it around
/// mid-grey, and a smoothing of the cut.
///
/// Every `setup...` rebuilds the whole table from the four fields and its arguments; before the first one the table is
/// undefined. The line is M + slope * (x - M) with M the middle entry; the slope goes from 1 to `m_kHigh` as its
/// control goes from 0 to 1, and to `m_kLow` as it goes to -1. A positive threshold t opens a gap: the t *
/// m_thresholdRange / max(slope, 1) entries on each side of M take the line's value at their outer end. A negative one
/// sets that many entries on each side of M to M. At a half-width of r entries the cut is smoothed by a Gaussian of
/// sigma r * m_thresholdSmooth, unless that is 1 or less. Half-widths are limited to M - 1.
class PIXMILL_API TLut8U : public TLut1D {
public:
    float m_kLow;            ///< Slope at the negative end of the slope control.
    float m_kHigh;           ///< Slope at the positive end of the slope control.
    int m_thresholdRange;    ///< Threshold half-width at a control of 1, in entries.
    float m_thresholdSmooth; ///< Sigma of the smoothing per entry of the half-width.

    /// Stores the four fields; the table is undefined until the first `setup...`.
    TLut8U(float kLow, float kHigh, int thresholdRange, float thresholdSmooth);

    /// Stores the four fields; the table stays as it is.
    void setKRange(float kLow, float kHigh, int thresholdRange, float thresholdSmooth);

    /// Rebuilds the table. The shifts, -1..1, move slope and threshold from their base towards 1 or -1.
    void setupLinearThreshold(float kShift, float tShift, float kBase, float tBase);
};

/// The 16-bit form, whose shifts move towards 1.5 or -1.5 by two thirds, and which damps negative thresholds by 0.4.
class PIXMILL_API TLut16U : public TLut1D {
public:
    float m_kLow;            ///< Slope at the negative end of the slope control.
    float m_kHigh;           ///< Slope at the positive end of the slope control.
    int m_thresholdRange;    ///< Threshold half-width at a control of 1, in entries.
    float m_thresholdSmooth; ///< Sigma of the smoothing per entry of the half-width.
    float m_adjustCurve[64]; ///< The curve of the last `setupLightAdjust`, 0..1.

    /// Stores the four fields; the table is undefined until the first `setup...`.
    TLut16U(float kLow, float kHigh, int thresholdRange, float thresholdSmooth);

    /// Stores the four fields; the table stays as it is.
    void setKRange(float kLow, float kHigh, int thresholdRange, float thresholdSmooth);

    /// Rebuilds the table. The shifts, -1.5..1.5, move slope and threshold from their base.
    void setupLinearThreshold(float kShift, float tShift, float kBase, float tBase);

    /// Rebuilds the table from a straight line and a curve over it: the not-a-knot spline through (0, 0), a shadow knot
    /// at 0.25, (0.5, 0.5), a highlight knot at 0.75, and (1, 1).
    ///
    /// @param offset        Moves the line by a fifth of the range at 1.
    /// @param slopeControl  Tilts the line about mid-grey, as the slope control above.
    /// @param shadows       Moves the shadow knot, as `highlights` the other: by 0.175 at 1.
    void setupLightAdjust(float offset, float slopeControl, float shadows, float highlights);
};
