// The search object: one per search thread. Iterative deepening with aspiration windows over a principal
// variation search with null move, reductions, pruning near the leaves and a capture search.
#ifndef DRAVNIK_SEARCH_ANALYSIS_H
#define DRAVNIK_SEARCH_ANALYSIS_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <mutex>
#include <vector>

#include "board/chessposition.h"
#include "board/static_exchange.h"
#include "egtb/endgame_tables.h"
#include "eval/evaluation.h"
#include "movegen/movegenerator.h"
#include "search/move_ordering.h"
#include "search/move_picker.h"
#include "search/pv.h"
#include "search/search_constants.h"
#include "search/tables.h"
#include "search/timemanager.h"
#include "search/transposition.h"

// Aspiration window after an iteration: returns true when the same depth must be searched again.
struct Window {
    int alpha, beta;
};
bool next_window(Window &w, int score);

// The front end's request to the search thread, and the thread's state; the front end waits for the
// request to be taken (back to none) before it writes the status itself.
enum class action_t : int { none = 0, search = 1, stop = 2 };
enum class status_t : int { idle = 0, searching = 1, done = 2 };

class Analysis {
  public:
    static constexpr int max_ply = 256; // per-ply arrays; the search never goes deeper than max_ply - 8
    static constexpr std::uint64_t no_node_limit = 1ULL << 62;
    // Deeper than any iteration can go (the tree stops at its ply cap): no depth limit.
    static constexpr int no_depth_limit = 101;

    Analysis(ChessPosition &position, Tables &tables);
    Analysis(const Analysis &o,
             ChessPosition &position); // the second thread's search: shares only the tables
    Analysis(const Analysis &) = delete;
    Analysis &operator=(const Analysis &) = delete;

    void operator()(); // the thread body
    void init(const ChessPosition &position);
    void reset() { m_time.reset(); }
    void clear();
    void clear_hash() { m_tt.clear(); }
    void clear_killer() { m_order.clear_killers(); }
    void clear_history() { m_order.clear_history(); }
    void hashtable_enabled(bool on) { m_tt.set_enabled(on); }
    // A resize frees the memory an endgame table may have borrowed: release the tables first.
    void set_hash_size(int megabytes) {
        release_endgame_tables();
        m_tt.set_size(megabytes);
    }
    void release_endgame_tables();

    // Limits and settings.
    void set_depth(int d) { m_depth_cap = d; }
    void set_mate(int d) { m_depth_cap = d; }
    void set_nodes(std::uint64_t n) { m_max_nodes = n; }
    void set_max_nodes(std::uint64_t n) { m_max_nodes = n; }
    void reset_max_nodes() { m_max_nodes = no_node_limit; }
    void set_multipv(unsigned n);
    void set_searchmoves(const std::vector<Move> &moves) { m_searchmoves = moves; }
    void set_max_threads(unsigned n) { m_max_threads = n == 0 ? 1 : n >= 2 ? 2 : 1; }
    void set_uci_limitstrength(bool on);
    void set_uci_elo(int elo);
    void set_aspiration(bool on) { m_aspiration = on; }
    void set_log(bool on);
    void set_id(int id) { m_id = id; }
    int get_id() const { return m_id; }
    TimeManager &time_manager() { return m_time; }

    // The hand-shake with the front end.
    action_t get_action() const { return m_action.load(); }
    // The stop flag carries no data (the results are handed over through the status), so the search reads
    // it with the cheapest load: no barrier on every node of the 32-bit target.
    bool stop_requested() const { return m_action.load(std::memory_order_relaxed) == action_t::stop; }
    void set_action(action_t a) { m_action.store(a); }
    status_t get_status() const { return m_status.load(); }
    void set_status(status_t s) { m_status.store(s); }
    void quit() { m_quit.store(true); }

    // Results and reports.
    std::mutex &mutex() { return m_mutex; }
    const MultiPV &mpv() const { return m_mpv; }
    const PrincipalVariation &pv() const { return m_root_pv; }
    // Figures for the reports, written by the search thread alone; the final ones are ordered by the status.
    int get_iteration() const { return m_iteration.load(std::memory_order_relaxed); }
    int get_seldepth() const { return m_seldepth.load(std::memory_order_relaxed); }
    std::uint64_t get_node_count() const { return m_nodes.load(std::memory_order_relaxed); }
    std::chrono::system_clock::time_point get_start_time() const { return m_start_time; }
    Move best_move() const { return m_best_move; }
    Move pondermove() const { return m_pondermove; }
    int eval() const { return m_eval_score; }
    float get_ebf() const { return m_ebf; }
    unsigned char get_date() const { return m_date; }
    // A second search thread writes the table under the first one's date, so neither treats the other's
    // entries as old.
    void set_date(unsigned char date) { m_date = date; }
    int elo_depth() const { return m_elo_depth; }
    int random_amount() const { return m_random_amount; }

    void iterative_search();
    int static_eval() { return m_eval.static_eval(); }
    std::string static_eval_report() const { return m_eval.report(); }

    // Exposed for tests: the node searches and their helpers on the current position.
    // One iteration at the root: publishes its lines only when the score lies inside the window.
    int root_search(int depth, int alpha, int beta);
    int pv_search(const int &depth, int alpha, int beta, PrincipalVariation &pv);
    int nullwindow_search(int depth, int alpha, int beta);
    int nullmove_search(int depth, int alpha, int beta);
    bool nullmove_allowed() const;
    int quiescence(int alpha, int beta, int qdepth);
    int see(const Move &m) { return static_exchange(m_pos, m); }
    int extend(const MoveList &list, const Move &m) {
        return extend(list.size() == 1, m, m.check() && see(m) >= 0);
    }
    // The extension of m: only_move when it is the node's one legal move, safe_check when it checks and
    // loses nothing by exchange.
    int extend(bool only_move, const Move &m, bool safe_check);
    bool is_legal(const TTmove &m) const;
    void localsort(MoveList &list, const Move &hashmove);
    ChessPosition &position() { return m_pos; }
    void make_move(const Move &m); // a null Move() is the null move
    void unmake_move();

