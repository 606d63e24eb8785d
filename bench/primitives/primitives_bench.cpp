#include <pixmill/primitives/copy.h>
#include <pixmill/primitives/filter.h>
#include <pixmill/primitives/lookup.h>
#include <support/bench.h>

#include <opencv2/imgproc.hpp>

#include <vector>

namespace pixmill::bench {
namespace {

template <class T>
constexpr int kType = sizeof(T) == 1   ? CV_8UC1
                      : sizeof(T) == 2 ? CV_16UC1
                                       : CV_32FC1;

template <class T>
T* at(cv::Mat& m, int x, int y)
{
    return m.ptr<T>(y) + x;
}

/// A picture with a frame of `border` readable samples around w x h, and the place for a result.
template <class T>
struct Framed {
    Framed(const benchmark::State& state, int border)
        : roi{int(state.range(0)), int(state.range(1))},
          padded(scene(roi.width + 2 * border, roi.height + 2 * border, kType<T>, 0, sizeof(T) == 1 ? 256 : 65536)),
          inner(padded(cv::Rect(border, border, roi.width, roi.height))), out(roi.height, roi.width, kType<T>)
    {
        out.setTo(1);
    }

    T* src() { return inner.ptr<T>(); }
    T* dst() { return out.ptr<T>(); }
    int srcStep() const { return int(inner.step); }
    int dstStep() const { return int(out.step); }
    double pixels() const { return double(roi.width) * roi.height; }
    double bytes() const { return 2 * pixels() * sizeof(T); }

    IppiSize roi;
    cv::Mat padded, inner, out;
};

void big(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"w", "h"})->Args({4896, 3264})->Unit(benchmark::kMillisecond)->UseRealTime();
}

void radii(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"w", "h", "r"})->Unit(benchmark::kMillisecond)->UseRealTime();
    for (const int r : {1, 9, 27})
        b->Args({4896, 3264, r});
}

template <class T, class Copy>
void copyRows(benchmark::State& state, Copy copy)
{
    Framed<T> p(state, 8);
    for (auto _ : state)
        copy(p.src(), p.srcStep(), p.dst(), p.dstStep(), p.roi);
    report(state, p.pixels(), p.bytes());
}

void Copy_16u(benchmark::State& state)
{
    copyRows<ushort>(state, ippiCopy_16u_C1R);
}
BENCHMARK(Copy_16u)->Apply(sizes);

void Copy_32f(benchmark::State& state)
{
    copyRows<float>(state, ippiCopy_32f_C1R);
}
BENCHMARK(Copy_32f)->Apply(sizes);

void Set_16u(benchmark::State& state)
{
    Framed<ushort> p(state, 0);
    for (auto _ : state)
        ippiSet_16u_C1R(7, p.dst(), p.dstStep(), p.roi);
    report(state, p.pixels(), p.bytes() / 2);
}
BENCHMARK(Set_16u)->Apply(sizes);

void Set_8u_masked(benchmark::State& state)
{
    Framed<uchar> p(state, 0);
    for (auto _ : state)
        ippiSet_8u_C1MR(255, p.dst(), p.dstStep(), p.roi, p.src(), p.srcStep());
    report(state, p.pixels(), p.bytes() * 1.5);
}
BENCHMARK(Set_8u_masked)->Apply(big);

template <class T, class Replicate>
void replicateBorder(benchmark::State& state, Replicate replicate)
{
    const int border = 27;
    Framed<T> p(state, 0);
    const IppiSize outer{p.roi.width + 2 * border, p.roi.height + 2 * border};
    cv::Mat out(outer.height, outer.width, kType<T>, cv::Scalar(1));
    for (auto _ : state)
        replicate(p.src(), p.srcStep(), p.roi, out.ptr<T>(), int(out.step), outer, border, border);
    report(state, p.pixels(), p.bytes());
}

void CopyReplicateBorder_16u(benchmark::State& state)
{
    replicateBorder<ushort>(state, ippiCopyReplicateBorder_16u_C1R);
}
BENCHMARK(CopyReplicateBorder_16u)->Apply(sizes);

