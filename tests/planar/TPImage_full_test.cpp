#include <pixmill/planar/TPImage.h>
#include <reference/ydrdb.h>
#include <support/everyway.h>
#include <support/planes.h>

#include <gmock/gmock.h>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

/// A picture whose differences have hard edges and reach the ends of their range.
TPImage picture(cv::Size size)
{
    TPImage image(size.width, size.height);
    const cv::Size half = halfOf(size);
    image.m_Y = randomPlane(size, CV_16UC1, 0, 65536, 1);
    image.m_Dr = randomPlane(half, CV_16UC1, 0, 65536, 2);
    image.m_Db = scenePlane(half, CV_16UC1, 0, 65536, 3);
    return image;
}

/// Three of the host's planes with rows of `step` pixels, all 7 at first.
struct HostPlanes {
    int step;
    std::vector<ushort> pixels[3];
    unsigned short* rgb[3];

    HostPlanes(cv::Size size, int extra) : step(size.width + extra)
    {
        for (int i = 0; i < 3; ++i) {
            pixels[i].assign(std::size_t(step) * size.height, 7);
            rgb[i] = pixels[i].data();
        }
    }
};

using Form = void (TPImage::*)(unsigned short**, int) const;

void expectFullColours(cv::Size size, const TPImage& image, Form form, Rgb (*colours)(int, int, int))
{
    const cv::Mat dr = enlarged<ushort>(image.m_Dr, size, 2, kCubic),
                  db = enlarged<ushort>(image.m_Db, size, 2, kCubic);
    for (const int extra : {0, 5}) {
        HostPlanes host(size, extra);
        (image.*form)(host.rgb, extra ? host.step * 2 : 0);
        int wrong = 0;
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < host.step; ++x) {
                const std::size_t i = std::size_t(y) * host.step + x;
                Rgb expected = {7, 7, 7}; // nothing between the rows is touched
                if (x < size.width)
                    expected = colours(image.m_Y.at<ushort>(y, x), dr.at<ushort>(y, x), db.at<ushort>(y, x));
                wrong += host.pixels[0][i] != expected.r || host.pixels[1][i] != expected.g ||
                         host.pixels[2][i] != expected.b;
            }
        EXPECT_EQ(wrong, 0) << size << ", stride of " << extra << " more";
    }
}

} // namespace

TEST(TPImageFull, EnlargesDifferencesCubicallyAndTurnsThemIntoColours)
{
    std::vector<cv::Size> sizes = oddSizes();
    for (const int width : {31, 32, 63, 64, 92, 95, 96, 160}) // ends of every kind for vectors of 64 columns
        sizes.push_back({width, 3});
    for (const cv::Size size : sizes) {
        const TPImage image = picture(size);
        everyWay([&] {
            expectFullColours(size, image, &TPImage::convertTopRGB, rgb16);
            expectFullColours(size, image, &TPImage::convertTopRGB15U, rgb15U);
        });
    }
}

TEST(TPImageFull, StrongColoursPassTheFifteenBitScale)
{
    TPImage image(4, 4);
    image.m_Y.setTo(65535);
    image.m_Dr.setTo(65535);
    image.m_Db.setTo(1);
    HostPlanes host({4, 4}, 0);
    image.convertTopRGB15U(host.rgb, 0);
    EXPECT_EQ(host.pixels[0][5], 65534);
    EXPECT_EQ(host.pixels[2][5], 0);
    image.convertTopRGB(host.rgb, 0);
    EXPECT_EQ(host.pixels[0][5], 65535);
    EXPECT_EQ(host.pixels[2][5], 1);
}

TEST(TPImageFull, AnEmptyPictureHasNothingToEnlargeInto)
{
    TPImage image(4, 4);
    image.release();
    HostPlanes host({4, 4}, 0);
    try {
        image.convertTopRGB(host.rgb, 0);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const char* text) {
        EXPECT_THAT(text, testing::HasSubstr("out2X is not allocated"));
    }
    image.create(4, 4, true);
    image.m_Db = cv::Mat::zeros(2, 2, CV_8UC1);
    EXPECT_THROW(image.convertTopRGB(host.rgb, 0), cv::Exception);
    EXPECT_EQ(host.pixels[0], std::vector<ushort>(16, 7));
}
