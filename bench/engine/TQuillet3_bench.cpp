// The live view: set-up of a picture, whole renders, one slider moved.
#include <support/bench.h>

#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/core/TPixmill.h>
#include <pixmill/core/Threads.h>
#include <pixmill/curves/TLutThreshold.h>
#include <pixmill/engine/TQuillet3.h>
#include <pixmill/primitives/copy.h>
#include <pixmill/primitives/filter.h>
#include <pixmill/primitives/resize.h>

#include <opencv2/imgproc.hpp>
#ifdef PIXMILL_HAVE_XIMGPROC
#include <opencv2/ximgproc/edge_filter.hpp>
#endif

#include <memory>
#include <vector>

using namespace pixmill;

namespace {

constexpr int kWidth = 4896, kHeight = 3264; // 16 megapixels

struct Picture {
    cv::Mat Y = bench::scene(kWidth, kHeight, CV_16UC1, 0, 65536, 1), detail[3];
    cv::Mat Dr = bench::scene(kWidth / 2, kHeight / 2, CV_16UC1, 20000, 46000, 2);
    cv::Mat Db = bench::scene(kWidth / 2, kHeight / 2, CV_16UC1, 26000, 40000, 3);

    Picture()
    {
        for (int i = 0; i < 3; ++i) {
            cv::Mat noise(kHeight, kWidth, CV_32FC1);
            cv::RNG(10 + i).fill(noise, cv::RNG::NORMAL, 32768, 1500);
            noise.convertTo(detail[i], CV_16U);
        }
    }
};

const Picture& picture()
{
    static const Picture p;
    return p;
}

/// Keeps the standard output clean of what set-up says there.
struct Silence {
    Silence() { TPixmill::setConsole(false); }
    ~Silence() { TPixmill::setConsole(true); }
};

TQuillet3& engine()
{
    static std::unique_ptr<TQuillet3> e;
    if (!e) {
        const Silence silence;
        e = std::make_unique<TQuillet3>();
        e->setup(picture().Y, picture().detail[0], picture().detail[1], picture().detail[2], picture().Dr, picture().Db,
                 nullptr);
        const float light[6] = {0.2f, 0.3f, -0.4f, 0.5f, 0.1f, -0.2f};
        std::copy_n(light, 6, e->m_lightParams);
        for (int l = 0; l < 3; ++l)
            for (int z = 0; z < 3; ++z) {
                e->m_detailK[l][z] = 0.3f + 0.1f * z;
                e->m_detailT[l][z] = -0.1f * l;
            }
    }
    return *e;
}

/// The crop by its recipe: the view with a border, its 3 x 3 means in place where `smooth`, then the resize primitive.
cv::Mat plainCrop(const cv::Mat& in, const cv::Rect& roi, int scale, bool smooth)
{
    const cv::Mat view = in(cv::Range(roi.y, std::min(roi.height * scale + roi.y, in.rows)),
                            cv::Range(roi.x, std::min(roi.width * scale + roi.x, in.cols)));
    if (scale == 1 && !smooth)
        return view.clone();
    cv::Mat padded(view.rows + 2, view.cols + 2, CV_16UC1), out(roi.height, roi.width, CV_16UC1);
    const IppiSize size{view.cols, view.rows};
    ippiCopyReplicateBorder_16u_C1R(view.ptr<ushort>(), int(view.step), size, padded.ptr<ushort>(), int(padded.step),
                                    {padded.cols, padded.rows}, 1, 1);
    if (smooth)
        ippiFilterBox_16u_C1IR(padded.ptr<ushort>(1) + 1, int(padded.step), size, {3, 3}, {1, 1});
    const IppiRect from{0, 0, view.cols, view.rows}, to{0, 0, out.cols, out.rows};
    int bytes = 0;
    ippiResizeGetBufSize(from, to, 1, IPPI_INTER_CUBIC, &bytes);
    std::vector<unsigned char> buffer(bytes);
    ippiResizeSqrPixel_16u_C1R(padded.ptr<ushort>(1) + 1, size, int(padded.step), from, out.ptr<ushort>(),
                               int(out.step), to, 1.0 / scale, 1.0 / scale, 0.5 / scale, 0.5 / scale, IPPI_INTER_CUBIC,
                               buffer.data());
    return out;
}

/// The engine's recipe by whole planes, one step after the other.
struct Plain {
    cv::Mat Y, detail[3], result;

