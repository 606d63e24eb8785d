#include <pixmill/develop/detail/chain.h>

#include <pixmill/develop/detail/color_rows.h>
#include <pixmill/develop/detail/core.h>
#include <pixmill/develop/detail/pack_rows.h>
#include <pixmill/develop/detail/ring.h>
#include <pixmill/develop/detail/tone_rows.h>

#include <algorithm>

namespace pixmill::develop {

namespace {

void makeRing(cv::Mat& ring, cv::Size size)
{
    if (!rows::fits(ring, size, CV_16UC1))
        ensureLarge(ring, size, CV_16UC1);
}

/// Y + 2.5 * ((r - g) * dr + (b - g) * db) with the differences of each pixel, as TQuillet3::modYWithC has it.
inline void weighRow(const ushort* __restrict in, const float* __restrict red, const float* __restrict blue,
                     float onRed, float onBlue, ushort* __restrict out, int n)
{
    for (int x = 0; x < n; ++x)
        out[x] = toPixel16(float(in[x]) + (onRed * red[x] + onBlue * blue[x]));
}

void weigh(const Layers& layers, const ColorWeights& w, int y, int x, int n, ushort* out)
{
    PackChunk c;
    const float onRed = 1.25f * (w.red - w.green), onBlue = 1.25f * (w.blue - w.green);
    for (int done = 0; done < n; done += kPackChunk) {
        const int count = std::min(kPackChunk, n - done);
        fetchDifferences(layers.dr, layers.dr.size(), y, (x + done) / 2, halfSize(count), c.red);
        fetchDifferences(layers.db, layers.db.size(), y, (x + done) / 2, halfSize(count), c.blue);
        weighRow(at(layers.base, y, x + done), c.red, c.blue, onRed, onBlue, out + done, count);
    }
}

inline void originalPixels(const ushort* __restrict base, const ushort* __restrict d0, const ushort* __restrict d1,
                           const ushort* __restrict d2, ushort* __restrict out, int n)
{
    for (int i = 0; i < n; ++i)
        out[i] = clamp16(base[2 * i] + 2 * (d0[2 * i] + d1[2 * i] + d2[2 * i]) - 6 * kCentre);
}

/// Asks for the samples below a row's. Rows of a view lie in pages of their own, at whose beginnings the processor
/// would wait. Always inlined: g++ drops calls of what does nothing else.
__attribute__((always_inline)) inline void askForNext(const cv::Mat& ring, int y, int x, int n)
{
    constexpr int kLine = 32;
    const ushort* row = at(ring, y + 1, x);
    for (int i = 0; i < n; i += kLine)
        __builtin_prefetch(row + i, 0, 2);
}

} // namespace

void originalRow(const Layers& layers, int y, int x, int n, ushort* out)
{
    if (!layers.hasDetail()) {
        const ushort* base = at(layers.base, y, x);
        for (int i = 0; i < n; ++i)
            out[i] = base[2 * i];
        return;
    }
    const auto row = [&](int, int) {
        originalPixels(at(layers.base, y, x), at(layers.detail[0], y, x), at(layers.detail[1], y, x),
                       at(layers.detail[2], y, x), out, n);
    };
    rows::runSpan(row, 0, 1);
}

/// How level `i` is toned: not at all, in every sum, or in the first one and kept.
void Chain::chooseToning(int i, const DetailLevel& controls, bool changed, Stages& stages)
{
    const bool toned = controls != DetailLevel();
    if (toned && changed)
        m_tables[i].update(i, controls);
    const bool passing = toned && tonesInPassing(m_tables[i]), kept = toned && !passing;
    stages.level[i] = kept && (stages.level[i] || !m_kept[i]);
    m_kept[i] = kept;
    m_passing = (m_passing & ~(1 << i)) | int(passing) << i;
}

Stages Chain::update(const Controls& c)
{
    const bool fresh = !m_known;
    const DetailLevel* now[3] = {&c.detail.fine, &c.detail.medium, &c.detail.coarse};
    const DetailLevel* before[3] = {&m_controls.detail.fine, &m_controls.detail.medium, &m_controls.detail.coarse};
    Stages stages;
    stages.luma = fresh || c.light != m_controls.light || c.weights != m_controls.weights;
    stages.sum = stages.luma;
    for (int i = 0; i < 3; ++i) {
        stages.level[i] = stages.luma || *now[i] != *before[i];
        stages.sum = stages.sum || stages.level[i];
        chooseToning(i, *now[i], fresh || *now[i] != *before[i], stages);
    }
    stages.color = stages.sum || c.color != m_controls.color;
    m_lit = c.light != Light();
    if (m_lit && (fresh || c.light != m_controls.light))
        m_light = lightTable(c.light);
    m_weighed = c.weigh();
    m_colored = c.color != Color();
    if (m_colored && (fresh || c.color != m_controls.color))
        m_color = colorTable(c.color);
    m_controls = c;
    m_known = true;

    const cv::Size ring = newY.size();
    if (m_lit || m_weighed)
        makeRing(m_luma, ring);
    for (int i = 0; i < 3; ++i)
        if (m_kept[i])
            makeRing(m_levels[i], ring);
    return stages;
}

void Chain::resize(cv::Size ring)
{
    m_luma.release();
    for (cv::Mat& level : m_levels)
        level.release();
    ensureLarge(newY, ring, CV_16UC1);
    ensureLarge(dr, ring / 2, CV_16UC1);
    ensureLarge(db, ring / 2, CV_16UC1);
    forget();
}

void Chain::renderLuma(const Layers& layers, int y, int x, int n)
{
    ushort* out = at(m_luma, y, x);
    const ushort* from = at(layers.base, y, x);
    askForNext(layers.base, y, x, n);
    if (m_weighed) {
        weigh(layers, m_controls.weights, y, x, n, out);
        from = out;
    }
    if (m_lit)
        rows::lookUpRow<16>(from, out, m_light.data(), n);
}

void Chain::renderSum(const Layers& layers, const Stages& stages, int y, int x, int n)
{
    if (!layers.hasDetail()) {
        std::copy_n(at(layers.base, y, x), n, at(newY, y, x));
        return;
    }
    const ushort* levels[3];
    ushort* keep[3] = {};
    int toned = m_passing;
    for (int i = 0; i < 3; ++i) {
        const bool anew = m_kept[i] && stages.level[i];
        const cv::Mat& plane = m_kept[i] && !anew ? m_levels[i] : layers.detail[i];
        levels[i] = at(plane, y, x);
        askForNext(plane, y, x, n);
        if (anew) {
            keep[i] = at(m_levels[i], y, x);
            toned |= 1 << i;
        }
    }
    askForNext(lumaOf(layers), y, x, n);
    sumToned(toned, at(lumaOf(layers), y, x), m_tables, levels, keep, at(newY, y, x), n);
}

void Chain::renderColor(const Layers& layers, const cv::Mat& oldY, int y, int x, int n)
{
    for (const cv::Mat* plane : {&oldY, &layers.dr, &layers.db})
        askForNext(*plane, y / 2, x / 2, halfSize(n));
    colorRow(m_colored ? m_color.data() : nullptr, at(oldY, y / 2, x / 2), at(newY, y, x), at(layers.dr, y / 2, x / 2),
             at(layers.db, y / 2, x / 2), at(dr, y / 2, x / 2), at(db, y / 2, x / 2), halfSize(n));
}

void Chain::render(const Layers& layers, const cv::Mat& oldY, const Stages& stages, const cv::Rect& part)
{
    // The caller's loop is compiled apart from the rows here, so they choose the processor's level themselves. Stage by
    // stage, so that each one's tables are in the nearest cache for all of its rows.
    const int x = part.x, n = part.width;
    const auto band = [&](int first, int end) {
        if (stages.luma && (m_lit || m_weighed))
            for (int y = first; y < end; ++y)
                renderLuma(layers, y, x, n);
        if (stages.sum)
            for (int y = first; y < end; ++y)
                renderSum(layers, stages, y, x, n);
        if (stages.color)
            for (int y = first; y < end; y += 2)
                renderColor(layers, oldY, y, x, n);
    };
    rows::runSpan(band, part.y, part.y + part.height);
}

} // namespace pixmill::develop
