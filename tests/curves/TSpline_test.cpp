#include <pixmill/curves/TSpline.h>
#include <reference/spline.h>
#include <support/throws.h>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <cmath>
#include <memory>
#include <vector>

using pixmill::reference::Spline;

namespace {

std::vector<float> risingKnots(cv::RNG& rng, int n)
{
    std::vector<float> x(n);
    float at = rng.uniform(-2.0f, 2.0f);
    for (float& v : x)
        v = at += rng.uniform(0.01f, 0.7f);
    return x;
}

std::vector<float> values(cv::RNG& rng, int n)
{
    std::vector<float> y(n);
    for (float& v : y)
        v = rng.uniform(-1.0f, 3.0f);
    return y;
}

} // namespace

TEST(TSpline, CoefficientsMatchTheReferenceBitForBit)
{
    cv::RNG rng(7);
    for (int round = 0; round < 400; ++round) {
        const int n = 4 + round % 7;
        Spline expected(risingKnots(rng, n), values(rng, n));
        TSpline spline(n);
        std::copy(expected.x.begin(), expected.x.end(), spline.m_x_p);
        std::copy(expected.y.begin(), expected.y.end(), spline.m_y_p);
        spline.update();
        expected.notAKnot();
        ASSERT_EQ(std::vector<float>(spline.m_c_p, spline.m_c_p + n), expected.c);
        ASSERT_EQ(std::vector<float>(spline.m_b_p, spline.m_b_p + n - 1),
                  std::vector<float>(expected.b.begin(), expected.b.end() - 1));
        ASSERT_EQ(std::vector<float>(spline.m_d_p, spline.m_d_p + n - 1),
                  std::vector<float>(expected.d.begin(), expected.d.end() - 1));

        const int m = 2 + round % 7; // two points are enough for clamped ends
        Spline ends(risingKnots(rng, m), values(rng, m));
        std::vector<float> b(m), c(m), d(m);
        spline.cubic_clamped(m, ends.x.data(), ends.y.data(), b.data(), c.data(), d.data(), 0.3f, -1.7f);
        ends.clamped(0.3f, -1.7f);
        ASSERT_EQ(c, ends.c);
        ASSERT_EQ(b, ends.b);
        ASSERT_EQ(d, ends.d);
    }
}

TEST(TSpline, ANewOneIsTheIdentity)
{
    TSpline spline(5);
    EXPECT_EQ(spline.m_n, 5);
    spline.update();
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(spline.m_x_p[i], i * 0.25f);
        EXPECT_NEAR(spline.m_c_p[i], 0, 1e-6);
    }
    for (const float t : {-0.5f, 0.0f, 0.1f, 0.25f, 0.6f, 1.0f, 1.5f})
        EXPECT_NEAR(spline.value(t), t, 1e-6) << t;
}

TEST(TSpline, AKnotBelongsToThePieceToItsRightAndTheEndPiecesGoOn)
{
    TSpline spline(4);
    for (int i = 0; i < 4; ++i) {
        spline.m_x_p[i] = float(i);
        spline.m_y_p[i] = 100.0f * i; // constant pieces that tell which one was taken
        spline.m_b_p[i] = i == 2 ? 1.0f : 0.0f;
        spline.m_c_p[i] = spline.m_d_p[i] = 0;
    }
    const float cases[][2] = {{-5, 0}, {0, 0}, {0.9f, 0}, {1, 100}, {1.5f, 100}, {2, 200}, {3, 201}, {9, 207}};
    for (const auto& c : cases)
        EXPECT_EQ(spline.value(c[0]), c[1]) << c[0];
    EXPECT_EQ(spline.value(NAN) == spline.value(NAN), false);
}

TEST(TSpline, FourPointsGiveTheSingleCubicThroughThem)
{
    const auto cubic = [](float t) { return 0.5f - t + 2 * t * t + 0.25f * t * t * t; };
    TSpline spline(4);
    const float x[] = {-1.0f, 0.25f, 1.0f, 2.5f};
    for (int i = 0; i < 4; ++i) {
        spline.m_x_p[i] = x[i];
        spline.m_y_p[i] = cubic(x[i]);
    }
    spline.update();
    for (float t = -2; t < 4; t += 0.17f)
        EXPECT_NEAR(spline.value(t), cubic(t), 2e-4) << t;
}

