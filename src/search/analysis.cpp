// Search driver: thread body, settings, iterative deepening, the root with MultiPV and endgame tables.
#include "search/analysis.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <iterator>
#include <thread>

#include "search/pruning.h"
#include "search/search_constants.h"

namespace {
// sleep_for resumes after a signal by itself.
void sleep_ms(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }
} // namespace

bool next_window(Window &w, int score) {
    if (w.alpha != -infinity && score <= w.alpha) {
        w.alpha = 2 * w.alpha - w.beta;
        if (w.alpha < -aspiration_limit) w.alpha = -infinity;
        return true;
    }
    if (w.beta != infinity && score >= w.beta) {
        w.beta = 2 * w.beta - w.alpha;
        if (w.beta > aspiration_limit) w.beta = infinity;
        return true;
    }
    const int low = score - aspiration_half_width, high = score + aspiration_half_width;
    w.alpha = low < -aspiration_limit ? -infinity : low;
    w.beta = high > aspiration_limit ? infinity : high;
    return false;
}

Analysis::Analysis(ChessPosition &position, Tables &tables)
    : m_tables(tables), m_tt(tables.tt()), m_pos(position), m_gen(tables), m_lmr(tables.lmr()),
      m_eval(m_pos, tables), m_egt(tables.attacks()) {
    init(position);
}

Analysis::Analysis(const Analysis &o, ChessPosition &position)
    : m_tables(o.m_tables), m_tt(o.m_tt), m_pos(position), m_gen(o.m_tables), m_lmr(o.m_tables.lmr()),
      m_eval(m_pos, o.m_tables), m_egt(o.m_tables.attacks()), m_id(1) {
    init(position);
}

void Analysis::init(const ChessPosition &position) {
    if (m_status.load() == status_t::searching) return;
    m_pos = position;
    m_action = action_t::none;
    m_status = status_t::idle;
    m_ply = 0;
    std::fill(std::begin(m_static), std::end(m_static), no_static);
    m_eval.init();
}

void Analysis::clear() {
    m_tt.clear();
    m_order.clear();
    m_nodes = 0;
}

void Analysis::set_multipv(unsigned n) { m_multipv = n == 0 ? 1 : n >= 50 ? 50 : n; }

void Analysis::set_uci_limitstrength(bool on) {
    m_limitstrength = on;
    if (!on) {
        m_elo_depth = 102;
        m_random_amount = 0;
    }
}

void Analysis::set_uci_elo(int elo) {
    if (elo < 1500) elo = 1500;
    if (elo >= 2200) {
        m_elo = 2200; // the depth cap is deliberately left as it was
        m_random_amount = 0;
        return;
    }
    m_elo = elo;
    static const int caps[7] = {2, 4, 6, 8, 10, 12, 14};
    m_elo_depth = caps[(elo - 1500) / 100];
    m_random_amount = elo < 2000 ? 200 * (2000 - elo) / 500 : 0;
}

void Analysis::set_log(bool on) {
    if (on && !m_log.is_open())
        m_log.open("analysis_" +
                   std::to_string(std::chrono::system_clock::now().time_since_epoch().count() & 0x1ff) +
                   ".log");
    else if (!on && m_log.is_open())
        m_log.close();
    m_eval.set_log(on);
}

void Analysis::operator()() {
    for (;;) {
        if (m_action.load() == action_t::search) {
            m_action = action_t::none;
            m_status = status_t::searching;
            iterative_search();
            m_status = status_t::done;
        } else if (stop_requested()) {
            m_action = action_t::none;
            m_status = status_t::done;
        }
        if (m_quit.load()) return;
        sleep_ms(1); // a "go" waits for this, on the GUI's clock: keep it short
    }
}

void Analysis::root_moves(MoveList &list) const {
    list.set_size(0);
    for (int i = 0; i < m_root_count; ++i)
        list.push_back(m_root_moves[i]);
}

void Analysis::leave_out_lines_above(MoveList &list) const {
    int n = 0;
    for (int i = 0; i < list.size(); ++i)
        if (std::find(m_excluded, m_excluded + m_excluded_count, list[i]) == m_excluded + m_excluded_count)
            list[n++] = list[i];
    list.set_size(n);
}

void Analysis::select_searchmoves(MoveList &list) const {
    if (m_searchmoves.empty()) return;
    int n = 0;
    for (int i = 0; i < list.size(); ++i)
        for (const Move &m : m_searchmoves)
            if (m.same_move(list[i])) {
                list[n++] = list[i];
                break;
            }
    if (n > 0) list.set_size(n); // a list of which nothing is legal here restricts nothing
}