  private:
    // The endgame table of the root's material, built as this search allows (the first thread only: the
    // lent memory has one owner); released when the root needs none.
    Egt4Pieces *endgame_table();
    EndgameTables::build_t build_mode() const;
    // A fixed move time this long holds a build (two seconds on a fast machine, done in slices).
    static constexpr std::uint64_t long_movetime_ms = 5000;
    // The exact score of a node the complete table knows; false when there is none.
    bool table_score(int &score) const;
    // Plays from a complete table: true with the line and score set when the table knows the root.
    bool root_from_table(const Egt4Pieces &table, int depth);
    // The search's clock as the endgame tables' build reads it.
    class SearchClock : public BuildClock {
      public:
        explicit SearchClock(const Analysis &a) : m_a(a) {}
        std::uint64_t elapsed_ms() const override { return m_a.m_time.elapsed_ms(); }
        long long remaining_ms() const override { return m_a.m_time.remaining_time(); }
        bool stopped() const override { return m_a.stop_requested(); }

      private:
        const Analysis &m_a;
    };
    // The table's date for a new search or a weakened search's iteration: a cleared record carries date
    // 0, so no search may look current to it.
    void next_date() {
        if (++m_date == 0) m_date = 1;
    }
    void new_node();
    // The common start of a node: counting, mate-distance pruning, selective depth and the stop request.
    // True when the node is decided already, with its score in result.
    bool enter_node(int &alpha, int &beta, int &result);
    bool out_of_time();
    void put_in_tt(bound_t bound, int draft, int score, const Move &move);
    void put_in_quiescence_tt(bool hit, int tt_draft, bound_t bound, int score);
    Move probe_move(int &score, int &draft, bound_t &bound, bool &hit);
    void iidsort(MoveList &list, int depth, int alpha, int beta);
    void select_searchmoves(MoveList &list) const;
    // The root's moves less those of the MultiPV lines above the one being searched.
    void leave_out_lines_above(MoveList &list) const;
    // MultiPV lines 2 and up after the first line's exact result; returns the first line's score.
    int further_lines(int depth, const PrincipalVariation &first);
    // The root's legal moves (restricted by "searchmoves"), as generated once at the start of the search.
    void root_moves(MoveList &list) const;
    int leaf(int alpha, int beta);
    // The side to move's static score is above the one it had two plies before (false in check).
    bool improving() const {
        return m_ply >= 2 && m_static[m_ply] != no_static &&
               (m_static[m_ply - 2] == no_static || m_static[m_ply] > m_static[m_ply - 2]);
    }

    Tables &m_tables;
    TranspositionTable &m_tt;
    ChessPosition m_pos;
    MoveGenerator m_gen;
    MoveOrdering m_order;
    const LmrTable &m_lmr;
    Evaluation m_eval;
    EndgameTables m_egt;
    SearchClock m_clock{*this};
    bool m_root_resolved = false; // this iteration's root has raised alpha with a move
    TimeManager m_time;
    MultiPV m_mpv;
    unsigned m_multipv = 1;
    std::mutex m_mutex;

    std::atomic<action_t> m_action{action_t::none};
    std::atomic<status_t> m_status{status_t::idle};
    std::atomic<bool> m_quit{false};
    std::atomic<int> m_iteration{0};
    std::atomic<int> m_seldepth{0};
    int m_ply = 0;
    std::atomic<std::uint64_t> m_nodes{0};
    std::uint64_t m_iteration_nodes = 0;
    float m_ebf = 0;
    unsigned char m_date = 0;
    int m_id = 0;

    int m_depth_cap = no_depth_limit; // a "go depth" or "go mate" limit
    std::uint64_t m_max_nodes = no_node_limit;
    bool m_limitstrength = false;
    int m_elo = 2000;
    int m_elo_depth = 102;
    int m_random_amount = 0;
    bool m_aspiration = true;
    unsigned m_max_threads = 1;
    std::vector<Move> m_searchmoves;

    int m_eval_score = 0;
    Move m_best_move;
    Move m_pondermove;
    PrincipalVariation m_root_pv;
    PrincipalVariation m_exact_pv; // the root line of the last score inside its window
    std::chrono::system_clock::time_point m_start_time;
    std::ofstream m_log;

    // MultiPV: the first moves of the lines above the one being searched (none outside a further line's
    // search; the root's table record is left alone meanwhile, as it belongs to the first line), and each
    // line's score of the last iteration, the centre of its aspiration window (the first line's window is
    // the driver's).
    static constexpr int max_lines = 50;
    static constexpr int no_line_score = -infinity - 1;
    Move m_excluded[max_lines];
    int m_excluded_count = 0;
    int m_line_scores[max_lines];

    Move m_root_moves[MoveList::capacity];
    int m_root_count = 0;
    Move m_moves[max_ply][MoveList::capacity];
    MovePicker::Slot m_slots[max_ply][MoveList::capacity]; // the picker's room
    Move m_tried[max_ply][MoveList::capacity];             // a node's moves searched so far, in order
    MoveGenerator::MoveTable m_tables_by_ply[max_ply];
    // Each ply's static score on the current path; no_static in check.
    static constexpr int no_static = -32001;
    int m_static[max_ply];
};

#endif
