#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

#include <reference/brush.h>

#include <pixmill/mask/TDrawMask.h>
#include <pixmill/mask/detail/brush.h>

#include <climits>
#include <cmath>
#include <stdexcept>

using namespace pixmill::test;
using pixmill::reference::Brush;

namespace {

const char* const kResetFailed = "Error - TFDrawMask::resetMask - ippStsError";
const char* const kInvertFailed = "Error - TFDrawMask::invertMask - ippStsError";
const char* const kInnerLarger = "ERROR -- TDrawMask::updateLUT - Inner circle is larger than outter circle.";

// A painter over a picture of half size `size`, and its twin; the colour varies enough for edges to bite.
struct Pair {
    TDrawMask painter;
    Brush twin;

    explicit Pair(cv::Size size, unsigned seed = 1)
    {
        twin.y8 = scenePlane(size, CV_8UC1, 0, 256, seed).clone();
        twin.dr = scenePlane(size, CV_16UC1, 30000, 36000, seed + 1).clone();
        twin.db = scenePlane(size, CV_16UC1, 31000, 34000, seed + 2).clone();
        twin.mask = cv::Mat(size, CV_8UC1, cv::Scalar(255));
        // views with padded rows for the painter
        painter.setInImage(paddedCopy(twin.y8), paddedCopy(twin.dr), paddedCopy(twin.db));
    }

    // Random coverage and base on both sides, so that every pixel a dot touches or must not touch shows.
    void startStroke(unsigned seed)
    {
        twin.mask = randomPlane(twin.mask.size(), CV_8UC1, 0, 256, seed).clone();
        twin.cover = randomPlane(twin.mask.size(), CV_8UC1, 0, 256, seed + 1).clone();
        twin.base = randomPlane(twin.mask.size(), CV_8UC1, 0, 256, seed + 2).clone();
        for (int i = 0; i < int(twin.cover.total()); i += 3)
            twin.cover.data[i] = i % 2 ? 255 : 0; // the values that real strokes are full of
        painter.m_mask = twin.mask.clone();
        painter.m_strokeCover = twin.cover.clone();
        painter.m_strokeBase = twin.base.clone();
    }

