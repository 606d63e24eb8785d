// What comes out of a neutral recipe, and what each part of a recipe may touch.
#include <support/everyway.h>

#include <develop/scene.h>

using namespace pixmill;
using namespace pixmill::test;

namespace {

/// Every grey next to every kind of edge.
cv::Mat greyNoise(cv::Size size, int type)
{
    cv::Mat grey = randomPlane(size, type, 0, type == CV_8UC1 ? 256 : 65536).clone(), packed;
    cv::merge(std::vector<cv::Mat>{grey, grey, grey}, packed);
    return packed;
}

/// A flat patch's developed colour.
cv::Vec3d developedPatch(const cv::Vec3w& color, const Recipe& recipe)
{
    Developer developer = opened(cv::Mat(16, 16, CV_16UC3, cv::Scalar(color[0], color[1], color[2])));
    return whole(developer, recipe, Depth::Bits16).at<cv::Vec3w>(8, 8);
}

} // namespace

TEST(DeveloperNeutral, GreyPicturesComeBackToTheBit)
{
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 9), cv::Size(33, 1), cv::Size(203, 157)})
        for (const int type : {CV_8UC1, CV_16UC1}) {
            SCOPED_TRACE(testing::Message() << size << " type " << type);
            const cv::Mat grey = greyNoise(size, type);
            Developer developer = opened(grey);
            EXPECT_TRUE(same(grey, whole(developer, Recipe(), type == CV_8UC1 ? Depth::Bits8 : Depth::Bits16)));
        }
}

TEST(DeveloperNeutral, ColoursOfEvenPixelsComeBackAsEightBits)
{
    cv::Mat packed;
    photo({120, 80}).convertTo(packed, CV_8U, 1 / 257.0);
    Developer developer = opened(packed);
    const cv::Mat out = whole(developer, Recipe());
    for (int y = 0; y < packed.rows; y += 2)
        for (int x = 0; x < packed.cols; x += 2)
            ASSERT_EQ(packed.at<cv::Vec3b>(y, x), out.at<cv::Vec3b>(y, x)) << x << ", " << y;
}

TEST(DeveloperNeutral, FlatColoursComeBackToWithinTwoOf65535)
{
    for (const cv::Vec3w& color :
         {cv::Vec3w(65535, 0, 0), cv::Vec3w(0, 65535, 257), cv::Vec3w(1, 2, 65535), cv::Vec3w(51400, 25700, 12850),
          cv::Vec3w(0, 0, 0), cv::Vec3w(65535, 65535, 65535)}) {
        const cv::Vec3d out = developedPatch(color, Recipe());
        EXPECT_LE(cv::norm(out, cv::Vec3d(color), cv::NORM_INF), 2) << cv::Vec3d(color) << " became " << out;
    }
}

TEST(DeveloperNeutral, WeightsThatAreEqualAndLocalsWithoutControlsChangeNothing)
{
    Developer developer = opened(photo({90, 70}));
    const cv::Mat neutral = whole(developer, Recipe());
    Recipe recipe;
    recipe.weights = {0.5f, 0.5f, 0.5f};
    recipe.locals.resize(2);
    recipe.locals[0].mask = gradient();
    EXPECT_TRUE(same(neutral, whole(developer, recipe)));
}

TEST(DeveloperNeutral, TinyControlsChangeLittle)
{
    Developer developer = opened(photo({90, 70}));
    const cv::Mat neutral = whole(developer, Recipe());
    Recipe recipe;
    recipe.light.shadows = recipe.color.saturation = recipe.color.warmth = 1e-4f;
    EXPECT_LE(farthest(neutral, whole(developer, recipe)), 2);
}

TEST(DeveloperLight, KeepsTheRatiosOfColours)
{
    const cv::Vec3w color(30000, 15000, 7500);
    for (const float brightness : {-0.4f, 0.5f}) {
        Recipe recipe;
        recipe.light.brightness = brightness;
        const cv::Vec3d out = developedPatch(color, recipe);
        EXPECT_EQ(out[0] > color[0], brightness > 0);
        EXPECT_NEAR(out[0] / out[1], 2.0, 0.05); // the least amount in the ratio of lumas pulls a little towards grey
        EXPECT_NEAR(out[1] / out[2], 2.0, 0.05);
    }
}

TEST(DeveloperLight, BringsColoursThatDoNotFitBackWithoutLosingLuma)
{
    Recipe recipe;
    recipe.light.brightness = 0.8f;
    const cv::Vec3d out = developedPatch({60000, 20000, 10000}, recipe);
    const cv::Vec3d grey = developedPatch({30820, 30820, 30820}, recipe); // of the same luma
    EXPECT_NEAR(0.299 * out[0] + 0.587 * out[1] + 0.114 * out[2], grey[0], 40);
    EXPECT_NEAR(out[0], 65535, 1);
}

TEST(DeveloperColor, NoSaturationLeavesGrey)
{
    Developer developer = opened(photo({90, 70}));
    Recipe recipe;
    recipe.color.saturation = -1;
    const cv::Mat out = whole(developer, recipe);
    for (int y = 0; y < out.rows; ++y)
        for (int x = 0; x < out.cols; ++x) {
            const cv::Vec3b p = out.at<cv::Vec3b>(y, x);
            ASSERT_TRUE(p[0] == p[1] && p[1] == p[2]) << x << ", " << y << ": " << p;
        }
}

TEST(DeveloperDetail, ASlopeOfMinusOneTakesTheFineDetailOutAndKeepsEdges)
{
    cv::Mat step(40, 80, CV_16UC3, cv::Scalar::all(10000));
    step.colRange(40, 80).setTo(cv::Scalar::all(50000));
    Developer developer = opened(step);
    Recipe recipe;
    for (DetailLevel* level : {&recipe.detail.fine, &recipe.detail.medium, &recipe.detail.coarse})
        level->base.slope = -1;
    const cv::Mat out = whole(developer, recipe, Depth::Bits16);
    EXPECT_LT(farthest(step, out), 0.02 * 65535);
}

TEST(DeveloperBits, AreTheSameForEveryTeamAndProcessor)
{
    const cv::Mat packed = photo({301, 151});
    const Recipe recipe = fullRecipe();
    cv::Mat first;
    everyWay([&] {
        Developer developer = opened(packed);
        const cv::Mat out = whole(developer, recipe, Depth::Bits16);
        if (first.empty())
            first = out;
        EXPECT_TRUE(same(first, out));
    });
}
