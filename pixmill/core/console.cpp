#include <pixmill/core/console.h>

#include <pixmill/core/TPixmill.h>

#include <atomic>
#include <iostream>
#include <sstream>

namespace {

std::atomic<bool> consoleIsOn{true};

} // namespace

void TPixmill::setConsole(bool on)
{
    consoleIsOn = on;
}

namespace pixmill::core {

void tell(const std::function<void(std::ostream&)>& write)
{
    if (TPixmill::m_tDebug_p) {
        std::ostringstream line;
        write(line);
        TPixmill::m_tDebug_p(line.str().c_str());
    } else if (consoleIsOn) {
        write(std::cout); // in the host's own format of numbers
        std::cout << std::endl;
    }
}

} // namespace pixmill::core
