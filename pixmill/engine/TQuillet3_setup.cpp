#include <pixmill/engine/TQuillet3.h>

#include <pixmill/core/TProgress.h>
#include <pixmill/filters/DomainTransform.h>
#include <pixmill/filters/recursive_filter.h>
#include <pixmill/primitives/resize.h>
#include <pixmill/resample/BlockProcessor.h>
#include <pixmill/resample/resample.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <omp.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <vector>

using namespace pixmill::rows;
using namespace pixmill::filters;

namespace {

constexpr int kTile = 1024, kTileOverlap = 32;
constexpr float kChromaSigmaR = 4259.71f;
constexpr const char* kSetup = "TQuillet3::setup";

bool goesOn(TProgress* progress, int percent)
{
    return !progress || progress->prog(percent, 100);
}

/// Enlarges a half-size plane to `size`.
void enlarge(const cv::Mat& half, cv::Size size, cv::Mat& full)
{
    const cv::Mat from = half; // `full` may be the same header
    ensureLarge(full, size, from.type());
    upSize2X(from, full, IPPI_INTER_CUBIC);
}

/// A picture of 1024 pixels of rows plus columns is smoothed at the least, one of 8192 at the most.
float chromaSigmaS(cv::Size size)
{
    return std::clamp(float((size.height + size.width) * 0.00390625), 4.0f, 32.0f);
}

/// Gives the calling thread's OpenMP settings back as they were. `DomainTransform::setup` changes them, and a host that
/// took a picture in keeps its own choice; while the tiles are smoothed, those of the filter hold.
class OpenMpSettings {
public:
    OpenMpSettings() = default;
    ~OpenMpSettings()
    {
        omp_set_num_threads(m_team);
        omp_set_max_active_levels(m_levels);
        omp_set_dynamic(m_dynamic);
    }
    OpenMpSettings(const OpenMpSettings&) = delete;
    OpenMpSettings& operator=(const OpenMpSettings&) = delete;

private:
    int m_team = omp_get_max_threads(), m_levels = omp_get_max_active_levels(), m_dynamic = omp_get_dynamic();
};

/// Two planes of 16 bits as channels of one picture of floats.
void widen(const std::vector<cv::Mat>& planes, cv::Mat& wide)
{
    const cv::Size size = planes[0].size();
    ensureLarge(wide, size, CV_32FC2);
    forEachRow(size, [&](int y) {
        const ushort* __restrict first = planes[0].ptr<ushort>(y), * __restrict second = planes[1].ptr<ushort>(y);
        float* __restrict out = wide.ptr<float>(y);
        for (int x = 0; x < size.width; ++x) {
            out[2 * x] = float(first[x]);
            out[2 * x + 1] = float(second[x]);
        }
    });
}

/// And back, rounded to nearest even.
void narrow(const cv::Mat& wide, std::vector<cv::Mat>& planes)
{
    forEachRow(wide.size(), [&](int y) {
        const float* __restrict in = wide.ptr<float>(y);
        ushort* __restrict first = planes[0].ptr<ushort>(y), * __restrict second = planes[1].ptr<ushort>(y);
        for (int x = 0; x < wide.cols; ++x) {
            first[x] = nearPixel16(in[2 * x]);
            second[x] = nearPixel16(in[2 * x + 1]);
        }
    });
}

/// Smooths both differences as two channels of one picture, so that they share one set of edges, tile by tile.
void smoothChroma(cv::Mat& Dr, cv::Mat& Db)
{
    const std::vector<cv::Mat> planes{Dr, Db};
    BlockProcessor tiles;
    tiles.initialize(planes, planes, kTile, kTile, true, kTileOverlap, 0, BlockProcessor::EDGE_TAPER_LINEAR);
    const float sigmaS = chromaSigmaS(Dr.size());
    // The filter needs no setting up: hosts read the line that this tells, and its team serves them while tiles last.
    const OpenMpSettings asFound;
    DomainTransform().setup(sigmaS, kChromaSigmaR);
    RecursiveFilter filter;

    int roi[4] = {0, 0, Dr.cols, Dr.rows};
    std::vector<cv::Mat> block;
    cv::Mat wide;
    while (tiles.getBlockImage(roi, block)) {
        if (!block.empty()) {
            widen(block, wide);
            filter.run(wide, sigmaS, kChromaSigmaR);
            narrow(wide, block);
        }
        tiles.writeBackBlock();
    }
}

} // namespace

bool TQuillet3::setup(const cv::Mat& like, TProgress*)
{
    checkPlane(like, kSetup, "like");
    ensure(m_Y, like.size(), like.type());
    for (cv::Mat& plane : m_detail)
        ensure(plane, like.size(), like.type());
    m_dirty = true;
    return true;
}

bool TQuillet3::setup(const cv::Mat& Y, const cv::Mat& detail0, const cv::Mat& detail1, const cv::Mat& detail2,
                      const cv::Mat& halfDr, cv::Mat halfDb, TProgress* progress)
{
    const struct {
        const char* name;
        const cv::Mat& plane;
    } planes[] = {{"Y", Y},           {"detail0", detail0}, {"detail1", detail1}, {"detail2", detail2},
                  {"halfDr", halfDr}, {"halfDb", halfDb}};
    for (const auto& given : planes)
        checkPlane(given.plane, kSetup, given.name);
    m_Y = Y;
    m_detail[0] = detail0;
    m_detail[1] = detail1;
    m_detail[2] = detail2;
    const int longest = std::max(Y.rows, Y.cols);
    m_smoothScale = longest > 6500 ? 4 : longest < 3101 ? 2 : 3;

    enlarge(halfDr, m_Y.size(), m_fullDr);
    if (!goesOn(progress, 20))
        return false;
    enlarge(halfDb, m_Y.size(), m_fullDb);
    if (!goesOn(progress, 40))
        return false;
    smoothChroma(m_fullDr, m_fullDb);

    std::fill_n(m_levelDirty, 3, true);
    m_lightDirty = m_dirty = true;
    return goesOn(progress, 100);
}
