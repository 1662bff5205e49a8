// Value types: square parsing, mirrors, bit scans, piece values and move packing.
#include <functional>
#include <stdexcept>

#include <gtest/gtest.h>

#include "board/move.h"

namespace {
// The text of the logic_error that f throws, or "" when it throws none.
std::string error_of(const std::function<void()> &f) {
    try {
        f();
    } catch (const std::logic_error &e) {
        return e.what();
    }
    return "";
}
} // namespace

TEST(Square, ParsingIsLenientButRangeChecked) {
    EXPECT_EQ(Square().id(), 64);
    EXPECT_EQ(Square().name(), "no_square");
    EXPECT_EQ(error_of([] { Square(65).name(); }), "Square::name()const msquare=65");
    EXPECT_EQ(error_of([] { Square(-1).name(); }), "Square::name()const msquare=-1");
    EXPECT_EQ(Square(std::string("h8")).id(), 63);
    EXPECT_EQ(Square(std::string("a1")).id(), 0);
    EXPECT_EQ(Square(std::string("i1")).id(), 8); // a2: only the id is checked
    EXPECT_EQ(error_of([] { Square(std::string("a9")); }), "Square::Square(string)  out of range");
    EXPECT_EQ(error_of([] { Square(std::string("A1")); }), "Square::Square(string)  out of range");
    EXPECT_EQ(error_of([] { Square(std::string("e")); }), "Square::Square(string)  size() error");
    EXPECT_EQ(error_of([] { Square(std::string("e44")); }), "Square::Square(string)  size() error");
    EXPECT_EQ(flip(Square(std::string("e2"))).name(), "e7");
    EXPECT_EQ(flop(Square(std::string("b1"))).name(), "g1");
}

TEST(BitBoard, ScansCountsAndMirrors) {
    EXPECT_EQ(BitBoard().get_first_square().id(), 64);
    EXPECT_EQ(BitBoard(~0ULL).get_first_square().id(), 0);
    EXPECT_EQ(rank8.get_first_square().id(), 56);
    for (int s = 0; s < 64; ++s)
        ASSERT_EQ(Square(s).bitboard().get_unique_square().id(), s);
    EXPECT_EQ(BitBoard(~0ULL).popcount(), 64);
    EXPECT_EQ(white_squares.popcount(), 32);
    EXPECT_EQ(black_squares.popcount(), 32);
    BitBoard b = rank1;
    b.flip();
    EXPECT_EQ(b, rank8);
    b = a_file | Square(9).bitboard();
    b.flop();
    EXPECT_EQ(b, h_file | Square(14).bitboard());
    std::uint64_t raw = 0x8100000000000081ULL;
    EXPECT_EQ(BitBoard::get_reset_square(raw).id(), 0);
    EXPECT_EQ(raw, 0x8100000000000080ULL);
    EXPECT_TRUE(Square(1).color());  // b1 is light
    EXPECT_FALSE(Square(0).color()); // a1 is dark
}

TEST(Piece, ValuesAndErrors) {
    EXPECT_TRUE(Piece(0).white_piece());
    EXPECT_EQ(Piece(8).abs_value(), 0);
    EXPECT_EQ(Piece(bqueen).value(), -900);
    EXPECT_EQ(Piece(wking).name(), "white king");
    testing::internal::CaptureStdout();
    EXPECT_EQ(error_of([] { Piece(7).value(); }), "Piece::value out of range");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Piece: 7\n");
    EXPECT_EQ(error_of([] { Piece(15).abs_value(); }), "Piece::abs_value out of range:");
    EXPECT_EQ(error_of([] { Piece(8).name(); }), "Piece::unknown piece");
}

TEST(Move, PackingComparisonAndText) {
    const Move e2e4(Square(12), Square(28), normal_move, wpawn, no_piece_t);
    EXPECT_EQ(e2e4.word(), 0x0910131Cu);
    EXPECT_EQ(e2e4.algebraic(), "e2e4");
    Move killer = e2e4;
    killer.xcode(xmove_t::killer);
    EXPECT_TRUE(killer == e2e4);
    EXPECT_TRUE(killer < e2e4);
    EXPECT_EQ(Move(Square(49), Square(56), promo_knight, wpawn, brook).algebraic(), "b7a8n");
    const Move short_castle(Square(4), Square(7), castling, wking, no_piece_t);
    EXPECT_EQ(short_castle.algebraic(false), "e1g1");
    EXPECT_EQ(short_castle.algebraic(true), "e1h1");
    EXPECT_EQ(Move(Square(1), Square(0), castling, wking, no_piece_t).algebraic(false), "b1a1");
    EXPECT_EQ(Move().from().id(), 64);
    EXPECT_EQ(Move().algebraic(), "0000");
    Move m = e2e4;
    m.check(true);
    m.capture_id(bknight);
    EXPECT_EQ(m.to_id(), 28);
    EXPECT_EQ(m.piece_id(), wpawn);
    EXPECT_TRUE(m.check());
    EXPECT_NE(m.dump().find("capture:black knight"), std::string::npos);
}