// ---------------------------------------------------------------------------------------------------------
// Iterative deepening and the root

void Analysis::iterative_search() {
    m_time.start();
    m_start_time = std::chrono::system_clock::now();
    m_seldepth = 0;
    m_nodes = 0;
    m_iteration_nodes = 0;
    m_eval_score = 0;
    m_best_move.clear();
    m_pondermove.clear();
    m_root_pv.clear();
    m_exact_pv.clear();
    m_egt.new_search();
    m_order.new_search();
    next_date();
    m_iteration = 0;
    m_excluded_count = 0;
    std::fill(std::begin(m_line_scores), std::end(m_line_scores), no_line_score);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_mpv.clear();
        m_mpv.set_number(static_cast<int>(m_multipv));
    }
    {
        // The root's moves, once per search; the first is a move to play however early a stop comes.
        MoveList root(m_moves[0]);
        m_gen.generate_moves(m_pos, root);
        select_searchmoves(root);
        m_root_count = root.size();
        for (int i = 0; i < m_root_count; ++i) // a loop: GCC's link-time copy warns of a negative length
            m_root_moves[i] = root[i];
        if (root.size() > 0) m_best_move = root[0];
    }
    Window w{-infinity, infinity};
    int stable = 0;       // iterations in a row with the same best move
    bool resolved = true; // the last iteration ended inside its window
    for (;;) {
        const int iteration = m_iteration;
        if (m_depth_cap <= iteration) break;
        // A mate within the depth searched ends the deepening, unless an endgame table is being built in
        // slices between the nodes: its distance may be shorter than the tree's, and the build goes on only
        // while the tree searches.
        if (iteration > 0 && std::abs(m_eval_score) >= mate - iteration && !m_egt.building()) break;
        if (m_limitstrength && m_elo_depth < iteration) break;
        // A root that failed low or high is searched again within the hard limit before the soft one may
        // end the search: its score is only a bound, and a falling score is when time pays most.
        if (iteration > 0 && m_time.soft_limit_reached(resolved, stable)) break;
        if (iteration > 0 && out_of_time()) break;
        m_iteration = iteration + 1;
        // A weakened search learns nothing from its earlier iterations: each has a date of its own and the
        // records of other dates read as misses. Clearing the table instead cost a pass over all of it per
        // iteration (a second at a large Hash, or on memory the system hands over slowly) and lost on time.
        if (m_limitstrength && iteration > 0) next_date();
        m_ply = 0;
        const Move previous_best = m_best_move;
        const int score = root_search(m_iteration, w.alpha, w.beta);
        const bool stopped = stop_requested();
        resolved = score > w.alpha && score < w.beta && m_root_resolved;
        if (m_root_pv.size() > 0) {
            m_best_move = m_root_pv[0];
            m_pondermove = m_root_pv.size() > 1 ? m_root_pv[1] : Move();
        }
        if (resolved) {
            m_eval_score = score;
            stable = m_best_move == previous_best ? stable + 1 : 0;
        }
        if (m_aspiration && !stopped) {
            if (next_window(w, score)) m_iteration = m_iteration - 1;
        }
        if (!stopped) {
            m_ebf = static_cast<float>(std::pow(static_cast<double>(m_iteration_nodes), 1.0 / m_iteration));
            m_iteration_nodes = 0;
        }
        if (stopped) break;
    }
    if (m_limitstrength) {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_mpv.size() > 0) {
                m_mpv.randomize(m_random_amount);
                m_best_move = m_mpv[0][0];
                m_pondermove.clear();
            }
        }
        // Short steps: a step of 50 ms would overshoot a fast game's planned time, and even its hard limit.
        while (!stop_requested() && m_time.keep_waiting())
            sleep_ms(2);
    }
}

void Analysis::release_endgame_tables() { m_egt.release(m_id == 0 ? &m_tt : nullptr); }

Egt4Pieces *Analysis::endgame_table() {
    if (m_id != 0) return nullptr;
    const EndgameTables::build_t mode = build_mode();
    // On a clock, a complete table plays the rest of the ending perfectly and at once, so it may take half
    // the planned time or a twentieth of the clock, whichever is more: two moves of a 30 s game hold the
    // longer build.
    const std::uint64_t build_ms =
        mode != EndgameTables::build_t::on_clock
            ? 0
            : std::max<std::uint64_t>(m_time.target_ms() / 2, m_time.remaining_time() / 20);
    return m_egt.for_root(m_pos, m_tt, mode, build_ms, m_clock);
}

