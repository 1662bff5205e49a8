// Position set-up, FEN, keys, make/unmake and the draw rules.
#include <random>
#include <tuple>

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

TEST(PositionKeys, UnusableEnPassantSquareChangesTheKeyAndPawnKeyIgnoresPieces) {
    ChessPosition a(tables()), b(tables());
    a.fen("4k3/8/8/8/4P3/8/8/4K3 b - e3 0 1");
    b.fen("4k3/8/8/8/4P3/8/8/4K3 b - - 0 1");
    EXPECT_NE(a.key(), b.key());
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

TEST(PositionFen, MalformedBoardFieldsThrow) {
    ChessPosition p(tables());
    EXPECT_THROW(p.fen("rnbqkbnr/ppppXppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"), std::logic_error);
    EXPECT_THROW(p.fen("rnbqkbnrr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w - - 0 1"), std::logic_error);
    EXPECT_THROW(p.fen("8/8/8/8/8/8/8/8/8 w - - 0 1"), std::logic_error);
    EXPECT_THROW(p.fen("44p/8/8/8/8/8/8/8 w - - 0 1"), std::logic_error);
    EXPECT_THROW(p.fen("7z/8/8/8/8/8/8/8 w - - 0 1"), std::logic_error);
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
    EXPECT_EQ(p.convert_to_move("b7b8").code(), promo_queen);
}

TEST(PositionMoves, MakeAndUnmakeRestoreEverythingOverRandomGames) {
    std::mt19937 rng(12345);
    MoveGenerator gen(tables());
    for (int game = 0; game < 40; ++game) {
        ChessPosition p(tables());
        if (game % 4 == 3)
            p.newgame960(game * 23);
        else
            p.newgame();
        // Everything make_move changes, and unmake_move must put back.
        auto state = [](const ChessPosition &q) {
            return std::make_tuple(q.fen(), q.key(), q.get_pawnhash(), q.materialindex().index());
        };
        std::vector<decltype(state(p))> states{state(p)};
        for (int ply = 0; ply < 120; ++ply) {
            MoveList list;
            gen.generate_moves(p, list);
            if (list.size() == 0) break;
            p.make_move(list[static_cast<int>(rng() % list.size())]);
            ASSERT_EQ(p.key(), p.full_key_from_scratch()) << p.fen();
            ASSERT_EQ(p.materialindex(), p.compute_materialindex()) << p.fen();
            ASSERT_TRUE(p.consistent());
            states.push_back(state(p));
        }
        while (states.size() > 1) {
            states.pop_back();
            p.unmake_move();
            ASSERT_EQ(state(p), states.back());
        }
    }
}

TEST(PositionDraws, RepetitionAndFiftyMoves) {
    ChessPosition p = after("g1f3 g8f6 f3g1");
    EXPECT_FALSE(p.draw_by_threefold_repetition());
    p.make_move(p.convert_to_move("f6g8"));
    EXPECT_TRUE(p.draw_by_threefold_repetition()); // one earlier occurrence is enough
    p = after("g1f3 g8f6 e2e4 f6g8 f3g1");         // a pawn move stands between
    p.make_move(p.convert_to_move("b8c6"));
    p.make_move(p.convert_to_move("g1f3"));
    EXPECT_FALSE(p.draw_by_threefold_repetition());
    p.fen("4k3/8/8/8/8/8/8/4K2R w - - 99 80");
    EXPECT_FALSE(p.draw_by_fifty_move_rule());
    p.make_move(p.convert_to_move("h1h2"));
    EXPECT_TRUE(p.draw_by_fifty_move_rule());
}

TEST(PositionSetup, Chess960NumberingAndMirrors) {
    ChessPosition p(tables());
    p.newgame960(0);
    EXPECT_EQ(p.fen().substr(0, 8), "bbqnnrkr");
    p.newgame960(959);
    EXPECT_EQ(p.fen().substr(0, 8), "rkrnnqbb");
    for (int n : {-1, 960, 5000}) {
        p.newgame960(n);
        EXPECT_EQ(p.pieces(wking).popcount(), 1);
        EXPECT_EQ(p.pieces(wrook).popcount(), 2);
    }
    p.fen("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
    const std::string fen = p.fen();
    p.flip();
    EXPECT_EQ(p.fen(), "r3k2r/pppbbppp/2n2q1P/1P2p3/3pn3/BN2PNP1/P1PPQPB1/R3K2R b KQkq - 0 1");
    p.flip();
    EXPECT_EQ(p.fen(), fen);
    p.flop();
    p.flop();
    EXPECT_EQ(p.fen(), fen);
}
