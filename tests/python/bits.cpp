// python_bits FOLDER ROWS COLS: filters the planes in FOLDER by the C++ libraries, a file a case.
#include <pixmill/develop/Developer.h>
#include <pixmill/pixmill.h>

#include <opencv2/core.hpp>

#include <cstdio>
#include <fstream>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

struct Planes {
    cv::Mat words, floats, bytes, guide, colours; ///< u16, f32 0..1, u8, f32, u8 of three channels
};

cv::Mat read(const std::string& path, int rows, int cols, int type)
{
    cv::Mat plane(rows, cols, type);
    std::ifstream file(path, std::ios::binary);
    file.read(plane.ptr<char>(), std::streamsize(plane.total() * plane.elemSize()));
    if (!file)
        throw std::runtime_error(path + " is no plane of this size");
    return plane;
}

void write(const std::string& path, const cv::Mat& plane)
{
    std::ofstream file(path, std::ios::binary);
    for (int y = 0; y < plane.rows; ++y)
        file.write(plane.ptr<char>(y), std::streamsize(size_t(plane.cols) * plane.elemSize()));
}

cv::Mat guided(const cv::Mat& guide, const cv::Mat& p)
{
    TGuidedFilter filter;
    cv::Mat out;
    filter.gFc1_estimate(guide, p, 5, 0.002f);
    filter.gFc1_apply(guide, out);
    return out;
}

cv::Mat guidedWords(const cv::Mat& p)
{
    TGuidedFilter filter;
    cv::Mat floats, out;
    p.convertTo(floats, CV_32F, 1 / 65535.0);
    filter.setup({floats}, floats, 8, 0.01f);
    filter.proc({p}, out);
    return out;
}

cv::Mat box(const cv::Mat& bytes)
{
    const TSize size(bytes.cols, bytes.rows);
    TImage in(TImage::IM_M, size), out(TImage::IM_M, size);
    in.fromMat(bytes, 0);
    tFilterBox(&in, &out, 7, 2, nullptr);
    return out.toMat(0).clone();
}

cv::Mat bilateral(const cv::Mat& words)
{
    cv::Mat out = words.clone();
    BilateralFilter().proc(cv::Mat(), out, 6, 5000, nullptr);
    return out;
}

cv::Mat light(const cv::Mat& words)
{
    TLightAdjLUTq3 curve;
    cv::Mat out;
    curve.setupParams(0.3f, -0.2f, 0, 0.5f, 0, 0.1f);
    curve.computeLUT16U(true);
    curve.applyYLUT(words, out);
    return out;
}

cv::Mat developed(const cv::Mat& colours)
{
    pixmill::Developer developer;
    pixmill::Recipe recipe;
    recipe.light.shadows = 0.3f;
    recipe.color.warmth = 0.1f;
    cv::Mat out(colours.size(), CV_8UC3);
    developer.open({colours.data, colours.cols, colours.rows});
    developer.render({{}, colours.size()}, 1, recipe, pixmill::Order::RGB, out);
    return out;
}

cv::Mat display(const cv::Mat& colours)
{
    cv::Mat bgrx(colours.size(), CV_8UC4, cv::Scalar::all(0)), out(colours.size(), CV_8UC4);
    const int fromTo[] = {0, 2, 1, 1, 2, 0};
    cv::mixChannels(&colours, 1, &bgrx, 1, fromTo, 3);
    TPImage picture(0, 0);
    picture.convertFrom(bgrx.data, bgrx.cols, bgrx.rows, int(bgrx.step));
    picture.convertTo(out.data, int(out.step));
    return out;
}

cv::Mat doubled(const cv::Mat& words)
{
    cv::Mat out(words.rows * 2, words.cols * 2, CV_16UC1);
    upSize2X(words, out, 4);
    return out;
}

cv::Mat finestDetail(const cv::Mat& words)
{
    cv::Mat half((words.rows + 1) / 2, (words.cols + 1) / 2, CV_16UC1), smooth, edge, out;
    std::vector<unsigned char> toEdge(65536);
    std::vector<unsigned short> toFull(256);
    TPImage::m_lutFullToEdge_p = toEdge.data();
    TPImage::m_lutEdgeToFull_p = toFull.data();
    TPImage::computeLUT();
    downSize2X(words, half, 257);
    half.convertTo(smooth, CV_32F, 1 / 65535.0);
    DomainTransform().RecursiveFilter(smooth, smooth, 4, 0.3f);
    smooth.convertTo(smooth, CV_16U, 65535.0);
    TPImage::fullToEdge(words, half, edge);
    TPImage::edgeToFull(edge, smooth, out, 3);
    return out;
}

