// proc: the same pixels as its steps one after the other, and no more work than a change asks for.
#include <pixmill/engine/TQuillet3.h>
#include <reference/render.h>
#include <support/everyway.h>
#include <support/planes.h>

#include <vector>

using namespace pixmill::test;

namespace {

void load(TQuillet3& engine, cv::Size size)
{
    const cv::Size half((size.width + 1) / 2, (size.height + 1) / 2);
    engine.setup(scenePlane(size, CV_16UC1, 0, 65536, 1), randomPlane(size, CV_16UC1, 30000, 35600, 2),
                 randomPlane(size, CV_16UC1, 24000, 41000, 3), randomPlane(size, CV_16UC1, 16000, 50000, 4),
                 scenePlane(half, CV_16UC1, 20000, 46000, 5), scenePlane(half, CV_16UC1, 26000, 40000, 6), nullptr);
}

void setEverything(TQuillet3& engine)
{
    const float light[6] = {0.2f, 0.3f, -0.4f, 0.5f, 0.1f, -0.2f}, color[3] = {0.2f, -0.1f, 0.05f};
    const float k[3][3] = {{0.5f, -0.3f, 0.2f}, {-0.4f, 0.6f, 0.0f}, {0.3f, 0.0f, -0.7f}};
    const float t[3][3] = {{-0.2f, 0.1f, 0.0f}, {0.05f, 0.3f, -0.4f}, {0.0f, -0.6f, 0.2f}};
    std::copy_n(light, 6, engine.m_lightParams);
    std::copy_n(color, 3, engine.m_colorWeights);
    std::copy_n(&k[0][0], 9, &engine.m_detailK[0][0]);
    std::copy_n(&t[0][0], 9, &engine.m_detailT[0][0]);
    engine.m_lightDirty = true;
}

/// The view from the engine's planes and controls alone.
cv::Mat renderReference(const TQuillet3& engine, const cv::Rect& roi, int scale, const cv::Mat& extra)
{
    const pixmill::reference::RenderPlanes planes = {engine.m_Y,
                                                     engine.m_fullDr,
                                                     engine.m_fullDb,
                                                     {engine.m_detail[0], engine.m_detail[1], engine.m_detail[2]},
                                                     engine.m_smoothScale + 1};
    pixmill::reference::RenderControls controls;
    std::copy_n(engine.m_lightParams, 6, controls.light);
    std::copy_n(engine.m_colorWeights, 3, controls.colour);
    std::copy_n(&engine.m_detailK[0][0], 9, &controls.k[0][0]);
    std::copy_n(&engine.m_detailT[0][0], 9, &controls.t[0][0]);
    return pixmill::reference::rendered(planes, controls, roi, scale, extra);
}

} // namespace

TEST(TQuillet3Render, MatchesItsStepsAtEveryReductionEdgeAndCorner)
{
    TQuillet3 engine;
    const cv::Size size(203, 157);
    load(engine, size);
    setEverything(engine);
    for (const int scale : {1, 2, 3, 4, 5})
        for (const cv::Rect roi : {cv::Rect(0, 0, 203 / scale, 157 / scale), cv::Rect(31, 17, 20, 10),
                                   cv::Rect(202, 156, 1, 1), cv::Rect(0, 0, 300, 200), cv::Rect(150, 100, 40, 40)}) {
            SCOPED_TRACE(testing::Message() << "scale " << scale << " region " << roi);
            const cv::Mat expected = renderReference(engine, roi, scale, cv::Mat());
            everyWay([&] {
                engine.m_dirty = true;
                ASSERT_TRUE(engine.proc(roi, scale, cv::Mat()));
                ASSERT_TRUE(samePixels<ushort>(expected, engine.m_result));
            });
        }
}

TEST(TQuillet3Render, TinyPicturesRenderToo)
{
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 9), cv::Size(9, 1), cv::Size(5, 3)})
        for (const int scale : {1, 2, 3, 4}) {
            SCOPED_TRACE(testing::Message() << size << " scale " << scale);
            TQuillet3 engine;
            load(engine, size);
            setEverything(engine);
            const cv::Rect roi(0, 0, std::max(1, size.width / scale), std::max(1, size.height / scale));
            engine.proc(roi, scale, cv::Mat());
            EXPECT_TRUE(samePixels<ushort>(renderReference(engine, roi, scale, cv::Mat()), engine.m_result));
        }
}

