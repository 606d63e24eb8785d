#include <pixmill/primitives/detail/inplace.h>
#include <pixmill/primitives/filter.h>
#include <pixmill/primitives/region.h>
#include <pixmill/rows/memory.h>
#include <pixmill/rows/morphology3x3.h>
#include <pixmill/rows/scratch.h>

#include <algorithm>
#include <vector>

using namespace pixmill::rows;
using namespace pixmill::primitives;

namespace {

/// Non-zero bytes side by side in one row of a mask; x and y from the mask's corner.
struct Run {
    int x, y, width;
};

std::vector<Run> runsOf(const uchar* mask, IppiSize size)
{
    std::vector<Run> runs;
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            if (!mask[std::size_t(y) * size.width + x])
                continue;
            if (x > 0 && mask[std::size_t(y) * size.width + x - 1])
                ++runs.back().width;
            else
                runs.push_back({x, y, 1});
        }
    return runs;
}

template <class Pick, class T>
inline void pickOf4(const T* a, const T* b, const T* c, const T* d, T* __restrict out, bool anew, int n)
{
    const Pick pick;
    if (anew)
        for (int x = 0; x < n; ++x)
            out[x] = pick(pick(a[x], b[x]), pick(c[x], d[x]));
    else
        for (int x = 0; x < n; ++x)
            out[x] = pick(out[x], pick(pick(a[x], b[x]), pick(c[x], d[x])));
}

/// Maxima or minima under any mask, of one strip of columns.
///
/// Row tables hold the pick of 2, 4, 8, ... samples from each on; a run of the mask is then covered by two of them that
/// may overlap. So a pixel costs two picks a run, whatever the run's length. The tables of the last rows, as many as
/// the mask has, are kept in a ring.
template <class Pick, class T>
class Strip {
public:
    Strip(const std::vector<Run>& runs, IppiSize mask, int width) : m_runs(runs), m_mask(mask)
    {
        int longest = 1;
        for (const Run& run : runs)
            longest = std::max(longest, run.width);
        while (longest >> (m_levels + 1))
            ++m_levels;
        m_stride = std::size_t(width) + mask.width - 1;
        m_ring = AlignedArray<T>(m_stride * m_levels * mask.height);
        m_terms.reserve(2 * runs.size() + 3);
    }

    /// Rows first..end-1 of `width` columns. `src` addresses the first window's corner.
    void run(const T* src, int srcStep, T* dst, int dstStep, int width, int first, int end)
    {
        for (int y = first; y < first + m_mask.height - 1; ++y)
            fillTables(rowAt(src, srcStep, y), y, width);
        for (int y = first; y < end; ++y) {
            const int entering = y + m_mask.height - 1;
            fillTables(rowAt(src, srcStep, entering), entering, width);
            m_terms.clear();
            for (const Run& run : m_runs)
                addTerms(run, rowAt(src, srcStep, y + run.y), y + run.y);
            while (m_terms.size() % 4 != 0)
                m_terms.push_back(m_terms.back());
            T* d = rowAt(dst, dstStep, y);
            for (std::size_t i = 0; i < m_terms.size(); i += 4)
                pickOf4<Pick>(m_terms[i], m_terms[i + 1], m_terms[i + 2], m_terms[i + 3], d, i == 0, width);
        }
    }

private:
    /// The table of 2^level samples, level >= 1.
    T* table(int level, int y)
    {
        return m_ring.data() + (std::size_t(y % m_mask.height) * m_levels + level - 1) * m_stride;
    }

    void fillTables(const T* row, int y, int width)
    {
        int n = width + m_mask.width - 1;
        for (int level = 1; level <= m_levels; ++level) {
            const int half = 1 << (level - 1);
            n -= half;
            T* to = table(level, y);
            zipRow(row, row + half, to, n, Pick());
            row = to;
        }
    }

    void addTerms(const Run& run, const T* row, int y)
    {
        int level = 0;
        while (run.width >> (level + 1))
            ++level;
        const T* from = (level == 0 ? row : table(level, y)) + run.x;
        m_terms.push_back(from);
        if (run.width != 1 << level)
            m_terms.push_back(from + run.width - (1 << level));
    }

