#include <pixmill/resample/BlockProcessor.h>

#include <pixmill/rows/check.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>

#include <algorithm>
#include <climits>
#include <string>
#include <utility>

using namespace pixmill::rows;

namespace {

constexpr const char* kInitialize = "BlockProcessor::initialize";

/// Toward zero; a value that no int holds becomes the least one, which no tiling accepts.
int truncated(double v)
{
    return v > -2147483649.0 && v < 2147483647.0 ? int(v) : INT_MIN;
}

/// The next multiple of 16 above v, also when v is one.
int alignedAbove(int v)
{
    return int((long(v) & ~15L) + 16);
}

int blockCount(int imageSize, int blockSize, float keep)
{
    const float steps = float(long(imageSize) - blockSize) / (float(blockSize) * keep);
    return truncated(double(steps) + 0.85) + 1;
}

int blockStep(int imageSize, int blockSize, int blocks, float keep)
{
    const long rest = long(imageSize) - blockSize, gaps = long(blocks) - 1;
    const long q = rest / gaps, r = rest - gaps * (q + 1);
    const long step = r <= 0 ? q + 1 : q + 2 + r / blocks;
    return step > blockSize ? truncated(float(blockSize) * keep) : truncated(double(step));
}

/// Moves a block's origin on, and back again to end at the picture's edge where it would pass it.
int nextOrigin(int origin, int step, int block, int size)
{
    const long next = long(origin) + step;
    return int(limit(block + next - size >= 1 ? long(size) - block : next, 0L, long(INT_MAX)));
}

void checkInputs(const std::vector<cv::Mat>& in, const std::vector<cv::Mat>& out)
{
    if (in.empty() || out.empty())
        throw "BlockProcessor::initialize - input or output is empty.";
    const int type = in[0].type();
    if (type != CV_16UC4 && type != CV_16UC3 && type != CV_16UC1)
        throw "BlockProcessor::initialize - input type is not correct.";
    const char* const unsupported = "not supported input is given in BlockProcessor::init";
    if (type != CV_16UC1 && in.size() > 1)
        throw unsupported;
    for (std::size_t i = 0; i < in.size(); ++i)
        if (i >= out.size() || (out[i].data && out[i].size != in[i].size))
            throw "input size doesn't match with output size!";
    for (const cv::Mat& plane : in)
        if (plane.type() != type)
            throw unsupported;

    for (std::size_t i = 0; i < in.size(); ++i) {
        checkPlane(in[i], kInitialize, "in");
        PIXMILL_CHECK(in[i].size() == in[0].size(), kInitialize, "in", describe(in[i]), "planes of one size");
        PIXMILL_CHECK(!out[i].data || out[i].elemSize() == in[i].elemSize(), kInitialize, "out", describe(out[i]),
                      "the input's type");
    }
}

/// One axis of a tiling.
struct Tiling {
    int blocks, block, step;
};

/// A walk that does not move on would never end.
void checkTiling(const char* argument, const Tiling& t, int imageSize)
{
    PIXMILL_CHECK(t.block >= 1 && t.block < INT_MAX / 2 && (t.step >= 1 || t.block >= imageSize), kInitialize, argument,
                  "one that gives blocks of " + std::to_string(t.block) + " in steps of " + std::to_string(t.step),
                  "blocks that a walk over the picture can have");
}

/// Blocks are as large as the overlap asks for, but they cost memory: at most this many pixels in all.
void checkMemory(const cv::Mat& picture, cv::Size block)
{
    constexpr long kAlways = 1L << 28, kTimes = 64;
    const long width = std::max(block.width, picture.cols), most = std::max(kAlways, long(picture.total()) * kTimes);
    PIXMILL_CHECK(width <= most / block.height, kInitialize, "the block", describe(block),
                  "2^28 pixels or 64 pictures at most, and the same for a strip of blocks");
}

} // namespace

