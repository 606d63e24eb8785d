#include "roi.h"
#include <pixmill/primitives/arithmetic.h>
#include <support/everyway.h>

#include <functional>
#include <limits>

using namespace pixmill::test;

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// Every operation as out = f(a, b), with a and b as the formula of the operation reads.
struct Operation {
    const char* name;
    std::function<float(float, float)> formula;
    std::function<IppStatus(cv::Mat& a, cv::Mat& b, cv::Mat& out)> run;
};

IppStatus inPlace(IppStatus (*op)(const float*, int, float*, int, IppiSize), const cv::Mat& start, cv::Mat& other,
                  cv::Mat& out)
{
    start.copyTo(out);
    return op(other.ptr<float>(), stepOf(other), out.ptr<float>(), stepOf(out), roiOf(out));
}

IppStatus twoSources(IppStatus (*op)(const float*, int, const float*, int, float*, int, IppiSize), cv::Mat& src1,
                     cv::Mat& src2, cv::Mat& out)
{
    return op(src1.ptr<float>(), stepOf(src1), src2.ptr<float>(), stepOf(src2), out.ptr<float>(), stepOf(out),
              roiOf(out));
}

IppStatus withConstant(IppStatus (*op)(float, float*, int, IppiSize), const cv::Mat& start, cv::Mat& out)
{
    start.copyTo(out);
    return op(0.3f, out.ptr<float>(), stepOf(out), roiOf(out));
}

// clang-format off
const Operation kOperations[] = {
    {"Add_C1IR", [](float a, float b) { return a + b; }, [](cv::Mat& a, cv::Mat& b, cv::Mat& o) { return inPlace(ippiAdd_32f_C1IR, a, b, o); }},
    {"Sub_C1IR", [](float a, float b) { return a - b; }, [](cv::Mat& a, cv::Mat& b, cv::Mat& o) { return inPlace(ippiSub_32f_C1IR, a, b, o); }},
    {"Mul_C1IR", [](float a, float b) { return a * b; }, [](cv::Mat& a, cv::Mat& b, cv::Mat& o) { return inPlace(ippiMul_32f_C1IR, a, b, o); }},
    {"Div_C1IR", [](float a, float b) { return a / b; }, [](cv::Mat& a, cv::Mat& b, cv::Mat& o) { return inPlace(ippiDiv_32f_C1IR, a, b, o); }},
    {"Sub_C1R",  [](float a, float b) { return b - a; }, [](cv::Mat& a, cv::Mat& b, cv::Mat& o) { return twoSources(ippiSub_32f_C1R, a, b, o); }},
    {"Mul_C1R",  [](float a, float b) { return a * b; }, [](cv::Mat& a, cv::Mat& b, cv::Mat& o) { return twoSources(ippiMul_32f_C1R, a, b, o); }},
    {"Div_C1R",  [](float a, float b) { return b / a; }, [](cv::Mat& a, cv::Mat& b, cv::Mat& o) { return twoSources(ippiDiv_32f_C1R, a, b, o); }},
    {"AddC_C1IR", [](float a, float) { return a + 0.3f; }, [](cv::Mat& a, cv::Mat&, cv::Mat& o) { return withConstant(ippiAddC_32f_C1IR, a, o); }},
    {"SubC_C1IR", [](float a, float) { return a - 0.3f; }, [](cv::Mat& a, cv::Mat&, cv::Mat& o) { return withConstant(ippiSubC_32f_C1IR, a, o); }},
    {"DivC_C1IR", [](float a, float) { return a / 0.3f; }, [](cv::Mat& a, cv::Mat&, cv::Mat& o) { return withConstant(ippiDivC_32f_C1IR, a, o); }},
    {"MulC_C1R",  [](float a, float) { return a * 0.3f; }, [](cv::Mat& a, cv::Mat&, cv::Mat& o) {
        return ippiMulC_32f_C1R(a.ptr<float>(), stepOf(a), 0.3f, o.ptr<float>(), stepOf(o), roiOf(o)); }},
    {"Sqr_C1R",  [](float a, float) { return a * a; }, [](cv::Mat& a, cv::Mat&, cv::Mat& o) {
        return ippiSqr_32f_C1R(a.ptr<float>(), stepOf(a), o.ptr<float>(), stepOf(o), roiOf(o)); }},
    {"Sqr_C1IR", [](float a, float) { return a * a; }, [](cv::Mat& a, cv::Mat&, cv::Mat& o) {
        a.copyTo(o); return ippiSqr_32f_C1IR(o.ptr<float>(), stepOf(o), roiOf(o)); }},
    {"Threshold_GTVal", [](float a, float) { return a > 0.25f ? 9.0f : a; }, [](cv::Mat& a, cv::Mat&, cv::Mat& o) {
        a.copyTo(o); return ippiThreshold_GTVal_32f_C1IR(o.ptr<float>(), stepOf(o), roiOf(o), 0.25f, 9.0f); }},
    {"Threshold_LTVal", [](float a, float) { return a < 0.25f ? 9.0f : a; }, [](cv::Mat& a, cv::Mat&, cv::Mat& o) {
        a.copyTo(o); return ippiThreshold_LTVal_32f_C1IR(o.ptr<float>(), stepOf(o), roiOf(o), 0.25f, 9.0f); }},
};
// clang-format on

