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
    cv::Mat grain(300, 200, CV_8UC3); // that packs badly: half the bytes are half the rows
    cv::randu(grain, 0, 256);
    PhotoReading lenient;
    lenient.lenient = true;
    for (const char* ending : {".jpg", ".png", ".tif"}) {
        SCOPED_TRACE(ending);
        const std::string whole = folder / (std::string("a") + ending), cut = folder / (std::string("cut") + ending);
        store(whole, grain);
        const std::string bytes = contents(whole);
        put(cut, bytes.substr(0, bytes.size() / 2));
        if (std::string(ending) == ".tif") // its directory stands at the end
            put(cut, bytes.substr(0, bytes.size() / 2) + std::string(999, 'x') + bytes.substr(bytes.size() / 2 + 999));
        PhotoReader reader(cut, lenient);
        const cv::Mat rows = allRows(reader, 64), good = readPhoto(whole).pixels.rowRange(0, 100);
        EXPECT_NE(reader.like().note, "");
        EXPECT_EQ(0, cv::norm(good, rows.rowRange(0, 100), cv::NORM_INF));
        EXPECT_EQ(0, cv::norm(good, readPhoto(cut, lenient).pixels.rowRange(0, 100), cv::NORM_INF));
    }
}

} // namespace
