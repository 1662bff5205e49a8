// Parsing of "go" and "setoption", and the score text of the info lines.
#include <gtest/gtest.h>

#include "engine/uci_text.h"

TEST(UciText, ScoreTextAndMateBounds) {
    EXPECT_EQ(score_text(29897), " score cp 29897");
    EXPECT_EQ(score_text(29898), " score mate 52");
    EXPECT_EQ(score_text(29999), " score mate 1");
    EXPECT_EQ(score_text(-29998), " score mate -1");
    EXPECT_EQ(score_text(-29897), " score cp -29897");
    EXPECT_EQ(score_text(-15), " score cp -15");
}

TEST(UciText, GoDefaultsClampsAndStops) {
    BoardTables tables;
    ChessPosition pos(tables);
    pos.newgame();
    std::istringstream plain("");
    const GoCommand d = parse_go(plain, pos);
    EXPECT_EQ(d.wtime, not_given_ms);
    EXPECT_EQ(d.movestogo, 0); // not given
    EXPECT_EQ(d.depth, 102);
    std::istringstream words("wtime 1000 btime 900 movestogo 0 movetime 0 mate 3 searchmoves e2e4 d2d4 x");
    const GoCommand g = parse_go(words, pos);
    EXPECT_EQ(g.wtime, 1000u);
    EXPECT_EQ(g.btime, 900u);
    EXPECT_EQ(g.movestogo, 30);
    EXPECT_EQ(g.movetime, 1u);
    EXPECT_EQ(g.depth, 3);
    ASSERT_EQ(g.searchmoves.size(), 2u);
    EXPECT_EQ(g.searchmoves[1].algebraic(), "d2d4");
    std::istringstream stop("depth 5 bogus nodes 7");
    const GoCommand s = parse_go(stop, pos);
    EXPECT_EQ(s.depth, 5);
    EXPECT_EQ(s.nodes, std::int64_t(1) << 62); // reading ended at the unknown word
}

TEST(UciText, SetOptionNeedsNameAndValue) {
    std::istringstream good("name Hash value 16");
    const SetOption h = parse_setoption(good);
    EXPECT_TRUE(h.valid);
    EXPECT_TRUE(equal_options(h.name, "HASH"));
    EXPECT_EQ(h.value, "16");
    std::istringstream no_value("name Hash 16");
    EXPECT_FALSE(parse_setoption(no_value).valid);
    std::istringstream no_name("Hash value 16");
    EXPECT_FALSE(parse_setoption(no_name).valid);
    EXPECT_FALSE(equal_options("Hash", "Hashes"));
}
