#include "engine/engine.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "eval/evaluation.h"
#include "movegen/perft.h"
#include "search/tunable.h"

namespace {
const char *const book_paths[] = {"/usr/local/games/dravnik.files/Dravnik.bin",
                                  "/usr/games/dravnik.files/Dravnik.bin", "Dravnik.bin"};

int clock_log_id() {
    return static_cast<int>(std::chrono::system_clock::now().time_since_epoch().count() & 0x1ff);
}
} // namespace

Engine::Engine(Communicator &comm, std::ofstream &log)
    : m_comm(comm), m_tables(), m_position(m_tables), m_analysis(m_position, m_tables), m_hasher(m_tables),
      m_generator(m_tables), m_log(log), m_start(std::chrono::system_clock::now()), m_log_id(clock_log_id()) {
    m_book_available = false;
    for (const char *path : book_paths) {
        try {
            m_book.set_name(path);
            m_book.open();
            m_book_available = true;
            break;
        } catch (const std::logic_error &) {
            // not there: try the next place
        }
    }
    m_position.newgame();
    m_analysis.init(m_position);
    m_search_thread = std::thread(std::ref(m_analysis));
}

Engine::~Engine() {
    set_threads(1);
    m_analysis.quit();
    if (m_search_thread.joinable()) m_search_thread.join();
}

void Engine::send(const std::string &line) {
    m_comm.to_interface(line);
    m_log << "engine -> " << line << std::endl;
}

void Engine::set_action(Analysis &a, action_t action) {
    // Waiting until the search thread has taken the action keeps a late "finished" from overwriting the
    // status the engine sets afterwards.
    if (action == action_t::search) {
        a.set_action(action_t::search);
        while (a.get_action() != action_t::none)
            std::this_thread::yield();
    } else if (action == action_t::stop) {
        a.set_action(action_t::stop);
        while (a.get_action() != action_t::none || a.get_status() == status_t::searching)
            std::this_thread::yield();
    }
}

void Engine::from_console() {
    m_current_line = m_comm.from_interface();
    if (m_current_line.empty()) return;
    m_command_arrival = m_comm.last_arrival();
    std::istringstream words(m_current_line);
    std::string first;
    if (!(words >> first)) return;
    m_log << "engine <- " << m_current_line << std::endl;
    // A command that throws is abandoned; the engine keeps serving with its state intact.
    try {
        dispatch(m_current_line);
    } catch (const std::exception &e) {
        m_log << "error: " << e.what() << std::endl;
        std::string text = e.what();
        for (char &c : text)
            if (c == '\n') c = ' ';
        info_string("error: " + text);
    }
}

void Engine::dispatch(const std::string &line) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    if (command == "ucinewgame")
        cmd_ucinewgame();
    else if (command == "eval")
        cmd_eval();
    else if (command == "bench")
        cmd_bench();
    else if (command == "usermove")
        cmd_usermove(words);
    else if (command == "position")
        cmd_position(line);
    else if (command == "go")
        cmd_go(words);
    else if (command == "ponderhit") {
        if (m_search_mode == search_mode_t::ponder) {
            m_analysis.time_manager().ponderhit();
            if (m_helper) m_helper->time_manager().ponderhit();
            m_search_mode = search_mode_t::normal;
        }
    } else if (command == "setoption")
        cmd_setoption(words);
    else if (command == "isready")
        send("readyok");
    else if (command == "stop")
        cmd_stop();
    else if (command == "quit")
        cmd_quit();
}

void Engine::cmd_ucinewgame() {
    if (m_analysis.get_status() == status_t::searching) cmd_stop();
    m_position.newgame();
    m_analysis.init(m_position);
    m_analysis.clear();
    m_analysis.clear_history();
    m_position_words.clear();
}

void Engine::cmd_eval() {
    // An evaluation of its own: the search's may be in use on the search thread.
    Evaluation evaluation(m_position, m_tables);
    evaluation.full_eval();
    std::cout << evaluation.report() << std::flush;
}

void Engine::cmd_usermove(std::istringstream &words) {
    std::string text;
    if (!(words >> text)) throw std::logic_error("usermove: a move is needed");
    if (m_analysis.get_status() == status_t::searching) cmd_stop();
    m_position.make_move(legal_move(text));
    m_position_words.clear(); // the last "position" command no longer describes the position
    m_analysis.init(m_position);
    reset_limits();
}

void Engine::reset_limits() {
    m_analysis.set_depth(Analysis::no_depth_limit);
    TimeManager &t = m_analysis.time_manager();
    t.reset();
    m_analysis.set_searchmoves({});
}

