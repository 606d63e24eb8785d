// Detail that is taken out when a recipe first needs it.
#include <develop/scene.h>

using namespace pixmill;
using namespace pixmill::test;

namespace {

Developer openedForNeeds(const cv::Mat& packed)
{
    Developer developer;
    developer.open(pixelsOf(packed), {}, Opening::Needed);
    return developer;
}

int reportsOf(Developer& developer, const Recipe& recipe)
{
    int reports = 0;
    EXPECT_TRUE(developer.prepare(recipe, [&](double) { return ++reports > 0; }));
    return reports;
}

/// Colour, a table, and a local adjustment of colour.
Recipe colours()
{
    Recipe recipe;
    recipe.color = {0.2f, -0.1f, 0.3f, 0.1f};
    recipe.table = turnedTable();
    recipe.locals.push_back(adjustment());
    recipe.locals[0].light = {};
    recipe.locals[0].detail = {};
    return recipe;
}

struct Case {
    const char* name;
    bool detail; ///< whether the recipe needs it
    void (*set)(Recipe&);
};

const Case kCases[] = {
    {"neutral", false, [](Recipe&) {}},
    {"colour", false, [](Recipe& r) { r = colours(); }},
    {"equal weights", false,
     [](Recipe& r) {
         r.weights = {0.4f, 0.4f, 0.4f};
     }},
    {"a disabled local adjustment", false,
     [](Recipe& r) {
         r.locals = {adjustment()};
         r.locals[0].enabled = false;
     }},
    {"light", true, [](Recipe& r) { r.light.shadows = 0.4f; }},
    {"weights", true, [](Recipe& r) { r.weights.red = 0.4f; }},
    {"a threshold", true, [](Recipe& r) { r.detail.coarse.midtones.threshold = 0.2f; }},
    {"local detail", true, [](Recipe& r) { (r = colours()).locals[0].detail.fine.base.slope = 0.3f; }},
    {"everything", true, [](Recipe& r) { r = fullRecipe(); }},
};

} // namespace

TEST(DeveloperOpening, DetailTakenOutLateGivesTheSameBits)
{
    const cv::Mat packed = photo({143, 97});
    const cv::Rect at(9, 6, 70, 51);
    Developer all = opened(packed), session = openedForNeeds(packed);
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        Recipe recipe;
        c.set(recipe);
        Developer fresh = openedForNeeds(packed), viewed = openedForNeeds(packed);
        const cv::Mat expected = whole(all, recipe, Depth::Bits16);
        EXPECT_TRUE(same(expected, whole(fresh, recipe, Depth::Bits16)));
        EXPECT_TRUE(same(view(all, at, 1, recipe), view(viewed, at, 1, recipe)));
        EXPECT_TRUE(same(view(all, at, 1, recipe), view(session, at, 1, recipe)));
        EXPECT_EQ(reportsOf(fresh, Recipe()), 0);
        EXPECT_EQ(reportsOf(fresh, fullRecipe()) == 0, c.detail);
        EXPECT_EQ(reportsOf(viewed, recipe), 0);
        EXPECT_TRUE(same(view(all, at, 1, recipe), view(fresh, at, 1, recipe))); // planes after bands
        EXPECT_TRUE(same(expected, whole(fresh, recipe, Depth::Bits16)));
        EXPECT_TRUE(same(view(all, at, 1, recipe), view(viewed, at, 1, recipe))); // a ring from before
    }
    EXPECT_TRUE(same(whole(all, colours()), whole(session, colours())));
}

TEST(DeveloperOpening, ASinkMayRenderAndOpenWhatItLikes)
{
    const cv::Mat packed = photo({143, 201}), other = photo({20, 10});
    Recipe recipe = fullRecipe();
    recipe.locals.clear();
    for (const Opening opening : {Opening::All, Opening::Needed}) {
        Developer developer;
        developer.open(pixelsOf(packed), {}, opening);
        cv::Mat out(packed.size(), CV_8UC3);
        developer.renderAll(recipe, Depth::Bits8, Order::RGB,
                            [&](int y, int rows, const void* pixels, std::ptrdiff_t stride) {
                                cv::Mat(rows, out.cols, CV_8UC3, const_cast<void*>(pixels), std::size_t(stride))
                                    .copyTo(out.rowRange(y, y + rows));
                                if (y == 0)
                                    view(developer, {9, 6, 70, 51}, 1, recipe);
                                else
                                    developer.open(pixelsOf(other));
                                return true;
                            });
        Developer undisturbed = opened(packed);
        EXPECT_TRUE(same(whole(undisturbed, recipe), out));
        EXPECT_EQ(developer.size(), other.size());
    }
}

TEST(DeveloperOpening, ReducedViewsAndMasksAreTheSame)
{
    const cv::Mat packed = photo({143, 97});
    Developer all = opened(packed);
    for (const int scale : {2, 3}) {
        Developer late = openedForNeeds(packed);
        cv::Mat expected, mask;
        all.renderMask({3, 2, 40, 20}, scale, fullRecipe().locals[0].mask, expected);
        late.renderMask({3, 2, 40, 20}, scale, fullRecipe().locals[0].mask, mask);
        EXPECT_TRUE(samePixels<uchar>(expected, mask));
        EXPECT_TRUE(same(view(all, {0, 0, 45, 30}, scale, Recipe()), view(late, {0, 0, 45, 30}, scale, Recipe())));
    }
}

TEST(DeveloperOpening, CancelAtEveryReportOfLateWorkLeavesThePicture)
{
    const cv::Mat packed = photo({80, 60});
    Developer developer = openedForNeeds(packed), all = opened(packed);
    Developer counted = openedForNeeds(packed);
    double last = 0;
    int reports = 0;
    EXPECT_TRUE(counted.prepare(fullRecipe(), [&](double share) {
        EXPECT_GT(share, last);
        last = share;
        return ++reports > 0;
    }));
    EXPECT_EQ(last, 1.0);
    const cv::Mat before = view(developer, {4, 4, 50, 40}, 1, colours());
    for (int stop = 0; stop < reports; ++stop) {
        int seen = 0;
        EXPECT_FALSE(developer.prepare(fullRecipe(), [&](double) { return seen++ != stop; }));
        EXPECT_EQ(seen, stop + 1);
        EXPECT_TRUE(same(before, view(developer, {4, 4, 50, 40}, 1, colours())));
    }
    EXPECT_EQ(reportsOf(developer, fullRecipe()), reports);
    EXPECT_TRUE(same(whole(all, fullRecipe()), whole(developer, fullRecipe())));

    int asked = 0;
    EXPECT_FALSE(developer.open(
        pixelsOf(photo({20, 10})), [&](double) { return asked++ > 0; }, Opening::Needed));
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(developer.size(), cv::Size(80, 60));
}

TEST(DeveloperOpening, NothingToPrepareIsTold)
{
    Recipe wrong;
    wrong.light.shadows = 7;
    Developer developer = openedForNeeds(photo({20, 10}));
    EXPECT_THROW(Developer().prepare(Recipe()), Error);
    EXPECT_THROW(developer.prepare(wrong), Error);
}
