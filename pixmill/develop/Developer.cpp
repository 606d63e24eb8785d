#include <pixmill/develop/Developer.h>

#include <pixmill/develop/detail/checks.h>
#include <pixmill/develop/detail/core.h>
#include <pixmill/develop/detail/layers.h>
#include <pixmill/develop/detail/mask_plane.h>
#include <pixmill/develop/detail/tables.h>
#include <pixmill/develop/detail/view.h>

#include <algorithm>
#include <cstdlib> // __GLIBC__
#include <utility>
#include <vector>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace pixmill {

using namespace develop;

namespace {

constexpr int kMostScale = 64;
constexpr double kSeparateShare = 0.1;   ///< Of opening, before detail is taken out.
constexpr int kBandRows = 64;            ///< Even. Bands of the whole picture: what is made of them stays in the cache.
constexpr int kRingRows = kBandRows + 2; ///< A band's rows are packed with the colours of the next two.

/// Lets the allocator return what opening needed for a moment: two bytes a pixel that it would keep otherwise. A batch
/// needs them again for its next picture.
void giveMemoryBack()
{
#if defined(__GLIBC__)
    malloc_trim(0);
#endif
}

} // namespace

struct Developer::Impl {
    Layers full;       ///< The photograph.
    Smoothed smoothed; ///< What its detail is to be taken out with, where that was prepared.
    Layers half;       ///< Reduced by 2, once that was asked for.
    Layers smaller;    ///< Reduced by `smallerScale`.
    int smallerScale = 0;
    View view;
    int viewScale = 0;
    MaskGround ground; ///< Made when the first mask needs it.
    std::vector<std::unique_ptr<MaskImage>> masks;

    bool needsDetail(const Recipe& recipe) const;
    bool smooth(const Progress& progress);
    bool takeDetailOut(const Progress& progress);
    const Layers& at(int scale);
    std::vector<MaskPlane> masksOf(const Recipe& recipe, int scale);
    MaskPlane maskOf(MaskImage& image, const Mask& mask, int scale);
    cv::Size size(int scale) const;
};

cv::Size Developer::Impl::size(int scale) const
{
    const cv::Size size = full.size();
    return {(size.width + scale - 1) / scale, (size.height + scale - 1) / scale};
}

/// Whether detail is to be taken out before a render at scale 1.
bool Developer::Impl::needsDetail(const Recipe& recipe) const
{
    const auto keepsLuma = [&](const LocalAdjustment& local) {
        return !local.enabled || Controls::of(recipe, local).keepLuma();
    };
    return !full.hasDetail() &&
           !(Controls::of(recipe).keepLuma() && std::all_of(recipe.locals.begin(), recipe.locals.end(), keepsLuma));
}

/// What is needed to take detail out row by row. @return false when `progress` cancelled.
bool Developer::Impl::smooth(const Progress& progress)
{
    return !smoothed.empty() || develop::smooth(full.base, smoothed, progress);
}

/// @return false when `progress` cancelled.
bool Developer::Impl::takeDetailOut(const Progress& progress)
{
    if (!smoothed.empty())
        develop::takeDetailOut(full, smoothed);
    else if (!develop::takeDetailOut(full, progress))
        return false;
    smoothed = {};
    view.forget();
    return true;
}

/// Reduced pictures that the scale does not need are dropped, so that no more than two are held.
const Layers& Developer::Impl::at(int scale)
{
    if (scale == 1)
        return full;
    if (scale % 2 != 0)
        half = Layers();
    else if (half.base.empty())
        half = reduced(full, 2);
    if (scale != smallerScale) {
        smallerScale = 0;
        smaller = Layers();
        if (scale == 2)
            return half;
        smaller = scale % 2 == 0 ? reduced(half, scale / 2) : reduced(full, scale);
        smallerScale = scale;
    }
    return smaller;
}

MaskPlane Developer::Impl::maskOf(MaskImage& image, const Mask& mask, int scale)
{
    if (ground.luma.empty())
        ground = MaskGround::of(full);
    image.update(mask, ground);
    return image.at(scale, halfSize(size(scale)));
}

/// The masks of the enabled adjustments. One that was rendered for another place in the list is not rendered again.
std::vector<MaskPlane> Developer::Impl::masksOf(const Recipe& recipe, int scale)
{
    std::vector<MaskPlane> planes;
    std::vector<std::unique_ptr<MaskImage>> used;
    for (const LocalAdjustment& local : recipe.locals) {
        if (!local.enabled)
            continue;
        const auto known =
            std::find_if(masks.begin(), masks.end(), [&](const auto& m) { return m && m->mask() == local.mask; });
        const auto slot = known != masks.end()         ? known
                          : used.size() < masks.size() ? masks.begin() + std::ptrdiff_t(used.size())
                                                       : masks.end();
        used.push_back(slot != masks.end() && *slot ? std::move(*slot) : std::make_unique<MaskImage>());
        planes.push_back(maskOf(*used.back(), local.mask, scale));
    }
    masks = std::move(used);
    return planes;
}

