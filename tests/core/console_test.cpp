#include <pixmill/adjust/TColorAdjQ3.h>
#include <pixmill/core/TPixmill.h>
#include <pixmill/filters/DomainTransform.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <omp.h>

#include <string>

using testing::MatchesRegex;

namespace {

std::string sunk;

/// Nothing of a test's console or sink stays.
struct ConsoleGuard {
    ~ConsoleGuard()
    {
        TPixmill::setConsole(true);
        TPixmill::m_tDebug_p = nullptr;
    }
};

void tellAll()
{
    const int team = omp_get_max_threads();
    DomainTransform().setup(4, 100);
    omp_set_num_threads(team);
    TColorAdjQ3(1, 1, 1, 1, 1, 1).computeLUT16U();
}

std::string printed()
{
    testing::internal::CaptureStdout();
    tellAll();
    return testing::internal::GetCapturedStdout();
}

const char* const kLines = "system has [0-9]+ cores\ntime to compute LUT for color adj: [-+.0-9e]+\n";

} // namespace

TEST(Console, TellsUnlessItIsSilencedOrASinkTakesTheLines)
{
    const ConsoleGuard guard;
    EXPECT_THAT(printed(), MatchesRegex(kLines));
    TPixmill::setConsole(false);
    EXPECT_EQ(printed(), "");
    for (const bool console : {false, true}) {
        TPixmill::setConsole(console);
        sunk.clear();
        TPixmill::m_tDebug_p = [](const char* line) { sunk += std::string(line) + '\n'; };
        EXPECT_EQ(printed(), "");
        EXPECT_THAT(sunk, MatchesRegex(kLines));
    }
}
