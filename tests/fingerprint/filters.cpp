#include "fingerprint.h"
#include <pixmill/core/TImage.h>
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
#ifdef FINGERPRINT_SOLVER
#include <pixmill/multiscale/pardisoSolver.h>
#endif

namespace pixmill::fingerprint {

namespace {

const cv::Size kSize(193, 141), kHalf(97, 71);

void addDomainTransform(Operations& all)
{
    for (const int channels : {1, 2, 3, 5})
        all.push_back(
            {"DomainTransform::RecursiveFilter, " + std::to_string(channels) + " channels", [=](Source& s, Hash& h) {
                 const cv::Mat in = s.plane(kSize, CV_32FC(channels));
                 cv::Mat out;
                 DomainTransform().RecursiveFilter(in, out, 12.0f, 40.0f);
                 h.add(out);
             }});
    all.push_back({"DomainTransform of planes with guides", [](Source& s, Hash& h) {
                       const std::vector<cv::Mat> in = {s.plane(kSize, CV_32FC1), s.plane(kSize, CV_32FC1)},
                                                  joint = {s.plane(kSize, CV_32FC1)};
                       std::vector<cv::Mat> out;
                       DomainTransform().RecursiveFilter(in, out, 9.0f, 5.0f, joint);
                       for (const cv::Mat& m : out)
                           h.add(m);
                   }});
    all.push_back({"DomainTransform::RFcompute", [](Source& s, Hash& h) {
                       cv::Mat img = s.plane(kSize, CV_32FC3), steps = s.plane(kSize, CV_32FC1) + 1;
                       DomainTransform().RFcompute(img, steps, 7.0f);
                       h.add(img);
                   }});
    all.push_back({"DomainTransform convolutions", [](Source& s, Hash& h) {
                       cv::Mat in = s.plane(kSize, CV_32FC3), out;
                       DomainTransform().NormalizedConvolutionFilter(in, out, 10.0f, 50.0f);
                       h.add(out);
                       DomainTransform().InterpolatedConvolutionFilter(in, out, 10.0f, 50.0f);
                       h.add(out);
                   }});
}

void addGuided(Operations& all)
{
    for (const int guides : {1, 3})
        all.push_back({"TGuidedFilter, " + std::to_string(guides) + " guides", [=](Source& s, Hash& h) {
                           std::vector<cv::Mat> guide;
                           for (int i = 0; i < guides; ++i)
                               guide.push_back(s.plane(kSize, CV_32FC1) / 256);
                           const cv::Mat src = s.plane(kSize, CV_32FC1) / 256;
                           for (const int r : {1, 5}) {
                               TGuidedFilter filter;
                               cv::Mat out;
                               filter.setup(guide, src, r, 0.01f);
                               filter.proc(guide, out);
                               h.add(out);
                           }
                       }});
    all.push_back({"TGuidedFilter, one mean in one walk", [](Source& s, Hash& h) {
                       const cv::Mat guide = s.plane(kSize, CV_32FC1) / 256, src = s.plane(kSize, CV_32FC1) / 256;
                       cv::Mat out;
                       TGuidedFilter::gFc1_oneMean(guide, src, out, 5, 0.01f);
                       h.add(out);
                   }});
    all.push_back({"TGuidedFilter in strips and blocks", [](Source& s, Hash& h) {
                       const cv::Mat guide = s.plane(kSize, CV_32FC1) / 256, src = s.plane(kSize, CV_32FC1) / 256;
                       cv::Mat out;
                       TGuidedFilter::stripProc(guide, src, out, 3, 0.01f);
                       h.add(out);
                       TGuidedFilter::gFc1_stripproc(guide, src, out, 3, 0.01f, 40);
                       h.add(out);
                       TGuidedFilter::gFc1_blkGuide(guide, src, out, 3, 0.01f);
                       h.add(out);
                   }});
    all.push_back({"upSize2XGuidedByY and NX", [](Source& s, Hash& h) {
                       const cv::Mat y = s.plane({192, 140}, CV_16UC1), half = s.plane({96, 70}, CV_16UC1),
                                     third = s.plane({64, 47}, CV_16UC1);
                       for (const bool guided : {false, true}) {
                           cv::Mat out(y.size(), CV_16UC1), outN(141, 192, CV_16UC1);
                           upSize2XGuidedByY(y, half, out, guided, 4);
                           upSizeNXGuidedByY(s.plane({192, 141}, CV_16UC1), third, outN, 3, guided, 2);
                           h.add(out);
                           h.add(outN);
                       }
                   }});
}

void addBilateral(Operations& all)
{
    for (const int type : {CV_8UC1, CV_16UC1})
        all.push_back(
            {std::string("BilateralFilter, ") + (type == CV_8UC1 ? "8" : "16") + " bits", [=](Source& s, Hash& h) {
                 const cv::Mat edge = s.plane(kSize, type);
                 cv::Mat picture = s.plane(kSize, type), guide(kSize, CV_8UC1, cv::Scalar(0));
                 BilateralFilter filter;
                 filter.proc(edge, picture, 8, type == CV_8UC1 ? 12 : 3072, nullptr);
                 h.add(picture);
                 BilateralFilter::gradientGuide(s.plane(kSize, CV_8UC1), guide, 2);
                 h.add(guide);
             }});
}

void addScales(Operations& all)
{
    all.push_back({"LocalLaplacian", [](Source& s, Hash& h) {
                       const cv::Mat in = s.plane(kSize, CV_16UC1);
                       LocalLaplacian filter;
                       cv::Mat out;
                       filter.proc10K(in, out, 0.2f, 0.3f, 5);
                       h.add(out);
                       filter.proc16K(in, out, -0.15f, 0.2f, 4);
                       h.add(out);
                       filter.proc24K(in, out, 0.1f, 0.3f, 5);
                       h.add(out);
                       for (int n = 1; n < 5000; n += 7)
                           h.add(LocalLaplacian::levelJ(n, 9000, 0.3f));
                   }});
    all.push_back({"ConvPyr", [](Source& s, Hash& h) {
                       const cv::Mat h1 = (cv::Mat_<float>(1, 5) << 0.11f, 0.4f, 0.55f, 0.4f, 0.11f),
                                     h2 = (cv::Mat_<float>(1, 5) << 0.2f, 0.45f, 0.7f, 0.35f, 0.15f),
                                     g = (cv::Mat_<float>(1, 3) << 0.15f, 0.5f, 0.15f);
                       for (const int type : {CV_8UC1, CV_16UC1, CV_32FC1}) {
                           cv::Mat out;
                           ConvPyr(h1, h2, g).proc(s.plane(kSize, type), out);
                           h.add(out);
                       }
                   }});
    all.push_back({"gaussianiir1d, 2d, 3d", [](Source& s, Hash& h) {
                       cv::Mat wide = s.plane({5000, 1}, CV_16UC1), bytes = s.plane({5000, 1}, CV_8UC1),
                               plane = s.plane(kSize, CV_32FC1);
                       std::vector<float> line = s.floats(5000, 9, false), volume = s.floats(40 * 30 * 3, 9, true);
                       gaussianiir1d(line.data(), 5000, 7.5f, 3);
                       gaussianiir1d(wide.ptr<ushort>(), 5000, 40.0f, 2);
                       gaussianiir1d(bytes.data, 5000, 3.0f, 2);
                       gaussianiir2d(plane, 5.0f, 2);
                       gaussianiir3d(volume.data(), 40, 30, 3, 2.5f, 2);
                       h.add(line);
                       h.add(volume);
                       for (const cv::Mat* m : {&wide, &bytes, &plane})
                           h.add(*m);
                   }});
    all.push_back({"tFilterBox", [](Source& s, Hash& h) {
                       for (const int radius : {3, 60, 200})
                           for (const auto& [kind, type] :
                                {std::pair(TImage::IM_Y, CV_16UC1), std::pair(TImage::IM_M, CV_8UC1)}) {
                               TImage in(kind, {kSize.width, kSize.height}), out(in);
                               in.fromMat(s.plane(kSize, type), 0);
                               tFilterBox(&in, &out, radius, 2, nullptr);
                               h.add(out.toMat(0));
                           }
                   }});
}

void addResampling(Operations& all)
{
    for (const int type : {CV_8UC1, CV_16UC1, CV_32FC1})
        all.push_back({"upSize and downSize, type " + std::to_string(type), [=](Source& s, Hash& h) {
                           const cv::Mat in = s.plane({96, 70}, type);
                           for (const int code : {1, 2, 4, 257}) {
                               cv::Mat twice(140, 192, type), thrice(210, 288, type), half(35, 48, type),
                                   third(24, 32, type);
                               upSize2X(in, twice, code);
                               upSizeNX(in, thrice, 3, code == 257 ? 4 : code);
                               downSize2X(in, half, code);
                               downSizeNX(in, third, 3, code == 257 ? 2 : code);
                               for (const cv::Mat* m : {&twice, &thrice, &half, &third})
                                   h.add(*m);
                           }
                       }});
    all.push_back({"blendAlpha, blendC, extremeSharpen", [](Source& s, Hash& h) {
                       const cv::Mat alpha = s.plane(kSize, CV_8UC1);
                       cv::Mat out, bytes = s.plane(kSize, CV_8UC1), sharp;
                       const cv::Mat below = s.plane(kSize, CV_16UC1), above = s.plane(kSize, CV_16UC1);
                       blendAlpha(below, above, alpha, out, 0.7f);
                       blendC(alpha.data, int(alpha.step), bytes.data, int(bytes.step), kSize.width, kSize.height,
                              0.35f);
                       extremeSharpen(s.plane(kSize, CV_16UC1), sharp);
                       for (const cv::Mat* m : {&out, &bytes, &sharp})
                           h.add(*m);
                   }});
    all.push_back({"extendBorder and 3C", [](Source& s, Hash& h) {
                       for (const int type : {CV_8UC1, CV_16UC1, CV_32FC1}) {
                           cv::Mat m = s.plane(kSize, type);
                           extendBorder(m, 3, 4, 5, 6);
                           h.add(m);
                       }
                       cv::Mat colour = s.plane(kSize, CV_8UC3);
                       extendBorder3C(colour.ptr(10, 10), int(colour.step), {150, 100}, 3, 4, 5, 6);
                       h.add(colour);
                   }});
    all.push_back({"BlockProcessor", [](Source& s, Hash& h) {
                       const std::vector<cv::Mat> in = {s.plane(kSize, CV_16UC1), s.plane(kSize, CV_16UC1)};
                       std::vector<cv::Mat> out = {cv::Mat(kSize, CV_16UC1), cv::Mat(kSize, CV_16UC1)}, block;
                       BlockProcessor processor;
                       processor.initialize(in, out, 64, 64, true, 16, 4, BlockProcessor::EDGE_TAPER_LINEAR);
                       for (int roi[4]; processor.getBlockImage(roi, block); processor.writeBackBlock())
                           for (cv::Mat& m : block)
                               h.add(m);
                       for (const cv::Mat& m : out)
                           h.add(m);
                   }});
}

void addLeastSquares(Operations& all)
{
    all.push_back({"TWLSFilter, its system", [](Source& s, Hash& h) {
                       std::vector<float> in = s.floats(61 * 43, 1, false), guide = s.floats(61 * 43, 1, false);
                       TWLSFilter filter;
                       filter.Proc(in.data(), 61, 43, 0.35f, 1.2f, guide.data(), true);
                       h.add(guide);
                       h.bytes(filter.m_a_p, filter.m_nnzCapacity * sizeof(float) / 2);
                   }});
    all.push_back({"TWLSFilter, its solution", [](Source& s, Hash& h) {
                       std::vector<float> in = s.floats(61 * 43, 1, false), guide = s.floats(61 * 43, 1, false);
                       TWLSFilter().Proc(in.data(), 61, 43, 0.35f, 1.2f, guide.data(), false);
                       h.add(in);
                   }});
#ifdef FINGERPRINT_SOLVER
    all.push_back({"pardisoSolverIC, the general sparse solver", [](Source& s, Hash& h) {
                       std::vector<float> in = s.floats(61 * 43, 1, false), guide = s.floats(61 * 43, 1, false);
                       TWLSFilter filter;
                       filter.Proc(std::vector<float>(in).data(), 61, 43, 0.35f, 1.2f, guide.data(), false);
                       std::vector<float> out(in.size());
                       pardisoSolverIC(61 * 43, filter.m_a_p, filter.m_ia_p, filter.m_ja_p, in.data(), out.data(), 1,
                                       2);
                       h.add(out);
                   }});
#endif
}

} // namespace

Operations filters()
{
    Operations all;
    addDomainTransform(all);
    addGuided(all);
    addBilateral(all);
    addScales(all);
    addResampling(all);
    addLeastSquares(all);
    return all;
}

} // namespace pixmill::fingerprint