TEST(TQuillet3Render, WithEveryControlAtRestDetailIsAddedAsItIs)
{
    TQuillet3 engine;
    load(engine, {80, 60});
    engine.proc({10, 5, 40, 30}, 1, cv::Mat());
    EXPECT_TRUE(samePixels<ushort>(renderReference(engine, {10, 5, 40, 30}, 1, cv::Mat()), engine.m_result));
    EXPECT_TRUE(samePixels<ushort>(engine.m_detail[1](cv::Rect(10, 5, 40, 30)), engine.m_roiDetail[1]));
}

TEST(TQuillet3Render, AChangeRepeatsOnlyWhatItTouches)
{
    TQuillet3 engine;
    load(engine, {80, 60});
    setEverything(engine);
    const cv::Rect roi(10, 5, 40, 30);
    engine.proc(roi, 1, cv::Mat());
    EXPECT_FALSE(engine.m_dirty || engine.m_lightDirty || engine.m_levelDirty[0]);

    // A mark in a kept plane survives exactly where nothing is rendered again.
    cv::Mat* const planes[] = {&engine.m_roiY, &engine.m_roiDetail[0], &engine.m_roiDetail[1], &engine.m_roiDetail[2],
                               &engine.m_result};
    const auto mark = [&] {
        for (cv::Mat* plane : planes)
            plane->at<ushort>(3, 3) = 12345;
    };
    const auto kept = [&] {
        std::vector<bool> marks;
        for (const cv::Mat* plane : planes)
            marks.push_back(plane->at<ushort>(3, 3) == 12345);
        return marks;
    };
    using Marks = std::vector<bool>;

    mark();
    EXPECT_TRUE(engine.proc(roi, 1, cv::Mat()));
    EXPECT_EQ(kept(), (Marks{true, true, true, true, true})) << "nothing changed";

    engine.m_detailK[1][0] = 0.9f;
    mark();
    engine.proc(roi, 1, cv::Mat());
    EXPECT_EQ(kept(), (Marks{true, true, true, true, true})) << "a control without its flag waits";

    for (int level = 0; level < 3; ++level) {
        engine.m_levelDirty[level] = true;
        mark();
        engine.proc(roi, 1, cv::Mat());
        Marks expected{true, true, true, true, false};
        expected[level + 1] = false;
        EXPECT_EQ(kept(), expected) << "level " << level;
    }

    engine.m_lightDirty = true;
    mark();
    engine.proc(roi, 1, cv::Mat());
    EXPECT_EQ(kept(), (Marks{false, false, false, false, false})) << "light";
    EXPECT_TRUE(samePixels<ushort>(renderReference(engine, roi, 1, cv::Mat()), engine.m_result));

    mark();
    engine.proc({11, 5, 40, 30}, 1, cv::Mat());
    EXPECT_EQ(kept(), (Marks{false, false, false, false, false})) << "region";
}

TEST(TQuillet3Render, EachControlThatMovesIsFollowed)
{
    TQuillet3 engine;
    load(engine, {40, 30});
    setEverything(engine);
    const cv::Rect roi(0, 0, 40, 30);
    engine.proc(roi, 1, cv::Mat());
    for (int zone = 0; zone < 3; ++zone)
        for (float* control : {&engine.m_detailK[1][zone], &engine.m_detailT[1][zone]}) {
            *control = 0.25f - *control;
            engine.m_levelDirty[1] = true;
            engine.proc(roi, 1, cv::Mat());
            EXPECT_TRUE(samePixels<ushort>(renderReference(engine, roi, 1, cv::Mat()), engine.m_result)) << zone;
        }
}

