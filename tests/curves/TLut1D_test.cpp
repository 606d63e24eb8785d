#include <pixmill/curves/TLut1D.h>
#include <pixmill/curves/TLutImage.h>
#include <reference/table_look_up.h>
#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

int entries(const TLut1D& lut)
{
    return lut.m_inDepth == CV_8U ? 256 : 65536;
}

void fill(TLut1D& lut)
{
    for (int i = 0; i < entries(lut); ++i)
        if (lut.m_outDepth == CV_8U)
            static_cast<uchar*>(lut.m_lut_p)[i] = uchar(i * 7 + i / 256 + 3);
        else
            static_cast<ushort*>(lut.m_lut_p)[i] = ushort(i * 40503 + 11);
}

cv::Mat looked(const TLut1D& lut, const cv::Mat& in)
{
    const auto by = [&](auto pixel, auto entry) {
        using Entry = decltype(entry);
        const int entries = lut.m_inDepth == CV_16U && lut.m_outDepth == CV_8U ? 256 : 65536; // narrow tables wrap
        return lookedUp<decltype(pixel), Entry>(in, static_cast<const Entry*>(lut.m_lut_p), entries);
    };
    if (in.depth() == CV_8U)
        return lut.m_outDepth == CV_8U ? by(uchar(), uchar()) : by(uchar(), ushort());
    return lut.m_outDepth == CV_8U ? by(ushort(), uchar()) : by(ushort(), ushort());
}

} // namespace

TEST(TLut1D, LooksUpEveryPairOfDepths)
{
    for (const int in : {CV_8U, CV_16U})
        for (const int out : {CV_8U, CV_16U}) {
            TLut1D lut(in, out);
            fill(lut);
            for (const cv::Size size : oddSizes()) {
                SCOPED_TRACE(testing::Message() << in << " to " << out << ", " << size);
                const cv::Mat from = randomPlane(size, in, 0, in == CV_8U ? 256 : 65536);
                const cv::Mat expected = looked(lut, from);
                everyWay([&] {
                    const cv::Mat to = randomPlane(size, out, 0, 256, 9);
                    lut.apply(from, to);
                    EXPECT_TRUE(samePixels(expected, to));
                    if (in == out) {
                        const cv::Mat inPlace = from.clone();
                        lut.apply(inPlace);
                        EXPECT_TRUE(samePixels(expected, inPlace));
                    }
                });
            }
        }
}

TEST(TLut1D, AnOutputThatDoesNotFitIsLostToTheCaller)
{
    TLut1D lut(CV_16U, CV_8U);
    fill(lut);
    const cv::Mat in = randomPlane({4, 3}, CV_16UC1, 0, 65536), before = in.clone();
    cv::Mat none, other(3, 4, CV_16UC1, cv::Scalar(5));
    lut.apply(in, none);
    lut.apply(in, other);
    lut.apply(in); // 16 bits do not become 8 in place
    EXPECT_TRUE(none.empty());
    EXPECT_EQ(cv::countNonZero(other != 5), 0);
    EXPECT_TRUE(samePixels(before, in));
    lut.apply(cv::Mat(), cv::Mat());
    lut.curve(nullptr, nullptr, 0, 0);
}

TEST(TLut1D, RejectsOtherDepthsAndPicturesTooNarrowToRead)
{
    const char* text = "ERROR - TLut1D::TLut1D - type";
    for (const auto& depths : {std::pair{0, 1}, {1, 0}, {2, 3}, {5, 2}, {-1, 0}, {8, 8}})
        EXPECT_THROWS_TEXT(TLut1D(depths.first, depths.second), text);
    TLut1D lut(CV_16U, CV_16U);
    cv::Mat out;
    EXPECT_THROW(lut.apply(cv::Mat(2, 2, CV_8UC1), out), cv::Exception);
    lut.m_outDepth = 4;
    EXPECT_THROWS_TEXT(lut.apply(cv::Mat(2, 2, CV_16UC1), out), text);
}

TEST(TLutImage, ReplacesPixelsInPlace)
{
    TLut1D table(CV_16U, CV_16U);
    fill(table);
    for (const cv::Size size : oddSizes()) {
        SCOPED_TRACE(testing::Message() << size);
        const cv::Mat luma = randomPlane(size, CV_16UC1, 0, 65536), expected = looked(table, luma);
        everyWay([&] {
            TImage a(TImage::IMTYPE(0), TSize(size.width, size.height)), b(a);
            a.fromMat(luma, 0);
            b.fromMat(luma, 0);
            TLutY y;
            TLutC c;
            y.apply(a); // without a table, nothing
            c.apply(b);
            EXPECT_TRUE(samePixels(luma, a.toMat(0)));
            y.m_lut_p = c.m_lut_p = static_cast<ushort*>(table.m_lut_p);
            y.apply(a);
            c.apply(b);
            EXPECT_TRUE(samePixels(expected, a.toMat(0)));
            EXPECT_TRUE(samePixels(expected, b.toMat(0)));
        });
    }
    TLutY y;
    y.m_lut_p = static_cast<ushort*>(table.m_lut_p);
    TImage empty(TImage::IMTYPE(0), TSize(0, 0)), narrow(TImage::IMTYPE(2), TSize(3, 3));
    y.apply(empty);
    EXPECT_THROW(y.apply(narrow), cv::Exception);
}

TEST(TLutImage, TheFormWithTwoPicturesLeavesItsOutputAlone)
{
    TLut1D table(CV_16U, CV_16U);
    fill(table);
    TLutC c;
    c.m_lut_p = static_cast<ushort*>(table.m_lut_p);
    TImage in(TImage::IMTYPE(0), TSize(4, 4)), out(TImage::IMTYPE(0), TSize(4, 4));
    in.toMat(0) = cv::Scalar(3);
    out.toMat(0) = cv::Scalar(77);
    const int id = out.m_id;
    c.apply(in, out);
    EXPECT_EQ(out.m_id, id);
    EXPECT_EQ(cv::countNonZero(out.toMat(0) != 77), 0);
}

// The second place of the object, after one pointer, is where hosts put the table.
static_assert(offsetof(TLutC, m_lut_p) == sizeof(void*) && offsetof(TLutY, m_lut_p) == 0);

TEST(TLut1D, PixelsOfAnOddSizeAreReadAsTheyLie)
{
    TLut1D lut(CV_16U, CV_16U);
    for (int i = 0; i < 65536; ++i)
        static_cast<ushort*>(lut.m_lut_p)[i] = ushort(65535 - i);
    const cv::Mat padded = randomPlane({17, 5}, CV_8UC3, 0, 256), in = padded(cv::Rect(1, 1, 15, 4));
    cv::Mat expected(in.size(), CV_16UC1), out(in.size(), CV_16UC1);
    for (int y = 0; y < in.rows; ++y)
        for (int x = 0; x < in.cols; ++x) // the low byte first
            expected.at<ushort>(y, x) = ushort(65535 - (in.ptr(y)[2 * x] | in.ptr(y)[2 * x + 1] << 8));
    lut.apply(in, out);
    EXPECT_TRUE(samePixels<ushort>(expected, out));
}
