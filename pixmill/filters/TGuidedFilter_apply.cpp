#include <pixmill/filters/TGuidedFilter.h>

#include <pixmill/filters/detail/guided_apply.h>
#include <pixmill/filters/detail/guided_planes.h>
#include <pixmill/primitives/memory.h>
#include <pixmill/primitives/resize.h>
#include <pixmill/rows/memory.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <memory>
#include <vector>

using namespace pixmill::rows;
using namespace pixmill::filters;

namespace {

constexpr int kBand = 64; ///< Rows whose enlarged slopes exist at a time.

void checkEstimate(const char* call, const char* name, const cv::Mat& a, const cv::Mat& b)
{
    const auto isEstimate = [](const cv::Mat& m) { return !m.empty() && m.dims == 2 && m.type() == CV_32FC1; };
    PIXMILL_CHECK(isEstimate(a), call, name, describe(a), "CV_32FC1, an estimate's");
    PIXMILL_CHECK(isEstimate(b) && a.size() == b.size(), call, "m_b", describe(b), "CV_32FC1, the same estimate's");
}

template <class T>
void applyGrid(const cv::Mat& guide, const cv::Mat& a, const cv::Mat& b, cv::Mat& out)
{
    const int fy = repeatsOf(guide.rows, a.rows), fx = repeatsOf(guide.cols, a.cols);
    forEachSpan(guide.rows, long(guide.cols) * guide.rows, [&](int y, int end) {
        while (y < end) {
            const int i = std::min(y / fy, a.rows - 1);
            const int next = i == a.rows - 1 ? end : int(std::min<long>(end, (i + 1L) * fy));
            applyGridRow<T>(a.ptr<float>(i), b.ptr<float>(i), a.cols, fx, guide, out, y, next, 0, guide.cols);
            y = next;
        }
    });
}

/// Rows first..first+out.rows-1 of `grid` enlarged cubically to `whole`. The primitive's status is not looked at.
void enlargeRows(const cv::Mat& grid, cv::Size whole, int first, cv::Mat out)
{
    const IppiRect from = {0, 0, grid.cols, grid.rows}, to = {0, 0, out.cols, out.rows};
    int bytes = 0;
    ippiResizeGetBufSize(from, to, 1, IPPI_INTER_CUBIC, &bytes);
    const std::unique_ptr<unsigned char, void (*)(void*)> buffer(ippsMalloc_8u(bytes), ippsFree);
    ippiResizeSqrPixel_32f_C1R(grid.ptr<float>(), {grid.cols, grid.rows}, int(grid.step), from, out.ptr<float>(),
                               int(out.step), to, double(whole.width) / grid.cols, double(whole.height) / grid.rows, 0,
                               -first, IPPI_INTER_CUBIC, buffer.get());
}

/// applyRow with three slopes, their products added one after the other.
inline void applyRow(const float* const slope[3], const float* const guide[3], const float* offset, float* out, int n)
{
    const float *a0 = slope[0], *a1 = slope[1], *a2 = slope[2], *g0 = guide[0], *g1 = guide[1], *g2 = guide[2];
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = 0; x < n; ++x)
        out[x] = ((offset[x] + a0[x] * g0[x]) + a1[x] * g1[x]) + a2[x] * g2[x];
}

/// The grid's row or column nearest to each pixel's centre; between two the later one.
std::vector<int> nearestOf(int pixels, int grid)
{
    std::vector<int> nearest(std::size_t(pixels), 0);
    for (int x = 0; x < pixels; ++x)
        nearest[x] = int((2L * x + 1) * grid / (2L * pixels));
    return nearest;
}

} // namespace

int TGuidedFilter::gFc1_applyLoop(const cv::Mat& guide, cv::Mat& out) const
{
    return applyLoop1("TGuidedFilter::gFc1_applyLoop", guide, out);
}

int TGuidedFilter::gFc3_apply(const std::vector<cv::Mat>& guide, cv::Mat& out) const
{
    return apply3("TGuidedFilter::gFc3_apply", guide, out);
}