TEST(TQuillet3Render, AnExtraOfTheRegionsSizeIsAddedOnEveryCall)
{
    TQuillet3 engine;
    load(engine, {80, 60});
    setEverything(engine);
    const cv::Rect roi(0, 0, 40, 30);
    cv::Mat extra;
    for (unsigned call = 0; call < 2; ++call) {
        extra = randomPlane({40, 30}, CV_16UC1, 0, 65536, 9 + call);
        engine.proc(roi, 1, extra);
        EXPECT_TRUE(samePixels<ushort>(renderReference(engine, roi, 1, extra), engine.m_result)) << call;
    }
    const cv::Rect smaller(0, 0, 20, 30); // the extra fits the new region alone
    const cv::Mat narrow = extra(cv::Rect(0, 0, 20, 30));
    engine.proc(smaller, 1, narrow);
    EXPECT_TRUE(samePixels<ushort>(renderReference(engine, smaller, 1, narrow), engine.m_result));

    engine.proc(smaller, 1, extra); // another size is none, and nothing else changed
    EXPECT_TRUE(samePixels<ushort>(renderReference(engine, smaller, 1, narrow), engine.m_result));
}

TEST(TQuillet3Render, AfterAnExceptionTheNextCallRendersAgain)
{
    TQuillet3 engine;
    EXPECT_THROW(engine.proc({0, 0, 4, 4}, 1, cv::Mat()), cv::Exception) << "no picture yet";
    load(engine, {80, 60});
    setEverything(engine);
    EXPECT_THROW(engine.proc({100, 0, 4, 4}, 1, cv::Mat()), cv::Exception) << "beyond the picture";
    EXPECT_THROW(engine.proc({-1, 0, 4, 4}, 1, cv::Mat()), cv::Exception) << "before the picture";
    EXPECT_TRUE(engine.m_dirty);
    const cv::Rect roi(3, 4, 20, 10);
    EXPECT_THROW(engine.proc(roi, 1, cv::Mat(10, 20, CV_32FC1, cv::Scalar(0))), cv::Exception)
        << "extra of another type";
    EXPECT_TRUE(engine.m_dirty);
    engine.proc(roi, 1, cv::Mat());
    EXPECT_TRUE(samePixels<ushort>(renderReference(engine, roi, 1, cv::Mat()), engine.m_result));
}

TEST(TQuillet3Render, ASecondRenderOfARegionKeepsItsBuffers)
{
    TQuillet3 engine;
    load(engine, {800, 600});
    setEverything(engine);
    for (const int scale : {1, 2, 4}) {
        const cv::Rect roi(0, 0, 800 / scale, 600 / scale);
        engine.proc(roi, scale, cv::Mat());
        const uchar* const planes[] = {engine.m_result.data, engine.m_roiY.data, engine.m_roiDetail[2].data};
        engine.m_lightDirty = true;
        engine.proc(roi, scale, cv::Mat());
        EXPECT_EQ(engine.m_result.data, planes[0]) << scale;
        EXPECT_EQ(engine.m_roiY.data, planes[1]) << scale;
        EXPECT_EQ(engine.m_roiDetail[2].data, planes[2]) << scale;
    }
}

TEST(TQuillet3Render, WhatAnotherHoldsOfARenderStays)
{
    TQuillet3 engine;
    load(engine, {80, 60});
    setEverything(engine);
    const cv::Rect roi(0, 0, 80, 60);
    engine.proc(roi, 1, cv::Mat());

    TQuillet3 other = engine;
    const cv::Mat luma = engine.m_roiY, level = engine.m_roiDetail[1];
    const cv::Mat lumaBefore = luma.clone(), levelBefore = level.clone();
    other.m_detailK[1][0] = 0.9f;
    other.m_lightParams[0] = -0.5f;
    other.m_lightDirty = true;
    other.proc(roi, 1, cv::Mat());
    EXPECT_TRUE(samePixels<ushort>(renderReference(other, roi, 1, cv::Mat()), other.m_result));
    EXPECT_TRUE(samePixels<ushort>(lumaBefore, luma));
    EXPECT_TRUE(samePixels<ushort>(levelBefore, level));

    engine.m_lightDirty = true; // by its own controls' tables, not those of the copy
    engine.proc(roi, 1, cv::Mat());
    EXPECT_TRUE(samePixels<ushort>(renderReference(engine, roi, 1, cv::Mat()), engine.m_result));
}
