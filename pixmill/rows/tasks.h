#pragma once

namespace pixmill::rows {

/// Runs `task(context, k)` once for each of 0..count-1, on the calling thread and on workers that have nothing else to
/// do, and returns when all have ended. Which thread takes which is open; one may take all.
///
/// The floating-point modes of the caller hold in every task. A task throws nothing.
///
/// @throws std::bad_alloc  no memory for the tasks; some may have run.
void runTasks(int count, void (*task)(void* context, int k), void* context);

} // namespace pixmill::rows
