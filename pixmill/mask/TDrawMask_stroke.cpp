#include <pixmill/mask/TDrawMask.h>

#include <pixmill/mask/detail/brush_falloff.h>
#include <pixmill/mask/detail/brush_walk.h>
#include <pixmill/mask/detail/brush_weights.h>
#include <pixmill/mask/detail/stroke_blend.h>
#include <pixmill/rows/exponential.h>

#include <algorithm>
#include <climits>
#include <cstring>

using namespace pixmill::rows;
using namespace pixmill::mask;

namespace {

constexpr int kWorthALine = 4096; ///< pixels of a rectangle that pay for another line of its base

int saturated(long v)
{
    return int(limit(v, long(INT_MIN), long(INT_MAX)));
}

bool isStrokeReady(const TDrawMask& m)
{
    return fits(m.m_strokeCover, m.m_mask.size(), CV_8UC1) && fits(m.m_strokeBase, m.m_mask.size(), CV_8UC1);
}

/// The pixels whose coverage or mask a dot may change. What spills past the last column lands on the next row's first.
cv::Rect touchedBy(const TMaskParam& dot, cv::Size mask)
{
    const Area area(dot.m_center, dot.m_outerRadius, mask);
    if (area.isEmpty())
        return {};
    const bool spills = area.x1 > mask.width;
    const long x0 = spills ? 0 : area.x0, y1 = std::min(area.y1 + spills, long(mask.height));
    return {int(x0), int(area.y0), int(std::min(area.x1, long(mask.width)) - x0), int(y1 - area.y0)};
}

} // namespace

TDrawMask::TDrawMask() = default;

TDrawMask::~TDrawMask()
{
    emptyCmdStack();
    delete[] m_lut_p;
}

void TDrawMask::drawStrokeDot(bool first, TMaskParam* param)
{
    checkPointer(param, "TDrawMask::drawStrokeDot", "param");
    checkPlane(m_mask, "TDrawMask::drawStrokeDot", "m_mask");
    cv::Rect stale({}, m_mask.size());
    drawDot(first, *param, stale);
}

void TDrawMask::drawDot(bool first, const TMaskParam& dot, cv::Rect& stale)
{
    if (first || !isStrokeReady(*this)) {
        startStroke(stale);
        stale = {};
    }
    stale |= touchedBy(dot, m_mask.size());
    if (dot.m_outerRadius == dot.m_innerRadius && dot.m_edge < 0.05f) {
        drawDumbDot(dot.m_center, dot.m_outerRadius);
    } else {
        updateLUT(dot.m_outerRadius, dot.m_innerRadius);
        drawMaskDotLUT(dot.m_center, dot.m_outerRadius, dot.m_innerRadius, dot.m_edge);
    }
    renderStroke(dot.m_value, dot.m_opacity, dot.m_center, dot.m_outerRadius);
}

void TDrawMask::startStroke(const cv::Rect& stale)
{
    if (isStrokeReady(*this) && stale.size() != m_mask.size()) {
        for (int y = stale.y; y < stale.y + stale.height; ++y) {
            std::memset(m_strokeCover.ptr(y, stale.x), 0, std::size_t(stale.width));
            std::memcpy(m_strokeBase.ptr(y, stale.x), m_mask.ptr(y, stale.x), std::size_t(stale.width));
        }
        return;
    }
    ensure(m_strokeCover, m_mask.size(), CV_8UC1);
    resetMask(m_strokeCover, 0);
    m_mask.copyTo(m_strokeBase);
}

void TDrawMask::updateLUT(int outerRadius, int innerRadius)
{
    if (!m_lut_p)
        m_lut_p = new float[kBrushTable]();
    if (outerRadius == m_lutOuter && innerRadius == m_lutInner)
        return;
    if (outerRadius < innerRadius)
        throw "ERROR -- TDrawMask::updateLUT - Inner circle is larger than outter circle.";
    m_lutOuter = outerRadius;
    m_lutInner = innerRadius;

    const int inner = limit(innerRadius, 0, kBrushTable), outer = limit(outerRadius, 0, kBrushTable);
    std::fill(m_lut_p, m_lut_p + inner, 1.0f);
    const auto gauss = [](float t) { return float(exponential(double((0.0f - 2.0f * t) * t))); };
    const float e = gauss(1.0f), k = 1.0f / (1.0f - e);
    for (int r = inner; r < outer; ++r) {
        const float t = float(long(r) - innerRadius) / float(long(outerRadius) - innerRadius);
        m_lut_p[r] = (gauss(t) - e) * k;
    }
    std::fill(m_lut_p + outer, m_lut_p + kBrushTable, 0.0f);
}

void TDrawMask::checkBoundary(cv::Point& center, int radius)
{
    const Area area(center, radius, m_mask.size());
    const long left = long(center.x) - radius, top = long(center.y) - radius;
    m_clipX0 = saturated(area.x0 - left);
    m_clipX1 = saturated(area.x1 - left);
    m_clipY0 = saturated(area.y0 - top);
    m_clipY1 = saturated(area.y1 - top);
    m_clipMaskX = saturated(area.x0);
    m_clipMaskY = saturated(area.y0);
}

void TDrawMask::renderStroke(unsigned char value, float opacity, cv::Point center, int radius)
{
    checkLayer(m_strokeCover, m_mask, "TDrawMask::renderStroke", "m_strokeCover");
    checkLayer(m_strokeBase, m_mask, "TDrawMask::renderStroke", "m_strokeBase");
    const long x0 = std::max(long(center.x) - radius, 0L), x1 = std::min(long(center.x) + radius, long(m_mask.cols));
    const long y0 = std::max(long(center.y) - radius, 0L), y1 = std::min(long(center.y) + radius, long(m_mask.rows));
    if (x0 >= x1 || y0 >= y1)
        return;
    const int x = int(x0), n = int(x1 - x0), room = m_mask.cols - x;
    const uchar evenBase = *m_strokeBase.ptr(int((y0 + y1) / 2), int((x0 + x1) / 2));
    const bool isLarge = (x1 - x0) * (y1 - y0) >= kWorthALine;
    if (!m_blend_p || !m_blend_p->isOf(value, opacity) || (isLarge && m_blend_p->evenBase != evenBase))
        m_blend_p = std::make_unique<StrokeBlend>(value, opacity, evenBase);
    const StrokeBlend& stroke = *m_blend_p;
    forEachIndex(int(y1 - y0), n * (y1 - y0) / kLightPixels, [&](int row) {
        const int y = int(y0) + row;
        const uchar* cover = m_strokeCover.ptr(y, x);
        const uchar* base = m_strokeBase.ptr(y, x);
        uchar* mask = m_mask.ptr(y, x);
        int i = 0;
        for (; i + kBrushBlock <= n; i += kBrushBlock)
            stroke.block(cover + i, base + i, mask + i);
        if (i + kBrushBlock <= room) {
            uchar last[kBrushBlock];
            stroke.block(cover + i, base + i, last);
            std::memcpy(mask + i, last, std::size_t(n - i));
        } else {
            stroke.row(cover + i, base + i, mask + i, n - i);
        }
    });
}
