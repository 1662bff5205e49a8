// The node searches' own rules: the hash move in the null-window search, the null-move conditions,
// extensions and the pruning gates near the leaves.
#include <gtest/gtest.h>

#include "search/pruning.h"
#include "search_test_util.h"

namespace {
void store_hash_move(Search &s, const Move &m) {
    TTrecord r;
    r.set_key(s.a->position().key());
    r.set_bound(upperbound);
    r.set_move(TTmove(m));
    tables().tt().write(r); // draft 0: it orders, it never cuts
}

// Kings and pawns five plies from the root, white to move: eighteen quiet moves, and no capture and no
// check for either side.
Search pawns_at_ply_5() {
    Search s("4k3/pppppppp/8/8/8/8/PPPPPPPP/4K3 b - - 0 1");
    for (const char *m : {"a7a6", "h2h3", "h7h6", "a2a3", "b7b6"})
        s.play(m);
    return s;
}

// The move localsort puts first in a null-window node of this position.
Move first_in_order(Search &s) {
    MoveGenerator gen(tables());
    MoveList list;
    gen.generate_moves(s.a->position(), list);
    s.a->localsort(list, Move());
    return list[0];
}
} // namespace

TEST(HashMoveInNullWindow, LaterMovesKeepTheirIndexAndASingleReplyIsExtended) {
    // Every move is searched with a window it cannot reach, so each one costs exactly one node and the
    // count says how many late-move pruning left.
    for (bool from_table : {false, true}) {
        Search pawns = pawns_at_ply_5();
        // With the first of them from the table, it goes first and the seven that follow it are searched.
        if (from_table) store_hash_move(pawns, first_in_order(pawns));
        const int alpha = pawns.a->static_eval() + 90; // out of reach, yet not futile at depth 1
        EXPECT_EQ(pawns.a->nullwindow_search(1, alpha, alpha + 1), alpha);
        EXPECT_EQ(pawns.a->get_node_count(), from_table ? 1u + 1u + 7u : 1u + 7u);
    }

    // In check with one reply: it is extended, from the table as from the list, and so its reply is
    // searched at full width one ply further down.
    for (bool from_table : {false, true}) {
        Search check("4k3/8/8/8/8/7P/6P1/r6K w - - 0 1");
        if (from_table) store_hash_move(check, check.move("h1h2"));
        // A window at the static score: the reply is cut neither by reverse futility nor by futility.
        const int s = check.a->static_eval();
        check.a->nullwindow_search(1, s - 1, s);
        EXPECT_EQ(check.a->get_seldepth(), 2) << from_table;
    }
}

TEST(HashMoveInNullWindow, ACutByTheTablesQuietMoveTeachesTheOrdering) {
    Search pawns = pawns_at_ply_5();
    const Move first = first_in_order(pawns);
    const Move cut = pawns.move(first.algebraic() == "g2g4" ? "f2f4" : "g2g4");
    store_hash_move(pawns, cut);
    // A window just above being mated: every move holds it, and reverse futility leaves such a window
    // alone, so the table's move is searched (one leaf) and cuts.
    const int alpha = -mate_bound - 10;
    EXPECT_EQ(pawns.a->nullwindow_search(1, alpha, alpha + 1), alpha + 1);
    EXPECT_EQ(pawns.a->get_node_count(), 2u);
    // Now the killer of this ply: the sibling nodes order it first.
    EXPECT_EQ(first_in_order(pawns), cut);
}

TEST(Extensions, EachKindOfMoveThatIsExtended) {
    // Checks: a safe one is extended, one that loses the rook to a pawn is not.
    Search checks("4k3/8/3p4/R7/8/8/8/4K3 w - - 0 1");
    MoveList none;
    EXPECT_EQ(checks.a->extend(none, checks.move("a5a8")), 1);
    EXPECT_EQ(checks.a->extend(none, checks.move("a5e5")), 0);
    const Move quiet = checks.move("a5a6");
    EXPECT_EQ(checks.a->extend(none, quiet), 0);

    // The only legal reply, and the same move in a longer list.
    Search single("4k3/8/8/8/8/7P/6P1/r6K w - - 0 1");
    MoveList list;
    list.push_back(single.move("h1h2"));
    EXPECT_EQ(single.a->extend(list, list[0]), 1);
    list.push_back(list[0]);
    EXPECT_EQ(single.a->extend(list, list[0]), 0);

    // Pawns, with too much material on the board for the passed-pawn rule: a white pawn onto the eighth
    // rank and a black one onto the third are extended; the white one onto the seventh and the black
    // promotion are not (the two rules are not mirror images).
    Search white_pawns("3q3k/P7/4P3/8/8/8/8/R3K1R1 w - - 0 1");
    EXPECT_EQ(white_pawns.a->extend(none, white_pawns.move("a7a8q")), 1);
    EXPECT_EQ(white_pawns.a->extend(none, white_pawns.move("e6e7")), 0);
    Search black_pawns("r3k1r1/8/8/8/2p5/8/3p3K/Q7 b - - 0 1");
    EXPECT_EQ(black_pawns.a->extend(none, black_pawns.move("c4c3")), 1);
    EXPECT_EQ(black_pawns.a->extend(none, black_pawns.move("d2d1q")), 0);
}

