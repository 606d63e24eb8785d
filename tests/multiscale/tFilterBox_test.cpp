#include <pixmill/core/TImage.h>
#include <pixmill/core/TProgress.h>
#include <pixmill/multiscale/tFilterBox.h>
#include <reference/box_mean.h>
#include <reference/stretch.h>
#include <support/everyway.h>
#include <support/host.h>
#include <support/planes.h>
#include <support/throws.h>

#include <opencv2/imgproc.hpp>

#include <climits>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

cv::Mat meanReference(const cv::Mat& in, int r)
{
    return in.depth() == CV_8U ? boxMeansAround<uchar>(in, r, cv::BORDER_REFLECT_101)
                               : boxMeansAround<ushort>(in, r, cv::BORDER_REFLECT_101);
}

cv::Mat filterReference(const cv::Mat& in, int radius, int passes)
{
    const int scale = int(float(radius) * 0.018518519f) + 1;
    cv::Mat current = in;
    const cv::Size small(std::max(1, in.cols / scale), std::max(1, in.rows / scale));
    if (scale > 1)
        current = stretched(in, small);
    for (int i = 0; i < passes; ++i)
        current = meanReference(current, radius / scale);
    cv::Mat out = current;
    if (scale > 1)
        out = stretched(current, in.size());
    return out;
}

TImage imageOf(TImage::IMTYPE type, const cv::Mat& pixels)
{
    TImage image(type, {pixels.cols, pixels.rows});
    image.fromMat(pixels, 0);
    return image;
}

} // namespace

TEST(TFilterBox, WidePicturesHaveNoSeamsHoweverManyRunIt)
{
    for (const cv::Mat& in : {scenePlane({1137, 21}, CV_16UC1, 0, 65536), scenePlane({1137, 21}, CV_8UC1, 0, 256)}) {
        const TImage::IMTYPE type = TImage::IMTYPE(in.depth() == CV_8U ? 2 : 0);
        const TImage image = imageOf(type, in);
        for (const int radius : {3, 60}) {
            const cv::Mat expected = filterReference(in, radius, 1);
            everyWay([&] {
                TImage out(type, image.size());
                tFilterBox(&image, &out, radius, 1, nullptr);
                EXPECT_TRUE(samePixels(expected, out.toMat(0)));
            });
        }
    }
}

TEST(TFilterBox, MatchesTheMirroredMeanAtEveryRadiusAndType)
{
    for (const int radius : {1, 3, 53, 54, 200})
        for (const cv::Size size : {cv::Size(1, 1), cv::Size(7, 1), cv::Size(60, 41), cv::Size(60, 40)})
            for (const int passes : {1, 2}) {
                SCOPED_TRACE(testing::Message() << "radius " << radius << " " << size << " passes " << passes);
                const cv::Mat wide = scenePlane(size, CV_16UC1, 0, 65536), bytes = scenePlane(size, CV_8UC1, 0, 256);
                const TImage in16 = imageOf(TImage::IMTYPE(0), wide), in8 = imageOf(TImage::IMTYPE(2), bytes);
                TImage out16(TImage::IMTYPE(0), in16.size()), out8(TImage::IMTYPE(2), in8.size());
                EXPECT_FALSE(tFilterBox(&in16, &out16, radius, passes, nullptr));
                EXPECT_FALSE(tFilterBox(&in8, &out8, radius, passes, nullptr));
                ASSERT_TRUE(samePixels<ushort>(filterReference(wide, radius, passes), out16.toMat(0)));
                ASSERT_TRUE(samePixels<uchar>(filterReference(bytes, radius, passes), out8.toMat(0)));
            }
}

TEST(TFilterBox, ItsStretchingIsThatOfTheImageLibrary)
{
    for (const cv::Mat& in : {randomPlane({83, 62}, CV_16UC1, 0, 65536), randomPlane({83, 62}, CV_8UC1, 0, 256)})
        for (const cv::Size size : {cv::Size(41, 31), cv::Size(20, 15), cv::Size(200, 130), cv::Size(1, 1)}) {
            cv::Mat librarys;
            cv::resize(in, librarys, size, 0, 0, cv::INTER_LINEAR);
            EXPECT_LE(cv::norm(librarys, stretched(in, size), cv::NORM_INF), 1) << size; // its own differ by that
        }
}

TEST(TFilterBox, WithoutRadiusOrPassesItCopies)
{
    const cv::Mat pixels = scenePlane({20, 10}, CV_16UC1, 0, 65536);
    const TImage in = imageOf(TImage::IMTYPE(0), pixels);
    for (const auto& [radius, passes] : {std::pair(0, 3), std::pair(4, 0)}) {
        TImage out(TImage::IMTYPE(0), {3, 3});
        RefusingHost host;
        TProgress progress(RefusingHost::callback, &host);
        EXPECT_FALSE(tFilterBox(&in, &out, radius, passes, &progress));
        EXPECT_EQ(host.reports, 1);
        EXPECT_TRUE(samePixels<ushort>(pixels, out.toMat(0)));
    }
}

TEST(TFilterBox, ARefusalAtAnyReportCountsAsCancelled)
{
    const TImage in = imageOf(TImage::IMTYPE(0), scenePlane({20, 10}, CV_16UC1, 0, 65536));
    for (int refuse = 0; refuse < 5; ++refuse) {
        TImage out = imageOf(TImage::IMTYPE(0), cv::Mat(10, 20, CV_16UC1, cv::Scalar(77)));
        RefusingHost host{refuse};
        TProgress progress(RefusingHost::callback, &host);
        EXPECT_EQ(tFilterBox(&in, &out, 2, 3, &progress), refuse < 4);
        const bool untouched = cv::countNonZero(out.toMat(0) != 77) == 0;
        EXPECT_EQ(untouched, refuse < 3) << refuse;
    }
}

TEST(TFilterBox, RejectsTypesThatDifferOrArePacked)
{
    const TImage wide(TImage::IMTYPE(0), {4, 4}), packed(TImage::IMTYPE(4), {4, 4});
    TImage bytes(TImage::IMTYPE(2), {4, 4}), packedOut(TImage::IMTYPE(4), {4, 4}), small(TImage::IMTYPE(0), {3, 4});
    EXPECT_THROWS_TEXT(tFilterBox(&wide, &bytes, 1, 1, nullptr), "tFilterBox - in_p->type() != out_p->type()");
    EXPECT_THROWS_TEXT(tFilterBox(&packed, &packedOut, 1, 1, nullptr), "tFilterBox - type not supported");
    EXPECT_THROWS_TEXT(tFilterBox(&wide, &small, 1, 1, nullptr), "ERROR - TImage::copyFrom - size is not equal");
}

TEST(TFilterBox, HostileArgumentsAreRefusedByName)
{
    TImage image(TImage::IMTYPE(0), {4, 4});
    EXPECT_REFUSED(tFilterBox(nullptr, &image, 1, 1, nullptr), "tFilterBox: in_p is null, wanted an image");
    EXPECT_REFUSED(tFilterBox(&image, nullptr, 1, 1, nullptr), "tFilterBox: out_p is null, wanted an image");
    EXPECT_REFUSED(tFilterBox(&image, &image, 1, INT_MAX, nullptr),
                   "tFilterBox: passes is 2147483647, wanted 65536 or less");
    EXPECT_FALSE(tFilterBox(&image, &image, INT_MAX, 1, nullptr));
}
