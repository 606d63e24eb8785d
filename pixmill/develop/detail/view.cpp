#include <pixmill/develop/detail/view.h>

#include <pixmill/develop/detail/blend_rows.h>
#include <pixmill/develop/detail/core.h>
#include <pixmill/develop/detail/pack_avx512.h>
#include <pixmill/develop/detail/ring.h>

#include <algorithm>

namespace pixmill::develop {

namespace {

constexpr int kBandRows = 16; ///< Even: what a thread computes at a time stays in its cache.

int even(int n)
{
    return n + n % 2;
}

/// The pixels that a view's colours need, from even corners: to the next difference beyond, where there is one. Columns
/// are packed in pairs, of which a view may show one.
cv::Rect workOf(const cv::Rect& view, cv::Size picture)
{
    const int x = view.x & ~1, y = view.y & ~1;
    const int right = std::min(even(view.x + view.width) + 2, picture.width);
    const int bottom = std::min(((view.y + view.height) & ~1) + 2, picture.height);
    return {x, y, right - x, bottom - y};
}

/// Words of a chunk's pairs. @return false where a colour lies outside: then they are not to be used.
template <bool swap>
bool packWords(const ushort* luma, const SiteRows& red, const SiteRows& blue, uchar* words, int pairs)
{
    const int wide =
        rows::takesAvx512() ? packPairs512<swap>(luma, red.row, red.next, blue.row, blue.next, words, pairs) : 0;
    return !packPairs<swap>(reinterpret_cast<const AnyWord*>(luma + 2 * wide), red.row + wide, red.next + wide,
                            blue.row + wide, blue.next + wide, reinterpret_cast<AnyWord*>(words + 8 * wide),
                            pairs - wide);
}

/// The short way to 8 bits, from pixel `skip` of a chunk on. @return false where a colour lies outside: then it is not
/// all done.
bool packChunk(const ushort* luma, const SiteRows& red, const SiteRows& blue, Order order, int skip, int n,
               PackChunk& c, uchar* out)
{
    const int pairs = halfSize(n);
    // Rows without an odd pixel at either end go where they belong at once.
    const bool direct = !threeChannels(order) && skip == 0 && n % 2 == 0;
    uchar* words = direct ? out : reinterpret_cast<uchar*>(c.words);
    if (!(blueFirst(order) ? packWords<true>(luma, red, blue, words, pairs)
                           : packWords<false>(luma, red, blue, words, pairs)))
        return false;
    if (threeChannels(order))
        dropFourths(c.words + skip, out, n - skip);
    else if (!direct)
        std::memcpy(out, c.words + skip, std::size_t(n - skip) * 4);
    return true;
}

} // namespace

void showMask(const MaskPlane& mask, const cv::Rect& view, cv::Mat& out)
{
    ensure(out, view.size(), CV_8UC1);
    out.setTo(0);
    forEachRow(view.size(), [&](int y) {
        BlendChunk chunk;
        const int right = view.x + view.width;
        for (int x = view.x & ~1; x < right; x += kBlendChunk) {
            const int n = std::min(kBlendChunk, right - x);
            if (spreadMask(mask, view.y + y, x, n, chunk))
                for (int i = std::max(view.x - x, 0); i < n; ++i)
                    out.at<uchar>(y, x + i - view.x) = uchar((chunk.weight[i] + 2) / 4);
        }
    });
}

void View::render(const Layers& layers, const cv::Rect& view, const Recipe& recipe, const std::vector<MaskPlane>& masks,
                  const Target& target)
{
    const cv::Rect work = workOf(view, layers.size());
    fit(work);
    const cv::Rect kept = m_done & work;
    m_done = {}; // until all is done again
    const bool changed = update(recipe, masks);
    takeTable(recipe.table);
    const Packing packing{layers.size(), view, target};
    const std::vector<cv::Rect> fresh = without(work, kept);
    if (fresh.empty() || kept.empty()) {
        computeAndPack(layers, work, kept.empty(), changed, packing);
    } else {
        for (const cv::Rect& part : fresh)
            compute(layers, part, true);
        if (changed)
            compute(layers, kept, false);
        packRows(packing, view.y, 1, view.height);
    }
    m_done = work;
}

/// Rings that hold the work, and are not much larger. Rows of all, also those of half size, begin at cache lines.
void View::fit(const cv::Rect& work)
{
    const cv::Size wanted((work.width + 63) / 64 * 64, even(work.height)), have = m_chain.newY.size();
    if (have.width >= wanted.width && have.height >= wanted.height && have.area() <= 4L * wanted.area())
        return;
    m_done = {};
    m_chain.resize(wanted);
    m_oldY.create(wanted / 2, CV_16UC1);
    m_locals.clear();
    for (cv::Mat* plane : {&m_Y, &m_dr, &m_db})
        plane->release();
}

/// @return whether anything that was computed before changes.
bool View::update(const Recipe& recipe, const std::vector<MaskPlane>& masks)
{
    m_stages = m_chain.update(Controls::of(recipe));
    m_blendAgain = m_stages.any() || m_locals.size() != masks.size();
    m_locals.resize(masks.size());
    std::size_t i = 0;
    for (const LocalAdjustment& adjustment : recipe.locals) {
        if (!adjustment.enabled)
            continue;
        if (!m_locals[i]) {
            m_locals[i] = std::make_unique<Local>();
            m_locals[i]->chain.resize(m_chain.newY.size());
        }
        Local& local = *m_locals[i];
        if (local.mask.version != masks[i].version)
            local.chain.forget();
        local.mask = masks[i++];
        local.stages = local.chain.update(Controls::of(recipe, adjustment));
        m_blendAgain = m_blendAgain || local.stages.any();
    }
    if (!m_locals.empty()) {
        ensure(m_Y, m_chain.newY.size(), CV_16UC1);
        ensure(m_dr, m_chain.dr.size(), CV_16UC1);
        ensure(m_db, m_chain.db.size(), CV_16UC1);
    }
    return m_blendAgain;
}

void View::compute(const Layers& layers, const cv::Rect& part, bool all)
{
    const int bands = (part.height + kBandRows - 1) / kBandRows, bottom = part.y + part.height;
    forEachPiece(part.x, part.x + part.width, m_chain.newY.cols, [&](int x, int end) {
        forEachIndex(bands, long(part.height) * (end - x), [&](int band) {
            const int y = part.y + band * kBandRows;
            renderBand(layers, {x, y, end - x, std::min(kBandRows, bottom - y)}, all);
        });
    });
}

/// What is packed is still in the cache. A band's last row waits for the differences below it.
void View::computeAndPack(const Layers& layers, const cv::Rect& work, bool all, bool changed, const Packing& packing)
{
    const int bands = (work.height + kBandRows - 1) / kBandRows, bottom = work.y + work.height;
    const int top = packing.view.y, end = top + packing.view.height;
    forEachIndex(bands, long(work.area()), [&](int band) {
        const int y = work.y + band * kBandRows, next = std::min(y + kBandRows, bottom);
        if (all || changed)
            forEachPiece(work.x, work.x + work.width, m_chain.newY.cols, [&](int x, int right) {
                renderBand(layers, {x, y, right - x, next - y}, all);
            });
        for (int row = std::max(y, top), last = std::min(next < bottom ? next - 1 : next, end); row < last; ++row)
            packRow(packing, row);
    });
    const int first = work.y + kBandRows - 1, waited = std::min(bottom - 1, end) - first;
    packRows(packing, first, kBandRows, (waited + kBandRows - 1) / kBandRows);
}

/// Packs `count` rows from row `first` on, `step` apart.
void View::packRows(const Packing& packing, int first, int step, int count) const
{
    forEachIndex(count, long(count) * packing.view.width, [&](int i) { packRow(packing, first + i * step); });
}

void View::renderBand(const Layers& layers, const cv::Rect& band, bool all)
{
    const int bottom = band.y + band.height;
    if (all && layers.fill)
        layers.fill(band.y, bottom);
    if (all)
        for (int y = band.y; y < bottom; y += 2)
            originalRow(layers, y, band.x, halfSize(band.width), at(m_oldY, y / 2, band.x / 2));
    m_chain.render(layers, m_oldY, all ? Stages::all() : m_stages, band);
    if (m_locals.empty() || !(all || m_blendAgain))
        return;
    for (const auto& local : m_locals) {
        const cv::Rect part = local->mask.bounds & band;
        if (!part.empty())
            local->chain.render(layers, m_oldY, all ? Stages::all() : local->stages, part);
    }
    BlendChunk chunk;
    for (int y = band.y; y < bottom; ++y)
        for (int x = band.x; x < band.x + band.width; x += kBlendChunk) {
            const int n = std::min(kBlendChunk, band.x + band.width - x);
            blendLuma(y, x, n, chunk);
            if (y % 2 == 0)
                blendColor(y, x, halfSize(n), chunk);
        }
}

void View::blendLuma(int y, int x, int n, BlendChunk& chunk)
{
    const ushort* from = at(m_chain.newY, y, x);
    std::fill_n(chunk.sum[0], n, 0);
    for (const auto& local : m_locals)
        if (spreadMask(local->mask, y, x, n, chunk))
            addBlend(from, at(local->chain.newY, y, x), chunk.weight, chunk.sum[0], n);
    endBlend(from, chunk.sum[0], at(m_Y, y, x), n);
}

void View::blendColor(int y, int x, int n, BlendChunk& chunk)
{
    const ushort *dr = at(m_chain.dr, y / 2, x / 2), *db = at(m_chain.db, y / 2, x / 2);
    std::fill_n(chunk.sum[0], n, 0);
    std::fill_n(chunk.sum[1], n, 0);
    for (const auto& local : m_locals)
        if (halfMask(local->mask, y, x, n, chunk)) {
            addBlend(dr, at(local->chain.dr, y / 2, x / 2), chunk.weight, chunk.sum[0], n);
            addBlend(db, at(local->chain.db, y / 2, x / 2), chunk.weight, chunk.sum[1], n);
        }
    endBlend(dr, chunk.sum[0], at(m_dr, y / 2, x / 2), n);
    endBlend(db, chunk.sum[1], at(m_db, y / 2, x / 2), n);
}

void View::takeTable(const Table3D& table)
{
    if (m_table == table)
        return;
    m_table = table;
    m_entries.clear();
    if (!table.entries)
        return;
    const ushort* in = table.entries->data();
    m_entries.resize(table.entries->size() / 3);
    for (std::uint64_t& entry : m_entries) {
        entry = in[0] | std::uint64_t(in[1]) << 16 | std::uint64_t(in[2]) << 32;
        in += 3;
    }
}

void View::packRow(const Packing& packing, int y) const
{
    const cv::Size picture = packing.picture;
    const cv::Rect view = packing.view;
    const Target& target = packing.target;
    uchar* out = static_cast<uchar*>(target.data) + (y - view.y) * target.stride;
    const bool blended = !m_locals.empty();
    const cv::Mat &Y = blended ? m_Y : m_chain.newY, &dr = blended ? m_dr : m_chain.dr,
                  &db = blended ? m_db : m_chain.db;
    const PackTable table{m_entries.data(), m_table.size, m_table.strength};
    const bool mapped = !m_entries.empty() && m_table.strength > 0;
    const int bytes = bytesOf(target.depth, target.order), right = view.x + view.width;
    PackChunk c;
    SiteRows red, blue;
    ushort copy[kPackChunk];
    for (int x = view.x & ~1; x < right; x += kPackChunk) {
        const int n = std::min(kPackChunk, right - x), skip = std::max(view.x - x, 0), pairs = halfSize(n);
        const ushort* luma = span(Y, y, x, 2 * pairs, picture.width, copy);
        red.find(dr, halfSize(picture), y, x / 2, pairs);
        blue.find(db, halfSize(picture), y, x / 2, pairs);
        uchar* to = out + std::ptrdiff_t(x + skip - view.x) * bytes;
        if (target.depth == Depth::Bits8 && !mapped && packChunk(luma, red, blue, target.order, skip, n, c, to))
            continue;
        spreadRow(red.row, red.next, c.red, pairs);
        spreadRow(blue.row, blue.next, c.blue, pairs);
        joinRow(luma, c, n);
        limitRow(luma, c, n);
        if (mapped)
            mapByTable(table, c.r, c.g, c.b, n);
        storeRow(c, skip, target.depth, target.order, to, n - skip);
    }
}

} // namespace pixmill::develop
