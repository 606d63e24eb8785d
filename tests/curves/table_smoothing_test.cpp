#include <pixmill/curves/detail/table_smoothing.h>
#include <reference/gaussian_iir.h>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <vector>

using namespace pixmill::curves;

namespace {

constexpr int L = 4;
constexpr float kNu[L] = {0.2f, 0.97f, 0.999f, 0.99f}, kBoundary[L] = {1.25f, 33.3f, 1000.0f, 100.0f};

std::vector<float> randomLines(int n)
{
    std::vector<float> v(size_t(n) * L);
    cv::RNG rng(n);
    for (float& x : v)
        x = rng.uniform(0.0f, 60000.0f);
    return v;
}

/// One sweep of every line, the last sample first when it goes backward.
std::vector<float> swept(std::vector<float> v, int n, bool forward)
{
    for (int l = 0; l < L; ++l) {
        pixmill::reference::GaussianIir<double> k(1.0f, 1);
        k.nu = kNu[l];
        k.boundary = kBoundary[l];
        forward ? k.forward(v.data() + l, L, n) : k.back(v.data() + l, L, n);
    }
    return v;
}

} // namespace

TEST(RecursiveGaussian, LinesSideBySideAreEachSweptForwardAndBack)
{
    for (const int n : {1, 2, 3, 100}) {
        const std::vector<float> in = randomLines(n), expected = swept(swept(in, n, true), n, false);
        std::vector<float> together = in;
        sweepLines<L>(together.data(), L, n, kNu, kBoundary);
        EXPECT_EQ(together, expected) << n;
        std::vector<float> apart = in;
        for (int l = 0; l < L; ++l)
            sweepLine(apart.data() + l, L, n, kNu[l], kBoundary[l]);
        EXPECT_EQ(apart, expected) << n;
    }
}

// Also from guesses that are wrong, as those without a run-up are on noise.
TEST(RecursiveGaussian, ChunksGiveTheOneSweepWhateverTheirGuess)
{
    const int n = 4096;
    const std::vector<float> in = randomLines(n);
    for (const int ahead : {0, 1, 100, 1023}) {
        std::vector<float> forward(in.size()), backward(in.size());
        sweepChunks<L, 4, true>(in.data(), forward.data(), n, kNu, kBoundary, ahead);
        sweepChunks<L, 4, false>(in.data(), backward.data(), n, kNu, kBoundary, ahead);
        EXPECT_EQ(forward, swept(in, n, true)) << ahead;
        EXPECT_EQ(backward, swept(in, n, false)) << ahead;
    }
}

// Where a table ends in zeros the sweeps die away to numbers that the fast sweep takes as 0.
TEST(RecursiveGaussian, TinyNumbersCountAsStrictArithmeticHasThem)
{
    const int n = 8192;
    LineGains<L> gains;
    std::copy_n(kNu, L, gains.nu);
    std::copy_n(kBoundary, L, gains.boundary);
    for (const auto& [low, high] : {std::pair{0, 0}, {5000, 0}, {0, 5000}, {40, 0}, {0, 7000}, {n, 0}}) {
        std::vector<float> strict(size_t(n) * L);
        std::vector<ushort> tables[L];
        ZeroEnds zeros[L];
        for (int l = 0; l < L; ++l) {
            tables[l].assign(n, 0);
            for (int i = low; i < n - high; ++i)
                strict[size_t(i) * L + l] = tables[l][i] = ushort(1 + std::min(7 * (i - low), 60000));
            zeros[l] = ZeroEnds::of(tables[l].data(), n, kNu[l]);
        }
        std::vector<float> a = strict, b(strict.size());
        for (int pair = 0; pair < 2; ++pair) {
            SCOPED_TRACE(testing::Message() << low << " " << high << " pair " << pair);
            sweepTables<4, true>(a.data(), b.data(), n, gains, zeros, 500);
            strict = swept(strict, n, true);
            ASSERT_EQ(b, strict);
            sweepTables<4, false>(b.data(), a.data(), n, gains, zeros, 500);
            strict = swept(strict, n, false);
            ASSERT_EQ(a, strict);
        }
    }
}
