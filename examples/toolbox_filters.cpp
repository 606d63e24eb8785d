// The filters at two settings each.
#include "report.h"
#include "toolbox.h"

#include <pixmill/adjust/TColorAdjQ3.h>
#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/core/TImage.h>
#include <pixmill/curves/TLut3D.h>
#include <pixmill/filters/BilateralFilter.h>
#include <pixmill/filters/DomainTransform.h>
#include <pixmill/filters/TGuidedFilter.h>
#include <pixmill/multiscale/ConvPyr.h>
#include <pixmill/multiscale/LocalLaplacian.h>
#include <pixmill/multiscale/TWLSFilter.h>
#include <pixmill/multiscale/gaussianiir.h>
#include <pixmill/multiscale/tFilterBox.h>
#include <pixmill/resample/blend.h>
#include <pixmill/resample/guidedUpsize.h>
#include <pixmill/resample/resample.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace {

struct Pair {
    float first, second;
};

void nothing()
{
}

/// The entries as they grow: `filter` begins one, each `shot` adds a setting.
class Toolbox {
public:
    explicit Toolbox(const Scene& of) : scene(of) {}

    void filter(const std::string& name, const std::string& purpose)
    {
        filter(name, purpose, scene.show(scene.picture.m_Y), "before: the photograph");
    }

    void filter(const std::string& name, const std::string& purpose, const cv::Mat& before, const std::string& is)
    {
        entries.push_back({name, purpose, before, is, {}});
    }

    /// Times `call` alone, three times unless that takes long; `prepare` gives it fresh input every time.
    template <class Prepare, class Call, class Result>
    void shot(const std::string& code, const std::string& parameters, const Prepare& prepare, const Call& call,
              const Result& result)
    {
        double best = 1e9, sum = 0;
        for (int run = 0; run < 3 && sum < 2000; ++run) {
            prepare();
            const Stopwatch watch;
            call();
            const double ms = watch.ms();
            best = std::min(best, ms);
            sum += ms;
        }
        Entry& entry = entries.back();
        step(entry.name + ", " + parameters, best, double(scene.luma.total()));
        entry.after.push_back({result(), code, parameters, best});
    }

    const Scene& scene;
    std::vector<Entry> entries;
};

void domainTransform(Toolbox& box)
{
    struct Form {
        const char* name;
        int (DomainTransform::*run)(const cv::Mat&, cv::Mat&, float, float);
        const char* purpose;
    };
    const Form forms[] = {
        {"RecursiveFilter", &DomainTransform::RecursiveFilter,
         "Smooths texture at a cost that does not grow with the radius, and stops at edges; the detail planes of the "
         "developer are made with it."},
        {"NormalizedConvolutionFilter", &DomainTransform::NormalizedConvolutionFilter,
         "Averages what is near both in place and in colour: flatter areas than the recursive form, sharper corners."},
        {"InterpolatedConvolutionFilter", &DomainTransform::InterpolatedConvolutionFilter,
         "The same means, worked out in the pixels handed in, where memory is short."},
    };
    for (const Form& form : forms) {
        DomainTransform filter;
        cv::Mat in, out;
        box.filter(std::string("DomainTransform::") + form.name, form.purpose);
        for (const Pair s : {Pair{8, 0.15f}, Pair{40, 0.5f}})
            box.shot(
                cv::format("DomainTransform().%s(luma, out, %g, %gf)", form.name, s.first, s.second),
                cv::format("sigmaS %g px, sigmaR %g", s.first, s.second), [&] { in = box.scene.luma.clone(); },
                [&] { (filter.*form.run)(in, out, s.first, s.second); }, [&] { return box.scene.show(out); });
    }
}

