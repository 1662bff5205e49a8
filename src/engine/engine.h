// The engine behind the console: interprets UCI commands, runs the search threads and reports on them.
#ifndef DRAVNIK_ENGINE_ENGINE_H
#define DRAVNIK_ENGINE_ENGINE_H

#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "board/chessposition.h"
#include "board/hasher.h"
#include "book/book.h"
#include "engine/communicator.h"
#include "engine/uci_text.h"
#include "movegen/movegenerator.h"
#include "search/analysis.h"
#include "search/pv.h"
#include "search/tables.h"

// What the front end's search is doing: a normal search answers on its own; a ponder or infinite search
// waits for "ponderhit" or "stop".
enum class search_mode_t : int { idle = 0, normal = 1, ponder = 2, infinite = 3 };

// A "setoption" value as the handlers read it: the text, "true" or not, and the number it starts with.
struct OptionValue {
    std::string text;
    bool on = false;
    bool numeric = false;
    long long number = 0;
};

class Engine {
  public:
    // The options as "uci" announces them, one "option name ..." line each, in the table's order.
    static void announce_options(std::ostream &out);

    Engine(Communicator &comm, std::ofstream &log);
    ~Engine();
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;

    // Takes at most one pending command from the queue and acts on it.
    void from_console();
    // Looks at the running search and queues its report lines (at most one update per call).
    void to_console();

  private:
    void dispatch(const std::string &line);
    void cmd_ucinewgame();
    void cmd_eval();
    void cmd_bench();
    void cmd_usermove(std::istringstream &words);
    void cmd_position(const std::string &line);
    void cmd_go(std::istringstream &words);
    void cmd_stop();
    void cmd_setoption(std::istringstream &words);
    // One row per option: what "uci" announces, and the handler "setoption" calls with its value.
    struct Option {
        const char *name;
        const char *type; // "spin" or "check"
        const char *default_value;
        long long min, max; // spins only
        void (Engine::*apply)(const Option &row, const OptionValue &value);
    };
    static const Option options[];
    void set_hash(const Option &row, const OptionValue &v);
    void set_threads_option(const Option &row, const OptionValue &v);
    void set_ponder(const Option &row, const OptionValue &v);
    void set_ownbook(const Option &row, const OptionValue &v);
    void set_limitstrength(const Option &row, const OptionValue &v);
    void set_elo(const Option &row, const OptionValue &v);
    void set_chess960(const Option &row, const OptionValue &v);
    void set_multipv(const Option &row, const OptionValue &v);
    void set_debug(const Option &row, const OptionValue &v);
    void cmd_quit();
    void parse_position(const std::vector<std::string> &words);
    // The first word of now that makes a move beyond the command before, when now only adds moves to it;
    // 0 otherwise.
    static std::size_t moves_beyond(const std::vector<std::string> &before,
                                    const std::vector<std::string> &now);
    void make_listed_move(const std::string &text);
    // The move a text names in the current position; a logic error unless it is legal there.
    Move legal_move(const std::string &text);
    void reset_limits();
    void start_search(const GoCommand &go);
    void stop_helper();
    // Both search threads asked to stop, without waiting for them.
    void stop_threads();
    // Ends the running search without answering: its move is no longer wanted.
    void abandon_search();
    void set_threads(unsigned n);
    // 1: start a search and wait until it runs; 2: stop it and wait until it no longer runs.
    static void set_action(Analysis &a, action_t action);

    void send(const std::string &line);
    void info_string(const std::string &text) { send("info string " + text); }
    // Info lines of the reported variations; a final report goes out even in the search's first millisecond.
    void send_info(Analysis &a, bool final_report);
    PrincipalVariation unsearched_line(Analysis &a);
    void send_hashfull(Analysis &a);
    void send_bestmove(Analysis &a);
    bool report_new_version(Analysis &a, bool final_report);

    Communicator &m_comm;
    Tables m_tables;
    ChessPosition m_position;
    Analysis m_analysis;
    std::thread m_search_thread;
    // The second search thread ("Threads" 2): its own position copy and search, sharing the tables.
    std::unique_ptr<ChessPosition> m_helper_position;
    std::unique_ptr<Analysis> m_helper;
    std::thread m_helper_thread;
    Hasher<1> m_hasher;
    MoveGenerator m_generator;
    std::ofstream &m_log;
    std::chrono::system_clock::time_point m_start;
    int m_log_id;

    std::string m_current_line;
    std::chrono::system_clock::time_point m_command_arrival{}; // when the current command arrived
    // The words of the last "position" command, which describes the engine's position exactly.
    std::vector<std::string> m_position_words;
    search_mode_t m_search_mode = search_mode_t::idle;
    bool m_ownbook = false;
    bool m_chess960 = false;
    bool m_ponder = true;
    bool m_debug = false;
    int m_hash_mb = 128;
    int m_multipv_option = 1;
    bool m_book_available = true;

    int m_reported_number = 1; // MultiPV number of the last reported copy
    int m_reported_version = 0;
    bool m_scored_line_sent = false; // in the current search
    std::vector<PrincipalVariation> m_reported;
    Book m_book;
};

#endif
