#include <pixmill/curves/TLutThreshold.h>

#include <pixmill/core/detail/pixel.h>
#include <pixmill/curves/detail/threshold_tables.h>
#include <pixmill/multiscale/detail/recursive_gaussian.h>
#include <pixmill/primitives/convert.h>
#include <pixmill/primitives/copy.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

using namespace pixmill::detail;

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
    const float k = c.kBase + (kTwoThirds * c.kShift) * (c.kShift >= 0 ? 1.5f - c.kBase : 1.5f + c.kBase);
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

void widen(const uchar* table, float* line, int entries)
{
    ippiConvert_8u32f_C1R(table, entries, line, entries * 4, {entries, 1});
}

void widen(const ushort* table, float* line, int entries)
{
    ippiConvert_16u32f_C1R(table, entries * 2, line, entries * 4, {entries, 1});
}

void narrow(const float* line, uchar* table, int entries)
{
    ippiConvert_32f8u_C1R(line, entries * 4, table, entries, {entries, 1}, ippRndNear);
}

void narrow(const float* line, ushort* table, int entries)
{
    ippiConvert_32f16u_C1R(line, entries * 4, table, entries * 2, {entries, 1}, ippRndNear);
}

template <class T>
void smooth(T* table, int entries, float sigma)
{
    const auto gauss = RecursiveGaussian::make<double>(sigma, 2);
    std::vector<float> line(entries);
    widen(table, line.data(), entries);
    for (int step = 0; step < 2; ++step)
        sweepLine(line.data(), 1, entries, gauss.nu, gauss.boundary);
    for (float& v : line)
        v *= gauss.post;
    narrow(line.data(), table, entries);
}

template <class T>
void setupTable(T* table, int entries, const Cut& cut)
{
    CV_Assert(table);
    if (drawCut(table, entries, cut))
        smooth(table, entries, cut.sigma);
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
    setupTable(static_cast<uchar*>(m_lut_p), 256, cutOf(*this, {kShift, tShift, kBase, tBase}));
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
    setupTable(static_cast<ushort*>(m_lut_p), 65536, cutOf(*this, {kShift, tShift, kBase, tBase}));
}

namespace pixmill::detail {

namespace {

constexpr int kLanes = 4, kEntries = 65536;

/// Smooths up to four tables side by side, each as `smooth` does.
void smoothTogether(ushort* const* tables, const float* sigmas, int count)
{
    float nu[kLanes] = {}, boundary[kLanes] = {}, post[kLanes] = {};
    const ushort* in[kLanes];
    for (int l = 0; l < kLanes; ++l) {
        in[l] = tables[l < count ? l : 0];
        if (l < count) {
            const auto gauss = RecursiveGaussian::make<double>(sigmas[l], 2);
            nu[l] = gauss.nu;
            boundary[l] = gauss.boundary;
            post[l] = gauss.post;
        }
    }

    std::vector<float> lines(size_t(kEntries) * kLanes);
    for (int i = 0; i < kEntries; ++i)
        for (int l = 0; l < kLanes; ++l)
            lines[i * kLanes + l] = in[l][i];
    for (int step = 0; step < 2; ++step)
        sweepLines<kLanes>(lines.data(), kLanes, kEntries, nu, boundary);
    for (int l = 0; l < count; ++l)
        for (int i = 0; i < kEntries; ++i)
            tables[l][i] = toPixel16(lines[i * kLanes + l] * post[l]);
}

} // namespace

void setupLinearThresholds(TLut16U* const* luts, const ThresholdControls* controls, int count)
{
    ushort* tables[kLanes];
    float sigmas[kLanes];
    int waiting = 0;
    for (int i = 0; i < count; ++i) {
        auto* table = static_cast<ushort*>(luts[i]->m_lut_p);
        CV_Assert(table);
        const Cut cut = cutOf(*luts[i], controls[i]);
        if (drawCut(table, kEntries, cut)) {
            tables[waiting] = table;
            sigmas[waiting++] = cut.sigma;
        }
        if (waiting == kLanes || (waiting > 0 && i == count - 1)) {
            smoothTogether(tables, sigmas, waiting);
            waiting = 0;
        }
    }
}

} // namespace pixmill::detail
