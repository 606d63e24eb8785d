#include <support/bench.h>

#include <zimg++.hpp>

#include <array>
#include <vector>

using namespace pixmill::bench;

/// Rows of zimg, at 16 bits like ours, with its kernels for AVX-512, on one thread whatever is asked.
namespace {

/// A plane whose rows begin on 64 bytes, as zimg wants them.
cv::Mat aligned(const cv::Mat& in)
{
    cv::Mat room(in.rows, (in.cols + 31) / 32 * 32, in.type(), cv::Scalar(0)), out = room.colRange(0, in.cols);
    in.copyTo(out);
    return out;
}

using Planes = std::vector<cv::Mat>;

template <class Buffer>
Buffer bufferOf(const Planes& planes)
{
    Buffer buffer;
    for (std::size_t k = 0; k < planes.size(); ++k) {
        buffer.data(unsigned(k)) = planes[k].data;
        buffer.stride(unsigned(k)) = std::ptrdiff_t(planes[k].step);
        buffer.mask(unsigned(k)) = ZIMG_BUFFER_MAX;
    }
    return buffer;
}

zimgxx::zimage_format words(cv::Size size)
{
    zimgxx::zimage_format format;
    format.width = unsigned(size.width);
    format.height = unsigned(size.height);
    format.pixel_type = ZIMG_PIXEL_WORD;
    format.depth = 16;
    format.pixel_range = ZIMG_RANGE_FULL;
    return format;
}

/// Of the cubic filters the one with our weights.
zimgxx::zfilter_graph_builder_params filters(zimg_resample_filter_e filter)
{
    zimgxx::zfilter_graph_builder_params params;
    params.resample_filter = params.resample_filter_uv = filter;
    if (filter == ZIMG_RESIZE_BICUBIC) {
        params.filter_param_a = params.filter_param_a_uv = 0.0;
        params.filter_param_b = params.filter_param_b_uv = 0.5;
    }
    params.cpu_type = ZIMG_CPU_AUTO_64B;
    return params;
}

void run(benchmark::State& state, const zimgxx::zimage_format& from, const Planes& in, const zimgxx::zimage_format& to,
         const Planes& out, zimg_resample_filter_e filter)
{
    const auto params = filters(filter);
    const auto graph = zimgxx::FilterGraph::build(from, to, &params);
    const cv::Mat scratch(1, int(graph.get_tmp_size()), CV_8U);
    for (auto _ : state) {
        graph.process(bufferOf<zimgxx::zimage_buffer_const>(in), bufferOf<zimgxx::zimage_buffer>(out), scratch.data);
        benchmark::ClobberMemory();
    }
    double samples = 0;
    for (const Planes& planes : {in, out})
        for (const cv::Mat& plane : planes)
            samples += double(plane.total());
    report(state, double(out[0].total()), samples * 2);
}

/// Source pixel i stands at 2i, as with us; weights are the same, but each axis is rounded and clamped for itself.
void doubling(benchmark::State& state, zimg_resample_filter_e filter)
{
    const cv::Size size(int(state.range(0)), int(state.range(1)));
    const Planes out{aligned(cv::Mat::zeros(size, CV_16UC1))};
    const Planes in{aligned(scene(size.width / 2, size.height / 2, CV_16UC1, 0, 65536))};
    auto from = words(in[0].size());
    from.active_region = {0.25, 0.25, double(in[0].cols), double(in[0].rows)};
    run(state, from, in, words(size), out, filter);
}

/// Y'CbCr of BT.601 in full range, whose chroma stands at the even pixels, to R, G and B.
void fullColours(benchmark::State& state)
{
    const cv::Size size(int(state.range(0)), int(state.range(1)));
    Planes in{aligned(scene(size.width, size.height, CV_16UC1, 0, 65536, 1))}, out;
    for (const unsigned seed : {2u, 3u})
        in.push_back(aligned(scene(size.width / 2, size.height / 2, CV_16UC1, 20000, 40000, seed)));
    for (int k = 0; k < 3; ++k)
        out.push_back(aligned(cv::Mat::zeros(size, CV_16UC1)));
    auto from = words(size), to = words(size);
    from.color_family = ZIMG_COLOR_YUV;
    from.matrix_coefficients = ZIMG_MATRIX_BT470_BG;
    from.subsample_w = from.subsample_h = 1;
    from.chroma_location = ZIMG_CHROMA_TOP_LEFT;
    to.color_family = ZIMG_COLOR_RGB;
    to.matrix_coefficients = ZIMG_MATRIX_RGB;
    run(state, from, in, to, out, ZIMG_RESIZE_BICUBIC);
}

BENCHMARK_CAPTURE(doubling, cubic, ZIMG_RESIZE_BICUBIC)->Name("upSize2X_cubic_16u:zimg")->Apply(sizes);
BENCHMARK_CAPTURE(doubling, linear, ZIMG_RESIZE_BILINEAR)->Name("upSize2X_linear_16u:zimg")->Apply(sizesUpTo64);
BENCHMARK(fullColours)->Name("TPImage_convertTopRGB:zimg")->Apply(sizesUpTo64);

} // namespace
