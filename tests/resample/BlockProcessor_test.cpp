#include <pixmill/resample/BlockProcessor.h>
#include <reference/blocks.h>
#include <support/everyway.h>
#include <support/planes.h>
#include <support/throws.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <vector>

using namespace pixmill::test;
using namespace pixmill::reference;
using Planes = std::vector<cv::Mat>;

namespace {

// A filter that shows where in its block a pixel stood, so that neighbouring blocks disagree in their overlap.
void tilt(cv::Mat& block)
{
    for (int y = 0; y < block.rows; ++y)
        for (int i = 0; i < block.cols * block.channels(); ++i) {
            ushort& v = block.ptr<ushort>(y)[i];
            v = ushort((v / 2) + (13 * i + 29 * y) % 32768);
        }
}

struct Job {
    int blockX, blockY, overlap, border;
    BlockProcessor::EDGE_TAPER_TYPE taper;
};

Planes copies(const Planes& planes)
{
    Planes out;
    for (const cv::Mat& m : planes)
        out.push_back(m.clone());
    return out;
}

void compareWithTheTwin(const Job& job, cv::Size size, int planes, bool inPlace)
{
    Planes in, out;
    for (int k = 0; k < planes; ++k) {
        in.push_back(randomPlane(size, CV_16UC1, 0, 65536, k + 1));
        out.push_back(inPlace ? in.back() : randomPlane(size, CV_16UC1, 0, 65536, k + 50));
    }
    Blocks twin{copies(in), copies(out), {}, size.width, size.height, job.border, job.taper};
    if (inPlace)
        twin.in = twin.out; // shared pixels
    BlockProcessor processor;
    processor.initialize(in, out, job.blockX, job.blockY, true, job.overlap, job.border, job.taper);
    for (int k = 0; k < planes; ++k)
        twin.strip.push_back(cv::Mat::zeros(processor.m_strip[k].size(), CV_16UC1));

    std::srand(11);
    int roi[4];
    Planes block;
    while (processor.getBlockImage(roi, block)) {
        const int x = processor.m_curX, y = processor.m_curY, w = processor.m_blockW, h = processor.m_blockH;
        SCOPED_TRACE(testing::Message() << "block at " << x << ", " << y << " of " << w << " x " << h);
        const int b = job.border, x0 = std::max(x - b, 0), y0 = std::max(y - b, 0);
        EXPECT_EQ(std::vector<int>(roi, roi + 4), (std::vector<int>{x0, y0, std::min(size.width, x + w + b) - x0,
                                                                    std::min(size.height, y + h + b) - y0}));
        Planes expected;
        for (int k = 0; k < planes; ++k) {
            expected.push_back(twin.cut(k, x, y, w, h));
            ASSERT_TRUE(samePixels<ushort>(expected[k], block[k]));
            tilt(expected[k]);
            tilt(block[k]);
        }
        twin.put(expected, x, y, w, h);
        processor.writeBackBlock();
        for (int k = 0; k < planes; ++k)
            ASSERT_TRUE(samePixels<ushort>(expected[k], processor.m_block[k]));
    }
    EXPECT_FALSE(processor.getBlockImage(roi, block));
    for (int k = 0; k < planes; ++k)
        EXPECT_TRUE(samePixels<ushort>(twin.out[k], out[k]));

    const int next = std::rand();
    std::srand(11);
    for (int i = 0; i < twin.random; ++i)
        std::rand();
    EXPECT_EQ(next, std::rand()) << "the twin took " << twin.random;
}

struct Tiling {
    int image, block, overlap;
    bool aligned;
    int blocks, size, step;
};

// clang-format off
const Tiling kTilings[] = {
    // image block overlap aligned  blocks  size  step
    {   3000, 1024,     32, true,        3, 1032,  985},
    {   1024, 1024,      0, true,        1, 1040, 1040}, // a full 16 more, though already a multiple
    {   1000, 1024,     32, true,        1, 1008, 1008},
    {      1, 1024,     32, true,        1,   16,   16},
    {   1025, 1024,     32, true,        2,  544,  528},
    {   1983, 1024,     32, true,        2, 1024,  992},
    {   1984, 1024,     32, true,        3,  682,  652}, // 2048 * 0.96875 is not above it
    {   6000, 1024,     32, true,        6, 1032,  994},
    {    100,    3,      0, true,        7,   14,   14}, // the step of 15 would leave gaps
    {   1000, 1024,     32, false,       1, 1008, 1008},
    {   1025, 1024,     32, false,       2, 1024,    2},
    {   3000, 1024,     32, false,       3, 1024,  989},
    {    100,   90,     30, false,       2,   90,   11},
};
// clang-format on

} // namespace