/// The bytes as YCM, luma to the power 0.7, and back; the odd last column and row repeat those before.
cv::Mat compact(const cv::Mat& colours)
{
    const TSize size(colours.cols / 2 * 2, colours.rows / 2 * 2);
    std::vector<cv::Mat> planes;
    cv::split(colours(cv::Rect(0, 0, size.width, size.height)), planes);
    cv::Mat bgra, out;
    cv::merge(std::vector<cv::Mat>{planes[2], planes[1], planes[0], planes[0] * 0 + 255}, bgra);
    TImage y(TImage::IM_Y, size), c(TImage::IM_C, size), m(TImage::IM_M, size), newY(TImage::IM_Y, size);
    TImage::bgra8uToTImage(bgra.data, bgra.cols, bgra.rows, int(bgra.step), y, c, m);
    cv::Mat luma;
    y.toMat(0).convertTo(luma, CV_32F, 1 / 65535.0);
    vsPowx(int(luma.total()), luma.ptr<float>(), 0.7f, luma.ptr<float>());
    luma.convertTo(luma, CV_16U, 65535.0);
    newY.fromMat(luma, 0);
    TImage::updateCfromYChange(y, c, newY, c, 0.1f);
    TImage::timageToBgra8u(newY, c, m, bgra.data, int(bgra.step));
    cv::split(bgra, planes);
    cv::merge(std::vector<cv::Mat>{planes[2], planes[1], planes[0]}, bgra);
    cv::copyMakeBorder(bgra, out, 0, colours.rows - size.height, 0, colours.cols - size.width, cv::BORDER_REPLICATE);
    return out;
}

template <class Work>
cv::Mat made(const Work& work)
{
    cv::Mat out;
    work(out);
    return out;
}

const std::vector<std::pair<const char*, std::function<cv::Mat(const Planes&)>>> kCases = {
    {"recursive_filter",
     [](const Planes& p) {
         return made([&](cv::Mat& o) { DomainTransform().RecursiveFilter(p.floats, o, 30, 0.4f); });
     }},
    {"convolution_filter",
     [](const Planes& p) {
         return made([&](cv::Mat& o) { DomainTransform().NormalizedConvolutionFilter(p.floats, o, 9, 0.2f); });
     }},
    {"interpolated_filter",
     [](const Planes& p) {
         const cv::Mat in = p.floats.clone();
         return made([&](cv::Mat& o) { DomainTransform().InterpolatedConvolutionFilter(in, o, 9, 0.2f); });
     }},
    {"guided_filter", [](const Planes& p) { return guided(p.guide, p.floats); }},
    {"guided_words", [](const Planes& p) { return guidedWords(p.words); }},
    {"bilateral_filter", [](const Planes& p) { return bilateral(p.words); }},
    {"local_laplacian",
     [](const Planes& p) { return made([&](cv::Mat& o) { LocalLaplacian().proc16K(p.words, o, -0.2f, 0.3f, 4); }); }},
    {"gaussian_filter",
     [](const Planes& p) {
         cv::Mat out = p.floats.clone();
         gaussianiir3d(out.ptr<float>(), out.cols, out.rows, 1, 4, 3);
         return out;
     }},
    {"box_filter", [](const Planes& p) { return box(p.bytes); }},
    {"extreme_sharpen", [](const Planes& p) { return made([&](cv::Mat& o) { extremeSharpen(p.words, o); }); }},
    {"light_curve", [](const Planes& p) { return light(p.words); }},
    {"finest_detail", [](const Planes& p) { return finestDetail(p.words); }},
    {"compact", [](const Planes& p) { return compact(p.colours); }},
    {"double_size", [](const Planes& p) { return doubled(p.words); }},
    {"view", [](const Planes& p) { return TPImage::MatRoi(p.words, 5, 9, 30, 20, 3, false, true); }},
    {"to_display", [](const Planes& p) { return display(p.colours); }},
    {"develop", [](const Planes& p) { return developed(p.colours); }},
};

} // namespace

int main(int count, char** arguments)
{
    if (count != 4)
        return 2;
    const std::string folder = std::string(arguments[1]) + "/";
    const int rows = std::stoi(arguments[2]), cols = std::stoi(arguments[3]);
    const Planes planes = {read(folder + "words", rows, cols, CV_16UC1), read(folder + "floats", rows, cols, CV_32FC1),
                           read(folder + "bytes", rows, cols, CV_8UC1), read(folder + "guide", rows, cols, CV_32FC1),
                           read(folder + "colours", rows, cols, CV_8UC3)};
    for (const auto& [name, work] : kCases)
        write(folder + name + ".out", work(planes));
    return 0;
}
