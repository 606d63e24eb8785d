#include <pixmill/core/TProgress.h>
#include <pixmill/develop/Photo.h>
#include <pixmill/multiscale/TWLSFilter.h>
#include <pixmill/multiscale/detail/sparse_solver.h>
#include <pixmill/multiscale/pardisoSolver.h>
#include <reference/weighted_least_squares.h>

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

/// The least-squares filter on the photographs of lomiri-wallpapers-16.04, where they are installed.

using namespace pixmill;

namespace {

enum class Part { scaled, cut };            ///< All of a photograph made small, or its middle.
enum class Kind { linear, guide, picture }; ///< No logarithm, the guide's, or that of picture and guide.

std::vector<std::string> photographs()
{
    std::vector<std::string> paths;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator("/usr/share/backgrounds", none))
        if (entry.path().extension() == ".jpg")
            paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    return paths;
}

/// 0..1.
cv::Mat luma(const std::string& path)
{
    cv::Mat grey, plane;
    cv::cvtColor(readPhoto(path).pixels, grey, cv::COLOR_RGB2GRAY);
    grey.convertTo(plane, CV_32FC1, 1 / 255.0);
    return plane;
}

cv::Mat partOf(const cv::Mat& whole, int side, Part kind)
{
    cv::Mat out;
    const int w = std::min(side, whole.cols), h = std::min(side, whole.rows);
    if (kind == Part::scaled)
        cv::resize(whole, out, {w, h}, 0, 0, cv::INTER_AREA);
    else
        out = whole(cv::Rect((whole.cols - w) / 2, (whole.rows - h) / 2, w, h)).clone();
    return out;
}

struct Case {
    float lambda, alpha;
    Kind kind;
};

/// The filter at work, and what it works on.
struct Filtered {
    cv::Mat in, out, guide;
    TWLSFilter filter;

    Filtered(const cv::Mat& plane, const Case& c) : in(plane.clone())
    {
        if (c.kind == Kind::picture)
            cv::log(plane + filter.m_logEps, in);
        out = in.clone();
        guide = in.clone();
    }

    void run(const Case& c)
    {
        filter.Proc(out.ptr<float>(), in.cols, in.rows, c.lambda, c.alpha, guide.ptr<float>(), c.kind == Kind::guide,
                    &progress);
    }

    int reports = 0; ///< two before the first step
    TProgress progress{[](int, void* count) { return ++*static_cast<int*>(count) > 0; }, &reports};
};

struct Errors {
    double largest = 0;    ///< in halves of a unit in the last place of the largest value
    double ofRange = 0;    ///< the largest as a share of the values' range
    double notNearest = 0; ///< the share of pixels that are not the float nearest to the solution
};

Errors errorsOf(const std::vector<double>& expected, const cv::Mat& actual)
{
    const auto [low, high] = std::minmax_element(expected.begin(), expected.end());
    double worst = 0, other = 0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const float found = actual.ptr<float>()[i];
        worst = std::max(worst, std::abs(expected[i] - double(found)));
        other += float(expected[i]) != found;
    }
    const double unit = std::ldexp(1.0, std::ilogb(std::max(std::abs(*low), std::abs(*high))) - 23);
    return {worst / (unit / 2), worst / (*high - *low), other / double(expected.size())};
}

/// The errors of the filter beside the direct solver in double precision, on the same system.
Errors errorsOf(const cv::Mat& plane, const Case& c)
{
    Filtered work(plane, c);
    work.run(c);
    const TWLSFilter& filter = work.filter;
    const int n = int(plane.total());
    std::vector<double> a(filter.m_a_p, filter.m_a_p + filter.m_ia_p[n] - 1), x(n);
    std::vector<double> b(work.in.ptr<float>(), work.in.ptr<float>() + n);
    pardisoSolverIC(n, a.data(), filter.m_ia_p, filter.m_ja_p, b.data(), x.data(), 1, 2);
    return errorsOf(x, work.out);
}

void expectExact(const Errors& errors)
{
    EXPECT_LE(errors.largest, 1.1);
    EXPECT_LT(errors.ofRange, 1e-6);
    EXPECT_LT(errors.notNearest, 0.02);
}

const char* nameOf(Kind kind)
{
    return kind == Kind::linear ? "linear" : kind == Kind::guide ? "log guide" : "log";
}

Errors worse(const Errors& a, const Errors& b)
{
    return {std::max(a.largest, b.largest), std::max(a.ofRange, b.ofRange), std::max(a.notNearest, b.notNearest)};
}

/// Prints the worst of each case on parts of every photograph.
void survey(int side, const std::vector<Case>& cases)
{
    for (const Case& c : cases)
        for (const Part part : {Part::scaled, Part::cut}) {
            Errors worst;
            for (const std::string& path : photographs()) {
                SCOPED_TRACE(path);
                const Errors errors = errorsOf(partOf(luma(path), side, part), c);
                expectExact(errors);
                worst = worse(worst, errors);
            }
            std::printf("| %d %s | %s | %g | %g | %.3f | %.1e | %.3f %% |\n", side,
                        part == Part::scaled ? "scaled" : "cut", nameOf(c.kind), double(c.lambda), double(c.alpha),
                        worst.largest, worst.ofRange, 100 * worst.notNearest);
            std::fflush(stdout);
        }
}

