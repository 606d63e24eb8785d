#include <pixmill/curves/TLut2D.h>
#include <pixmill/curves/TLutY16U.h>
#include <pixmill/curves/TLutYDrDb.h>
#include <pixmill/primitives/memory.h>
#include <pixmill/primitives/resize.h>
#include <reference/sampled_tables.h>
#include <reference/table_look_up.h>
#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

#include <array>
#include <vector>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

/// A mapping without any order in it, so that a sample in the wrong place shows.
ushort scramble(unsigned v)
{
    v = v * 2654435761u + 12345u;
    return ushort(v >> 13);
}

class Luma16 : public TLutY16U {
public:
    bool identity = false;

    void mapYDrDb(ushort& y, ushort& c1, ushort& c2) override
    {
        if (!identity)
            y = scramble(y + c1 + 3u * c2);
        c1 = c2 = 0;
    }
};

class Colour8 : public TLutYDrDb {
public:
    using TLutYDrDb::TLutYDrDb;
    bool identity = false;

    void mapYDrDb(ushort& y, uchar& dr, uchar& db) override
    {
        if (identity)
            return;
        const unsigned at = y * 65536u + dr * 256u + db;
        y = scramble(at);
        dr = uchar(scramble(at + 1));
        db = uchar(scramble(at + 2));
    }
};

std::vector<int> tableOf(const ushort* table)
{
    return {table, table + 65536};
}

std::vector<int> chromaReference(Colour8& lut, int luma)
{
    return sampledChromaTable(
        [&](ushort y, uchar dr, uchar db) {
            lut.mapYDrDb(y, dr, db);
            return std::array<uchar, 2>{dr, db};
        },
        luma);
}

/// Luma with many pixels on the edges of bands.
cv::Mat bandLumaPlane(cv::Size size)
{
    cv::Mat y = randomPlane(size, CV_16UC1, 0, 65536, 4);
    for (int r = 0; r < y.rows; ++r)
        for (int x = 0; x < y.cols; ++x)
            if ((x + r) % 3 == 0)
                y.at<ushort>(r, x) &= 0xf800;
    return y;
}

} // namespace

TEST(TLutY16U, SamplesTheMappingAndStretchesTheSamples)
{
    Luma16 lut;
    const std::vector<int> expected = sampledLumaTable([](ushort y) { return scramble(y + 32767u + 3u * 32767u); });
    everyWay([&] {
        std::fill_n(lut.m_lutY_p, 65536, ushort(0));
        lut.computeLUT16U(false);
        EXPECT_EQ(lut.m_lutY_p[40000], 0);
        lut.computeLUT16U(true);
        ASSERT_EQ(tableOf(lut.m_lutY_p), expected);
    });
    lut.identity = true;
    lut.computeLUT16U(true);
    for (int x = 0; x < 65536; ++x)
        ASSERT_EQ(lut.m_lutY_p[x], std::min(std::max(x - 7, 0), 65520)) << x;
}

TEST(TLutY16U, TheStretchIsThatOfTheResizePrimitive)
{
    Luma16 lut;
    lut.computeLUT16U(true);
    std::vector<ushort> samples, table(65536);
    for (int i = 0; i < 4096; ++i)
        samples.push_back(scramble(i * 16u + 32767u * 4u));
    const IppiRect from{0, 0, 4096, 1}, to{0, 0, 65536, 1};
    int bytes;
    ippiResizeGetBufSize(from, to, 1, 2, &bytes);
    std::vector<uchar> buffer(bytes);
    ippiResizeSqrPixel_16u_C1R(samples.data(), {4096, 1}, 8192, from, table.data(), 131072, to, 16.0, 1.0, 0, 0, 2,
                               buffer.data());
    EXPECT_EQ(tableOf(lut.m_lutY_p), tableOf(table.data()));
}

TEST(TLutY16U, ProcRecomputesAndAppliesInPlace)
{
    Luma16 lut;
    const std::vector<int> table = sampledLumaTable([](ushort y) { return scramble(y + 32767u * 4u); });
    for (const cv::Size size : oddSizes()) {
        SCOPED_TRACE(testing::Message() << size);
        const cv::Mat in = randomPlane(size, CV_16UC1, 0, 65536);
        const cv::Mat expected = lookedUp<ushort, ushort>(in, table.data());
        everyWay([&] {
            cv::Mat inOut = in.clone(), out;
            const uchar* data = inOut.data;
            EXPECT_TRUE(lut.proc(inOut));
            EXPECT_EQ(inOut.data, data);
            EXPECT_TRUE(samePixels<ushort>(expected, inOut));
            lut.applyYLUT(in, out);
            EXPECT_TRUE(samePixels<ushort>(expected, out));
        });
    }
}

