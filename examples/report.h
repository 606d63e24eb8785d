#pragma once

#include <chrono>
#include <string>

/// What the example says: steps with their time and speed, a bar for long work.

class Stopwatch {
public:
    double ms() const
    {
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - m_start).count();
    }

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

void heading(const std::string& text);

/// "what   12.3 ms   1234.5 MPix/s"; no speed when `pixels` is 0.
void step(const std::string& what, double ms, double pixels = 0);

void wrote(const std::string& path);

/// Runs `work` and tells its time.
template <class Work>
double timed(const std::string& what, double pixels, const Work& work)
{
    const Stopwatch watch;
    work();
    const double ms = watch.ms();
    step(what, ms, pixels);
    return ms;
}

/// A bar on the terminal, drawn from the library's progress reports; Ctrl-C makes it answer "cancel".
class ProgressBar {
public:
    explicit ProgressBar(std::string what);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// For TProgress, with the bar as user data: 0..1000, false once Ctrl-C was pressed.
    static bool callback(int thousandth, void* bar);

private:
    void draw(int thousandth) const;

    std::string m_what;
    int m_last = -1;
};
