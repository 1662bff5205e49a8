// Material counts packed into 64 bits: black's in the low half, white's in the high half,
// 4 bits per kind with the more valuable kinds in the more significant fields.
#ifndef DRAVNIK_BOARD_MATERIALINDEX_H
#define DRAVNIK_BOARD_MATERIALINDEX_H

#include <cstdint>
#include <string>

#include "board/move.h"

class MaterialIndex {
  public:
    static constexpr std::uint64_t inc_table[16] = {
        0, 0x100000000ULL, 0x1000000000ULL, 0x10000000000ULL, 0x100000000000ULL, 0x1000000000000ULL, 0, 0,
        0, 0x1ULL,         0x10ULL,         0x100ULL,         0x1000ULL,         0x10000ULL,         0, 0};

    constexpr MaterialIndex() : m_index(0) {}
    constexpr explicit MaterialIndex(std::uint64_t index) : m_index(index) {}

    constexpr std::uint64_t index() const { return m_index; }
    void set_index(const std::uint64_t &i) { m_index = i; }

    void set_whitequeen(int n) { m_index |= static_cast<std::uint64_t>(n) << 48; }
    void set_whiterook(int n) { m_index |= static_cast<std::uint64_t>(n) << 44; }
    void set_whitebishop(int n) { m_index |= static_cast<std::uint64_t>(n) << 40; }
    void set_whiteknight(int n) { m_index |= static_cast<std::uint64_t>(n) << 36; }
    void set_whitepawn(int n) { m_index |= static_cast<std::uint64_t>(n) << 32; }
    void set_blackqueen(int n) { m_index |= static_cast<std::uint64_t>(static_cast<std::int64_t>(n) << 16); }
    void set_blackrook(int n) { m_index |= static_cast<std::uint64_t>(static_cast<std::int64_t>(n) << 12); }
    void set_blackbishop(int n) { m_index |= static_cast<std::uint64_t>(static_cast<std::int64_t>(n) << 8); }
    void set_blackknight(int n) { m_index |= static_cast<std::uint64_t>(static_cast<std::int64_t>(n) << 4); }
    void set_blackpawn(int n) { m_index |= static_cast<std::uint64_t>(static_cast<std::int64_t>(n)); }

    constexpr int get_whitequeen() const { return field(48); }
    constexpr int get_whiterook() const { return field(44); }
    constexpr int get_whitebishop() const { return field(40); }
    constexpr int get_whiteknight() const { return field(36); }
    constexpr int get_whitepawn() const { return field(32); }
    constexpr int get_blackqueen() const { return field(16); }
    constexpr int get_blackrook() const { return field(12); }
    constexpr int get_blackbishop() const { return field(8); }
    constexpr int get_blackknight() const { return field(4); }
    constexpr int get_blackpawn() const { return field(0); }

    void add_piece(int piece) { m_index += inc_table[piece & 15]; }
    void remove_piece(int piece) { m_index -= inc_table[piece & 15]; }

    void make_move(const Move &m) {
        m_index -= inc_table[m.capture_id()];
        if (m.is_promotion()) m_index += promotion_change(m);
    }
    void unmake_move(const Move &m) {
        m_index += inc_table[m.capture_id()];
        if (m.is_promotion()) m_index -= promotion_change(m);
    }

    void flip_colors() { m_index = (m_index >> 32) | (m_index << 32); }
    constexpr bool equal() const { return (m_index >> 32) == (m_index & 0xFFFFFFFFULL); }
    constexpr bool white_wins() const { return (m_index & 0xFFFFFFFFULL) < (m_index >> 32); }
    constexpr bool black_wins() const { return (m_index >> 32) < (m_index & 0xFFFFFFFFULL); }

    constexpr bool operator==(const MaterialIndex &o) const { return m_index == o.m_index; }
    constexpr bool operator!=(const MaterialIndex &o) const { return m_index != o.m_index; }
    constexpr bool operator<(const MaterialIndex &o) const { return m_index < o.m_index; }

    int value() const;
    std::string str() const;

  private:
    constexpr int field(int shift) const { return static_cast<int>((m_index >> shift) & 15); }
    // The promoted piece's increment minus the mover's pawn; white exactly when a white pawn moves.
    static std::uint64_t promotion_change(const Move &m) {
        static constexpr int promoted[8] = {0, 0, 5, 4, 3, 2, 0, 0};
        const int colour = m.piece_id() == wpawn ? 0 : 8;
        return inc_table[promoted[m.code()] + colour] - inc_table[1 + colour];
    }
    std::uint64_t m_index;
};

#endif