Developer::Developer() : m_impl(std::make_unique<Impl>())
{
}
Developer::~Developer() = default;
Developer::Developer(Developer&&) noexcept = default;
Developer& Developer::operator=(Developer&&) noexcept = default;

bool Developer::open(const Pixels& pixels, const Progress& progress, Opening opening)
{
    return translated("Developer::open", [&] {
        const auto goesOn = [&](double share) { return !progress || progress(share); };
        auto opened = std::make_unique<Impl>();
        separate(checked(pixels), opened->full);
        const bool all = opening == Opening::All;
        if (!goesOn(all ? kSeparateShare : 1.0))
            return false;
        const auto rest = [&](double share) { return goesOn(kSeparateShare + (1 - kSeparateShare) * share); };
        if (all && !opened->takeDetailOut(rest))
            return false;
        m_impl = std::move(opened);
        if (all)
            giveMemoryBack();
        return true;
    });
}

bool Developer::prepare(const Recipe& recipe, const Progress& progress)
{
    const char* call = "Developer::prepare";
    checkView(call, {{0, 0}, m_impl->size(1)}, 1, m_impl->size(1));
    check(call, recipe);
    return translated(call, [&] { return !m_impl->needsDetail(recipe) || m_impl->smooth(progress); });
}

bool Developer::isOpen() const
{
    return !m_impl->full.base.empty();
}

cv::Size Developer::size(int scale) const
{
    if (scale < 1 || scale > kMostScale)
        throw Error("Developer::size", "scale", "1..64", std::to_string(scale));
    return m_impl->size(scale);
}

void Developer::render(cv::Rect view, int scale, const Recipe& recipe, Order order, void* out, std::ptrdiff_t stride)
{
    const char* call = "Developer::render";
    if (scale < 1 || scale > kMostScale)
        throw Error(call, "scale", "1..64", std::to_string(scale));
    checkView(call, view, scale, m_impl->size(scale));
    check(call, recipe);
    const std::ptrdiff_t step =
        checkedStride(call, out, stride, std::ptrdiff_t(view.width) * bytesOf(Depth::Bits8, order));
    translated(call, [&] {
        if (scale > 1 ? !m_impl->full.hasDetail() : m_impl->needsDetail(recipe))
            m_impl->takeDetailOut({});
        if (scale != m_impl->viewScale)
            m_impl->view.forget();
        m_impl->viewScale = scale;
        const Layers& layers = m_impl->at(scale);
        m_impl->view.render(layers, view, recipe, m_impl->masksOf(recipe, scale), {out, step, Depth::Bits8, order});
    });
}

void Developer::render(cv::Rect view, int scale, const Recipe& recipe, Order order, cv::Mat& out)
{
    if (scale < 1 || scale > kMostScale)
        throw Error("Developer::render", "scale", "1..64", std::to_string(scale));
    checkView("Developer::render", view, scale, m_impl->size(scale));
    ensure(out, view.size(), bytesOf(Depth::Bits8, order) == 3 ? CV_8UC3 : CV_8UC4);
    render(view, scale, recipe, order, out.data, std::ptrdiff_t(out.step));
}

bool Developer::renderAll(const Recipe& recipe, Depth depth, Order order, const RowSink& rows)
{
    const char* call = "Developer::renderAll";
    const cv::Size size = m_impl->size(1);
    checkView(call, {{0, 0}, size}, 1, size);
    check(call, recipe);
    if (!rows)
        throw Error(call, "rows", "a sink", "none");
    std::vector<MaskPlane> masks;
    Layers layers = m_impl->full; // the same pixels, which stay should the sink open or render something else
    translated(call, [&] {
        if (m_impl->needsDetail(recipe)) {
            m_impl->smooth({});
            layers = ringsOf(layers, m_impl->smoothed, kRingRows);
        }
        masks = m_impl->masksOf(recipe, 1);
    });
    const std::ptrdiff_t stride = std::ptrdiff_t(size.width) * bytesOf(depth, order);
    std::vector<uchar> band(std::size_t(stride) * std::size_t(std::min(kBandRows, size.height)));
    View view;
    for (int y = 0; y < size.height; y += kBandRows) {
        const int count = std::min(kBandRows, size.height - y);
        translated(call, [&] {
            view.render(layers, {0, y, size.width, count}, recipe, masks, {band.data(), stride, depth, order});
        });
        if (!rows(y, count, band.data(), stride))
            return false;
    }
    return true;
}

void Developer::renderMask(cv::Rect view, int scale, const Mask& mask, cv::Mat& out)
{
    const char* call = "Developer::renderMask";
    if (scale < 1 || scale > kMostScale)
        throw Error(call, "scale", "1..64", std::to_string(scale));
    checkView(call, view, scale, m_impl->size(scale));
    check(call, mask, "mask");
    translated(call, [&] {
        MaskImage own;
        const auto known = std::find_if(m_impl->masks.begin(), m_impl->masks.end(),
                                        [&](const auto& m) { return m && m->mask() == mask; });
        showMask(m_impl->maskOf(known != m_impl->masks.end() ? **known : own, mask, scale), view, out);
    });
}

} // namespace pixmill
