#include <pixmill/multiscale/TWLSFilter.h>
#include <pixmill/multiscale/detail/sparse_solver.h>
#include <reference/weighted_least_squares.h>

#include <gtest/gtest.h>

#include <multiscale/systems.h>

#include <cmath>
#include <vector>

using namespace pixmill::reference;
using namespace pixmill::test;

namespace {

constexpr int kSide = 40;

/// A guide whose steps, and with them the weights, are random over many decades.
std::vector<float> wildGuide()
{
    cv::RNG rng(3);
    std::vector<float> guide;
    for (int i = 0; i < kSide * kSide; ++i)
        guide.push_back(float(std::pow(10.0, rng.uniform(-4.0, 4.0))));
    return guide;
}

} // namespace

TEST(TWLSFilterDirect, AnIndefiniteSystemGoesToTheDirectSolverWhichMayLackMemory)
{
    std::vector<float> plane(kSide * kSide, 0.5f), in = plane;
    plane[77] = in[77] = 2.0f;
    TWLSFilter filter;
    const auto before = pixmill::multiscale::solverLimits();
    pixmill::multiscale::solverLimits().bytes = 1000;
    EXPECT_TRUE(filter.Proc(in.data(), kSide, kSide, -1.0f, 1.2f, plane.data(), false)); // out of memory is no error
    pixmill::multiscale::solverLimits() = before;
    EXPECT_EQ(in, plane);
}

TEST(TWLSFilterDirect, ANegativeLambdaThatLeavesTheSystemDefiniteIsSolved)
{
    std::vector<float> in(kSide * kSide), guide = wildGuide();
    for (int i = 0; i < kSide * kSide; ++i)
        in[i] = float(i % 7);
    TWLSFilter filter;
    filter.m_weightEps = 1.0f;
    const LeastSquares twin(in, kSide, kSide, -0.05f, 1.0f, guide, filter.m_weightEps);
    EXPECT_TRUE(filter.Proc(in.data(), kSide, kSide, -0.05f, 1.0f, guide.data(), false));
    EXPECT_LT(relativeError(iteratedSolution(twin.system), in.data()), 1e-6);
}
