#include <pixmill/multiscale/detail/multigrid/convergence.h>
#include <pixmill/multiscale/detail/multigrid/cycle.h>
#include <pixmill/multiscale/detail/multigrid/grid_solver.h>
#include <pixmill/multiscale/detail/multigrid/hierarchy.h>
#include <reference/coarse_level.h>
#include <reference/weighted_least_squares.h>
#include <support/everyway.h>
#include <support/planes.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

using namespace pixmill::multiscale;
using namespace pixmill::reference;
using namespace pixmill::test;

namespace {

struct Picture {
    Picture(cv::Size s, float lambda, float alpha, const std::vector<float>& guide, std::vector<float> in)
        : size(s), plane(std::move(in)), system(plane, s.width, s.height, lambda, alpha, guide)
    {
        for (int i = 0; i < s.area(); ++i)
            diagonal.push_back(float(system.system.a[system.system.ia[i] - 1]));
    }

    PictureCouplings couplings() const { return {size.width, size.height, system.dx.data(), system.dy.data()}; }

    GridOutcome solve(std::vector<float>& out) const
    {
        Workspace space;
        out = plane;
        std::vector<float> work = diagonal;
        return solveGrid(couplings(), work.data(), out.data(), space, nullptr);
    }

    cv::Size size;
    std::vector<float> plane, diagonal;
    LeastSquares system;
};

std::vector<float> values(cv::Size size, double low, double high, unsigned seed, bool scene)
{
    const cv::Mat m =
        (scene ? scenePlane(size, CV_32FC1, low, high) : randomPlane(size, CV_32FC1, low, high, seed)).clone();
    return {m.ptr<float>(), m.ptr<float>() + m.total()};
}

/// The largest error in halves of a unit in the last place of the largest value.
double halfUnits(const std::vector<double>& expected, const std::vector<float>& actual)
{
    double error = 0, largest = FLT_MIN;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        error = std::max(error, std::fabs(expected[i] - double(actual[i])));
        largest = std::max(largest, std::fabs(expected[i]));
    }
    return error / std::ldexp(1.0, std::ilogb(largest) - 24);
}

Level randomLevel(int width, int height, Workspace& space, unsigned seed)
{
    cv::RNG rng(seed);
    Level level(width, height, space);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const auto coupling = [&](bool inside) {
                return inside ? float(std::pow(10.0, rng.uniform(-3.0, 4.0))) : 0.0f;
            };
            level.e.row(y)[x] = coupling(x + 1 < width);
            level.s.row(y)[x] = coupling(y + 1 < height);
            level.se.row(y)[x] = coupling(x + 1 < width && y + 1 < height);
            level.sw.row(y)[x] = coupling(x > 0 && y + 1 < height);
            level.excess.row(y)[x] = rng.uniform(0.5f, 2.0f);
        }
    return level;
}

NineRows rowsOf(const Level& level)
{
    NineRows rows(level.width, level.height);
    for (int y = 0; y < level.height; ++y)
        for (int x = 0; x < level.width; ++x) {
            rows.excess[rows.at(x, y)] = level.excess.row(y)[x];
            rows.couple(x, y, x + 1, y, level.e.row(y)[x]);
            rows.couple(x, y, x, y + 1, level.s.row(y)[x]);
            rows.couple(x, y, x + 1, y + 1, level.se.row(y)[x]);
            rows.couple(x, y, x - 1, y + 1, level.sw.row(y)[x]);
        }
    return rows;
}

void expectNear(const NineRows& expected, const NineRows& actual)
{
    ASSERT_EQ(expected.couplings.size(), actual.couplings.size());
    double largest = 0;
    for (const double v : expected.couplings)
        largest = std::max(largest, v);
    for (std::size_t k = 0; k < expected.couplings.size(); ++k)
        EXPECT_NEAR(expected.couplings[k], actual.couplings[k], 1e-5 * expected.couplings[k] + 1e-6 * largest);
    for (std::size_t k = 0; k < expected.excess.size(); ++k)
        EXPECT_NEAR(expected.excess[k], actual.excess[k], 1e-5 * expected.excess[k]);
}

const cv::Size kSizes[] = {{1, 1}, {2, 1}, {1, 2}, {1, 13}, {14, 1}, {2, 9},
                           {5, 5}, {6, 6}, {7, 6}, {12, 9}, {9, 12}, {17, 13}};

} // namespace

