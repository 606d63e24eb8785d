#pragma once
// Plain form: `reference/brush.h`.

#include <pixmill/core/Export.h>
#include <pixmill/planar/TPImage.h>

#include <opencv2/core/mat.hpp>

#include <memory>
#include <vector>

namespace pixmill::mask {
class BrushWeights;
struct StrokeBlend;
} // namespace pixmill::mask

/// What a command of the mask document does.
enum TMaskCmdType : int {
    MASK_CMD_SET = 0,          ///< Fills the mask with a value.
    MASK_CMD_INVERT = 1,       ///< Complements the mask.
    MASK_CMD_STROKE_START = 2, ///< The next dot opens a stroke.
    MASK_CMD_DOT = 3,          ///< One dot of a stroke.
    MASK_CMD_STROKE_END = 4    ///< Closes a stroke.
};

/// The brush of one dot, or the value of a fill.
struct TMaskParam {
    unsigned char m_value = 0; ///< Painted or filled value.
    int m_outerRadius = 0;     ///< Dot's outer radius in mask pixels.
    int m_innerRadius = 0;     ///< Dot's inner radius in mask pixels, at most the outer.
    float m_opacity = 0.0f;    ///< Stroke opacity, 1 is full.
    float m_edge = 0.0f;       ///< Edge sensitivity, 0 is none.
    cv::Point m_center;        ///< Dot's centre in mask pixels.
    int m_startInt = 0;        ///< First argument of drawStart; not read.
    float m_startFloat = 0.0f; ///< Second argument of drawStart; not read.
};

/// One undoable command.
struct TMaskCmd {
    int m_type = MASK_CMD_SET;       ///< A TMaskCmdType.
    TMaskParam* m_param_p = nullptr; ///< Null for the commands that take none.
};

/// A selection mask that is painted over a picture with a brush, with undo; 255 is fully selected.
///
/// The mask has half the picture's size. Drawing only records commands; `proc` replays those that have not run yet.
/// `undo` drops commands and rewinds, and the next `proc` rebuilds the mask from the last fill, or from 255 everywhere.
///
/// A stroke works in two layers: coverage, which grows dot by dot, and the mask as it was at the stroke's start. The
/// mask is the stroke's value blended over that start by coverage times opacity, so that dots of one stroke never pile
/// up past its opacity.
///
/// A mask for a half-size plane comes from getMaskRoi; for a full-size one (blendAlpha on luma) enlarge it first, by
/// upSize2X at code 2.
///
/// Owns its commands and their parameters. One thread at a time per object.
class PIXMILL_API TDrawMask {
public:
    std::vector<TMaskCmd*> m_cmdStack; ///< The document: commands in order, owned.
    int m_cmdDone = -1;                ///< Index of the last command applied to the mask.
    float* m_lut_p = nullptr;          ///< Brush weight by distance in mask pixels, 8000 entries, owned.
    int m_lutOuter = -1;               ///< Outer radius that the table was built for.
    int m_lutInner = -1;               ///< Inner radius that the table was built for.
    cv::Mat m_Y8;                      ///< CV_8UC1, half size: the picture's luma.
    cv::Mat m_Dr;                      ///< CV_16UC1, half size: red difference, pixels shared with the picture.
    cv::Mat m_Db;                      ///< CV_16UC1, half size: blue difference, pixels shared with the picture.
    cv::Mat m_mask;                    ///< CV_8UC1, half size: the mask.
    cv::Mat m_maskInit;                ///< CV_8UC1, half size: what reset goes back to, shared with the picture.
    cv::Mat m_strokeCover;             ///< CV_8UC1, half size: coverage of the current stroke.
    cv::Mat m_strokeBase;              ///< CV_8UC1, half size: the mask at the current stroke's start.
    int m_clipX0 = 0;                  ///< Clip rectangle within the (2R + 1)-wide dot: first column.
    int m_clipX1 = 0;                  ///< Column after its last.
    int m_clipY0 = 0;                  ///< First row.
    int m_clipY1 = 0;                  ///< Row after its last.
    int m_clipMaskX = 0;               ///< Mask column of the clip rectangle's first.
    int m_clipMaskY = 0;               ///< Mask row of the clip rectangle's first.
    bool m_strokeOpen = false;         ///< The next dot is its stroke's first.
    bool m_changed = false;            ///< The mask changed since getMaskRoi last gave it out.

