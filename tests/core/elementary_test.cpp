#include <pixmill/rows/logarithm.h>
#include <pixmill/rows/samples.h>
#include <support/everyway.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

using namespace pixmill::rows;

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity(), kNone = std::numeric_limits<float>::quiet_NaN();

/// Units in the last place of a float that lie between `v` and the true value; equal specials are 0 apart.
double unitsOff(float v, double exact)
{
    if (std::isnan(v) || std::isnan(exact) || std::isinf(v) || std::isinf(float(exact)))
        return (std::isnan(v) && std::isnan(exact)) || v == float(exact) ? 0 : 1e9;
    int power;
    std::frexp(exact, &power);
    return std::abs(double(v) - exact) / std::ldexp(1.0, std::max(power - 24, -149));
}

/// Compares `f` with `exact` for every float whose bits are a multiple of `stride`, and returns the most units between.
template <class F, class Exact>
double worstOver(std::uint32_t stride, const F& f, const Exact& exact)
{
    constexpr int kBlock = 1 << 16;
    std::vector<float> in(kBlock), out(kBlock);
    double worst = 0;
    for (std::uint64_t first = 0; first < std::uint64_t(1) << 32; first += std::uint64_t(kBlock) * stride) {
        for (int i = 0; i < kBlock; ++i) {
            const auto bits = std::uint32_t(first + std::uint64_t(i) * stride);
            std::memcpy(&in[i], &bits, sizeof bits);
        }
        runSpan([&](int i, int end) { mapRow(in.data() + i, out.data() + i, end - i, f); }, 0, kBlock);
        for (int i = 0; i < kBlock; ++i)
            worst = std::max(worst, unitsOff(out[i], exact(double(in[i]))));
    }
    return worst;
}

void checkAll(std::uint32_t stride)
{
    const auto narrowed = [](float v) { return float(exponential(double(v))); };
    EXPECT_LE(worstOver(
                  stride, [](float v) { return exponential(v); }, [](double v) { return std::exp(v); }),
              1.0);
    EXPECT_LE(worstOver(stride, narrowed, [](double v) { return std::exp(v); }), 0.5001);
    EXPECT_LE(worstOver(stride, logarithm, [](double v) { return std::log(v); }), 0.5001);
    for (const float b : {1.2f, 1 / 2.4f, 2.0f, -2.5f, -1.0f, 17.0f})
        EXPECT_LE(worstOver(stride, Power(b), [b](double v) { return std::pow(v, double(b)); }), 0.5001) << b;
}

} // namespace

TEST(Elementary, FunctionsAreAsExactAsTheySayForFloatsOfEverySize)
{
    checkAll(4999);
}

/// The same for each of the floats there are; minutes, so it runs when asked for by name.
TEST(Elementary, DISABLED_FunctionsAreAsExactAsTheySayForEveryFloat)
{
    checkAll(1);
}

TEST(Elementary, EveryLevelGivesTheSameBits)
{
    std::vector<float> in;
    for (std::uint32_t i = 0; i < 40009; ++i) {
        const std::uint32_t bits = i * 107377u;
        in.push_back(0);
        std::memcpy(&in.back(), &bits, sizeof bits);
    }
    const auto bitsOf = [&in](int level) {
        pixmill::test::PolicyGuard guard;
        rowPolicy().level = level;
        std::vector<float> out(4 * in.size());
        const int n = int(in.size());
        runSpan(
            [&](int i, int end) {
                mapRow(in.data() + i, out.data() + i, end - i, [](float v) { return exponential(v); });
                mapRow(in.data() + i, out.data() + n + i, end - i,
                       [](float v) { return float(exponential(double(v))); });
                mapRow(in.data() + i, out.data() + 2 * n + i, end - i, logarithm);
                mapRow(in.data() + i, out.data() + 3 * n + i, end - i, Power(1.2f));
            },
            0, n);
        return out;
    };
    const std::vector<float> expected = bitsOf(0);
    for (int level = 1; level <= rowPolicy().level; ++level) {
        const std::vector<float> found = bitsOf(level);
        for (std::size_t i = 0; i < found.size(); ++i)
            ASSERT_TRUE(std::isnan(expected[i]) ? std::isnan(found[i]) : expected[i] == found[i]) << level << " " << i;
    }
}

TEST(Elementary, PowersHaveTheSpecialValuesOfTheLibrarysOwn)
{
    const float values[] = {0.0f, -0.0f, 1,     -1,     2,      -2,   0.5f,  -0.5f, 3,
                            -3,   2.5f,  1e30f, -1e30f, 1e-40f, kInf, -kInf, kNone};
    for (const float a : values)
        for (const float b : values) {
            const float expected = std::pow(a, b), found = Power(b)(a);
            EXPECT_TRUE(std::isnan(expected) ? std::isnan(found)
                                             : expected == found && std::signbit(expected) == std::signbit(found))
                << a << " ^ " << b << ": " << found << ", not " << expected;
        }
}
