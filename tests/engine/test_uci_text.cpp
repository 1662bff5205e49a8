// The front end: the message queues between console and engine, parsing of "go" and "setoption", and the
// score text of the info lines.
#include <gtest/gtest.h>

#include "engine/communicator.h"
#include "engine/uci_text.h"

namespace {
GoCommand go(const std::string &words) {
    static BoardTables tables;
    ChessPosition pos(tables);
    pos.newgame();
    std::istringstream in(words);
    return parse_go(in, pos);
}
} // namespace

TEST(UciText, EveryGoKeywordFillsItsOwnField) {
    // Distinct values everywhere show a value stored in the wrong field.
    const GoCommand g = go("wtime 11 btime 12 winc 13 binc 14 movestogo 15 depth 16 nodes 17 movetime 18");
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
    const GoCommand f = go("ponder binc 5 infinite perft 3");
    EXPECT_TRUE(f.ponder && f.infinite);
    EXPECT_EQ(f.binc, 5u);
    EXPECT_EQ(f.winc, 0u);
    EXPECT_EQ(f.perft, 3);
    EXPECT_EQ(f.depth, 102);
    EXPECT_EQ(f.wtime, time_not_given);
    EXPECT_EQ(f.movestogo, 0); // not given
    const GoCommand m = go("mate 3 searchmoves e2e4 d2d4 x");
    EXPECT_EQ(m.depth, 3);
    ASSERT_EQ(m.searchmoves.size(), 2u);
    EXPECT_EQ(m.searchmoves[1].algebraic(), "d2d4");
}

TEST(UciText, GoClampsAndStops) {
    const GoCommand n = go("wtime -5 btime -1 nodes -9 movestogo 0 movetime 0");
    EXPECT_EQ(n.wtime, 0u);
    EXPECT_EQ(n.btime, 0u);
    EXPECT_EQ(n.nodes, 0);
    EXPECT_EQ(n.movestogo, 30);
    EXPECT_EQ(n.movetime, 1u);
    const GoCommand s = go("depth 5 bogus nodes 7");
    EXPECT_EQ(s.depth, 5);
    EXPECT_EQ(s.nodes, std::int64_t(1) << 62); // reading ended at the unknown word
}

TEST(UciText, ScoresInCentipawnsAndMates) {
    // A pawn's weight in the evaluation reads 100; halves round away from zero, symmetrically.
    EXPECT_EQ(score_text(266), " score cp 100"); // the measured scale: changed only with a new measurement
    EXPECT_EQ(score_text(-266), " score cp -100");
    EXPECT_EQ(score_text(0), " score cp 0");
    EXPECT_EQ(score_text(4), " score cp 2");
    EXPECT_EQ(score_text(-4), " score cp -2");
    EXPECT_EQ(score_text(1), " score cp 0");
    // The largest evaluation is still a score, scaled like any other; one unit more is a mate.
    EXPECT_EQ(score_text(29897), " score cp " + std::to_string(29897 * 100 / eval_units_per_pawn));
    EXPECT_EQ(score_text(-29897), " score cp -" + std::to_string(29897 * 100 / eval_units_per_pawn));
    EXPECT_EQ(score_text(29898), " score mate 52");
    EXPECT_EQ(score_text(29999), " score mate 1");
    EXPECT_EQ(score_text(-29998), " score mate -1");
}

// Missing names and values are judged by their effect in the end-to-end options test.
TEST(UciText, OptionNamesMatchWholeInAnyCaseAndValuesLoseTheirPadding) {
    EXPECT_TRUE(equal_options("mUlTiPv", "MultiPV"));
    EXPECT_FALSE(equal_options("Hash", "Hashes"));
    // A GUI that pads the value must still switch a check option on: "true" is matched whole.
    for (const char *line :
         {"name Ponder value true", "name  Ponder value \t  true", "name Ponder value true \t "}) {
        std::istringstream words(line);
        const SetOption o = parse_setoption(words);
        EXPECT_TRUE(o.valid && o.name == "Ponder" && o.value == "true") << line << "|" << o.value << "|";
    }
    std::istringstream inner("name Book value  my book.bin ");
    EXPECT_EQ(parse_setoption(inner).value, "my book.bin");
}

TEST(Communicator, QueuesKeepOrderAndSignalEmptiness) {
    Communicator c;
    EXPECT_EQ(c.from_interface(), "");
    c.to_engine("uci");
    c.to_engine("isready");
    c.to_interface("readyok");
    EXPECT_EQ(c.from_interface(), "uci");
    EXPECT_EQ(c.from_engine(), "readyok");
    EXPECT_EQ(c.from_engine(), "");
    c.to_interface("bestmove e2e4");
    c.clear();
    EXPECT_EQ(c.from_interface(), "");
    EXPECT_EQ(c.from_engine(), "");
}
