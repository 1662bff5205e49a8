#include "search/analysis.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <ctime>
#include <stdexcept>

namespace {
constexpr int infinity = 32000;
constexpr int mate = 30000;
constexpr int mate_bound = 29897;

void sleep_ns(long ns) {
    timespec wait{0, ns}, rest{0, 0};
    while (nanosleep(&wait, &rest) == -1 && errno == EINTR)
        wait = rest;
}

int promotion_bonus(move_t code) {
    switch (code) {
    case promo_queen:
        return 800;
    case promo_rook:
        return 400;
    case promo_bishop:
    case promo_knight:
        return 200;
    default:
        return 0;
    }
}

bool is_quiet(const Move &m) { return m.capture_id() == 0 && m.code() == normal_move; }
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
    if (m_status.load() == 1) return;
    m_pos = position;
    m_action = 0;
    m_status = 0;
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
        if (m_action.load() == 1) {
            m_action = 0;
            m_status = 1;
            iterative_search();
            m_status = 2;
        } else if (m_action.load() == 2) {
            m_action = 0;
            m_status = 2;
        }
        if (m_quit.load()) return;
        sleep_ns(5000000);
    }
}

void Analysis::make_move(const Move &m) {
    m_pos.make_move(m);
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
    // Beyond the specified checks: a timed search always ends at its hard limit, however short.
    return m_hard_limit != time_not_given && !m_time.infinite() && !m_time.pondering() &&
           m_time.elapsed_ms() >= m_hard_limit;
}

void Analysis::new_node() {
    const std::uint64_t n = m_nodes.load(std::memory_order_relaxed);
    if (m_max_nodes != no_node_limit) {
        if (m_max_nodes <= n) {
            m_action = 2;
            return;
        }
    } else if ((n & 16383) == 0) {
        if ((m_ply > 2 && m_time.time_to_move()) || out_of_time()) {
            m_action = 2;
            return;
        }
    }
    m_nodes.fetch_add(1, std::memory_order_relaxed);
}

void Analysis::put_in_tt(bound_t bound, int draft, int score, const Move &move) {
    if (!m_tt.enabled()) return;
    TTrecord r;
    r.set_key(m_pos.key());
    r.set_bound(bound);
    r.set_draft(draft < 0 ? 0 : draft);
    r.set_score(score, m_ply);
    r.set_move(TTmove(move));
    r.set_date(m_date);
    m_tt.write(r);
}

Move Analysis::probe_move(int &score, int &draft, bound_t &bound, bool &hit) {
    hit = false;
    TTrecord r;
    r.set_key(m_pos.key());
    if (!m_tt.read(r)) return Move();
    hit = true;
    score = r.get_score(m_ply);
    draft = r.get_draft();
    bound = r.get_bound();
    const TTmove tm = r.get_move();
    return is_legal(tm) ? tm(m_pos) : Move();
}

bool Analysis::is_legal(const TTmove &m) const {
    if (m.nomove() || m.from() == m.to()) return false;
    const Piece p = m_pos.get_piece_from(m.from());
    if (!p || (p.white_piece() != m_pos.white_to_move())) return false;
    const Piece target = m_pos.get_piece_from(m.to());
    return !(target.king() && target.white_piece() != p.white_piece());
}

