#include <pixmill/rows/rows.h>

#include <pixmill/rows/tasks.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <vector>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define PIXMILL_THREAD_SANITIZER
#endif
#elif defined(__SANITIZE_THREAD__)
#define PIXMILL_THREAD_SANITIZER
#endif

#ifdef PIXMILL_THREAD_SANITIZER
extern "C" void __tsan_acquire(void* at);
extern "C" void __tsan_release(void* at);
#endif

namespace pixmill::rows {
namespace {

/// What is passed on to the threads of a loop and back. The thread sanitizer cannot see how the packaged task library
/// orders that, so it is told here, and of nothing else: what two members do to each other still shows.
class HandOver {
public:
#ifdef PIXMILL_THREAD_SANITIZER
    void give()
    {
        __tsan_release(this);
    }
    void take()
    {
        __tsan_acquire(this);
    }
#else
    void give()
    {
    }
    void take()
    {
    }
#endif

private:
    [[maybe_unused]] char m_address = 0;
};

/// One loop: a contiguous share of the pieces for each member, and how far each is taken.
class Loop {
public:
    Loop(int pieces, int team, void (*piece)(const void*, int), const void* body)
        : m_pieces(pieces), m_team(std::min(team, pieces)), m_piece(piece), m_body(body), m_taken(m_team)
    {
    }

    void run()
    {
        m_start.give();
        runTasks(
            m_team, [](void* self, int slot) { static_cast<Loop*>(self)->member(slot); }, this);
        m_end.take();
        if (m_failure)
            std::rethrow_exception(m_failure);
    }

private:
    void member(int slot) noexcept
    {
        m_start.take();
        const BodyScope inBody(slot);
        try {
            for (int k = 0, shares = rowPolicy().fixedShares ? 1 : m_team; k < shares; ++k)
                share((slot + k) % m_team);
        } catch (...) { // kept here, where the sanitizer sees it, not by the task library
            if (!m_failed.exchange(true))
                m_failure = std::current_exception();
        }
        m_end.give();
    }

    void share(int owner)
    {
        const int first = int(long(m_pieces) * owner / m_team), end = int(long(m_pieces) * (owner + 1) / m_team);
        const bool backwards = rowPolicy().fixedShares;
        for (int k; !m_failed && (k = first + m_taken[owner].fetch_add(1, std::memory_order_relaxed)) < end;)
            m_piece(m_body, backwards ? first + end - 1 - k : k);
    }

    int m_pieces, m_team;
    void (*m_piece)(const void*, int);
    const void* m_body;
    std::vector<std::atomic<int>> m_taken; ///< of each member's share
    std::atomic<bool> m_failed{false};
    std::exception_ptr m_failure; ///< the first
    HandOver m_start, m_end;
};

int processorLevel()
{
#if PIXMILL_X86
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vl"))
        return 2;
    return __builtin_cpu_supports("avx2") ? 1 : 0;
#else
    return 0;
#endif
}

} // namespace

RowPolicy& rowPolicy()
{
    static RowPolicy policy{processorLevel(), 32768};
    return policy;
}

void runPieces(int pieces, int team, void (*piece)(const void* body, int k), const void* body)
{
    Loop(pieces, team, piece, body).run();
}

} // namespace pixmill::rows
