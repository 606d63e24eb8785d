#include <pixmill/resample/guidedUpsize.h>
#include <pixmill/resample/resample.h>
#include <pixmill/rows/doubling.h>
#include <pixmill/rows/pyramid.h>
#include <pixmill/rows/streaming.h>
#include <reference/pyramid.h>
#include <reference/resize.h>
#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

#include <climits>
#include <string>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

const cv::Size kMore[] = {{0, 0}, {-1, -1}, {1, 0}, {0, 1}, {3, 4}};

/// Runs `operation(out)` into a plane of the exact size and `more`, at every row level, against `expected(size)`.
template <class T, class Operation, class Expected>
void compare(cv::Size exact, cv::Size more, int type, const Operation& operation, const Expected& expected)
{
    const cv::Size size(std::max(exact.width + more.width, 1), std::max(exact.height + more.height, 1));
    const cv::Mat right = expected(size);
    everyWay([&] {
        cv::Mat out = randomPlane(size, type, 0, 2, 6);
        operation(out);
        ASSERT_TRUE(samePixels<T>(right, out));
    });
}

/// Every operation on sources of this type, into outputs that are exact, smaller and larger.
template <class T>
void compareWithReference(int type, double high)
{
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(2, 3), cv::Size(3, 2), cv::Size(4, 9), cv::Size(45, 13)})
        for (const cv::Size more : kMore)
            for (const int code : {1, 2, 4}) {
                SCOPED_TRACE(testing::Message() << size << " and " << more << ", code " << code);
                const cv::Mat in = randomPlane(size, type, 0, high, 5);
                compare<T>(
                    {2 * in.cols, 2 * in.rows}, more, type, [&](cv::Mat& out) { upSize2X(in, out, code); },
                    [&](cv::Size s) { return enlarged<T>(in, s, 2, code); });
                compare<T>(
                    {in.cols / 2, in.rows / 2}, more, type, [&](cv::Mat& out) { downSize2X(in, out, code); },
                    [&](cv::Size s) { return reduced<T>(in, s, 2, code); });
                for (const int factor : {1, 2, 3, 4, 5, 6, 7, 8, 11}) {
                    SCOPED_TRACE(factor);
                    compare<T>(
                        {in.cols / factor, in.rows / factor}, more, type,
                        [&](cv::Mat& out) { downSizeNX(in, out, factor, code); },
                        [&](cv::Size s) { return reduced<T>(in, s, factor, code); });
                    // A float of other factors has weights that depend on how they are computed.
                    if ((factor & (factor - 1)) == 0 || !std::is_same_v<T, float>)
                        compare<T>(
                            {in.cols * factor, in.rows * factor}, more, type,
                            [&](cv::Mat& out) { upSizeNX(in, out, factor, code); },
                            [&](cv::Size s) { return enlarged<T>(in, s, factor, code); });
                }
            }
}

template <class T>
void comparePyramids(int type)
{
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 5), cv::Size(2, 1), cv::Size(3, 3), cv::Size(4, 2),
                                cv::Size(37, 22), cv::Size(132, 5)})
        for (const cv::Size more :
             {cv::Size(0, 0), cv::Size(-1, 0), cv::Size(0, -1), cv::Size(-1, -1), cv::Size(1, 1)}) {
            SCOPED_TRACE(testing::Message() << size << " and " << more);
            const cv::Mat in = randomPlane(size, type, 0, sizeof(T) == 1 ? 256 : 65536, 8);
            cv::Mat out = randomPlane(cv::Size(2 * in.cols, 2 * in.rows) + more, type, 0, 256, 9);
            upSize2X(in, out, 257);
            cv::Mat expected = pyramidUp(in, out.size()).clone();
            fillColumnsFrom(expected, 2 * in.cols);
            ASSERT_TRUE(samePixels<T>(expected, out));

            const cv::Size half = cv::Size(in.cols / 2 + 1, in.rows / 2 + 1) + more;
            if (half.area() == 0 || half.width > in.cols / 2 + 1)
                continue;
            out = randomPlane(half, type, 0, 256, 9);
            downSize2X(in, out, 257);
            expected = pyramidDown(in, half);
            fillColumnsFrom(expected, in.cols / 2);
            ASSERT_TRUE(samePixels<T>(expected, out));
        }
}

} // namespace

TEST(Resample, AgreesWithExactPositionsAtEveryRowLevel)
{
    compareWithReference<unsigned char>(CV_8UC1, 256);
    compareWithReference<unsigned short>(CV_16UC1, 65536);
    compareWithReference<float>(CV_32FC1, 1);
}

