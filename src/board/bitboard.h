// Squares and bitboards: the value types every other part of the engine rests on.
#ifndef DRAVNIK_BOARD_BITBOARD_H
#define DRAVNIK_BOARD_BITBOARD_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace detail {
// Bit-scan hash: isolated bit times K, top 7 bits. The inverse table maps the 64 results back.
constexpr std::uint64_t debruijn_k = 0x0DB8F3FB14C8C21DULL;

struct FirstSquareTable {
    unsigned char v[128];
    constexpr FirstSquareTable() : v{} {
        for (int i = 0; i < 64; ++i)
            v[((debruijn_k << i) & ~0ULL) >> 57] = static_cast<unsigned char>(i);
        v[0] = 64; // the empty set scans to "no square"
    }
};

struct Popcount16Table {
    unsigned char v[65536];
    constexpr Popcount16Table() : v{} {
        for (unsigned i = 1; i < 65536; ++i) {
            unsigned x = i, n = 0;
            while (x) {
                x &= x - 1;
                ++n;
            }
            v[i] = static_cast<unsigned char>(n);
        }
    }
};
} // namespace detail

class BitBoard;

// Population count for the hot loops: the processor's instruction where the build enables it (x86 with
// -mpopcnt); otherwise arithmetic, with no 64 KiB table to pull through the cache. A 64-bit processor
// counts the whole word at once; a 32-bit one counts the two halves side by side, since each 64-bit step
// would cost it two instructions.
inline int bit_count(std::uint64_t b) {
#if defined(__POPCNT__)
    return __builtin_popcountll(b);
#elif UINTPTR_MAX > 0xFFFFFFFFu
    b = b - ((b >> 1) & 0x5555555555555555ULL);
    b = (b & 0x3333333333333333ULL) + ((b >> 2) & 0x3333333333333333ULL);
    b = (b + (b >> 4)) & 0x0F0F0F0F0F0F0F0FULL;
    return static_cast<int>((b * 0x0101010101010101ULL) >> 56);
#else
    std::uint32_t lo = static_cast<std::uint32_t>(b), hi = static_cast<std::uint32_t>(b >> 32);
    lo = lo - ((lo >> 1) & 0x55555555u);
    hi = hi - ((hi >> 1) & 0x55555555u);
    lo = (lo & 0x33333333u) + ((lo >> 2) & 0x33333333u);
    hi = (hi & 0x33333333u) + ((hi >> 2) & 0x33333333u);
    const std::uint32_t s = ((lo + (lo >> 4)) & 0x0F0F0F0Fu) + ((hi + (hi >> 4)) & 0x0F0F0F0Fu);
    return static_cast<int>((s * 0x01010101u) >> 24);
#endif
}

class Square {
  public:
    constexpr Square() : m_id(64) {}
    constexpr Square(int id) : m_id(id) {}
    explicit Square(const std::string &text);

    constexpr int id() const { return m_id; }
    constexpr int file_number() const { return m_id % 8; }
    constexpr int rank_number() const { return m_id / 8; }
    constexpr char file() const { return static_cast<char>('a' + file_number()); }
    constexpr char rank() const { return static_cast<char>('1' + rank_number()); }
    bool color() const; // true on a light square
    const BitBoard &bitboard() const;
    std::string name() const;

    constexpr bool operator==(const Square &o) const { return m_id == o.m_id; }
    constexpr bool operator!=(const Square &o) const { return m_id != o.m_id; }
    constexpr bool operator<(const Square &o) const { return m_id < o.m_id; }
    constexpr bool operator>(const Square &o) const { return m_id > o.m_id; }
    constexpr bool operator<=(const Square &o) const { return m_id <= o.m_id; }
    constexpr bool operator>=(const Square &o) const { return m_id >= o.m_id; }
    Square &operator+=(int d) {
        m_id += d;
        return *this;
    }
    Square &operator-=(int d) {
        m_id -= d;
        return *this;
    }
    Square &operator++() {
        ++m_id;
        return *this;
    }
    Square &operator--() {
        --m_id;
        return *this;
    }
    Square operator++(int) {
        Square s = *this;
        ++m_id;
        return s;
    }
    Square operator--(int) {
        Square s = *this;
        --m_id;
        return s;
    }

    static const BitBoard bb[65];

  private:
    int m_id;
};

constexpr Square operator+(const Square &s, int d) { return Square(s.id() + d); }
constexpr Square operator+(int d, const Square &s) { return Square(s.id() + d); }
constexpr Square operator-(const Square &s, int d) { return Square(s.id() - d); }
constexpr Square operator-(int d, const Square &s) { return Square(d - s.id()); }
constexpr int operator-(const Square &a, const Square &b) { return a.id() - b.id(); }
constexpr Square flip(const Square &s) { return Square(s.id() ^ 56); }
constexpr Square flop(const Square &s) { return Square((s.id() & 56) + 7 - (s.id() & 7)); }