TEST(Extensions, RecapturesOnAPassedPawnsSquareAndPassedPawnsInTheEnding) {
    // Black takes white's passed pawn on d5; a checking recapture is extended by 2 and a quiet one by 1
    // when the last evaluation still had the passed pawn there, else by 1 and 0.
    for (bool passed_before : {true, false}) {
        Search s("r5k1/6pp/5n2/3P4/8/8/Q4PPP/3R2K1 b - - 0 1");
        if (passed_before) s.a->static_eval();
        s.play("f6d5");
        if (!passed_before) s.a->static_eval();
        MoveList none;
        EXPECT_EQ(s.a->extend(none, s.move("a2d5")), passed_before ? 2 : 1);
        EXPECT_EQ(s.a->extend(none, s.move("d1d5")), passed_before ? 1 : 0);
    }

    // With at most a rook and a knight on the board, a passed pawn's move is extended; a blocked pawn's
    // is not, nor the passed pawn's with a queen more.
    Search ending("1n2k3/6p1/8/3P4/8/8/6P1/R3K3 w - - 0 1");
    ending.a->static_eval();
    MoveList none;
    EXPECT_EQ(ending.a->extend(none, ending.move("d5d6")), 1);
    EXPECT_EQ(ending.a->extend(none, ending.move("g2g3")), 0);
    Search middlegame("1n1qk3/6p1/8/3P4/8/8/6P1/R3K3 w - - 0 1");
    middlegame.a->static_eval();
    EXPECT_EQ(middlegame.a->extend(none, middlegame.move("d5d6")), 0);
}

TEST(Pruning, GatesAtTheirDepthsAndIndices) {
    // Move-count pruning from ply 2: indices from 7 at depth 1 and 2, from 11 at depth 3 and 4, or from 5
    // and 8 when the static score is not improving.
    EXPECT_FALSE(late_move_pruned(1, 1, 50, false));
    for (bool improving : {true, false}) {
        const int near = improving ? 7 : 5, far = improving ? 11 : 8;
        for (int depth : {1, 2}) {
            EXPECT_FALSE(late_move_pruned(2, depth, near - 1, improving));
            EXPECT_TRUE(late_move_pruned(2, depth, near, improving));
        }
        for (int depth : {3, 4}) {
            EXPECT_FALSE(late_move_pruned(2, depth, far - 1, improving));
            EXPECT_TRUE(late_move_pruned(2, depth, far, improving));
        }
        EXPECT_FALSE(late_move_pruned(5, 5, 200, improving));
    }
    // Reverse futility: 90 cp a ply above beta, a ply less when improving; not beyond depth 6.
    EXPECT_TRUE(reverse_futile(3, 270, 0, false));
    EXPECT_FALSE(reverse_futile(3, 269, 0, false));
    EXPECT_TRUE(reverse_futile(3, 180, 0, true));
    EXPECT_FALSE(reverse_futile(3, 179, 0, true));
    EXPECT_FALSE(reverse_futile(7, 30000, 0, true));
    // Static-exchange pruning: a capture losing more than a pawn a ply up to depth 3, a quiet move losing
    // anything up to depth 2.
    EXPECT_TRUE(exchange_pruned(3, false, -301));
    EXPECT_FALSE(exchange_pruned(3, false, -300));
    EXPECT_FALSE(exchange_pruned(4, false, -900));
    EXPECT_TRUE(exchange_pruned(2, true, -1));
    EXPECT_FALSE(exchange_pruned(2, true, 0));
    EXPECT_FALSE(exchange_pruned(3, true, -900));
    // Futility: margins 99, 499 and 899 at depths 1, 2 and 3; none beyond.
    const int margins[] = {99, 499, 899};
    for (int depth = 1; depth <= 3; ++depth) {
        EXPECT_FALSE(futile(depth, -margins[depth - 1], 0));
        EXPECT_TRUE(futile(depth, -margins[depth - 1] - 1, 0));
    }
    EXPECT_FALSE(futile(4, -30000, 0));

    // The null-window search applies futility: a static score 100 below alpha at depth 1 leaves only
    // the node itself, as every move is quiet.
    Search pawns = pawns_at_ply_5();
    const int alpha = pawns.a->static_eval() + 100;
    EXPECT_EQ(pawns.a->nullwindow_search(1, alpha, alpha + 1), alpha);
    EXPECT_EQ(pawns.a->get_node_count(), 1u);
}

