#pragma once

#include "terminal.h"

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

/// How the program ends.
enum Exit : int { kDone = 0, kFailed = 1, kUsage = 2, kInterrupted = 130 };

/// Standard output for what was asked for. What a library prints there by itself goes nowhere: called once, first of
/// all.
std::FILE* openOutput();
std::FILE* output();

/// Whether the person has asked to stop; long work looks now and then.
bool stopWanted();

/// Runs a command beside the signals: an interrupt asks it to stop, and what has not stopped after some tenths of a
/// second is left where it is, its unfinished files removed. @return the exit code.
int runCommand(Terminal& terminal, const std::function<int()>& command);

/// What is being thrown, as one line for a person. Call from a catch block.
std::string inOneLine();

/// The name without links and dots, also of a file that is not there.
std::string trueName(const std::string& path);

/// @throws pixmill::Error  where `out` is one of the files that are read.
void keepInputs(const std::string& out, const std::vector<std::string>& inputs);

/// Thrown where work stopped because the person asked for it.
struct Stopped {};