    testing::AssertionResult agree() const
    {
        if (const auto same = samePixels<uchar>(twin.cover, painter.m_strokeCover); !same)
            return testing::AssertionFailure() << "coverage " << same.message();
        return samePixels<uchar>(twin.mask, painter.m_mask);
    }
};

TMaskParam dot(cv::Point center, int outer, int inner, float edge, uchar value = 40, float opacity = 0.8f)
{
    TMaskParam p;
    p.m_value = value;
    p.m_outerRadius = outer;
    p.m_innerRadius = inner;
    p.m_opacity = opacity;
    p.m_edge = edge;
    p.m_center = center;
    return p;
}

void setFlatPicture(TDrawMask& m, int side)
{
    const cv::Mat colour = cv::Mat::zeros(side, side, CV_16UC1);
    m.setInImage(cv::Mat::zeros(side, side, CV_8UC1), colour, colour);
}

// Whether all of a plane is `value`.
bool isAll(const cv::Mat& m, int value)
{
    return cv::countNonZero(m != value) == 0;
}

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

TEST(TDrawMask, RecordsCommandsWithHalvedPlacesAndRadii)
{
    TDrawMask m;
    m.setValue(9);
    m.invert();
    m.drawStart(3, 4.5f);
    m.drawADot({-5, 7}, 20, 9);
    m.drawADot({101, -1}, 21, 41, 1, 0.25f, 0.5f);
    m.drawEnd();
    ASSERT_EQ(m.m_cmdStack.size(), 6u);
    for (const int i : {0, 1, 2, 3, 5})
        EXPECT_EQ(m.m_cmdStack[i]->m_type, i < 4 ? i : 4);
    EXPECT_EQ(m.m_cmdStack[1]->m_param_p, nullptr);
    EXPECT_EQ(m.m_cmdStack[5]->m_param_p, nullptr);

    const auto expectParam = [&](int i, const TMaskParam& e) {
        const TMaskParam& p = *m.m_cmdStack[i]->m_param_p;
        EXPECT_EQ(p.m_value, e.m_value);
        EXPECT_EQ(p.m_outerRadius, e.m_outerRadius);
        EXPECT_EQ(p.m_innerRadius, e.m_innerRadius);
        EXPECT_EQ(p.m_opacity, e.m_opacity);
        EXPECT_EQ(p.m_edge, e.m_edge);
        EXPECT_EQ(p.m_center, e.m_center);
    };
    expectParam(0, dot({0, 0}, 0, 0, 0, 9, 1.0f));
    expectParam(3, dot({-2, 3}, 4, 4, 0, 20, 1.0f));
    expectParam(4, dot({50, 0}, 20, 0, 0.5f, 21, 0.25f));
    EXPECT_EQ(m.m_cmdStack[2]->m_param_p->m_startInt, 3);
    EXPECT_EQ(m.m_cmdStack[2]->m_param_p->m_startFloat, 4.5f);
    EXPECT_EQ(m.m_cmdDone, -1);
    EXPECT_TRUE(m.bNeedUpdate());
}

TEST(TDrawMask, DistancesAreThoseOfMagnitude)
{
    const int n = 4097; // every product of two smaller integers is a float
    cv::Mat x(1, n, CV_32FC1), y(1, n, CV_32FC1), expected, actual(1, n, CV_32FC1);
    for (int i = 0; i < n; ++i)
        x.at<float>(i) = float(i);
    PolicyGuard guard;
    for (int level = pixmill::detail::rowPolicy().level; level >= 0; --level) {
        pixmill::detail::rowPolicy().level = level;
        for (int dy = 0; dy < n; dy += level ? 1 : 7) {
            y.setTo(float(dy));
            cv::magnitude(x, y, expected);
            pixmill::detail::runSpan(
                [&](int first, int end) {
                    for (int i = first; i < end; ++i)
                        actual.ptr<float>()[i] = pixmill::detail::brushDistance(i, dy);
                },
                0, n);
            ASSERT_TRUE(samePixels<float>(expected, actual)) << "dy " << dy << " level " << level;
        }
    }
}

TEST(TDrawMask, ADiscEndsWhereTheDistanceDoes)
{
    using pixmill::detail::brushDistance;
    using pixmill::detail::discReach;
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
    using namespace pixmill::detail;
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

TEST(TDrawMask, ADotWithoutRadiusReachesTheMaskWithALaterDot)
{
    TDrawMask m;
    setFlatPicture(m, 20);
    m.drawStart(0, 0);
    m.drawADot({20, 20}, 7, 1);
    m.proc();
    EXPECT_TRUE(isAll(m.m_mask, 255));
    EXPECT_EQ(m.m_strokeCover.at<uchar>(10, 10), 255);
    m.drawADot({26, 26}, 7, 8, 8, 1.0f, 0.0f); // its square covers 9..16
    m.proc();
    EXPECT_EQ(m.m_mask.at<uchar>(10, 10), 7);
}

TEST(TDrawMask, TheFarEdgesOfABlendAreExclusive)
{
    TDrawMask m;
    setFlatPicture(m, 40);
    m.drawStart(0, 0);
    m.drawADot({40, 40}, 0, 10);
    m.proc();
    const auto at = [](const cv::Mat& plane, int y, int x) { return int(plane.at<uchar>(y, x)); };
    EXPECT_EQ(at(m.m_mask, 15, 20) + at(m.m_mask, 20, 15) + at(m.m_mask, 24, 20), 0);
    EXPECT_EQ(at(m.m_mask, 25, 20), 255);
    EXPECT_EQ(at(m.m_mask, 20, 25), 255);
    EXPECT_EQ(at(m.m_strokeCover, 25, 20), 255);
}

TEST(TDrawMask, OverlappingDotsOfAStrokeStopAtItsOpacity)
{
    TDrawMask m;
    setFlatPicture(m, 60);
    m.drawStart(0, 0);
    for (int i = 0; i < 30; ++i)
        m.drawADot({60, 60}, 0, 40, 0, 0.5f, 0.0f);
    m.drawEnd();
    m.proc();
    double low;
    cv::minMaxLoc(m.m_mask, &low);
    EXPECT_EQ(low, 128); // lrint(255 * 0.5), ties to even
}

TEST(TDrawMask, PaintingStopsAtAnEdgeOfThePicture)
{
    TDrawMask m;
    cv::Mat luma(60, 60, CV_8UC1, cv::Scalar(20)), gray(60, 60, CV_16UC1, cv::Scalar(32768));
    luma.colRange(30, 60).setTo(250);
    m.setInImage(luma, gray, gray);
    m.drawStart(0, 0);
    m.drawADot({50, 60}, 0, 50, 50, 1.0f, 1.0f);
    m.proc();
    EXPECT_EQ(m.m_mask.at<uchar>(30, 29), 0);
    EXPECT_EQ(m.m_mask.at<uchar>(30, 30), 255);
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

TEST(TDrawMask, RejectsWhatItCannotPaintOn)
{
    TDrawMask m;
    EXPECT_THROWS_TEXT(m.undo(), "Error: TFDrawMask::undo Mask cmd stack is empty!!!");
    EXPECT_THROWS_TEXT(m.invertMask(), kInvertFailed);
    EXPECT_THROWS_TEXT(m.resetMask(m.m_mask, 3), kResetFailed);
    EXPECT_THROWS_TEXT(m.setInImage(cv::Mat(), cv::Mat(), cv::Mat()), kResetFailed);
    TMaskParam p = dot({1, 1}, 3, 3, 0);
    EXPECT_THROWS_TEXT(m.drawStrokeDot(true, &p), kResetFailed);
    EXPECT_TRUE(m.proc()) << "nothing to replay";
    m.setValue(3);
    EXPECT_THROWS_TEXT(m.proc(), kResetFailed);
    EXPECT_EQ(m.m_cmdDone, -1);
    EXPECT_FALSE(m.m_changed);
    m.reset();
    EXPECT_TRUE(m.m_changed && m.m_mask.empty() && m.m_cmdStack.empty());
    EXPECT_TRUE(m.getMaskRoi({0, 0, 4, 4}, 1).empty());
    EXPECT_TRUE(m.m_changed) << "nothing was given out";

    // Colours that do not cover the mask, and layers that are not there.
    m.m_mask = cv::Mat::zeros(8, 8, CV_8UC1);
    p.m_edge = 0.5f;
    EXPECT_THROW(m.drawStrokeDot(true, &p), cv::Exception);
    m.m_strokeCover.release();
    EXPECT_THROW(m.drawDumbDot({1, 1}, 2), cv::Exception);
    EXPECT_THROW(m.drawMaskDotLUT({1, 1}, 2, 1, 0), cv::Exception);
    EXPECT_THROW(m.drawMaskDot({1, 1}, 2, 1, 0), cv::Exception);
    EXPECT_THROW(m.renderStroke(1, 1, {1, 1}, 2), cv::Exception);
    EXPECT_THROW(m.setInImage(nullptr), cv::Exception);
}

TEST(TDrawMask, AFailedCommandStaysNextAndABadIndexIsAFailedRangeCheck)
{
    Pair pair({30, 20});
    TDrawMask& m = pair.painter;
    m.setValue(10);
    m.drawStart(0, 0);
    m.drawADot({20, 20}, 0, 8, 20, 1, 0); // inner above outer
    for (int i = 0; i < 2; ++i) {
        EXPECT_THROWS_TEXT(m.proc(), kInnerLarger);
        EXPECT_EQ(m.m_cmdDone, 1);
        EXPECT_TRUE(m.m_strokeOpen);
    }
    EXPECT_TRUE(isAll(m.m_mask, 10));

    m.emptyCmdStack();
    m.invert();
    m.m_cmdDone = -2;
    try {
        m.proc();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::out_of_range& e) {
        EXPECT_STREQ(e.what(), "vector::_M_range_check");
    }
    EXPECT_EQ(m.m_cmdDone, -2);
    m.m_cmdDone = 50;
    EXPECT_TRUE(m.proc());
    EXPECT_TRUE(isAll(m.m_mask, 10));
}

TEST(TDrawMask, TakesAPicturesPlanesAndMask)
{
    TPImage image(101, 75);
    image.m_Y = randomPlane({101, 75}, CV_16UC1, 0, 65536);
    image.m_Dr = randomPlane({51, 38}, CV_16UC1, 0, 65536, 2);
    image.m_Db = randomPlane({51, 38}, CV_16UC1, 0, 65536, 3);
    image.m_mask = randomPlane({51, 38}, CV_8UC1, 0, 256, 4);
    TDrawMask m;
    m.invert();
    m.setInImage(&image);
    EXPECT_EQ(m.m_cmdStack.size(), 1u) << "the first picture keeps the document";
    EXPECT_EQ(m.m_Dr.data, image.m_Dr.data);
    EXPECT_EQ(m.m_Db.data, image.m_Db.data);
    EXPECT_EQ(m.m_maskInit.data, image.m_mask.data);
    EXPECT_NE(m.m_mask.data, image.m_mask.data);
    EXPECT_TRUE(samePixels<uchar>(image.m_mask, m.m_mask));
    EXPECT_TRUE(m.m_changed);
    ASSERT_EQ(m.m_Y8.size(), cv::Size(51, 38));
    for (int y = 0; y < 38; ++y)
        for (int x = 0; x < 51; ++x) // the surplus column of an odd width repeats the one before it
            ASSERT_EQ(m.m_Y8.at<uchar>(y, x),
                      std::min(255L, std::lrint(image.m_Y.at<ushort>(2 * y, std::min(2 * x, 98)) / 255.0)))
                << x << " " << y;

    // The same size again changes nothing, whatever the pixels are.
    const cv::Mat luma = m.m_Y8.clone(), mask = m.m_mask.clone();
    TPImage second(102, 76);
    second.m_Y = randomPlane({102, 76}, CV_16UC1, 0, 65536, 9);
    m.m_changed = false;
    m.setInImage(&second);
    m.setInImage(cv::Mat::zeros(38, 51, CV_8UC1), cv::Mat(), cv::Mat());
    EXPECT_TRUE(samePixels<uchar>(luma, m.m_Y8));
    EXPECT_TRUE(samePixels<uchar>(mask, m.m_mask));
    EXPECT_EQ(m.m_Dr.data, image.m_Dr.data);
    EXPECT_EQ(m.m_cmdStack.size(), 1u);
    EXPECT_FALSE(m.m_changed);

    // Another size drops the document.
    TPImage third(60, 40);
    third.m_Y.setTo(0);
    third.m_mask.setTo(77);
    m.setInImage(&third);
    EXPECT_TRUE(m.m_cmdStack.empty() && m.m_changed && m.m_cmdDone == -1);
    EXPECT_TRUE(isAll(m.m_mask, 77));
    EXPECT_EQ(m.m_mask.size(), cv::Size(30, 20));
    m.invert();
    m.setInImage(cv::Mat::zeros(5, 6, CV_8UC1), cv::Mat(), cv::Mat());
    EXPECT_TRUE(m.m_cmdStack.empty());
    EXPECT_EQ(m.m_mask.size(), cv::Size(6, 5));
    EXPECT_TRUE(isAll(m.m_mask, 255));

    TPImage wrong(10, 12);
    wrong.m_Y = cv::Mat::zeros(10, 12, CV_8UC1); // half of it is 6 x 5, as held
    EXPECT_ANY_THROW(m.setInImage(&wrong));
}

TEST(TDrawMask, ResetGoesBackToThePicturesMaskOrTo255)
{
    TDrawMask m;
    m.setInImage(cv::Mat::zeros(5, 6, CV_8UC1), cv::Mat(), cv::Mat());
    for (const bool fits : {false, true}) {
        m.m_maskInit = fits ? cv::Mat(5, 6, CV_8UC1, cv::Scalar(33)) : cv::Mat(6, 5, CV_8UC1, cv::Scalar(33));
        m.setValue(4);
        m.proc();
        m.m_changed = false;
        m.reset();
        EXPECT_TRUE(isAll(m.m_mask, fits ? 33 : 255));
        EXPECT_TRUE(m.m_changed && m.m_cmdStack.empty() && m.m_cmdDone == -1 && !m.bNeedUpdate());
    }
    m.drawADot({6, 4}, 0, 2);
    m.proc(); // a dot before any stroke opens one, on a mask of 255 and not on the picture's
    EXPECT_EQ(m.m_mask.at<uchar>(4, 5), 255);
    EXPECT_EQ(m.m_mask.at<uchar>(2, 3), 0);
}

TEST(TDrawMask, GivesTheMaskOfAView)
{
    TDrawMask m;
    m.m_mask = randomPlane({51, 38}, CV_8UC1, 0, 256);
    for (const int scale : {0, -3, 1, 2, 3}) {
        m.m_changed = true;
        const cv::Rect roi(11, 6, 40, 21);
        const cv::Mat view = m.getMaskRoi(roi, scale);
        EXPECT_FALSE(m.m_changed);
        EXPECT_NE(view.data, m.m_mask.data);
        EXPECT_TRUE(samePixels<uchar>(
            scale < 1 ? m.m_mask : TPImage::MatRoi(m.m_mask, roi.x, roi.y, roi.width, roi.height, scale, true, false),
            view));
    }
}

TEST(TDrawMask, UndoRemovesFillsComplementsAndWholeStrokes)
{
    Pair pair({40, 30});
    TDrawMask& m = pair.painter;
    const auto stroke = [&](int x) {
        m.drawStart(0, 0);
        m.drawADot({x, 30}, 0, 12);
        m.drawADot({x + 4, 30}, 0, 12);
        m.drawEnd();
    };
    m.setValue(0);
    for (const int x : {10, 30, 50})
        stroke(x);
    m.proc();
    EXPECT_EQ(m.m_cmdDone, 12);
    EXPECT_EQ(m.undo(), -1);
    EXPECT_EQ(m.m_cmdStack.size(), 9u);
    EXPECT_EQ(m.m_cmdDone, -1);
    EXPECT_TRUE(m.bNeedUpdate());
    m.invert();
    m.setValue(9);
    m.proc();
    EXPECT_EQ(m.m_cmdDone, 10);
    m.undo();
    EXPECT_EQ(m.m_cmdStack.size(), 10u);
    m.undo();
    EXPECT_EQ(m.m_cmdStack.size(), 9u);
    EXPECT_EQ(m.m_cmdDone, -1);

    m.drawStart(0, 0);
    m.drawADot({10, 10}, 200, 9);
    m.proc();
    const cv::Mat before = m.m_mask.clone();
    EXPECT_EQ(m.m_cmdDone, 10);
    m.undo(); // an open stroke stays, and everything runs again
    EXPECT_EQ(m.m_cmdStack.size(), 11u);
    EXPECT_EQ(m.m_cmdDone, -1);
    m.proc();
    EXPECT_TRUE(samePixels<uchar>(before, m.m_mask));

    m.emptyCmdStack();
    m.drawADot({10, 10}, 200, 9);
    m.drawEnd();
    m.undo(); // an end without its start takes everything
    EXPECT_TRUE(m.m_cmdStack.empty());
    const cv::Mat last = m.m_mask.clone();
    EXPECT_TRUE(m.proc());
    EXPECT_TRUE(samePixels<uchar>(last, m.m_mask)) << "an empty document leaves the mask";

    m.invert();
    m.proc();
    EXPECT_TRUE(isAll(m.m_mask, 0));
    m.setValue(8);
    m.proc();
    m.undo();
    EXPECT_EQ(m.m_cmdDone, -1);
    m.proc();
    EXPECT_TRUE(isAll(m.m_mask, 0)) << "a complement alone starts from 255";
}
