#pragma once

#include <reference/detail_zones.h>
#include <reference/light_curve.h>
#include <reference/sampled_tables.h>
#include <reference/table_look_up.h>
#include <reference/threshold_table.h>
#include <reference/view.h>

/// The live view by whole planes: luma changed by colour and by the light curve, plus three detail levels, each through
/// three threshold tables mixed by zones of luma.
///
///     out = light(Y + colour) + 2 sum over levels (mix(shadows, midtones, highlights) - 32768)
///
/// Detail levels over a base: F. Durand, J. Dorsey, "Fast Bilateral Filtering for the Display of High-Dynamic-Range
/// Images", 2002. Each step's own file tells its method.
namespace pixmill::reference {

struct RenderControls {
    float light[6], colour[3];
    float k[3][3], t[3][3]; ///< by level, of highlights, shadows, midtones
};

struct RenderPlanes {
    cv::Mat Y, Dr, Db, detail[3];
    int smoothFrom; ///< the first reduction whose detail is averaged
};

inline bool isSet(float control)
{
    return std::abs(control) >= 0.01f;
}

/// The light curve's table for luma alone: grey pixels, sampled and stretched.
inline std::vector<int> lightTable(const float (&p)[6])
{
    const LightCurve light({p[0], p[1], p[2], p[3], p[4], p[5]});
    return sampledLumaTable([&](ushort y) {
        ushort dr = 32767, db = 32767;
        light.map(y, dr, db);
        return y;
    });
}

inline cv::Mat renderedLuma(const RenderPlanes& p, const RenderControls& c, const cv::Rect& roi, int scale)
{
    cv::Mat Y = viewOf<ushort>(p.Y, roi, scale, false);
    if (isSet(c.colour[0]) || isSet(c.colour[1]) || isSet(c.colour[2]))
        Y = lumaWeighted(Y, viewOf<ushort>(p.Dr, roi, scale, false), viewOf<ushort>(p.Db, roi, scale, false),
                         c.colour[0], c.colour[1], c.colour[2]);
    return lookedUp<ushort, ushort>(Y, lightTable(c.light).data());
}

/// The three tables of a level: highlights, shadows, midtones; the latter two start from the first.
struct LevelTables {
    std::vector<int> zone[3];

    LevelTables(const RenderControls& c, int level)
    {
        const ThresholdRanges ranges[3] = {
            {0.0f, 5.0f, 9830, 0.35f}, {0.0f, 4.0f, 8191, 0.35f}, {0.0f, 3.5f, 7372, 0.35f}};
        const float *k = c.k[level], *t = c.t[level];
        const ThresholdShift shifts[3] = {{k[0], t[0], 0, 0}, {k[1], t[1], k[0], t[0]}, {k[2], t[2], k[0], t[0]}};
        for (int i = 0; i < 3; ++i)
            zone[i] = thresholdTable(65535, ranges[level], shifts[i]);
    }
};

/// `extra` is added to the first level where it has the region's size.
inline cv::Mat renderedLevel(const RenderPlanes& p, const RenderControls& c, int level, const cv::Mat& Y,
                             const cv::Rect& roi, int scale, const cv::Mat& extra)
{
    cv::Mat detail = viewOf<ushort>(p.detail[level], roi, scale, scale >= p.smoothFrom);
    if (level == 0 && extra.size() == detail.size())
        detail = planeOf<ushort>(detail.size(), [&](int y, int x) {
            return rounded(detail.at<ushort>(y, x) + extra.at<ushort>(y, x) - 32768, 65535);
        });
    bool toned = false;
    for (int zone = 0; zone < 3; ++zone)
        toned = toned || isSet(c.k[level][zone]) || isSet(c.t[level][zone]);
    if (!toned)
        return detail;
    const LevelTables tables(c, level);
    const auto through = [&](int zone) { return lookedUp<ushort, ushort>(detail, tables.zone[zone].data()); };
    return zonesMixed(Y, through(1), through(2), through(0));
}

inline cv::Mat rendered(const RenderPlanes& p, const RenderControls& c, const cv::Rect& roi, int scale,
                        const cv::Mat& extra = {})
{
    const cv::Mat Y = renderedLuma(p, c, roi, scale);
    const auto level = [&](int i) { return renderedLevel(p, c, i, Y, roi, scale, extra); };
    return detailAdded(Y, level(0), level(1), level(2));
}

} // namespace pixmill::reference
