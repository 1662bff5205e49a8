// The tree search's rules and numbers, each named once with the reason for its value. The pruning rules
// near the leaves come first: the first two apply only to a plain move that captures nothing and gives no
// check, with the side to move not in check; the third to a node. The numbers worth tuning are declared
// with their range and SPSA step (see search/tunable.h); a normal build compiles them as constants.
#ifndef DRAVNIK_SEARCH_PRUNING_H
#define DRAVNIK_SEARCH_PRUNING_H

#include <cstdint>

#include "board/move.h"
#include "search/tunable.h"

// Move-count pruning: below the first plies, the late quiet moves of a node near the leaves are not
// searched; fewer of them when the side's static score is not improving on its last one. The index counts
// the node's ordered moves from 0. The counts at depth 1 and 2, improving or not; then those beyond, up to
// the last depth that prunes.
DRAVNIK_TUNABLE(lmp_shallow_improving, 7, 3, 20, 1)
DRAVNIK_TUNABLE(lmp_shallow, 5, 2, 16, 1)
DRAVNIK_TUNABLE(lmp_deep_improving, 11, 4, 30, 2)
DRAVNIK_TUNABLE(lmp_deep, 8, 3, 24, 1)
DRAVNIK_TUNABLE(lmp_depth, 4, 2, 6, 1)
DRAVNIK_TUNED_CONSTEXPR bool late_move_pruned(int ply, int depth, int index, bool improving) {
    if (ply < 2 || depth > lmp_depth) return false;
    return depth <= 2 ? index >= (improving ? lmp_shallow_improving : lmp_shallow)
                      : index >= (improving ? lmp_deep_improving : lmp_deep);
}

// Futility pruning: with this little depth left, a quiet move does not lift a static score so far
// below alpha back above it. The margins at depths 1, 2 and 3.
DRAVNIK_TUNABLE(futility_margin_1, 99, 0, 400, 20)
DRAVNIK_TUNABLE(futility_margin_2, 499, 100, 1000, 40)
DRAVNIK_TUNABLE(futility_margin_3, 899, 300, 1600, 60)
DRAVNIK_TUNED_CONSTEXPR bool futile(int depth, int static_score, int alpha) {
    return (depth == 1 && static_score < alpha - futility_margin_1) ||
           (depth == 2 && static_score < alpha - futility_margin_2) ||
           (depth == 3 && static_score < alpha - futility_margin_3);
}

// Static-exchange pruning: this near the leaves, a move that gives no check and loses material by
// exchange (more than a pawn a ply of depth for a capture, any loss for a quiet move of depth 1 or 2) does
// not come back above alpha. The static exchange is only asked of moves the ordering already classed as
// losing.
// The caller asks for the static exchange only this near the leaves; a capture may lose this much a ply.
DRAVNIK_TUNABLE(exchange_pruning_depth, 3, 1, 6, 1)
DRAVNIK_TUNABLE(exchange_capture_margin, 100, 0, 300, 15)
DRAVNIK_TUNED_CONSTEXPR bool exchange_pruned(int depth, bool quiet, int exchange) {
    return quiet ? depth <= exchange_pruning_depth - 1 && exchange < 0
                 : depth <= exchange_pruning_depth && exchange < -exchange_capture_margin * depth;
}

// Reverse futility pruning: with this little depth left, a static score this far above beta (90 cp a
// ply, a ply less when the score is improving) is not brought back below it by the side to move's
// opponent. The caller leaves out nodes in check and with a mate score at stake.
DRAVNIK_TUNABLE(reverse_futility_margin, 90, 30, 250, 8)
DRAVNIK_TUNABLE(reverse_futility_depth, 6, 2, 10, 1)
DRAVNIK_TUNED_CONSTEXPR bool reverse_futile(int depth, int static_score, int beta, bool improving) {
    return depth <= reverse_futility_depth &&
           static_score - reverse_futility_margin * (depth - (improving ? 1 : 0)) >= beta;
}

