#pragma once
// Plain forms: `reference/render.h`, `reference/detail_zones.h`.

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

#include <vector>

class TProgress;

/// The detail engine: renders the adjusted luma of a region of a picture at a reduction, from luma and three detail
/// planes.
///
/// `setup` takes a picture in once; `proc` renders a region whenever a control or the view changes, and repeats only
/// what the change touches. A detail plane is CV_16UC1 of the picture's size, centred on 32768: a value d adds 2 * (d -
/// 32768) to luma. Level 0 is the finest. Zone 0 is the base control, which also acts on the highlights, 1 the shadows,
/// 2 the midtones. The host writes the controls and sets the flag that goes with each; there are no setters.
///
/// With every control at rest the result is not the picture: the light curve's table is sampled in steps of 16, so that
/// a neutral one moves luma by up to 15, and detail is added as it is. `m_fullDr` and `m_fullDb` are the colours of any
/// view, by way of TColorAdjQ3; halved coming in and smoothed along their edges, they differ from the picture's own
/// too.
///
/// A copy shares the picture's planes and `m_result` with the original, as copies of cv::Mat do, and nothing else.
/// One thread at a time per object. An exception leaves the flags as they were, so that the next `proc` renders again.
class PIXMILL_API TQuillet3 {
public:
    float m_detailK[3][3] = {};   ///< Slope controls, [level][zone], -1..1; 0 leaves the level as it is.
    float m_detailT[3][3] = {};   ///< Threshold controls, [level][zone]; below 0 drops weak detail, above 0 lifts it.
    float m_lightParams[6] = {};  ///< Brightness, contrast, highlights, shadows, whites, blacks, -1..1 each.
    float m_colorWeights[3] = {}; ///< Red, green and blue weights of `modYWithC`.
    bool m_levelDirty[3] = {};    ///< A level's controls changed: the host sets, `proc` clears.
    bool m_lightDirty = false;    ///< Light or colour controls changed: the host sets, `proc` clears.
    cv::Mat m_Y;                  ///< Luma, CV_16UC1, H x W; shares the host's pixels.
    cv::Mat m_detail[3];          ///< Detail planes, CV_16UC1, H x W; share the host's pixels.
    cv::Mat m_fullDr;             ///< Dr at full size, smoothed, CV_16UC1; the engine's own.
    cv::Mat m_fullDb;             ///< Db at full size, smoothed, CV_16UC1; the engine's own.
    cv::Rect m_roi;               ///< Region last asked for.
    int m_scale = 1;              ///< Reduction last asked for.
    bool m_dirty = false;         ///< Region or source planes changed: all is rendered again.
    cv::Mat m_roiY;               ///< The region's luma with light and colour adjustments.
    cv::Mat m_roiDetail[3];       ///< The region's toned detail planes.
    cv::Mat m_result;             ///< The region's finished luma, CV_16UC1: what the host reads after `proc`.
    int m_smoothScale = 2;        ///< Largest reduction that needs no smoothing of detail planes.

    ///@{
    /// Weights out of 256 of shadows, midtones and highlights, by the high byte of luma; they sum to 255 or 256.
    static const int tg_shadowLut_p[256];
    static const int tg_midtoneLut_p[256];
    static const int tg_highlightLut_p[256];
    ///@}

    /// Gives `m_Y` and the detail planes the size and type of `like`, for a host that fills them itself, and marks the
    /// engine dirty. Planes that fit are kept; no pixel is written. `progress` is not used.
    /// @return true.
    bool setup(const cv::Mat& like, TProgress* progress);

    /// Takes a picture in: shares luma and detail planes, enlarges the half-size colour differences to full size and
    /// smooths them along their edges in tiles (domain transform, spatial sigma (H + W) / 256 limited to 4..32).
    ///
    /// Reports 20, 40 and 100 of 100 to `progress`, which may be null; a refusal at 20 or 40 stops there with the flags
    /// as they were, one at 100 leaves a complete engine. Sets all flags.
    ///
    /// Smooths with a thread for every processor and tells "system has N cores", as `DomainTransform::setup` does;
    /// afterwards the calling thread's OpenMP settings are what they were. `pixmill::setThreads` and a `ThreadScope`
    /// hold throughout.
    ///
    /// @param Y         CV_16UC1, H x W.
    /// @param detail0   CV_16UC1, H x W, the finest; detail1 and detail2 alike.
    /// @param halfDr    CV_16UC1, half size rounded up, centred on 32768; halfDb alike.
    /// @return true, or false when the host cancelled.
    bool setup(const cv::Mat& Y, const cv::Mat& detail0, const cv::Mat& detail1, const cv::Mat& detail2,
               const cv::Mat& halfDr, cv::Mat halfDb, TProgress* progress);

