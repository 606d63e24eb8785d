#include "roi.h"
#include <pixmill/primitives/lookup.h>
#include <reference/table_look_up.h>
#include <support/everyway.h>

#include <climits>

using namespace pixmill::test;

namespace {

template <class S, class D>
using PaletteFunction = IppStatus (*)(const S*, int, D*, int, IppiSize, const D*, int);

template <class S, class D>
void expectPalette(PaletteFunction<S, D> lookUp, int srcType, int dstType)
{
    const int bits = 8 * int(sizeof(S));
    for (const cv::Size size : oddSizes())
        for (const int bitSize : {1, 5, 8, bits - 1, bits}) {
            SCOPED_TRACE(testing::Message() << size << " bits " << bitSize);
            const cv::Mat in = randomPlane(size, srcType, 0, topOf(srcType));
            // Exactly as many entries as may be read.
            const cv::Mat table = randomPlane({1 << bitSize, 1}, dstType, 0, topOf(dstType), 2).clone();
            const cv::Mat expected = pixmill::reference::lookedUp<S, D>(in, table.ptr<D>(), 1 << bitSize);
            everyWay([&] {
                cv::Mat out = randomPlane(size, dstType, 0, 200, 3);
                EXPECT_EQ(
                    lookUp(in.ptr<S>(), stepOf(in), out.ptr<D>(), stepOf(out), roiOf(in), table.ptr<D>(), bitSize),
                    ippStsNoErr);
                EXPECT_TRUE(samePixels<D>(expected, out));
            });
        }
    const S in = 0;
    const D table[2] = {7, 7};
    D out = 5;
    for (const int bitSize : {0, -3, bits + 1, 40})
        EXPECT_EQ(lookUp(&in, sizeof in, &out, sizeof out, {1, 1}, table, bitSize), ippStsOutOfRangeErr);
    EXPECT_EQ(out, 5);
}

TEST(LUTPalette, TheLowBitsChooseTheEntry)
{
    expectPalette<uchar, uchar>(ippiLUTPalette_8u_C1R, CV_8UC1, CV_8UC1);
    expectPalette<ushort, ushort>(ippiLUTPalette_16u_C1R, CV_16UC1, CV_16UC1);
    expectPalette<ushort, uchar>(ippiLUTPalette_16u8u_C1R, CV_16UC1, CV_8UC1);
}

TEST(LUTLinear, MapsEachValueThroughTheLowestIntervalThatHoldsIt)
{
    struct Case {
        const char* name;
        std::vector<int> levels, values;
    };
    const Case cases[] = {
        {"whole", {0, 65535}, {0, 32768}},
        {"endsAtTheTopExclusive", {0, 65536}, {65535, 0}},
        {"inside", {100, 200, 40000}, {40000, 7, 12345}},
        {"repeatedLevels", {0, 1000, 1000, 1000, 65535}, {0, 500, 9, 60000, 65535}},
        {"repeatedLast", {0, 65535, 65535}, {0, 30000, 4}},
        {"onePoint", {300, 300}, {5, 6}},
        {"saturates", {0, 30000, 65535}, {-100000, 200000, 200000}},
        {"outsideTheRange", {INT_MIN, -5, 30000, 70000, INT_MAX}, {INT_MAX, INT_MIN, 3, 65535, INT_MAX}},
        {"outOfOrder", {0, 50000, 20000, 60000, 10}, {0, 100, 60000, 5, 7}},
        {"descending", {60000, 100}, {1, 2}},
        {"ties", {0, 2, 4, 65535}, {0, 1, 4, 4}},
    };
    std::vector<ushort> all(65536);
    for (int v = 0; v < 65536; ++v)
        all[v] = ushort(v);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<ushort> expected(65536);
        for (int v = 0; v < 65536; ++v)
            expected[v] = pixmill::reference::linearMapped(v, c.values, c.levels);
        everyWay([&] {
            std::vector<ushort> table = all;
            EXPECT_EQ(ippiLUT_Linear_16u_C1IR(table.data(), 512, {256, 256}, c.values.data(), c.levels.data(),
                                              int(c.levels.size())),
                      ippStsNoErr);
            EXPECT_EQ(table, expected);
        });
    }
    ushort v = 9;
    const int one[] = {0};
    EXPECT_EQ(ippiLUT_Linear_16u_C1IR(&v, 2, {1, 1}, one, one, 1), ippStsLUTNofLevelsErr);
    EXPECT_EQ(ippiLUT_Linear_16u_C1IR(&v, 2, {1, 1}, one, one, -4), ippStsLUTNofLevelsErr);
    EXPECT_EQ(v, 9);
}

} // namespace
