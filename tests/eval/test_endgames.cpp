// Special endgame evaluators on hand-checked positions; scores are white's unless stated.
#include <cmath>

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
float linear_last(const std::string &fen, int &score) {
    ChessPosition pos(tables());
    pos.fen(fen);
    Evaluation e(pos, tables());
    score = e.static_eval();
    float acc = 0.0f;
    for (int i = 0; i < Weight::size; ++i)
        acc += e.variable_vector()[i] * e.weight_mg_vector()[i] * e.mg_factor() +
               e.variable_vector()[i] * e.weight_eg_vector()[i] * e.eg_factor();
    return std::roundf(acc / (e.variable_vector()[v_opposite_colored_bishops] + 1.0f));
}
} // namespace

TEST(Endgames, KingAndPawnAgainstKing) {
    EXPECT_EQ(eval("4k3/8/4K3/4P3/8/8/8/8 w - - 0 1"), 503);  // fifth rank: 500 + king distance 3
    EXPECT_EQ(eval("4k3/8/4K3/4P3/8/8/8/8 b - - 0 1"), -503); // same value, black to move
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
    int score = 0;
    const float last = linear_last("k7/8/P7/8/8/8/8/3BK3 w - - 0 1", score);
    EXPECT_EQ(score, static_cast<int>(last));
    EXPECT_GT(score, 200);

    EXPECT_EQ(eval("r7/8/4P3/4K3/k7/8/8/7R w - - 0 1"), 200); // 100 * (4 - 2) + 10 - 10
    EXPECT_EQ(eval("r7/8/8/8/1k6/8/4P3/4K2R w - - 0 1"), 10); // the defender is close: floor of 10
    EXPECT_EQ(eval("7r/8/8/K7/4k3/4p3/8/R7 b - - 0 1"), 200); // colour mirror, black to move
}
