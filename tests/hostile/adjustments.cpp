#include "hostile.h"
#include <pixmill/adjust/TColorAdjQ3.h>
#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/curves/TLut1D.h>
#include <pixmill/curves/TLut2D.h>
#include <pixmill/curves/TLut3D.h>
#include <pixmill/curves/TLutImage.h>
#include <pixmill/curves/TLutThreshold.h>
#include <pixmill/curves/TLutYDrDb.h>
#include <pixmill/curves/TSpline.h>
#include <pixmill/mask/TDrawMask.h>

#include <cstring>
#include <memory>

namespace pixmill::hostile {

using uchar = unsigned char;
using ushort = unsigned short;
using Order = TLut3D::COLOR_ORDER;
using Interp = TLut3D::LUT3D_INTERP;

namespace {

struct Tables2D : TLut2D {
    using TLut2D::TLut2D;
    void mapYDrDb(ushort&, ushort&, ushort&) override {}
};

struct LumaChroma : TLutYDrDb {
    using TLutYDrDb::TLutYDrDb;
    void mapYDrDb(ushort& y, uchar& dr, uchar&) override { y = ushort(y + dr); }
};

} // namespace

/// A mask over a picture, mostly whole, with a document of any commands.
template <>
struct Make<std::shared_ptr<TDrawMask>> {
    static std::shared_ptr<TDrawMask> from(Rng& r)
    {
        auto made = std::make_shared<TDrawMask>();
        TDrawMask& m = *made;
        const cv::Size size = r.common;
        m.setInImage(Mat(size, CV_8UC1, cv::Scalar(90)), Mat(size, CV_16UC1, cv::Scalar(9)),
                     Mat(size, CV_16UC1, cv::Scalar(7)));
        for (Mat* plane : {&m.m_Y8, &m.m_Dr, &m.m_Db, &m.m_mask, &m.m_maskInit, &m.m_strokeCover, &m.m_strokeBase})
            if (r.oneIn(16))
                *plane = r.plane();
        for (int i = r.below(6); i > 0; --i)
            switch (r.below(7)) {
            case 0:
                m.setValue(uchar(r.below(256)));
                break;
            case 1:
                m.invert();
                break;
            case 2:
                m.drawStart(0, 0);
                break;
            case 3:
                m.drawADot(Make<cv::Point>::from(r), 200, r.number());
                break;
            case 4:
                m.drawADot(Make<cv::Point>::from(r), 200, r.number(), r.number(), float(r.real()), float(r.real()));
                break;
            case 5:
                m.drawEnd();
                break;
            case 6:
                m.m_cmdStack.push_back(r.oneIn(2) ? nullptr : new TMaskCmd);
                if (m.m_cmdStack.back())
                    m.m_cmdStack.back()->m_type = r.number();
            }
        if (r.oneIn(8))
            m.m_cmdDone = r.number();
        return made;
    }
};

std::vector<Row> adjustmentRows()
{
    using MaskP = std::shared_ptr<TDrawMask>;
    // clang-format off
    return {
        HOSTILE("TLut1D::apply", (int a, int b, const Mat& in, const Mat& out) { TLut1D lut(a & 2, b & 2); std::memset(lut.m_lut_p, 0, 256); lut.apply(in, out); lut.apply(out); TLut1D(a, b); }),
        HOSTILE("TLut2D::TLut2D", (int n) { const Tables2D lut(n); for (int i = 0; i < lut.m_N; ++i) lut.m_lut_p[i][0] = 0; }),
        HOSTILE("TLut3D::initialize", (ushort* table, Side n, Side channels, Order order) { TLut3D lut; lut.m_table_p = table; lut.initialize(n % 20, channels % 5, order); }),
        HOSTILE("TLut3D::getLut3DAsMat16UC3", (ushort* table, int n, Mat& out) { TLut3D lut; lut.m_table_p = table; lut.m_size[0] = n; lut.getLut3DAsMat16UC3(out); }),
        HOSTILE("TLut3D::LookupLinear", (ushort* table, Side a, Side b, Side c, float low, float high, Mat& in, Mat& out, Interp how) {
            TLut3D lut;
            lut.m_table_p = table;
            lut.m_min[0] = low;
            lut.m_max[1] = high;
            for (int i = 0; i < 3; ++i)
                lut.m_size[i] = (i == 0 ? a : i == 1 ? b : c) % 40;
            Mat wideIn(in.dims > 2 ? cv::Size(3, 3) : in.size(), CV_16UC3, cv::Scalar(1, 40000, 3)), wideOut(wideIn.size(), CV_16UC3);
            lut.LookupLinear(wideIn, wideOut);
            lut.applyLutOn16UC3Mat(in, out, how);
        }),
        HOSTILE("TLut3D::linearInterpolateRGB", (Buffer<ushort> c, float a, float b) { const float f[] = {a, b, a}; TLut3D::linearInterpolateRGB(c, c, c, c, c, c, c, c, c, f, f, f); }),
        HOSTILE("TLutY::apply", (ushort* table, uchar* data, Side w, Side h, Stride s) { TImage image(TSize(w, h), data, s, false); TLutY lut; lut.m_lut_p = table; lut.apply(image); }),
        HOSTILE("TLutC::apply", (ushort* table, ushort* data, Side w, Side h, Stride s) { TImage image(TSize(w, h), data, s, false); TLutC lut; lut.m_lut_p = table; lut.apply(image); lut.apply(image, image); }),
        HOSTILE("TLut8U::setupLinearThreshold", (float a, float b, int range, float s, float k, float t) { TLut8U(a, b, range, s).setupLinearThreshold(k, t, a, b); }),
        HOSTILE("TLut16U::setupLinearThreshold", (float a, float b, int range, float s, float k, float t) { TLut16U(a, b, range, s).setupLinearThreshold(k, t, a, b); }),
        HOSTILE("TLut16U::setupLightAdjust", (float a, float b, float s, float h) { TLut16U(a, b, 1, 1).setupLightAdjust(a, b, s, h); }),
        HOSTILE("TLutYDrDb::TLutYDrDb", (int n) { LumaChroma lut(n); lut.setupCLUT(n); lut.m_log2NC = n; lut.computeLUT(); }),
        HOSTILE("TLutYDrDb::proc", (int n, const Mat& y, const Mat& dr, const Mat& db, Mat& a, Mat& b, Mat& c) { LumaChroma(n % 6).proc(y, dr, db, a, b, c); }),
        HOSTILE("TLutYDrDb::proc luma", (Mat& y) { LumaChroma(-1).proc(y); }),
        HOSTILE("TLutYDrDb::applyCLUT", (int n, const Mat& dr, const Mat& db, Mat& a, Mat& b) { LumaChroma(n % 3).applyCLUT(dr, db, a, b); }),
        HOSTILE("TLutYDrDb::applyCLUT by luma", (int n, const Mat& y, const Mat& dr, Mat& a, Mat& b) { Mat pair[2] = {dr, dr}; for (Mat& p : pair) if (p.dims <= 2) p = Mat(p.size(), CV_8UC1, cv::Scalar(5)); LumaChroma(n % 6).applyCLUT(y, pair[0], pair[1], a, b); }),
        HOSTILE("TSpline::TSpline", (int n, float t) { TSpline spline(n); spline.update(); spline.value(t); }),
        HOSTILE("TSpline::spline_eval", (Side n, float* x, float* y, float* b, float* c, float* d, float t) { TSpline(2).spline_eval(n, x, y, b, c, d, t); }),
        HOSTILE("TSpline::cubic_nak", (Side n, float* x, float* y, float* b, float* c, float* d) { TSpline(2).cubic_nak(n, x, y, b, c, d); }),
        HOSTILE("TSpline::cubic_clamped", (Side n, float* x, float* y, float* b, float* c, float* d, float s) { TSpline(2).cubic_clamped(n, x, y, b, c, d, s, s); }),
        HOSTILE("TSpline::tridiagonal", (Side n, float* a, float* b, float* c, float* d) { TSpline(2).tridiagonal(n, a, b, c, d); }),
        HOSTILE("TSpline::neville", (Side n, float* x, float* y, float t) { TSpline(2).neville(n, x, y, t); }),
        HOSTILE("TSpline::divdiff", (Side n, float* x, float* y) { delete[] TSpline(2).divdiff(n, x, y); }),
        HOSTILE("TSpline::nf_eval", (Side n, float* x, float* c, float t) { TSpline(2).nf_eval(n, x, c, t); }),
        HOSTILE("TColorAdjQ3::proc", (float a, float b, float c, float d, int shift, const Mat& y0, const Mat& y1, const Mat& dr, const Mat& db, Mat& outDr, Mat& outDb) {
            TColorAdjQ3 adjust(a, b, c, d, a, b);
            adjust.m_warmth = a;
            adjust.m_tint = c;
            adjust.m_saturation = d;
            adjust.m_chromaFloor = b;
            adjust.m_shift = shift % 2 ? 11 : shift;
            adjust.m_dirty = uchar(shift & 1);
            adjust.proc(y0, y1, dr, db, outDr, outDb);
        }),
        HOSTILE("TLightAdjLUTq3::proc", (float a, float b, float c, float d, Mat& y) { TLightAdjLUTq3 light; light.setupParams(a, b, c, d, a, b); light.proc(y); light.applyYLUT(y, y); }),

        HOSTILE("TDrawMask::setInImage", (MaskP m, const Mat& y, const Mat& dr, const Mat& db) { m->setInImage(y, dr, db); m->setInImage(nullptr); }),
        {"TDrawMask::setInImage picture", [](Rng& r) { TPImage p(r.common.width, r.common.height); if (r.oneIn(3)) p.m_Y = r.plane(); if (r.oneIn(3)) p.m_mask = r.plane(); TDrawMask().setInImage(&p); }},
        HOSTILE("TDrawMask::proc", (MaskP m) { m->proc(); m->undo(); m->proc(); }),
        HOSTILE("TDrawMask::undo", (MaskP m) { for (int i = 0; i < 8 && m->bNeedUpdate(); ++i) m->undo(); }),
        HOSTILE("TDrawMask::reset", (MaskP m) { m->reset(); m->invertMask(); }),
        HOSTILE("TDrawMask::resetMask", (MaskP m, Mat& mask) { m->resetMask(mask, 7); }),
        HOSTILE("TDrawMask::getMaskRoi", (MaskP m, cv::Rect roi, int scale) { m->getMaskRoi(roi, scale); }),
        HOSTILE("TDrawMask::drawStrokeDot", (MaskP m, bool first, cv::Point p, int a, int b, float o, float e) { TMaskParam q; q.m_center = p; q.m_outerRadius = a; q.m_innerRadius = b; q.m_opacity = o; q.m_edge = e; m->drawStrokeDot(first, &q); m->drawStrokeDot(false, nullptr); }),
        HOSTILE("TDrawMask::updateLUT", (MaskP m, int a, int b) { m->updateLUT(a, b); }),
        HOSTILE("TDrawMask::drawDumbDot", (MaskP m, cv::Point p, int r) { m->m_mask.copyTo(m->m_strokeCover); m->drawDumbDot(p, r); }),
        HOSTILE("TDrawMask::drawMaskDotLUT", (MaskP m, cv::Point p, int a, int b, float e) { m->m_mask.copyTo(m->m_strokeCover); m->updateLUT(a, b); m->drawMaskDotLUT(p, a, b, e); }),
        HOSTILE("TDrawMask::drawMaskDot", (MaskP m, cv::Point p, int a, int b, float e) { m->m_mask.copyTo(m->m_strokeCover); m->drawMaskDot(p, a, b, e); }),
        HOSTILE("TDrawMask::renderStroke", (MaskP m, float o, cv::Point p, int r) { m->m_mask.copyTo(m->m_strokeCover); m->m_mask.copyTo(m->m_strokeBase); m->renderStroke(9, o, p, r); }),
        HOSTILE("TDrawMask::checkBoundary", (MaskP m, cv::Point p, int r) { m->checkBoundary(p, r); }),
    };
    // clang-format on
}

} // namespace pixmill::hostile
