#include <pixmill/resample/blend.h>
#include <pixmill/rows/aliasing.h>
#include <pixmill/rows/morphology3x3.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <algorithm>
#include <cstring>
#include <vector>

using namespace pixmill::rows;

namespace {

constexpr int kStrip = 1024; ///< columns whose extremes are held at a time

/// The pixels of one row between the frame's: whichever extreme of the 3 x 3 window is nearer, a tie the minimum.
/// `out` is none of the rows.
inline void sharpenRow(const ushort* above, const ushort* middle, const ushort* below, ushort* __restrict out, int n)
{
    ushort columnMax[kStrip + 2], columnMin[kStrip + 2], maximum[kStrip], minimum[kStrip];
    for (int first = 1; first < n - 1; first += kStrip) {
        const int count = std::min(kStrip, n - 1 - first);
        extremes3x3Row(above + first, middle + first, below + first, columnMax, columnMin, maximum, minimum, count);
        const ushort* const in = middle + first;
        ushort* const to = out + first;
        for (int x = 0; x < count; ++x) {
            const auto up = ushort(maximum[x] - in[x]), down = ushort(in[x] - minimum[x]);
            to[x] = up < down ? maximum[x] : minimum[x];
        }
    }
}

void sharpen(const cv::Mat& in, cv::Mat& out)
{
    forEachRow(in.size(), [&](int y) {
        const ushort* const row = in.ptr<ushort>(y);
        ushort* const to = out.ptr<ushort>(y);
        if (y == 0 || y == in.rows - 1 || in.cols < 3) {
            std::memcpy(to, row, sizeof(ushort) * in.cols);
            return;
        }
        to[0] = row[0];
        to[in.cols - 1] = row[in.cols - 1];
        sharpenRow(in.ptr<ushort>(y - 1), row, in.ptr<ushort>(y + 1), to, in.cols);
    });
}

/// Each thread has one band of rows. What it overwrites it keeps for as long as the next row needs it, and the rows
/// that adjoining bands overwrite are kept before any starts.
void sharpenInPlace(cv::Mat& image)
{
    const int inner = image.rows - 2, n = image.cols;
    if (inner <= 0 || n < 3)
        return;
    const int bands = limit(teamSize(), 1, inner);
    const auto firstRow = [&](int band) { return 1 + int((long long)inner * band / bands); };
    const auto keep = [&](ushort* to, int y) { std::memcpy(to, image.ptr<ushort>(y), sizeof(ushort) * n); };

    std::vector<ushort> kept(std::size_t(3) * bands * n);
    const auto rowsOf = [&](int band) { return kept.data() + std::size_t(3) * band * n; };
    for (int band = 0; band < bands; ++band) {
        keep(rowsOf(band), firstRow(band) - 1);
        keep(rowsOf(band) + 2 * n, firstRow(band + 1));
    }
    forEachIndex(bands, long(inner) * n, [&](int band) {
        ushort *above = rowsOf(band), *middle = above + n, *const beyond = middle + n;
        const int end = firstRow(band + 1);
        for (int y = firstRow(band); y < end; ++y) {
            keep(middle, y);
            sharpenRow(above, middle, y + 1 < end ? image.ptr<ushort>(y + 1) : beyond, image.ptr<ushort>(y), n);
            std::swap(above, middle);
        }
    });
}

} // namespace

void extremeSharpen(const cv::Mat& in, cv::Mat& out)
{
    if (in.type() != CV_16UC1)
        throw "ERROR - extremeSharpen - in.type()!=CV_16UC1";
    checkPlane(in, "extremeSharpen", "in");
    const cv::Mat from = in; // `out` may be `in`
    ensure(out, from.size(), CV_16UC1);
    if (isSamePlane(from, out))
        sharpenInPlace(out);
    else
        sharpen(unshared(from, out), out);
}
