#include <pixmill/engine/TQuillet3.h>

#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/curves/TLutThreshold.h>
#include <pixmill/curves/threshold_tables.h>
#include <pixmill/engine/zone_rows.h>
#include <pixmill/planar/crop.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/look_up.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <memory>

using namespace pixmill::rows;
using namespace pixmill::curves;
using namespace pixmill::planar;
using namespace pixmill::engine;

namespace {

constexpr int kEntries = 65536;
constexpr const char* kProc = "TQuillet3::proc";

/// How far the controls of a level reach: TLut16U::setKRange.
struct LevelRange {
    float kLow, kHigh;
    int thresholdRange;
    float thresholdSmooth;
};

const LevelRange kLevelRanges[3] = {{0.0f, 5.0f, 9830, 0.35f}, {0.0f, 4.0f, 8191, 0.35f}, {0.0f, 3.5f, 7372, 0.35f}};

bool isExtraFor(const cv::Mat& extra, const cv::Mat& plane)
{
    return extra.dims <= 2 && !extra.empty() && extra.size() == plane.size();
}

/// Puts a table into the low halves of pairs, so that a sample finds both halves in one read.
void setLow(unsigned* pairs, const ushort* table)
{
    for (int v = 0; v < kEntries; ++v)
        pairs[v] = (pairs[v] & 0xffff0000u) | table[v];
}

void setHigh(unsigned* pairs, const ushort* table)
{
    for (int v = 0; v < kEntries; ++v)
        pairs[v] = (pairs[v] & 0xffffu) | unsigned(table[v]) << 16;
}

/// Tones one level; `in` may be `out`. `after(y)` runs while the toned row is still near.
template <class After>
void tone(const cv::Mat& Y, const unsigned* pairs, const cv::Mat& in, cv::Mat& out, const After& after)
{
    forEachRow(out.size(), [&](int y) {
        toneRow(pairs, Y.ptr<ushort>(y), in.ptr<ushort>(y), out.ptr<ushort>(y), out.cols);
        after(y);
    });
}

} // namespace

bool TQuillet3::proc(cv::Rect roi, int scale, cv::Mat extra)
{
    checkPlane(m_Y, kProc, "m_Y");
    PIXMILL_CHECK(!m_Y.empty(), kProc, "m_Y", describe(m_Y), "a picture");
    PIXMILL_CHECK(scale >= 1, kProc, "scale", scale, "1 or more");
    for (const cv::Mat& plane : m_detail)
        checkPlane(plane, m_Y.size(), CV_16UC1, kProc, "m_detail");

    setRoi(roi, scale);
    for (cv::Mat& plane : m_scratch) // a copy of the engine works in memory of its own
        leaveShared(plane);
    if (m_dirty || m_lightDirty)
        renderLuma();
    if (isExtraFor(extra, m_roiDetail[0]))
        m_levelDirty[0] = true;
    int last = -1; // the level whose rows go straight on into the sum
    for (int level = 0; level < 3; ++level)
        if (m_dirty || m_lightDirty || m_levelDirty[level])
            last = level;
    for (int level = 0; level <= last; ++level)
        if (m_dirty || m_lightDirty || m_levelDirty[level])
            renderLevel(level, level == 0 ? extra : cv::Mat(), level == last);
    m_dirty = m_lightDirty = false;
    std::fill_n(m_levelDirty, 3, false);
    return true;
}

void TQuillet3::renderLuma()
{
    const auto crop = [this](const cv::Mat& plane, cv::Mat& out) {
        cropInto(plane, m_roi, m_scale, false, out, m_scratch[0], kProc);
    };
    leaveShared(m_roiY);
    crop(m_Y, m_roiY);
    const float* weights = m_colorWeights;
    if (neq(weights[0], 0.0f) || neq(weights[1], 0.0f) || neq(weights[2], 0.0f)) {
        crop(m_fullDr, m_scratch[1]);
        crop(m_fullDb, m_scratch[2]);
        modYWithC(m_scratch[1], m_scratch[2], weights[0], weights[1], weights[2], m_roiY);
    }

    if (m_roiY.type() != CV_16UC1)
        throw "ERROR - TLutYDrDb::proc - inOutY16U.type()!=CV_16UC1"; // hosts match the text of TLutY16U::proc
    lookUpRows<16, ushort>(m_roiY.data, m_roiY.step, m_roiY.data, m_roiY.step, m_roiY.size(), lightTable());
}

