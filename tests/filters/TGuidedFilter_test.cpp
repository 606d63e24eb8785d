#include <pixmill/filters/TGuidedFilter.h>
#include <reference/guided_filter.h>
#include <reference/resize.h>
#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

#include <climits>
#include <cstring>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

constexpr float kEps = 0.0004f;

struct Planes {
    std::vector<cv::Mat> guide;
    cv::Mat src;
};

/// Three different guides and a source that follows them in part.
Planes scene(cv::Size size, unsigned seed = 1)
{
    Planes p;
    for (unsigned i = 0; i < 3; ++i)
        p.guide.push_back(randomPlane(size, CV_32FC1, 0, 1, seed + i));
    p.src = randomPlane(size, CV_32FC1, 0, 1, seed + 3);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            const float edge = (x / 7 + y / 5) % 2 ? 0.6f : 0.1f;
            for (unsigned i = 0; i < 3; ++i)
                p.guide[i].at<float>(y, x) = p.guide[i].at<float>(y, x) * 0.3f + (x / 7 + y / 5) % (i + 2) * 0.3f;
            p.src.at<float>(y, x) = p.src.at<float>(y, x) * 0.2f + edge;
        }
    return p;
}

/// Same bits, any NaN being like any other.
testing::AssertionResult sameFloats(const cv::Mat& expected, const cv::Mat& actual)
{
    cv::Mat e = expected.clone(), a = actual.clone();
    cv::patchNaNs(e, 12345.75);
    cv::patchNaNs(a, 12345.75);
    return samePixels<float>(e, a);
}

void expectModel(const GuidedModel& expected, const TGuidedFilter& filter)
{
    const cv::Mat* const slopes[] = {&filter.m_a0, &filter.m_a1, &filter.m_a2};
    for (std::size_t i = 0; i < expected.a.size(); ++i)
        EXPECT_TRUE(sameFloats(expected.a[i], *slopes[i])) << "slope " << i;
    EXPECT_TRUE(sameFloats(expected.b, filter.m_b)) << "offset";
}

struct GuideOverGrid {
    cv::Size guide, grid;
};

/// A filter with random coefficients; some reach past the pixel's range, and one slope is not a number.
TGuidedFilter randomModel(cv::Size grid)
{
    TGuidedFilter filter;
    filter.m_a0 = randomPlane(grid, CV_32FC1, -1, 2, 11);
    filter.m_a1 = randomPlane(grid, CV_32FC1, -1, 2, 12);
    filter.m_a2 = randomPlane(grid, CV_32FC1, -1, 2, 13);
    filter.m_b = randomPlane(grid, CV_32FC1, -0.5, 0.8, 14);
    filter.m_a0.at<float>(0, grid.width / 2) = std::nanf("");
    return filter;
}

} // namespace

TEST(TGuidedFilterEstimate, OneGuideAndThreeGiveEveryWindowsModelBitForBit)
{
    for (const cv::Size size : oddSizes())
        for (const int r : {0, 1, 2, 8}) {
            SCOPED_TRACE(testing::Message() << size << ", r " << r);
            const Planes p = scene(size);
            const GuidedModel one = guidedEstimate(p.guide[0], p.src, r, kEps);
            const GuidedModel three = guidedEstimate(p.guide, p.src, r, kEps);
            everyWay([&] {
                TGuidedFilter filter;
                EXPECT_EQ(filter.setup({p.guide[0]}, p.src, r, kEps), 1);
                expectModel(one, filter);
                EXPECT_EQ(filter.setup(p.guide, p.src, r, kEps), 1);
                expectModel(three, filter);
            });
        }
}

TEST(TGuidedFilterEstimate, WidePlanesAndWideWindowsHaveNoSeams)
{
    const Planes p = scene({8250, 12}); // no strip of any radius is as wide
    for (const int r : {1, 3, 20}) {
        SCOPED_TRACE(r);
        TGuidedFilter filter;
        filter.gFc1_estimate(p.guide[0], p.src, r, kEps);
        expectModel(guidedEstimate(p.guide[0], p.src, r, kEps), filter);
        filter.gFc3_estimate(p.guide, p.src, r, kEps);
        expectModel(guidedEstimate(p.guide, p.src, r, kEps), filter);
    }
}

