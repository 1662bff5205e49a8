// Value types: square parsing, mirrors, bit scans and move packing.
#include <initializer_list>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "board/move.h"

TEST(Square, ParsingIsLenientButRangeChecked) {
    EXPECT_EQ(Square(std::string("h8")).id(), 63);
    EXPECT_EQ(Square(std::string("i1")).id(), 8); // a2: only the id is checked
    for (const char *bad : {"a9", "A1", "e", "e44"})
        EXPECT_THROW(Square(std::string(bad)), std::logic_error) << bad;
    EXPECT_THROW(Square(65).name(), std::logic_error);
    EXPECT_EQ(flip(Square(std::string("e2"))).name(), "e7");
    EXPECT_EQ(flop(Square(std::string("b1"))).name(), "g1");
}

TEST(BitBoard, ScansAndMirrors) {
    EXPECT_EQ(BitBoard().get_first_square().id(), 64);
    for (int s = 0; s < 64; ++s)
        ASSERT_EQ(Square(s).bitboard().get_unique_square().id(), s);
    std::uint64_t raw = 0x8100000000000081ULL;
    EXPECT_EQ(BitBoard::get_reset_square(raw).id(), 0);
    EXPECT_EQ(raw, 0x8100000000000080ULL);
    BitBoard b = a_file | Square(9).bitboard();
    b.flop();
    EXPECT_EQ(b, h_file | Square(14).bitboard());
    b = rank1;
    b.flip();
    EXPECT_EQ(b, rank8);
}

TEST(BitBoard, PawnStepsStopAtTheEdgeOfTheBoard) {
    auto squares = [](std::initializer_list<const char *> names) {
        std::uint64_t b = 0;
        for (const char *n : names)
            b |= Square(std::string(n)).bitboard().value();
        return b;
    };
    // Pawns on the a- and h-files attack one square each, never one on the far side of the board.
    EXPECT_EQ(pawn_attacks<1>(squares({"a2", "h2"})), squares({"b3", "g3"}));
    EXPECT_EQ(pawn_attacks<0>(squares({"a7", "h7"})), squares({"b6", "g6"}));
    EXPECT_EQ(pawn_captures_west<1>(squares({"a2"})) | pawn_captures_east<0>(squares({"h7"})), 0u);
    EXPECT_EQ(pawn_attacks<1>(squares({"d8"})), 0u);
    // A white pawn attacks b3 from a2 and c2; a black one attacks g6 from f7 and h7.
    EXPECT_EQ(pawn_attack_origins<1>(squares({"b3"})), squares({"a2", "c2"}));
    EXPECT_EQ(pawn_attack_origins<0>(squares({"g6"})), squares({"f7", "h7"}));
    EXPECT_EQ(west_east(a_file.value() | h_file.value()), (b_file | g_file).value());
}

TEST(Move, ComparisonTextAndFlags) {
    const Move e2e4(Square(12), Square(28), normal_move, wpawn, no_piece_t);
    Move killer = e2e4;
    killer.xcode(xmove_t::killer);
    EXPECT_TRUE(killer == e2e4); // the ordering class is no part of the move
    EXPECT_TRUE(killer < e2e4);
    EXPECT_EQ(Move(Square(49), Square(56), promo_knight, wpawn, brook).algebraic(), "b7a8n");
    // Castling is written king onto rook in Chess960, else as the king's step from e1 or e8 only.
    const Move short_castle(Square(4), Square(7), castling, wking, no_piece_t);
    EXPECT_EQ(short_castle.algebraic(false), "e1g1");
    EXPECT_EQ(short_castle.algebraic(true), "e1h1");
    EXPECT_EQ(Move(Square(1), Square(0), castling, wking, no_piece_t).algebraic(false), "b1a1");
    Move m = e2e4;
    m.check(true);
    m.capture_id(bknight);
    EXPECT_EQ(m.to_id(), 28);
    EXPECT_EQ(m.capture_id(), bknight);
    EXPECT_TRUE(m.check());
}
