#include <pixmill/filters/DomainTransform.h>
#include <pixmill/rows/exponential.h>
#include <reference/domain_transform.h>
#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

#include <cmath>
#include <string>

using namespace pixmill::test;
using namespace pixmill::reference;

namespace {

std::vector<cv::Size> sizes()
{
    std::vector<cv::Size> sizes = oddSizes();
    for (const cv::Size size : {cv::Size(9, 1), cv::Size(2, 1), cv::Size(1, 2), cv::Size(3, 40), cv::Size(64, 64),
                                cv::Size(131, 17), cv::Size(67, 300)})
        sizes.push_back(size);
    return sizes;
}

} // namespace

TEST(DomainTransform, SetupSetsTheProcessToOneThreadAProcessorAndSaysSo)
{
    PolicyGuard guard;
    const int levels = omp_get_max_active_levels();
    omp_set_dynamic(1);
    DomainTransform filter;
    testing::internal::CaptureStdout();
    EXPECT_EQ(filter.setup(3.5f, 40.0f), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "system has " + std::to_string(omp_get_num_procs()) + " cores\n");
    EXPECT_EQ(filter.m_sigmaS, 3.5f);
    EXPECT_EQ(filter.m_sigmaR, 40.0f);
    EXPECT_EQ(omp_get_max_threads(), omp_get_num_procs());
    EXPECT_GT(omp_get_max_active_levels(), 1);
    EXPECT_FALSE(omp_get_dynamic());
    omp_set_max_active_levels(levels);
}

TEST(DomainTransform, DifferencesStopOnePixelBeforeTheLastGapAndLeaveTheRestAlone)
{
    DomainTransform filter;
    for (const int width : {1, 2, 3, 4, 7}) {
        const cv::Mat in = randomPlane({width, 3}, CV_32FC2, 0, 9);
        cv::Mat dx(3, width, CV_32FC2, cv::Scalar::all(-77)), dy = dx.clone();
        EXPECT_EQ(filter.diffx(in, dx), 1);
        EXPECT_EQ(filter.diffy(in, dy), 1);
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < 2; ++c) {
                    const bool seen = gapSeen(x, width);
                    EXPECT_EQ(channelOf(dx, y, x, c),
                              seen ? channelOf(in, y, x + 1, c) - channelOf(in, y, x, c) : -77.0f);
                    EXPECT_EQ(channelOf(dy, y, x, c),
                              seen && y < 2 ? channelOf(in, y + 1, x, c) - channelOf(in, y, x, c) : -77.0f);
                }
    }
}

TEST(DomainTransform, DifferencesMayReplaceTheirInput)
{
    everyWay([] {
        const cv::Mat in = randomPlane({37, 90}, CV_32FC3, 0, 9);
        DomainTransform filter;
        cv::Mat dx = in.clone(), dy = in.clone(), inX = in.clone(), inY = in.clone();
        filter.diffx(in, dx);
        filter.diffy(in, dy);
        filter.diffx(inX, inX);
        filter.diffy(inY, inY);
        EXPECT_TRUE(samePixels<float>(dx, inX));
        EXPECT_TRUE(samePixels<float>(dy, inY));
    });
}

TEST(DomainTransform, ChannelSumOfAPictureLeavesItsLastRowAndColumnsAtZero)
{
    DomainTransform filter;
    for (const cv::Size size : {cv::Size(2, 2), cv::Size(6, 3), cv::Size(6, 1), cv::Size(1, 4)}) {
        const cv::Mat in = randomPlane(size, CV_32FC3, -5, 5);
        cv::Mat sum(size, CV_32FC1, cv::Scalar(-1));
        EXPECT_EQ(filter.channelSum(in, sum, 0), 1);
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x) {
                float expected = 0.0f;
                for (int c = 0; c < 3 && gapSeen(x, size.width) && y < size.height - 1; ++c)
                    expected += std::fabs(channelOf(in, y, x, c));
                EXPECT_EQ(sum.at<float>(y, x), expected) << size << " " << x << " " << y;
            }
    }
}

TEST(DomainTransform, ChannelSumOfPlanesKnowsNoLimit)
{
    const std::vector<cv::Mat> planes = {randomPlane({5, 4}, CV_32FC1, -5, 5, 1),
                                         randomPlane({5, 4}, CV_32FC1, -5, 5, 2)};
    cv::Mat sum, kept(2, 2, CV_32FC1, cv::Scalar(3));
    EXPECT_EQ(DomainTransform().channelSum(planes, sum, 2), 1);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 5; ++x)
            EXPECT_EQ(sum.at<float>(y, x), std::fabs(planes[0].at<float>(y, x)) + std::fabs(planes[1].at<float>(y, x)));
    EXPECT_EQ(DomainTransform().channelSum(std::vector<cv::Mat>(), kept, 0), 1);
}

