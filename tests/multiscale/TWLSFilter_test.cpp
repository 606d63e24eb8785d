#include <pixmill/core/TProgress.h>
#include <pixmill/multiscale/TWLSFilter.h>
#include <reference/weighted_least_squares.h>
#include <support/everyway.h>
#include <support/host.h>
#include <support/planes.h>
#include <support/throws.h>

#include <gtest/gtest.h>

#include <multiscale/systems.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

std::vector<float> dense(const cv::Mat& plane)
{
    const cv::Mat whole = plane.clone();
    return {whole.ptr<float>(), whole.ptr<float>() + whole.total()};
}

template <class T>
bool sameBits(const std::vector<T>& expected, const T* actual)
{
    return std::memcmp(expected.data(), actual, expected.size() * sizeof(T)) == 0;
}

void expectSameSystem(const LeastSquares& twin, const TWLSFilter& filter)
{
    EXPECT_TRUE(sameBits(twin.dx, filter.m_dx_p));
    EXPECT_TRUE(sameBits(twin.dy, filter.m_dy_p));
    EXPECT_TRUE(sameBits(twin.a, filter.m_a_p));
    EXPECT_TRUE(sameBits(twin.system.ia, filter.m_ia_p));
    EXPECT_TRUE(sameBits(twin.system.ja, filter.m_ja_p));
}

} // namespace

TEST(TWLSFilter, BuildsTheSystemBitForBitAndSolvesIt)
{
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 9), cv::Size(33, 1), cv::Size(2, 2), cv::Size(16, 7)}) {
        SCOPED_TRACE(testing::Message() << size);
        const int n = size.area();
        const std::vector<float> in = dense(randomPlane(size, CV_32FC1, 0, 1)),
                                 guide = dense(randomPlane(size, CV_32FC1, 0, 1, 2));
        const LeastSquares twin(in, size.width, size.height, 0.7f, 1.3f, guide);
        std::vector<float> out = in, used = guide;
        TWLSFilter filter;
        EXPECT_TRUE(filter.Proc(out.data(), size.width, size.height, 0.7f, 1.3f, used.data(), false));
        expectSameSystem(twin, filter);
        EXPECT_EQ(filter.m_ia_p[n], n == 1 ? 2 : 3 * n - size.width);
        EXPECT_EQ(used, guide);
        EXPECT_LT(relativeError(denseSolution(twin.system), out.data()), 1e-6);
    }
}

TEST(TWLSFilter, IsWithinAMillionthOfADoubleSolution)
{
    const cv::Size size(97, 61);
    const std::vector<float> in = dense(scenePlane(size, CV_32FC1, 0, 2));
    TWLSFilter filter;
    for (const float lambda : {0.35f, 1.0f, 4.0f})
        for (const float alpha : {1.0f, 1.2f, 2.0f})
            for (const bool logGuide : {false, true}) {
                SCOPED_TRACE(testing::Message() << "lambda " << lambda << " alpha " << alpha << " log " << logGuide);
                std::vector<float> guide = in, out = in, used = in;
                for (float& v : guide)
                    v = logGuide ? float(std::log(double(v + 0.0001f))) : v;
                const LeastSquares twin(in, size.width, size.height, lambda, alpha, guide);
                filter.Proc(out.data(), size.width, size.height, lambda, alpha, used.data(), logGuide);
                EXPECT_EQ(used, guide);
                expectSameSystem(twin, filter);
                EXPECT_LT(relativeError(iteratedSolution(twin.system), out.data()), 1e-6);
            }
}

TEST(TWLSFilter, GivesTheSameBitsInEveryWay)
{
    const cv::Size size(61, 43);
    const std::vector<float> in = dense(scenePlane(size, CV_32FC1, 0, 2));
    std::vector<float> first;
    everyWay([&] {
        std::vector<float> out = in, guide = in;
        TWLSFilter filter;
        filter.Proc(out.data(), size.width, size.height, 0.5f, 1.2f, guide.data(), true);
        if (first.empty())
            first = out;
        expectSameSystem(LeastSquares(in, size.width, size.height, 0.5f, 1.2f, guide), filter);
        EXPECT_EQ(out, first);
    });
}