TEST(Resample, BlackAndWhiteStayInThePixelsRange)
{
    // Blocks of them give the largest overshoots, and white the largest sums, that a row of sums must hold.
    for (const int type : {CV_8UC1, CV_16UC1}) {
        const double top = type == CV_8UC1 ? 255 : 65535;
        cv::Mat in = randomPlane({41, 23}, CV_8UC1, 0, 2);
        in.convertTo(in, type, top);
        cv::Mat out(46, 82, type), half(11, 20, type);
        upSize2X(in, out, 4);
        EXPECT_TRUE(type == CV_8UC1 ? samePixels<uchar>(enlarged<uchar>(in, out.size(), 2, 4), out)
                                    : samePixels<ushort>(enlarged<ushort>(in, out.size(), 2, 4), out));
        in.setTo(top);
        upSize2X(in, out, 257);
        downSize2X(in, half, 257);
        EXPECT_EQ(cv::countNonZero(out != top) + cv::countNonZero(half != top), 0);
    }
}

TEST(Resample, AFloatBesideAHugeNeighbourIsStillCopied)
{
    const float inf = INFINITY;
    const cv::Mat in = (cv::Mat_<float>(2, 3) << 1, inf, -inf, NAN, 2, 3e38f);
    cv::Mat up(4, 6, CV_32FC1), down(1, 2, CV_32FC1);
    for (const int code : {1, 2, 4}) {
        upSize2X(in, up, code);
        EXPECT_EQ(up.at<float>(0, 0), 1);
        EXPECT_EQ(up.at<float>(2, 2), 2);
        EXPECT_EQ(up.at<float>(2, 4), 3e38f);
        downSize2X(in, down, code);
        EXPECT_EQ(down.at<float>(0, 0), 1);
    }
}

TEST(Resample, ThePyramidStepsHaveTheValuesOfTheImageLibrary)
{
    everyWay([] {
        comparePyramids<unsigned char>(CV_8UC1);
        comparePyramids<unsigned short>(CV_16UC1);
#ifdef __x86_64__ // built for other processors the image library fuses products and sums; the fingerprint stands in
                  // there
        comparePyramids<float>(CV_32FC1);
        comparePyramids<double>(CV_64FC1);
#endif
    });
    comparePyramids<unsigned short>(CV_16UC3);
    comparePyramids<short>(CV_16SC1);
}

TEST(Resample, PyramidStepsRejectWhatTheImageLibraryRejects)
{
    const cv::Mat in = randomPlane({8, 8}, CV_16UC1, 0, 65536), whole = randomPlane({8, 8}, CV_32SC1, 0, 9);
    for (const cv::Size size : {cv::Size(14, 16), cv::Size(16, 18), cv::Size(13, 15), cv::Size(19, 17)}) {
        cv::Mat out(size, CV_16UC1, cv::Scalar(3));
        EXPECT_THROW(upSize2X(in, out, 257), cv::Exception) << size;
        EXPECT_EQ(cv::countNonZero(out != 3), 0);
    }
    for (const cv::Size size : {cv::Size(2, 4), cv::Size(4, 6), cv::Size(1, 1)}) {
        cv::Mat out(size, CV_16UC1, cv::Scalar(3));
        EXPECT_THROW(downSize2X(in, out, 257), cv::Exception) << size;
        EXPECT_EQ(cv::countNonZero(out != 3), 0);
    }
    cv::Mat out(4, 4, CV_32SC1);
    EXPECT_THROW(downSize2X(whole, out, 257), cv::Exception);
    cv::Mat one(1, 1, CV_16UC1);
    EXPECT_THROW(upSize2X(cv::Mat(0, 0, CV_16UC1), one, 257), cv::Exception);
}

TEST(Resample, AnOutputMustBeReadyAndOfTheInputsType)
{
    const cv::Mat in = randomPlane({4, 4}, CV_16UC1, 0, 65536);
    cv::Mat none, other(8, 8, CV_8UC1);
    for (const int code : {4, 257})
        for (cv::Mat* out : {&none, &other}) {
            EXPECT_THROWS_TEXT(upSizeNX(in, *out, 2, code), "ERROR - upSizeNX - outNX is not allocated");
            EXPECT_THROWS_TEXT(downSize2X(in, *out, code), "ERROR - downSize2X - outHalf must be allocated!");
            EXPECT_THROWS_TEXT(downSizeNX(in, *out, 2, code), "downSizeNX - out is not allocated");
            try {
                upSize2X(in, *out, code);
                ADD_FAILURE() << "nothing was thrown";
            } catch (const char* text) {
                const std::string tail = " - 103 - upSize2X : out2X is not allocated - ", line = text;
                ASSERT_GT(line.size(), tail.size());
                EXPECT_EQ(line.substr(line.size() - tail.size()), tail);
            }
        }
    EXPECT_TRUE(none.empty());
}