void CopyReplicateBorder_32f(benchmark::State& state)
{
    replicateBorder<float>(state, ippiCopyReplicateBorder_32f_C1R);
}
BENCHMARK(CopyReplicateBorder_32f)->Apply(big);

template <class T, class Filter>
void box(benchmark::State& state, Filter filter)
{
    const int r = int(state.range(2));
    Framed<T> p(state, r);
    for (auto _ : state)
        filter(p.src(), p.srcStep(), p.dst(), p.dstStep(), p.roi, {2 * r + 1, 2 * r + 1}, {r, r});
    report(state, p.pixels(), p.bytes());
}

template <class T>
void cvBlur(benchmark::State& state)
{
    const int r = int(state.range(2));
    Framed<T> p(state, r);
    for (auto _ : state)
        cv::blur(p.inner, p.out, {2 * r + 1, 2 * r + 1});
    report(state, p.pixels(), p.bytes());
}

void FilterBox_8u(benchmark::State& state)
{
    box<uchar>(state, ippiFilterBox_8u_C1R);
}
BENCHMARK(FilterBox_8u)->Apply(radii);
BENCHMARK_TEMPLATE(cvBlur, uchar)->Name("FilterBox_8u:cv_blur")->Apply(radii);

void FilterBox_16u(benchmark::State& state)
{
    box<ushort>(state, ippiFilterBox_16u_C1R);
}
BENCHMARK(FilterBox_16u)->Apply(radii);
BENCHMARK_TEMPLATE(cvBlur, ushort)->Name("FilterBox_16u:cv_blur")->Apply(radii);

void FilterBox_32f(benchmark::State& state)
{
    box<float>(state, ippiFilterBox_32f_C1R);
}
BENCHMARK(FilterBox_32f)->Apply(radii);
BENCHMARK_TEMPLATE(cvBlur, float)->Name("FilterBox_32f:cv_blur")->Apply(radii);

void FilterBox_16u_inPlace(benchmark::State& state)
{
    const int r = int(state.range(2));
    Framed<ushort> p(state, r);
    for (auto _ : state)
        ippiFilterBox_16u_C1IR(p.src(), p.srcStep(), p.roi, {2 * r + 1, 2 * r + 1}, {r, r});
    report(state, p.pixels(), p.bytes());
}
BENCHMARK(FilterBox_16u_inPlace)->Apply(radii);

template <class T, class Filter>
void gauss(benchmark::State& state, Filter filter)
{
    Framed<T> p(state, 2);
    for (auto _ : state)
        filter(p.src(), p.srcStep(), p.dst(), p.dstStep(), p.roi, ippMskSize5x5);
    report(state, p.pixels(), p.bytes());
}

/// The same 25 taps as one correlation.
template <class T>
void cvFilter2D(benchmark::State& state)
{
    Framed<T> p(state, 2);
    const float w[5][5] = {
        {2, 7, 12, 7, 2}, {7, 31, 52, 31, 7}, {12, 52, 127, 52, 12}, {7, 31, 52, 31, 7}, {2, 7, 12, 7, 2}};
    const cv::Mat kernel = cv::Mat(5, 5, CV_32FC1, const_cast<float*>(&w[0][0])) / 571;
    for (auto _ : state)
        cv::filter2D(p.inner, p.out, -1, kernel);
    report(state, p.pixels(), p.bytes());
}

void FilterGauss_8u(benchmark::State& state)
{
    gauss<uchar>(state, ippiFilterGauss_8u_C1R);
}
BENCHMARK(FilterGauss_8u)->Apply(big);
BENCHMARK_TEMPLATE(cvFilter2D, uchar)->Name("FilterGauss_8u:cv_filter2D")->Apply(big);

void FilterGauss_32f(benchmark::State& state)
{
    gauss<float>(state, ippiFilterGauss_32f_C1R);
}
BENCHMARK(FilterGauss_32f)->Apply(big);
BENCHMARK_TEMPLATE(cvFilter2D, float)->Name("FilterGauss_32f:cv_filter2D")->Apply(big);

std::vector<uchar> disc(int r)
{
    std::vector<uchar> mask;
    for (int y = -r; y <= r; ++y)
        for (int x = -r; x <= r; ++x)
            mask.push_back(x * x + y * y <= r * r ? 0x7f : 0);
    return mask;
}

