#pragma once

#include <pixmill/develop/Recipe.h>

/// The one table of a recipe's members: name, range, unit and a line of words. A visitor walks through it with
///
///     number(name, float&, {least, most}, unit, text)    flag(name, bool&, text)    word(name, std::string&, text)
///     point(name, cv::Point2f&, text)                    points(name, std::vector<cv::Point2f>&, text)
///     choice(name, Enum&, {names in the enum's order}, text)
///     group(name, member with members)                   list(name, std::vector of such, text)
///     oneOf({names in the variant's order}, std::variant of such)
///
/// and JSON, --set, --help and the documentation are such visitors. A member's neutral value is what a new object has.
namespace pixmill::develop {

struct Range {
    float least, most;
};

constexpr Range kControl{-1, 1}, kShare{0, 1};

template <class Visitor>
void describe(Visitor& v, Light& m)
{
    v.number("brightness", m.brightness, kControl, "", "The whole picture darker or brighter.");
    v.number("contrast", m.contrast, kControl, "", "Flatter or stronger contrast around the middle tones.");
    v.number("highlights", m.highlights, kControl, "", "Bright parts down or up.");
    v.number("shadows", m.shadows, kControl, "", "Dark parts down or up.");
    v.number("whites", m.whites, kControl, "", "Where white begins: above 0 more of the picture is white.");
    v.number("blacks", m.blacks, kControl, "", "Where black ends: below 0 more of the picture is black.");
}

template <class Visitor>
void describe(Visitor& v, ColorWeights& m)
{
    v.number("red", m.red, kControl, "", "Reds darker or brighter, as with a filter before the lens.");
    v.number("green", m.green, kControl, "", "Greens darker or brighter.");
    v.number("blue", m.blue, kControl, "", "Blues darker or brighter.");
}

template <class Visitor>
void describe(Visitor& v, DetailZone& m)
{
    v.number("slope", m.slope, kControl, "", "Smoother or crisper; -1 takes the detail out.");
    v.number("threshold", m.threshold, kControl, "", "Below 0 drops weak detail such as noise, above 0 lifts it.");
}

template <class Visitor>
void describe(Visitor& v, DetailLevel& m)
{
    v.group("base", m.base);
    v.group("shadows", m.shadows);
    v.group("midtones", m.midtones);
}

template <class Visitor>
void describe(Visitor& v, Detail& m)
{
    v.group("fine", m.fine);
    v.group("medium", m.medium);
    v.group("coarse", m.coarse);
}

template <class Visitor>
void describe(Visitor& v, Color& m)
{
    v.number("warmth", m.warmth, kControl, "", "Cooler or warmer.");
    v.number("tint", m.tint, kControl, "", "Greener or more magenta.");
    v.number("saturation", m.saturation, kControl, "", "Less or more colour; -1 takes all out.");
    v.number("chromaFloor", m.chromaFloor, kControl, "", "Above 0 lifts weak colours, below 0 removes them.");
}

template <class Visitor>
void describe(Visitor& v, Table3D& m)
{
    v.word("path", m.path, "A .cube file with a table of colours, beside the recipe; empty: none.");
    v.number("strength", m.strength, kShare, "", "How much of the table's change is made.");
}

template <class Visitor>
void describe(Visitor& v, BrushStroke& m)
{
    v.points("points", m.points, "Where the brush went, as shares of width and height; one point is one dot.");
    v.number("diameter", m.diameter, {1e-6f, 2}, "longer side", "Outer diameter.");
    v.number("hardness", m.hardness, kShare, "", "Inner diameter, of full weight, over the outer one.");
    v.number("opacity", m.opacity, kShare, "", "How much one stroke selects at most.");
    v.number("edge", m.edge, {0, 4}, "", "Stops at the picture's edges, sooner the larger; 1 is a good start.");
    v.flag("erase", m.erase, "Takes away from what earlier strokes selected.");
}

template <class Visitor>
void describe(Visitor& v, Brush& m)
{
    v.list("strokes", m.strokes, "The strokes in order.");
}

template <class Visitor>
void describe(Visitor& v, LinearGradient& m)
{
    v.point("from", m.from, "Up to here all is selected; shares of width and height.");
    v.point("to", m.to, "From here on nothing is.");
}

template <class Visitor>
void describe(Visitor& v, RadialGradient& m)
{
    v.point("center", m.center, "The ellipse's middle; shares of width and height.");
    v.number("radiusX", m.radiusX, {1e-6f, 4}, "longer side", "Half its width.");
    v.number("radiusY", m.radiusY, {1e-6f, 4}, "longer side", "Half its height.");
    v.number("angle", m.angle, {-180, 180}, "degrees", "Turned clockwise.");
    v.number("hardness", m.hardness, kShare, "", "The share of its radii that is fully selected.");
}

template <class Visitor>
void describe(Visitor& v, LumaRange& m)
{
    v.number("low", m.low, kShare, "full luma", "The darkest luma that is fully selected.");
    v.number("high", m.high, {m.low, 1}, "full luma", "The brightest; at least `low`.");
    v.number("softness", m.softness, kShare, "full luma", "How far outside the selection falls to nothing.");
}

template <class Visitor>
void describe(Visitor& v, MaskComponent& m)
{
    v.oneOf({"brush", "linear", "radial", "luma"}, m.shape);
    v.choice("combine", m.combine, {"add", "subtract", "intersect"}, "How it joins the components before it.");
    v.flag("invert", m.invert, "Selects what the shape does not.");
    v.number("feather", m.feather, {0, 0.5f}, "longer side", "How far its edge is smoothed.");
}

template <class Visitor>
void describe(Visitor& v, Mask& m)
{
    v.list("components", m.components, "Shapes, joined in order.");
}

template <class Visitor>
void describe(Visitor& v, LocalAdjustment& m)
{
    v.flag("enabled", m.enabled, "Whether it is made.");
    v.group("mask", m.mask);
    v.group("light", m.light);
    v.group("detail", m.detail);
    v.group("color", m.color);
}

template <class Visitor>
void describe(Visitor& v, Recipe& m)
{
    v.group("light", m.light);
    v.group("weights", m.weights);
    v.group("detail", m.detail);
    v.group("color", m.color);
    v.group("table", m.table);
    v.list("locals", m.locals, "Adjustments where a mask selects; their controls add to the recipe's own.");
}

} // namespace pixmill::develop