    void luma(TQuillet3& e, const cv::Rect& roi, int scale)
    {
        Y = plainCrop(e.m_Y, roi, scale, false);
        TLightAdjLUTq3 light;
        const float* p = e.m_lightParams;
        light.setupParams(p[0], p[1], p[2], p[3], p[4], p[5]);
        light.proc(Y);
    }

    void mix(const cv::Mat& shadows, const cv::Mat& midtones, cv::Mat& inOut)
    {
        for (int y = 0; y < inOut.rows; ++y)
            for (int x = 0; x < inOut.cols; ++x) {
                const int i = Y.at<ushort>(y, x) >> 8;
                const int sum = (shadows.at<ushort>(y, x) - 32768) * TQuillet3::tg_shadowLut_p[i] +
                                (midtones.at<ushort>(y, x) - 32768) * TQuillet3::tg_midtoneLut_p[i] +
                                (inOut.at<ushort>(y, x) - 32768) * TQuillet3::tg_highlightLut_p[i];
                inOut.at<ushort>(y, x) = cv::saturate_cast<ushort>(sum / 256 + 32768);
            }
    }

    void level(TQuillet3& e, int l, const cv::Rect& roi, int scale)
    {
        const float high[3] = {5.0f, 4.0f, 3.5f};
        const int range[3] = {9830, 8191, 7372};
        const bool smooth = scale > e.m_smoothScale;
        detail[l] = plainCrop(e.m_detail[l], roi, scale, smooth);
        const float *k = e.m_detailK[l], *t = e.m_detailT[l];
        TLut16U lut(0.0f, high[l], range[l], 0.35f);
        cv::Mat shadows = detail[l].clone(), midtones = detail[l].clone();
        lut.setupLinearThreshold(k[1], t[1], k[0], t[0]);
        lut.apply(shadows);
        lut.setupLinearThreshold(k[2], t[2], k[0], t[0]);
        lut.apply(midtones);
        lut.setupLinearThreshold(k[0], t[0], 0.0f, 0.0f);
        lut.apply(detail[l]);
        mix(shadows, midtones, detail[l]);
    }