EndgameTables::build_t Analysis::build_mode() const {
    using build_t = EndgameTables::build_t;
    if (m_depth_cap < no_depth_limit || m_max_nodes != no_node_limit) return build_t::none;
    if (m_time.infinite() || m_time.pondering()) return build_t::in_slices;
    if (m_time.movetime() != time_not_given)
        return m_time.movetime() >= long_movetime_ms ? build_t::in_slices : build_t::none;
    return m_time.clock_running() ? build_t::on_clock : build_t::none;
}

bool Analysis::root_from_table(const Egt4Pieces &table, int depth) {
    MoveList list(m_moves[0]);
    root_moves(list);
    EndgameTables::RootLine found;
    if (!EndgameTables::root_line(table, m_pos, list, m_gen, mate, found)) return false;
    PrincipalVariation line;
    for (int i = 0; i < found.size; ++i)
        line.push_back(found.moves[i]);
    line.set_depth(depth);
    line.set_score(found.score);
    m_root_pv = line;
    m_best_move = found.moves[0];
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_mpv.clear();
        m_mpv.add(line);
    }
    return true;
}

int Analysis::root_search(int depth, int alpha, int beta) {
    m_root_resolved = false;
    Egt4Pieces *const table = endgame_table();
    auto answer_from_table = [this, table, depth] {
        if (!table || !root_from_table(*table, depth)) return false;
        m_root_resolved = true;
        m_exact_pv = m_root_pv;
        return true;
    };
    if (answer_from_table()) return m_root_pv.score();
    PrincipalVariation line;
    const int score = pv_search(depth, alpha, beta, line);
    // A table completed during this iteration (built in slices between nodes) gives the root's whole line,
    // where the tree's line ends at its first probe.
    if (answer_from_table()) return m_root_pv.score();
    if (score <= alpha || score >= beta || !m_root_resolved) {
        // Only a bound (a fail low or high, or a stop before any root move was resolved, which returns the
        // window's edge as the mate-distance rule left it): the line of the last exact score stands and is
        // what a stop plays; a re-search follows unless stopped.
        m_root_pv = m_exact_pv;
        return score;
    }
    m_exact_pv = m_root_pv;
    m_exact_pv.set_depth(depth);
    m_exact_pv.set_score(score);
    {
        // With more lines the last iteration's stay below the new first line until their own searches
        // replace them: a stop in the middle of an iteration still shows as many lines as asked for.
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_multipv <= 1) m_mpv.clear();
        m_mpv.add(m_exact_pv);
    }
    if (m_multipv <= 1 || m_root_pv.size() == 0) return score;
    return further_lines(depth, m_exact_pv);
}

// Lines 2 and up: each is a search of the root of its own, with the moves of the lines above left out, so
// that its move is the best of the rest with an exact score and a whole line. Each keeps an aspiration
// window around its score of the last iteration. Lines are published as they complete; a stop leaves the
// lines of the last iteration standing below the new ones.
int Analysis::further_lines(int depth, const PrincipalVariation &first) {
    m_excluded[0] = first[0];
    m_excluded_count = 1;
    const int lines = std::min(static_cast<int>(m_multipv), m_root_count);
    for (int k = 1; k < lines && !stop_requested(); ++k) {
        Window w{-infinity, infinity};
        if (m_aspiration && m_line_scores[k] != no_line_score) next_window(w, m_line_scores[k]);
        PrincipalVariation line;
        int v = 0;
        for (;;) {
            m_root_resolved = false;
            v = pv_search(depth, w.alpha, w.beta, line);
            if (stop_requested()) break;
            if (!m_aspiration || !next_window(w, v)) break;
        }
        if (!m_root_resolved || v <= w.alpha || v >= w.beta || line.size() == 0) break;
        line.set_depth(depth);
        line.set_score(v);
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_mpv.add(line);
        }
        m_line_scores[k] = v;
        m_excluded[m_excluded_count++] = line[0];
    }
    m_excluded_count = 0;
    m_root_resolved = true;
    // A later line that came out above the first (the table's answers differ between the searches) is
    // listed first, and then it is also the move to play.
    PrincipalVariation top = first;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_mpv.size() > 0 && m_mpv[0].depth() == depth) top = m_mpv[0];
    }
    m_root_pv = top;
    m_exact_pv = top;
    return top.score();
}
