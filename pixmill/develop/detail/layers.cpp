#include <pixmill/develop/detail/layers.h>

#include <pixmill/develop/detail/core.h>
#include <pixmill/develop/detail/smoothing.h>
#include <pixmill/develop/detail/unpack.h>

#include <algorithm>
#include <vector>

namespace pixmill::develop {

namespace {

/// One smoothing step: everything smaller than `sigma` pixels and weaker than `contrast` of full scale goes.
struct Rung {
    float sigma, contrast;
};

constexpr Rung kFine = {2.0f, 0.06f}, kMedium = {8.0f, 0.10f}, kCoarse = {32.0f, 0.16f};

/// Room for two planes of 16 bits, and for one of floats before they are written: fresh memory costs as much as a pass.
class Pair {
public:
    explicit Pair(cv::Size size) : m_size(size) { ensureLarge(m_room, {size.width, 2 * size.height}, CV_16UC1); }
    cv::Mat floats(cv::Size size) const { return {size, CV_32FC1, m_room.data}; }
    cv::Mat first() const { return m_room.rowRange(0, m_size.height); }
    cv::Mat second() const { return m_room.rowRange(m_size.height, 2 * m_size.height); }

private:
    cv::Size m_size;
    cv::Mat m_room;
};

/// The planes that come out of a picture.
struct Room {
    Pair one, other;

    explicit Room(cv::Size size) : one(size), other(size) {}