void guided(Toolbox& box)
{
    const Scene& scene = box.scene;
    TGuidedFilter filter;
    cv::Mat out;
    box.filter("TGuidedFilter, one guide plane",
               "Smooths where the guide is flat and follows it where it is not, without halos; the guide is the luma.");
    for (const Pair s : {Pair{4, 0.002f}, Pair{16, 0.02f}})
        box.shot(
            cv::format("filter.setup({luma}, luma, %g, %gf); filter.proc({luma16}, out)", s.first, s.second),
            cv::format("r %g px, eps %g", s.first, s.second), nothing,
            [&] {
                filter.setup({scene.luma}, scene.luma, int(s.first), s.second);
                filter.proc({scene.picture.m_Y}, out);
            },
            [&] { return scene.show(out); });

    std::vector<cv::Mat> rgb(3);
    for (int i = 0; i < 3; ++i)
        cv::extractChannel(scene.packed, rgb[i], 2 - i);
    for (cv::Mat& plane : rgb)
        plane.convertTo(plane, CV_32F, 1.0 / 65535.0);
    box.filter(
        "TGuidedFilter, three guide planes",
        "The same with red, green and blue as guides: an edge between two colours of one brightness counts too.");
    for (const Pair s : {Pair{4, 0.002f}, Pair{16, 0.02f}})
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
    const cv::Mat& Y = box.scene.picture.m_Y;
    BilateralFilter filter;
    cv::Mat out;
    box.filter("BilateralFilter::proc",
               "Smooths by distance and by brightness at once, in a coarse grid of both: wide radii cost little.");
    for (const Pair s : {Pair{4, 4000}, Pair{24, 12000}})
        box.shot(
            cv::format("BilateralFilter().proc(cv::Mat(), inOut, %g, %g, nullptr)", s.first, s.second),
            cv::format("%g px a cell, %g values a cell", s.first, s.second), [&] { out = Y.clone(); },
            [&] { filter.proc(cv::Mat(), out, int(s.first), int(s.second), nullptr); },
            [&] { return box.scene.show(out); });

    TImage blurred(TImage::IM_Y, {Y.cols, Y.rows});
    blurred.fromMat(Y, 0);
    tFilterBox(&blurred, &blurred, 3, 2, nullptr);
    const cv::Mat soft = blurred.toMat(0);
    box.filter("BilateralFilter::gradientGuide",
               "Gives a blurred guide its edges back from the picture, and leaves the texture out.",
               box.scene.show(soft), "before: the guide, the photograph blurred");
    for (const int r : {2, 6})
        box.shot(
            cv::format("BilateralFilter::gradientGuide(luma16, guide, %d)", r), cv::format("r %d px", r),
            [&] { out = soft.clone(); }, [&] { BilateralFilter::gradientGuide(Y, out, r); },
            [&] { return box.scene.show(out); });
}

void localLaplacian(Toolbox& box)
{
    struct Form {
        const char* name;
        void (LocalLaplacian::*run)(const cv::Mat&, cv::Mat&, float, float, int);
        const char* purpose;
    };
    const Form forms[] = {
        {"proc24K", &LocalLaplacian::proc24K,
         "Flattens detail or brings it out at all sizes without halos; 24 reference brightnesses, the most exact "
         "form."},
        {"proc16K", &LocalLaplacian::proc16K, "The same with 16 references: the middle way."},
        {"proc10K", &LocalLaplacian::proc10K, "The same with 10 references: the fastest form, for a live view."}};
    const cv::Mat& Y = box.scene.picture.m_Y;
    const int levels = LocalLaplacian::levelJ(Y.cols, Y.rows, 1);
    for (const Form& form : forms) {
        LocalLaplacian filter;
        cv::Mat out;
        box.filter(std::string("LocalLaplacian::") + form.name, form.purpose);
        for (const float sigma : {0.15f, -0.3f})
            box.shot(
                cv::format("LocalLaplacian().%s(luma16, out, %gf, 0.3f, %d)", form.name, sigma, levels),
                cv::format("sigma %g, smooth 0.3, %d levels", sigma, levels), nothing,
                [&] { (filter.*form.run)(Y, out, sigma, 0.3f, levels); }, [&] { return box.scene.show(out); });
    }
}