TEST(TGuidedFilterEstimate, TallPlanesHaveNoSeamsBetweenThreads)
{
    const Planes p = scene({9, 301});
    const GuidedModel one = guidedEstimate(p.guide[0], p.src, 4, kEps), three = guidedEstimate(p.guide, p.src, 4, kEps);
    everyWay([&] {
        TGuidedFilter filter;
        filter.gFc1_estimate(p.guide[0], p.src, 4, kEps);
        expectModel(one, filter);
        filter.gFc3_estimate(p.guide, p.src, 4, kEps);
        expectModel(three, filter);
    });
}

TEST(TGuidedFilterOneMean, OneWalkHasTheBitsOfBothSteps)
{
    for (const auto& [size, r] : {std::pair(cv::Size(301, 77), 1), {{203, 61}, 8}, {{90, 130}, 40}, {{8250, 9}, 3}}) {
        SCOPED_TRACE(r);
        const Planes p = scene(size);
        TGuidedFilter steps;
        cv::Mat expected;
        steps.gFc1_estimate(p.guide[0], p.src, r, kEps);
        steps.gFc1_apply(p.guide[0], expected);
        everyWay([&, radius = r] {
            cv::Mat out, overSource = p.src.clone(), overGuide = p.guide[0].clone();
            TGuidedFilter::gFc1_oneMean(p.guide[0], p.src, out, radius, kEps);
            TGuidedFilter::gFc1_oneMean(p.guide[0], overSource, overSource, radius, kEps);
            TGuidedFilter::gFc1_oneMean(overGuide, p.src, overGuide, radius, kEps);
            EXPECT_TRUE(samePixels<float>(expected, out));
            EXPECT_TRUE(samePixels<float>(expected, overSource));
            EXPECT_TRUE(samePixels<float>(expected, overGuide));
        });
    }
}

TEST(TGuidedFilterEstimate, RadiusZeroKeepsTheSource)
{
    const Planes p = scene({33, 21});
    TGuidedFilter filter;
    filter.gFc1_estimate(p.guide[0], p.src, 0, kEps);
    EXPECT_TRUE(samePixels<float>(cv::Mat::zeros(p.src.size(), CV_32FC1), filter.m_a0));
    EXPECT_TRUE(samePixels<float>(p.src, filter.m_b));
}

TEST(TGuidedFilterEstimate, FlatGuidesGiveTheMeanOrWithoutEpsNothing)
{
    Planes p = scene({40, 30});
    for (cv::Mat& g : p.guide)
        g.setTo(0.25f);
    const cv::Mat mean = innerMeans(padded(p.src, 2), 2), zeros = cv::Mat::zeros(30, 40, CV_32FC1);
    TGuidedFilter filter;
    // Rounding leaves the covariance of a flat guide a few units beside 0.
    filter.gFc1_estimate(p.guide[0], p.src, 2, 1.0f);
    EXPECT_LT(cv::norm(filter.m_a0, zeros, cv::NORM_INF), 1e-6);
    EXPECT_LT(cv::norm(filter.m_b, mean, cv::NORM_INF), 1e-6);
    p.guide[0].setTo(0.0f);
    filter.gFc1_estimate(p.guide[0], p.src, 2, 0.0f);
    EXPECT_TRUE(std::isnan(filter.m_a0.at<float>(7, 9)) && std::isnan(filter.m_b.at<float>(0, 0)));
}

TEST(TGuidedFilterEstimate, SingularMatricesKeepTheRowsLastInverse)
{
    for (const cv::Size size : {cv::Size(50, 9), cv::Size(2600, 5)}) {
        SCOPED_TRACE(testing::Message() << size);
        const Planes p = scene(size);
        for (const int from : {0, size.width / 2}) { // two equal guides: no inverse yet, and one to keep
            const cv::Range same(from, from + size.width / 3);
            p.guide[0].colRange(same).copyTo(p.guide[1].colRange(same));
        }
        const GuidedModel expected = guidedEstimate(p.guide, p.src, 1, 0.0f);
        everyWay([&] {
            TGuidedFilter filter;
            filter.gFc3_estimate(p.guide, p.src, 1, 0.0f);
            expectModel(expected, filter);
        });
        EXPECT_EQ(expected.a[0].at<float>(3, 5), 0.0f);
        EXPECT_NE(expected.a[0].at<float>(3, size.width / 2 + 8), 0.0f);
    }
}

