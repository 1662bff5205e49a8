// Tree search: PV and null-window searches, null move, quiescence, static exchange and extensions.
#include "search/analysis.h"

#include <stdexcept>

#include "search/pruning.h"
#include "search/search_constants.h"

namespace {
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
    m_tt.prefetch(m_pos.key()); // probed after the move generation and the evaluation
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
    if (m_ply > m_seldepth.load(std::memory_order_relaxed))
        m_seldepth.store(m_ply, std::memory_order_relaxed);
    if (stop_requested()) return result = alpha, true;
    return false;
}

int Analysis::pv_search(const int &depth_in, int alpha, int beta, PrincipalVariation &pv) {
    pv.clear();
    int early = 0;
    if (enter_node(alpha, beta, early)) return early;
    if (m_ply > 0) {
        if (m_pos.draw_by_threefold_repetition()) return 0;
        if (m_pos.get_dfz() > 100) return 0;
        int exact = 0;
        if (table_score(exact)) return exact; // a complete endgame table knows this node
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
        if (m_iteration.load(std::memory_order_relaxed) == 1 && list.size() > 0) m_best_move = list[0];
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
        if (stop_requested()) return alpha;
        if (v >= beta) {
            put_in_tt(lowerbound, depth, beta, m);
            if (m_ply == 0) m_root_pv = m + child;
            return beta;
        }
        if (v > alpha) {
            alpha = v;
            best = m;
            pv = m + child;
            if (m_ply == 0) {
                m_root_resolved = true;
                m_root_pv = pv;
                m_best_move = m;
                if (out_of_time()) m_action = action_t::stop; // the hard limit ends even an unstable search
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
    int exact = 0;
    if (table_score(exact)) return exact; // a complete endgame table knows this node
    if (depth < 1 || m_ply > 101 || m_ply >= max_ply - 8) return leaf(alpha, beta);

    MoveGenerator::MoveTable &table = m_tables_by_ply[m_ply];
    m_gen.create_movetable(m_pos, table);
    const bool in_check = m_pos.check();
    int s = -infinity;
    if (!in_check) {
        s = m_eval.static_eval();
        if (s < -(mate_bound + 1) || s > mate_bound + 1) return s;
    }
    // The table's bound, before any pruning search is spent on this node.
    int tt_score = 0, tt_draft = 0;
    bound_t tt_bound = upperbound;
    bool hit = false;
    const Move probed = probe_move(tt_score, tt_draft, tt_bound, hit);
    if (hit && tt_draft >= depth) {
        if (tt_bound == exact_value) return tt_score;
        if (tt_bound == upperbound && tt_score <= alpha) return alpha;
        if (tt_bound == lowerbound && tt_score >= beta) return beta;
    }
    // Reverse futility: a static score far above beta with little depth left.
    if (!in_check && m_mate_attacks == 0 && beta < mate_bound && beta > -mate_bound &&
        reverse_futile(depth, s, beta))
        return beta;
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
    if (stop_requested()) return alpha;

    // The table is shared without locks: its move is used only when the generator produces it too.
    MoveList list(m_moves[m_ply]);
    m_gen.serialize_moves(m_pos, table, list);
    if (list.size() == 0) return in_check ? m_ply - mate : 0;
    Move hashmove;
    for (const Move &m : list)
        if (m == probed) hashmove = m;
    if (hashmove.word()) {
        // Searched before the others are ordered: a cut here saves the sort.
        const int e = extend(list, hashmove);
        make_move(hashmove);
        const int v = -nullwindow_search(depth - 1 + e, -beta, -alpha);
        unmake_move();
        if (stop_requested()) return alpha;
        if (v >= beta) {
            put_in_tt(lowerbound, depth, beta, hashmove);
            return beta;
        }
    }

    localsort(list, depth, false, Move());
    int searched = 0;
    bool hash_passed = false;
    for (int i = 0; i < list.size(); ++i) {
        const Move m = list[i];
        if (hashmove.word() && m == hashmove) {
            hash_passed = true;
            list[searched++] = m; // tried already: it shares the blame if a later move cuts
            continue;
        }
        // The hash move, searched before the loop, takes no place in the count that pruning reads.
        const int index = hash_passed ? i - 1 : i;
        if (!in_check && is_quiet(m) && !m.check()) {
            if (late_move_pruned(m_ply, depth, index)) continue;
            if (futile(depth, s, alpha)) continue;
        }
        const int e = extend(list, m);
        int r = 0;
        if (!(e != 0 || in_check || m.xcode() == good_capture || m.xcode() == killer || m.check()))
            r = m_lmr.value(depth, index);
        make_move(m);
        int v = -nullwindow_search(depth - 1 - r + e, -beta, -alpha);
        if (r != 0 && v >= beta) v = -nullwindow_search(depth - 1, -beta, -alpha);
        unmake_move();
        if (stop_requested()) return alpha;
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
    if (m_ply > m_seldepth.load(std::memory_order_relaxed))
        m_seldepth.store(m_ply, std::memory_order_relaxed);
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
    if (stop_requested() || m_ply >= max_ply - 2) return alpha;

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
        // Captures that lose material are not searched; deep in the quiescence, even exchanges neither.
        if (!in_check && (qdepth < -8 ? see(m) <= 0 : see(m) < 0)) continue;
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
// Exchanges and extensions

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
    if (m_ply > m_iteration.load(std::memory_order_relaxed) + 8) return 0;
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
