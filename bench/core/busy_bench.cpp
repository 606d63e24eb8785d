// The library as a guest: beside processes that burn every core, and on a host's own threads.
#include <pixmill/core/TPixmill.h>
#include <pixmill/core/Threads.h>
#include <pixmill/engine/TQuillet3.h>
#include <pixmill/resample/BlockProcessor.h>
#include <support/bench.h>

#include <omp.h>

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <thread>
#include <vector>

using namespace pixmill;

namespace {

/// A process a core that does nothing but burn it. They end with this object, with their parent, and after a minute.
class Burners {
public:
    Burners()
    {
        for (int k = 0; k < omp_get_num_procs(); ++k) {
            const pid_t child = fork();
            if (child == 0)
                burn();
            if (child > 0)
                m_children.push_back(child);
        }
    }
    ~Burners()
    {
        for (const pid_t child : m_children) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
    }
    Burners(const Burners&) = delete;
    Burners& operator=(const Burners&) = delete;

private:
    [[noreturn]] static void burn()
    {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        alarm(60);
        for (volatile unsigned long n = 0;;)
            n = n + 1;
    }

    std::vector<pid_t> m_children;
};

struct Times {
    double wall, processor; ///< milliseconds
};

template <class Work>
Times timed(const Work& work)
{
    const std::clock_t processor = std::clock();
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double, std::milli> wall = std::chrono::steady_clock::now() - start;
    return {wall.count(), double(std::clock() - processor) * 1e3 / CLOCKS_PER_SEC};
}

/// The medians of some runs.
template <class Work>
Times usual(const Work& work)
{
    constexpr int kRuns = 9;
    std::vector<double> wall, processor;
    for (int i = 0; i < kRuns; ++i) {
        const Times run = timed(work);
        wall.push_back(run.wall);
        processor.push_back(run.processor);
    }
    std::nth_element(wall.begin(), wall.begin() + kRuns / 2, wall.end());
    std::nth_element(processor.begin(), processor.begin() + kRuns / 2, processor.end());
    return {wall[kRuns / 2], processor[kRuns / 2]};
}

/// Times `work` alone and beside burners: the row's time is that beside them, and "wall" and "cpu" how many times that
/// alone.
template <class Work>
void besideBurners(benchmark::State& state, const Work& work)
{
    for (auto _ : state) {
        work();
        const Times alone = usual(work);
        const Burners burners;
        const Times beside = usual(work);
        state.SetIterationTime(beside.wall / 1e3);
        state.counters["wall"] = beside.wall / alone.wall;
        state.counters["cpu"] = beside.processor / alone.processor;
    }
}

struct Picture {
    explicit Picture(cv::Size size)
        : Y(bench::scene(size.width, size.height, CV_16UC1, 0, 65536, 1)),
          detail(bench::scene(size.width, size.height, CV_16UC1, 30000, 36000, 4)),
          Dr(bench::scene(size.width / 2, size.height / 2, CV_16UC1, 20000, 46000, 2)),
          Db(bench::scene(size.width / 2, size.height / 2, CV_16UC1, 26000, 40000, 3))
    {
        TPixmill::setConsole(false);
    }
    ~Picture() { TPixmill::setConsole(true); }

    void into(TQuillet3& engine) const { engine.setup(Y, detail, detail, detail, Dr, Db, nullptr); }

    cv::Mat Y, detail, Dr, Db;
};

constexpr int kWidth = 3456, kHeight = 2304; // 8 megapixels

void Busy_setup(benchmark::State& state)
{
    const Picture picture({kWidth, kHeight});
    TQuillet3 engine;
    besideBurners(state, [&] { picture.into(engine); });
}

void Busy_slider(benchmark::State& state)
{
    const Picture picture({kWidth, kHeight});
    TQuillet3 engine;
    picture.into(engine);
    besideBurners(state, [&] {
        for (int i = 0; i < 20; ++i) { // a hand that moves it
            engine.m_detailK[1][1] = 0.4f + 0.01f * float(i % 2);
            engine.m_levelDirty[1] = true;
            engine.proc({0, 0, 1728, 1080}, 2, cv::Mat());
        }
    });
}

void Busy_walk(benchmark::State& state)
{
    const std::vector<cv::Mat> planes{bench::plane(kWidth, kHeight, CV_16UC1, 0, 65536, 1),
                                      bench::plane(kWidth, kHeight, CV_16UC1, 0, 65536, 2)};
    std::vector<cv::Mat> block;
    besideBurners(state, [&] {
        BlockProcessor tiles;
        tiles.initialize(planes, planes, 512, 512, true, 32, 0, BlockProcessor::EDGE_TAPER_LINEAR);
        while (tiles.getBlockImage(nullptr, block))
            tiles.writeBackBlock();
    });
}

constexpr int kPictures = 8;

/// Eight pictures on two threads of the host, each thread alone with its picture: "wall" and "cpu" tell how many times
/// that of one picture after the other, each on two threads.
void Busy_pictures(benchmark::State& state)
{
    const Picture picture({2048, 1536});
    const auto develop = [&] {
        TQuillet3 engine;
        picture.into(engine);
        engine.proc({0, 0, 1024, 768}, 2, cv::Mat());
    };
    const auto inTurn = [&] {
        const ThreadScope two(2);
        for (int i = 0; i < kPictures; ++i)
            develop();
    };
    const auto sideBySide = [&] {
        std::atomic<int> next{0};
        const auto worker = [&] {
            const ThreadScope one(1);
            while (next++ < kPictures)
                develop();
        };
        std::thread a(worker), b(worker);
        a.join();
        b.join();
    };
    for (auto _ : state) {
        const Times turns = usual(inTurn), sides = usual(sideBySide);
        state.SetIterationTime(sides.wall / 1e3);
        state.counters["wall"] = sides.wall / turns.wall;
        state.counters["cpu"] = sides.processor / turns.processor;
    }
}

void once(benchmark::internal::Benchmark* b)
{
    b->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(1);
}

} // namespace

BENCHMARK(Busy_setup)->Apply(once);
BENCHMARK(Busy_slider)->Apply(once);
BENCHMARK(Busy_walk)->Apply(once);
BENCHMARK(Busy_pictures)->Apply(once);
