#pragma once
// Plain form: `reference/light_curve.h`.

#include <pixmill/core/Export.h>
#include <pixmill/curves/TLutY16U.h>

/// The detail engine's tone mapping: six settings become a curve through five knots and a straight line in the square
/// root of luma, and their gain over neutral settings acts on R, G and B alike, so that a brighter pixel keeps its
/// colour. Colours the gain pushes out of gamut keep their hue and lose saturation.
///
/// With neutral settings (all 0) the gain is 1 but for the last digits.
class PIXMILL_API TLightAdjLUTq3 : public TLutY16U {
public:
    float m_curve[64] = {}; ///< The tone curve at 64 even steps of 0..1; values 0..1.
    float m_offset = 0;     ///< Offset in the square root of luma.
    float m_slope = 1;      ///< Slope in the square root of luma, about the pivot 0.707.
    float m_highlights = 0; ///< The setting as given, like the three below.
    float m_shadows = 0;    ///< Shadows as given.
    float m_whites = 0;     ///< Whites as given.
    float m_blacks = 0;     ///< Blacks as given.

    /// The curve of neutral settings, against which the gain is measured.
    static const float toneCurveRef[64];

    /// Computes every field from the settings, -1..1 each. Comes before the first `proc`.
    void setupParams(float brightness, float contrast, float highlights, float shadows, float whites, float blacks);

    /// The mapping of one pixel, 16-bit luma and differences with 32768 as no colour. Only reads the object.
    void mapYDrDb(unsigned short& y, unsigned short& dr, unsigned short& db) override;
};
