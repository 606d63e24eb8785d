#include <pixmill/core/TPixmill.h>
#include <pixmill/core/TProgress.h>
#include <support/throws.h>

#include <gtest/gtest.h>

#include <climits>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Host {
    std::vector<int> reports;
    bool answer = true;

    static bool callback(int value, void* self)
    {
        auto* host = static_cast<Host*>(self);
        host->reports.push_back(value);
        return host->answer;
    }
};

} // namespace

TEST(TProgress, ReportsTheSharesOfNestedStages)
{
    Host host;
    TProgress progress(Host::callback, &host);
    EXPECT_TRUE(progress.prog(20, 100));
    progress.reset();
    progress.start(0.5f);
    progress.prog(50, 100);
    EXPECT_TRUE(progress.end());
    EXPECT_EQ(progress.m_counts, std::vector<int>{50});
    progress.prog();
    EXPECT_EQ(host.reports, (std::vector<int>{200, 250, 500, 510}));
}

TEST(TProgress, AStageAnnouncedTooShortGrowsByAFifth)
{
    Host host;
    TProgress progress(Host::callback, &host);
    progress.prog(150, 100);
    EXPECT_EQ(progress.m_totals.back(), 181);
    EXPECT_EQ(host.reports, std::vector<int>{828});
}

TEST(TProgress, NeverReportsMoreThanAThousand)
{
    Host host;
    TProgress progress(Host::callback, &host);
    progress.start(3.0f);
    progress.prog(100, 100);
    progress.m_totals.back() = 0;
    progress.progress(); // the total grows to 121 before it divides
    EXPECT_EQ(host.reports, (std::vector<int>{1000, 1000}));
}

TEST(TProgress, AnswersOfTheHostComeBackFromEveryReport)
{
    Host host;
    host.answer = false;
    TProgress progress(Host::callback, &host);
    EXPECT_FALSE(progress.prog(1, 100));
    EXPECT_FALSE(progress.prog());
    progress.start(0.5f);
    EXPECT_FALSE(progress.end());
    EXPECT_FALSE(progress.done());
    EXPECT_EQ(host.reports.back(), 1000);
    host.answer = true;
    EXPECT_TRUE(progress.progress());
}

TEST(TProgress, WithoutCallbackOrUserDataItGoesOnInSilence)
{
    TProgress noCallback(nullptr, nullptr);
    EXPECT_TRUE(noCallback.prog(1, 2));
    TProgress noData([](int, void*) { return false; }, nullptr);
    EXPECT_TRUE(noData.prog(1, 2));
}

TEST(TProgress, TheRootClosesWithoutAReportAndEmptyStacksAreCheckedForRange)
{
    Host host;
    TProgress progress(Host::callback, &host);
    EXPECT_TRUE(progress.end());
    EXPECT_TRUE(progress.end());
    EXPECT_TRUE(host.reports.empty());
    for (const auto call : {+[](TProgress& p) { return p.progress(); }, +[](TProgress& p) { return p.prog(); },
                            +[](TProgress& p) { return p.prog(1, 2); }}) {
        try {
            call(progress);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::out_of_range& e) {
            EXPECT_STREQ(e.what(), "vector::_M_range_check");
        }
    }
}

TEST(TPixmill, ComposesATimedLineAndGivesItToTheSink)
{
    const std::regex form(R"(\d{5,}\.\d{3} - 359 - modYWithC : bad dr type - )");
    EXPECT_TRUE(std::regex_match(TPixmill::traceMsg("modYWithC", 359, "bad dr type"), form));
    EXPECT_NE(TPixmill::traceMsg("x", 0, "y").find(" - 0 - "), std::string::npos);

    static std::string seen;
    char where[] = "modYWithC";
    TPixmill::toQDebug(where, 359, "bad dr type"); // no sink yet
    TPixmill::m_tDebug_p = [](const char* text) { seen = text; };
    TPixmill::toQDebug(where, 359, "bad dr type");
    TPixmill::m_tDebug_p = nullptr;
    EXPECT_TRUE(std::regex_match(seen, form)) << seen;
}

TEST(TProgress, CountsStopAtTheLargestNumber)
{
    TProgress progress(nullptr, nullptr);
    progress.prog(INT_MAX, 0);
    EXPECT_EQ(progress.m_totals.back(), INT_MAX);
    progress.prog();
    EXPECT_EQ(progress.m_counts.back(), INT_MAX);
    progress.start(1.0f);
    progress.end();
    EXPECT_GT(progress.m_counts.back(), INT_MAX - 1000);
}

TEST(TPixmill, RefusesNullWords)
{
    EXPECT_REFUSES(TPixmill::traceMsg(nullptr, 1, "y"), "TPixmill::traceMsg: where is null");
    EXPECT_REFUSES(TPixmill::traceMsg("x", 1, nullptr), "TPixmill::traceMsg: message is null");
}
