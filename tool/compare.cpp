// pixmill compare: how far two pictures are apart.
#include "commands.h"
#include "program.h"
#include <pixmill/develop/Photo.h>

#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>

#include <cmath>
#include <cstdio>

using namespace pixmill;

namespace {

struct Difference {
    double largest = 0, mean = 0, psnr = INFINITY; ///< In steps of 16 bits where one picture has them, else of 8.
    int top = 255;
};

cv::Mat pixelsOf(const std::string& file)
{
    const Hush hush;
    return readPhoto(file).pixels;
}

/// With full alpha where it has none.
void addAlpha(cv::Mat& pixels)
{
    const cv::Mat full(pixels.size(), pixels.depth(), cv::Scalar(pixels.depth() == CV_8U ? 255 : 65535));
    if (pixels.channels() == 3)
        cv::merge(std::vector<cv::Mat>{pixels, full}, pixels);
}

/// Brings both to the deeper one's bits, and to alpha where one has it.
void level(cv::Mat& a, cv::Mat& b)
{
    if (a.channels() != b.channels()) {
        addAlpha(a);
        addAlpha(b);
    }
    if (a.depth() == b.depth())
        return;
    cv::Mat& shallow = a.depth() == CV_8U ? a : b;
    shallow.convertTo(shallow, CV_16U, 257.0);
}

Difference differenceOf(const cv::Mat& a, const cv::Mat& b)
{
    Difference found;
    found.top = a.depth() == CV_8U ? 255 : 65535;
    const double samples = double(a.total()) * a.channels();
    double sum = 0, squares = 0;
    for (int y = 0; y < a.rows; ++y) { // rows: the sums of squares of a large picture stay exact enough
        sum += cv::norm(a.row(y), b.row(y), cv::NORM_L1);
        squares += cv::norm(a.row(y), b.row(y), cv::NORM_L2SQR);
        found.largest = std::max(found.largest, cv::norm(a.row(y), b.row(y), cv::NORM_INF));
    }
    found.mean = sum / samples;
    if (squares > 0)
        found.psnr = 10 * std::log10(double(found.top) * found.top * samples / squares);
    return found;
}

void writePicture(const CompareOptions& options, const cv::Mat& a, const cv::Mat& b)
{
    Photo picture;
    cv::absdiff(a, b, picture.pixels);
    if (a.channels() == 4) { // a difference must not be seen through
        std::vector<cv::Mat> planes;
        cv::split(picture.pixels, planes);
        for (int i = 0; i < 3; ++i)
            cv::max(planes[i], planes[3], planes[i]);
        planes.pop_back();
        cv::merge(planes, picture.pixels);
    }
    picture.pixels.convertTo(picture.pixels, CV_8U, options.times * (a.depth() == CV_8U ? 1 : 1 / 257.0));
    const Hush hush;
    writePhoto(options.picture, picture);
}

void print(const CompareOptions& options, const Difference& found)
{
    if (options.json) {
        nlohmann::ordered_json json = {{"largest", found.largest}, {"mean", found.mean}, {"of", found.top}};
        json["psnr"] = std::isinf(found.psnr) ? nlohmann::ordered_json() : nlohmann::ordered_json(found.psnr);
        std::fprintf(output(), "%s\n", json.dump(2).c_str());
    } else if (found.largest == 0) {
        std::fprintf(output(), "the same pixels\n");
    } else {
        std::fprintf(output(), "largest %g, mean %.4g, of %d; PSNR %.2f dB\n", found.largest, found.mean, found.top,
                     found.psnr);
    }
}

} // namespace

int runCompare(Terminal&, const CompareOptions& options)
{
    keepInputs(options.picture, {options.a, options.b});
    cv::Mat a = pixelsOf(options.a), b = pixelsOf(options.b);
    if (a.size() != b.size())
        throw Error("pixmill compare", "", "",
                    options.b + ": is " + std::to_string(b.cols) + " x " + std::to_string(b.rows) + ", and " +
                        options.a + " is " + std::to_string(a.cols) + " x " + std::to_string(a.rows));
    level(a, b);
    const Difference found = differenceOf(a, b);
    print(options, found);
    if (!options.picture.empty())
        writePicture(options, a, b);
    return found.largest > 0 ? kFailed : kDone;
}
