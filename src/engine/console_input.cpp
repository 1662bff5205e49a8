#include "engine/console_input.h"

#include <iostream>
#include <string>

// "quit" with stray blanks or a carriage return around it is still "quit": a GUI that pads its lines must not
// leave an engine without its search thread.
bool ConsoleInput::quit_line(const std::string &line) {
    const std::size_t first = line.find_first_not_of(" \t\r");
    const std::size_t last = line.find_last_not_of(" \t\r");
    return first != std::string::npos && line.compare(first, last - first + 1, "quit") == 0;
}

void ConsoleInput::operator()() {
    std::string line;
    while (std::getline(std::cin, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (quit_line(line)) break;
        if (!line.empty()) m_comm.to_engine(line);
    }
    // "quit", or the end of input: a GUI that closed the pipe has gone, and the engine goes with it.
    m_comm.to_engine("quit");
}
