#include <pixmill/core/TImage.h>
#include <reference/ycm.h>
#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

#include <vector>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

TImage imageOf(const cv::Mat& m, int type)
{
    TImage image(TImage::IMTYPE(type), TSize(m.cols, m.rows));
    m.copyTo(image.toMat(0));
    return image;
}

/// Three images of a picture's size, filled with what a conversion may leave there.
struct Images {
    TImage y, c, m;

    explicit Images(cv::Size size)
        : y(TImage::IMTYPE(0), TSize(size.width, size.height)), c(TImage::IMTYPE(1), TImage::dec2Size(y.size())),
          m(TImage::IMTYPE(2), c.size())
    {
        y.toMat(0) = cv::Scalar(4711);
        for (int k = 0; k < 2; ++k)
            c.toMat(k) = cv::Scalar(13 + k);
        m.toMat(0) = cv::Scalar(99);
    }

    Ycm planes() const { return {y.toMat(0), c.toMat(0), c.toMat(1), m.toMat(0)}; }
};

testing::AssertionResult same(const Ycm& e, const Ycm& a)
{
    for (const auto& result :
         {samePixels(e.y, a.y), samePixels(e.c0, a.c0), samePixels(e.c1, a.c1), samePixels(e.m, a.m)})
        if (!result)
            return result;
    return testing::AssertionSuccess();
}

std::vector<cv::Size> sizes()
{
    std::vector<cv::Size> all = oddSizes();
    all.push_back({1029, 6}); // wider than what is worked on at a time
    all.push_back({513, 3});
    all.push_back({512, 4});
    return all;
}

} // namespace

TEST(TImageConvert, DepthsAreScaledOverTheirFullRange)
{
    cv::Mat words(16, 1024, CV_16UC4);
    for (int i = 0; i < 65536; ++i)
        words.ptr<ushort>(i / 4096)[i % 4096] = ushort(i);
    TImage wide = imageOf(words, 4), bytes(TImage::IMTYPE(3), TSize(0, 0));
    TImage::rgba16uTo8u(wide, bytes);
    EXPECT_TRUE(samePixels<uchar>(narrowed(words), bytes.toMat(0)));
    TImage::rgba8uTo16u(bytes, wide);
    for (int i = 0; i < 65536; ++i)
        ASSERT_EQ(wide.toMat(0).ptr<ushort>(i / 4096)[i % 4096], bytes.toMat(0).ptr(i / 4096)[i % 4096] * 257);
}

TEST(TImageConvert, PackedPixelsBecomeYcm)
{
    for (const cv::Size size : sizes()) {
        SCOPED_TRACE(testing::Message() << size);
        const cv::Mat words = randomPlane(size, CV_16UC4, 0, 65536), bytes = randomPlane(size, CV_8UC4, 0, 256),
                      host = randomPlane(size, CV_8UC4, 0, 256, 3), hostBefore = host.clone();
        words.row(0) = cv::Scalar::all(65535);
        const TImage in16 = imageOf(words, 4), in8 = imageOf(bytes, 3);
        const Ycm from16 = toYcm(words, Images(size).planes()), from8 = toYcm(bytes, Images(size).planes()),
                  fromHost = toYcm(reordered(host), Images(size).planes());
        everyWay([&] {
            Images a(size), b(size), c(size);
            TImage::rgba16uToYCM(in16, a.y, a.c, a.m);
            TImage::rgba8uToYCM(in8, b.y, b.c, b.m);
            TImage::bgra8uToTImage(host.data, size.width, size.height, int(host.step), c.y, c.c, c.m);
            EXPECT_TRUE(same(from16, a.planes()));
            EXPECT_TRUE(same(from8, b.planes()));
            EXPECT_TRUE(same(fromHost, c.planes()));
            EXPECT_TRUE(samePixels<uchar>(hostBefore, host));
        });
    }
}

TEST(TImageConvert, YcmBecomesPackedPixels)
{
    for (const cv::Size size : sizes()) {
        SCOPED_TRACE(testing::Message() << size);
        Images in(size);
        cv::RNG rng(6);
        for (cv::Mat plane : {in.y.toMat(0), in.c.toMat(0), in.c.toMat(1), in.m.toMat(0)})
            rng.fill(plane, cv::RNG::UNIFORM, 0, plane.depth() == CV_8U ? 256 : 65536);
        const cv::Mat expected16 = fromYcm(in.planes()), expected8 = narrowed(expected16);
        everyWay([&] {
            TImage out16(TImage::IMTYPE(4), in.y.size()), out8(TImage::IMTYPE(3), in.y.size());
            const cv::Mat host = randomPlane(size, CV_8UC4, 0, 256), frame = host.clone();
            TImage::YCMToRgba16u(in.y, in.c, in.m, out16);
            TImage::YCMToRgba8u(in.y, in.c, in.m, out8);
            TImage::timageToBgra8u(in.y, in.c, in.m, host.data, int(host.step));
            EXPECT_TRUE(samePixels<ushort>(expected16, out16.toMat(0)));
            EXPECT_TRUE(samePixels<uchar>(expected8, out8.toMat(0)));
            EXPECT_TRUE(samePixels<uchar>(reordered(expected8), host));
        });
    }
}

