#include <pixmill/core/TImage.h>
#include <support/bench.h>

#include <vector>

using namespace pixmill::bench;

namespace {

/// A picture in every form, filled.
struct Forms {
    TImage y, c, m, rgba8, rgba16;

    explicit Forms(const benchmark::State& state)
        : y(TImage::IM_Y, TSize(int(state.range(0)), int(state.range(1)))), c(TImage::IM_C, TImage::dec2Size(y.size())),
          m(TImage::IM_M, c.size()), rgba8(TImage::IM_RGBA8U, y.size()), rgba16(TImage::IM_RGBA16U, y.size())
    {
        for (cv::Mat plane : {y.toMat(0), c.toMat(0), c.toMat(1), m.toMat(0), rgba8.toMat(0), rgba16.toMat(0)})
            cv::RNG(3).fill(plane, cv::RNG::UNIFORM, 0, plane.depth() == CV_8U ? 256 : 65536);
    }

    double pixels() const { return double(y.m_width) * y.m_height; }
};

constexpr double kYcmBytes = 2 + 0.5 + 0.25;

template <class Call>
void run(benchmark::State& state, double bytesAPixel, const Call& call)
{
    Forms f(state);
    for (auto _ : state)
        call(f);
    report(state, f.pixels(), f.pixels() * bytesAPixel);
}

void rgba16uToYCM(benchmark::State& state)
{
    run(state, 8 + kYcmBytes, [](Forms& f) { TImage::rgba16uToYCM(f.rgba16, f.y, f.c, f.m); });
}

void rgba8uToYCM(benchmark::State& state)
{
    run(state, 4 + kYcmBytes, [](Forms& f) { TImage::rgba8uToYCM(f.rgba8, f.y, f.c, f.m); });
}

void bgra8uToTImage(benchmark::State& state)
{
    run(state, 4 + kYcmBytes, [](Forms& f) {
        TImage::bgra8uToTImage(f.rgba8.m_plane_p[0], f.y.m_width, f.y.m_height, f.rgba8.m_step, f.y, f.c, f.m);
    });
}

void YCMToRgba16u(benchmark::State& state)
{
    run(state, 8 + kYcmBytes, [](Forms& f) { TImage::YCMToRgba16u(f.y, f.c, f.m, f.rgba16); });
}

void YCMToRgba8u(benchmark::State& state)
{
    run(state, 4 + kYcmBytes, [](Forms& f) { TImage::YCMToRgba8u(f.y, f.c, f.m, f.rgba8); });
}

void swapC4RBCannel(benchmark::State& state)
{
    run(state, 8, [](Forms& f) { f.rgba8.swapC4RBCannel(); });
}

void swapC4RBCannel16(benchmark::State& state)
{
    run(state, 16, [](Forms& f) { f.rgba16.swapC4RBCannel(); });
}

void rgba8uTo16u(benchmark::State& state)
{
    run(state, 12, [](Forms& f) { TImage::rgba8uTo16u(f.rgba8, f.rgba16); });
}

void rgba16uTo8u(benchmark::State& state)
{
    run(state, 12, [](Forms& f) { TImage::rgba16uTo8u(f.rgba16, f.rgba8); });
}

void updateCfromYChange(benchmark::State& state)
{
    Forms f(state);
    const TImage newY(f.y);
    TImage outC(f.c);
    for (auto _ : state)
        TImage::updateCfromYChange(f.y, f.c, newY, outC, 0.1f);
    report(state, f.pixels(), f.pixels() * 5);
}

} // namespace

BENCHMARK(rgba16uToYCM)->Name("TImage_rgba16uToYCM")->Apply(sizes);
BENCHMARK(rgba8uToYCM)->Name("TImage_rgba8uToYCM")->Apply(sizes);
BENCHMARK(bgra8uToTImage)->Name("TImage_bgra8uToTImage")->Apply(sizes);
BENCHMARK(YCMToRgba16u)->Name("TImage_YCMToRgba16u")->Apply(sizes);
BENCHMARK(YCMToRgba8u)->Name("TImage_YCMToRgba8u")->Apply(sizes);
BENCHMARK(rgba8uTo16u)->Name("TImage_rgba8uTo16u")->Apply(sizes);
BENCHMARK(rgba16uTo8u)->Name("TImage_rgba16uTo8u")->Apply(sizes);
BENCHMARK(swapC4RBCannel)->Name("TImage_swapC4RBCannel_8u")->Apply(sizes);
BENCHMARK(swapC4RBCannel16)->Name("TImage_swapC4RBCannel_16u")->Apply(sizes);
BENCHMARK(updateCfromYChange)->Name("TImage_updateCfromYChange")->Apply(sizes);
