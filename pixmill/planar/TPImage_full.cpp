#include <pixmill/planar/TPImage.h>

#include <pixmill/primitives/types.h>
#include <pixmill/resample/guidedUpsize.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/colour_rows.h>
#include <pixmill/rows/doubling.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

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

/// Each row's differences are enlarged into the host's rows of R and B and turned into colours there.
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
        ushort *r = R.ptr<ushort>(y), *b = B.ptr<ushort>(y);
        int* sums = scratch.mine();
        doubleRowCubic(HalfRows(Dr, y).rows, y % 2 != 0, Dr.cols, r, size.width, sums);
        doubleRowCubic(HalfRows(Db, y).rows, y % 2 != 0, Db.cols, b, size.width, sums);
        colourRow<To>(Y.ptr<ushort>(y), r, b, r, G.ptr<ushort>(y), b, size.width);
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
