// What works on colour, at two settings each.
#include "toolbox_entries.h"
#include <pixmill/adjust/TColorAdjQ3.h>
#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/core/TImage.h>
#include <pixmill/curves/TLut3D.h>
#include <pixmill/resample/guidedUpsize.h>
#include <pixmill/resample/resample.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace {

void colors(Toolbox& box)
{
    box.filter("table", "TColorAdjQ3",
               "White balance and saturation on the colour differences, by tables that know the luma.");
    const Scene& scene = box.scene();
    const cv::Mat& Y = scene.picture.m_Y;
    cv::Mat dr, db;
    for (const Pair s : {Pair{-0.5f, 0}, Pair{0, 0.8f}}) {
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
}

void light(Toolbox& box)
{
    box.filter("sunset", "TLightAdjLUTq3",
               "Brightness, contrast, highlights, shadows, whites and blacks as one luma curve.");
    const cv::Mat& Y = box.scene().picture.m_Y;
    cv::Mat out;
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
            nothing, [&] { light.applyYLUT(Y, out); }, [&] { return box.scene().show(out); });
    }
}

void colorTable(Toolbox& box)
{
    struct Look {
        const char* name;
        double gamma[3]; ///< Blue, green, red: below 1 is more of it.
        double gray;     ///< Share of the colour that goes.
    };
    box.filter("haze", "TLut3D", "Any look at all as a grid of colours: an identity table whose entries were edited.");
    constexpr int kGrid = 17;
    std::vector<unsigned short> entries(kGrid * kGrid * kGrid * 3);
    TLut3D table;
    std::fill_n(table.m_size, 3, kGrid);
    table.m_table_p = entries.data();
    cv::Mat in, out, shown;
    cv::cvtColor(box.scene().packed, in, cv::COLOR_BGRA2BGR);
    out.create(in.size(), in.type());
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

/// The part of a picture of this size where its half-size colour steps most from one side to the other.
cv::Rect colouredEdge(const cv::Mat& dr, cv::Size picture)
{
    const cv::Size part(std::min(64, picture.width), std::min(42, picture.height));
    cv::Mat smooth, x, y, steps;
    cv::blur(dr, smooth, {9, 9});
    cv::Sobel(smooth, x, CV_32F, 1, 0);
    cv::Sobel(smooth, y, CV_32F, 0, 1);
    cv::magnitude(x, y, steps);
    cv::blur(steps, steps, {9, 9});
    cv::Point most;
    cv::minMaxLoc(steps, nullptr, nullptr, nullptr, &most);
    return {std::clamp(2 * most.x - part.width / 2, 0, picture.width - part.width),
            std::clamp(2 * most.y - part.height / 2, 0, picture.height - part.height), part.width, part.height};
}

void guidedChroma(Toolbox& box)
{
    Entry& entry = box.filter(
        "bowl", "upSize2XGuidedByY",
        "Enlarges half-size colour so that it ends where the luma's edges are. A coloured edge, every pixel 15 times "
        "as large.");
    const Scene& scene = box.scene();
    const cv::Mat& Y = scene.picture.m_Y;
    cv::Mat dr(Y.size(), CV_16UC1), db(Y.size(), CV_16UC1);
    upSize2X(scene.picture.m_Dr, dr, kNearest);
    upSize2X(scene.picture.m_Db, db, kNearest);
    const cv::Rect edge = colouredEdge(scene.picture.m_Dr, Y.size());
    const auto show = [&] {
        cv::Mat shown;
        cv::resize(scene.show(Y, dr, db)(edge), shown, {}, 15, 15, cv::INTER_NEAREST);
        return shown;
    };
    entry.before = show();
    entry.beforeIs = "before: colour as it is kept, a sample for four pixels";
    entry.enlarged = true;
    for (const bool guide : {true, false})
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
    box.filter(
        "brushes", "TImage: YCM and updateCfromYChange",
        "The compact picture: 16-bit luma, half-size 8-bit colour and mask; colour follows a luma that changes.");
    const cv::Size size = box.scene().luma.size();
    if (size.width % 2 || size.height % 2) // its half-size planes leave an odd side's end unwritten
        return box.entries.pop_back();
    cv::Mat packed, back(size, CV_8UC4), shown;
    box.scene().packed.convertTo(packed, CV_8U, 1.0 / 257.0);
    TImage Y(TImage::IM_Y, {}), C(TImage::IM_C, {}), M(TImage::IM_M, {});
    const auto toYCM = [&] { TImage::bgra8uToTImage(packed.data, size.width, size.height, int(packed.step), Y, C, M); };
    const auto result = [&] {
        TImage::timageToBgra8u(Y, C, M, back.data, int(back.step));
        cv::cvtColor(back, shown, cv::COLOR_BGRA2BGR);
        return shown.clone();
    };
    box.shot(
        "TImage::bgra8uToTImage(...); TImage::timageToBgra8u(...)", "there and back", nothing,
        [&] {
            toYCM();
            TImage::timageToBgra8u(Y, C, M, back.data, int(back.step));
        },
        result);

    cv::Mat brighter;
    toYCM();
    cv::pow(cv::Mat(cv::max(box.scene().luma, 0.0)), 0.6, brighter);
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

void runColorFilters(Toolbox& box)
{
    for (void (*run)(Toolbox&) : {colors, light, colorTable, guidedChroma, ycm})
        run(box);
}
