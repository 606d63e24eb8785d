#pragma once

#include <reference/planes.h>

#include <type_traits>

/// The guided filter: in every window of 2r + 1 by 2r + 1 pixels the source is a linear model of the guide.
///
///     a = cov(guide, src) / (var(guide) + eps)      b = mean(src) - a mean(guide)      out = mean(a) guide + mean(b)
///
/// With three guides a = (S + eps I)^-1 c, S the guides' covariances and c theirs with the source; a singular S takes
/// the last inverse to its left.
///
/// K. He, J. Sun, X. Tang, "Guided Image Filtering", 2010.
namespace pixmill::reference {

inline cv::Mat times(const cv::Mat& p, const cv::Mat& q)
{
    return planeOf<float>(p.size(), [&](int y, int x) { return p.at<float>(y, x) * q.at<float>(y, x); });
}

inline cv::Mat minus(const cv::Mat& p, const cv::Mat& q)
{
    return planeOf<float>(p.size(), [&](int y, int x) { return p.at<float>(y, x) - q.at<float>(y, x); });
}

/// The means of the windows that lie inside the plane: it loses r samples on every side.
inline cv::Mat innerMeans(const cv::Mat& p, int r)
{
    return planeOf<float>({p.cols - 2 * r, p.rows - 2 * r}, [&](int y, int x) {
        double sum = 0;
        for (int j = 0; j <= 2 * r; ++j)
            for (int i = 0; i <= 2 * r; ++i)
                sum += p.at<float>(y + j, x + i);
        return float(sum / ((2.0 * r + 1) * (2.0 * r + 1)));
    });
}

inline cv::Mat padded(const cv::Mat& p, int r)
{
    return planeOf<float>({p.cols + 2 * r, p.rows + 2 * r},
                          [&](int y, int x) { return repeated<float>(p, y - r, x - r); });
}

/// The means of windows. Where a sum of floats is rounded, the order of its additions shows; others may be put in.
using Means = cv::Mat (*)(const cv::Mat& plane, int r);

/// From planes with margins.
inline cv::Mat covariance(const cv::Mat& x, const cv::Mat& y, int r, Means means = innerMeans)
{
    return minus(means(times(x, y), r), times(means(x, r), means(y, r)));
}

struct GuidedModel {
    std::vector<cv::Mat> a;
    cv::Mat b;
};

/// One guide plane, from planes with margins.
inline GuidedModel guidedModel(const cv::Mat& guide, const cv::Mat& src, int r, float eps, Means means = innerMeans)
{
    const cv::Mat cov = covariance(guide, src, r, means), var = covariance(guide, guide, r, means);
    const cv::Mat a =
        planeOf<float>(cov.size(), [&](int y, int x) { return cov.at<float>(y, x) / (var.at<float>(y, x) + eps); });
    return {{a}, minus(means(src, r), times(means(guide, r), a))};
}

inline GuidedModel guidedEstimate(const cv::Mat& guide, const cv::Mat& src, int r, float eps, Means means = innerMeans)
{
    return guidedModel(padded(guide, r), padded(src, r), r, eps, means);
}

/// The inverse of a symmetric matrix: cofactors over the determinant, row by row.
inline bool inverted3x3(const float m[3][3], float inverse[3][3])
{
    float cofactor[3][3];
    for (int i = 0; i < 3; ++i)
        for (int k = 0; k < 3; ++k) {
            const int i1 = (i + 1) % 3, i2 = (i + 2) % 3, k1 = (k + 1) % 3, k2 = (k + 2) % 3;
            const float main = m[i1][k1] * m[i2][k2], other = m[i1][k2] * m[i2][k1];
            cofactor[i][k] = main - other;
        }
    const float det = m[0][0] * cofactor[0][0] + m[0][1] * cofactor[0][1] + m[0][2] * cofactor[0][2];
    if (det == 0)
        return false;
    for (int i = 0; i < 3; ++i)
        for (int k = 0; k < 3; ++k)
            inverse[i][k] = cofactor[k][i] / det;
    return true;
}

/// Three guide planes.
inline GuidedModel guidedEstimate(const std::vector<cv::Mat>& guide, const cv::Mat& src, int r, float eps,
                                  Means means = innerMeans)
{
    cv::Mat g[3], mean[3], withSrc[3], matrix[3][3];
    const cv::Mat p = padded(src, r), meanP = means(p, r);
    for (int i = 0; i < 3; ++i) {
        g[i] = padded(guide[i], r);
        mean[i] = means(g[i], r);
        withSrc[i] = covariance(g[i], p, r, means);
    }
    for (int i = 0; i < 3; ++i)
        for (int k = 0; k < 3; ++k)
            matrix[i][k] = i <= k ? covariance(g[i], g[k], r, means) : matrix[k][i];

    GuidedModel model;
    for (int i = 0; i < 4; ++i)
        (i < 3 ? model.a.emplace_back() : model.b) = cv::Mat(src.size(), CV_32FC1);
    for (int y = 0; y < src.rows; ++y) {
        float inverse[3][3] = {};
        for (int x = 0; x < src.cols; ++x) {
            float m[3][3];
            for (int i = 0; i < 3; ++i)
                for (int k = 0; k < 3; ++k)
                    m[i][k] = i == k ? matrix[i][k].at<float>(y, x) + eps : matrix[i][k].at<float>(y, x);
            inverted3x3(m, inverse);
            float b = meanP.at<float>(y, x);
            for (int k = 0; k < 3; ++k) {
                float a = inverse[0][k] * withSrc[0].at<float>(y, x);
                a += inverse[1][k] * withSrc[1].at<float>(y, x);
                a += inverse[2][k] * withSrc[2].at<float>(y, x);
                model.a[k].at<float>(y, x) = a;
                b -= mean[k].at<float>(y, x) * a;
            }
            model.b.at<float>(y, x) = b;
        }
    }
    for (cv::Mat& a : model.a)
        a = means(padded(a, r), r);
    model.b = means(padded(model.b, r), r);
    return model;
}

/// The whole filter without margins: the result loses 2r samples on every side.
inline cv::Mat guidedBlock(const cv::Mat& guide, const cv::Mat& src, int r, float eps, Means means = innerMeans)
{
    const GuidedModel model = guidedModel(guide, src, r, eps, means);
    const cv::Mat a = means(model.a[0], r), b = means(model.b, r);
    return planeOf<float>(a.size(), [&](int y, int x) {
        const float slope = a.at<float>(y, x) * guide.at<float>(y + 2 * r, x + 2 * r);
        return b.at<float>(y, x) + slope;
    });
}

/// The model on a coarser grid applied to pixels: past the whole multiples of the grid its last row and column serve.
template <class T>
cv::Mat guidedApplied(const cv::Mat& guide, const cv::Mat& a, const cv::Mat& b)
{
    const float scale = std::is_same_v<T, uchar> ? 255.0f : 65535.0f;
    const int fy = int(std::ceil(float(guide.rows) / float(a.rows)));
    const int fx = int(std::ceil(float(guide.cols) / float(a.cols)));
    const int mainRows = guide.rows > long(a.rows) * fy ? a.rows * fy : guide.rows;
    const int mainCols = guide.cols > long(a.cols) * fx ? a.cols * fx : guide.cols;
    cv::Mat out(guide.size(), guide.type());
    const auto set = [&](int y, int x, int i, int j) {
        const float v = float(guide.at<T>(y, x)) * a.at<float>(i, j) + b.at<float>(i, j) * scale;
        out.at<T>(y, x) = T(rounded(v, int(scale)));
    };
    for (int y = 0; y < guide.rows; ++y)
        for (int x = 0; x < guide.cols; ++x)
            set(y, x, y < mainRows ? y / fy : a.rows - 1, x < mainCols ? x / fx : a.cols - 1);
    return out;
}

} // namespace pixmill::reference