TEST(TLutY16U, FailuresSayWhatTheHostExpects)
{
    Luma16 lut;
    cv::Mat bytes(2, 2, CV_8UC1), luma(2, 2, CV_16UC1), out;
    EXPECT_THROWS_TEXT(lut.proc(bytes), "ERROR - TLutYDrDb::proc - inOutY16U.type()!=CV_16UC1");
    EXPECT_THROWS_TEXT(lut.applyYLUT(bytes, out),
                       "ERROR -  TLutYDrDb::applyYLUT(const Mat &inY, Mat &outY) - inY.type() != CV_16UC1");
    ippiFree(lut.m_lutY_p);
    lut.m_lutY_p = nullptr;
    lut.computeLUT16U(true);
    EXPECT_EQ(lut.m_lutY_p, nullptr);
    EXPECT_THROWS_TEXT(lut.applyYLUT(bytes, out), "ERROR - TLutYDrDb::applyYLUT - !m_lutY_p");
    EXPECT_THROWS_TEXT(lut.proc(luma), "ERROR - TLutYDrDb::applyYLUT - !m_lutY_p");
    EXPECT_TRUE(out.empty());
    lut.setupYLUT();
    ASSERT_NE(lut.m_lutY_p, nullptr);
    const ushort* kept = lut.m_lutY_p;
    lut.setupYLUT();
    EXPECT_EQ(lut.m_lutY_p, kept);
    EXPECT_TRUE(lut.proc(luma));
}

TEST(TLutYDrDb, FillsLumaAndEveryBandOfChroma)
{
    for (const int log2NC : {0, 1, 3}) {
        SCOPED_TRACE(log2NC);
        Colour8 lut(log2NC);
        const int count = 1 << log2NC;
        const std::vector<int> luma = sampledLumaTable([](ushort y) { return scramble(y * 65536u + 128u * 257u); });
        std::vector<std::vector<int>> chroma;
        for (int j = 0; j < count; ++j)
            chroma.push_back(chromaReference(lut, bandLuma(j, count)));
        everyWay([&] {
            std::fill_n(lut.m_lutY_p, 65536, ushort(0));
            for (int j = 0; j < count; ++j)
                std::fill_n(lut.m_lutC_p[j], 65536, ushort(0));
            lut.computeLUT();
            ASSERT_EQ(tableOf(lut.m_lutY_p), luma);
            for (int j = 0; j < count; ++j)
                ASSERT_EQ(tableOf(lut.m_lutC_p[j]), chroma[j]) << j;
        });
    }
}

TEST(TLutYDrDb, TheIdentityIsOffByOneOnlyNearTheEnd)
{
    Colour8 lut(0);
    lut.identity = true;
    lut.computeLUT();
    for (int dr = 0; dr < 256; ++dr)
        for (int db = 0; db < 256; ++db)
            ASSERT_EQ(lut.m_lutC_p[0][dr * 256 + db], std::min(dr, 254) * 256 + std::min(db, 254));
}

TEST(TLutYDrDb, CountsItsTablesAndReleasesWhatItDrops)
{
    const auto allocated = [](const TLutYDrDb& lut) {
        int n = 0;
        for (const ushort* table : lut.m_lutC_p)
            n += table != nullptr;
        return n;
    };
    for (const int log2NC : {-7, -1, 0, 2, 5, 9}) {
        const Colour8 lut(log2NC);
        EXPECT_EQ(lut.m_log2NC, std::min(log2NC, 5));
        EXPECT_EQ(allocated(lut), log2NC < 0 ? 0 : 1 << std::min(log2NC, 5));
    }
    Colour8 lut(3);
    const ushort* first = lut.m_lutC_p[0];
    for (const int log2NC : {1, 4, -1, 5, 2}) {
        EXPECT_EQ(lut.setupCLUT(log2NC), log2NC < 0 ? 0 : 1 << log2NC);
        EXPECT_EQ(allocated(lut), log2NC < 0 ? 0 : 1 << log2NC);
        if (log2NC == 4) {
            EXPECT_EQ(lut.m_lutC_p[0], first);
        }
    }
}

