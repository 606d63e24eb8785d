// Every filter of the toolbox in tiles, against itself on the whole picture.
#include <pixmill/develop/Error.h>
#include <pixmill/develop/Tiles.h>
#include <pixmill/filters/TGuidedFilter.h>
#include <support/planes.h>
#include <tool/filters.h>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

using namespace pixmill;
using namespace pixmill::test;

namespace {

cv::Mat picture(cv::Size size)
{
    std::vector<cv::Mat> planes;
    for (const unsigned seed : {1, 2, 3})
        planes.push_back(scenePlane(size, CV_16UC1, 0, 65536, seed));
    cv::Mat out;
    cv::merge(planes, out);
    return out;
}

/// A filter with its parameters, as a tile takes it.
struct TileRun {
    TileRun(const std::string& name, const std::vector<std::string>& parameters, cv::Size picture)
        : filter(name), tiling(tilingOf(name, valuesOf(filter.entry, parameters), picture))
    {
    }

    cv::Mat operator()(const cv::Mat& region) const
    {
        Planes planes(region);
        filter.run(planes, tiling.values);
        return planes.packed();
    }

    Filter filter;
    Tiling tiling;
};

/// How far the tiles are from the whole, in steps of 16 bits.
double apart(const TileRun& run, const cv::Mat& in, int side)
{
    cv::Mat tiled;
    mapTiles(in, tiled, run.tiling, side, run);
    return cv::norm(run(in), tiled, cv::NORM_INF);
}

struct TileCase {
    const char* filter;
    std::vector<std::string> parameters;
};

void PrintTo(const TileCase& c, std::ostream* out)
{
    *out << c.filter;
}

// clang-format off
const TileCase kSameCases[] = {
    {"guided",           {}},
    {"guided",           {"radius=1", "eps=0.000001"}},
    {"guided-by-colour", {"radius=2"}},
    {"guided-by-colour", {"radius=5", "eps=0.001"}},
    {"gradient-guide",   {}},
    {"gradient-guide",   {"blur=7", "radius=9"}},
    {"local-laplacian",  {}},
    {"local-laplacian",  {"levels=1"}},
    {"local-laplacian",  {"levels=3", "references=10"}},
    {"local-laplacian",  {"levels=4", "references=24", "sigma=0.3"}},
    {"box",              {}},
    {"box",              {"radius=53", "passes=1"}},
    {"sharpen",          {"times=5"}},
    {"light",            {"contrast=0.4", "shadows=0.2"}},
    {"colour",           {"warmth=0.3"}},
    {"table",            {}},
    {"chroma",           {}},
    {"chroma",           {"guided=0"}},
    {"compact",          {}},
};

const TileCase kNearCases[] = {
    {"recursive",     {"sigmaS=6"}},
    {"recursive",     {"sigmaS=6", "sigmaR=10"}},
    {"gaussian",      {}},
    {"gaussian",      {"sigma=8", "steps=1"}},
    {"gaussian",      {"sigma=0.5", "steps=8"}},
    {"finest-detail", {"sigmaS=2"}},
};
// clang-format on

class SameTiles : public testing::TestWithParam<TileCase> {};

TEST_P(SameTiles, HaveTheBitsOfTheWholePicture)
{
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(7, 1), cv::Size(2, 19), cv::Size(61, 47), cv::Size(301, 222)})
        for (const int side : {size.area() < 100 ? 1 : 24, 70, 1000}) {
            SCOPED_TRACE(testing::Message() << size << " in tiles of " << side);
            const cv::Mat in = picture(size);
            const TileRun run(GetParam().filter, GetParam().parameters, size);
            ASSERT_EQ(run.tiling.bits, TileBits::Same);
            EXPECT_EQ(apart(run, in, side), 0);
        }
}

INSTANTIATE_TEST_SUITE_P(Table, SameTiles, testing::ValuesIn(kSameCases));

class NearTiles : public testing::TestWithParam<TileCase> {};

TEST_P(NearTiles, AreAtMostOneStepFromTheWholePicture)
{
    const cv::Mat in = picture({401, 322});
    const TileRun run(GetParam().filter, GetParam().parameters, in.size());
    ASSERT_EQ(run.tiling.bits, TileBits::Near);
    EXPECT_LE(apart(run, in, 80), 1);
}

