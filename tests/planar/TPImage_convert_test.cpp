#include <pixmill/planar/TPImage.h>
#include <reference/ydrdb.h>
#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

#include <array>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

/// Planes of R, G and B with a common padded step, as a host passes them.
struct HostPlanes {
    std::array<cv::Mat, 3> planes;
    std::array<ushort*, 3> rgb;
    int stride;

    HostPlanes(cv::Size size, double high, unsigned seed = 1)
    {
        for (unsigned i = 0; i < 3; ++i) {
            planes[i] = randomPlane(size, CV_16UC1, 0, high, seed + i);
            rgb[i] = planes[i].ptr<ushort>();
        }
        stride = int(planes[0].step);
    }
};

void expectPicture(const YDrDb& expected, const TPImage& image)
{
    EXPECT_TRUE(samePixels<ushort>(expected.y, image.m_Y));
    EXPECT_TRUE(samePixels<ushort>(expected.dr, image.m_Dr));
    EXPECT_TRUE(samePixels<ushort>(expected.db, image.m_Db));
    EXPECT_TRUE(samePixels<uchar>(cv::Mat(expected.dr.size(), CV_8UC1, cv::Scalar(255)), image.m_mask));
}

YDrDb convertedReference(const std::array<cv::Mat, 3>& rgb, bool is15U)
{
    return encoded(rgb[0], rgb[1], rgb[2], is15U);
}

/// R, G and B planes of packed B, G, R, x pixels, multiplied by `gain`.
std::array<cv::Mat, 3> unpacked(const cv::Mat& pixels, int gain)
{
    std::array<cv::Mat, 4> channels;
    cv::split(pixels, channels.data());
    for (cv::Mat& plane : channels)
        plane.convertTo(plane, CV_16U, gain);
    return {channels[2], channels[1], channels[0]};
}

struct PixelCase {
    const char* name;
    bool is15U;
    ushort r, g, b;
    ushort y, dr, db;
};

// clang-format off
const PixelCase kPixels[] = {
    // name                     15U    r      g      b      Y      Dr     Db
    {"black",                   false, 0,     0,     0,     0,     32768, 32768},
    {"greyHasNoColour",         false, 32768, 32768, 32768, 32768, 32768, 32768},
    {"whiteReachesTheTop",      false, 65535, 65535, 65535, 65535, 32768, 32768},
    {"fullRed",                 false, 65535, 0,     0,     19595, 55738, 22971},
    {"oddDifferenceTruncates",  false, 0,     0,     6,     1,     32768, 32770},
    {"fullGreenIsStrongest",    false, 0,     65535, 0,     38469, 13534, 13534},
    {"doublingRoundsOnce",      true,  1,     1,     1,     2,     32768, 32768},
    {"whiteOf15UClamps",        true,  32768, 32768, 32768, 65535, 32769, 32769},
    {"beyond15UWhite",          true,  65535, 65535, 65535, 65535, 65535, 65535},
    {"red15U",                  true,  32768, 0,     0,     19595, 55739, 22971},
};
// clang-format on

class TPImagePixel : public testing::TestWithParam<PixelCase> {};

} // namespace

TEST_P(TPImagePixel, IsEncodedAsExpected)
{
    const PixelCase& p = GetParam();
    cv::Mat r(1, 1, CV_16UC1, cv::Scalar(p.r)), g(1, 1, CV_16UC1, cv::Scalar(p.g)), b(1, 1, CV_16UC1, cv::Scalar(p.b));
    ushort* rgb[] = {r.ptr<ushort>(), g.ptr<ushort>(), b.ptr<ushort>()};
    TPImage image(0, 0);
    if (p.is15U)
        image.convertFrompRGB15U(rgb, 1, 1, 0);
    else
        image.convertFrompRGB(rgb, 1, 1, 0);
    EXPECT_EQ(image.m_Y.at<ushort>(0), p.y);
    EXPECT_EQ(image.m_Dr.at<ushort>(0), p.dr);
    EXPECT_EQ(image.m_Db.at<ushort>(0), p.db);
}

INSTANTIATE_TEST_SUITE_P(Table, TPImagePixel, testing::ValuesIn(kPixels),
                         [](const auto& info) { return info.param.name; });

