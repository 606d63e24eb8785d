// What a picture file holds comes in and goes out: pixels, depth, direction, profile, values.
#include "tool/files.h"
#include "tool/raw_file.h"

#include <gtest/gtest.h>
#include <lcms2.h>
#include <turbojpeg.h>

using namespace pixmill;

namespace {

std::vector<unsigned char> bytesOf(cmsHPROFILE profile)
{
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    std::vector<unsigned char> bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    return bytes;
}

/// sRGB's primaries with another exponent.
std::vector<unsigned char> rgbProfile(double gamma)
{
    const cmsCIExyY white{0.3127, 0.3290, 1};
    const cmsCIExyYTRIPLE primaries{{0.64, 0.33, 1}, {0.30, 0.60, 1}, {0.15, 0.06, 1}};
    cmsToneCurve* curve = cmsBuildGamma(nullptr, gamma);
    cmsToneCurve* curves[] = {curve, curve, curve};
    const auto bytes = bytesOf(cmsCreateRGBProfile(&white, &primaries, curves));
    cmsFreeToneCurve(curve);
    return bytes;
}

void addProfile(OIIO::ImageSpec& spec, const std::vector<unsigned char>& bytes)
{
    spec.attribute("ICCProfile", OIIO::TypeDesc(OIIO::TypeDesc::UINT8, int(bytes.size())), bytes.data());
}

std::string valueOf(const PhotoInfo& info, const std::string& name)
{
    for (const auto& value : info.values)
        if (value.first == name)
            return value.second;
    return "";
}

} // namespace

TEST(Photo, LosslessFilesKeepEveryPixelAtTheirDepth)
{
    const Folder folder;
    for (const char* name : {"a.png", "a.tif"})
        for (const int type : {CV_8UC3, CV_8UC4, CV_16UC3, CV_16UC4}) {
            SCOPED_TRACE(std::string(name) + " " + cv::typeToString(type));
            Photo photo;
            photo.pixels = picture({67, 131}, type);
            writePhoto(folder / name, photo);
            const Photo back = readPhoto(folder / name);
            ASSERT_EQ(type, back.pixels.type());
            EXPECT_EQ(0, cv::norm(photo.pixels, back.pixels, cv::NORM_INF));
            EXPECT_EQ("", back.note);
        }
}

TEST(Photo, JpegComesBackCloseAndTakesSixteenBitsAndAlphaAsEight)
{
    const Folder folder;
    Photo photo;
    photo.pixels = cv::Mat(64, 48, CV_16UC4, cv::Scalar(200 * 257, 100 * 257, 50 * 257, 9000));
    writePhoto(folder / "a.jpg", photo);
    const Photo back = readPhoto(folder / "a.jpg");
    ASSERT_EQ(CV_8UC3, back.pixels.type());
    EXPECT_LE(cv::norm(back.pixels, cv::Mat(64, 48, CV_8UC3, cv::Scalar(200, 100, 50)), cv::NORM_INF), 2);
}

TEST(Photo, GreyAndLinearLightBecomeThreeChannels)
{
    const Folder folder;
    store(folder / "grey.png", cv::Mat(5, 7, CV_16UC1, cv::Scalar(12345)));
    EXPECT_EQ(0, cv::norm(readPhoto(folder / "grey.png").pixels, cv::Mat(5, 7, CV_16UC3, cv::Scalar::all(12345)),
                          cv::NORM_INF));

    store(folder / "light.exr", cv::Mat(5, 7, CV_32FC3, cv::Scalar(0.2140, 2.0, -1.0))); // 0.5 on the sRGB curve
    const Photo light = readPhoto(folder / "light.exr");
    ASSERT_EQ(CV_16UC3, light.pixels.type());
    EXPECT_NEAR(32768, light.pixels.at<cv::Vec3w>(2, 3)[0], 30); // a half float has 11 bits
    EXPECT_EQ(65535, light.pixels.at<cv::Vec3w>(2, 3)[1]);
    EXPECT_EQ(0, light.pixels.at<cv::Vec3w>(2, 3)[2]);
}

TEST(Photo, FloatsWithAProfileAreWhatItSays)
{
    const Folder folder;
    OIIO::ImageSpec spec;
    const std::vector<unsigned char> profile = rgbProfile(1.8);
    addProfile(spec, profile);
    store(folder / "a.tif", cv::Mat(5, 7, CV_32FC3, cv::Scalar(0.5, 2.0, -1.0)), spec);
    const Photo photo = readPhoto(folder / "a.tif");
    EXPECT_EQ(profile, photo.profile);
    EXPECT_EQ(cv::Vec3w(32768, 65535, 0), photo.pixels.at<cv::Vec3w>(2, 3));
}

