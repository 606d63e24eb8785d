#include <pixmill/core/TImage.h>
#include <pixmill/core/TMat.h>
#include <support/planes.h>
#include <support/throws.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>

using pixmill::test::randomPlane;
using pixmill::test::samePixels;

namespace {

struct TypeCase {
    int type, planes, pixelBytes, matType;
};

const TypeCase kTypes[] = {
    {0, 1, 2, CV_16UC1}, {1, 2, 1, CV_8UC1}, {2, 1, 1, CV_8UC1}, {3, 1, 4, CV_8UC4}, {4, 1, 8, CV_16UC4},
};

/// Whether two headers hold the same bytes, whatever their depth.
testing::AssertionResult sameBytes(const cv::Mat& a, const cv::Mat& b)
{
    if (a.size() != b.size() || a.type() != b.type())
        return testing::AssertionFailure() << "other size or type";
    for (int y = 0; y < a.rows; ++y)
        if (std::memcmp(a.ptr(y), b.ptr(y), a.cols * a.elemSize()) != 0)
            return testing::AssertionFailure() << "row " << y;
    return testing::AssertionSuccess();
}

void fill(TImage& image, int seed)
{
    for (int plane = 0; plane < 2; ++plane) {
        cv::Mat m = image.toMat(plane);
        cv::RNG(seed + plane).fill(m, cv::RNG::UNIFORM, 0, m.depth() == CV_8U ? 256 : 65536);
    }
}

} // namespace

TEST(TImage, EveryTypeHasItsPlanesAndItsHeaders)
{
    for (const TypeCase& c : kTypes) {
        SCOPED_TRACE(c.type);
        TImage image(TImage::IMTYPE(c.type), TSize(5, 3));
        EXPECT_EQ(int(image.type()), c.type);
        EXPECT_TRUE(image.m_owner);
        EXPECT_EQ(image.m_pixelBytes, c.pixelBytes);
        EXPECT_GE(image.m_step, 5 * c.pixelBytes);
        for (int plane = 0; plane < 4; ++plane)
            EXPECT_EQ(image.m_plane_p[plane] != nullptr, plane < c.planes);
        for (const int plane : {0, 1, 7}) {
            const cv::Mat m = image.toMat(plane);
            EXPECT_EQ(m.type(), c.matType);
            EXPECT_EQ(m.size(), cv::Size(5, 3));
            EXPECT_EQ(int(m.step), image.m_step);
            EXPECT_EQ(m.data, image.m_plane_p[std::min(plane, c.planes - 1)]);
        }
    }
    EXPECT_TRUE(TImage(TImage::IMTYPE(9), TSize(5, 3)).toMat(0).empty());
}

TEST(TImage, ResizeKeepsWhatFitsAndMarksWhatChanges)
{
    TImage image(TImage::IMTYPE(1), TSize(6, 4));
    fill(image, 1);
    const cv::Mat before = image.toMat(1).clone();
    const int id = image.m_id;
    image.resize(TSize(6, 4));
    EXPECT_EQ(image.m_id, id);
    EXPECT_TRUE(sameBytes(before, image.toMat(1)));
    image.resize(TSize(4, 6));
    EXPECT_NE(image.m_id, id);
    EXPECT_TRUE(image.size() == TSize(4, 6));

    for (const TSize empty : {TSize(0, 10), TSize(10, 0), TSize(-1, 3)}) {
        image.resize(TSize(4, 6));
        image.resize(empty);
        EXPECT_EQ(int(image.type()), 1);
        EXPECT_TRUE(image.size() == TSize(0, 0));
        EXPECT_EQ(image.m_step, 0);
        EXPECT_EQ(image.m_pixelBytes, 0);
        EXPECT_EQ(image.m_plane_p[0], nullptr);
        EXPECT_TRUE(image.toMat(0).empty());
    }
}

TEST(TImage, CopiesAreDeepAndTakeTypeSizeAndPixels)
{
    for (const TypeCase& c : kTypes) {
        SCOPED_TRACE(c.type);
        TImage from(TImage::IMTYPE(c.type), TSize(7, 5));
        fill(from, c.type);
        TImage copy(from), assigned(TImage::IMTYPE(2), TSize(2, 2));
        const int id = assigned.m_id;
        assigned = from;
        EXPECT_NE(assigned.m_id, id);
        for (const TImage* to : {&copy, &assigned})
            for (const int plane : {0, 1}) {
                EXPECT_NE(to->m_plane_p[0], from.m_plane_p[0]);
                EXPECT_TRUE(sameBytes(from.toMat(plane), to->toMat(plane)));
            }
    }
    TImage emptied(TImage::IMTYPE(4), TSize(2, 2));
    emptied.copyFrom(TImage(TImage::IMTYPE(0), TSize(0, 0)));
    EXPECT_EQ(int(emptied.type()), 0);
    EXPECT_TRUE(emptied.size() == TSize(0, 0));
}

TEST(TImage, ACopyOfWhatIsShownAlreadyChangesNothing)
{
    TImage image(TImage::IMTYPE(3), TSize(3, 3));
    fill(image, 3);
    const cv::Mat before = image.toMat(0).clone();
    const int id = image.m_id;
    image.copyFrom(image);
    const TImage wrapper(image.size(), image.m_plane_p[0], image.m_step, false);
    image.copyFrom(wrapper);
    EXPECT_EQ(image.m_id, id);
    EXPECT_TRUE(sameBytes(before, image.toMat(0)));
}

