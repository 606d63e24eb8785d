#pragma once

#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

/// Standard error: lines for a person, and bars below them while it is a terminal. Any thread may call.
///
/// The program's own lines go to a copy of standard error, so that those which decoders write there by themselves can
/// be left out (see `Hush`).
class Terminal {
public:
    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// One line above the bars.
    void line(const std::string& text);

    /// Bars for `workers` workers over `total` tasks; without a terminal nothing is drawn.
    void begin(int workers, int total);

    /// Where a worker is, 0..1; an empty name: it has no task.
    void task(int worker, const std::string& name, double share);
    void done();

    /// Takes the bars away.
    void end();

private:
    void erase();
    void draw();

    struct Bar {
        std::string name;
        double share = 0;
    };
    std::mutex m_guard;
    std::FILE* m_out;
    bool m_bars;
    std::vector<Bar> m_workers;
    int m_total = 0, m_done = 0, m_shown = 0;
    double m_drawnAt = 0;
};

/// While one lives, what anything writes to standard error by its number goes nowhere.
class Hush {
public:
    Hush();
    ~Hush();
    Hush(const Hush&) = delete;
    Hush& operator=(const Hush&) = delete;
};