    TDrawMask();
    ~TDrawMask();
    TDrawMask(const TDrawMask&) = delete;
    TDrawMask& operator=(const TDrawMask&) = delete;

    /// Takes the picture's planes and mask, unless the luma plane held has that size already; then nothing changes.
    ///
    /// A document of another size is dropped.
    /// @param image  not null, luma CV_16UC1 and a mask of its half size; read, and its small planes shared.
    /// @throws const char*  "ERROR - downSize2X - outHalf must be allocated!" where luma is empty or of another type.
    /// @throws cv::Exception  `image` is null, or a plane has more than two dimensions.
    void setInImage(TPImage* image);

    /// Takes the planes, shared, and a mask of 255, unless the luma plane held has the size of `y8` already; then
    /// nothing changes. A document of another size is dropped.
    ///
    /// @param y8     CV_8UC1, half size.
    /// @param dr,db  CV_16UC1, half size.
    /// @throws const char*  "Error - TFDrawMask::resetMask - ippStsError" when `y8` is empty.
    /// @throws cv::Exception  `y8` has more than two dimensions. Types and sizes of the three are looked at when a dot
    ///                        needs them.
    void setInImage(const cv::Mat& y8, const cv::Mat& dr, const cv::Mat& db);

    void setValue(unsigned char value); ///< Records: fill the whole mask.
    void invert();                      ///< Records: complement the whole mask.
    void drawStart(int i, float f);     ///< Records: open a stroke. The arguments are kept, not read.

    /// Records a hard dot.
    ///
    /// @param pt        centre in picture pixels; halved, truncating.
    /// @param diameter  in picture pixels; half of it, truncated, is both radii.
    void drawADot(const cv::Point& pt, unsigned char value, int diameter);

    /// Records a soft dot; places and diameters as in the hard form.
    ///
    /// @param opacity  of the stroke, 0..1.
    /// @param edge     0: no edge sensitivity; larger values stop sooner at the picture's edges. 0..1 as a rule, 1 is a
    ///                 good start. Where the brush is at its fullest, it leaves a pixel out whose luma differs from
    ///                 that under the centre by 0.73 / edge of the full scale, or whose two differences do by 0.18 /
    ///                 edge in all; half of that already takes off half.
    void drawADot(const cv::Point& pt, unsigned char value, int outerDiameter, int innerDiameter, float opacity,
                  float edge);

    void drawEnd(); ///< Records: close a stroke.

    /// Replays the commands that have not run yet; those before the last fill among them are skipped.
    ///
    /// After an exception the commands up to the failed one have run, and a later call goes on there.
    /// @return true.
    /// @throws const char*  "Error - TFDrawMask::resetMask - ippStsError" or
    ///                      "Error - TFDrawMask::invertMask - ippStsError" when there is no mask; what drawStrokeDot
    ///                      throws.
    /// @throws std::out_of_range  "vector::_M_range_check" when m_cmdDone lies outside the stack.
    bool proc();

    /// Removes the last fill, complement or whole stroke, and rewinds to the last fill left, or to the start.
    ///
    /// A stroke still open is not removed, deliberately; the rewind happens all the same. The mask changes at the next
    /// `proc`; with no command left it stays as it is.
    /// @return -1.
    /// @throws const char*  "Error: TFDrawMask::undo Mask cmd stack is empty!!!".
    int undo();

