#include <pixmill/resample/BlockProcessor.h>

#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

using namespace pixmill::rows;

constexpr const char* kInitialize = "BlockProcessor::initialize";
constexpr const char* kConvert = "BlockProcessor::convertBlockDuplicateBorder";
constexpr const char* kTaper = "BlockProcessor::doEdgeTaperInX";
constexpr const char* kStrip = "BlockProcessor::writeStripToOutput";

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

/// How much of a block lies in the picture.
int validPart(int origin, int block, int size)
{
    return int(limit(std::min<long>(block, long(size) - origin), 0L, long(INT_MAX)));
}

void fillRamp(float* w, int size, int n)
{
    PIXMILL_CHECK(w, "BlockProcessor::writeBackBlock", "m_taperWeights_p", describe(w), "the ramp");
    PIXMILL_CHECK(n <= size, "BlockProcessor::writeBackBlock", "the overlap", n, "no more than the ramp holds");
    const float unit = 1.0f / float(n + 1);
    for (int i = 0; i < n; ++i)
        w[i] = float(i + 1) * unit;
    if (n < size)
        w[n] = 1.0f;
}

inline ushort mix(float w, ushort added, ushort old)
{
    return ushort(int(w * float(added) + (1.0f - w) * float(old)));
}

template <int Channels>
inline void rampRow(const float* __restrict w, const ushort* __restrict old, ushort* __restrict block, int n)
{
    for (int i = 0; i < n; ++i)
        for (int c = 0; c < Channels; ++c)
            block[i * Channels + c] = mix(w[i], block[i * Channels + c], old[i * Channels + c]);
}

inline void mixRow(float w, const ushort* __restrict strip, ushort* __restrict out, int n)
{
    for (int i = 0; i < n; ++i)
        out[i] = mix(w, strip[i], out[i]);
}

/// Calls body(plane, row) for every row of every plane.
template <class Body>
void forEachPlaneRow(std::size_t planes, int rows, int width, const Body& body)
{
    if (rows > 0)
        forEachIndex(int(planes) * rows, long(planes) * rows * width,
                     [&](int i) { body(std::size_t(i / rows), i % rows); });
}

/// A rectangle of pixels to move, cut to what both pictures hold.
struct Move {
    cv::Point from, to;
    cv::Size size;

    Move(const cv::Mat& source, cv::Point first, const cv::Mat& target, cv::Point place, int width, int height)
        : from(first), to(place), size(std::min({width, source.cols - first.x, target.cols - place.x}),
                                       std::min({height, source.rows - first.y, target.rows - place.y}))
    {
        const bool inside = first.x >= 0 && first.y >= 0 && place.x >= 0 && place.y >= 0;
        if (!inside || source.elemSize() != target.elemSize() || size.width < 1)
            size = {};
    }
};

void copyRows(const std::vector<cv::Mat>& source, std::vector<cv::Mat>& target, const Move& m)
{
    forEachPlaneRow(std::min(source.size(), target.size()), m.size.height, m.size.width, [&](std::size_t k, int y) {
        std::memcpy(target[k].ptr(m.to.y + y, m.to.x), source[k].ptr(m.from.y + y, m.from.x),
                    std::size_t(m.size.width) * source[k].elemSize());
    });
}

/// The host's random sequence moves on by what a stitch that keeps the first block takes.
void drawRandom(long count)
{
    for (; count > 0; --count)
        std::rand();
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

/// The planes that lie one over the other in a walk are all of one size and type.
void checkAlike(const char* call, const char* argument, const std::vector<cv::Mat>& planes)
{
    for (const cv::Mat& plane : planes) {
        checkPlane(plane, call, argument);
        PIXMILL_CHECK(plane.size() == planes[0].size() && plane.type() == planes[0].type(), call, argument,
                      describe(plane), "planes of one size and type");
    }
}

} // namespace

BlockProcessor::~BlockProcessor()
{
    delete[] m_taperWeights_p;
}

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
    const int room = packed ? 0 : 2 * border, type = packed ? CV_16UC3 : CV_16UC1;
    const cv::Size blockSize(x.block + room, y.block + room), stripSize(picture.cols, y.block + room);
    checkMemory(picture, blockSize);

    // All that can fail is done beside the object, which is as it was until nothing can.
    std::vector<cv::Mat> block = m_block, strip = m_strip;
    block.resize(packed ? 1 : in.size());
    strip.resize(block.size());
    const auto allocate = [&](cv::Mat& m, cv::Size size) {
        if (!fits(m, size, type))
            m = packed ? cv::Mat::zeros(size, type) : cv::Mat(size, type); // packed blocks are filled in part
    };
    for (std::size_t k = 0; k < block.size(); ++k) {
        allocate(block[k], blockSize);
        allocate(strip[k], stripSize);
    }
    const int rampSize = std::max(x.block, y.block);
    float* const ramp = new float[rampSize]();

    delete[] m_taperWeights_p;
    m_taperWeights_p = ramp;
    m_rampSize = rampSize;
    m_block = std::move(block);
    m_strip = std::move(strip);
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

