// The single steps that hosts may call by themselves, and forms of operations that the whole ones do not come through.
#include "fingerprint.h"
#include <pixmill/core/TImage.h>
#include <pixmill/curves/TLut3D.h>
#include <pixmill/curves/TLutImage.h>
#include <pixmill/curves/TLutThreshold.h>
#include <pixmill/curves/TLutYDrDb.h>
#include <pixmill/curves/TSpline.h>
#include <pixmill/filters/BilateralFilter.h>
#include <pixmill/filters/DomainTransform.h>
#include <pixmill/filters/TGuidedFilter.h>
#include <pixmill/mask/TDrawMask.h>
#include <pixmill/multiscale/ConvPyr.h>
#include <pixmill/resample/BlockProcessor.h>
#include <pixmill/resample/border.h>
#include <pixmill/resample/resample.h>

#include <memory>

namespace pixmill::fingerprint {

namespace {

using Planes = std::vector<cv::Mat>;

const cv::Size kSize(193, 141), kHalf(97, 71);

Planes planesOf(Source& source, int count, cv::Size size, int type)
{
    Planes planes;
    for (int i = 0; i < count; ++i)
        planes.push_back(source.plane(size, type));
    return planes;
}

void addAll(const Planes& planes, Hash& hash)
{
    for (const cv::Mat& plane : planes)
        hash.add(plane);
}

void addDomainSteps(Operations& all)
{
    all.push_back({"DomainTransform, its steps", [](Source& s, Hash& h) {
                       DomainTransform filter;
                       const Planes in = planesOf(s, 3, kSize, CV_32FC1);
                       Planes x = planesOf(s, 3, kSize, CV_32FC1), y = planesOf(s, 3, kSize, CV_32FC1), line = x;
                       filter.diffx(in, x);
                       filter.diffy(in, y);
                       cv::Mat colour = s.plane(kSize, CV_32FC3), gaps = colour.clone(), sum, steps;
                       filter.diffx(colour, gaps);
                       filter.channelSum(gaps, sum, 3);
                       filter.channelSum(y, steps, 3);
                       for (const Planes* planes : {&x, &y})
                           addAll(*planes, h);
                       steps = steps / 64 + 1;
                       filter.RFcompute(line, steps, 9.0f);
                       addAll(line, h);
                       addAll({gaps, sum, steps}, h);
                   }});
    all.push_back({"DomainTransform, its convolutions' steps", [](Source& s, Hash& h) {
                       cv::Mat coordinates = s.plane(kSize, CV_32FC1) / 64 + 1, img = s.plane(kSize, CV_32FC3);
                       for (int y = 0; y < kSize.height; ++y)
                           for (int x = 1; x < kSize.width; ++x)
                               coordinates.at<float>(y, x) += coordinates.at<float>(y, x - 1);
                       cv::Mat other = img.clone();
                       DomainTransform().NCcompute(img, coordinates, 17.5f);
                       DomainTransform().ICcompute(other, coordinates, 17.5f);
                       addAll({img, other}, h);
                   }});
    all.push_back({"DomainTransform::proc", [](Source& s, Hash& h) {
                       DomainTransform filter;
                       filter.m_sigmaS = 8.0f;
                       filter.m_sigmaR = 30.0f;
                       const cv::Mat in = s.plane(kSize, CV_32FC2);
                       for (const int mode : {0, 1}) {
                           cv::Mat out;
                           filter.proc(in, out, mode);
                           h.add(out);
                       }
                       Planes out;
                       const Planes planes = planesOf(s, 2, kSize, CV_32FC1), joint = planesOf(s, 2, kSize, CV_32FC1);
                       filter.proc(planes, out, 0, joint);
                       addAll(out, h);
                   }});
}

void addGuidedSteps(Operations& all)
{
    all.push_back({"TGuidedFilter, its estimates and applications", [](Source& s, Hash& h) {
                       const Planes guide = planesOf(s, 3, kHalf, CV_32FC1), wide = planesOf(s, 3, kSize, CV_32FC1);
                       const cv::Mat src = s.plane(kHalf, CV_32FC1);
                       TGuidedFilter one, three;
                       one.gFc1_estimate(guide[0], src, 4, 0.02f);
                       three.gFc3_estimate(guide, src, 2, 0.05f);
                       for (const TGuidedFilter* filter : {&one, &three})
                           addAll({filter->m_a0, filter->m_b}, h);
                       addAll({three.m_a1, three.m_a2}, h);
                       cv::Mat out;
                       one.gFc1_apply(wide[0], out);
                       h.add(out);
                       for (const int type : {CV_8UC1, CV_16UC1}) {
                           one.gFc1_applyLoop(s.plane(kSize, type), out);
                           h.add(out);
                       }
                       three.gFc3_apply(wide, out);
                       h.add(out);
                   }});
    all.push_back({"TGuidedFilter, its moments", [](Source& s, Hash& h) {
                       const Planes p = planesOf(s, 4, kSize, CV_32FC1);
                       cv::Mat cov(kSize, CV_32FC1, cv::Scalar(0)), var = cov.clone(), a, b;
                       const IppiSize full{kSize.width, kSize.height}, roi{180, 130}, mask{7, 5};
                       TGuidedFilter::calcov2(cov, p[0], p[1], p[2], p[3], a, b, full, roi, mask, {3, 2}, true);
                       TGuidedFilter::calvar2(var, p[0], p[2], a, b, full, roi, mask, {3, 2}, false);
                       addAll({cov, var}, h);
                       for (const int rows : {10, 599, 600, 5000})
                           h.add(TGuidedFilter::checkBlkSz(4000, rows));
                   }});
}

void addGridSteps(Operations& all)
{
    all.push_back({"BilateralFilter, its grid", [](Source& s, Hash& h) {
                       const cv::Mat edge = s.plane(kSize, CV_16UC1);
                       cv::Mat picture = s.plane(kSize, CV_16UC1);
                       BilateralFilter filter;
                       filter.setup(edge, kSize.width, kSize.height, 9, 4000, true);
                       filter.alloc();
                       filter.gridInit(0.01f, 0.5f);
                       filter.buildGrid(picture, edge);
                       filter.interpGrid(picture, edge);
                       h.add(picture);
                       std::vector<float> line = s.floats(900, 9, true);
                       filter.iir(line.data(), 300, 3, 2.5f, 2);
                       h.add(line);
                   }});
    all.push_back({"ConvPyr, its steps", [](Source& s, Hash& h) {
                       const cv::Mat five = (cv::Mat_<float>(1, 5) << 0.11f, 0.4f, 0.55f, 0.37f, 0.13f),
                                     three = (cv::Mat_<float>(1, 3) << 0.15f, 0.5f, 0.15f);
                       ConvPyr pyramid(five, five, three);
                       const cv::Mat in = s.plane(kSize, CV_32FC1);
                       cv::Mat half, back;
                       pyramid.pyrDown(in, half);
                       pyramid.pyrUp(half, in, back);
                       addAll({half, back}, h);
                   }});
}

void addCurveSteps(Operations& all)
{
    all.push_back({"TSpline, its steps", [](Source& s, Hash& h) {
                       constexpr int n = 9;
                       std::vector<float> x(n), y = s.floats(n, 3, true), b(n), c(n), d(n), low = s.floats(n, 1, true),
                                                diagonal(n, 4.5f), high = s.floats(n, 1, true),
                                                right = s.floats(n, 9, true);
                       for (int i = 0; i < n; ++i)
                           x[i] = (i ? x[i - 1] : 0.0f) + 0.3f + s.floats(1, 1, false)[0];
                       TSpline spline(4);
                       const auto addValues = [&] {
                           for (const std::vector<float>* v : {&b, &c, &d})
                               h.add(*v);
                           for (int i = -4; i < 90; ++i)
                               h.add(spline.spline_eval(n, x.data(), y.data(), b.data(), c.data(), d.data(), i * 0.1f));
                       };
                       spline.cubic_nak(n, x.data(), y.data(), b.data(), c.data(), d.data());
                       addValues();
                       spline.cubic_clamped(n, x.data(), y.data(), b.data(), c.data(), d.data(), 0.7f, -1.3f);
                       addValues();
                       spline.tridiagonal(n, low.data(), diagonal.data(), high.data(), right.data());
                       h.add(right);
                       const std::unique_ptr<float[]> newton(spline.divdiff(n, x.data(), y.data()));
                       h.bytes(newton.get(), n * sizeof(float));
                       for (int i = 0; i < 40; ++i) {
                           h.add(spline.neville(n, x.data(), y.data(), i * 0.17f));
                           h.add(spline.nf_eval(n, x.data(), newton.get(), i * 0.17f));
                       }
                   }});
    all.push_back({"TLut3D, its single triples and its identities", [](Source& s, Hash& h) {
                       std::vector<ushort> cube(5 * 5 * 5 * 4);
                       TLut3D table;
                       std::fill_n(table.m_size, 3, 5);
                       table.m_table_p = cube.data();
                       for (const auto order : {TLut3D::FIRST_FASTEST, TLut3D::LAST_FASTEST}) {
                           table.initialize(5, 4, order);
                           h.add(cube);
                       }
                       for (int i = 0; i < 500; ++i) {
                           const std::vector<float> f = s.floats(9, 1, false);
                           ushort c[8][3], out[3];
                           for (auto& corner : c)
                               for (ushort& v : corner)
                                   v = ushort(s.next());
                           TLut3D::linearInterpolateRGB(out, c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7], &f[0],
                                                        &f[3], &f[6]);
                           h.bytes(out, sizeof out);
                       }
                   }});
    all.push_back({"TLut1D of every depth, TLutYDrDb by bands", [](Source& s, Hash& h) {
                       for (const int from : {CV_8U, CV_16U})
                           for (const int to : {CV_8U, CV_16U}) {
                               TLut1D table(from, to);
                               const cv::Mat entries = s.plane({from == CV_8U ? 256 : 65536, 1}, to);
                               std::memcpy(table.m_lut_p, entries.data, entries.total() * entries.elemSize());
                               cv::Mat out(kSize, to);
                               table.apply(s.plane(kSize, from), out);
                               h.add(out);
                           }
                       struct Bands : TLutYDrDb {
                           Bands() : TLutYDrDb(3) {}
                           void mapYDrDb(ushort& y, uchar& dr, uchar& db) override
                           {
                               dr = uchar(dr / 2 + y / 600);
                               db = uchar(255 - db + y / 3000);
                               y = ushort(y / 2 + 300);
                           }
                       } bands;
                       const Planes chroma = planesOf(s, 2, kSize, CV_8UC1);
                       cv::Mat y = s.plane(kSize, CV_16UC1), dr, db;
                       bands.setupYLUT();
                       bands.computeLUT();
                       bands.applyCLUT(y, chroma[0], chroma[1], dr, db);
                       bands.proc(y);
                       addAll({y, dr, db}, h);
                   }});
}

void addBrushSteps(Operations& all)
{
    all.push_back({"TDrawMask, its steps", [](Source& s, Hash& h) {
                       TDrawMask painter;
                       const cv::Mat y = s.plane(kHalf, CV_8UC1), dr = s.around(kHalf, 9000),
                                     db = s.around(kHalf, 9000);
                       painter.setInImage(y, dr, db);
                       painter.setValue(60);
                       painter.proc();
                       TMaskParam dot;
                       painter.drawStrokeDot(true, &dot);
                       painter.updateLUT(24, 9);
                       painter.drawMaskDotLUT({40, 35}, 24, 9, 0.3f);
                       painter.drawMaskDot({55, 30}, 20, 6, 0.4f);
                       painter.drawDumbDot({20, 50}, 12);
                       cv::Point centre(45, 38);
                       painter.checkBoundary(centre, 33);
                       painter.renderStroke(220, 0.8f, centre, 33);
                       painter.invertMask();
                       h.add(painter.m_mask);
                   }});
}

void addPictureSteps(Operations& all)
{
    all.push_back({"TImage around a host's pixels", [](Source& s, Hash& h) {
                       cv::Mat bytes = s.plane({192, 140}, CV_8UC4), words = s.plane({192, 140}, CV_16UC4);
                       const TImage a({192, 140}, bytes.data, int(bytes.step), true);
                       const TImage b({192, 140}, words.ptr<ushort>(), int(words.step), true);
                       addAll({a.toMat(0), b.toMat(0)}, h);
                   }});
    all.push_back({"BlockProcessor, a packed picture and blocks kept", [](Source& s, Hash& h) {
                       for (const int type : {CV_16UC3, CV_16UC1}) {
                           Planes out = {cv::Mat(kSize, type)}, block;
                           const int side = type == CV_16UC3 ? kSize.width : 50;
                           BlockProcessor processor;
                           processor.initialize({s.plane(kSize, type)}, out, side, side, false, 12, 0,
                                                BlockProcessor::EDGE_TAPER_KEEP_FIRST);
                           for (int roi[4]; processor.getBlockImage(roi, block); processor.writeBackBlock())
                               block[0] += cv::Scalar::all(roi[0] + roi[1]);
                           addAll(out, h);
                       }
                   }});
    all.push_back(
        {"upSize2X and downSize2X by pyramid steps", [](Source& s, Hash& h) {
             for (const int type : {CV_32FC1, CV_32FC2, CV_32FC3, CV_32FC4, CV_32FC(5), CV_64FC1, CV_16UC3})
                 for (const cv::Size size : {cv::Size(1, 1), {2, 5}, {13, 2}, {45, 38}, {64, 33}}) {
                     const cv::Mat wide = s.plane({size.width, size.height}, CV_MAKETYPE(CV_32F, CV_MAT_CN(type)));
                     cv::Mat in, up(2 * size.height, 2 * size.width, type),
                         down((size.height + 1) / 2, (size.width + 1) / 2, type);
                     wide.convertTo(in, type);
                     upSize2X(in, up, 257);
                     downSize2X(in, down, 257);
                     addAll({up, down}, h);
                 }
         }});
    all.push_back({"extendBorder of rows in memory", [](Source& s, Hash& h) {
                       cv::Mat floats = s.plane(kSize, CV_32FC1), bytes = s.plane(kSize, CV_8UC1);
                       extendBorder(floats.ptr<float>(10) + 10, int(floats.step), {150, 100}, 3, 4, 5, 6);
                       extendBorder(bytes.ptr(10) + 10, int(bytes.step), {150, 100}, 3, 4, 5, 6);
                       addAll({floats, bytes}, h);
                   }});
}

} // namespace

Operations steps()
{
    Operations all;
    addDomainSteps(all);
    addGuidedSteps(all);
    addGridSteps(all);
    addCurveSteps(all);
    addBrushSteps(all);
    addPictureSteps(all);
    return all;
}

} // namespace pixmill::fingerprint
