#include "engine/engine.h"

#include <iostream>
#include <sstream>
#include <stdexcept>

#include "eval/evaluation.h"
#include "movegen/perft.h"

Engine::Engine(Communicator &comm, std::ofstream &log)
    : m_comm(comm), m_tables(), m_position(m_tables), m_hasher(m_tables), m_generator(m_tables), m_log(log),
      m_start(std::chrono::system_clock::now()),
      m_log_id(static_cast<int>(std::chrono::system_clock::now().time_since_epoch().count() & 0x1ff)) {
    m_position.newgame();
}

void Engine::send(const std::string &line) {
    m_comm.to_interface(line);
    m_log << "engine -> " << line << std::endl;
}

void Engine::from_console() {
    m_current_line = m_comm.from_interface();
    if (m_current_line.empty()) return;
    std::istringstream words(m_current_line);
    std::string first;
    if (!(words >> first)) return;
    m_log << "engine <- " << m_current_line << std::endl;
    // A command that throws is abandoned; the engine keeps serving with its state intact.
    try {
        dispatch(m_current_line);
    } catch (const std::exception &e) {
        m_log << "error: " << e.what() << std::endl;
        info_string(std::string("error: ") + e.what());
    }
}

void Engine::dispatch(const std::string &line) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    if (command == "ucinewgame") {
        m_position.newgame();
        m_position_command.clear();
    } else if (command == "eval") {
        Evaluation evaluation(m_position, m_tables);
        evaluation.static_eval();
        std::cout << evaluation.report() << std::flush;
    } else if (command == "position") {
        cmd_position(line);
    } else if (command == "go") {
        cmd_go(words);
    } else if (command == "isready") {
        send("readyok");
    }
}

void Engine::cmd_position(const std::string &raw) {
    std::string line = raw;
    while (!line.empty() && (line.back() == ' ' || line.back() == '\t' || line.back() == '\r'))
        line.pop_back();
    const std::size_t cut = line.find_last_of(' ');
    const std::string head = cut == std::string::npos ? "" : line.substr(0, cut);
    const std::string last = cut == std::string::npos ? line : line.substr(cut + 1);
    if (head == m_position_command) {
        // The previous command plus one move: only that move is made.
        m_position_command = line;
        m_position.make_move(m_position.convert_to_move(last));
        return;
    }
    m_position_command = line;
    parse_position(line);
}

void Engine::parse_position(const std::string &line) {
    std::istringstream in(line);
    std::vector<std::string> words;
    for (std::string w; in >> w;)
        words.push_back(w);
    // Build the new position aside and keep the old one unless the new one is complete and playable.
    ChessPosition next(m_tables);
    next.set_chess960(m_chess960);
    std::size_t i = 2;
    const std::string kind = words.size() > 1 ? words[1] : "";
    if (kind == "startpos") {
        next.newgame();
    } else if (kind == "testpos") {
        next.fen("b4bN1/4p1p1/1Q1p2K1/q1np4/3p1Rnk/6pr/4Rppr/3N4 w - - 0 1");
    } else if (kind == "fen") {
        std::string fen;
        for (; i < words.size() && i < 8 && words[i] != "moves"; ++i)
            fen += (fen.empty() ? "" : " ") + words[i];
        next.fen(fen);
    } else {
        throw std::logic_error("position: startpos, testpos or fen expected");
    }
    const std::string error = next.setup_error();
    if (!error.empty()) throw std::logic_error("position rejected: " + error);
    m_position = next;
    if (i < words.size() && words[i] == "moves") {
        for (++i; i < words.size(); ++i) {
            try {
                m_position.make_move(m_position.convert_to_move(words[i]));
            } catch (const std::logic_error &e) {
                m_position_command.clear(); // the line was not taken whole: parse the next one in full
                throw std::logic_error(std::string("moves list stopped: ") + e.what());
            }
        }
    }
}

void Engine::cmd_go(std::istringstream &words) {
    std::string word;
    if (words >> word && word == "perft") {
        int depth = 0;
        if (!(words >> depth) || depth < 1)
            throw std::logic_error("go perft: a depth of 1 or more is needed");
        ChessPosition copy = m_position;
        // An empty message means "nothing queued", so the blank line travels in front of the total.
        std::string pending;
        for (const std::string &line : perft_divide(copy, m_generator, depth, m_chess960)) {
            if (line.empty()) {
                pending = "\n";
                continue;
            }
            m_comm.to_interface(pending + line);
            pending.clear();
        }
    }
}

void Engine::to_console() {}
