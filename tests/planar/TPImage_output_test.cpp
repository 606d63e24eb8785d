#include <pixmill/planar/TPImage.h>
#include <reference/ydrdb.h>
#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

#include <cstring>
#include <string>
#include <vector>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

cv::Mat randomWords(cv::Size size, unsigned seed)
{
    return randomPlane(size, CV_16UC1, 0, 65536, seed);
}

TPImage randomPicture(cv::Size size, unsigned seed = 1)
{
    TPImage image(0, 0);
    image.m_Y = randomWords(size, seed);
    image.m_Dr = randomWords(halfOf(size), seed + 1);
    image.m_Db = randomWords(halfOf(size), seed + 2);
    return image;
}

/// Runs one of the three planar forms, by number.
void convertPlanes(int form, const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G, cv::Mat& B)
{
    const TPImage image(0, 0);
    if (form == 0)
        TPImage::YDRDB2RGB(Y, Dr, Db, R, G, B);
    else if (form == 1)
        image.YDRDB2RGB15U(Y, Dr, Db, R, G, B);
    else
        image.YDRDB2RGB8U(Y, Dr, Db, R, G, B);
}

constexpr Rgb (*kForms[])(int y, int dr, int db) = {rgb16, rgb15U, rgb8U};

template <class T>
void expectPlanes(int form, const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, const cv::Mat& R, const cv::Mat& G,
                  const cv::Mat& B)
{
    cv::Mat expected[3];
    for (cv::Mat& plane : expected)
        plane.create(Y.size(), cv::DataType<T>::type);
    for (int y = 0; y < Y.rows; ++y)
        for (int x = 0; x < Y.cols; ++x) {
            const Rgb t = kForms[form](Y.at<ushort>(y, x), Dr.at<ushort>(y, x), Db.at<ushort>(y, x));
            expected[0].at<T>(y, x) = T(t.r);
            expected[1].at<T>(y, x) = T(t.g);
            expected[2].at<T>(y, x) = T(t.b);
        }
    EXPECT_TRUE(samePixels<T>(expected[0], R));
    EXPECT_TRUE(samePixels<T>(expected[1], G));
    EXPECT_TRUE(samePixels<T>(expected[2], B));
}

struct OutputCase {
    const char* name;
    int form; ///< 0 16-bit, 1 15U, 2 8U
    ushort y, dr, db;
    int r, g, b;
};

// clang-format off
const OutputCase kOutputs[] = {
    // name                       form  y      dr     db     r      g      b
    {"grey",                      0,    32768, 32768, 32768, 32768, 32768, 32768},
    {"strongRedClampsAtTheTop",   0,    65535, 65535, 32768, 65535, 65535, 65535},
    {"noRedClampsAtZero",         0,    0,     1,     32768, 0,     0,     0},
    {"black15U",                  1,    0,     32768, 32768, 0,     0,     0},
    {"red15UGoesPastFullScale",   1,    65535, 65535, 32768, 65534, 16077, 32767},
    {"colourBelowZero15U",        1,    2,     32767, 32766, 0,     2,     0},
    {"onlyGreenIn8U",             2,    32768, 32768, 32768, 0,     218,   0},
    {"greenOf8UFromLowBytes",     2,    32767, 32896, 32768, 0,     217,   0},
};
// clang-format on

class TPImageOutputPixel : public testing::TestWithParam<OutputCase> {};

} // namespace

TEST_P(TPImageOutputPixel, IsDecodedAsExpected)
{
    const OutputCase& c = GetParam();
    const cv::Mat y(1, 1, CV_16UC1, cv::Scalar(c.y)), dr(1, 1, CV_16UC1, cv::Scalar(c.dr)),
        db(1, 1, CV_16UC1, cv::Scalar(c.db));
    cv::Mat r(1, 1, c.form == 2 ? CV_8UC1 : CV_16UC1, cv::Scalar(99)), g = r.clone(), b = r.clone();
    convertPlanes(c.form, y, dr, db, r, g, b);
    const auto value = [](const cv::Mat& m) {
        return m.depth() == CV_8U ? int(*m.ptr<uchar>()) : int(*m.ptr<ushort>());
    };
    EXPECT_EQ(value(r), c.r);
    EXPECT_EQ(value(g), c.g);
    EXPECT_EQ(value(b), c.b);
}