TEST(BlockProcessor, TilesAnAxis)
{
    BlockProcessor processor;
    for (const Tiling& t : kTilings) {
        SCOPED_TRACE(testing::Message() << t.image << " by " << t.block << ", overlap " << t.overlap);
        int size = 0, step = 0;
        EXPECT_EQ(processor.calculateBlockSizeInOneDimension(t.image, t.block, t.overlap, size, step, t.aligned),
                  t.blocks);
        EXPECT_EQ(size, t.size);
        EXPECT_EQ(step, t.step);
    }
    EXPECT_EQ(processor.estimateNumOfBlocks(3000, 1024, 0.03125f), 3);
    EXPECT_EQ(processor.estimateNumOfBlocks(1024, 1024, 0.5f), 1);
    EXPECT_EQ(processor.estimateNumOfBlocks(1178, 1024, 0.0f), 2); // 0.1504 + 0.85 reaches 1
    EXPECT_EQ(processor.estimateNumOfBlocks(1177, 1024, 0.0f), 1);
}

TEST(BlockProcessor, WalksWithTheLastBlockPushedBackToTheEdge)
{
    BlockProcessor processor;
    Planes planes{cv::Mat::zeros(40, 3000, CV_16UC1)}, block;
    processor.initialize(planes, planes, 1024, 1024, true, 32, 0, BlockProcessor::EDGE_TAPER_LINEAR);
    std::vector<int> origins;
    while (processor.getBlockImage(nullptr, block)) {
        origins.push_back(processor.m_curX);
        processor.writeBackBlock();
    }
    EXPECT_EQ(origins, (std::vector<int>{0, 985, 1968}));
}

TEST(BlockProcessor, MatchesTheReferenceBitForBit)
{
    const BlockProcessor::EDGE_TAPER_TYPE tapers[] = {BlockProcessor::EDGE_TAPER_LINEAR,
                                                      BlockProcessor::EDGE_TAPER_LINEAR_ALT,
                                                      BlockProcessor::EDGE_TAPER_KEEP_FIRST};
    for (const auto taper : tapers)
        for (const Job& job : {Job{48, 32, 8, 0, taper}, Job{64, 64, 0, 0, taper}, Job{80, 48, 16, 6, taper},
                               Job{1024, 40, 3, 2, taper}, Job{40, 1024, 11, 1, taper}})
            for (const cv::Size size : {cv::Size(1, 1), {1, 90}, {90, 1}, {33, 16}, {203, 157}, {130, 64}})
                for (const bool inPlace : {false, true}) {
                    SCOPED_TRACE(testing::Message() << size << " taper " << taper << " blocks " << job.blockX << " x "
                                                    << job.blockY << (inPlace ? " in place" : ""));
                    compareWithTheTwin(job, size, 1 + size.width % 3, inPlace);
                }
}

TEST(BlockProcessor, GivesTheSameBitsInEveryWay)
{
    everyWay([] {
        compareWithTheTwin({80, 64, 16, 3, BlockProcessor::EDGE_TAPER_LINEAR}, {203, 157}, 3, false);
        compareWithTheTwin({80, 64, 16, 3, BlockProcessor::EDGE_TAPER_KEEP_FIRST}, {203, 157}, 2, false);
    });
}

TEST(BlockProcessor, EqualPixelsMayComeOutOneBelow)
{
    Planes planes{cv::Mat(40, 3000, CV_16UC1, cv::Scalar(40001))}, block;
    BlockProcessor processor;
    processor.initialize(planes, planes, 1024, 1024, true, 32, 0, BlockProcessor::EDGE_TAPER_LINEAR);
    while (processor.getBlockImage(nullptr, block))
        processor.writeBackBlock();
    double low, high;
    cv::minMaxLoc(planes[0], &low, &high);
    EXPECT_EQ(low, 40000);
    EXPECT_EQ(high, 40001);
}