TEST(Resample, OtherTypesThrowUnlessThePyramidStepTakesThem)
{
    for (const int type : {CV_16UC3, CV_32FC2, CV_16SC1, CV_64FC1}) {
        const cv::Mat in(4, 4, type, cv::Scalar::all(7));
        cv::Mat up(8, 8, type), down(2, 2, type);
        for (const int code : {1, 2, 4, 99}) {
            EXPECT_THROWS_TEXT(upSize2X(in, up, code), "ERROR - up2X - type");
            EXPECT_THROWS_TEXT(upSizeNX(in, up, 2, code), "ERROR - upNX - type");
            EXPECT_THROWS_TEXT(downSize2X(in, down, code), "ERROR - down2X - type");
            EXPECT_THROWS_TEXT(downSizeNX(in, down, 2, code), "ERROR - downSizeNX - type");
        }
        EXPECT_THROWS_TEXT(upSizeNX(in, up, 2, 257), "ERROR - upNX - type");
        EXPECT_THROWS_TEXT(downSizeNX(in, down, 2, 257), "ERROR - downSizeNX - type");
        upSize2X(in, up, 257);
        downSize2X(in, down, 257);
        EXPECT_EQ(cv::norm(up, cv::Mat(8, 8, type, cv::Scalar::all(7)), cv::NORM_INF), 0);
        EXPECT_EQ(cv::norm(down, cv::Mat(2, 2, type, cv::Scalar::all(7)), cv::NORM_INF), 0);
    }
}

TEST(Resample, ARejectedResizeStillFillsTheSurplusColumns)
{
    // The whole factor knows no pyramid step: the primitive turns the code down, and only the border step acts.
    const cv::Mat in = randomPlane({4, 4}, CV_16UC1, 0, 65536);
    for (const int code : {0, 3, 257}) {
        const cv::Mat before = randomPlane({10, 9}, CV_16UC1, 0, 65536, 2);
        cv::Mat expected = before.clone(), up = before.clone(), down = before.clone();
        fillColumnsFrom(expected, 8);
        upSizeNX(in, up, 2, code);
        EXPECT_TRUE(samePixels<ushort>(expected, up));
        expected = before.clone();
        fillColumnsFrom(expected, 2);
        downSizeNX(in, down, 2, code);
        EXPECT_TRUE(samePixels<ushort>(expected, down));
    }
}

TEST(Resample, SenselessFactorsAndEmptySourcesDoNoDamage)
{
    const cv::Mat in = randomPlane({4, 4}, CV_16UC1, 0, 65536);
    const cv::Mat before = randomPlane({5, 5}, CV_16UC1, 0, 65536, 2);
    for (const int factor : {0, -1, -3, INT_MIN}) {
        cv::Mat up = before.clone(), down = before.clone();
        upSizeNX(in, up, factor, 4);
        EXPECT_TRUE(samePixels<ushort>(before, up)) << factor;
        if (factor == 0)
            EXPECT_THROW(downSizeNX(in, down, factor, 4), cv::Exception);
        else
            downSizeNX(in, down, factor, 4);
        EXPECT_TRUE(samePixels<ushort>(before, down)) << factor;
    }
    cv::Mat up(3, 3, CV_16UC1), down(3, 3, CV_16UC1);
    upSizeNX(in, up, INT_MAX, 1); // all within the first pixel
    EXPECT_TRUE(samePixels<ushort>(cv::Mat(3, 3, CV_16UC1, cv::Scalar(in.at<ushort>(0, 0))), up));
    downSizeNX(in, down, INT_MAX, 1);
    EXPECT_TRUE(samePixels<ushort>(cv::Mat(3, 3, CV_16UC1, cv::Scalar(in.at<ushort>(3, 3))), down));
    for (const int code : {1, 2, 4}) {
        cv::Mat out = before.clone();
        const cv::Mat none(0, 0, CV_16UC1);
        upSize2X(none, out, code);
        downSize2X(none, out, code);
        EXPECT_TRUE(samePixels<ushort>(before, out));
    }
}

TEST(Resample, RowsOfADoubledPlaneCanBeHadOneByOne)
{
    const cv::Mat in = randomPlane({21, 9}, CV_16UC1, 0, 65536);
    for (const int cols : {40, 41, 42, 45}) {
        cv::Mat linear(18, cols, CV_16UC1), cubic(18, cols, CV_16UC1), rows(18, cols, CV_16UC1);
        upSize2X(in, linear, 2);
        upSize2X(in, cubic, 4);
        const auto row = [&in](int y) { return in.ptr<ushort>(pixmill::rows::inside(y, in.rows)); };
        for (int y = 0; y < rows.rows; ++y)
            pixmill::rows::doubleRowLinear(row(y / 2), row(y / 2 + 1), y % 2 != 0, in.cols, rows.ptr<ushort>(y), cols);
        EXPECT_TRUE(samePixels<ushort>(linear, rows));
        std::vector<int> scratch(in.cols);
        for (int y = 0; y < rows.rows; ++y) {
            const ushort* const four[] = {row(y / 2 - 1), row(y / 2), row(y / 2 + 1), row(y / 2 + 2)};
            pixmill::rows::doubleRowCubic(four, y % 2 != 0, in.cols, rows.ptr<ushort>(y), cols, scratch.data());
        }
        EXPECT_TRUE(samePixels<ushort>(cubic, rows));
    }
}

