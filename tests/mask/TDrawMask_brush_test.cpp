// Dots: which pixels they reach, with which weights, blended how.
#include <pixmill/mask/detail/brush_cover.h>
#include <pixmill/mask/detail/brush_falloff.h>
#include <support/everyway.h>
#include <support/throws.h>

#include <mask/painter.h>

#include <climits>
#include <cmath>
#include <utility>
#include <vector>

using namespace pixmill::test;

namespace {

// Centres on, inside and beyond every edge and corner for a radius.
std::vector<cv::Point> centres(cv::Size size, int R)
{
    std::vector<cv::Point> points;
    const auto line = [R](int n) { return std::vector<int>{-R - 1, -R, -1, 0, n / 2, n - R, n - 1, n, n + R}; };
    for (const int y : line(size.height))
        for (const int x : line(size.width))
            points.emplace_back(x, y);
    return points;
}

} // namespace

TEST(TDrawMask, DistancesAreThoseOfMagnitude)
{
    const int n = 4097; // every product of two smaller integers is a float
    cv::Mat x(1, n, CV_32FC1), y(1, n, CV_32FC1), expected, actual(1, n, CV_32FC1);
    for (int i = 0; i < n; ++i)
        x.at<float>(i) = float(i);
    PolicyGuard guard;
    for (int level = pixmill::rows::rowPolicy().level; level >= 0; --level) {
        pixmill::rows::rowPolicy().level = level;
        for (int dy = 0; dy < n; dy += level ? 1 : 7) {
            y.setTo(float(dy));
            cv::magnitude(x, y, expected);
            pixmill::rows::runSpan(
                [&](int first, int end) {
                    for (int i = first; i < end; ++i)
                        actual.ptr<float>()[i] = pixmill::mask::brushDistance(i, dy);
                },
                0, n);
            ASSERT_TRUE(samePixels<float>(expected, actual)) << "dy " << dy << " level " << level;
        }
    }
}

TEST(TDrawMask, ADiscEndsWhereTheDistanceDoes)
{
    using pixmill::mask::brushDistance;
    using pixmill::mask::discReach;
    const auto isReach = [](int dy, int R) {
        const int reach = discReach(dy, R);
        return (reach < 0 ? dy > 0 || R < 0 : double(brushDistance(reach, dy)) <= R) &&
               !(double(brushDistance(reach + 1, dy)) <= R);
    };
    for (int R = 0; R < 2200; ++R)
        for (int dy = 0; dy <= R + 1; ++dy)
            ASSERT_TRUE(isReach(dy, R)) << "row " << dy << " of radius " << R;
    for (const int R : {3000, 4095, 4096, 4097, 5791, 7999, 8000, 123456, 99999999})
        for (int i = 0; i <= 1000; ++i)
            ASSERT_TRUE(isReach(int(double(R) * i / 1000), R)) << "row " << i << " of radius " << R;
    EXPECT_EQ(discReach(0, -1), -1);
}

TEST(TDrawMask, TheTableFallsFromOneToZeroBetweenTheRadii)
{
    Brush twin;
    TDrawMask m;
    const int radii[][2] = {{10, 5},   {10, 10},     {10, 0},      {0, 0},      {1, 0},  {500, 20},
                            {7999, 3}, {8000, 7999}, {9000, 8500}, {9000, 100}, {5, -3}, {-2, -9}};
    for (const auto& [outer, inner] : radii) {
        SCOPED_TRACE(testing::Message() << outer << " " << inner);
        m.updateLUT(outer, inner);
        twin.fillTable(outer, inner);
        EXPECT_TRUE(std::equal(twin.table.begin(), twin.table.end(), m.m_lut_p));
        EXPECT_EQ(m.m_lutOuter, outer);
        EXPECT_EQ(m.m_lutInner, inner);
    }
    m.m_lut_p[3] = 0.5f;
    m.updateLUT(-2, -9);
    EXPECT_EQ(m.m_lut_p[3], 0.5f) << "the same radii need no new table";
    for (int i = 0; i < 2; ++i)
        EXPECT_THROWS_TEXT(m.updateLUT(4, 5), kInnerLarger);
    EXPECT_EQ(m.m_lutOuter, -2);
}

