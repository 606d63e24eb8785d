#include <pixmill/resample/border.h>
#include <reference/border.h>
#include <support/planes.h>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

testing::Message told(const Margins& m)
{
    return testing::Message() << "left " << m.left << " top " << m.top << " right " << m.right << " bottom "
                              << m.bottom;
}

const Margins kMargins[] = {{0, 0, 3, 2}, {0, 2, 0, 2}, {2, 0, 0, 0},    {1, 1, 1, 1},     {0, 1, 0, 3},
                            {4, 3, 4, 3}, {6, 0, 2, 0}, {0, 0, 0, 0},    {-1, -2, -3, -4}, {7, 0, 0, 0},
                            {0, 0, 7, 0}, {0, 5, 0, 0}, {99, 99, 99, 0}, {3, 4, 4, 4}};
const cv::Size kSize(7, 5);

template <class T>
void compareMatForm(int type)
{
    for (const Margins& by : kMargins) {
        SCOPED_TRACE(told(by) << " type " << type);
        cv::Mat image = randomPlane(kSize, type, 0, 200);
        const cv::Mat right = extended<T>(image.clone(), by, by.top, false);
        extendBorder(image, by.left, by.top, by.right, by.bottom);
        for (int y = 0; y < image.rows; ++y)
            EXPECT_EQ(std::memcmp(right.ptr(y), image.ptr(y), image.cols * image.elemSize()), 0) << "row " << y;
    }
}

template <class T>
void compareRawForm(int type)
{
    for (const Margins& by : kMargins) {
        SCOPED_TRACE(told(by));
        cv::Mat image = randomPlane(kSize, type, 0, 200);
        const cv::Mat right = extended<T>(image.clone(), by, by.bottom, true);
        extendBorder(image.ptr<T>(), int(image.step), {image.cols, image.rows}, by.top, by.bottom, by.left, by.right);
        EXPECT_TRUE(samePixels<T>(right, image));
    }
}

} // namespace

TEST(ExtendBorder, TheMatFormTakesAnyElementTypeAndFillsBelowByTheUpperMargin)
{
    compareMatForm<uchar>(CV_8UC1);
    compareMatForm<ushort>(CV_16UC1);
    compareMatForm<float>(CV_32FC1);
    compareMatForm<double>(CV_64FC1);
    compareMatForm<cv::Vec3w>(CV_16UC3);
}

TEST(ExtendBorder, AnUpperMarginAboveTheLowerOneEndsAtTheLastRowWithAnException)
{
    for (const int bottom : {1, 2}) {
        cv::Mat whole(8, 6, CV_16UC1, cv::Scalar(9)), image = whole(cv::Rect(0, 0, 6, 5));
        randomPlane({6, 5}, CV_16UC1, 100, 65536).copyTo(image);
        const cv::Mat right = extended<ushort>(image.clone(), {0, 3, 0, bottom}, bottom, false);
        EXPECT_THROW(extendBorder(image, 0, 3, 0, bottom), cv::Exception);
        EXPECT_TRUE(samePixels<ushort>(right, image));
        EXPECT_EQ(cv::countNonZero(whole.rowRange(5, 8) != 9), 0);
    }
}

TEST(ExtendBorder, PicturesOfOneColumnOrRowOrNoneAreLeftAlone)
{
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 4), cv::Size(4, 1), cv::Size(0, 0)}) {
        cv::Mat image = randomPlane(size, CV_8UC1, 0, 256), before = image.clone();
        extendBorder(image, size.width, size.height, size.width, size.height);
        EXPECT_TRUE(samePixels<uchar>(before, image)) << size;
    }
}

TEST(ExtendBorder, TheRawFormsFillEverySideByItsOwnMargin)
{
    compareRawForm<uchar>(CV_8UC1);
    compareRawForm<float>(CV_32FC1);
    extendBorder(static_cast<uchar*>(nullptr), 0, {0, 5}, 1, 1, 1, 1);
    EXPECT_THROW(extendBorder(static_cast<float*>(nullptr), 0, {2, 2}, 1, 0, 0, 0), cv::Exception);
}

TEST(ExtendBorder3C, TheSidesAreBytePatternsInsideTheirRow)
{
    for (const Margins& by : kMargins) {
        SCOPED_TRACE(told(by));
        cv::Mat image = randomPlane(kSize, CV_8UC3, 0, 200);
        const cv::Mat right = extended3C(image, by);
        extendBorder3C(image.data, int(image.step), {image.cols, image.rows}, by.top, by.bottom, by.left, by.right);
        EXPECT_TRUE(samePixels<uchar>(right, image));
    }
}
