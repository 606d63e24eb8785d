#pragma once

#include <pixmill/develop/Photo.h>

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <filesystem>
#include <fstream>
#include <string>

/// A folder for one test, gone afterwards.
class Folder {
public:
    Folder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "pixmill-XXXXXX").string();
        m_path = mkdtemp(pattern.data());
    }
    ~Folder() { std::filesystem::remove_all(m_path); }

    std::string operator/(const std::string& name) const { return (m_path / name).string(); }

    int count() const
    {
        return int(std::distance(std::filesystem::directory_iterator(m_path), std::filesystem::directory_iterator()));
    }

private:
    std::filesystem::path m_path;
};

/// A picture with edges and slopes, without noise: small files, and every pixel differs from its neighbours.
inline cv::Mat picture(cv::Size size, int type)
{
    cv::Mat out(size, type);
    const double top = CV_MAT_DEPTH(type) == CV_8U ? 255 : 65535;
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width * out.channels(); ++x) {
            const double v = ((x * 7 + y * 13) % 101) / 100.0 * top;
            if (out.depth() == CV_8U)
                out.at<uchar>(y, x) = cv::saturate_cast<uchar>(v);
            else
                out.at<ushort>(y, x) = cv::saturate_cast<ushort>(v);
        }
    return out;
}

/// Writes a file by OpenImageIO alone, with whatever attributes.
inline void store(const std::string& path, const cv::Mat& pixels, OIIO::ImageSpec attributes = {})
{
    const OIIO::TypeDesc type = pixels.depth() == CV_8U    ? OIIO::TypeUInt8
                                : pixels.depth() == CV_16U ? OIIO::TypeUInt16
                                                           : OIIO::TypeFloat;
    OIIO::ImageSpec spec(pixels.cols, pixels.rows, pixels.channels(), type);
    spec.extra_attribs = attributes.extra_attribs;
    const auto out = OIIO::ImageOutput::create(path);
    ASSERT_TRUE(out && out->open(path, spec)) << path;
    ASSERT_TRUE(out->write_image(type, pixels.data, OIIO::AutoStride, OIIO::stride_t(pixels.step)));
    ASSERT_TRUE(out->close());
}

inline std::string contents(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void put(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}