void blurs(Toolbox& box)
{
    const Scene& scene = box.scene;
    cv::Mat out;
    box.filter(
        "gaussianiir2d",
        "A Gaussian blur by recursion: any width at the same cost. Along columns it runs from both ends at once, which "
        "leaves a seam in the middle row.");
    for (const float sigma : {2.0f, 10.0f})
        box.shot(
            cv::format("gaussianiir2d(inOut, %g, 3)", sigma), cv::format("sigma %g px, 3 steps", sigma),
            [&] { out = scene.luma.clone(); }, [&] { gaussianiir2d(out, sigma, 3); }, [&] { return scene.show(out); });

    const TSize size(scene.luma.cols, scene.luma.rows);
    TImage in(TImage::IM_Y, size), blurred(TImage::IM_Y, size);
    in.fromMat(scene.picture.m_Y, 0);
    box.filter("tFilterBox", "A blur by repeated box means; wide ones work on a reduced picture.");
    for (const int r : {3, 60})
        box.shot(
            cv::format("tFilterBox(&in, &out, %d, 3, nullptr)", r), cv::format("radius %d px, 3 passes", r), nothing,
            [&] { tFilterBox(&in, &blurred, r, 3, nullptr); }, [&] { return scene.show(blurred.toMat(0)); });

    // Each level up weighs as much as the fall-off says, so that sums differ; the answer to a white plane evens them
    // out, and the dark that the pyramid sees around the picture with them.
    const cv::Mat down = (cv::Mat_<float>(1, 5) << 1, 4, 6, 4, 1) / 16.0f;
    const cv::Mat across = (cv::Mat_<float>(1, 3) << 1, 2, 1) / 4.0f;
    const cv::Mat white(scene.luma.size(), CV_32FC1, cv::Scalar(1));
    cv::Mat weight;
    box.filter("ConvPyr", "A blur with a very long tail out of three small kernels, as glow and fill-in need it.");
    for (const float falloff : {0.6f, 0.95f}) {
        ConvPyr pyramid(down, down * (2 * falloff), across);
        pyramid.proc(white, weight);
        box.shot(
            "ConvPyr(down, up, across).proc(luma, out)", cv::format("binomial 5, 5 and 3; %g a level", falloff),
            nothing, [&] { pyramid.proc(scene.luma, out); }, [&] { return scene.show(out / weight); });
    }
}

void sharpen(Toolbox& box)
{
    const Scene& scene = box.scene;
    cv::Mat out, other;
    box.filter("extremeSharpen", "Moves every pixel to the nearer end of its surroundings: soft edges become steps.");
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
    const cv::Mat& luma = box.scene.luma;
    TWLSFilter filter;
    cv::Mat in, guide, out;
    box.filter("TWLSFilter::Proc",
               "The smoothest plane that stays near the picture and keeps its edges, from one large system of "
               "equations: slow, and the best base for strong tone changes.");
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
                return box.scene.show(out);
            });
}

void edges(Toolbox& box)
{
    const EdgeTables tables;
    const cv::Mat& Y = box.scene.picture.m_Y;
    cv::Mat half((Y.rows + 1) / 2, (Y.cols + 1) / 2, CV_16UC1), smooth, edge, out;
    downSize2X(Y, half, kPyramid);
    half.convertTo(smooth, CV_32F, 1.0 / 65535.0);
    DomainTransform().RecursiveFilter(smooth, smooth, 10, 0.3f);
    smooth.convertTo(smooth, CV_16U, 65535.0);
    TPImage::fullToEdge(Y, half, edge);
    box.filter(
        "TPImage::edgeToFull",
        "Keeps the finest detail as eight bits a pixel beside a half-size picture; here it returns on a half-size "
        "picture that was smoothed meanwhile (2 is as it was).");
    for (const float strength : {1.0f, 3.0f})
        box.shot(
            cv::format("TPImage::edgeToFull(edge, smoothHalf, out, %g)", strength), cv::format("strength %g", strength),
            nothing, [&] { TPImage::edgeToFull(edge, smooth, out, strength); }, [&] { return box.scene.show(out); });
}

