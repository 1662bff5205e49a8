// Tactical regression set: positions from the engine's own games where one move is clearly best (at least
// three pawns better than the second choice, or a mate against a mere advantage). A fixed-depth search
// must find it.
#include <fstream>
#include <memory>

#include <gtest/gtest.h>

#include "search/analysis.h"

TEST(Tactics, FixedDepthFindsTheOnlyGoodMove) {
    Tables tables;
    tables.tt().set_size(16);
    std::ifstream in(std::string(DRAVNIK_TEST_DATA) + "/tactics.txt");
    std::string line;
    int positions = 0, found = 0;
    while (std::getline(in, line)) {
        const std::size_t cut = line.find(" ; ");
        ChessPosition pos(tables);
        pos.fen(line.substr(0, cut));
        auto search = std::make_unique<Analysis>(pos, tables);
        search->clear();
        search->set_depth(8);
        search->iterative_search();
        ++positions;
        const std::string best = search->best_move().algebraic();
        found += best == line.substr(cut + 3);
        EXPECT_EQ(best, line.substr(cut + 3)) << line;
    }
    EXPECT_GE(positions, 30);
    EXPECT_EQ(found, positions);
}
