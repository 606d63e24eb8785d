// Develops the photograph by the develop library: opened once, rendered as a whole and as a live view, every control
// moved.
#include "options.h"
#include "photo.h"
#include "report.h"
#include <pixmill/develop/Developer.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

using pixmill::Depth;
using pixmill::Developer;
using pixmill::Order;
using pixmill::Recipe;

namespace {

/// A control by name, as the recipe's keys have it.
struct Control {
    std::string name;
    float* value;
};

std::vector<Control> controlsOf(Recipe& r)
{
    std::vector<Control> all = {{"light.brightness", &r.light.brightness},
                                {"light.contrast", &r.light.contrast},
                                {"light.highlights", &r.light.highlights},
                                {"light.shadows", &r.light.shadows},
                                {"light.whites", &r.light.whites},
                                {"light.blacks", &r.light.blacks},
                                {"weights.red", &r.weights.red},
                                {"weights.green", &r.weights.green},
                                {"weights.blue", &r.weights.blue},
                                {"color.warmth", &r.color.warmth},
                                {"color.tint", &r.color.tint},
                                {"color.saturation", &r.color.saturation},
                                {"color.chromaFloor", &r.color.chromaFloor}};
    const char* names[] = {"fine", "medium", "coarse"};
    pixmill::DetailLevel* levels[] = {&r.detail.fine, &r.detail.medium, &r.detail.coarse};
    for (int i = 0; i < 3; ++i) {
        const std::string name = std::string("detail.") + names[i];
        all.push_back({name + ".base.slope", &levels[i]->base.slope});
        all.push_back({name + ".base.threshold", &levels[i]->base.threshold});
        all.push_back({name + ".shadows.slope", &levels[i]->shadows.slope});
        all.push_back({name + ".shadows.threshold", &levels[i]->shadows.threshold});
        all.push_back({name + ".midtones.slope", &levels[i]->midtones.slope});
        all.push_back({name + ".midtones.threshold", &levels[i]->midtones.threshold});
    }
    return all;
}

Recipe recipeOf(const Options& o)
{
    Recipe recipe;
    recipe.light = {o.light[0], o.light[1], o.light[2], o.light[3], o.light[4], o.light[5]};
    recipe.weights = {o.color[0], o.color[1], o.color[2]};
    recipe.color = {o.tint[0], o.tint[1], o.tint[2], o.tint[3]};
    pixmill::DetailLevel* levels[] = {&recipe.detail.fine, &recipe.detail.medium, &recipe.detail.coarse};
    for (int i = 0; i < 3; ++i)
        *levels[i] = {
            {o.slope[i][0], o.threshold[i][0]}, {o.slope[i][1], o.threshold[i][1]}, {o.slope[i][2], o.threshold[i][2]}};
    return recipe;
}

/// A rectangle of the reduced picture.
cv::Rect viewOf(const Options& options, cv::Size picture)
{
    const int s = options.scale, w = std::min(picture.width / s, 1920), h = std::min(picture.height / s, 1080);
    const cv::Rect asked = options.region & cv::Rect({0, 0}, picture);
    if (options.region.empty())
        return {(picture.width / s - w) / 2, (picture.height / s - h) / 2, w, h};
    if (asked.width < s || asked.height < s)
        throw std::runtime_error("the region lies outside the photograph");
    return {asked.x / s, asked.y / s, asked.width / s, asked.height / s};
}

/// @return false where Ctrl-C stopped it.
bool open(Developer& developer, const cv::Mat& photo)
{
    const Stopwatch watch;
    ProgressBar bar("opening the photograph");
    const pixmill::Pixels pixels{photo.data,
                                 photo.cols,
                                 photo.rows,
                                 std::ptrdiff_t(photo.step),
                                 photo.depth() == CV_16U ? Depth::Bits16 : Depth::Bits8,
                                 Order::BGRA};
    if (!developer.open(pixels, [&](double share) { return ProgressBar::callback(int(1000 * share), &bar); }))
        return false;
    step("opened: base, three planes of detail, colour", watch.ms(), double(photo.total()));
    return true;
}

cv::Mat rendered(Developer& developer, const cv::Rect& view, int scale, const Recipe& recipe)
{
    cv::Mat out;
    developer.render(view, scale, recipe, Order::BGR, out);
    return out;
}

/// The whole picture for a file of 16 bits.
cv::Mat renderedWhole(Developer& developer, const Recipe& recipe)
{
    cv::Mat out(developer.size(), CV_16UC3);
    developer.renderAll(recipe, Depth::Bits16, Order::BGR,
                        [&](int y, int rows, const void* pixels, std::ptrdiff_t stride) {
                            cv::Mat(rows, out.cols, CV_16UC3, const_cast<void*>(pixels), std::size_t(stride))
                                .copyTo(out.rowRange(y, y + rows));
                            return true;
                        });
    return out;
}

/// Moves every control in turn on the live view, and tells what each render cost.
void moveEachControl(Developer& developer, const cv::Rect& view, int scale, Recipe recipe)
{
    std::printf("\n  %-36s %s\n", "what moved", "milliseconds to display pixels");
    cv::Mat out;
    for (const Control& control : controlsOf(recipe)) {
        const float before = *control.value;
        double best = 1e9;
        for (const float to : {before - 0.2f, before - 0.1f, before}) {
            *control.value = std::max(to, -1.0f);
            const Stopwatch watch;
            developer.render(view, scale, recipe, Order::BGRA, out);
            best = std::min(best, watch.ms());
        }
        std::printf("  %-36s %.1f\n", control.name.c_str(), best);
    }
    std::printf("\n");
}

/// One row a control: low, neutral, high, on a small piece of the view.
void controlStrip(Developer& developer, const Options& options, const cv::Rect& view, Recipe recipe)
{
    const cv::Size piece(std::min(300, view.width), std::min(200, view.height));
    const cv::Rect at({view.x + (view.width - piece.width) / 2, view.y + (view.height - piece.height) / 2}, piece);
    std::vector<cv::Mat> rows;
    for (const Control& control : controlsOf(recipe)) {
        std::vector<cv::Mat> row;
        const float before = *control.value;
        for (const float value : {-0.8f, 0.0f, 0.8f}) {
            *control.value = value;
            row.push_back(rendered(developer, at, options.scale, recipe));
            label(row.back(), control.name + cv::format(" %+.1f", value));
        }
        *control.value = before;
        rows.push_back(sideBySide(row));
    }
    cv::Mat sheet;
    cv::vconcat(rows, sheet);
    save(options.out, "controls.jpg", sheet);
}

/// A part of a photograph where a setting shows what it is for.
struct Purpose {
    const char *name, *file, *text;
    double x, y; ///< The middle of the part, as shares of the picture.
    int scale;
    Recipe recipe;
    int enlarged = 1; ///< So many times, to be seen.
};

std::vector<Purpose> purposes()
{
    Recipe bridge, subject, haze, skin, fur;
    bridge.light.contrast = 0.2f;
    bridge.detail.coarse.base.slope = 0.5f;
    bridge.detail.medium.base.slope = 0.3f;
    subject.light.shadows = 0.5f;
    subject.detail.fine.base.slope = 0.5f;
    subject.color.warmth = -0.15f;
    haze.light.highlights = -0.3f;
    haze.light.shadows = 0.4f;
    haze.detail.coarse.base.slope = 0.5f;
    haze.detail.medium.base.slope = 0.3f;
    skin.detail.fine.base.threshold = -0.3f;
    skin.detail.medium.base.threshold = -0.5f;
    fur.detail.fine.base.slope = 0.5f;
    fur.color.saturation = 0.3f;
    return {{"bridge", "Bridge_by_Sander_Klootwijk.jpg", "coarse and medium detail: cables without halos", 0.65, 0.62,
             1, bridge},
            {"subject", "Dragonfly_by_Bolly.jpg", "fine detail before a blur; shadows", 0.56, 0.42, 1, subject},
            {"haze", "aitzgorri_by_Aitzol_Berasategi.jpg", "clarity through haze; light", 0.62, 0.28, 2, haze},
            {"skin", "", "weak detail softened; eyes, hair, edges stay", 0.44, 0.25, 1, skin, 3},
            {"fur", "friends_by_Aitzol_Berasategi.jpg", "fine detail and saturation", 0.46, 0.4, 2, fur}};
}

cv::Mat enlarged(const cv::Mat& picture, int times)
{
    cv::Mat out = picture;
    if (times > 1)
        cv::resize(picture, out, {}, times, times, cv::INTER_CUBIC);
    return out;
}

/// The portrait, and what lies beside the chosen photograph of these: before and after, side by side.
void showPurposes(const Options& options)
{
    const std::filesystem::path folder = std::filesystem::path(options.photo).parent_path();
    for (const Purpose& purpose : purposes()) {
        const bool portrait = purpose.file[0] == 0;
        const std::string path = portrait ? options.portrait : (folder / purpose.file).string();
        if (!std::filesystem::exists(path))
            continue;
        Developer developer;
        if (!open(developer, loadPhoto(path)))
            return;
        const cv::Size size = developer.size(purpose.scale);
        const cv::Size part(std::min(900 / purpose.enlarged, size.width),
                            std::min(600 / purpose.enlarged, size.height));
        const cv::Rect at({std::clamp(int(purpose.x * size.width) - part.width / 2, 0, size.width - part.width),
                           std::clamp(int(purpose.y * size.height) - part.height / 2, 0, size.height - part.height)},
                          part);
        const auto shown = [&](const Recipe& recipe) {
            return enlarged(rendered(developer, at, purpose.scale, recipe), purpose.enlarged);
        };
        cv::Mat before = shown(Recipe()), after = shown(purpose.recipe);
        label(before, portrait ? "before. Portrait: NASA, public domain" : "before");
        label(after, purpose.text);
        save(options.out, std::string("purpose-") + purpose.name + ".jpg", sideBySide({before, after}));
    }
}

} // namespace