TEST(BlockProcessor, ReplicatesTheLeftBorderFourTimesAsWide)
{
    for (const int type : {CV_16UC1, CV_16UC3, CV_16UC4}) {
        for (const cv::Vec4i& margins : {cv::Vec4i(2, 3, 4, 1), {3, 0, 0, 2}, {0, 1, 1, 0}, {0, 0, 0, 0}}) {
            SCOPED_TRACE(testing::Message() << "type " << type << " margins " << margins);
            const int left = margins[0], top = margins[1], right = margins[2], bottom = margins[3];
            const cv::Mat before = randomPlane({10, 9}, type, 0, 65536).clone();
            cv::Mat after = before.clone();
            BlockProcessor().imageExtendBorder(after, left, top, right, bottom);
            for (int y = 0; y < 9; ++y)
                for (int x = 0; x < 10; ++x) {
                    const int sy = std::min(std::max(y, top), 8 - bottom);
                    int sx = x >= 10 - right ? 9 - right : x;
                    sx = sx < 4 * left ? left : sx;
                    for (size_t c = 0; c < size_t(before.channels()); ++c)
                        ASSERT_EQ(after.ptr<ushort>(y)[x * before.channels() + c],
                                  before.ptr<ushort>(sy)[sx * before.channels() + c])
                            << x << " " << y;
                }
        }
    }
}

TEST(BlockProcessor, LeavesOtherTypesAndMarginsWithoutASourceAlone)
{
    BlockProcessor processor;
    for (const int type : {CV_8UC1, CV_32FC1, CV_16UC2}) {
        const cv::Mat before = randomPlane({8, 6}, type, 0, 256);
        cv::Mat after = before.clone();
        processor.imageExtendBorder(after, 1, 1, 1, 1);
        EXPECT_EQ(cv::norm(before, after, cv::NORM_INF), 0);
    }
    const cv::Mat before = randomPlane({8, 6}, CV_16UC1, 0, 65536);
    for (const cv::Vec4i& m : {cv::Vec4i(8, 0, 0, 0), {0, 6, 0, 0}, {0, 0, 8, 0}, {0, 0, 0, 6}, {-3, -3, -3, -3}}) {
        cv::Mat after = before.clone();
        processor.imageExtendBorder(after, m[0], m[1], m[2], m[3]);
        EXPECT_TRUE(samePixels<ushort>(before, after)) << m;
    }
    cv::Mat view = randomPlane({8, 6}, CV_16UC1, 0, 65536), padded = view, parent;
    view.adjustROI(1, 1, 3, 2); // the whole of the padded plane
    parent = view.clone();
    processor.imageExtendBorder(padded, 2, 1, 1, 2);
    padded.copyTo(parent(cv::Rect(3, 1, 8, 6)));
    EXPECT_TRUE(samePixels<ushort>(parent, view)) << "pixels beside the view changed";
}

TEST(BlockProcessor, APackedPictureOfOneBlockComesBack)
{
    const cv::Mat in = randomPlane({37, 21}, CV_16UC3, 0, 65536);
    Planes out{cv::Mat::zeros(21, 37, CV_16UC3)}, block;
    BlockProcessor processor;
    processor.initialize({in}, out, 64, 64, true, 8, 0, BlockProcessor::EDGE_TAPER_LINEAR);
    int roi[4];
    ASSERT_TRUE(processor.getBlockImage(roi, block));
    EXPECT_EQ(block.size(), 1u);
    EXPECT_EQ(block[0].size(), cv::Size(48, 32));
    cv::Mat expected;
    cv::copyMakeBorder(in, expected, 0, 11, 0, 11, cv::BORDER_REPLICATE | cv::BORDER_ISOLATED);
    EXPECT_TRUE(samePixels<ushort>(expected, block[0]));
    processor.writeBackBlock();
    EXPECT_TRUE(samePixels<ushort>(in, out[0]));
    EXPECT_FALSE(processor.getBlockImage(roi, block));
}