TEST(DomainTransform, AFlatStepIsAPlainExponentialSmoother)
{
    cv::Mat img = cv::Mat::zeros(1, 5, CV_32FC1), D(1, 5, CV_32FC1, cv::Scalar(1));
    img.at<float>(0, 2) = 1.0f;
    EXPECT_EQ(DomainTransform().RFcompute(img, D, 2.0f), 1);
    const double a = std::exp(-std::sqrt(2.0) / 2.0);
    const double forward[] = {0, 0, 1 - a, (1 - a) * a, (1 - a) * a * a};
    double expected[5];
    for (int x = 4; x >= 0; --x)
        expected[x] = x == 4 ? forward[4] : forward[x] + (expected[x + 1] - forward[x]) * a;
    for (int x = 0; x < 5; ++x)
        EXPECT_NEAR(img.at<float>(0, x), expected[x], 1e-6);
}

TEST(DomainTransform, OnePassMatchesThePlainOneBitForBit)
{
    everyWay([] {
        for (const cv::Size size : sizes())
            for (int c = 1; c <= 5; ++c) {
                SCOPED_TRACE(testing::Message() << size << " channels " << c);
                cv::Mat D = randomPlane(size, CV_32FC1, 1.0, 6.0, 3);
                cv::Mat expected = randomPlane(size, CV_32FC(c), -100, 65536), img = paddedCopy(expected);
                domainPass(expected, D, 1.75f);
                DomainTransform().RFcompute(img, D, 1.75f);
                ASSERT_TRUE(samePixels<float>(expected, img));
            }
    });
}

TEST(DomainTransform, RecursiveFilterMatchesThePlainOneBitForBit)
{
    everyWay([] {
        for (const cv::Size size : sizes())
            for (int c = 1; c <= 5; ++c) {
                SCOPED_TRACE(testing::Message() << size << " channels " << c);
                const cv::Mat in =
                    c % 2 ? randomPlane(size, CV_32FC(c), 0, 65536) : scenePlane(size, CV_32FC(c), 0, 255);
                const float sigmaS = 4.0f + c, sigmaR = c == 3 ? 4259.71f : 31.0f;
                const cv::Mat before = in.clone(), expected = domainRecursive(in, sigmaS, sigmaR);
                cv::Mat fresh, ready = randomPlane(size, in.type(), 0, 1, 5), inPlace = paddedCopy(in);
                EXPECT_EQ(DomainTransform().RecursiveFilter(in, fresh, sigmaS, sigmaR), 1);
                DomainTransform().RecursiveFilter(in, ready, sigmaS, sigmaR);
                DomainTransform().RecursiveFilter(inPlace, inPlace, sigmaS, sigmaR);
                ASSERT_TRUE(samePixels<float>(expected, fresh));
                ASSERT_TRUE(samePixels<float>(expected, ready));
                ASSERT_TRUE(samePixels<float>(expected, inPlace));
                ASSERT_TRUE(samePixels<float>(before, in));
            }
    });
}

TEST(DomainTransform, AnOutputThatOverlapsTheInputHoldsTheSameResult)
{
    cv::Mat whole = randomPlane({40, 33}, CV_32FC2, 0, 255);
    const cv::Mat in = whole(cv::Rect(0, 0, 31, 25));
    const cv::Mat expected = domainRecursive(in, 5.0f, 60.0f);
    for (const cv::Point at : {cv::Point(3, 2), cv::Point(0, 1), cv::Point(5, 0)}) {
        const cv::Mat kept = whole.clone();
        cv::Mat out = whole(cv::Rect(at, in.size()));
        DomainTransform().RecursiveFilter(in, out, 5.0f, 60.0f);
        EXPECT_TRUE(samePixels<float>(expected, out)) << at;
        kept.copyTo(whole);
    }
}

