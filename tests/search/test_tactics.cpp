// Positions with one clearly right move: a mate against none, or a queen or rook won against nothing
// (the next move is at least three pawns worse). Any sound search finds them at a modest fixed depth, so
// a miss is a fault, not a change of taste.
#include <fstream>

#include <gtest/gtest.h>

#include "search_test_util.h"

TEST(Tactics, FixedDepthFindsTheUnambiguousMove) {
    std::ifstream in(std::string(DRAVNIK_TEST_DATA) + "/tactics.txt");
    int positions = 0;
    for (std::string line; std::getline(in, line); ++positions) {
        const std::size_t cut = line.find(" ; ");
        Search s(line.substr(0, cut), 6);
        s.run();
        EXPECT_EQ(s.a->best_move().algebraic(), line.substr(cut + 3)) << line;
    }
    EXPECT_EQ(positions, 14);
}
