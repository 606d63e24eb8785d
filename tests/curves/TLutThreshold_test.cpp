#include <pixmill/curves/TLutThreshold.h>
#include <pixmill/curves/threshold_tables.h>
#include <reference/threshold_table.h>
#include <reference/tone_curve.h>
#include <support/everyway.h>
#include <support/planes.h>

#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

using pixmill::curves::ThresholdControls;
using namespace pixmill::test;
using pixmill::reference::curveOverLine;
using Ranges = pixmill::reference::ThresholdRanges;

namespace {

std::vector<int> reference(int top, const Ranges& r, const ThresholdControls& c)
{
    return pixmill::reference::thresholdTable(top, r, {c.kShift, c.tShift, c.kBase, c.tBase});
}

std::vector<int> entriesOf(const TLut8U& lut)
{
    const auto* p = static_cast<const unsigned char*>(lut.m_lut_p);
    return {p, p + 256};
}

std::vector<int> entriesOf(const TLut16U& lut)
{
    const auto* p = static_cast<const unsigned short*>(lut.m_lut_p);
    return {p, p + 65536};
}

template <class Lut>
std::vector<int> built(const Ranges& r, const ThresholdControls& c)
{
    Lut lut(r.kLow, r.kHigh, r.range, r.smooth);
    lut.setupLinearThreshold(c.kShift, c.tShift, c.kBase, c.tBase);
    return entriesOf(lut);
}

const Ranges kRanges[] = {
    {0, 6, 8191, 0.35f}, {0, 5, 9830, 0.35f}, {0, 3.5f, 7372, 0.35f}, {0.2f, 2, 9, 0.35f}, {0, 4, 60, 0.8f}};

std::vector<ThresholdControls> controls()
{
    std::vector<ThresholdControls> all = {
        {0, 0, 0, 0},         {0, 0.5f, 0, 0},      {0, -0.5f, 0, 0},
        {0.7f, 0.3f, 0, 0},   {-0.6f, 0.3f, 0, 0},  {0.2f, 0.4f, 0.3f, -1},
        {0.2f, -0.4f, -1, 1}, {1, 1, 1, 1},         {-1, -1, -1, -1},
        {1.5f, 1.5f, 0, 0},   {-1.5f, -1.5f, 0, 0}, {0, 0, 0.01f, -0.01f},
        {0, 0.0004f, 0, 0},   {0, -0.0009f, 0, 0},  {0.3f, -0.2f, -0.5f, 0.25f},
    };
    cv::RNG rng(11);
    for (int i = 0; i < 12; ++i)
        all.push_back(
            {rng.uniform(-1.5f, 1.5f), rng.uniform(-1.5f, 1.5f), rng.uniform(-1.0f, 1.0f), rng.uniform(-1.0f, 1.0f)});
    return all;
}

} // namespace

TEST(TLutThreshold, TablesMatchTheReferenceBitForBit)
{
    for (const Ranges& r : kRanges)
        for (const ThresholdControls& c : controls()) {
            SCOPED_TRACE(testing::Message() << "range " << r.range << ", controls " << c.kShift << " " << c.tShift
                                            << " " << c.kBase << " " << c.tBase);
            ASSERT_EQ(built<TLut8U>(r, c), reference(255, r, c));
            ASSERT_EQ(built<TLut16U>(r, c), reference(65535, r, c));
        }
}

TEST(TLutThreshold, WithoutControlsTheTableIsTheIdentity)
{
    for (const Ranges& r : kRanges) {
        const std::vector<int> wide = built<TLut16U>(r, {0, 0, 0, 0}), narrow = built<TLut8U>(r, {0, 0, 0, 0});
        for (int i = 0; i < 65536; ++i)
            ASSERT_EQ(wide[i], i);
        for (int i = 0; i < 256; ++i)
            ASSERT_EQ(narrow[i], i);
    }
}

TEST(TLutThreshold, AHalfWidthOfThreeIsTheFirstToBeSmoothed)
{
    for (const int half : {1, 2, 3}) {
        const std::vector<int> table =
            built<TLut16U>({0, 1, half, 0.35f}, {0, 1.5f, 0, 0}); // threshold 1.5 * 2/3 * 1.5
        const int r = int(half * 1.5f);
        EXPECT_EQ(table[32768] - table[32767] == 2 * r, r < 3) << half;
    }
}

