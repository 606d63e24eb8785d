#include "fingerprint.h"

#ifdef FINGERPRINT_DEVELOP

#include <pixmill/develop/Developer.h>

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
