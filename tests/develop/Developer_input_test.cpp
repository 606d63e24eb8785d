// What a host hands in: layouts, progress and cancel, and what cannot be.
#include <develop/scene.h>

#include <functional>
#include <limits>

using namespace pixmill;
using namespace pixmill::test;

namespace {

/// What an error tells, or nothing where none was thrown.
struct Told {
    std::string call, argument, wanted, given;
};

Told errorOf(const std::function<void()>& work)
{
    try {
        work();
    } catch (const Error& e) {
        EXPECT_EQ(std::string(e.what()).find(e.call), 0u);
        return {e.call, e.argument, e.wanted, e.given};
    }
    return {};
}

void expectError(const Told& expected, const std::function<void()>& work)
{
    const Told told = errorOf(work);
    EXPECT_EQ(told.call, expected.call);
    EXPECT_EQ(told.argument, expected.argument);
    EXPECT_EQ(told.wanted, expected.wanted);
    EXPECT_EQ(told.given, expected.given);
}

} // namespace

TEST(DeveloperInput, EveryLayoutOfAPictureIsTheSamePicture)
{
    cv::Mat rgb8, rgb16;
    photo({61, 45}).convertTo(rgb8, CV_8U, 1 / 257.0);
    rgb8.convertTo(rgb16, CV_16U, 257);
    Developer developer = opened(rgb8);
    const cv::Mat expected = whole(developer, fullRecipe(), Depth::Bits16);
    const int toOrder[][4] = {{0, 1, 2, 2}, {2, 1, 0, 0}, {0, 1, 2, 2}, {2, 1, 0, 0}};
    for (const cv::Mat& picture : {rgb8, rgb16})
        for (const Order order : {Order::RGB, Order::BGR, Order::RGBA, Order::BGRA}) {
            SCOPED_TRACE(testing::Message() << "order " << int(order) << ", type " << picture.type());
            const int channels = int(order) < 2 ? 3 : 4;
            cv::Mat padded(picture.rows, picture.cols + 3, CV_MAKETYPE(picture.depth(), channels), cv::Scalar::all(9));
            cv::Mat packed = padded.colRange(1, picture.cols + 1);
            for (int i = 0; i < channels; ++i) {
                const int fromTo[] = {toOrder[int(order)][i], i};
                cv::mixChannels(&picture, 1, &packed, 1, fromTo, 1);
            }
            Developer other = opened(packed, order);
            EXPECT_TRUE(same(expected, whole(other, fullRecipe(), Depth::Bits16)));
        }
}

TEST(DeveloperInput, RowsMayRunUpward)
{
    const cv::Mat picture = photo({40, 30});
    cv::Mat flipped;
    cv::flip(picture, flipped, 0);
    Pixels pixels = pixelsOf(flipped);
    pixels.data = flipped.ptr(29);
    pixels.stride = -pixels.stride;
    Developer up, down = opened(picture);
    up.open(pixels);
    EXPECT_TRUE(same(whole(down, Recipe()), whole(up, Recipe())));
}

TEST(DeveloperInput, CancelAtEveryReportLeavesThePictureThatWasOpen)
{
    Developer developer = opened(photo({60, 40}));
    const cv::Mat before = whole(developer, fullRecipe());
    const cv::Mat other = photo({80, 50}, 9);
    int reports = 0;
    double last = 0;
    Developer counted;
    counted.open(pixelsOf(other), [&](double share) {
        EXPECT_GT(share, last);
        last = share;
        return ++reports > 0;
    });
    EXPECT_EQ(last, 1.0);
    ASSERT_GE(reports, 4);
    for (int stop = 0; stop < reports; ++stop) {
        int seen = 0;
        EXPECT_FALSE(developer.open(pixelsOf(other), [&](double) { return seen++ != stop; }));
        EXPECT_EQ(seen, stop + 1);
        EXPECT_TRUE(same(before, whole(developer, fullRecipe())));
    }
}

TEST(DeveloperInput, TheSinkCancelsAtEveryBand)
{
    Developer developer = opened(photo({30, 200}));
    int bands = 0;
    const auto count = [&](int, int, const void*, std::ptrdiff_t) { return ++bands > 0; };
    EXPECT_TRUE(developer.renderAll(Recipe(), Depth::Bits16, Order::RGB, count));
    ASSERT_GT(bands, 1);
    for (int stop = 1; stop <= bands; ++stop) {
        int seen = 0;
        EXPECT_FALSE(developer.renderAll(Recipe(), Depth::Bits16, Order::RGB,
                                         [&](int, int, const void*, std::ptrdiff_t) { return ++seen < stop; }));
        EXPECT_EQ(seen, stop);
    }
}

