#include <pixmill/develop/detail/layers.h>

#include <pixmill/develop/detail/core.h>
#include <pixmill/develop/detail/ring.h>
#include <pixmill/develop/detail/smoothing.h>
#include <pixmill/develop/detail/unpack.h>

#include <algorithm>

namespace pixmill::develop {

namespace {

/// One smoothing step: everything smaller than `sigma` pixels and weaker than `contrast` of full scale goes.
struct Rung {
    float sigma, contrast;
};

constexpr Rung kFine = {2.0f, 0.06f}, kMedium = {8.0f, 0.10f}, kCoarse = {32.0f, 0.16f};

/// Room for two planes of 16 bits, and for one of couplings before they are written: fresh memory costs as much as a
/// pass.
class Pair {
public:
    explicit Pair(cv::Size size) : m_size(size)
    {
        const cv::Size room = SmoothingRoom::roomFor(size);
        ensureLarge(m_room, {room.width, 2 * room.height}, CV_16UC1);
    }
    float* floats() const { return reinterpret_cast<float*>(m_room.data); }
    cv::Mat first() const { return m_room(cv::Rect({}, m_size)); }
    cv::Mat second() const { return m_room(cv::Rect({0, m_room.rows / 2}, m_size)); }

private:
    cv::Size m_size;
    cv::Mat m_room;
};

/// The planes that come out of a picture.
struct Room {
    Pair one, other;

    explicit Room(cv::Size size) : one(size), other(size) {}

