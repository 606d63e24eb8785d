#include <pixmill/multiscale/ConvPyr.h>

#include <pixmill/multiscale/detail/separable.h>
#include <pixmill/rows/plane.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <climits>
#include <utility>
#include <vector>

using namespace pixmill::rows;
using namespace pixmill::multiscale;

namespace {

void checkChannel(const cv::Mat& plane, const char* call, const char* argument)
{
    checkPixels(plane, call, argument);
    PIXMILL_CHECK(plane.channels() == 1, call, argument, describe(plane), "one channel");
}

void checkDepth(const cv::Mat& plane, const char* call, const char* argument)
{
    checkChannel(plane, call, argument);
    const int depth = plane.depth();
    PIXMILL_CHECK(depth == CV_8U || depth == CV_16U || depth == CV_16S || depth == CV_32F, call, argument,
                  describe(plane), "bytes, 16 bits or floats");
}

SmallKernel checkedKernel(const cv::Mat& kernel, const char* call, const char* argument)
{
    checkPixels(kernel, call, argument);
    PIXMILL_CHECK(kernel.channels() == 1 && (kernel.rows == 1 || kernel.cols == 1), call, argument, describe(kernel),
                  "one row or column of numbers");
    return SmallKernel(kernel);
}

/// floor(log2) of the longer side. Sizes are halved upward, so the coarsest level may have two pixels left.
int stepsDown(cv::Size size)
{
    int steps = 0;
    for (int n = std::max(size.width, size.height) >> 1; n != 0; n >>= 1)
        ++steps;
    return steps;
}

/// Filters a plane in strips of whole rows that stay in cache, so that nothing of the picture's size lies between two
/// steps. A strip takes along the rows its kernel reaches, so each row has the value it has in the whole plane.
class Strips {
public:
    Strips(cv::Size plane, SmallKernel kernel) : m_plane(plane), m_kernel(std::move(kernel)), m_reach(m_kernel.taps())
    {
        constexpr int kPixels = 1 << 17;
        m_height = 2 * std::max({8, 2 * m_reach, kPixels / 2 / plane.width});
    }

    /// Even, so that a strip begins with a row the coarser level keeps.
    int height() const { return m_height; }

    /// The rows needed for the filtered rows `rows`.
    cv::Range around(cv::Range rows) const
    {
        return {std::max(0, rows.start - m_reach), std::min(m_plane.height, rows.end + m_reach)};
    }

    /// The filtered rows `rows`, from the plane's rows `around(rows)`; valid until the next call.
    cv::Mat filtered(const cv::Mat& needed, cv::Range rows)
    {
        cv::Mat whole = scratch(m_out, needed.rows);
        filterSeparable(needed, m_kernel, whole);
        const int skip = rows.start - around(rows).start;
        return whole.rowRange(skip, skip + rows.size());
    }

    /// A plane for `around(rows)` to be written to; valid until the next call.
    cv::Mat input(cv::Range rows) { return scratch(m_in, around(rows).size()); }

private:
    cv::Mat scratch(cv::Mat& buffer, int rows) const
    {
        if (buffer.empty())
            buffer.create(std::min(m_plane.height, m_height + 2 * m_reach), m_plane.width, CV_32FC1);
        return buffer.rowRange(0, rows);
    }

    cv::Size m_plane;
    SmallKernel m_kernel;
    cv::Mat m_in, m_out;
    int m_reach, m_height;
};

/// Runs `body(rows)` for each strip of the plane, downward.
template <class Body>
void forEachStrip(int rows, int height, const Body& body)
{
    for (int y = 0; y < rows; y += height)
        body(cv::Range(y, std::min(rows, y + height)));
}

/// Row y of the coarse level with zeros in between: a zero row if y is odd or past the level.
void spreadRow(const cv::Mat& coarse, int y, float* to, int n)
{
    std::fill_n(to, n, 0.0f);
    if (y % 2 != 0 || y / 2 >= coarse.rows)
        return;
    const float* from = coarse.ptr<float>(y / 2);
    for (int x = 0; x < coarse.cols; ++x)
        to[2 * x] = from[x];
}

} // namespace

