// Develops the photograph: detail planes, the engine's set-up, the whole picture, a live view, every control in turn.
#include "options.h"
#include "photo.h"
#include "report.h"
#include <pixmill/adjust/TColorAdjQ3.h>
#include <pixmill/core/TProgress.h>
#include <pixmill/engine/TQuillet3.h>
#include <pixmill/filters/DomainTransform.h>
#include <pixmill/planar/TPImage.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace {

/// What the engine takes in: the luma without its detail, and the detail by size.
struct Layers {
    cv::Mat base, detail[3];
};

/// One smoothing step of the ladder: everything smaller than `sigma` pixels and weaker than `contrast` of full scale.
struct Rung {
    const char* what;
    float sigma, contrast;
};

const Rung kLadder[3] = {{"fine", 2.0f, 0.06f}, {"medium", 8.0f, 0.10f}, {"coarse", 32.0f, 0.16f}};

/// Smooths the luma in three steps, each stronger than the one before; what a step takes away is one detail plane,
/// halved and centred on 32768, so that base + twice the three planes is the photograph again.
Layers separate(const cv::Mat& Y)
{
    Layers layers;
    DomainTransform filter;
    cv::Mat smooth, finer = Y;
    Y.convertTo(smooth, CV_32F);
    for (int level = 0; level < 3; ++level) {
        const Rung& rung = kLadder[level];
        timed(std::string("detail plane, ") + rung.what, double(Y.total()), [&] {
            filter.RecursiveFilter(smooth, smooth, rung.sigma, rung.contrast * 65535.0f);
            cv::Mat coarser;
            smooth.convertTo(coarser, CV_16U);
            cv::addWeighted(finer, 0.5, coarser, -0.5, 32768.0, layers.detail[level]);
            finer = coarser;
        });
    }
    layers.base = finer;
    return layers;
}

void setControls(TQuillet3& engine, const Options& options)
{
    std::copy(options.light.begin(), options.light.end(), engine.m_lightParams);
    std::copy(options.color.begin(), options.color.end(), engine.m_colorWeights);
    for (int level = 0; level < 3; ++level) {
        std::copy_n(options.slope[level], 3, engine.m_detailK[level]);
        std::copy_n(options.threshold[level], 3, engine.m_detailT[level]);
        engine.m_levelDirty[level] = true;
    }
    engine.m_lightDirty = true;
}

/// The colour controls, neutral ones as the class begins: it then only lets colour follow the luma.
struct Color {
    TColorAdjQ3 adjust{1, 1, 1, 1, 2, 1}; // the reach of each control
    cv::Mat before;                       ///< The photograph's luma.

    Color(const Options& options, cv::Mat luma) : before(std::move(luma))
    {
        adjust.m_warmth = options.tint[0];
        adjust.m_tint = options.tint[1];
        adjust.m_saturation = options.tint[2];
        adjust.m_chromaFloor = options.tint[3];
        adjust.m_dirty = std::any_of(options.tint.begin(), options.tint.end(), [](float v) { return v != 0; });
    }
};

/// The rendered region as display pixels: the engine's luma with the colour of the same region, which follows it.
cv::Mat display(const TQuillet3& engine, Color& color, const cv::Rect& region, int scale)
{
    cv::Mat rgb[3];
    for (cv::Mat& plane : rgb)
        plane.create(engine.m_result.size(), CV_16UC1);
    const auto crop = [&](const cv::Mat& plane) {
        return TPImage::MatRoi(plane, region.x, region.y, engine.m_result.cols, engine.m_result.rows, scale, false,
                               false);
    };
    cv::Mat Dr = crop(engine.m_fullDr), Db = crop(engine.m_fullDb);
    color.adjust.proc(crop(color.before), engine.m_result, Dr, Db, Dr, Db);
    TPImage::YDRDB2RGB(engine.m_result, Dr, Db, rgb[0], rgb[1], rgb[2]);
    cv::Mat packed;
    toFile16(rgb).convertTo(packed, CV_8U, 1.0 / 257.0);
    return packed;
}