INSTANTIATE_TEST_SUITE_P(Table, TPImageOutputPixel, testing::ValuesIn(kOutputs),
                         [](const auto& info) { return info.param.name; });

TEST(TPImageOutput, PlanesMatchTheReferenceBitForBit)
{
    for (const cv::Size size : oddSizes()) {
        SCOPED_TRACE(testing::Message() << size);
        const cv::Mat y = randomWords(size, 1), dr = randomWords(size, 2), db = randomWords(size, 3);
        everyWay([&] {
            for (int form = 0; form < 3; ++form) {
                const int type = form == 2 ? CV_8UC1 : CV_16UC1;
                cv::Mat r = randomPlane(size, type, 0, 256, 4), g = randomPlane(size, type, 0, 256, 5),
                        b = randomPlane(size, type, 0, 256, 6);
                convertPlanes(form, y, dr, db, r, g, b);
                if (form == 2)
                    expectPlanes<uchar>(form, y, dr, db, r, g, b);
                else
                    expectPlanes<ushort>(form, y, dr, db, r, g, b);
            }
        });
    }
}

TEST(TPImageOutput, DifferencesTurnIntoColoursInPlace)
{
    const cv::Size size(203, 9);
    const cv::Mat y = randomWords(size, 1), dr = randomWords(size, 2), db = randomWords(size, 3);
    everyWay([&] {
        for (int form = 0; form < 2; ++form) {
            cv::Mat r = dr.clone(), b = db.clone(), g = y.clone();
            convertPlanes(form, g, r, b, r, g, b);
            expectPlanes<ushort>(form, y, dr, db, r, g, b);
        }
    });
}

TEST(TPImageOutput, HalfSizePlanesCarryGreenAlone)
{
    for (const cv::Size size : oddSizes()) {
        SCOPED_TRACE(testing::Message() << size);
        const TPImage image = randomPicture(size);
        const cv::Mat luma = halved(image.m_Y);
        everyWay([&] {
            for (const bool padded : {true, false}) {
                cv::Mat planes[3];
                uchar* rgb[3];
                for (unsigned i = 0; i < 3; ++i) {
                    planes[i] = randomPlane(luma.size(), CV_8UC1, 0, 256, i);
                    if (!padded)
                        planes[i] = planes[i].clone();
                    rgb[i] = planes[i].data;
                }
                image.convertToHalfpRGB(rgb, padded ? int(planes[0].step) : 0);
                expectPlanes<uchar>(2, luma, image.m_Dr, image.m_Db, planes[0], planes[1], planes[2]);
            }
        });
    }
}

TEST(TPImageOutput, DisplayPixelsMatchTheReferenceBitForBit)
{
    for (const cv::Size size : oddSizes()) {
        SCOPED_TRACE(testing::Message() << size);
        TPImage image = randomPicture(size);
        const cv::Mat expected = displayed(image.m_Y, image.m_Dr, image.m_Db);
        everyWay([&] {
            cv::Mat frame = randomPlane(size + cv::Size(0, 2), CV_8UC4, 0, 256, 9);
            const cv::Mat before = frame.clone();
            cv::Mat out = frame.rowRange(1, size.height + 1);
            image.convertTo(out.data, int(out.step));
            EXPECT_TRUE(samePixels<uchar>(expected, out));
            EXPECT_TRUE(samePixels<uchar>(before.row(0), frame.row(0)));
            EXPECT_TRUE(samePixels<uchar>(before.row(size.height + 1), frame.row(size.height + 1)));
        });
    }
}

TEST(TPImageOutput, EveryDisplayColourRoundsToEven)
{
    // All sums Y + 2 Dr that a pixel can have, each with the others' extremes.
    const int n = 65536;
    cv::Mat y(2, n, CV_16UC1), dr(1, n / 2, CV_16UC1), db(1, n / 2, CV_16UC1);
    for (int step = 0; step < 4; ++step) {
        for (int x = 0; x < n; ++x) {
            y.at<ushort>(0, x) = ushort(step & 1 ? x : 65535 - x % 3);
            y.at<ushort>(1, x) = ushort(step & 2 ? x ^ 1 : x % 5);
        }
        for (int x = 0; x < n / 2; ++x) {
            dr.at<ushort>(x) = ushort(2 * x + step % 2);
            db.at<ushort>(x) = ushort(65535 - 2 * x);
        }
        cv::Mat out(y.size(), CV_8UC4);
        TPImage::YDRDBToQImage(y, dr, db, out.data, n, 2, int(out.step));
        ASSERT_TRUE(samePixels<uchar>(displayed(y, dr, db), out));
    }
}

