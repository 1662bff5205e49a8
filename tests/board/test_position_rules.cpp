// What make_move keeps and clears: castling rights, the fifty-move counter and the en-passant square, and
// the keys of positions that hold only some castling rights.
#include <gtest/gtest.h>

#include "board/chessposition.h"
#include "movegen/movegenerator.h"

namespace {
const BoardTables &tables() {
    static const BoardTables t;
    return t;
}

ChessPosition play(const std::string &fen, const std::string &moves) {
    ChessPosition p(tables());
    p.fen(fen);
    std::istringstream in(moves);
    for (std::string m; in >> m;)
        p.make_move(p.convert_to_move(m));
    return p;
}

bool generates(const ChessPosition &p, const std::string &text) {
    ChessPosition copy = p;
    MoveList list;
    MoveGenerator(tables()).generate_moves(copy, list);
    for (const Move &m : list)
        if (m.algebraic() == text) return true;
    return false;
}

const char *corners = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1";
} // namespace

TEST(CastlingRights, RookCapturedOnItsHomeSquare) {
    // Bishops take the h1 and a8 rooks on their home squares: exactly those rights go.
    ChessPosition p = play("r3k2r/8/8/8/8/8/6b1/R3K2R b KQkq - 0 1", "g2h1");
    EXPECT_EQ(p.castlingrights(), 0x0001 | 0x0100 | 0x8000);
    EXPECT_FALSE(generates(p, "e1g1"));
    EXPECT_TRUE(generates(p, "e1c1"));
    p = play("r3k2r/8/8/8/8/8/6B1/R3K2R w KQkq - 0 1", "g2a8");
    EXPECT_EQ(p.castlingrights(), 0x0001 | 0x0080 | 0x8000);
    EXPECT_FALSE(generates(p, "e8c8"));
    // A rook captured anywhere else takes no right with it.
    p = play("r3k2r/8/8/8/8/8/r7/R3K2R w KQkq - 0 1", "a1a2");
    EXPECT_EQ(p.castlingrights(), 0x0080 | 0x0100 | 0x8000);
    p = play("r3k2r/8/8/8/8/8/r7/1R2K2R w Kkq - 0 1", "b1b8");
    EXPECT_EQ(p.castlingrights(), 0x0080 | 0x0100 | 0x8000);
}

TEST(CastlingRights, RookOrKingMovingAndComingBack) {
    ChessPosition p = play(corners, "h1h2 a8a7 h2h1 a7a8");
    EXPECT_EQ(p.castlingrights(), 0x0001 | 0x8000); // gone for good, though the rooks are home again
    EXPECT_EQ(p.fen(), "r3k2r/8/8/8/8/8/8/R3K2R w Qk - 4 3");
    EXPECT_FALSE(generates(p, "e1g1"));
    p = play(corners, "e1f1 e8d8 f1e1 d8e8");
    EXPECT_EQ(p.castlingrights(), 0);
    p = play(corners, "e1h1"); // castling itself clears both of the side's rights
    EXPECT_EQ(p.castlingrights(), 0x0100 | 0x8000);
    EXPECT_EQ(p.fen(), "r3k2r/8/8/8/8/8/8/R4RK1 b kq - 1 1");
    p.unmake_move();
    EXPECT_EQ(p.castlingrights(), 0x0001 | 0x0080 | 0x0100 | 0x8000);
}

TEST(CastlingRights, NullMoveKeepsThemAndClearsEnPassant) {
    ChessPosition p = play("r3k2r/8/8/8/1p6/8/P7/R3K2R w KQkq - 3 1", "a2a4");
    ASSERT_EQ(p.ep().id(), 16);
    const std::uint64_t before = p.key();
    p.make_move(Move());
    EXPECT_EQ(p.castlingrights(), 0x0001 | 0x0080 | 0x0100 | 0x8000);
    EXPECT_EQ(p.ep().id(), 64);
    EXPECT_TRUE(p.white_to_move());
    EXPECT_EQ(p.get_dfz(), 1);
    EXPECT_EQ(p.key(), p.full_key_from_scratch());
    EXPECT_FALSE(p.draw_by_threefold_repetition()); // the null move is a barrier
    p.unmake_move();
    EXPECT_EQ(p.key(), before);
    EXPECT_EQ(p.ep().id(), 16);
}