void Engine::cmd_position(const std::string &raw) {
    if (m_analysis.get_status() == status_t::searching || m_search_mode != search_mode_t::idle) {
        // A new position ends the running search; its move is no longer wanted.
        abandon_search();
    }
    std::istringstream in(raw);
    std::vector<std::string> words;
    for (std::string w; in >> w;)
        words.push_back(w);
    // The engine's position is always the one the last command describes; when the command extends the
    // previous one by some moves (a game going on), only those are made on the kept position.
    const std::size_t kept = moves_beyond(m_position_words, words);
    if (kept == 0) {
        m_position_words.clear(); // until the new command has been taken whole
        parse_position(words);
    } else {
        for (std::size_t i = kept; i < words.size(); ++i)
            make_listed_move(words[i]);
    }
    m_position_words = words;
    m_analysis.init(m_position);
    reset_limits();
}

std::size_t Engine::moves_beyond(const std::vector<std::string> &before,
                                 const std::vector<std::string> &now) {
    if (before.empty() || now.size() <= before.size() ||
        !std::equal(before.begin(), before.end(), now.begin()))
        return 0;
    const bool had_moves = std::find(before.begin(), before.end(), "moves") != before.end();
    if (had_moves) return before.size();
    return now[before.size()] == "moves" ? before.size() + 1 : 0;
}

Move Engine::legal_move(const std::string &text) {
    // Move texts from the GUI are checked: an illegal one made as it stands could corrupt the board.
    const Move m = m_position.convert_to_move(text);
    MoveList legal;
    m_generator.generate_moves(m_position, legal);
    for (const Move &l : legal)
        if (l.same_move(m)) return l;
    throw std::logic_error("not a legal move here: " + text);
}

void Engine::make_listed_move(const std::string &text) {
    try {
        m_position.make_move(legal_move(text));
    } catch (const std::logic_error &e) {
        m_position_words.clear(); // the line was not taken whole: parse the next one in full
        throw std::logic_error(std::string("moves list stopped: ") + e.what());
    }
}

void Engine::parse_position(const std::vector<std::string> &words) {
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
    if (i < words.size() && words[i] == "moves")
        for (++i; i < words.size(); ++i)
            make_listed_move(words[i]);
}

void Engine::cmd_go(std::istringstream &words) {
    GoCommand go = parse_go(words, m_position);
    if (go.perft > 0) {
        ChessPosition copy = m_position;
        // An empty message means "nothing queued", so the blank line travels in front of the total.
        std::string pending;
        for (const std::string &line : perft_divide(copy, m_generator, go.perft, m_chess960)) {
            if (line.empty()) {
                pending = "\n";
                continue;
            }
            m_comm.to_interface(pending + line);
            pending.clear();
        }
        return;
    }
    if (m_search_mode == search_mode_t::normal) {
        m_log << "Error: received go while already thinking" << std::endl;
        return;
    }
    if (m_search_mode != search_mode_t::idle || m_analysis.get_status() != status_t::idle) {
        // A ponder or infinite search the GUI did not stop: end it quietly before the new one.
        abandon_search();
    }
    // Positions the search cannot play are answered at once.
    MoveList legal;
    if (m_position.setup_error().empty()) m_generator.generate_moves(m_position, legal);
    if (legal.size() == 0) {
        send("bestmove 0000");
        return;
    }
    // Analysis and pondering want a search, never an instant book answer.
    if (m_ownbook && m_book_available && !go.infinite && !go.ponder && m_position.history().size() < 25) {
        m_hasher.init(&m_position);
        const BKmove bk = m_book.get_move(m_hasher.hash());
        if (bk.id() != 0) {
            const Move m = bk(m_position);
            for (const Move &l : legal)
                if (l.same_move(m)) { // a book move is played only when it is legal here
                    send("bestmove " + m.algebraic(m_chess960));
                    return;
                }
        }
    }
    start_search(go);
}

