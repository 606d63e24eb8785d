#include <pixmill/primitives/resize.h>
#include <reference/resize.h>
#include <support/everyway.h>
#include <support/planes.h>

#include <cmath>
#include <limits>
#include <vector>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

std::vector<unsigned char> bufferFor(IppiRect from, IppiRect to, int code)
{
    int size = 0;
    EXPECT_EQ(ippiResizeGetBufSize(from, to, 1, code, &size), ippStsNoErr);
    return std::vector<unsigned char>(size);
}

IppiRect whole(const cv::Mat& m)
{
    return {0, 0, m.cols, m.rows};
}

template <class T>
IppStatus resize(const cv::Mat& in, IppiRect from, cv::Mat& out, IppiRect to, double factor, double shift, int code)
{
    std::vector<unsigned char> buffer = bufferFor(from, to, code);
    const auto call = [&](auto primitive) {
        return primitive(in.ptr<T>(), {in.cols, in.rows}, int(in.step), from, out.ptr<T>(), int(out.step), to, factor,
                         factor, shift, shift, code, buffer.data());
    };
    if constexpr (std::is_same_v<T, unsigned char>)
        return call(ippiResizeSqrPixel_8u_C1R);
    else if constexpr (std::is_same_v<T, unsigned short>)
        return call(ippiResizeSqrPixel_16u_C1R);
    else
        return call(ippiResizeSqrPixel_32f_C1R);
}

struct RowCase {
    const char* name;
    int code;
    double factor, shift;
    std::vector<unsigned short> in, expected;
};

// clang-format off
const RowCase kRows[] = {
    // name                        code factor shift  in                  expected
    {"nearestDoubles",              1,  2,     0,     {7, 9},             {7, 7, 9, 9}},
    {"nearestTieTakesTheNext",      1,  2,    -0.5,   {7, 9},             {7, 9, 9, 9}},
    {"nearestHalvingTakesTheNext",  1,  0.5,   0,     {1, 2, 3, 4},       {2, 4}},
    {"linearQuarters",              2,  2,     0,     {0, 100},           {0, 25, 75, 100}},
    {"linearHalfGoesUp",            2,  2,    -0.5,   {0, 1, 2},          {0, 1, 1, 2, 2, 2}},
    {"linearPicks",                 2,  0.5,   0.25,  {5, 6, 7, 8, 9},    {5, 7, 9}},
    {"cubicOvershootsAtAStep",      4,  2,    -0.5,   {0, 0, 1600, 1600}, {0, 0, 0, 800, 1600, 1700, 1600, 1600}},
    {"cubicUndershootIsBlack",      4,  2,    -0.5,   {0, 0, 0, 16},      {0, 0, 0, 0, 0, 8, 16, 17}},
    {"cubicSaturates",              4,  2,    -0.5,   {65535, 65535, 0, 0},
                                                      {65535, 65535, 65535, 32768, 0, 0, 0, 0}},
    {"beyondTheSourceRepeats",      2,  1,     3,     {4, 5, 6},          {4, 4, 4, 4, 5, 6, 6, 6}},
};
// clang-format on

class ResizeRow : public testing::TestWithParam<RowCase> {};

TEST_P(ResizeRow, GivesTheExpectedPixels)
{
    const RowCase& c = GetParam();
    const cv::Mat in(1, int(c.in.size()), CV_16UC1, const_cast<unsigned short*>(c.in.data()));
    const cv::Mat expected(1, int(c.expected.size()), CV_16UC1, const_cast<unsigned short*>(c.expected.data()));
    cv::Mat out(expected.size(), CV_16UC1);
    ASSERT_EQ(resize<unsigned short>(in, whole(in), out, whole(out), c.factor, c.shift, c.code), ippStsNoErr);
    EXPECT_TRUE(samePixels<unsigned short>(expected, out));
}

INSTANTIATE_TEST_SUITE_P(Table, ResizeRow, testing::ValuesIn(kRows), [](const auto& info) { return info.param.name; });

template <class T>
void compareWithReference(int type, double high, const std::vector<Fraction>& factors,
                          const std::vector<Fraction>& shifts)
{
    for (const Fraction factor : factors)
        for (const Fraction shift : shifts)
            for (const int code : {IPPI_INTER_NN, IPPI_INTER_LINEAR, IPPI_INTER_CUBIC})
                for (const cv::Size size : {cv::Size(1, 1), cv::Size(2, 7), cv::Size(31, 5)}) {
                    SCOPED_TRACE(testing::Message() << size << " * " << factor.num << "/" << factor.den << " + "
                                                    << shift.num << "/" << shift.den << ", code " << code);
                    const cv::Mat in = randomPlane(size, type, 0, high, 3);
                    cv::Mat out = randomPlane({37, 19}, type, 0, high, 4);
                    ASSERT_EQ(resize<T>(in, whole(in), out, whole(out), double(factor), double(shift), code),
                              ippStsNoErr);
                    ASSERT_TRUE(samePixels<T>(resized<T>(in, out.size(), factor, shift, code), out));
                }
}

} // namespace