class BitBoard {
  public:
    constexpr BitBoard() : m_bits(0) {}
    constexpr BitBoard(std::uint64_t bits) : m_bits(bits) {}
    BitBoard(std::initializer_list<Square> squares);

    constexpr std::uint64_t value() const { return m_bits; }
    static constexpr std::uint64_t to_ull(const BitBoard &b) { return b.m_bits; }

    void clear() { m_bits = 0; }
    void set_square(const Square &s);
    void reset_square(const Square &s);
    void flip();
    void flop();

    BitBoard &operator&=(const BitBoard &o) {
        m_bits &= o.m_bits;
        return *this;
    }
    BitBoard &operator|=(const BitBoard &o) {
        m_bits |= o.m_bits;
        return *this;
    }
    BitBoard &operator^=(const BitBoard &o) {
        m_bits ^= o.m_bits;
        return *this;
    }
    BitBoard &operator&=(std::uint64_t v) {
        m_bits &= v;
        return *this;
    }
    BitBoard &operator|=(std::uint64_t v) {
        m_bits |= v;
        return *this;
    }
    BitBoard &operator^=(std::uint64_t v) {
        m_bits ^= v;
        return *this;
    }
    BitBoard &operator<<=(int n) {
        m_bits <<= n;
        return *this;
    }
    BitBoard &operator>>=(int n) {
        m_bits >>= n;
        return *this;
    }
    constexpr BitBoard operator~() const { return BitBoard(~m_bits); }
    constexpr bool operator==(const BitBoard &o) const { return m_bits == o.m_bits; }
    constexpr bool operator!=(const BitBoard &o) const { return m_bits != o.m_bits; }
    constexpr bool operator<(const BitBoard &o) const { return m_bits < o.m_bits; }
    constexpr bool operator>(const BitBoard &o) const { return m_bits > o.m_bits; }
    constexpr explicit operator bool() const { return m_bits != 0; }

    // Table-driven so that no population-count instruction is assumed (32-bit ARM).
    static int popcount(std::uint64_t b) {
        return m_popcnt16.v[b & 0xffff] + m_popcnt16.v[(b >> 16) & 0xffff] +
               m_popcnt16.v[(b >> 32) & 0xffff] + m_popcnt16.v[b >> 48];
    }
    int popcount() const { return popcount(m_bits); }
    // The processor's trailing-zero count where it has one for the word (64-bit processors, and the
    // 32-bit ARM of version 7 on each half); elsewhere the multiply-and-look-up bit scan.
    static Square first_square(std::uint64_t b) {
#if defined(__GNUC__) && UINTPTR_MAX > 0xFFFFFFFFu
        return Square(b ? __builtin_ctzll(b) : 64);
#elif defined(__GNUC__) && defined(__ARM_ARCH) && __ARM_ARCH >= 7
        const std::uint32_t low = static_cast<std::uint32_t>(b), high = static_cast<std::uint32_t>(b >> 32);
        return Square(low ? __builtin_ctz(low) : high ? 32 + __builtin_ctz(high) : 64);
#else
        return Square(m_first_square_id.v[((b & (0 - b)) * detail::debruijn_k) >> 57]);
#endif
    }
    Square get_first_square() const { return first_square(m_bits); }
    Square get_unique_square() const {
        return Square(m_first_square_id.v[(m_bits * detail::debruijn_k) >> 57]);
    }
    BitBoard get_reset_square() {
        std::uint64_t low = m_bits & (0 - m_bits);
        m_bits &= m_bits - 1;
        return BitBoard(low);
    }
    static Square get_reset_square(std::uint64_t &b) {
        Square s = first_square(b);
        b &= b - 1;
        return s;
    }
    std::vector<Square> get_squares() const;
    void write() const;
    std::string dump() const;

    static const detail::Popcount16Table m_popcnt16;
    static const detail::FirstSquareTable m_first_square_id;

  private:
    std::uint64_t m_bits;
};

constexpr BitBoard operator&(const BitBoard &a, const BitBoard &b) { return BitBoard(a.value() & b.value()); }
constexpr BitBoard operator|(const BitBoard &a, const BitBoard &b) { return BitBoard(a.value() | b.value()); }
constexpr BitBoard operator^(const BitBoard &a, const BitBoard &b) { return BitBoard(a.value() ^ b.value()); }
constexpr BitBoard operator<<(const BitBoard &a, int n) { return BitBoard(a.value() << n); }
constexpr BitBoard operator>>(const BitBoard &a, int n) { return BitBoard(a.value() >> n); }

inline const BitBoard &Square::bitboard() const { return bb[m_id]; }
inline void BitBoard::set_square(const Square &s) { m_bits |= Square::bb[s.id()].value(); }
inline void BitBoard::reset_square(const Square &s) { m_bits &= ~Square::bb[s.id()].value(); }