    /// Smooths a plane that was reduced by `factor`.
    void smooth(cv::Mat& plane, const Rung& rung, int factor) const
    {
        cv::Mat left = one.floats(plane.size()), up = other.floats(plane.size());
        smoothEdgeAware(plane, rung.sigma / float(factor), rung.contrast * kFull, left, up);
    }
};

void toFloat(const cv::Mat& in, cv::Mat& out)
{
    ensureLarge(out, in.size(), CV_32FC1);
    forEachRow(in.size(), [&](int y) {
        const ushort* __restrict from = in.ptr<ushort>(y);
        float* __restrict to = out.ptr<float>(y);
        for (int x = 0; x < in.cols; ++x)
            to[x] = from[x];
    });
}

/// Means of 2 x 2; past the far edges the last pixels repeat.
cv::Mat halved(const cv::Mat& in)
{
    cv::Mat out;
    ensureLarge(out, halfSize(in.size()), CV_32FC1);
    forEachRow(out.size(), [&](int y) {
        const float *a = in.ptr<float>(2 * y), *b = in.ptr<float>(std::min(2 * y + 1, in.rows - 1));
        float* o = out.ptr<float>(y);
        for (int x = 0; x < in.cols / 2; ++x)
            o[x] = ((a[2 * x] + b[2 * x]) + (a[2 * x + 1] + b[2 * x + 1])) * 0.25f;
        if (in.cols % 2 != 0)
            o[out.cols - 1] = (a[in.cols - 1] + b[in.cols - 1]) * 0.5f;
    });
    return out;
}

/// What smoothing took away: before - after, into `before`.
void takenAway(cv::Mat& before, const cv::Mat& after)
{
    forEachRow(before.size(), [&](int y) {
        float* __restrict b = before.ptr<float>(y);
        const float* __restrict a = after.ptr<float>(y);
        for (int x = 0; x < before.cols; ++x)
            b[x] -= a[x];
    });
}

/// A row between rows of means of 2 x 2, three quarters of the nearer one, enlarged alike along the row. `line` has one
/// sample more on each side of the plane's `n`.
inline void blendRows(const float* __restrict near, const float* __restrict far, float* __restrict line, int n)
{
    for (int x = 0; x < n; ++x)
        line[x + 1] = near[x] * 0.75f + far[x] * 0.25f;
    line[0] = line[1];
    line[n + 1] = line[n];
}

inline void enlargeRow(const float* __restrict line, float* __restrict out, int n)
{
    for (int i = 0; i < n / 2; ++i) {
        out[2 * i] = line[i + 1] * 0.75f + line[i] * 0.25f;
        out[2 * i + 1] = line[i + 1] * 0.75f + line[i + 2] * 0.25f;
    }
    if (n % 2 != 0)
        out[n - 1] = line[n / 2 + 1] * 0.75f + line[n / 2] * 0.25f;
}

/// Row y of a plane twice as large.
inline void enlargedRow(const cv::Mat& half, int y, float* line, float* out, int n)
{
    const int near = y / 2, far = limit(y % 2 == 0 ? near - 1 : near + 1, 0, half.rows - 1);
    blendRows(half.ptr<float>(near), half.ptr<float>(far), line, half.cols);
    enlargeRow(line, out, n);
}

cv::Mat enlarged(const cv::Mat& half, cv::Size size)
{
    cv::Mat out(size, CV_32FC1);
    rows::forEachSpan(size.height, size.area(), [&](int y, int end) {
        std::vector<float> line(std::size_t(half.cols) + 2);
        for (; y < end; ++y)
            enlargedRow(half, y, line.data(), out.ptr<float>(y), size.width);
    });
    return out;
}

/// The four planes of a row from luma, its smoothed form and two differences. Base takes luma's parity, so that twice
/// the fine detail is exactly what is left; where that would not fit, the coarser detail is dropped.
inline void splitRow(const ushort* __restrict Y, const float* __restrict smoothed, const float* __restrict medium,
                     const float* __restrict coarse, ushort* __restrict base, ushort* __restrict d0,
                     ushort* __restrict d1, ushort* __restrict d2, int n)
{
    for (int x = 0; x < n; ++x) {
        const int y = Y[x], s = clamp16(roundToInt(smoothed[x]));
        int a = roundToInt(medium[x] * 0.5f), b = roundToInt(coarse[x] * 0.5f);
        const int apart = y - (((s - 2 * (a + b)) & ~1) | (y & 1)) - 2 * (a + b);
        const bool fits = s - 2 * (a + b) >= 0 && s - 2 * (a + b) <= 65535 && a >= -32768 && a <= 32767 &&
                          b >= -32768 && b <= 32767 && apart >= -65536 && apart <= 65535;
        a = fits ? a : 0;
        b = fits ? b : 0;
        const int left = ((s - 2 * (a + b)) & ~1) | (y & 1);
        base[x] = ushort(left);
        d0[x] = ushort((y - left - 2 * (a + b)) / 2 + kCentre);
        d1[x] = ushort(a + kCentre);
        d2[x] = ushort(b + kCentre);
    }
}

/// Into planes that are there.
void split(const cv::Mat& Y, const cv::Mat& smoothed, const cv::Mat& medium, const cv::Mat& coarse, Layers& out)
{
    rows::forEachSpan(Y.rows, Y.size().area(), [&](int y, int end) {
        std::vector<float> lines(std::size_t(Y.cols) * 2 + medium.cols + 2);
        float *m = lines.data(), *c = m + Y.cols, *line = c + Y.cols;
        for (; y < end; ++y) {
            enlargedRow(medium, y, line, m, Y.cols);
            enlargedRow(coarse, y, line, c, Y.cols);
            splitRow(Y.ptr<ushort>(y), smoothed.ptr<float>(y), m, c, out.base.ptr<ushort>(y),
                     out.detail[0].ptr<ushort>(y), out.detail[1].ptr<ushort>(y), out.detail[2].ptr<ushort>(y), Y.cols);
        }
    });
}

} // namespace

void separate(const Pixels& pixels, Layers& out)
{
    unpack(pixels, out.base, out.dr, out.db);
}

bool takeDetailOut(Layers& layers, const Progress& progress)
{
    const auto goesOn = [&](double share) { return !progress || progress(share); };
    const cv::Mat& Y = layers.base;
    const Room room(Y.size());
    cv::Mat fine;
    toFloat(Y, fine);
    room.smooth(fine, kFine, 1);
    if (!goesOn(0.55))
        return false;
    // Medium and coarse detail are taken out of smaller planes: nothing finer is left in them, and what is enlarged is
    // the difference, so edges stay as sharp as the fine step left them.
    cv::Mat medium = halved(fine), smoother = medium.clone();
    room.smooth(smoother, kMedium, 2);
    takenAway(medium, smoother);
    if (!goesOn(0.72))
        return false;
    cv::Mat coarse = halved(smoother), smoothest = coarse.clone();
    room.smooth(smoothest, kCoarse, 4);
    takenAway(coarse, smoothest);
    coarse = enlarged(coarse, medium.size());
    if (!goesOn(0.78))
        return false;
    Layers out{room.one.first(), {room.one.second(), room.other.first(), room.other.second()}, layers.dr, layers.db};
    split(Y, fine, medium, coarse, out);
    if (!goesOn(1.0))
        return false;
    layers = out;
    return true;
}

} // namespace pixmill::develop