int TGuidedFilter::applyLoop1(const char* call, const cv::Mat& guide, cv::Mat& out) const
{
    checkEstimate(call, "m_a0", m_a0, m_b);
    checkPlane(guide, call, "guide");
    const cv::Mat from = unsharedOrSame(guide, out), a = m_a0, b = m_b; // `out` may be the header of any of them
    ensureLarge(out, from.size(), from.type());
    if (from.type() == CV_16UC1)
        applyGrid<ushort>(from, a, b, out);
    else if (from.type() == CV_8UC1)
        applyGrid<uchar>(from, a, b, out);
    else
        from.copyTo(out);
    return 1;
}

int TGuidedFilter::gFc1_apply(const cv::Mat& guide, cv::Mat& out) const
{
    constexpr const char* kCall = "TGuidedFilter::gFc1_apply";
    checkEstimate(kCall, "m_a0", m_a0, m_b);
    checkPlane(guide, kCall, "guide");
    const cv::Size size = guide.size();
    checkHoldsFloats(guide, size, kCall, "guide");
    const cv::Mat held = unsharedOrSame(guide, out), slopes = m_a0, offsets = m_b;
    const cv::Mat from = asFloats(held, size);
    ensureLarge(out, size, CV_32FC1);
    if (size.empty())
        return 1;
    if (slopes.size() == size) {
        forEachRow(size, [&](int y) {
            applyRow(slopes.ptr<float>(y), from.ptr<float>(y), offsets.ptr<float>(y), out.ptr<float>(y), size.width);
        });
        return 1;
    }
    forEachSpan(size.height, long(size.area()), [&](int y, int end) {
        const std::size_t band = std::size_t(size.width) * std::min(kBand, end - y);
        AlignedArray<float> buffer(2 * band);
        for (; y < end; y += kBand) {
            const int rows = std::min(kBand, end - y);
            const cv::Mat slope(rows, size.width, CV_32FC1, &buffer[0]);
            const cv::Mat offset(rows, size.width, CV_32FC1, &buffer[band]);
            enlargeRows(slopes, size, y, slope);
            enlargeRows(offsets, size, y, offset);
            for (int i = 0; i < rows; ++i)
                applyRow(slope.ptr<float>(i), from.ptr<float>(y + i), offset.ptr<float>(i), out.ptr<float>(y + i),
                         size.width);
        }
    });
    return 1;
}

int TGuidedFilter::apply3(const char* call, const std::vector<cv::Mat>& guide, cv::Mat& out) const
{
    PIXMILL_CHECK(guide.size() >= 3, call, "guide", guide.size(), "three planes");
    checkPlane(guide[0], call, "guide[0]");
    const cv::Size size = guide[0].size();
    const char* const names[][2] = {{"m_a0", "guide[0]"}, {"m_a1", "guide[1]"}, {"m_a2", "guide[2]"}};
    const cv::Mat coefficients[] = {m_a0, m_a1, m_a2, m_b};
    cv::Mat held[3], from[3];
    for (int i = 0; i < 3; ++i) {
        checkEstimate(call, names[i][0], coefficients[i], m_b);
        checkHoldsFloats(guide[i], size, call, names[i][1]);
        held[i] = unsharedOrSame(guide[i], out);
        from[i] = asFloats(held[i], size);
    }
    ensureLarge(out, size, CV_32FC1);
    if (size.empty())
        return 1;
    const cv::Mat& offsets = coefficients[3];
    const bool spread = offsets.size() != size;
    const std::vector<int> rows = nearestOf(size.height, offsets.rows), columns = nearestOf(size.width, offsets.cols);
    forEachSpan(size.height, long(size.area()), [&](int y, int end) {
        AlignedArray<float> buffer(spread ? 4 * std::size_t(size.width) : 0);
        const float* at[4];
        for (int held = -1; y < end; ++y) {
            const float* const guides[] = {from[0].ptr<float>(y), from[1].ptr<float>(y), from[2].ptr<float>(y)};
            for (int i = 0; i < 4 && held != rows[y]; ++i) {
                at[i] = coefficients[i].ptr<float>(rows[y]);
                if (spread) {
                    float* to = &buffer[i * std::size_t(size.width)];
                    for (int x = 0; x < size.width; ++x)
                        to[x] = at[i][columns[x]];
                    at[i] = to;
                }
            }
            held = rows[y];
            applyRow(at, guides, at[3], out.ptr<float>(y), size.width);
        }
    });
    return 1;
}