TEST(TLutYDrDb, AppliesTheTableOfEachPixelsBand)
{
    for (const int log2NC : {0, 1, 2, 5}) {
        Colour8 lut(log2NC);
        lut.computeLUT();
        for (const cv::Size size : oddSizes()) {
            SCOPED_TRACE(testing::Message() << log2NC << ", " << size);
            const cv::Mat y = bandLumaPlane(size), dr = randomPlane(size, CV_8UC1, 0, 256, 2),
                          db = randomPlane(size, CV_8UC1, 0, 256, 3);
            const auto expected = [&](int channel) {
                return planeOf<uchar>(size, [&](int r, int x) {
                    return banded(lut.m_lutC_p, log2NC, y.at<ushort>(r, x), dr.at<uchar>(r, x),
                                  db.at<uchar>(r, x))[channel];
                });
            };
            const cv::Mat expectedR = expected(0), expectedB = expected(1);
            everyWay([&] {
                cv::Mat outR, outB, inOutR = dr.clone(), inOutB = db.clone();
                lut.applyCLUT(y, dr, db, outR, outB);
                EXPECT_TRUE(samePixels<uchar>(expectedR, outR));
                EXPECT_TRUE(samePixels<uchar>(expectedB, outB));
                lut.applyCLUT(y, inOutR, inOutB, inOutR, inOutB);
                EXPECT_TRUE(samePixels<uchar>(expectedR, inOutR));
                EXPECT_TRUE(samePixels<uchar>(expectedB, inOutB));
                if (log2NC == 0) {
                    lut.applyCLUT(dr, db, outR, outB);
                    EXPECT_TRUE(samePixels<uchar>(expectedR, outR));
                    EXPECT_TRUE(samePixels<uchar>(expectedB, outB));
                }
            });
        }
    }
}

TEST(TLutYDrDb, TheEdgeOfABandExtrapolatesAndWraps)
{
    Colour8 lut(2);
    for (int j = 0; j < 4; ++j)
        std::fill_n(lut.m_lutC_p[j], 65536, ushort(10 * (j + 1) * 256 + 60 * j));
    const struct {
        ushort y;
        int dr, db;
    } cases[] = {
        {1, 10, 0},       {0, 0, 256 - 60}, {16383, 10, 0},   {16384, 2 * 20 - 30, 2 * 60 - 120},
        {16385, 20, 60},  {32768, 20, 60},  {49151, 30, 120}, {49152, 30, 120},
        {49153, 40, 180}, {65535, 40, 180},
    };
    for (const auto& c : cases) {
        const cv::Mat y(1, 1, CV_16UC1, cv::Scalar(c.y)), chroma(1, 1, CV_8UC1, cv::Scalar(99));
        cv::Mat dr, db;
        lut.applyCLUT(y, chroma, chroma, dr, db);
        EXPECT_EQ(int(dr.at<uchar>(0)), c.dr) << c.y;
        EXPECT_EQ(int(db.at<uchar>(0)), c.db) << c.y;
    }
}

TEST(TLutYDrDb, ProcComputesAndAppliesAllThreePlanes)
{
    const cv::Size size(203, 157);
    const cv::Mat y = bandLumaPlane(size), dr = randomPlane(size, CV_8UC1, 0, 256, 2),
                  db = randomPlane(size, CV_8UC1, 0, 256, 3);
    for (const int log2NC : {-1, 0, 2}) {
        SCOPED_TRACE(log2NC);
        Colour8 lut(log2NC), other(log2NC);
        other.computeLUT();
        cv::Mat expectedY, expectedR, expectedB, outY, outR, outB;
        other.applyYLUT(y, expectedY);
        if (log2NC >= 0)
            other.applyCLUT(y, dr, db, expectedR, expectedB);
        EXPECT_TRUE(lut.proc(y, dr, db, outY, outR, outB));
        EXPECT_TRUE(samePixels<ushort>(expectedY, outY));
        EXPECT_EQ(outR.empty(), log2NC < 0);
        EXPECT_TRUE(samePixels<uchar>(expectedR, outR));
        EXPECT_TRUE(samePixels<uchar>(expectedB, outB));
        cv::Mat inOut = y.clone();
        EXPECT_TRUE(lut.proc(inOut));
        EXPECT_TRUE(samePixels<ushort>(expectedY, inOut));
    }
}