    /// Goes back to the picture's mask, or to 255 where that has another size, and drops the document.
    void reset();

    void emptyCmdStack();     ///< Drops the document; the mask stays.
    bool bNeedUpdate() const; ///< Whether commands wait to be replayed.

    /// Complements the mask at once. @return true.
    ///
    /// @throws const char*  "Error - TFDrawMask::invertMask - ippStsError".
    bool invertMask();

    /// Fills `mask` at once. @return true.
    ///
    /// @throws const char*  "Error - TFDrawMask::resetMask - ippStsError".
    bool resetMask(cv::Mat& mask, unsigned char value);

    /// The mask for a view of the picture, and the end of m_changed: `TPImage::MatRoi(m_mask, ..., half, not smooth)`.
    ///
    /// It fits the differences of that view, not its luma: at scale 1 a view of 401 x 301 pixels has a mask of
    /// 201 x 151, and so at every scale, as `roi` has its size in pixels of the view.
    ///
    /// @param roi    corner in picture pixels, size in pixels of the view, as for TQuillet3::proc.
    /// @param scale  reduction of the view; below 1 the whole mask is copied.
    /// @return a plane of its own; empty when there is no mask, and m_changed then stays.
    /// @throws cv::Exception  a region that begins outside the picture.
    cv::Mat getMaskRoi(const cv::Rect& roi, int scale);

    /// Paints one dot: coverage first, then the mask under the dot.
    ///
    /// Equal radii with an edge below 0.05 make a hard dot. The mask is blended in a rectangle whose far edges are
    /// exclusive, so a dot's last row and column reach it with a later dot only. This is meant.
    /// @param first  opens a stroke; so does a dot that finds no stroke of the mask's size.
    /// @throws const char*  "Error - TFDrawMask::resetMask - ippStsError" when there is no mask, and
    ///                      "ERROR -- TDrawMask::updateLUT - Inner circle is larger than outter circle."
    void drawStrokeDot(bool first, TMaskParam* param);

    /// Builds m_lut_p for two radii, unless it is: 1 within the inner, a shifted Gaussian down to 0 at the outer.
    ///
    /// @throws const char*  "ERROR -- TDrawMask::updateLUT - Inner circle is larger than outter circle."
    void updateLUT(int outerRadius, int innerRadius);

    /// Marks a disc in the coverage as full.
    void drawDumbDot(cv::Point center, int radius);

    /// Moves the coverage toward full by the weights of m_lut_p, less where the picture differs from the colour under
    /// the centre. Distances of 8000 and more have weight 0. `innerRadius` is in the table.
    void drawMaskDotLUT(cv::Point center, int outerRadius, int innerRadius, float edge);

    /// The same with a smoothstep between the radii instead of the table.
    void drawMaskDot(cv::Point center, int outerRadius, int innerRadius, float edge);

    /// Blends `value` over the stroke's base into the mask, by coverage times opacity, in the dot's rectangle.
    void renderStroke(unsigned char value, float opacity, cv::Point center, int radius);

    /// Computes the clip rectangle of a dot.
    ///
    /// The right edge is tested with at-most where the bottom is tested with less-than, so a dot that ends on column
    /// `cols` keeps its full width. This is meant.
    void checkBoundary(cv::Point& center, int radius);

private:
    /// Applies a command. `stale` covers all pixels where the stroke's coverage may be above 0, or its base not the
    /// mask: what the next stroke's start brings up to date. The host cannot write in between, as it can between calls.
    void apply(const TMaskCmd& command, cv::Rect& stale);
    void drawDot(bool first, const TMaskParam& dot, cv::Rect& stale);
    void startStroke(const cv::Rect& stale);

    std::unique_ptr<pixmill::mask::BrushWeights> m_weights_p; ///< Weights of the last soft dot, made on demand.
    std::unique_ptr<pixmill::mask::StrokeBlend> m_blend_p;    ///< The last dot's blend, made on demand.
};
