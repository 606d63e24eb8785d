#pragma once

#include <pixmill/develop/Recipe.h>

#include <cstdint>
#include <vector>

/// What a recipe's controls become before pixels are touched.
namespace pixmill::develop {

/// The controls of one rendering: the recipe's own, or with those of a local adjustment added.
struct Controls {
    Light light;
    ColorWeights weights;
    Detail detail;
    Color color;

    static Controls of(const Recipe& recipe);
    static Controls of(const Recipe& recipe, const LocalAdjustment& local);

    /// Whether luma is weighed by colour.
    bool weigh() const { return weights.red != weights.green || weights.blue != weights.green; }

    /// Whether luma stays as it is, and with it the sum of base and detail.
    bool keepLuma() const { return light == Light() && !weigh() && detail == Detail(); }
};

/// New luma by old luma, 65536 entries: TLightAdjLUTq3 at every 16th luma and white, straight lines between.
std::vector<unsigned short> lightTable(const Light& light);

/// The curves of a level of detail near its centre, where they are straight unless a threshold cuts into them: samples
/// nearer to it than `reach` are on the lines of midtones and highlights, to the bit; nearer than `darkReach`, on all.
struct ToneLines {
    float shadows = 1, midtones = 1, highlights = 1; ///< Slopes.
    int reach = 0, darkReach = 0;
};

/// Lines that reach no farther are of little use.
constexpr int kLeastReach = 1024;

/// The tables of one level of detail as TQuillet3 mixes them by zone: 2 x 65536 pairs, midtones | shadows << 16, then
/// midtones | highlights << 16.
class DetailTable {
public:
    /// Fills in what differs from the last call's. `level` is 0 for the finest.
    void update(int level, const DetailLevel& controls);
    const std::uint32_t* pairs() const { return m_pairs.data(); }
    const ToneLines& lines() const { return m_lines; }

private:
    void findLines(int level, const DetailLevel& controls);

    DetailLevel m_controls;
    ToneLines m_lines;
    std::vector<std::uint32_t> m_pairs;
};

/// Grids that are looked up by four corners of a cell: along the longest way from its first to its last, the
/// tetrahedron that holds the place.
constexpr int kColorNodes = 33;

/// The map of colour differences, TColorAdjQ3's: node (Y, Dr, Db) holds Dr | Db << 16, both
/// with 0 for no colour; Db varies fastest.
std::vector<std::uint32_t> colorTable(const Color& color);

} // namespace pixmill::develop
