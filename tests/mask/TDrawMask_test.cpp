#include <support/throws.h>

#include <mask/painter.h>

#include <stdexcept>

using namespace pixmill::test;

namespace {

const char* const kResetFailed = "Error - TFDrawMask::resetMask - ippStsError";
const char* const kInvertFailed = "Error - TFDrawMask::invertMask - ippStsError";

} // namespace

TEST(TDrawMask, RecordsCommandsWithHalvedPlacesAndRadii)
{
    TDrawMask m;
    m.setValue(9);
    m.invert();
    m.drawStart(3, 4.5f);
    m.drawADot({-5, 7}, 20, 9);
    m.drawADot({101, -1}, 21, 41, 1, 0.25f, 0.5f);
    m.drawEnd();
    ASSERT_EQ(m.m_cmdStack.size(), 6u);
    for (const int i : {0, 1, 2, 3, 5})
        EXPECT_EQ(m.m_cmdStack[i]->m_type, i < 4 ? i : 4);
    EXPECT_EQ(m.m_cmdStack[1]->m_param_p, nullptr);
    EXPECT_EQ(m.m_cmdStack[5]->m_param_p, nullptr);

    const auto expectParam = [&](int i, const TMaskParam& e) {
        const TMaskParam& p = *m.m_cmdStack[i]->m_param_p;
        EXPECT_EQ(p.m_value, e.m_value);
        EXPECT_EQ(p.m_outerRadius, e.m_outerRadius);
        EXPECT_EQ(p.m_innerRadius, e.m_innerRadius);
        EXPECT_EQ(p.m_opacity, e.m_opacity);
        EXPECT_EQ(p.m_edge, e.m_edge);
        EXPECT_EQ(p.m_center, e.m_center);
    };
    expectParam(0, dot({0, 0}, 0, 0, 0, 9, 1.0f));
    expectParam(3, dot({-2, 3}, 4, 4, 0, 20, 1.0f));
    expectParam(4, dot({50, 0}, 20, 0, 0.5f, 21, 0.25f));
    EXPECT_EQ(m.m_cmdStack[2]->m_param_p->m_startInt, 3);
    EXPECT_EQ(m.m_cmdStack[2]->m_param_p->m_startFloat, 4.5f);
    EXPECT_EQ(m.m_cmdDone, -1);
    EXPECT_TRUE(m.bNeedUpdate());
}

TEST(TDrawMask, ADotWithoutRadiusReachesTheMaskWithALaterDot)
{
    TDrawMask m;
    setFlatPicture(m, 20);
    m.drawStart(0, 0);
    m.drawADot({20, 20}, 7, 1);
    m.proc();
    EXPECT_TRUE(isAll(m.m_mask, 255));
    EXPECT_EQ(m.m_strokeCover.at<uchar>(10, 10), 255);
    m.drawADot({26, 26}, 7, 8, 8, 1.0f, 0.0f); // its square covers 9..16
    m.proc();
    EXPECT_EQ(m.m_mask.at<uchar>(10, 10), 7);
}

TEST(TDrawMask, TheFarEdgesOfABlendAreExclusive)
{
    TDrawMask m;
    setFlatPicture(m, 40);
    m.drawStart(0, 0);
    m.drawADot({40, 40}, 0, 10);
    m.proc();
    const auto at = [](const cv::Mat& plane, int y, int x) { return int(plane.at<uchar>(y, x)); };
    EXPECT_EQ(at(m.m_mask, 15, 20) + at(m.m_mask, 20, 15) + at(m.m_mask, 24, 20), 0);
    EXPECT_EQ(at(m.m_mask, 25, 20), 255);
    EXPECT_EQ(at(m.m_mask, 20, 25), 255);
    EXPECT_EQ(at(m.m_strokeCover, 25, 20), 255);
}

TEST(TDrawMask, OverlappingDotsOfAStrokeStopAtItsOpacity)
{
    TDrawMask m;
    setFlatPicture(m, 60);
    m.drawStart(0, 0);
    for (int i = 0; i < 30; ++i)
        m.drawADot({60, 60}, 0, 40, 0, 0.5f, 0.0f);
    m.drawEnd();
    m.proc();
    double low;
    cv::minMaxLoc(m.m_mask, &low);
    EXPECT_EQ(low, 128); // lrint(255 * 0.5), ties to even
}