TEST(TGuidedFilterEstimate, IdenticalGuidesWithoutEpsAreSingularEverywhere)
{
    const Planes p = scene({30, 20});
    const std::vector<cv::Mat> guide(3, p.guide[0] > 0.3);
    std::vector<cv::Mat> binary(3);
    for (int i = 0; i < 3; ++i)
        guide[i].convertTo(binary[i], CV_32FC1, 1.0 / 255);
    TGuidedFilter filter;
    filter.gFc3_estimate(binary, p.src, 1, 0.0f);
    expectModel(guidedEstimate(binary, p.src, 1, 0.0f), filter);
}

TEST(TGuidedFilterEstimate, ANonFiniteSampleSpoilsOnlyTheWindowsThatHoldIt)
{
    for (const float bad : {std::nanf(""), INFINITY}) {
        Planes p = scene({60, 40});
        p.guide[0].at<float>(20, 30) = bad;
        p.src.at<float>(5, 50) = bad;
        TGuidedFilter filter;
        filter.gFc1_estimate(p.guide[0], p.src, 3, kEps);
        expectModel(guidedEstimate(p.guide[0], p.src, 3, kEps), filter);
        filter.gFc3_estimate(p.guide, p.src, 3, kEps);
        expectModel(guidedEstimate(p.guide, p.src, 3, kEps), filter);
        EXPECT_FALSE(std::isnan(filter.m_a0.at<float>(20, 30 - 7)));
        EXPECT_TRUE(std::isnan(filter.m_a0.at<float>(20, 30 - 6)));
    }
}

TEST(TGuidedFilterEstimate, MayReadItsOwnCoefficientsAndKeepsBuffersThatFit)
{
    const Planes p = scene({50, 40});
    TGuidedFilter filter;
    filter.gFc3_estimate(p.guide, p.src, 2, kEps);
    const cv::Mat a0 = filter.m_a0.clone(), a1 = filter.m_a1.clone(), b = filter.m_b.clone();
    const uchar* const buffer = filter.m_a2.data;

    filter.gFc3_estimate({filter.m_a0, filter.m_a1, p.guide[2]}, filter.m_b, 2, kEps);
    expectModel(guidedEstimate({a0, a1, p.guide[2]}, b, 2, kEps), filter);
    EXPECT_EQ(filter.m_a2.data, buffer);

    const cv::Mat again = filter.m_a0.clone(), offset = filter.m_b.clone();
    filter.gFc1_estimate(filter.m_a0, filter.m_b, 2, kEps);
    expectModel(guidedEstimate(again, offset, 2, kEps), filter);
}

TEST(TGuidedFilterEstimate, RejectsOtherNumbersOfGuidesAndPlanesTooSmall)
{
    const Planes p = scene({8, 8});
    TGuidedFilter filter;
    const char* const text = "ERROR - TGuidedFilter::setup - input vector size is not correct.";
    EXPECT_THROWS_TEXT(filter.setup({}, p.src, 1, kEps), text);
    EXPECT_THROWS_TEXT(filter.setup({p.guide[0], p.guide[1]}, p.src, 1, kEps), text);
    EXPECT_THROW(filter.setup({p.guide[0](cv::Rect(0, 0, 7, 8))}, p.src, 1, kEps), cv::Exception);
    EXPECT_THROW(filter.setup({cv::Mat::zeros(8, 8, CV_8UC1)}, p.src, 1, kEps), cv::Exception);
    EXPECT_THROW(filter.setup({p.guide[0], p.guide[1], cv::Mat()}, p.src, 1, kEps), cv::Exception);
    EXPECT_THROW(filter.setup({p.guide[0]}, p.src, -1, kEps), cv::Exception);
    EXPECT_TRUE(filter.m_a0.empty() && filter.m_b.empty());
    EXPECT_EQ(filter.setup({cv::Mat()}, cv::Mat(), 1, kEps), 1);
}

// Applications

