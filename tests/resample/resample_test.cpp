#include <pixmill/resample/resample.h>

#include <support/planes.h>
#include <support/throws.h>

#include <opencv2/imgproc.hpp>

using pixmill::test::randomPlane;
using pixmill::test::samePixels;

TEST(Resample, DoublingCopiesEvenPixelsAndHalvingPicksThem)
{
    const cv::Mat in = randomPlane({9, 5}, CV_16UC1, 0, 65536);
    cv::Mat twice(10, 18, CV_16UC1), back(5, 9, CV_16UC1);
    for (const int code : {1, 2, 4}) {
        upSize2X(in, twice, code);
        downSize2X(twice, back, code);
        EXPECT_TRUE(samePixels<ushort>(in, back)) << code;
    }
}
