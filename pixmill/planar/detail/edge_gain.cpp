#include <pixmill/planar/detail/edge_gain.h>

#include <pixmill/core/detail/rows.h>
#include <pixmill/primitives/filter.h>

#include <opencv2/core.hpp>

#include <algorithm>

namespace pixmill::detail {

namespace {

enum Direction { alongRows, alongColumns };

/// The product of the forward differences of two planes along one axis; where there is no next sample it is 0.
inline void productRow(const float* a, const float* aNext, const float* b, const float* bNext, Direction direction,
                       float* out, int n)
{
    if (direction == alongRows) {
        for (int x = 0; x + 1 < n; ++x)
            out[x] = (a[x + 1] - a[x]) * (b[x + 1] - b[x]);
        out[n - 1] = 0;
    } else {
        for (int x = 0; x < n; ++x)
            out[x] = (aNext[x] - a[x]) * (bNext[x] - b[x]);
    }
}

/// The 5 x 5 Gaussian of that product, edges repeated.
cv::Mat smoothedProduct(const cv::Mat& a, const cv::Mat& b, Direction direction)
{
    cv::Mat padded(a.rows + 4, a.cols + 4, CV_32FC1), out(a.size(), CV_32FC1);
    forEachRow(a.size(), [&](int y) {
        const int next = std::min(y + 1, a.rows - 1);
        float* row = padded.ptr<float>(y + 2);
        productRow(a.ptr<float>(y), a.ptr<float>(next), b.ptr<float>(y), b.ptr<float>(next), direction, row + 2,
                   a.cols);
        std::fill_n(row, 2, row[2]);
        std::fill_n(row + a.cols + 2, 2, row[a.cols + 1]);
    });
    for (const int y : {0, 1, a.rows + 2, a.rows + 3})
        std::copy_n(padded.ptr<float>(y < 2 ? 2 : a.rows + 1), padded.cols, padded.ptr<float>(y));
    ippiFilterGauss_32f_C1R(padded.ptr<float>(2) + 2, int(padded.step), out.ptr<float>(), int(out.step),
                            {a.cols, a.rows}, ippMskSize5x5);
    return out;
}

/// sum = (sum + other) + constant.
void addUp(cv::Mat& sum, const cv::Mat& other, float constant)
{
    forEachRow(sum.size(), [&](int y) {
        float* s = sum.ptr<float>(y);
        const float* o = other.ptr<float>(y);
        for (int x = 0; x < sum.cols; ++x)
            s[x] = s[x] + o[x] + constant;
    });
}

cv::Mat asFloat(const cv::Mat& plane)
{
    cv::Mat out;
    plane.convertTo(out, CV_32F);
    return out;
}

} // namespace

cv::Mat edgeGain(const cv::Mat& before, const cv::Mat& after, float epsilon)
{
    const cv::Mat b = asFloat(before), a = asFloat(after);
    const float floor = epsilon * 65535.0f;
    cv::Mat denominator = smoothedProduct(b, b, alongRows), numerator = smoothedProduct(a, b, alongRows);
    addUp(denominator, smoothedProduct(b, b, alongColumns), floor);
    addUp(numerator, smoothedProduct(a, b, alongColumns), floor);

    cv::Mat bytes, padded, out(before.size(), CV_8UC1);
    forEachRow(numerator.size(), [&](int y) {
        float* n = numerator.ptr<float>(y);
        const float* d = denominator.ptr<float>(y);
        for (int x = 0; x < numerator.cols; ++x)
            n[x] = n[x] / d[x];
    });
    numerator.convertTo(bytes, CV_8U, 42.666666666666664);
    cv::copyMakeBorder(bytes, padded, 2, 2, 2, 2, cv::BORDER_REPLICATE);
    ippiFilterGauss_8u_C1R(padded.ptr<uchar>(2) + 2, int(padded.step), out.ptr<uchar>(), int(out.step),
                           {out.cols, out.rows}, ippMskSize5x5);
    return out;
}

} // namespace pixmill::detail