TEST(TGuidedFilterApply, PixelsTakeTheCoefficientsOfTheRoundedUpRatio)
{
    const GuideOverGrid cases[] = {{{33, 100}, {11, 40}}, {{61, 41}, {61, 41}}, {{200, 31}, {7, 9}},
                                   {{41, 21}, {21, 11}},  {{5, 5}, {9, 8}},     {{1, 1}, {1, 1}},
                                   {{130, 3}, {1, 1}}};
    for (const GuideOverGrid& c : cases) {
        SCOPED_TRACE(testing::Message() << c.guide << " over " << c.grid);
        const TGuidedFilter filter = randomModel(c.grid);
        const cv::Mat guide8 = randomPlane(c.guide, CV_8UC1, 0, 256),
                      guide16 = randomPlane(c.guide, CV_16UC1, 0, 65536);
        const cv::Mat expected8 = guidedApplied<uchar>(guide8, filter.m_a0, filter.m_b);
        const cv::Mat expected16 = guidedApplied<ushort>(guide16, filter.m_a0, filter.m_b);
        everyWay([&] {
            cv::Mat out8, out16 = guide16.clone();
            EXPECT_EQ(filter.proc({guide8}, out8), 1);
            EXPECT_EQ(filter.proc({out16}, out16), 1); // in place
            EXPECT_TRUE(samePixels<uchar>(expected8, out8));
            EXPECT_TRUE(samePixels<ushort>(expected16, out16));
        });
    }
}

TEST(TGuidedFilterApply, PastARatioThatSinglePrecisionRoundsDownTheLastCoefficientServes)
{
    const int grid = 1 << 24, sides[] = {grid + 1, 2 * grid + 1};
    for (const int side : sides)
        for (const bool tall : {true, false}) {
            SCOPED_TRACE(testing::Message() << side << (tall ? " rows" : " columns"));
            const auto size = [tall](int n) { return tall ? cv::Size(1, n) : cv::Size(n, 1); };
            TGuidedFilter filter;
            filter.m_a0 = cv::Mat(size(grid), CV_32FC1, cv::Scalar(0.5));
            filter.m_b = cv::Mat::zeros(size(grid), CV_32FC1);
            (tall ? filter.m_a0.row(grid - 1) : filter.m_a0.col(grid - 1)).setTo(1.0);
            const cv::Mat guide(size(side), CV_8UC1, cv::Scalar(200));
            cv::Mat out;
            filter.gFc1_applyLoop(guide, out);
            EXPECT_TRUE(samePixels<uchar>(guidedApplied<uchar>(guide, filter.m_a0, filter.m_b), out));
            EXPECT_EQ(out.data[side - 1], 200);
        }
}

TEST(TGuidedFilterApply, FloatsTakeEnlargedCoefficients)
{
    for (const GuideOverGrid& c : {GuideOverGrid{{203, 157}, {70, 50}},
                                   {{30, 20}, {30, 20}},
                                   {{14, 9}, {7, 3}},
                                   {{5, 4}, {11, 9}},
                                   {{15, 15}, {10, 10}},
                                   {{9, 1}, {1, 1}}}) {
        SCOPED_TRACE(testing::Message() << c.guide << " over " << c.grid);
        TGuidedFilter filter = randomModel(c.grid);
        filter.m_a0.at<float>(0, c.grid.width / 2) = 0.5f; // a NaN has no one form
        const auto enlarged = [&](const cv::Mat& grid, int code) {
            cv::Mat out(c.guide, CV_32FC1);
            const Axis xs = {{c.guide.width, c.grid.width}, {0, 1}, code, 0, c.grid.width - 1};
            const Axis ys = {{c.guide.height, c.grid.height}, {0, 1}, code, 0, c.grid.height - 1};
            return planeOf<float>(c.guide,
                                  [&](int y, int x) { return resizedPixel<float>(grid, xs.taps(x), ys.taps(y)); });
        };
        const Planes p = scene(c.guide);
        const cv::Mat* a[] = {&filter.m_a0, &filter.m_a1, &filter.m_a2};
        cv::Mat one = enlarged(filter.m_b, 4), three = enlarged(filter.m_b, 1);
        one += times(enlarged(filter.m_a0, 4), p.guide[0]);
        for (int i = 0; i < 3; ++i)
            three += times(enlarged(*a[i], 1), p.guide[i]);
        everyWay([&] {
            cv::Mat outOne, outThree, inPlace = p.guide[0].clone(), third = p.guide[2].clone();
            EXPECT_EQ(filter.gFc1_apply(p.guide[0], outOne), 1);
            EXPECT_EQ(filter.proc(p.guide, outThree), 1);
            filter.gFc1_apply(inPlace, inPlace);
            filter.proc({p.guide[0], p.guide[1], third}, third);
            EXPECT_TRUE(samePixels<float>(one, outOne));
            EXPECT_TRUE(samePixels<float>(one, inPlace));
            EXPECT_TRUE(samePixels<float>(three, outThree));
            EXPECT_TRUE(samePixels<float>(three, third));
        });
    }
}

