#include "develop.h"
#include "program.h"
#include <pixmill/core/Threads.h>
#include <pixmill/develop/recipe_table.h>

#include <nlohmann/json.hpp>

#include <sched.h>
#include <sys/resource.h>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

using namespace pixmill;

namespace {

double now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

int processors()
{
    cpu_set_t set;
    return sched_getaffinity(0, sizeof set, &set) ? 1 : std::max(1, CPU_COUNT(&set));
}

Recipe recipeFor(const DevelopOptions& options)
{
    Recipe recipe = options.recipe.empty() ? Recipe() : loadRecipe(options.recipe);
    for (const std::string& assignment : options.set)
        setByKey(recipe, assignment);
    return recipe;
}

/// All that an output depends on beside its input.
std::string settingsOf(const DevelopOptions& options, const Recipe& recipe)
{
    std::string text = recipeToJson(recipe) + options.format + ' ' + std::to_string(options.depth) + ' ' +
                       std::to_string(options.quality) + (options.lenient ? " lenient" : "") + " " PIXMILL_VERSION;
    if (recipe.table.entries)
        text.append(reinterpret_cast<const char*>(recipe.table.entries->data()), recipe.table.entries->size() * 2);
    return text;
}

void makeFolder(const DevelopOptions& options, const std::vector<Task>& tasks)
{
    const std::filesystem::path folder = std::filesystem::path(tasks.front().out).parent_path();
    if (folder.empty())
        return;
    std::error_code failed;
    std::filesystem::create_directories(folder, failed);
    if (failed)
        throw Error("pixmill develop", "", "", options.out + ": cannot be made: " + failed.message());
}

/// Workers take the tasks one after another.
class Batch {
public:
    Batch(Terminal& terminal, const DevelopOptions& options, const Recipe& recipe, std::vector<Task>& tasks)
        : m_terminal(terminal), m_options(options), m_recipe(recipe), m_tasks(tasks),
          m_ledger(options, settingsOf(options, recipe))
    {
    }

    void run(int jobs, int threadsEach)
    {
        m_terminal.begin(jobs, int(m_tasks.size()));
        std::vector<std::thread> workers;
        for (int worker = 0; worker < jobs; ++worker)
            workers.emplace_back([this, worker, threadsEach] { work(worker, threadsEach); });
        for (std::thread& worker : workers)
            worker.join();
        m_terminal.end();
    }

private:
    void work(int worker, int threads)
    {
        const ThreadScope scope(threads);
        for (size_t i; !stopWanted() && (i = m_next++) < m_tasks.size();) {
            step(worker, m_tasks[i]);
            m_terminal.done();
            m_terminal.task(worker, "", 0);
        }
    }

    void step(int worker, Task& task)
    {
        if (task.state == Task::State::Waiting)
            attempt(worker, task);
        if (task.state == Task::State::Failed || (task.state == Task::State::Twice && !m_options.quiet))
            m_terminal.line(task.words);
    }

    void attempt(int worker, Task& task)
    {
        if (!m_options.force && m_ledger.isDone(task)) {
            task.state = Task::State::Skipped;
            return;
        }
        try {
            developOne(task, m_options, m_recipe, [&](double share) {
                m_terminal.task(worker, task.in, share);
                return !stopWanted();
            });
            m_ledger.add(task);
            task.state = Task::State::Done;
            tell(task);
        } catch (const Stopped&) {
        } catch (...) {
            task.words = inOneLine();
            if (task.words.find(task.in) == std::string::npos)
                task.words = task.in + ": " + task.words;
            task.state = Task::State::Failed;
        }
    }

    void tell(const Task& task)
    {
        if (m_options.quiet)
            return;
        char times[120];
        std::snprintf(times, sizeof times, ": %.1f MP, %.2f s (read %.2f, develop %.2f, write %.2f)", task.megapixels,
                      task.read + task.develop + task.write, task.read, task.develop, task.write);
        m_terminal.line(task.out + times + (task.words.empty() ? "" : "; " + task.words));
    }

    Terminal& m_terminal;
    const DevelopOptions& m_options;
    const Recipe& m_recipe;
    std::vector<Task>& m_tasks;
    Ledger m_ledger;
    std::atomic<size_t> m_next{0};
};

int count(const std::vector<Task>& tasks, Task::State state)
{
    return int(std::count_if(tasks.begin(), tasks.end(), [&](const Task& task) { return task.state == state; }));
}

/// Has the allocator keep the memory of a picture for the next: fresh pages took an eighth of the time of a batch. Only
/// the first arena can; those of threads hand theirs back piece by piece.
void keepMemory()
{
#if defined(__GLIBC__)
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);
#endif
}

void writeReport(const std::string& path, const std::string& report)
{
    if (path == "-") {
        std::fputs(report.c_str(), output());
        std::fflush(output());
        return;
    }
    std::ofstream file(path);
    if (file << report && file.flush())
        return;
    file.close();
    std::error_code failed;
    if (std::filesystem::is_regular_file(path, failed))
        std::filesystem::remove(path, failed);
    throw Error("pixmill develop", "", "", path + ": the report cannot be written");
}

} // namespace

std::string reportOf(const std::vector<Task>& tasks, int jobs, double seconds)
{
    const char* const states[] = {"waiting", "done", "skipped", "twice", "failed"};
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    const auto of = [](const timeval& time) { return double(time.tv_sec) + time.tv_usec * 1e-6; };
    nlohmann::ordered_json report;
    report["seconds"] = seconds;
    report["processorSeconds"] = of(used.ru_utime) + of(used.ru_stime);
    report["peakMegabytes"] = used.ru_maxrss / 1024.0;
    report["jobs"] = jobs;
    report["pictures"] = nlohmann::ordered_json::array();
    for (const Task& task : tasks)
        report["pictures"].push_back({{"in", task.in},
                                      {"out", task.out},
                                      {"state", states[int(task.state)]},
                                      {"words", task.words},
                                      {"megapixels", task.megapixels},
                                      {"read", task.read},
                                      {"develop", task.develop},
                                      {"write", task.write},
                                      {"processorSeconds", task.processor}});
    return report.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

int runDevelop(Terminal& terminal, const DevelopOptions& options)
{
    const double begun = now();
    keepMemory();
    const Recipe recipe = recipeFor(options);
    keepInputs(options.json, options.in);
    std::vector<Task> tasks = planTasks(options);
    makeFolder(options, tasks);
    const int processors = ::processors();
    const int jobs = std::min(options.jobs ? options.jobs : processors, int(tasks.size()));
    const int threads = options.threads ? options.threads : std::max(1, processors / jobs);
    Batch(terminal, options, recipe, tasks).run(jobs, threads);

    const int failed = count(tasks, Task::State::Failed), skipped = count(tasks, Task::State::Skipped);
    if (!options.json.empty())
        writeReport(options.json, reportOf(tasks, jobs, now() - begun));
    if (!options.quiet && tasks.size() > 1) {
        char words[120];
        std::snprintf(words, sizeof words, "%d done, %d skipped, %d failed, in %.1f s", count(tasks, Task::State::Done),
                      skipped, failed, now() - begun);
        terminal.line(words);
    } else if (!options.quiet && skipped) {
        terminal.line(tasks.front().out + ": done already (--force does it again)");
    }
    return failed ? kFailed : kDone;
}
