// Tree search: node bookkeeping, PV and null-window searches, null move, quiescence, the ordering's search
// (internal deepening) and extensions.
#include "search/analysis.h"

#include "search/pruning.h"
#include "search/search_constants.h"

namespace {
bool is_quiet(const Move &m) { return m.capture_id() == 0 && m.code() == normal_move; }
} // namespace

void Analysis::put_in_tt(bound_t bound, int draft, int score, const Move &move) {
    if (!m_tt.enabled() || (m_ply == 0 && m_excluded_count > 0)) return;
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
    if (!m_tt.read(r) || (m_limitstrength && r.get_date() != m_date)) return Move();
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
// Node bookkeeping

void Analysis::make_move(const Move &m) {
    m_pos.make_move(m);
    m_eval.prefetch(); // nearly every node evaluates its position first
    m_eval.make_move(m);
    ++m_ply;
}

void Analysis::unmake_move() {
    const Move m = m_pos.last_move();
    --m_ply;
    m_eval.unmake_move(m);
    m_pos.unmake_move();
}

bool Analysis::out_of_time() { return m_time.must_stop(m_iteration.load(std::memory_order_relaxed)); }

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
        if (m_egt.building()) m_egt.build_slice(m_clock);
    }
    // This thread is the counter's only writer: a plain store, not a read-modify-write (a retry loop on
    // the 32-bit target).
    m_nodes.store(n + 1, std::memory_order_relaxed);
}

