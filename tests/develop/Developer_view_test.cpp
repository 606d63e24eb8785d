// Views: crops, pans, moves in any order, undo, local adjustments.
#include <support/everyway.h>

#include <develop/scene.h>

using namespace pixmill;
using namespace pixmill::test;

namespace {

/// The controls of a session, in an order that a seed picks.
void move(Recipe& recipe, int which, float to)
{
    float* const controls[] = {&recipe.light.brightness,
                               &recipe.light.shadows,
                               &recipe.weights.red,
                               &recipe.detail.fine.base.slope,
                               &recipe.detail.medium.shadows.threshold,
                               &recipe.detail.coarse.midtones.slope,
                               &recipe.color.warmth,
                               &recipe.color.saturation};
    if (which < 8)
        *controls[which] = to;
    else if (which == 8)
        recipe.table = to > 0 ? turnedTable() : Table3D();
    else if (which == 9 && !recipe.locals.empty())
        recipe.locals[0].light.shadows = to;
    else if (which == 10)
        recipe.locals.resize(to > 0 ? 2 : 1, adjustment());
    else if (which == 11 && !recipe.locals.empty())
        recipe.locals.back().enabled = to > 0;
}

constexpr int kMoves = 12;

} // namespace

TEST(DeveloperView, AtScaleOneHasTheBitsOfTheCropOfTheWhole)
{
    Developer developer = opened(photo({203, 157}));
    const Recipe recipe = fullRecipe();
    const cv::Mat all = whole(developer, recipe);
    for (const cv::Rect at : {cv::Rect(0, 0, 203, 157), cv::Rect(0, 0, 1, 1), cv::Rect(202, 156, 1, 1),
                              cv::Rect(7, 9, 64, 33), cv::Rect(8, 10, 63, 32), cv::Rect(101, 0, 102, 157)}) {
        SCOPED_TRACE(testing::Message() << at);
        Developer fresh = opened(photo({203, 157}));
        EXPECT_TRUE(same(all(at), view(fresh, at, 1, recipe)));
        EXPECT_TRUE(same(all(at), view(developer, at, 1, recipe)));
    }
}

TEST(DeveloperView, PansGiveTheBitsOfAFreshView)
{
    Developer developer = opened(photo({260, 220}));
    const Recipe recipe = fullRecipe();
    const cv::Mat all = whole(developer, recipe);
    cv::RNG rng(7);
    cv::Rect at(60, 60, 90, 71);
    for (int i = 0; i < 60; ++i) {
        at.x = std::clamp(at.x + rng.uniform(-40, 41), 0, 260 - at.width);
        at.y = std::clamp(at.y + rng.uniform(-40, 41), 0, 220 - at.height);
        ASSERT_TRUE(same(all(at), view(developer, at, 1, recipe))) << at;
    }
}

TEST(DeveloperView, MovesAndUndoInAnyOrderGiveTheBitsOfAFreshView)
{
    const cv::Mat packed = photo({150, 110});
    Developer session = opened(packed);
    const Recipe start = fullRecipe();
    Recipe recipe = start;
    cv::RNG rng(3);
    cv::Rect at(20, 10, 80, 60);
    const cv::Mat first = view(session, at, 1, start);
    for (int i = 0; i < 80; ++i) {
        move(recipe, rng.uniform(0, kMoves), rng.uniform(-0.9f, 0.9f));
        const int scale = i % 7 == 6 ? 2 : 1;
        at = {rng.uniform(0, 12), rng.uniform(0, 9), 60, 44};
        Developer fresh = opened(packed);
        ASSERT_TRUE(same(view(fresh, at, scale, recipe), view(session, at, scale, recipe))) << "move " << i;
    }
    EXPECT_TRUE(same(first, view(session, {20, 10, 80, 60}, 1, start)));
}

