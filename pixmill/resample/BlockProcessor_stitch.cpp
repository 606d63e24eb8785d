#include <pixmill/resample/BlockProcessor.h>

#include <pixmill/resample/detail/block_rows.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/plane.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

using namespace pixmill::rows;
using namespace pixmill::resample;

namespace {

constexpr const char* kTaper = "BlockProcessor::doEdgeTaperInX";
constexpr const char* kStrip = "BlockProcessor::writeStripToOutput";

void fillRamp(float* w, int size, int n)
{
    PIXMILL_CHECK(w, "BlockProcessor::writeBackBlock", "m_taperWeights_p", describe(w), "the ramp");
    PIXMILL_CHECK(n <= size, "BlockProcessor::writeBackBlock", "the overlap", n, "no more than the ramp holds");
    const float unit = 1.0f / float(n + 1);
    for (int i = 0; i < n; ++i)
        w[i] = float(i + 1) * unit;
    if (n < size)
        w[n] = 1.0f;
}

inline ushort mix(float w, ushort added, ushort old)
{
    return ushort(int(w * float(added) + (1.0f - w) * float(old)));
}

template <int Channels>
inline void rampRow(const float* __restrict w, const ushort* __restrict old, ushort* __restrict block, int n)
{
    for (int i = 0; i < n; ++i)
        for (int c = 0; c < Channels; ++c)
            block[i * Channels + c] = mix(w[i], block[i * Channels + c], old[i * Channels + c]);
}

inline void mixRow(float w, const ushort* __restrict strip, ushort* __restrict out, int n)
{
    for (int i = 0; i < n; ++i)
        out[i] = mix(w, strip[i], out[i]);
}

/// The host's random sequence moves on by what a stitch that keeps the first block takes.
void drawRandom(long count)
{
    for (; count > 0; --count)
        std::rand();
}

} // namespace

void BlockProcessor::doEdgeTaperInX(int overlapX, int rows)
{
    if (m_block.empty() || m_strip.empty())
        return;
    checkAlike(kTaper, "m_block", m_block);
    checkAlike(kTaper, "m_strip", m_strip);
    overlapX = std::min(overlapX, m_strip[0].cols);
    rows = std::min(rows, m_strip[0].rows);
    const Move m(m_strip[0], {m_curX, 0}, m_block[0], {m_border, m_border}, overlapX, rows);
    if (m_taperType == EDGE_TAPER_KEEP_FIRST) {
        if (overlapX > 0 && rows > 0)
            drawRandom(long(m_block.size()) * overlapX * rows);
        copyRows(m_strip, m_block, m); // weight 0: what was written first stays
        return;
    }
    PIXMILL_CHECK(m_taperWeights_p && m.size.width <= m_rampSize, kTaper, "overlapX", overlapX,
                  "no more than the ramp holds");
    PIXMILL_CHECK(m.size.empty() || m_block[0].elemSize() == (m_packed ? 6u : 2u), kTaper, "m_block",
                  describe(m_block[0]), "the walk's type");
    forEachPlaneRow(std::min(m_block.size(), m_strip.size()), m.size.height, m.size.width, [&](std::size_t k, int y) {
        const ushort* old = m_strip[k].ptr<ushort>(m.from.y + y, m.from.x);
        ushort* block = m_block[k].ptr<ushort>(m.to.y + y, m.to.x);
        if (m_packed)
            rampRow<3>(m_taperWeights_p, old, block, m.size.width);
        else
            rampRow<1>(m_taperWeights_p, old, block, m.size.width);
    });
}

void BlockProcessor::writeBlockToStrip(int width, int height)
{
    if (m_block.empty() || m_strip.empty())
        return;
    checkAlike("BlockProcessor::writeBlockToStrip", "m_block", m_block);
    checkAlike("BlockProcessor::writeBlockToStrip", "m_strip", m_strip);
    copyRows(m_block, m_strip, Move(m_block[0], {m_border, m_border}, m_strip[0], {m_curX, 0}, width, height));
}

void BlockProcessor::writeStripToOutput(int overlapY, int rows)
{
    checkAlike(kStrip, "m_strip", m_strip);
    const int held = m_strip.empty() ? 0 : m_strip[0].rows;
    const int end = std::min({rows, held, validPart(m_curY, INT_MAX, m_height)}), blended = std::min(overlapY, end);
    const bool keepFirst = m_taperType == EDGE_TAPER_KEEP_FIRST;
    PIXMILL_CHECK(keepFirst || blended <= 0 || (m_taperWeights_p && blended <= m_rampSize), kStrip, "overlapY",
                  overlapY, "no more than the ramp holds");
    if (keepFirst && blended > 0)
        drawRandom(long(m_strip.size()) * blended);

    forEachPlaneRow(std::min(m_strip.size(), m_out.size()), end, m_width, [&](std::size_t k, int y) {
        const cv::Mat& strip = m_strip[k];
        cv::Mat& out = m_out[k];
        const Move m(strip, {0, y}, out, {0, m_curY + y}, m_width, 1);
        if (m.size.area() < 1 || (keepFirst && y < blended))
            return;
        const int n = m.size.width * int(strip.elemSize() / sizeof(ushort));
        if (y < blended)
            mixRow(m_taperWeights_p[y], strip.ptr<ushort>(y), out.ptr<ushort>(m.to.y), n);
        else
            std::memcpy(out.ptr(m.to.y), strip.ptr(y), n * sizeof(ushort));
    });
}

void BlockProcessor::writeBackBlock()
{
    checkWalk("BlockProcessor::writeBackBlock");
    const int validW = validPart(m_curX, m_blockW, m_width), validH = validPart(m_curY, m_blockH, m_height);
    if (!m_out.empty()) {
        const int overlapX = m_doneX - m_curX, size = m_rampSize;
        if (overlapX < 0)
            throw "in BlockProcessor::copyOneBlock, overlapX<0";
        if (overlapX > 0) {
            fillRamp(m_taperWeights_p, size, overlapX);
            doEdgeTaperInX(overlapX, validH);
        }
        writeBlockToStrip(validW, validH);
        if (m_curX + m_blockW >= m_width) {
            const int overlapY = m_doneY - m_curY;
            if (overlapY < 0)
                throw "in BlockProcessor::copyOneBlock, overlapY<0";
            fillRamp(m_taperWeights_p, size, overlapY);
            writeStripToOutput(overlapY, validH);
        }
    }
    m_doneX = std::min(m_width, m_curX + validW);
}
