#include <pixmill/filters/TGuidedFilter.h>
#include <pixmill/filters/detail/guided_columns.h>
#include <pixmill/primitives/filter.h>
#include <reference/guided_filter.h>
#include <support/everyway.h>
#include <support/planes.h>

#include <limits>

using namespace pixmill::test;
using namespace pixmill::reference;
using namespace pixmill::filters;

namespace {

constexpr float kEps = 0.0004f;
constexpr float kInf = std::numeric_limits<float>::infinity();

/// The box filter's means: their sums have a told order, which shows where sums are rounded.
cv::Mat boxMeans(const cv::Mat& p, int r)
{
    cv::Mat out(p.rows - 2 * r, p.cols - 2 * r, CV_32FC1);
    ippiFilterBox_32f_C1R(p.ptr<float>(r) + r, int(p.step), out.ptr<float>(), int(out.step), {out.cols, out.rows},
                          {2 * r + 1, 2 * r + 1}, {r, r});
    return out;
}

/// Samples of one kind, anywhere in a plane.
struct Kind {
    const char* name;
    float (*sample)(cv::RNG& rng);
};

float byteSample(cv::RNG& rng)
{
    return float(int(rng.uniform(0, 256))) / 255.0f;
}

float wideSample(cv::RNG& rng)
{
    return std::ldexp(rng.uniform(-1.0f, 1.0f), rng.uniform(-45, 45));
}

/// Mostly bytes, but for one sample in about `rarely` that is another.
template <class Other>
float spoilt(cv::RNG& rng, int rarely, const Other& other)
{
    return rng.uniform(0, rarely) == 0 ? other() : byteSample(rng);
}

/// With means below 2, often halfway between two floats, and a few samples that are tiny.
float halvesSample(cv::RNG& rng)
{
    const int k = rng.uniform(0, 64);
    return rng.uniform(0, 150) == 0 ? 0x1p-24f : k % 2 ? 1 - k * 0x1p-24f : 2.75f + k * 0x1p-22f;
}

const Kind kKinds[] = {
    {"bytes", byteSample},
    {"means halfway between floats", halvesSample},
    {"night in sixteen bits", [](cv::RNG& rng) { return std::pow(rng.uniform(0.0f, 1.0f), 9.0f); }},
    {"exponents of ninety binades", wideSample},
    {"few of them among bytes", [](cv::RNG& rng) { return spoilt(rng, 400, [&] { return wideSample(rng); }); }},
    {"both zeros", [](cv::RNG& rng) { return rng.uniform(0, 3) ? -0.0f : float(rng.uniform(0, 2)); }},
    {"negative zeros", [](cv::RNG&) { return -0.0f; }},
    {"no numbers", [](cv::RNG& rng) { return spoilt(rng, 700, [] { return std::nanf(""); }); }},
    {"infinities", [](cv::RNG& rng) { return spoilt(rng, 700, [&] { return rng.uniform(0, 2) ? kInf : -kInf; }); }},
    {"huge", [](cv::RNG& rng) { return spoilt(rng, 300, [] { return 1e30f; }); }},
    {"subnormal", [](cv::RNG& rng) { return spoilt(rng, 300, [] { return 1e-41f; }); }},
};

cv::Mat planeOfKind(const Kind& kind, cv::Size size, unsigned seed)
{
    cv::RNG rng(seed * 7919u + 5u);
    return planeOf<float>(size, [&](int, int) { return kind.sample(rng); });
}

/// Same bits, any NaN being like any other.
testing::AssertionResult sameFloats(const cv::Mat& expected, const cv::Mat& actual)
{
    cv::Mat e = expected.clone(), a = actual.clone();
    cv::patchNaNs(e, 12345.75);
    cv::patchNaNs(a, 12345.75);
    return samePixels<float>(e, a);
}

void expectEstimate(const GuidedModel& expected, const TGuidedFilter& filter)
{
    const cv::Mat* const slopes[] = {&filter.m_a0, &filter.m_a1, &filter.m_a2};
    for (std::size_t i = 0; i < expected.a.size(); ++i)
        EXPECT_TRUE(sameFloats(expected.a[i], *slopes[i])) << "slope " << i;
    EXPECT_TRUE(sameFloats(expected.b, filter.m_b)) << "offset";
}

/// All three operations on planes, beside whole planes through the box filter.
void expectOrderedSums(const std::vector<cv::Mat>& guide, const cv::Mat& src, int r)
{
    TGuidedFilter filter;
    filter.gFc1_estimate(guide[0], src, r, kEps);
    expectEstimate(guidedEstimate(guide[0], src, r, kEps, boxMeans), filter);
    filter.gFc3_estimate(guide, src, r, kEps);
    expectEstimate(guidedEstimate(guide, src, r, kEps, boxMeans), filter);
    if (src.cols <= 4 * r || src.rows <= 4 * r)
        return;
    cv::Mat out;
    TGuidedFilter::gFc1_blkGuide(guide[0], src, out, r, kEps);
    EXPECT_TRUE(sameFloats(guidedBlock(guide[0], src, r, kEps, boxMeans), out)) << "whole";
}

} // namespace

TEST(TGuidedFilterSums, HaveTheBoxFiltersBitsWhateverTheSamplesAre)
{
    for (const Kind& kind : kKinds)
        for (const auto& [size, r] : {std::pair{cv::Size(41, 37), 1}, {{40, 33}, 2}, {{61, 45}, 3}, {{70, 61}, 8}}) {
            SCOPED_TRACE(testing::Message() << kind.name << ", " << size << ", r " << r);
            std::vector<cv::Mat> guide;
            for (unsigned i = 0; i < 3; ++i)
                guide.push_back(planeOfKind(kind, size, i));
            expectOrderedSums(guide, planeOfKind(kind, size, 3), r);
        }
}

