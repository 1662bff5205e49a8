// Command-line use of the engine besides the UCI session: "dravnik bench" for scripted testing.
#ifndef DRAVNIK_ENGINE_COMMAND_LINE_H
#define DRAVNIK_ENGINE_COMMAND_LINE_H

#include <ostream>

// Runs what the arguments ask for and returns the process exit status: the fixed bench (0), or a
// one-line usage on `err` for anything else (2). Only called when there are arguments.
int run_command_line(int argc, const char *const *argv, std::ostream &err);

#endif
