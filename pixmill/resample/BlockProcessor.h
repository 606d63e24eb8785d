#pragma once
// Plain form: `reference/blocks.h`.

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

#include <vector>

/// Runs a filter over a large picture tile by tile: cuts 16-bit pictures into overlapping blocks, hands each block out
/// to be filtered in place, and stitches the blocks back with a linear ramp across every overlap.
///
/// \code
/// processor.initialize(in, out, 1024, 1024, true, 32, 0, BlockProcessor::EDGE_TAPER_LINEAR);
/// while (processor.getBlockImage(roi, block)) {
///     filter(block);
///     processor.writeBackBlock();
/// }
/// \endcode
///
/// Blocks go left to right, then top to bottom; those of one row are joined into a strip as wide as the picture, and
/// each strip is joined to the output. Either any number of planes of `CV_16UC1` and one size, or one packed picture of
/// `CV_16UC3` or `CV_16UC4`. The output may be the input.
///
/// A packed picture's blocks and strips are `CV_16UC3` without room for a border, and blocks are filled at their place
/// in the picture: packed work is sound only with three channels, no border and one block. What does not fit is left
/// out.
///
/// What a filter of reach r, one that reads no pixel further than r away, needs for the result of the whole picture:
/// `border` r or more, and EDGE_TAPER_KEEP_FIRST. Still, the first 3 * border + r columns differ, where the border
/// covers real data (imageExtendBorder): give the picture so many columns more on its left. Without a border a block
/// ends in its own repeated edge, and an overlap of 2r or more hides that in a ramp without making it exact; a filter
/// without an end to its reach, such as the recursive ones, has nothing better. The ramp truncates, so that even equal
/// pixels come out 1 lower, or 2 where two ramps meet. A filter by pyramids also needs blocks that begin on multiples
/// of its coarsest step, which these do not: see LocalLaplacian for exact tiles by hand.
///
/// One thread at a time per object. An initialize that throws leaves the object as it was; after another exception it
/// is as it was at that moment. Members that a host makes wrong between calls throw `cv::Exception`.
class PIXMILL_API BlockProcessor {
public:
    /// How overlaps are stitched.
    enum EDGE_TAPER_TYPE : int {
        EDGE_TAPER_LINEAR = 0,     ///< Linear ramp from the earlier block to the later one.
        EDGE_TAPER_LINEAR_ALT = 1, ///< The same.
        EDGE_TAPER_KEEP_FIRST = 2  ///< The earlier block stays; takes one `rand()` a stitched pixel or row.
    };

    float* m_taperWeights_p = nullptr; ///< Ramp of the last stitch, max(m_blockW, m_blockH) entries, owned.
    int m_numPlanes = 0;               ///< Number of input pictures.
    std::vector<cv::Mat> m_in;         ///< Inputs, pixels shared with the caller.
    std::vector<cv::Mat> m_out;        ///< Outputs, pixels shared with the caller, never allocated here.
    int m_packed = 0;                  ///< 1 for a packed picture, 0 for planes.
    int m_pixelKind = 0;               ///< 0 planes of CV_16UC1, 1 packed CV_16UC4, 2 packed CV_16UC3.
    std::vector<cv::Mat> m_block;      ///< The working block: one a plane, or one packed.
    std::vector<cv::Mat> m_strip;      ///< The picture-wide strip of the current row of blocks.
    int m_width = 0;                   ///< Columns of the picture.
    int m_height = 0;                  ///< Rows of the picture.
    int m_border = 0;                  ///< Border in pixels around each block.
    float m_unusedBias = -0.05f;       ///< Not read.
    EDGE_TAPER_TYPE m_taperType = EDGE_TAPER_LINEAR; ///< How overlaps are stitched.
    int m_blockW = 0;                                ///< Block columns without the border.
    int m_blockH = 0;                                ///< Block rows without the border.
    int m_stepX = 0;                                 ///< Distance between neighbouring blocks' origins in X.
    int m_stepY = 0;                                 ///< Distance between neighbouring blocks' origins in Y.
    int m_numBlocksY = 0;                            ///< Block count of the tiling rule in Y; not read.
    int m_numBlocksX = 0;                            ///< Block count of the tiling rule in X; not read.
    int m_curX = 0;                                  ///< Current block's first column in the picture.
    int m_curY = 0;                                  ///< Current block's first row in the picture.
    int m_doneX = 0;                                 ///< First column of the strip that no block has written yet.
    int m_doneY = 0;                                 ///< First output row that no strip has written yet.