TEST(Resize, AgreesWithExactPositionsAtEveryRowLevel)
{
    everyWay([] {
        const std::vector<Fraction> factors = {{1, 1}, {2, 1}, {16, 1}, {3, 1},    {1, 2},
                                               {1, 3}, {1, 5}, {1, 8},  {203, 67}, {3, 2}};
        const std::vector<Fraction> shifts = {{0, 1}, {-1, 2}, {1, 6}, {-7, 3}, {90, 1}};
        compareWithReference<unsigned char>(CV_8UC1, 256, factors, shifts);
        compareWithReference<unsigned short>(CV_16UC1, 65536, factors, shifts);
        // Only powers of two have weights that are the same doubles however they are computed.
        compareWithReference<float>(CV_32FC1, 1, {{1, 1}, {2, 1}, {16, 1}, {1, 2}, {1, 8}},
                                    {{0, 1}, {-1, 2}, {5, 8}, {90, 1}});
    });
}

TEST(Resize, WideRowsAreAsNarrowOnes)
{
    for (const int code : {IPPI_INTER_NN, IPPI_INTER_LINEAR, IPPI_INTER_CUBIC}) {
        const cv::Mat in = randomPlane({1501, 3}, CV_16UC1, 0, 65536);
        cv::Mat out(5, 4099, CV_16UC1);
        ASSERT_EQ(resize<unsigned short>(in, whole(in), out, whole(out), 2.75, 0.125, code), ippStsNoErr);
        const cv::Mat expected = resized<unsigned short>(in, out.size(), {11, 4}, {1, 8}, code);
        EXPECT_TRUE(samePixels<unsigned short>(expected, out)) << code;
    }
}

TEST(Resize, StretchingARampIsTheIdentityButForItsEnds)
{
    cv::Mat coarse(1, 128, CV_8UC1), fine(1, 256, CV_8UC1), levels(1, 4096, CV_16UC1), table(1, 65536, CV_16UC1);
    for (int i = 0; i < coarse.cols; ++i)
        coarse.at<uchar>(i) = uchar(2 * i);
    for (int i = 0; i < levels.cols; ++i)
        levels.at<ushort>(i) = ushort(16 * i);
    ASSERT_EQ(resize<uchar>(coarse, whole(coarse), fine, whole(fine), 2, 0, IPPI_INTER_LINEAR), ippStsNoErr);
    for (int x = 0; x < fine.cols; ++x)
        ASSERT_EQ(fine.at<uchar>(x), std::min(x, 254));
    std::vector<unsigned char> buffer = bufferFor(whole(levels), whole(table), IPPI_INTER_LINEAR);
    ASSERT_EQ(ippiResizeSqrPixel_16u_C1R(levels.ptr<ushort>(), {4096, 1}, 8192, whole(levels), table.ptr<ushort>(),
                                         131072, whole(table), 16, 1, 0, 0, IPPI_INTER_LINEAR, buffer.data()),
              ippStsNoErr);
    for (int x = 0; x < table.cols; ++x)
        ASSERT_EQ(table.at<ushort>(x), std::min(std::max(x - 7, 0), 65520));
}

TEST(Resize, RegionsChooseWithinImagesWhoseOriginStays)
{
    const cv::Mat in = randomPlane({40, 30}, CV_16UC1, 0, 65536);
    const IppiRect from = {5, 6, 21, 40}, to = {9, 4, 17, 11}; // the source region ends with the image
    for (const int code : {IPPI_INTER_NN, IPPI_INTER_LINEAR, IPPI_INTER_CUBIC}) {
        cv::Mat out(20, 40, CV_16UC1, cv::Scalar(77));
        ASSERT_EQ(resize<unsigned short>(in, from, out, to, 0.5, -2, code), ippStsNoErr);
        const Axis x = {{1, 2}, {-2, 1}, code, 5, 25}, y = {{1, 2}, {-2, 1}, code, 6, 29};
        cv::Mat expected(out.size(), CV_16UC1, cv::Scalar(77));
        for (int row = to.y; row < to.y + to.height; ++row)
            for (int col = to.x; col < to.x + to.width; ++col)
                expected.at<ushort>(row, col) = resizedPixel<ushort>(in, x.taps(col), y.taps(row));
        EXPECT_TRUE(samePixels<ushort>(expected, out)) << code;
    }
}

TEST(Resize, APositionOnASampleIgnoresItsNeighbours)
{
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    const cv::Mat in = (cv::Mat_<float>(3, 3) << nan, 1, inf, nan, 2, -inf, inf, 3, nan);
    cv::Mat out(6, 6, CV_32FC1);
    for (const int code : {IPPI_INTER_LINEAR, IPPI_INTER_CUBIC}) {
        ASSERT_EQ(resize<float>(in, whole(in), out, whole(out), 2, -0.5, code), ippStsNoErr);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(out.at<float>(2 * i, 2), float(i + 1));
        EXPECT_TRUE(std::isnan(out.at<float>(0, 1)));
    }
}