TEST(Multigrid, ACoarseLevelIsGalerkinsOfTheCouplings)
{
    for (const cv::Size size : kSizes) {
        SCOPED_TRACE(testing::Message() << size);
        Workspace space;
        Level fine = randomLevel(size.width, size.height, space, 7);
        Level coarse((size.width + 1) / 2, (size.height + 1) / 2, space);
        fine.coarser = Interpolation(coarse.width, coarse.height, space, space);
        coarsen(fine, coarse);
        expectNear(coarseLevel(rowsOf(fine)), rowsOf(coarse));

        const auto guide = values(size, 0, 1, 3, false);
        const Picture picture(size, 1.0f, 1.2f, guide, guide);
        Hierarchy hierarchy(picture.couplings(), space);
        NineRows rows(size.width, size.height);
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x) {
                rows.excess[rows.at(x, y)] = 1;
                rows.couple(x, y, x + 1, y, -picture.system.dx[rows.at(x, y)]);
                rows.couple(x, y, x, y + 1, -picture.system.dy[rows.at(x, y)]);
            }
        expectNear(coarseLevel(rows), rowsOf(hierarchy.levels[0]));
    }
}

TEST(Multigrid, ACycleIsSymmetricAndPositive)
{
    const cv::Size size(43, 29);
    const auto guide = values(size, 0, 1, 0, true);
    const Picture picture(size, 1.0f, 1.2f, guide, guide);
    Workspace space;
    Hierarchy hierarchy(picture.couplings(), space);
    const Level& level = hierarchy.levels[0];
    const auto image = [&](const std::vector<float>& b) {
        std::vector<float> x;
        for (int y = 0; y < level.height; ++y)
            std::copy_n(b.data() + y * level.width, level.width, level.b.row(y));
        cycle(hierarchy.levels);
        for (int y = 0; y < level.height; ++y)
            x.insert(x.end(), level.x.row(y), level.x.row(y) + level.width);
        return x;
    };
    const auto product = [](const std::vector<float>& a, const std::vector<float>& b) {
        double sum = 0;
        for (std::size_t i = 0; i < a.size(); ++i)
            sum += double(a[i]) * b[i];
        return sum;
    };
    const cv::Size half(level.width, level.height);
    const auto a = values(half, -1, 1, 1, false), b = values(half, -1, 1, 2, false);
    const double aa = product(a, image(a)), bb = product(b, image(b)), ab = product(a, image(b)),
                 ba = product(b, image(a));
    EXPECT_GT(aa, 0);
    EXPECT_GT(bb, 0);
    EXPECT_NEAR(ab, ba, 1e-5 * std::sqrt(aa * bb));
}

TEST(Multigrid, SmallSystemsAreWithinTheLastPlaceOfTheDenseSolution)
{
    for (const cv::Size size : kSizes)
        for (const float lambda : {0.0f, 1e-6f, 0.35f, 4.0f, 100.0f}) {
            SCOPED_TRACE(testing::Message() << size << " lambda " << lambda);
            const Picture picture(size, lambda, 1.2f, values(size, 0, 1, 5, false), values(size, 0, 1, 6, false));
            std::vector<float> out;
            ASSERT_EQ(picture.solve(out), GridOutcome::solved);
            EXPECT_LT(halfUnits(denseSolution(picture.system.system), out), lambda > 4 ? 1.25 : 1.1);
            if (lambda == 0.0f) {
                EXPECT_EQ(out, picture.plane);
            }
        }
}

TEST(Multigrid, PicturesAreWithinTheLastPlaceOfTheSolutionInDouble)
{
    struct Case {
        cv::Size size;
        float lambda, alpha;
        bool logarithm, scene;
    };
    const Case cases[] = {{{113, 97}, 0.35f, 1.2f, false, true}, {{113, 97}, 1, 2, true, true},
                          {{96, 112}, 4, 1, true, true},         {{61, 64}, 100, 1.2f, false, true},
                          {{300, 1}, 1, 1.2f, false, true},      {{3, 211}, 1, 1.2f, true, true},
                          {{64, 64}, 1, 1.2f, false, false},     {{65, 63}, 4, 1.2f, true, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.size << " lambda " << c.lambda << " alpha " << c.alpha);
        std::vector<float> guide = values(c.size, 0, 1, 4, c.scene);
        for (float& v : guide)
            v = c.logarithm ? std::log(v + 0.0001f) : v;
        const Picture picture(c.size, c.lambda, c.alpha, guide, guide);
        std::vector<float> out;
        ASSERT_EQ(picture.solve(out), GridOutcome::solved);
        EXPECT_LT(halfUnits(iteratedSolution(picture.system.system), out), 1.1);
    }
}