bool BlockProcessor::getBlockImage(int* roi, std::vector<cv::Mat>& block)
{
    const bool isFirst = m_doneX == 0 && m_doneY == 0;
    if (!isFirst && !hasNextBlock())
        return false;
    convertBlockDuplicateBorder(roi);
    block = m_block;
    return true;
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

/// What the walk computes with are places and sizes, whose sums an int holds.
void BlockProcessor::checkWalk(const char* call) const
{
    const auto check = [call](const char* name, int value) {
        PIXMILL_CHECK(value >= 0 && value < INT_MAX / 4, call, name, value, "0 or more, and below 2^29");
    };
    check("m_curX", m_curX);
    check("m_curY", m_curY);
    check("m_doneX", m_doneX);
    check("m_doneY", m_doneY);
    check("m_width", m_width);
    check("m_height", m_height);
    check("m_border", m_border);
    check("m_blockW", m_blockW);
    check("m_blockH", m_blockH);
}

void BlockProcessor::convertBlockDuplicateBorder(int* roi)
{
    checkWalk(kConvert);
    const int x = m_curX, y = m_curY, b = m_border;
    const int srcX = std::max(x - b, 0), left = std::max(b - x, 0);
    const int srcY = std::max(y - b, 0), top = std::max(b - y, 0);
    const int spanW = x + b + m_blockW > m_width ? m_width - x + b : m_blockW + 2 * b;
    const int spanH = y + b + m_blockH > m_height ? m_height - y + b : m_blockH + 2 * b;
    const int copyW = spanW - left, copyH = spanH - top;
    if (copyW < 1 || copyH < 1)
        throw "BlockProcessor::convertBlockDuplicatedBorder roiSize<1";

    PIXMILL_CHECK(!m_in.empty(), kConvert, "m_in", "empty", "an input");
    PIXMILL_CHECK(!m_block.empty(), kConvert, "m_block", "empty", "a block");
    checkAlike(kConvert, "m_in", m_in);
    checkAlike(kConvert, "m_block", m_block);
    // A packed block is filled at the block's place in the picture. Meant, and sound only for a block at the origin.
    const cv::Point place = m_packed ? cv::Point(srcX, srcY) : cv::Point(left, top);
    copyRows(m_in, m_block, Move(m_in[0], {srcX, srcY}, m_block[0], place, copyW, copyH));
    for (cv::Mat& block : m_block)
        imageExtendBorder(block, left, top, m_blockW - spanW + 2 * b, m_blockH - spanH + 2 * b);
    if (roi) {
        const int area[] = {srcX, srcY, copyW, copyH};
        std::copy(area, area + 4, roi);
    }
}

void BlockProcessor::imageExtendBorder(cv::Mat& image, int left, int top, int right, int bottom) const
{
    const int type = image.type(), cols = image.cols, rows = image.rows;
    if ((type != CV_16UC1 && type != CV_16UC3 && type != CV_16UC4) || image.dims > 2 || image.empty())
        return;
    const std::size_t pixel = image.elemSize(), line = cols * pixel;

    for (int y = 0; y < top && top < rows; ++y)
        std::memcpy(image.ptr(y), image.ptr(top), line);
    for (int i = 1; i <= bottom && bottom < rows; ++i)
        std::memcpy(image.ptr(rows - i), image.ptr(rows - bottom - 1), line);

    const int leftEnd = left > 0 && left < cols ? int(std::min(4L * left, long(cols))) : 0;
    const int rightFirst = right > 0 && right < cols ? cols - right : cols;
    for (int y = 0; y < rows && (leftEnd > 0 || rightFirst < cols); ++y) {
        uchar* row = image.ptr(y);
        for (int x = 0; x < leftEnd; ++x)
            if (x != left)
                std::memcpy(row + x * pixel, row + left * pixel, pixel);
        for (int x = rightFirst; x < cols; ++x)
            std::memcpy(row + x * pixel, row + (rightFirst - 1) * pixel, pixel);
    }
}

void BlockProcessor::doEdgeTaperInX(int overlapX, int rows)
{
    if (m_block.empty() || m_strip.empty())
        return;
    checkAlike(kTaper, "m_block", m_block);
    checkAlike(kTaper, "m_strip", m_strip);
    overlapX = std::min(overlapX, m_strip[0].cols);
    rows = std::min(rows, m_strip[0].rows);
    const Move m(m_strip[0], {m_curX, 0}, m_block[0], {m_border, m_border}, overlapX, rows);
    if (m_taperType == EDGE_TAPER_KEEP_FIRST) {
        if (overlapX > 0 && rows > 0)
            drawRandom(long(m_block.size()) * overlapX * rows);
        copyRows(m_strip, m_block, m); // weight 0: what was written first stays
        return;
    }
    PIXMILL_CHECK(m_taperWeights_p && m.size.width <= m_rampSize, kTaper, "overlapX", overlapX,
                  "no more than the ramp holds");
    PIXMILL_CHECK(m.size.empty() || m_block[0].elemSize() == (m_packed ? 6u : 2u), kTaper, "m_block",
                  describe(m_block[0]), "the walk's type");
    forEachPlaneRow(std::min(m_block.size(), m_strip.size()), m.size.height, m.size.width, [&](std::size_t k, int y) {
        const ushort* old = m_strip[k].ptr<ushort>(m.from.y + y, m.from.x);
        ushort* block = m_block[k].ptr<ushort>(m.to.y + y, m.to.x);
        if (m_packed)
            rampRow<3>(m_taperWeights_p, old, block, m.size.width);
        else
            rampRow<1>(m_taperWeights_p, old, block, m.size.width);
    });
}

void BlockProcessor::writeBlockToStrip(int width, int height)
{
    if (m_block.empty() || m_strip.empty())
        return;
    checkAlike("BlockProcessor::writeBlockToStrip", "m_block", m_block);
    checkAlike("BlockProcessor::writeBlockToStrip", "m_strip", m_strip);
    copyRows(m_block, m_strip, Move(m_block[0], {m_border, m_border}, m_strip[0], {m_curX, 0}, width, height));
}

void BlockProcessor::writeStripToOutput(int overlapY, int rows)
{
    checkAlike(kStrip, "m_strip", m_strip);
    const int held = m_strip.empty() ? 0 : m_strip[0].rows;
    const int end = std::min({rows, held, validPart(m_curY, INT_MAX, m_height)}), blended = std::min(overlapY, end);
    const bool keepFirst = m_taperType == EDGE_TAPER_KEEP_FIRST;
    PIXMILL_CHECK(keepFirst || blended <= 0 || (m_taperWeights_p && blended <= m_rampSize), kStrip, "overlapY",
                  overlapY, "no more than the ramp holds");
    if (keepFirst && blended > 0)
        drawRandom(long(m_strip.size()) * blended);

    forEachPlaneRow(std::min(m_strip.size(), m_out.size()), end, m_width, [&](std::size_t k, int y) {
        const cv::Mat& strip = m_strip[k];
        cv::Mat& out = m_out[k];
        const Move m(strip, {0, y}, out, {0, m_curY + y}, m_width, 1);
        if (m.size.area() < 1 || (keepFirst && y < blended))
            return;
        const int n = m.size.width * int(strip.elemSize() / sizeof(ushort));
        if (y < blended)
            mixRow(m_taperWeights_p[y], strip.ptr<ushort>(y), out.ptr<ushort>(m.to.y), n);
        else
            std::memcpy(out.ptr(m.to.y), strip.ptr(y), n * sizeof(ushort));
    });
}

void BlockProcessor::writeBackBlock()
{
    checkWalk("BlockProcessor::writeBackBlock");
    const int validW = validPart(m_curX, m_blockW, m_width), validH = validPart(m_curY, m_blockH, m_height);
    if (!m_out.empty()) {
        const int overlapX = m_doneX - m_curX, size = m_rampSize;
        if (overlapX < 0)
            throw "in BlockProcessor::copyOneBlock, overlapX<0";
        if (overlapX > 0) {
            fillRamp(m_taperWeights_p, size, overlapX);
            doEdgeTaperInX(overlapX, validH);
        }
        writeBlockToStrip(validW, validH);
        if (m_curX + m_blockW >= m_width) {
            const int overlapY = m_doneY - m_curY;
            if (overlapY < 0)
                throw "in BlockProcessor::copyOneBlock, overlapY<0";
            fillRamp(m_taperWeights_p, size, overlapY);
            writeStripToOutput(overlapY, validH);
        }
    }
    m_doneX = std::min(m_width, m_curX + validW);
}
