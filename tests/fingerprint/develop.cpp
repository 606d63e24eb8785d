#include "fingerprint.h"

#ifdef FINGERPRINT_DEVELOP

#include <pixmill/develop/Developer.h>
#include <pixmill/develop/Tiles.h>
#include <pixmill/develop/filter_table.h>
#include <pixmill/develop/recipe_table.h>

namespace pixmill::fingerprint {

namespace {

const cv::Size kSize(320, 240);

Developer opened(Source& source)
{
    const cv::Mat packed = source.plane(kSize, CV_16UC3);
    Developer developer;
    developer.open({packed.data, packed.cols, packed.rows, std::ptrdiff_t(packed.step), Depth::Bits16, Order::RGB});
    return developer;
}

/// The same pixels upside down, in every depth and order.
void addEveryOpening(Source& source, Hash& hash)
{
    for (const Order order : {Order::RGB, Order::BGR, Order::RGBA, Order::BGRA})
        for (const Depth depth : {Depth::Bits8, Depth::Bits16}) {
            const int channels = order == Order::RGB || order == Order::BGR ? 3 : 4;
            const cv::Mat in = source.plane({161, 117}, CV_MAKETYPE(depth == Depth::Bits8 ? CV_8U : CV_16U, channels));
            Developer developer;
            developer.open({in.ptr(in.rows - 1), in.cols, in.rows, -std::ptrdiff_t(in.step), depth, order}, {},
                           Opening::Needed);
            Recipe recipe;
            recipe.weights = {0.3f, -0.2f, 0.1f};
            cv::Mat out;
            developer.render({0, 0, 161, 117}, 1, recipe, order, out);
            hash.add(out);
        }
}

/// A cube that bends every colour.
Table3D tableOf(Source& source)
{
    std::vector<unsigned short> entries;
    for (int i = 0; i < 9 * 9 * 9; ++i)
        for (const int at : {i / 81, i / 9 % 9, i % 9})
            entries.push_back((unsigned short)(at * 7900 + int(source.next() % 2000)));
    Table3D table;
    table.path = "bent.cube";
    table.size = 9;
    table.strength = 0.7f;
    table.entries = std::make_shared<const std::vector<unsigned short>>(std::move(entries));
    return table;
}

Mask maskOf()
{
    Brush brush;
    brush.strokes.push_back({{{0.2f, 0.3f}, {0.3f, 0.35f}, {0.5f, 0.6f}}, 0.2f, 0.3f, 0.8f, 1.0f, false});
    Mask mask;
    mask.components.push_back({brush});
    mask.components.push_back({RadialGradient{{0.6f, 0.5f}, 0.3f, 0.2f, 33.0f, 0.2f}, MaskCombine::Add, false, 0.02f});
    mask.components.push_back({LinearGradient{{0.1f, 0.1f}, {0.9f, 0.8f}}});
    mask.components.push_back({LumaRange{0.2f, 0.7f, 0.2f}});
    return mask;
}

Recipe recipeOf()
{
    Recipe recipe;
    recipe.light = {0.2f, 0.3f, -0.4f, 0.5f, 0.1f, -0.2f};
    recipe.detail.fine.base.slope = 0.6f;
    recipe.detail.medium.shadows.slope = -0.4f;
    recipe.detail.coarse.midtones.threshold = -0.3f;
    recipe.color = {0.3f, -0.2f, 0.4f, 0.2f};
    LocalAdjustment local;
    local.mask = maskOf();
    local.light.shadows = 0.4f;
    local.color.warmth = -0.5f;
    recipe.locals.push_back(local);
    return recipe;
}

} // namespace

Operations develop()
{
    return {
        {"Developer::render",
         [](Source& s, Hash& h) {
             Developer developer = opened(s);
             for (const int scale : {1, 2, 4}) {
                 cv::Mat out;
                 developer.render({16, 8, 160 / scale, 120 / scale}, scale, recipeOf(), Order::BGRA, out);
                 h.add(out);
             }
         }},
        {"Developer::renderAll",
         [](Source& s, Hash& h) {
             Developer developer = opened(s);
             for (const Depth depth : {Depth::Bits8, Depth::Bits16})
                 developer.renderAll(recipeOf(), depth, Order::RGB,
                                     [&](int, int rows, const void* pixels, std::ptrdiff_t stride) {
                                         for (int i = 0; i < rows; ++i)
                                             h.bytes(static_cast<const char*>(pixels) + i * stride,
                                                     std::size_t(kSize.width) * 3 * (depth == Depth::Bits8 ? 1 : 2));
                                         return true;
                                     });
         }},
        {"Developer::open, every depth and order", addEveryOpening},
        {"Developer::render, colour weights and a table",
         [](Source& s, Hash& h) {
             Developer developer = opened(s);
             Recipe recipe = recipeOf();
             recipe.weights = {0.4f, -0.3f, 0.2f};
             recipe.table = tableOf(s);
             for (const int scale : {1, 3}) {
                 cv::Mat out;
                 developer.render({5, 3, 210 / scale, 170 / scale}, scale, recipe, Order::RGB, out);
                 h.add(out);
             }
         }},
        {"Recipe to JSON and back",
         [](Source& s, Hash& h) {
             Recipe recipe = recipeOf();
             for (float* v : {&recipe.light.contrast, &recipe.color.tint, &recipe.detail.coarse.base.slope})
                 *v = s.floats(1, 1, true)[0];
             const std::string text = recipeToJson(recipe);
             h.bytes(text.data(), text.size());
             h.add(recipeFromJson(text) == recipe);
         }},
        {"tilingOf and mapTiles",
         [](Source& s, Hash& h) {
             for (const FilterEntry& filter : filterTable())
                 for (const FilterParameter& p : filter.parameters)
                     for (const double share : {0.0, 0.03, 0.4, 1.0}) {
                         const Tiling tiling =
                             tilingOf(filter.name, {{p.name, p.least + share * (p.most - p.least)}}, {4000, 3000});
                         for (const int v : {tiling.margin.width, tiling.margin.height, tiling.grid.width})
                             h.add(v);
                     }
             const cv::Mat in = s.plane(kSize, CV_16UC1);
             cv::Mat out;
             mapTiles(in, out, tilingOf("gaussian", {}, kSize), 100, [](const cv::Mat& region) {
                 cv::Mat result;
                 region.convertTo(result, CV_16U, 0.5);
                 return result;
             });
             h.add(out);
         }},
        {"Developer::renderMask",
         [](Source& s, Hash& h) {
             Developer developer = opened(s);
             cv::Mat out;
             developer.renderMask({0, 0, 320, 240}, 1, maskOf(), out);
             h.add(out);
         }},
    };
}

} // namespace pixmill::fingerprint

#else

pixmill::fingerprint::Operations pixmill::fingerprint::develop()
{
    return {};
}

#endif
