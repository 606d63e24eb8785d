#pragma once

#include "terminal.h"
#include <pixmill/develop/Photo.h>
#include <pixmill/develop/Recipe.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

/// What `pixmill develop` was asked for.
struct DevelopOptions {
    std::vector<std::string> in;
    std::string out;    ///< A folder, or for one picture a file.
    std::string recipe; ///< A file; empty: neutral.
    std::vector<std::string> set;
    std::string format; ///< Empty: as each picture's own, TIFF where that cannot be written.
    int depth = 0;      ///< 8 or 16; 0: as each picture's own.
    int quality = 92;
    int jobs = 0;             ///< 0: as many as there are processors.
    int threads = 0;          ///< Of each job; 0: the processors are shared.
    double megapixels = 1000; ///< A larger picture is refused.
    bool lenient = false, force = false, quiet = false;
    std::string json; ///< Where the report goes; "-": standard output; empty: nowhere.
};

/// One picture's way.
struct Task {
    enum class State { Waiting, Done, Skipped, Twice, Failed };
    std::string in, out;
    State state = State::Waiting;
    std::string words; ///< Why it failed, or what is to know.
    double megapixels = 0;
    double read = 0, develop = 0, write = 0; ///< Seconds.
    double processor = 0;                    ///< Seconds of the worker's own thread.
};

/// Gives every picture its output file. Marks those given twice, and those whose output would be another's or an input.
std::vector<Task> planTasks(const DevelopOptions& options);

/// Does one picture; tells its share, and ends by Stopped where that gives false. @throws Error
void developOne(Task& task, const DevelopOptions& options, const pixmill::Recipe& recipe,
                const std::function<bool(double)>& share);

/// Remembers in the output folder which pictures were made of what, so that a second run can leave them.
class Ledger {
public:
    /// @param settings  All that the outputs depend on beside their inputs.
    Ledger(const DevelopOptions& options, const std::string& settings);

    /// Whether the output is there, as it was left, from this input as it is now, with these settings.
    bool isDone(const Task& task) const;

    /// Writes down that it is. Any thread.
    void add(const Task& task);

private:
    std::string fingerprint(const Task& task) const;

    std::string m_settings, m_path;
    std::vector<std::pair<std::string, std::string>> m_known; ///< Output's name, its line's rest; the last counts.
};

int runDevelop(Terminal& terminal, const DevelopOptions& options);

/// The report as JSON.
std::string reportOf(const std::vector<Task>& tasks, int jobs, double seconds);
