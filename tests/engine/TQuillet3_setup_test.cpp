// What set-up takes in, how it smooths chroma, and what a refusal leaves.
#include <pixmill/core/TProgress.h>
#include <pixmill/engine/TQuillet3.h>
#include <pixmill/filters/DomainTransform.h>
#include <pixmill/resample/BlockProcessor.h>
#include <pixmill/resample/resample.h>
#include <pixmill/rows/plane.h>
#include <support/everyway.h>
#include <support/planes.h>

#include <vector>

using namespace pixmill::test;
using pixmill::rows::halfSize;

namespace {

struct Picture {
    explicit Picture(cv::Size size)
        : Y(scenePlane(size, CV_16UC1, 0, 65536, 1)), Dr(scenePlane(halfSize(size), CV_16UC1, 20000, 46000, 2)),
          Db(scenePlane(halfSize(size), CV_16UC1, 26000, 40000, 3))
    {
        for (int i = 0; i < 3; ++i)
            detail[i] = randomPlane(size, CV_16UC1, 31000, 34000, 10 + i);
    }

    bool into(TQuillet3& engine, TProgress* progress = nullptr) const
    {
        return engine.setup(Y, detail[0], detail[1], detail[2], Dr, Db, progress);
    }

    cv::Mat Y, detail[3], Dr, Db;
};

/// Answers no at one report, and keeps what it was told.
struct Host {
    int refuseAt = -1;
    std::vector<int> reports;

    static bool callback(int thousandth, void* self)
    {
        auto* host = static_cast<Host*>(self);
        host->reports.push_back(thousandth);
        return thousandth != host->refuseAt;
    }
};

/// Chroma enlarged and smoothed by the classes in sequence, tile by tile.
void smoothedReference(const Picture& picture, cv::Mat& Dr, cv::Mat& Db)
{
    Dr.create(picture.Y.size(), CV_16UC1);
    Db.create(picture.Y.size(), CV_16UC1);
    upSize2X(picture.Dr, Dr, 4);
    upSize2X(picture.Db, Db, 4);
    const float sigmaS = std::min(32.0f, std::max(4.0f, float((Dr.rows + Dr.cols) * 0.00390625)));
    std::vector<cv::Mat> planes{Dr, Db}, block;
    BlockProcessor tiles;
    tiles.initialize(planes, planes, 1024, 1024, true, 32, 0, BlockProcessor::EDGE_TAPER_LINEAR);
    DomainTransform filter;
    int roi[4] = {};
    while (tiles.getBlockImage(roi, block)) {
        cv::Mat merged;
        cv::merge(block, merged);
        merged.convertTo(merged, CV_32FC2);
        filter.RecursiveFilter(merged, merged, sigmaS, 4259.71f);
        merged.convertTo(merged, CV_16UC2);
        cv::split(merged, block);
        tiles.writeBackBlock();
    }
}

} // namespace

TEST(TQuillet3Setup, SharesThePlanesAndSmoothsChromaTileByTile)
{
    everyWay([] {
        for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 9), cv::Size(33, 1), cv::Size(203, 157)}) {
            SCOPED_TRACE(testing::Message() << size);
            const Picture picture(size);
            TQuillet3 engine;
            ASSERT_TRUE(picture.into(engine));
            EXPECT_EQ(engine.m_Y.data, picture.Y.data);
            EXPECT_EQ(engine.m_detail[2].data, picture.detail[2].data);
            cv::Mat Dr, Db;
            smoothedReference(picture, Dr, Db);
            ASSERT_TRUE(samePixels<ushort>(Dr, engine.m_fullDr));
            ASSERT_TRUE(samePixels<ushort>(Db, engine.m_fullDb));
            EXPECT_TRUE(engine.m_dirty && engine.m_lightDirty);
            EXPECT_TRUE(engine.m_levelDirty[0] && engine.m_levelDirty[1] && engine.m_levelDirty[2]);
        }
    });
}

TEST(TQuillet3Setup, SeveralTilesMeetAsTheBlockProcessorStitchesThem)
{
    const Picture picture({1500, 1100});
    TQuillet3 engine;
    ASSERT_TRUE(picture.into(engine));
    cv::Mat Dr, Db;
    smoothedReference(picture, Dr, Db);
    EXPECT_TRUE(samePixels<ushort>(Dr, engine.m_fullDr));
    EXPECT_TRUE(samePixels<ushort>(Db, engine.m_fullDb));
}

