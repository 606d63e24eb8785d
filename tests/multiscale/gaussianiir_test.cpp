#include <pixmill/multiscale/gaussianiir.h>
#include <reference/gaussian_iir.h>
#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

#include <climits>
#include <cmath>
#include <vector>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

cv::Mat blurReference(const cv::Mat& in, float sigma, int steps)
{
    cv::Mat out = in.clone();
    gaussianPlane(out, sigma, steps);
    return out;
}

} // namespace

TEST(GaussianIir2d, MatchesTheReferenceBitForBit)
{
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 9), cv::Size(33, 1), cv::Size(2, 2), cv::Size(64, 2),
                                cv::Size(64, 3), cv::Size(128, 64), cv::Size(70, 67), cv::Size(203, 157)})
        for (const float sigma : {0.4f, 3.0f, 50.0f})
            for (const int steps : {1, 2, 4}) {
                SCOPED_TRACE(testing::Message() << size << " sigma " << sigma << " steps " << steps);
                const cv::Mat in = randomPlane(size, CV_32FC1, -1, 3);
                const cv::Mat expected = blurReference(in, sigma, steps);
                everyWay([&] {
                    cv::Mat out = randomPlane(size, CV_32FC1, 0, 1, 7);
                    in.copyTo(out);
                    gaussianiir2d(out, sigma, steps);
                    ASSERT_TRUE(samePixels<float>(expected, out));
                });
            }
}

TEST(GaussianIir2d, TallPicturesTakeTheNarrowStripsAndWritesStayInTheView)
{
    cv::Mat in = randomPlane({21, 6100}, CV_32FC1, 0, 1), out = in.clone();
    gaussianiir2d(out, 9.0f, 2);
    EXPECT_TRUE(samePixels<float>(blurReference(in, 9.0f, 2), out));

    cv::Mat padded(40, 50, CV_32FC1, cv::Scalar(5)), view = padded(cv::Rect(3, 4, 35, 33));
    randomPlane(view.size(), CV_32FC1, 0, 1).copyTo(view);
    gaussianiir2d(view, 3.0f, 2);
    view = 5.0f;
    EXPECT_EQ(cv::countNonZero(padded != 5.0f), 0);
}

TEST(GaussianIir2d, NoStepsLeaveThePictureAndBadArgumentsThrow)
{
    const cv::Mat in = randomPlane({9, 8}, CV_32FC1, 0, 1);
    cv::Mat out = in.clone(), bytes = cv::Mat::zeros(4, 4, CV_8UC1), none;
    gaussianiir2d(out, 3.0f, 0);
    EXPECT_TRUE(samePixels<float>(in, out));
    EXPECT_THROWS_TEXT(gaussianiir2d(bytes, 3.0f, 2), "ERROR - gaussianiir2d - inOut.type()!=CV_32FC1");
    EXPECT_THROWS_TEXT(gaussianiir2d(none, 3.0f, 2), "ERROR - gaussianiir2d - inOut.type()!=CV_32FC1");
    EXPECT_THROWS_TEXT(gaussianiir2d(out, 0.0f, 2), "ERROR - gaussianiir2d - sigma <= 0 || numsteps < 0");
    EXPECT_THROWS_TEXT(gaussianiir2d(out, 3.0f, -1), "ERROR - gaussianiir2d - sigma <= 0 || numsteps < 0");
}

TEST(GaussianIir1d, FloatsMatchTheReferenceAndKeepAConstant)
{
    for (const long n : {1L, 2L, 17L, 256L})
        for (const int steps : {0, 1, 2, 3}) {
            const cv::Mat in = randomPlane({int(n), 1}, CV_32FC1, 0, 1);
            std::vector<float> expected(in.ptr<float>(), in.ptr<float>() + n), out = expected;
            if (steps > 0)
                gaussianLine<double>(expected, 2.5f, steps);
            gaussianiir1d(out.data(), n, 2.5f, steps);
            EXPECT_EQ(out, expected) << n << " " << steps;
        }
    std::vector<float> flat(300, 0.75f);
    gaussianiir1d(flat.data(), 300, 20.0f, 2);
    for (const float v : flat)
        ASSERT_NEAR(v, 0.75f, 2e-5f); // rounding of 1200 single-precision steps
}

