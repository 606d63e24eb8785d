#include <pixmill/resample/blend.h>
#include <reference/blend.h>
#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

template <class T>
void compareBlends(int type, double high)
{
    for (const cv::Size size : oddSizes()) {
        const cv::Mat in0 = randomPlane(size, type, 0, high, 1), in1 = randomPlane(size, type, 0, high, 2);
        const cv::Mat alpha = randomPlane(size, CV_8UC1, 0, 256, 3);
        everyWay([&] {
            for (const float opacity : {0.37f, 1.0f, -2.5f}) {
                SCOPED_TRACE(testing::Message() << size << " opacity " << opacity);
                const cv::Mat right = blended<T>(in0, in1, alpha, opacity);
                cv::Mat out, over0 = in0.clone(), over1 = in1.clone();
                blendAlpha(in0, in1, alpha, out, opacity);
                ASSERT_TRUE(samePixels<T>(right, out));
                blendAlpha(over0, in1, alpha, over0, opacity);
                ASSERT_TRUE(samePixels<T>(right, over0));
                blendAlpha(in0, over1, alpha, over1, opacity);
                ASSERT_TRUE(samePixels<T>(right, over1));
            }
        });
    }
}

} // namespace

TEST(BlendAlpha, MatchesTheReferenceBitForBitAlsoInPlace)
{
    compareBlends<uchar>(CV_8UC1, 256);
    compareBlends<ushort>(CV_16UC1, 65536);
    compareBlends<float>(CV_32FC1, 1);
}

TEST(BlendAlpha, AlphaIsReadAsBytesWhateverItsType)
{
    const cv::Mat in0 = randomPlane({9, 5}, CV_16UC1, 0, 65536, 1), in1 = randomPlane({9, 5}, CV_16UC1, 0, 65536, 2);
    const cv::Mat alpha = randomPlane({9, 7}, CV_16UC1, 0, 65536, 3);
    cv::Mat out;
    blendAlpha(in0, in1, alpha, out, 1.0f);
    EXPECT_TRUE(samePixels<ushort>(blended<ushort>(in0, in1, alpha, 1.0f), out));
    EXPECT_THROW(blendAlpha(in0, in1, alpha.rowRange(0, 4), out, 1.0f), cv::Exception);
    EXPECT_THROW(blendAlpha(in0, in1, alpha.colRange(0, 4), out, 1.0f), cv::Exception);
}

TEST(BlendAlpha, AnOutputThatSharesPixelsGivesWhatASeparateOneGives)
{
    cv::Mat field = randomPlane({40, 30}, CV_16UC1, 0, 65536, 4);
    const cv::Mat other = randomPlane({20, 15}, CV_16UC1, 0, 65536, 5),
                  alpha = randomPlane({20, 15}, CV_8UC1, 0, 256, 6);
    for (const cv::Point at : {cv::Point(3, 2), cv::Point(5, 2), cv::Point(4, 3), cv::Point(2, 1)}) {
        cv::Mat whole = field.clone();
        const cv::Mat in = whole(cv::Rect(4, 2, 20, 15));
        cv::Mat out = whole(cv::Rect(at.x, at.y, 20, 15));
        const cv::Mat right = blended<ushort>(in, other, alpha, 0.8f);
        blendAlpha(in, other, alpha, out, 0.8f);
        EXPECT_TRUE(samePixels<ushort>(right, out)) << at;
    }
    // The alpha plane's own header as output, of the same and of another type.
    cv::Mat weights = alpha.clone();
    const cv::Mat byte0 = randomPlane({20, 15}, CV_8UC1, 0, 256, 7), byte1 = randomPlane({20, 15}, CV_8UC1, 0, 256, 8);
    blendAlpha(byte0, byte1, weights, weights, 0.8f);
    EXPECT_TRUE(samePixels<uchar>(blended<uchar>(byte0, byte1, alpha, 0.8f), weights));
    weights = alpha.clone();
    blendAlpha(other, other, weights, weights, 0.8f);
    EXPECT_TRUE(samePixels<ushort>(blended<ushort>(other, other, alpha, 0.8f), weights));
}

TEST(BlendAlpha, FullAlphaMayFallOneShortAndAnOutputThatFitsStays)
{
    cv::Mat in0(1, 256, CV_8UC1), in1(1, 256, CV_8UC1), alpha(1, 256, CV_8UC1, cv::Scalar(255)), out;
    for (int i = 0; i < 256; ++i) {
        in0.at<uchar>(i) = uchar(255 - i);
        in1.at<uchar>(i) = uchar(i);
    }
    blendAlpha(in0, in1, alpha, out, 1.0f);
    const uchar* const data = out.data;
    for (int i = 0; i < 256; ++i)
        EXPECT_LE(std::abs(out.at<uchar>(i) - i), 1);
    blendAlpha(in0, in1, alpha, out, 0.0f);
    EXPECT_TRUE(samePixels<uchar>(in0, out));
    EXPECT_EQ(out.data, data);
}