    /// Renders a region into `m_result`.
    ///
    /// @param roi    its corner in picture pixels, its width and height in result pixels; it covers width * scale by
    ///               height * scale picture pixels and is cut at the picture's far edges. At scale 1 the result is then
    ///               smaller, otherwise the cut view is stretched to fill it.
    /// @param scale  the reduction, 1 or more. Above `m_smoothScale` detail is smoothed before it is reduced.
    /// @param extra  CV_16UC1 of the result's size, centred on 32768, added to the finest level; empty or of another
    ///               size: none.
    /// @return true.
    /// @throws cv::Exception  the engine is empty, its planes differ in size, or the region begins outside the picture.
    bool proc(cv::Rect roi, int scale, cv::Mat extra);

    /// Stores region and reduction; marks the engine dirty when either changed.
    void setRoi(cv::Rect roi, int scale);

    /// |a - b| >= 0.01.
    static bool neq(float a, float b);

    /// a >= 0.01 or a <= -0.01.
    static bool bNZ(float a);

    /// Whether any of the level's six controls is set.
    bool bNeedSHMix(int level);

    /// The identity curve's three points: x 0, 32768, 65535 and y 0, 32768, 65536.
    static void computeYCurve(int* x, int* y, int* count);

    /// inOut = ((shadows - 32768) * ws + (midtones - 32768) * wm + (inOut - 32768) * wh) / 256 + 32768, truncating
    /// toward zero and clamped to 16 bits, with the weights of the high byte of Y. CV_16UC1, all of one size.
    static void mixSMH(const cv::Mat& Y, const cv::Mat& shadows, const cv::Mat& midtones, cv::Mat& inOut);

    /// inOut = inOut + 2 * (d0 + d1 + d2) - 196608, clamped to 16 bits. CV_16UC1, all of one size.
    static void addEdges(const cv::Mat& d0, const cv::Mat& d1, const cv::Mat& d2, cv::Mat& inOut);

    /// Y = Y + 2.5 * ((r - g) * dr + (b - g) * db), with dr and db the centred differences (and a constant that
    /// vanishes for r + b = 2 g), rounded and clamped.
    ///
    /// @param Dr  CV_16UC1 (centre 32768) or CV_8UC1 (centre 128), the size of Y; Db of the same type.
    /// @param Y   CV_16UC1, changed in place.
    /// @throws const char*  the timed line of "bad dr type" (`TPixmill::traceMsg`), for other types. Valid until the
    ///                      thread's next composed message.
    static void modYWithC(const cv::Mat& Dr, const cv::Mat& Db, float r, float g, float b, cv::Mat& Y);

private:
    /// The toning tables of a level, kept while their controls stay: rebuilding one costs half as much as using all.
    struct Tables {
        bool made = false;           ///< Whether it is made at all.
        float controls[3][4] = {};   ///< What the tables of shadows, midtones and highlights were made from.
        std::vector<unsigned> pairs; ///< 2 x 65536: midtones | shadows << 16, then midtones | highlights << 16.
    };

    /// The light curve, kept likewise. No two engines share one, so that a copy may go its own way on its own thread.
    struct LightTable {
        float controls[6] = {};              ///< What it was made from.
        std::vector<unsigned short> entries; ///< 65536, or none yet.
    };

    struct View; ///< What one `proc` renders, and from where.

    void prepareLuma(View& view);
    void prepareLevel(int level, const cv::Mat& extra, View& view);
    void updateTables(const View& view);
    void renderRows(const View& view);
    const unsigned short* lightTable();

    Tables m_tables[3];
    LightTable m_lightTable;
    cv::Mat m_scratch[3]; ///< Working planes of the view's size, kept so that a second render of it allocates nothing.
};

///@{
/// Entry points kept for hosts; each does nothing.
/// @return 1.
PIXMILL_API int detailProcForPixelOp(cv::Mat, cv::Mat, cv::Mat, cv::Mat, float);
PIXMILL_API int detailProcForFilterOp(cv::Mat, cv::Mat, cv::Mat, cv::Mat, float);
PIXMILL_API int detailProcForEdgeOp(cv::Mat, cv::Mat, cv::Mat, cv::Mat, float);
///@}
