#include <pixmill/planar/TPImage.h>
#include <support/planes.h>

#include <gtest/gtest.h>

using namespace pixmill::test;

namespace {

void fill(TPImage& image, int value)
{
    for (cv::Mat* plane : {&image.m_Y, &image.m_Dr, &image.m_Db, &image.m_mask})
        plane->setTo(value);
}

bool sharesAll(const TPImage& a, const TPImage& b)
{
    return a.m_Y.data == b.m_Y.data && a.m_Dr.data == b.m_Dr.data && a.m_Db.data == b.m_Db.data &&
           a.m_mask.data == b.m_mask.data;
}

} // namespace

TEST(TPImage, IdsTellObjectsApartAndComeBackOnceObjectsAreGone)
{
    ASSERT_EQ(TPImage::m_count, 0);
    TPImage first(2, 2);
    EXPECT_EQ(first.uid(), 512);
    {
        const TPImage second(first);
        EXPECT_EQ(second.uid(), 1024);
        EXPECT_EQ(TPImage::m_count, 2);
    }
    const TPImage third(0, 0);
    EXPECT_EQ(third.uid(), 1024);
    EXPECT_EQ(TPImage::m_count, 2);
}

TEST(TPImage, OnlyUpdateUidMovesTheVersion)
{
    TPImage a(4, 4), b(4, 4);
    const int ida = a.uid(), idb = b.uid();
    b = a;
    b.create(8, 2, true);
    b.release();
    a.copyTo(b, true);
    EXPECT_EQ(b.uid(), idb);
    a.updateUid();
    EXPECT_EQ(a.uid(), ida + 1);
    EXPECT_EQ(a.m_uid, ida + 1);
    EXPECT_EQ(b.uid(), idb);
    EXPECT_EQ(a.clone(true).uid(), 3 << 9);
    EXPECT_EQ(TPImage::m_count, 2);
}

TEST(TPImage, SmallPlanesAreHalfRoundedUp)
{
    for (const cv::Size size : {cv::Size(5, 3), cv::Size(1, 1), cv::Size(4, 2), cv::Size(1, 8)}) {
        SCOPED_TRACE(testing::Message() << size);
        const TPImage image(size.width, size.height);
        const cv::Size half(size.width / 2 + size.width % 2, size.height / 2 + size.height % 2);
        EXPECT_EQ(image.m_Y.size(), size);
        EXPECT_EQ(image.m_Y.type(), CV_16UC1);
        for (const cv::Mat* plane : {&image.m_Dr, &image.m_Db}) {
            EXPECT_EQ(plane->size(), half);
            EXPECT_EQ(plane->type(), CV_16UC1);
        }
        EXPECT_EQ(image.m_mask.size(), half);
        EXPECT_EQ(image.m_mask.type(), CV_8UC1);
    }
}

TEST(TPImage, AnEmptyObjectAllocatesNothing)
{
    TPImage image(0, 0);
    for (const cv::Mat* plane : {&image.m_Y, &image.m_Dr, &image.m_Db, &image.m_mask})
        EXPECT_EQ(plane->data, nullptr);
    image.create(3, 3, false);
    image.release();
    EXPECT_TRUE(image.m_Y.empty() && image.m_Dr.empty() && image.m_Db.empty() && image.m_mask.empty());
    image.create(3, 3, false);
    EXPECT_EQ(image.m_mask.size(), cv::Size(2, 2));
}

TEST(TPImage, CreateLooksAtLumaAloneAndThenKeepsWhatFits)
{
    TPImage image(6, 4);
    image.m_Dr.release();
    image.m_mask.create(1, 1, CV_16UC1);
    const uchar* luma = image.m_Y.data;
    image.create(6, 4, true);
    EXPECT_EQ(image.m_Y.data, luma);
    EXPECT_TRUE(image.m_Dr.empty());
    EXPECT_EQ(image.m_mask.type(), CV_16UC1);

    const uchar* db = image.m_Db.data;
    image.create(5, 3, true); // the same half size
    EXPECT_EQ(image.m_Db.data, db);
    EXPECT_EQ(image.m_Dr.size(), cv::Size(3, 2));
    EXPECT_EQ(image.m_mask.type(), CV_8UC1);
}

TEST(TPImage, ASizeThatCannotBeLeavesTheCountAlone)
{
    EXPECT_THROW(TPImage(-1, 5), cv::Exception);
    EXPECT_EQ(TPImage::m_count, 0);
}

TEST(TPImage, AssignedAndCopiedObjectsSharePixels)
{
    TPImage a(5, 3), b(1, 1);
    fill(a, 7);
    b = a;
    const TPImage c(a);
    EXPECT_TRUE(sharesAll(a, b) && sharesAll(a, c));
    b.m_mask.at<uchar>(1, 2) = 9;
    EXPECT_EQ(c.m_mask.at<uchar>(1, 2), 9);
    TPImage& same = a;
    a = same;
    EXPECT_TRUE(sharesAll(a, b));
}

TEST(TPImage, CloneOwnsItsPlanesAndLeavesLumaOutOnDemand)
{
    TPImage a(5, 3);
    fill(a, 7);
    const TPImage whole = a.clone(true), small = a.clone(false);
    fill(a, 8);
    EXPECT_EQ(cv::countNonZero(whole.m_Y != 7), 0);
    EXPECT_TRUE(small.m_Y.empty());
    for (const TPImage* copy : {&whole, &small}) {
        EXPECT_EQ(copy->m_Dr.size(), cv::Size(3, 2));
        for (const cv::Mat& plane : {copy->m_Dr, copy->m_Db, copy->m_mask})
            EXPECT_EQ(cv::countNonZero(plane != 7), 0);
    }
}

TEST(TPImage, CopyToOverwritesFittingBuffersEvenSharedOnes)
{
    TPImage from(5, 3), to(5, 3);
    fill(from, 7);
    fill(to, 1);
    const TPImage sharer(to);
    from.copyTo(to, false);
    EXPECT_TRUE(sharesAll(to, sharer));
    EXPECT_EQ(cv::countNonZero(sharer.m_Y != 1), 0);
    EXPECT_EQ(cv::countNonZero(sharer.m_Db != 7), 0);

    TPImage other(2, 2);
    from.copyTo(other, true);
    EXPECT_EQ(other.m_Y.size(), cv::Size(5, 3));
    EXPECT_NE(other.m_Y.data, from.m_Y.data);
    EXPECT_EQ(cv::countNonZero(other.m_mask != 7), 0);
}