TEST(BlockProcessor, PackedBlocksBeyondTheFirstAreFilledAtTheirPlaceInThePicture)
{
    // The second block lies at x = 36, which is still inside its buffer: the copy lands there, cut to the block.
    const cv::Mat in = randomPlane({100, 16}, CV_16UC3, 0, 65536);
    BlockProcessor processor;
    Planes out{cv::Mat::zeros(16, 100, CV_16UC3)}, block;
    processor.initialize({in}, out, 60, 60, true, 4, 0, BlockProcessor::EDGE_TAPER_LINEAR);
    ASSERT_EQ(processor.m_blockW, 64);
    ASSERT_TRUE(processor.getBlockImage(nullptr, block));
    const cv::Mat first = block[0].clone();
    processor.writeBackBlock();
    ASSERT_TRUE(processor.getBlockImage(nullptr, block));
    ASSERT_EQ(processor.m_curX, 36);
    cv::Mat expected = first.clone();
    in(cv::Rect(36, 0, 28, 16)).copyTo(expected(cv::Rect(36, 0, 28, 16)));
    expected.row(15).copyTo(expected.row(16));
    EXPECT_TRUE(samePixels<ushort>(expected(cv::Rect(0, 0, 64, 17)), block[0](cv::Rect(0, 0, 64, 17))));

    // The ramp blends the first block's columns into the second; what was never filled is the first block's.
    processor.writeBackBlock();
    for (int x = 0; x < 28; ++x)
        for (int c = 0; c < 3; ++c) {
            const float w = float(x + 1) * (1.0f / 29.0f);
            EXPECT_EQ(out[0].at<cv::Vec3w>(3, 36 + x)[c],
                      Blocks::mix(w, first.at<cv::Vec3w>(3, x)[c], first.at<cv::Vec3w>(3, 36 + x)[c]));
        }
}

TEST(BlockProcessor, PackedWorkStaysInsideItsBuffers)
{
    for (const int type : {CV_16UC3, CV_16UC4})
        for (const int border : {0, 5, 20})
            for (const auto taper : {BlockProcessor::EDGE_TAPER_LINEAR, BlockProcessor::EDGE_TAPER_KEEP_FIRST}) {
                const cv::Mat in = randomPlane({203, 157}, type, 0, 65536);
                Planes out{cv::Mat(157, 203, type, cv::Scalar::all(7))}, block;
                BlockProcessor processor;
                processor.initialize({in}, out, 70, 60, true, 8, border, taper);
                int blocks = 0;
                while (processor.getBlockImage(nullptr, block)) {
                    EXPECT_EQ(block[0].type(), CV_16UC3);
                    processor.writeBackBlock();
                    ++blocks;
                }
                EXPECT_GE(blocks, 9);
                if (type == CV_16UC4) {
                    EXPECT_EQ(cv::norm(out[0], cv::Mat(157, 203, type, cv::Scalar::all(7)), cv::NORM_INF), 0);
                }
            }
}

TEST(BlockProcessor, RejectsInputsInThisOrderAndStaysAsItWas)
{
    const cv::Mat plane = cv::Mat::zeros(20, 30, CV_16UC1), packed = cv::Mat::zeros(20, 30, CV_16UC3);
    const cv::Mat other = cv::Mat::zeros(20, 31, CV_16UC1), bytes = cv::Mat::zeros(20, 30, CV_8UC1);
    struct {
        Planes in, out;
        const char* text;
    } const cases[] = {
        {{}, {plane}, "BlockProcessor::initialize - input or output is empty."},
        {{bytes}, {}, "BlockProcessor::initialize - input or output is empty."},
        {{bytes, plane}, {other, other}, "BlockProcessor::initialize - input type is not correct."},
        {{cv::Mat()}, {plane}, "BlockProcessor::initialize - input type is not correct."},
        {{packed, packed}, {other, other}, "not supported input is given in BlockProcessor::init"},
        {{packed}, {other}, "input size doesn't match with output size!"},
        {{plane, plane}, {plane, other}, "input size doesn't match with output size!"},
        {{plane, plane}, {plane}, "input size doesn't match with output size!"},
        {{plane, packed}, {plane, plane}, "not supported input is given in BlockProcessor::init"},
    };
    BlockProcessor processor;
    for (const auto& c : cases)
        EXPECT_THROWS_TEXT(processor.initialize(c.in, c.out, 16, 16, true, 4, 0, BlockProcessor::EDGE_TAPER_LINEAR),
                           c.text);
    EXPECT_EQ(processor.m_numPlanes, 0);
    EXPECT_TRUE(processor.m_in.empty() && !processor.m_taperWeights_p);
}