void BlockProcessor::initialize(std::vector<cv::Mat> in, std::vector<cv::Mat> out, int blockSizeX, int blockSizeY,
                                bool /*alignBlocks*/, int overlap, int border, EDGE_TAPER_TYPE taperType)
{
    checkInputs(in, out);
    PIXMILL_CHECK(border >= 0 && border < INT_MAX / 4, kInitialize, "border", border, "0 or more, and below 2^29");
    PIXMILL_CHECK(blockSizeX > INT_MIN / 2, kInitialize, "blockSizeX", blockSizeX, "a block's width");
    PIXMILL_CHECK(blockSizeY > INT_MIN / 2, kInitialize, "blockSizeY", blockSizeY, "a block's height");
    const cv::Mat& picture = in[0];
    const auto tiling = [&](const char* argument, int imageSize, int blockSize) {
        Tiling t;
        t.blocks = calculateBlockSizeInOneDimension(imageSize, blockSize - 2 * border, overlap, t.block, t.step, true);
        checkTiling(argument, t, imageSize);
        return t;
    };
    const Tiling x = tiling("blockSizeX", picture.cols, blockSizeX), y = tiling("blockSizeY", picture.rows, blockSizeY);
    const int pixelKind = picture.type() == CV_16UC4 ? 1 : picture.type() == CV_16UC3 ? 2 : 0;
    const bool packed = pixelKind != 0;
    const int room = packed ? 0 : 2 * border;
    const cv::Size blockSize(x.block + room, y.block + room);
    checkMemory(picture, blockSize);

    allocate(packed ? 1 : in.size(), blockSize, {picture.cols, blockSize.height}, packed, std::max(x.block, y.block));
    m_numPlanes = int(in.size());
    m_width = picture.cols;
    m_height = picture.rows;
    m_in = std::move(in);
    m_out = std::move(out);
    m_pixelKind = pixelKind;
    m_packed = packed;
    m_border = border;
    m_taperType = taperType;
    m_blockW = x.block;
    m_blockH = y.block;
    m_stepX = x.step;
    m_stepY = y.step;
    m_numBlocksX = x.blocks;
    m_numBlocksY = y.blocks;
    m_curX = m_curY = m_doneX = m_doneY = 0;
}

/// Makes blocks, strips and the ramp. All that can fail is done beside the object, which is as it was until nothing
/// can.
void BlockProcessor::allocate(std::size_t planes, cv::Size blockSize, cv::Size stripSize, bool packed, int rampSize)
{
    const int type = packed ? CV_16UC3 : CV_16UC1;
    const auto fit = [&](cv::Mat& m, cv::Size size) {
        if (!packed)
            ensureLarge(m, size, type);
        else if (!fits(m, size, type))
            m = cv::Mat::zeros(size, type); // packed blocks are filled in part
    };
    std::vector<cv::Mat> block = m_block, strip = m_strip;
    block.resize(planes);
    strip.resize(planes);
    for (std::size_t k = 0; k < planes; ++k) {
        fit(block[k], blockSize);
        fit(strip[k], stripSize);
    }
    float* const ramp = new float[rampSize]();

    delete[] m_taperWeights_p;
    m_taperWeights_p = ramp;
    m_rampSize = rampSize;
    m_block = std::move(block);
    m_strip = std::move(strip);
}

int BlockProcessor::calculateBlockSizeInOneDimension(int imageSize, int blockSize, int overlap, int& outBlockSize,
                                                     int& outStep, bool aligned) const
{
    if (imageSize <= blockSize) {
        outBlockSize = outStep = alignedAbove(imageSize);
        return 1;
    }
    const float keep = 1.0f - float(overlap) / float(blockSize);
    if (aligned && float(2L * blockSize) * keep > float(imageSize)) {
        outBlockSize = alignedAbove(truncated(double(imageSize) * 0.5 / double(keep)));
        outStep = alignedAbove(imageSize / 2);
        return 2;
    }
    int n;
    if (aligned) {
        n = std::max(blockCount(imageSize, alignedAbove(blockSize), keep), 3);
        outBlockSize = truncated(float(imageSize) / float(n) / keep);
    } else {
        n = std::max(blockCount(imageSize, blockSize, keep), 2);
        outBlockSize = blockSize;
    }
    outStep = blockStep(imageSize, outBlockSize, n, keep);
    return n;
}

int BlockProcessor::estimateNumOfBlocks(int imageSize, int blockSize, float overlapRatio) const
{
    return blockCount(imageSize, blockSize, 1.0f - overlapRatio);
}

bool BlockProcessor::hasNextBlock()
{
    if (long(m_curX) + m_blockW < m_width) {
        m_curX = nextOrigin(m_curX, m_stepX, m_blockW, m_width);
        return true;
    }
    if (long(m_curY) + m_blockH >= m_height)
        return false;
    m_curX = 0;
    m_doneX = 0;
    m_doneY = int(std::min<long>(m_height, long(m_curY) + m_blockH));
    m_curY = nextOrigin(m_curY, m_stepY, m_blockH, m_height);
    return true;
}