TEST(TGuidedFilterApply, GuidesOfOtherTypesAreCopied)
{
    const TGuidedFilter filter = randomModel({4, 3});
    for (const int type : {CV_32FC1, CV_16SC1, CV_8UC3, CV_64FC1}) {
        const cv::Mat guide = randomPlane({9, 7}, type, 0, 100);
        cv::Mat out;
        filter.proc({guide}, out);
        EXPECT_NE(out.data, guide.data);
        EXPECT_EQ(cv::norm(out, guide, cv::NORM_INF), 0.0);
    }
}

TEST(TGuidedFilterApply, RejectsOtherNumbersOfGuidesAndAMissingEstimate)
{
    const cv::Mat guide = randomPlane({8, 8}, CV_32FC1, 0, 1), pixels = randomPlane({8, 8}, CV_16UC1, 0, 65536);
    TGuidedFilter filter;
    cv::Mat out;
    const char* const text = "ERROR - TGuidedFilter::proc - input vector size is not correct.";
    EXPECT_THROWS_TEXT(filter.proc({}, out), text);
    EXPECT_THROWS_TEXT(filter.proc({guide, guide}, out), text);
    EXPECT_THROW(filter.proc({pixels}, out), cv::Exception);
    EXPECT_THROW(filter.gFc1_apply(guide, out), cv::Exception);
    filter.gFc1_estimate(guide, guide, 1, kEps);
    EXPECT_THROW(filter.proc({guide, guide, guide}, out), cv::Exception); // one slope only
    filter.gFc3_estimate({guide, guide, guide}, guide, 1, kEps);
    EXPECT_THROW(filter.proc({guide, guide, guide(cv::Rect(0, 0, 7, 8))}, out), cv::Exception);
    EXPECT_TRUE(out.empty());
}

// Helpers and the whole filter

TEST(TGuidedFilterMoments, StandAtTheAnchorOrAtTheFirstSample)
{
    const Planes p = scene({19, 14});
    const int r = 2;
    const cv::Mat x = padded(p.guide[0], r), y = padded(p.src, r);
    const cv::Mat meanX = innerMeans(x, r), meanY = innerMeans(y, r);
    const IppiSize full = {x.cols, x.rows}, roi = {19, 14}, mask = {5, 5};
    for (const bool offset : {false, true}) {
        cv::Mat cov(x.size(), CV_32FC1, cv::Scalar(9)), var = cov.clone(), tmp1, tmp2;
        cv::Mat expectedCov = cov.clone(), expectedVar = cov.clone();
        const cv::Rect at(offset ? r : 0, offset ? r : 0, 19, 14);
        covariance(x, y, r).copyTo(expectedCov(at));
        covariance(x, x, r).copyTo(expectedVar(at));
        TGuidedFilter::calcov2(cov, x, y, meanX, meanY, tmp1, tmp2, full, roi, mask, {r, r}, offset);
        EXPECT_TRUE(samePixels<float>(expectedCov, cov));
        EXPECT_TRUE(samePixels<float>(times(x, y), tmp1));
        EXPECT_TRUE(samePixels<float>(times(meanX, meanY), tmp2));
        TGuidedFilter::calvar2(var, x, meanX, tmp1, tmp2, full, roi, mask, {r, r}, offset);
        EXPECT_TRUE(samePixels<float>(expectedVar, var));
    }
    cv::Mat small(14, 19, CV_32FC1), tmp1, tmp2;
    EXPECT_THROW(TGuidedFilter::calvar2(small, x, meanX, tmp1, tmp2, full, roi, mask, {r, r}, true), cv::Exception);
    EXPECT_THROW(TGuidedFilter::calvar2(small, small, meanX, tmp1, tmp2, full, roi, mask, {r, r}, false),
                 cv::Exception);
    EXPECT_THROW(TGuidedFilter::calvar2(small, x, meanX, tmp1, tmp2, roi, full, mask, {r, r}, false), cv::Exception);
}

