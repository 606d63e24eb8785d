// Colour tables: files, and what they do to pixels.
#include <develop/scene.h>

#include <cstdio>
#include <fstream>
#include <string>

using namespace pixmill;
using namespace pixmill::test;

namespace {

/// A file that goes when the test ends.
class File {
public:
    explicit File(const std::string& text) : m_path(testing::TempDir() + "pixmill_table_test.cube")
    {
        std::ofstream(m_path) << text;
    }
    ~File() { std::remove(m_path.c_str()); }
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

std::string corners(int lines)
{
    std::string text;
    for (int i = 0; i < lines; ++i)
        text += std::to_string(i & 1) + " " + std::to_string(i >> 1 & 1) + ".0 " + std::to_string(i >> 2 & 1) + "e0\n";
    return text;
}

} // namespace

TEST(Table3D, TheIdentityChangesNothing)
{
    const File file("# made by hand\nTITLE \"identity\"\nLUT_3D_SIZE 2\nDOMAIN_MIN 0 0 0\n\n" + corners(8));
    Recipe recipe;
    recipe.table = Table3D::load(file.path());
    EXPECT_EQ(recipe.table.size, 2);
    Developer developer = opened(photo({60, 40}));
    EXPECT_LE(farthest(whole(developer, Recipe(), Depth::Bits16), whole(developer, recipe, Depth::Bits16)), 16);
}

TEST(Table3D, TurnsColoursAsFarAsItsStrengthSays)
{
    Recipe recipe;
    recipe.table = turnedTable();
    Developer developer = opened(cv::Mat(8, 8, CV_16UC3, cv::Scalar(60000, 30000, 10000)));
    const cv::Vec3w out = whole(developer, recipe, Depth::Bits16).at<cv::Vec3w>(4, 4);
    const double share = 60000.0 / 65535,
                 expected[3] = {(60000 + 30000 * share) / 2, (30000 + 10000 * share) / 2, (10000 + 60000 * share) / 2};
    for (int i = 0; i < 3; ++i)
        EXPECT_NEAR(out[i], expected[i], 20);
}

TEST(Table3D, FilesThatAreNoneAreToldWithTheirLine)
{
    struct Case {
        const char* name;
        std::string text, line, wanted;
    };
    for (const Case& c : {Case{"no size", corners(8), "line 1", "LUT_3D_SIZE before the first triple"},
                          Case{"one dimension", "LUT_1D_SIZE 4\n", "line 1", "LUT_3D_SIZE before the first triple"},
                          Case{"too large", "LUT_3D_SIZE 1000\n", "line 1", "a size of 2..129"},
                          Case{"a word", "LUT_3D_SIZE 2\n0 0 x\n", "line 2", "three numbers"},
                          Case{"too few", "LUT_3D_SIZE 2\n" + corners(7), "line 8", "8 lines of three numbers, not 7"},
                          Case{"too many", "LUT_3D_SIZE 2\n" + corners(9), "line 10", "no more than 8 lines"},
                          Case{"domain", "DOMAIN_MAX 2 2 2\n", "line 1", "a domain of 0..1"}}) {
        SCOPED_TRACE(c.name);
        const File file(c.text);
        try {
            Table3D::load(file.path());
            ADD_FAILURE() << "nothing was thrown";
        } catch (const Error& e) {
            EXPECT_EQ(e.call, "Table3D::load");
            EXPECT_EQ(e.argument, file.path() + " " + c.line);
            EXPECT_EQ(e.wanted.find(c.wanted), 0u) << e.wanted;
        }
    }
    EXPECT_THROW(Table3D::load("there/is/no.cube"), Error);
}