    /// A plane smoothed that was reduced by `factor`.
    cv::Mat smoothed(const cv::Mat& plane, const Rung& rung, int factor) const
    {
        return smoothedEdgeAware(plane, rung.sigma / float(factor), rung.contrast * kFull,
                                 {one.floats(), other.floats()});
    }
};

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

constexpr int kChunk = 480; ///< Even: of so many columns all that is enlarged stays in the nearest cache.

/// Between rows of means of 2 x 2: three quarters of the nearer one.
inline void blendRows(const float* __restrict near, const float* __restrict far, float* __restrict line, int n)
{
    for (int x = 0; x < n; ++x)
        line[x] = near[x] * 0.75f + far[x] * 0.25f;
}

/// Enlarged along the row; `line` has one sample more on each side.
inline void enlargeRow(const float* __restrict line, float* __restrict out, int n)
{
    for (int i = 0; i < n / 2; ++i) {
        out[2 * i] = line[i + 1] * 0.75f + line[i] * 0.25f;
        out[2 * i + 1] = line[i + 1] * 0.75f + line[i + 2] * 0.25f;
    }
    if (n % 2 != 0)
        out[n - 1] = line[n / 2 + 1] * 0.75f + line[n / 2] * 0.25f;
}

/// At most kChunk samples of row y of a plane twice as large, from an even column on.
inline void enlargedRow(const cv::Mat& half, int y, int x, float* out, int n)
{
    const int nearY = y / 2, farY = limit(y % 2 == 0 ? nearY - 1 : nearY + 1, 0, half.rows - 1);
    const float *near = half.ptr<float>(nearY), *far = half.ptr<float>(farY);
    const int count = halfSize(n), before = std::min(x / 2, 1), behind = std::min(half.cols - x / 2 - count, 1);
    float line[kChunk / 2 + 2];
    blendRows(near + x / 2 - before, far + x / 2 - before, line + 1 - before, before + count + behind);
    if (!before)
        line[0] = line[1];
    if (!behind)
        line[count + 1] = line[count];
    enlargeRow(line, out, n);
}

cv::Mat enlarged(const cv::Mat& half, cv::Size size)
{
    cv::Mat out;
    ensureLarge(out, size, CV_32FC1);
    forEachRow(size, [&](int y) {
        for (int x = 0; x < size.width; x += kChunk)
            enlargedRow(half, y, x, out.ptr<float>(y) + x, std::min(kChunk, size.width - x));
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

/// One row, into planes or rings that are there.
void splitRow(const cv::Mat& luma, const Smoothed& smoothed, int y, Layers& out)
{
    alignas(64) float medium[kChunk], coarse[kChunk];
    for (int x = 0; x < luma.cols; x += kChunk) {
        const int n = std::min(kChunk, luma.cols - x);
        enlargedRow(smoothed.medium, y, x, medium, n);
        enlargedRow(smoothed.coarse, y, x, coarse, n);
        splitRow(at(luma, y, x), smoothed.fine.ptr<float>(y) + x, medium, coarse, at(out.base, y, x),
                 at(out.detail[0], y, x), at(out.detail[1], y, x), at(out.detail[2], y, x), n);
    }
}

void split(const cv::Mat& luma, const Smoothed& smoothed, Layers& out)
{
    forEachRow(luma.size(), [&](int y) { splitRow(luma, smoothed, y, out); });
}

/// Room for base and detail.
void makePlanes(cv::Size size, Layers& out)
{
    out.base = cv::Mat();
    ensureLarge(out.base, size, CV_16UC1);
    for (cv::Mat& level : out.detail)
        ensureLarge(level, size, CV_16UC1);
}

/// Smooths luma, with working memory that may be used again.
bool smooth(const cv::Mat& luma, const Room& room, Smoothed& out, const Progress& progress)
{
    const auto goesOn = [&](double share) { return !progress || progress(share); };
    Smoothed made;
    made.fine = room.smoothed(luma, kFine, 1);
    if (!goesOn(0.7))
        return false;
    // Medium and coarse detail are taken out of smaller planes: nothing finer is left in them, and what is enlarged is
    // the difference, so edges stay as sharp as the fine step left them.
    made.medium = halved(made.fine);
    const cv::Mat smoother = room.smoothed(made.medium, kMedium, 2);
    takenAway(made.medium, smoother);
    if (!goesOn(0.92))
        return false;
    cv::Mat coarse = halved(smoother);
    const cv::Mat smoothest = room.smoothed(coarse, kCoarse, 4);
    takenAway(coarse, smoothest);
    made.coarse = enlarged(coarse, made.medium.size());
    if (!goesOn(1.0))
        return false;
    out = made;
    return true;
}

} // namespace

void separate(const Pixels& pixels, Layers& out)
{
    unpack(pixels, out.base, out.dr, out.db);
}

bool smooth(const cv::Mat& luma, Smoothed& out, const Progress& progress)
{
    return smooth(luma, Room(luma.size()), out, progress);
}

bool takeDetailOut(Layers& layers, const Progress& progress)
{
    const Room room(layers.size());
    Smoothed smoothed;
    if (!smooth(layers.base, room, smoothed, [&](double share) { return !progress || progress(0.78 * share); }))
        return false;
    Layers out = layers;
    out.base = room.one.first();
    out.detail[0] = room.one.second();
    out.detail[1] = room.other.first();
    out.detail[2] = room.other.second();
    split(layers.base, smoothed, out);
    if (progress && !progress(1.0))
        return false;
    layers = out;
    return true;
}

void takeDetailOut(Layers& layers, const Smoothed& smoothed)
{
    Layers out = layers;
    makePlanes(layers.size(), out);
    split(layers.base, smoothed, out);
    layers = out;
}

Layers ringsOf(const Layers& luma, const Smoothed& smoothed, int rows)
{
    Layers out = luma;
    out.picture = luma.size();
    makePlanes({out.picture.width, std::min(rows, out.picture.height)}, out);
    Layers planes = out; // the same pixels
    out.fill = [luma, smoothed, planes](int y, int end) mutable {
        rows::runSpan(
            [&](int from, int to) {
                for (; from < to; ++from)
                    splitRow(luma.base, smoothed, from, planes);
            },
            y, end);
    };
    return out;
}

} // namespace pixmill::develop