void Engine::start_search(const GoCommand &go) {
    m_search_mode = go.infinite ? search_mode_t::infinite
                    : go.ponder ? search_mode_t::ponder
                                : search_mode_t::normal;
    Analysis *searches[2] = {&m_analysis, m_helper.get()};
    for (Analysis *a : searches) {
        if (!a) continue;
        a->init(m_position);
        TimeManager &t = a->time_manager();
        t.reset();
        t.set_origin(m_command_arrival);
        t.set_wtime(go.wtime);
        t.set_btime(go.btime);
        t.set_winc(go.winc);
        t.set_binc(go.binc);
        t.set_movetime(go.movetime);
        if (go.movestogo > 0) t.set_movestogo(go.movestogo);
        t.set_infinite(go.infinite);
        t.set_pondering(go.ponder);
        t.set_white_to_move(m_position.white_to_move());
        a->set_depth(go.depth);
        a->set_nodes(static_cast<std::uint64_t>(go.nodes));
        a->set_searchmoves(go.searchmoves);
    }
    {
        // Versions keep counting across searches: only lines newer than the last search's are this one's.
        std::lock_guard<std::mutex> lock(m_analysis.mutex());
        m_reported_version = m_analysis.mpv().version();
    }
    m_scored_line_sent = false;
    if (m_helper) m_helper->set_date(m_analysis.get_date());
    set_action(m_analysis, action_t::search);
    if (m_helper) set_action(*m_helper, action_t::search);
}

void Engine::stop_helper() {
    if (!m_helper) return;
    set_action(*m_helper, action_t::stop);
    m_helper->set_status(status_t::idle);
}

void Engine::stop_threads() {
    set_action(m_analysis, action_t::stop);
    stop_helper();
}

void Engine::abandon_search() {
    stop_threads();
    m_analysis.set_status(status_t::idle);
    m_search_mode = search_mode_t::idle;
}

void Engine::cmd_stop() {
    if (m_search_mode == search_mode_t::idle) return;
    stop_threads();
    m_search_mode = search_mode_t::idle;
    while (m_analysis.get_status() == status_t::searching)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    report_new_version(m_analysis, true);
    send_bestmove(m_analysis);
    m_analysis.set_status(status_t::idle);
}

// The engine's position stays the one the GUI set: a GUI analysing, or pondering on a move the opponent
// did not play, sends its next position on top of the one it described, not on top of the engine's move.
void Engine::send_bestmove(Analysis &a) {
    const Move best = a.best_move();
    const Move ponder = a.pondermove();
    std::string line = "bestmove " + best.algebraic(m_chess960);
    if (!best.empty() && !ponder.empty()) line += " ponder " + ponder.algebraic(m_chess960);
    send(line);
}

const Engine::Option Engine::options[] = {
    {"Hash", "spin", "128", 6, 4096, &Engine::set_hash},
    {"Threads", "spin", "1", 1, 2, &Engine::set_threads_option},
    {"Ponder", "check", "true", 0, 0, &Engine::set_ponder},
    {"OwnBook", "check", "false", 0, 0, &Engine::set_ownbook},
    {"UCI_LimitStrength", "check", "false", 0, 0, &Engine::set_limitstrength},
    {"UCI_Elo", "spin", "2000", 1500, 2200, &Engine::set_elo},
    {"UCI_Chess960", "check", "false", 0, 0, &Engine::set_chess960},
    {"MultiPV", "spin", "1", 1, 256, &Engine::set_multipv},
    {"Debug", "check", "false", 0, 0, &Engine::set_debug},
};

void Engine::announce_options(std::ostream &out) {
    for (const Option &o : options) {
        out << "option name " << o.name << " type " << o.type << " default " << o.default_value;
        if (std::string(o.type) == "spin") out << " min " << o.min << " max " << o.max;
        out << std::endl;
    }
#ifdef DRAVNIK_TUNE
    for (const Tunable &t : tunables())
        out << "option name " << t.name << " type spin default " << t.default_value << " min " << t.min
            << " max " << t.max << std::endl;
#endif
}

void Engine::cmd_setoption(std::istringstream &words) {
    const SetOption opt = parse_setoption(words);
    if (!opt.valid) return;
    OptionValue v;
    v.text = opt.value;
    v.on = opt.value == "true";
    std::istringstream value(opt.value);
    v.numeric = static_cast<bool>(value >> v.number);
    if (!v.numeric) v.number = 0;
    for (const Option &o : options)
        if (equal_options(opt.name, o.name)) {
            (this->*o.apply)(o, v);
            return;
        }
#ifdef DRAVNIK_TUNE
    for (Tunable &t : tunables())
        if (equal_options(opt.name, t.name)) {
            if (!v.numeric) return;
            // The search reads the constants without locks, and the reduction table is rebuilt from them.
            if (m_search_mode != search_mode_t::idle) cmd_stop();
            set_tunable(t, v.number);
            m_tables.rebuild_lmr();
            return;
        }
#endif
}