TEST(TQuillet3Setup, TheSmoothingReductionFollowsTheLongerSide)
{
    for (const auto& [longest, expected] : {std::pair(3100, 2), {3101, 3}, {6500, 3}, {6501, 4}}) {
        TQuillet3 engine;
        Picture({longest, 2}).into(engine);
        EXPECT_EQ(engine.m_smoothScale, expected) << longest;
        Picture({2, longest}).into(engine);
        EXPECT_EQ(engine.m_smoothScale, expected) << longest;
    }
}

TEST(TQuillet3Setup, ReportsThreeTimesAndStopsWhereItIsRefused)
{
    const Picture picture({120, 90});
    const cv::Mat before(90, 120, CV_16UC1, cv::Scalar(7));
    for (const int refuseAt : {200, 400, 1000}) {
        SCOPED_TRACE(refuseAt);
        Host host;
        host.refuseAt = refuseAt;
        TProgress progress(Host::callback, &host);
        TQuillet3 engine;
        engine.m_fullDr = before.clone();
        engine.m_fullDb = before.clone();
        EXPECT_FALSE(picture.into(engine, &progress));
        EXPECT_EQ(host.reports.back(), refuseAt);
        EXPECT_EQ(engine.m_Y.data, picture.Y.data);

        const bool finished = refuseAt == 1000;
        EXPECT_EQ(engine.m_dirty, finished);
        EXPECT_EQ(engine.m_lightDirty, finished);
        EXPECT_EQ(engine.m_levelDirty[1], finished);
        cv::Mat enlarged(before.size(), CV_16UC1);
        upSize2X(picture.Dr, enlarged, 4);
        if (!finished) {
            EXPECT_TRUE(samePixels<ushort>(enlarged, engine.m_fullDr)) << "not yet smoothed";
        }
        if (refuseAt == 200) {
            EXPECT_TRUE(samePixels<ushort>(before, engine.m_fullDb));
        }
    }
    Host host;
    TProgress progress(Host::callback, &host);
    TQuillet3 engine;
    EXPECT_TRUE(picture.into(engine, &progress));
    EXPECT_EQ(host.reports, (std::vector<int>{200, 400, 1000}));
}

TEST(TQuillet3Setup, LeavesTheHostsOpenMpSettingsAsTheyWere)
{
    const PolicyGuard guard;
    const int levels = omp_get_max_active_levels();
    omp_set_num_threads(1);
    omp_set_dynamic(1);
    TQuillet3 engine;
    testing::internal::CaptureStdout();
    Picture({40, 30}).into(engine);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "system has " + std::to_string(omp_get_num_procs()) + " cores\n");
    EXPECT_EQ(omp_get_max_threads(), 1);
    EXPECT_EQ(omp_get_max_active_levels(), levels);
    EXPECT_TRUE(omp_get_dynamic());
    omp_set_dynamic(0);
}

TEST(TQuillet3Setup, TheAllocationFormKeepsPlanesThatFitAndMarksTheEngineDirty)
{
    TQuillet3 engine;
    const cv::Mat like(30, 40, CV_16UC1);
    EXPECT_TRUE(engine.setup(like, nullptr));
    EXPECT_TRUE(engine.m_dirty);
    EXPECT_FALSE(engine.m_lightDirty);
    const uchar* const first = engine.m_detail[1].data;
    engine.m_dirty = false;
    EXPECT_TRUE(engine.setup(like, nullptr));
    EXPECT_EQ(engine.m_detail[1].data, first);
    EXPECT_TRUE(engine.m_dirty);
    EXPECT_EQ(engine.m_Y.size(), like.size());
}

TEST(TQuillet3Setup, ASecondPictureReusesTheBuffersThatFit)
{
    TQuillet3 engine;
    Picture({64, 48}).into(engine);
    const uchar* const Dr = engine.m_fullDr.data;
    Picture({64, 48}).into(engine);
    EXPECT_EQ(engine.m_fullDr.data, Dr);
}