// Named square sets used by move generation, evaluation and the endgame code.
constexpr BitBoard a_file(0x0101010101010101ULL), b_file(a_file.value() << 1), c_file(a_file.value() << 2),
    d_file(a_file.value() << 3), e_file(a_file.value() << 4), f_file(a_file.value() << 5),
    g_file(a_file.value() << 6), h_file(a_file.value() << 7);
constexpr BitBoard rank1(0xFFULL), rank2(0xFFULL << 8), rank3(0xFFULL << 16), rank4(0xFFULL << 24),
    rank5(0xFFULL << 32), rank6(0xFFULL << 40), rank7(0xFFULL << 48), rank8(0xFFULL << 56);
constexpr BitBoard not_a_file(0xFEFEFEFEFEFEFEFEULL), not_h_file(0x7F7F7F7F7F7F7F7FULL),
    ab_file(0x0303030303030303ULL), gh_file(0xC0C0C0C0C0C0C0C0ULL), not_ab_file(0xFCFCFCFCFCFCFCFCULL),
    not_gh_file(0x3F3F3F3F3F3F3F3FULL), centre(0x0000001818000000ULL), bigcentre(0x00003C3C3C3C0000ULL),
    kings_half(0xF0F0F0F0F0F0F0F0ULL), diagonal(0x8040201008040201ULL), antidiagonal(0x0102040810204080ULL),
    diagonals(0x8142241818244281ULL), hborder(0xFF000000000000FFULL), vborder(0x8181818181818181ULL),
    border(0xFF818181818181FFULL), border_minus1(0x007E424242427E00ULL), border_minus2(0x00003C24243C0000ULL),
    white_corner(0x0100000000000080ULL), black_corner(0x8000000000000001ULL), corner(0x8100000000000081ULL),
    castlesquares(0xC7C300000000C3C7ULL), white_squares(0x55AA55AA55AA55AAULL),
    black_squares(0xAA55AA55AA55AA55ULL), f1g1(0x60ULL), f8g8(0x6000000000000000ULL), b1c1d1(0x0EULL),
    b8c8d8(0x0E00000000000000ULL), g1h1h2(0x80C0ULL), g8h8h7(0xC080000000000000ULL), a1b1c1a2(0x0107ULL),
    a8b8c8a7(0x0701000000000000ULL), a1b2c3d4(0x08040201ULL), a1b1c1(0x07ULL), a8b8c8(0x0700000000000000ULL),
    g1h1(0xC0ULL), g8h8(0xC000000000000000ULL), d3e3(0x180000ULL), d6e6(0x0000180000000000ULL),
    c2f2b3g3b6g6c7f7(0x0024420000422400ULL), a1_g1(0x7FULL), a8_g8(0x7F00000000000000ULL), b1_h1(0xFEULL),
    b8_h8(0xFE00000000000000ULL), a2_a4_c4(0x07030100ULL), white_kingside_battlefield(0x000000F0F0F0F0F0ULL),
    black_kingside_battlefield(0xF0F0F0F0F0000000ULL), white_queenside_battlefield(0x0000000F0F0F0F0FULL),
    black_queenside_battlefield(0x0F0F0F0F0F000000ULL), white_centre_battlefield(0x0000003C3C3C3C3CULL),
    black_centre_battlefield(0x3C3C3C3C3C000000ULL), white_space(0x000000003C3C3C3CULL),
    black_space(0x3C3C3C3C00000000ULL);

// Pawn captures, white (colour 1) up the board and black down, towards the a-file (west) and the h-file
// (east); the file masks keep a shift from wrapping round the board's edge.
template <int colour> constexpr std::uint64_t pawn_captures_west(std::uint64_t pawns) {
    return colour ? (pawns << 7) & not_h_file.value() : (pawns >> 9) & not_h_file.value();
}
template <int colour> constexpr std::uint64_t pawn_captures_east(std::uint64_t pawns) {
    return colour ? (pawns << 9) & not_a_file.value() : (pawns >> 7) & not_a_file.value();
}
// Every square the colour's pawns attack.
template <int colour> constexpr std::uint64_t pawn_attacks(std::uint64_t pawns) {
    return pawn_captures_west<colour>(pawns) | pawn_captures_east<colour>(pawns);
}
// The squares from which a pawn of the colour attacks the targets: the other colour's attack pattern.
template <int colour> constexpr std::uint64_t pawn_attack_origins(std::uint64_t targets) {
    return pawn_attacks<1 - colour>(targets);
}
// A square's neighbours on its rank.
constexpr std::uint64_t west_east(std::uint64_t b) {
    return ((b << 1) & not_a_file.value()) | ((b >> 1) & not_h_file.value());
}

#endif