void colors(Toolbox& box)
{
    const Scene& scene = box.scene;
    const cv::Mat& Y = scene.picture.m_Y;
    cv::Mat dr, db;
    box.filter("TColorAdjQ3", "White balance and saturation on the colour differences, by tables that know the luma.");
    for (const Pair s : {Pair{0.7f, 0}, Pair{0, 0.8f}}) {
        TColorAdjQ3 adjust(1, 1, 1, 1, 2, 1);
        adjust.m_warmth = s.first;
        adjust.m_saturation = s.second;
        adjust.m_dirty = 1;
        adjust.computeLUT16U();
        box.shot(
            "adjust.proc(luma16, luma16, Dr, Db, outDr, outDb)",
            s.first ? cv::format("warmth %g", s.first) : cv::format("saturation %g", s.second), nothing,
            [&] { adjust.proc(Y, Y, scene.dr, scene.db, dr, db); }, [&] { return scene.show(Y, dr, db); });
    }

    cv::Mat out;
    box.filter("TLightAdjLUTq3", "Brightness, contrast, highlights, shadows, whites and blacks as one luma curve.");
    struct Light {
        float contrast, highlights, shadows;
    };
    for (const Light s : {Light{0, -0.6f, 0.8f}, Light{0.7f, 0, 0}}) {
        TLightAdjLUTq3 light;
        light.setupParams(0, s.contrast, s.highlights, s.shadows, 0, 0);
        light.setupYLUT();
        light.computeLUT16U(true);
        box.shot(
            cv::format("light.setupParams(0, %g, %g, %g, 0, 0); light.applyYLUT(luma16, out)", s.contrast, s.highlights,
                       s.shadows),
            s.contrast ? cv::format("contrast %g", s.contrast)
                       : cv::format("highlights %g, shadows %g", s.highlights, s.shadows),
            nothing, [&] { light.applyYLUT(Y, out); }, [&] { return scene.show(out); });
    }
}

void colorTable(Toolbox& box)
{
    struct Look {
        const char* name;
        double gamma[3]; ///< Blue, green, red: below 1 is more of it.
        double gray;     ///< Share of the colour that goes.
    };
    constexpr int kGrid = 17;
    std::vector<unsigned short> entries(kGrid * kGrid * kGrid * 3);
    TLut3D table;
    std::fill_n(table.m_size, 3, kGrid);
    table.m_table_p = entries.data();
    cv::Mat in, out, shown;
    cv::cvtColor(box.scene.packed, in, cv::COLOR_BGRA2BGR);
    out.create(in.size(), in.type());
    box.filter("TLut3D", "Any look at all as a grid of colours: an identity table whose entries were edited.");
    for (const Look& look :
         {Look{"a warm evening", {1.35, 1.0, 0.75}, 0.1}, Look{"bleached, cold", {0.85, 1.0, 1.1}, 0.6}}) {
        table.initialize(kGrid, 3, TLut3D::LAST_FASTEST);
        for (size_t i = 0; i < entries.size(); i += 3) {
            const double gray = 0.114 * entries[i] + 0.587 * entries[i + 1] + 0.299 * entries[i + 2];
            for (int c = 0; c < 3; ++c) {
                const double v = entries[i + c] + look.gray * (gray - entries[i + c]);
                entries[i + c] = cv::saturate_cast<unsigned short>(65535.0 * std::pow(v / 65535.0, look.gamma[c]));
            }
        }
        box.shot(
            "table.applyLutOn16UC3Mat(in, out, TLut3D::LUT3D_LINEAR)",
            cv::format("%d x %d x %d, %s", kGrid, kGrid, kGrid, look.name), nothing,
            [&] { table.applyLutOn16UC3Mat(in, out, TLut3D::LUT3D_LINEAR); },
            [&] {
                out.convertTo(shown, CV_8U, 1.0 / 257.0);
                return shown.clone();
            });
    }
}

