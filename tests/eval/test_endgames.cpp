// Special endgame evaluators on hand-checked positions (scores are white's unless stated), and every one of
// them scoring a position, its colour mirror and its left-right mirror alike for the side to move.
#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "eval/evaluation.h"
#include "eval_test_util.h"

using evaltest::tables;

namespace {
// Static evaluation for the side to move.
int eval(const std::string &fen) {
    ChessPosition pos(tables());
    pos.fen(fen);
    Evaluation e(pos, tables());
    return e.static_eval();
}
// A random legal placement of the pieces (white's in upper case, then black's), either side to move.
std::string random_fen(const std::string &pieces, std::mt19937 &rng) {
    ChessPosition p(tables());
    for (;;) {
        p.clear();
        bool ok = true;
        for (char piece : pieces) {
            const Square s(static_cast<int>(rng() % 64));
            const bool pawn = piece == 'P' || piece == 'p';
            ok = ok && !p.get_piece_id_from(s) && !(pawn && (s.id() < 8 || s.id() >= 56));
            if (ok) p.set_piece_on(s, static_cast<int>(std::string(".PNBRQK..pnbrqk").find(piece)));
        }
        if (!ok) continue;
        if (rng() % 2) p.switch_color_to_move();
        p.fen(p.fen());
        if (p.setup_error().empty()) return p.fen();
    }
}

} // namespace

TEST(Endgames, KingAndPawnAgainstKing) {
    EXPECT_EQ(eval("4k3/8/4K3/4P3/8/8/8/8 w - - 0 1"), 503);  // fifth rank: 500 + king distance 3
    EXPECT_EQ(eval("4k3/8/4K3/4P3/8/8/8/8 b - - 0 1"), -503); // same value, black to move
    EXPECT_EQ(eval("k7/8/8/8/4P3/8/8/4K3 w - - 0 1"), 404);   // fourth rank: 100 a rank from here on
    EXPECT_EQ(eval("8/8/8/8/8/4k3/4P3/4K3 w - - 0 1"), 0);    // defender in front of the pawn
    EXPECT_EQ(eval("8/8/8/2k5/8/8/1P6/7K b - - 0 1"), 0);     // the defender catches the pawn
    EXPECT_EQ(eval("8/8/8/2k5/8/8/1P6/7K w - - 0 1"), 303);
    EXPECT_EQ(eval("7k/1p6/8/8/2K5/8/8/8 b - - 0 1"), 303); // the colour mirror: black's pawn
    EXPECT_EQ(eval("8/8/8/1k6/8/1K6/1P6/8 w - - 0 1"), 0);  // the defender holds the opposition
    EXPECT_EQ(eval("8/8/8/1k6/8/1K6/1P6/8 b - - 0 1"), -303);
    EXPECT_EQ(eval("k7/8/8/8/8/8/P7/7K w - - 0 1"), 0);  // rook pawn, king in the corner
    EXPECT_EQ(eval("8/8/2k5/8/8/8/P7/7K w - - 0 1"), 2); // rook pawn: only the distance to a8
}

TEST(Endgames, MatingMaterial) {
    // Light bishop: mate in a1's opposite corners a8/h1; dark bishop: the a1 corner itself.
    EXPECT_EQ(eval("8/8/8/8/8/2KBN3/8/k7 w - - 0 1"), 660 - 70 - 2);
    EXPECT_EQ(eval("8/8/8/8/8/2KNB3/8/k7 w - - 0 1"), 660 - 0 - 2);
    EXPECT_EQ(eval("8/8/8/8/8/8/1r6/k1K1Q3 w - - 0 1"), 1 + 360 - 2); // KQKR
    EXPECT_EQ(eval("8/8/8/8/8/8/8/k1K1B1B1 w - - 0 1"), 0);           // bishops of one colour
    EXPECT_EQ(eval("8/8/8/8/8/8/8/k1K1BB2 w - - 0 1"), 1000 - 100 + 30 - 2);
    EXPECT_EQ(eval("8/8/8/8/8/8/8/k1K1NN2 w - - 0 1"), 100);
    EXPECT_EQ(eval("8/8/8/8/8/8/8/1k1KNN2 w - - 0 1"), 0);
    EXPECT_EQ(eval("8/8/8/8/8/8/8/1k1KNN2 b - - 0 1"), 0);
}