TEST(TWLSFilter, FlatGuidesAndSpecialPowersGiveTheirWeights)
{
    struct Case {
        const char* name;
        float lambda, alpha, step, eps, weight;
    };
    const Case cases[] = {
        {"flat guide", 0.5f, 1.2f, 0.0f, 0.0001f, -0.5f / 0.0001f},
        {"alpha 0", 2.0f, 0.0f, 0.3f, 0.0001f, -2.0f / 1.0001f},
        {"alpha 0 on a flat guide", 2.0f, 0.0f, 0.0f, 0.0001f, -2.0f / 1.0001f},
        {"lambda 0", 0.0f, 1.0f, 0.25f, 0.0001f, 0.0f},
        {"another epsilon", 1.0f, 2.0f, 0.5f, 0.25f, -2.0f},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<float> in(20), guide(20);
        for (int p = 0; p < 20; ++p) {
            in[p] = float(p % 7);
            guide[p] = c.step * float(p % 5 + p / 5);
        }
        std::vector<float> out = in;
        TWLSFilter filter;
        filter.m_weightEps = c.eps;
        filter.Proc(out.data(), 5, 4, c.lambda, c.alpha, guide.data(), false);
        for (int p = 0; p < 20; ++p) {
            EXPECT_NEAR(filter.m_dx_p[p], p % 5 == 4 ? 0.0f : c.weight, std::fabs(c.weight) * 1e-5f);
            EXPECT_NEAR(filter.m_dy_p[p], p / 5 == 3 ? 0.0f : c.weight, std::fabs(c.weight) * 1e-5f);
        }
        if (c.lambda == 0.0f) {
            EXPECT_EQ(out, in);
        }
    }
}

TEST(TWLSFilter, AnEdgeOfTheGuideParts)
{
    std::vector<float> in(16 * 8), guide(16 * 8);
    for (int p = 0; p < 16 * 8; ++p) {
        guide[p] = p % 16 < 8 ? 0.0f : 1000.0f;
        in[p] = (p % 16 < 8 ? 1.0f : 5.0f) + (p % 2 ? 0.4f : -0.4f);
    }
    TWLSFilter filter;
    filter.Proc(in.data(), 16, 8, 1.0f, 2.0f, guide.data(), false);
    for (int p = 0; p < 16 * 8; ++p)
        EXPECT_NEAR(in[p], p % 16 < 8 ? 1.0f : 5.0f, 0.001f);
}

TEST(TWLSFilter, KeepsItsArraysWhileTheSizeStays)
{
    static_assert(!std::is_copy_constructible_v<TWLSFilter> && !std::is_copy_assignable_v<TWLSFilter>);
    TWLSFilter filter;
    EXPECT_EQ(filter.m_weightEps, 0.0001f);
    EXPECT_EQ(filter.m_logEps, 0.0001f);
    filter.freemem(); // of nothing
    filter.realloc(7, 5);
    EXPECT_EQ(filter.m_width, 7);
    EXPECT_EQ(filter.m_height, 5);
    EXPECT_EQ(filter.m_numPixels, 35);
    EXPECT_EQ(filter.m_nnzCapacity, 105);
    const auto arrays = [&] {
        return std::vector<const void*>{filter.m_dx_p, filter.m_dy_p, filter.m_work_p,
                                        filter.m_a_p,  filter.m_ia_p, filter.m_ja_p};
    };
    const std::vector<const void*> first = arrays();
    for (const void* p : first)
        EXPECT_TRUE(p && reinterpret_cast<std::uintptr_t>(p) % 32 == 0);
    filter.m_dx_p[0] = 3.0f;
    filter.realloc(7, 5);
    filter.realloc(0, 5);
    filter.realloc(7, -1);
    EXPECT_EQ(arrays(), first);
    EXPECT_EQ(filter.m_width, 7);
    EXPECT_EQ(filter.m_dx_p[0], 3.0f);
    filter.realloc(5, 7); // as many pixels, another size
    EXPECT_EQ(filter.m_width, 5);

    filter.freemem();
    EXPECT_EQ(arrays(), std::vector<const void*>(6, nullptr));
    EXPECT_EQ(filter.m_width + filter.m_height + filter.m_numPixels + filter.m_nnzCapacity, 0);
    filter.realloc(5, 7);
    EXPECT_NE(filter.m_ja_p, nullptr);

    for (const auto& [width, height] : {std::pair(50000, 50000), std::pair(40000, 20000)}) { // past int in N, in 3 N
        EXPECT_THROWS_TEXT(filter.realloc(width, height), "TWLSFilter::realloc - failed");
        EXPECT_EQ(arrays(), std::vector<const void*>(6, nullptr));
        EXPECT_EQ(filter.m_width, 0);
    }
    float in[1] = {2.0f}, guide[1] = {2.0f};
    EXPECT_THROWS_TEXT(filter.Proc(in, 50000, 50000, 1, 1, guide, true), "TWLSFilter::realloc - failed");
    EXPECT_EQ(guide[0], 2.0f);
}