ConvPyr::ConvPyr(const cv::Mat& h1, const cv::Mat& h2, const cv::Mat& g) : m_h1(h1), m_h2(h2), m_g(g)
{
}

bool ConvPyr::proc(const cv::Mat& in, cv::Mat& out)
{
    constexpr const char* kCall = "ConvPyr::proc";
    checkDepth(in, kCall, "in");
    const int depth = stepsDown(in.size());
    std::vector<cv::Mat> analysis(depth + 1), synthesis(depth + 1);
    analysis[0] = in;
    for (int i = 1; i <= depth; ++i)
        pyrDown(analysis[i - 1], analysis[i]);
    synthesis[depth].create(analysis[depth].size(), CV_32FC1);
    filterSeparable(analysis[depth], checkedKernel(m_g, kCall, "m_g"), synthesis[depth]);
    if (depth > 0) {
        ensure(out, analysis[0].size(), CV_32FC1);
        if (!overlap(analysis[0], out))
            synthesis[0] = out; // the finest level is the result
    }
    for (int i = depth; i >= 1; --i)
        pyrUp(synthesis[i], analysis[i - 1], synthesis[i - 1]);
    if (synthesis[0].data != out.data)
        synthesis[0].copyTo(out);
    return true;
}

bool ConvPyr::pyrDown(const cv::Mat& in, cv::Mat& out)
{
    constexpr const char* kCall = "ConvPyr::pyrDown";
    checkDepth(in, kCall, "in");
    Strips smooth(in.size(), checkedKernel(m_h1, kCall, "m_h1"));
    cv::Mat fine = in;
    const cv::Size half = halfSize(in.size());
    if (fits(out, half, CV_32FC1) && overlap(fine, out))
        fine = in.clone();

    ensure(out, half, CV_32FC1);
    forEachStrip(fine.rows, smooth.height(), [&](cv::Range rows) {
        const cv::Mat strip = smooth.filtered(fine.rowRange(smooth.around(rows)), rows);
        for (int y = 0; y < strip.rows; y += 2) {
            const float* from = strip.ptr<float>(y);
            float* to = out.ptr<float>((rows.start + y) / 2);
            for (int x = 0; x < out.cols; ++x)
                to[x] = from[2 * x];
        }
    });
    m_level = std::min(m_level, INT_MAX - 1) + 1;
    return true;
}

bool ConvPyr::pyrUp(const cv::Mat& coarse, const cv::Mat& fine, cv::Mat& out)
{
    checkDepth(fine, "ConvPyr::pyrUp", "fine");
    const cv::Size most = halfSize(fine.size());
    checkPlane(coarse, "ConvPyr::pyrUp", "coarse");
    PIXMILL_CHECK(coarse.type() == CV_32FC1 && coarse.cols <= most.width && coarse.rows <= most.height,
                  "ConvPyr::pyrUp", "coarse", describe(coarse), "CV_32FC1, at most half the size of fine");
    Strips up(fine.size(), checkedKernel(m_h2, "ConvPyr::pyrUp", "m_h2"));
    Strips across(fine.size(), checkedKernel(m_g, "ConvPyr::pyrUp", "m_g"));
    cv::Mat below = coarse, own = fine;
    ensure(out, fine.size(), CV_32FC1);
    if (overlap(below, out))
        below = coarse.clone();
    if (overlap(own, out))
        own = fine.clone();

    forEachStrip(own.rows, std::min(up.height(), across.height()), [&](cv::Range rows) {
        cv::Mat spread = up.input(rows);
        for (int y = 0; y < spread.rows; ++y)
            spreadRow(below, up.around(rows).start + y, spread.ptr<float>(y), spread.cols);
        const cv::Mat lifted = up.filtered(spread, rows);
        const cv::Mat kept = across.filtered(own.rowRange(across.around(rows)), rows);
        for (int y = 0; y < kept.rows; ++y) {
            const float* a = kept.ptr<float>(y);
            const float* b = lifted.ptr<float>(y);
            float* to = out.ptr<float>(rows.start + y);
            for (int x = 0; x < out.cols; ++x)
                to[x] = a[x] + b[x];
        }
    });
    m_level = std::max(m_level, INT_MIN + 1) - 1;
    return true;
}