TEST(TPImageOutput, DisplayTakesAnySizesOfDifferences)
{
    const cv::Mat y = randomWords({37, 21}, 1);
    for (const cv::Size small : {cv::Size(1, 1), cv::Size(10, 4), cv::Size(19, 11), cv::Size(40, 30)}) {
        SCOPED_TRACE(testing::Message() << small);
        const cv::Mat dr = randomWords(small, 2), db = randomWords({13, 5}, 3);
        cv::Mat out(20, 35, CV_8UC4);
        TPImage::YDRDBToQImage(y, dr, db, out.data, 35, 20, int(out.step));
        EXPECT_TRUE(samePixels<uchar>(displayed(y(cv::Rect(0, 0, 35, 20)), dr, db), out));
    }
}

TEST(TPImageOutput, GreyGoesThroughThePictureUnchanged)
{
    const cv::Mat pixels(3, 5, CV_8UC4, cv::Scalar(128, 128, 128, 7));
    TPImage image(0, 0);
    image.convertFrom(pixels.ptr<uchar>(), 5, 3, int(pixels.step));
    cv::Mat out(3, 5, CV_8UC4);
    image.convertTo(out.data, int(out.step));
    EXPECT_TRUE(samePixels<uchar>(cv::Mat(3, 5, CV_8UC4, cv::Scalar(128, 128, 128, 255)), out));
}

TEST(TPImageOutput, BytesOfTheHostMayStandAtAnyAddress)
{
    const cv::Size size(37, 5);
    const int stride = 4 * size.width + 3;
    const cv::Mat pixels = randomPlane(size, CV_8UC4, 0, 256);
    std::vector<uchar> in(std::size_t(stride) * size.height + 1), out(in.size());
    for (int y = 0; y < size.height; ++y)
        std::memcpy(&in[1 + std::size_t(y) * stride], pixels.ptr(y), std::size_t(4) * size.width);
    TPImage image(0, 0), plain(0, 0);
    image.convertFrom(&in[1], size.width, size.height, stride);
    plain.convertFrom(pixels.ptr<uchar>(), size.width, size.height, int(pixels.step));
    EXPECT_TRUE(samePixels<ushort>(plain.m_Y, image.m_Y));
    EXPECT_TRUE(samePixels<ushort>(plain.m_Db, image.m_Db));

    image.convertTo(&out[1], stride);
    const cv::Mat shown(size, CV_8UC4, &out[1], std::size_t(stride));
    EXPECT_TRUE(samePixels<uchar>(displayed(image.m_Y, image.m_Dr, image.m_Db), shown));
}

TEST(TPImageOutput, RefusesOtherTypesAndLeavesTheTargetAlone)
{
    const cv::Mat words = randomWords({4, 4}, 1), bytes = randomPlane({4, 4}, CV_8UC1, 0, 256);
    cv::Mat out(4, 4, CV_8UC4, cv::Scalar::all(5));
    const auto display = [&](const cv::Mat& y, const cv::Mat& dr, const cv::Mat& db, int w, int h) {
        TPImage::YDRDBToQImage(y, dr, db, out.data, w, h, int(out.step));
    };
    constexpr const char* kType = "ERROR TPImage::YDrDbToQImage - input type";
    EXPECT_THROWS_TEXT(display(bytes, words, words, 4, 4), kType);
    EXPECT_THROWS_TEXT(display(words, bytes, words, 4, 4), kType);
    EXPECT_THROWS_TEXT(display(words, words, cv::Mat(), 4, 4), kType);
    EXPECT_THROWS_TEXT(TPImage(0, 0).convertTo(out.data, 16), kType);
    EXPECT_THROW(display(words, words, words, 5, 4), cv::Exception);
    EXPECT_THROW(display(words, words, words, 4, 5), cv::Exception);
    EXPECT_THROW(display(words, words, words, -4, 4), cv::Exception);
    EXPECT_THROW(TPImage::YDRDBToQImage(words, words, words, nullptr, 4, 4, 16), cv::Exception);
    try {
        display(words, words, words, 0, 4);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const char* text) {
        EXPECT_NE(std::string(text).find("out2X is not allocated"), std::string::npos);
    }
    EXPECT_TRUE(samePixels<uchar>(cv::Mat(4, 4, CV_8UC4, cv::Scalar::all(5)), out));
}

