#include <pixmill/mask/TDrawMask.h>

#include <pixmill/mask/detail/brush.h>
#include <pixmill/mask/detail/brush_avx512.h>
#include <pixmill/mask/detail/brush_weights.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

namespace {

using namespace pixmill::rows;
using namespace pixmill::mask;

int saturated(long v)
{
    return int(limit(v, long(INT_MIN), long(INT_MAX)));
}

/// The mask pixels under a dot; x1 may lie one past the mask, see checkBoundary.
struct Area {
    long x0, x1, y0, y1;

    Area(cv::Point center, long radius, cv::Size mask)
    {
        const long left = center.x - radius, right = center.x + radius;
        const long top = center.y - radius, bottom = center.y + radius;
        x0 = std::max(left, 0L);
        x1 = right <= mask.width ? right + 1 : mask.width;
        y0 = std::max(top, 0L);
        y1 = bottom < mask.height ? bottom + 1 : mask.height;
    }

    bool isEmpty() const { return x0 >= x1 || y0 >= y1; }
};

/// The part of a dot that lies within the mask, row by row around the centre.
struct Walk {
    cv::Point center;
    Area area;
    int cols;
    bool spills; ///< the dot reaches column `cols`, which is the next row's first pixel

    Walk(cv::Point c, int radius, const cv::Mat& cover) : center(c), area(c, radius, cover.size()), cols(cover.cols)
    {
        spills = !area.isEmpty() && area.x1 > cover.cols && cover.isContinuous();
        area.x1 = std::min(area.x1, long(cover.cols));
    }

    bool hasRow(long y) const { return y >= area.y0 && y < area.y1; }

    /// Least and greatest distance of low..high-1 from c.
    static int nearest(long c, long low, long high) { return int(std::max({0L, low - c, c - (high - 1)})); }
    static int farthest(long c, long low, long high) { return int(std::max(c - low, high - 1 - c)); }

    /// Calls body(dy) for every distance of a row from the centre. `pixels` of its work weigh as much as one elsewhere.
    template <class Body>
    void forEachDistance(int pixels, const Body& body) const
    {
        if (area.isEmpty())
            return;
        const int first = nearest(center.y, area.y0, area.y1), last = farthest(center.y, area.y0, area.y1);
        forEachIndex(last - first + 1, (area.x1 - area.x0) * (area.y1 - area.y0) / pixels,
                     [&](int i) { body(first + i); });
    }

    /// Calls body(y) for the one or two rows at this distance.
    template <class Body>
    void rowsAt(int dy, const Body& body) const
    {
        if (hasRow(long(center.y) - dy))
            body(center.y - dy);
        if (dy > 0 && hasRow(long(center.y) + dy))
            body(center.y + dy);
    }
};

constexpr int kPiece = 1024;      ///< pixels of a row weighed at a time
constexpr int kLightPixels = 4;   ///< pixels of a cheap loop that weigh as much as one elsewhere, see forEachSpan
constexpr int kWorthALine = 4096; ///< pixels of a rectangle that pay for another line of its base

/// Paints a soft dot row by row: apply(x, y, w, n, room) applies n weights to pixels from x on.
///
/// `rows` gives the weights by distance from the centre; those of a row serve the rows above and below it alike. A run
/// may be taken on to whole blocks within the `room` left in the mask's row: weights that change no coverage follow it.
template <class Rows, class Apply>
void paintSoft(const Walk& walk, const Rows& rows, const Apply& apply)
{
    const long cx = walk.center.x;
    const int cols = walk.cols;
    walk.forEachDistance(1, [&](int dy) {
        const long reach = rows.reach(dy);
        const int first = int(std::max(cx - reach + 1, walk.area.x0)), end = int(std::min(cx + reach, walk.area.x1));
        float room[kPiece + kBrushLanes], line[kBrushLanes + kPiece + kBrushBlock];
        float* const w = line + kBrushLanes;
        for (int x = first; x < end; x += kPiece) {
            const int n = std::min(kPiece, end - x), left = int(limit(cx - x, 0L, long(n))), right = n - left;
            if (left > 0) {
                const float* nearer = rows.weights(int(cx - x - left + 1), dy, left, room);
                mirrorWeights(nearer, w + left, left);
            }
            if (right > 0) {
                const float* farther = rows.weights(int(x + left - cx), dy, right, room);
                copyWeights(farther, w + left, right);
            }
            std::fill_n(w + n, kBrushBlock, rows.none());
            walk.rowsAt(dy, [&](int y) { apply(x, y, w, n, cols - x); });
        }
    });
}

/// Paints a soft dot by shares, each row from the centre outward.
void paintShares512(const Walk& walk, const BrushWeights& shares, cv::Mat& cover)
{
    const long cx = walk.center.x;
    walk.forEachDistance(kLightPixels, [&](int dy) {
        const long reach = shares.reach(dy);
        const long first = std::max(cx - reach + 1, walk.area.x0), end = std::min(cx + reach, walk.area.x1);
        float room[kPiece];
        for (long x = std::max(cx, first); x < end; x += kPiece) {
            const int n = int(std::min(long(kPiece), end - x));
            const float* share = shares.weights(int(x - cx), dy, n, room);
            walk.rowsAt(dy, [&](int y) { coverOutward512<false>(share, cover.ptr(y) + x, n); });
        }
        for (long x = std::min(cx, end); x > first; x -= kPiece) {
            const int n = int(std::min(long(kPiece), x - first));
            const float* share = shares.weights(int(cx - x + 1), dy, n, room);
            walk.rowsAt(dy, [&](int y) { coverOutward512<true>(share, cover.ptr(y) + x, n); });
        }
    });
}

/// The rows of a dot with its own falloff.
struct SmoothRows {
    SmoothFalloff falloff;
    int radius;

