#include <pixmill/develop/detail/checks.h>

#include <pixmill/develop/detail/blend_rows.h>
#include <pixmill/develop/detail/pack_rows.h>

#include <cstdlib>
#include <sstream>
#include <string>

namespace pixmill::develop {

namespace {

std::string inWords(double value)
{
    std::ostringstream text;
    text << value;
    return text.str();
}

std::string inWords(const cv::Rect& r)
{
    std::ostringstream text;
    text << r.width << " x " << r.height << " at " << r.x << ", " << r.y;
    return text.str();
}

/// Names members of one argument and checks them.
class Checker {
public:
    Checker(const char* call, std::string path) : m_call(call), m_path(std::move(path)) {}

    Checker within(const char* member) const { return {m_call, m_path + "." + member}; }
    Checker within(const char* member, std::size_t i) const
    {
        return {m_call, m_path + "." + member + "[" + std::to_string(i) + "]"};
    }

    /// A NaN lies outside every range.
    const Checker& range(const char* member, float v, float low, float high) const
    {
        if (!(v >= low && v <= high))
            refuse(member, inWords(low) + ".." + inWords(high), inWords(v));
        return *this;
    }
    const Checker& above0(const char* member, float v, float high) const
    {
        if (!(v > 0 && v <= high))
            refuse(member, "above 0 to " + inWords(high), inWords(v));
        return *this;
    }
    const Checker& place(const char* member, const cv::Point2f& p) const
    {
        return range(member, p.x, -10, 10).range(member, p.y, -10, 10);
    }
    [[noreturn]] void refuse(const std::string& member, const std::string& wanted, const std::string& given) const
    {
        throw Error(m_call, m_path + "." + member, wanted, given);
    }

private:
    const char* m_call;
    std::string m_path;
};

void check(const Checker& c, const Light& v)
{
    c.range("brightness", v.brightness, -1, 1).range("contrast", v.contrast, -1, 1);
    c.range("highlights", v.highlights, -1, 1).range("shadows", v.shadows, -1, 1);
    c.range("whites", v.whites, -1, 1).range("blacks", v.blacks, -1, 1);
}

void check(const Checker& c, const DetailZone& v)
{
    c.range("slope", v.slope, -1, 1).range("threshold", v.threshold, -1, 1);
}

void check(const Checker& c, const DetailLevel& v)
{
    check(c.within("base"), v.base);
    check(c.within("shadows"), v.shadows);
    check(c.within("midtones"), v.midtones);
}

void check(const Checker& c, const Detail& v)
{
    check(c.within("fine"), v.fine);
    check(c.within("medium"), v.medium);
    check(c.within("coarse"), v.coarse);
}

void check(const Checker& c, const Color& v)
{
    c.range("warmth", v.warmth, -1, 1).range("tint", v.tint, -1, 1);
    c.range("saturation", v.saturation, -1, 1).range("chromaFloor", v.chromaFloor, -1, 1);
}

void check(const Checker& c, const Table3D& v)
{
    c.range("strength", v.strength, 0, 1);
    if (!v.entries) {
        if (!v.path.empty())
            c.refuse("entries", "the table that is named, loaded", "not loaded");
        return;
    }
    if (v.size < 2 || v.size > 129)
        c.refuse("size", "2..129", inWords(v.size));
    const std::size_t wanted = std::size_t(v.size) * v.size * v.size * 3;
    if (v.entries->size() != wanted)
        c.refuse("entries", std::to_string(wanted) + " values", std::to_string(v.entries->size()));
}

void check(const Checker& c, const Brush& v)
{
    for (std::size_t i = 0; i < v.strokes.size(); ++i) {
        const BrushStroke& s = v.strokes[i];
        const Checker stroke = c.within("strokes", i);
        stroke.above0("diameter", s.diameter, 2).range("hardness", s.hardness, 0, 1);
        stroke.range("opacity", s.opacity, 0, 1).range("edge", s.edge, 0, 4);
        for (const cv::Point2f& p : s.points)
            stroke.place("points", p);
    }
}

void check(const Checker& c, const LinearGradient& v)
{
    c.place("from", v.from).place("to", v.to);
}

void check(const Checker& c, const RadialGradient& v)
{
    c.place("center", v.center).above0("radiusX", v.radiusX, 4).above0("radiusY", v.radiusY, 4);
    c.range("angle", v.angle, -180, 180).range("hardness", v.hardness, 0, 1);
}

void check(const Checker& c, const LumaRange& v)
{
    c.range("low", v.low, 0, 1).range("high", v.high, v.low, 1).range("softness", v.softness, 0, 1);
}

void check(const Checker& c, const Mask& mask)
{
    for (std::size_t i = 0; i < mask.components.size(); ++i) {
        const MaskComponent& component = mask.components[i];
        const Checker one = c.within("components", i);
        one.range("feather", component.feather, 0, 0.5f);
        std::visit([&](const auto& shape) { check(one.within("shape"), shape); }, component.shape);
    }
}

} // namespace

void check(const char* call, const Mask& mask, const std::string& name)
{
    check(Checker(call, name), mask);
}

void check(const char* call, const Recipe& recipe)
{
    const Checker c(call, "recipe");
    check(c.within("light"), recipe.light);
    const ColorWeights& w = recipe.weights;
    c.within("weights").range("red", w.red, -1, 1).range("green", w.green, -1, 1).range("blue", w.blue, -1, 1);
    check(c.within("detail"), recipe.detail);
    check(c.within("color"), recipe.color);
    check(c.within("table"), recipe.table);
    if (recipe.locals.size() > kMostLocals)
        c.refuse("locals", "at most " + std::to_string(kMostLocals), std::to_string(recipe.locals.size()));
    for (std::size_t i = 0; i < recipe.locals.size(); ++i) {
        const LocalAdjustment& local = recipe.locals[i];
        const Checker one = c.within("locals", i);
        check(one.within("mask"), local.mask);
        check(one.within("light"), local.light);
        check(one.within("detail"), local.detail);
        check(one.within("color"), local.color);
    }
}

void checkView(const char* call, const cv::Rect& view, int scale, cv::Size size)
{
    if (size.empty())
        throw Error(call, "", "", "no photograph is open");
    const cv::Rect all({0, 0}, size);
    if (view.width < 1 || view.height < 1 || view.x < 0 || view.y < 0 || view.x > size.width - view.width ||
        view.y > size.height - view.height)
        throw Error(call, "view", "a part of " + inWords(all) + " at scale " + std::to_string(scale), inWords(view));
}

std::ptrdiff_t checkedStride(const char* call, const void* data, std::ptrdiff_t stride, std::ptrdiff_t bytes)
{
    if (!data)
        throw Error(call, "out", "pixels", "null");
    if (stride != 0 && std::abs(stride) < bytes)
        throw Error(call, "stride", "at least " + std::to_string(bytes), std::to_string(stride));
    return stride ? stride : bytes;
}

Pixels checked(const Pixels& pixels)
{
    const Checker c("Developer::open", "pixels");
    if (!pixels.data)
        c.refuse("data", "pixels", "null");
    for (const auto& side : {std::make_pair("width", pixels.width), std::make_pair("height", pixels.height)})
        if (side.second < 1 || side.second > 65535)
            c.refuse(side.first, "1..65535", std::to_string(side.second));
    const std::ptrdiff_t bytes = std::ptrdiff_t(pixels.width) * bytesOf(pixels.depth, pixels.order);
    Pixels all = pixels;
    if (all.stride == 0)
        all.stride = bytes;
    if (std::abs(all.stride) < bytes)
        c.refuse("stride", "at least " + std::to_string(bytes), std::to_string(all.stride));
    if (all.depth == Depth::Bits16 && (all.stride % 2 != 0 || reinterpret_cast<std::uintptr_t>(all.data) % 2 != 0))
        c.refuse("stride", "rows of 16 bits at even addresses", std::to_string(all.stride));
    return all;
}

} // namespace pixmill::develop
