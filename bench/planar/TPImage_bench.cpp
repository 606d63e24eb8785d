#include <pixmill/planar/TPImage.h>
#include <support/bench.h>

#include <opencv2/imgproc.hpp>

#include <array>
#include <vector>

using namespace pixmill;

namespace {

cv::Size sizeOf(const benchmark::State& state)
{
    return cv::Size(int(state.range(0)), int(state.range(1)));
}

cv::Mat scene(cv::Size size, int depth, double high, unsigned seed = 1)
{
    return bench::scene(size.width, size.height, depth, 0, high, seed);
}

/// Packed B, G, R, x; the last picture is kept, as every repetition asks for it again.
cv::Mat packed(cv::Size size, int depth, double high)
{
    static cv::Mat pixels;
    if (pixels.size() != size || pixels.depth() != depth)
        cv::merge(std::vector<cv::Mat>{scene(size, depth, high, 1), scene(size, depth, high, 2),
                                       scene(size, depth, high, 3), scene(size, depth, high, 4)},
                  pixels);
    return pixels;
}

/// R, G and B planes of one depth, and as one packed picture.
struct Planes {
    cv::Mat r, g, b;
    std::array<ushort*, 3> rgb;

    Planes(cv::Size size, double high)
        : r(scene(size, CV_16UC1, high, 1)), g(scene(size, CV_16UC1, high, 2)),
          b(scene(size, CV_16UC1, high, 3)), rgb{r.ptr<ushort>(), g.ptr<ushort>(), b.ptr<ushort>()}
    {
    }
    cv::Mat merged() const
    {
        cv::Mat pixels;
        cv::merge(std::vector<cv::Mat>{r, g, b}, pixels);
        return pixels;
    }
};

/// A picture with believable luma and differences.
TPImage picture(cv::Size size)
{
    TPImage image(0, 0);
    const cv::Mat pixels = packed(size, CV_8UC1, 256);
    image.convertFrom(pixels.ptr<uchar>(), size.width, size.height, int(pixels.step));
    return image;
}

/// Runs `work` as the benchmark's iteration on pictures of the row's size; `bytes` a pixel, read and written. Once
/// before, so that outputs have their pages.
template <class Work>
void measure(benchmark::State& state, double bytes, const Work& work)
{
    work();
    for (auto _ : state) {
        work();
        benchmark::ClobberMemory();
    }
    const double pixels = double(sizeOf(state).area());
    bench::report(state, pixels, pixels * bytes);
}

// Packed 8-bit pixels in

void TPImage_convertFrom8(benchmark::State& state)
{
    const cv::Size size = sizeOf(state);
    const cv::Mat pixels = packed(size, CV_8UC1, 256);
    TPImage image(0, 0);
    measure(state, 4 + 2 + 1 + 0.25,
            [&] { image.convertFrom(pixels.ptr<uchar>(), size.width, size.height, int(pixels.step)); });
}

void TPImage_convertFrom8_i420(benchmark::State& state)
{
    const cv::Mat pixels = packed(sizeOf(state), CV_8UC1, 256);
    cv::Mat yuv, wide;
    measure(state, 4 + 2 + 1, [&] {
        cv::cvtColor(pixels, yuv, cv::COLOR_BGRA2YUV_I420);
        yuv.convertTo(wide, CV_16U, 256);
    });
}

void TPImage_convertFrom8_ycrcb16(benchmark::State& state)
{
    const cv::Mat pixels = packed(sizeOf(state), CV_8UC1, 256);
    cv::Mat wide, ycc, cr, cb;
    std::vector<cv::Mat> planes;
    measure(state, 4 + 2 + 1, [&] {
        pixels.convertTo(wide, CV_16U, 256);
        cv::cvtColor(wide, ycc, cv::COLOR_BGR2YCrCb);
        cv::split(ycc, planes);
        cv::resize(planes[1], cr, cv::Size(), 0.5, 0.5);
        cv::resize(planes[2], cb, cv::Size(), 0.5, 0.5);
    });
}

void TPImage_convertFrom16(benchmark::State& state)
{
    const cv::Size size = sizeOf(state);
    const cv::Mat pixels = packed(size, CV_16UC1, 65536);
    TPImage image(0, 0);
    measure(state, 8 + 2 + 1 + 0.25,
            [&] { image.convertFrom(pixels.ptr<ushort>(), size.width, size.height, int(pixels.step1())); });
}

void TPImage_convertFrom16_ycrcb16(benchmark::State& state)
{
    const cv::Mat pixels = packed(sizeOf(state), CV_16UC1, 65536);
    cv::Mat ycc, cr, cb;
    std::vector<cv::Mat> planes;
    measure(state, 8 + 2 + 1, [&] {
        cv::cvtColor(pixels, ycc, cv::COLOR_BGR2YCrCb);
        cv::split(ycc, planes);
        cv::resize(planes[1], cr, cv::Size(), 0.5, 0.5);
        cv::resize(planes[2], cb, cv::Size(), 0.5, 0.5);
    });
}

// Planes in

void TPImage_convertFrompRGB(benchmark::State& state)
{
    const cv::Size size = sizeOf(state);
    Planes planes(size, 65536);
    TPImage image(0, 0);
    measure(state, 6 + 2 + 1 + 0.25, [&] { image.convertFrompRGB(planes.rgb.data(), size.width, size.height, 0); });
}

void TPImage_convertFrompRGB15U(benchmark::State& state)
{
    const cv::Size size = sizeOf(state);
    Planes planes(size, 32769);
    TPImage image(0, 0);
    measure(state, 6 + 2 + 1 + 0.25, [&] { image.convertFrompRGB15U(planes.rgb.data(), size.width, size.height, 0); });
}

void TPImage_PRGB2Y(benchmark::State& state)
{
    const Planes planes(sizeOf(state), 65536);
    cv::Mat y;
    measure(state, 8, [&] { TPImage::PRGB2Y(planes.r, planes.g, planes.b, y); });
}

void TPImage_PRGB15U2Y(benchmark::State& state)
{
    const Planes planes(sizeOf(state), 32769);
    cv::Mat y;
    measure(state, 8, [&] { TPImage::PRGB15U2Y(planes.r, planes.g, planes.b, y); });
}

void ycrcbIn(benchmark::State& state)
{
    const cv::Mat pixels = Planes(sizeOf(state), 65536).merged();
    cv::Mat ycc;
    measure(state, 12, [&] { cv::cvtColor(pixels, ycc, cv::COLOR_RGB2YCrCb); });
}

void greyIn(benchmark::State& state)
{
    const cv::Mat pixels = Planes(sizeOf(state), 65536).merged();
    cv::Mat grey;
    measure(state, 8, [&] { cv::cvtColor(pixels, grey, cv::COLOR_RGB2GRAY); });
}

// Planes out

struct Enlarged {
    cv::Mat y, dr, db;

