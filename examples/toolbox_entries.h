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

/// The entries as they grow: `filter` begins one on a scene, each `shot` adds a setting.
class Toolbox {
public:
    explicit Toolbox(Scenes& scenes) : m_scenes(scenes) {}

    /// @return the new entry, whose before is the scene itself.
    Entry& filter(const std::string& on, const std::string& name, const std::string& purpose)
    {
        m_scene = &m_scenes.of(on);
        Entry entry;
        entry.name = name;
        entry.purpose = purpose;
        entry.scene = m_scene->words;
        entry.before = m_scene->show(m_scene->picture.m_Y);
        entries.push_back(entry);
        return entries.back();
    }

    /// The scene of the newest entry.
    const Scene& scene() const { return *m_scene; }

    /// Times `call` alone, three times unless that takes long; `prepare` gives it fresh input every time.
    template <class Prepare, class Call, class Result>
    void shot(const std::string& code, const std::string& setting, const Prepare& prepare, const Call& call,
              const Result& result, const std::string& form = "")
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
        step((form.empty() ? entry.name : form) + ", " + setting, best, double(m_scene->luma.total()));
        entry.after.push_back({result(), code, setting, form});
    }

    std::vector<Entry> entries;

private:
    Scenes& m_scenes;
    const Scene* m_scene = nullptr;
};

/// Adds the entries of the filters that work on luma, and of those that work on colour.
void runLumaFilters(Toolbox& box);
void runColorFilters(Toolbox& box);