TEST(FiftyMoveCounter, CapturesAndPawnMovesResetIt) {
    const std::string fen = "r3k3/1p6/8/8/8/8/1P6/R3K2N w - - 37 50";
    EXPECT_EQ(play(fen, "h1g3").get_dfz(), 38);
    EXPECT_EQ(play(fen, "a1a8").get_dfz(), 0);                 // a rook takes a rook
    EXPECT_EQ(play(fen, "b2b4").get_dfz(), 0);                 // a pawn moves
    EXPECT_EQ(play(fen, "h1g3 a8a1").get_dfz(), 0);            // black captures
    EXPECT_EQ(play(fen, "h1g3 a8a7 g3h1 a7a8").get_dfz(), 41); // quiet moves count on
    ChessPosition p = play(fen, "h1g3 a8a1");
    p.unmake_move();
    EXPECT_EQ(p.get_dfz(), 38);
    EXPECT_FALSE(play("4k2r/8/8/8/8/8/8/4K2R w - - 99 80", "h1h8").draw_by_fifty_move_rule());
}

// Each castling right alone, and pairs: the published Polyglot keys of these positions.
TEST(PositionKeys, EveryCombinationOfSingleCastlingRights) {
    const std::pair<const char *, std::uint64_t> cases[] = {
        {"K", 0xb74f09a9da190caaULL},    {"Q", 0x77fda1e061224e2aULL},  {"k", 0x23e6775e63873c1aULL},
        {"q", 0x986ef2bc0f3dd173ULL},    {"Kq", 0xa9b9ef726b8f1263ULL}, {"Qk", 0xd283c2d9bc0ebd8aULL},
        {"KQkq", 0xfda239cc692a6053ULL}, {"-", 0x86981467beabcfbaULL},
    };
    for (const auto &c : cases) {
        ChessPosition p(tables());
        p.fen(std::string("r3k2r/8/8/8/8/8/8/R3K2R w ") + c.first + " - 0 1");
        EXPECT_EQ(p.key(), c.second) << c.first;
    }
    // Reached by moves, a single black right gives the same key as when read.
    const ChessPosition moved = play(corners, "h1h2 h8h7 h2h1 h7h8");
    ChessPosition read(tables());
    read.fen("r3k2r/8/8/8/8/8/8/R3K2R w Qq - 4 3");
    EXPECT_EQ(moved.key(), read.key());
}

TEST(EnPassant, EdgeFilesAndSquaresNoPawnCanUse) {
    // Beside an edge-file destination the test also sees the far edge of the neighbouring rank, so a
    // pawn there sets the square too (the key then carries it); no capture comes of it.
    ChessPosition p = play("4k3/8/8/8/8/7p/P7/4K3 w - - 0 1", "a2a4");
    EXPECT_EQ(p.ep().id(), 16);
    EXPECT_FALSE(generates(p, "h3a3"));
    EXPECT_EQ(play("4k3/8/8/8/1p6/8/P7/4K3 w - - 0 1", "a2a4").ep().id(), 16);
    EXPECT_TRUE(generates(play("4k3/8/8/8/1p6/8/P7/4K3 w - - 0 1", "a2a4"), "b4a3"));
    EXPECT_EQ(play("4k3/8/8/8/8/8/P7/4K3 w - - 0 1", "a2a4").ep().id(), 64);
    EXPECT_EQ(play("4k3/7p/8/6P1/8/8/8/4K3 b - - 0 1", "h7h5").ep().id(), 47);
    EXPECT_TRUE(generates(play("4k3/7p/8/6P1/8/8/8/4K3 b - - 0 1", "h7h5"), "g5h6"));
    EXPECT_EQ(play("4k3/7p/P7/8/8/8/8/4K3 b - - 0 1", "h7h5").ep().id(), 47);

    // A square from the FEN that no pawn can use (e7-e5 was played, no white pawn beside it): no en-passant
    // move, and the key differs.
    ChessPosition unusable(tables()), plain(tables());
    unusable.fen("4k3/8/8/1P2p3/8/8/8/4K3 w - e6 0 1");
    plain.fen("4k3/8/8/1P2p3/8/8/8/4K3 w - - 0 1");
    EXPECT_FALSE(generates(unusable, "b5c6"));
    EXPECT_EQ(unusable.ep().id(), 44);
    EXPECT_NE(unusable.key(), plain.key());
}

// A FEN's en-passant square without the pawn that passed over it is dropped: taken as written, a capture
// onto it would remove a pawn that was never there.
TEST(EnPassant, TrustedCaptureOfAPawnThatIsNotThere) {
    ChessPosition p(tables());
    p.fen("4k3/8/8/3P4/8/8/8/4K3 w - e6 0 1");
    EXPECT_EQ(p.ep().id(), 64);
    p.fen("4k3/8/8/3Pp3/8/8/8/4K3 b - e3 0 1"); // wrong side's rank
    EXPECT_EQ(p.ep().id(), 64);
    p.fen("4k3/8/8/3P4/8/8/8/4K3 w - e6 0 1");
    p.make_move(p.convert_to_move("d5e6"));
    EXPECT_TRUE(p.consistent());
    EXPECT_EQ(p.pieces(bpawn).popcount(), 0);
    EXPECT_EQ(p.materialindex(), p.compute_materialindex());
}
