#include <pixmill/develop/detail/core.h>
#include <pixmill/develop/detail/layers.h>

#include <algorithm>
#include <vector>

namespace pixmill::develop {

namespace {

template <class T>
inline void addRow(const T* __restrict in, unsigned* __restrict sums, int n)
{
    for (int x = 0; x < n; ++x)
        sums[x] += in[x];
}

/// Means of sums of columns, `factor` columns each, to nearest.
template <int known, class T>
inline void meansRow(const unsigned* __restrict sums, int factor, T* __restrict out, int n)
{
    const int f = known ? known : factor;
    const float share = 1.0f / float(f * f);
    for (int x = 0; x < n; ++x) {
        unsigned sum = 0;
        for (int i = 0; i < f; ++i)
            sum += sums[x * f + i];
        out[x] = known == 2 ? T((sum + 2) / 4) : T(limit(float(sum) * share + 0.5f, 0.0f, kFull));
    }
}

template <class T>
void reduceRow(const cv::Mat& in, int factor, unsigned* sums, T* out, int y, int n)
{
    const int wide = n * factor, inside = std::min(wide, in.cols);
    std::fill_n(sums, wide, 0u);
    for (int i = 0; i < factor; ++i)
        addRow(in.ptr<T>(std::min(y * factor + i, in.rows - 1)), sums, inside);
    std::fill(sums + inside, sums + wide, sums[inside - 1]);
    if (factor == 2)
        meansRow<2>(sums, factor, out, n);
    else
        meansRow<0>(sums, factor, out, n);
}

template <class T>
void reducePlane(const cv::Mat& in, int factor, cv::Mat& out)
{
    rows::forEachSpan(out.rows, long(in.total()), [&](int y, int end) {
        std::vector<unsigned> sums(std::size_t(out.cols) * factor);
        for (; y < end; ++y)
            reduceRow(in, factor, sums.data(), out.ptr<T>(y), y, out.cols);
    });
}

int divided(int n, int factor)
{
    return (n + factor - 1) / factor;
}

} // namespace

void reduceMeans(const cv::Mat& in, int factor, cv::Size size, cv::Mat& out)
{
    if (!rows::fits(out, size, in.type()))
        ensureLarge(out, size, in.type());
    if (in.type() == CV_8UC1)
        reducePlane<uchar>(in, factor, out);
    else
        reducePlane<ushort>(in, factor, out);
}

Layers reduced(const Layers& layers, int factor)
{
    Layers out;
    const cv::Size size(divided(layers.size().width, factor), divided(layers.size().height, factor));
    reduceMeans(layers.base, factor, size, out.base);
    for (int level = 0; level < 3; ++level)
        reduceMeans(layers.detail[level], factor, size, out.detail[level]);
    reduceMeans(layers.dr, factor, halfSize(size), out.dr);
    reduceMeans(layers.db, factor, halfSize(size), out.db);
    return out;
}

} // namespace pixmill::develop
