#pragma once

#include "report.h"
#include "toolbox.h"

#include <algorithm>
#include <string>
#include <vector>

struct Pair {
    float first, second;
};

inline void nothing()
{
}

/// The entries as they grow: `filter` begins one, each `shot` adds a setting.
class Toolbox {
public:
    explicit Toolbox(const Scene& of) : scene(of) {}

    void filter(const std::string& name, const std::string& purpose)
    {
        filter(name, purpose, scene.show(scene.picture.m_Y), "before: the photograph");
    }

    void filter(const std::string& name, const std::string& purpose, const cv::Mat& before, const std::string& is)
    {
        entries.push_back({name, purpose, before, is, {}});
    }

    /// Times `call` alone, three times unless that takes long; `prepare` gives it fresh input every time.
    template <class Prepare, class Call, class Result>
    void shot(const std::string& code, const std::string& parameters, const Prepare& prepare, const Call& call,
              const Result& result)
    {
        double best = 1e9, sum = 0;
        for (int run = 0; run < 3 && sum < 2000; ++run) {
            prepare();
            const Stopwatch watch;
            call();
            const double ms = watch.ms();
            best = std::min(best, ms);
            sum += ms;
        }
        Entry& entry = entries.back();
        step(entry.name + ", " + parameters, best, double(scene.luma.total()));
        entry.after.push_back({result(), code, parameters});
    }

    const Scene& scene;
    std::vector<Entry> entries;
};

/// Adds the entries of the filters that work on luma, and of those that work on colour.
void runLumaFilters(Toolbox& box);
void runColorFilters(Toolbox& box);
