#include <pixmill/resample/BlockProcessor.h>

#include <pixmill/resample/detail/block_rows.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/plane.h>

#include <algorithm>
#include <climits>
#include <cstring>

using namespace pixmill::rows;
using namespace pixmill::resample;

namespace {

constexpr const char* kConvert = "BlockProcessor::convertBlockDuplicateBorder";

} // namespace

BlockProcessor::~BlockProcessor()
{
    delete[] m_taperWeights_p;
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