TEST(TDrawMask, ClipsTheRightEdgeOneColumnLaterThanTheBottom)
{
    TDrawMask m;
    m.m_mask = cv::Mat::zeros(38, 51, CV_8UC1);
    struct {
        cv::Point center;
        int R, x0, x1, y0, y1, maskX, maskY;
    } const cases[] = {
        {{20, 15}, 5, 0, 11, 0, 11, 15, 10},
        {{46, 33}, 5, 0, 11, 0, 10, 41, 28}, // ends on column 51 whole, on row 38 cut
        {{47, 34}, 5, 0, 9, 0, 9, 42, 29},
        {{2, 3}, 5, 3, 11, 2, 11, 0, 0},
        {{-5, -6}, 5, 10, 11, 11, 11, 0, 0},
        {{-9, 10}, 5, 14, 11, 0, 11, 0, 5},
        {{60, 50}, 5, 0, -4, 0, -7, 55, 45},
        {{50, 37}, 0, 0, 1, 0, 1, 50, 37},
        {{51, 38}, 0, 0, 1, 0, 0, 51, 38},
        {{25, 19}, 100, 75, 126, 81, 119, 0, 0},
    };
    for (const auto& c : cases) {
        cv::Point center = c.center;
        m.checkBoundary(center, c.R);
        EXPECT_EQ(center, c.center);
        EXPECT_EQ((std::vector<int>{m.m_clipX0, m.m_clipX1, m.m_clipY0, m.m_clipY1, m.m_clipMaskX, m.m_clipMaskY}),
                  (std::vector<int>{c.x0, c.x1, c.y0, c.y1, c.maskX, c.maskY}))
            << c.center << " radius " << c.R;
    }
}

TEST(TDrawMask, DotsMatchTheReferenceBitForBit)
{
    const auto compare = [](cv::Size size, std::vector<cv::Vec2i> radii, std::vector<float> edges, const auto& draw) {
        Pair pair(size);
        for (const cv::Vec2i& r : radii)
            for (const float edge : edges) {
                pair.startStroke(unsigned(r[0] * 7 + r[1]));
                for (const cv::Point& c : centres(size, r[0])) {
                    draw(pair, dot(c, r[0], r[1], edge, uchar(c.x * 17 + c.y), 0.1f * (c.y & 7) + 0.3f));
                    ASSERT_TRUE(pair.agree()) << size << " radii " << r << " edge " << edge << " centre " << c;
                }
            }
    };
    for (const cv::Size size : {cv::Size(1, 1), {1, 9}, {33, 1}, {16, 7}, {51, 38}, {160, 90}}) {
        compare(size, {{0, 0}, {1, 0}, {1, 1}, {4, 1}, {7, 7}, {13, 0}, {30, 12}, {70, 69}},
                {0.0f, 0.04f, 0.05f, 0.3f, 2.0f}, [](Pair& pair, TMaskParam p) {
                    pair.twin.strokeDot(false, p);
                    pair.painter.drawStrokeDot(false, &p);
                });
        compare(size, {{0, 0}, {1, 0}, {7, 7}, {13, 4}, {70, 20}, {6, 9}}, {0.0f, 0.3f, 2.0f},
                [](Pair& pair, const TMaskParam& p) {
                    pair.painter.drawMaskDot(p.m_center, p.m_outerRadius, p.m_innerRadius, p.m_edge);
                    pair.twin.smoothDot(p.m_center, p.m_outerRadius, p.m_innerRadius, p.m_edge);
                });
    }
}

