// Search driver: thread body, settings, iterative deepening, the root with MultiPV and endgame tables.
#include "search/analysis.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <ctime>

#include "search/search_constants.h"

namespace {
void sleep_ns(long ns) {
    timespec wait{0, ns}, rest{0, 0};
    while (nanosleep(&wait, &rest) == -1 && errno == EINTR)
        wait = rest;
}
} // namespace

bool next_window(Window &w, int score) {
    if (w.alpha != -infinity && score <= w.alpha) {
        w.alpha = 2 * w.alpha - w.beta;
        if (w.alpha < -500) w.alpha = -infinity;
        return true;
    }
    if (w.beta != infinity && score >= w.beta) {
        w.beta = 2 * w.beta - w.alpha;
        if (w.beta > 500) w.beta = infinity;
        return true;
    }
    w.alpha = score - 25 < -500 ? -infinity : score - 25;
    w.beta = score + 25 > 500 ? infinity : score + 25;
    return false;
}

Analysis::Analysis(ChessPosition &position, Tables &tables)
    : m_tables(tables), m_tt(tables.tt()), m_pos(position), m_gen(tables), m_lmr(tables.lmr()),
      m_eval(m_pos, tables), m_kbnk(tables.attacks(), wbishop, wknight),
      m_kqkr(tables.attacks(), wqueen, wrook) {
    init(position);
}

Analysis::Analysis(const Analysis &o, ChessPosition &position)
    : m_tables(o.m_tables), m_tt(o.m_tt), m_pos(position), m_gen(o.m_tables), m_lmr(o.m_tables.lmr()),
      m_eval(m_pos, o.m_tables), m_kbnk(o.m_tables.attacks(), wbishop, wknight),
      m_kqkr(o.m_tables.attacks(), wqueen, wrook), m_id(1) {
    init(position);
}

void Analysis::init(const ChessPosition &position) {
    if (m_status.load() == status_t::searching) return;
    m_pos = position;
    m_action = action_t::none;
    m_status = status_t::idle;
    m_ply = 0;
    m_mate_attacks = 0;
    m_eval.init();
}

void Analysis::clear() {
    m_tt.clear();
    m_killer.clear();
    m_history.clear();
    m_counter.clear();
    m_nodes = 0;
}

void Analysis::clear_history() {
    m_history.clear();
    m_counter.clear();
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
        sleep_ns(5000000);
    }
}

void Analysis::make_move(const Move &m) {
    m_pos.make_move(m);
    m_eval.prefetch(); // nearly every node evaluates its position first
    m_eval.make_move(m);
    if (m.xcode() == mate_attack) ++m_mate_attacks;
    ++m_ply;
}

void Analysis::unmake_move() {
    const Move m = m_pos.last_move();
    --m_ply;
    if (m.xcode() == mate_attack) --m_mate_attacks;
    m_eval.unmake_move(m);
    m_pos.unmake_move();
}

bool Analysis::out_of_time() {
    // The first iteration always completes (a fraction of a millisecond): a move of depth 1 is worth
    // more than the first move generated, however late the search started.
    return m_iteration.load(std::memory_order_relaxed) > 1 && m_time.time_to_move();
}

void Analysis::new_node() {
    const std::uint64_t n = m_nodes.load(std::memory_order_relaxed);
    if (m_max_nodes != no_node_limit) {
        if (m_max_nodes <= n) {
            m_action = action_t::stop;
            return;
        }
    } else if ((n & 1023) == 0) {
        // Every 1,024 nodes at any depth: well under a millisecond here, a few on the slow target, so a
        // short move time still ends on time.
        if (out_of_time()) {
            m_action = action_t::stop;
            return;
        }
        if (m_building) build_slice();
    }
    // This thread is the counter's only writer: a plain store, not a read-modify-write (a retry loop on
    // the 32-bit target).
    m_nodes.store(n + 1, std::memory_order_relaxed);
}

bool stop_before_iteration(bool resolved, int used_percent, int stable) {
    // Past 60 per cent of the planned time a new iteration would rarely finish; once the best move has
    // stood for two iterations that is where the search ends, and past the planned time in any case.
    return resolved && (used_percent >= 100 || (used_percent >= 60 && stable >= 2));
}

