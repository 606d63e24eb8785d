// Detail toned by lines where its curves are straight.
#include <support/everyway.h>

#include <develop/scene.h>
#include <pixmill/develop/detail/tone_rows.h>

using namespace pixmill;
using namespace pixmill::develop;
using namespace pixmill::test;

namespace {

struct ToneCase {
    const char* name;
    int level;
    DetailLevel controls;
    bool straight; ///< Whether lines are to be found.
};

// clang-format off
const ToneCase kTones[] = {
    // name            level  base           shadows        midtones     straight
    {"round slopes",   1,     {{0.2f, 0},    {0.1f, 0},     {0.3f, 0}},  true},
    {"any slopes",     0,     {{0.2371f, 0}, {-0.417f, 0},  {0.619f, 0}}, true},
    {"no shadows",     2,     {{-0.5f, 0},   {-1.5f, 0},    {0, 0}},     true},
    {"cut in shadows", 0,     {{0.3f, 0},    {0.2f, -0.4f}, {0, 0}},     false},
    {"gap everywhere", 1,     {{0.5f, 0.3f}, {0, 0},        {0, 0}},     false},
};
// clang-format on

/// Detail of which most is small.
std::vector<ushort> detailOf(int n, cv::RNG& rng)
{
    std::vector<ushort> detail(static_cast<std::size_t>(n));
    for (ushort& d : detail)
        d = ushort(kCentre + (rng.uniform(0, 200) == 0 ? rng.uniform(-32768, 32768) : rng.uniform(-3000, 3000)));
    return detail;
}

std::vector<ushort> lookedUp(const DetailTable& table, const std::vector<ushort>& Y, const std::vector<ushort>& in)
{
    std::vector<ushort> out(in.size());
    engine::toneRow(table.pairs(), Y.data(), in.data(), out.data(), int(in.size()));
    return out;
}

} // namespace

TEST(DeveloperTone, LinesHaveTheBitsOfTheTablesInASumAndWhereTheyAreKept)
{
    for (const ToneCase& c : kTones) {
        SCOPED_TRACE(c.name);
        DetailTable tables[3];
        for (DetailTable& table : tables)
            table.update(c.level, c.controls);
        EXPECT_EQ(c.straight, tables[0].lines().darkReach >= kLeastReach);
        cv::RNG rng(5);
        for (const int n : {1, 31, 32, 67, 1030}) {
            std::vector<ushort> Y(std::size_t(n), 0), levels[3], toned[3], expected = Y, sum = Y, kept = Y;
            for (ushort& y : Y)
                y = ushort(rng.uniform(0, 65536));
            for (int i = 0; i < 3; ++i) {
                levels[i] = detailOf(n, rng);
                toned[i] = lookedUp(tables[i], Y, levels[i]);
            }
            for (int flags = 0; flags < 8; ++flags) {
                const ushort *in[3], *done[3];
                for (int i = 0; i < 3; ++i) {
                    in[i] = levels[i].data();
                    done[i] = (flags >> i & 1) != 0 ? toned[i].data() : in[i];
                }
                engine::addEdgesRow(Y.data(), done[0], done[1], done[2], expected.data(), n);
                for (int i = 0; i < 3; ++i) {
                    ushort* keep[3] = {};
                    keep[i] = kept.data();
                    sumToned(flags, Y.data(), tables, in, keep, sum.data(), n);
                    EXPECT_EQ(expected, sum) << "levels " << flags;
                    if ((flags >> i & 1) != 0) {
                        EXPECT_EQ(toned[i], kept) << "levels " << flags << ", level " << i;
                    }
                }
            }
        }
    }
}