TEST(TGuidedFilterWhole, ABlockLosesTwoRadiiOnEverySide)
{
    for (const cv::Size size : {cv::Size(5, 9), cv::Size(90, 61), cv::Size(1300, 14)})
        for (const int r : {0, 1, 3}) {
            if (size.width <= 4 * r || size.height <= 4 * r)
                continue;
            SCOPED_TRACE(testing::Message() << size << ", r " << r);
            const Planes p = scene(size);
            const cv::Mat expected = guidedBlock(p.guide[0], p.src, r, kEps);
            everyWay([&] {
                cv::Mat out;
                EXPECT_EQ(TGuidedFilter::gFc1_blkGuide(p.guide[0], p.src, out, r, kEps), 1);
                EXPECT_TRUE(samePixels<float>(expected, out));
            });
        }
}

TEST(TGuidedFilterWhole, StripsStandTwoRadiiRightAndBelowInsideMarginsOfTheSource)
{
    const cv::Size size(70, 59);
    const Planes p = scene(size);
    for (const int r : {0, 1, 3})
        for (const int height : {1, 7, 11, 47, 59, 1000}) { // 47: the picture without margins at r 3
            SCOPED_TRACE(testing::Message() << "r " << r << ", strips of " << height);
            const int m = 4 * r;
            cv::Mat expected = p.src.clone();
            for (int y0 = 0; y0 < size.height - m; y0 += height) {
                const cv::Rect strip(0, y0, size.width, std::min(height + m, size.height - y0));
                const cv::Mat block = guidedBlock(p.guide[0](strip), p.src(strip), r, kEps);
                for (int y = 0; y < block.rows; ++y)
                    for (int x = 0; x < block.cols; ++x)
                        if (y0 + y + m < size.height - m && x + m < size.width - m)
                            expected.at<float>(y0 + y + m, x + m) = block.at<float>(y, x);
            }
            everyWay([&] {
                cv::Mat out, inPlace = p.src.clone(), onGuide = p.guide[0].clone();
                EXPECT_EQ(TGuidedFilter::gFc1_stripproc(p.guide[0], p.src, out, r, kEps, height), 1);
                TGuidedFilter::gFc1_stripproc(p.guide[0], inPlace, inPlace, r, kEps, height);
                TGuidedFilter::gFc1_stripproc(onGuide, p.src, onGuide, r, kEps, height);
                EXPECT_TRUE(samePixels<float>(expected, out));
                EXPECT_TRUE(samePixels<float>(expected, inPlace));
                EXPECT_TRUE(samePixels<float>(expected, onGuide));
                if (height == size.height) {
                    TGuidedFilter::stripProc(p.guide[0], p.src, out, r, kEps);
                    EXPECT_TRUE(samePixels<float>(expected, out));
                }
            });
        }
}

TEST(TGuidedFilterWhole, PicturesWithoutAPixelInsideTheMarginAreCopied)
{
    for (const cv::Size size : {cv::Size(8, 30), cv::Size(30, 8), cv::Size(1, 1)}) {
        const Planes p = scene(size);
        cv::Mat strips, block;
        TGuidedFilter::stripProc(p.guide[0], p.src, strips, 2, kEps);
        TGuidedFilter::gFc1_blkGuide(p.guide[0], p.src, block, 2, kEps);
        EXPECT_TRUE(samePixels<float>(p.src, strips));
        EXPECT_TRUE(samePixels<float>(p.src, block));
    }
}

TEST(TGuidedFilterWhole, LargePicturesGoInStripsOfSixHundredRows)
{
    struct Case {
        int columns, rows, height;
    };
    for (const Case& c : {Case{1500, 1499, 1499},
                          {1500, 1500, 600},
                          {5000, 599, 599},
                          {3750, 600, 600},
                          {0, 0, 0},
                          {100000, 100000, 600}})
        EXPECT_EQ(TGuidedFilter::checkBlkSz(c.columns, c.rows), c.height) << c.columns << " x " << c.rows;
}