TEST(Photo, ReadsWhatIsNotWrittenToo)
{
    const Folder folder;
    const cv::Mat flat(48, 64, CV_8UC3, cv::Scalar(200, 100, 50));
    for (const char* name : {"a.heic", "a.jp2", "a.webp"}) {
        store(folder / name, flat);
        const Photo photo = readPhoto(folder / name);
        ASSERT_EQ(CV_8UC3, photo.pixels.type()) << name;
        EXPECT_LE(cv::norm(photo.pixels, flat, cv::NORM_INF), 4) << name; // coded with loss
    }
}

TEST(Photo, DevelopsTheMosaicOfACameraRaw)
{
    const Folder folder;
    put(folder / "a.dng", rawFile({64, 48}, 40000, 10000, 8000));
    EXPECT_EQ("raw", inspectPhoto(folder / "a.dng").format);
    const Photo photo = readPhoto(folder / "a.dng");
    ASSERT_EQ(CV_16UC3, photo.pixels.type());
    ASSERT_EQ(cv::Size(64, 48), photo.pixels.size());
    const cv::Vec3w middle = photo.pixels.at<cv::Vec3w>(24, 32); // the sRGB curve of the mosaic's light
    EXPECT_NEAR(52600, middle[0], 600);
    EXPECT_NEAR(28000, middle[1], 600);
    EXPECT_NEAR(25200, middle[2], 600);
}

TEST(Photo, IsTurnedUprightForEveryOrientation)
{
    // Corners of the file: 1 2 above, 3 4 below; what each orientation shows, row by row.
    struct Turn {
        int orientation;
        cv::Size size;
        uchar shown[4];
    };
    const Turn turns[] = {{1, {3, 2}, {1, 2, 3, 4}}, {2, {3, 2}, {2, 1, 4, 3}}, {3, {3, 2}, {4, 3, 2, 1}},
                          {4, {3, 2}, {3, 4, 1, 2}}, {5, {2, 3}, {1, 3, 2, 4}}, {6, {2, 3}, {3, 1, 4, 2}},
                          {7, {2, 3}, {4, 2, 3, 1}}, {8, {2, 3}, {2, 4, 1, 3}}};
    cv::Mat corners(2, 3, CV_8UC3, cv::Scalar::all(0));
    for (int i = 0; i < 4; ++i)
        corners.at<cv::Vec3b>(i / 2, i % 2 * 2)[1] = uchar(i + 1);
    const Folder folder;
    for (const Turn& turn : turns) {
        SCOPED_TRACE(turn.orientation);
        OIIO::ImageSpec spec;
        spec["Orientation"] = turn.orientation;
        store(folder / "a.tif", corners, spec);
        const cv::Mat shown = readPhoto(folder / "a.tif").pixels;
        const PhotoInfo info = inspectPhoto(folder / "a.tif");
        ASSERT_EQ(turn.size, shown.size());
        EXPECT_EQ(turn.size, cv::Size(info.width, info.height));
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(turn.shown[i], shown.at<cv::Vec3b>(i / 2 * (shown.rows - 1), i % 2 * (shown.cols - 1))[1]) << i;
    }
}

TEST(Photo, ProfileAndCameraValuesGoThroughUnchanged)
{
    const Folder folder;
    const std::vector<unsigned char> profile = rgbProfile(1.8);
    OIIO::ImageSpec spec;
    spec["Make"] = "Maker";
    spec["FNumber"] = 2.8f;
    spec["Orientation"] = 6;
    addProfile(spec, profile);
    store(folder / "in.jpg", picture({40, 30}, CV_8UC3), spec);
    const Photo photo = readPhoto(folder / "in.jpg");
    EXPECT_EQ(profile, photo.profile);
    for (const char* name : {"out.jpg", "out.tif", "out.png"}) {
        SCOPED_TRACE(name);
        writePhoto(folder / name, photo);
        EXPECT_EQ(profile, readPhoto(folder / name).profile);
        const PhotoInfo info = inspectPhoto(folder / name);
        EXPECT_EQ("Maker", valueOf(info, "Make"));
        EXPECT_EQ(1, info.orientation);
        EXPECT_EQ(cv::Size(30, 40), cv::Size(info.width, info.height));
        EXPECT_EQ("2.8", valueOf(info, "FNumber"));
    }
}