TEST(Multigrid, TheSizeOfTheValuesDoesNotMatter)
{
    const cv::Size size(31, 23);
    const auto guide = values(size, 0, 1, 0, true);
    const Picture picture(size, 1, 1.2f, guide, guide);
    std::vector<float> expected;
    ASSERT_EQ(picture.solve(expected), GridOutcome::solved);
    for (const float scale : {0x1p-90f, 0x1p+120f}) {
        std::vector<float> scaled = guide, out;
        for (float& v : scaled)
            v *= scale;
        Picture other = picture;
        other.plane = scaled;
        ASSERT_EQ(other.solve(out), GridOutcome::solved);
        for (std::size_t i = 0; i < out.size(); ++i)
            ASSERT_EQ(out[i], expected[i] * scale);
    }
}

TEST(Multigrid, GivesTheSameBitsInEveryWay)
{
    for (const cv::Size size : {cv::Size(131, 97), cv::Size(3, 200), cv::Size(1000, 2)}) {
        const auto guide = values(size, 0, 1, 9, true);
        const Picture picture(size, 0.35f, 1.2f, guide, guide);
        std::vector<float> first;
        everyWay([&] {
            std::vector<float> out;
            ASSERT_EQ(picture.solve(out), GridOutcome::solved);
            if (first.empty())
                first = out;
            EXPECT_EQ(out, first);
        });
    }
}

TEST(Multigrid, LentBlocksHoldPlanesOfZerosAndNothingBeyond)
{
    std::vector<char> block(10000, 1);
    {
        Workspace space;
        space.lend(block.data() + 3, 9000);
        for (int k = 0; k < 3; ++k) { // the last finds no room there
            const Plane<float> plane = space.plane<float>(30, 30);
            for (int y = -1; y <= 30; ++y)
                EXPECT_EQ(std::count(plane.row(y) - 1, plane.row(y) + 31, 0.0f), 32);
            for (int y = -1; y <= 30; ++y)
                std::fill_n(plane.row(y) - 1, 32, float(k + 1));
        }
    }
    EXPECT_EQ(std::count(block.begin(), block.begin() + 3, 1), 3);
    EXPECT_EQ(std::count(block.begin() + 9003, block.end(), 1), 997);
}

TEST(Multigrid, WhatHasNoSolutionIsToldAndLeavesTheInput)
{
    const cv::Size size(24, 18);
    const auto guide = values(size, 0, 1, 0, true);
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<float> flat(size.area(), 0.5f);
    std::vector<Picture> pictures = {{size, -1, 1.2f, guide, guide}, {size, 1000, 1.2f, flat, guide}};
    for (const float wrong : {nan, inf, -inf}) {
        pictures.push_back({size, 1, 1.2f, guide, guide});
        pictures.back().system.dx[30] = wrong;
        pictures.push_back({size, 1, 1.2f, guide, guide});
        pictures.back().diagonal[31] = wrong;
        pictures.push_back({size, 1, 1.2f, guide, guide});
        pictures.back().plane[32] = wrong;
    }
    for (std::size_t k = 0; k < pictures.size(); ++k) {
        SCOPED_TRACE(k);
        std::vector<float> out;
        EXPECT_EQ(pictures[k].solve(out), GridOutcome::unsuitable);
        EXPECT_EQ(0, std::memcmp(out.data(), pictures[k].plane.data(), out.size() * sizeof(float)));
    }
}

TEST(Multigrid, AnIterationThatWillNotEndIsGivenUpEarly)
{
    const auto stepsOf = [](double factor) {
        Convergence convergence(1e-9);
        double size = 1;
        while (!convergence.reached() && !convergence.hopeless()) {
            convergence.step(size);
            size *= factor;
        }
        return std::pair(convergence.steps(), convergence.reached());
    };
    EXPECT_EQ(stepsOf(0.93), std::pair(324, true));
    EXPECT_EQ(stepsOf(0.97), std::pair(40, false));
    EXPECT_EQ(stepsOf(1.01), std::pair(40, false));
    EXPECT_EQ(stepsOf(0.96).first, 400);
}
