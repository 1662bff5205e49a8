// The search: mate distances, draws, limits, windows, exchanges, the ply bound and a tactical set.
#include <fstream>

#include <gtest/gtest.h>

#include "search_test_util.h"

TEST(Analysis, MatesAreFoundWithTheirDistance) {
    Search black_mates("8/8/8/8/8/6k1/4r3/6K1 b - - 0 1", 4);
    EXPECT_EQ(black_mates.run(), 29999);
    // Legal's pattern: 1.Nf6+ gxf6 2.Bxf7 mate.
    Search two("r2qkb1r/pp2nppp/3p4/2pNN1B1/2BnP3/3P4/PPP2PPP/R2bK2R w KQkq - 1 1", 6);
    EXPECT_EQ(two.run(), 29997);
    EXPECT_EQ(two.a->best_move().algebraic(), "d5f6");
    // Mate in three from one of the engine's games: Bc4 shuts the king in.
    Search three("4k3/p5r1/1p5p/1P1n2p1/8/1bP2PPK/3r4/8 b - - 0 1", 9);
    EXPECT_EQ(three.run(), 29995);
    EXPECT_EQ(three.a->best_move().algebraic(), "b3c4");
    // The mated side sees -(30000 - ply).
    Search mated("R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1", 1);
    PrincipalVariation pv;
    EXPECT_EQ(mated.a->pv_search(1, -32000, 32000, pv), -30000);
    Search mate_in_one_ply("6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1", 3); // Ra8: the mated side is at ply 1
    EXPECT_EQ(mate_in_one_ply.run(), 30000 - 1);
}

TEST(Analysis, DrawsStalemateRepetitionAndFiftyMoves) {
    Search stalemate("7k/5Q2/6K1/8/8/8/8/8 b - - 0 1");
    PrincipalVariation pv;
    EXPECT_EQ(stalemate.a->pv_search(3, -32000, 32000, pv), 0);
    EXPECT_EQ(stalemate.a->nullwindow_search(3, -1, 0), 0);
    Search repeated("startpos moves g1f3 g8f6 f3g1 f6g8");
    EXPECT_EQ(repeated.a->nullwindow_search(4, -50, -49), 0);
    // Counter 75 halves the leaf score; 100 gives 0.
    Search fifty("4k3/8/8/8/8/8/4P3/R3K3 w - - 75 90");
    const int q = fifty.a->quiescence(-32000, 32000, 0);
    EXPECT_GT(q, 200);
    EXPECT_EQ(fifty.a->nullwindow_search(0, -32000, 32000), static_cast<int>(q * 0.5));
    Search hundred("4k3/8/8/8/8/8/4P3/R3K3 w - - 100 90");
    EXPECT_EQ(hundred.a->nullwindow_search(0, -32000, 32000), 0);
}

TEST(Analysis, AspirationWindows) {
    Window w{-32000, 32000};
    EXPECT_FALSE(next_window(w, 600));
    EXPECT_EQ(w.alpha, 575);
    EXPECT_EQ(w.beta, 32000);
    w = {10, 60};
    EXPECT_TRUE(next_window(w, 5));
    EXPECT_EQ(w.alpha, -40);
    EXPECT_EQ(w.beta, 60);
    EXPECT_TRUE(next_window(w, -50));
    EXPECT_EQ(w.alpha, -140);
    w = {10, 60};
    EXPECT_TRUE(next_window(w, 70)); // fail high widens upwards
    EXPECT_EQ(w.beta, 110);
}

TEST(Analysis, DepthMateAndNodeLimits) {
    Search depth("startpos", 5);
    depth.run();
    EXPECT_EQ(depth.a->get_iteration(), 5);
    Search mate("startpos");
    mate.a->set_mate(5);
    mate.run();
    EXPECT_EQ(mate.a->get_iteration(), 5);
    Search nodes("startpos");
    nodes.a->set_nodes(1000);
    nodes.run();
    EXPECT_EQ(nodes.a->get_node_count(), 1000u);
    EXPECT_NE(nodes.a->best_move().word(), 0u);
}