void surveySettings(Kind kind)
{
    std::vector<Case> cases;
    for (const float lambda : {0.35f, 1.0f, 4.0f})
        for (const float alpha : {1.0f, 1.2f, 2.0f})
            cases.push_back({lambda, alpha, kind});
    survey(512, cases);
}

/// Steps that a system took; 0 where it goes to the direct solver, which then leaves the picture for want of memory.
int stepsOf(const cv::Mat& plane, const Case& c)
{
    multiscale::solverLimits().bytes = 1000;
    Filtered work(plane, c);
    work.run(c);
    multiscale::solverLimits() = {};
    const bool same = cv::norm(work.in, work.out, cv::NORM_INF) == 0;
    return same && c.lambda != 0 ? 0 : work.reports - 2;
}

/// Powers of ten with evenly random exponents.
cv::Mat noise(cv::RNG& rng, double low, double high)
{
    const cv::Size size(rng.uniform(7, 400), rng.uniform(7, 400));
    cv::Mat plane(size, CV_32FC1);
    for (auto v = plane.begin<float>(); v != plane.end<float>(); ++v)
        *v = float(std::pow(10.0, rng.uniform(low, high)));
    return plane;
}

} // namespace

TEST(Photographs, AreWithinHalfAUnitInTheLastPlaceOfADirectSolutionInDouble)
{
    const std::vector<std::string> paths = photographs();
    if (paths.empty())
        GTEST_SKIP() << "no photographs: lomiri-wallpapers-16.04 is not installed";
    const Case cases[] = {
        {0.35f, 1.2f, Kind::linear}, {1, 2, Kind::guide}, {4, 1, Kind::linear}, {0.35f, 1.2f, Kind::picture}};
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const std::string& path = paths[i * 4 % paths.size()];
        SCOPED_TRACE(path);
        expectExact(errorsOf(partOf(luma(path), 512, i % 2 ? Part::cut : Part::scaled), cases[i]));
    }
}

/// Minutes each, so they run when asked for by name.
TEST(Photographs, DISABLED_AreAsExactWithEverySetting)
{
    surveySettings(Kind::linear);
}

TEST(Photographs, DISABLED_AreAsExactWithEveryLogarithmicGuide)
{
    surveySettings(Kind::guide);
}

TEST(Photographs, DISABLED_LogarithmsAreAsExactWithEverySetting)
{
    surveySettings(Kind::picture);
}

TEST(Photographs, DISABLED_AreAsExactAtAMegapixel)
{
    survey(1024,
           {{0.35f, 1.2f, Kind::linear}, {4, 1, Kind::linear}, {1, 2, Kind::guide}, {0.35f, 1.2f, Kind::picture}});
}

TEST(Photographs, DISABLED_NeedNoDirectSolver)
{
    for (const Kind kind : {Kind::linear, Kind::guide, Kind::picture})
        for (const float lambda : {0.35f, 4.0f}) {
            int most = 0, given = 0;
            for (const std::string& path : photographs()) {
                const int steps = stepsOf(luma(path), {lambda, 1.2f, kind});
                EXPECT_GT(steps, 0) << path;
                most = std::max(most, steps);
                given += steps == 0;
            }
            std::printf("%s, lambda %g: %d photographs given up, at most %d steps\n", nameOf(kind), double(lambda),
                        given, most);
            std::fflush(stdout);
        }
}

TEST(Photographs, DISABLED_NoiseNeedsItWhereItsWeightsSpanManyDecades)
{
    struct Kind {
        double low, high, lambda; ///< exponents of the samples, and the largest of lambda
    };
    for (const Kind kind : {Kind{-1, 0, 1}, Kind{-4, 0, 1}, Kind{-4, 0, 3}, Kind{-4, 4, 1}, Kind{-4, 4, 3}}) {
        cv::RNG rng(1);
        int most = 0, given = 0;
        for (int i = 0; i < 200; ++i) {
            const float lambda = float(std::pow(10.0, rng.uniform(-1.0, kind.lambda)));
            const Case c = {lambda, rng.uniform(1.0f, 2.0f), ::Kind::linear};
            const int steps = stepsOf(noise(rng, kind.low, kind.high), c);
            most = std::max(most, steps);
            given += steps == 0;
        }
        std::printf("noise over 10^%g to 10^%g, lambda to 10^%g: %d of 200 given up, at most %d steps\n", kind.low,
                    kind.high, kind.lambda, given, most);
        std::fflush(stdout);
        EXPECT_TRUE(given == 0 || kind.high > 0 || kind.lambda > 1);
    }
}