TEST(TPImageConvert, PackedPixelsMatchTheReferenceBitForBit)
{
    for (const cv::Size size : oddSizes()) {
        SCOPED_TRACE(testing::Message() << size);
        const cv::Mat bytes = randomPlane(size, CV_8UC4, 0, 256), words = randomPlane(size, CV_16UC4, 0, 65536);
        const YDrDb fromBytes = convertedReference(unpacked(bytes, 256), false);
        const YDrDb fromWords = convertedReference(unpacked(words, 1), false);
        everyWay([&] {
            TPImage image(0, 0);
            image.convertFrom(bytes.ptr<uchar>(), size.width, size.height, int(bytes.step));
            expectPicture(fromBytes, image);
            image.convertFrom(words.ptr<ushort>(), size.width, size.height, int(words.step1()));
            expectPicture(fromWords, image);
        });
    }
}

TEST(TPImageConvert, PlanesMatchTheReferenceBitForBit)
{
    for (const cv::Size size : oddSizes()) {
        SCOPED_TRACE(testing::Message() << size);
        HostPlanes full(size, 65536, 1), half(size, 32769, 5), beyond(size, 65536, 9);
        const YDrDb from16 = convertedReference(full.planes, false);
        const YDrDb from15U = convertedReference(half.planes, true);
        const YDrDb fromBeyond = convertedReference(beyond.planes, true);
        everyWay([&] {
            TPImage image(0, 0);
            image.convertFrompRGB(full.rgb.data(), size.width, size.height, full.stride);
            expectPicture(from16, image);
            image.convertFrompRGB15U(half.rgb.data(), size.width, size.height, half.stride);
            expectPicture(from15U, image);
            image.convertFrompRGB15U(beyond.rgb.data(), size.width, size.height, beyond.stride);
            expectPicture(fromBeyond, image);

            cv::Mat y;
            TPImage::PRGB2Y(full.planes[0], full.planes[1], full.planes[2], y);
            EXPECT_TRUE(samePixels<ushort>(from16.y, y));
            TPImage::PRGB15U2Y(beyond.planes[0], beyond.planes[1], beyond.planes[2], y);
            EXPECT_TRUE(samePixels<ushort>(fromBeyond.y, y));
        });
    }
}

TEST(TPImageConvert, AStrideOfZeroMeansTightRows)
{
    const cv::Size size(7, 5);
    HostPlanes padded(size, 65536);
    std::array<cv::Mat, 3> tight;
    std::array<ushort*, 3> rgb;
    for (int i = 0; i < 3; ++i) {
        tight[i] = padded.planes[i].clone();
        rgb[i] = tight[i].ptr<ushort>();
    }
    TPImage image(0, 0);
    image.convertFrompRGB(rgb.data(), size.width, size.height, 0);
    expectPicture(convertedReference(padded.planes, false), image);
}

TEST(TPImageConvert, PackedRowsMayGoUpwards)
{
    const cv::Mat pixels = randomPlane({9, 6}, CV_8UC4, 0, 256);
    cv::Mat flipped;
    cv::flip(pixels, flipped, 0);
    TPImage image(0, 0);
    image.convertFrom(pixels.ptr<uchar>(5), 9, 6, -int(pixels.step));
    expectPicture(convertedReference(unpacked(flipped, 256), false), image);
}

TEST(TPImageConvert, LumaMayReplaceOneOfItsPlanes)
{
    HostPlanes host({203, 5}, 65536);
    const cv::Mat expected = convertedReference(host.planes, false).y;
    cv::Mat y = host.planes[1];
    TPImage::PRGB2Y(host.planes[0], host.planes[1], host.planes[2], y);
    EXPECT_EQ(y.data, host.planes[1].data);
    EXPECT_TRUE(samePixels<ushort>(expected, y));

    cv::Mat wide = randomPlane({210, 8}, CV_16UC1, 0, 65536, 7);
    const cv::Mat g = wide(cv::Rect(0, 0, 203, 5)).clone();
    TPImage::PRGB2Y(host.planes[0], wide, host.planes[2], wide); // another size: replaced, but read to the end
    EXPECT_TRUE(samePixels<ushort>(convertedReference({host.planes[0], g, host.planes[2]}, false).y, wide));
}

