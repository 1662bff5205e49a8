// The console-reading thread: forwards every non-empty line of standard input to the engine, and "quit" when
// the input says so or ends.
#ifndef DRAVNIK_ENGINE_CONSOLE_INPUT_H
#define DRAVNIK_ENGINE_CONSOLE_INPUT_H

#include <string>

#include "engine/communicator.h"

class ConsoleInput {
  public:
    explicit ConsoleInput(Communicator &comm) : m_lines_read(0), m_comm(comm) {}
    void operator()();
    int lines_read() const { return m_lines_read; }
    // True for "quit", also with blanks around it.
    static bool quit_line(const std::string &line);

  private:
    int m_lines_read;
    Communicator &m_comm;
};

#endif