    explicit Enlarged(cv::Size size)
    {
        const TPImage image = picture(size);
        y = image.m_Y;
        cv::resize(image.m_Dr, dr, size);
        cv::resize(image.m_Db, db, size);
    }
};

void TPImage_YDRDB2RGB(benchmark::State& state)
{
    const cv::Size size = sizeOf(state);
    const Enlarged in(size);
    cv::Mat r(size, CV_16UC1), g(size, CV_16UC1), b(size, CV_16UC1);
    measure(state, 12, [&] { TPImage::YDRDB2RGB(in.y, in.dr, in.db, r, g, b); });
}

void TPImage_YDRDB2RGB15U(benchmark::State& state)
{
    const cv::Size size = sizeOf(state);
    const Enlarged in(size);
    const TPImage image(0, 0);
    cv::Mat r(size, CV_16UC1), g(size, CV_16UC1), b(size, CV_16UC1);
    measure(state, 12, [&] { image.YDRDB2RGB15U(in.y, in.dr, in.db, r, g, b); });
}

void TPImage_YDRDB2RGB8U(benchmark::State& state)
{
    const cv::Size size = sizeOf(state);
    const Enlarged in(size);
    const TPImage image(0, 0);
    cv::Mat r(size, CV_8UC1), g(size, CV_8UC1), b(size, CV_8UC1);
    measure(state, 9, [&] { image.YDRDB2RGB8U(in.y, in.dr, in.db, r, g, b); });
}

void ycrcbOut(benchmark::State& state)
{
    const Enlarged in(sizeOf(state));
    cv::Mat ycc, rgb;
    cv::merge(std::vector<cv::Mat>{in.y, in.dr, in.db}, ycc);
    measure(state, 12, [&] { cv::cvtColor(ycc, rgb, cv::COLOR_YCrCb2RGB); });
}

void TPImage_convertToHalfpRGB(benchmark::State& state)
{
    const cv::Size size = sizeOf(state);
    const TPImage image = picture(size);
    cv::Mat r(image.m_Dr.size(), CV_8UC1), g = r.clone(), b = r.clone();
    std::array<uchar*, 3> rgb{r.ptr<uchar>(), g.ptr<uchar>(), b.ptr<uchar>()};
    measure(state, 2.25, [&] { image.convertToHalfpRGB(rgb.data(), int(r.step)); });
}

// The display

void TPImage_convertTo(benchmark::State& state)
{
    const TPImage image = picture(sizeOf(state));
    cv::Mat pixels(sizeOf(state), CV_8UC4);
    measure(state, 2 + 1 + 4, [&] { image.convertTo(pixels.ptr<uchar>(), int(pixels.step)); });
}

void TPImage_convertTo_i420(benchmark::State& state)
{
    cv::Mat yuv, pixels;
    cv::cvtColor(packed(sizeOf(state), CV_8UC1, 256), yuv, cv::COLOR_BGRA2YUV_I420);
    measure(state, 1.5 + 4, [&] { cv::cvtColor(yuv, pixels, cv::COLOR_YUV2BGRA_I420); });
}

void TPImage_convertTo_ycrcb16(benchmark::State& state)
{
    const cv::Size size = sizeOf(state);
    const TPImage image = picture(size);
    cv::Mat dr, db, ycc, bgr, pixels;
    measure(state, 2 + 1 + 3, [&] {
        cv::resize(image.m_Dr, dr, size);
        cv::resize(image.m_Db, db, size);
        cv::merge(std::vector<cv::Mat>{image.m_Y, dr, db}, ycc);
        cv::cvtColor(ycc, bgr, cv::COLOR_YCrCb2BGR);
        bgr.convertTo(pixels, CV_8U, 1 / 256.0);
    });
}

// Regions: the whole plane, reduced

void MatRoi(benchmark::State& state, int scale, bool smooth)
{
    const cv::Size size = sizeOf(state);
    const cv::Mat in = scene(size, CV_16UC1, 65536);
    const double read = smooth ? 2 : 2.0 / (scale * scale);
    measure(state, read + 2.0 / (scale * scale), [&] {
        benchmark::DoNotOptimize(
            TPImage::MatRoi(in, 0, 0, size.width / scale, size.height / scale, scale, false, smooth).data);
    });
}

/// The same pixels into a fresh plane, as a region is one.
void freshCopy(benchmark::State& state)
{
    const cv::Mat in = scene(sizeOf(state), CV_16UC1, 65536);
    measure(state, 4, [&] { benchmark::DoNotOptimize(in.clone().data); });
}

void blurAndResize(benchmark::State& state, int scale)
{
    const cv::Size size = sizeOf(state);
    const cv::Mat in = scene(size, CV_16UC1, 65536);
    measure(state, 2 + 2.0 / (scale * scale), [&] {
        cv::Mat smooth, out;
        cv::blur(in, smooth, cv::Size(3, 3), cv::Point(-1, -1), cv::BORDER_REPLICATE);
        if (scale > 1)
            cv::resize(smooth, out, size / scale, 0, 0, cv::INTER_CUBIC);
        benchmark::DoNotOptimize(smooth.data);
    });
}

} // namespace

