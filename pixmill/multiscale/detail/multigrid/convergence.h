#pragma once

namespace pixmill::multiscale {

/// Tells from the sizes of an iteration's steps how far it is from its end.
class Convergence {
public:
    static constexpr int kLongest = 400; ///< steps after which an iteration counts as one that does not converge

    /// @param enough  the error to end at.
    explicit Convergence(double enough) : m_enough(enough) {}

    /// Notes the largest change that a step made.
    void step(double size);

    int steps() const { return m_steps; }

    /// Whether the error, estimated from the last five steps, is small enough.
    bool reached() const;

    /// Whether the steps will not end in `kLongest`, or do not look like it: foretold from the second half of the steps
    /// so far, from the 40th on, with half as many again allowed for.
    bool hopeless() const;

    /// The part of the way that is done, from 0 to 1; never falls.
    double share() const { return m_share; }

private:
    /// The larger of the step's size and the one before, so that a lucky step does not count alone.
    double larger(int step) const;

    double m_enough;
    double m_sizes[kLongest + 1] = {};
    int m_steps = 0;
    double m_share = 0;
};

} // namespace pixmill::multiscale
