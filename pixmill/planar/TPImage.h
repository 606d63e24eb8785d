#pragma once
// Plain forms: `reference/ydrdb.h`, `reference/edge_plane.h`, `reference/view.h`.

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

/// The library's planar picture: full-size 16-bit luma, two half-size 16-bit colour differences, a half-size 8-bit
/// mask.
///
///     Y  = 0.299 R + 0.587 G + 0.114 B
///     Dr = (R - Y) / 2 + 32768             Db = (B - Y) / 2 + 32768
///     R  = Y + 2 Dr - 65536                B  = Y + 2 Db - 65536          G = (Y - 0.299 R - 0.114 B) * 1.7036
///
/// All values are 16-bit; 32768 is no colour. Sums are single precision, from left to right, the gain of green is a
/// double; results are rounded to nearest even and limited to 0..65535. The differences are taken between planes that
/// were reduced to half size first (downSize2X: the even pixels).
///
/// Half size is half of each dimension, rounded up. "15U" names host planes whose full scale is 32768; the picture
/// itself is the same for every depth. Strides are bytes between rows unless told otherwise, and may be negative for
/// packed pixels; 0 means tight rows where planes are passed.
///
/// From 8 bits to 16 the picture widens by a shift, so that 8-bit white is 65280 and black stays 0; a host that wants
/// white at 65535 multiplies by 257 itself and hands in 16 bits.
///
/// Outputs: what comes as a pointer is the host's, as large as each function tells. R, G, B of YDRDB2RGB, YDRDB2RGB15U
/// and YDRDB2RGB8U must be ready, of their type and at least the size of Y; all other `cv::Mat` outputs are created
/// unless they fit.
///
/// Planes are reference-counted: assignment and the copy constructor share pixels, so that a write through one object
/// is seen through the other. An object belongs to one thread at a time; a null host pointer, or a plane smaller than
/// its use, throws cv::Exception before anything is written.
class PIXMILL_API TPImage {
public:
    cv::Mat m_Y;    ///< CV_16UC1, H x W: luma.
    cv::Mat m_Dr;   ///< CV_16UC1, half size: red difference, 32768 is no colour.
    cv::Mat m_Db;   ///< CV_16UC1, half size: blue difference, 32768 is no colour.
    cv::Mat m_mask; ///< CV_8UC1, half size; the conversions from host pixels fill it with 255.
    int m_uid = 0;  ///< Version id of this object's pixels; a host compares it to learn of a change.

    static int m_count;                       ///< Number of live objects, and the source of ids.
    static unsigned char* m_lutFullToEdge_p;  ///< 65,536 entries, the host's; filled by computeLUT. Null at first.
    static unsigned short* m_lutEdgeToFull_p; ///< 256 entries, the host's; filled by computeLUT. Null at first.

    /// A picture of this size with undefined pixels; 0 by 0 allocates nothing. Its id is the count of objects << 9, so
    /// the low nine bits count versions, and an id comes back once objects are gone.
    TPImage(int width, int height);

    /// Shares the planes of `other` under an id of its own.
    TPImage(const TPImage& other);

    ~TPImage();

    /// Shares the planes of `other` and keeps the id.
    TPImage& operator=(const TPImage& other);

    /// Gives the picture this size. Nothing is cleared.
    ///
    /// A luma plane that fits ends it: the other three are not looked at. Otherwise luma is created, and each small
    /// plane unless it fits. The last argument is not read.
    void create(int width, int height, bool);

    /// Drops all four planes; the id stays.
    void release();

    /// A new picture with deep copies of the small planes, and of luma if `withY`; without it luma stays empty.
    TPImage clone(bool withY) const;

    /// Copies the small planes, and luma if `withY`, into those of `dst`, whose id stays. A plane that fits is
    /// overwritten, also where `dst` shares it with others.
    void copyTo(TPImage& dst, bool withY) const;

    int uid() const { return m_uid; } ///< `m_uid`.
    void updateUid() { ++m_uid; }     ///< For a host that has changed pixels itself: the id of the next version.

    /// Fills all four planes from packed B, G, R, x pixels and adds 1 to the id. 8-bit elements are shifted up by 8, so
    /// white is 65280. A width or height of zero or less changes nothing.
    ///
    /// @param stride  bytes from row to row.
    /// @throws const char*  "ERROR - downSize2X - outHalf must be allocated!" when luma fits but a difference plane is
    ///                      missing or of another type.
    void convertFrom(const unsigned char* src, int width, int height, int stride);

    /// The same from 16-bit elements, taken as they are; `stride` counts elements, not bytes.
    void convertFrom(const unsigned short* src, int width, int height, int stride);

    /// The same from planes R, G, B of one stride, in bytes; the id stays.
    void convertFrompRGB(unsigned short** rgb, int width, int height, int stride);

    /// The same from 15U planes: Y is doubled before it is rounded, Dr is R - Y / 2 + 32768, and so is Db.
    void convertFrompRGB15U(unsigned short** rgb, int width, int height, int stride);

    /// YDRDBToQImage of the whole picture.
    void convertTo(unsigned char* dst, int stride) const;

