#pragma once

#include <pixmill/develop/Error.h>
#include <pixmill/develop/Export.h>
#include <pixmill/develop/Recipe.h>

#include <opencv2/core/mat.hpp>

#include <cstddef>
#include <functional>
#include <memory>

namespace pixmill {

/// Bits of a channel: 0..255 or 0..65535.
enum class Depth { Bits8, Bits16 };

/// Channels of packed pixels, in memory order. A fourth channel is not read, and written as full.
enum class Order { RGB, BGR, RGBA, BGRA };

/// Packed pixels in a host's memory. Rows of 16 bits begin at even addresses.
struct Pixels {
    const void* data = nullptr; ///< The first pixel of the top row.
    int width = 0;              ///< 1..65535.
    int height = 0;             ///< 1..65535.
    std::ptrdiff_t stride = 0;  ///< Bytes from a row to the next; negative where rows run upward. 0: tight rows.
    Depth depth = Depth::Bits8; ///< Bits of a channel.
    Order order = Order::RGB;   ///< Channels in memory.
};

/// Told a share of the work, 0..1; false cancels.
using Progress = std::function<bool(double share)>;

/// Takes finished rows: `rows` rows of packed pixels from row `y` on, `stride` bytes apart, valid during the call.
/// Rows come in order, each once. False cancels.
using RowSink = std::function<bool(int y, int rows, const void* pixels, std::ptrdiff_t stride)>;

/// What `Developer::open` does at once.
enum class Opening {
    All,   ///< Everything, so that no view and no move waits for it.
    Needed ///< Luma and colour; detail is taken out when a recipe first needs it, and that is most of the work.
};

/// A photograph and its development: from packed pixels and a recipe to packed pixels.
///
/// `open` takes the photograph apart: luma without its detail, three planes of detail by size, and colour at half size
/// (Y, Dr and Db of TPImage; at half size a colour belongs to the even pixel of the even row). `render` and `renderAll`
/// put it together again by a recipe: colour weights, light, detail by zones, colour, local adjustments, colour table.
///
/// Neutral means neutral: luma comes back exactly, so a neutral recipe changes nothing but what half-size colour cannot
/// hold, and rounding: a grey picture comes back to the bit; docs/develop.md tells figures for photographs.
/// Light keeps colours: the differences from luma grow and shrink with (new luma + 655.3) / (old luma + 655.3).
///
/// The same picture and recipe give the same bits, for every number of threads, on every processor, whatever was
/// rendered before. One thread at a time per object. An open photograph holds 9 bytes a pixel (3 before
/// its detail is taken out), at most 12 after reduced views; a quarter of a byte more with masks, and another for each
/// mask; and the working planes of the last view: 3.5 bytes a pixel of the view, 2 more where light or weights are set
/// and for each level of detail that is toned, and as many again for each local adjustment.
class PIXMILL_DEVELOP_API Developer {
public:
    Developer(); ///< Without a photograph.
    ~Developer();
    Developer(Developer&&) noexcept;            ///< Takes the photograph over.
    Developer& operator=(Developer&&) noexcept; ///< Takes the photograph over.

    /// Takes a photograph in; the host's pixels are not needed afterwards. Samples of 8 bits are widened by 257, so
    /// white is white. Needs 19 bytes a pixel for a moment.
    ///
    /// @param opening  `Opening::Needed` for pictures that are rendered once, each by its recipe: a batch.
    /// @return true; false when `progress` cancelled: then the developer is as it was before.
    /// @throws Error  null pixels, a size or stride that cannot be.
    bool open(const Pixels& pixels, const Progress& progress = {}, Opening opening = Opening::All);

    /// Does what `open` left and `recipe` needs at scale 1: takes the detail out, unless all that the recipe sets, its
    /// enabled local adjustments included, is colour and a colour table. Renders do it themselves, without progress;
    /// those at other scales always need it. The bits are the same, whenever it is done.
    ///
    /// @return true, also where nothing is left to do; false when `progress` cancelled: then the developer is as it was
    ///         before.
    /// @throws Error  no photograph, a control out of its range.
    bool prepare(const Recipe& recipe, const Progress& progress = {});

    /// Whether a photograph is open.
    bool isOpen() const;

    /// The picture's size reduced by `scale`: each side divided, rounded up. 0 x 0 when none is open.
    cv::Size size(int scale = 1) const;

    /// Renders a view for a screen.
    ///
    /// Finds out itself what changed since the last call: only the parts that the recipe's change touches are computed
    /// again, and of a view that moved only what came in.
    ///
    /// @param view    in pixels of the picture reduced by `scale`; lies within `size(scale)`, not empty.
    /// @param scale   1..64: each pixel shown is the mean of scale x scale. At 1 a view has the bits of the same crop
    /// of
    ///                `renderAll` at 8 bits; at others detail is toned after it was reduced, so that they differ a
    ///                little from the whole picture reduced.
    /// @param out     where the view's first pixel goes, 8 bits a channel, `view.height` rows.
    /// @param stride  bytes from row to row; negative where rows run upward. 0: tight rows.
    /// @throws Error  no photograph, a view outside it, a null pointer, a stride too short, a control out of its range.
    void render(cv::Rect view, int scale, const Recipe& recipe, Order order, void* out, std::ptrdiff_t stride = 0);

    /// The same into a CV_8UC3 or CV_8UC4 picture, which is created unless it fits.
    void render(cv::Rect view, int scale, const Recipe& recipe, Order order, cv::Mat& out);

    /// Renders the whole picture at full size, in bands, in bounded memory. The kept view is not disturbed.
    ///
    /// @return true; false when the sink cancelled.
    /// @throws Error  as `render`; what the sink throws passes through.
    bool renderAll(const Recipe& recipe, Depth depth, Order order, const RowSink& rows);

    /// A mask as `render` and `renderAll` use it, for showing it over a view.
    ///
    /// @param out  CV_8UC1 of the view's size, 255 fully selected; created unless it fits.
    void renderMask(cv::Rect view, int scale, const Mask& mask, cv::Mat& out);

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace pixmill
