#include <pixmill/resample/border.h>

#include <support/planes.h>

#include <vector>

using namespace pixmill::test;

namespace {

struct Margins {
    int left, top, right, bottom;
};

std::ostream& operator<<(std::ostream& s, const Margins& m)
{
    return s << "left " << m.left << " top " << m.top << " right " << m.right << " bottom " << m.bottom;
}

const Margins kMargins[] = {{0, 0, 3, 2}, {0, 2, 0, 2}, {2, 0, 0, 0},    {1, 1, 1, 1},     {0, 1, 0, 3},
                            {4, 3, 4, 3}, {6, 0, 2, 0}, {0, 0, 0, 0},    {-1, -2, -3, -4}, {7, 0, 0, 0},
                            {0, 0, 7, 0}, {0, 5, 0, 0}, {99, 99, 99, 0}, {3, 4, 4, 4}};
const cv::Size kSize(7, 5);

/// Pixel by pixel, in the order told: `rows` of the lower margin are filled, `first` says whether rows come first.
template <class T>
cv::Mat expected(cv::Mat m, Margins by, int rows, bool rowsFirst)
{
    const auto columns = [&] {
        for (int y = 0; y < m.rows; ++y)
            for (int i = 0; by.left < m.cols && i < by.left; ++i)
                m.at<T>(y, i) = m.at<T>(y, by.left);
        for (int y = 0; y < m.rows; ++y)
            for (int i = 0; by.right < m.cols && i < by.right; ++i)
                m.at<T>(y, m.cols - by.right + i) = m.at<T>(y, m.cols - by.right - 1);
    };
    if (!rowsFirst)
        columns();
    for (int i = 0; by.top < m.rows && i < by.top; ++i)
        for (int x = 0; x < m.cols; ++x)
            m.at<T>(i, x) = m.at<T>(by.top, x);
    for (int i = 0; by.bottom > 0 && by.bottom < m.rows && i < rows; ++i)
        for (int x = 0; x < m.cols; ++x)
            m.at<T>(m.rows - by.bottom + i, x) = m.at<T>(m.rows - by.bottom - 1, x);
    if (rowsFirst)
        columns();
    return m;
}

template <class T>
void compareMatForm(int type)
{
    for (const Margins& by : kMargins) {
        SCOPED_TRACE(testing::Message() << by << " type " << type);
        cv::Mat image = randomPlane(kSize, type, 0, 200);
        const cv::Mat right = expected<T>(image.clone(), by, by.top, false);
        extendBorder(image, by.left, by.top, by.right, by.bottom);
        for (int y = 0; y < image.rows; ++y)
            EXPECT_EQ(std::memcmp(right.ptr(y), image.ptr(y), image.cols * image.elemSize()), 0) << "row " << y;
    }
}

template <class T>
void compareRawForm(int type)
{
    for (const Margins& by : kMargins) {
        SCOPED_TRACE(testing::Message() << by);
        cv::Mat image = randomPlane(kSize, type, 0, 200);
        const cv::Mat right = expected<T>(image.clone(), by, by.bottom, true);
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
        const cv::Mat right = expected<ushort>(image.clone(), {0, 3, 0, bottom}, bottom, false);
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
        SCOPED_TRACE(testing::Message() << by);
        cv::Mat image = randomPlane(kSize, CV_8UC3, 0, 200), bytes = image.clone().reshape(1);
        for (int i = 0; i < by.top && by.top < bytes.rows; ++i)
            bytes.row(by.top).copyTo(bytes.row(i));
        for (int i = 0; i < by.bottom && by.bottom < bytes.rows; ++i)
            bytes.row(bytes.rows - by.bottom - 1).copyTo(bytes.row(bytes.rows - by.bottom + i));
        const auto pattern = [&](int margin, int from, int to) {
            for (int y = 0; y < bytes.rows && margin > 0 && margin < image.cols; ++y) {
                const std::vector<uchar> pixel(bytes.ptr(y) + 3 * from, bytes.ptr(y) + 3 * from + 3);
                for (int i = 0; i < margin + 2; ++i)
                    bytes.at<uchar>(y, 3 * to + i) = pixel[std::max(0, i - margin + 1)];
            }
        };
        pattern(by.left, by.left, 0);
        pattern(by.right, image.cols - by.right - 1, image.cols - by.right);
        extendBorder3C(image.data, int(image.step), {image.cols, image.rows}, by.top, by.bottom, by.left, by.right);
        EXPECT_TRUE(samePixels<uchar>(bytes.reshape(3), image));
    }
}