TEST(Endgames, WrongBishopAndRookEndings) {
    EXPECT_EQ(eval("k7/8/P7/8/8/8/8/2B1K3 w - - 0 1"), 0); // dark bishop cannot cover a8
    EXPECT_EQ(eval("7k/8/7P/8/8/8/8/3BK3 w - - 0 1"), 0);  // light bishop cannot cover h8
    // The right bishop: no special rule, the linear score stands.
    ChessPosition pos(tables());
    pos.fen("k7/8/P7/8/8/8/8/3BK3 w - - 0 1");
    Evaluation e(pos, tables());
    const int score = e.static_eval();
    EXPECT_EQ(score, static_cast<int>(std::roundf(evaltest::linear(e))));
    EXPECT_GT(score, 200);

    EXPECT_EQ(eval("r7/8/4P3/4K3/k7/8/8/7R w - - 0 1"), 200); // 100 * (4 - 2) + 10 - 10
    EXPECT_EQ(eval("r7/8/8/8/1k6/8/4P3/4K2R w - - 0 1"), 10); // the defender is close: floor of 10
    EXPECT_EQ(eval("7r/8/8/K7/4k3/4p3/8/R7 b - - 0 1"), 200); // colour mirror, black to move
}

// Each rule that draws or floors a score, at both sides of the distance where it starts.
TEST(Endgames, EveryDistanceRuleAtBothSidesOfItsBoundary) {
    // The defender catches the pawn when it stands within the pawn's steps and nearer than the attacker.
    EXPECT_EQ(eval("8/8/8/2k5/8/8/1P6/5K2 b - - 0 1"), 0);    // attacker 4 away, defender 3
    EXPECT_EQ(eval("8/8/8/2k5/8/8/1P6/4K3 b - - 0 1"), -303); // both 3 away: the attacker is in time
    EXPECT_EQ(eval("5k2/8/8/2P5/8/8/8/7K b - - 0 1"), 0);     // fifth rank: 3 steps, defender 3 away
    EXPECT_EQ(eval("6k1/8/8/2P5/8/8/8/7K b - - 0 1"), -504);  // defender 4 away: too far
    // A rook pawn is a draw with the defender next to the corner, and scores the distance beyond.
    EXPECT_EQ(eval("8/1k6/8/8/8/8/P7/7K w - - 0 1"), 0);
    EXPECT_EQ(eval("8/8/2k5/8/8/8/P7/7K w - - 0 1"), 2);
    // The wrong bishop draws with the defender within one square of the corner, not two.
    EXPECT_EQ(eval("8/1k6/P7/8/8/8/8/2B1K3 w - - 0 1"), 0);
    EXPECT_GT(eval("8/8/P1k5/8/8/8/8/2B1K3 w - - 0 1"), 100);
    // Rook and pawn against rook: a score that falls to 0 is floored at 10, as one below it is.
    EXPECT_EQ(eval("7r/8/8/8/8/8/k3P3/5K1R w - - 0 1"), 10);  // 100 * (5 - 5) + 10 - 10 * 1 = 0
    EXPECT_EQ(eval("7r/8/8/8/8/8/k3P3/4K2R w - - 0 1"), 10);  // the same with the king beside: 0 too
    EXPECT_EQ(eval("7r/8/8/8/8/k7/4P3/6KR w - - 0 1"), 10);   // defender nearer: below 0
    EXPECT_EQ(eval("7r/8/8/8/8/8/4P3/k4K1R w - - 0 1"), 100); // defender 6 away: 100 + 10 - 10 * 1
}

// Over random placements of each ending's pieces.
TEST(EndgameMirrors, EverySpecialEndingIsColourAndSideSymmetric) {
    // Each ending with the stronger side white; the colour mirror covers black as the stronger side.
    const char *endings[] = {"KNNk", "KBNk", "KBPk", "KPk", "KRk", "KBBk", "KQk", "KQkr", "KRPkr"};
    std::mt19937 rng(77);
    // One evaluation per board, as in a search: building one allocates its caches.
    ChessPosition p(tables()), flipped(tables()), flopped(tables());
    Evaluation ep(p, tables()), ef(flipped, tables()), eo(flopped, tables());
    for (const char *ending : endings) {
        for (int i = 0; i < 200; ++i) {
            const std::string fen = random_fen(ending, rng);
            p.fen(fen);
            flipped.fen(fen);
            flipped.flip();
            flopped.fen(fen);
            flopped.flop();
            ep.init();
            ef.init();
            eo.init();
            const int s = ep.static_eval();
            ASSERT_EQ(s, ef.static_eval()) << ending << ": " << fen << " vs " << flipped.fen();
            ASSERT_EQ(s, eo.static_eval()) << ending << ": " << fen << " vs " << flopped.fen();
        }
    }
}
