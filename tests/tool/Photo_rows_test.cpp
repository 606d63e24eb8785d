// Pictures read row by row.
#include "tool/files.h"

#include <pixmill/develop/Error.h>
#include <support/planes.h>

using namespace pixmill;
using pixmill::test::samePixels;

namespace {

/// The whole picture, in pieces of `piece` rows.
cv::Mat allRows(PhotoReader& reader, int piece)
{
    cv::Mat all(reader.size(), reader.type());
    for (int y = 0; y < all.rows; y += piece) {
        cv::Mat rows = all.rowRange(y, std::min(y + piece, all.rows));
        reader.read(rows);
    }
    return all;
}

void storeTiled(const std::string& path, const cv::Mat& pixels)
{
    OIIO::ImageSpec spec(pixels.cols, pixels.rows, pixels.channels(), OIIO::TypeUInt16);
    spec.tile_width = spec.tile_height = 32;
    const auto out = OIIO::ImageOutput::create(path);
    ASSERT_TRUE(out && out->open(path, spec));
    ASSERT_TRUE(out->write_image(OIIO::TypeUInt16, pixels.data, OIIO::AutoStride, OIIO::stride_t(pixels.step)));
    ASSERT_TRUE(out->close());
}

TEST(PhotoReader, GivesTheRowsOfTheWholePhotograph)
{
    const Folder folder;
    const cv::Size size(75, 83);
    cv::Mat floats;
    picture(size, CV_16UC3).convertTo(floats, CV_32F, 1 / 65535.0);
    store(folder / "a.jpg", picture(size, CV_8UC3));
    store(folder / "a.png", picture(size, CV_16UC4));
    store(folder / "a.tif", picture(size, CV_16UC3));
    store(folder / "grey.png", picture(size, CV_8UC1));
    store(folder / "a.exr", floats);
    storeTiled(folder / "tiles.tif", picture(size, CV_16UC3));
    for (const char* name : {"a.jpg", "a.png", "a.tif", "grey.png", "a.exr", "tiles.tif"})
        for (const int piece : {1, 7, 32, 83}) {
            SCOPED_TRACE(testing::Message() << name << " by " << piece);
            PhotoReader reader(folder / name);
            EXPECT_TRUE(samePixels(readPhoto(folder / name).pixels, allRows(reader, piece)));
        }
}

TEST(PhotoReader, RefusesWhatItCannotReadInOrder)
{
    const Folder folder;
    OIIO::ImageSpec turned;
    turned.attribute("Orientation", 6);
    store(folder / "turned.tif", picture({20, 10}, CV_8UC3), turned);
    EXPECT_THROW(PhotoReader(folder / "turned.tif"), Error);
    store(folder / "a.jpg", picture({200, 300}, CV_8UC3));
    put(folder / "cut.jpg", contents(folder / "a.jpg").substr(0, 9000));
    PhotoReader cut(folder / "cut.jpg");
    EXPECT_THROW(allRows(cut, 64), Error);
    PhotoReader whole(folder / "a.jpg");
    cv::Mat narrow(1, 100, CV_8UC3), many(301, 200, CV_8UC3);
    EXPECT_THROW(whole.read(narrow), Error);
    EXPECT_THROW(whole.read(many), Error);
}

TEST(PhotoReader, TakesWhatItCanOfADamagedPicture)
{
    const Folder folder;
    store(folder / "a.jpg", picture({200, 300}, CV_8UC3));
    put(folder / "cut.jpg", contents(folder / "a.jpg").substr(0, 9000));
    PhotoReading lenient;
    lenient.lenient = true;
    PhotoReader reader(folder / "cut.jpg", lenient);
    const cv::Mat rows = allRows(reader, 64);
    EXPECT_GT(cv::norm(rows.rowRange(0, 8), cv::NORM_INF), 0);
    EXPECT_NE(reader.like().note, "");
}

} // namespace