    BlockProcessor() = default;
    ~BlockProcessor();
    BlockProcessor(const BlockProcessor&) = delete;
    BlockProcessor& operator=(const BlockProcessor&) = delete;

    /// Computes the tiling, allocates blocks, strips and the ramp, and goes back to the first block.
    ///
    /// @param in           planes of CV_16UC1 and one size, or one CV_16UC3 or CV_16UC4.
    /// @param out          pictures of the inputs' size and type; one without pixels is not written.
    /// @param blockSizeX,blockSizeY  largest block in pixels, border on both sides included.
    /// @param alignBlocks  not used: both axes follow the aligned rule.
    /// @param overlap      wanted overlap of neighbouring blocks in pixels; the last of a row or column overlaps more.
    /// @param border       pixels added around each block, from the picture or its replicated edge.
    /// @throws const char*  "BlockProcessor::initialize - input or output is empty.",
    ///                      "BlockProcessor::initialize - input type is not correct.",
    ///                      "not supported input is given in BlockProcessor::init",
    ///                      "input size doesn't match with output size!"
    /// @throws cv::Exception  when no walk over the picture has such blocks.
    void initialize(std::vector<cv::Mat> in, std::vector<cv::Mat> out, int blockSizeX, int blockSizeY, bool alignBlocks,
                    int overlap, int border, EDGE_TAPER_TYPE taperType);

    /// Moves to the next block, but for the first call, and fills it.
    ///
    /// Needs a `writeBackBlock` between two calls.
    /// @param roi    four ints: x, y, width, height of the area copied from the input; may be null.
    /// @param block  receives the headers of the working block, to be filtered in place.
    /// @return false at the end of the walk.
    bool getBlockImage(int* roi, std::vector<cv::Mat>& block);

    /// Stitches the working block into the strip and, at the end of a row of blocks, the strip into the outputs.
    ///
    /// @throws const char*  "in BlockProcessor::copyOneBlock, overlapX<0" or "in BlockProcessor::copyOneBlock,
    ///                      overlapY<0", where the step left a gap.
    void writeBackBlock();

    /// Advances the walk; false when it is finished.
    bool hasNextBlock();

    /// The tiling rule of one axis.
    ///
    /// @param aligned  block sizes and steps are multiples of 16 where one or two blocks are enough.
    /// @return the number of blocks.
    int calculateBlockSizeInOneDimension(int imageSize, int blockSize, int overlap, int& outBlockSize, int& outStep,
                                         bool aligned) const;

    /// Truncated (imageSize - blockSize) / (blockSize * (1 - overlapRatio)) + 0.85, plus 1.
    int estimateNumOfBlocks(int imageSize, int blockSize, float overlapRatio) const;

    /// Copies the current block out of the inputs and replicates its border; `roi` as in getBlockImage.
    ///
    /// @throws const char*  "BlockProcessor::convertBlockDuplicatedBorder roiSize<1" when there is nothing to copy.
    void convertBlockDuplicateBorder(int* roi);

    /// Replicates pixels inside a CV_16UC1, CV_16UC3 or CV_16UC4 picture: rows over `top` and `bottom`, then the pixel
    /// in column `left` over the first 4 * `left` pixels of its row, then a column over `right`.
    ///
    /// The factor 4 is meant: it also covers 3 * `left` pixels of real data. Other types, and margins with nothing to
    /// copy from, are left as they are.
    void imageExtendBorder(cv::Mat& image, int left, int top, int right, int bottom) const;

    /// Does nothing.
    void edgeTaper() {}

    /// Blends the strip's last `overlapX` columns into the block's first ones by the ramp, truncating.
    void doEdgeTaperInX(int overlapX, int rows);

    /// Copies the block's pixels inside the border to their place in the strip.
    void writeBlockToStrip(int width, int height);

    /// Copies the strip to the outputs; its first `overlapY` rows are blended by the ramp, truncating.
    void writeStripToOutput(int overlapY, int rows);

private:
    void allocate(std::size_t planes, cv::Size blockSize, cv::Size stripSize, bool packed, int rampSize);
    void checkWalk(const char* call) const;

    int m_rampSize = 0; ///< Entries of the ramp that was allocated.
};
