#include <pixmill/mask/TDrawMask.h>

#include <pixmill/mask/detail/brush_avx512.h>
#include <pixmill/mask/detail/brush_cover.h>
#include <pixmill/mask/detail/brush_edge.h>
#include <pixmill/mask/detail/brush_falloff.h>
#include <pixmill/mask/detail/brush_walk.h>
#include <pixmill/mask/detail/brush_weights.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

using namespace pixmill::rows;
using namespace pixmill::mask;

namespace {

constexpr int kPiece = 1024; ///< pixels of a row weighed at a time

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

void paintShares(const Walk& walk, const BrushWeights& shares, cv::Mat& cover)
{
    if (takesAvx512())
        paintShares512(walk, shares, cover);
    else
        paintSoft(walk, shares, [&](int x, int y, const float* share, int n, int room) {
            coverSharesRun(share, cover.ptr(y, x), n, room);
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

} // namespace

void TDrawMask::drawDumbDot(cv::Point center, int radius)
{
    checkLayer(m_strokeCover, m_mask, "TDrawMask::drawDumbDot", "m_strokeCover");
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
    checkLayer(m_strokeCover, m_mask, "TDrawMask::drawMaskDotLUT", "m_strokeCover");
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
    } else if (weights.areShares()) {
        paintShares(walk, weights, m_strokeCover);
    } else {
        paintSoft(walk, weights,
                  [&](int x, int y, const float* w, int n, int) { coverRow(w, m_strokeCover.ptr(y, x), n); });
    }
}

void TDrawMask::drawMaskDot(cv::Point center, int outerRadius, int innerRadius, float edge)
{
    checkLayer(m_strokeCover, m_mask, "TDrawMask::drawMaskDot", "m_strokeCover");
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
            brush.coverRow<float>(w, pixelsUnder(*this, x, y), m_strokeCover.ptr(y, x), n);
        });
    } else {
        paint([&](int x, int y, const float* w, int n, int) { coverRow(w, m_strokeCover.ptr(y, x), n); });
    }
}