void Engine::set_hash(const Option &row, const OptionValue &v) {
    if (!v.numeric || v.number <= 0) return;
    if (m_search_mode != search_mode_t::idle) cmd_stop();
    try {
        // Beyond the announced maximum counts as the maximum: a GUI's typing error must not ask the system
        // for terabytes. Below the minimum the table counts it as its own minimum.
        const int mb = static_cast<int>(v.number > row.max ? row.max : v.number);
        m_analysis.set_hash_size(mb);
        m_hash_mb = mb;
    } catch (const std::exception &e) {
        info_string(std::string("Hash unchanged: ") + e.what());
    }
}

void Engine::set_threads_option(const Option &row, const OptionValue &v) {
    if (!v.numeric) return;
    if (m_search_mode != search_mode_t::idle) cmd_stop();
    // A negative count reads as a very large one, as an unsigned GUI field would: the maximum.
    const unsigned long long u = static_cast<unsigned long long>(v.number);
    const unsigned most = static_cast<unsigned>(row.max);
    set_threads(u == 0 ? 1 : u >= most ? most : 1);
}

void Engine::set_ponder(const Option &, const OptionValue &v) { m_ponder = v.on; }

void Engine::set_ownbook(const Option &, const OptionValue &v) { m_ownbook = v.on && m_book_available; }

void Engine::set_limitstrength(const Option &, const OptionValue &v) {
    m_analysis.set_uci_limitstrength(v.on);
}

void Engine::set_elo(const Option &, const OptionValue &v) {
    // The search clamps to its range of strengths; this bound only keeps the number an int.
    if (v.numeric)
        m_analysis.set_uci_elo(static_cast<int>(v.number < -100000  ? -100000
                                                : v.number > 100000 ? 100000
                                                                    : v.number));
}

void Engine::set_chess960(const Option &, const OptionValue &v) {
    m_chess960 = v.on;
    m_position.set_chess960(v.on);
}

void Engine::set_multipv(const Option &, const OptionValue &v) {
    if (!v.numeric) return;
    // More than 50 lines count as 50: each costs a search of its own, and a GUI's large number would
    // leave the deeper iterations unreachable.
    const unsigned long long u = static_cast<unsigned long long>(v.number);
    m_multipv_option = u == 0 ? 1 : u >= 50 ? 50 : static_cast<int>(u);
    m_analysis.set_multipv(static_cast<unsigned>(m_multipv_option));
    if (m_helper) m_helper->set_multipv(static_cast<unsigned>(m_multipv_option));
}

void Engine::set_debug(const Option &, const OptionValue &v) {
    m_debug = v.on;
    m_analysis.set_log(v.on);
    if (m_log.good() && !v.on)
        m_log.close();
    else if (!m_log.good() && v.on) {
        m_log.clear();
        m_log.open("uci_eng_" + std::to_string(m_log_id) + ".log");
    }
}

void Engine::set_threads(unsigned n) {
    if (n >= 2 && !m_helper) {
        m_helper_position = std::make_unique<ChessPosition>(m_position);
        m_helper = std::make_unique<Analysis>(m_analysis, *m_helper_position);
        m_helper->set_multipv(static_cast<unsigned>(m_multipv_option));
        m_helper_thread = std::thread(std::ref(*m_helper));
    } else if (n < 2 && m_helper) {
        stop_helper();
        m_helper->quit();
        if (m_helper_thread.joinable()) m_helper_thread.join();
        m_helper.reset();
        m_helper_position.reset();
    }
}

void Engine::cmd_quit() {
    // A script that quits mid-search still reads the move found so far.
    if (m_search_mode != search_mode_t::idle) cmd_stop();
    stop_threads();
    m_analysis.quit();
}