TEST(Resize, FaultsAreToldInOrderAndNothingIsWritten)
{
    const unsigned char in[16] = {1, 2, 3};
    unsigned char out[16], buffer[1];
    const IppiRect ok = {0, 0, 4, 4};
    const auto call = [&](const unsigned char* src, IppiSize size, int step, IppiRect from, unsigned char* dst,
                          int dstStep, IppiRect to, double factor, int code, unsigned char* work) {
        std::fill(out, out + 16, 9);
        const IppStatus status =
            ippiResizeSqrPixel_8u_C1R(src, size, step, from, dst, dstStep, to, factor, 1, 0, 0, code, work);
        EXPECT_EQ(std::count(out, out + 16, 9), 16);
        return status;
    };
    EXPECT_EQ(call(nullptr, {0, 4}, 4, ok, out, 4, ok, 1, 1, buffer), ippStsNullPtrErr);
    EXPECT_EQ(call(in, {4, 4}, 4, ok, nullptr, 4, ok, 1, 1, buffer), ippStsNullPtrErr);
    EXPECT_EQ(call(in, {4, 4}, 4, ok, out, 4, ok, 1, 1, nullptr), ippStsNullPtrErr);
    EXPECT_EQ(call(in, {0, 4}, 0, ok, out, 4, ok, 1, 1, buffer), ippStsSizeErr);
    EXPECT_EQ(call(in, {4, 4}, 4, {0, 0, 4, -1}, out, 4, ok, 1, 1, buffer), ippStsSizeErr);
    EXPECT_EQ(call(in, {4, 4}, 4, ok, out, 4, {0, 0, 0, 4}, 1, 1, buffer), ippStsSizeErr);
    EXPECT_EQ(call(in, {4, 4}, 0, ok, out, 4, ok, 0, 1, buffer), ippStsStepErr);
    EXPECT_EQ(call(in, {4, 4}, 4, ok, out, -4, ok, 1, 1, buffer), ippStsStepErr);
    EXPECT_EQ(call(in, {4, 4}, 4, ok, out, 4, ok, 0, 257, buffer), ippStsResizeFactorErr);
    EXPECT_EQ(call(in, {4, 4}, 4, ok, out, 4, ok, std::nan(""), 1, buffer), ippStsResizeFactorErr);
    for (const int code : {0, 3, 8, 257})
        EXPECT_EQ(call(in, {4, 4}, 4, {4, 0, 4, 4}, out, 4, ok, 1, code, buffer), ippStsInterpolationErr);
    EXPECT_EQ(call(in, {4, 4}, 4, {4, 0, 4, 4}, out, 4, ok, 1, 1, buffer), ippStsWrongIntersectROI);
    EXPECT_EQ(call(in, {4, 4}, 4, {-9, 0, 4, 4}, out, 4, ok, 1, 1, buffer), ippStsWrongIntersectROI);
}

TEST(Resize, ABufferSizeIsStoredWhateverTheStatus)
{
    const IppiRect ok = {0, 0, 4, 4}, empty = {0, 0, 0, 4};
    const auto sizeWith = [](IppiRect from, IppiRect to, int channels, int code, IppStatus expected) {
        int size = -1;
        EXPECT_EQ(ippiResizeGetBufSize(from, to, channels, code, &size), expected);
        return size;
    };
    EXPECT_GT(sizeWith(ok, ok, 1, 4, ippStsNoErr), 0);
    EXPECT_GT(sizeWith(empty, ok, 1, 4, ippStsSizeErr), 0);
    EXPECT_GT(sizeWith(ok, empty, 1, 4, ippStsSizeErr), 0);
    EXPECT_GT(sizeWith(ok, ok, 0, 4, ippStsSizeErr), 0);
    EXPECT_GT(sizeWith(ok, ok, 1, 257, ippStsInterpolationErr), 0);
    EXPECT_GT(sizeWith({0, 0, 1 << 30, 1 << 30}, {0, 0, 1 << 30, 1 << 30}, 1, 4, ippStsNoErr), 0);
    EXPECT_EQ(ippiResizeGetBufSize(ok, ok, 1, 4, nullptr), ippStsNullPtrErr);
}

TEST(Resize, PositionsFarOutsideOrNotANumberStayInside)
{
    const cv::Mat in = randomPlane({5, 4}, CV_8UC1, 0, 256);
    for (const double shift : {1e300, -1e300, double(INFINITY), double(NAN)})
        for (const int code : {IPPI_INTER_NN, IPPI_INTER_LINEAR, IPPI_INTER_CUBIC}) {
            cv::Mat out(3, 3, CV_8UC1);
            ASSERT_EQ(resize<uchar>(in, whole(in), out, whole(out), 1, shift, code), ippStsNoErr);
            const uchar edge = shift < 0 ? in.at<uchar>(3, 4) : in.at<uchar>(0, 0);
            EXPECT_EQ(cv::countNonZero(out != edge), 0) << shift << " " << code;
        }
}
