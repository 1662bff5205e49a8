// Attack tables against the slow reference walk and plain geometry; the constant magic table.
#include <cstdlib>
#include <random>
#include <set>
#include <stdexcept>
#include <string>

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

// Index bits per square as the table is drawn: rank 8 first, files a to h.
// clang-format off
const int bishop_bits[8][8] = {{6, 5, 5, 5, 5, 5, 5, 6},
                               {5, 5, 5, 5, 5, 5, 5, 5},
                               {5, 5, 7, 7, 7, 7, 5, 5},
                               {5, 5, 7, 9, 9, 7, 5, 5},
                               {5, 5, 7, 10, 9, 7, 5, 5},
                               {5, 5, 7, 7, 7, 7, 5, 5},
                               {5, 5, 5, 5, 5, 5, 5, 5},
                               {6, 5, 5, 5, 5, 5, 5, 6}};
const int rook_bits[8][8] = {{12, 11, 11, 11, 12, 11, 11, 12},
                             {11, 10, 10, 10, 10, 10, 10, 11},
                             {11, 10, 10, 10, 10, 11, 10, 11},
                             {11, 10, 10, 10, 10, 10, 10, 11},
                             {11, 10, 10, 10, 10, 10, 10, 11},
                             {11, 10, 10, 10, 10, 10, 10, 11},
                             {11, 10, 10, 10, 10, 10, 10, 11},
                             {12, 11, 11, 11, 11, 11, 11, 12}};
// clang-format on
int drawn_bits(const int (&rows)[8][8], int square) { return rows[7 - square / 8][square % 8]; }
} // namespace

TEST(Attacks, SlidersEqualTheReferenceWalk) {
    const Attacks &a = attacks();
    const Square a1(0);
    EXPECT_EQ(a.rook(a1, BitBoard()), (a_file | rank1) & ~a1.bitboard());
    EXPECT_EQ(a.rook(a1, squares({"a4", "a6", "c3"})),
              squares({"a2", "a3", "a4"}) | (rank1 & ~a1.bitboard()));
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

TEST(Attacks, MagicTableRowsIndexBitsAndMemory) {
    const MagicNumber m;
    const struct {
        int entry;
        std::uint64_t multiplier;
        unsigned shift;
    } rows[] = {
        {0, 0x014501040C040041ULL, 58},  {1, 0x000921040C004602ULL, 59},  {2, 0x0110041840400030ULL, 59},
        {27, 0x0C01001214004202ULL, 54}, {63, 0x0C40020821002482ULL, 58}, {64, 0x108001228011C002ULL, 52},
        {65, 0xA04010004004E000ULL, 53}, {66, 0x43000A91A0010040ULL, 53}, {127, 0x82010000820C2145ULL, 52}};
    for (const auto &r : rows) {
        EXPECT_EQ(m[r.entry].multiplier, r.multiplier) << "entry " << r.entry;
        EXPECT_EQ(m[r.entry].shift, r.shift) << "entry " << r.entry;
    }
    std::size_t bishop_slots = 0, rook_slots = 0, distinct = 0;
    for (int s = 0; s < 64; ++s) {
        ASSERT_EQ(64 - int(m[s].shift), drawn_bits(bishop_bits, s)) << "bishop " << Square(s).name();
        ASSERT_EQ(64 - int(m[64 + s].shift), drawn_bits(rook_bits, s)) << "rook " << Square(s).name();
        bishop_slots += std::size_t(1) << (64 - m[s].shift);
        rook_slots += std::size_t(1) << (64 - m[64 + s].shift);
        std::set<std::uint64_t> b, r;
        for (const BitBoard &occ : MagicMoves::possible_occupancies(BishopMask().get_mask(Square(s))))
            b.insert(MagicMoves::bishop_moves(Square(s), occ).value());
        for (const BitBoard &occ : MagicMoves::possible_occupancies(RookMask().get_mask(Square(s))))
            r.insert(MagicMoves::rook_moves(Square(s), occ).value());
        distinct += b.size() + r.size();
    }
    EXPECT_EQ(bishop_slots, 5760u);
    EXPECT_EQ(rook_slots, 105472u);
    // One byte per slot, and each distinct attack set stored once.
    EXPECT_EQ(attacks().index_bytes(), 5760u + 105472u);
    EXPECT_EQ(attacks().set_bytes(), distinct * sizeof(BitBoard));
}

TEST(MagicMoves, VerifiesItsTable) {
    MagicMoves builder;
    EXPECT_TRUE(builder.selftest_ok());
    EXPECT_EQ(builder.size(), 5760u + 105472u);
    builder.rook_table[0][0] ^= BitBoard(1ULL << 9); // the empty board indexes slot 0
    testing::internal::CaptureStderr();
    EXPECT_FALSE(builder.selftest_ok());
    const std::string report = testing::internal::GetCapturedStderr();
    EXPECT_EQ(report.find("MagicMoves::selftest_ok() error in rookattacks"), 0u) << report;
    EXPECT_NE(report.find("magic_rook_moves:"), std::string::npos);

    Magic table[128];
    for (int i = 0; i < 128; ++i)
        table[i] = MagicNumber::table[i];
    table[64 + 2].multiplier = 0; // every subset of rook c1 collides on slot 0
    try {
        MagicMoves bad(table);
        ADD_FAILURE() << "a colliding multiplier was accepted";
    } catch (const std::logic_error &e) {
        EXPECT_STREQ(e.what(), "MagicMoves error(1) in constructor");
    }
}

TEST(Attacks, Leapers) {
    const Attacks &a = attacks();
    EXPECT_EQ(a.knight(Square(0)).popcount(), 2);
    EXPECT_EQ(a.knight(Square(27)).popcount(), 8);
    EXPECT_EQ(a.king(Square(63)).popcount(), 3);
    EXPECT_EQ(a.knight(Square(62).bitboard()), squares({"e7", "f6", "h6"}));
    EXPECT_EQ(a.king(Square(8).bitboard()), squares({"a1", "b1", "b2", "b3", "a3"}));
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
    EXPECT_EQ(c.rook_attacks(Square(0)), (a_file | rank1) & ~Square(0).bitboard());
    EXPECT_EQ(c.queen_attacks(Square(27)), c.rook_attacks(Square(27)) | c.bishop_attacks(Square(27)));
    EXPECT_EQ(c.bishop_attacks(Square(27)).popcount(), 13);
    EXPECT_EQ(c.line_segment(Square(0), Square(63)), squares({"b2", "c3", "d4", "e5", "f6", "g7"}));
    EXPECT_FALSE(c.line_segment(Square(0), Square(17)));
    EXPECT_EQ(c.closed_line_segment(Square(0), Square(17)), squares({"a1", "b3"}));
    EXPECT_EQ(c.closed_line_segment(Square(28), Square(28)), squares({"e4"}));
    // Every ordered pair against a step-by-step walk from a towards b.
    for (int a = 0; a < 64; ++a)
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

TEST(Distance, KingDistancesAndRings) {
    const Distance d;
    EXPECT_EQ(d(Square(0), Square(63)), 7);
    EXPECT_EQ(d(Square(28), Square(28).bitboard()), 0);
    EXPECT_EQ(d.ring(Square(0), 1), squares({"a1", "a2", "b1", "b2"}));
    EXPECT_EQ(d.ring(Square(7), 7), BitBoard(~0ULL));
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