TEST(TLutYDrDb, WithoutALumaTableOnlyASingleChromaTableIsFilled)
{
    for (const int log2NC : {0, 1}) {
        Colour8 lut(log2NC);
        ippiFree(lut.m_lutY_p);
        lut.m_lutY_p = nullptr;
        std::fill_n(lut.m_lutC_p[0], 65536, ushort(7));
        const std::vector<int> expected = log2NC == 0 ? chromaReference(lut, 32767) : std::vector<int>(65536, 7);
        lut.computeLUT();
        EXPECT_EQ(lut.m_lutY_p, nullptr);
        EXPECT_EQ(tableOf(lut.m_lutC_p[0]), expected);
    }
}

TEST(TLutYDrDb, FailuresSayWhatTheHostExpects)
{
    const char* types = "ERROR - TLutYDrDb::proc - inY16U.type()!=CV_16UC1 || inDr8U.type!=CV_8UC1 || "
                        "inDb8U.type()!=CV_8UC1";
    const char* sizes = "ERROR - TLutYDrDb::proc inY16U.size != inDr8U.size || inY16U.size!= inDb8U.size";
    const char* chroma = "ERROR -TLutYDrDb::applyCLUT: inDr.type() !=inDb_p.type() || inDr.type() != CV_8UC1";
    const char* none = "ERROR - TLutYDrDb::applyCLUT - m_NC<1 ";
    Colour8 lut(0), without(-1), bands(1);
    cv::Mat a, b, c;
    const cv::Mat y(2, 3, CV_16UC1), byte(2, 3, CV_8UC1), smaller(2, 2, CV_8UC1);
    EXPECT_THROWS_TEXT(lut.proc(byte, byte, byte, a, b, c), types);
    EXPECT_THROWS_TEXT(lut.proc(y, y, byte, a, b, c), types);
    EXPECT_THROWS_TEXT(lut.proc(y, byte, y, a, b, c), types);
    EXPECT_THROWS_TEXT(lut.proc(y, smaller, byte, a, b, c), sizes);
    EXPECT_THROWS_TEXT(lut.proc(y, byte, smaller, a, b, c), sizes);
    cv::Mat wrong = byte.clone();
    EXPECT_THROWS_TEXT(lut.proc(wrong), "ERROR - TLutYDrDb::proc - inOutY16U.type()!=CV_16UC1");
    EXPECT_THROWS_TEXT(lut.applyCLUT(y, y, a, b), chroma);
    EXPECT_THROWS_TEXT(lut.applyCLUT(y, byte, y, a, b), chroma);
    EXPECT_THROWS_TEXT(without.applyCLUT(byte, byte, a, b), none);
    EXPECT_THROWS_TEXT(without.applyCLUT(y, byte, byte, a, b), none);
    EXPECT_THROWS_TEXT(lut.applyYLUT(byte, a),
                       "ERROR -  TLutYDrDb::applyYLUT(const Mat &inY, Mat &outY) - inY.type() != CV_16UC1");
    EXPECT_THROW(lut.applyCLUT(byte, smaller, a, b), cv::Exception);
    EXPECT_THROW(bands.applyCLUT(y, byte, smaller, a, b), cv::Exception);
    EXPECT_THROW(bands.applyCLUT(byte, byte, byte, a, b), cv::Exception);
    EXPECT_TRUE(a.empty() && b.empty() && c.empty());
    bands.applyCLUT(y, smaller, byte, a, b); // the first chroma plane gives the size
    EXPECT_EQ(a.size(), smaller.size());
}

TEST(TLut2D, HoldsAsManyTablesAsAskedForAndSixteenAtTheMost)
{
    class Frame : public TLut2D {
    public:
        using TLut2D::TLut2D;
        void mapYDrDb(ushort&, ushort&, ushort&) override {}
    };
    for (const int n : {-2, 0, 3, 16, 40}) {
        Frame lut(n);
        EXPECT_EQ(lut.m_N, std::min(n, 16));
        for (int i = 0; i < 16; ++i)
            EXPECT_EQ(lut.m_lut_p[i] != nullptr, i < n) << n << " " << i;
        cv::Mat a, b;
        lut.computeLUT();
        lut.apply(cv::Mat(), a, b);
    }
}