TEST(GaussianIir1d, IntegersGoThroughFloatsAndBackRounded)
{
    std::vector<unsigned short> wide(1000);
    std::vector<unsigned char> bytes(1000);
    std::vector<float> fromWide(1000), fromBytes(1000);
    for (int i = 0; i < 1000; ++i) {
        fromWide[i] = wide[i] = (unsigned short)(i % 100 < 50 ? 65535 : i * 13);
        fromBytes[i] = bytes[i] = (unsigned char)(i % 70 < 30 ? 255 : i % 60);
    }
    const auto bytesBefore = bytes;
    gaussianiir1d(bytes.data(), 1000, -1.0f, 2);
    gaussianiir1d(bytes.data(), 1000, 3.0f, -2);
    gaussianiir1d(bytes.data(), 0, 3.0f, 2);
    gaussianiir1d(static_cast<unsigned short*>(nullptr), 10, 3.0f, 2);
    gaussianiir1d(static_cast<float*>(nullptr), 10, 3.0f, 2);
    EXPECT_EQ(bytes, bytesBefore);

    gaussianiir1d(wide.data(), 1000, 4.0f, 2);
    gaussianiir1d(fromWide.data(), 1000, 4.0f, 2);
    gaussianiir1d(bytes.data(), 1000, 4.0f, 2);
    gaussianiir1d(fromBytes.data(), 1000, 4.0f, 2);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(wide[i], std::min(65535L, std::max(0L, std::lrint(fromWide[i])))) << i;
        ASSERT_EQ(bytes[i], std::min(255L, std::max(0L, std::lrint(fromBytes[i])))) << i;
    }
}

TEST(GaussianIir3d, MatchesTheReferenceBitForBit)
{
    for (const cv::Vec3i& s : {cv::Vec3i(1, 1, 1), cv::Vec3i(5, 1, 3), cv::Vec3i(70, 35, 6), cv::Vec3i(3, 9, 40)}) {
        const int w = s[0], h = s[1], d = s[2];
        const cv::Mat in = randomPlane({w * h * d, 1}, CV_32FC1, 0, 1);
        std::vector<float> expected(in.ptr<float>(), in.ptr<float>() + w * h * d);
        const std::vector<float> before = expected;
        gaussianBlock(expected, w, h, d, 1.7f, 2);
        everyWay([&] {
            std::vector<float> out = before;
            gaussianiir3d(out.data(), w, h, d, 1.7f, 2);
            ASSERT_EQ(out, expected) << s;
            gaussianiir3d(out.data(), w, h, d, 0.0f, 2);
            gaussianiir3d(out.data(), w, h, d, 1.0f, -1);
            ASSERT_EQ(out, expected);
        });
    }
}

TEST(GaussianIir, CountsAndVolumesWithoutEndAreRefused)
{
    float v[4] = {1, 2, 3, 4};
    unsigned char bytes[4] = {};
    cv::Mat plane(2, 2, CV_32FC1, v), deep = solid(CV_32FC1);
    EXPECT_REFUSED(gaussianiir1d(v, 4, 1.0f, INT_MAX), "gaussianiir1d: numsteps is 2147483647, wanted 65536 or less");
    EXPECT_THROW(gaussianiir1d(bytes, 4, 1.0f, INT_MAX), cv::Exception);
    EXPECT_THROW(gaussianiir2d(plane, 1.0f, INT_MAX / 2), cv::Exception);
    EXPECT_THROW(gaussianiir2d(deep, 1.0f, 2), cv::Exception);
    EXPECT_THROW(gaussianiir3d(v, INT_MAX - 99, INT_MAX - 99, INT_MAX - 99, 1.0f, 2), cv::Exception);
    EXPECT_THROW(gaussianiir3d(nullptr, 1, 1, 1, 1.0f, 2), cv::Exception);
    EXPECT_EQ(v[3], 4.0f);
}
