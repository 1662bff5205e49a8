// Each "go" sub-keyword fills its own field: distinct values everywhere show a value stored in the wrong one.
#include <gtest/gtest.h>

#include "engine/uci_text.h"

TEST(UciText, EveryGoKeywordFillsItsOwnField) {
    BoardTables tables;
    ChessPosition pos(tables);
    pos.newgame();
    std::istringstream words("wtime 11 btime 12 winc 13 binc 14 movestogo 15 depth 16 nodes 17 movetime 18");
    const GoCommand g = parse_go(words, pos);
    EXPECT_EQ(g.wtime, 11u);
    EXPECT_EQ(g.btime, 12u);
    EXPECT_EQ(g.winc, 13u);
    EXPECT_EQ(g.binc, 14u);
    EXPECT_EQ(g.movestogo, 15);
    EXPECT_EQ(g.depth, 16);
    EXPECT_EQ(g.nodes, 17);
    EXPECT_EQ(g.movetime, 18u);
    EXPECT_FALSE(g.infinite || g.ponder);
    EXPECT_EQ(g.perft, 0);
    std::istringstream flags("ponder binc 5 infinite perft 3");
    const GoCommand f = parse_go(flags, pos);
    EXPECT_TRUE(f.ponder && f.infinite);
    EXPECT_EQ(f.binc, 5u);
    EXPECT_EQ(f.winc, 0u);
    EXPECT_EQ(f.perft, 3);
    EXPECT_EQ(f.depth, 102);
    std::istringstream negative("wtime -5 btime -1 nodes -9");
    const GoCommand n = parse_go(negative, pos);
    EXPECT_EQ(n.wtime, 0u);
    EXPECT_EQ(n.btime, 0u);
    EXPECT_EQ(n.nodes, 0);
}