TEST(BlockProcessor, RefusesTilingsThatNoWalkCanFollow)
{
    const cv::Mat plane = cv::Mat::zeros(200, 300, CV_16UC1);
    BlockProcessor processor;
    for (const cv::Vec4i& c : {cv::Vec4i(0, 64, 8, 0),
                               {64, 64, 64, 0},
                               {64, 64, 500, 0},
                               {64, 64, 8, -1},
                               {64, 64, 8, 32},
                               {64, 64, 8, 1 << 30},
                               {INT_MIN, 64, 8, 0}})
        EXPECT_THROW(
            processor.initialize({plane}, {plane}, c[0], c[1], true, c[2], c[3], BlockProcessor::EDGE_TAPER_LINEAR),
            cv::Exception)
            << c;
}

TEST(BlockProcessor, EndlessWalksAndWildTilingsDoNotHappen)
{
    cv::RNG rng(5);
    for (int i = 0; i < 3000; ++i) {
        const cv::Size size(rng.uniform(1, 90), rng.uniform(1, 60));
        Planes planes{cv::Mat::zeros(size, CV_16UC1)}, block;
        BlockProcessor processor;
        const int bx = rng.uniform(-10, 100), by = rng.uniform(-10, 100), overlap = rng.uniform(-100, 100);
        const int border = rng.uniform(0, 12);
        SCOPED_TRACE(testing::Message() << size << " " << bx << " " << by << " " << overlap << " " << border);
        int blocks = 0;
        try {
            processor.initialize(planes, planes, bx, by, true, overlap, border, BlockProcessor::EDGE_TAPER_LINEAR);
            while (processor.getBlockImage(nullptr, block) && ++blocks < 20000)
                processor.writeBackBlock();
        } catch (const cv::Exception&) {
        } catch (const char* text) {
            EXPECT_TRUE(overlap < 0 || bx <= 2 * border || by <= 2 * border) << text; // only a wanted gap leaves one
        }
        ASSERT_LT(blocks, 20000);
    }
}

TEST(BlockProcessor, AGapBetweenBlocksIsAnError)
{
    const cv::Mat wide = cv::Mat::zeros(10, 3000, CV_16UC1), high = cv::Mat::zeros(3000, 10, CV_16UC1);
    Planes block;
    for (const bool inX : {true, false}) {
        BlockProcessor processor;
        const Planes planes{inX ? wide : high};
        processor.initialize(planes, planes, 1024, 1024, true, -1024, 0, BlockProcessor::EDGE_TAPER_LINEAR);
        ASSERT_TRUE(processor.getBlockImage(nullptr, block));
        processor.writeBackBlock();
        ASSERT_TRUE(processor.getBlockImage(nullptr, block));
        EXPECT_THROWS_TEXT(processor.writeBackBlock(), inX ? "in BlockProcessor::copyOneBlock, overlapX<0"
                                                           : "in BlockProcessor::copyOneBlock, overlapY<0");
    }
}

TEST(BlockProcessor, BeforeTheFirstInitializeThereIsNothingToDo)
{
    BlockProcessor processor;
    Planes block;
    EXPECT_THROWS_TEXT(processor.getBlockImage(nullptr, block),
                       "BlockProcessor::convertBlockDuplicatedBorder roiSize<1");
    EXPECT_FALSE(processor.hasNextBlock());
    processor.writeBackBlock();
    EXPECT_EQ(processor.m_unusedBias, -0.05f);
    EXPECT_EQ(processor.m_taperType, BlockProcessor::EDGE_TAPER_LINEAR);
}