TEST(TWLSFilter, NothingToFilterChangesNothing)
{
    TWLSFilter filter;
    filter.realloc(3, 3);
    float in[9] = {1}, guide[9] = {2};
    for (const auto& [width, height] : {std::pair(0, 3), std::pair(3, 0), std::pair(-3, -3)})
        EXPECT_TRUE(filter.Proc(in, width, height, 1, 1, guide, true));
    EXPECT_EQ(in[0], 1.0f);
    EXPECT_EQ(guide[0], 2.0f);
    EXPECT_EQ(filter.m_numPixels, 9);
    EXPECT_THROW(filter.Proc(nullptr, 3, 3, 1, 1, guide, true), cv::Exception);
    EXPECT_THROW(filter.Proc(in, 3, 3, 1, 1, nullptr, true), cv::Exception);
}

TEST(TWLSFilter, LeavesTheInputWhenThereIsNoSolution)
{
    const cv::Size size(40, 30);
    const std::vector<float> plane = dense(scenePlane(size, CV_32FC1, 0, 2));
    std::vector<float> in = plane, guide = plane;
    TWLSFilter filter;
    const auto proc = [&](float lambda) {
        filter.Proc(in.data(), size.width, size.height, lambda, 1, guide.data(), false);
    };
    EXPECT_THROWS_TEXT(proc(-1), "pardisoSolverIC - 22");
    guide[77] = std::numeric_limits<float>::infinity();
    EXPECT_NO_THROW(proc(1)); // a pixel that nothing ties to the others
    in = plane;
    guide[78] = std::numeric_limits<float>::infinity();
    EXPECT_THROWS_TEXT(proc(1), "pardisoSolverIC - 22"); // infinity minus infinity
    guide[77] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_THROWS_TEXT(proc(1), "pardisoSolverIC - 22");
    EXPECT_EQ(in, plane);
    EXPECT_TRUE(filter.Proc(in.data(), size.width, size.height, 1, 1, in.data(), false)); // its own guide
    EXPECT_NE(in, plane);
}

TEST(TWLSFilter, CancelAtEveryReportLeavesTheInputAndTheSystem)
{
    const cv::Size size(45, 31);
    const std::vector<float> plane = dense(scenePlane(size, CV_32FC1, 0, 2));
    const LeastSquares twin(plane, size.width, size.height, 1, 1.2f, plane);
    std::vector<float> guide = plane, out = plane;
    TWLSFilter filter;
    const auto proc = [&](TProgress* progress) {
        return filter.Proc(out.data(), size.width, size.height, 1, 1.2f, guide.data(), false, progress);
    };
    RefusingHost willing;
    TProgress all(RefusingHost::callback, &willing);
    EXPECT_TRUE(proc(&all));
    EXPECT_GT(willing.reports, 5);
    const std::vector<float> solved = out;
    for (int refuse = 0; refuse < willing.reports; ++refuse) {
        RefusingHost host{refuse};
        TProgress progress(RefusingHost::callback, &host);
        out = plane;
        EXPECT_FALSE(proc(&progress));
        EXPECT_EQ(host.reports, refuse + 1);
        EXPECT_EQ(out, plane);
        expectSameSystem(twin, filter);
    }
    EXPECT_TRUE(proc(nullptr));
    EXPECT_EQ(out, solved);
}

TEST(TWLSFilter, ReportsRiseToAThousand)
{
    std::vector<float> plane = dense(scenePlane({45, 31}, CV_32FC1, 0, 2)), guide = plane;
    std::vector<int> told;
    TProgress progress(
        [](int thousandth, void* list) {
            static_cast<std::vector<int>*>(list)->push_back(thousandth);
            return true;
        },
        &told);
    EXPECT_TRUE(TWLSFilter().Proc(plane.data(), 45, 31, 1, 1.2f, guide.data(), true, &progress));
    EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
    EXPECT_EQ(told.front(), 0);
    EXPECT_EQ(told.back(), 1000);
}

TEST(TWLSFilter, SizesThatAHostChangesMakeTheArraysAnew)
{
    TWLSFilter filter;
    std::vector<float> small(4 * 3, 0.5f), large(40 * 30, 0.5f);
    filter.Proc(small.data(), 4, 3, 0.35f, 1.2f, small.data(), false);
    filter.m_width = 40;
    filter.m_height = 30;
    EXPECT_TRUE(filter.Proc(large.data(), 40, 30, 0.35f, 1.2f, large.data(), false));
    EXPECT_EQ(filter.m_numPixels, 40 * 30);
    EXPECT_THROW(filter.Proc(nullptr, 4, 3, 0.35f, 1.2f, small.data(), false), cv::Exception);
}
