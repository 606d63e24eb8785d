#include "hostile.h"
#include <pixmill/core/TImage.h>
#include <pixmill/core/TProgress.h>
#include <pixmill/filters/BilateralFilter.h>
#include <pixmill/filters/DomainTransform.h>
#include <pixmill/filters/TGuidedFilter.h>
#include <pixmill/multiscale/ConvPyr.h>
#include <pixmill/multiscale/LocalLaplacian.h>
#include <pixmill/multiscale/TWLSFilter.h>
#include <pixmill/multiscale/gaussianiir.h>
#include <pixmill/multiscale/tFilterBox.h>
#include <pixmill/resample/BlockProcessor.h>
#include <pixmill/resample/blend.h>
#include <pixmill/resample/border.h>
#include <pixmill/resample/guidedUpsize.h>
#include <pixmill/resample/resample.h>
#include <pixmill/version.h>

#if PIXMILL_HAS_SOLVER
#include <pixmill/multiscale/pardisoSolver.h>
#endif

namespace pixmill::hostile {

using uchar = unsigned char;
using ushort = unsigned short;
using Taper = BlockProcessor::EDGE_TAPER_TYPE;

namespace {

/// Five rows of a system of five unknowns, as the solvers take it.
struct System {
    int ia[6] = {1, 2, 3, 4, 5, 6}, ja[5] = {1, 2, 3, 4, 5};
    double a[5] = {1, 2, 3, 4, 5}, b[5] = {1, 1, 1, 1, 1}, x[5];
    float af[5] = {1, 2, 3, 4, 5}, bf[5] = {1, 1, 1, 1, 1}, xf[5];
};

} // namespace

std::vector<Row> filterRows()
{
    // clang-format off
    return {
        HOSTILE("BilateralFilter::proc", (const Mat& edge, Mat& io, int s, int r) { BilateralFilter f; f.proc(edge, io, s, r, nullptr); f.proc(edge, io, s, r, nullptr); }),
        HOSTILE("BilateralFilter::setup", (const Mat& edge, Mat& io, int w, int h, int s, int r, bool wide) { BilateralFilter f; f.setup(edge, w, h, s, r, wide); f.alloc(); f.gridInit(0, 0); f.buildGrid(io, edge); f.filterGrids(); f.interpGrid(io, edge); f.dealloc(); }),
        HOSTILE("BilateralFilter members", (const Mat& edge, Mat& io, int padXY, int padZ, bool late) { BilateralFilter f; if (late) f.proc(edge, io, 8, 8, nullptr); f.m_padXY = padXY; f.m_padZ = padZ; f.proc(edge, io, 8, 8, nullptr); }),
        HOSTILE("BilateralFilter::iir", (float* line, Side n, float sigma, int k) { BilateralFilter().iir(line, n, 3, sigma, k); }),
        HOSTILE("BilateralFilter::gradientGuide", (const Mat& in, Mat& guide, int r) { BilateralFilter::gradientGuide(in, guide, r); }),
        HOSTILE("DomainTransform::proc", (const Mat& in, Mat& out, float s, float r, int mode) { DomainTransform f; f.setup(s, r); f.proc(in, out, mode); }),
        HOSTILE("DomainTransform::proc planes", (const Mats& in, Mats& out, const Mats& joint, float s, float r, int mode) { DomainTransform f; f.m_sigmaS = s; f.m_sigmaR = r; f.proc(in, out, mode, joint); }),
        HOSTILE("DomainTransform::diffx", (const Mat& in, Mat& out) { DomainTransform().diffx(in, out); }),
        HOSTILE("DomainTransform::diffx planes", (const Mats& in, Mats& out) { DomainTransform().diffx(in, out); }),
        HOSTILE("DomainTransform::diffy", (const Mat& in, Mat& out) { DomainTransform().diffy(in, out); }),
        HOSTILE("DomainTransform::diffy planes", (const Mats& in, Mats& out) { DomainTransform().diffy(in, out); }),
        HOSTILE("DomainTransform::channelSum", (const Mat& in, Mat& out, int n) { DomainTransform().channelSum(in, out, n); }),
        HOSTILE("DomainTransform::channelSum planes", (const Mats& in, Mat& out, int n) { DomainTransform().channelSum(in, out, n); }),
        HOSTILE("DomainTransform::RFcompute", (Mat& img, Mat& d, float s) { DomainTransform().RFcompute(img, d, s); }),
        HOSTILE("DomainTransform::RFcompute planes", (Mats& img, Mat& d, float s) { DomainTransform().RFcompute(img, d, s); }),
        HOSTILE("DomainTransform::RecursiveFilter", (const Mat& in, Mat& out, float s, float r) { DomainTransform().RecursiveFilter(in, out, s, r); }),
        HOSTILE("DomainTransform::RecursiveFilter planes", (const Mats& in, Mats& out, float s, float r, const Mats& joint) { DomainTransform().RecursiveFilter(in, out, s, r, joint); }),
        HOSTILE("DomainTransform::NCcompute", (Mat& img, Mat& ct, float r) { DomainTransform().NCcompute(img, ct, r); }),
        HOSTILE("DomainTransform::ICcompute", (Mat& img, Mat& ct, float r) { DomainTransform().ICcompute(img, ct, r); }),
        HOSTILE("DomainTransform::NormalizedConvolutionFilter", (const Mat& in, Mat& out, float s, float r) { DomainTransform().NormalizedConvolutionFilter(in, out, s, r); }),
        HOSTILE("DomainTransform::InterpolatedConvolutionFilter", (const Mat& in, Mat& out, float s, float r) { DomainTransform().InterpolatedConvolutionFilter(in, out, s, r); }),
        HOSTILE("TGuidedFilter::setup", (const Mats& guide, const Mat& src, int r, float eps, Mat& out) { TGuidedFilter f; f.setup(guide, src, r, eps); f.proc(guide, out); }),
        HOSTILE("TGuidedFilter::proc", (const Mats& guide, Mat& out, const Mat& a, const Mat& b) { TGuidedFilter f; f.m_a0 = f.m_a1 = f.m_a2 = a; f.m_b = b; f.proc(guide, out); }),
        HOSTILE("TGuidedFilter::gFc1", (const Mat& guide, const Mat& src, int r, float eps, Mat& out) { TGuidedFilter f; f.gFc1_estimate(guide, src, r, eps); f.gFc1_apply(guide, out); f.gFc1_applyLoop(guide, out); }),
        HOSTILE("TGuidedFilter::gFc3", (const Mats& guide, const Mat& src, int r, float eps, Mat& out) { TGuidedFilter f; f.gFc3_estimate(guide, src, r, eps); f.gFc3_apply(guide, out); }),
        HOSTILE("TGuidedFilter::gFc1_oneMean", (const Mat& guide, const Mat& src, Mat& out, int r, float eps) { TGuidedFilter::gFc1_oneMean(guide, src, out, r, eps); }),
        HOSTILE("TGuidedFilter::stripProc", (const Mat& guide, const Mat& src, Mat& out, int r, float eps) { TGuidedFilter::stripProc(guide, src, out, r, eps); }),
        HOSTILE("TGuidedFilter::gFc1_stripproc", (const Mat& guide, const Mat& src, Mat& out, int r, float eps, int h) { TGuidedFilter::gFc1_stripproc(guide, src, out, r, eps, h); }),
        HOSTILE("TGuidedFilter::gFc1_blkGuide", (const Mat& guide, const Mat& src, Mat& out, int r, float eps) { TGuidedFilter::gFc1_blkGuide(guide, src, out, r, eps); }),
        HOSTILE("TGuidedFilter::checkBlkSz", (int a, int b) { TGuidedFilter::checkBlkSz(a, b); }),
        HOSTILE("TGuidedFilter::calcov2", (Mat& cov, const Mat& x, const Mat& y, const Mat& mx, const Mat& my, Mat& t, Mat& u, int w, int h, int a, int b) { TGuidedFilter::calcov2(cov, x, y, mx, my, t, u, {w, h}, {w, h}, {a, b}, {a / 2, b / 2}, a % 2 != 0); }),
        HOSTILE("TGuidedFilter::calvar2", (Mat& var, const Mat& x, const Mat& mx, Mat& t, Mat& u, int w, int h, int a, int b) { TGuidedFilter::calvar2(var, x, mx, t, u, {w, h}, {w, h}, {a, b}, {a / 2, b / 2}, a % 2 != 0); }),

        HOSTILE("ConvPyr::proc", (const Mat& h1, const Mat& h2, const Mat& g, const Mat& in, Mat& out) { ConvPyr(h1, h2, g).proc(in, out); }),
        HOSTILE("ConvPyr::pyrDown", (const Mat& in, Mat& out, int level) { const Mat k(5, 1, CV_32FC1, cv::Scalar(0.2)); ConvPyr f(k, k, k); f.m_level = level; f.pyrDown(in, out); }),
        HOSTILE("ConvPyr::pyrUp", (const Mat& coarse, const Mat& fine, Mat& out, int level) { const Mat k(5, 1, CV_32FC1, cv::Scalar(0.2)); ConvPyr f(k, k, k); f.m_level = level; f.pyrUp(coarse, fine, out); }),
        HOSTILE("LocalLaplacian::proc24K", (const Mat& in, Mat& out, float s, float l, int n) { LocalLaplacian().proc24K(in, out, s, l, n); }),
        HOSTILE("LocalLaplacian::proc16K", (const Mat& in, Mat& out, float s, float l, int n) { LocalLaplacian().proc16K(in, out, s, l, n); }),
        HOSTILE("LocalLaplacian::proc10K", (const Mat& in, Mat& out, float s, float l, int n) { LocalLaplacian().proc10K(in, out, s, l, n); }),
        HOSTILE("LocalLaplacian::levelJ", (int w, int h, float scale, int v) { LocalLaplacian::levelJ(w, h, scale); LocalLaplacian::clamp(v, w, h); }),
        HOSTILE("TWLSFilter::Proc", (float* in, Side w, Side h, float l, float a, float* guide, bool log) { TWLSFilter f; f.Proc(in, w, h, l, a, guide, log); }),
        HOSTILE("TWLSFilter::Proc with reports", (float* in, Side w, Side h, float l, float a, float* guide, bool log, int refuse) { TWLSFilter f; TProgress reports([](int done, void* most) { return done < *static_cast<int*>(most); }, &refuse); f.Proc(in, w, h, l, a, guide, log, &reports); }),
        HOSTILE("TWLSFilter::realloc", (int w, int h) { TWLSFilter f; f.realloc(w, h); f.freemem(); }),
        HOSTILE("gaussianiir1d", (float* data, Side n, float s, int steps) { gaussianiir1d(data, n, s, steps); }),
        HOSTILE("gaussianiir1d 16", (ushort* data, Side n, float s, int steps) { gaussianiir1d(data, n, s, steps); }),
        HOSTILE("gaussianiir1d 8", (uchar* data, Side n, float s, int steps) { gaussianiir1d(data, n, s, steps); }),
        HOSTILE("gaussianiir2d", (Mat& io, float s, int steps) { gaussianiir2d(io, s, steps); }),
        HOSTILE("gaussianiir3d", (float* v, Side w, Side h, Side d, float s, int steps) { gaussianiir3d(v, w, h, d, s, steps); }),
#if PIXMILL_HAS_SOLVER
        HOSTILE("pardisoSolver", (Side n, int where, int value, int nrhs, int type) { System s; s.ia[unsigned(where) % 6] = value; s.ja[unsigned(where) % 5] = value; pardisoSolver(n % 6, s.af, s.ia, s.ja, s.bf, s.xf, nrhs > 1 ? 1 : nrhs, type); }),
        HOSTILE("pardisoSolverIC", (Side n, int where, int value, int nrhs, int type) { System s; s.ia[unsigned(where) % 6] = value; pardisoSolverIC(n % 6, s.af, s.ia, s.ja, s.bf, s.xf, nrhs > 1 ? 1 : nrhs, type); }),
        HOSTILE("pardisoSolverIC double", (Side n, int where, int value, int nrhs, int type) { System s; s.ja[unsigned(where) % 5] = value; pardisoSolverIC(n % 6, s.a, s.ia, s.ja, s.b, s.x, nrhs > 1 ? 1 : nrhs, type); }),
        HOSTILE("pardisoSolverOOC", (Side n, int type) { System s; pardisoSolverOOC(n % 6, s.af, s.ia, s.ja, s.bf, s.xf, 1, type); pardisoSolverOOC(5, nullptr, nullptr, nullptr, nullptr, nullptr, 1, type); }),
#endif
        {"tFilterBox", [](Rng& r) { const TImage in(TImage::IMTYPE(r.below(5)), TSize(r.common.width, r.common.height)); TImage out(in); tFilterBox(r.oneIn(8) ? nullptr : &in, r.oneIn(8) ? nullptr : &out, r.number(), r.number(), nullptr); }},

        HOSTILE("BlockProcessor::initialize", (Mats in, Mats out, int w, int h, bool align, int overlap, int border, Taper taper) {
            BlockProcessor p;
            int roi[4] = {0, 0, 40, 40};
            Mats block;
            for (int again = 0; again < 2; ++again) {
                try {
                    p.initialize(in, out, again ? 16 : w, again ? 16 : h, align, again ? 2 : overlap, again ? 0 : border, taper);
                } catch (...) { // a refused call leaves an object that can be walked
                }
                for (int i = 0; i < 20 && p.getBlockImage(roi, block); ++i)
                    p.writeBackBlock();
            }
        }),
        HOSTILE("BlockProcessor steps", (const Mat& in, int roi0, int roi1, int roi2, int roi3, int rows) { BlockProcessor p; p.initialize({in}, {in.clone()}, 16, 16, true, 4, 0, BlockProcessor::EDGE_TAPER_LINEAR); int roi[4] = {roi0, roi1, roi2, roi3}; Mats block; p.getBlockImage(roi, block); p.doEdgeTaperInX(rows, rows); p.writeBlockToStrip(rows, rows); p.writeStripToOutput(rows, rows); p.convertBlockDuplicateBorder(roi); p.hasNextBlock(); }),
        HOSTILE("BlockProcessor sizes", (int a, int b, int c, float f, bool aligned, Mat& m, int l, int t) { BlockProcessor p; int x, y; p.estimateNumOfBlocks(a, b, f); p.imageExtendBorder(m, l, t, c, a); p.calculateBlockSizeInOneDimension(a, b, c, x, y, aligned); }),
        HOSTILE("blendAlpha", (const Mat& a, const Mat& b, const Mat& alpha, Mat& out, float o) { blendAlpha(a, b, alpha, out, o); }),
        HOSTILE("blendC", (const uchar* src, uchar* dst, Side w, Side h, float f) { blendC(src, 1280, dst, 1280, w, h, f); }),
        HOSTILE("extremeSharpen", (const Mat& in, Mat& out) { extremeSharpen(in, out); }),
        HOSTILE("extendBorder", (Mat& m, int l, int t, int r, int b) { extendBorder(m, l, t, r, b); }),
        HOSTILE("extendBorder float", (float* m, Side w, Side h, Side t, Side b, Side l, Side r) { extendBorder(m, 1280, IppiSize{w, h}, t, b, l, r); }),
        HOSTILE("extendBorder 8", (uchar* m, Side w, Side h, Side t, Side b, Side l, Side r) { extendBorder(m, 1280, IppiSize{w, h}, t, b, l, r); }),
        HOSTILE("extendBorder3C", (uchar* m, Side w, Side h, Side t, Side b, Side l, Side r) { extendBorder3C(m, 1280, IppiSize{w, h}, t, b, l, r); }),
        HOSTILE("upSize2XGuidedByY", (const Mat& y, const Mat& in, Mat& out, bool guided, int how) { upSize2XGuidedByY(y, in, out, guided, how); }),
        HOSTILE("upSizeNXGuidedByY", (const Mat& y, const Mat& in, Mat& out, int n, bool guided, int how) { upSizeNXGuidedByY(y, in, out, n, guided, how); }),
        HOSTILE("upSize2X", (const Mat& in, Mat& out, int how) { upSize2X(in, out, how == 5 ? 257 : how); }),
        HOSTILE("upSizeNX", (const Mat& in, Mat& out, int n, int how) { upSizeNX(in, out, n, how); }),
        HOSTILE("downSize2X", (const Mat& in, Mat& out, int how) { downSize2X(in, out, how == 5 ? 257 : how); }),
        HOSTILE("downSizeNX", (const Mat& in, Mat& out, int n, int how) { downSizeNX(in, out, n, how); }),
    };
    // clang-format on
}

} // namespace pixmill::hostile