TEST(BlendAlpha, RejectsWhatDoesNotMatch)
{
    const cv::Mat a(4, 4, CV_16UC1), b(4, 4, CV_8UC1), c(4, 5, CV_16UC1), d(4, 4, CV_16UC3), alpha(4, 4, CV_8UC1);
    cv::Mat out;
    EXPECT_THROWS_TEXT(blendAlpha(a, b, alpha, out, 1), "ERROR - blendAlpha - in0.type()!=in1.type()");
    EXPECT_THROWS_TEXT(blendAlpha(a, c, alpha, out, 1), "ERROR - blendAlpha - in0.size() !=in1.size()");
    EXPECT_TRUE(out.empty());
    EXPECT_THROWS_TEXT(blendAlpha(d, d, alpha, out, 1), "ERROR - blendAlpha - in0 type");
}

TEST(BlendC, ScalesRoundsToEvenAndSaturates)
{
    for (const cv::Size size : oddSizes()) {
        const cv::Mat in = randomPlane(size, CV_8UC1, 0, 256);
        everyWay([&] {
            for (const float factor : {0.5f, 0.7f, 3.0f, -1.0f, 1e30f, -INFINITY}) {
                SCOPED_TRACE(testing::Message() << size << " times " << factor);
                cv::Mat out = randomPlane(size, CV_8UC1, 0, 256, 2), same = in.clone();
                blendC(in.data, int(in.step), out.data, int(out.step), in.cols, in.rows, factor);
                ASSERT_TRUE(samePixels<uchar>(scaled(in, factor), out));
                blendC(same.data, int(same.step), same.data, int(same.step), in.cols, in.rows, factor);
                ASSERT_TRUE(samePixels<uchar>(out, same));
            }
        });
    }
    blendC(nullptr, 0, nullptr, 0, 0, 5, 1);
    EXPECT_THROW(blendC(nullptr, 1, nullptr, 1, 1, 1, 1), cv::Exception);
}

TEST(ExtremeSharpen, MatchesTheReferenceBitForBitAlsoInPlace)
{
    std::vector<cv::Size> sizes = oddSizes();
    sizes.insert(sizes.end(), {{2, 9}, {9, 2}, {3, 3}, {3, 40}, {2500, 5}});
    for (const cv::Size size : sizes)
        for (const double high : {65536.0, 4.0}) { // few levels: ties and flat areas
            SCOPED_TRACE(testing::Message() << size << " below " << high);
            const cv::Mat in = randomPlane(size, CV_16UC1, 0, high);
            const cv::Mat right = sharpened(in);
            everyWay([&] {
                cv::Mat out, same = in.clone();
                extremeSharpen(in, out);
                ASSERT_TRUE(samePixels<ushort>(right, out));
                extremeSharpen(same, same);
                ASSERT_TRUE(samePixels<ushort>(right, same));
            });
        }
}

TEST(ExtremeSharpen, OverlappingViewsGiveWhatSeparatePlanesGive)
{
    const cv::Mat field = randomPlane({60, 50}, CV_16UC1, 0, 65536);
    for (const cv::Point at : {cv::Point(4, 5), cv::Point(5, 5), cv::Point(4, 6), cv::Point(3, 4)}) {
        cv::Mat whole = field.clone();
        const cv::Mat in = whole(cv::Rect(4, 5, 40, 30));
        cv::Mat out = whole(cv::Rect(at.x, at.y, 40, 30));
        const cv::Mat right = sharpened(in);
        extremeSharpen(in, out);
        EXPECT_TRUE(samePixels<ushort>(right, out)) << at;
    }
}

TEST(ExtremeSharpen, RejectsOtherTypesAndTakesAnEmptyPicture)
{
    cv::Mat out;
    for (const int type : {CV_8UC1, CV_16UC3, CV_16SC1, CV_32FC1})
        EXPECT_THROWS_TEXT(extremeSharpen(cv::Mat(4, 4, type), out), "ERROR - extremeSharpen - in.type()!=CV_16UC1");
    EXPECT_TRUE(out.empty());
    extremeSharpen(cv::Mat(0, 0, CV_16UC1), out);
    EXPECT_TRUE(out.empty());
}
