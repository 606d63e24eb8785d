#include "hostile.h"
#include <pixmill/core/TImage.h>
#include <pixmill/core/TMat.h>
#include <pixmill/core/TPixmill.h>
#include <pixmill/core/TProgress.h>
#include <pixmill/engine/TQuillet3.h>
#include <pixmill/planar/TPImage.h>

namespace pixmill::hostile {

using uchar = unsigned char;
using ushort = unsigned short;
using IMTYPE = TImage::IMTYPE;

/// Of any type; of the call's size, half of it, another, none, or a wrapper around memory.
template <>
struct Make<TImage> {
    static TImage from(Rng& r)
    {
        const IMTYPE type = IMTYPE(r.below(5));
        const TSize size(r.common.width, r.common.height);
        r.tell("TImage " + std::to_string(type));
        TImage made(type, r.oneIn(8)   ? TSize()
                          : r.oneIn(4) ? TSize(r.size(), r.size())
                          : r.oneIn(2) ? TImage::dec2Size(size)
                                       : size);
        for (int k = 0; k < (type == TImage::IM_C ? 2 : 1); ++k)
            if (made.m_plane_p[k])
                made.toMat(k).setTo(r.below(256));
        return made;
    }
};

/// Mostly whole; planes replaced, dropped, of other types.
template <>
struct Make<TPImage> {
    static TPImage from(Rng& r)
    {
        TPImage made(r.common.width, r.common.height);
        for (Mat* plane : {&made.m_Y, &made.m_Dr, &made.m_Db, &made.m_mask}) {
            if (!plane->empty())
                plane->setTo(r.below(60000));
            if (r.oneIn(12))
                *plane = r.plane();
        }
        return made;
    }
};

template <>
struct Make<TQuillet3> {
    static TQuillet3 from(Rng& r)
    {
        TQuillet3 made;
        made.setup(Mat(r.common, CV_16UC1), nullptr);
        made.m_fullDr.create(r.common, CV_16UC1);
        made.m_fullDb.create(r.common, CV_16UC1);
        for (Mat* plane :
             {&made.m_Y, &made.m_detail[0], &made.m_detail[1], &made.m_detail[2], &made.m_fullDr, &made.m_fullDb}) {
            plane->setTo(r.below(60000));
            if (r.oneIn(16))
                *plane = r.plane();
        }
        for (float* control : {&made.m_detailK[0][0], &made.m_detailT[1][1], made.m_lightParams, made.m_colorWeights})
            if (r.oneIn(2))
                *control = float(r.real());
        made.m_smoothScale = r.number();
        return made;
    }
};

template <>
struct Make<TProgress> {
    static TProgress from(Rng& r)
    {
        TProgress made([](int, void*) { return true; }, &r);
        for (int depth = r.below(3); depth > 0; --depth)
            made.start(float(r.real()));
        if (r.oneIn(2))
            made.m_counts.back() = r.number();
        if (r.oneIn(2))
            made.m_totals.back() = r.number();
        if (r.oneIn(8))
            made.m_counts.clear();
        if (r.oneIn(8))
            made.m_weights.clear();
        return made;
    }
};

std::vector<Row> pictureRows()
{
    // clang-format off
    return {
        HOSTILE("TPixmill::traceMsg", (int line, int which) { TPixmill::traceMsg(which % 3 == 0 ? nullptr : "", line, which % 2 ? nullptr : ""); }),
        HOSTILE("TPixmill::toQDebug", (int line, int which) { TPixmill::m_tDebug_p = [](const char*) {}; if (which % 2) TPixmill::m_tDebug_p = nullptr; TPixmill::toQDebug(nullptr, line, nullptr); }),
        HOSTILE("TProgress::prog", (TProgress& p, int count, int total) { p.prog(count, total); p.prog(); }),
        HOSTILE("TProgress::prog one", (TProgress& p) { p.prog(); }),
        HOSTILE("TProgress::end", (TProgress& p) { while (p.end() && !p.m_totals.empty()) {} }),
        HOSTILE("TProgress::progress", (TProgress& p) { p.progress(); p.done(); p.reset(); }),
        HOSTILE("TMat::setRoi", (Mat& m, int x, int y, int scale) { TMat(m).setRoi(x, y, scale); }),
        HOSTILE("TImage::TImage", (IMTYPE type, int w, int h) { const TImage image(type, TSize(w, h)); TImage copy(image); copy = image; }),
        HOSTILE("TImage::TImage wrapper", (Side w, Side h, uchar* data, Stride stride, bool swap) { const TImage copy(TImage(TSize(w, h), data, stride, swap)); }),
        HOSTILE("TImage::TImage wrapper 16", (Side w, Side h, ushort* data, Stride stride, bool swap) { const TImage copy(TImage(TSize(w, h), data, stride, swap)); }),
        HOSTILE("TImage::copyFrom", (TImage& a, TImage& b) { a.copyFrom(b); a.swapC4RBCannel(); }),
        HOSTILE("TImage::resize", (TImage& a, int w, int h) { a.resize(TSize(w, h)); a.free(); }),
        HOSTILE("TImage::dec2Size", (int w, int h) { TImage::dec2Size(TSize(w, h)); }),
        HOSTILE("TImage::fromMat", (TImage& a, const Mat& m, int plane) { a.fromMat(m, plane); }),
        HOSTILE("TImage::toMat", (TImage& a, int plane) { Mat copy = a.toMat(plane).clone(); }),
        HOSTILE("TImage::rgba8uTo16u", (TImage& a, TImage& b) { TImage::rgba8uTo16u(a, b); }),
        HOSTILE("TImage::rgba16uTo8u", (TImage& a, TImage& b) { TImage::rgba16uTo8u(a, b); }),
        HOSTILE("TImage::rgba16uToYCM", (TImage& a, TImage& y, TImage& c, TImage& m) { y.init(TImage::IM_Y); c.init(TImage::IM_C); m.init(TImage::IM_M); TImage::rgba16uToYCM(a, y, c, m); }),
        HOSTILE("TImage::rgba8uToYCM", (TImage& a, TImage& y, TImage& c, TImage& m) { TImage::rgba8uToYCM(a, y, c, m); }),
        HOSTILE("TImage::YCMToRgba16u", (TImage& y, TImage& c, TImage& m, TImage& out) { TImage::YCMToRgba16u(y, c, m, out); }),
        HOSTILE("TImage::YCMToRgba8u", (TImage& y, TImage& c, TImage& m, TImage& out) { TImage::YCMToRgba8u(y, c, m, out); }),
        HOSTILE("TImage::bgra8uToTImage", (const uchar* src, Side w, Side h, Stride stride, TImage& y, TImage& c, TImage& m) { TImage::bgra8uToTImage(src, w, h, stride, y, c, m); }),
        HOSTILE("TImage::timageToBgra8u", (TImage& y, TImage& c, TImage& m, uchar* dst, Stride stride) { TImage::timageToBgra8u(y, c, m, dst, stride); }),
        HOSTILE("TImage::updateCfromYChange", (TImage& a, TImage& c, TImage& b, TImage& out, float guard) { TImage::updateCfromYChange(a, c, b, out, guard); }),
        HOSTILE("TImage::halfY8U", (TImage& a) { a.halfY8U(); }),

        HOSTILE("TPImage::TPImage", (int w, int h) { TPImage(w, h).release(); }),
        HOSTILE("TPImage::create", (TPImage& p, int w, int h) { p.create(w, h, true); }),
        HOSTILE("TPImage::copyTo", (TPImage& p, TPImage& to, bool y) { p.copyTo(to, y); p.clone(y); }),
        HOSTILE("TPImage::convertFrom", (TPImage& p, const uchar* src, Side w, Side h, Stride s) { p.convertFrom(src, w, h, s); }),
        HOSTILE("TPImage::convertFrom 16", (TPImage& p, const ushort* src, Side w, Side h, Stride s) { p.convertFrom(src, w, h, s); }),
        HOSTILE("TPImage::convertFrompRGB", (TPImage& p, Planes<ushort>& rgb, Side w, Side h) { p.convertFrompRGB(rgb, w, h, 1280); p.convertFrompRGB(nullptr, w, h, 0); }),
        HOSTILE("TPImage::convertFrompRGB15U", (TPImage& p, Planes<ushort>& rgb, Side w, Side h) { p.convertFrompRGB15U(rgb, w, h, 0); }),
        HOSTILE("TPImage::convertTo", (TPImage& p, uchar* dst, Stride s) { p.convertTo(dst, s); }),
        HOSTILE("TPImage::convertToHalfpRGB", (TPImage& p, Planes<uchar>& rgb, Stride s) { p.convertToHalfpRGB(rgb, s); }),
        HOSTILE("TPImage::YDRDB2RGB", (const Mat& y, const Mat& dr, const Mat& db, Mat& r, Mat& g, Mat& b) { TPImage::YDRDB2RGB(y, dr, db, r, g, b); }),
        HOSTILE("TPImage::YDRDB2RGB15U", (const Mat& y, const Mat& dr, const Mat& db, Mat& r, Mat& g, Mat& b) { TPImage(0, 0).YDRDB2RGB15U(y, dr, db, r, g, b); }),
        HOSTILE("TPImage::YDRDB2RGB8U", (const Mat& y, const Mat& dr, const Mat& db, Mat& r, Mat& g, Mat& b) { TPImage(0, 0).YDRDB2RGB8U(y, dr, db, r, g, b); }),
        HOSTILE("TPImage::PRGB2Y", (const Mat& r, const Mat& g, const Mat& b, Mat& y) { TPImage::PRGB2Y(r, g, b, y); }),
        HOSTILE("TPImage::PRGB15U2Y", (const Mat& r, const Mat& g, const Mat& b, Mat& y) { TPImage::PRGB15U2Y(r, g, b, y); }),
        HOSTILE("TPImage::YDRDBToQImage", (const Mat& y, const Mat& dr, const Mat& db, uchar* dst, Side w, Side h, Stride s) { TPImage::YDRDBToQImage(y, dr, db, dst, w, h, s); }),
        HOSTILE("TPImage::MatRoi", (const Mat& in, int x, int y, int w, int h, int scale, bool half, bool smooth) { TPImage::MatRoi(in, x, y, w, h, scale, half, smooth); }),
        HOSTILE("TPImage::convertTopRGB", (TPImage& p, Planes<ushort>& rgb) { p.convertTopRGB(rgb, 1280); }),
        HOSTILE("TPImage::convertTopRGB15U", (TPImage& p, Planes<ushort>& rgb) { p.convertTopRGB15U(rgb, 1280); }),
        HOSTILE("TPImage::computeLUT", (uchar* to, ushort* back) { TPImage::m_lutFullToEdge_p = to; TPImage::m_lutEdgeToFull_p = back; TPImage::computeLUT(); }),
        HOSTILE("TPImage::fullToEdge", (uchar* lut, const Mat& full, const Mat& half, Mat& edge) { TPImage::m_lutFullToEdge_p = lut; TPImage::fullToEdge(full, half, edge); }),
        HOSTILE("TPImage::edgeToFull", (ushort* lut, const Mat& edge, const Mat& half, Mat& full, float k) { TPImage::m_lutEdgeToFull_p = lut; TPImage::edgeToFull(edge, half, full, k); }),
        HOSTILE("TPImage::edgeToFull by gain", (ushort* lut, const Mat& edge, const Mat& a, const Mat& b, Mat& full, float e, float k) { TPImage::m_lutEdgeToFull_p = lut; TPImage::edgeToFull(edge, a, b, full, e, k); }),
        HOSTILE("TPImage::applyFullToEdgeLUT", (uchar* lut, const Mat& in, Mat& edge) { TPImage::m_lutFullToEdge_p = lut; TPImage::applyFullToEdgeLUT(in, edge); }),

        HOSTILE("TQuillet3::setup like", (TQuillet3& q, const Mat& like) { q.setup(like, nullptr); }),
        HOSTILE("TQuillet3::setup", (const Mat& y, const Mat& a, const Mat& b, const Mat& c, const Mat& dr, const Mat& db, TProgress& p) { TQuillet3().setup(y, a, b, c, dr, db, &p); }),
        HOSTILE("TQuillet3::proc", (TQuillet3& q, cv::Rect roi, int scale, const Mat& extra) { q.proc(roi, scale, extra); q.proc(roi, scale, Mat()); }),
        HOSTILE("TQuillet3::proc whole", (TQuillet3& q, const Mat& extra) { q.proc({0, 0, 40, 40}, 1, extra); q.proc({1, 2, 20, 20}, 2, extra); }),
        HOSTILE("TQuillet3::bNeedSHMix", (TQuillet3& q, int level) { q.bNeedSHMix(level); }),
        HOSTILE("TQuillet3::mixSMH", (const Mat& y, const Mat& s, const Mat& m, Mat& io) { TQuillet3::mixSMH(y, s, m, io); }),
        HOSTILE("TQuillet3::addEdges", (const Mat& y, const Mat& s, const Mat& m, Mat& io) { TQuillet3::addEdges(y, s, m, io); }),
        HOSTILE("TQuillet3::modYWithC", (const Mat& dr, const Mat& db, float r, float g, float b, Mat& y) { TQuillet3::modYWithC(dr, db, r, g, b, y); }),
    };
    // clang-format on
}

} // namespace pixmill::hostile
