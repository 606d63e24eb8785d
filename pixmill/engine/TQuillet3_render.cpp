#include <pixmill/engine/TQuillet3.h>

#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/curves/TLutThreshold.h>
#include <pixmill/curves/threshold_tables.h>
#include <pixmill/engine/zone_rows.h>
#include <pixmill/planar/crop.h>
#include <pixmill/rows/ask.h>
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

/// Puts the table of shadows, midtones or highlights into a level's pairs.
void setPairs(unsigned* pairs, int zone, const ushort* table)
{
    if (zone == 1) {
        setLow(pairs, table);
        setLow(pairs + kEntries, table);
    } else {
        setHigh(zone == 0 ? pairs : pairs + kEntries, table);
    }
}

/// A view's pixels where they stand: every step-th one of a region, in both directions.
struct PickedView {
    cv::Mat plane; ///< The region.
    int step = 1;
};

/// The pixels of a region that a plain reduction takes, at their places in the plane; an empty view where it computes
/// them, or where the plane ends within the region.
PickedView pickedFrom(const cv::Mat& plane, const cv::Rect& roi, int scale)
{
    PickedView view;
    if (plane.type() != CV_16UC1 || (scale > 1 && scale % 2 != 0))
        return view;
    const cv::Mat region = regionOf(plane, roi, scale, kProc);
    if (scale == 1 || (region.cols / scale == roi.width && region.rows / scale == roi.height)) {
        view.plane = region;
        view.step = scale;
    }
    return view;
}

/// `n` of a row's pixels from `x` on; `to` receives them where they do not stand side by side.
const ushort* pickedPixels(const PickedView& view, int y, int x, ushort* to, int n)
{
    const int first = view.step / 2 - (view.step > 1 ? 1 : 0);
    askFor(view.plane, first + view.step * (y + 1), view.step * x, view.step * n);
    const ushort* from = view.plane.ptr<ushort>(first + view.step * y) + first + view.step * x;
    if (view.step == 1)
        return from;
    everyNth(from, view.step, to, n);
    return to;
}

/// Runs `body(x, count)` on a row's pieces, between which what the next row takes is asked for.
template <class Body>
inline void eachPiece(int n, const Body& body)
{
    constexpr int kPiece = 512;
    for (int x = 0; x < n; x += kPiece)
        body(x, std::min(kPiece, n - x));
}

/// Rows that go through all steps before the next ones do: what a step leaves is near for the one after it, and a
/// level's tables stay near for a few rows.
constexpr int kBand = 8;

} // namespace

struct TQuillet3::View {
    PickedView luma;                       ///< What the light curve reads.
    const unsigned short* light = nullptr; ///< The curve, where luma is rendered.
    PickedView detail[3];                  ///< What the levels are made from.
    bool renders[3] = {}, toned[3] = {};   ///< Which levels are made, and which of them by tables.
};

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
    const bool all = m_dirty || m_lightDirty;
    View view;
    if (all)
        prepareLuma(view);
    if (isExtraFor(extra, m_roiDetail[0]))
        m_levelDirty[0] = true;
    for (int level = 0; level < 3; ++level)
        if (all || m_levelDirty[level])
            prepareLevel(level, level == 0 ? extra : cv::Mat(), view);
    updateTables(view);
    renderRows(view);
    m_dirty = m_lightDirty = false;
    std::fill_n(m_levelDirty, 3, false);
    return true;
}