TEST(TImageConvert, PicturesNoCacheHoldsBecomeTheSamePixels)
{
    const cv::Size size(3333, 1999); // more than 24 megabytes either way
    Images in(size);
    for (cv::Mat plane : {in.y.toMat(0), in.c.toMat(0), in.c.toMat(1), in.m.toMat(0)})
        cv::RNG(6).fill(plane, cv::RNG::UNIFORM, 0, plane.depth() == CV_8U ? 256 : 65536);
    cv::Mat first16, first8;
    PolicyGuard guard;
    for (const int level : {0, pixmill::rows::rowPolicy().level}) {
        pixmill::rows::rowPolicy().level = level;
        TImage out(TImage::IMTYPE(4), in.y.size());
        cv::Mat host(size.height, size.width + 7, CV_8UC4, cv::Scalar::all(1));
        TImage::YCMToRgba16u(in.y, in.c, in.m, out);
        TImage::timageToBgra8u(in.y, in.c, in.m, host.data, int(host.step));
        if (first8.empty()) {
            first16 = out.toMat(0).clone();
            first8 = host;
        }
        EXPECT_TRUE(samePixels<ushort>(first16, out.toMat(0)));
        EXPECT_TRUE(samePixels<uchar>(first8, host));
    }
}

TEST(TImageConvert, EveryMaskValueBecomesItsAlpha)
{
    Images in({512, 2});
    for (int m = 0; m < 256; ++m)
        in.m.toMat(0).at<uchar>(m) = uchar(m);
    TImage out(TImage::IMTYPE(4), in.y.size());
    TImage::YCMToRgba16u(in.y, in.c, in.m, out);
    EXPECT_TRUE(samePixels<ushort>(fromYcm(in.planes()), out.toMat(0)));
    in.m.toMat(0) = cv::Scalar(255);
    TImage::YCMToRgba16u(in.y, in.c, in.m, out);
    EXPECT_EQ(out.toMat(0).at<cv::Vec4w>(0, 0)[3], 65279);
}

TEST(TImageConvert, GreyHasNoColourAndSmallDifferencesTruncate)
{
    TImage grey(TImage::IMTYPE(4), TSize(2, 2)), y(TImage::IMTYPE(0), TSize(0, 0)), c(TImage::IMTYPE(1), TSize(0, 0)),
        m(TImage::IMTYPE(2), TSize(0, 0));
    for (const int level : {0, 1, 30000, 65535}) {
        grey.toMat(0) = cv::Scalar::all(level);
        TImage::rgba16uToYCM(grey, y, c, m);
        EXPECT_EQ(y.toMat(0).at<ushort>(1, 1), level);
        EXPECT_EQ(c.toMat(0).at<uchar>(0), 128);
        EXPECT_EQ(c.toMat(1).at<uchar>(0), 128);
        EXPECT_EQ(m.toMat(0).at<uchar>(0), level / 256);
    }
    grey.toMat(0) = cv::Scalar(999, 1000, 1000, 0); // a red difference of -1
    TImage::rgba16uToYCM(grey, y, c, m);
    EXPECT_EQ(c.toMat(0).at<uchar>(0), 128);
}

TEST(TImageConvert, ChromaFollowsAChangedLuma)
{
    for (const cv::Size size : sizes()) {
        SCOPED_TRACE(testing::Message() << size);
        Images in(size), out(size);
        TImage oldY = imageOf(randomPlane(size, CV_16UC1, 0, 65536, 1), 0),
               newY = imageOf(randomPlane(size, CV_16UC1, 0, 65536, 2), 0);
        cv::RNG(9).fill(in.c.toMat(0), cv::RNG::UNIFORM, 0, 256);
        cv::RNG(10).fill(in.c.toMat(1), cv::RNG::UNIFORM, 0, 256);
        if (size.area() > 100)
            oldY.toMat(0)(cv::Rect(0, 0, 6, 2)) = cv::Scalar(0); // without a guard: x / 0 and 0 / 0
        const cv::Mat before = oldY.halfY8U(), after = newY.halfY8U();
        for (const float guard : {0.05f, 1.0f, 0.0f}) {
            const cv::Mat expected = planeOf<cv::Vec2b>(before.size(), [&](int y, int x) {
                return followedLuma(before.at<uchar>(y, x), after.at<uchar>(y, x), in.c.toMat(0).at<uchar>(y, x),
                                    in.c.toMat(1).at<uchar>(y, x), guard);
            });
            cv::Mat planes[2];
            cv::split(expected, planes);
            everyWay([&] {
                TImage inPlace(in.c);
                TImage::updateCfromYChange(oldY, in.c, newY, out.c, guard);
                TImage::updateCfromYChange(oldY, inPlace, newY, inPlace, guard);
                for (const TImage* c : {&out.c, &inPlace}) {
                    EXPECT_TRUE(samePixels<uchar>(planes[0], c->toMat(0)));
                    EXPECT_TRUE(samePixels<uchar>(planes[1], c->toMat(1)));
                }
            });
        }
    }
}