TEST(TDrawMask, LargeDotsGiveTheSameBitsInEveryWay)
{
    Pair pair({260, 190});
    everyWay([&] {
        pair.startStroke(5);
        for (const TMaskParam& p :
             {dot({100, 90}, 90, 30, 0), dot({180, 20}, 120, 0, 0.4f), dot({140, 90}, 120, 120, 0),
              dot({60, 90}, 200, 150, 1.5f), dot({130, 95}, 300, 299, 0), dot({400, 95}, 250, 0, 0)}) {
            TMaskParam own = p;
            pair.painter.drawStrokeDot(false, &own);
            pair.twin.strokeDot(false, p);
            ASSERT_TRUE(pair.agree()) << p.m_center;
            pair.painter.drawMaskDot(p.m_center, p.m_outerRadius, p.m_innerRadius, p.m_edge);
            pair.twin.smoothDot(p.m_center, p.m_outerRadius, p.m_innerRadius, p.m_edge);
            ASSERT_TRUE(pair.agree()) << p.m_center << " without the table";
        }
    });
}

TEST(TDrawMask, EveryWeightMeetsEveryCoverage)
{
    // One row of a wide soft dot has all of its weights; each column of coverage all values.
    for (const float edge : {0.0f, 1e-6f, 0.05f, 1.0f}) {
        for (const int R : {255, 1000}) {
            Pair pair({2 * R + 3, 256});
            pair.startStroke(1);
            for (int y = 0; y < 256; ++y)
                pair.twin.cover.row(y).setTo(y);
            pair.painter.m_strokeCover = pair.twin.cover.clone();
            pair.painter.updateLUT(R, R / 10);
            pair.twin.fillTable(R, R / 10);
            pair.painter.drawMaskDotLUT({R + 1, 128}, R, R / 10, edge);
            pair.twin.softDot({R + 1, 128}, R, edge);
            ASSERT_TRUE(pair.agree()) << "radius " << R << " edge " << edge;
        }
    }
}

TEST(TDrawMask, WeightsThatTheHostWritesBetweenDotsAreUsed)
{
    // Weights outside 0..1 have no share; a radius of 1100 is too large for its weights to be kept.
    const std::vector<float> written[] = {{0.3f},         {0.5f}, {0.75f, 0.125f}, {1.25f, -0.5f}, {1e-30f, 0.9999999f},
                                          {std::nanf("")}};
    everyWay([&] {
        for (const int R : {20, 1100})
            for (const float edge : {0.0f, 0.3f}) {
                Pair pair({150, 43});
                pair.startStroke(unsigned(R));
                pair.painter.updateLUT(R, R / 3);
                pair.twin.fillTable(R, R / 3);
                for (const auto& weights : written) {
                    if (R > 20 ? weights[0] > 0.3f || edge > 0 : std::isnan(weights[0]) && edge > 0)
                        continue; // a large dot takes the twin long; with an edge a NaN becomes any byte
                    for (std::size_t i = 0; i < weights.size(); ++i)
                        for (int r = int(i); r < 60; r += 3)
                            pair.painter.m_lut_p[r] = pair.twin.table[r] = weights[i];
                    pair.painter.drawMaskDotLUT({75, 21}, R, R / 3, edge);
                    pair.twin.softDot({75, 21}, R, edge);
                    ASSERT_TRUE(pair.agree()) << "radius " << R << " edge " << edge << " weight " << weights[0];
                }
            }
    });
}

TEST(TDrawMask, AnEvenBaseIsBlendedAsAnyOther)
{
    Pair pair({150, 40});
    everyWay([&] {
        for (const float opacity : {-0.5f, 0.0f, 0.004f, 0.25f, 0.5f, 0.8f, 0.97f, 1.0f, 1.5f})
            for (const int value : {0, 9, 128, 255})
                for (const int base : {0, 1, 128, 200, 255}) {
                    pair.startStroke(3);
                    pair.twin.base.setTo(base);
                    pair.twin.base.at<uchar>(11, 90) = uchar(base + 40); // so one block is not even
                    pair.painter.m_strokeBase = pair.twin.base.clone();
                    pair.painter.renderStroke(uchar(value), opacity, {75, 20}, 70);
                    pair.twin.render(uchar(value), opacity, {75, 20}, 70);
                    ASSERT_TRUE(pair.agree()) << "value " << value << " base " << base << " opacity " << opacity;
                }
    });
}

