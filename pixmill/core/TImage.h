#pragma once
// Plain form: `reference/ycm.h`.

#include <pixmill/core/Export.h>
#include <pixmill/core/TMat.h>

#include <opencv2/core/mat.hpp>

/// A size in pixels.
struct TSize {
    int width;  ///< Columns.
    int height; ///< Rows.

    /// An empty size, unless told.
    TSize(int w = 0, int h = 0) : width(w), height(h) {}
};

/// Whether both sides agree.
inline bool operator==(const TSize& a, const TSize& b)
{
    return a.width == b.width && a.height == b.height;
}

/// Whether a side differs.
inline bool operator!=(const TSize& a, const TSize& b)
{
    return !(a == b);
}

/// A typed picture with explicit plane memory, owned (from the primitives' allocator) or wrapped around a host's
/// buffer.
///
/// A wrapper stays as built: `resize`, `free` and `copyFrom` do nothing on it. Ids come from `rand()`: the library
/// draws from the C library's generator whenever pixels are allocated, copied or released. One thread at a time per
/// object.
class PIXMILL_API TImage {
public:
    /// What a picture holds. Packed pixels are in the order R, G, B, A; a host's buffers mostly come as B, G, R, A.
    enum IMTYPE : int {
        IM_Y = 0,      ///< One 16-bit plane: luma.
        IM_C = 1,      ///< Two 8-bit planes: red and blue difference, 128 is no colour.
        IM_M = 2,      ///< One 8-bit plane: mask.
        IM_RGBA8U = 3, ///< One plane of packed 8-bit pixels, four channels.
        IM_RGBA16U = 4 ///< One plane of packed 16-bit pixels, four channels.
    };

    IMTYPE m_type;               ///< Type tag.
    bool m_owner;                ///< Whether the planes are this object's own; false for a wrapped buffer.
    int m_width;                 ///< Width in pixels.
    int m_height;                ///< Height in pixels.
    unsigned char* m_plane_p[4]; ///< Plane pointers; at most two are used, the others are null.
    int m_step;                  ///< Bytes per row, the same for both planes of chroma.
    int m_pixelBytes;            ///< Bytes per pixel of a plane: 2, 1, 1, 4, 8 by type; 0 when empty.
    int m_id;                    ///< Change mark: a new random value whenever the pixels may have changed.

    /// An owning picture of this size; its pixels are undefined.
    TImage(IMTYPE type, const TSize& size);

    /// A deep copy; owns its pixels even when `other` is a wrapper.
    TImage(const TImage& other);

    ///@{
    /// Wraps a host's packed pixels, `stride` bytes from row to row, which must outlive the object.
    ///
    /// With `swapRB` channels 0 and 2 of every pixel are exchanged in place, in the host's buffer.
    TImage(const TSize& size, unsigned char* data, int stride, bool swapRB);
    TImage(const TSize& size, unsigned short* data, int stride, bool swapRB);
    ///@}

    ~TImage();

    /// The same as `copyFrom`.
    TImage& operator=(const TImage& other);

    /// Sets every member to that of an empty owning picture of this type. Releases nothing: for pictures without
    /// planes.
    void init(IMTYPE type);

    /// Releases owned planes and takes a new id.
    void free();

    /// Takes the type, the size and a copy of the pixels of `other`; onto itself, it changes nothing.
    void copyFrom(const TImage& other);

    /// Gives the picture this size with undefined pixels and a new id; the present size keeps pixels and id.
    ///
    /// A width or height of 0 or less leaves an empty picture of the same type.
    void resize(const TSize& size);

    /// Half of the size, each side rounded up.
    static TSize dec2Size(const TSize& size);

    /// Copies pixels in: `CV_16UC1` into luma, `CV_8UC1` into a mask or chroma plane min(plane, 1). The id stays.
    ///
    /// @throws const char*  "ERROR - TImage::copyFrom - size is not equal",
    ///                      "ERROR - TImage::copyFrom - type not match"
    void fromMat(const cv::Mat& m, int plane);

    /// A header over a plane, without a reference count: this object must outlive it.
    ///
    /// `plane` chooses min(plane, 1) of chroma and means nothing for the other types. Of an unknown type: empty.
    cv::Mat toMat(int plane) const;

