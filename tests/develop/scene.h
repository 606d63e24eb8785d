#pragma once

#include <pixmill/develop/Developer.h>
#include <support/planes.h>

#include <opencv2/core.hpp>

#include <cstring>
#include <vector>

/// Photographs for the develop library's tests, and recipes that move everything.
namespace pixmill::test {

/// 16-bit R, G, B: edges, gradients, noise, strong and weak colours.
inline cv::Mat photo(cv::Size size, unsigned seed = 1)
{
    cv::Mat planes[3], packed;
    for (unsigned i = 0; i < 3; ++i)
        planes[i] = scenePlane(size, CV_16UC1, 0, 65536, seed + i).clone();
    cv::merge(planes, 3, packed);
    return packed;
}

inline Pixels pixelsOf(const cv::Mat& packed, Order order = Order::RGB)
{
    const Depth depth = packed.depth() == CV_8U ? Depth::Bits8 : Depth::Bits16;
    return {packed.data, packed.cols, packed.rows, std::ptrdiff_t(packed.step), depth, order};
}

inline Developer opened(const cv::Mat& packed, Order order = Order::RGB)
{
    Developer developer;
    developer.open(pixelsOf(packed, order));
    return developer;
}

/// The whole picture as R, G, B.
inline cv::Mat whole(Developer& developer, const Recipe& recipe, Depth depth = Depth::Bits8)
{
    cv::Mat out(developer.size(), depth == Depth::Bits8 ? CV_8UC3 : CV_16UC3);
    developer.renderAll(recipe, depth, Order::RGB, [&](int y, int rows, const void* pixels, std::ptrdiff_t stride) {
        for (int i = 0; i < rows; ++i)
            std::memcpy(out.ptr(y + i), static_cast<const char*>(pixels) + i * stride, out.cols * out.elemSize());
        return true;
    });
    return out;
}

inline cv::Mat view(Developer& developer, const cv::Rect& at, int scale, const Recipe& recipe)
{
    cv::Mat out;
    developer.render(at, scale, recipe, Order::RGB, out);
    return out;
}

inline testing::AssertionResult same(const cv::Mat& expected, const cv::Mat& actual)
{
    if (expected.size() != actual.size() || expected.type() != actual.type())
        return testing::AssertionFailure() << "sizes or types differ";
    return expected.depth() == CV_8U ? samePixels<uchar>(expected.clone().reshape(1), actual.clone().reshape(1))
                                     : samePixels<ushort>(expected.clone().reshape(1), actual.clone().reshape(1));
}

/// The largest difference between two packed pictures.
inline double farthest(const cv::Mat& a, const cv::Mat& b)
{
    return cv::norm(a, b, cv::NORM_INF);
}

inline Mask everywhere()
{
    Mask mask;
    mask.components.push_back({LumaRange{0, 1, 0}});
    return mask;
}

inline Mask gradient()
{
    Mask mask;
    mask.components.push_back({LinearGradient{{0.2f, 0.1f}, {0.8f, 0.7f}}});
    return mask;
}

inline LocalAdjustment adjustment()
{
    LocalAdjustment local;
    local.mask = gradient();
    local.light.shadows = 0.6f;
    local.detail.medium.base.slope = 0.4f;
    local.color.saturation = -0.5f;
    return local;
}

/// A table that turns colours round: R, G, B become G, B, R, darker.
inline Table3D turnedTable()
{
    auto entries = std::make_shared<std::vector<unsigned short>>();
    for (int b = 0; b < 5; ++b)
        for (int g = 0; g < 5; ++g)
            for (int r = 0; r < 5; ++r)
                for (const int v : {g, b, r})
                    entries->push_back((unsigned short)(v * 15000));
    Table3D table;
    table.path = "turned.cube";
    table.size = 5;
    table.strength = 0.5f;
    table.entries = entries;
    return table;
}

/// Everything moved.
inline Recipe fullRecipe()
{
    Recipe recipe;
    recipe.light = {0.1f, 0.2f, -0.4f, 0.5f, 0.1f, -0.2f};
    recipe.weights = {0.3f, 0.0f, -0.2f};
    recipe.detail.fine = {{0.2f, -0.1f}, {-0.3f, -0.2f}, {0.1f, 0.1f}};
    recipe.detail.medium.base.slope = 0.3f;
    recipe.detail.coarse = {{-0.2f, 0.0f}, {0.2f, 0.0f}, {0.0f, -0.3f}};
    recipe.color = {0.2f, -0.1f, 0.3f, 0.1f};
    recipe.table = turnedTable();
    recipe.locals.push_back(adjustment());
    return recipe;
}

} // namespace pixmill::test
