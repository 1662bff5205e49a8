// Every special-ending evaluator scores a position, its colour mirror and its left-right mirror alike for
// the side to move, over random placements of the ending's pieces.
#include <random>

#include <gtest/gtest.h>

#include "eval/evaluation.h"
#include "eval_test_util.h"

using evaltest::tables;

namespace {
// A random legal placement of the pieces (white's in upper case, then black's), either side to move.
std::string random_fen(const std::string &pieces, std::mt19937 &rng) {
    for (;;) {
        char board[64];
        std::fill(board, board + 64, '.');
        bool ok = true;
        for (char piece : pieces) {
            int s = static_cast<int>(rng() % 64);
            const bool pawn = piece == 'P' || piece == 'p';
            if (board[s] != '.' || (pawn && (s < 8 || s >= 56))) {
                ok = false;
                break;
            }
            board[s] = piece;
        }
        if (!ok) continue;
        std::string fen;
        for (int rank = 7; rank >= 0; --rank) {
            int empty = 0;
            for (int file = 0; file < 8; ++file) {
                const char c = board[8 * rank + file];
                if (c == '.') {
                    ++empty;
                    continue;
                }
                if (empty) fen += std::to_string(empty);
                empty = 0;
                fen += c;
            }
            if (empty) fen += std::to_string(empty);
            if (rank) fen += '/';
        }
        fen += rng() % 2 ? " w - - 0 1" : " b - - 0 1";
        ChessPosition p(tables());
        p.fen(fen);
        if (p.setup_error().empty()) return fen;
    }
}

} // namespace

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
