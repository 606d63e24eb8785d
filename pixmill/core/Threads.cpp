#include <pixmill/core/Threads.h>

#include <pixmill/rows/check.h>
#include <pixmill/rows/team.h>

namespace pixmill {

void setThreads(int n)
{
    PIXMILL_CHECK(n >= 0, "setThreads", "n", n, "0 or more");
    rows::chooseForProcess(n);
}

int threads()
{
    return rows::teamSize();
}

ThreadScope::ThreadScope(int n)
{
    PIXMILL_CHECK(n >= 1, "ThreadScope", "n", n, "1 or more");
    m_before = rows::chooseForThread(n);
}

ThreadScope::~ThreadScope()
{
    rows::chooseForThread(m_before);
}

} // namespace pixmill
