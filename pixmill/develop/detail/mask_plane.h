#pragma once

#include <pixmill/develop/Mask.h>
#include <pixmill/develop/detail/layers.h>
#include <pixmill/develop/detail/view.h>
#include <pixmill/mask/TDrawMask.h>

#include <opencv2/core/mat.hpp>

#include <memory>
#include <vector>

/// Masks as pixels: 8 bits, half the picture's size, pixel (i, j) standing for (2i, 2j).
namespace pixmill::develop {

/// What masks are made on.
struct MaskGround {
    cv::Size picture;
    cv::Mat luma;   ///< CV_8UC1, half size: the photograph's.
    cv::Mat dr, db; ///< CV_16UC1, half size.

    static MaskGround of(const Layers& layers);
};

/// Renders a shape without strokes.
void renderShape(const LinearGradient& shape, const MaskGround& ground, cv::Mat& out);
void renderShape(const RadialGradient& shape, const MaskGround& ground, cv::Mat& out);
void renderShape(const LumaRange& shape, const MaskGround& ground, cv::Mat& out);

/// Smooths over `reach` pixels to each side, in place: three means over windows of a third each. Edges repeat.
void feather(cv::Mat& mask, int reach);

/// A brush's strokes on TDrawMask; more strokes, or a longer last one, are painted over what is there.
class Painter {
public:
    const cv::Mat& render(const Brush& brush, const MaskGround& ground);

private:
    bool continues(const Brush& brush) const;
    void draw(const BrushStroke& stroke, cv::Size picture, std::size_t drawn);

    std::unique_ptr<TDrawMask> m_canvas;
    Brush m_drawn;
};

/// A mask that was rendered, at full size and at the scale last asked for.
class MaskImage {
public:
    /// Renders `mask` anew unless it is the one held.
    void update(const Mask& mask, const MaskGround& ground);
    const Mask& mask() const { return m_mask; }
    MaskPlane at(int scale, cv::Size half);

private:
    void renderComponent(const MaskComponent& component, Painter& painter, const MaskGround& ground, cv::Mat& out);

    bool m_known = false; ///< Whether the pixels are those of `m_mask`.
    Mask m_mask;
    std::vector<std::unique_ptr<Painter>> m_painters; ///< One a component.
    cv::Mat m_full;
    MaskPlane m_scaled;
    int m_scale = 0;
};

} // namespace pixmill::develop