void Engine::cmd_bench() {
    static const char *const fens[] = {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
                                       "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w - - 0 1",
                                       "r2q2k1/pp1rbppp/4pn2/2P5/1P3B2/6P1/P3QPBP/1R3RK1 w - - 0 1"};
    if (m_search_mode != search_mode_t::idle) cmd_stop();
    // Nodes per second are the search's alone: the table's fresh pages are handed over before the clock
    // runs, as they are in a game after its first moves.
    m_tables.tt().clear_every_page();
    std::uint64_t total_nodes = 0;
    double total_time = 0;
    ChessPosition pos(m_tables);
    // A search of its own with every setting at its default: the bench's work never depends on earlier
    // limits, MultiPV or strength settings, so its node count identifies the build.
    auto bench = std::make_unique<Analysis>(m_analysis, pos);
    for (const char *fen : fens) {
        pos.fen(fen);
        bench->init(pos);
        bench->clear();
        bench->clear_history();
        bench->time_manager().reset();
        bench->set_depth(12);
        std::cout << "position: " << fen << "\t" << std::flush;
        const auto t0 = std::chrono::steady_clock::now();
        bench->iterative_search();
        const double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        const std::uint64_t nodes = bench->get_node_count();
        total_nodes += nodes;
        total_time += secs;
        std::cout << "  depth=12  nps=" << static_cast<std::uint64_t>(secs > 0 ? nodes / secs : 0)
                  << "  nodes=" << nodes << "  time=" << secs << "  ebf=" << bench->get_ebf()
                  << "  eval=" << bench->eval() << "  bestmove " << bench->best_move().algebraic(m_chess960)
                  << std::endl;
    }
    std::cout << "-------------------------------------\n"
              << "nodes: \t" << total_nodes << "\n"
              << "time: \t" << total_time << "\n"
              << "nps:  \t" << static_cast<std::uint64_t>(total_time > 0 ? total_nodes / total_time : 0)
              << "\n"
              << "-------------------------------------" << std::endl;
}

bool Engine::report_new_version(Analysis &a, bool final_report) {
    MultiPV copy;
    {
        std::lock_guard<std::mutex> lock(a.mutex());
        copy = a.mpv();
    }
    // However short the search, the GUI sees one scored line before the move.
    const bool owed = final_report && !m_scored_line_sent;
    if (copy.version() <= m_reported_version && !owed) return false;
    m_reported_version = final_report ? copy.version() : m_reported_version + 1;
    m_reported_number = copy.number();
    m_reported.assign(copy.begin(), copy.end());
    if (m_reported.empty() && owed) m_reported.push_back(unsearched_line(a));
    send_info(a, final_report);
    return true;
}

PrincipalVariation Engine::unsearched_line(Analysis &a) {
    // Stopped before the root finished a move: the move it would play, valued by the static evaluation.
    PrincipalVariation line;
    if (a.best_move().empty()) return line;
    line.push_back(a.best_move());
    Evaluation evaluation(m_position, m_tables);
    line.set_score(evaluation.static_eval());
    line.set_depth(1);
    return line;
}

void Engine::to_console() {
    const status_t status = m_analysis.get_status();
    if (status == status_t::searching) {
        report_new_version(m_analysis, false);
    } else if (status == status_t::done) {
        report_new_version(m_analysis, true);
        if (m_search_mode == search_mode_t::normal) {
            m_search_mode = search_mode_t::idle;
            stop_helper();
            m_analysis.set_status(status_t::idle);
            send_hashfull(m_analysis);
            m_current_line.clear();
            send_bestmove(m_analysis);
        }
    }
}

void Engine::send_info(Analysis &a, bool final_report) {
    const int depth = std::max(a.get_iteration(), 1);
    const std::uint64_t nodes = a.get_node_count();
    const double ns = static_cast<double>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                              std::chrono::system_clock::now() - a.get_start_time())
                                              .count());
    const std::uint64_t ms = static_cast<std::uint64_t>(ns / 1e9 * 1000);
    // Lines in the first millisecond wait for a later pass, unless the search is over already.
    if (ms == 0 && !final_report) return;
    // Multiply first: a slow start (fewer nodes than milliseconds) would otherwise report 0.
    const std::uint64_t nps = ms == 0 ? 0 : nodes * 1000 / ms;
    if (!m_reported.empty()) m_scored_line_sent = true;
    for (std::size_t i = 0; i < m_reported.size(); ++i) {
        const PrincipalVariation &pv = m_reported[i];
        // Each line at the depth it was searched to: after a stop, lines the last iteration did not reach
        // are the iteration's before.
        const int line_depth = pv.depth() > 0 ? pv.depth() : depth;
        std::string line =
            "info depth " + std::to_string(line_depth) + " seldepth " + std::to_string(a.get_seldepth());
        if (m_reported_number > 1) line += " multipv " + std::to_string(i + 1);
        line += score_text(pv.score()) + " time " + std::to_string(ms) + " nodes " + std::to_string(nodes) +
                " nps " + std::to_string(nps) + " pv ";
        for (const Move &m : pv)
            line += m.algebraic(m_chess960) + " ";
        send(line);
    }
}

void Engine::send_hashfull(Analysis &a) {
    send("info hashfull " + std::to_string(m_tables.tt().hashfull(a.get_date())));
}
