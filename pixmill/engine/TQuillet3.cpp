#include <pixmill/engine/TQuillet3.h>

#include <pixmill/core/TPixmill.h>
#include <pixmill/engine/zone_rows.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/message.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <cmath>

using namespace pixmill::rows;
using namespace pixmill::engine;

namespace {

constexpr int kTracedLine = 359; // the number in modYWithC's text, which hosts know; no line of this file

} // namespace

#define PIXMILL_16(f, i)                                                                                               \
    f(i), f(i + 1), f(i + 2), f(i + 3), f(i + 4), f(i + 5), f(i + 6), f(i + 7), f(i + 8), f(i + 9), f(i + 10),         \
        f(i + 11), f(i + 12), f(i + 13), f(i + 14), f(i + 15)
#define PIXMILL_256(f)                                                                                                 \
    PIXMILL_16(f, 0), PIXMILL_16(f, 16), PIXMILL_16(f, 32), PIXMILL_16(f, 48), PIXMILL_16(f, 64), PIXMILL_16(f, 80),   \
        PIXMILL_16(f, 96), PIXMILL_16(f, 112), PIXMILL_16(f, 128), PIXMILL_16(f, 144), PIXMILL_16(f, 160),             \
        PIXMILL_16(f, 176), PIXMILL_16(f, 192), PIXMILL_16(f, 208), PIXMILL_16(f, 224), PIXMILL_16(f, 240)

const int TQuillet3::tg_shadowLut_p[256] = {PIXMILL_256(shadowWeight)};
const int TQuillet3::tg_midtoneLut_p[256] = {PIXMILL_256(midtoneWeight)};
const int TQuillet3::tg_highlightLut_p[256] = {PIXMILL_256(highlightWeight)};

#undef PIXMILL_256
#undef PIXMILL_16

void TQuillet3::setRoi(cv::Rect roi, int scale)
{
    if (roi == m_roi && scale == m_scale)
        return;
    m_dirty = true;
    m_roi = roi;
    m_scale = scale;
}

bool TQuillet3::neq(float a, float b)
{
    return std::abs(a - b) >= 0.01f;
}

bool TQuillet3::bNZ(float a)
{
    return a >= 0.01f || -0.01f >= a;
}

bool TQuillet3::bNeedSHMix(int level)
{
    PIXMILL_CHECK(level >= 0 && level < 3, "TQuillet3::bNeedSHMix", "level", level, "0..2");
    for (const int zone : {1, 2, 0})
        if (bNZ(m_detailK[level][zone]) || bNZ(m_detailT[level][zone]))
            return true;
    return false;
}

void TQuillet3::computeYCurve(int* x, int* y, int* count)
{
    *count = 3;
    x[0] = y[0] = 0;
    x[1] = y[1] = 32768;
    x[2] = 65535;
    y[2] = 65536;
}

void TQuillet3::mixSMH(const cv::Mat& Y, const cv::Mat& shadows, const cv::Mat& midtones, cv::Mat& inOut)
{
    const char* call = "TQuillet3::mixSMH";
    checkPlane(Y, inOut.size(), CV_16UC1, call, "Y");
    checkPlane(shadows, inOut.size(), CV_16UC1, call, "shadows");
    checkPlane(midtones, inOut.size(), CV_16UC1, call, "midtones");
    checkPlane(inOut, CV_16UC1, call, "inOut");

    forEachRow(inOut.size(), [&](int y) {
        mixRow(Y.ptr<ushort>(y), shadows.ptr<ushort>(y), midtones.ptr<ushort>(y), inOut.ptr<ushort>(y), inOut.cols);
    });
}

void TQuillet3::addEdges(const cv::Mat& d0, const cv::Mat& d1, const cv::Mat& d2, cv::Mat& inOut)
{
    const char* call = "TQuillet3::addEdges";
    checkPlane(d0, inOut.size(), CV_16UC1, call, "d0");
    checkPlane(d1, inOut.size(), CV_16UC1, call, "d1");
    checkPlane(d2, inOut.size(), CV_16UC1, call, "d2");
    checkPlane(inOut, CV_16UC1, call, "inOut");

    forEachRow(inOut.size(), [&](int y) {
        ushort* row = inOut.ptr<ushort>(y);
        addEdgesRow(row, d0.ptr<ushort>(y), d1.ptr<ushort>(y), d2.ptr<ushort>(y), row, inOut.cols);
    });
}

void TQuillet3::modYWithC(const cv::Mat& Dr, const cv::Mat& Db, float r, float g, float b, cv::Mat& Y)
{
    if ((Dr.type() != CV_8UC1 && Dr.type() != CV_16UC1) || Db.type() != Dr.type())
        throw keepMessage(TPixmill::traceMsg("modYWithC", kTracedLine, "bad dr type"));
    const char* call = "TQuillet3::modYWithC";
    checkPlane(Y, CV_16UC1, call, "Y");
    checkPlane(Dr, Y.size(), Dr.type(), call, "Dr");
    checkPlane(Db, Y.size(), Dr.type(), call, "Db");

    if (Dr.type() == CV_16UC1) {
        const ColourWeights k = ColourWeights::of16Bit(r, g, b);
        forEachRow(Y.size(),
                   [&](int y) { weighColourRow(Dr.ptr<ushort>(y), Db.ptr<ushort>(y), k, Y.ptr<ushort>(y), Y.cols); });
    } else {
        const ColourWeights k = ColourWeights::of8Bit(r, g, b);
        forEachRow(Y.size(),
                   [&](int y) { weighColourRow(Dr.ptr<uchar>(y), Db.ptr<uchar>(y), k, Y.ptr<ushort>(y), Y.cols); });
    }
}

int detailProcForPixelOp(cv::Mat, cv::Mat, cv::Mat, cv::Mat, float)
{
    return 1;
}

int detailProcForFilterOp(cv::Mat, cv::Mat, cv::Mat, cv::Mat, float)
{
    return 1;
}

int detailProcForEdgeOp(cv::Mat, cv::Mat, cv::Mat, cv::Mat, float)
{
    return 1;
}