void TQuillet3::prepareLuma(View& view)
{
    const auto crop = [this](const cv::Mat& plane, cv::Mat& out) {
        cropInto(plane, m_roi, m_scale, false, out, m_scratch[0], kProc);
    };
    leaveShared(m_roiY);
    const float* weights = m_colorWeights;
    const bool weighs = neq(weights[0], 0.0f) || neq(weights[1], 0.0f) || neq(weights[2], 0.0f);
    if (!weighs)
        view.luma = pickedFrom(m_Y, m_roi, m_scale);
    if (view.luma.plane.empty()) {
        crop(m_Y, m_roiY);
        view.luma.plane = m_roiY;
    } else {
        ensureLarge(m_roiY, view.luma.plane.size() / view.luma.step, CV_16UC1);
    }
    if (weighs) {
        crop(m_fullDr, m_scratch[1]);
        crop(m_fullDb, m_scratch[2]);
        modYWithC(m_scratch[1], m_scratch[2], weights[0], weights[1], weights[2], m_roiY);
    }
    if (m_roiY.type() != CV_16UC1)
        throw "ERROR - TLutYDrDb::proc - inOutY16U.type()!=CV_16UC1"; // hosts match the text of TLutY16U::proc
    view.light = lightTable();
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

void TQuillet3::prepareLevel(int level, const cv::Mat& extra, View& view)
{
    cv::Mat& plane = m_roiDetail[level];
    leaveShared(plane);
    const bool smooth = m_scale > m_smoothScale, toned = bNeedSHMix(level);
    PickedView& source = view.detail[level];
    if (!smooth && extra.empty())
        source = pickedFrom(m_detail[level], m_roi, m_scale);
    if (source.plane.empty()) {
        cropInto(m_detail[level], m_roi, m_scale, smooth, plane, m_scratch[0], kProc);
        if (isExtraFor(extra, plane))
            cv::addWeighted(plane, 1.0, extra, 1.0, -32768.0, plane, -1);
        source.plane = plane;
    } else {
        ensureLarge(plane, source.plane.size() / source.step, CV_16UC1);
    }
    checkPlane(plane, m_roiY.size(), CV_16UC1, kProc, "m_roiDetail");
    view.renders[level] = true;
    view.toned[level] = toned;
}

void TQuillet3::renderRows(const View& view)
{
    if (!view.renders[0] && !view.renders[1] && !view.renders[2])
        return;
    const cv::Size size = m_roiY.size();
    for (const cv::Mat& plane : m_roiDetail)
        checkPlane(plane, size, CV_16UC1, kProc, "m_roiDetail");
    ensureLarge(m_result, size, CV_16UC1);

    const auto at = [](cv::Mat& plane, int y, int x, int n) {
        askFor(plane, y + 1, x, n);
        return plane.ptr<ushort>(y) + x;
    };
    const auto luma = [&](int y, int x, int n) {
        ushort* to = at(m_roiY, y, x, n);
        lookUpRow<16>(pickedPixels(view.luma, y, x, to, n), to, view.light, n);
    };
    const auto detail = [&](int level, int y, int x, int n) {
        ushort* to = at(m_roiDetail[level], y, x, n);
        const ushort* from = pickedPixels(view.detail[level], y, x, to, n);
        if (view.toned[level])
            toneRow(m_tables[level].pairs.data(), m_roiY.ptr<ushort>(y) + x, from, to, n);
        else if (from != to)
            std::copy_n(from, n, to);
    };
    const auto sum = [&](int y, int x, int n) {
        const auto detailAt = [&](int level) { return m_roiDetail[level].ptr<ushort>(y) + x; };
        addEdgesRow(m_roiY.ptr<ushort>(y) + x, detailAt(0), detailAt(1), detailAt(2), at(m_result, y, x, n), n);
    };
    const auto eachRow = [&](int first, int end, const auto& pieces) {
        for (int y = first; y < end; ++y)
            eachPiece(size.width, [&](int x, int n) { pieces(y, x, n); });
    };
    const auto band = [&](int first, int end) {
        if (view.light)
            eachRow(first, end, luma);
        for (int level = 0; level < 3; ++level)
            if (view.renders[level])
                eachRow(first, end, [&](int y, int x, int n) { detail(level, y, x, n); });
        eachRow(first, end, sum);
    };
    const auto span = [&](int first, int end) {
        for (; first < end; first += kBand)
            band(first, std::min(first + kBand, end));
    };
    forEachSpan(size.height, long(size.width) * size.height, span, kFinePieces);
}

/// Rebuilds the tables of toned levels whose controls have changed: all smoothed together, then put into pairs.
void TQuillet3::updateTables(const View& view)
{
    struct Change {
        int level, zone;
        const float* controls;
    };
    std::unique_ptr<TLut16U> owners[9];
    TLut16U* luts[9];
    ThresholdControls changed[9];
    Change changes[9];
    float controls[3][3][4];
    int count = 0;
    for (int level = 0; level < 3; ++level) {
        if (!view.toned[level])
            continue;
        const float *k = m_detailK[level], *t = m_detailT[level];
        const float of[3][4] = {{k[1], t[1], k[0], t[0]}, {k[2], t[2], k[0], t[0]}, {k[0], t[0], 0, 0}};
        std::copy_n(&of[0][0], 12, &controls[level][0][0]);
        Tables& tables = m_tables[level];
        const LevelRange& range = kLevelRanges[level];
        for (int zone = 0; zone < 3; ++zone) {
            const float* c = controls[level][zone];
            if (tables.made && std::equal(c, c + 4, tables.controls[zone]))
                continue;
            owners[count] =
                std::make_unique<TLut16U>(range.kLow, range.kHigh, range.thresholdRange, range.thresholdSmooth);
            luts[count] = owners[count].get();
            changed[count] = {c[0], c[1], c[2], c[3]};
            changes[count++] = {level, zone, c};
        }
    }
    setupLinearThresholds(luts, changed, count);
    for (int i = 0; i < count; ++i)
        m_tables[changes[i].level].pairs.resize(2 * kEntries);
    forEachIndex(3, long(count) * kEntries, [&](int level) {
        for (int i = 0; i < count; ++i)
            if (changes[i].level == level)
                setPairs(m_tables[level].pairs.data(), changes[i].zone, static_cast<const ushort*>(luts[i]->m_lut_p));
    });
    for (int i = 0; i < count; ++i) {
        Tables& tables = m_tables[changes[i].level];
        tables.made = true;
        std::copy_n(changes[i].controls, 4, tables.controls[changes[i].zone]);
    }
}