TEST(Resample, PlanesThatNoCacheHoldsHaveTheSamePixels)
{
    // Rows that begin on a cache line, within one where a pair of pixels may, and where none may.
    const cv::Size size(4003, 6401);
    cv::Mat room(size.height, size.width + 67, CV_16UC1, cv::Scalar(3)), expected(size, CV_16UC1);
    ASSERT_TRUE(pixmill::rows::streams(expected.total() * 2 / 2)); // for teams of up to 2
    const cv::Mat in = randomPlane({2002, 3201}, CV_16UC1, 0, 65536);
    for (int y = 0; y < size.height; ++y)
        pixmill::rows::doubleRowLinear(in.ptr<ushort>(y / 2), in.ptr<ushort>(std::min(y / 2 + 1, in.rows - 1)),
                                       y % 2 != 0, in.cols, expected.ptr<ushort>(y), size.width);
    for (const int column : {0, 6, 7})
        everyWay([&] {
            cv::Mat out = room.colRange(column, column + size.width);
            out.setTo(3);
            upSize2X(in, out, 2);
            ASSERT_TRUE(samePixels<ushort>(expected, out)) << "from column " << column;
        });
    EXPECT_EQ(cv::countNonZero(room.colRange(7 + size.width, room.cols) != 3), 0);
}

namespace {

template <int cn>
void comparePyramidRows(cv::Size size, cv::Size up)
{
    using namespace pixmill::rows;
    const cv::Mat in = randomPlane(size, CV_16UC(cn), 0, 65536);
    const cv::Mat down = pyramidDown(in);
    cv::Mat rows(down.size(), in.type());
    std::vector<int> scratch(pyramidScratch(in.cols, cn));
    for (int y = 0; y < rows.rows; ++y) {
        const ushort* five[5];
        for (int k = 0; k < 5; ++k)
            five[k] = in.ptr<ushort>(mirrored(2 * y - 2 + k, in.rows));
        pyrDownRow<cn>(five, in.cols, rows.ptr<ushort>(y), rows.cols, scratch.data());
    }
    EXPECT_TRUE(samePixels<ushort>(down, rows));

    rows.create(up, in.type());
    for (int y = 0; y < rows.rows; ++y) {
        const ushort* three[3];
        for (int k = 0; k < 3; ++k)
            three[k] = in.ptr<ushort>(expanded(y / 2 - 1 + k, in.rows));
        pyrUpRow<cn>(three, y % 2 != 0, in.cols, rows.ptr<ushort>(y), rows.cols, scratch.data());
    }
    EXPECT_TRUE(samePixels<ushort>(pyramidUp(in, up), rows));
}

} // namespace

TEST(Resample, PyramidRowsTakeInterleavedChannels)
{
    for (const cv::Size size : {cv::Size(2, 1), cv::Size(5, 4), cv::Size(18, 7)})
        for (const cv::Size up : {size * 2, size * 2 - cv::Size(1, 0), size * 2 - cv::Size(0, 1)}) {
            SCOPED_TRACE(testing::Message() << size << " to " << up);
            comparePyramidRows<1>(size, up);
            comparePyramidRows<3>(size, up);
            comparePyramidRows<10>(size, up);
            comparePyramidRows<24>(size, up);
        }
}

TEST(Resample, SolidsAreNoPlanes)
{
    const cv::Mat plane = cv::Mat::zeros(6, 7, CV_8UC1);
    for (const int code : {1, 4, 257}) {
        cv::Mat out = solid(CV_8UC1), flat = plane.clone();
        EXPECT_THROW(upSize2X(plane, out, code), cv::Exception);
        EXPECT_THROW(upSize2X(solid(CV_8UC1), flat, code), cv::Exception);
        EXPECT_THROW(downSize2X(solid(CV_8UC1), flat, code), cv::Exception);
        EXPECT_THROW(upSizeNX(solid(CV_8UC1), flat, 3, code), cv::Exception);
        EXPECT_THROW(downSizeNX(plane, out, 3, code), cv::Exception);
        EXPECT_THROW(upSize2XGuidedByY(solid(CV_8UC1), flat, out, true, code), cv::Exception);
    }
    cv::Mat out = plane.clone();
    EXPECT_REFUSED(downSizeNX(plane, out, 0, 1), "downSizeNX: factor is 0, wanted another number");
}
