#include <pixmill/develop/detail/mask_plane.h>

#include <pixmill/develop/detail/core.h>

#include <algorithm>
#include <atomic>
#include <cmath>

namespace pixmill::develop {

namespace {

/// In picture pixels.
int diameterOf(const BrushStroke& stroke, cv::Size picture)
{
    return std::max(1, int(std::lround(stroke.diameter * float(std::max(picture.width, picture.height)))));
}

/// Dots along the line through a stroke's points, a tenth of its diameter apart, in picture pixels. More points only
/// add dots behind.
std::vector<cv::Point> dotsOf(const BrushStroke& stroke, cv::Size picture)
{
    const auto place = [&](const cv::Point2f& p) {
        return cv::Point2d(double(p.x) * picture.width, double(p.y) * picture.height);
    };
    const double spacing = std::max(1.0, diameterOf(stroke, picture) * 0.1);
    std::vector<cv::Point> dots;
    double since = spacing; // way since the last dot: the first point is one
    cv::Point2d from = stroke.points.empty() ? cv::Point2d() : place(stroke.points[0]);
    for (const cv::Point2f& point : stroke.points) {
        const cv::Point2d to = place(point), way = to - from;
        const double length = std::sqrt(way.x * way.x + way.y * way.y);
        double at = dots.empty() ? 0 : spacing - since;
        for (; at <= length; at += spacing) {
            const cv::Point2d dot = length > 0 ? from + way * (at / length) : from;
            dots.emplace_back(int(std::floor(dot.x)), int(std::floor(dot.y)));
        }
        since = spacing - (at - length);
        from = to;
    }
    return dots;
}

/// `to` joined with `part`, pixel by pixel.
void combine(MaskCombine how, const cv::Mat& part, cv::Mat& to)
{
    forEachRow(to.size(), [&](int y) {
        const uchar* __restrict in = part.ptr(y);
        uchar* __restrict out = to.ptr(y);
        for (int x = 0; x < to.cols; ++x) {
            const uchar rest = uchar(255 - in[x]);
            if (how == MaskCombine::Add)
                out[x] = std::max(out[x], in[x]);
            else
                out[x] = std::min(out[x], how == MaskCombine::Subtract ? rest : in[x]);
        }
    });
}

void invert(cv::Mat& mask)
{
    forEachRow(mask.size(), [&](int y) {
        uchar* row = mask.ptr(y);
        for (int x = 0; x < mask.cols; ++x)
            row[x] = uchar(255 - row[x]);
    });
}

/// The pixels of full size that a mask's selected ones reach, from even corners.
cv::Rect boundsOf(const cv::Mat& mask)
{
    int left = mask.cols, right = -1, top = mask.rows, bottom = -1;
    for (int y = 0; y < mask.rows; ++y) {
        const uchar *row = mask.ptr(y), *end = row + mask.cols;
        const uchar* first = std::find_if(row, end, [](uchar v) { return v != 0; });
        if (first == end)
            continue;
        int last = mask.cols - 1;
        while (row[last] == 0)
            --last;
        left = std::min(left, int(first - row));
        right = std::max(right, last);
        top = std::min(top, y);
        bottom = y;
    }
    if (right < 0)
        return {};
    const int x = std::max(left - 1, 0), y = std::max(top - 1, 0);
    return {2 * x, 2 * y, 2 * (right + 2 - x), 2 * (bottom + 2 - y)};
}

} // namespace

bool Painter::continues(const Brush& brush) const
{
    const auto &old = m_drawn.strokes, &now = brush.strokes;
    if (!m_canvas || old.size() > now.size())
        return false;
    if (old.empty())
        return true;
    if (!std::equal(old.begin(), old.end() - 1, now.begin()))
        return false;
    BrushStroke same = now[old.size() - 1];
    if (same.points.size() < old.back().points.size())
        return false;
    same.points.resize(old.back().points.size());
    return same == old.back();
}

void Painter::draw(const BrushStroke& stroke, cv::Size picture, std::size_t drawn)
{
    const std::vector<cv::Point> dots = dotsOf(stroke, picture);
    // TDrawMask takes twice a radius in mask pixels, which is a diameter in mask pixels: half of the picture's.
    const int outer = diameterOf(stroke, picture) / 2, inner = int(float(outer) * stroke.hardness);
    for (std::size_t i = drawn; i < dots.size(); ++i)
        m_canvas->drawADot(dots[i], stroke.erase ? 0 : 255, outer, inner, stroke.opacity, stroke.edge);
}

const cv::Mat& Painter::render(const Brush& brush, const MaskGround& ground)
{
    if (!continues(brush)) {
        m_canvas = std::make_unique<TDrawMask>();
        m_canvas->setInImage(ground.luma, ground.dr, ground.db);
        m_canvas->setValue(0);
        m_drawn = {};
    }
    for (std::size_t i = 0; i < brush.strokes.size(); ++i) {
        const BrushStroke& stroke = brush.strokes[i];
        const bool known = i < m_drawn.strokes.size();
        if (known && i + 1 < m_drawn.strokes.size())
            continue;
        if (!known)
            m_canvas->drawStart(0, 0);
        draw(stroke, ground.picture, known ? dotsOf(m_drawn.strokes[i], ground.picture).size() : 0);
    }
    m_drawn = brush;
    m_canvas->proc();
    return m_canvas->m_mask;
}

void MaskImage::renderComponent(const MaskComponent& component, Painter& painter, const MaskGround& ground,
                                cv::Mat& out)
{
    std::visit(
        [&](const auto& shape) {
            if constexpr (std::is_same_v<std::decay_t<decltype(shape)>, Brush>)
                painter.render(shape, ground).copyTo(out);
            else
                renderShape(shape, ground, out);
        },
        component.shape);
    if (component.invert)
        invert(out);
    const float longer = float(std::max(ground.picture.width, ground.picture.height));
    feather(out, int(std::lround(component.feather * longer * 0.5f)));
}

void MaskImage::update(const Mask& mask, const MaskGround& ground)
{
    static std::atomic<unsigned> versions{0};
    if (m_known && mask == m_mask)
        return;
    m_known = false;
    const bool all = !mask.components.empty() && mask.components[0].combine != MaskCombine::Add;
    ensure(m_full, halfSize(ground.picture), CV_8UC1);
    m_full.setTo(all ? 255 : 0);
    m_painters.resize(mask.components.size());
    cv::Mat part;
    for (std::size_t i = 0; i < mask.components.size(); ++i) {
        if (!m_painters[i])
            m_painters[i] = std::make_unique<Painter>();
        renderComponent(mask.components[i], *m_painters[i], ground, part);
        combine(mask.components[i].combine, part, m_full);
    }
    m_mask = mask;
    m_known = true;
    m_scale = 0;
    m_scaled.version = ++versions;
}

MaskPlane MaskImage::at(int scale, cv::Size half)
{
    if (scale != m_scale) {
        if (scale == 1)
            m_scaled.plane = m_full;
        else
            reduceMeans(m_full, scale, half, m_scaled.plane = cv::Mat());
        m_scaled.bounds = boundsOf(m_scaled.plane);
        m_scale = scale;
    }
    return m_scaled;
}

} // namespace pixmill::develop
