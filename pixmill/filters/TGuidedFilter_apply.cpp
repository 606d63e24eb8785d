#include <pixmill/filters/TGuidedFilter.h>

#include <pixmill/core/detail/pixel.h>
#include <pixmill/core/detail/plane.h>
#include <pixmill/core/detail/rows.h>
#include <pixmill/filters/detail/guided_planes.h>
#include <pixmill/primitives/arithmetic.h>
#include <pixmill/primitives/memory.h>
#include <pixmill/primitives/resize.h>

#include <algorithm>
#include <cmath>
#include <memory>

using namespace pixmill::detail;

namespace {

void checkEstimate(const cv::Mat& a, const cv::Mat& b)
{
    CV_Assert(!a.empty() && a.dims == 2 && a.type() == CV_32FC1 && b.type() == CV_32FC1 && a.size() == b.size());
}

/// How often a coefficient is repeated: the ratio of the sizes in single precision, rounded up.
int repeats(int guide, int grid)
{
    return int(std::ceil(float(guide) / float(grid)));
}

inline uchar toPixel(float v, uchar)
{
    return toPixel8(v);
}

inline ushort toPixel(float v, ushort)
{
    return toPixel16(v);
}

template <class T>
void applyGrid(const cv::Mat& guide, const cv::Mat& a, const cv::Mat& b, float scale, cv::Mat& out)
{
    const int fy = repeats(guide.rows, a.rows), fx = repeats(guide.cols, a.cols);
    forEachRow(guide.size(), [&](int y) {
        const int i = std::min(y / fy, a.rows - 1);
        const float *aRow = a.ptr<float>(i), *bRow = b.ptr<float>(i);
        const T* g = guide.ptr<T>(y);
        T* o = out.ptr<T>(y);
        for (int x = 0; x < guide.cols; ++x) {
            const int j = std::min(x / fx, a.cols - 1);
            o[x] = toPixel(float(g[x]) * aRow[j] + bRow[j] * scale, T());
        }
    });
}

void enlarge(const cv::Mat& grid, cv::Mat& out, int interpolation)
{
    const IppiRect from = {0, 0, grid.cols, grid.rows}, to = {0, 0, out.cols, out.rows};
    int bytes = 0;
    ippiResizeGetBufSize(from, to, 1, interpolation, &bytes);
    const std::unique_ptr<unsigned char, void (*)(void*)> buffer(ippsMalloc_8u(bytes), ippsFree);
    ippiResizeSqrPixel_32f_C1R(grid.ptr<float>(), {grid.cols, grid.rows}, int(grid.step), from, out.ptr<float>(),
                               int(out.step), to, double(out.cols) / grid.cols, double(out.rows) / grid.rows, 0, 0,
                               interpolation, buffer.get());
}

} // namespace

int TGuidedFilter::gFc1_applyLoop(const cv::Mat& guide, cv::Mat& out) const
{
    checkEstimate(m_a0, m_b);
    const cv::Mat from = guide;
    ensure(out, from.size(), from.type());
    if (from.type() == CV_16UC1)
        applyGrid<ushort>(from, m_a0, m_b, 65535.0f, out);
    else if (from.type() == CV_8UC1)
        applyGrid<uchar>(from, m_a0, m_b, 255.0f, out);
    else
        from.copyTo(out);
    return 1;
}

int TGuidedFilter::gFc1_apply(const cv::Mat& guide, cv::Mat& out) const
{
    checkEstimate(m_a0, m_b);
    CV_Assert(holdsFloats(guide, guide.size()));
    const cv::Mat from = overlap(guide, out) ? guide.clone() : guide;
    ensure(out, from.size(), CV_32FC1);
    if (from.empty())
        return 1;
    const IppiSize size = {from.cols, from.rows};
    cv::Mat local(from.size(), CV_32FC1);
    enlarge(m_a0, local, IPPI_INTER_CUBIC);
    enlarge(m_b, out, IPPI_INTER_CUBIC);
    ippiMul_32f_C1IR(from.ptr<float>(), int(from.step), local.ptr<float>(), int(local.step), size);
    ippiAdd_32f_C1IR(local.ptr<float>(), int(local.step), out.ptr<float>(), int(out.step), size);
    return 1;
}

int TGuidedFilter::gFc3_apply(const std::vector<cv::Mat>& guide, cv::Mat& out) const
{
    CV_Assert(guide.size() >= 3);
    const cv::Mat* const slopes[] = {&m_a0, &m_a1, &m_a2};
    cv::Mat from[3];
    for (int i = 0; i < 3; ++i) {
        checkEstimate(*slopes[i], m_b);
        CV_Assert(holdsFloats(guide[i], guide[0].size()));
        from[i] = overlap(guide[i], out) ? guide[i].clone() : guide[i];
    }
    ensure(out, from[0].size(), CV_32FC1);
    if (out.empty())
        return 1;
    const IppiSize size = {out.cols, out.rows};
    enlarge(m_b, out, IPPI_INTER_NN);
    cv::Mat local(out.size(), CV_32FC1);
    for (int i = 0; i < 3; ++i) {
        enlarge(*slopes[i], local, IPPI_INTER_NN);
        ippiMul_32f_C1IR(from[i].ptr<float>(), int(from[i].step), local.ptr<float>(), int(local.step), size);
        ippiAdd_32f_C1IR(local.ptr<float>(), int(local.step), out.ptr<float>(), int(out.step), size);
    }
    return 1;
}
