#include <pixmill/curves/TLutThreshold.h>

#include <pixmill/curves/detail/table_smoothing.h>
#include <pixmill/curves/threshold_tables.h>
#include <pixmill/primitives/copy.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/team.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <vector>

using namespace pixmill::rows;
using namespace pixmill::curves;

namespace {

constexpr float kTwoThirds = 0.666666687f;

/// What the controls make of the straight line.
struct Cut {
    float slope;
    int halfWidth; ///< Above 0 a gap, below 0 a dead zone, in entries.
    float sigma;   ///< Of the smoothing; none at 1 or below.
};

template <class Lut>
Cut cutOf(const Lut& lut, float k, float t, int middle)
{
    Cut cut;
    cut.slope = lineSlope(lut.m_kLow, lut.m_kHigh, k);
    const float width = float(lut.m_thresholdRange) * t;
    // Beyond the table's half the cut would leave it.
    const float most = float(middle - 1);
    cut.halfWidth = int(limit(cut.slope > 1 ? width / cut.slope : width, -most, most));
    cut.sigma = float(std::abs(cut.halfWidth)) * lut.m_thresholdSmooth;
    return cut;
}

Cut cutOf(const TLut8U& lut, const ThresholdControls& c)
{
    const float k = c.kBase + c.kShift * (c.kShift >= 0 ? 1 - c.kBase : 1 + c.kBase);
    const float t = c.tBase + c.tShift * (c.tShift >= 0 ? 1 - c.tBase : 1 + c.tBase);
    return cutOf(lut, k, t, 128);
}

float damped(float threshold)
{
    return float(double(threshold) * 0.4);
}

Cut cutOf(const TLut16U& lut, const ThresholdControls& c)
{
    const float k = shifted16(c.kBase, c.kShift);
    const float base = c.tBase < 0 ? damped(c.tBase) : c.tBase;
    const float t = c.tShift >= 0 ? base + (c.tShift * kTwoThirds) * (1.5f - base)
                                  : base + (damped(c.tShift) * kTwoThirds) * (1.5f + base);
    return cutOf(lut, k, t, 32768);
}

void ramp(uchar* table, int entries, float offset, float slope)
{
    ippiImageRamp_8u_C1R(table, entries, {entries, 1}, offset, slope, ippAxsHorizontal);
}

void ramp(ushort* table, int entries, float offset, float slope)
{
    ippiImageRamp_16u_C1R(table, entries * 2, {entries, 1}, offset, slope, ippAxsHorizontal);
}

/// Draws the line and cuts it; true if the cut is to be smoothed.
template <class T>
bool drawCut(T* table, int entries, const Cut& cut)
{
    const int middle = entries / 2;
    ramp(table, entries, (1 - cut.slope) * float(middle), cut.slope);
    const int r = std::abs(cut.halfWidth);
    if (cut.halfWidth > 0) {
        std::fill_n(table + middle, r, T(table[middle + r]));
        std::fill_n(table + middle - r, r, T(table[middle - r]));
    } else if (cut.halfWidth < 0) {
        std::fill_n(table + middle - r, 2 * r + 1, T(middle));
    } else {
        return false;
    }
    return !(cut.sigma <= 1);
}

template <class T>
void setupTable(T* table, int entries, const Cut& cut, const char* call)
{
    checkPointer(table, call, "m_lut_p");
    if (drawCut(table, entries, cut))
        smoothTables<1, T>({table}, entries, {cut.sigma});
}

/// Smooths `count` tables, 4 at the most: lanes of one vector, those to spare filled with the last table.
void smoothTogether(ushort* const* t, const float* s, int count)
{
    constexpr int entries = 65536;
    const int second = std::min(1, count - 1), third = std::min(2, count - 1), fourth = count - 1;
    if (count == 1)
        smoothTables<1, ushort>({t[0]}, entries, {s[0]});
    else
        smoothTables<4, ushort>({t[0], t[second], t[third], t[fourth]}, entries, {s[0], s[second], s[third], s[fourth]},
                                count);
}

} // namespace

TLut8U::TLut8U(float kLow, float kHigh, int thresholdRange, float thresholdSmooth) : TLut1D(CV_8U, CV_8U)
{
    setKRange(kLow, kHigh, thresholdRange, thresholdSmooth);
}

void TLut8U::setKRange(float kLow, float kHigh, int thresholdRange, float thresholdSmooth)
{
    m_kLow = kLow;
    m_kHigh = kHigh;
    m_thresholdRange = thresholdRange;
    m_thresholdSmooth = thresholdSmooth;
}

void TLut8U::setupLinearThreshold(float kShift, float tShift, float kBase, float tBase)
{
    setupTable(static_cast<uchar*>(m_lut_p), 256, cutOf(*this, {kShift, tShift, kBase, tBase}),
               "TLut8U::setupLinearThreshold");
}

TLut16U::TLut16U(float kLow, float kHigh, int thresholdRange, float thresholdSmooth)
    : TLut1D(CV_16U, CV_16U), m_adjustCurve{}
{
    setKRange(kLow, kHigh, thresholdRange, thresholdSmooth);
}

void TLut16U::setKRange(float kLow, float kHigh, int thresholdRange, float thresholdSmooth)
{
    m_kLow = kLow;
    m_kHigh = kHigh;
    m_thresholdRange = thresholdRange;
    m_thresholdSmooth = thresholdSmooth;
}

void TLut16U::setupLinearThreshold(float kShift, float tShift, float kBase, float tBase)
{
    setupTable(static_cast<ushort*>(m_lut_p), 65536, cutOf(*this, {kShift, tShift, kBase, tBase}),
               "TLut16U::setupLinearThreshold");
}

void pixmill::curves::setupLinearThresholds(TLut16U* const* luts, const ThresholdControls* controls, int count)
{
    constexpr int entries = 65536, most = 4;
    constexpr long drawing = entries, smoothing = 16 * drawing; // what a table costs, in pixels of a plain loop
    for (int i = 0; i < count; ++i)
        checkPointer(luts[i]->m_lut_p, "TLut16U::setupLinearThreshold", "m_lut_p");
    std::vector<float> sigmas(static_cast<std::size_t>(count));
    forEachIndex(count, count * drawing, [&](int i) {
        const Cut cut = cutOf(*luts[i], controls[i]);
        sigmas[i] = drawCut(static_cast<ushort*>(luts[i]->m_lut_p), entries, cut) ? cut.sigma : 0.0f;
    });

    std::vector<ushort*> tables;
    for (int i = 0; i < count; ++i)
        if (sigmas[i] != 0) {
            sigmas[tables.size()] = sigmas[i];
            tables.push_back(static_cast<ushort*>(luts[i]->m_lut_p));
        }
    const int left = int(tables.size()), groups = std::max((left + most - 1) / most, std::min(left, teamSize()));
    forEachIndex(groups, left * smoothing, [&](int i) {
        const int first = left * i / groups, end = left * (i + 1) / groups;
        smoothTogether(&tables[first], &sigmas[first], end - first);
    });
}
