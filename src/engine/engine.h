// The engine behind the console: interprets UCI commands and reports on the search.
#ifndef DRAVNIK_ENGINE_ENGINE_H
#define DRAVNIK_ENGINE_ENGINE_H

#include <chrono>
#include <fstream>
#include <string>
#include <vector>

#include "board/chessposition.h"
#include "board/hasher.h"
#include "engine/communicator.h"
#include "movegen/board_tables.h"
#include "movegen/movegenerator.h"

class Engine {
  public:
    Engine(Communicator &comm, std::ofstream &log);
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;

    // Takes at most one pending command from the queue and acts on it.
    void from_console();
    // Looks at the running search and queues its report lines.
    void to_console();

    const ChessPosition &position() const { return m_position; }

  private:
    void dispatch(const std::string &line);
    void cmd_position(const std::string &line);
    void cmd_go(std::istringstream &words);
    void send(const std::string &line);
    void info_string(const std::string &text) { send("info string " + text); }
    void parse_position(const std::string &line);

    Communicator &m_comm;
    BoardTables m_tables;
    ChessPosition m_position;
    Hasher<1> m_hasher;
    MoveGenerator m_generator;
    std::ofstream &m_log;
    std::chrono::system_clock::time_point m_start;
    int m_log_id;
    std::string m_current_line;
    std::string m_position_command; // the last "position" line, extended by the engine's own moves
    bool m_chess960 = false;
};

#endif