TEST(TPImageOutput, PlanesThatDoNotFitAreRefused)
{
    const cv::Mat y = randomWords({4, 4}, 1);
    cv::Mat r(4, 4, CV_16UC1), g(4, 3, CV_16UC1), b(4, 4, CV_8UC1), none;
    const TPImage image(0, 0);
    EXPECT_THROW(TPImage::YDRDB2RGB(y, y, y, r, g, r), cv::Exception);
    EXPECT_THROW(image.YDRDB2RGB15U(y, y, y, r, r, b), cv::Exception);
    EXPECT_THROW(image.YDRDB2RGB8U(y, y, none, b, b, b), cv::Exception);
    EXPECT_NO_THROW(TPImage::YDRDB2RGB(none, none, none, none, none, none));

    uchar* rgb[] = {b.data, b.data, b.data};
    EXPECT_THROWS_TEXT(image.convertToHalfpRGB(rgb, 0), "ERROR - downSize2X - outHalf must be allocated!");
    TPImage lame(4, 4);
    lame.m_Db.release();
    EXPECT_THROW(lame.convertToHalfpRGB(rgb, 0), cv::Exception);
    rgb[2] = nullptr;
    EXPECT_THROW(TPImage(4, 4).convertToHalfpRGB(rgb, 0), cv::Exception);
}

TEST(TPImagePlanes, OfThreeDimensionsAreRefusedByName)
{
    const int sizes[] = {6, 8, 2};
    const cv::Mat cube(3, sizes, CV_16UC1, cv::Scalar(5)), Y(6, 8, CV_16UC1, cv::Scalar(5)),
        half = Y(cv::Rect(0, 0, 4, 3));
    cv::Mat R = Y.clone(), out;
    std::vector<uchar> bytes(4096);
    std::vector<ushort> words(4096), lut(65536);
    uchar* planes8[] = {bytes.data(), bytes.data() + 1024, bytes.data() + 2048};
    ushort* planes16[] = {words.data(), words.data() + 1024, words.data() + 2048};
    EXPECT_REFUSES(TPImage::YDRDBToQImage(Y, cube, half, bytes.data(), 8, 6, 32),
                   "TPImage::YDRDBToQImage: Dr is CV_16UC1 of 3");
    EXPECT_REFUSES(TPImage::YDRDB2RGB(Y, Y, cube, R, R, R), "TPImage::YDRDB2RGB: Db is CV_16UC1 of 3");
    EXPECT_REFUSES(TPImage::PRGB2Y(Y, cube, Y, out), "TPImage::PRGB2Y: G is");
    EXPECT_REFUSES(TPImage::MatRoi(cube, 0, 0, 1, 1, 1, false, false), "TPImage::MatRoi: the plane is");
    TPImage picture(8, 6);
    picture.m_Db = cube;
    EXPECT_REFUSES(picture.convertTopRGB(planes16, 16), "TPImage::convertTopRGB: m_Db is CV_16UC1 of 3");
    EXPECT_REFUSES(picture.convertTopRGB15U(planes16, 16), "TPImage::convertTopRGB15U: m_Db is CV_16UC1 of 3");
    EXPECT_REFUSES(picture.convertFrom(bytes.data(), 8, 6, 32), "TPImage::convertFrom: m_Db is CV_16UC1 of 3");
    picture.m_Y = cube;
    EXPECT_REFUSES(picture.convertToHalfpRGB(planes8, 0), "TPImage::convertToHalfpRGB: m_Y is CV_16UC1 of 3");
    TPImage::m_lutEdgeToFull_p = lut.data();
    EXPECT_REFUSES(TPImage::edgeToFull(cube, half, out, 1), "TPImage::edgeToFull: edge is");
    EXPECT_REFUSES(TPImage::edgeToFull(cv::Mat::zeros(6, 8, CV_8UC1), cube, out, 1), "TPImage::edgeToFull: half is");
    TPImage::m_lutEdgeToFull_p = nullptr;
    EXPECT_TRUE(out.empty());
}
