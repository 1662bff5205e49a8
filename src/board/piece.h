// Coloured piece codes: bits 0-2 the kind (1 pawn .. 6 king), bit 3 set for black.
#ifndef DRAVNIK_BOARD_PIECE_H
#define DRAVNIK_BOARD_PIECE_H

#include <string>

enum piece_t : int {
    no_piece_t = 0,
    wpawn = 1,
    wknight = 2,
    wbishop = 3,
    wrook = 4,
    wqueen = 5,
    wking = 6,
    bpawn = 9,
    bknight = 10,
    bbishop = 11,
    brook = 12,
    bqueen = 13,
    bking = 14
};

class Piece {
  public:
    constexpr Piece() : m_id(0) {}
    constexpr Piece(const int &id) : m_id(id) {}

    constexpr int id() const { return m_id; }
    void set_id(int id) { m_id = id; }
    constexpr explicit operator bool() const { return m_id != 0; }
    constexpr bool operator==(const Piece &o) const { return m_id == o.m_id; }
    constexpr bool operator!=(const Piece &o) const { return m_id != o.m_id; }

    // Deliberately true for the empty piece as well.
    constexpr bool white_piece() const { return (m_id & 8) == 0; }
    constexpr bool black_piece() const { return (m_id & 8) != 0; }
    constexpr bool no_piece() const { return m_id == 0; }
    constexpr int kind() const { return m_id & 7; }
    constexpr bool pawn() const { return kind() == 1; }
    constexpr bool knight() const { return kind() == 2; }
    constexpr bool bishop() const { return kind() == 3; }
    constexpr bool rook() const { return kind() == 4; }
    constexpr bool queen() const { return kind() == 5; }
    constexpr bool king() const { return kind() == 6; }
    constexpr bool white_pawn() const { return m_id == wpawn; }
    constexpr bool white_knight() const { return m_id == wknight; }
    constexpr bool white_bishop() const { return m_id == wbishop; }
    constexpr bool white_rook() const { return m_id == wrook; }
    constexpr bool white_queen() const { return m_id == wqueen; }
    constexpr bool white_king() const { return m_id == wking; }
    constexpr bool black_pawn() const { return m_id == bpawn; }
    constexpr bool black_knight() const { return m_id == bknight; }
    constexpr bool black_bishop() const { return m_id == bbishop; }
    constexpr bool black_rook() const { return m_id == brook; }
    constexpr bool black_queen() const { return m_id == bqueen; }
    constexpr bool black_king() const { return m_id == bking; }
    void set_white_pawn() { m_id = wpawn; }
    void set_white_knight() { m_id = wknight; }
    void set_white_bishop() { m_id = wbishop; }
    void set_white_rook() { m_id = wrook; }
    void set_white_queen() { m_id = wqueen; }
    void set_white_king() { m_id = wking; }
    void set_black_pawn() { m_id = bpawn; }
    void set_black_knight() { m_id = bknight; }
    void set_black_bishop() { m_id = bbishop; }
    void set_black_rook() { m_id = brook; }
    void set_black_queen() { m_id = bqueen; }
    void set_black_king() { m_id = bking; }
    void set_no_piece() { m_id = 0; }

    int value() const;     // signed, white positive
    int abs_value() const; // by kind only: 0, 100, 300, 300, 500, 900, 4000
    std::string name() const;

    // Kind values indexed by id & 7; kind 7 is not a piece.
    static constexpr int kind_value[8] = {0, 100, 300, 300, 500, 900, 4000, -1};

  private:
    int m_id;
};

#endif