/// A rectangle of result pixels whose picture pixels all exist.
cv::Rect viewOf(const Options& options, cv::Size picture)
{
    cv::Rect source = options.region;
    if (source.empty()) {
        const int w = std::min(picture.width, 1920 * options.scale), h = std::min(picture.height, 1080 * options.scale);
        source = {(picture.width - w) / 2, (picture.height - h) / 2, w, h};
    }
    source &= cv::Rect({0, 0}, picture);
    if (source.width < options.scale || source.height < options.scale)
        throw std::runtime_error("the region lies outside the photograph");
    return {source.x, source.y, source.width / options.scale, source.height / options.scale};
}

struct Control {
    std::string name;
    float* value;
    bool* dirty; ///< What a host sets when it has written the value.
};

std::vector<Control> controlsOf(TQuillet3& engine)
{
    const char* light[] = {"brightness", "contrast", "highlights", "shadows", "whites", "blacks"};
    const char* color[] = {"red", "green", "blue"};
    const char* level[] = {"fine", "medium", "coarse"};
    const char* zone[] = {"", "-shadows", "-midtones"};
    std::vector<Control> all;
    for (int i = 0; i < 6; ++i)
        all.push_back({light[i], &engine.m_lightParams[i], &engine.m_lightDirty});
    for (int i = 0; i < 3; ++i)
        all.push_back({color[i], &engine.m_colorWeights[i], &engine.m_lightDirty});
    for (int l = 0; l < 3; ++l)
        for (int z = 0; z < 3; ++z) {
            const std::string name = std::string(level[l]) + zone[z];
            all.push_back({name, &engine.m_detailK[l][z], &engine.m_levelDirty[l]});
            all.push_back({name + "-threshold", &engine.m_detailT[l][z], &engine.m_levelDirty[l]});
        }
    return all;
}

void printCost(const char* name, const char* rendered, double ms)
{
    std::printf("  %-28s %-34s %.1f\n", name, rendered, ms);
}

struct ColorControl {
    const char* name;
    float* value;
};

std::vector<ColorControl> controlsOf(TColorAdjQ3& a)
{
    return {{"warmth", &a.m_warmth},
            {"tint", &a.m_tint},
            {"saturation", &a.m_saturation},
            {"color-floor", &a.m_chromaFloor}};
}

/// Moves the colour controls in turn, and tells what the view's way from luma to display pixels costs with each.
void moveEachColor(const TQuillet3& engine, Color& color, const cv::Rect& view, int scale)
{
    TColorAdjQ3& a = color.adjust;
    const auto cost = [&] {
        const Stopwatch watch;
        display(engine, color, view, scale);
        return watch.ms();
    };
    for (const ColorControl& control : controlsOf(a)) {
        const float before = *control.value;
        double best = 1e9;
        for (const float to : {before + 0.2f, before + 0.1f}) {
            *control.value = to;
            a.m_dirty = 1;
            best = std::min(best, cost());
        }
        printCost(control.name, "colour tables, display pixels", best);
        *control.value = before;
    }
    a.m_dirty = 1;
    cost();
    printCost("(light or detail)", "the same with the tables there", std::min(cost(), cost()));
}

/// Moves every control in turn on the live view, back again, and tells what each render cost.
void moveEachControl(TQuillet3& engine, const cv::Rect& view, int scale)
{
    std::printf("\n  %-28s %-34s %s\n", "what moved", "what was rendered", "milliseconds");
    for (const Control& control : controlsOf(engine)) {
        const float before = *control.value;
        const bool light = control.dirty == &engine.m_lightDirty;
        double best = 1e9;
        for (const float to : {before + 0.2f, before + 0.1f, before}) {
            *control.value = to;
            *control.dirty = true;
            const Stopwatch watch;
            engine.proc(view, scale, cv::Mat());
            best = std::min(best, watch.ms());
        }
        const std::string levels =
            light ? "luma and all levels" : "level " + std::to_string(control.dirty - engine.m_levelDirty);
        printCost(control.name.c_str(), levels.c_str(), best);
    }
}

