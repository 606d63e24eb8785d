#include <pixmill/filters/TGuidedFilter.h>

#include <pixmill/core/detail/plane.h>
#include <pixmill/core/detail/rows.h>
#include <pixmill/filters/detail/guided_planes.h>
#include <pixmill/primitives/arithmetic.h>
#include <pixmill/primitives/copy.h>
#include <pixmill/primitives/detail/invert3x3.h>
#include <pixmill/primitives/filter.h>

using namespace pixmill::detail;

namespace {

struct Window {
    int r;
    IppiSize size, padded, mask;
    IppiPoint anchor;

    Window(cv::Size s, int radius)
        : r(radius), size{s.width, s.height}, padded{s.width + 2 * r, s.height + 2 * r}, mask{2 * r + 1, 2 * r + 1},
          anchor{r, r}
    {
    }

    cv::Mat pad(const cv::Mat& plane) const
    {
        cv::Mat out(padded.height, padded.width, CV_32FC1);
        ippiCopyReplicateBorder_32f_C1R(plane.ptr<float>(), int(plane.step), size, out.ptr<float>(), int(out.step),
                                        padded, r, r);
        return out;
    }

    void mean(const cv::Mat& plane, cv::Mat& out) const
    {
        ippiFilterBox_32f_C1R(plane.ptr<float>(r) + r, int(plane.step), out.ptr<float>(), int(out.step), size, mask,
                              anchor);
    }
};

} // namespace

int TGuidedFilter::gFc1_estimate(const cv::Mat& guide, const cv::Mat& src, int r, float eps)
{
    const cv::Size size = src.size();
    CV_Assert(isRadius(r, size) && holdsFloats(src, size) && holdsFloats(guide, size));
    if (size.empty()) {
        m_a0.create(size, CV_32FC1);
        m_b.create(size, CV_32FC1);
        return 1;
    }
    const Window w(size, r);
    const cv::Mat g = w.pad(guide), s = w.pad(src);
    ensure(m_a0, size, CV_32FC1);
    ensure(m_b, size, CV_32FC1);
    w.mean(g, m_a0);
    w.mean(s, m_b);

    cv::Mat cov(size, CV_32FC1), var(size, CV_32FC1), tmp1, tmp2;
    calcov2(cov, g, s, m_a0, m_b, tmp1, tmp2, w.padded, w.size, w.mask, w.anchor, false);
    calvar2(var, g, m_a0, tmp1, tmp2, w.padded, w.size, w.mask, w.anchor, false);
    forEachRow(size, [&](int y) {
        const float *c = cov.ptr<float>(y), *v = var.ptr<float>(y);
        float *a0 = m_a0.ptr<float>(y), *b = m_b.ptr<float>(y);
        for (int x = 0; x < size.width; ++x) {
            const float a = c[x] / (v[x] + eps);
            b[x] -= a0[x] * a;
            a0[x] = a;
        }
    });
    return 1;
}

int TGuidedFilter::gFc3_estimate(const std::vector<cv::Mat>& guide, const cv::Mat& src, int r, float eps)
{
    const cv::Size size = src.size();
    CV_Assert(guide.size() >= 3 && isRadius(r, size) && holdsFloats(src, size));
    for (int i = 0; i < 3; ++i)
        CV_Assert(holdsFloats(guide[i], size));
    cv::Mat* const members[] = {&m_a0, &m_a1, &m_a2, &m_b};
    if (size.empty()) {
        for (cv::Mat* m : members)
            m->create(size, CV_32FC1);
        return 1;
    }
    const Window w(size, r);
    const cv::Mat g[] = {w.pad(guide[0]), w.pad(guide[1]), w.pad(guide[2]), w.pad(src)};
    for (int i = 0; i < 4; ++i) {
        ensure(*members[i], size, CV_32FC1);
        w.mean(g[i], *members[i]);
    }

    cv::Mat tmp1, tmp2;
    const auto covariance = [&](int i, int k) {
        cv::Mat cov(size, CV_32FC1);
        calcov2(cov, g[i], g[k], *members[i], *members[k], tmp1, tmp2, w.padded, w.size, w.mask, w.anchor, false);
        return cov;
    };
    const cv::Mat c0 = covariance(0, 3), c1 = covariance(1, 3), c2 = covariance(2, 3);
    const cv::Mat s00 = covariance(0, 0), s11 = covariance(1, 1), s22 = covariance(2, 2);
    const cv::Mat s01 = covariance(0, 1), s02 = covariance(0, 2), s12 = covariance(1, 2);
    forEachRow(size, [&](int y) {
        const auto at = [y](const cv::Mat& m, int x) { return m.ptr<float>(y)[x]; };
        float M[9] = {};
        for (int x = 0; x < size.width; ++x) {
            const float k01 = at(s01, x), k02 = at(s02, x), k12 = at(s12, x);
            const float k[9] = {at(s00, x) + eps, k01, k02, k01, at(s11, x) + eps, k12, k02, k12, at(s22, x) + eps};
            invert3x3(k, M);
            const float v0 = at(c0, x), v1 = at(c1, x), v2 = at(c2, x);
            const float a0 = M[0] * v0 + M[3] * v1 + M[6] * v2;
            const float a1 = M[1] * v0 + M[4] * v1 + M[7] * v2;
            const float a2 = M[2] * v0 + M[5] * v1 + M[8] * v2;
            m_b.ptr<float>(y)[x] = ((at(m_b, x) - at(m_a0, x) * a0) - at(m_a1, x) * a1) - at(m_a2, x) * a2;
            m_a0.ptr<float>(y)[x] = a0;
            m_a1.ptr<float>(y)[x] = a1;
            m_a2.ptr<float>(y)[x] = a2;
        }
    });
    for (cv::Mat* m : members)
        w.mean(w.pad(*m), *m);
    return 1;
}