TEST(TSpline, ClampedEndsHaveTheirSlopes)
{
    float x[] = {0, 1, 3}, y[] = {1, 2, 0}, b[3], c[3], d[3];
    TSpline(1).cubic_clamped(3, x, y, b, c, d, 0.5f, -2.0f);
    EXPECT_NEAR(b[0], 0.5, 1e-5);
    EXPECT_NEAR(b[1] + 2 * (2 * c[1] + 3 * 2 * d[1]), -2.0, 1e-5);
}

TEST(TSpline, PolynomialsThroughPointsAgreeInEveryForm)
{
    cv::RNG rng(3);
    TSpline tool(1);
    for (const int n : {1, 2, 5}) {
        std::vector<float> x = risingKnots(rng, n), y = values(rng, n);
        const std::unique_ptr<float[]> newton(tool.divdiff(n, x.data(), y.data()));
        for (int i = 0; i < n; ++i)
            EXPECT_NEAR(tool.neville(n, x.data(), y.data(), x[i]), y[i], 1e-4);
        for (float t = x[0] - 0.1f; t < x[n - 1] + 0.1f; t += 0.05f)
            EXPECT_NEAR(tool.neville(n, x.data(), y.data(), t), tool.nf_eval(n, x.data(), newton.get(), t), 2e-3);
    }
    float x[] = {0, 1, 3}, y[] = {1, 3, 4};
    const std::unique_ptr<float[]> newton(tool.divdiff(3, x, y));
    EXPECT_EQ(newton[0], 1.0f);
    EXPECT_EQ(newton[1], 2.0f);
    EXPECT_EQ(newton[2], (0.5f - 2.0f) / 3.0f);
    EXPECT_EQ(tool.nf_eval(3, x, newton.get(), 2.0f), (-0.5f * 1.0f + 2.0f) * 2.0f + 1.0f);
}

TEST(TSpline, TooFewPointsTouchNothing)
{
    float v[3] = {1, 2, 3};
    TSpline tool(0);
    tool.cubic_nak(1, v, v, v, v, v);
    tool.cubic_clamped(1, v, v, v, v, v, 0, 0);
    tool.tridiagonal(0, v, v, v, v);
    EXPECT_EQ(v[0] + v[1] + v[2], 6.0f);
    EXPECT_THROW(tool.cubic_nak(3, v, v, v, v, v), cv::Exception);
    EXPECT_THROW(tool.value(0), cv::Exception);
    EXPECT_THROW(tool.neville(0, v, v, 0), cv::Exception);
    EXPECT_THROW(tool.nf_eval(0, v, v, 0), cv::Exception);
    TSpline(-3).update();
}

TEST(TSpline, RefusesNullArraysButWhereNothingIsRead)
{
    TSpline s(2);
    float v[4] = {1, 2, 3, 4}, *none = nullptr;
    EXPECT_REFUSES(s.spline_eval(2, v, v, none, v, v, 0), "TSpline::spline_eval: b is null");
    EXPECT_REFUSES(s.cubic_nak(4, none, v, v, v, v), "TSpline::cubic_nak: x is null");
    EXPECT_REFUSES(s.cubic_clamped(4, v, v, v, v, none, 0, 0), "TSpline::cubic_clamped: d is null");
    EXPECT_REFUSES(s.tridiagonal(3, none, v, v, v), "TSpline::tridiagonal: lower is null");
    EXPECT_REFUSES(s.neville(3, none, v, 0), "TSpline::neville: x is null");
    EXPECT_REFUSES(s.neville(1, v, none, 0), "TSpline::neville: ");
    EXPECT_REFUSES(delete[] s.divdiff(2, v, none), "TSpline::divdiff: y is null");
    EXPECT_REFUSES(s.nf_eval(2, v, none, 0), "TSpline::nf_eval: coef is null");
    EXPECT_EQ(s.neville(1, none, v, 0), 1);
    EXPECT_EQ(s.nf_eval(1, none, v, 0), 1);
    EXPECT_NO_THROW(delete[] s.divdiff(0, none, none));
    EXPECT_REFUSES(TSpline(1 << 25), "TSpline::TSpline: n is 33554432");
}