    void sum()
    {
        Y.copyTo(result);
        for (int y = 0; y < result.rows; ++y)
            for (int x = 0; x < result.cols; ++x)
                result.at<ushort>(y, x) = cv::saturate_cast<ushort>(
                    result.at<ushort>(y, x) +
                    2 * (detail[0].at<ushort>(y, x) + detail[1].at<ushort>(y, x) + detail[2].at<ushort>(y, x)) -
                    196608);
    }
};

void views(benchmark::internal::Benchmark* b)
{
    b->ArgName("scale")->Arg(1)->Arg(2)->Arg(3)->Arg(4)->Unit(benchmark::kMillisecond)->UseRealTime();
}

cv::Rect viewAt(int scale)
{
    const int w = std::min(1920, kWidth / scale), h = std::min(1080, kHeight / scale);
    return {(kWidth - w * scale) / 2, (kHeight - h * scale) / 2, w, h};
}

void TQuillet3_render(benchmark::State& state)
{
    TQuillet3& e = engine();
    const int scale = int(state.range(0));
    const cv::Rect roi = viewAt(scale);
    float moved = 0.3f;
    for (auto _ : state) {
        moved = moved == 0.3f ? 0.31f : 0.3f; // the tables of all levels are built anew
        for (int l = 0; l < 3; ++l)
            e.m_detailK[l][0] = moved;
        e.m_dirty = true;
        e.proc(roi, scale, cv::Mat());
    }
    bench::report(state, roi.area(), roi.area() * 10.0);
}

void TQuillet3_slider(benchmark::State& state)
{
    TQuillet3& e = engine();
    const int scale = int(state.range(0));
    const cv::Rect roi = viewAt(scale);
    e.proc(roi, scale, cv::Mat());
    for (auto _ : state) {
        e.m_detailK[1][1] = e.m_detailK[1][1] == 0.4f ? 0.41f : 0.4f;
        e.m_levelDirty[1] = true;
        e.proc(roi, scale, cv::Mat());
    }
    bench::report(state, roi.area(), roi.area() * 12.0);
}

void plainRender(benchmark::State& state)
{
    TQuillet3& e = engine();
    const int scale = int(state.range(0));
    const cv::Rect roi = viewAt(scale);
    Plain plain;
    for (auto _ : state) {
        plain.luma(e, roi, scale);
        for (int l = 0; l < 3; ++l)
            plain.level(e, l, roi, scale);
        plain.sum();
    }
    bench::report(state, roi.area(), roi.area() * 10.0);
}

void plainSlider(benchmark::State& state)
{
    TQuillet3& e = engine();
    const int scale = int(state.range(0));
    const cv::Rect roi = viewAt(scale);
    Plain plain;
    plain.luma(e, roi, scale);
    for (int l = 0; l < 3; ++l)
        plain.level(e, l, roi, scale);
    for (auto _ : state) {
        plain.level(e, 1, roi, scale);
        plain.sum();
    }
    bench::report(state, roi.area(), roi.area() * 12.0);
}

void TQuillet3_setup(benchmark::State& state)
{
    const Picture& p = picture();
    TQuillet3 e;
    const ThreadScope team(threads()); // set-up would take a thread for every processor
    const Silence silence;
    for (auto _ : state)
        e.setup(p.Y, p.detail[0], p.detail[1], p.detail[2], p.Dr, p.Db, nullptr);
    bench::report(state, double(kWidth) * kHeight, double(kWidth) * kHeight * 5);
}

#ifdef PIXMILL_HAVE_XIMGPROC
void resizeAndDtFilter(benchmark::State& state)
{
    const Picture& p = picture();
    for (auto _ : state) {
        cv::Mat Dr, Db, merged, wide;
        cv::resize(p.Dr, Dr, p.Y.size(), 0, 0, cv::INTER_CUBIC);
        cv::resize(p.Db, Db, p.Y.size(), 0, 0, cv::INTER_CUBIC);
        cv::merge(std::vector<cv::Mat>{Dr, Db}, merged);
        merged.convertTo(wide, CV_32F);
        cv::ximgproc::dtFilter(wide, wide, wide, 31.9, 4259.71, cv::ximgproc::DTF_RF, 3);
        wide.convertTo(merged, CV_16U);
        cv::split(merged, std::vector<cv::Mat>{Dr, Db});
    }
    bench::report(state, double(kWidth) * kHeight, double(kWidth) * kHeight * 5);
}
#endif

} // namespace

BENCHMARK(TQuillet3_render)->Apply(views);
BENCHMARK(plainRender)->Name("TQuillet3_render:plain")->Apply(views);
BENCHMARK(TQuillet3_slider)->Apply(views);
BENCHMARK(plainSlider)->Name("TQuillet3_slider:plain")->Apply(views);
BENCHMARK(TQuillet3_setup)->Unit(benchmark::kMillisecond)->UseRealTime();
#ifdef PIXMILL_HAVE_XIMGPROC
BENCHMARK(resizeAndDtFilter)->Name("TQuillet3_setup:resize_dtFilter")->Unit(benchmark::kMillisecond)->UseRealTime();
#endif