TEST(DeveloperView, IsTheSameForEveryTeamAndProcessorAtEveryScale)
{
    const cv::Mat packed = photo({205, 131});
    Recipe slopes; // straight curves, colours beyond 8 bits, no table
    slopes.light.contrast = 0.3f;
    slopes.detail.fine.base.slope = slopes.detail.coarse.shadows.slope = 0.3f;
    slopes.color.saturation = 0.9f;
    const Recipe recipes[] = {fullRecipe(), slopes};
    cv::Mat first[6];
    everyWay([&] {
        Developer developer = opened(packed);
        for (int i = 0; i < 6; ++i) {
            const int scale = i / 2 + 1;
            const cv::Mat out = view(developer, {1, 2, scale == 1 ? 171 : 60, 35}, scale, recipes[i % 2]);
            if (first[i].empty())
                first[i] = out;
            EXPECT_TRUE(same(first[i], out)) << "scale " << scale << ", recipe " << i % 2;
        }
    });
}

TEST(DeveloperView, ReducedShowsTheMeansOfThePicture)
{
    for (const int scale : {2, 3, 4, 7}) {
        const cv::Size small((205 + scale - 1) / scale, (131 + scale - 1) / scale);
        Developer developer = opened(photo({205, 131}));
        ASSERT_EQ(developer.size(scale), small);
        const cv::Mat all = whole(developer, Recipe()), shown = view(developer, {{0, 0}, small}, scale, Recipe());
        for (int y = 0; y + 1 < small.height; ++y)
            for (int x = 0; x + 1 < small.width; ++x) {
                const auto luma = [](const cv::Scalar& c) { return 0.299 * c[0] + 0.587 * c[1] + 0.114 * c[2]; };
                const cv::Mat block = all(cv::Rect(x * scale, y * scale, scale, scale));
                const cv::Vec3b p = shown.at<cv::Vec3b>(y, x);
                // Colours that do not fit are brought back at the one and the other place: luma stays near.
                ASSERT_NEAR(luma(cv::mean(block)), luma(cv::Scalar(p[0], p[1], p[2])), 3) << x << ", " << y;
            }
    }
}

TEST(DeveloperView, OrdersHoldTheSamePixels)
{
    Developer developer = opened(photo({50, 40}));
    const cv::Rect at(3, 5, 31, 20);
    const cv::Mat rgb = view(developer, at, 1, fullRecipe());
    for (const Order order : {Order::BGR, Order::RGBA, Order::BGRA}) {
        cv::Mat out;
        developer.render(at, 1, fullRecipe(), order, out);
        const bool swap = order != Order::RGBA;
        for (int y = 0; y < at.height; ++y)
            for (int x = 0; x < at.width; ++x) {
                const uchar* p = out.ptr(y) + x * out.channels();
                ASSERT_EQ(rgb.at<cv::Vec3b>(y, x), cv::Vec3b(p[swap ? 2 : 0], p[1], p[swap ? 0 : 2]));
                ASSERT_TRUE(out.channels() == 3 || p[3] == 255);
            }
    }
}

TEST(DeveloperLocal, AMaskOfNothingChangesNothingAndOneOfAllIsTheAdjustmentEverywhere)
{
    Developer developer = opened(photo({120, 90}));
    Recipe plain, local, global;
    LocalAdjustment a = adjustment();
    plain.light.contrast = local.light.contrast = global.light.contrast = 0.2f;
    a.mask = Mask();
    local.locals = {a};
    EXPECT_TRUE(same(whole(developer, plain, Depth::Bits16), whole(developer, local, Depth::Bits16)));

    local.locals[0].mask = everywhere();
    global.light.shadows = a.light.shadows;
    global.detail = a.detail;
    global.color = a.color;
    EXPECT_TRUE(same(whole(developer, global, Depth::Bits16), whole(developer, local, Depth::Bits16)));
}

TEST(DeveloperLocal, TheOrderOfAdjustmentsDoesNotMatter)
{
    Developer developer = opened(photo({120, 90}));
    Recipe recipe;
    recipe.locals = {adjustment(), adjustment(), adjustment()};
    recipe.locals[1].mask.components = {{RadialGradient{}}};
    recipe.locals[1].light.brightness = 0.5f;
    recipe.locals[2].mask.components = {{LumaRange{0.4f, 0.8f, 0.2f}}};
    recipe.locals[2].color.warmth = 0.7f;
    Recipe turned = recipe;
    std::swap(turned.locals[0], turned.locals[2]);
    EXPECT_TRUE(same(whole(developer, recipe, Depth::Bits16), whole(developer, turned, Depth::Bits16)));
}
