// The check flag the generator puts on each move must say whether the move gives check: the search
// extends and orders by it. Compared with the position's own check test after making every move.
#include <gtest/gtest.h>

#include <fstream>

#include "board/chessposition.h"
#include "movegen/movegenerator.h"

namespace {
const BoardTables &tables() {
    static const BoardTables t;
    return t;
}

int compare_flags(ChessPosition &p, MoveGenerator &gen, int depth, std::string &first_fault) {
    MoveList list;
    gen.generate_moves(p, list);
    int checks = 0;
    for (const Move &m : list) {
        p.make_move(m);
        if (p.check() != m.check() && first_fault.empty()) first_fault = p.fen() + " after " + m.algebraic();
        checks += p.check();
        if (depth > 1) checks += compare_flags(p, gen, depth - 1, first_fault);
        p.unmake_move();
    }
    return checks;
}
} // namespace

TEST(CheckFlags, EveryGeneratedMoveTellsWhetherItChecks) {
    const char *special[] = {
        "8/8/8/8/R1K4k/8/8/8 w - - 0 1",     // the king shields its rook: along the line, or off it
        "8/8/8/8/8/8/2K5/B6k w - - 0 1",     // the same on a diagonal
        "8/8/8/8/R1P4k/8/8/4K3 w - - 0 1",   // a pawn in the way: pushes keep the line shut
        "8/8/8/K2pP2k/8/8/8/8 w - d6 0 1",   // en passant opens a rank... for the other side
        "8/8/8/R2pP2k/8/8/8/4K3 w - d6 0 1", // ...and here for the capturer: discovered check
        "4k3/8/8/8/8/8/8/R3K2R w KQ - 0 1",  // castling rooks that may check
        "3k4/8/8/8/8/8/8/R3K3 w Q - 0 1",    // long castling gives check on the d-file
        "1r5k/P1P5/8/8/8/8/8/4K3 w - - 0 1", // promotions that check, with and without capture
        "r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1",
        "bqnb1rkr/pp3ppp/3ppn2/2p5/5P2/P2P4/NPP1P1PP/BQ1BNRKR w FHfh - 2 9",
    };
    MoveGenerator gen(tables());
    int checks = 0;
    std::string fault;
    for (const char *fen : special) {
        ChessPosition p(tables());
        p.fen(fen);
        checks += compare_flags(p, gen, 2, fault);
    }
    std::ifstream in(std::string(DRAVNIK_TEST_DATA) + "/perft.txt");
    for (std::string line; std::getline(in, line);) {
        const std::string fen = line.substr(0, line.find(';'));
        if (fen.find('/') == std::string::npos) continue;
        ChessPosition p(tables());
        p.fen(fen);
        checks += compare_flags(p, gen, 2, fault);
    }
    EXPECT_EQ(fault, "");
    EXPECT_GT(checks, 500);
}
