#pragma once
// Plain form: `reference/colour_table.h`.

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

/// Recolours chroma planes: four controls become two three-dimensional tables over (Y, Dr, Db) that map Dr and Db.
///
/// The host constructs, writes the controls, sets `m_dirty` and calls `proc`. Controls run from -1 to 1, 0 at rest;
/// past that they go on, and colours are limited to what 16 bits hold.
///
/// An object never marked dirty maps through identity tables. Nodes are built at multiples of 2047.96875 and read at
/// multiples of 2048, so that even those move a value by 1: that is meant. Marked dirty with all controls at 0 it is
/// *not* the identity: colours that no RGB has are pulled in, and the magnitude of chroma is taken in 256 steps, so
/// that single values move by some 200 of 65535, by 1 in the mean. A host whose undo is to give the first picture back
/// to the bit marks it dirty from the start, or skips `proc` while the controls rest.
///
/// Luma and differences are read at the same place, so a host brings luma to the differences' size first (downSize2X at
/// code 4 for those of a TPImage) or enlarges the differences. Of a luma plane that is larger the top left part is
/// read, without a word. One thread at a time per object; not copyable.
class PIXMILL_API TColorAdjQ3 {
public:
    float m_warmth = 0;                  ///< -1..1: cool below 0, warm above.
    float m_tint = 0;                    ///< -1..1: green below 0, magenta above.
    float m_saturation = 0;              ///< -1..1: -1 takes all colour out, 1 is a factor of `m_satUp`.
    float m_chromaFloor = 0;             ///< -1..1: above 0 lifts weak colours, below 0 removes them.
    unsigned char m_dirty = 0;           ///< Non-zero: the tables are built again.
    unsigned char* m_curves_p;           ///< 33 rows of 256: the chroma magnitude curve of each luma node; owned.
    int m_shift = 11;                    ///< log2 of a table cell's width; at least 11.
    float m_gridStep = 2047.96875f;      ///< Code value of one node.
    float m_floorSlope = 4.0f;           ///< Growth of the floor length with the luma node.
    float m_warmUp;                      ///< Scale of `m_warmth` above 0.
    float m_warmDown;                    ///< Scale of `m_warmth` at or below 0.
    float m_tintUp;                      ///< Scale of `m_tint` above 0.
    float m_tintDown;                    ///< Scale of `m_tint` at or below 0.
    float m_satUp;                       ///< Top of the saturation factor.
    float m_floorScale;                  ///< Scale of `m_chromaFloor`.
    unsigned short m_gridDr[33][33][33]; ///< New Dr by [Y node][Dr node][Db node].
    unsigned short m_gridDb[33][33][33]; ///< New Db alike.

    /// Takes the six scales, the reach of each control at its end; (1, 1, 1, 1, 2, 1) is a good choice.
    ///
    /// @param warmUp,warmDown  at 1 a full warmth or coolness is half of the way to a fully tinted picture; at 0 that
    ///                         side does nothing, at 2 it goes all the way.
    /// @param tintUp           the same for magenta.
    /// @param tintDown         the same for green, where 1 is two fifths of the way.
    /// @param satUp            factor of chroma at full saturation, 1 or more; chroma never grows beyond 4 times.
    /// @param floorScale       at 1 a full chroma floor reaches a quarter of the range of chroma in the dark, three
    ///                         quarters in the light.
    TColorAdjQ3(float warmUp, float warmDown, float tintUp, float tintDown, float satUp, float floorScale);
    ~TColorAdjQ3(); ///< Gives the curves back.
    TColorAdjQ3(const TColorAdjQ3&) = delete;
    TColorAdjQ3& operator=(const TColorAdjQ3&) = delete;

    /// Builds the tables again if `m_dirty` is set, and clears it. Always tells "time to compute LUT for color adj: "
    /// and the seconds it took, on standard output unless `TPixmill::setConsole` or a trace sink says otherwise.
    void computeLUT16U();

    /// Scales the differences by max(1, (newY + 655.3) / (oldY + 655.3)), then maps them by trilinear interpolation.
    ///
    /// @param oldY, newY      CV_16UC1, luma before and after the host's own change; only the new one picks the table.
    ///                        The same plane twice where luma is as it was.
    /// @param inDr, inDb      CV_16UC1, centred on 32768; `inDr` gives the size, and the others are at least as large.
    /// @param outDr, outDb    created unless they fit; may be the inputs.
    /// @return 1.
    /// @throws cv::Exception  a plane of another type or too small, `m_shift` outside 11..16; nothing is then written.
    int proc(const cv::Mat& oldY, const cv::Mat& newY, const cv::Mat& inDr, const cv::Mat& inDb, cv::Mat& outDr,
             cv::Mat& outDb);
};