TEST(DomainTransform, PlanesAreGuidedByOthersAndSeeTheLastRowsGradients)
{
    everyWay([] {
        for (const cv::Size size : sizes()) {
            SCOPED_TRACE(testing::Message() << size);
            const std::vector<cv::Mat> in = {randomPlane(size, CV_32FC1, 0, 255, 1),
                                             randomPlane(size, CV_32FC1, 0, 255, 2)};
            const std::vector<cv::Mat> joint = {scenePlane(size, CV_32FC1, 0, 255, 3),
                                                scenePlane(size, CV_32FC1, 0, 99, 4),
                                                randomPlane(size, CV_32FC1, 0, 4, 5)};
            cv::Mat across, down;
            domainSteps(joint, 6.0f, 50.0f, true, across, down);
            DomainTransform filter;
            filter.m_sigmaS = 6.0f;
            filter.m_sigmaR = 50.0f;
            std::vector<cv::Mat> out(3), self = in;
            EXPECT_EQ(filter.proc(in, out, 0, joint), 1);
            ASSERT_EQ(out.size(), 2u);
            for (int i = 0; i < 2; ++i)
                ASSERT_TRUE(samePixels<float>(domainFiltered(in[i], across, down, 6.0f), out[i]));
            filter.proc(self, self, 0, joint);
            for (int i = 0; i < 2; ++i) {
                ASSERT_TRUE(samePixels<float>(out[i], self[i]));
                EXPECT_NE(self[i].data, in[i].data); // the caller's planes keep their pixels
            }
        }
    });
}

TEST(DomainTransform, AnEdgeInTheLastTwoColumnsIsSmoothedAcross)
{
    cv::Mat in = cv::Mat::zeros(90, 12, CV_32FC1), out; // the last row is far away: it sees no edge
    in.colRange(11, 12) = 1000.0f;
    DomainTransform().RecursiveFilter(in, out, 8.0f, 1.0f);
    EXPECT_GT(out.at<float>(4, 9), 10.0f);
    in = 0.0f;
    in.colRange(5, 12) = 1000.0f; // here the gap is seen
    DomainTransform().RecursiveFilter(in, out, 8.0f, 1.0f);
    EXPECT_LT(out.at<float>(4, 3), 1e-3f);
}

TEST(DomainTransform, ModesOutsideTheRangeLeaveTheOutputAlone)
{
    const cv::Mat in = randomPlane({9, 9}, CV_32FC1, 0, 255);
    DomainTransform filter;
    filter.m_sigmaS = 4.0f;
    filter.m_sigmaR = 20.0f;
    for (const int mode : {-1, 2, 3}) {
        cv::Mat out;
        std::vector<cv::Mat> planes;
        EXPECT_EQ(filter.proc(in, out, mode), 1);
        EXPECT_EQ(filter.proc({in}, planes, mode, {in}), 1);
        EXPECT_TRUE(out.empty());
        EXPECT_TRUE(planes.empty());
    }
    cv::Mat out;
    EXPECT_EQ(filter.proc(in, out, 0), 1);
    EXPECT_TRUE(samePixels<float>(domainRecursive(in, 4.0f, 20.0f), out));
}

TEST(DomainTransform, BadPicturesAreRefusedAndEmptyOnesIgnored)
{
    DomainTransform filter;
    cv::Mat out, step = cv::Mat::ones(4, 4, CV_32FC1), bytes = cv::Mat::zeros(4, 4, CV_8UC1), none;
    EXPECT_THROW(filter.RecursiveFilter(bytes, out, 4, 4), cv::Exception);
    EXPECT_THROW(filter.RFcompute(bytes, step, 4), cv::Exception);
    EXPECT_THROW(filter.diffx(bytes, out), cv::Exception);
    EXPECT_THROW(filter.diffy(bytes, out), cv::Exception);
    EXPECT_THROW(filter.channelSum(bytes, out, 1), cv::Exception);
    cv::Mat wide = cv::Mat::ones(4, 5, CV_32FC1);
    EXPECT_THROW(filter.RFcompute(wide, step, 4), cv::Exception);
    std::vector<cv::Mat> planes;
    EXPECT_THROW(filter.RecursiveFilter({wide}, planes, 4, 4, {step}), cv::Exception);
    EXPECT_EQ(filter.RecursiveFilter(none, out, 4, 4), 1);
    EXPECT_EQ(filter.RFcompute(none, none, 4), 1);
    EXPECT_EQ(filter.RecursiveFilter(std::vector<cv::Mat>(), planes, 4, 4, std::vector<cv::Mat>()), 1);
    EXPECT_TRUE(planes.empty());
}

TEST(DomainTransform, ShorterExponentialsHaveTheBitsOfAll)
{
    const float least = -87.33654f;
    EXPECT_EQ(pixmill::rows::exponentialBelow0(least), pixmill::rows::exponential(least));
    for (float v = 0.0f; v > least; v = (v - 1e-30f) * 1.00001f)
        ASSERT_EQ(pixmill::rows::exponentialBelow0(v), pixmill::rows::exponential(v)) << v;
    EXPECT_TRUE(std::isnan(pixmill::rows::exponentialBelow0(std::nanf(""))));
}