TEST(Photo, WhatCamerasAndCataloguesWroteGoesThroughByteForByte)
{
    const Folder folder;
    OIIO::ImageSpec spec;
    spec["Orientation"] = 6;
    spec["Exif:DateTimeOriginal"] = "2021:05:06 07:08:09";
    spec["GPS:LatitudeRef"] = "N";
    store(folder / "plain.jpg", picture({40, 30}, CV_8UC3), spec);
    const std::string packet = "<x:xmpmeta tiff:Orientation=\"6\" crs:Exposure2012=\"+0.50\"/>", comment = "a comment";
    const std::string captions("8BIM\4\4\0\0\0\0\0\10\34\1\132\0\3\33%G", 20); // that they are in UTF-8
    const std::pair<char, std::string> added[] = {{'\xe1', std::string("http://ns.adobe.com/xap/1.0/\0", 29) + packet},
                                                  {'\xed', std::string("Photoshop 3.0\0", 14) + captions},
                                                  {'\xfe', comment}};
    std::string jpeg = contents(folder / "plain.jpg");
    for (const auto& one : added) // behind JFIF's
        jpeg.insert(20, std::string({'\xff', one.first, '\0', char(one.second.size() + 2)}) + one.second);
    put(folder / "in.jpg", jpeg);
    std::string upright = packet;
    upright[upright.find('6')] = '1';
    struct Way {
        const char *from, *to;
        bool captions, comment;
    };
    const Way ways[] = {{"in.jpg", "out.jpg", true, true},
                        {"in.jpg", "out.png", false, false},
                        {"in.jpg", "out.tif", true, false},
                        {"out.png", "of-png.jpg", false, false},
                        {"out.tif", "of-tiff.jpg", true, false}};
    for (const Way& way : ways) {
        SCOPED_TRACE(way.to);
        writePhoto(folder / way.to, readPhoto(folder / way.from));
        const std::string out = contents(folder / way.to);
        EXPECT_NE(std::string::npos, out.find(upright));
        EXPECT_EQ(way.captions, out.find(captions) != std::string::npos);
        EXPECT_EQ(way.comment, out.find(comment) != std::string::npos);
        const PhotoInfo info = inspectPhoto(folder / way.to);
        EXPECT_EQ(1, info.orientation);
        EXPECT_EQ("2021:05:06 07:08:09", valueOf(info, "Exif:DateTimeOriginal"));
        EXPECT_EQ(info.format == "tiff" ? "" : "N", valueOf(info, "GPS:LatitudeRef")); // it is there, and not told
        const cv::Mat pixels = readPhoto(folder / way.to).pixels;
        EXPECT_EQ(cv::Size(30, 40), pixels.size());
        EXPECT_LE(cv::norm(pixels, readPhoto(folder / "plain.jpg").pixels, cv::NORM_INF), 60); // coded with loss
    }
}

TEST(Photo, AWebpIsTurnedByItsExif)
{
    const Folder folder;
    store(folder / "a.webp", picture({40, 30}, CV_8UC3));
    const std::string exif("Exif\0\0II*\0\10\0\0\0\1\0\22\1\3\0\1\0\0\0\6\0\0\0\0\0\0\0", 32);
    std::string webp = contents(folder / "a.webp") + "EXIF" + std::string({char(exif.size()), 0, 0, 0}) + exif;
    for (size_t i = 0, size = webp.size() - 8; i < 4; ++i, size >>= 8)
        webp[4 + i] = char(size & 0xff);
    put(folder / "b.webp", webp);
    EXPECT_EQ(6, inspectPhoto(folder / "b.webp").orientation);
    EXPECT_EQ(cv::Size(30, 40), readPhoto(folder / "b.webp").pixels.size());
}

TEST(Photo, AHeifKeepsItsProfile)
{
    const Folder folder;
    store(folder / "plain.heic", picture({64, 48}, CV_8UC3));
    std::string heic = contents(folder / "plain.heic");
    const auto number = [&](size_t at) {
        size_t value = 0;
        for (int i = 0; i < 4; ++i)
            value = value << 8 | uchar(heic[at + size_t(i)]);
        return value;
    };
    const auto put32 = [&](size_t at, size_t value) {
        for (int i = 0; i < 4; ++i)
            heic[at + size_t(i)] = char(value >> (24 - 8 * i) & 0xff);
    };
    const std::vector<unsigned char> profile = rgbProfile(1.8);
    const std::string box = "size"
                            "colrprof" +
                            std::string(profile.begin(), profile.end());
    const size_t properties = heic.find("ipco") - 4, end = properties + number(properties);
    for (const char* around : {"ipco", "iprp", "meta"})
        put32(heic.find(around) - 4, number(heic.find(around) - 4) + box.size());
    const size_t places = heic.find("iloc"), place = places + (heic[places + 4] ? 18 : 16); // of the only item
    put32(place, number(place) + box.size());
    heic.insert(end, box);
    put32(end, box.size());
    put(folder / "in.heic", heic);
    const Photo photo = readPhoto(folder / "in.heic");
    EXPECT_EQ(profile, photo.profile);
    EXPECT_EQ(0, cv::norm(readPhoto(folder / "plain.heic").pixels, photo.pixels, cv::NORM_INF));
}