TEST(Analysis, StaticExchange) {
    // Each recapture with a pawn onto its last rank promotes, for either colour, and a capture that promotes
    // counts the new piece: a queen taken by a promoting pawn costs 900 and the pawn's 800 gain.
    struct Case {
        const char *fen, *move;
        int value;
    } cases[] = {
        {"4k3/8/3p4/4n3/3P4/8/8/4K3 w - - 0 1", "d4e5", 200},
        {"4k3/8/3p4/4p3/8/8/4Q3/4K3 w - - 0 1", "e2e5", -800},
        {"4k3/4r3/8/4p3/8/8/4R3/4RK2 w - - 0 1", "e2e5", 100}, // the battery's second rook stands behind
        {"3N3k/4P3/8/3q4/8/8/8/K7 b - - 0 1", "d5d8", -1400},  // exd8=Q: white promotes in recapture
        {"k7/8/8/8/3Q4/8/4p3/3n3K w - - 0 1", "d4d1", -1400},  // exd1=Q: black does
        {"r3k3/1P6/1n6/8/8/8/8/4K3 w - - 0 1", "b7a8q", 400},
        {"4k3/8/8/8/8/1N6/1p6/R3K3 b - - 0 1", "b2a1q", 400},
    };
    for (const Case &c : cases) {
        Search s(c.fen);
        EXPECT_EQ(s.a->see(s.move(c.move)), c.value) << c.fen << " " << c.move;
    }
}

TEST(Analysis, NullMoveRules) {
    // White to move after a move of black's, that is at ply 1, unless it is the root.
    struct Case {
        const char *fen, *black_move;
        bool allowed;
    } cases[] = {
        {"3qk3/8/8/8/8/8/3PPP2/1N2K1N1 b - - 0 1", "d8d7", false}, // knights; black's queen is not white's
        {"4k3/8/8/8/8/8/3PPP2/1N2KBN1 b - - 0 1", "e8d8", true},   // a bishop
        {"4k3/8/8/8/8/8/3PPP2/1N2K1NR b - - 0 1", "e8d8", true},   // a rook
        {"4k3/8/8/8/8/8/3PPP2/1N1QK1N1 b - - 0 1", "e8d8", true},  // a queen
        {"4k3/8/8/8/8/8/3PPP2/1N2K1NR b - - 0 1 moves e8d8", "", false}, // the root
        {"4k3/8/8/8/8/8/3PPP2/1N2K1NR b - - 0 1", "0000", false},        // after black's null move
        {"1r2k3/8/8/8/8/8/5PPP/4K2R b - - 0 1", "b8b1", false},          // in check
    };
    for (const Case &c : cases) {
        Search s(c.fen);
        if (std::string(c.black_move) == "0000")
            s.a->make_move(Move());
        else if (*c.black_move)
            s.play(c.black_move);
        EXPECT_EQ(s.a->nullmove_allowed(), c.allowed) << c.fen << " " << c.black_move;
    }
}

TEST(Analysis, DeepIterationsStayWithinThePlyBound) {
    // Kings and a pawn: iterations race to the cap and extensions and captures add plies beyond it.
    Search ending("8/8/8/8/8/4k3/4P3/4K3 w - - 0 1"); // a draw: no mate ends the race early
    ending.a->set_nodes(1500000);
    ending.run();
    EXPECT_LT(ending.a->get_seldepth(), Analysis::max_ply);
    EXPECT_GE(ending.a->get_iteration(), 20);
    EXPECT_LE(ending.a->pv().size(), PrincipalVariation::capacity);
}

// Positions with one clearly right move: a mate against none, or a queen or rook won against nothing
// (the next move is at least three pawns worse). Any sound search finds them at a modest fixed depth, so
// a miss is a fault, not a change of taste.
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
