#pragma once

#include <reference/planes.h>

/// A picture cut into overlapping blocks and stitched together again: across the overlap the later block rises
/// linearly.
///
///     out = w block + (1 - w) old, truncated; w = (i + 1) / (overlap + 1) on pixel i of the overlap
///
/// Feathering as in R. Szeliski, "Image Alignment and Stitching: A Tutorial", 2006. Where blocks lie is the walk's own.
namespace pixmill::reference {

/// Whole pictures of one channel; `taper` 2 keeps the first block and counts the numbers drawn for it.
struct Blocks {
    std::vector<cv::Mat> in, out, strip;
    int width, height, border, taper;
    int doneX = 0, doneY = 0, random = 0;

    cv::Mat cut(int plane, int x, int y, int w, int h) const
    {
        cv::Mat block(h + 2 * border, w + 2 * border, CV_16UC1);
        for (int j = 0; j < block.rows; ++j)
            for (int i = 0; i < block.cols; ++i)
                block.at<ushort>(j, i) = repeated<ushort>(in[plane], y - border + j, x - border + i);
        const int left = std::max(border - x, 0);
        for (int j = 0; left > 0 && j < block.rows; ++j)
            for (int i = 0; i < std::min(4 * left, block.cols); ++i)
                if (i != left)
                    block.at<ushort>(j, i) = block.at<ushort>(j, left);
        return block;
    }

    static ushort mix(float w, ushort added, ushort old) { return ushort(int(w * added + (1 - w) * old)); }

    void put(std::vector<cv::Mat>& blocks, int x, int y, int w, int h)
    {
        const int validW = std::min(w, width - x), validH = std::min(h, height - y);
        const int overlapX = doneX - x, overlapY = doneY - y;
        for (size_t k = 0; k < in.size(); ++k)
            for (int j = 0; j < validH; ++j)
                for (int i = 0; i < validW; ++i) {
                    ushort& block = blocks[k].at<ushort>(border + j, border + i);
                    ushort& old = strip[k].at<ushort>(j, x + i);
                    if (i < overlapX) {
                        const float ramp = float(i + 1) * (1.0f / float(overlapX + 1));
                        block = mix(taper == 2 ? 0.0f : ramp, block, old);
                        random += taper == 2;
                    }
                    old = block;
                }
        doneX = std::min(width, x + validW);
        if (x + w < width)
            return;
        for (size_t k = 0; k < in.size(); ++k)
            for (int j = 0; j < validH; ++j) {
                const float ramp = float(j + 1) * (1.0f / float(overlapY + 1));
                for (int i = 0; i < width; ++i) {
                    ushort& o = out[k].at<ushort>(y + j, i);
                    const ushort s = strip[k].at<ushort>(j, i);
                    o = j < overlapY ? mix(taper == 2 ? 0.0f : ramp, s, o) : s;
                }
                random += taper == 2 && j < overlapY;
            }
        doneX = 0;
        doneY = std::min(height, y + h);
    }
};

} // namespace pixmill::reference