int runDevelop(const Options& asked)
{
    heading("Developing");
    const cv::Mat photo = loadPhoto(asked.photo);
    Options options = asked;
    if (options.region.empty()) // a picture of few rows or columns has no reduced view
        options.scale = std::min({options.scale, photo.cols, photo.rows});
    Developer developer;
    if (!open(developer, photo)) {
        std::printf("  cancelled\n");
        return 130;
    }

    const Recipe recipe = recipeOf(options);
    const double pixels = double(photo.total());
    cv::Mat before, after;
    cv::cvtColor(as8Bit(photo), before, cv::COLOR_BGRA2BGR);
    timed("the whole picture, 16 bits", pixels, [&] { after = renderedWhole(developer, recipe); });
    save(options.out, "before.jpg", before);
    save(options.out, "after-16bit.png", after);
    save(options.out, "after.jpg", rendered(developer, {{0, 0}, photo.size()}, 1, recipe));

    const cv::Rect view = viewOf(options, photo.size());
    cv::Mat shown;
    timed(cv::format("a view of %d x %d pixels at 1/%d, afresh", view.width, view.height, options.scale),
          double(view.area()), [&] { shown = rendered(developer, view, options.scale, recipe); });
    cv::Mat left = rendered(developer, view, options.scale, Recipe()), right = shown.clone();
    save(options.out, "view.jpg", shown);
    label(left, "before");
    label(right, "after");
    save(options.out, "side-by-side.jpg", sideBySide({left, right}));
    moveEachControl(developer, view, options.scale, recipe);
    controlStrip(developer, options, view, recipe);
    showPurposes(options);
    return 0;
}
