#include <pixmill/filters/BilateralFilter.h>

#include <pixmill/primitives/filter.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <opencv2/core.hpp>

#include <cmath>
#include <vector>

using namespace pixmill::rows;

namespace {

const char* const kInputType = "ERROR - BilateralFilter::gradientGuide - in image type";

/// A disc of radius r + 0.5 as bytes.
std::vector<uchar> discMask(int r)
{
    const int side = 2 * r + 1;
    std::vector<uchar> mask(std::size_t(side) * side, 0x7f);
    for (int i = 1; i <= r; ++i)
        for (int j = 1; j <= r; ++j)
            if (std::sqrt(double(i) * i + double(j) * j) > r + 0.5)
                for (const int y : {r - j, r + j})
                    for (const int x : {r - i, r + i})
                        mask[std::size_t(y) * side + x] = 0;
    return mask;
}

template <class T>
inline void guideRow(const T* in, const T* dil, const T* ero, T* guide, int n)
{
    for (int x = 0; x < n; ++x) {
        const int g = guide[x], c = in[x], up = dil[x] - g, down = g - ero[x];
        const int high = up <= down ? g : dil[x];
        const int low = down < up ? g : ero[x];
        guide[x] = T(low < c && c < high ? c : g);
    }
}

template <class T>
void sharpen(const cv::Mat& in, const cv::Mat& dil, const cv::Mat& ero, cv::Mat& guide)
{
    forEachRow(guide.size(),
               [&](int y) { guideRow(in.ptr<T>(y), dil.ptr<T>(y), ero.ptr<T>(y), guide.ptr<T>(y), guide.cols); });
}

} // namespace

int BilateralFilter::gradientGuide(const cv::Mat& in, cv::Mat& guide, int r)
{
    if (r < 1)
        return 1;
    if (in.type() != guide.type() || (in.type() != CV_8UC1 && in.type() != CV_16UC1))
        throw kInputType;
    constexpr const char* kCall = "BilateralFilter::gradientGuide";
    checkPlane(in, kCall, "in");
    checkPlane(guide, kCall, "guide");
    PIXMILL_CHECK(in.size() == guide.size(), kCall, "guide", describe(guide), "the size of in");

    cv::Mat dil = guide.clone(), ero = guide.clone();
    if ((guide.cols - 1) / 2 >= r && (guide.rows - 1) / 2 >= r) { // elsewhere up and down are 0 and the guide stays
        const IppiSize inner{guide.cols - 2 * r, guide.rows - 2 * r}, side{2 * r + 1, 2 * r + 1};
        const std::vector<uchar> mask = discMask(r);
        const int from = int(guide.step), to = int(dil.step);
        if (in.type() == CV_8UC1) {
            const uchar* src = guide.ptr<uchar>(r) + r;
            ippiDilate_8u_C1R(src, from, dil.ptr<uchar>(r) + r, to, inner, mask.data(), side, {r, r});
            ippiErode_8u_C1R(src, from, ero.ptr<uchar>(r) + r, int(ero.step), inner, mask.data(), side, {r, r});
        } else {
            const ushort* src = guide.ptr<ushort>(r) + r;
            ippiDilate_16u_C1R(src, from, dil.ptr<ushort>(r) + r, to, inner, mask.data(), side, {r, r});
            ippiErode_16u_C1R(src, from, ero.ptr<ushort>(r) + r, int(ero.step), inner, mask.data(), side, {r, r});
        }
    }
    switch (in.type()) {
    case CV_8UC1:
        sharpen<uchar>(in, dil, ero, guide);
        break;
    case CV_16UC1:
        sharpen<ushort>(in, dil, ero, guide);
        break;
    default:
        throw "ERROR - BilateralFilter::gradientGuide - image type ";
    }
    return 1;
}
