// Positions with one clearly right move: a mate against none, or a queen or rook won against nothing
// (the next move is at least three pawns worse). Any sound search finds them at a modest fixed depth, so
// a miss is a fault, not a change of taste.
#include <fstream>
#include <memory>

#include <gtest/gtest.h>

#include "search/analysis.h"

TEST(Tactics, FixedDepthFindsTheUnambiguousMove) {
    Tables tables;
    tables.tt().set_size(16);
    std::ifstream in(std::string(DRAVNIK_TEST_DATA) + "/tactics.txt");
    std::string line;
    int positions = 0;
    while (std::getline(in, line)) {
        const std::size_t cut = line.find(" ; ");
        ChessPosition pos(tables);
        pos.fen(line.substr(0, cut));
        auto search = std::make_unique<Analysis>(pos, tables);
        search->clear();
        search->set_depth(6);
        search->iterative_search();
        ++positions;
        EXPECT_EQ(search->best_move().algebraic(), line.substr(cut + 3)) << line;
    }
    EXPECT_EQ(positions, 14);
}