    /// Writes three half-size 8-bit planes, R and B all 0 and G as YDRDB2RGB8U makes it, from the even pixels of luma.
    ///
    /// @throws const char*  "ERROR - downSize2X - outHalf must be allocated!" on an empty picture.
    void convertToHalfpRGB(unsigned char** rgb, int stride) const;

    /// Colours of planes of one size; outputs are as large as Y already, CV_16UC1, and may be inputs.
    static void YDRDB2RGB(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G, cv::Mat& B);

    /// The same in 15U: R = Dr + Y / 2 - 32768, which goes past 32768, up to 65534, where colour is strong.
    void YDRDB2RGB15U(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G, cv::Mat& B) const;

    /// The same into CV_8UC1 planes, of which R and B become 0. G comes from the low bytes of R and B and not from
    /// their values, so it carries about 1.7 times luma; that is its meaning, not an approximation of colour.
    void YDRDB2RGB8U(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G, cv::Mat& B) const;

    /// Luma of CV_16UC1 planes of the size of R. Y is created unless it fits, and may be one of the three.
    static void PRGB2Y(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, cv::Mat& Y);

    /// The same from 15U planes: twice the sum, rounded once.
    static void PRGB15U2Y(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, cv::Mat& Y);

    /// Writes width x height display pixels B, G, R, 255, of 8 bits: colours / 256, from half-size differences enlarged
    /// linearly. Green takes R and B before they are limited, with a gain of its own, 1.7035775 / 256 as a float.
    ///
    /// @param Y       CV_16UC1, at least height x width.
    /// @param Dr, Db  CV_16UC1, half size; past their edges the last samples go on.
    /// @throws const char*  "ERROR TPImage::YDrDbToQImage - input type"; the text of upSize2X on an empty target.
    static void YDRDBToQImage(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, unsigned char* dst, int width,
                              int height, int stride);

    /// A region of `in`, reduced: w x h pixels that cover w * scale x h * scale of `in` from (x, y). Never shares
    /// pixels with `in`.
    ///
    /// The region is cut where it passes the plane's far edges. At scale 1 the result is then smaller; at others the
    /// part that is left is reduced by downSizeNX, cubic, into w x h. A region without any pixel is empty, or black
    /// where reduced.
    ///
    /// @param half    The region is given in full-size coordinates of a half-size plane: w and h are halved, rounding
    ///                up, x and y rounding toward zero.
    /// @param smooth  Reduce the 3 x 3 means of the region, which repeats its own edge. CV_8UC1, CV_16UC1, CV_32FC1.
    /// @throws const char*  "ERROR TPImage::MatRoi - input type" when smoothing other types; those of downSizeNX.
    /// @throws cv::Exception  the region starts before the plane or past its end, the scale is below 1, or a reduced
    ///                        result would have more pixels than both 2^26 and `in`.
    static cv::Mat MatRoi(const cv::Mat& in, int x, int y, int w, int h, int scale, bool half, bool smooth);

    /// Fills the host's full-size planes R, G, B with 16-bit colours, the differences enlarged by cubic interpolation.
    /// `stride` is bytes, one for all three; 0 means tight rows.
    void convertTopRGB(unsigned short** rgb, int stride) const;

    /// The same in 15U, as YDRDB2RGB15U.
    void convertTopRGB15U(unsigned short** rgb, int stride) const;

    /// Fills both edge tables: e = 128 +- 0.7071 sqrt(|d|) for a half difference d, and d = +- 2 (e - 128)^2.
    ///
    /// Called once by the host, after it has assigned the tables and before the functions below.
    /// @throws const char*  "ERROR - TPImage::computeLUT: LUT is not allocated."
    static void computeLUT();

    /// What `full` holds beyond `half`, as an 8-bit edge plane: the table's byte of (full - up) / 2 + 32768, where `up`
    /// is `half` enlarged by the pyramid step. 128 is no difference.
    ///
    /// @param half  CV_16UC1, half size of `full`, or empty: then `full` is reduced here.
    /// @param edge  CV_8UC1, the size of `full`; created unless it fits.
    static void fullToEdge(const cv::Mat& full, const cv::Mat& half, cv::Mat& edge);

    /// Enlarges `half` to the size of `edge` and adds `strength` times the stored half difference; 2 restores what
    /// fullToEdge took out.
    static void edgeToFull(const cv::Mat& edge, const cv::Mat& half, cv::Mat& full, float strength);

    /// The same on `after`, the difference being scaled further by how much the gradients of the half-size plane grew
    /// from `before` to `after`; `epsilon`, above 0, keeps that ratio finite where the plane is flat.
    static void edgeToFull(const cv::Mat& edge, const cv::Mat& before, const cv::Mat& after, cv::Mat& full,
                           float epsilon, float strength);

    /// The edge bytes of a CV_16UC1 plane of half differences; `edge` is created unless it fits.
    /// @throws const char*  "ERROR - TPImage::applyFullToEdgeLUT: LUT is NULL."
    static void applyFullToEdgeLUT(const cv::Mat& in, cv::Mat& edge);
};
