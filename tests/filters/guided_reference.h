#pragma once

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

/// The guided filter again, slowly: every window added up by itself, every step a plane of floats.
namespace pixmill::test {

inline cv::Mat referencePlane(cv::Size size, const std::function<float(int, int)>& at)
{
    cv::Mat out(size, CV_32FC1);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            out.at<float>(y, x) = at(y, x);
    return out;
}

inline cv::Mat referenceTimes(const cv::Mat& p, const cv::Mat& q)
{
    return referencePlane(p.size(), [&](int y, int x) { return p.at<float>(y, x) * q.at<float>(y, x); });
}

inline cv::Mat referenceMinus(const cv::Mat& p, const cv::Mat& q)
{
    return referencePlane(p.size(), [&](int y, int x) { return p.at<float>(y, x) - q.at<float>(y, x); });
}

/// The means of the windows that lie inside the plane: it loses r samples on every side.
inline cv::Mat referenceInnerMeans(const cv::Mat& p, int r)
{
    return referencePlane({p.cols - 2 * r, p.rows - 2 * r}, [&](int y, int x) {
        double sum = 0;
        for (int j = 0; j <= 2 * r; ++j)
            for (int i = 0; i <= 2 * r; ++i)
                sum += p.at<float>(y + j, x + i);
        return float(sum / ((2.0 * r + 1) * (2.0 * r + 1)));
    });
}

inline cv::Mat referencePadded(const cv::Mat& p, int r)
{
    return referencePlane({p.cols + 2 * r, p.rows + 2 * r}, [&](int y, int x) {
        return p.at<float>(std::min(std::max(y - r, 0), p.rows - 1), std::min(std::max(x - r, 0), p.cols - 1));
    });
}

/// From planes with margins.
inline cv::Mat referenceCovariance(const cv::Mat& x, const cv::Mat& y, int r)
{
    return referenceMinus(referenceInnerMeans(referenceTimes(x, y), r),
                          referenceTimes(referenceInnerMeans(x, r), referenceInnerMeans(y, r)));
}

struct ReferenceModel {
    std::vector<cv::Mat> a;
    cv::Mat b;
};

/// One guide plane, from planes with margins.
inline ReferenceModel referenceModel(const cv::Mat& guide, const cv::Mat& src, int r, float eps)
{
    const cv::Mat cov = referenceCovariance(guide, src, r), var = referenceCovariance(guide, guide, r);
    const cv::Mat a =
        referencePlane(cov.size(), [&](int y, int x) { return cov.at<float>(y, x) / (var.at<float>(y, x) + eps); });
    return {{a}, referenceMinus(referenceInnerMeans(src, r), referenceTimes(referenceInnerMeans(guide, r), a))};
}

inline ReferenceModel referenceEstimate(const cv::Mat& guide, const cv::Mat& src, int r, float eps)
{
    return referenceModel(referencePadded(guide, r), referencePadded(src, r), r, eps);
}

/// The inverse of a symmetric matrix: cofactors over the determinant, row by row.
inline bool referenceInverse(const float m[3][3], float inverse[3][3])
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
inline ReferenceModel referenceEstimate(const std::vector<cv::Mat>& guide, const cv::Mat& src, int r, float eps)
{
    cv::Mat g[3], mean[3], withSrc[3], matrix[3][3];
    const cv::Mat p = referencePadded(src, r), meanP = referenceInnerMeans(p, r);
    for (int i = 0; i < 3; ++i) {
        g[i] = referencePadded(guide[i], r);
        mean[i] = referenceInnerMeans(g[i], r);
        withSrc[i] = referenceCovariance(g[i], p, r);
    }
    for (int i = 0; i < 3; ++i)
        for (int k = 0; k < 3; ++k)
            matrix[i][k] = i <= k ? referenceCovariance(g[i], g[k], r) : matrix[k][i];

    ReferenceModel model;
    for (int i = 0; i < 4; ++i)
        (i < 3 ? model.a.emplace_back() : model.b) = cv::Mat(src.size(), CV_32FC1);
    for (int y = 0; y < src.rows; ++y) {
        float inverse[3][3] = {};
        for (int x = 0; x < src.cols; ++x) {
            float m[3][3];
            for (int i = 0; i < 3; ++i)
                for (int k = 0; k < 3; ++k)
                    m[i][k] = i == k ? matrix[i][k].at<float>(y, x) + eps : matrix[i][k].at<float>(y, x);
            referenceInverse(m, inverse);
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
        a = referenceInnerMeans(referencePadded(a, r), r);
    model.b = referenceInnerMeans(referencePadded(model.b, r), r);
    return model;
}

/// The whole filter without margins: the result loses 2r samples on every side.
inline cv::Mat referenceBlock(const cv::Mat& guide, const cv::Mat& src, int r, float eps)
{
    const ReferenceModel model = referenceModel(guide, src, r, eps);
    const cv::Mat a = referenceInnerMeans(model.a[0], r), b = referenceInnerMeans(model.b, r);
    return referencePlane(a.size(), [&](int y, int x) {
        const float slope = a.at<float>(y, x) * guide.at<float>(y + 2 * r, x + 2 * r);
        return b.at<float>(y, x) + slope;
    });
}

/// The grid's application to pixels, area by area: the main one, below it, right of it, the corner.
template <class T>
cv::Mat referenceApplication(const cv::Mat& guide, const cv::Mat& a, const cv::Mat& b)
{
    const float scale = std::is_same_v<T, uchar> ? 255.0f : 65535.0f;
    const int fy = int(std::ceil(float(guide.rows) / float(a.rows)));
    const int fx = int(std::ceil(float(guide.cols) / float(a.cols)));
    const int mainRows = guide.rows > long(a.rows) * fy ? a.rows * fy : guide.rows;
    const int mainCols = guide.cols > long(a.cols) * fx ? a.cols * fx : guide.cols;
    cv::Mat out(guide.size(), guide.type());
    const auto set = [&](int y, int x, int i, int j) {
        const float v = float(guide.at<T>(y, x)) * a.at<float>(i, j) + b.at<float>(i, j) * scale;
        const long rounded = std::lrint(double(v));
        out.at<T>(y, x) = T(std::isnan(v) || rounded < 0 ? 0 : rounded > long(scale) ? long(scale) : rounded);
    };
    for (int y = 0; y < mainRows; ++y)
        for (int x = 0; x < mainCols; ++x)
            set(y, x, y / fy, x / fx);
    for (int y = mainRows; y < guide.rows; ++y)
        for (int x = 0; x < mainCols; ++x)
            set(y, x, a.rows - 1, x / fx);
    for (int y = 0; y < mainRows; ++y)
        for (int x = mainCols; x < guide.cols; ++x)
            set(y, x, y / fy, a.cols - 1);
    for (int y = mainRows; y < guide.rows; ++y)
        for (int x = mainCols; x < guide.cols; ++x)
            set(y, x, a.rows - 1, a.cols - 1);
    return out;
}

} // namespace pixmill::test
