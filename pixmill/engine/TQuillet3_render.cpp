#include <pixmill/engine/TQuillet3.h>

#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/core/detail/plane.h>
#include <pixmill/core/detail/rows.h>
#include <pixmill/curves/TLutThreshold.h>
#include <pixmill/curves/detail/threshold_tables.h>
#include <pixmill/engine/detail/zone_rows.h>
#include <pixmill/planar/detail/crop.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstdint>
#include <memory>

using namespace pixmill::detail;

namespace {

constexpr int kEntries = 65536;

/// How far the controls of a level reach: TLut16U::setKRange.
struct LevelRange {
    float kLow, kHigh;
    int thresholdRange;
    float thresholdSmooth;
};

const LevelRange kLevelRanges[3] = {{0.0f, 5.0f, 9830, 0.35f}, {0.0f, 4.0f, 8191, 0.35f}, {0.0f, 3.5f, 7372, 0.35f}};

bool isExtraFor(const cv::Mat& extra, const cv::Mat& plane)
{
    return !extra.empty() && extra.size() == plane.size();
}

const ushort* entriesOf(const TLut16U& lut)
{
    return static_cast<const ushort*>(lut.m_lut_p);
}

/// Two tables as one of pairs, so that a sample finds both in one read.
void pairUp(const ushort* low, const ushort* high, int* pairs)
{
    for (int v = 0; v < kEntries; ++v)
        pairs[v] = int(std::uint32_t(low[v]) | std::uint32_t(high[v]) << 16);
}

/// Tones one level; `in` may be `out`. `after(y)` runs while the toned row is still near.
template <class After>
void tone(const cv::Mat& Y, const cv::Mat& pairs, const cv::Mat& in, cv::Mat& out, const After& after)
{
    const auto* table = reinterpret_cast<const std::uint32_t*>(pairs.data);
    forEachRow(out.size(), [&](int y) {
        toneRow(table, Y.ptr<ushort>(y), in.ptr<ushort>(y), out.ptr<ushort>(y), out.cols);
        after(y);
    });
}

} // namespace

bool TQuillet3::proc(cv::Rect roi, int scale, cv::Mat extra)
{
    CV_Assert(!m_Y.empty() && scale >= 1);
    for (const cv::Mat& plane : m_detail)
        CV_Assert(plane.type() == CV_16UC1 && plane.size() == m_Y.size());

    setRoi(roi, scale);
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
        cropInto(plane, m_roi, m_scale, false, out, m_scratch[0]);
    };
    crop(m_Y, m_roiY);
    const float* weights = m_colorWeights;
    if (neq(weights[0], 0.0f) || neq(weights[1], 0.0f) || neq(weights[2], 0.0f)) {
        crop(m_fullDr, m_scratch[1]);
        crop(m_fullDb, m_scratch[2]);
        modYWithC(m_scratch[1], m_scratch[2], weights[0], weights[1], weights[2], m_roiY);
    }

    TLightAdjLUTq3 light;
    const float* p = m_lightParams;
    light.setupParams(p[0], p[1], p[2], p[3], p[4], p[5]);
    light.proc(m_roiY);
}

void TQuillet3::renderLevel(int level, const cv::Mat& extra, bool last)
{
    cv::Mat& plane = m_roiDetail[level];
    const cv::Mat* source = &plane;
    const bool smooth = m_scale > m_smoothScale, toned = bNeedSHMix(level);
    cv::Mat view;
    if (m_scale == 1 && toned && !smooth && extra.empty()) { // a crop alone, which toning can read where it stands
        view = m_detail[level](m_roi & cv::Rect({0, 0}, m_detail[level].size()));
        source = &view;
        ensure(plane, view.size(), CV_16UC1);
    } else {
        cropInto(m_detail[level], m_roi, m_scale, smooth, plane, m_scratch[0]);
        if (isExtraFor(extra, plane))
            cv::addWeighted(plane, 1.0, extra, 1.0, -32768.0, plane, -1);
    }
    CV_Assert(plane.size() == m_roiY.size());

    if (last) {
        for (const cv::Mat& other : m_roiDetail)
            CV_Assert(other.size() == plane.size());
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

const cv::Mat& TQuillet3::tablesOf(int level)
{
    const float* k = m_detailK[level];
    const float* t = m_detailT[level];
    const float controls[6] = {k[0], k[1], k[2], t[0], t[1], t[2]};
    Tables& tables = m_tables[level];
    if (!tables.pairs.empty() && std::equal(controls, controls + 6, tables.controls))
        return tables.pairs;

    const LevelRange& range = kLevelRanges[level];
    const auto lut = [&range] {
        return std::make_unique<TLut16U>(range.kLow, range.kHigh, range.thresholdRange, range.thresholdSmooth);
    };
    const auto shadows = lut(), midtones = lut(), base = lut();
    TLut16U* const luts[3] = {shadows.get(), midtones.get(), base.get()};
    const ThresholdControls thresholds[3] = {
        {k[1], t[1], k[0], t[0]}, {k[2], t[2], k[0], t[0]}, {k[0], t[0], 0.0f, 0.0f}};
    setupLinearThresholds(luts, thresholds, 3);

    tables.pairs.create(2, kEntries, CV_32SC1);
    std::copy(controls, controls + 6, tables.controls);
    pairUp(entriesOf(*midtones), entriesOf(*shadows), tables.pairs.ptr<int>(0));
    pairUp(entriesOf(*midtones), entriesOf(*base), tables.pairs.ptr<int>(1));
    return tables.pairs;
}
