// The pruning rules of the null-window search near the leaves. The first two apply only to a plain move
// that captures nothing and gives no check, with the side to move not in check; the third to a node.
#ifndef DRAVNIK_SEARCH_PRUNING_H
#define DRAVNIK_SEARCH_PRUNING_H

// Move-count pruning: far enough from the root, the late quiet moves of a node near the leaves are
// not searched. The index counts the node's ordered moves from 0.
constexpr bool late_move_pruned(int ply, int depth, int index) {
    return ply >= 5 && ((depth <= 2 && index >= 7) || ((depth == 3 || depth == 4) && index >= 11));
}

// Futility pruning: with this little depth left, a quiet move does not lift a static score so far
// below alpha back above it.
constexpr bool futile(int depth, int static_score, int alpha) {
    return (depth == 1 && static_score < alpha - 99) || (depth == 2 && static_score < alpha - 499) ||
           (depth == 3 && static_score < alpha - 899);
}

// Reverse futility pruning: with this little depth left, a static score this far above beta (90 cp a
// ply) is not brought back below it by the side to move's opponent. The caller leaves out nodes in check,
// on a mate threat, and with a mate score at stake.
constexpr bool reverse_futile(int depth, int static_score, int beta) {
    return depth <= 6 && static_score - 90 * depth >= beta;
}

#endif
