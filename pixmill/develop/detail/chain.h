#pragma once

#include <pixmill/develop/detail/layers.h>
#include <pixmill/develop/detail/tables.h>

#include <opencv2/core/mat.hpp>

/// One rendering of a view by one set of controls, with all its stages kept.
namespace pixmill::develop {

/// Which stages are to be computed.
struct Stages {
    bool luma = false, level[3] = {}, sum = false, color = false;

    static Stages all() { return {true, {true, true, true}, true, true}; }
    bool any() const { return luma || level[0] || level[1] || level[2] || sum || color; }
};

/// base luma -> luma after weights and light -> each level toned by it, and their sum -> colour.
class Chain {
public:
    cv::Mat newY;   ///< The finished luma: a ring, CV_16UC1.
    cv::Mat dr, db; ///< The finished differences: rings of half its size.

    /// Takes new controls, builds what tables they need, and tells which stages change. All of them after `forget`.
    Stages update(const Controls& controls);
    void forget() { m_known = false; }

    /// Gives the rings this size, an even one.
    void resize(cv::Size ring);

    /// Computes stages of a part whose columns lie side by side in the rings; its corner is even.
    void render(const Layers& layers, const cv::Mat& oldY, const Stages& stages, const cv::Rect& part);

private:
    void chooseToning(int level, const DetailLevel& controls, bool changed, Stages& stages);
    void renderLuma(const Layers& layers, int y, int x, int n);
    void renderSum(const Layers& layers, const Stages& stages, int y, int x, int n);
    void renderColor(const Layers& layers, const cv::Mat& oldY, int y, int x, int n);
    const cv::Mat& lumaOf(const Layers& layers) const { return m_lit || m_weighed ? m_luma : layers.base; }

    bool m_known = false;
    Controls m_controls;
    bool m_lit = false, m_weighed = false, m_colored = false;
    bool m_kept[3] = {}; ///< Levels whose toned samples are kept until they change.
    int m_passing = 0;   ///< Levels toned anew in every sum: 1 the first, 2 the second, 4 the third.
    std::vector<unsigned short> m_light;
    DetailTable m_tables[3];
    std::vector<std::uint32_t> m_color;
    cv::Mat m_luma, m_levels[3];
};

/// The photograph's luma at the even pixels of row y, which is even.
void originalRow(const Layers& layers, int y, int x, int n, unsigned short* out);

} // namespace pixmill::develop