void discs(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"w", "h", "r"})->Unit(benchmark::kMillisecond)->UseRealTime();
    for (const int r : {2, 5, 15})
        b->Args({3456, 2304, r});
}

template <class T, class Filter>
void dilateDisc(benchmark::State& state, Filter filter)
{
    const int r = int(state.range(2));
    Framed<T> p(state, r);
    const std::vector<uchar> mask = disc(r);
    for (auto _ : state)
        filter(p.src(), p.srcStep(), p.dst(), p.dstStep(), p.roi, mask.data(), {2 * r + 1, 2 * r + 1}, {r, r});
    report(state, p.pixels(), p.bytes());
}

template <class T>
void cvDilate(benchmark::State& state)
{
    const int r = int(state.range(2));
    Framed<T> p(state, r);
    std::vector<uchar> mask = disc(r);
    const cv::Mat element(2 * r + 1, 2 * r + 1, CV_8UC1, mask.data());
    for (auto _ : state)
        cv::dilate(p.inner, p.out, element);
    report(state, p.pixels(), p.bytes());
}

void Dilate_8u(benchmark::State& state)
{
    dilateDisc<uchar>(state, ippiDilate_8u_C1R);
}
BENCHMARK(Dilate_8u)->Apply(discs);
BENCHMARK_TEMPLATE(cvDilate, uchar)->Name("Dilate_8u:cv_dilate")->Apply(discs);

void Dilate_16u(benchmark::State& state)
{
    dilateDisc<ushort>(state, ippiDilate_16u_C1R);
}
BENCHMARK(Dilate_16u)->Apply(discs);
BENCHMARK_TEMPLATE(cvDilate, ushort)->Name("Dilate_16u:cv_dilate")->Apply(discs);

void Dilate3x3_16u(benchmark::State& state)
{
    Framed<ushort> p(state, 1);
    for (auto _ : state)
        ippiDilate3x3_16u_C1IR(p.src(), p.srcStep(), p.roi);
    report(state, p.pixels(), p.bytes());
}
BENCHMARK(Dilate3x3_16u)->Apply(big);

void cvDilate3x3(benchmark::State& state)
{
    Framed<ushort> p(state, 1);
    const cv::Mat element = cv::Mat::ones(3, 3, CV_8UC1);
    for (auto _ : state)
        cv::dilate(p.inner, p.inner, element);
    report(state, p.pixels(), p.bytes());
}
BENCHMARK(cvDilate3x3)->Name("Dilate3x3_16u:cv_dilate")->Apply(big);

void LUTPalette_16u(benchmark::State& state)
{
    Framed<ushort> p(state, 0);
    std::vector<ushort> table(65536);
    for (int i = 0; i < 65536; ++i)
        table[i] = ushort(65535 - i);
    for (auto _ : state)
        ippiLUTPalette_16u_C1R(p.src(), p.srcStep(), p.dst(), p.dstStep(), p.roi, table.data(), 16);
    report(state, p.pixels(), p.bytes());
}
BENCHMARK(LUTPalette_16u)->Apply(big);

void LUTPalette_8u(benchmark::State& state)
{
    Framed<uchar> p(state, 0);
    std::vector<uchar> table(256);
    for (int i = 0; i < 256; ++i)
        table[i] = uchar(255 - i);
    for (auto _ : state)
        ippiLUTPalette_8u_C1R(p.src(), p.srcStep(), p.dst(), p.dstStep(), p.roi, table.data(), 8);
    report(state, p.pixels(), p.bytes());
}
BENCHMARK(LUTPalette_8u)->Apply(big);

void cvLut8u(benchmark::State& state)
{
    Framed<uchar> p(state, 0);
    cv::Mat table(1, 256, CV_8UC1);
    for (int i = 0; i < 256; ++i)
        table.at<uchar>(i) = uchar(255 - i);
    for (auto _ : state)
        cv::LUT(p.inner, table, p.out);
    report(state, p.pixels(), p.bytes());
}
BENCHMARK(cvLut8u)->Name("LUTPalette_8u:cv_LUT")->Apply(big);

} // namespace
} // namespace pixmill::bench