TEST(TImageConvert, RejectsPicturesThatDoNotBelongTogether)
{
    const char* text = "TImage::YCMToRgba16u - imY.size()!=out.size() || TImage::dec2Size(imY.size()) != imC.size() || "
                       "imC.size() != mask.size()";
    Images in({5, 4});
    TImage out(TImage::IMTYPE(4), TSize(5, 4)), out8(TImage::IMTYPE(3), TSize(5, 4)),
        other(TImage::IMTYPE(4), TSize(4, 4)), c(TImage::IMTYPE(1), TSize(2, 2)), m(TImage::IMTYPE(2), TSize(3, 1));
    uchar host[80] = {};
    EXPECT_THROWS_TEXT(TImage::YCMToRgba16u(in.y, in.c, in.m, other), text);
    EXPECT_THROWS_TEXT(TImage::YCMToRgba16u(in.y, c, in.m, out), text);
    EXPECT_THROWS_TEXT(TImage::YCMToRgba8u(in.y, in.c, m, out8), text);
    EXPECT_THROWS_TEXT(TImage::timageToBgra8u(in.y, c, in.m, host, 20), text);

    EXPECT_THROW(TImage::YCMToRgba16u(in.y, in.c, in.m, out8), cv::Exception);
    EXPECT_THROW(TImage::rgba8uTo16u(out, out), cv::Exception);
    EXPECT_THROW(TImage::rgba16uTo8u(out, in.m), cv::Exception);
    EXPECT_THROW(TImage::rgba16uToYCM(out8, in.y, in.c, in.m), cv::Exception);
    EXPECT_THROW(TImage::rgba16uToYCM(out, in.c, in.y, in.m), cv::Exception);
    EXPECT_THROW(TImage::bgra8uToTImage(nullptr, 5, 4, 20, in.y, in.c, in.m), cv::Exception);
    EXPECT_THROW(TImage::updateCfromYChange(in.y, c, in.y, in.c, 1), cv::Exception);
    EXPECT_THROW(TImage::updateCfromYChange(in.y, in.c, in.m, in.c, 1), cv::Exception);
    TImage wrapper(TSize(4, 4), host, 20, false); // too small, and cannot grow
    EXPECT_THROW(TImage::rgba16uTo8u(out, wrapper), cv::Exception);

    TImage nothing(TImage::IMTYPE(4), TSize(0, 0));
    TImage::rgba16uToYCM(nothing, in.y, in.c, in.m);
    EXPECT_TRUE(in.y.size() == TSize(0, 0) && in.c.size() == TSize(0, 0) && in.m.size() == TSize(0, 0));
    TImage::YCMToRgba16u(in.y, in.c, in.m, nothing);
    cv::Mat none;
    YCMtoRGB(none, none, none);
    RGBtoYCM(none, none, none);
}

TEST(TImageConvert, SwappingRedAndBlueTwiceRestoresThePixels)
{
    for (const cv::Size size : oddSizes()) {
        SCOPED_TRACE(testing::Message() << size);
        const cv::Mat bytes = randomPlane(size, CV_8UC4, 0, 256), words = randomPlane(size, CV_16UC4, 0, 65536);
        everyWay([&] {
            TImage a = imageOf(bytes, 3), b = imageOf(words, 4);
            a.swapC4RBCannel();
            b.swapC4RBCannel();
            cv::Mat swapped(size, CV_16UC4);
            cv::mixChannels(words, swapped, {0, 2, 1, 1, 2, 0, 3, 3});
            EXPECT_TRUE(samePixels<uchar>(reordered(bytes), a.toMat(0)));
            EXPECT_TRUE(samePixels<ushort>(swapped, b.toMat(0)));
            a.swapC4RBCannel();
            b.swapC4RBCannel();
            EXPECT_TRUE(samePixels<uchar>(bytes, a.toMat(0)));
            EXPECT_TRUE(samePixels<ushort>(words, b.toMat(0)));
        });
    }
    for (const int type : {0, 1, 2})
        EXPECT_THROWS_TEXT(TImage(TImage::IMTYPE(type), TSize(2, 2)).swapC4RBCannel(),
                           "ERROR -  TImage::swapC4RBCannel() - wrong type");
}

TEST(TImageConvert, HalfLumaIsTheMeanOfWholeBlocks)
{
    for (const cv::Size size : oddSizes()) {
        SCOPED_TRACE(testing::Message() << size);
        const cv::Mat luma = randomPlane(size, CV_16UC1, 0, 65536);
        const cv::Mat expected = halfLuma(luma);
        const TImage image = imageOf(luma, 0);
        everyWay([&] { EXPECT_TRUE(samePixels<uchar>(expected, image.halfY8U())); });
    }
    EXPECT_THROW(TImage(TImage::IMTYPE(1), TSize(4, 4)).halfY8U(), cv::Exception);
}
