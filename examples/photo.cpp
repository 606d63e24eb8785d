#include "photo.h"
#include "report.h"
#include <pixmill/resample/resample.h>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace {

std::vector<uchar> readFile(const std::string& path)
{
    if (!std::filesystem::is_regular_file(path))
        throw std::runtime_error("no such file: " + path);
    std::vector<uchar> bytes(std::filesystem::file_size(path));
    std::ifstream file(path, std::ios::binary);
    if (!file.read(reinterpret_cast<char*>(bytes.data()), std::streamsize(bytes.size())))
        throw std::runtime_error("cannot read " + path);
    return bytes;
}

/// Whether a JPEG ends before its end marker; decoders fill what is missing with grey and go on.
bool truncatedJpeg(const std::vector<uchar>& bytes)
{
    if (bytes.size() < 4 || bytes[0] != 0xff || bytes[1] != 0xd8)
        return false;
    for (size_t i = 2; i + 1 < bytes.size();) {
        const int marker = bytes[i] == 0xff ? bytes[i + 1] : 0;
        if (marker == 0xd9)
            return false;
        const bool segment = marker >= 0xc0 && marker != 0xff && (marker < 0xd0 || marker > 0xd8);
        if (segment && i + 3 < bytes.size())
            i += 2 + size_t(bytes[i + 2] * 256 + bytes[i + 3]);
        else
            ++i; // a byte of the coded picture
    }
    return true;
}

cv::Mat decode(const std::string& path)
{
    const std::vector<uchar> bytes = readFile(path);
    if (truncatedJpeg(bytes))
        throw std::runtime_error("the file ends before the picture does: " + path);
    try {
        return bytes.empty() ? cv::Mat() : cv::imdecode(bytes, cv::IMREAD_COLOR | cv::IMREAD_ANYDEPTH);
    } catch (const cv::Exception& e) {
        if (e.code == cv::Error::StsNoMem)
            throw;
        throw std::runtime_error("cannot read " + path + ": " + e.err);
    }
}

} // namespace

cv::Mat loadPhoto(const std::string& path)
{
    cv::Mat photo = decode(path);
    if (photo.empty())
        throw std::runtime_error("not a picture: " + path);
    if (photo.depth() != CV_8U && photo.depth() != CV_16U)
        throw std::runtime_error("neither 8 nor 16 bits a sample: " + path);
    cv::cvtColor(photo, photo, cv::COLOR_BGR2BGRA);
    return photo;
}

cv::Mat as8Bit(const cv::Mat& photo)
{
    cv::Mat out = photo;
    if (photo.depth() == CV_16U)
        photo.convertTo(out, CV_8U, 1.0 / 257.0);
    return out;
}

cv::Mat as16Bit(const cv::Mat& photo)
{
    cv::Mat out = photo;
    if (photo.depth() == CV_8U)
        photo.convertTo(out, CV_16U, 257.0);
    return out;
}

void toPlanes(const TPImage& picture, cv::Mat planes[3])
{
    unsigned short* rgb[3];
    for (int i = 0; i < 3; ++i) {
        planes[i].create(picture.m_Y.size(), CV_16UC1);
        rgb[i] = planes[i].ptr<unsigned short>();
    }
    picture.convertTopRGB(rgb, 0);
}

cv::Mat toDisplay(const TPImage& picture)
{
    cv::Mat out(picture.m_Y.size(), CV_8UC4);
    picture.convertTo(out.data, int(out.step));
    return out;
}

cv::Mat toFile16(const cv::Mat planes[3])
{
    cv::Mat out;
    cv::merge(std::vector<cv::Mat>{planes[2], planes[1], planes[0]}, out);
    return out;
}

void followLuma(TPImage& picture, const cv::Mat& before, TColorAdjQ3& color)
{
    cv::Mat from(picture.m_Dr.size(), CV_16UC1), to(picture.m_Dr.size(), CV_16UC1);
    downSize2X(before, from, 1); // the even pixels, where colour has its samples
    downSize2X(picture.m_Y, to, 1);
    color.proc(from, to, picture.m_Dr, picture.m_Db, picture.m_Dr, picture.m_Db);
}

void store(const std::string& path, const cv::Mat& pixels)
{
    cv::Mat file = pixels;
    if (pixels.channels() == 4)
        cv::cvtColor(pixels, file, cv::COLOR_BGRA2BGR);
    const std::vector<int> quality{cv::IMWRITE_JPEG_QUALITY, 92, cv::IMWRITE_PNG_COMPRESSION, 1};
    std::vector<uchar> bytes;
    if (!cv::imencode(std::filesystem::path(path).extension().string(), file, bytes, quality))
        throw std::runtime_error("cannot write " + path);
    std::ofstream out(path, std::ios::binary); // by hand: only a stream that was closed tells of a full device
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    out.close();
    if (!out)
        throw std::runtime_error("cannot write " + path);
}

void save(const std::string& out, const std::string& name, const cv::Mat& pixels)
{
    std::filesystem::create_directories(out);
    const std::string path = (std::filesystem::path(out) / name).string();
    store(path, pixels);
    wrote(path);
}

void label(cv::Mat& picture, const std::string& text)
{
    const double size = std::max(0.4, picture.cols / 900.0);
    const int thick = std::max(1, int(size * 1.6));
    int below = 0;
    const cv::Size box = cv::getTextSize(text, cv::FONT_HERSHEY_SIMPLEX, size, thick, &below);
    const cv::Point at(box.height / 2, picture.rows - below - box.height / 2);
    cv::rectangle(picture, {0, at.y - box.height - box.height / 2}, {at.x + box.width + box.height / 2, picture.rows},
                  {245, 245, 245, 255}, cv::FILLED);
    cv::putText(picture, text, at, cv::FONT_HERSHEY_SIMPLEX, size, {20, 20, 20, 255}, thick, cv::LINE_AA);
}

cv::Mat sideBySide(const std::vector<cv::Mat>& pictures)
{
    const int gap = std::max(2, pictures.front().cols / 100);
    int width = -gap, height = 0;
    for (const cv::Mat& p : pictures) {
        width += p.cols + gap;
        height = std::max(height, p.rows);
    }
    cv::Mat sheet(height, width, pictures.front().type(), cv::Scalar::all(255));
    int x = 0;
    for (const cv::Mat& p : pictures) {
        p.copyTo(sheet(cv::Rect(x, 0, p.cols, p.rows)));
        x += p.cols + gap;
    }
    return sheet;
}
