// Attack tables against the slow reference walk and plain geometry; the memory of the magic tables.
#include <cstdlib>
#include <random>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "movegen/attacks.h"

namespace {
const Attacks &attacks() {
    static const Attacks a;
    return a;
}

} // namespace

TEST(Attacks, SlidersEqualTheReferenceWalk) {
    const Attacks &a = attacks();
    // The squares with an extra index bit, over every subset of their masks.
    for (const BitBoard &occ : MagicMoves::possible_occupancies(BishopMask().get_mask(Square(27))))
        ASSERT_EQ(a.bishop(Square(27), occ), MagicMoves::bishop_moves(Square(27), occ));
    for (const BitBoard &occ : MagicMoves::possible_occupancies(RookMask().get_mask(Square(60))))
        ASSERT_EQ(a.rook(Square(60), occ), MagicMoves::rook_moves(Square(60), occ));
    // Every square on random boards; squares off the rays must not matter.
    std::mt19937_64 rng(7);
    for (int s = 0; s < 64; ++s)
        for (int i = 0; i < 400; ++i) {
            const Square sq(s);
            const BitBoard occ(i % 2 ? rng() & rng() : rng());
            const BitBoard rook = MagicMoves::rook_moves(sq, occ), bishop = MagicMoves::bishop_moves(sq, occ);
            ASSERT_EQ(a.rook(sq, occ), rook) << sq.name();
            ASSERT_EQ(a.bishop(sq, occ), bishop) << sq.name();
            ASSERT_EQ(a.queen(sq.bitboard(), occ), rook | bishop) << sq.name();
        }
}

TEST(Attacks, MemoryOfTheMagicTables) {
    // One index byte per slot of the fixed magics (a wider shift wastes memory on the small target), and
    // each distinct attack set stored once.
    std::size_t distinct = 0;
    for (int s = 0; s < 64; ++s) {
        std::set<std::uint64_t> b, r;
        for (const BitBoard &occ : MagicMoves::possible_occupancies(BishopMask().get_mask(Square(s))))
            b.insert(MagicMoves::bishop_moves(Square(s), occ).value());
        for (const BitBoard &occ : MagicMoves::possible_occupancies(RookMask().get_mask(Square(s))))
            r.insert(MagicMoves::rook_moves(Square(s), occ).value());
        distinct += b.size() + r.size();
    }
    EXPECT_EQ(attacks().index_bytes(), 5760u + 105472u);
    EXPECT_EQ(attacks().set_bytes(), distinct * sizeof(BitBoard));
}

TEST(Attacks, Leapers) {
    const Attacks &a = attacks();
    EXPECT_EQ(a.knight(Square(62).bitboard()), BitBoard({Square("e7"), Square("f6"), Square("h6")}));
    EXPECT_EQ(a.king(Square(8).bitboard()),
              BitBoard({Square("a1"), Square("b1"), Square("b2"), Square("b3"), Square("a3")}));
    int knight_moves = 0, king_moves = 0; // wrap-around across the a/h files would inflate these
    for (int s = 0; s < 64; ++s) {
        knight_moves += a.knight(Square(s)).popcount();
        king_moves += a.king(Square(s)).popcount();
    }
    EXPECT_EQ(knight_moves, 336);
    EXPECT_EQ(king_moves, 420);
}

TEST(Connections, SegmentsFollowTheLines) {
    const Connections c;
    // The empty-board attacks as the sliding tables give them; every ordered pair of squares against a
    // step-by-step walk from a towards b.
    for (int a = 0; a < 64; ++a) {
        ASSERT_EQ(c.rook_attacks(Square(a)), attacks().rook(Square(a), BitBoard())) << a;
        ASSERT_EQ(c.bishop_attacks(Square(a)), attacks().bishop(Square(a), BitBoard())) << a;
        ASSERT_EQ(c.queen_attacks(Square(a)), c.rook_attacks(Square(a)) | c.bishop_attacks(Square(a))) << a;
        for (int b = 0; b < 64; ++b) {
            const int df = b % 8 - a % 8, dr = b / 8 - a / 8;
            BitBoard between;
            if (a != b && (df == 0 || dr == 0 || std::abs(df) == std::abs(dr))) {
                const int step = (df > 0) - (df < 0) + 8 * ((dr > 0) - (dr < 0));
                for (int s = a + step; s != b; s += step)
                    between.set_square(Square(s));
            }
            ASSERT_EQ(c.line_segment(Square(a), Square(b)), between) << a << " " << b;
            ASSERT_EQ(c.closed_line_segment(Square(a), Square(b)),
                      between | Square(a).bitboard() | Square(b).bitboard())
                << a << " " << b;
        }
    }
}

TEST(Distance, KingDistancesAndRings) {
    const Distance d;
    EXPECT_EQ(d(Square(0), Square(63)), 7);
    std::mt19937_64 rng(11);
    for (int s = 0; s < 64; ++s) {
        EXPECT_EQ(d(Square(s), BitBoard()), 8);
        for (int i = 0; i < 50; ++i) {
            const BitBoard b(rng() & rng() & rng() & rng());
            int nearest = 8;
            for (const Square &t : b.get_squares())
                nearest = std::min(
                    nearest, std::max(std::abs(t.file_number() - s % 8), std::abs(t.rank_number() - s / 8)));
            ASSERT_EQ(d(Square(s), b), nearest) << s;
        }
    }
}