TEST(DeveloperInput, WhatTheSinkThrowsPassesAndTheNextRenderIsWhole)
{
    Developer developer = opened(photo({30, 200}));
    const cv::Mat before = whole(developer, fullRecipe());
    const RowSink sink = [](int, int, const void*, std::ptrdiff_t) -> bool { throw std::runtime_error("full disk"); };
    EXPECT_THROW(developer.renderAll(fullRecipe(), Depth::Bits8, Order::RGB, sink), std::runtime_error);
    EXPECT_TRUE(same(before, whole(developer, fullRecipe())));
}

TEST(DeveloperInput, PixelsThatCannotBeAreTold)
{
    const cv::Mat picture = photo({20, 10});
    const auto open = [&](const std::function<void(Pixels&)>& spoil) {
        return [&picture, spoil] {
            Pixels pixels = pixelsOf(picture);
            spoil(pixels);
            Developer().open(pixels);
        };
    };
    const char* call = "Developer::open";
    expectError({call, "pixels.data", "pixels", "null"}, open([](Pixels& p) { p.data = nullptr; }));
    expectError({call, "pixels.width", "1..65535", "0"}, open([](Pixels& p) { p.width = 0; }));
    expectError({call, "pixels.height", "1..65535", "-3"}, open([](Pixels& p) { p.height = -3; }));
    expectError({call, "pixels.stride", "at least 120", "119"}, open([](Pixels& p) { p.stride = 119; }));
    expectError({call, "pixels.stride", "rows of 16 bits at even addresses", "125"},
                open([](Pixels& p) { p.stride = 125; }));
}

TEST(DeveloperInput, ViewsAndRecipesThatCannotBeAreTold)
{
    Developer developer = opened(photo({20, 10}));
    cv::Mat out(10, 20, CV_8UC3);
    const auto render = [&](cv::Rect view, int scale, const Recipe& recipe) {
        return [&developer, &out, view, scale, recipe] {
            developer.render(view, scale, recipe, Order::RGB, out.data, std::ptrdiff_t(out.step));
        };
    };
    const auto with = [](const std::function<void(Recipe&)>& spoil) {
        Recipe recipe;
        recipe.locals.push_back(adjustment());
        spoil(recipe);
        return recipe;
    };
    const cv::Rect all(0, 0, 20, 10);
    const char* call = "Developer::render";
    expectError({call, "scale", "1..64", "0"}, render(all, 0, Recipe()));
    expectError({call, "view", "a part of 10 x 5 at 0, 0 at scale 2", "20 x 10 at 0, 0"}, render(all, 2, Recipe()));
    expectError({call, "view", "a part of 20 x 10 at 0, 0 at scale 1", "2147483647 x 1 at 1, 0"},
                render({1, 0, 2147483647, 1}, 1, Recipe()));
    expectError({call, "recipe.light.shadows", "-1..1", "3"},
                render(all, 1, with([](Recipe& r) { r.light.shadows = 3; })));
    expectError({call, "recipe.detail.fine.midtones.slope", "-1..1", "nan"},
                render(all, 1, with([](Recipe& r) {
                           r.detail.fine.midtones.slope = std::numeric_limits<float>::quiet_NaN();
                       })));
    expectError({call, "recipe.locals[0].mask.components[0].feather", "0..0.5", "1"},
                render(all, 1, with([](Recipe& r) { r.locals[0].mask.components[0].feather = 1; })));
    expectError({call, "recipe.table.entries", "the table that is named, loaded", "not loaded"},
                render(all, 1, with([](Recipe& r) { r.table.path = "film.cube"; })));
    expectError({call, "stride", "at least 60", "59"},
                [&] { developer.render(all, 1, Recipe(), Order::RGB, out.data, 59); });
    expectError({call, "out", "pixels", "null"}, [&] { developer.render(all, 1, Recipe(), Order::RGB, nullptr, 60); });
    expectError({call, "", "", "no photograph is open"},
                [&] { Developer().render(all, 1, Recipe(), Order::RGB, out); });
    expectError({"Developer::renderAll", "rows", "a sink", "none"},
                [&] { developer.renderAll(Recipe(), Depth::Bits8, Order::RGB, RowSink()); });
}