TEST(TGuidedFilterSums, HaveTheBoxFiltersBitsAtEveryRadius)
{
    for (const int r : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 40, 63, 64}) {
        SCOPED_TRACE(r);
        const cv::Size size(1100 / (r + 1) + 3 * r, 5 * r + 3);
        std::vector<cv::Mat> guide;
        for (unsigned i = 0; i < 3; ++i)
            guide.push_back(planeOfKind(kKinds[i % 3], size, i));
        expectOrderedSums(guide, planeOfKind(kKinds[0], size, 3), r);
        guide[1].row(size.height / 2).setTo(1e-30f); // both ways within a picture, and back
        expectOrderedSums(guide, planeOfKind(kKinds[0], size, 3), r);
    }
}

TEST(TGuidedFilterSums, TakeTurnsInStripsAndTeamsWithoutASeam)
{
    const cv::Size size(8250, 31);
    std::vector<cv::Mat> guide;
    for (unsigned i = 0; i < 3; ++i)
        guide.push_back(planeOfKind(kKinds[0], size, i));
    cv::Mat src = planeOfKind(kKinds[0], size, 3);
    guide[0](cv::Rect(4500, 20, 500, 2)).setTo(3e-20f); // in the second strip alone
    src.at<float>(9, 30) = 1e30f;
    for (const int r : {1, 4}) {
        SCOPED_TRACE(r);
        const GuidedModel one = guidedEstimate(guide[0], src, r, kEps, boxMeans);
        const GuidedModel three = guidedEstimate(guide, src, r, kEps, boxMeans);
        const cv::Mat whole = guidedBlock(guide[0], src, r, kEps, boxMeans);
        everyWay([&] {
            TGuidedFilter filter;
            filter.gFc1_estimate(guide[0], src, r, kEps);
            expectEstimate(one, filter);
            filter.gFc3_estimate(guide, src, r, kEps);
            expectEstimate(three, filter);
            cv::Mat out;
            TGuidedFilter::gFc1_blkGuide(guide[0], src, out, r, kEps);
            EXPECT_TRUE(sameFloats(whole, out));
        });
    }
}

TEST(GuidedMeans, OfExactSumsNarrowLikeTheQuotientAlsoInTheMiddleOfTwoFloats)
{
    cv::RNG rng(11);
    for (const int r : {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 14, 16, 20, 23, 32, 45, 100}) {
        SCOPED_TRACE(r);
        const int side = 2 * r + 1, n = 600;
        const ExactMean mean(double(side) * side);
        std::vector<double> sums(n + side - 1), scratch(2 * (n + side));
        std::vector<float> means(n);
        for (int x = 0; x < n; ++x) { // middles of two floats, what lies next to them, and anything
            const double most = x % 2 ? kProductUnits : kExactUnits;
            const double middle = (1 << 24) + 2.0 * rng.uniform(0, 1 << 23) + 1;
            const double times = x % 2 ? 1 : std::exp2(std::floor(std::log2(most / mean.count()) - 25));
            const double sum = middle * times * mean.count() + (x % 5 - 2);
            sums[x] = x % 7 ? sum : std::floor(most * rng.uniform(0.0, 1.0));
        }
        for (const double units : {kProductUnits, kExactUnits})
            for (int first = 0; first < n; first += side) { // each window with one sum only
                std::vector<double> columns(n + side - 1);
                for (int x = first % side; x < n; x += side)
                    columns[x] = std::min(sums[x], units);
                meansOfColumns(columns.data(), side, mean, mean.form(units), scratch.data(), means.data(), n);
                for (int x = 0; x < n - side; ++x) {
                    const int at = (x + side - 1 - first % side) / side * side + first % side;
                    ASSERT_EQ(means[x], float(columns[at] / mean.count())) << "sum " << columns[at];
                }
            }
    }
}

TEST(GuidedMeans, UnitsOfASumTellWhereItIsExact)
{
    const auto of = [](std::vector<float> samples) { return magnitudesOf(samples.data(), int(samples.size())); };
    EXPECT_EQ(unitsOfSum(of({1, -2, 0, 1.5f, -0.0f}), 9), 9 * 2 * 0x1p23);
    EXPECT_EQ(unitsOfSum(of({0, -0.0f}), 9), 0);
    EXPECT_EQ(unitsOfSum(of({3}), of({0}), 9), 0);
    EXPECT_EQ(unitsOfSum(of({3, 0.75f}), of({-0.25f}), 25), 25 * 0.75 * 0x1p26);
    for (const float bad : {kInf, -kInf, std::nanf(""), 1e30f, 1e-30f, 1e-41f}) {
        EXPECT_EQ(unitsOfSum(of({1, 0, bad}), 9), kInf);
        EXPECT_EQ(unitsOfSum(of({0}), of({bad, 1}), 9), kInf);
    }
    everyWay([&] {
        const cv::Mat row = randomPlane({203, 1}, CV_32FC1, -3, 5);
        double least, greatest;
        cv::minMaxLoc(cv::abs(row), &least, &greatest);
        const Magnitudes found = magnitudesOf(row.ptr<float>(), row.cols);
        EXPECT_EQ(std::memcmp(&found.least, cv::Mat(1, 1, CV_32FC1, cv::Scalar(least)).data, 4), 0);
        EXPECT_EQ(std::memcmp(&found.greatest, cv::Mat(1, 1, CV_32FC1, cv::Scalar(greatest)).data, 4), 0);
    });
}