bool Analysis::soft_limit_reached(bool resolved, int stable) {
    // Only a game clock plans: a move time, a ponder or infinite search, or no clock at all runs on.
    if (!m_time.clock_running() || m_time.movetime() != time_not_given || m_time.infinite() ||
        m_time.pondering())
        return false;
    return stop_before_iteration(resolved, m_time.percentage(), stable);
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
    m_building = nullptr;
    m_next_slice_ms = 0;
    m_history.divide_by_8();
    m_counter.divide_by_8();
    m_killer.clear();
    if (++m_date == 0) m_date = 1; // a cleared record carries date 0: no search may look current to it
    m_iteration = 0;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_mpv.clear();
        m_mpv.set_number(static_cast<int>(m_multipv));
    }
    {
        // A move to play however early a stop comes, even before the root has generated its moves.
        MoveList root(m_moves[0]);
        m_gen.generate_moves(m_pos, root);
        select_searchmoves(root);
        if (root.size() > 0) m_best_move = root[0];
    }
    Window w{-infinity, infinity};
    int stable = 0;       // iterations in a row with the same best move
    bool resolved = true; // the last iteration ended inside its window
    for (;;) {
        const int iteration = m_iteration;
        if (m_depth_cap1 <= iteration || m_depth_cap2 <= iteration) break;
        if (iteration > 0 && std::abs(m_eval_score) >= mate - iteration) break;
        if (m_limitstrength && m_elo_depth < iteration) break;
        // A root that failed low or high is searched again within the hard limit before the soft one may
        // end the search: its score is only a bound, and a falling score is when time pays most.
        if (iteration > 0 && soft_limit_reached(resolved, stable)) break;
        if (iteration > 0 && out_of_time()) break;
        m_iteration = iteration + 1;
        if (m_limitstrength) m_tt.clear();
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
        if (m_aspiration && !stopped && m_multipv == 1) {
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
        // Not faster than the time allowance; a search without one (depth, nodes) answers at once.
        while (!stop_requested() && !m_time.time_to_move() &&
               (m_time.hard_limit_ms() != time_not_given || m_time.pondering() || m_time.infinite()))
            sleep_ns(50000000);
    }
    m_total_time += std::chrono::duration<double>(std::chrono::system_clock::now() - m_start_time).count();
}

void Analysis::release_endgame_tables() {
    m_kbnk.release();
    m_kqkr.release();
    if (m_id == 0) return_lent_memory();
}

void Analysis::return_lent_memory() {
    if (m_tt.get_threshold() == 0) return;
    // Table bytes left behind would read as stray records.
    std::memset(m_tt.get_uchar_adress(), 0, endgame_memory);
    m_tt.set_threshold(0);
}

Egt4Pieces *Analysis::endgame_table() {
    // Only the first search thread builds: the lent memory and the threshold belong to one owner.
    if (m_id != 0) return nullptr;
    const MaterialIndex &mi = m_pos.materialindex();
    const bool small =
        mi.get_whitepawn() == 0 && mi.get_blackpawn() == 0 && m_pos.all_pieces().popcount() <= 4;
    const std::string material = mi.str();
    Egt4Pieces *table = !small                     ? nullptr
                        : m_kbnk.handles(material) ? &m_kbnk
                        : m_kqkr.handles(material) ? &m_kqkr
                                                   : nullptr;
    if (!table) {
        if (m_kbnk.progress() != -1 || m_kqkr.progress() != -1 || m_tt.get_threshold() != 0)
            release_endgame_tables();
        return nullptr;
    }
    (table == &m_kbnk ? m_kqkr : m_kbnk).release();
    // A table is used only once it is complete.
    const build_t mode = build_mode();
    if (table->progress() < 101 && mode != build_t::none) {
        if (table->progress() < 0 || table->progress() > 100) {
            table->release();
            return_lent_memory(); // the other table may have held it
            // A transposition table smaller than the lent bytes cannot hold the table: it gets its own.
            const bool borrow = table->bytes_needed() <= endgame_memory && m_tt.bytes() > endgame_memory;
            if (borrow && table->set_memory(m_tt.get_uchar_adress(), endgame_memory))
                m_tt.set_threshold(static_cast<int>(endgame_memory));
            else
                table->use_own_buffer();
        }
        if (mode == build_t::in_slices) {
            m_building = table;
            build_slice();
            return table;
        }
        const int reserve = table == &m_kbnk ? 2001 : 4001;
        // Steps while the clock allows: never into its last seconds, and not past a "stop". A complete
        // table plays the rest of the ending perfectly and at once, so it may take half the planned time
        // or a twentieth of the clock, whichever is more: two moves of a 30 s game hold the longer build.
        const std::uint64_t build_ms =
            std::max<std::uint64_t>(m_time.budget().soft / 2, m_time.remaining_time() / 20);
        while (table->progress() < 101 && !stop_requested() && m_time.remaining_time() >= reserve &&
               m_time.elapsed_ms() < build_ms) {
            const int before = table->progress();
            table->create();
            if (table->progress() < 0 && before < 0) break; // no memory: the build cannot start
        }
    }
    return table;
}

Analysis::build_t Analysis::build_mode() const {
    if (m_depth_cap2 < 101 || m_max_nodes != no_node_limit) return build_t::none;
    if (m_time.infinite() || m_time.pondering()) return build_t::in_slices;
    if (m_time.movetime() != time_not_given)
        return m_time.movetime() >= long_movetime_ms ? build_t::in_slices : build_t::none;
    return m_time.clock_running() ? build_t::on_clock : build_t::none;
}

