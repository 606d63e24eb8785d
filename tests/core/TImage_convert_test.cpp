#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

#include <pixmill/core/TImage.h>

using pixmill::test::everyWay;
using pixmill::test::oddSizes;
using pixmill::test::randomPlane;
using pixmill::test::samePixels;

namespace {

TImage imageOf(const cv::Mat& m, int type)
{
    TImage image(TImage::IMTYPE(type), TSize(m.cols, m.rows));
    m.copyTo(image.toMat(0));
    return image;
}

} // namespace

TEST(TImageConvert, SwappingRedAndBlueTwiceRestoresThePixels)
{
    for (const cv::Size size : oddSizes()) {
        SCOPED_TRACE(testing::Message() << size);
        const cv::Mat bytes = randomPlane(size, CV_8UC4, 0, 256), words = randomPlane(size, CV_16UC4, 0, 65536);
        everyWay([&] {
            TImage a = imageOf(bytes, 3), b = imageOf(words, 4);
            a.swapC4RBCannel();
            b.swapC4RBCannel();
            for (int y = 0; y < size.height; ++y)
                for (int x = 0; x < size.width; ++x) {
                    const auto p = bytes.at<cv::Vec4b>(y, x), q = a.toMat(0).at<cv::Vec4b>(y, x);
                    const auto v = words.at<cv::Vec4w>(y, x), w = b.toMat(0).at<cv::Vec4w>(y, x);
                    ASSERT_EQ(q, cv::Vec4b(p[2], p[1], p[0], p[3]));
                    ASSERT_EQ(w, cv::Vec4w(v[2], v[1], v[0], v[3]));
                }
            a.swapC4RBCannel();
            b.swapC4RBCannel();
            EXPECT_TRUE(samePixels<unsigned char>(bytes, a.toMat(0)));
            EXPECT_TRUE(samePixels<unsigned short>(words, b.toMat(0)));
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
        cv::Mat expected = cv::Mat::zeros((size.height + 1) / 2, (size.width + 1) / 2, CV_8UC1);
        for (int y = 0; y < size.height / 2; ++y)
            for (int x = 0; x < size.width / 2; ++x) {
                unsigned sum = 0;
                for (int k = 0; k < 4; ++k)
                    sum += luma.at<unsigned short>(2 * y + k / 2, 2 * x + k % 2);
                expected.at<unsigned char>(y, x) = sum / 1024;
            }
        const TImage image = imageOf(luma, 0);
        everyWay([&] { EXPECT_TRUE(samePixels<unsigned char>(expected, image.halfY8U())); });
    }
    EXPECT_THROW(TImage(TImage::IMTYPE(1), TSize(4, 4)).halfY8U(), cv::Exception);
}