TEST(TPImageConvert, TheIdRisesOnceForPackedPixelsAndNotForPlanes)
{
    const cv::Mat bytes = randomPlane({4, 4}, CV_8UC4, 0, 256), words = randomPlane({4, 4}, CV_16UC4, 0, 65536);
    HostPlanes host({4, 4}, 65536);
    TPImage image(4, 4);
    const uchar* planes[] = {image.m_Y.data, image.m_Dr.data, image.m_Db.data, image.m_mask.data};
    const int id = image.uid();
    image.convertFrompRGB(host.rgb.data(), 4, 4, host.stride);
    image.convertFrompRGB15U(host.rgb.data(), 4, 4, host.stride);
    EXPECT_EQ(image.uid(), id);
    image.convertFrom(bytes.ptr<uchar>(), 4, 4, int(bytes.step));
    EXPECT_EQ(image.uid(), id + 1);
    image.convertFrom(words.ptr<ushort>(), 4, 4, int(words.step1()));
    EXPECT_EQ(image.uid(), id + 2);
    EXPECT_TRUE(planes[0] == image.m_Y.data && planes[1] == image.m_Dr.data && planes[2] == image.m_Db.data &&
                planes[3] == image.m_mask.data);
}

TEST(TPImageConvert, WithoutPixelsNothingHappens)
{
    const cv::Mat bytes = randomPlane({4, 4}, CV_8UC4, 0, 256);
    TPImage image(0, 0);
    image.convertFrom(bytes.ptr<uchar>(), 4, 4, int(bytes.step));
    const TPImage before = image.clone(true);
    const int id = image.uid();
    ushort* none[] = {nullptr, nullptr, nullptr};
    for (const cv::Size size : {cv::Size(4, 0), cv::Size(0, 4), cv::Size(-1, 4), cv::Size(-70000, -70000)}) {
        image.convertFrom(static_cast<const uchar*>(nullptr), size.width, size.height, 16);
        image.convertFrom(static_cast<const ushort*>(nullptr), size.width, size.height, 16);
        image.convertFrompRGB(none, size.width, size.height, 0);
        image.convertFrompRGB15U(nullptr, size.width, size.height, 0);
    }
    EXPECT_EQ(image.uid(), id);
    EXPECT_TRUE(samePixels<ushort>(before.m_Y, image.m_Y));
    EXPECT_TRUE(samePixels<ushort>(before.m_Dr, image.m_Dr));
}

TEST(TPImageConvert, BadPlanesAreRefusedBeforeAnythingIsWritten)
{
    const cv::Mat bytes = randomPlane({4, 4}, CV_8UC4, 0, 256);
    HostPlanes host({4, 4}, 65536);
    TPImage image(4, 4);
    image.m_Y.setTo(11);
    const auto convert = [&] { image.convertFrom(bytes.ptr<uchar>(), 4, 4, int(bytes.step)); };
    const int id = image.uid();

    const cv::Mat dr = image.m_Dr;
    image.m_Dr = cv::Mat();
    EXPECT_THROWS_TEXT(convert(), "ERROR - downSize2X - outHalf must be allocated!");
    image.m_Dr = cv::Mat(2, 2, CV_8UC1);
    EXPECT_THROWS_TEXT(convert(), "ERROR - downSize2X - outHalf must be allocated!");
    image.m_Dr = cv::Mat(1, 2, CV_16UC1);
    EXPECT_THROW(convert(), cv::Exception);
    image.m_Dr = dr;
    EXPECT_THROW(image.convertFrom(static_cast<const uchar*>(nullptr), 4, 4, 16), cv::Exception);
    host.rgb[1] = nullptr;
    EXPECT_THROW(image.convertFrompRGB(host.rgb.data(), 4, 4, host.stride), cv::Exception);
    EXPECT_EQ(cv::countNonZero(image.m_Y != 11), 0);
    EXPECT_EQ(image.uid(), id);

    cv::Mat y;
    EXPECT_THROW(TPImage::PRGB2Y(host.planes[0], host.planes[1], host.planes[2].colRange(0, 3), y), cv::Exception);
    EXPECT_THROW(TPImage::PRGB15U2Y(host.planes[0], bytes, host.planes[2], y), cv::Exception);
}