TEST(BrushShares, CoverEveryCoverageAsTheirWeight)
{
    using namespace pixmill::mask;
    cv::RNG rng(5);
    for (int i = 0; i < 20000; ++i) {
        const float w = i < 512 ? float(i) / 511 : i < 1024 ? float(i - 512) / 512 : rng.uniform(0.0f, 1.0f);
        const float share = openShare(w);
        ASSERT_GE(share, 0.0f) << "weight " << w;
        for (int c = 0; c < 256; ++c) {
            uchar covered = uchar(c);
            coverShares(&share, &covered, 1);
            ASSERT_EQ(std::lrint(255.0 * w + (1.0 - w) * c), covered) << "weight " << w << " coverage " << c;
        }
    }
    EXPECT_LT(openShare(-0.5f), 0.0f);
}

TEST(TDrawMask, DistancesPastTheTableHaveNoWeight)
{
    Pair pair({40, 3});
    pair.startStroke(3);
    const cv::Mat before = pair.twin.cover.clone();
    pair.painter.updateLUT(9000, 9000);
    pair.painter.drawMaskDotLUT({7999 + 20, 1}, 9000, 9000, 0);
    for (int x = 0; x < 40; ++x)
        EXPECT_EQ(pair.painter.m_strokeCover.at<uchar>(1, x), x < 20 ? before.at<uchar>(1, x) : 255) << x;
}

TEST(TDrawMask, AHardDotPastTheRightEdgeMarksTheNextRowsFirstPixel)
{
    Pair pair({51, 38});
    for (const cv::Point& c : {cv::Point(41, 20), {41, 37}, {41, 40}, {41, 47}}) {
        pair.painter.resetMask(pair.painter.m_strokeCover = cv::Mat::zeros(38, 51, CV_8UC1), 0);
        pair.painter.drawDumbDot(c, 10);
        EXPECT_EQ(pair.painter.m_strokeCover.at<uchar>(21, 0), c == cv::Point(41, 20) ? 255 : 0) << c;
    }
    pair.painter.drawDumbDot({51, 4}, 0);
    EXPECT_EQ(pair.painter.m_strokeCover.at<uchar>(5, 0), 255);

    cv::Mat parent = cv::Mat::zeros(40, 60, CV_8UC1);
    pair.painter.m_strokeCover = parent(cv::Rect(3, 1, 51, 38));
    pair.painter.drawDumbDot({41, 20}, 10);
    parent(cv::Rect(3, 1, 51, 38)).setTo(0);
    EXPECT_TRUE(isAll(parent, 0)) << "pixels beside the plane changed";
}

TEST(TDrawMask, HugeAndFarDotsNeitherOverflowNorHang)
{
    const int far = INT_MAX, near = INT_MIN;
    Pair pair({60, 40});
    pair.startStroke(9);
    for (const int x : {near, near + 1, -1000000, 30, 1000000, far - 1, far})
        for (const int y : {near, -70000, 20, 70000, far})
            for (const int R : {near, near / 2, -1, 0, 3, 9000, 70000, 1 << 30, far})
                for (const float edge : {0.0f, 0.5f}) {
                    TMaskParam p = dot({x, y}, R, R, edge);
                    pair.painter.drawStrokeDot(false, &p);
                    pair.painter.drawMaskDot({x, y}, R, R / 2, edge);
                    p.m_innerRadius = R < 0 ? R : R / 3;
                    pair.painter.drawStrokeDot(false, &p);
                }
    pair.startStroke(9);
    pair.painter.drawDumbDot({30, 20}, 1 << 30);
    EXPECT_EQ(cv::countNonZero(pair.painter.m_strokeCover), 60 * 40);
    pair.startStroke(9);
    pair.painter.drawDumbDot({30, near + 20}, far);
    EXPECT_TRUE(pair.agree());
}