// Late-move reductions spare a move that is extended, a good capture, a killer, a check and every move out
// of check: each is likely to be the move that matters, and a reduced search would hide it.
inline bool may_reduce(int extension, bool in_check, const Move &m) {
    return !(extension != 0 || in_check || m.xcode() == good_capture || m.xcode() == killer || m.check());
}

// The reduction of a null-window node's move, from the table's by depth and index: a ply less for a move
// the learning tables rank high (a counter move, follow-up or one of the three best by history); for a
// quiet move, a ply less or more per lmr_history_divisor of its rank (history plus counter-move and
// follow-up counts: what the tables know of it, for or against); a ply more when the side's static score
// is not improving.
DRAVNIK_TUNABLE(lmr_history_divisor, 10000, 3000, 30000, 1000)
inline int adjusted_reduction(int table_value, const Move &m, std::int64_t rank, bool improving) {
    int r = table_value;
    const xmove_t x = m.xcode();
    if (x == counter_move || x == historical_move1 || x == historical_move2 || x == historical_move3) --r;
    if (m.capture_id() == 0) r -= static_cast<int>(rank / lmr_history_divisor);
    if (!improving) ++r;
    return r < 0 ? 0 : r;
}

// Internal iterative reduction: a node this deep that the table knows no move for is searched a ply
// shallower; its ordering is poor, and the next visit finds the table's move.
DRAVNIK_TUNABLE(iir_depth, 5, 3, 10, 1)

// The null move's reduction: depth / 3 + 3 plies besides the move itself, so deep nodes save more.
DRAVNIK_TUNABLE(null_move_base, 3, 1, 6, 1)
DRAVNIK_TUNABLE(null_move_divisor, 3, 2, 12, 1)
DRAVNIK_TUNED_CONSTEXPR int null_move_reduction(int depth) {
    return depth / null_move_divisor + null_move_base;
}

// The late-move reduction table's formula (LmrTable), in hundredths: base + ln(depth) * ln(index / 2) *
// 100 / divisor. The divisor takes the product to 100/130 of itself: late moves reduced a little less.
DRAVNIK_TUNABLE(lmr_base, 0, -100, 150, 10)
DRAVNIK_TUNABLE(lmr_divisor, 130, 50, 250, 8)

// Beyond this many plies from the root a node is a leaf whatever its depth: checks and extensions cannot
// drive a line on for ever, and the per-ply arrays keep room below max_ply.
constexpr int max_search_ply = 101;

// Extensions stop this many plies beyond the iteration's depth, so a line of checks cannot run away.
constexpr int extension_reach = 8;

// A passed pawn's push is extended once the pieces (not pawns, not kings) weigh this much or less
// together: the ending where such a pawn decides.
constexpr int pawn_ending_material = 1000;

// A leaf's score shrinks towards the draw from this many plies without a capture or a pawn move, by this
// share per ply: a won position the side cannot make progress in is worth less as the fifty-move rule
// nears. Only the leaves taper; PV nodes also read the rule itself (a draw after 100 plies).
constexpr int fifty_move_taper_from = 51;
constexpr double fifty_move_taper_per_ply = 0.02;

// Deeper than this in the capture search, even exchanges (static exchange 0) are no longer searched:
// long chains of equal trades cost much and change little.
constexpr int even_exchange_qdepth = -8;

// Delta pruning: in the capture search, out of check, a capture (not a promotion) whose victim, won
// outright, with this margin added still leaves the static score at or below alpha is not searched: no
// exchange gains more than its victim, and the margin covers what the capture's position adds besides.
// Victims are counted at twice their value in centipawns, about what the evaluation weighs them.
DRAVNIK_TUNABLE(delta_margin, 400, 0, 1200, 40)
DRAVNIK_TUNED_CONSTEXPR bool delta_pruned(int static_score, int victim_centipawns, int alpha) {
    return static_score + 2 * victim_centipawns + delta_margin <= alpha;
}

// The root's aspiration window: this many centipawns on either side of the last score, doubled on each
// fail; beyond this bound the window opens fully (mates and large scores are not worth narrowing).
DRAVNIK_TUNABLE(aspiration_half_width, 25, 5, 150, 5)
constexpr int aspiration_limit = 500;

#endif