void Analysis::select_searchmoves(MoveList &list) const {
    if (m_searchmoves.empty()) return;
    int n = 0;
    for (int i = 0; i < list.size(); ++i)
        for (const Move &m : m_searchmoves)
            if (m == list[i]) {
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
    m_hard_limit = m_time.deadline_ms();
    m_seldepth = 0;
    m_nodes = 0;
    m_iteration_nodes = 0;
    m_eval_score = 0;
    m_best_move.clear();
    m_pondermove.clear();
    m_root_pv.clear();
    m_history.divide_by_8();
    m_counter.divide_by_8();
    m_killer.clear();
    ++m_date;
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
    int stable = 0; // iterations in a row with the same best move
    for (;;) {
        const int iteration = m_iteration;
        if (m_depth_cap1 <= iteration || m_depth_cap2 <= iteration) break;
        if (iteration > 0 && std::abs(m_eval_score) >= mate - iteration) break;
        if (m_limitstrength && m_elo_depth < iteration) break;
        // A soft limit: past 60 per cent of the planned time a new iteration would rarely finish.
        if (iteration > 0 && m_hard_limit != time_not_given && !m_time.infinite() && !m_time.pondering()) {
            const int used = m_time.percentage();
            if (used >= 60 && stable >= 2) break;
            if (out_of_time()) break;
        }
        m_iteration = iteration + 1;
        if (m_limitstrength) m_tt.clear();
        m_ply = 0;
        const Move previous_best = m_best_move;
        const int score = root_search(m_iteration, w.alpha, w.beta);
        const bool stopped = m_action.load() == 2;
        if (m_root_pv.size() > 0) {
            m_best_move = m_root_pv[0];
            m_pondermove = m_root_pv.size() > 1 ? m_root_pv[1] : Move();
        }
        if (!stopped || m_root_changed) m_eval_score = score;
        stable = m_best_move == previous_best ? stable + 1 : 0;
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
        while (m_action.load() != 2 && !m_time.time_to_move() && !out_of_time())
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
    if (table->progress() < 101) {
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
        const int reserve = table == &m_kbnk ? 2001 : 4001;
        // Steps while the clock allows, and not past a "stop".
        while (table->progress() < 101 && m_action.load() != 2 && m_time.remaining_time() >= reserve) {
            const int before = table->progress();
            table->create();
            if (table->progress() < 0 && before < 0) break; // no memory: the build cannot start
        }
    }
    return table;
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
    m_root_changed = true;
    m_best_move = best;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_mpv.clear();
        m_mpv.add(line);
    }
    return true;
}

int Analysis::root_search(int depth, int alpha, int beta) {
    m_root_changed = false;
    if (Egt4Pieces *table = endgame_table())
        if (root_from_table(*table, depth)) return m_root_pv.score();
    PrincipalVariation line;
    const int score = pv_search(depth, alpha, beta, line);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_mpv.clear();
        PrincipalVariation best = m_root_pv;
        best.set_depth(depth);
        best.set_score(m_root_changed || m_action.load() != 2 ? score : m_eval_score);
        m_mpv.add(best);
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
            if (m_action.load() == 2) break;
            if (v > best || best_move.word() == 0) {
                best = v;
                best_move = m;
                line_k = m + child;
            }
        }
        if (m_action.load() == 2 || best_move.word() == 0) break;
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

// ---------------------------------------------------------------------------------------------------------
// Node searches

int Analysis::leaf(int alpha, int beta) {
    ++m_iteration_nodes;
    int score = quiescence(alpha, beta, 0);
    const int dfz = m_pos.get_dfz();
    if (dfz >= 51) score = static_cast<int>(score * (1.0 - (dfz - 50) * 0.02));
    return score;
}

bool Analysis::enter_node(int &alpha, int &beta, int &result) {
    new_node();
    // Mate-distance pruning: no line from here can beat a mate already found nearer the root.
    if (beta > mate - m_ply) {
        beta = mate - m_ply;
        if (beta <= alpha) return result = beta, true;
    }
    if (alpha < m_ply - mate) {
        alpha = m_ply - mate;
        if (beta <= alpha) return result = alpha, true;
    }
    if (m_ply > m_seldepth.load(std::memory_order_relaxed)) m_seldepth = m_ply;
    if (m_action.load() == 2) return result = alpha, true;
    return false;
}

int Analysis::pv_search(const int &depth_in, int alpha, int beta, PrincipalVariation &pv) {
    pv.clear();
    int early = 0;
    if (enter_node(alpha, beta, early)) return early;
    if (m_ply > 0) {
        if (m_pos.draw_by_threefold_repetition()) return 0;
        if (m_pos.get_dfz() > 100) return 0;
    }
    int depth = depth_in;
    if (depth < 1 || m_ply > 101 || m_ply >= max_ply - 8) return leaf(alpha, beta);

    MoveGenerator::MoveTable &table = m_tables_by_ply[m_ply];
    m_gen.create_movetable(m_pos, table);
    const bool in_check = m_pos.check();
    if (!in_check && m_ply > 0) {
        const int s = m_eval.static_eval();
        if (s < -(mate_bound + 1) || s > mate_bound + 1) return s;
    }
    int tt_score = 0, tt_draft = 0;
    bound_t tt_bound = upperbound;
    bool hit = false;
    const Move hashmove = probe_move(tt_score, tt_draft, tt_bound, hit);

    MoveList list(m_moves[m_ply]);
    m_gen.serialize_moves(m_pos, table, list);
    if (m_ply == 0) {
        select_searchmoves(list);
        if (m_iteration == 1 && list.size() > 0) m_best_move = list[0];
    }
    if (list.size() == 0) return in_check ? m_ply - mate : 0;
    Move hm;
    for (const Move &m : list)
        if (m == hashmove) hm = m;
    localsort(list, depth, true, hm);

    const int alpha0 = alpha;
    Move best;
    PrincipalVariation child;
    for (int i = 0; i < list.size(); ++i) {
        const Move m = list[i];
        const int e = extend(list, m);
        int r = 0;
        if (!(e != 0 || in_check || m.xcode() == good_capture || m.xcode() == killer || m.check()))
            r = m_lmr.pv_value(depth, i);
        make_move(m);
        int v;
        if (i == 0) {
            v = -pv_search(depth - 1 + e, -beta, -alpha, child);
        } else {
            v = -nullwindow_search(depth - 1 - r + e, -alpha - 1, -alpha);
            if (v > alpha && r > 0) v = -nullwindow_search(depth - 1 + e, -alpha - 1, -alpha);
            if (v > alpha) v = -pv_search(depth - 1 + e, -beta, -alpha, child);
        }
        unmake_move();
        if (m_action.load() == 2) return alpha;
        if (v >= beta) {
            put_in_tt(lowerbound, depth, beta, m);
            if (m_ply == 0) {
                m_root_pv = m + child;
                m_root_changed = true;
            }
            return beta;
        }
        if (v > alpha) {
            alpha = v;
            best = m;
            pv = m + child;
            if (m_ply == 0) {
                m_root_pv = pv;
                m_root_changed = true;
                m_best_move = m;
                if (out_of_time()) m_action = 2; // the hard limit ends even an unstable search
            }
        }
        if (i == 0 && alpha == alpha0 && depth > 3) iidsort(list, depth, alpha, beta);
    }
    put_in_tt(alpha > alpha0 ? exact_value : upperbound, depth, alpha, best.word() ? best : hm);
    return alpha;
}

int Analysis::nullwindow_search(int depth, int alpha, int beta) {
    int early = 0;
    if (enter_node(alpha, beta, early)) return early;
    if (m_pos.draw_by_threefold_repetition()) return 0;
    if (depth < 1 || m_ply > 101 || m_ply >= max_ply - 8) return leaf(alpha, beta);

    MoveGenerator::MoveTable &table = m_tables_by_ply[m_ply];
    m_gen.create_movetable(m_pos, table);
    const bool in_check = m_pos.check();
    int s = -infinity;
    if (!in_check) {
        s = m_eval.static_eval();
        if (s < -(mate_bound + 1) || s > mate_bound + 1) return s;
    }
    if (beta <= s && nullmove_allowed()) {
        int v = nullmove_search(depth, alpha, beta);
        if (v >= beta) return beta;
        v = nullmove_search(depth, alpha - 200, beta - 200);
        if (v < alpha - 200) ++depth; // a threat: look deeper
    }
    if (beta + 200 <= s && depth > 4 && !in_check && m_mate_attacks == 0) {
        const int v = nullwindow_search(depth - 4, beta + 199, beta + 200);
        if (v >= beta + 200) return beta;
        m_gen.create_movetable(m_pos, table); // the verification used this ply's table too
    }
    if (m_action.load() == 2) return alpha;

    int tt_score = 0, tt_draft = 0;
    bound_t tt_bound = upperbound;
    bool hit = false;
    const Move probed = probe_move(tt_score, tt_draft, tt_bound, hit);
    if (hit && tt_draft >= depth) {
        if (tt_bound == exact_value) return tt_score;
        if (tt_bound == upperbound && tt_score <= alpha) return alpha;
        if (tt_bound == lowerbound && tt_score >= beta) return beta;
    }

    // The table is shared without locks: its move is used only when the generator produces it too.
    MoveList list(m_moves[m_ply]);
    m_gen.serialize_moves(m_pos, table, list);
    Move hashmove;
    for (const Move &m : list)
        if (m == probed) hashmove = m;
    if (hashmove.word()) {
        const int e = extend(MoveList(nullptr), hashmove); // an empty list: not the "only move" case
        make_move(hashmove);
        const int v = -nullwindow_search(depth - 1 + e, -beta, -alpha);
        unmake_move();
        if (m_action.load() == 2) return alpha;
        if (v >= beta) {
            put_in_tt(lowerbound, depth, beta, hashmove);
            return beta;
        }
    }
    if (list.size() == 0) return in_check ? m_ply - mate : 0;

    localsort(list, depth, false, Move());
    int searched = 0;
    for (int i = 0; i < list.size(); ++i) {
        const Move m = list[i];
        if (hashmove.word() && m == hashmove) continue;
        if (!in_check && is_quiet(m) && !m.check()) {
            if (m_ply >= 5 && ((depth <= 2 && i >= 7) || ((depth == 3 || depth == 4) && i >= 11))) continue;
            if ((depth == 1 && s < alpha - 99) || (depth == 2 && s < alpha - 499) ||
                (depth == 3 && s < alpha - 899))
                continue;
        }
        const int e = extend(list, m);
        int r = 0;
        if (!(e != 0 || in_check || m.xcode() == good_capture || m.xcode() == killer || m.check()))
            r = m_lmr.value(depth, i);
        make_move(m);
        int v = -nullwindow_search(depth - 1 - r + e, -beta, -alpha);
        if (r != 0 && v >= beta) v = -nullwindow_search(depth - 1, -beta, -alpha);
        unmake_move();
        if (m_action.load() == 2) return alpha;
        if (v > alpha) {
            if (m.capture_id() == 0) learn(list, searched, m, depth);
            put_in_tt(lowerbound, depth, beta, m);
            return beta;
        }
        list[searched++] = m; // keep the moves tried so far in front for the learning step
    }
    put_in_tt(upperbound, depth, alpha, hashmove);
    return alpha;
}

void Analysis::learn(const MoveList &list, int searched, const Move &cut, int depth) {
    const std::int64_t amount = std::int64_t(1) << (depth < 0 ? 0 : depth > 40 ? 40 : depth);
    const Move previous = m_pos.last_move();
    const Move own_previous = m_pos.move_before_last();
    for (const Move &earlier : {previous, own_previous}) {
        if (earlier.word() == 0) continue;
        m_counter.increment(earlier, cut, amount);
        for (int i = 0; i < searched; ++i)
            m_counter.decrement(earlier, list[i], amount);
    }
    m_history.increment(cut, amount);
    for (int i = 0; i < searched; ++i)
        m_history.decrement(list[i], amount);
    m_killer.set_killer(m_ply, cut);
}

bool Analysis::nullmove_allowed() const {
    if (m_ply < 1 || m_pos.check()) return false;
    if (m_pos.last_move().code() == nullmove) return false;
    const int c = m_pos.white_to_move() ? 0 : 8;
    return static_cast<bool>(m_pos.pieces(wbishop + c) | m_pos.pieces(wrook + c) | m_pos.pieces(wqueen + c));
}

int Analysis::nullmove_search(int depth, int alpha, int beta) {
    make_move(Move());
    int reduced = depth - (depth / 5 + 3) - 1;
    if (reduced < 0) reduced = 0;
    const int v = -nullwindow_search(reduced, -beta, -alpha);
    unmake_move();
    return v;
}

int Analysis::quiescence(int alpha, int beta, int qdepth) {
    if (qdepth < 0) new_node();
    if (m_ply > m_seldepth.load()) m_seldepth = m_ply;
    const bool in_check = m_pos.check();
    int s;
    if (in_check) {
        s = m_ply - mate;
    } else {
        s = m_eval.static_eval();
        if (s > mate_bound)
            s -= m_ply;
        else if (s < -mate_bound)
            s += m_ply;
    }
    if (s >= beta) return beta;
    if (s > alpha) alpha = s;
    if (m_action.load() == 2 || m_ply >= max_ply - 2) return alpha;

    MoveGenerator::MoveTable &table = m_tables_by_ply[m_ply];
    m_gen.create_movetable(m_pos, table);
    MoveList list(m_moves[m_ply]);
    if (in_check) {
        m_gen.serialize_moves(m_pos, table, list);
        if (list.size() == 0) return m_ply - mate;
    } else {
        m_gen.serialize_captures(m_pos, table, list);
        if (list.size() == 0) return alpha;
    }
    for (int i = 0; i < list.size(); ++i) {
        const Move m = list[i];
        if (qdepth < -8 && !in_check && see(m) <= 0) continue;
        make_move(m);
        const int child = quiescence(-beta, -alpha, qdepth - 1);
        int v = -child;
        if (child < -mate_bound)
            v = -child - m_ply;
        else if (child > mate_bound)
            v = m_ply - child;
        unmake_move();
        if (v >= beta) return beta;
        if (v > alpha) alpha = v;
    }
    return alpha;
}

// ---------------------------------------------------------------------------------------------------------
// Exchanges, extensions and ordering

int Analysis::see(const Move &m) {
    const int gain = Piece(m.capture_id()).abs_value() + promotion_bonus(m.code());
    m_pos.force_move(m);
    const int result = gain - see(m.to());
    m_pos.undo_forced_move(m);
    return result;
}

int Analysis::see(const Square &s) {
    Square from;
    if (m_pos.stm() == 1)
        from = m_pos.white_weakest_attacker(s);
    else if (m_pos.stm() == 0)
        from = m_pos.black_weakest_attacker(s);
    else
        throw std::logic_error("Analysis::see   side to move is corrupt");
    if (from.id() == 64) return 0;
    const Piece victim = m_pos.get_piece_from(s);
    if (victim.king()) return infinity;
    const Piece mover = m_pos.get_piece_from(from);
    const bool promotes = mover.pawn() && (s.rank_number() == 7 || s.rank_number() == 0);
    const Move capture = m_pos.convert_to_move(from, s, promotes ? promo_queen : normal_move);
    const int gain = victim.abs_value() + promotion_bonus(capture.code());
    m_pos.force_move(capture);
    const int v = gain - see(s);
    m_pos.undo_forced_move(capture);
    return v > 0 ? v : 0;
}

int Analysis::extend(const MoveList &list, const Move &m) {
    if (m_ply > m_iteration + 8) return 0;
    bool candidate = m.check() && see(m) >= 0;
    if (list.size() == 1) candidate = true;
    const int to = m.to_id();
    if (m.piece_id() == wpawn && to >= 56) candidate = true;
    if (m.piece_id() == bpawn && to >= 16 && to <= 23) candidate = true;
    if (m.xcode() == mate_attack) candidate = true;
    const Move previous = m_pos.last_move();
    const bool recapture = m.capture_id() != 0 && previous.capture_id() != 0 && previous.to_id() == to;
    const BitBoard &own_set =
        m_pos.white_to_move() ? m_eval.white_passed_pawns() : m_eval.black_passed_pawns();
    if (candidate) {
        if (m.capture_id() == 0 || previous.capture_id() == 0) return 1;
        return recapture && (own_set & Square::bb[to]) ? 2 : 1;
    }
    if (recapture && (own_set & Square::bb[to])) return 1;
    if (m_pos.nobelmen() <= 1000 && Piece(m.piece_id()).pawn())
        return ((m_eval.white_passed_pawns() | m_eval.black_passed_pawns()) & Square::bb[m.from_id()]) ? 1
                                                                                                       : 0;
    return 0;
}

void Analysis::localsort(MoveList &list, int depth, bool pv, const Move &hashmove) {
    if (list.size() < 2) return;
    const Move previous = m_pos.last_move();
    const Move own_previous = m_pos.move_before_last();
    // Candidates among quiet moves: the best two counter moves, the best two follow-ups, the best three by
    // history, each strictly better than the one it displaces.
    Move counter[2], follow[2], hist[3];
    std::int64_t counter_v[2] = {0, 0}, follow_v[2] = {0, 0}, hist_v[3] = {0, 0, 0};
    auto offer = [](Move *slots, std::int64_t *values, int n, const Move &m, std::int64_t v) {
        if (v <= 0) return;
        for (int k = 0; k < n; ++k)
            if (v > values[k]) {
                for (int j = n - 1; j > k; --j) {
                    slots[j] = slots[j - 1];
                    values[j] = values[j - 1];
                }
                slots[k] = m;
                values[k] = v;
                return;
            }
    };
    for (const Move &m : list) {
        if (m.capture_id() != 0) continue;
        if (previous.word()) offer(counter, counter_v, 2, m, m_counter.value(previous, m));
        if (own_previous.word()) offer(follow, follow_v, 2, m, m_counter.value(own_previous, m));
        offer(hist, hist_v, 3, m, m_history.value(m));
    }
    const Move killer_a = m_killer.get_killerA(m_ply), killer_b = m_killer.get_killerB(m_ply);
    const int c = m_pos.white_to_move() ? 0 : 8;
    const std::uint64_t enemy_pawns = m_pos.pieces(bpawn - c).value();
    const std::uint64_t pawn_attacked =
        m_pos.white_to_move()
            ? ((enemy_pawns >> 7) & not_h_file.value()) | ((enemy_pawns >> 9) & not_a_file.value())
            : ((enemy_pawns << 7) & not_a_file.value()) | ((enemy_pawns << 9) & not_h_file.value());
    for (Move &m : list) {
        xmove_t x;
        if (hashmove.word() && m == hashmove) {
            x = hashtable_move;
        } else if (m.capture_id() != 0) {
            x = Piece(m.piece_id()).abs_value() <= Piece(m.capture_id()).abs_value() || see(m) >= 0
                    ? good_capture
                    : losing_capture;
        } else if (m.code() == promo_queen && see(m) >= 0) {
            x = promotion;
        } else if (m == killer_a || m == killer_b) {
            x = killer;
        } else if ((counter[0].word() && m == counter[0]) || (counter[1].word() && m == counter[1]) ||
                   (follow[0].word() && m == follow[0]) || (follow[1].word() && m == follow[1])) {
            x = counter_move;
        } else if (hist[0].word() && m == hist[0]) {
            x = historical_move1;
        } else if (hist[1].word() && m == hist[1]) {
            x = historical_move2;
        } else if (hist[2].word() && m == hist[2]) {
            x = historical_move3;
        } else if (!Piece(m.piece_id()).pawn() && (pawn_attacked >> m.to_id() & 1)) {
            x = bad_move;
        } else {
            x = xnormal_move;
        }
        m.xcode(x);
    }
    if ((pv || m_ply <= 2) && depth > 4) {
        // Mate threats: after the move, a pass by the opponent would be mated.
        for (Move &m : list) {
            if (m.xcode() == hashtable_move || m.check()) continue;
            make_move(m);
            const int v = nullmove_search(depth, -29898, -29897);
            unmake_move();
            if (v < -mate_bound) m.xcode(mate_attack);
            if (m_action.load() == 2) break;
        }
    }
    sort_by_class(list);
}

void sort_by_class(MoveList &list) {
    // Exchange sort: every later move of a strictly smaller class is swapped into the slot (not stable).
    for (int i = 0; i < list.size(); ++i)
        for (int j = i + 1; j < list.size(); ++j)
            if (list[j].xcode() < list[i].xcode()) std::swap(list[i], list[j]);
}

void Analysis::iidsort(MoveList &list, int depth, int alpha, int beta) {
    if (depth < 4) return;
    PrincipalVariation scratch;
    for (int i = 1; i < list.size(); ++i) {
        make_move(list[i]);
        const int v = -pv_search(depth / 2 - 2, -beta, -alpha, scratch);
        unmake_move();
        if (m_action.load() == 2) return;
        if (v > alpha) {
            const Move m = list[i];
            for (int j = i; j > 1; --j)
                list[j] = list[j - 1];
            list[1] = m;
            return;
        }
    }
}
