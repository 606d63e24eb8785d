#pragma once

#include <pixmill/develop/Export.h>

#include <opencv2/core/types.hpp>

#include <variant>
#include <vector>

/// Masks as values: what is selected, told in shares of the picture, so that the same mask fits a smaller copy of it.
///
/// Places are shares of the picture's width and height, (0, 0) its upper left corner and (1, 1) its lower right one,
/// and may lie outside. Lengths are shares of its longer side. A rendered mask has 8 bits, 255 being fully selected.
namespace pixmill {

/// One stroke of a brush. Dots are set along the line through its points, a tenth of the diameter apart.
struct BrushStroke {
    std::vector<cv::Point2f> points; ///< Where the brush went; one point is one dot.
    float diameter = 0.05f;          ///< Outer diameter, above 0 to 2.
    float hardness = 0.5f;           ///< Inner diameter, of full weight, over the outer one: 0 soft .. 1 hard.
    float opacity = 1.0f;            ///< 0..1; dots of one stroke never pile up past it.
    float edge = 0.0f;               ///< 0..4: stops at the picture's edges, sooner the larger; 1 is a good start.
    bool erase = false;              ///< Takes away from what earlier strokes selected.

    bool operator==(const BrushStroke& o) const;
    bool operator!=(const BrushStroke& o) const { return !(*this == o); }
};

/// Strokes in order, on nothing selected. The last one is undone by taking it off the list.
struct Brush {
    std::vector<BrushStroke> strokes; ///< In the order they were painted.

    bool operator==(const Brush& o) const { return strokes == o.strokes; }
    bool operator!=(const Brush& o) const { return !(*this == o); }
};

/// Full before the line through `from` across the direction to `to`, nothing behind the one through `to`, smooth
/// between. Where both are one place nothing is selected.
struct LinearGradient {
    cv::Point2f from{0.5f, 0.0f}; ///< Full up to here.
    cv::Point2f to{0.5f, 0.5f};   ///< Nothing from here on.

    bool operator==(const LinearGradient& o) const { return from == o.from && to == o.to; }
    bool operator!=(const LinearGradient& o) const { return !(*this == o); }
};

/// An ellipse: full within `hardness` of its radii, falling smoothly to nothing at its rim.
struct RadialGradient {
    cv::Point2f center{0.5f, 0.5f}; ///< The ellipse's middle.
    float radiusX = 0.25f;          ///< Above 0 to 4.
    float radiusY = 0.25f;          ///< Above 0 to 4.
    float angle = 0.0f;             ///< Degrees clockwise, -180..180.
    float hardness = 0.5f;          ///< 0..1.

    bool operator==(const RadialGradient& o) const;
    bool operator!=(const RadialGradient& o) const { return !(*this == o); }
};

/// Pixels whose luma in the photograph, 0..1, lies from `low` to `high`; falling to nothing over `softness` outside.
struct LumaRange {
    float low = 0.0f;      ///< 0..1.
    float high = 1.0f;     ///< 0..1, at least `low`.
    float softness = 0.1f; ///< 0..1.

    bool operator==(const LumaRange& o) const { return low == o.low && high == o.high && softness == o.softness; }
    bool operator!=(const LumaRange& o) const { return !(*this == o); }
};

/// How a component joins what those before it selected.
enum class MaskCombine {
    Add,       ///< The larger of the two.
    Subtract,  ///< The smaller of what was there and 255 less the component.
    Intersect, ///< The smaller of the two.
};

/// One part of a mask.
struct MaskComponent {
    std::variant<Brush, LinearGradient, RadialGradient, LumaRange> shape; ///< What it selects.
    MaskCombine combine = MaskCombine::Add;                               ///< How it joins those before it.
    bool invert = false;  ///< Takes 255 less the shape, before the feather.
    float feather = 0.0f; ///< 0..0.5: how far the component's edge is smoothed, as a share of the longer side.

    bool operator==(const MaskComponent& o) const;
    bool operator!=(const MaskComponent& o) const { return !(*this == o); }
};

/// What a local adjustment selects: components joined in order, on nothing where the first one adds and on everything
/// where it subtracts or intersects. Without components nothing is selected.
struct PIXMILL_DEVELOP_API Mask {
    std::vector<MaskComponent> components; ///< Joined in order.

    bool operator==(const Mask& o) const { return components == o.components; }
    bool operator!=(const Mask& o) const { return !(*this == o); }

    /// Takes the last stroke off the last brush that has one. @return whether there was one.
    bool undoStroke();
};

inline bool BrushStroke::operator==(const BrushStroke& o) const
{
    return points == o.points && diameter == o.diameter && hardness == o.hardness && opacity == o.opacity &&
           edge == o.edge && erase == o.erase;
}

inline bool RadialGradient::operator==(const RadialGradient& o) const
{
    return center == o.center && radiusX == o.radiusX && radiusY == o.radiusY && angle == o.angle &&
           hardness == o.hardness;
}

inline bool MaskComponent::operator==(const MaskComponent& o) const
{
    return shape == o.shape && combine == o.combine && invert == o.invert && feather == o.feather;
}

} // namespace pixmill
