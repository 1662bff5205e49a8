// The console-reading thread: forwards every non-empty line of standard input to the engine, and "quit" when
// the input says so or ends.
#ifndef DRAVNIK_ENGINE_CONSOLE_INPUT_H
#define DRAVNIK_ENGINE_CONSOLE_INPUT_H

#include <string>

#include "engine/communicator.h"

class ConsoleInput {
  public:
    explicit ConsoleInput(Communicator &comm) : m_comm(comm) {}
    void operator()();
    // True for "quit", also with blanks around it.
    static bool quit_line(const std::string &line);

  private:
    Communicator &m_comm;
};

#endif