    const std::vector<Run>& m_runs;
    IppiSize m_mask;
    int m_levels = 0;
    std::size_t m_stride;
    AlignedArray<T> m_ring;
    std::vector<const T*> m_terms;
};

template <class Pick, class T>
IppStatus morphology(const T* src, int srcStep, T* dst, int dstStep, IppiSize roi, const uchar* mask, IppiSize maskSize,
                     IppiPoint anchor)
{
    if (const IppStatus fault = checkRegion({src, dst, mask}, roi, {srcStep, dstStep}))
        return fault;
    if (maskSize.width <= 0 || maskSize.height <= 0)
        return ippStsMaskSizeErr;
    const std::vector<Run> runs = runsOf(mask, maskSize);
    if (runs.empty())
        return ippStsMaskSizeErr;
    if (anchor.x < 0 || anchor.x >= maskSize.width || anchor.y < 0 || anchor.y >= maskSize.height)
        return ippStsAnchorErr;

    const T* corner = rowAt(src, srcStep, -anchor.y) - anchor.x;
    const int strip = std::min(roi.width, std::max({32768 / maskSize.height, maskSize.width, 256}));
    const Team team;
    std::vector<Strip<Pick, T>> strips;
    for (int k = 0; k < team.size(); ++k)
        strips.emplace_back(runs, maskSize, strip);
    forEachSpan(roi.height, long(roi.width) * roi.height, [&](int first, int end) {
        Strip<Pick, T>& tables = strips[team.member()];
        for (int left = 0; left < roi.width; left += strip)
            tables.run(corner + left, srcStep, dst + left, dstStep, std::min(strip, roi.width - left), first, end);
    });
    return ippStsNoErr;
}

template <class Pick>
IppStatus morphology3x3InPlace(ushort* srcDst, int step, IppiSize roi)
{
    if (const IppStatus fault = checkRegion({srcDst}, roi, {step}))
        return fault;
    TeamScratch<ushort> column(std::size_t(roi.width) + 2);
    filterInPlace(srcDst, step, roi, {3, 3}, {1, 1}, [&](const ushort* corner, int cornerStep, ushort* dst, int rows) {
        for (int y = 0; y < rows; ++y) {
            const ushort* above = rowAt(corner, cornerStep, y) + 1;
            pick3x3Row<Pick>(above, rowAt(above, cornerStep, 1), rowAt(above, cornerStep, 2), column.mine(),
                             rowAt(dst, step, y), roi.width);
        }
    });
    return ippStsNoErr;
}

} // namespace

IppStatus ippiDilate_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep, IppiSize roi,
                            const unsigned char* mask, IppiSize maskSize, IppiPoint anchor)
{
    return morphology<Largest>(src, srcStep, dst, dstStep, roi, mask, maskSize, anchor);
}

IppStatus ippiDilate_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep, IppiSize roi,
                             const unsigned char* mask, IppiSize maskSize, IppiPoint anchor)
{
    return morphology<Largest>(src, srcStep, dst, dstStep, roi, mask, maskSize, anchor);
}

IppStatus ippiErode_8u_C1R(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep, IppiSize roi,
                           const unsigned char* mask, IppiSize maskSize, IppiPoint anchor)
{
    return morphology<Smallest>(src, srcStep, dst, dstStep, roi, mask, maskSize, anchor);
}

IppStatus ippiErode_16u_C1R(const unsigned short* src, int srcStep, unsigned short* dst, int dstStep, IppiSize roi,
                            const unsigned char* mask, IppiSize maskSize, IppiPoint anchor)
{
    return morphology<Smallest>(src, srcStep, dst, dstStep, roi, mask, maskSize, anchor);
}

IppStatus ippiDilate3x3_16u_C1IR(unsigned short* srcDst, int step, IppiSize roi)
{
    return morphology3x3InPlace<Largest>(srcDst, step, roi);
}

IppStatus ippiErode3x3_16u_C1IR(unsigned short* srcDst, int step, IppiSize roi)
{
    return morphology3x3InPlace<Smallest>(srcDst, step, roi);
}
