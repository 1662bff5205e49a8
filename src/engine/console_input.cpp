#include "engine/console_input.h"

#include <iostream>
#include <string>

void ConsoleInput::operator()() {
    std::string line;
    while (line != "quit") {
        line.clear();
        std::getline(std::cin, line);
        // At end of input every read yields an empty line; the bounded count ends the reader then.
        if (++m_lines_read > 2000000000) line = "quit";
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty()) m_comm.to_engine(line);
    }
}