void Analysis::build_slice() {
    const std::uint64_t start = m_time.elapsed_ms();
    if (!m_building || start < m_next_slice_ms) return;
    while (!m_building->complete() && !stop_requested() && m_time.elapsed_ms() < start + build_slice_ms) {
        const int before = m_building->progress();
        m_building->create();
        if (m_building->progress() < 0 && before < 0) break; // no memory: the build cannot start
    }
    // Complete, the tree reads it at once and the next iteration's root plays from it.
    if (m_building->complete() || m_building->progress() < 0) m_building = nullptr;
    m_next_slice_ms = m_time.elapsed_ms() + build_slice_ms; // the search gets as long again
}

bool Analysis::table_score(int &score) const {
    if (m_pos.all_pieces().popcount() > 4) return false;
    const Egt4Pieces *table = m_kqkr.complete() ? &m_kqkr : m_kbnk.complete() ? &m_kbnk : nullptr;
    if (!table) return false;
    const EgtProbe p = table->probe(m_pos);
    switch (p.result) {
    case egt_result_t::win:
        score = mate - m_ply - p.plies;
        return true;
    case egt_result_t::loss:
        score = -(mate - m_ply - p.plies);
        return true;
    case egt_result_t::draw:
        score = 0;
        return true;
    default:
        return false;
    }
}

bool Analysis::root_from_table(Egt4Pieces &table, int depth) {
    if (!table.complete() || table.probe(m_pos).result == egt_result_t::unknown) return false;
    MoveList list(m_moves[0]);
    m_gen.generate_moves(m_pos, list);
    select_searchmoves(list);
    if (list.size() == 0) return false;
    // Score each move by the table: quickest win, else a draw, else the longest defence.
    auto value = [&table, this](const Move &m) {
        make_move(m);
        const EgtProbe child = table.probe(m_pos);
        unmake_move();
        if (child.result == egt_result_t::loss) return mate - 1 - child.plies;
        if (child.result == egt_result_t::win) return -(mate - 1 - child.plies);
        return 0;
    };
    // The first move of a non-empty list with the best table value, and that value.
    auto best_of = [&value](const MoveList &moves, int &best_score) {
        Move best = moves[0];
        best_score = -infinity;
        for (const Move &m : moves) {
            const int v = value(m);
            if (v > best_score) best_score = v, best = m;
        }
        return best;
    };
    int best_score;
    const Move best = best_of(list, best_score);
    // The line follows the table for a few moves.
    PrincipalVariation line;
    line.push_back(best);
    make_move(best);
    for (int i = 0; i < 8; ++i) {
        MoveList replies(m_moves[m_ply]);
        m_gen.generate_moves(m_pos, replies);
        if (replies.size() == 0) break;
        int next_score;
        const Move next = best_of(replies, next_score);
        line.push_back(next);
        make_move(next);
    }
    while (m_ply > 0)
        unmake_move();
    line.set_depth(depth);
    line.set_score(best_score);
    m_root_pv = line;
    m_best_move = best;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_mpv.clear();
        m_mpv.add(line);
    }
    return true;
}

int Analysis::root_search(int depth, int alpha, int beta) {
    m_root_resolved = false;
    if (Egt4Pieces *table = endgame_table())
        if (root_from_table(*table, depth)) {
            m_root_resolved = true;
            m_exact_pv = m_root_pv;
            return m_root_pv.score();
        }
    PrincipalVariation line;
    const int score = pv_search(depth, alpha, beta, line);
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
        std::lock_guard<std::mutex> lock(m_mutex);
        m_mpv.clear();
        m_mpv.add(m_exact_pv);
    }
    if (m_multipv <= 1 || m_root_pv.size() == 0) return score;

    // Further lines: the best remaining move each time, searched with an open window.
    const PrincipalVariation first = m_root_pv;
    const Move first_best = m_best_move;
    const int first_eval = m_eval_score;
    MoveList list(m_moves[0]);
    m_gen.generate_moves(m_pos, list);
    select_searchmoves(list);
    auto remove_from_list = [&list](const Move &m) {
        int n = 0;
        for (int i = 0; i < list.size(); ++i)
            if (!(list[i] == m)) list[n++] = list[i];
        list.set_size(n);
    };
    remove_from_list(first[0]);
    for (unsigned k = 2; k <= m_multipv && list.size() > 0; ++k) {
        int best = -infinity;
        PrincipalVariation line_k;
        Move best_move;
        for (int i = 0; i < list.size(); ++i) {
            const Move m = list[i];
            PrincipalVariation child;
            make_move(m);
            const int v = -pv_search(depth - 1, best, infinity, child);
            unmake_move();
            if (stop_requested()) break;
            if (v > best || best_move.word() == 0) {
                best = v;
                best_move = m;
                line_k = m + child;
            }
        }
        if (stop_requested() || best_move.word() == 0) break;
        line_k.set_depth(depth);
        line_k.set_score(best);
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_mpv.add(line_k);
        }
        remove_from_list(best_move);
    }
    m_root_pv = first;
    m_best_move = first_best;
    m_eval_score = first_eval;
    return score;
}
