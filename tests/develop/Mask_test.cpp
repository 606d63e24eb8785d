// Masks as values and as pixels.
#include <support/everyway.h>

#include <develop/scene.h>

using namespace pixmill;
using namespace pixmill::test;

namespace {

const cv::Size kSize(160, 120);

cv::Mat rendered(Developer& developer, const Mask& mask, int scale = 1)
{
    cv::Mat out;
    developer.renderMask({{0, 0}, developer.size(scale)}, scale, mask, out);
    return out;
}

Mask of(const MaskComponent& component)
{
    Mask mask;
    mask.components.push_back(component);
    return mask;
}

BrushStroke stroke(float x, bool erase = false)
{
    BrushStroke s;
    s.points = {{x, 0.2f}, {x + 0.05f, 0.5f}, {x, 0.8f}};
    s.diameter = 0.1f;
    s.erase = erase;
    return s;
}

MaskComponent disc(float x, MaskCombine how)
{
    return {RadialGradient{{x, 0.5f}, 0.2f, 0.2f, 0, 1}, how};
}

} // namespace

TEST(Mask, WithoutComponentsSelectsNothing)
{
    Developer developer = opened(photo(kSize));
    EXPECT_EQ(cv::countNonZero(rendered(developer, Mask())), 0);
}

TEST(Mask, GradientsFallFromFullToNothing)
{
    Developer developer = opened(photo(kSize));
    const cv::Mat linear = rendered(developer, of({LinearGradient{{0.25f, 0.5f}, {0.75f, 0.5f}}}));
    EXPECT_EQ(linear.at<uchar>(60, 38), 255);
    EXPECT_EQ(linear.at<uchar>(60, 122), 0);
    EXPECT_NEAR(linear.at<uchar>(60, 80), 128, 3);
    for (int x = 1; x < kSize.width; ++x)
        ASSERT_LE(linear.at<uchar>(60, x), linear.at<uchar>(60, x - 1));

    const cv::Mat radial = rendered(developer, of({RadialGradient{{0.5f, 0.5f}, 0.25f, 0.125f, 0, 0.5f}}));
    EXPECT_EQ(radial.at<uchar>(60, 80), 255);
    EXPECT_EQ(radial.at<uchar>(60, 98), 255);
    EXPECT_EQ(radial.at<uchar>(60, 122), 0);
    EXPECT_EQ(radial.at<uchar>(82, 80), 0);
    const cv::Mat turned = rendered(developer, of({RadialGradient{{0.5f, 0.5f}, 0.25f, 0.125f, 90, 0.5f}}));
    EXPECT_EQ(turned.at<uchar>(60, 102), 0);
    EXPECT_GT(turned.at<uchar>(82, 80), 0);
}

TEST(Mask, LumaRangesSelectByThePhotographsLuma)
{
    cv::Mat grey(40, 40, CV_16UC3, cv::Scalar::all(20000));
    grey.colRange(20, 40).setTo(cv::Scalar::all(50000));
    Developer developer = opened(grey);
    const cv::Mat mask = rendered(developer, of({LumaRange{0.6f, 1.0f, 0.1f}}));
    EXPECT_EQ(mask.at<uchar>(20, 10), 0);
    EXPECT_EQ(mask.at<uchar>(20, 30), 255);
}

TEST(Mask, ComponentsAddSubtractAndIntersect)
{
    Developer developer = opened(photo(kSize));
    const cv::Mat a = rendered(developer, of(disc(0.4f, MaskCombine::Add)));
    const cv::Mat b = rendered(developer, of(disc(0.6f, MaskCombine::Add)));
    struct Case {
        MaskCombine how;
        bool left, middle, right;
    };
    for (const Case& c : {Case{MaskCombine::Add, true, true, true}, Case{MaskCombine::Subtract, true, false, false},
                          Case{MaskCombine::Intersect, false, true, false}}) {
        Mask mask = of(disc(0.4f, MaskCombine::Add));
        mask.components.push_back(disc(0.6f, c.how));
        const cv::Mat out = rendered(developer, mask);
        EXPECT_EQ(out.at<uchar>(60, 40) == 255, c.left);
        EXPECT_EQ(out.at<uchar>(60, 80) == 255, c.middle);
        EXPECT_EQ(out.at<uchar>(60, 120) == 255, c.right);
    }
    EXPECT_EQ(rendered(developer, of(disc(0.4f, MaskCombine::Subtract))).at<uchar>(60, 120), 255);
}

