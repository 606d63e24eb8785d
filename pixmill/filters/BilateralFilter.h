#pragma once
// Plain forms: `reference/bilateral_grid.h`, `reference/morphology.h`.

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

#include <cstddef>

class TProgress;

/// Smooths a picture and keeps the edges of a second one, in a grid of x, y and the edge picture's value.
///
/// Samples are splatted into a grid of `sampleS` pixels and `sampleR` edge values a cell, the grid is blurred along its
/// three axes by a recursive Gaussian of 0.85 cells, and the picture is read back by trilinear interpolation. The cell
/// of (x, y, z) lies at (y * m_gridX + x) * m_gridZ + z.
///
/// Method: J. Chen, S. Paris, F. Durand, "Real-time Edge-Aware Image Processing with the Bilateral Grid", 2007.
///
/// One thread at a time per object; not copyable.
class PIXMILL_API BilateralFilter {
public:
    bool m_is16Bit = false;       ///< Samples of the filtered picture are 16-bit, otherwise 8-bit.
    int m_gridX = 0;              ///< Cells along x.
    int m_gridY = 0;              ///< Cells along y.
    int m_gridZ = 0;              ///< Cells along the edge value, at most 252.
    float* m_weights_p = nullptr; ///< Sample counts, then a guard word; owned.
    float* m_values_p = nullptr;  ///< Sample sums, later the result, then a guard word; owned.
    int m_padXY = 1;              ///< Padding in cells on x and y, 0 or more; taken over by `setup`.
    int m_padZ = 1;               ///< Padding in cells on the edge value, 0..124; taken over by `setup`.
    int m_minVal = 0;             ///< Least edge value, truncated.
    int m_width = 0;              ///< Columns of the picture that the grid was made for.
    int m_height = 0;             ///< Rows of that picture.
    int m_sampleS = 0;            ///< Pixels a cell.
    int m_sampleR = 0;            ///< Edge values a cell; raised where more than 252 cells would be needed.
    int m_gridDirty = 1;          ///< 0 when `proc` has finished.

    BilateralFilter() = default;
    BilateralFilter(const BilateralFilter&) = delete;
    BilateralFilter& operator=(const BilateralFilter&) = delete;

    /// Throws as `dealloc` does.
    ~BilateralFilter() noexcept(false);

    /// Filters `inOut` in place. With `sampleS` below 2 the grid and the steps of the call before serve again; without
    /// one for a picture of this size nothing happens.
    ///
    /// @param edge      one channel, the size of `inOut`; empty: `inOut` itself.
    /// @param inOut     CV_8UC1 or CV_16UC1.
    /// @param sampleR   above 0.
    /// @param progress  reported to five times; may be null.
    /// @return 1, or 0 when the host cancelled; `inOut` is then untouched, but for a refusal of the last report.
    /// @throws const char*  "ERROR - bool BilateralFilter::proc - inOut.size !=  edge.size"
    /// @throws cv::Exception  other types, a step or a padding out of range, a grid of 2^31 cells or more.
    int proc(const cv::Mat& edge, cv::Mat& inOut, int sampleS, int sampleR, TProgress* progress);

    /// Sizes the grid for a picture and the range of its edge values; keeps one that fits.
    /// @return 1, or 0 when `sampleS` is below 2; only `m_is16Bit` has then changed.
    int setup(const cv::Mat& edge, int width, int height, int sampleS, int sampleR, bool is16Bit);

    /// Fills both grids; nothing where there is none.
    void gridInit(float weight, float value);

    /// @throws const char*  "ERROR - BilateralFilter::alloc()", without memory.
    void alloc();

    /// Frees both grids. @throws const char*  "BilateralFilter::dealloc() - != 0x6d6d6d6d", when a write left a grid.
    void dealloc();

    /// Splats, blurs, and divides sums by counts.
    void buildGrid(cv::Mat& inOut, const cv::Mat& edge);

    /// Blurs counts and sums along z, x and y.
    void filterGrids();

    /// The recursive Gaussian along one line of n samples `stride` apart, in K pairs of sweeps, at most 65536.
    void iir(float* line, int n, int stride, float sigma, int K);

    /// Reads the picture back from the grid. The edge value's cell is rounded, so that its fraction is -0.5 to 0.5 and
    /// a sample may be extrapolated from the cell and the next: that is meant.
    void interpGrid(cv::Mat& inOut, const cv::Mat& edge);

    /// Sharpens `guide` against `in`: a guide sample becomes the input's where that lies strictly inside the half of
    /// the guide's local range (a disc of radius r + 0.5) that is away from the nearer extremum. The outer r samples
    /// stay.
    ///
    /// @param in  CV_8UC1 or CV_16UC1; `guide` of the same type and size. With r below 1 nothing is looked at.
    /// @return 1.
    /// @throws const char*  "ERROR - BilateralFilter::gradientGuide - in image type"
    static int gradientGuide(const cv::Mat& in, cv::Mat& guide, int r);

private:
    std::size_t m_cells = 0; ///< Cells of each grid that stands; where the members tell another number, none does.
    int m_gridPadXY = 1;     ///< The padding that the grid was made with, whatever the members tell since.
    int m_gridPadZ = 1;

    cv::Size checkedCells(const cv::Mat& edge, int width, int height, int sampleS, int sampleR) const;
    int fitDepth(const cv::Mat& edge);
    bool hasGrid() const;
    void checkGridFor(const char* call, const cv::Mat& inOut, const cv::Mat& edge) const;
    bool hasGridFor(const cv::Mat& picture) const;
    void build(const cv::Mat& picture, const cv::Mat& edge, bool fresh);
    template <class Prepare>
    void blurSlabs(long pixels, const Prepare& prepare);
    void blurAlongY(bool divide);
};
