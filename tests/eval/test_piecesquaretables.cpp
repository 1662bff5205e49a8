// Piece-square tables: incremental sums agree with fresh ones (the colour mirror of the evaluation tests
// covers the black tables).
#include <gtest/gtest.h>

#include "eval/piecesquaretables.h"
#include "eval_test_util.h"

using evaltest::tables;

// Random games from every perft position and from Chess960 starts: after every move the incremental sums
// match a fresh count, and after unmaking everything they are back at the start values. Every move code
// must have been exercised.
TEST(PieceSquareTables, IncrementalMatchesFreshThroughRandomGames) {
    std::vector<std::string> fens = evaltest::perft_fens();
    std::mt19937 rng(12345);
    MoveGenerator gen(tables());
    int seen[8] = {}, castling960 = 0;
    for (int g = 0; g < 120; ++g) {
        ChessPosition pos(tables());
        if (g % 2)
            pos.newgame960(static_cast<int>(rng() % 960));
        else
            pos.fen(fens[(g / 2) % fens.size()]);
        PieceSquareTables t;
        t.init(pos);
        const PieceSquareTables::Score start = t.get_score();
        std::vector<Move> made;
        for (int ply = 0; ply < 150; ++ply) {
            MoveList list;
            gen.generate_moves(pos, list);
            if (list.size() == 0) break;
            // Prefer the rarer move kinds so that castling, promotions and en passant come up often.
            Move m = list[static_cast<int>(rng() % static_cast<unsigned>(list.size()))];
            for (const Move &x : list)
                if (x.code() != normal_move && rng() % 2) m = x;
            pos.make_move(m);
            t.make_move(m);
            made.push_back(m);
            ++seen[m.code()];
            if (m.code() == castling && (m.from_id() & 7) != 4) ++castling960; // king not from the e-file
            ASSERT_TRUE(t.verify_score()) << pos.fen() << " after " << m.algebraic(true);
        }
        for (auto it = made.rbegin(); it != made.rend(); ++it) {
            pos.unmake_move();
            t.unmake_move(*it);
        }
        ASSERT_TRUE(t.verify_score());
        EXPECT_NEAR(t.get_score().first, start.first, 0.01f);
        EXPECT_NEAR(t.get_score().second, start.second, 0.01f);
    }
    for (int code = 1; code <= 7; ++code)
        EXPECT_GT(seen[code], 0) << "move code " << code;
    EXPECT_GT(castling960, 0); // castling onto the standard squares from elsewhere
}
