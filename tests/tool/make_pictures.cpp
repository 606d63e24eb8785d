// make_pictures WIDTH HEIGHT FILE...   16-bit pictures with colour, slopes and edges (JPEG: 8 bits)
// make_pictures giant FILE             a JPEG of a few bytes that claims 65500 x 65500 pixels
#include <pixmill/develop/Photo.h>

#include <opencv2/core.hpp>

#include <cstdlib>
#include <fstream>
#include <string>

namespace {

cv::Mat scene(int width, int height)
{
    cv::Mat out(height, width, CV_16UC3);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const int edge = (x / 37 + y / 29) % 2 ? 9000 : 0, grain = (x * 7 + y * 13) % 101 * 20;
            out.at<cv::Vec3w>(y, x) = {cv::saturate_cast<ushort>(20000 + 30000 * x / width + edge + grain),
                                       cv::saturate_cast<ushort>(15000 + 30000 * y / height + edge + grain),
                                       cv::saturate_cast<ushort>(12000 + edge + grain)};
        }
    return out;
}

void writeGiant(const std::string& path)
{
    const unsigned char head[] = {0xff, 0xd8, 0xff, 0xc0, 0,    17, 8, 0xff, 0xdc, 0xff, 0xdc, 3,
                                  1,    0x11, 0,    2,    0x11, 1,  3, 0x11, 1,    0xff, 0xd9};
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(head), sizeof head);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 3 && std::string(argv[1]) == "giant") {
        writeGiant(argv[2]);
        return 0;
    }
    pixmill::Photo photo;
    photo.pixels = scene(std::atoi(argv[1]), std::atoi(argv[2]));
    for (int i = 3; i < argc; ++i)
        pixmill::writePhoto(argv[i], photo);
    return 0;
}
