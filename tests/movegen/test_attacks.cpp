// Attack tables against the slow reference walk, and the segment and distance tables.
#include <random>

#include <gtest/gtest.h>

#include "movegen/attacks.h"

namespace {
const Attacks &attacks() {
    static const Attacks a;
    return a;
}
BitBoard squares(std::initializer_list<const char *> names) {
    BitBoard b;
    for (const char *n : names)
        b.set_square(Square(std::string(n)));
    return b;
}
} // namespace

TEST(Attacks, SlidersEqualTheReferenceWalk) {
    const Attacks &a = attacks();
    EXPECT_EQ(a.rook(Square(0), BitBoard()), (a_file | rank1) & ~Square(0).bitboard());
    EXPECT_EQ(a.rook(Square(0), squares({"a4"})),
              squares({"a2", "a3", "a4"}) | (rank1 & ~Square(0).bitboard()));
    // Every subset of the masks of the squares with an extra index bit, then random boards everywhere.
    const MagicMoves builder;
    EXPECT_TRUE(builder.selftest_ok());
    for (const BitBoard &occ : MagicMoves::possible_occupancies(BishopMask().get_mask(Square(27))))
        ASSERT_EQ(a.bishop(Square(27), occ), MagicMoves::bishop_moves(Square(27), occ));
    for (const BitBoard &occ : MagicMoves::possible_occupancies(RookMask().get_mask(Square(60))))
        ASSERT_EQ(a.rook(Square(60), occ), MagicMoves::rook_moves(Square(60), occ));
    std::mt19937_64 rng(7);
    for (int i = 0; i < 20000; ++i) {
        const Square s(static_cast<int>(rng() % 64));
        const BitBoard occ(rng() & rng());
        ASSERT_EQ(a.rook(s, occ), MagicMoves::rook_moves(s, occ));
        ASSERT_EQ(a.bishop(s, occ), MagicMoves::bishop_moves(s, occ));
        ASSERT_EQ(a.queen(s, occ), MagicMoves::rook_moves(s, occ) | MagicMoves::bishop_moves(s, occ));
    }
}

TEST(Attacks, MagicTableKeepsItsFixedRowsAndIndexSizes) {
    const MagicNumber m;
    EXPECT_EQ(m[0].multiplier, 0x014501040C040041ULL);
    EXPECT_EQ(m[27].multiplier, 0x0C01001214004202ULL);
    EXPECT_EQ(m[27].shift, 54u);
    EXPECT_EQ(m[64].multiplier, 0x108001228011C002ULL);
    EXPECT_EQ(m[127].multiplier, 0x82010000820C2145ULL);
    std::size_t bishop_slots = 0, rook_slots = 0;
    for (int i = 0; i < 64; ++i) {
        bishop_slots += std::size_t(1) << (64 - m[i].shift);
        rook_slots += std::size_t(1) << (64 - m[64 + i].shift);
    }
    EXPECT_EQ(bishop_slots, 5760u);
    EXPECT_EQ(rook_slots, 105472u);
    EXPECT_EQ(m[64 + 45].shift, 53u); // rook f6: one bit more than its mask needs
    EXPECT_EQ(m[64 + 60].shift, 52u); // rook e8
}

TEST(Attacks, LeapersSegmentsAndDistances) {
    const Attacks &a = attacks();
    EXPECT_EQ(a.knight(Square(0)).popcount(), 2);
    EXPECT_EQ(a.knight(Square(27)).popcount(), 8);
    EXPECT_EQ(a.king(Square(63)).popcount(), 3);
    const Connections c;
    EXPECT_EQ(c.line_segment(Square(0), Square(63)),
              diagonal & ~(Square(0).bitboard() | Square(63).bitboard()));
    EXPECT_FALSE(c.line_segment(Square(0), Square(17)));
    EXPECT_EQ(c.closed_line_segment(Square(0), Square(17)), squares({"a1", "b3"}));
    EXPECT_EQ(c.closed_line_segment(Square(28), Square(28)), squares({"e4"}));
    EXPECT_EQ(c.line_segment(Square(4), Square(60)), squares({"e2", "e3", "e4", "e5", "e6", "e7"}));
    EXPECT_FALSE(c.line_segment(Square(4), Square(5)));
    const Distance d;
    EXPECT_EQ(d(Square(0), Square(63)), 7);
    EXPECT_EQ(d(Square(0), BitBoard()), 8);
    EXPECT_EQ(d(Square(28), Square(28).bitboard()), 0);
    EXPECT_EQ(d(Square(0), squares({"c2", "h8"})), 2);
    EXPECT_EQ(d.ring(Square(0), 1), squares({"a1", "a2", "b1", "b2"}));
}