TEST(Arithmetic, EachOperationIsOneSinglePrecisionOperationASample)
{
    for (const cv::Size size : oddSizes()) {
        cv::Mat a = randomPlane(size, CV_32FC1, -3, 3, 1), b = randomPlane(size, CV_32FC1, -3, 3, 2);
        a.at<float>(0, 0) = 0.25f; // on the threshold
        a.at<float>(size.height - 1, size.width - 1) = kInf;
        b.at<float>(size.height - 1, 0) = -kInf;
        for (const Operation& op : kOperations) {
            SCOPED_TRACE(testing::Message() << op.name << " " << size);
            const cv::Mat expected =
                planeOf<float>(size, [&](int y, int x) { return op.formula(a.at<float>(y, x), b.at<float>(y, x)); });
            everyWay([&] {
                cv::Mat out = randomPlane(size, CV_32FC1, 5, 6, 3);
                EXPECT_EQ(op.run(a, b, out), ippStsNoErr);
                EXPECT_TRUE(samePixels<float>(expected, out));
            });
        }
    }
}

TEST(Arithmetic, ResultMayReplaceEitherSource)
{
    const cv::Mat a = randomPlane({203, 5}, CV_32FC1, -3, 3, 1), b = randomPlane({203, 5}, CV_32FC1, 1, 3, 2);
    const cv::Mat expected =
        planeOf<float>(a.size(), [&](int y, int x) { return b.at<float>(y, x) - a.at<float>(y, x); });
    everyWay([&] {
        cv::Mat first = a.clone(), second = b.clone(), src1 = a.clone(), src2 = b.clone();
        twoSources(ippiSub_32f_C1R, first, src2, first);
        EXPECT_TRUE(samePixels<float>(expected, first));
        twoSources(ippiSub_32f_C1R, src1, second, second);
        EXPECT_TRUE(samePixels<float>(expected, second));
        cv::Mat same = a.clone();
        ippiSub_32f_C1IR(same.ptr<float>(), stepOf(same), same.ptr<float>(), stepOf(same), roiOf(same));
        EXPECT_EQ(cv::countNonZero(same), 0);
    });
}

TEST(Arithmetic, NanStaysInThresholdsAndPassesThroughSums)
{
    float v[3] = {kNan, 2, 0};
    EXPECT_EQ(ippiThreshold_GTVal_32f_C1IR(v, 12, {3, 1}, 1, 7), ippStsNoErr);
    EXPECT_TRUE(std::isnan(v[0]));
    EXPECT_EQ(v[1], 7);
    EXPECT_EQ(ippiThreshold_LTVal_32f_C1IR(v, 12, {3, 1}, 1, 7), ippStsNoErr);
    EXPECT_TRUE(std::isnan(v[0]));
    EXPECT_EQ(v[2], 7);
    EXPECT_EQ(ippiAddC_32f_C1IR(1, v, 12, {3, 1}), ippStsNoErr);
    EXPECT_TRUE(std::isnan(v[0]));
}

TEST(Arithmetic, ZeroDivisorSamplesWarnAndAllSamplesAreWritten)
{
    for (const int zeroAt : {0, 40, 202}) { // in each vector's place and in the tail
        std::vector<float> by(203, 2), of(203, 6), out(203);
        by[zeroAt] = 0;
        everyWay([&] {
            EXPECT_EQ(ippiDiv_32f_C1R(by.data(), 812, of.data(), 812, out.data(), 812, {203, 1}), ippStsDivByZero);
            std::vector<float> quotient = of;
            EXPECT_EQ(ippiDiv_32f_C1IR(by.data(), 812, quotient.data(), 812, {203, 1}), ippStsDivByZero);
            EXPECT_EQ(quotient, out);
            quotient = of;
            EXPECT_EQ(ippsDiv_32f_I(by.data(), quotient.data(), 203), ippStsDivByZero);
            EXPECT_EQ(quotient, out);
        });
        for (int i = 0; i < 203; ++i)
            EXPECT_EQ(out[i], i == zeroAt ? kInf : 3.0f) << i;
    }
    float by[5] = {0, 0, 0, -0.0f, 2}, of[5] = {0, 1, -1, 1, kNan};
    EXPECT_EQ(ippsDiv_32f_I(by, of, 5), ippStsDivByZero);
    EXPECT_TRUE(std::isnan(of[0]));
    EXPECT_EQ(of[1], kInf);
    EXPECT_EQ(of[2], -kInf);
    EXPECT_EQ(of[3], -kInf);
    float fine[2] = {4, 6};
    const float two[2] = {2, 2};
    EXPECT_EQ(ippsDiv_32f_I(two, fine, 2), ippStsNoErr);
    EXPECT_EQ(fine[1], 3.0f);
}

TEST(Arithmetic, ZeroConstantDivisorIsAnErrorAndWritesNothing)
{
    float v[2] = {4, 6};
    EXPECT_EQ(ippiDivC_32f_C1IR(0, v, 8, {2, 1}), ippStsDivByZeroErr);
    EXPECT_EQ(ippiDivC_32f_C1IR(-0.0f, v, 8, {2, 1}), ippStsDivByZeroErr);
    EXPECT_EQ(v[0], 4);
    EXPECT_EQ(v[1], 6);
}

} // namespace