    IMTYPE type() const { return m_type; }             ///< What the picture holds.
    TSize size() const { return {m_width, m_height}; } ///< Its size in pixels.

    /// Exchanges channels 0 and 2 of packed pixels, in place.
    ///
    /// @throws const char*  "ERROR -  TImage::swapC4RBCannel() - wrong type", for other than packed types
    void swapC4RBCannel();

    // Between packed pixels and YCM: full-size 16-bit luma Y (0.299 R + 0.587 G + 0.114 B), two half-size 8-bit
    // differences C (of red and blue from luma, in steps of 512, centred on 128), and a half-size 8-bit mask M out of
    // alpha. Pictures are of the types named, and outputs no part of inputs. A wrapper as an output keeps its size,
    // which must cover the result.

    /// 8-bit packed pixels to 16-bit: the full range to the full range, times 257. Sizes `out`.
    static void rgba8uTo16u(const TImage& in, TImage& out);

    /// 16-bit packed pixels to 8-bit: the full range to the full range, nearest. Sizes `out`.
    static void rgba16uTo8u(const TImage& in, TImage& out);

    /// 16-bit packed pixels to YCM; sizes the outputs. For each whole 2 x 2 block, with sums over its pixels:
    /// C = (sumR - sumY) / 2048 + 128, truncated toward zero and clamped, likewise blue; M = sumA >> 10.
    ///
    /// Where a side is odd, its last column or row is no whole block: those pixels of Y, C and M are not written.
    static void rgba16uToYCM(const TImage& in, TImage& Y, TImage& C, TImage& M);

    /// The same for 8-bit packed pixels, times 257.
    static void rgba8uToYCM(const TImage& in, TImage& Y, TImage& C, TImage& M);

    /// YCM to 16-bit packed pixels. C and M are enlarged cubically on pixel squares, as 8-bit planes. Then
    /// R = (C0 - 128) * 512 + Y, B alike, and G = (Y - 0.299 R - 0.114 B) * 1.7035775 of the unclamped R and B, rounded
    /// to nearest even and clamped; A = 255.997 M.
    ///
    /// @param out  Of the size of `Y`.
    /// @throws const char*  "TImage::YCMToRgba16u - imY.size()!=out.size() || TImage::dec2Size(imY.size()) !=
    ///     imC.size() || imC.size() != mask.size()" (one line); `out` is then untouched.
    static void YCMToRgba16u(const TImage& Y, const TImage& C, const TImage& M, TImage& out);

    /// The same to 8-bit packed pixels, the 16-bit ones divided by 257 and rounded.
    static void YCMToRgba8u(const TImage& Y, const TImage& C, const TImage& M, TImage& out);

    /// A host's 8-bit pixels in the order B, G, R, A, `stride` bytes from row to row, to YCM.
    static void bgra8uToTImage(const unsigned char* src, int width, int height, int stride, TImage& Y, TImage& C,
                               TImage& M);

    /// YCM to a host's 8-bit pixels in the order B, G, R, A. Throws as `YCMToRgba16u`.
    static void timageToBgra8u(const TImage& Y, const TImage& C, const TImage& M, unsigned char* dst, int stride);

    /// Carries chroma along with a changed luma, at half size: colours, as shares of full scale, are multiplied by the
    /// ratio of the lumas' means over 2 x 2 blocks, (new + 255 guard) / (old + 255 guard).
    ///
    /// @param outC   Of the size of `C`, both half the size of the lumas. May be `C`.
    /// @param guard  Above 0, keeps the ratio finite in the dark.
    static void updateCfromYChange(const TImage& oldY, const TImage& C, const TImage& newY, TImage& outC, float guard);

    /// Luma at half size, 8-bit: (p00 + p01 + p10 + p11) >> 10 of each whole 2 x 2 block.
    ///
    /// @return `CV_8UC1` of `dec2Size`; where a side is odd, its last column or row is no whole block and stays 0.
    cv::Mat halfY8U() const;
};

///@{
/// Entry points that do nothing.
PIXMILL_API void YCMtoRGB(cv::Mat&, cv::Mat&, cv::Mat&);
PIXMILL_API void RGBtoYCM(cv::Mat&, cv::Mat&, cv::Mat&);
///@}
