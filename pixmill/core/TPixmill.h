#pragma once

#include <pixmill/core/Export.h>

#include <string>

/// The library's trace service: timed lines for a sink that the host installs.
class PIXMILL_API TPixmill {
public:
    /// The host's trace sink, null at first. Written once by the host, before use.
    static void (*m_tDebug_p)(const char*);

    /// Whether the two operations that tell of themselves on standard output (`DomainTransform::setup`, and with it
    /// `TQuillet3::setup`; `TColorAdjQ3::computeLUT16U`, and with it `proc`) do so: yes at first. Where a trace sink is
    /// installed it gets their lines instead, as they are, whatever was said here. From any thread.
    static void setConsole(bool on);

    /// Composes "SSSSS.mmm - line - where : message - ", the time being processor seconds since the program's start.
    static std::string traceMsg(const char* where, int line, const char* message);

    /// Gives a composed line to the sink; composes nothing when there is none. The text lives for the call.
    static void toQDebug(char* where, int line, const char* message);
};
