// Into the planar picture and back, at 8 and at 16 bits, with what the trip costs and loses.
#include "options.h"
#include "photo.h"
#include "report.h"
#include <pixmill/planar/TPImage.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

/// What a round trip lost, in steps of 8 bits, over the pixels with little colour and over those with more.
struct Loss {
    double sum = 0, count = 0;
    int largest = 0;

    void add(int difference)
    {
        sum += difference;
        count += 1;
        largest = std::max(largest, difference);
    }

    void print(const char* area, int topOfScale) const
    {
        if (count > 0)
            std::printf("  round trip, %-6s areas: largest error %5d, mean %8.2f, of %d (%.0f %% of the samples)\n",
                        area, largest, sum / count, topOfScale, share * 100);
    }

    double share = 0;
};

/// Compares B, G, R of the photograph with B, G, R of what came back. A pixel is grey when its channels lie within 4 %.
template <class T>
void printLoss(const cv::Mat& photo, int photoChannels, const cv::Mat& back, int backChannels, int topOfScale)
{
    Loss grey, colour;
    for (int y = 0; y < photo.rows; ++y) {
        const T* a = photo.ptr<T>(y);
        const T* b = back.ptr<T>(y);
        for (int x = 0; x < photo.cols; ++x, a += photoChannels, b += backChannels) {
            const auto range = std::minmax({a[0], a[1], a[2]});
            Loss& loss = (range.second - range.first) * 25 <= topOfScale ? grey : colour;
            for (int c = 0; c < 3; ++c)
                loss.add(std::abs(int(a[c]) - int(b[c])));
        }
    }
    grey.share = grey.count / (grey.count + colour.count);
    colour.share = 1 - grey.share;
    grey.print("grey", topOfScale);
    colour.print("colour", topOfScale);
}

} // namespace

int runConvert(const Options& options)
{
    heading("Into the planar picture and back");
    cv::Mat photo;
    const Stopwatch reading;
    photo = loadPhoto(options.photo);
    step("read " + options.photo, reading.ms());
    const double pixels = double(photo.total());
    std::printf("  %d x %d, %.1f megapixels, %d bits a sample\n", photo.cols, photo.rows, pixels * 1e-6,
                photo.depth() == CV_8U ? 8 : 16);

    const cv::Mat packed8 = as8Bit(photo), packed16 = as16Bit(photo);
    TPImage picture(photo.cols, photo.rows), deep(photo.cols, photo.rows);
    picture.m_Y = 0; // touches the pages, so that the times below are the conversion's
    deep.m_Y = 0;
    timed("8-bit packed pixels to Y/Dr/Db", pixels,
          [&] { picture.convertFrom(packed8.ptr(), packed8.cols, packed8.rows, int(packed8.step)); });
    timed("16-bit packed pixels to Y/Dr/Db", pixels, [&] {
        deep.convertFrom(packed16.ptr<unsigned short>(), packed16.cols, packed16.rows, int(packed16.step / 2));
    });
    std::printf("  planes: Y %d x %d, Dr and Db %d x %d, %.1f MB in all\n", picture.m_Y.cols, picture.m_Y.rows,
                picture.m_Dr.cols, picture.m_Dr.rows, pixels * (2 + 1 + 0.25) * 1e-6);

    cv::Mat display(photo.size(), CV_8UC4, cv::Scalar::all(0)), planes[3];
    for (cv::Mat& plane : planes)
        plane = cv::Mat::zeros(photo.size(), CV_16UC1);
    timed("Y/Dr/Db to 8-bit display pixels", pixels, [&] { picture.convertTo(display.data, int(display.step)); });
    timed("Y/Dr/Db to full-size 16-bit R, G, B planes", pixels, [&] { toPlanes(deep, planes); });

    const int scale = 4;
    const cv::Rect view(photo.cols / 4, photo.rows / 4, (photo.cols + 1) / 2, (photo.rows + 1) / 2);
    const cv::Size small(std::max(1, view.width / scale), std::max(1, view.height / scale));
    cv::Mat reduced;
    timed("a view of the middle quarter, reduced by 4", double(view.area()), [&] {
        reduced = TPImage::MatRoi(picture.m_Y, view.x, view.y, small.width, small.height, scale, false, true);
    });

    printLoss<unsigned char>(packed8, 4, display, 4, 255);
    const cv::Mat file16 = toFile16(planes);
    printLoss<unsigned short>(packed16, 4, file16, 3, 65535);

    save(options.out, "converted-8bit.jpg", display);
    save(options.out, "converted-16bit.png", file16);
    cv::Mat view8;
    reduced.convertTo(view8, CV_8U, 1.0 / 257.0);
    save(options.out, "view-luma.png", view8);
    return 0;
}