TEST(Mask, AFeatherSpreadsAnEdgeAndKeepsWhatIsEven)
{
    Developer developer = opened(photo(kSize));
    MaskComponent component = disc(0.5f, MaskCombine::Add);
    component.feather = 0.1f;
    const cv::Mat out = rendered(developer, of(component));
    EXPECT_EQ(out.at<uchar>(60, 80), 255);
    EXPECT_NEAR(out.at<uchar>(60, 112), 128, 30); // the rim of before
    EXPECT_EQ(out.at<uchar>(60, 140), 0);
    component = {LumaRange{0, 1, 0}};
    component.feather = 0.1f;
    EXPECT_EQ(cv::countNonZero(rendered(developer, of(component)) != 255), 0);
}

TEST(Mask, StrokesPaintEraseAndAreUndone)
{
    Developer developer = opened(photo(kSize));
    Mask mask = of({Brush{{stroke(0.3f)}}});
    const cv::Mat one = rendered(developer, mask);
    EXPECT_GT(one.at<uchar>(60, 54), 200);
    EXPECT_EQ(one.at<uchar>(60, 130), 0);
    std::get<Brush>(mask.components[0].shape).strokes.push_back(stroke(0.3f, true));
    EXPECT_LT(rendered(developer, mask).at<uchar>(60, 54), 60);
    EXPECT_TRUE(mask.undoStroke());
    EXPECT_TRUE(same(one, rendered(developer, mask)));
    EXPECT_TRUE(mask.undoStroke());
    EXPECT_FALSE(mask.undoStroke());
}

TEST(Mask, ABrushStopsAtEdgesWhereItIsToldTo)
{
    cv::Mat picture(80, 80, CV_16UC3, cv::Scalar::all(8000));
    picture.colRange(40, 80).setTo(cv::Scalar::all(60000));
    Developer developer = opened(picture);
    BrushStroke s;
    s.points = {{0.4f, 0.2f}, {0.4f, 0.8f}};
    s.diameter = 0.5f;
    const cv::Mat plain = rendered(developer, of({Brush{{s}}}));
    s.edge = 2;
    const cv::Mat aware = rendered(developer, of({Brush{{s}}}));
    EXPECT_GT(plain.at<uchar>(40, 44), 100);
    EXPECT_LT(aware.at<uchar>(40, 44), 20);
    EXPECT_GT(aware.at<uchar>(40, 32), 200);
}

TEST(Mask, PaintingOnGivesThePixelsOfPaintingAtOnce)
{
    const cv::Mat picture = photo(kSize);
    Developer live = opened(picture);
    Recipe recipe;
    recipe.locals.push_back(adjustment());
    recipe.locals[0].mask = of({Brush{}});
    auto& strokes = std::get<Brush>(recipe.locals[0].mask.components[0].shape).strokes;
    for (const float x : {0.2f, 0.5f, 0.35f}) {
        BrushStroke all = stroke(x);
        all.edge = x;
        strokes.push_back(all);
        strokes.back().points.clear();
        for (const cv::Point2f& point : all.points) {
            strokes.back().points.push_back(point);
            Developer fresh = opened(picture);
            const cv::Rect at(0, 0, 160, 120);
            ASSERT_TRUE(same(view(fresh, at, 1, recipe), view(live, at, 1, recipe)));
        }
    }
}

TEST(Mask, IsTheSameForEveryTeamAndProcessor)
{
    Mask mask = of({Brush{{stroke(0.3f), stroke(0.6f)}}});
    mask.components.push_back({RadialGradient{}, MaskCombine::Intersect, true, 0.03f});
    mask.components.push_back({LumaRange{0.2f, 0.9f, 0.2f}, MaskCombine::Subtract, true, 0});
    cv::Mat first;
    everyWay([&] {
        Developer developer = opened(photo(kSize));
        const cv::Mat out = rendered(developer, mask, 2);
        if (first.empty())
            first = out;
        EXPECT_TRUE(same(first, out));
    });
}