TEST(TDrawMask, PaintingStopsAtAnEdgeOfThePicture)
{
    TDrawMask m;
    cv::Mat luma(60, 60, CV_8UC1, cv::Scalar(20)), gray(60, 60, CV_16UC1, cv::Scalar(32768));
    luma.colRange(30, 60).setTo(250);
    m.setInImage(luma, gray, gray);
    m.drawStart(0, 0);
    m.drawADot({50, 60}, 0, 50, 50, 1.0f, 1.0f);
    m.proc();
    EXPECT_EQ(m.m_mask.at<uchar>(30, 29), 0);
    EXPECT_EQ(m.m_mask.at<uchar>(30, 30), 255);
}

TEST(TDrawMask, RejectsWhatItCannotPaintOn)
{
    TDrawMask m;
    EXPECT_THROWS_TEXT(m.undo(), "Error: TFDrawMask::undo Mask cmd stack is empty!!!");
    EXPECT_THROWS_TEXT(m.invertMask(), kInvertFailed);
    EXPECT_THROWS_TEXT(m.resetMask(m.m_mask, 3), kResetFailed);
    EXPECT_THROWS_TEXT(m.setInImage(cv::Mat(), cv::Mat(), cv::Mat()), kResetFailed);
    TMaskParam p = dot({1, 1}, 3, 3, 0);
    EXPECT_THROWS_TEXT(m.drawStrokeDot(true, &p), kResetFailed);
    EXPECT_TRUE(m.proc()) << "nothing to replay";
    m.setValue(3);
    EXPECT_THROWS_TEXT(m.proc(), kResetFailed);
    EXPECT_EQ(m.m_cmdDone, -1);
    EXPECT_FALSE(m.m_changed);
    m.reset();
    EXPECT_TRUE(m.m_changed && m.m_mask.empty() && m.m_cmdStack.empty());
    EXPECT_TRUE(m.getMaskRoi({0, 0, 4, 4}, 1).empty());
    EXPECT_TRUE(m.m_changed) << "nothing was given out";

    // Colours that do not cover the mask, and layers that are not there.
    m.m_mask = cv::Mat::zeros(8, 8, CV_8UC1);
    p.m_edge = 0.5f;
    EXPECT_THROW(m.drawStrokeDot(true, &p), cv::Exception);
    m.m_strokeCover.release();
    EXPECT_THROW(m.drawDumbDot({1, 1}, 2), cv::Exception);
    EXPECT_THROW(m.drawMaskDotLUT({1, 1}, 2, 1, 0), cv::Exception);
    EXPECT_THROW(m.drawMaskDot({1, 1}, 2, 1, 0), cv::Exception);
    EXPECT_THROW(m.renderStroke(1, 1, {1, 1}, 2), cv::Exception);
    EXPECT_THROW(m.setInImage(nullptr), cv::Exception);
}

TEST(TDrawMask, AFailedCommandStaysNextAndABadIndexIsAFailedRangeCheck)
{
    Pair pair({30, 20});
    TDrawMask& m = pair.painter;
    m.setValue(10);
    m.drawStart(0, 0);
    m.drawADot({20, 20}, 0, 8, 20, 1, 0); // inner above outer
    for (int i = 0; i < 2; ++i) {
        EXPECT_THROWS_TEXT(m.proc(), kInnerLarger);
        EXPECT_EQ(m.m_cmdDone, 1);
        EXPECT_TRUE(m.m_strokeOpen);
    }
    EXPECT_TRUE(isAll(m.m_mask, 10));

    m.emptyCmdStack();
    m.invert();
    m.m_cmdDone = -2;
    try {
        m.proc();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::out_of_range& e) {
        EXPECT_STREQ(e.what(), "vector::_M_range_check");
    }
    EXPECT_EQ(m.m_cmdDone, -2);
    m.m_cmdDone = 50;
    EXPECT_TRUE(m.proc());
    EXPECT_TRUE(isAll(m.m_mask, 10));
}