TEST(BlockProcessor, ASecondInitializeStartsOverAndKeepsTheBuffersThatFit)
{
    const cv::Mat in = randomPlane({203, 157}, CV_16UC1, 0, 65536);
    Planes out{cv::Mat::zeros(157, 203, CV_16UC1)}, block;
    BlockProcessor processor;
    processor.initialize({in}, out, 64, 64, true, 8, 0, BlockProcessor::EDGE_TAPER_LINEAR);
    const uchar* const buffer = processor.m_block[0].data;
    processor.getBlockImage(nullptr, block);
    processor.writeBackBlock();
    processor.getBlockImage(nullptr, block);
    processor.initialize({in}, out, 64, 64, true, 8, 0, BlockProcessor::EDGE_TAPER_KEEP_FIRST);
    EXPECT_EQ(processor.m_block[0].data, buffer);
    EXPECT_EQ(processor.m_curX + processor.m_curY + processor.m_doneX + processor.m_doneY, 0);
    while (processor.getBlockImage(nullptr, block))
        processor.writeBackBlock();
    EXPECT_TRUE(samePixels<ushort>(in, out[0]));
}

TEST(BlockProcessor, AnOutputWithoutPixelsIsPassedOver)
{
    const cv::Mat in = randomPlane({100, 90}, CV_16UC1, 0, 65536);
    Planes out{cv::Mat(), cv::Mat::zeros(90, 100, CV_16UC1)}, block;
    BlockProcessor processor;
    processor.initialize({in, in}, out, 40, 40, true, 4, 0, BlockProcessor::EDGE_TAPER_KEEP_FIRST);
    while (processor.getBlockImage(nullptr, block))
        processor.writeBackBlock();
    EXPECT_TRUE(out[0].empty());
    EXPECT_TRUE(samePixels<ushort>(in, out[1]));
}

TEST(BlockProcessor, ARefusedInitializeLeavesTheWalkAsItWas)
{
    const cv::Mat in = randomPlane({203, 157}, CV_16UC1, 0, 65536), large = randomPlane({900, 800}, CV_16UC1, 0, 65536);
    Planes out{cv::Mat::zeros(157, 203, CV_16UC1)}, block;
    BlockProcessor processor;
    processor.initialize({in}, out, 64, 64, true, 8, 0, BlockProcessor::EDGE_TAPER_KEEP_FIRST);
    EXPECT_TRUE(processor.getBlockImage(nullptr, block));
    const auto refused = [&](int blockX, int blockY, int overlap, int border) {
        EXPECT_THROW(processor.initialize({large}, {large}, blockX, blockY, true, overlap, border,
                                          BlockProcessor::EDGE_TAPER_KEEP_FIRST),
                     cv::Exception);
    };
    refused(600, 0, 0, 0);
    refused(600, 600, 599, -1);
    refused(INT_MIN, 64, 8, 0);
    refused(600, 600, 600, 0);
    refused(64, 64, INT_MAX, 0);
    refused(64, 64, 8, 100000); // blocks of 80 GB
    EXPECT_EQ(processor.m_width, 203);
    for (bool more = true; more; more = processor.getBlockImage(nullptr, block))
        processor.writeBackBlock();
    EXPECT_TRUE(samePixels<ushort>(in, out[0]));
}

TEST(BlockProcessor, MembersThatAHostMakesWrongAreRefusedAndNoCountRunsOn)
{
    const cv::Mat in = randomPlane({203, 157}, CV_16UC1, 0, 65536);
    const auto begun = [&](BlockProcessor& processor, int taper) {
        Planes out{cv::Mat::zeros(157, 203, CV_16UC1)}, block;
        processor.initialize({in}, out, 64, 64, true, 8, 0, BlockProcessor::EDGE_TAPER_TYPE(taper));
        processor.getBlockImage(nullptr, block);
    };
    for (int BlockProcessor::*member : {&BlockProcessor::m_curX, &BlockProcessor::m_curY, &BlockProcessor::m_blockW,
                                        &BlockProcessor::m_doneX, &BlockProcessor::m_width}) {
        BlockProcessor processor;
        begun(processor, 0);
        processor.*member = INT_MIN;
        EXPECT_THROW(processor.writeBackBlock(), cv::Exception);
        processor.*member = INT_MAX;
        EXPECT_THROW(processor.writeBackBlock(), cv::Exception);
    }
    BlockProcessor processor;
    begun(processor, 2);
    processor.doEdgeTaperInX(INT_MAX, INT_MAX);
    processor.writeBlockToStrip(INT_MAX, INT_MAX);
    processor.writeStripToOutput(INT_MAX, INT_MAX);
    processor.m_strip[0] = solid(CV_16UC1);
    EXPECT_THROW(processor.writeStripToOutput(1, 1), cv::Exception);
}