/// One row a control: low, as it is, high, on a small piece of the view.
void controlStrip(TQuillet3& engine, Color& color, const Options& options, const cv::Rect& view)
{
    const cv::Size piece(std::min(300, view.width), std::min(200, view.height));
    const cv::Rect at(view.x + (view.width - piece.width) * options.scale / 2,
                      view.y + (view.height - piece.height) * options.scale / 2, piece.width, piece.height);
    std::vector<cv::Mat> rows;
    for (const Control& control : controlsOf(engine)) {
        std::vector<cv::Mat> row;
        const float before = *control.value;
        for (const float value : {-0.8f, 0.0f, 0.8f}) {
            *control.value = value;
            *control.dirty = true;
            engine.proc(at, options.scale, cv::Mat());
            row.push_back(display(engine, color, at, options.scale));
            label(row.back(), control.name + cv::format(" %+.1f", value));
        }
        *control.value = before;
        *control.dirty = true;
        rows.push_back(sideBySide(row));
    }
    engine.proc(at, options.scale, cv::Mat());
    for (const ColorControl& control : controlsOf(color.adjust)) {
        std::vector<cv::Mat> row;
        const float before = *control.value;
        for (const float value : {-0.8f, 0.0f, 0.8f}) {
            *control.value = value;
            color.adjust.m_dirty = 1;
            row.push_back(display(engine, color, at, options.scale));
            label(row.back(), control.name + cv::format(" %+.1f", value));
        }
        *control.value = before;
        rows.push_back(sideBySide(row));
    }
    cv::Mat sheet;
    cv::vconcat(rows, sheet);
    save(options.out, "controls.jpg", sheet);
}

} // namespace

int runDevelop(const Options& asked)
{
    heading("Developing");
    const cv::Mat photo = as16Bit(loadPhoto(asked.photo));
    Options options = asked;
    if (options.region.empty()) // a picture of few rows or columns has no reduced view
        options.scale = std::min({options.scale, photo.cols, photo.rows});
    const double pixels = double(photo.total());
    TPImage picture(photo.cols, photo.rows);
    picture.convertFrom(photo.ptr<unsigned short>(), photo.cols, photo.rows, int(photo.step / 2));

    const Layers layers = separate(picture.m_Y);
    TQuillet3 engine;
    bool ready = false;
    {
        const Stopwatch watch;
        ProgressBar bar("setting the engine up");
        TProgress progress(ProgressBar::callback, &bar);
        ready = engine.setup(layers.base, layers.detail[0], layers.detail[1], layers.detail[2], picture.m_Dr,
                             picture.m_Db, &progress);
        if (ready)
            step("engine set-up: colour to full size and smoothed", watch.ms(), pixels);
    }
    if (!ready) {
        std::printf("  cancelled\n");
        return 130;
    }

    const cv::Rect whole({0, 0}, photo.size());
    cv::Mat before;
    cv::cvtColor(as8Bit(photo), before, cv::COLOR_BGRA2BGR);
    Color color(options, picture.m_Y);
    setControls(engine, options);
    timed("the whole picture, every control set", pixels, [&] { engine.proc(whole, 1, cv::Mat()); });
    cv::Mat after, planes[3];
    timed("its colour, and display pixels", pixels, [&] { after = display(engine, color, whole, 1); });

    TPImage developed(picture);
    developed.m_Y = engine.m_result.clone();
    followLuma(developed, picture.m_Y, color.adjust);
    toPlanes(developed, planes);
    save(options.out, "before.jpg", before);
    save(options.out, "after.jpg", after);
    save(options.out, "after-16bit.png", toFile16(planes));

    const cv::Rect view = viewOf(options, photo.size());
    timed(cv::format("a view of %d x %d pixels at 1/%d, rendered afresh", view.width, view.height, options.scale),
          double(view.area()), [&] { engine.proc(view, options.scale, cv::Mat()); });
    save(options.out, "view.jpg", display(engine, color, view, options.scale));
    moveEachControl(engine, view, options.scale);
    moveEachColor(engine, color, view, options.scale);
    std::printf("\n");

    const cv::Rect piece(photo.cols / 2 - std::min(450, photo.cols / 2), photo.rows / 2 - std::min(450, photo.rows / 2),
                         std::min(900, photo.cols), std::min(900, photo.rows));
    cv::Mat left = before(piece).clone(), right = after(piece).clone();
    label(left, "before");
    label(right, "after");
    save(options.out, "side-by-side.jpg", sideBySide({left, right}));
    controlStrip(engine, color, options, view);
    return 0;
}
