// make_pictures WIDTH HEIGHT FILE...   16-bit pictures with colour, slopes and edges (JPEG: 8 bits)
// make_pictures alpha WIDTH HEIGHT FILE  one with alpha
// make_pictures giant FILE             a JPEG of a few bytes that claims 65500 x 65500 pixels
// make_pictures alphaof FILE           prints the picture's alpha
// make_pictures blackrows FILE         prints how many of its rows are all black
#include <pixmill/develop/Photo.h>

#include <opencv2/core.hpp>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

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

cv::Mat withAlpha(const cv::Mat& colours)
{
    cv::Mat alpha(colours.size(), CV_16UC1), out;
    for (int y = 0; y < alpha.rows; ++y)
        for (int x = 0; x < alpha.cols; ++x)
            alpha.at<ushort>(y, x) = ushort(x * 601 + y * 97);
    cv::merge(std::vector<cv::Mat>{colours, alpha}, out);
    return out;
}

void printAlpha(const cv::Mat& pixels)
{
    cv::Mat alpha;
    cv::extractChannel(pixels, alpha, 3);
    for (int y = 0; y < alpha.rows; ++y)
        for (int x = 0; x < alpha.cols; ++x)
            std::printf("%d\n", alpha.at<ushort>(y, x));
}

int blackRows(const cv::Mat& pixels)
{
    int rows = 0;
    for (int y = 0; y < pixels.rows; ++y)
        rows += cv::norm(pixels.row(y), cv::NORM_INF) == 0;
    return rows;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string first = argv[1];
    if (first == "giant")
        writeGiant(argv[2]);
    if (first == "alphaof")
        printAlpha(pixmill::readPhoto(argv[2]).pixels);
    if (first == "blackrows")
        std::printf("%d\n", blackRows(pixmill::readPhoto(argv[2]).pixels));
    if (first == "giant" || first == "alphaof" || first == "blackrows")
        return 0;
    const int at = first == "alpha" ? 2 : 1;
    pixmill::Photo photo;
    photo.pixels = scene(std::atoi(argv[at]), std::atoi(argv[at + 1]));
    if (first == "alpha")
        photo.pixels = withAlpha(photo.pixels);
    for (int i = at + 2; i < argc; ++i)
        pixmill::writePhoto(argv[i], photo);
    return 0;
}
