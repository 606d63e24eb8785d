#pragma once

#include <pixmill/core/Export.h>

#include <vector>

/// Turns nested stages of work into one number from 0 to 1000 for the host's callback, and carries its answer back.
///
/// A false answer means cancel and comes back from `prog`, `end`, `done` and `progress`; no state is kept, so the next
/// report asks again. Exceptions of the callback pass through. One thread at a time per object.
class PIXMILL_API TProgress {
public:
    bool (*m_callback_p)(int, void*); ///< The host's callback, called with 0..1000; may be null.
    void* m_userData_p;               ///< Its second argument; a host that wants reports passes non-null.
    std::vector<float> m_weights;     ///< One weight per open stage, the innermost last.
    std::vector<int> m_totals;        ///< Steps of each open stage.
    std::vector<int> m_counts;        ///< Steps done in each open stage.

    /// An object with its root stage: weight 1, total 100, count 0.
    TProgress(bool (*callback)(int, void*), void* userData);

    /// Opens a stage that is `weight` of the enclosing one, with total 100 and count 0.
    void start(float weight);

    /// Sets the innermost stage's count and total, and reports.
    bool prog(int count, int total);

    /// Adds 1 to the innermost count, and reports.
    bool prog();

    /// Closes the innermost stage: the enclosing one moves on by exactly its share. True to go on.
    ///
    /// The root stage is popped without a report; with no stage left, nothing happens.
    bool end();

    /// Back to a fresh root stage.
    void reset();

    /// Resets and reports the root as complete.
    bool done();

    /// Reports. A total below the count is raised to a fifth above it first.
    ///
    /// @return the callback's answer; true, without a call, when the callback or its user data is null.
    /// @throws std::out_of_range  "vector::_M_range_check", when a stage has no count or no total.
    bool progress();
};
