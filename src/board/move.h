// One move in one 32-bit word, and the fixed-capacity move list.
#ifndef DRAVNIK_BOARD_MOVE_H
#define DRAVNIK_BOARD_MOVE_H

#include <cstdint>
#include <string>

#include "board/bitboard.h"
#include "board/piece.h"

enum move_t : unsigned {
    nullmove = 0,
    normal_move = 1,
    promo_queen = 2,
    promo_rook = 3,
    promo_bishop = 4,
    promo_knight = 5,
    castling = 6,
    en_passant = 7
};

// Ordering classes; lower sorts first.
enum xmove_t : unsigned {
    hashtable_move = 0,
    mate_attack = 1,
    promotion = 2,
    good_capture = 3,
    killer = 4,
    counter_move = 5,
    historical_move1 = 6,
    historical_move2 = 7,
    historical_move3 = 8,
    xnormal_move = 9,
    bad_move = 10,
    losing_capture = 11,
    no_xmove_t = 12
};

// Layout: to 0-5, from 6-11, code 12-14, check 15, capture 16-19, piece 20-23, xcode 24-31.
class Move {
  public:
    constexpr Move() : m_word(0) {}
    constexpr explicit Move(std::uint32_t word) : m_word(word) {}
    Move(Square from, Square to, unsigned code, Piece piece, Piece capture)
        : m_word(pack(from.id(), to.id(), code, piece.id(), capture.id())) {}
    Move(Square from, Square to, unsigned code, piece_t piece, piece_t capture)
        : m_word(pack(from.id(), to.id(), code, piece, capture)) {}

    constexpr std::uint32_t word() const { return m_word; }
    Square from() const { return m_word ? Square((m_word >> 6) & 63) : Square(); }
    Square to() const { return m_word ? Square(m_word & 63) : Square(); }
    constexpr int from_id() const { return (m_word >> 6) & 63; }
    constexpr int to_id() const { return m_word & 63; }
    constexpr move_t code() const { return static_cast<move_t>((m_word >> 12) & 7); }
    constexpr xmove_t xcode() const { return static_cast<xmove_t>(m_word >> 24); }
    constexpr int piece_id() const { return (m_word >> 20) & 15; }
    constexpr Piece piece() const { return Piece(piece_id()); }
    constexpr int capture_id() const { return (m_word >> 16) & 15; }
    constexpr Piece capture() const { return Piece(capture_id()); }
    constexpr bool check() const { return (m_word >> 15) & 1; }
    constexpr bool is_promotion() const { return code() >= promo_queen && code() <= promo_knight; }
    constexpr bool empty() const { return (m_word & 0x7000) == 0; }

    void from(const Square &s) { set_field(6, 63, s.id()); }
    void to(const Square &s) { set_field(0, 63, s.id()); }
    void code(const move_t &c) { set_field(12, 7, c); }
    void xcode(const xmove_t &x) { set_field(24, 255, x); }
    void piece_id(int p) { set_field(20, 15, p); }
    void piece(const Piece &p) { set_field(20, 15, p.id()); }
    void piece(unsigned int &&p) { set_field(20, 15, p); }
    void capture_id(int p) { set_field(16, 15, p); }
    void capture(const Piece &p) { set_field(16, 15, p.id()); }
    void capture(unsigned int &&p) { set_field(16, 15, p); }
    void check(bool c) { set_field(15, 1, c ? 1 : 0); }
    void clear() { m_word = 0; }

    // Equality ignores the ordering class so that table and killer moves match generated ones.
    constexpr bool operator==(const Move &o) const { return ((m_word ^ o.m_word) & 0xFFFFFF) == 0; }
    constexpr bool operator!=(const Move &o) const { return !(*this == o); }
    // The same squares and kind of move, whatever the check flag: a move read from text, which carries no
    // check flag, against a generated one.
    constexpr bool same_move(const Move &o) const { return ((m_word ^ o.m_word) & 0x7FFF) == 0; }
    constexpr bool operator<(const Move &o) const { return m_word < o.m_word; }

    std::string algebraic(bool chess960 = false) const;
    std::string dump() const;

  private:
    static constexpr std::uint32_t pack(int from, int to, unsigned code, int piece, int capture) {
        return static_cast<std::uint32_t>(to) | static_cast<std::uint32_t>(from) << 6 | (code & 7) << 12 |
               static_cast<std::uint32_t>(capture & 15) << 16 | static_cast<std::uint32_t>(piece & 15) << 20 |
               static_cast<std::uint32_t>(xnormal_move) << 24;
    }
    void set_field(int shift, std::uint32_t mask, std::uint32_t v) {
        m_word = (m_word & ~(mask << shift)) | ((v & mask) << shift);
    }
    std::uint32_t m_word;
};

// Up to 256 moves, either in owned storage or in a caller's buffer (a search-ply array).
class MoveList {
  public:
    static constexpr int capacity = 256;
    MoveList();
    explicit MoveList(Move *storage) : m_size(0), m_moves(storage), m_owned(false) {}
    MoveList(const MoveList &o);
    MoveList &operator=(const MoveList &o);
    ~MoveList();

    Move &operator[](const int &i) { return m_moves[i]; }
    const Move &operator[](const int &i) const { return m_moves[i]; }
    int size() const { return m_size; }
    void set_size(int n) { m_size = n; }
    void clear() { m_size = 0; }
    void push_back(const Move &m) { m_moves[m_size++] = m; }
    Move *begin() { return m_moves; }
    Move *end() { return m_moves + m_size; }
    const Move *begin() const { return m_moves; }
    const Move *end() const { return m_moves + m_size; }
    const Move *cbegin() const { return m_moves; }
    const Move *cend() const { return m_moves + m_size; }

  private:
    int m_size;
    Move *m_moves;
    bool m_owned;
};

#endif
