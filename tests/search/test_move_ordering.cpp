// Move ordering: the learning tables, the reduction table and the classes that localsort gives.
#include <gtest/gtest.h>

#include "search/move_ordering.h"
#include "search_test_util.h"

namespace {
Move quiet(int from, int to, piece_t piece) {
    return Move(Square(from), Square(to), normal_move, piece, no_piece_t);
}

// The class localsort gives a move among all legal moves of the position.
int class_of(Search &s, const std::string &text) {
    MoveGenerator gen(tables());
    MoveList list;
    gen.generate_moves(s.a->position(), list);
    s.a->localsort(list, Move());
    for (const Move &m : list)
        if (m.algebraic() == text) return m.xcode();
    return -1;
}
} // namespace

// The tables' exact contents shape the search's tree, which the bench node count pins; these tests guard
// the edges and the rules that the count would only show as a changed number.
TEST(LmrTable, ReductionsAtLeastOneAndClampedAtTheEdges) {
    const LmrTable lmr;
    EXPECT_EQ(lmr.value(1, 255), 1);
    EXPECT_EQ(lmr.value(10, 10), 2); // ln 10 * ln 5 / 1.3 = 2.85
    EXPECT_EQ(lmr.value(101, 255), 17);
    EXPECT_EQ(lmr.value(500, 5000), 17);
    EXPECT_EQ(lmr.value(-3, -1), 1);
    EXPECT_EQ(lmr.pv_value(20, 20), 4); // ln 20 * ln 10 / 1.3 = 5.31, a ply less
}

TEST(Killer, NewestFirstWithoutDuplicates) {
    Killer k;
    const Move a = quiet(6, 21, wknight), b = quiet(1, 18, wknight);
    k.set_killer(3, a);
    k.set_killer(3, b);
    Move b_other_class = b;
    b_other_class.xcode(killer);
    k.set_killer(3, b_other_class); // the same move: a must survive
    EXPECT_EQ(k.get_killerA(3), b);
    EXPECT_EQ(k.get_killerB(3), a);
    k.set_killer(256, a); // outside the table: ignored
    k.set_killer(-1, a);
    EXPECT_EQ(k.get_killerA(256), Move());
}

TEST(HistoryTables, CountersByPieceAndTargetAndByPairsOfMoves) {
    HistoryTable h;
    const Move a = quiet(12, 28, wpawn), b = quiet(62, 45, bknight);
    h.update(a, 1 << 10);
    h.update(b, -9);
    h.divide_by_8();
    EXPECT_EQ(h.value(quiet(3, 28, wpawn)), 128); // same piece and target
    EXPECT_EQ(h.value(b), -2);                    // towards minus infinity
    EXPECT_EQ(h.value(quiet(12, 28, wknight)), 0);
    CounterMove cm;
    const Move last = quiet(63, 63, bking); // the very last entry
    cm.update(last, last, 8);
    cm.update(a, b, -17);
    EXPECT_EQ(cm.value(b, a), 0); // order matters
    EXPECT_EQ(CounterMove(cm).value(a, b), -17);
    cm.divide_by_8();
    EXPECT_EQ(cm.value(last, last), 1);
}

TEST(HistoryTables, CountersStayBoundedAndRecentCutsOutweighOldOnes) {
    // The deepest cuts, again and again, approach the limit without passing it (or wrapping 16 bits).
    HistoryTable h;
    const Move a = quiet(12, 28, wpawn);
    for (int i = 0; i < 200; ++i)
        h.update(a, history_bonus(60));
    EXPECT_LE(h.value(a), history_limit);
    EXPECT_GT(h.value(a), history_limit - 64);
    CounterMove cm;
    for (int i = 0; i < 200; ++i)
        cm.update(a, a, -history_bonus(60));
    EXPECT_GE(cm.value(a, a), -history_limit);
    EXPECT_LT(cm.value(a, a), -history_limit + 64);
    // A saturated counter loses twice the bonus to one failure: a move that stopped cutting soon falls
    // behind a move that cuts now, however deep its old cuts were.
    h.update(a, -history_bonus(8));
    EXPECT_LE(h.value(a), history_limit - 2 * history_bonus(8));
    EXPECT_LT(history_bonus(1), history_bonus(2));
    EXPECT_EQ(history_bonus(0), history_bonus(1));
    EXPECT_EQ(history_bonus(100), history_limit / 2);
}

TEST(MoveClasses, SquaresAttackedByEnemyPawnsDoNotWrapAroundTheBoard) {
    // Pawns on the edge files and next to them, where a shift by 7 or 9 crosses to the other edge.
    Search white_to_move("4k3/8/8/pp4pp/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(pawn_attacked_squares(white_to_move.a->position()),
              rank4 & (a_file | b_file | c_file | f_file | g_file | h_file));
    Search black_to_move("4k3/8/8/8/PP4PP/8/8/4K3 b - - 0 1");
    EXPECT_EQ(pawn_attacked_squares(black_to_move.a->position()),
              rank5 & (a_file | b_file | c_file | f_file | g_file | h_file));

    // A knight onto a square a pawn attacks is a bad move; onto one it only seems to attack, a normal one.
    Search white("4k3/8/8/pp6/8/2N5/8/4K1N1 w - - 0 1");
    EXPECT_EQ(class_of(white, "c3a4"), bad_move);
    EXPECT_EQ(class_of(white, "g1h3"), xnormal_move); // a5 attacks b4 only
    Search black("1n2k3/8/5n2/8/6PP/8/8/4K3 b - - 0 1");
    EXPECT_EQ(class_of(black, "f6h5"), bad_move);
    EXPECT_EQ(class_of(black, "b8a6"), xnormal_move); // h4 attacks g5 only
}

TEST(MoveClasses, PlainQuietMovesFollowTheirHistoryBestFirst) {
    // Rooks and a king with nothing to capture: every move is quiet. Five cuts learnt at another ply (no
    // killers here) give five moves a rising history; one more move only ever failed before a cut.
    Search s("4k3/8/8/8/8/8/8/R3K2R w - - 0 1");
    ChessPosition &pos = s.a->position();
    MoveOrdering order;
    const char *cuts[] = {"a1a2", "a1a3", "h1h3", "h1h4", "e1d2"}; // history rising with depth
    MoveList failed;
    failed.push_back(s.move("e1f1"));
    for (int depth = 1; depth <= 5; ++depth)
        order.learn(pos, 9, failed, 1, s.move(cuts[depth - 1]), depth);

    MoveGenerator gen(tables());
    MoveList list;
    gen.generate_moves(pos, list);
    order.classify(pos, 3, list, Move());
    sort_by_class(list);
    order.order_quiet_moves(pos, list);
    auto index_of = [&](const char *text) {
        for (int i = 0; i < list.size(); ++i)
            if (list[i].algebraic() == text) return i;
        return -1;
    };
    // The best three by history have classes of their own; the next two lead the plain moves, in order,
    // and the move that only failed comes after every move the tables know nothing of.
    EXPECT_EQ(list[0].algebraic(), "e1d2");
    EXPECT_EQ(list[3].algebraic(), "a1a3");
    EXPECT_EQ(list[3].xcode(), xnormal_move);
    EXPECT_EQ(list[4].algebraic(), "a1a2");
    EXPECT_EQ(index_of("e1f1"), list.size() - 1);
    for (int i = 1; i < list.size(); ++i)
        EXPECT_LE(list[i - 1].xcode(), list[i].xcode()); // the classes stay sorted
}