TEST(Pruning, ReductionsFollowWhatTheLearningTablesKnowOfAMove) {
    Move plain(Square(12), Square(28), normal_move, wknight, no_piece_t);
    plain.xcode(xnormal_move);
    const int step = lmr_history_divisor;
    EXPECT_EQ(adjusted_reduction(3, plain, step - 1, true), 3); // less than a step changes nothing
    EXPECT_EQ(adjusted_reduction(3, plain, 2 * step, true), 1);
    EXPECT_EQ(adjusted_reduction(3, plain, -step, true), 4);
    EXPECT_EQ(adjusted_reduction(3, plain, -step, false), 5);   // and a ply more when not improving
    EXPECT_EQ(adjusted_reduction(1, plain, 5 * step, true), 0); // never an extension
    Move counter = plain;
    counter.xcode(counter_move);
    EXPECT_EQ(adjusted_reduction(3, counter, 0, true), 2);
    // A capture's reduction ignores the quiet moves' tables.
    Move capture(Square(12), Square(28), normal_move, wknight, bpawn);
    capture.xcode(losing_capture);
    EXPECT_EQ(adjusted_reduction(3, capture, -5 * step, true), 3);
}

TEST(Pruning, MovesLosingMaterialNearTheLeavesAreNotSearched) {
    // Two plies in, the rook can take a6 and nothing gives check; alpha far above the static score makes
    // every quiet move futile at depth 1, so the count says whether the capture was searched. Defended by
    // b7 the capture loses four pawns and is pruned; undefended it wins one and is searched (one node).
    for (bool defended : {true, false}) {
        Search s(defended ? "7k/1p5p/p7/8/8/8/7K/R7 w - - 0 1" : "7k/7p/p7/8/8/8/7K/R7 w - - 0 1");
        tables().tt().clear();
        s.play("h2g2");
        s.play("h8g8");
        const int alpha = s.a->static_eval() + 400;
        EXPECT_EQ(s.a->nullwindow_search(1, alpha, alpha + 1), alpha);
        EXPECT_EQ(s.a->get_node_count(), defended ? 1u : 2u) << defended;
    }
    // A quiet move onto a square a pawn attacks loses the piece: Na2 is not searched at depth 1, where the
    // king's move, the knight's two others and its capture of b3 are (one node each, with alpha out of reach
    // but not futile).
    Search q("7k/8/8/8/8/1p6/1P6/1KN5 w - - 0 1");
    tables().tt().clear();
    q.play("b1a1");
    q.play("h8g8");
    const int alpha = q.a->static_eval() + 90;
    EXPECT_EQ(q.a->nullwindow_search(1, alpha, alpha + 1), alpha);
    EXPECT_EQ(q.a->get_node_count(), 1u + 4u);
}

namespace {
// The table's record for the search's current position (false when there is none).
bool table_entry(Search &s, TTrecord &r) {
    r = TTrecord();
    r.set_key(s.a->position().key());
    return tables().tt().read(r);
}

void store_bound(Search &s, bound_t bound, int draft, int score) {
    TTrecord r;
    r.set_key(s.a->position().key());
    r.set_bound(bound);
    r.set_draft(draft);
    r.set_score(score, 0);
    r.set_date(s.a->get_date());
    tables().tt().write(r);
}
} // namespace

