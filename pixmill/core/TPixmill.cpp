#include <pixmill/core/TPixmill.h>

#include <pixmill/rows/check.h>

#include <cstdio>
#include <ctime>

using namespace pixmill::rows;

void (*TPixmill::m_tDebug_p)(const char*) = nullptr;

std::string TPixmill::traceMsg(const char* where, int line, const char* message)
{
    checkPointer(where, "TPixmill::traceMsg", "where");
    checkPointer(message, "TPixmill::traceMsg", "message");
    char time[64];
    std::snprintf(time, sizeof time, "%09.3f", double(static_cast<unsigned long>(std::clock())) * 1e-6);
    return std::string(time) + " - " + std::to_string(line) + " - " + where + " : " + message + " - ";
}

void TPixmill::toQDebug(char* where, int line, const char* message)
{
    if (!m_tDebug_p)
        return;
    const std::string text = traceMsg(where, line, message);
    m_tDebug_p(text.c_str());
}
