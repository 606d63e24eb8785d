// The develop library's goals, in processor time: a photograph of 16 megapixels, a view of 1920 x 1080 to packed pixels
// with colour, every part of the recipe moved. The milliseconds of these rows are of the process's processor time, so
// at one thread a busy machine disturbs them little.
#include <pixmill/develop/Developer.h>
#include <support/bench.h>

#include <opencv2/core.hpp>
#ifdef PIXMILL_HAVE_IMGCODECS
#include <opencv2/imgcodecs.hpp>
#endif

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>

using namespace pixmill;

namespace {

constexpr int kWidth = 5312, kHeight = 2988;

cv::Mat madePicture()
{
    cv::Mat planes[3], packed;
    for (unsigned i = 0; i < 3; ++i)
        planes[i] = bench::scene(kWidth, kHeight, CV_8UC1, 0, 256, i + 1);
    cv::merge(planes, 3, packed);
    return packed;
}

/// PIXMILL_BENCH_PHOTO, or the 16 megapixel photograph of the wallpaper package, or a made picture.
cv::Mat loadPicture()
{
#ifdef PIXMILL_HAVE_IMGCODECS
    const char* named = std::getenv("PIXMILL_BENCH_PHOTO");
    const std::string path = named ? named : "/usr/share/backgrounds/seeding_by_Clements_Engelhardt.jpg";
    const cv::Mat photo = cv::imread(path, cv::IMREAD_COLOR);
    if (!photo.empty())
        return photo;
    std::fprintf(stderr, "Developer: no photograph %s, so a made picture\n", path.c_str());
#else
    std::fprintf(stderr, "Developer: no reader of photographs, so a made picture\n");
#endif
    return madePicture();
}

const cv::Mat& picture()
{
    static const cv::Mat loaded = loadPicture();
    return loaded;
}

Pixels pixels()
{
    const cv::Mat& p = picture();
    return {p.data, p.cols, p.rows, std::ptrdiff_t(p.step), Depth::Bits8, Order::BGR};
}

Developer& developer()
{
    static Developer opened = [] {
        Developer d;
        d.open(pixels());
        return d;
    }();
    return opened;
}

Recipe moved()
{
    Recipe recipe;
    recipe.light = {0.1f, 0.2f, -0.5f, 0.5f, 0.1f, -0.1f};
    recipe.detail.fine.base.slope = recipe.detail.medium.base.slope = 0.2f;
    recipe.detail.coarse.base.slope = 0.15f;
    recipe.detail.fine.shadows.threshold = -0.2f;
    recipe.color = {0.1f, 0.0f, 0.2f, 0.0f};
    return recipe;
}

double processorSeconds()
{
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

/// `prepare` is not counted.
void measure(benchmark::State& state, double count, const std::function<void()>& prepare,
             const std::function<void()>& work)
{
    for (auto _ : state) {
        prepare();
        const double start = processorSeconds();
        work();
        state.SetIterationTime(processorSeconds() - start);
    }
    bench::report(state, count, 0);
}

cv::Rect viewAt(int scale)
{
    const cv::Size size = developer().size(scale);
    const int w = std::min(1920, size.width), h = std::min(1080, size.height);
    return {(size.width - w) / 2, (size.height - h) / 2, w, h};
}

/// One control moved back and forth on a view that was rendered before.
void slide(benchmark::State& state, const std::function<void(Recipe&, float)>& set)
{
    const int scale = int(state.range(0));
    const cv::Rect view = viewAt(scale);
    Recipe recipe = moved();
    cv::Mat out;
    developer().render(view, scale, recipe, Order::BGRA, out);
    float to = 0.3f;
    measure(
        state, view.area(), [&] { set(recipe, to = 0.7f - to); },
        [&] { developer().render(view, scale, recipe, Order::BGRA, out); });
}

void Developer_detailSlider(benchmark::State& state)
{
    slide(state, [](Recipe& r, float to) { r.detail.medium.midtones.slope = to; });
}

void Developer_detailBaseSlider(benchmark::State& state)
{
    slide(state, [](Recipe& r, float to) { r.detail.fine.base.slope = to; });
}

void Developer_lightSlider(benchmark::State& state)
{
    slide(state, [](Recipe& r, float to) { r.light.shadows = to; });
}

void Developer_colorSlider(benchmark::State& state)
{
    slide(state, [](Recipe& r, float to) { r.color.saturation = to; });
}

void Developer_pan50(benchmark::State& state)
{
    const int scale = int(state.range(0));
    cv::Rect view = viewAt(scale);
    const Recipe recipe = moved();
    cv::Mat out;
    developer().render(view, scale, recipe, Order::BGRA, out);
    int by = 50;
    measure(
        state, view.area(), [&] { view.x += by = -by; },
        [&] { developer().render(view, scale, recipe, Order::BGRA, out); });
}

/// After a view at another scale: nothing kept but tables, buffers and the reduced picture.
void Developer_freshView(benchmark::State& state)
{
    const int scale = int(state.range(0));
    const int otherScale = scale == 1 ? 2 : 1; // keeps the reduced picture
    const cv::Rect view = viewAt(scale), other = viewAt(otherScale);
    const Recipe recipe = moved();
    cv::Mat out, elsewhere;
    measure(
        state, view.area(), [&] { developer().render(other, otherScale, recipe, Order::BGRA, elsewhere); },
        [&] { developer().render(view, scale, recipe, Order::BGRA, out); });
}

void Developer_open(benchmark::State& state)
{
    Developer d;
    measure(
        state, double(picture().total()), [&] { d = Developer(); }, [&] { d.open(pixels()); });
}

void Developer_renderAll(benchmark::State& state)
{
    const Depth depth = state.range(0) == 8 ? Depth::Bits8 : Depth::Bits16;
    measure(
        state, double(picture().total()), [] {},
        [&] {
            developer().renderAll(moved(), depth, Order::RGB,
                                  [](int, int, const void*, std::ptrdiff_t) { return true; });
        });
}

void views(benchmark::internal::Benchmark* b)
{
    b->ArgName("scale")->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond)->UseManualTime();
}

} // namespace

BENCHMARK(Developer_open)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(Developer_detailSlider)->Apply(views);
BENCHMARK(Developer_detailBaseSlider)->Apply(views);
BENCHMARK(Developer_lightSlider)->Apply(views);
BENCHMARK(Developer_colorSlider)->Apply(views);
BENCHMARK(Developer_freshView)->Apply(views);
BENCHMARK(Developer_pan50)->ArgName("scale")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(Developer_renderAll)->ArgName("bits")->Arg(8)->Arg(16)->Unit(benchmark::kMillisecond)->UseManualTime();