TEST(TImage, AWrapperStaysAsItWasBuilt)
{
    std::vector<unsigned short> host(2 * 16, 9);
    TImage wrapper(TSize(3, 2), host.data(), 32, false);
    EXPECT_EQ(int(wrapper.type()), 4);
    EXPECT_FALSE(wrapper.m_owner);
    EXPECT_EQ(wrapper.m_pixelBytes, 8);
    const int id = wrapper.m_id;
    wrapper.resize(TSize(1, 1));
    wrapper.free();
    wrapper.copyFrom(TImage(TImage::IMTYPE(4), TSize(3, 2)));
    wrapper = TImage(TImage::IMTYPE(0), TSize(1, 1));
    EXPECT_EQ(wrapper.m_id, id);
    EXPECT_TRUE(wrapper.size() == TSize(3, 2));
    EXPECT_EQ(wrapper.m_plane_p[0], reinterpret_cast<unsigned char*>(host.data()));
    EXPECT_EQ(wrapper.m_step, 32);
    EXPECT_EQ(host, std::vector<unsigned short>(2 * 16, 9));

    const TImage copy(wrapper);
    EXPECT_TRUE(copy.m_owner);
    EXPECT_TRUE(sameBytes(wrapper.toMat(0), copy.toMat(0)));
}

TEST(TImage, WrappingMaySwapRedAndBlueInTheHostsBuffer)
{
    unsigned char bytes[] = {1, 2, 3, 4, 5, 6, 7, 8, 99, 11, 12, 13, 14, 15, 16, 17, 18, 99};
    TImage(TSize(2, 2), bytes, 9, true);
    const unsigned char swapped[] = {3, 2, 1, 4, 7, 6, 5, 8, 99, 13, 12, 11, 14, 17, 16, 15, 18, 99};
    EXPECT_EQ(std::memcmp(bytes, swapped, sizeof bytes), 0);

    unsigned short words[] = {1000, 2, 3000, 4};
    TImage(TSize(1, 1), words, 8, true);
    EXPECT_EQ(words[0], 3000);
    EXPECT_EQ(words[2], 1000);
    TImage(TSize(0, 5), words, 8, true); // nothing to swap
    TImage(TSize(-1, 1), static_cast<unsigned char*>(nullptr), 0, true);
    EXPECT_EQ(words[0], 3000);
}

TEST(TImage, TakesPixelsOfItsOwnSizeAndTypeAlone)
{
    const cv::Mat luma = randomPlane({5, 4}, CV_16UC1, 0, 65536), byte = randomPlane({5, 4}, CV_8UC1, 0, 256);
    TImage y(TImage::IMTYPE(0), TSize(5, 4)), c(TImage::IMTYPE(1), TSize(5, 4)), m(TImage::IMTYPE(2), TSize(5, 4)),
        packed(TImage::IMTYPE(3), TSize(5, 4));
    fill(c, 8);
    const cv::Mat first = c.toMat(0).clone();
    const int id = c.m_id;
    y.fromMat(luma, 3);
    c.fromMat(byte, 7);
    m.fromMat(byte, 0);
    EXPECT_TRUE(samePixels<unsigned short>(luma, y.toMat(0)));
    EXPECT_TRUE(samePixels<unsigned char>(byte, c.toMat(1)));
    EXPECT_TRUE(samePixels<unsigned char>(first, c.toMat(0)));
    EXPECT_TRUE(samePixels<unsigned char>(byte, m.toMat(0)));
    EXPECT_EQ(c.m_id, id);
    EXPECT_THROW(c.fromMat(byte, -1), cv::Exception);

    const char* size = "ERROR - TImage::copyFrom - size is not equal";
    const char* type = "ERROR - TImage::copyFrom - type not match";
    EXPECT_THROWS_TEXT(y.fromMat(luma(cv::Rect(0, 0, 4, 4)), 0), size);
    EXPECT_THROWS_TEXT(y.fromMat(byte(cv::Rect(0, 0, 5, 3)), 0), size);
    EXPECT_THROWS_TEXT(y.fromMat(byte, 0), type);
    EXPECT_THROWS_TEXT(m.fromMat(luma, 0), type);
    EXPECT_THROWS_TEXT(packed.fromMat(cv::Mat(4, 5, CV_8UC4), 0), type);
}

TEST(TImage, HalfSizesAreRoundedUp)
{
    EXPECT_TRUE(TImage::dec2Size(TSize(5, 4)) == TSize(3, 2));
    EXPECT_TRUE(TImage::dec2Size(TSize(1, 0)) == TSize(1, 0));
    EXPECT_TRUE(TImage::dec2Size(TSize(INT_MAX, 7)) != TSize(0, 4));
}

TEST(TMat, CountsNewRegionsAndNeverReachesZero)
{
    cv::Mat plane(3, 4, CV_8UC1);
    TMat m(plane);
    EXPECT_EQ(m.data, plane.data);
    m.setRoi(0, 0, 1);
    EXPECT_EQ(m.m_version, 1000);
    m.setRoi(2, 0, 1);
    m.setRoi(2, 3, 1);
    m.setRoi(2, 3, 4);
    m.setRoi(2, 3, 4);
    EXPECT_EQ(m.m_version, 1003);
    EXPECT_EQ(m.m_roiX + m.m_roiY * 10 + m.m_roiScale * 100, 432);
    m.m_version = -1;
    m.setRoi(0, 0, 1);
    EXPECT_EQ(m.m_version, 1);
    m.m_version = INT_MAX;
    m.setRoi(1, 0, 1);
    EXPECT_EQ(m.m_version, INT_MIN);
}