TEST(TDrawMask, TakesAPicturesPlanesAndMask)
{
    TPImage image(101, 75);
    image.m_Y = randomPlane({101, 75}, CV_16UC1, 0, 65536);
    image.m_Dr = randomPlane({51, 38}, CV_16UC1, 0, 65536, 2);
    image.m_Db = randomPlane({51, 38}, CV_16UC1, 0, 65536, 3);
    image.m_mask = randomPlane({51, 38}, CV_8UC1, 0, 256, 4);
    TDrawMask m;
    m.invert();
    m.setInImage(&image);
    EXPECT_EQ(m.m_cmdStack.size(), 1u) << "the first picture keeps the document";
    EXPECT_EQ(m.m_Dr.data, image.m_Dr.data);
    EXPECT_EQ(m.m_Db.data, image.m_Db.data);
    EXPECT_EQ(m.m_maskInit.data, image.m_mask.data);
    EXPECT_NE(m.m_mask.data, image.m_mask.data);
    EXPECT_TRUE(samePixels<uchar>(image.m_mask, m.m_mask));
    EXPECT_TRUE(m.m_changed);
    ASSERT_EQ(m.m_Y8.size(), cv::Size(51, 38));
    for (int y = 0; y < 38; ++y)
        for (int x = 0; x < 51; ++x) // the surplus column of an odd width repeats the one before it
            ASSERT_EQ(m.m_Y8.at<uchar>(y, x),
                      std::min(255L, std::lrint(image.m_Y.at<ushort>(2 * y, std::min(2 * x, 98)) / 255.0)))
                << x << " " << y;

    // The same size again changes nothing, whatever the pixels are.
    const cv::Mat luma = m.m_Y8.clone(), mask = m.m_mask.clone();
    TPImage second(102, 76);
    second.m_Y = randomPlane({102, 76}, CV_16UC1, 0, 65536, 9);
    m.m_changed = false;
    m.setInImage(&second);
    m.setInImage(cv::Mat::zeros(38, 51, CV_8UC1), cv::Mat(), cv::Mat());
    EXPECT_TRUE(samePixels<uchar>(luma, m.m_Y8));
    EXPECT_TRUE(samePixels<uchar>(mask, m.m_mask));
    EXPECT_EQ(m.m_Dr.data, image.m_Dr.data);
    EXPECT_EQ(m.m_cmdStack.size(), 1u);
    EXPECT_FALSE(m.m_changed);

    // Another size drops the document.
    TPImage third(60, 40);
    third.m_Y.setTo(0);
    third.m_mask.setTo(77);
    m.setInImage(&third);
    EXPECT_TRUE(m.m_cmdStack.empty() && m.m_changed && m.m_cmdDone == -1);
    EXPECT_TRUE(isAll(m.m_mask, 77));
    EXPECT_EQ(m.m_mask.size(), cv::Size(30, 20));
    m.invert();
    m.setInImage(cv::Mat::zeros(5, 6, CV_8UC1), cv::Mat(), cv::Mat());
    EXPECT_TRUE(m.m_cmdStack.empty());
    EXPECT_EQ(m.m_mask.size(), cv::Size(6, 5));
    EXPECT_TRUE(isAll(m.m_mask, 255));

    TPImage wrong(10, 12);
    wrong.m_Y = cv::Mat::zeros(10, 12, CV_8UC1); // half of it is 6 x 5, as held
    EXPECT_ANY_THROW(m.setInImage(&wrong));
}

TEST(TDrawMask, ResetGoesBackToThePicturesMaskOrTo255)
{
    TDrawMask m;
    m.setInImage(cv::Mat::zeros(5, 6, CV_8UC1), cv::Mat(), cv::Mat());
    for (const bool fits : {false, true}) {
        m.m_maskInit = fits ? cv::Mat(5, 6, CV_8UC1, cv::Scalar(33)) : cv::Mat(6, 5, CV_8UC1, cv::Scalar(33));
        m.setValue(4);
        m.proc();
        m.m_changed = false;
        m.reset();
        EXPECT_TRUE(isAll(m.m_mask, fits ? 33 : 255));
        EXPECT_TRUE(m.m_changed && m.m_cmdStack.empty() && m.m_cmdDone == -1 && !m.bNeedUpdate());
    }
    m.drawADot({6, 4}, 0, 2);
    m.proc(); // a dot before any stroke opens one, on a mask of 255 and not on the picture's
    EXPECT_EQ(m.m_mask.at<uchar>(4, 5), 255);
    EXPECT_EQ(m.m_mask.at<uchar>(2, 3), 0);
}