TEST(Photo, TakesTheOldPicturesSmallCopyOutAndKeepsTheRestOfItsBlock)
{
    const Folder folder;
    store(folder / "plain.png", picture({40, 30}, CV_8UC3));
    for (const bool little : {true, false}) {
        SCOPED_TRACE(little);
        const auto number = [&](unsigned value, int bytes) {
            std::string out;
            for (int i = 0; i < bytes; ++i)
                out += char(value >> 8 * (little ? i : bytes - 1 - i));
            return out;
        };
        const auto entry = [&](unsigned tag, unsigned type, unsigned count, unsigned value) {
            return number(tag, 2) + number(type, 2) + number(count, 4) +
                   (type == 3 ? number(value, 2) + std::string(2, '\0') : number(value, 4));
        };
        const std::string maker = "what only the maker knows", small = "the old picture, small";
        const unsigned inner = 38, notes = inner + 42, second = notes + unsigned(maker.size());
        const std::string exif = (little ? "II" : "MM") + number(42, 2) + number(8, 4) + number(2, 2) +
                                 entry(0x112, 3, 1, 8) + entry(0x8769, 4, 1, inner) + number(second, 4) + // 0
                                 number(3, 2) + entry(0x927c, 7, unsigned(maker.size()), notes) +
                                 entry(0xa002, 4, 1, 40) + entry(0xa003, 3, 1, 30) + number(0, 4) + maker + // inner
                                 number(2, 2) + entry(0x201, 4, 1, second + 30) +
                                 entry(0x202, 4, 1, unsigned(small.size())) + number(0, 4) + small;
        std::string png = contents(folder / "plain.png");
        png.insert(33, std::string("\0\0\0", 3) + char(exif.size()) + "eXIf" + exif + "none"); // no one checks its sum
        put(folder / "in.png", png);
        writePhoto(folder / "out.jpg", readPhoto(folder / "in.png"));
        const std::string out = contents(folder / "out.jpg");
        EXPECT_NE(std::string::npos, out.find(entry(0x112, 3, 1, 1)));
        EXPECT_NE(std::string::npos, out.find(entry(0xa002, 4, 1, 40) + entry(0xa003, 3, 1, 30))); // not turned
        EXPECT_NE(std::string::npos, out.find(maker));
        EXPECT_EQ(std::string::npos, out.find(small));
    }
}

TEST(Photo, AlphaThatIsMultipliedInIsTakenOut)
{
    const Folder folder;
    const cv::Scalar half(0.25, 0.125, 0.5, 0.5);
    store(folder / "a.tif", cv::Mat(16, 16, CV_8UC4, half * 255));
    store(folder / "b.tif", cv::Mat(16, 16, CV_16UC4, half * 65535));
    store(folder / "a.exr", cv::Mat(16, 16, CV_32FC4, half * 0.42792)); // alpha goes, too: the quotients stay
    for (const char* name : {"a.tif", "b.tif", "a.exr"}) {
        SCOPED_TRACE(name);
        const cv::Mat pixels = readPhoto(folder / name).pixels;
        const double full = pixels.depth() == CV_8U ? 255 : 65535;
        const bool light = name == std::string("a.exr");
        const cv::Scalar mean = cv::mean(pixels) / full;
        EXPECT_NEAR(light ? 0.7354 : 0.5, mean[0], 0.004); // 0.5 on the sRGB curve
        EXPECT_NEAR(light ? 0.5371 : 0.25, mean[1], 0.004);
        EXPECT_NEAR(1, mean[2], 0.004);
    }
}

TEST(Photo, ScreenColoursFollowTheProfile)
{
    for (const int depth : {CV_8U, CV_16U}) {
        SCOPED_TRACE(depth);
        const double top = depth == CV_8U ? 255 : 65535;
        Photo photo;
        photo.pixels = cv::Mat(4, 5, CV_MAKETYPE(depth, 4), cv::Scalar(0.214, 0.214, 0.214, 0.5) * top);
        photo.profile = rgbProfile(1.0); // linear: 0.214 is half of full on sRGB's curve
        ASSERT_TRUE(toScreenColours(photo));
        EXPECT_TRUE(photo.profile.empty());
        cv::Scalar mean = cv::mean(photo.pixels) / top;
        for (int c = 0; c < 4; ++c)
            EXPECT_NEAR(0.5, mean[c], 0.01) << c;
    }
    Photo broken;
    broken.pixels = picture({4, 4}, CV_8UC3);
    broken.profile = {1, 2, 3};
    const cv::Mat before = broken.pixels.clone();
    EXPECT_FALSE(toScreenColours(broken));
    EXPECT_EQ(0, cv::norm(before, broken.pixels, cv::NORM_INF));
}