    long reach(int) const { return long(radius) + 1; }
    float none() const { return 0.0f; }
    const float* weights(int dx, int dy, int n, float* room) const
    {
        falloff.weights(dx, dy, room, n);
        return room;
    }
};

BrushPixels pixelsUnder(const TDrawMask& m, int x, int y)
{
    return {m.m_Y8.ptr<uchar>(y, x), m.m_Dr.ptr<ushort>(y, x), m.m_Db.ptr<ushort>(y, x)};
}

/// The colour under the centre, or at the nearest pixel inside the picture.
EdgeBrush edgeBrush(const TDrawMask& m, cv::Point center, float edge, const char* call)
{
    checkCovers(m.m_Y8, m.m_mask.size(), CV_8UC1, call, "m_Y8");
    checkCovers(m.m_Dr, m.m_mask.size(), CV_16UC1, call, "m_Dr");
    checkCovers(m.m_Db, m.m_mask.size(), CV_16UC1, call, "m_Db");
    const BrushPixels p = pixelsUnder(m, limit(center.x, 0, m.m_mask.cols - 1), limit(center.y, 0, m.m_mask.rows - 1));
    return EdgeBrush(*p.y8, *p.dr, *p.db, edge);
}

bool isStrokeReady(const TDrawMask& m)
{
    return fits(m.m_strokeCover, m.m_mask.size(), CV_8UC1) && fits(m.m_strokeBase, m.m_mask.size(), CV_8UC1);
}

void checkCover(const TDrawMask& m, const char* call)
{
    checkPlane(m.m_mask, call, "m_mask");
    PIXMILL_CHECK(fits(m.m_strokeCover, m.m_mask.size(), CV_8UC1), call, "m_strokeCover", describe(m.m_strokeCover),
                  "CV_8UC1 of the mask's size");
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
    if (first || !isStrokeReady(*this)) {
        ensure(m_strokeCover, m_mask.size(), CV_8UC1);
        resetMask(m_strokeCover, 0);
        m_mask.copyTo(m_strokeBase);
    }
    if (param->m_outerRadius == param->m_innerRadius && param->m_edge < 0.05f) {
        drawDumbDot(param->m_center, param->m_outerRadius);
    } else {
        updateLUT(param->m_outerRadius, param->m_innerRadius);
        drawMaskDotLUT(param->m_center, param->m_outerRadius, param->m_innerRadius, param->m_edge);
    }
    renderStroke(param->m_value, param->m_opacity, param->m_center, param->m_outerRadius);
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
    const float e = std::exp(-2.0f), k = 1.0f / (1.0f - e);
    for (int r = inner; r < outer; ++r) {
        const float t = float(long(r) - innerRadius) / float(long(outerRadius) - innerRadius);
        m_lut_p[r] = (std::exp((0.0f - 2.0f * t) * t) - e) * k;
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

void TDrawMask::drawDumbDot(cv::Point center, int radius)
{
    checkCover(*this, "TDrawMask::drawDumbDot");
    checkBoundary(center, radius);
    const Walk walk(center, radius, m_strokeCover);
    walk.forEachDistance(kLightPixels, [&](int dy) {
        const long reach = discReach(dy, radius);
        const long x0 = std::max(center.x - reach, walk.area.x0), x1 = std::min(center.x + reach + 1, walk.area.x1);
        if (x0 < x1)
            walk.rowsAt(dy, [&](int y) { std::memset(m_strokeCover.ptr(y, int(x0)), 255, std::size_t(x1 - x0)); });
    });
    // A disc that ends on column `cols` runs on into the next row's first pixel. Meant; the last row has no next one.
    for (int dy = 0; walk.spills && discReach(dy, radius) == radius; ++dy)
        walk.rowsAt(dy, [&](int y) {
            if (y + 1 < m_strokeCover.rows)
                *m_strokeCover.ptr(y + 1) = 255;
        });
}

void TDrawMask::drawMaskDotLUT(cv::Point center, int outerRadius, int /*innerRadius*/, float edge)
{
    checkCover(*this, "TDrawMask::drawMaskDotLUT");
    checkPointer(m_lut_p, "TDrawMask::drawMaskDotLUT", "m_lut_p");
    checkBoundary(center, outerRadius);
    // The dot's last column, where it lies past the mask, has weight 0 and is left out.
    const Walk walk(center, outerRadius, m_strokeCover);
    if (walk.area.isEmpty())
        return;
    if (!m_weights_p)
        m_weights_p = std::make_unique<BrushWeights>();
    const BrushWeights& weights = *m_weights_p;
    m_weights_p->update(outerRadius, m_lut_p, edge > 0.0f);
    if (edge > 0.0f) {
        const EdgeBrush brush = edgeBrush(*this, center, edge, "TDrawMask::drawMaskDotLUT");
        paintSoft(walk, weights, [&](int x, int y, const float* w, int n, int room) {
            const BrushPixels under = pixelsUnder(*this, x, y);
            brush.coverRun(w, under, m_strokeCover.ptr(y, x), n, room, weights.areWithinOne());
        });
    } else if (weights.areShares() && takesAvx512()) {
        paintShares512(walk, weights, m_strokeCover);
    } else if (weights.areShares()) {
        paintSoft(walk, weights, [&](int x, int y, const float* share, int n, int room) {
            coverSharesRun(share, m_strokeCover.ptr(y, x), n, room);
        });
    } else {
        paintSoft(walk, weights,
                  [&](int x, int y, const float* w, int n, int) { coverRow(w, m_strokeCover.ptr(y, x), n); });
    }
}

void TDrawMask::drawMaskDot(cv::Point center, int outerRadius, int innerRadius, float edge)
{
    checkCover(*this, "TDrawMask::drawMaskDot");
    checkBoundary(center, outerRadius);
    const Walk walk(center, outerRadius, m_strokeCover);
    if (walk.area.isEmpty() && !walk.spills)
        return;
    const SmoothRows rows{{outerRadius, innerRadius}, outerRadius};
    const auto paint = [&](const auto& apply) {
        // Only equal radii give the column past the mask a weight; it lands on the next row's first pixel.
        if (walk.spills)
            for (int y = int(walk.area.y0); y < walk.area.y1 && y + 1 < m_strokeCover.rows; ++y) {
                float w;
                rows.weights(outerRadius, std::abs(y - center.y), 1, &w);
                apply(0, y + 1, &w, 1, 1);
            }
        paintSoft(walk, rows, apply);
    };
    if (edge > 0.0f) {
        const EdgeBrush brush = edgeBrush(*this, center, edge, "TDrawMask::drawMaskDot");
        paint([&](int x, int y, const float* w, int n, int) {
            brush.coverRowSingle(w, pixelsUnder(*this, x, y), m_strokeCover.ptr(y, x), n);
        });
    } else {
        paint([&](int x, int y, const float* w, int n, int) { coverRow(w, m_strokeCover.ptr(y, x), n); });
    }
}

void TDrawMask::renderStroke(unsigned char value, float opacity, cv::Point center, int radius)
{
    checkCover(*this, "TDrawMask::renderStroke");
    PIXMILL_CHECK(fits(m_strokeBase, m_mask.size(), CV_8UC1), "TDrawMask::renderStroke", "m_strokeBase",
                  describe(m_strokeBase), "CV_8UC1 of the mask's size");
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
