#include "board/bitboard.h"

#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace {
struct SquareBits {
    BitBoard v[65];
    constexpr SquareBits() : v{} {
        for (int i = 0; i < 64; ++i)
            v[i] = BitBoard(1ULL << i);
    }
};
constexpr SquareBits square_bits;
} // namespace

const detail::Popcount16Table BitBoard::m_popcnt16{};
const detail::FirstSquareTable BitBoard::m_first_square_id{};
const BitBoard Square::bb[65] = {
#define R8(r)                                                                                                \
    square_bits.v[r], square_bits.v[r + 1], square_bits.v[r + 2], square_bits.v[r + 3],                      \
        square_bits.v[r + 4], square_bits.v[r + 5], square_bits.v[r + 6], square_bits.v[r + 7]
    R8(0),  R8(8),  R8(16), R8(24),    R8(32),
    R8(40), R8(48), R8(56), BitBoard()
#undef R8
};

Square::Square(const std::string &text) {
    if (text.size() != 2) throw std::logic_error("Square::Square(string)  size() error");
    // Deliberately lenient: only the combined id is range-checked ("i1" reads as a2).
    const int id = static_cast<unsigned char>(text[0] - 'a') + 8 * static_cast<unsigned char>(text[1] - '1');
    if (id >= 64) throw std::logic_error("Square::Square(string)  out of range");
    m_id = id;
}

bool Square::color() const { return (white_squares & bb[m_id]).value() != 0; }

std::string Square::name() const {
    if (m_id == 64) return "no_square";
    if (m_id < 0 || m_id > 63) throw std::logic_error("Square::name()const msquare=" + std::to_string(m_id));
    return std::string{file(), rank()};
}

BitBoard::BitBoard(std::initializer_list<Square> squares) : m_bits(0) {
    for (const Square &s : squares)
        if (s.id() >= 0 && s.id() < 64) m_bits |= 1ULL << s.id();
}

void BitBoard::flip() {
    std::uint64_t b = m_bits;
    b = ((b >> 8) & 0x00FF00FF00FF00FFULL) | ((b & 0x00FF00FF00FF00FFULL) << 8);
    b = ((b >> 16) & 0x0000FFFF0000FFFFULL) | ((b & 0x0000FFFF0000FFFFULL) << 16);
    m_bits = (b >> 32) | (b << 32);
}

void BitBoard::flop() {
    std::uint64_t b = m_bits;
    // Reverse the bits of every byte: swap 0<->7, 1<->6, 2<->5, 3<->4.
    b = ((b & 0x0101010101010101ULL) << 7) | ((b & 0x8080808080808080ULL) >> 7) |
        ((b & 0x0202020202020202ULL) << 5) | ((b & 0x4040404040404040ULL) >> 5) |
        ((b & 0x0404040404040404ULL) << 3) | ((b & 0x2020202020202020ULL) >> 3) |
        ((b & 0x0808080808080808ULL) << 1) | ((b & 0x1010101010101010ULL) >> 1);
    m_bits = b;
}

std::vector<Square> BitBoard::get_squares() const {
    std::vector<Square> out;
    for (std::uint64_t b = m_bits; b;)
        out.push_back(get_reset_square(b));
    return out;
}

void BitBoard::write() const { std::cout << "\n" << std::hex << m_bits << std::dec << std::flush; }

std::string BitBoard::dump() const {
    std::ostringstream os;
    os << std::hex << std::setfill('0') << std::setw(16) << m_bits << "\n";
    for (int r = 7; r >= 0; --r) {
        for (int f = 0; f < 8; ++f)
            os << (((m_bits >> (8 * r + f)) & 1) ? '1' : '0');
        os << "\n";
    }
    return os.str();
}