const ushort* TQuillet3::lightTable()
{
    LightTable& kept = m_lightTable;
    const float* p = m_lightParams;
    if (kept.entries.empty() || !std::equal(p, p + 6, kept.controls)) {
        TLightAdjLUTq3 light;
        checkPointer(light.m_lutY_p, kProc, "m_lutY_p");
        light.setupParams(p[0], p[1], p[2], p[3], p[4], p[5]);
        light.computeLUT16U(true);
        kept.entries.assign(light.m_lutY_p, light.m_lutY_p + kEntries);
        std::copy_n(p, 6, kept.controls);
    }
    return kept.entries.data();
}

void TQuillet3::renderLevel(int level, const cv::Mat& extra, bool last)
{
    cv::Mat& plane = m_roiDetail[level];
    leaveShared(plane);
    const cv::Mat* source = &plane;
    const bool smooth = m_scale > m_smoothScale, toned = bNeedSHMix(level);
    cv::Mat view;
    if (m_scale == 1 && toned && !smooth && extra.empty()) { // a crop alone, which toning can read where it stands
        view = regionOf(m_detail[level], m_roi, 1, kProc);
        source = &view;
        ensure(plane, view.size(), CV_16UC1);
    } else {
        cropInto(m_detail[level], m_roi, m_scale, smooth, plane, m_scratch[0], kProc);
        if (isExtraFor(extra, plane))
            cv::addWeighted(plane, 1.0, extra, 1.0, -32768.0, plane, -1);
    }
    checkPlane(plane, m_roiY.size(), CV_16UC1, kProc, "m_roiDetail");

    if (last) {
        for (const cv::Mat& other : m_roiDetail)
            checkPlane(other, plane.size(), CV_16UC1, kProc, "m_roiDetail");
        ensure(m_result, plane.size(), CV_16UC1);
    }
    const auto sum = [&](int y) {
        if (last)
            addEdgesRow(m_roiY.ptr<ushort>(y), m_roiDetail[0].ptr<ushort>(y), m_roiDetail[1].ptr<ushort>(y),
                        m_roiDetail[2].ptr<ushort>(y), m_result.ptr<ushort>(y), plane.cols);
    };
    if (toned)
        tone(m_roiY, tablesOf(level), *source, plane, sum);
    else if (last)
        forEachRow(plane.size(), sum);
}

const unsigned* TQuillet3::tablesOf(int level)
{
    const float* k = m_detailK[level];
    const float* t = m_detailT[level];
    const float controls[3][4] = {{k[1], t[1], k[0], t[0]}, {k[2], t[2], k[0], t[0]}, {k[0], t[0], 0, 0}};
    Tables& tables = m_tables[level];
    const bool fresh = tables.pairs.empty();
    const LevelRange& range = kLevelRanges[level];
    std::unique_ptr<TLut16U> owners[3];
    TLut16U* luts[3];
    ThresholdControls changed[3];
    int zones[3], count = 0;
    for (int zone = 0; zone < 3; ++zone) {
        const float* c = controls[zone];
        if (!fresh && std::equal(c, c + 4, tables.controls[zone]))
            continue;
        owners[count] = std::make_unique<TLut16U>(range.kLow, range.kHigh, range.thresholdRange, range.thresholdSmooth);
        luts[count] = owners[count].get();
        changed[count] = {c[0], c[1], c[2], c[3]};
        zones[count++] = zone;
    }
    setupLinearThresholds(luts, changed, count);

    tables.pairs.resize(2 * kEntries);
    unsigned *dark = tables.pairs.data(), *light = dark + kEntries;
    for (int i = 0; i < count; ++i) {
        const auto* entries = static_cast<const ushort*>(luts[i]->m_lut_p);
        if (zones[i] == 1) {
            setLow(dark, entries);
            setLow(light, entries);
        } else {
            setHigh(zones[i] == 0 ? dark : light, entries);
        }
        std::copy_n(controls[zones[i]], 4, tables.controls[zones[i]]);
    }
    return dark;
}
