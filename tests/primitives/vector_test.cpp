#include "roi.h"
#include <pixmill/primitives/vector.h>
#include <pixmill/rows/invert3x3.h>
#include <support/everyway.h>
#include <support/throws.h>

#include <cmath>
#include <limits>

using namespace pixmill::test;

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();

TEST(Invert, TimesTheMatrixIsTheIdentity)
{
    cv::RNG rng(5);
    for (const int n : {1, 2, 3, 4, 7})
        for (int round = 0; round < 50; ++round) {
            const int stride1 = 4 * (2 * n + 3), stride2 = 8; // every second float, padded rows
            std::vector<float> m(n * (2 * n + 3), 99), inverse(n * n, 99);
            const auto at = [&](int row, int column) -> float& { return m[row * (2 * n + 3) + 2 * column]; };
            for (int row = 0; row < n; ++row)
                for (int column = 0; column < n; ++column)
                    at(row, column) = rng.uniform(-1.0f, 1.0f) + (row == (column + round) % n ? 3.0f : 0.0f);
            ASSERT_EQ(ippmInvert_m_32f(m.data(), stride1, stride2, nullptr, inverse.data(), 4 * n, 4, n), ippStsNoErr);
            for (int row = 0; row < n; ++row)
                for (int column = 0; column < n; ++column) {
                    double sum = 0;
                    for (int k = 0; k < n; ++k)
                        sum += double(at(row, k)) * inverse[k * n + column];
                    EXPECT_NEAR(sum, row == column, 2e-6) << n << ": " << row << ", " << column; // single precision
                }
            ASSERT_EQ(ippmInvert_m_32f(m.data(), stride1, stride2, nullptr, m.data(), stride1, stride2, n),
                      ippStsNoErr);
            for (int i = 0; i < n * n; ++i)
                EXPECT_EQ(at(i / n, i % n), inverse[i]) << "in place";
            EXPECT_EQ(m[1], 99) << "between the elements";
        }
}

TEST(Invert, ExactCases)
{
    const float m[9] = {0, 2, 0, 0, 0, -4, 8, 0, 0};
    const float expected[9] = {0, 0, 0.125f, 0.5f, 0, 0, 0, -0.25f, 0};
    float inverse[9];
    EXPECT_EQ(ippmInvert_m_32f(m, 12, 4, nullptr, inverse, 12, 4, 3), ippStsNoErr);
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(inverse[i], expected[i]) << i;

    // Nearly singular, and every product and difference exact.
    const float nearly[9] = {1, 1, 0, 1, 1 + 0x1p-23f, 0, 0, 0, 0x1p-10f};
    ASSERT_TRUE(pixmill::rows::invert3x3(nearly, inverse));
    EXPECT_EQ(inverse[8], 0x1p10f);
}

TEST(Invert, SingularMatricesAreErrorsAndLeaveTheResultAlone)
{
    for (const int n : {1, 2, 3, 5}) {
        std::vector<float> m(n * n, n == 1 ? 0.0f : 1.0f), out(n * n, 7);
        EXPECT_EQ(ippmInvert_m_32f(m.data(), 4 * n, 4, nullptr, out.data(), 4 * n, 4, n), ippStsDivByZeroErr) << n;
        EXPECT_EQ(out, std::vector<float>(n * n, 7)) << n;
    }
    const float zeros[9] = {};
    float kept[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_FALSE(pixmill::rows::invert3x3(zeros, kept));
    EXPECT_EQ(kept[8], 9);
}

/// Rounded; what is not a number has a sign of its own in each C library, and the negative one here.
float narrowed(double v)
{
    return std::isnan(v) ? -std::numeric_limits<float>::quiet_NaN() : float(v);
}

TEST(VectorMath, EachSampleIsOneCall)
{
    const int n = 203;
    const cv::Mat a = randomPlane({n, 1}, CV_32FC1, -4, 9, 1), b = randomPlane({n, 1}, CV_32FC1, -1, 1, 2);
    const float *p = a.ptr<float>(), *q = b.ptr<float>();
    struct Case {
        const char* name;
        std::function<void(int, const float*, const float*, float*)> run;
        std::function<float(float, float)> formula;
    };
    const Case cases[] = {
        {"Ln", [](int m, const float* x, const float*, float* y) { vsLn(m, x, y); },
         [](float x, float) { return narrowed(std::log(double(x))); }},
        {"Abs", [](int m, const float* x, const float*, float* y) { vsAbs(m, x, y); },
         [](float x, float) { return fabsf(x); }},
        {"Sub", vsSub, [](float x, float y) { return x - y; }},
        {"Div", vsDiv, [](float x, float y) { return x / y; }},
        {"Powx", [](int m, const float* x, const float*, float* y) { vsPowx(m, x, 0.7f, y); },
         [](float x, float) { return narrowed(std::pow(double(x), double(0.7f))); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const cv::Mat expected = planeOf<float>(a.size(), [&](int, int x) { return c.formula(p[x], q[x]); });
        everyWay([&] {
            cv::Mat y(1, n + 1, CV_32FC1, cv::Scalar(7));
            c.run(n, p, q, y.ptr<float>());
            EXPECT_TRUE(samePixels<float>(expected, y.colRange(0, n)));
            EXPECT_EQ(y.at<float>(n), 7);
            cv::Mat first = a.clone(), second = b.clone();
            c.run(n, first.ptr<float>(), q, first.ptr<float>());
            EXPECT_TRUE(samePixels<float>(expected, first)) << "in place of a";
            c.run(n, p, second.ptr<float>(), second.ptr<float>());
            EXPECT_TRUE(samePixels<float>(expected, second)) << "in place of b";
            c.run(0, p, q, y.ptr<float>());
            c.run(-1, nullptr, nullptr, nullptr);
        });
    }
}

TEST(VectorMath, SpecialValues)
{
    const float a[] = {0, -1, kInf, 1};
    float y[4];
    vsLn(4, a, y);
    EXPECT_EQ(y[0], -kInf);
    EXPECT_TRUE(std::isnan(y[1]));
    EXPECT_EQ(y[2], kInf);
    EXPECT_EQ(y[3], 0);
    const float zeros[] = {0, 0, 0, 0};
    vsDiv(4, a, zeros, y);
    EXPECT_TRUE(std::isnan(y[0]));
    EXPECT_EQ(y[1], -kInf);
    EXPECT_EQ(y[3], kInf);
    struct Power {
        float base, exponent, expected;
    };
    for (const Power& c : {Power{0, 2, 0}, Power{0, 0, 1}, Power{0, -1, kInf}, Power{-2, 3, -8}, Power{5, 0, 1}}) {
        vsPowx(1, &c.base, c.exponent, y);
        EXPECT_EQ(y[0], c.expected) << c.base << " ^ " << c.exponent;
    }
    const float minus = -2;
    vsPowx(1, &minus, 0.5f, y);
    EXPECT_TRUE(std::isnan(y[0]));
}

TEST(Vector, NullPointersAreRefusedWhereThereAreSamples)
{
    float y[2] = {};
    vsLn(0, nullptr, nullptr);
    EXPECT_REFUSED(vsLn(2, nullptr, y), "vsLn: a is null, wanted samples");
    EXPECT_REFUSED(vsSub(2, y, nullptr, y), "vsSub: b is null, wanted samples");
    EXPECT_REFUSED(vsPowx(2, y, 2, nullptr), "vsPowx: y is null, wanted room for samples");
}

} // namespace
