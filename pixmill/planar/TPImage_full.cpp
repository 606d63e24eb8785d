#include <pixmill/planar/TPImage.h>

#include <pixmill/planar/detail/full_avx512.h>
#include <pixmill/primitives/types.h>
#include <pixmill/resample/guidedUpsize.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/colour_rows.h>
#include <pixmill/rows/doubling.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <algorithm>

using namespace pixmill;
using namespace pixmill::rows;

namespace {

/// The four rows of a half-size plane around full-size row y.
struct HalfRows {
    const ushort* rows[4];

    HalfRows(const cv::Mat& half, int y)
    {
        for (int k = 0; k < 4; ++k)
            rows[k] = half.ptr<ushort>(inside(y / 2 - 1 + k, half.rows));
    }
};

/// One row: the differences are enlarged into the host's rows of R and B and turned into colours there, or in registers
/// where there is a kernel.
template <class To>
inline void fullRow(const TPImage& picture, int y, ushort* r, ushort* g, ushort* b, int* sums)
{
    const HalfRows dr(picture.m_Dr, y), db(picture.m_Db, y);
    const ushort* luma = picture.m_Y.ptr<ushort>(y);
    const int n = picture.m_Dr.cols, nOfDb = picture.m_Db.cols, cols = picture.m_Y.cols;
    const bool between = y % 2 != 0;
    if (n == nOfDb && takesDoubled512(n, cols)) {
        planar::fullRow512(To(), dr.rows, db.rows, between, planar::ColourRow512{luma, r, g, b}, n, cols);
        return;
    }
    doubleRowCubic(dr.rows, between, n, r, cols, sums);
    doubleRowCubic(db.rows, between, nOfDb, b, cols, sums);
    colourRow<To>(luma, r, b, r, g, b, cols);
}

/// Enlarges the differences of a picture and turns them into the host's planes.
template <class To>
void fullColours(const TPImage& picture, ushort** rgb, int stride, const char* call)
{
    const cv::Size size = picture.m_Y.size();
    checkPlanes(rgb, call, "rgb");
    if (size.empty()) {
        cv::Mat none;
        upSize2XGuidedByY(picture.m_Y, picture.m_Dr, none, false,
                          IPPI_INTER_CUBIC); // throws: there is nothing to enlarge into
        return;
    }
    const auto wrap = [&](ushort* plane) { return cv::Mat(size, CV_16UC1, plane, std::size_t(stride)); };
    cv::Mat R = wrap(rgb[0]), G = wrap(rgb[1]), B = wrap(rgb[2]);
    const cv::Mat &Y = picture.m_Y, &Dr = picture.m_Dr, &Db = picture.m_Db;
    checkPlane(Y, CV_16UC1, call, "m_Y");
    checkCovers(Dr, {1, 1}, CV_16UC1, call, "m_Dr");
    checkCovers(Db, {1, 1}, CV_16UC1, call, "m_Db");

    TeamScratch<int> scratch(std::size_t(std::max(Dr.cols, Db.cols)));
    forEachRow(size, [&](int y) {
        fullRow<To>(picture, y, R.ptr<ushort>(y), G.ptr<ushort>(y), B.ptr<ushort>(y), scratch.mine());
    });
}

} // namespace

void TPImage::convertTopRGB(unsigned short** rgb, int stride) const
{
    fullColours<To16>(*this, rgb, stride, "TPImage::convertTopRGB");
}

void TPImage::convertTopRGB15U(unsigned short** rgb, int stride) const
{
    fullColours<To15U>(*this, rgb, stride, "TPImage::convertTopRGB15U");
}
