#pragma once

#include <pixmill/develop/Developer.h>
#include <pixmill/develop/detail/chain.h>
#include <pixmill/develop/detail/layers.h>
#include <pixmill/develop/detail/pack_rows.h>

#include <memory>
#include <vector>

namespace pixmill::develop {

struct BlendChunk;

/// A mask as the view blends by it.
struct MaskPlane {
    cv::Mat plane;        ///< CV_8UC1, half the size of the layers.
    cv::Rect bounds;      ///< Full-size pixels outside are not selected; even corners.
    unsigned version = 0; ///< Differs when the pixels do.
};

/// A view of a mask: its weights as 8 bits. `out` is created unless it fits.
void showMask(const MaskPlane& mask, const cv::Rect& view, cv::Mat& out);

/// Where packed pixels go.
struct Target {
    void* data;
    std::ptrdiff_t stride;
    Depth depth;
    Order order;
};

/// A view of layers, its stages kept from call to call.
class View {
public:
    /// @param layers  with their detail, unless the recipe keeps luma.
    /// @param masks   of the recipe's local adjustments that are enabled, in order.
    void render(const Layers& layers, const cv::Rect& view, const Recipe& recipe, const std::vector<MaskPlane>& masks,
                const Target& target);

    /// Drops what is kept; the layers will be others.
    void forget() { m_done = {}; }

private:
    /// The chain of a local adjustment.
    struct Local {
        Chain chain;
        MaskPlane mask;
        Stages stages;
    };

    /// What of which picture is packed, and where it goes.
    struct Packing {
        cv::Size picture;
        cv::Rect view;
        Target target;
    };

    void fit(const cv::Rect& work);
    bool update(const Recipe& recipe, const std::vector<MaskPlane>& masks);
    void compute(const Layers& layers, const cv::Rect& part, bool all);
    void renderBand(const Layers& layers, const cv::Rect& band, bool all);
    void blendLuma(int y, int x, int n, BlendChunk& chunk);
    void blendColor(int y, int x, int n, BlendChunk& chunk);
    void computeAndPack(const Layers& layers, const cv::Rect& work, bool all, bool changed, const Packing& packing);
    void packRows(const Packing& packing, int first, int step, int count) const;
    void packRow(const Packing& packing, int y) const;
    void takeTable(const Table3D& table);

    cv::Rect m_done; ///< What the rings hold.
    cv::Mat m_oldY;  ///< The photograph's luma at even pixels: a ring of half size.
    Chain m_chain;
    Stages m_stages;
    std::vector<std::unique_ptr<Local>> m_locals;
    bool m_blendAgain = false;
    cv::Mat m_Y, m_dr, m_db; ///< Blended, where there are local adjustments.
    Table3D m_table;
    std::vector<std::uint64_t> m_entries;
};

} // namespace pixmill::develop