TEST(TDrawMask, GivesTheMaskOfAView)
{
    TDrawMask m;
    m.m_mask = randomPlane({51, 38}, CV_8UC1, 0, 256);
    for (const int scale : {0, -3, 1, 2, 3}) {
        m.m_changed = true;
        const cv::Rect roi(11, 6, 40, 21);
        const cv::Mat view = m.getMaskRoi(roi, scale);
        EXPECT_FALSE(m.m_changed);
        EXPECT_NE(view.data, m.m_mask.data);
        EXPECT_TRUE(samePixels<uchar>(
            scale < 1 ? m.m_mask : TPImage::MatRoi(m.m_mask, roi.x, roi.y, roi.width, roi.height, scale, true, false),
            view));
    }
}

TEST(TDrawMask, UndoRemovesFillsComplementsAndWholeStrokes)
{
    Pair pair({40, 30});
    TDrawMask& m = pair.painter;
    const auto stroke = [&](int x) {
        m.drawStart(0, 0);
        m.drawADot({x, 30}, 0, 12);
        m.drawADot({x + 4, 30}, 0, 12);
        m.drawEnd();
    };
    m.setValue(0);
    for (const int x : {10, 30, 50})
        stroke(x);
    m.proc();
    EXPECT_EQ(m.m_cmdDone, 12);
    EXPECT_EQ(m.undo(), -1);
    EXPECT_EQ(m.m_cmdStack.size(), 9u);
    EXPECT_EQ(m.m_cmdDone, -1);
    EXPECT_TRUE(m.bNeedUpdate());
    m.invert();
    m.setValue(9);
    m.proc();
    EXPECT_EQ(m.m_cmdDone, 10);
    m.undo();
    EXPECT_EQ(m.m_cmdStack.size(), 10u);
    m.undo();
    EXPECT_EQ(m.m_cmdStack.size(), 9u);
    EXPECT_EQ(m.m_cmdDone, -1);

    m.drawStart(0, 0);
    m.drawADot({10, 10}, 200, 9);
    m.proc();
    const cv::Mat before = m.m_mask.clone();
    EXPECT_EQ(m.m_cmdDone, 10);
    m.undo(); // an open stroke stays, and everything runs again
    EXPECT_EQ(m.m_cmdStack.size(), 11u);
    EXPECT_EQ(m.m_cmdDone, -1);
    m.proc();
    EXPECT_TRUE(samePixels<uchar>(before, m.m_mask));

    m.emptyCmdStack();
    m.drawADot({10, 10}, 200, 9);
    m.drawEnd();
    m.undo(); // an end without its start takes everything
    EXPECT_TRUE(m.m_cmdStack.empty());
    const cv::Mat last = m.m_mask.clone();
    EXPECT_TRUE(m.proc());
    EXPECT_TRUE(samePixels<uchar>(last, m.m_mask)) << "an empty document leaves the mask";

    m.invert();
    m.proc();
    EXPECT_TRUE(isAll(m.m_mask, 0));
    m.setValue(8);
    m.proc();
    m.undo();
    EXPECT_EQ(m.m_cmdDone, -1);
    m.proc();
    EXPECT_TRUE(isAll(m.m_mask, 0)) << "a complement alone starts from 255";
}

TEST(TDrawMask, ANullCommandIsRefusedByProcAndUndoAndDroppedByReset)
{
    Pair p({9, 7});
    p.painter.invert();
    p.painter.m_cmdStack.push_back(nullptr);
    EXPECT_REFUSES(p.painter.undo(), "TDrawMask::undo: m_cmdStack's entry is null");
    EXPECT_REFUSES(p.painter.proc(), "TDrawMask::proc: m_cmdStack's entry is null");
    EXPECT_EQ(p.painter.m_cmdDone, 0); // the command before it has run
    p.painter.drawEnd();
    p.painter.undo(); // drops the stroke's end, and what lies below it as far as a stroke's start
    EXPECT_TRUE(p.painter.m_cmdStack.empty());
    p.painter.m_cmdStack.push_back(nullptr);
    p.painter.reset();
    EXPECT_TRUE(p.painter.m_cmdStack.empty());
    p.painter.m_cmdStack.push_back(nullptr); // dropped by the destructor
}

TEST(TDrawMask, AMaskOfAViewOfNegativeSizeIsEmpty)
{
    Pair p({9, 7});
    EXPECT_TRUE(p.painter.getMaskRoi({0, 0, -1, -1}, 1).empty());
}
