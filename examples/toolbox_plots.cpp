// The curves behind the filters.
#include "toolbox.h"
#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/curves/TLutThreshold.h>
#include <pixmill/multiscale/LocalLaplacian.h>

#include <opencv2/core.hpp>

#include <algorithm>

namespace {

/// Every so many entries of a table as points, each less `origin`.
template <class T>
Curve sampled(const std::string& name, const T* table, double origin)
{
    constexpr int kEntries = 65536, kStep = 128;
    Curve curve{name, {}};
    for (int i = 0; i <= kEntries; i += kStep) {
        const int at = std::min(i, kEntries - 1);
        curve.points.emplace_back(at - origin, double(table[at]) - origin);
    }
    return curve;
}

Plot remapPlot()
{
    Plot plot{
        "Remap curve of LocalLaplacian",
        "What is added to a pixel, by its difference from the reference brightness, both halved. Near the reference "
        "the "
        "curve leans against the difference and flattens it, or goes with it and enhances it; large differences stay.",
        "half difference",
        "half of what is added",
        {-16384, -4096, 32768, 8192},
        {}};
    LocalLaplacian filter;
    for (const float sigma : {0.15f, -0.3f}) {
        filter.m_sigma = sigma;
        filter.m_lutSmooth = 0.3f;
        filter.calRemapLut();
        plot.curves.push_back(sampled(cv::format("sigma %g", sigma), filter.m_remap_p, 32768));
    }
    return plot;
}

Plot thresholdPlot()
{
    Plot plot{"Threshold curves of TLut16U",
              "What the developer does to detail: the slope makes it crisper or smoother. A threshold below 0 "
              "leaves weak detail out, one above 0 lifts it.",
              "detail in",
              "detail out",
              {-8192, -16384, 16384, 32768},
              {}};
    TLut16U table(0, 5, 9830, 0.35f);
    for (const float threshold : {-0.9f, 0.5f}) {
        table.setupLinearThreshold(0.2f, threshold, 0, 0);
        plot.curves.push_back(sampled(cv::format("slope 0.2, threshold %g", threshold),
                                      static_cast<const unsigned short*>(table.m_lut_p), 32768));
    }
    return plot;
}

Plot lightPlot()
{
    Plot plot{"Light curve of TLightAdjLUTq3",
              "Luma in, luma out, as computeLUT16U makes the table.",
              "luma in",
              "luma out",
              {0, 0, 65536, 65536},
              {}};
    struct Light {
        const char* name;
        float contrast, highlights, shadows;
    };
    for (const Light& s : {Light{"neutral", 0, 0, 0}, Light{"highlights -0.6, shadows 0.8", 0, -0.6f, 0.8f},
                           Light{"contrast 0.7", 0.7f, 0, 0}}) {
        TLightAdjLUTq3 light;
        light.setupParams(0, s.contrast, s.highlights, s.shadows, 0, 0);
        light.setupYLUT();
        light.computeLUT16U(true);
        plot.curves.push_back(sampled(s.name, light.m_lutY_p, 0));
    }
    return plot;
}

Plot edgePlot()
{
    const EdgeTables tables;
    Plot plot{
        "Edge table of TPImage",
        "Half a difference between a picture and its enlarged half goes into eight bits by its square root: small "
        "ones are kept exactly, large ones coarsely.",
        "half difference",
        "edge byte",
        {-32768, 0, 65536, 256},
        {{"fullToEdge", {}}, {"edgeToFull", {}}}};
    for (int i = 0; i<65536; i += i> 30000 && i < 35536 ? 16 : 128)
        plot.curves[0].points.emplace_back(i - 32768, TPImage::m_lutFullToEdge_p[i]);
    for (int e = 0; e < 256; e += 3)
        plot.curves[1].points.emplace_back(TPImage::m_lutEdgeToFull_p[e] - 32768.0, e);
    return plot;
}

} // namespace

std::vector<Plot> plotCurves()
{
    return {remapPlot(), thresholdPlot(), lightPlot(), edgePlot()};
}
