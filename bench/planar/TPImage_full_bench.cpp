#include <pixmill/planar/TPImage.h>
#include <support/bench.h>

#include <opencv2/imgproc.hpp>

using namespace pixmill::bench;

namespace {

struct Planes {
    TPImage picture;
    cv::Mat r, g, b;

    explicit Planes(const benchmark::State& state) : picture(int(state.range(0)), int(state.range(1)))
    {
        const int w = int(state.range(0)), h = int(state.range(1));
        picture.m_Y = scene(w, h, CV_16UC1, 0, 65536, 1);
        picture.m_Dr = scene(w / 2, h / 2, CV_16UC1, 20000, 40000, 2);
        picture.m_Db = scene(w / 2, h / 2, CV_16UC1, 20000, 40000, 3);
        for (cv::Mat* m : {&r, &g, &b})
            *m = plane(w, h, CV_16UC1, 0, 65536);
    }

    void reportTo(benchmark::State& state) const { report(state, double(r.total()), double(r.total()) * 9); }
};

template <void (TPImage::*form)(unsigned short**, int) const>
void fullColours(benchmark::State& state)
{
    Planes p(state);
    unsigned short* rgb[] = {p.r.ptr<ushort>(), p.g.ptr<ushort>(), p.b.ptr<ushort>()};
    for (auto _ : state)
        (p.picture.*form)(rgb, 0);
    p.reportTo(state);
}
BENCHMARK_TEMPLATE(fullColours, &TPImage::convertTopRGB)->Name("TPImage_convertTopRGB")->Apply(sizesUpTo64);
BENCHMARK_TEMPLATE(fullColours, &TPImage::convertTopRGB15U)->Name("TPImage_convertTopRGB15U")->Apply(sizes);

void cvColours(benchmark::State& state)
{
    Planes p(state);
    const cv::Size size = p.r.size();
    for (auto _ : state) {
        cv::Mat dr, db, ycc, rgb;
        cv::resize(p.picture.m_Dr, dr, size, 0, 0, cv::INTER_CUBIC);
        cv::resize(p.picture.m_Db, db, size, 0, 0, cv::INTER_CUBIC);
        cv::merge(std::vector<cv::Mat>{p.picture.m_Y, dr, db}, ycc);
        cv::cvtColor(ycc, rgb, cv::COLOR_YCrCb2RGB);
        cv::Mat planes[] = {p.r, p.g, p.b};
        cv::split(rgb, planes);
    }
    p.reportTo(state);
}
BENCHMARK(cvColours)->Name("TPImage_convertTopRGB:cvtColor")->Apply(sizes);

} // namespace