INSTANTIATE_TEST_SUITE_P(Table, NearTiles, testing::ValuesIn(kNearCases));

/// Whatever the margin is for: without it, or off the grid, tiles show.
TEST(Tiling, EveryMarginAndEveryGridIsNeeded)
{
    const cv::Mat in = picture({301, 222});
    for (const TileCase& c :
         {TileCase{"guided", {"radius=3"}}, TileCase{"guided-by-colour", {"radius=3"}}, TileCase{"gradient-guide", {}},
          TileCase{"local-laplacian", {"levels=4"}}, TileCase{"box", {}}, TileCase{"sharpen", {"times=5"}},
          TileCase{"chroma", {}}, TileCase{"gaussian", {}}, TileCase{"recursive", {"sigmaS=6"}}}) {
        TileRun run(c.filter, c.parameters, in.size());
        run.tiling.margin /= 4;
        EXPECT_GT(apart(run, in, 70), 1) << c.filter;
    }
    TileRun laplacian("local-laplacian", {"levels=4"}, in.size());
    laplacian.tiling.grid = {2, 2};
    laplacian.tiling.margin += cv::Size(6, 6);
    EXPECT_GT(apart(laplacian, in, 70), 1);
}

/// Noise among pairs of large numbers, one below the other, that cancel: what is left of it tells the order of a sum.
cv::Mat cancellingPairs(cv::Size size)
{
    cv::Mat out = randomPlane(size, CV_32FC3, 0, 1);
    for (int y = 0; y + 1 < out.rows; y += 4)
        for (int x = y % 5; x < out.cols; x += 5) {
            cv::Vec3f &upper = out.at<cv::Vec3f>(y, x), &lower = out.at<cv::Vec3f>(y + 1, x);
            lower = upper;
            upper[1] = 0x1p50f;
            lower[1] = -0x1p50f;
        }
    return out;
}

TEST(Tiling, TheGuidedFiltersBlocksKeepTheOrderOfItsSums)
{
    const cv::Mat in = cancellingPairs({203, 190});
    const auto run = [](size_t guides) {
        return [guides](const cv::Mat& region) {
            std::vector<cv::Mat> planes;
            cv::split(region, planes);
            const cv::Mat source = planes[1].clone();
            planes[1] = planes[2].mul(planes[0]); // the pairs lie in the source alone
            planes.resize(guides);
            TGuidedFilter filter;
            cv::Mat out;
            filter.setup(planes, source, 5, 0.001f);
            guides == 1 ? filter.gFc1_apply(planes[0], out) : filter.gFc3_apply(planes, out);
            return out;
        };
    };
    const std::map<std::string, double> values = {{"radius", 5}, {"eps", 0.001}};
    for (const auto& [name, guides] : {std::make_pair("guided", 1), std::make_pair("guided-by-colour", 3)}) {
        Tiling tiling = tilingOf(name, values, in.size());
        cv::Mat tiled;
        mapTiles(in, tiled, tiling, 40, run(size_t(guides)));
        EXPECT_TRUE(samePixels(run(size_t(guides))(in), tiled)) << name;
        tiling.grid = {2, 2};
        mapTiles(in, tiled, tiling, 40, run(size_t(guides)));
        EXPECT_FALSE(samePixels(run(size_t(guides))(in), tiled)) << name;
    }
}

TEST(Tiling, KnowsEveryFilterAndWhichNeedTheWholePicture)
{
    std::set<std::string> wholes;
    for (const FilterEntry& filter : filterTable())
        if (tilingOf(filter.name, {}, {4000, 3000}).bits == TileBits::Whole)
            wholes.insert(filter.name);
    EXPECT_EQ(wholes, (std::set<std::string>{"bilateral", "convolution", "glow", "interpolated", "least-squares"}));
    EXPECT_EQ(TileRun("box", {"radius=54"}, {400, 300}).tiling.bits, TileBits::Whole);
    EXPECT_EQ(TileRun("guided-by-colour", {"eps=0.0001"}, {400, 300}).tiling.bits, TileBits::Whole);
    EXPECT_THROW(tilingOf("none", {}, {1, 1}), Error);
    EXPECT_THROW(tilingOf("guided", {{"raduis", 3}}, {1, 1}), Error);
    EXPECT_THROW(tilingOf("guided", {{"radius", 0}}, {1, 1}), Error);
    EXPECT_EQ(tilingOf("guided", {{"eps", 0.5}}, {1, 1}).values.at("radius"), 8);
}

