// The filters of luma at two settings each.
#include "toolbox_entries.h"
#include <pixmill/core/TImage.h>
#include <pixmill/filters/BilateralFilter.h>
#include <pixmill/filters/DomainTransform.h>
#include <pixmill/filters/TGuidedFilter.h>
#include <pixmill/multiscale/ConvPyr.h>
#include <pixmill/multiscale/LocalLaplacian.h>
#include <pixmill/multiscale/TWLSFilter.h>
#include <pixmill/multiscale/gaussianiir.h>
#include <pixmill/multiscale/tFilterBox.h>
#include <pixmill/resample/blend.h>
#include <pixmill/resample/resample.h>

#include <opencv2/core.hpp>

namespace {

void domainTransform(Toolbox& box)
{
    struct Form {
        const char *on, *name;
        int (DomainTransform::*run)(const cv::Mat&, cv::Mat&, float, float);
        const char* purpose;
        Pair settings[2] = {{8, 0.15f}, {40, 0.5f}};
    };
    const Form forms[] = {
        {"portrait",
         "RecursiveFilter",
         &DomainTransform::RecursiveFilter,
         "Smooths texture such as skin's at a cost that does not grow with the radius, and stops at edges; the detail "
         "planes of the developer are made with a near relation.",
         {{6, 0.08f}, {20, 0.25f}}},
        {"dragonfly", "NormalizedConvolutionFilter", &DomainTransform::NormalizedConvolutionFilter,
         "Averages what is near both in place and in colour: flatter areas than the recursive form, sharper corners."},
        {"bird", "InterpolatedConvolutionFilter", &DomainTransform::InterpolatedConvolutionFilter,
         "The same means, worked out in the pixels handed in, where memory is short."},
    };
    for (const Form& form : forms) {
        DomainTransform filter;
        cv::Mat in, out;
        box.filter(form.on, std::string("DomainTransform::") + form.name, form.purpose);
        for (const Pair& s : form.settings)
            box.shot(
                cv::format("DomainTransform().%s(luma, out, %g, %gf)", form.name, s.first, s.second),
                cv::format("sigmaS %g px, sigmaR %g", s.first, s.second), [&] { in = box.scene().luma.clone(); },
                [&] { (filter.*form.run)(in, out, s.first, s.second); }, [&] { return box.scene().show(out); });
    }
}

void guidedByLuma(Toolbox& box)
{
    box.filter("sundial", "TGuidedFilter, one guide plane",
               "Smooths where the guide is flat and follows it where it is not, without halos; the guide is the luma.");
    const Scene& scene = box.scene();
    TGuidedFilter filter;
    cv::Mat out;
    for (const Pair s : {Pair{16, 0.02f}, Pair{4, 0.002f}})
        box.shot(
            cv::format("filter.setup({luma}, luma, %g, %gf); filter.proc({luma16}, out)", s.first, s.second),
            cv::format("r %g px, eps %g", s.first, s.second), nothing,
            [&] {
                filter.setup({scene.luma}, scene.luma, int(s.first), s.second);
                filter.proc({scene.picture.m_Y}, out);
            },
            [&] { return scene.show(out); });
}

void guidedByColours(Toolbox& box)
{
    box.filter(
        "brushes", "TGuidedFilter, three guide planes",
        "The same with red, green and blue as guides: an edge between two colours of one brightness counts too.");
    const Scene& scene = box.scene();
    TGuidedFilter filter;
    cv::Mat out;
    std::vector<cv::Mat> rgb(3);
    for (int i = 0; i < 3; ++i)
        cv::extractChannel(scene.packed, rgb[i], 2 - i);
    for (cv::Mat& plane : rgb)
        plane.convertTo(plane, CV_32F, 1.0 / 65535.0);
    for (const Pair s : {Pair{16, 0.02f}, Pair{4, 0.002f}})
        box.shot(
            cv::format("filter.setup({R, G, B}, luma, %g, %gf); filter.proc({R, G, B}, out)", s.first, s.second),
            cv::format("r %g px, eps %g", s.first, s.second), nothing,
            [&] {
                filter.setup(rgb, scene.luma, int(s.first), s.second);
                filter.proc(rgb, out);
            },
            [&] { return scene.show(out); });
}

void bilateral(Toolbox& box)
{
    box.filter("stream", "BilateralFilter::proc",
               "Smooths by distance and by brightness at once, in a coarse grid of both: wide radii cost little.");
    const cv::Mat& Y = box.scene().picture.m_Y;
    BilateralFilter filter;
    cv::Mat out;
    for (const Pair s : {Pair{24, 12000}, Pair{4, 4000}})
        box.shot(
            cv::format("BilateralFilter().proc(cv::Mat(), inOut, %g, %g, nullptr)", s.first, s.second),
            cv::format("%g px a cell, %g values a cell", s.first, s.second), [&] { out = Y.clone(); },
            [&] { filter.proc(cv::Mat(), out, int(s.first), int(s.second), nullptr); },
            [&] { return box.scene().show(out); });
}

void gradientGuide(Toolbox& box)
{
    Entry& entry = box.filter("clock", "BilateralFilter::gradientGuide",
                              "Gives a blurred guide its edges back from the picture, and leaves the texture out.");
    const cv::Mat& Y = box.scene().picture.m_Y;
    TImage blurred(TImage::IM_Y, {Y.cols, Y.rows});
    blurred.fromMat(Y, 0);
    tFilterBox(&blurred, &blurred, 3, 2, nullptr);
    const cv::Mat soft = blurred.toMat(0);
    entry.before = box.scene().show(soft);
    entry.beforeIs = "before: the guide, a blurred picture";
    cv::Mat out;
    for (const int r : {2, 6})
        box.shot(
            cv::format("BilateralFilter::gradientGuide(luma16, guide, %d)", r), cv::format("r %d px", r),
            [&] { out = soft.clone(); }, [&] { BilateralFilter::gradientGuide(Y, out, r); },
            [&] { return box.scene().show(out); });
}

void localLaplacian(Toolbox& box)
{
    struct Form {
        const char *name, *words;
        void (LocalLaplacian::*run)(const cv::Mat&, cv::Mat&, float, float, int);
    };
    const Form forms[] = {{"proc10K", "10, for a live view", &LocalLaplacian::proc10K},
                          {"proc16K", "16", &LocalLaplacian::proc16K},
                          {"proc24K", "24, the most exact", &LocalLaplacian::proc24K}};
    box.filter("haze", "LocalLaplacian",
               "Brings detail of all sizes out, or flattens it, without halos: through haze, along the ridge, in trees "
               "against the meadow. K is the number of reference brightnesses that it works with.");
    const cv::Mat& Y = box.scene().picture.m_Y;
    const int levels = LocalLaplacian::levelJ(Y.cols, Y.rows, 1);
    LocalLaplacian filter;
    cv::Mat out;
    for (const Form& form : forms)
        for (const float sigma : {-0.3f, 0.15f})
            box.shot(
                cv::format("LocalLaplacian().%s(luma16, out, %gf, 0.3f, %d)", form.name, sigma, levels),
                cv::format("sigma %g: %s", sigma, sigma < 0 ? "clearer" : "flatter"), nothing,
                [&] { (filter.*form.run)(Y, out, sigma, 0.3f, levels); }, [&] { return box.scene().show(out); },
                std::string("K ") + form.words);
}

void gaussians(Toolbox& box)
{
    Entry& entry = box.filter(
        "lamp", "gaussianiir2d and gaussianiir3d",
        "A Gaussian blur by recursion: any width at the same cost. Along columns gaussianiir2d runs from both ends at "
        "once, which leaves a seam in the middle row, by its definition. gaussianiir3d sweeps one way and then the "
        "other and has none: a plane is a volume of depth 1. The views at 1:1 begin at the middle row.");
    entry.formsBeside = true;
    const Scene& scene = box.scene();
    cv::Mat out;
    for (const float sigma : {10.0f, 40.0f}) {
        const std::string setting = cv::format("sigma %g px, 3 steps", sigma);
        const auto prepare = [&] { out = scene.luma.clone(); };
        const auto result = [&] { return scene.show(out); };
        box.shot(
            cv::format("gaussianiir2d(inOut, %g, 3)", sigma), setting, prepare, [&] { gaussianiir2d(out, sigma, 3); },
            result, "gaussianiir2d");
        box.shot(
            cv::format("gaussianiir3d(inOut.ptr<float>(), %d, %d, 1, %g, 3)", out.cols, out.rows, sigma), setting,
            prepare, [&] { gaussianiir3d(out.ptr<float>(), out.cols, out.rows, 1, sigma, 3); }, result,
            "gaussianiir3d");
    }
}

void boxes(Toolbox& box)
{
    box.filter("dandelion", "tFilterBox", "A blur by repeated box means; wide ones work on a reduced picture.");
    const Scene& scene = box.scene();
    const TSize size(scene.luma.cols, scene.luma.rows);
    TImage in(TImage::IM_Y, size), blurred(TImage::IM_Y, size);
    in.fromMat(scene.picture.m_Y, 0);
    for (const int r : {3, 60})
        box.shot(
            cv::format("tFilterBox(&in, &out, %d, 3, nullptr)", r), cv::format("radius %d px, 3 passes", r), nothing,
            [&] { tFilterBox(&in, &blurred, r, 3, nullptr); }, [&] { return scene.show(blurred.toMat(0)); });
}

void glow(Toolbox& box)
{
    box.filter("lamp", "ConvPyr",
               "A blur with a very long tail out of three small kernels, as glow and fill-in need it.");
    const Scene& scene = box.scene();
    // Each level up weighs as much as the fall-off says, so that sums differ; the answer to a white plane evens them
    // out, and the dark that the pyramid sees around the picture with them.
    const cv::Mat down = (cv::Mat_<float>(1, 5) << 1, 4, 6, 4, 1) / 16.0f;
    const cv::Mat across = (cv::Mat_<float>(1, 3) << 1, 2, 1) / 4.0f;
    const cv::Mat white(scene.luma.size(), CV_32FC1, cv::Scalar(1));
    cv::Mat weight, out;
    for (const float falloff : {0.95f, 0.6f}) {
        ConvPyr pyramid(down, down * (2 * falloff), across);
        pyramid.proc(white, weight);
        box.shot(
            "ConvPyr(down, up, across).proc(luma, out)", cv::format("binomial 5, 5 and 3; %g a level", falloff),
            nothing, [&] { pyramid.proc(scene.luma, out); }, [&] { return scene.show(out / weight); });
    }
}

void sharpen(Toolbox& box)
{
    box.filter("dandelion", "extremeSharpen",
               "Moves every pixel to the nearer end of its surroundings: soft edges become steps.");
    const Scene& scene = box.scene();
    cv::Mat out, other;
    for (const int times : {1, 4})
        box.shot(
            times == 1 ? "extremeSharpen(luma16, out)" : cv::format("extremeSharpen(in, out), %d times", times),
            times == 1 ? "once" : cv::format("%d times", times), nothing,
            [&] {
                extremeSharpen(scene.picture.m_Y, out);
                for (int i = 1; i < times; ++i) {
                    extremeSharpen(out, other);
                    cv::swap(out, other);
                }
            },
            [&] { return scene.show(out); });
}

void leastSquares(Toolbox& box)
{
    box.filter("sunset", "TWLSFilter::Proc",
               "The smoothest plane that stays near the picture and keeps its edges, from one large system of "
               "equations: the best base for strong tone changes.");
    const cv::Mat& luma = box.scene().luma;
    TWLSFilter filter;
    cv::Mat in, guide, out;
    for (const float lambda : {0.35f, 2.0f})
        box.shot(
            cv::format("TWLSFilter().Proc(logLuma, %d, %d, %gf, 1.2f, luma, true)", luma.cols, luma.rows, lambda),
            cv::format("lambda %g, alpha 1.2, log guide", lambda),
            [&] {
                cv::log(luma + filter.m_logEps, in);
                guide = luma.clone();
            },
            [&] { filter.Proc(in.ptr<float>(), in.cols, in.rows, lambda, 1.2f, guide.ptr<float>(), true); },
            [&] {
                cv::exp(in, out);
                return box.scene().show(out);
            });
}

void edges(Toolbox& box)
{
    box.filter(
        "stream", "TPImage::edgeToFull",
        "Keeps the finest detail as eight bits a pixel beside a half-size picture; here it returns on a half-size "
        "picture that was smoothed meanwhile (2 is as it was).");
    const EdgeTables tables;
    const cv::Mat& Y = box.scene().picture.m_Y;
    cv::Mat half((Y.rows + 1) / 2, (Y.cols + 1) / 2, CV_16UC1), smooth, edge, out;
    downSize2X(Y, half, kPyramid);
    half.convertTo(smooth, CV_32F, 1.0 / 65535.0);
    DomainTransform().RecursiveFilter(smooth, smooth, 10, 0.3f);
    smooth.convertTo(smooth, CV_16U, 65535.0);
    TPImage::fullToEdge(Y, half, edge);
    for (const float strength : {1.0f, 3.0f})
        box.shot(
            cv::format("TPImage::edgeToFull(edge, smoothHalf, out, %g)", strength), cv::format("strength %g", strength),
            nothing, [&] { TPImage::edgeToFull(edge, smooth, out, strength); }, [&] { return box.scene().show(out); });
}

} // namespace

void runLumaFilters(Toolbox& box)
{
    for (void (*run)(Toolbox&) : {domainTransform, guidedByLuma, guidedByColours, bilateral, gradientGuide,
                                  localLaplacian, gaussians, boxes, glow, sharpen, leastSquares, edges})
        run(box);
}

std::vector<Entry> runFilters(Scenes& scenes)
{
    Toolbox box(scenes);
    runLumaFilters(box);
    runColorFilters(box);
    return std::move(box.entries);
}
