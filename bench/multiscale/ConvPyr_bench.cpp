#include <pixmill/multiscale/ConvPyr.h>
#include <support/bench.h>

#include <opencv2/imgproc.hpp>

namespace {

using namespace pixmill;

const cv::Mat kH1 = (cv::Mat_<float>(1, 5) << 0.1f, 0.4f, 0.6f, 0.4f, 0.1f);
const cv::Mat kG = (cv::Mat_<float>(1, 3) << 0.2f, 0.6f, 0.2f);

void ConvPyr_proc(benchmark::State& state)
{
    const cv::Mat in = bench::scene(int(state.range(0)), int(state.range(1)), CV_32FC1, 0.0, 1.0);
    cv::Mat out(in.size(), CV_32FC1);
    ConvPyr pyramid(kH1, kH1, kG);
    for (auto _ : state)
        pyramid.proc(in, out);
    bench::report(state, double(in.total()), 8.0 * double(in.total()));
}
BENCHMARK(ConvPyr_proc)->Apply(bench::sizes);

/// The filter passes alone, three on each grid: what the image library takes of the time.
void ConvPyr_proc_passesAlone(benchmark::State& state)
{
    const cv::Mat in = bench::scene(int(state.range(0)), int(state.range(1)), CV_32FC1, 0.0, 1.0);
    const auto pass = [](const cv::Mat& from, cv::Mat& to, const cv::Mat& kernel) {
        cv::sepFilter2D(from, to, CV_32F, kernel, kernel, cv::Point(-1, -1), 0, cv::BORDER_CONSTANT);
    };
    for (auto _ : state)
        for (cv::Size size = in.size(); size.width > 1; size = {(size.width + 1) / 2, (size.height + 1) / 2}) {
            const cv::Mat level = in(cv::Rect({0, 0}, size));
            cv::Mat down, up, across;
            pass(level, down, kH1);
            pass(level, up, kH1);
            pass(level, across, kG);
        }
    bench::report(state, double(in.total()), 8.0 * double(in.total()));
}
BENCHMARK(ConvPyr_proc_passesAlone)->Name("ConvPyr_proc:passes")->Apply(bench::sizes);

} // namespace
