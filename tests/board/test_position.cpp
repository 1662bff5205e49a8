// Position set-up, FEN, keys and the draw rules; what make_move keeps and clears: castling rights, the
// fifty-move counter and the en-passant square. Make and unmake over random games: test_movegen.

#include <gtest/gtest.h>

#include "board/chessposition.h"
#include "movegen/movegenerator.h"

namespace {
const BoardTables &tables() {
    static const BoardTables t;
    return t;
}

ChessPosition after(const std::string &moves, const std::string &fen = "") {
    ChessPosition p(tables());
    if (fen.empty())
        p.newgame();
    else
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

TEST(PositionKeys, PublishedPolyglotKeys) {
    const std::pair<const char *, std::uint64_t> cases[] = {
        {"", 0x463b96181691fc9cULL},
        {"e2e4", 0x823c9b50fd114196ULL},
        {"e2e4 d7d5", 0x0756b94461c50fb0ULL},
        {"e2e4 d7d5 e4e5", 0x662fafb965db29d4ULL},
        {"e2e4 d7d5 e4e5 f7f5", 0x22a48b5a8e47ff78ULL},
        {"e2e4 d7d5 e4e5 f7f5 e1e2", 0x652a607ca3f242c1ULL},
        {"e2e4 d7d5 e4e5 f7f5 e1e2 e8f7", 0x00fdd303c946bdd9ULL},
        {"a2a4 b7b5 h2h4 b5b4 c2c4", 0x3c8123ea7b067637ULL},
        {"a2a4 b7b5 h2h4 b5b4 c2c4 b4c3 a1a3", 0x5c3f9b829b279560ULL},
    };
    for (const auto &c : cases) {
        const ChessPosition p = after(c.first);
        EXPECT_EQ(p.key(), c.second) << c.first;
        EXPECT_EQ(p.key(), p.full_key_from_scratch()) << c.first;
    }
}

TEST(PositionKeys, PawnKeyIgnoresPieces) {
    const ChessPosition c = after("g1f3 g8f6"), d = after("");
    EXPECT_EQ(c.get_pawnhash(), d.get_pawnhash());
    EXPECT_NE(after("e2e4").get_pawnhash(), d.get_pawnhash());
}

TEST(PositionFen, RoundTripsAndCastlingForms) {
    for (const char *fen : {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
                            "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
                            "8/8/1k6/2b5/2pP4/8/5K2/8 b - d3 0 1",
                            "bqnb1rkr/pp3ppp/3ppn2/2p5/5P2/P2P4/NPP1P1PP/BQ1BNRKR w FHfh - 2 9"}) {
        ChessPosition p(tables());
        p.fen(fen);
        EXPECT_EQ(p.fen(), fen);
    }
    ChessPosition p(tables());
    p.newgame();
    p.set_chess960(true);
    EXPECT_EQ(p.fen(), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w AHah - 0 1");
    p.fen("4k3/8/8/8/8/8/8/1R2K3 w K - 0 1"); // "K" scans h1..c1 and finds nothing: b-file
    EXPECT_EQ(p.castlingrights(), 0x0002);
    p.fen("4k3/8/8/8/8/8/8/4K2R w Q - 0 1"); // "Q" scans a1..f1: nothing, g-file
    EXPECT_EQ(p.castlingrights(), 0x0040);
    p.fen("4k3/8/8/4p3/8/8/8/4K3 w - e5");
    EXPECT_EQ(p.ep().id(), 44); // any second character but '3' means rank 6
    EXPECT_EQ(p.get_dfz(), 0);
    EXPECT_EQ(p.move_number(), 1);
    p.fen("4k3/8/8/8/4P3/8/8/4K3 b - e3 x abc");
    EXPECT_EQ(p.ep().id(), 20);
    EXPECT_EQ(p.move_number(), 1);
}

TEST(PositionMoves, ConvertTranslatesCastlingAndRejectsNonsense) {
    ChessPosition p(tables());
    p.fen("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
    EXPECT_EQ(p.convert_to_move("e1g1").code(), castling);
    EXPECT_EQ(p.convert_to_move("e1g1").to_id(), 7);
    EXPECT_EQ(p.convert_to_move("e1h1").code(), castling);
    EXPECT_EQ(p.convert_to_move("e1c1").to_id(), 0);
    EXPECT_THROW(p.convert_to_move("e9e1"), std::logic_error);
    EXPECT_THROW(p.convert_to_move("e1"), std::logic_error);
    EXPECT_THROW(p.convert_to_move("d4d5"), std::logic_error); // no piece there
    EXPECT_THROW(p.convert_to_move("e8e7"), std::logic_error); // not black's turn
    p.fen("4k3/1P6/8/3pP3/8/8/8/4K3 w - d6 0 1");
    EXPECT_EQ(p.convert_to_move("e5d6").code(), en_passant);
    EXPECT_EQ(p.convert_to_move("b7b8n").code(), promo_knight);
    EXPECT_EQ(p.convert_to_move("b7b8b").code(), promo_bishop);
    EXPECT_EQ(p.convert_to_move("b7b8r").code(), promo_rook);
    EXPECT_EQ(p.convert_to_move("b7b8q").code(), promo_queen);
    EXPECT_EQ(p.convert_to_move("b7b8").code(), promo_queen);
}

TEST(PositionDraws, RepetitionAndFiftyMoves) {
    EXPECT_FALSE(after("g1f3 g8f6 f3g1").draw_by_threefold_repetition());
    // One earlier occurrence is enough, unless a pawn move stands between.
    EXPECT_TRUE(after("g1f3 g8f6 f3g1 f6g8").draw_by_threefold_repetition());
    EXPECT_FALSE(after("g1f3 g8f6 e2e4 f6g8 f3g1 b8c6 g1f3").draw_by_threefold_repetition());
    const char *fen = "4k3/8/8/8/8/8/8/4K2R w - - 99 80";
    EXPECT_FALSE(after("", fen).draw_by_fifty_move_rule());
    EXPECT_TRUE(after("h1h2", fen).draw_by_fifty_move_rule());
}

// The colour and left-right mirrors that the evaluation's symmetry tests rely on.
TEST(PositionSetup, Mirrors) {
    ChessPosition p(tables());
    p.fen("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
    const std::string fen = p.fen();
    p.flip();
    EXPECT_EQ(p.fen(), "r3k2r/pppbbppp/2n2q1P/1P2p3/3pn3/BN2PNP1/P1PPQPB1/R3K2R b KQkq - 0 1");
    p.flip();
    EXPECT_EQ(p.fen(), fen);
    p.fen("4k3/1p6/8/8/8/8/6P1/3QK3 w - - 0 1");
    p.flop();
    EXPECT_EQ(p.fen(), "3k4/6p1/8/8/8/8/1P6/3KQ3 w - - 0 1");
}

TEST(PositionSetup, RefusesMaterialTheIndexCannotCount) {
    // Four bits a kind: 16 men a side fit even after every promotion, a 17th does not. The fuzzer's
    // sixteen black pawns on short ranks made the index wrong after a single move.
    ChessPosition p(tables());
    p.fen("4k3/8/8/8/8/1QQQQQQQ/QQQQQQQQ/4K3 b - - 0 1");
    EXPECT_EQ(p.setup_error(), "");
    p.fen("4k3/8/8/8/Q7/1QQQQQQQ/QQQQQQQQ/4K3 b - - 0 1");
    EXPECT_EQ(p.setup_error(), "a side has more than 16 men");
    p.fen("4K3/8/8/8/q7/1qqqqqqq/qqqqqqqq/4k3 w - - 0 1");
    EXPECT_EQ(p.setup_error(), "a side has more than 16 men");
    p.fen("nrnqkbnr/pppppppp/8/8/QKBNR/pppppppp/8 w KQkq - 0 1");
    EXPECT_NE(p.setup_error(), "");
}

TEST(CastlingRights, RookCapturedOnItsHomeSquare) {
    // Bishops take the h1 and a8 rooks on their home squares: exactly those rights go.
    ChessPosition p = after("g2h1", "r3k2r/8/8/8/8/8/6b1/R3K2R b KQkq - 0 1");
    EXPECT_EQ(p.castlingrights(), 0x0001 | 0x0100 | 0x8000);
    EXPECT_FALSE(generates(p, "e1g1"));
    EXPECT_TRUE(generates(p, "e1c1"));
    p = after("g2a8", "r3k2r/8/8/8/8/8/6B1/R3K2R w KQkq - 0 1");
    EXPECT_EQ(p.castlingrights(), 0x0001 | 0x0080 | 0x8000);
    EXPECT_FALSE(generates(p, "e8c8"));
    // A rook captured anywhere else takes no right with it.
    p = after("a1a2", "r3k2r/8/8/8/8/8/r7/R3K2R w KQkq - 0 1");
    EXPECT_EQ(p.castlingrights(), 0x0080 | 0x0100 | 0x8000);
    p = after("b1b8", "r3k2r/8/8/8/8/8/r7/1R2K2R w Kkq - 0 1");
    EXPECT_EQ(p.castlingrights(), 0x0080 | 0x0100 | 0x8000);
}

TEST(CastlingRights, RookOrKingMovingAndComingBack) {
    ChessPosition p = after("h1h2 a8a7 h2h1 a7a8", corners);
    EXPECT_EQ(p.castlingrights(), 0x0001 | 0x8000); // gone for good, though the rooks are home again
    EXPECT_EQ(p.fen(), "r3k2r/8/8/8/8/8/8/R3K2R w Qk - 4 3");
    EXPECT_FALSE(generates(p, "e1g1"));
    p = after("e1f1 e8d8 f1e1 d8e8", corners);
    EXPECT_EQ(p.castlingrights(), 0);
    p = after("e1h1", corners); // castling itself clears both of the side's rights
    EXPECT_EQ(p.castlingrights(), 0x0100 | 0x8000);
    EXPECT_EQ(p.fen(), "r3k2r/8/8/8/8/8/8/R4RK1 b kq - 1 1");
    p.unmake_move();
    EXPECT_EQ(p.castlingrights(), 0x0001 | 0x0080 | 0x0100 | 0x8000);
}

TEST(CastlingRights, NullMoveKeepsThemAndClearsEnPassant) {
    ChessPosition p = after("a2a4", "r3k2r/8/8/8/1p6/8/P7/R3K2R w KQkq - 3 1");
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
    EXPECT_EQ(after("h1g3", fen).get_dfz(), 38);
    EXPECT_EQ(after("a1a8", fen).get_dfz(), 0);                 // a rook takes a rook
    EXPECT_EQ(after("b2b4", fen).get_dfz(), 0);                 // a pawn moves
    EXPECT_EQ(after("h1g3 a8a1", fen).get_dfz(), 0);            // black captures
    EXPECT_EQ(after("h1g3 a8a7 g3h1 a7a8", fen).get_dfz(), 41); // quiet moves count on
    ChessPosition p = after("h1g3 a8a1", fen);
    p.unmake_move();
    EXPECT_EQ(p.get_dfz(), 38);
    EXPECT_FALSE(after("h1h8", "4k2r/8/8/8/8/8/8/4K2R w - - 99 80").draw_by_fifty_move_rule());
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
    const ChessPosition moved = after("h1h2 h8h7 h2h1 h7h8", corners);
    ChessPosition read(tables());
    read.fen("r3k2r/8/8/8/8/8/8/R3K2R w Qq - 4 3");
    EXPECT_EQ(moved.key(), read.key());
    // Rooks on inner files (Chess960) have no key of their own in the scheme, yet their rights must still
    // tell positions apart: the table and the repetition test would confuse them otherwise.
    std::uint64_t keys[3];
    const char *rights[3] = {"BGbg", "Bb", "-"};
    for (int i = 0; i < 3; ++i) {
        ChessPosition inner(tables());
        inner.fen(std::string("1r2k1r1/8/8/8/8/8/8/1R2K1R1 w ") + rights[i] + " - 0 1");
        keys[i] = inner.key();
    }
    EXPECT_NE(keys[0], keys[1]);
    EXPECT_NE(keys[0], keys[2]);
    EXPECT_NE(keys[1], keys[2]);
}

TEST(EnPassant, EdgeFilesAndSquaresNoPawnCanUse) {
    // Beside an edge-file destination the test also sees the far edge of the neighbouring rank, so a
    // pawn there sets the square too (the key then carries it); no capture comes of it.
    ChessPosition p = after("a2a4", "4k3/8/8/8/8/7p/P7/4K3 w - - 0 1");
    EXPECT_EQ(p.ep().id(), 16);
    EXPECT_FALSE(generates(p, "h3a3"));
    EXPECT_EQ(after("a2a4", "4k3/8/8/8/1p6/8/P7/4K3 w - - 0 1").ep().id(), 16);
    EXPECT_TRUE(generates(after("a2a4", "4k3/8/8/8/1p6/8/P7/4K3 w - - 0 1"), "b4a3"));
    EXPECT_EQ(after("a2a4", "4k3/8/8/8/8/8/P7/4K3 w - - 0 1").ep().id(), 64);
    EXPECT_EQ(after("h7h5", "4k3/7p/8/6P1/8/8/8/4K3 b - - 0 1").ep().id(), 47);
    EXPECT_TRUE(generates(after("h7h5", "4k3/7p/8/6P1/8/8/8/4K3 b - - 0 1"), "g5h6"));
    EXPECT_EQ(after("h7h5", "4k3/7p/P7/8/8/8/8/4K3 b - - 0 1").ep().id(), 47);

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
