#pragma once
// Plain form: `reference/sampled_tables.h`.

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

/// A luma and chroma adjustment, written once as a mapping of a pixel in Y/Dr/Db with 8-bit chroma (128 is no colour),
/// turned into tables and applied to planes of one size.
///
/// Luma is sampled and stretched as in `TLutY16U`. Chroma has 0, 1, 2, 4, 8, 16 or 32 tables, one for each of as many
/// equal bands of luma. Entry (dr << 8) | db of a table holds (dr' << 8) | db'; the mapping is sampled at every second
/// dr and db and stretched linearly on pixel squares, so the table of an identity mapping is off by one near the end.
///
/// Destroy it as the class it was made as: the destructor is not virtual. Not copyable: it owns its tables. Tables must
/// not be recomputed while another thread applies them.
class PIXMILL_API TLutYDrDb {
public:
    unsigned short* m_lutY_p; ///< The luma table, 65536 entries, or null; owned.
    int m_log2NC;             ///< Base-two logarithm of the number of chroma tables, 5 at the most; below 0: none.
    unsigned short* m_lutC_p[32] = {}; ///< Chroma tables of 65536 entries, owned; null from the number of tables on.

    /// An object with a luma table and 2^`log2NC` chroma tables, all undefined until `computeLUT`; below 0 none of
    /// chroma.
    explicit TLutYDrDb(int log2NC);
    ~TLutYDrDb();
    TLutYDrDb(const TLutYDrDb&) = delete;
    TLutYDrDb& operator=(const TLutYDrDb&) = delete;

    /// Changes a pixel in place: 16-bit luma, 8-bit red and blue difference.
    ///
    /// Called on several threads at once, so it reads only what it does not change, and must not throw.
    virtual void mapYDrDb(unsigned short& y, unsigned char& dr, unsigned char& db) = 0;

    /// Allocates the luma table if there is none.
    void setupYLUT();

    /// Changes the number of chroma tables, keeping those that stay; new ones are undefined until `computeLUT`.
    ///
    /// @return the number of tables.
    int setupCLUT(int log2NC);

    /// Fills the luma table and all chroma tables from the mapping. Without a luma table, only a single chroma table.
    void computeLUT();

    /// Recomputes all tables and applies them; without chroma tables `outDr` and `outDb` are left alone.
    ///
    /// @param inY16U  CV_16UC1.
    /// @param inDr8U  CV_8UC1, the size of `inY16U`, as `inDb8U`.
    /// @param outY    CV_16UC1, created unless it fits; the chroma outputs likewise as CV_8UC1. May be the inputs.
    /// @return true.
    /// @throws const char*
    ///     "ERROR - TLutYDrDb::proc - inY16U.type()!=CV_16UC1 || inDr8U.type!=CV_8UC1 || inDb8U.type()!=CV_8UC1",
    ///     "ERROR - TLutYDrDb::proc inY16U.size != inDr8U.size || inY16U.size!= inDb8U.size", and as the `apply...`.
    bool proc(const cv::Mat& inY16U, const cv::Mat& inDr8U, const cv::Mat& inDb8U, cv::Mat& outY, cv::Mat& outDr,
              cv::Mat& outDb);

    /// Recomputes all tables and applies that of luma in place.
    ///
    /// @return true.
    /// @throws const char*  "ERROR - TLutYDrDb::proc - inOutY16U.type()!=CV_16UC1", and as `applyYLUT` without a table.
    bool proc(cv::Mat& inOutY16U);

    /// Writes table[inY].
    ///
    /// @param inY   CV_16UC1.
    /// @param outY  CV_16UC1, created unless it fits. May be `inY`.
    /// @throws const char*  "ERROR - TLutYDrDb::applyYLUT - !m_lutY_p",
    ///     "ERROR -  TLutYDrDb::applyYLUT(const Mat &inY, Mat &outY) - inY.type() != CV_16UC1"
    void applyYLUT(const cv::Mat& inY, cv::Mat& outY);

    /// Maps chroma by table 0 alone.
    ///
    /// @param inDr   CV_8UC1, as `inDb`, which may be larger.
    /// @param outDr  CV_8UC1, created unless it fits, as `outDb`. May be the inputs.
    /// @throws const char*  "ERROR - TLutYDrDb::applyCLUT - m_NC<1 ",
    ///     "ERROR -TLutYDrDb::applyCLUT: inDr.type() !=inDb_p.type() || inDr.type() != CV_8UC1"
    void applyCLUT(const cv::Mat& inDr, const cv::Mat& inDb, cv::Mat& outDr, cv::Mat& outDb);

    /// Maps chroma by the table of each pixel's luma band; with one table as above, without reading `inY`.
    ///
    /// Inside a band its table alone decides. A luma on the very edge of a band takes 2 * t[j] - t[j + 1], the low byte
    /// of each; on the lower edge of the top band it takes the table below. Both are meant.
    /// @param inY  CV_16UC1, at least the size of `inDr`. With more than one table no type is checked.
    /// @throws const char*  as above
    void applyCLUT(const cv::Mat& inY, const cv::Mat& inDr, const cv::Mat& inDb, cv::Mat& outDr, cv::Mat& outDb);
};
