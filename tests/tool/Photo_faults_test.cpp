// Files that are not what they should be, and disks that are full.
#include "tool/files.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <csignal>

#if defined(__SANITIZE_ADDRESS__)
// OpenImageIO's PNG decoder gives up by a long jump that leaves a string of 31 bytes behind. Whole stacks tell it from
// leaks of ours.
extern "C" const char* __asan_default_options()
{
    return "fast_unwind_on_malloc=0";
}

extern "C" const char* __lsan_default_suppressions()
{
    return "leak:PNGInput::PngReadCallback";
}
#endif

using namespace pixmill;

namespace {

/// What `call` is refused with, "" where it is not.
template <class Call>
std::string refusal(const Call& call)
{
    try {
        call();
    } catch (const Error& fault) {
        return fault.given;
    }
    return "";
}

/// Expects one line that begins with the path and holds `words`.
void expectLine(const std::string& path, const std::string& words, const std::string& line)
{
    EXPECT_EQ(0u, line.find(path + ": ")) << line;
    EXPECT_NE(std::string::npos, line.find(words)) << line;
    EXPECT_EQ(std::string::npos, line.find('\n')) << line;
}

/// A JPEG's bytes whose frame header tells another size.
std::string withSize(std::string jpeg, int width, int height)
{
    const size_t frame = jpeg.find("\xff\xc0");
    jpeg[frame + 5] = char(height >> 8), jpeg[frame + 6] = char(height);
    jpeg[frame + 7] = char(width >> 8), jpeg[frame + 8] = char(width);
    return jpeg;
}

/// No file of this process grows past `bytes` while it lives.
class SmallDisk {
public:
    explicit SmallDisk(rlim_t bytes)
    {
        m_handler = std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit now{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &now);
    }
    ~SmallDisk()
    {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }

private:
    rlimit m_before;
    void (*m_handler)(int);
};

} // namespace

TEST(PhotoFaults, WhatIsNoWholePictureIsRefusedInOneLine)
{
    const Folder folder;
    store(folder / "whole.jpg", picture({400, 300}, CV_8UC3));
    store(folder / "whole.png", picture({400, 300}, CV_8UC3));
    store(folder / "whole.tif", picture({400, 300}, CV_16UC3));
    const std::string jpeg = contents(folder / "whole.jpg");
    put(folder / "empty.jpg", "");
    put(folder / "text.jpg", "this is no picture\n");
    put(folder / "text.rla", std::string(2000, 'x')); // decoders that may end the program are not asked
    put(folder / "header.jpg", jpeg.substr(0, 200));
    put(folder / "cut.jpg", jpeg.substr(0, jpeg.size() / 2));
    put(folder / "giant.jpg", withSize(jpeg, 65500, 65500));
    put(folder / "lying.jpg", withSize(jpeg, 30000, 30000));
    for (const char* ending : {".png", ".tif"}) {
        const std::string whole = contents(folder / ("whole" + std::string(ending)));
        put(folder / ("cut" + std::string(ending)), whole.substr(0, whole.size() / 2));
    }
    std::string png = contents(folder / "whole.png");
    png[17] = png[21] = 60; // nearly four million pixels each way; the header's checksum is then wrong, too
    put(folder / "lying.png", png);

    const std::pair<const char*, const char*> cases[] = {{"none.jpg", "no such file"},
                                                         {"empty.jpg", "is empty"},
                                                         {"text.jpg", "is no picture"},
                                                         {"text.rla", "is no picture of a format"},
                                                         {"header.jpg", "is no picture"},
                                                         {"cut.jpg", "is truncated"},
                                                         {"giant.jpg", "claims 4290 megapixels"},
                                                         {"lying.jpg", "claims 30000"},
                                                         {"cut.png", "is truncated"},
                                                         {"cut.tif", "is "},
                                                         {"lying.png", ""},
                                                         {".", "is a folder"}};
    for (const auto& one : cases) {
        SCOPED_TRACE(one.first);
        const std::string path = folder / one.first;
        expectLine(path, one.second, refusal([&] { readPhoto(path); }));
    }
    PhotoReading small;
    small.maxPixels = 100000;
    expectLine(folder / "whole.tif", "claims 0 megapixels", refusal([&] { readPhoto(folder / "whole.tif", small); }));
}

TEST(PhotoFaults, ANameThatLiesIsReadAsWhatTheFileHolds)
{
    const Folder folder;
    for (const char* name : {"a.png", "a.tif", "a.heic", "a.webp"}) {
        SCOPED_TRACE(name);
        store(folder / name, picture({64, 48}, CV_8UC3));
        for (const char* lie : {"lie.jpg", "lie.tif", "lie"}) {
            put(folder / lie, contents(folder / name));
            EXPECT_EQ(0, cv::norm(readPhoto(folder / name).pixels, readPhoto(folder / lie).pixels, cv::NORM_INF));
        }
    }
}

TEST(PhotoFaults, ALenientReaderTakesWhatIsThereAndNotesIt)
{
    const Folder folder;
    store(folder / "whole.jpg", picture({400, 300}, CV_8UC3));
    const std::string jpeg = contents(folder / "whole.jpg");
    put(folder / "cut.jpg", jpeg.substr(0, jpeg.size() / 2));
    PhotoReading lenient;
    lenient.lenient = true;
    const Photo cut = readPhoto(folder / "cut.jpg", lenient), whole = readPhoto(folder / "whole.jpg");
    EXPECT_NE(std::string::npos, cut.note.find("truncated"));
    const cv::Rect top(0, 0, 400, 100);
    EXPECT_EQ(0, cv::norm(cut.pixels(top), whole.pixels(top), cv::NORM_INF));
}

TEST(PhotoFaults, ReadingStopsWhereItsProgressSaysSo)
{
    const Folder folder;
    store(folder / "a.png", picture({400, 300}, CV_8UC3));
    PhotoReading stopping;
    stopping.progress = [](float) { return false; };
    EXPECT_TRUE(readPhoto(folder / "a.png", stopping).pixels.empty());
}

TEST(PhotoFaults, AFullDiskLeavesTheOlderFileAndNothingElse)
{
    const Folder folder;
    Photo photo;
    photo.pixels = picture({600, 400}, CV_8UC3);
    for (const char* name : {"a.jpg", "a.png", "a.tif"}) {
        SCOPED_TRACE(name);
        put(folder / name, "older");
        std::string line;
        {
            const SmallDisk disk(2000);
            line = refusal([&] { writePhoto(folder / name, photo); });
        }
        expectLine(folder / name, "cannot be written: File too large", line);
        EXPECT_EQ("older", contents(folder / name));
    }
    EXPECT_EQ(3, folder.count());
}

TEST(PhotoFaults, AnUnfinishedOrRefusedWriterLeavesNothing)
{
    const Folder folder;
    Photo photo;
    photo.pixels = picture({60, 40}, CV_8UC3);
    {
        PhotoWriter writer(folder / "a.tif", photo.pixels.size(), CV_8UC3, photo);
        writer.write(photo.pixels.rowRange(0, 20));
        EXPECT_EQ(1, folder.count()); // hidden, beside
        EXPECT_NE("", refusal([&] { writer.finish(); }));
    }
    EXPECT_NE("", refusal([&] { writePhoto(folder / "a.gif", photo); }));
    EXPECT_NE("", refusal([&] { writePhoto(folder / "nowhere/a.png", photo); }));
    EXPECT_NE("", refusal([&] { PhotoWriter(folder / "a.jpg", {4, 4}, CV_16UC3, photo); }));
    EXPECT_EQ(0, folder.count());
}