// The capture search's score, tapered towards the draw as the fifty-move counter runs. The taper has no
// lower clamp: past 100 plies its factor turns negative. Only PV nodes test the rule itself (and return 0
// before a leaf is reached); a null-window node meets the rule only here, as the search was tuned.
int Analysis::leaf(int alpha, int beta) {
    ++m_iteration_nodes;
    int score = quiescence(alpha, beta, 0);
    const int dfz = m_pos.get_dfz();
    if (dfz >= fifty_move_taper_from)
        score =
            static_cast<int>(score * (1.0 - (dfz - (fifty_move_taper_from - 1)) * fifty_move_taper_per_ply));
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

bool Analysis::table_score(int &score) const {
    const EgtProbe p = m_egt.probe(m_pos);
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

// ---------------------------------------------------------------------------------------------------------
// Node searches

int Analysis::pv_search(const int &depth_in, int alpha, int beta, PrincipalVariation &pv) {
    pv.clear();
    // 1. Count the node; mate-distance bounds; a stop returns at once.
    int early = 0;
    if (enter_node(alpha, beta, early)) return early;
    // 2. Below the root: draws by repetition and by the fifty-move rule, then a complete endgame table.
    //    The root never asks: a game position that repeats an earlier one still needs a move.
    if (m_ply > 0) {
        if (m_pos.draw_by_threefold_repetition()) return 0;
        if (m_pos.get_dfz() > 100) return 0;
        int exact = 0;
        if (table_score(exact)) return exact;
    }
    // 3. No depth left, or too far from the root: the capture search decides.
    int depth = depth_in;
    if (depth < 1 || m_ply > max_search_ply || m_ply >= max_ply - 8) return leaf(alpha, beta);

    // 4. A static mate score (a special ending's evaluator knows the result) is returned below the root.
    MoveGenerator::MoveTable &table = m_tables_by_ply[m_ply];
    m_gen.create_movetable(m_pos, table);
    const bool in_check = m_pos.check();
    m_static[m_ply] = in_check ? no_static : m_eval.static_eval();
    if (!in_check && m_ply > 0) {
        const int s = m_static[m_ply];
        if (s < -(mate_bound + 1) || s > mate_bound + 1) return s;
    }
    // 5. The table's move only: a PV node takes no cut from the table, so its line stays whole.
    int tt_score = 0, tt_draft = 0;
    bound_t tt_bound = upperbound;
    bool hit = false;
    const Move hashmove = probe_move(tt_score, tt_draft, tt_bound, hit);

    // 6. The moves (restricted by "searchmoves" at the root), mate or stalemate when there are none, and
    //    their order; the first iteration's first move is a move to play if the search stops at once.
    MoveList list(m_moves[m_ply]);
    m_gen.serialize_moves(m_pos, table, list);
    if (m_ply == 0) {
        select_searchmoves(list);
        if (m_excluded_count > 0)
            leave_out_lines_above(list);
        else if (m_iteration.load(std::memory_order_relaxed) == 1 && list.size() > 0)
            m_best_move = list[0];
    }
    if (list.size() == 0) return in_check ? m_ply - mate : 0;
    Move hm;
    for (const Move &m : list)
        if (m == hashmove) hm = m;
    localsort(list, hm);

    // 7. The first move with the full window; the others with a null window, reduced where allowed, then
    //    again unreduced and finally with the full window as long as they beat alpha.
    const int alpha0 = alpha;
    Move best;
    int best_index = 0;
    PrincipalVariation child;
    for (int i = 0; i < list.size(); ++i) {
        const Move m = list[i];
        const int e = extend(list, m);
        const int r = may_reduce(e, in_check, m) ? m_lmr.pv_value(depth, i) : 0;
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
            m_order.learn(m_pos, m_ply, list, i, m, depth);
            put_in_tt(lowerbound, depth, beta, m);
            if (m_ply == 0) m_root_pv = m + child;
            return beta;
        }
        if (v > alpha) {
            alpha = v;
            best = m;
            best_index = i;
            pv = m + child;
            if (m_ply == 0) {
                m_root_resolved = true;
                m_root_pv = pv;
                m_best_move = m;
                if (out_of_time()) m_action = action_t::stop; // the hard limit ends even an unstable search
            }
        }
        // 8. The first move failed to raise alpha: a shallow search looks for a better second move.
        if (i == 0 && alpha == alpha0 && depth > 3) iidsort(list, depth, alpha, beta);
    }
    // 9. The result in the table, with the best move, or the table's own when no move raised alpha. A
    //    best move that raised alpha without a cut teaches the ordering as a cut would.
    if (best.word()) m_order.learn(m_pos, m_ply, list, best_index, best, depth);
    put_in_tt(alpha > alpha0 ? exact_value : upperbound, depth, alpha, best.word() ? best : hm);
    return alpha;
}

int Analysis::nullwindow_search(int depth, int alpha, int beta) {
    // 1. Count the node; mate-distance bounds; a stop returns at once.
    int early = 0;
    if (enter_node(alpha, beta, early)) return early;
    // 2. A repetition and a complete endgame table. Unlike a PV node, no test of the fifty-move rule here:
    //    such a node reads the rule only through the leaf's taper (see leaf()).
    if (m_pos.draw_by_threefold_repetition()) return 0;
    int exact = 0;
    if (table_score(exact)) return exact;
    // 3. No depth left, or too far from the root: the capture search decides.
    if (depth < 1 || m_ply > max_search_ply || m_ply >= max_ply - 8) return leaf(alpha, beta);

    // 4. The static score (none in check); a static mate score is returned as it stands.
    const bool in_check = m_pos.check();
    int s = -infinity;
    if (!in_check) {
        s = m_eval.static_eval();
        if (s < -(mate_bound + 1) || s > mate_bound + 1) return s;
    }
    m_static[m_ply] = in_check ? no_static : s;
    const bool rising = improving();
    // 5. The table's bound, before any pruning search is spent on this node.
    int tt_score = 0, tt_draft = 0;
    bound_t tt_bound = upperbound;
    bool hit = false;
    const Move probed = probe_move(tt_score, tt_draft, tt_bound, hit);
    if (hit && tt_draft >= depth) {
        if (tt_bound == exact_value) return tt_score;
        if (tt_bound == upperbound && tt_score <= alpha) return alpha;
        if (tt_bound == lowerbound && tt_score >= beta) return beta;
    }
    // 6. Reverse futility: a static score far above beta with little depth left.
    if (!in_check && beta < mate_bound && beta > -mate_bound && reverse_futile(depth, s, beta, rising))
        return beta;
    // 7. Null move: passing still holds beta, so a move will too. A failed pass is not searched again
    //    below the window to deepen a threatened node, nor a high static score verified by a shallower
    //    search: both cost more nodes than the threats they found were worth.
    //    Not when the table holds an upper bound below beta: a search of this node fell short of beta
    //    before, at some draft, and a pass, which is worse than the best move, nearly always fails too.
    const bool table_says_below = hit && tt_bound == upperbound && tt_score < beta;
    if (beta <= s && nullmove_allowed() && !table_says_below && nullmove_search(depth, alpha, beta) >= beta)
        return beta;
    if (stop_requested()) return alpha;

    // 8. The table's move, if it is legal here (the table is shared without locks), is searched before the
    //    node's moves are generated: a cut on it saves the generation and the ordering. In check the few
    //    evasions are generated first, as a single one is extended; out of check a node with one legal
    //    move is too rare to be worth counting them for its table move.
    //    The pseudo-attack table only now: most nodes end before they need it.
    MoveGenerator::MoveTable &table = m_tables_by_ply[m_ply];
    m_gen.create_movetable(m_pos, table);
    MoveList list(m_moves[m_ply]);
    if (in_check) {
        m_gen.serialize_moves(m_pos, table, list);
        if (list.size() == 0) return m_ply - mate;
    }
    const Move hashmove = m_gen.legal_move(m_pos, table, probed);
    if (!hashmove.word() && depth >= iir_depth) --depth;
    MoveList tried(m_tried[m_ply]); // the moves searched, which share the blame if a later move cuts
    if (hashmove.word()) {
        const int e = extend(in_check && list.size() == 1, hashmove, hashmove.check() && see(hashmove) >= 0);
        make_move(hashmove);
        const int v = -nullwindow_search(depth - 1 + e, -beta, -alpha);
        unmake_move();
        if (stop_requested()) return alpha;
        if (v >= beta) {
            // The commonest cut of all teaches the ordering like any other: the killer and the counts
            // after the last moves serve this node's siblings, which the table knows nothing of.
            m_order.learn(m_pos, m_ply, tried, 0, hashmove, depth);
            put_in_tt(lowerbound, depth, beta, hashmove);
            return beta;
        }
        tried.push_back(hashmove);
    }
    // 9. The moves: in the few deep nodes near the root all of them ordered at once; elsewhere the
    //    captures, and the quiet moves only when the picker comes to them (most cuts come before).
    const bool sort_all = m_ply <= 2 && depth > 4;
    const bool staged = !in_check && !sort_all;
    if (!in_check) {
        if (staged)
            m_gen.serialize_captures(m_pos, table, list);
        else
            m_gen.serialize_moves(m_pos, table, list);
    }
    if (sort_all) {
        if (list.size() == 0) return 0;
        localsort(list, Move());
    }

    // 10. The other moves, each ordered only when its turn comes: late quiet moves pruned near the leaves,
    //     the rest searched with a reduction where allowed and searched again unreduced when the reduced
    //     search cuts. The pruning of quiet moves only grows along a node's moves: once one is pruned,
    //     the picker drops the rest.
    MovePicker picker(m_pos, m_order, m_ply, list, hashmove, m_slots[m_ply],
                      sort_all ? MovePicker::mode_t::sorted : MovePicker::mode_t::all,
                      staged ? &m_gen : nullptr, &table);
    for (Move m; (m = picker.next()).word();) {
        const int index = picker.index(); // the table's move, searched before, takes no place
        if (!in_check && is_quiet(m) && !m.check() &&
            (late_move_pruned(m_ply, depth, index, rising) || futile(depth, s, alpha))) {
            picker.skip_quiets();
            continue;
        }
        if (!in_check && !m.check() && depth <= exchange_pruning_depth && m_ply >= 2 &&
            (m.xcode() == losing_capture || m.xcode() == bad_move) &&
            exchange_pruned(depth, m.capture_id() == 0, picker.exchange()))
            continue;
        const int e = extend(in_check && list.size() == 1, m, m.check() && picker.exchange_at_least(0));
        const int r = may_reduce(e, in_check, m)
                          ? adjusted_reduction(m_lmr.value(depth, index), m, picker.rank(), rising)
                          : 0;
        make_move(m);
        int v = -nullwindow_search(depth - 1 - r + e, -beta, -alpha);
        // The unreduced search again leaves the extension out: a cut confirmed without it stands.
        if (r != 0 && v >= beta) v = -nullwindow_search(depth - 1, -beta, -alpha);
        unmake_move();
        if (stop_requested()) return alpha;
        // 11. A cut: a quiet cut move teaches the ordering; the bound goes in the table.
        if (v > alpha) {
            m_order.learn(m_pos, m_ply, tried, tried.size(), m, depth);
            put_in_tt(lowerbound, depth, beta, m);
            return beta;
        }
        tried.push_back(m);
    }
    // 12. Stalemate when there is no move at all; else no move reached beta: an upper bound, with the
    //     table's move kept for the next visit.
    if (!hashmove.word() && picker.list_empty()) return 0;
    put_in_tt(upperbound, depth, alpha, hashmove);
    return alpha;
}

bool Analysis::nullmove_allowed() const {
    // Not at the root, not in check, not twice in a row, and not without a bishop, rook or queen:
    // with knights and pawns alone zugzwang is too common for a pass to prove anything.
    if (m_ply < 1 || m_pos.check()) return false;
    if (m_pos.last_move().code() == nullmove) return false;
    const int c = m_pos.white_to_move() ? 0 : 8;
    return static_cast<bool>(m_pos.pieces(wbishop + c) | m_pos.pieces(wrook + c) | m_pos.pieces(wqueen + c));
}

int Analysis::nullmove_search(int depth, int alpha, int beta) {
    make_move(Move());
    int reduced = depth - null_move_reduction(depth) - 1;
    if (reduced < 0) reduced = 0;
    const int v = -nullwindow_search(reduced, -beta, -alpha);
    unmake_move();
    return v;
}

int Analysis::quiescence(int alpha, int beta, int qdepth) {
    // 1. Count the node (the leaf that called at depth 0 counted it already).
    m_tt.prefetch(m_pos.key()); // probed after the static score
    if (qdepth < 0) new_node();
    if (m_ply > m_seldepth.load(std::memory_order_relaxed))
        m_seldepth.store(m_ply, std::memory_order_relaxed);
    // 2. The score to stand on: the static score (mate in check until a move proves otherwise), mate
    //    scores moved to this ply's distance.
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
    if (stop_requested() || m_ply >= max_ply - 2) return s >= beta ? beta : (s > alpha ? s : alpha);

    // 3. The table: a bound from an earlier visit, at any draft, often ends the node before a move is
    //    made. Otherwise a bound tighter than the static score stands in for it out of check (a lower
    //    bound above it, an upper bound below it): a searched score knows the threats the static score
    //    misses. Mate scores are left out: this search shortens them differently from the table.
    int tt_score = 0, tt_draft = 0;
    bound_t tt_bound = upperbound;
    bool hit = false;
    probe_move(tt_score, tt_draft, tt_bound, hit);
    if (hit && tt_score > -mate_bound && tt_score < mate_bound) {
        if (tt_bound != upperbound && tt_score >= beta) return beta;
        if (tt_bound != lowerbound && tt_score <= alpha) return alpha;
        if (tt_bound == exact_value) return tt_score;
        const bool tighter =
            (tt_bound == lowerbound && tt_score > s) || (tt_bound == upperbound && tt_score < s);
        if (!in_check && tighter) s = tt_score;
    }
    // Standing pat on that score.
    if (s >= beta) return beta;
    if (s > alpha) alpha = s;
    const int alpha0 = alpha;

    // 4. Every move in check, else the captures (and promotions) alone.
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
    // 5. Captures that lose material are not searched, nor those whose victim cannot lift the score to
    //    alpha; deep in the capture search, even exchanges neither.
    //    A child's mate score is moved one ply further from the root.
    MovePicker picker(m_pos, m_order, m_ply, list, Move(), m_slots[m_ply],
                      in_check ? MovePicker::mode_t::all : MovePicker::mode_t::captures);
    // A score at mate distance is no yardstick for a victim's worth.
    const bool may_delta_prune = !in_check && s > -mate_bound;
    for (Move m; (m = picker.next()).word();) {
        if (may_delta_prune && !m.is_promotion() &&
            delta_pruned(s, Piece::kind_value[m.capture_id() & 7], alpha))
            continue;
        if (!in_check && !picker.exchange_at_least(qdepth < even_exchange_qdepth ? 1 : 0)) continue;
        make_move(m);
        const int child = quiescence(-beta, -alpha, qdepth - 1);
        int v = -child;
        if (child < -mate_bound)
            v = -child - m_ply;
        else if (child > mate_bound)
            v = m_ply - child;
        unmake_move();
        if (stop_requested()) return alpha;
        if (v >= beta) {
            put_in_quiescence_tt(hit, tt_draft, lowerbound, beta);
            return beta;
        }
        if (v > alpha) alpha = v;
    }
    put_in_quiescence_tt(hit, tt_draft, alpha > alpha0 ? exact_value : upperbound, alpha);
    return alpha;
}

// A capture search's result goes in the table at draft 0 unless the key holds a deeper search already; mate
// scores stay out (see the probe).
void Analysis::put_in_quiescence_tt(bool hit, int tt_draft, bound_t bound, int score) {
    if ((hit && tt_draft > 0) || score <= -mate_bound || score >= mate_bound) return;
    put_in_tt(bound, 0, score, Move());
}

// ---------------------------------------------------------------------------------------------------------
// The ordering of a whole list, and the search that helps it: the internal deepening of a PV node. No
// probe for mate threats (a pass by the opponent searched after every move near the root): its searches
// cost more nodes than the extension it gave the threatening moves won back.

void Analysis::localsort(MoveList &list, const Move &hashmove) {
    if (list.size() < 2) return;
    m_order.classify(m_pos, m_ply, list, hashmove);
    sort_by_class(list);
    m_order.order_quiet_moves(m_pos, list);
}

void Analysis::iidsort(MoveList &list, int depth, int alpha, int beta) {
    if (depth < 4) return;
    PrincipalVariation scratch;
    for (int i = 1; i < list.size(); ++i) {
        make_move(list[i]);
        const int v = -pv_search(depth / 2 - 2, -beta, -alpha, scratch);
        unmake_move();
        if (stop_requested()) return;
        if (v > alpha) {
            MoveOrdering::move_forward(list, i, 1);
            return;
        }
    }
}

// ---------------------------------------------------------------------------------------------------------
// Extensions

int Analysis::extend(bool only_move, const Move &m, bool safe_check) {
    if (m_ply > m_iteration.load(std::memory_order_relaxed) + extension_reach) return 0;
    // A safe check, the only move, a pawn push of the ranks below.
    bool candidate = safe_check || only_move;
    const int to = m.to_id();
    // The two colours' pawn ranks are not mirrored, and that is deliberate: a white pawn is extended when
    // it promotes (the eighth rank, squares 56-63), a black one when it reaches its sixth rank (the third,
    // squares 16-23). The search was tuned with this asymmetry; mirroring it changes the played moves.
    if (m.piece_id() == wpawn && to >= 56) candidate = true;
    if (m.piece_id() == bpawn && to >= 16 && to <= 23) candidate = true;
    const Move previous = m_pos.last_move();
    const bool recapture = m.capture_id() != 0 && previous.capture_id() != 0 && previous.to_id() == to;
    const BitBoard &own_set =
        m_pos.white_to_move() ? m_eval.white_passed_pawns() : m_eval.black_passed_pawns();
    // Two plies for a candidate that recaptures onto one of the side's passed pawns' squares.
    if (candidate) {
        if (m.capture_id() == 0 || previous.capture_id() == 0) return 1;
        return recapture && (own_set & Square::bb[to]) ? 2 : 1;
    }
    if (recapture && (own_set & Square::bb[to])) return 1;
    // In a pawn ending (or nearly), every push of a passed pawn.
    if (m_pos.nobelmen() <= pawn_ending_material && Piece(m.piece_id()).pawn())
        return ((m_eval.white_passed_pawns() | m_eval.black_passed_pawns()) & Square::bb[m.from_id()]) ? 1
                                                                                                       : 0;
    return 0;
}