BENCHMARK_CAPTURE(MatRoi, plain1, 1, false)->Name("MatRoi_plain1")->Apply(bench::sizes);
BENCHMARK(freshCopy)->Name("MatRoi_plain1:clone")->Apply(bench::sizes);
BENCHMARK_CAPTURE(MatRoi, plain2, 2, false)->Name("MatRoi_plain2")->Apply(bench::sizes);
BENCHMARK_CAPTURE(MatRoi, plain4, 4, false)->Name("MatRoi_plain4")->Apply(bench::sizes);
BENCHMARK_CAPTURE(MatRoi, smooth1, 1, true)->Name("MatRoi_smooth1")->Apply(bench::sizes);
BENCHMARK_CAPTURE(blurAndResize, by1, 1)->Name("MatRoi_smooth1:blur")->Apply(bench::sizes);
BENCHMARK_CAPTURE(MatRoi, smooth2, 2, true)->Name("MatRoi_smooth2")->Apply(bench::sizes);
BENCHMARK_CAPTURE(blurAndResize, by2, 2)->Name("MatRoi_smooth2:blur")->Apply(bench::sizes);
BENCHMARK_CAPTURE(MatRoi, smooth3, 3, true)->Name("MatRoi_smooth3")->Apply(bench::sizes);
BENCHMARK_CAPTURE(blurAndResize, by3, 3)->Name("MatRoi_smooth3:blur")->Apply(bench::sizes);
BENCHMARK_CAPTURE(MatRoi, smooth4, 4, true)->Name("MatRoi_smooth4")->Apply(bench::sizes);
BENCHMARK_CAPTURE(blurAndResize, by4, 4)->Name("MatRoi_smooth4:blur")->Apply(bench::sizes);
BENCHMARK(TPImage_convertFrom8)->Apply(bench::sizes);
BENCHMARK(TPImage_convertFrom8_i420)->Name("TPImage_convertFrom8:i420")->Apply(bench::sizes);
BENCHMARK(TPImage_convertFrom8_ycrcb16)->Name("TPImage_convertFrom8:ycrcb16")->Apply(bench::sizes);
BENCHMARK(TPImage_convertFrom16)->Apply(bench::sizes);
BENCHMARK(TPImage_convertFrom16_ycrcb16)->Name("TPImage_convertFrom16:ycrcb16")->Apply(bench::sizes);
BENCHMARK(TPImage_convertFrompRGB)->Apply(bench::sizes);
BENCHMARK(TPImage_convertFrompRGB15U)->Apply(bench::sizes);
BENCHMARK(TPImage_PRGB2Y)->Apply(bench::sizes);
BENCHMARK(ycrcbIn)->Name("TPImage_PRGB2Y:ycrcb")->Apply(bench::sizes);
BENCHMARK(greyIn)->Name("TPImage_PRGB2Y:grey")->Apply(bench::sizes);
BENCHMARK(TPImage_PRGB15U2Y)->Apply(bench::sizes);
BENCHMARK(ycrcbIn)->Name("TPImage_PRGB15U2Y:ycrcb")->Apply(bench::sizes);
BENCHMARK(TPImage_YDRDB2RGB)->Apply(bench::sizes);
BENCHMARK(ycrcbOut)->Name("TPImage_YDRDB2RGB:ycrcb")->Apply(bench::sizes);
BENCHMARK(TPImage_YDRDB2RGB15U)->Apply(bench::sizes);
BENCHMARK(ycrcbOut)->Name("TPImage_YDRDB2RGB15U:ycrcb")->Apply(bench::sizes);
BENCHMARK(TPImage_YDRDB2RGB8U)->Apply(bench::sizes);
BENCHMARK(TPImage_convertToHalfpRGB)->Apply(bench::sizes);
BENCHMARK(TPImage_convertTo)->Apply(bench::sizes);
BENCHMARK(TPImage_convertTo_i420)->Name("TPImage_convertTo:i420")->Apply(bench::sizes);
BENCHMARK(TPImage_convertTo_ycrcb16)->Name("TPImage_convertTo:ycrcb16")->Apply(bench::sizes);