TEST(TLutThreshold, AGapIsMeasuredOnTheOutputSideAndADeadZoneIsFlat)
{
    // Slope 2 halves the 100 entries of the gap.
    const std::vector<int> gap = built<TLut16U>({0, 2, 100, 0.0f}, {0, 0, 1, 1});
    EXPECT_EQ(gap[32768], 32768 + 100);
    EXPECT_EQ(gap[32767], 32768 - 100);
    EXPECT_EQ(gap[32768 + 49], 32768 + 100);
    EXPECT_EQ(gap[32768 + 51], 32768 + 102);
    // A negative threshold is damped by 0.4.
    const std::vector<int> dead = built<TLut16U>({0, 2, 100, 0.0f}, {0, 0, 0, -1});
    for (int i = -41; i <= 41; ++i)
        EXPECT_EQ(dead[32768 + i], 32768 + (std::abs(i) <= 40 ? 0 : i)) << i;
    // In double: a single-precision 0.4 would make this one 23 entries wide.
    const std::vector<int> edge = built<TLut16U>({0, 2, 100, 0.0f}, {0, 0, 0, -0.575f});
    EXPECT_EQ(edge[32768 + 22], 32768);
    EXPECT_EQ(edge[32768 + 23], 32768 + 23);
}

TEST(TLutThreshold, HalfWidthsBeyondTheTableAreLimitedToIt)
{
    for (const float t : {1e9f, -1e9f, 3e38f, -3e38f, 1.2f, -3.0f}) {
        const Ranges r = {0, 2, 40000, 0};
        ASSERT_EQ(built<TLut16U>(r, {0, 0, 0, t}), reference(65535, r, {0, 0, 0, t})) << t;
        ASSERT_EQ(built<TLut8U>(r, {0, 0, 0, t}), reference(255, r, {0, 0, 0, t})) << t;
    }
    built<TLut16U>({0, 2, 40000, 0.35f}, {0, 0, 0, std::numeric_limits<float>::quiet_NaN()});
}

TEST(TLutThreshold, NewRangesTakeEffectAtTheNextSetup)
{
    TLut16U lut(0, 6, 8191, 0.35f);
    lut.setupLinearThreshold(0.5f, 0.5f, 0, 0);
    const std::vector<int> before = entriesOf(lut);
    lut.setKRange(0, 5, 9830, 0.35f);
    EXPECT_EQ(entriesOf(lut), before);
    lut.setupLinearThreshold(0.5f, 0.5f, 0, 0);
    EXPECT_EQ(entriesOf(lut), built<TLut16U>({0, 5, 9830, 0.35f}, {0.5f, 0.5f, 0, 0}));
}

TEST(TLutThreshold, TablesBuiltTogetherEqualThoseBuiltOneByOne)
{
    const std::vector<ThresholdControls> all = controls();
    std::vector<std::unique_ptr<TLut16U>> luts;
    std::vector<TLut16U*> pointers;
    std::vector<std::vector<int>> expected;
    for (size_t i = 0; i < all.size(); ++i) {
        const Ranges& r = kRanges[i % std::size(kRanges)];
        luts.push_back(std::make_unique<TLut16U>(r.kLow, r.kHigh, r.range, r.smooth));
        pointers.push_back(luts.back().get());
        expected.push_back(built<TLut16U>(r, all[i]));
    }
    everyWay([&] {
        for (const int count : {0, 1, 2, 3, 4, 5, int(all.size())}) {
            for (TLut16U* lut : pointers)
                std::fill_n(static_cast<unsigned short*>(lut->m_lut_p), 65536, 0);
            pixmill::curves::setupLinearThresholds(pointers.data(), all.data(), count);
            for (int i = 0; i < count; ++i)
                ASSERT_EQ(entriesOf(*pointers[i]), expected[i]) << i << " of " << count;
        }
    });
}

TEST(TLut16U, LightAdjustLaysACurveOverALine)
{
    TLut16U lut(0.1f, 3, 8191, 0.35f);
    for (const auto& c :
         {std::array<float, 4>{0, 0, 0, 0}, {0.3f, 0.5f, 0.7f, -0.2f}, {-1, -0.8f, -1, 1}, {1, 1, 1, 1}}) {
        SCOPED_TRACE(testing::Message() << c[0] << " " << c[1] << " " << c[2] << " " << c[3]);
        everyWay([&] {
            lut.setupLightAdjust(c[0], c[1], c[2], c[3]);
            ASSERT_EQ(entriesOf(lut), curveOverLine(lut.m_adjustCurve, lut.m_kLow, lut.m_kHigh, c[0], c[1]));
        });
        EXPECT_EQ(lut.m_adjustCurve[0], 0.0f);
        EXPECT_NEAR(lut.m_adjustCurve[63], 1.0f, 1e-6);
    }
    lut.setupLightAdjust(0, 0, 0, 0);
    const std::vector<int> neutral = entriesOf(lut);
    for (int i = 0; i < 65536; ++i)
        ASSERT_NEAR(neutral[i], i, 1) << i;
    lut.setupLightAdjust(0, 0, 1, 0);
    EXPECT_NEAR(entriesOf(lut)[16384], 0.425 * 65535, 40); // (0.35 + 0.5) / 2 at a quarter, between two samples
}