TEST(Quiescence, ReadsTheTableAtAnyDraftAndLeavesDeeperEntriesAndMatesAlone) {
    // White wins a pawn with exd5 (the only capture); the capture search finds it and stores an exact
    // score at draft 0.
    const char *fen = "r3k2r/p6p/8/3p4/4P3/8/P6P/R3K2R w - - 0 1";
    {
        Search s(fen);
        tables().tt().clear();
        const int stand = s.a->static_eval();
        const int v = s.a->quiescence(-1000, 1000, 0);
        EXPECT_GT(v, stand + 50);
        TTrecord r;
        ASSERT_TRUE(table_entry(s, r));
        EXPECT_EQ(r.get_draft(), 0);
        EXPECT_EQ(r.get_bound(), exact_value);
        EXPECT_EQ(r.get_score(0), v);
        // Read back, it ends the next visit before any capture is made.
        EXPECT_EQ(s.a->quiescence(-1000, 1000, 0), v);
        EXPECT_EQ(s.a->get_node_count(), 1u); // the child of the first visit only
    }
    // A bound decides only on its side of the window: a lower bound above beta cuts, one below does not.
    {
        Search s(fen);
        tables().tt().clear();
        const int stand = s.a->static_eval();
        store_bound(s, lowerbound, 0, stand + 20);
        EXPECT_EQ(s.a->quiescence(stand + 5, stand + 10, 0), stand + 10);
        EXPECT_EQ(s.a->get_node_count(), 0u);
        EXPECT_GT(s.a->quiescence(stand + 30, stand + 1000, 0), stand + 30);
        EXPECT_GT(s.a->get_node_count(), 0u);
    }
    // An upper bound at or below alpha ends the node at alpha before the static score is stood on; a mate
    // score in the table is not read, and the capture is searched.
    for (int stored : {-5000, -29990}) {
        Search s(fen);
        tables().tt().clear();
        store_bound(s, upperbound, 3, stored);
        const int stand = s.a->static_eval();
        const int v = s.a->quiescence(-1000, 1000, 0);
        if (stored == -5000)
            EXPECT_EQ(v, -1000);
        else
            EXPECT_GT(v, stand + 50);
        EXPECT_EQ(s.a->get_node_count(), stored == -5000 ? 0u : 1u);
    }
    // A deeper search's entry stays as it was.
    {
        Search s(fen);
        tables().tt().clear();
        store_bound(s, lowerbound, 4, 7);
        s.a->quiescence(-1000, 1000, 0);
        TTrecord r;
        ASSERT_TRUE(table_entry(s, r));
        EXPECT_EQ(r.get_draft(), 4);
        EXPECT_EQ(r.get_score(0), 7);
    }
}

TEST(Quiescence, StandsPatOnATableBoundTighterThanTheStaticScore) {
    // No capture here, so the capture search returns the score it stands on. Out of check a lower bound
    // above the static score or an upper bound below it replaces it; a looser bound does not.
    const char *fen = "4k3/pp6/8/8/8/8/PP6/4K3 w - - 0 1";
    for (bound_t bound : {lowerbound, upperbound}) {
        for (int offset : {-20, 20}) {
            Search s(fen);
            tables().tt().clear();
            const int stand = s.a->static_eval();
            store_bound(s, bound, 0, stand + offset);
            const bool tighter = (bound == lowerbound) == (offset > 0);
            EXPECT_EQ(s.a->quiescence(-1000, 1000, 0), tighter ? stand + offset : stand)
                << (bound == lowerbound ? "lower" : "upper") << " bound at " << offset;
        }
    }
}

TEST(Quiescence, CapturesWhoseVictimCannotReachAlphaAreNotSearched) {
    // exd5 wins a pawn (twice 100 units) and the margin adds 400: with alpha that far above the stand-pat
    // score or more the capture is not made, a unit less and it is.
    const char *fen = "r3k2r/p6p/8/3p4/4P3/8/P6P/R3K2R w - - 0 1";
    for (int above : {600, 599}) {
        Search s(fen);
        tables().tt().clear();
        const int alpha = s.a->static_eval() + above;
        EXPECT_EQ(s.a->quiescence(alpha, alpha + 1, 0), alpha);
        EXPECT_EQ(s.a->get_node_count(), above == 600 ? 0u : 1u) << above;
    }
    // A promotion, capturing or not, is searched however far alpha stands: the new queen is not counted.
    Search p("1n2k3/P7/8/8/8/8/8/4K3 w - - 0 1");
    tables().tt().clear();
    const int alpha = p.a->static_eval() + 3000;
    p.a->quiescence(alpha, alpha + 1, 0);
    EXPECT_GE(p.a->get_node_count(), 2u);
}
