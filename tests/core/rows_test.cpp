#include <pixmill/rows/pixel.h>
#include <pixmill/rows/scratch.h>
#include <support/everyway.h>
#include <support/throws.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <new>
#include <vector>

using namespace pixmill::rows;
using pixmill::test::everyWay;
using pixmill::test::PolicyGuard;

TEST(Rows, VisitsEveryRowOnceAndIgnoresEmptyRanges)
{
    everyWay([] {
        for (const int rows : {0, -3, 1, 2, 7, 64}) {
            std::vector<int> visits(64, 0);
            forEachRow({100, rows}, [&](int y) { ++visits[y]; });
            for (int y = 0; y < 64; ++y)
                EXPECT_EQ(visits[y], y < rows ? 1 : 0);
        }
    });
}

TEST(Rows, SpansAreContiguousAndCoverTheRange)
{
    everyWay([] {
        for (const int each : {1, kFinePieces}) {
            std::vector<int> owner(37, -1);
            std::atomic<int> spans{0};
            const auto span = [&](int first, int end) {
                ++spans;
                std::fill(owner.begin() + first, owner.begin() + end, first);
            };
            forEachSpan(37, 1 << 20, span, each);
            EXPECT_EQ(owner[0], 0);
            for (int i = 1; i < 37; ++i)
                EXPECT_TRUE(owner[i] == owner[i - 1] || owner[i] == i);
            EXPECT_EQ(spans, teamSize() == 1 ? 1 : teamSize() * each);
        }
    });
}

TEST(Rows, ABodyInsideABodyRunsOnItsOwnThread)
{
    everyWay([] {
        std::vector<int> sums(8, 0);
        forEachIndex(8, 1 << 20, [&](int i) { forEachIndex(5, 1 << 20, [&](int k) { sums[i] += k; }); });
        EXPECT_EQ(sums, std::vector<int>(8, 10));
    });
}

TEST(Rows, ScratchMadeInsideABodyIsOfOneThreadWhateverItsNumber)
{
    PolicyGuard guard;
    rowPolicy() = {0, 1, true};
    omp_set_num_threads(8);
    std::vector<long> kept(8, 0);
    forEachIndex(8, 1 << 20, [&](int i) {
        constexpr int kSize = 1 << 20;
        TeamScratch<int> scratch(kSize);
        std::fill_n(scratch.mine(), kSize, i);
        kept[i] = std::count(scratch.mine(), scratch.mine() + kSize, i);
    });
    EXPECT_EQ(kept, std::vector<long>(8, 1 << 20));
}

TEST(Rows, WhatABodyThrowsReachesTheCaller)
{
    everyWay([] {
        EXPECT_THROW(forEachIndex(8, 1 << 20, [](int i) { i == 5 ? throw std::bad_alloc() : void(); }), std::bad_alloc);
        EXPECT_THROWS_TEXT(forEachIndex(8, 1 << 20, [](int i) { i == 6 ? throw "a text" : void(); }), "a text");
    });
}

TEST(Pixel, RoundingAgreesWithLrintAroundEveryTie)
{
    for (int i = -140000; i <= 140000; ++i)
        for (const float d : {0.0f, 0.25f, 0.5f, 0.75f})
            ASSERT_EQ(roundToInt(i * 0.5f + d), std::lrint(i * 0.5f + d)) << i << " " << d;
    for (const double v : {0.5, 1.5, 2.5, -0.5, -1.5, 65534.5, 2147483646.5, -2147483647.5, 0.49999999999999994})
        EXPECT_EQ(roundToInt(v), std::lrint(v)) << v;
}

TEST(Pixel, OutOfRangeClampsAndNotANumberIsBlack)
{
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(toPixel16(inf), 65535);
    EXPECT_EQ(toPixel16(-inf), 0);
    EXPECT_EQ(toPixel16(nan), 0);
    EXPECT_EQ(toPixel16(65534.5f), 65534);
    EXPECT_EQ(toPixel16(3e38f), 65535);
    EXPECT_EQ(toPixel8(double(nan)), 0);
    EXPECT_EQ(toPixel8(255.4f), 255);
    EXPECT_EQ(toPixel8(-0.5f), 0);
    EXPECT_EQ(nearPixel16(-70000.4f), 0);
    EXPECT_EQ(nearPixel8(2.5f), 2);
}
