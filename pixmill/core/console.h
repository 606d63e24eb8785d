#pragma once

#include <functional>
#include <iosfwd>

namespace pixmill::core {

/// Tells the host the line that `write` writes, without its end: to the trace sink where one is installed, else to
/// standard output unless `TPixmill::setConsole` has silenced it.
void tell(const std::function<void(std::ostream&)>& write);

} // namespace pixmill::core