TEST(TGuidedFilter, ARadiusFarBeyondThePictureCostsLittleAndGivesTheSameModel)
{
    for (const cv::Size size : {cv::Size(2, 33), cv::Size(13, 4)}) {
        const Planes p = scene(size);
        TGuidedFilter filter;
        filter.setup({p.guide[0]}, p.src, 150, kEps);
        expectModel(guidedEstimate(p.guide[0], p.src, 150, kEps), filter);
        filter.setup(p.guide, p.src, 60, kEps);
        expectModel(guidedEstimate(p.guide, p.src, 60, kEps), filter);
        filter.setup({p.guide[0]}, p.src, 20000, kEps); // took 12 s once
    }
    const Planes p = scene({130, 16});
    TGuidedFilter filter;
    EXPECT_REFUSED(filter.setup({p.guide[0]}, p.src, 40000, kEps),
                   "TGuidedFilter::setup: r is 40000, wanted at most 32768 more than the picture's sides, and windows "
                   "whose sums take 2^30 bytes at most");
}

TEST(TGuidedFilter, HostilePlanesAreRefusedByTheNameOfTheCallAndTheArgument)
{
    const Planes p = scene({7, 6});
    TGuidedFilter filter;
    cv::Mat out;
    EXPECT_REFUSED(filter.proc({p.src}, out), "TGuidedFilter::proc: m_a0 is empty, wanted CV_32FC1, an estimate's");
    EXPECT_REFUSED(filter.setup({p.src}, solid(CV_32FC1), 1, kEps),
                   "TGuidedFilter::setup: src is CV_32FC1 of 3 dimensions, wanted a plane of rows and columns");
    EXPECT_REFUSED(
        filter.gFc1_estimate(p.guide[0](cv::Rect(0, 0, 6, 6)), p.src, 1, kEps),
        "TGuidedFilter::gFc1_estimate: guide is CV_32FC1 6 x 6, wanted a float of every one of 7 x 6 samples");
    filter.setup(p.guide, p.src, 1, kEps);
    EXPECT_REFUSED(
        filter.gFc1_applyLoop(solid(CV_16UC1), out),
        "TGuidedFilter::gFc1_applyLoop: guide is CV_16UC1 of 3 dimensions, wanted a plane of rows and columns");
    cv::Mat cov(6, 7, CV_32FC1), one, two;
    const IppiSize full{INT_MIN, 6}, roi{5, 4}, mask{3, 3};
    EXPECT_THROW(TGuidedFilter::calvar2(cov, p.src, p.src, one, two, full, roi, mask, {1, 1}, false), cv::Exception);
    EXPECT_TRUE(out.empty());
}

TEST(TGuidedFilter, BytesThatStandBetweenFloatsAreReadAllTheSame)
{
    const Planes p = scene({9, 6});
    cv::Mat wide(6, 9 * 4 + 1, CV_8UC1), shifted = wide(cv::Rect(1, 0, 9 * 4, 6)); // neither rows nor pixels on floats
    for (int y = 0; y < 6; ++y)
        std::memcpy(shifted.ptr(y), p.src.ptr(y), 9 * 4);
    TGuidedFilter expected, filter;
    expected.setup({p.guide[0]}, p.src, 1, kEps);
    filter.setup({p.guide[0]}, cv::Mat(6, 9, CV_8UC4, shifted.data, wide.step), 1, kEps);
    EXPECT_TRUE(sameFloats(expected.m_a0, filter.m_a0));
    EXPECT_TRUE(sameFloats(expected.m_b, filter.m_b));
}

TEST(TGuidedFilter, TheWholeFilterWritesOverItsInputsInAnyWay)
{
    for (const int r : {1, 3}) { // filtered, and too small for the margins
        const cv::Mat memory = randomPlane({40, 12}, CV_32FC1, 0, 1);
        cv::Mat expected, host = memory.clone(), src = host(cv::Rect(0, 0, 30, 12)), out = host(cv::Rect(2, 0, 30, 12));
        TGuidedFilter::stripProc(src.clone(), src.clone(), expected, r, kEps);
        TGuidedFilter::stripProc(src, src, out, r, kEps);
        EXPECT_TRUE(sameFloats(expected, out));
        cv::Mat block = memory.clone();
        TGuidedFilter::gFc1_blkGuide(memory, memory, expected, r, kEps);
        TGuidedFilter::gFc1_blkGuide(block, block, block, r, kEps);
        EXPECT_TRUE(sameFloats(expected, block));
    }
}
