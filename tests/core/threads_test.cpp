#include <pixmill/core/Threads.h>
#include <pixmill/filters/DomainTransform.h>
#include <pixmill/resample/blend.h>
#include <support/everyway.h>
#include <support/planes.h>

#include <tbb/parallel_for.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

using pixmill::setThreads;
using pixmill::threads;
using pixmill::ThreadScope;
using pixmill::test::PolicyGuard;
using pixmill::test::randomPlane;
using pixmill::test::samePixels;

namespace {

/// Gives the choice of threads back to the runtime.
struct ChoiceGuard {
    ~ChoiceGuard() { setThreads(0); }
    PolicyGuard policy;
};

/// Whether `work` gives true and its process ends, in a child that is ended after a while.
template <class Work>
bool rightInAChild(const Work& work)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        std::exit(work() ? 0 : 1); // with all that ends at a program's end
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

int threadsOfAnotherThread()
{
    int n = 0;
    std::thread([&] { n = threads(); }).join();
    return n;
}

bool eachStaysAlone()
{
    int sum = 0;
#pragma omp parallel num_threads(2) reduction(+ : sum)
    sum += threads();
    return sum == 2 && threads() == 4;
}

int threadsAfterSetUp()
{
    DomainTransform().setup(4, 100);
    return threads();
}

} // namespace

TEST(Threads, TheInnermostChoiceCountsAndEndsWithItsScope)
{
    const ChoiceGuard guard;
    omp_set_num_threads(3);
    EXPECT_EQ(threads(), 3);
    {
        const ThreadScope scope(4);
        EXPECT_EQ(threads(), 4);
        setThreads(5);
        EXPECT_EQ(threads(), 4);
        EXPECT_EQ(threadsOfAnotherThread(), 5);
        {
            const ThreadScope inner(1);
            EXPECT_EQ(threads(), 1);
        }
        EXPECT_EQ(threads(), 4);
    }
    EXPECT_EQ(threads(), 5);
    EXPECT_EQ(threadsAfterSetUp(), 5);
    setThreads(0);
    EXPECT_EQ(threads(), omp_get_max_threads());
}

TEST(Threads, RefusesNumbersThatAreNoneAndKeepsTheChoice)
{
    const ChoiceGuard guard;
    setThreads(2);
    EXPECT_THROW(setThreads(-1), cv::Exception);
    for (const int n : {0, -1})
        EXPECT_THROW(ThreadScope{n}, cv::Exception) << n;
    EXPECT_EQ(threads(), 2);
}

TEST(Threads, ALoopTakesNoMoreThanTheScratchMadeForIt)
{
    const ChoiceGuard guard;
    setThreads(2);
    const pixmill::rows::Team team;
    setThreads(8);
    const ThreadScope scope(9);
    EXPECT_EQ(threads(), 2);
    EXPECT_EQ(threadsOfAnotherThread(), 8);
}

TEST(Threads, InsideARegionOrABodyACallStaysOnItsThread)
{
    const ChoiceGuard guard;
    setThreads(4);
    pixmill::rows::rowPolicy().leastParallelPixels = 1;
    std::vector<int> seen(8, 0);
    pixmill::rows::forEachIndex(8, 1, [&](int i) { seen[i] = threads(); });
    EXPECT_EQ(seen, std::vector<int>(8, 1));
    EXPECT_TRUE(rightInAChild(eachStaysAlone)); // some OpenMP runtimes do not outlive a later fork
}

namespace {

const cv::Mat& picture()
{
    static const cv::Mat plane = randomPlane({301, 203}, CV_16UC1, 0, 65536);
    return plane;
}

const cv::Mat& sharpenedAlone()
{
    static const cv::Mat out = [] {
        const ThreadScope one(1);
        cv::Mat plane;
        extremeSharpen(picture(), plane);
        return plane;
    }();
    return out;
}

/// Whether a large loop gives what one thread gives.
bool rightHere()
{
    cv::Mat out;
    extremeSharpen(picture(), out);
    return bool(samePixels<ushort>(sharpenedAlone(), out));
}

bool rightOnTwoThreads()
{
    bool first = false, second = false;
    std::thread a([&] { first = rightHere(); }), b([&] { second = rightHere(); });
    a.join();
    b.join();
    return first && second;
}

bool rightInARegion()
{
    int right = 0;
#pragma omp parallel num_threads(3) reduction(+ : right)
    right += rightHere();
    return right == 3;
}

/// One of the host's tasks cancels the others: calls that are under way still do all they were asked for.
bool rightInTasks()
{
    std::atomic<int> wrong{0};
    tbb::task_group_context host;
    const auto task = [&](int k) {
        if (k == 1)
            host.cancel_group_execution();
        wrong += !rightHere();
    };
    tbb::parallel_for(0, 4, task, tbb::simple_partitioner(), host);
    return wrong == 0;
}

bool rightInAGrandchildAfterUse()
{
    return rightHere() && rightInAChild(rightHere) && rightHere();
}

/// Another thread that has used the loops lives on while this one forks, and its child forks again.
bool rightInAGrandchildBesideAnother()
{
    std::atomic<int> stage{0};
    bool other = false;
    std::thread thread([&] {
        other = rightHere();
        for (stage = 1; stage != 2;)
            std::this_thread::yield();
    });
    while (stage != 1)
        std::this_thread::yield();
    const bool right = rightInAChild([] { return rightHere() && rightInAChild(rightHere); });
    stage = 2;
    thread.join();
    return right && other;
}

/// Others are in their loops while this thread forks, again and again.
[[maybe_unused]] bool rightInChildrenAmidLoops()
{
    bool right = rightHere(); // what is made at the first use stands before the first fork
    std::atomic<bool> stop{false};
    std::vector<std::thread> others;
    for (int i = 0; i < 3; ++i)
        others.emplace_back([&] {
            while (!stop)
                rightHere();
        });
    for (int i = 0; i < 100 && right; ++i)
        right = rightInAChild(rightHere);
    stop = true;
    for (std::thread& other : others)
        other.join();
    return right;
}

struct Place {
    const char* name;
    bool (*right)();
};

const Place kPlaces[] = {
    {"aForkedChild", rightHere},
    {"aChildForkedAfterUse", rightInAGrandchildAfterUse},
    {"aChildForkedBesideAThreadThatUsedIt", rightInAGrandchildBesideAnother},
#ifndef __SANITIZE_ADDRESS__ // whose allocator a fork leaves locked where another thread is in it
    {"childrenForkedAmidOthersLoops", rightInChildrenAmidLoops},
#endif
    {"twoThreadsOfTheHost", rightOnTwoThreads},
    {"aParallelRegionOfTheHost", rightInARegion},
    {"tasksOfTheHost", rightInTasks},
};

class ThreadsPlace : public testing::TestWithParam<Place> {};

} // namespace

TEST_P(ThreadsPlace, GivesTheRightResultAndEnds)
{
    const ChoiceGuard guard;
    for (const int n : {2, 5}) {
        setThreads(n);
        EXPECT_TRUE(rightInAChild(GetParam().right)) << n << " threads";
    }
}

INSTANTIATE_TEST_SUITE_P(In, ThreadsPlace, testing::ValuesIn(kPlaces),
                         [](const auto& info) { return info.param.name; });