TEST(Tiling, TellsTheLocalLaplacianTheDepthOfTheWholePicture)
{
    const Tiling four = TileRun("local-laplacian", {"levels=4"}, {9000, 9000}).tiling;
    EXPECT_EQ(four.grid, cv::Size(8, 8));
    EXPECT_EQ(four.margin, cv::Size(32, 32));
    EXPECT_EQ(TileRun("local-laplacian", {}, {9000, 500}).tiling.values.at("levels"), 10);
}

/// What streamTiles asked for and gave, with the picture it made.
struct Streamed {
    cv::Mat out;
    std::vector<int> asked;
    int reports = 0;
    bool done = false;
};

Streamed streamed(const cv::Mat& in, const Tiling& tiling, int side, const TileFilter& filter, int refuse = -1)
{
    Streamed result;
    int next = 0;
    RowStream stream;
    stream.size = in.size();
    stream.type = in.type();
    stream.source = [&](cv::Mat& rows) {
        in.rowRange(next, next + rows.rows).copyTo(rows);
        next += rows.rows;
        result.asked.push_back(rows.rows);
    };
    stream.sink = [&](const cv::Mat& rows) { result.out.push_back(rows); };
    stream.progress = [&](float) { return result.reports++ != refuse; };
    result.done = streamTiles(stream, tiling, side, filter);
    return result;
}

TEST(StreamTiles, GivesTheRowsOfTheWholePictureAndFetchesEachOnce)
{
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(50, 9), cv::Size(131, 407)}) {
        SCOPED_TRACE(testing::Message() << size);
        const cv::Mat in = picture(size);
        for (const TileCase& c : {TileCase{"guided", {}}, TileCase{"local-laplacian", {"levels=5"}}}) {
            const TileRun run(c.filter, c.parameters, size);
            const Streamed result = streamed(in, run.tiling, 32, run);
            EXPECT_TRUE(result.done);
            EXPECT_TRUE(samePixels(run(in), result.out)) << c.filter;
            int rows = 0;
            for (const int asked : result.asked)
                rows += asked;
            EXPECT_EQ(rows, size.height);
            EXPECT_LE(*std::max_element(result.asked.begin(), result.asked.end()),
                      std::max(34, 32) + run.tiling.margin.height); // never more than one row of tiles needs
        }
    }
}

TEST(StreamTiles, StopsWhereProgressSaysSo)
{
    const cv::Mat in = picture({90, 90});
    const TileRun run("sharpen", {}, in.size());
    const Streamed result = streamed(in, run.tiling, 30, run, 4);
    EXPECT_FALSE(result.done);
    EXPECT_EQ(result.reports, 5);
    EXPECT_EQ(result.out.rows, 30);
}

TEST(MapTiles, RefusesWhatCannotBePutTogether)
{
    const cv::Mat in = picture({90, 60});
    const Tiling plain;
    cv::Mat out;
    EXPECT_THROW(mapTiles(in, out, plain, 30, [](const cv::Mat& r) { return r.rowRange(1, r.rows).clone(); }), Error);
    EXPECT_THROW(mapTiles(in, out, plain, 30, [](const cv::Mat&) { return cv::Mat(); }), Error);
    int calls = 0;
    const auto moody = [&](const cv::Mat& r) { return calls++ ? cv::Mat(r.size(), CV_8UC1) : r.clone(); };
    EXPECT_THROW(mapTiles(in, out, plain, 30, moody), Error);
    EXPECT_THROW(mapTiles(in, out, plain, 0, [](const cv::Mat& r) { return r; }), Error);
    EXPECT_TRUE(out.empty());
    EXPECT_THROW(TileGrid(in.size(), TileRun("glow", {}, in.size()).tiling, 30), Error);
}

} // namespace
