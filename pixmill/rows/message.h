#pragma once

#include <string>

namespace pixmill::rows {

/// Keeps a text that was composed at run time alive behind a thrown pointer: one buffer a thread, replaced by the
/// thread's next such text.
inline const char* keepMessage(std::string text)
{
    thread_local std::string kept;
    kept = std::move(text);
    return kept.c_str();
}

} // namespace pixmill::rows