/// A profile for which every ink but black is white paper.
std::vector<unsigned char> blackInkProfile()
{
    const cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetDeviceClass(profile, cmsSigOutputClass);
    cmsSetColorSpace(profile, cmsSigCmykData);
    cmsSetPCS(profile, cmsSigLabData);
    cmsStage* const table = cmsStageAllocCLut16bit(nullptr, 2, 4, 3, nullptr);
    const auto lightness = [](const cmsUInt16Number inks[], cmsUInt16Number lab[], void*) {
        lab[0] = cmsUInt16Number(65535 - inks[3]);
        lab[1] = lab[2] = 0x8080;
        return 1;
    };
    cmsStageSampleCLut16bit(table, lightness, nullptr, 0);
    cmsPipeline* const pipeline = cmsPipelineAlloc(nullptr, 4, 3);
    cmsPipelineInsertStage(pipeline, cmsAT_END, table);
    cmsWriteTag(profile, cmsSigAToB0Tag, pipeline);
    cmsPipelineFree(pipeline);
    return bytesOf(profile);
}

/// A JPEG of 24 x 16 pixels in these inks, which it holds as what they leave white.
std::string jpegOfInks(cv::Scalar inks, const std::vector<unsigned char>& profile)
{
    const cv::Mat paper(16, 24, CV_8UC4, cv::Scalar::all(255) - inks);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    const tjhandle encoder = tjInitCompress();
    tjCompress2(encoder, paper.data, paper.cols, 0, paper.rows, TJPF_CMYK, &bytes, &size, TJSAMP_444, 100, 0);
    std::string file(bytes, bytes + size);
    tjFree(bytes);
    tjDestroy(encoder);
    const std::string body = std::string("ICC_PROFILE\0\1\1", 14) + std::string(profile.begin(), profile.end());
    const size_t length = body.size() + 2;
    if (!profile.empty())
        file.insert(2, std::string("\xff\xe2") + char(length >> 8) + char(length & 0xff) + body);
    return file;
}

TEST(Photo, InksOfJpegGoThroughTheirProfile)
{
    const Folder folder;
    const cv::Scalar cyanAndSomeBlack(255, 0, 0, 51);
    put(folder / "plain.jpg", jpegOfInks(cyanAndSomeBlack, {}));
    put(folder / "profile.jpg", jpegOfInks(cyanAndSomeBlack, blackInkProfile()));
    const Photo plain = readPhoto(folder / "plain.jpg"), profiled = readPhoto(folder / "profile.jpg");
    EXPECT_LE(cv::norm(plain.pixels, cv::Mat(16, 24, CV_8UC3, cv::Scalar(0, 204, 204)), cv::NORM_INF), 2);
    EXPECT_EQ("converted from CMYK without a profile", plain.note);
    const cv::Vec3b grey = profiled.pixels.at<cv::Vec3b>(8, 12); // L* of 80
    EXPECT_NEAR(198, grey[0], 3);
    EXPECT_NEAR(grey[0], grey[1], 2);
    EXPECT_NEAR(grey[0], grey[2], 2);
    EXPECT_EQ("converted from CMYK to sRGB by its profile", profiled.note);
    EXPECT_TRUE(profiled.profile.empty());
}

TEST(Photo, CmykIsConvertedAndTold)
{
    const Folder folder;
    OIIO::ImageSpec spec;
    spec["tiff:ColorSpace"] = "CMYK";
    spec["oiio:RawColor"] = 1; // the four channels are inks already
    store(folder / "inks.tif", cv::Mat(6, 6, CV_8UC4, cv::Scalar(255, 0, 0, 51)), spec);
    const Photo photo = readPhoto(folder / "inks.tif");
    ASSERT_EQ(CV_8UC3, photo.pixels.type());
    EXPECT_EQ(cv::Vec3b(0, 204, 204), photo.pixels.at<cv::Vec3b>(3, 3)); // all cyan, a fifth of black
    EXPECT_NE(std::string::npos, photo.note.find("CMYK"));
    EXPECT_TRUE(photo.profile.empty());
}
