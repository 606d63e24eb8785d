// pixmill_demo: the library's work on one photograph, told in times and pictures.
#include "options.h"
#include <pixmill/core/TPixmill.h>

#include <CLI/CLI.hpp>
#include <opencv2/core.hpp>

#include <cmath>
#include <cstdio>
#include <exception>
#include <new>
#include <string>

namespace {

struct Chapter {
    const char* name;
    int (*run)(const Options&);
};

const Chapter kChapters[] = {
    {"convert", runConvert}, {"develop", runDevelop}, {"paint", runPaint}, {"toolbox", runToolbox}};

struct Control {
    const char* name;
    float* value;
    const char* help;
};

/// -1 to 1, and a number: CLI::Range lets nan pass, as no comparison holds for it.
CLI::Validator controlRange()
{
    const auto check = [](std::string& word) {
        float value = 0;
        const bool number = CLI::detail::lexical_cast(word, value) && std::isfinite(value);
        return number && value >= -1 && value <= 1 ? std::string() : word + " is not within -1 to 1";
    };
    return CLI::Validator(check, "FLOAT in [-1 - 1]");
}

void addColors(CLI::App& app, Options& options)
{
    const Control colors[] = {
        {"--warmth", &options.tint[0], "cooler or warmer"},
        {"--tint", &options.tint[1], "greener or more magenta"},
        {"--saturation", &options.tint[2], "less colour, none at -1, or more"},
        {"--color-floor", &options.tint[3], "below 0: weak colours become grey; above 0: they grow"},
    };
    for (const Control& c : colors)
        app.add_option(c.name, *c.value, c.help)->check(controlRange())->group("Colour")->capture_default_str();
}

int outOfMemory(const Options& options)
{
    std::fprintf(stderr, "there is not enough memory for %s\n", options.photo.c_str());
    return 1;
}

void addControls(CLI::App& app, Options& options)
{
    const CLI::Validator control = controlRange();
    const Control light[] = {
        {"--brightness", &options.light[0], "whole picture darker (-1) or brighter (1)"},
        {"--contrast", &options.light[1], "flatter or stronger contrast around the middle tones"},
        {"--highlights", &options.light[2], "bright areas down or up"},
        {"--shadows", &options.light[3], "dark areas down or up"},
        {"--whites", &options.light[4], "where white begins: 1 makes more of the picture white"},
        {"--blacks", &options.light[5], "where black ends: -1 makes more of the picture black"},
        {"--red", &options.color[0], "reds darker or brighter, as with a filter before the lens"},
        {"--green", &options.color[1], "greens darker or brighter"},
        {"--blue", &options.color[2], "blues darker or brighter"},
    };
    for (const Control& c : light)
        app.add_option(c.name, *c.value, c.help)->check(control)->group("Light")->capture_default_str();

    addColors(app, options);
    const char* levels[] = {"fine", "medium", "coarse"};
    const char* sizes[] = {"the finest detail: texture, hair, noise", "detail of some ten pixels",
                           "large shapes: local contrast, clarity"};
    const char* zones[] = {"", "-shadows", "-midtones"};
    const char* where[] = {" (everywhere, and alone in the highlights)", " in the shadows", " in the middle tones"};
    for (int level = 0; level < 3; ++level)
        for (int zone = 0; zone < 3; ++zone) {
            const std::string name = std::string("--") + levels[level] + zones[zone];
            app.add_option(name, options.slope[level][zone],
                           std::string("smoother or crisper: ") + sizes[level] + where[zone])
                ->check(control)
                ->group("Detail")
                ->capture_default_str();
            app.add_option(name + "-threshold", options.threshold[level][zone],
                           std::string("below 0: leaves weak detail out; above 0: lifts it") + where[zone])
                ->check(control)
                ->group("Detail")
                ->capture_default_str();
        }
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    options.photo = kPackagedPhoto;
    CLI::App app("Develops a photograph with libpixmill. Pictures go into the folder out/, times to the terminal.",
                 "demo");
    app.add_option("photo", options.photo, "a photograph, 8 or 16 bits: JPEG, PNG, TIFF")->capture_default_str();
    app.add_option("-o,--out", options.out, "folder for the pictures")->capture_default_str();
    std::string names;
    for (const Chapter& c : kChapters)
        names += (names.empty() ? "" : ", ") + std::string(c.name);
    app.add_option("--only", options.chapters, "only these chapters: " + names)
        ->allow_extra_args(false)
        ->delimiter(',');
    app.add_option("--strokes", options.strokes, "brush strokes to paint, a text file");
    app.add_option("--portrait", options.portrait, "a picture of a person, for what is done to skin");
    std::vector<int> region;
    app.add_option("--region", region, "part of the photograph to show: x,y,width,height in its pixels")
        ->delimiter(',')
        ->expected(4);
    app.add_option("--scale", options.scale, "reduction of the view: 1 full size, 2 half, ...")
        ->check(CLI::Range(1, 16))
        ->capture_default_str();
    addControls(app, options);
    CLI11_PARSE(app, argc, argv);
    TPixmill::setConsole(false); // the demo itself tells what there is to tell
    if (!region.empty())
        options.region = {region[0], region[1], region[2], region[3]};

    for (const std::string& name : options.chapters) {
        bool known = false;
        for (const Chapter& c : kChapters)
            known = known || name == c.name;
        if (!known) {
            std::fprintf(stderr, "no such chapter: %s (there are %s)\n", name.c_str(), names.c_str());
            return 2;
        }
    }
    try {
        for (const Chapter& c : kChapters) {
            bool wanted = options.chapters.empty();
            for (const std::string& name : options.chapters)
                wanted = wanted || name == c.name;
            const int result = wanted ? c.run(options) : 0;
            if (result)
                return result;
        }
    } catch (const char* text) { // how the library reports
        std::fprintf(stderr, "%s\n", text);
        return 1;
    } catch (const std::bad_alloc&) {
        return outOfMemory(options);
    } catch (const cv::Exception& e) {
        if (e.code == cv::Error::StsNoMem)
            return outOfMemory(options);
        std::fprintf(stderr, "%s: %s\n", options.photo.c_str(), e.err.c_str());
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
    std::printf("\nThe pictures are in %s/\n", options.out.c_str());
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::fprintf(stderr, "cannot write to the standard output\n");
        return 1;
    }
    return 0;
}