void guidedChroma(Toolbox& box)
{
    const Scene& scene = box.scene;
    const cv::Mat& Y = scene.picture.m_Y;
    const cv::Mat gray(Y.size(), CV_16UC1, cv::Scalar(36000));
    cv::Mat dr(Y.size(), CV_16UC1), db(Y.size(), CV_16UC1);
    upSize2X(scene.picture.m_Dr, dr, kNearest);
    upSize2X(scene.picture.m_Db, db, kNearest);
    // On a luma without any detail, and enlarged: what is seen is the chroma alone, pixel by pixel.
    const cv::Size part(std::max(1, Y.cols / 4), std::max(1, Y.rows / 4));
    const cv::Rect middle({(Y.cols - part.width) / 2, (Y.rows - part.height) / 2}, part);
    const auto show = [&] {
        cv::Mat shown;
        cv::resize(scene.show(gray, dr, db)(middle), shown, {}, 4, 4, cv::INTER_NEAREST);
        return shown;
    };
    box.filter("upSize2XGuidedByY",
               "Enlarges half-size colour so that it ends where the luma's edges are; shown without the luma,"
               " four times as large.",
               show(), "before: the colour alone, its half-size pixels");
    for (const bool guide : {false, true})
        box.shot(
            cv::format("upSize2XGuidedByY(luma16, Dr, out, %s, 4), and Db", guide ? "true" : "false"),
            guide ? "guided by the luma" : "cubic, without a guide", nothing,
            [&] {
                upSize2XGuidedByY(Y, scene.picture.m_Dr, dr, guide, kCubic);
                upSize2XGuidedByY(Y, scene.picture.m_Db, db, guide, kCubic);
            },
            show);
}

void ycm(Toolbox& box)
{
    const cv::Size size = box.scene.luma.size();
    if (size.width % 2 || size.height % 2) // its half-size planes leave an odd side's end unwritten
        return;
    cv::Mat packed, back(size, CV_8UC4), shown;
    box.scene.packed.convertTo(packed, CV_8U, 1.0 / 257.0);
    TImage Y(TImage::IM_Y, {}), C(TImage::IM_C, {}), M(TImage::IM_M, {});
    const auto toYCM = [&] { TImage::bgra8uToTImage(packed.data, size.width, size.height, int(packed.step), Y, C, M); };
    const auto result = [&] {
        TImage::timageToBgra8u(Y, C, M, back.data, int(back.step));
        cv::cvtColor(back, shown, cv::COLOR_BGRA2BGR);
        return shown.clone();
    };
    box.filter(
        "TImage: YCM and updateCfromYChange",
        "The compact picture: 16-bit luma, half-size 8-bit colour and mask; colour follows a luma that changes.");
    box.shot(
        "TImage::bgra8uToTImage(...); TImage::timageToBgra8u(...)", "there and back", nothing,
        [&] {
            toYCM();
            TImage::timageToBgra8u(Y, C, M, back.data, int(back.step));
        },
        result);

    cv::Mat brighter;
    toYCM();
    cv::pow(cv::Mat(cv::max(box.scene.luma, 0.0)), 0.6, brighter);
    brighter.convertTo(brighter, CV_16U, 65535.0);
    TImage newY(TImage::IM_Y, {size.width, size.height}), newC(C);
    newY.fromMat(brighter, 0);
    box.shot(
        "TImage::updateCfromYChange(Y, C, newY, outC, 0.1f)", "luma to the power 0.6", nothing,
        [&] { TImage::updateCfromYChange(Y, C, newY, newC, 0.1f); },
        [&] {
            Y.copyFrom(newY);
            C.copyFrom(newC);
            return result();
        });
}

} // namespace

std::vector<Entry> runFilters(const Scene& scene)
{
    Toolbox box(scene);
    for (void (*run)(Toolbox&) : {domainTransform, guided, bilateral, localLaplacian, blurs, sharpen, leastSquares,
                                  edges, colors, colorTable, guidedChroma, ycm})
        run(box);
    return box.entries;
}
