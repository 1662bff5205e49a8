// The game position: board, side to move, castling rights, en passant, counters, history and keys.
#ifndef DRAVNIK_BOARD_CHESSPOSITION_H
#define DRAVNIK_BOARD_CHESSPOSITION_H

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "board/bitboard.h"
#include "board/hasher.h"
#include "board/materialindex.h"
#include "board/move.h"
#include "board/piece.h"
#include "movegen/board_tables.h"

// The board layer: piece bitboards by piece id, colour unions and a square-by-square piece array.
class BoardPosition {
  public:
    BoardPosition();

    void clear();
    void set_piece_on(const Square &s, int piece);
    void remove_piece_from(const Square &s, int piece);
    void compute_pieces();
    // Board-only make and unmake (pieces and side to move); used directly by the exchange evaluator.
    void make_move(const Move &m);
    void unmake_move(const Move &m);
    void flip();
    void flop();
    bool consistent() const;
    void corrupt(std::uint64_t mask) { m_pieces[wpawn] ^= mask; }
    bool operator==(const BoardPosition &o) const;
    std::string dump() const;
    // Places the pieces of a FEN board field; throws on an unknown letter or an overfull rank or board.
    void fen(const std::string &board, const std::string &side);

    const BitBoard &pieces(int piece) const { return m_pieces[piece]; }
    const BitBoard &white_pieces() const { return m_white; }
    const BitBoard &black_pieces() const { return m_black; }
    const BitBoard &all_pieces() const { return m_all; }
    int stm() const { return m_stm; }
    bool white_to_move() const { return m_stm == 1; }
    void switch_color_to_move() { m_stm ^= 1; }
    int get_piece_id_from(const Square &s) const { return m_board[s.id()]; }
    Piece get_piece_from(const Square &s) const { return Piece(m_board[s.id()]); }
    Piece operator[](const Square &s) const { return Piece(m_board[s.id()]); }

    // Castling lands king and rook on the standard squares, also in Chess960.
    static int castle_king_to(int king_from, int rook_from) {
        return (king_from & 56) + (rook_from > king_from ? 6 : 2);
    }
    static int castle_rook_to(int king_from, int rook_from) {
        return (king_from & 56) + (rook_from > king_from ? 5 : 3);
    }

  protected:
    // Moves a piece that captures nothing (or whose victim left already), and takes or puts back a
    // victim; cheaper than a removal and a placement, each of which touches the sets and the array.
    void shift(int from, int to, int piece) {
        const std::uint64_t both = Square::bb[from].value() | Square::bb[to].value();
        m_pieces[piece] ^= both;
        (piece & 8 ? m_black : m_white) ^= both;
        m_all ^= both;
        m_board[from] = 0;
        m_board[to] = piece;
    }
    void take(int s, int piece) { // the mover arrives next, so the square stays occupied
        const std::uint64_t b = Square::bb[s].value();
        m_pieces[piece] ^= b;
        (piece & 8 ? m_black : m_white) ^= b;
        m_all ^= b;
    }
    void put(int s, int piece) { // the victim returns to the square the mover just left
        const std::uint64_t b = Square::bb[s].value();
        m_pieces[piece] ^= b;
        (piece & 8 ? m_black : m_white) ^= b;
        m_all ^= b;
        m_board[s] = piece;
    }

    BitBoard m_pieces[16];
    BitBoard m_white;
    BitBoard m_black;
    BitBoard m_all;
    int m_stm;
    int m_board[64];
};

struct HistoryEntry {
    Move move;
    std::uint64_t pawnhash;
    std::uint16_t castling;
    std::uint16_t dfz;
    Square ep;
    Square sq1;
    Square sq2;
    std::uint8_t check;
    BitBoard pinned;
    BitBoard discovering;
};

class ChessPosition : public BoardPosition {
  public:
    explicit ChessPosition(const BoardTables &tables);
    ChessPosition(const ChessPosition &o);
    ChessPosition &operator=(const ChessPosition &o);

    void clear();
    void newgame();
    void newgame960(int n);
    void fen(const std::string &text);
    std::string fen() const;
    std::string epd() const;
    std::string initial_position() const { return m_initial; }

    Move convert_to_move(const std::string &text) const;
    Move convert_to_move(const Square &from, const Square &to, move_t code) const;
    void make_move(const Move &m);
    void make_move(const Square &from, const Square &to, move_t code) {
        make_move(convert_to_move(from, to, code));
    }
    void unmake_move();
    void force_move(const Move &m) { BoardPosition::make_move(m); }
    void undo_forced_move(const Move &m) { BoardPosition::unmake_move(m); }

    // Attack queries.
    BitBoard white_attackers(const BitBoard &targets) const { return attackers<1>(targets, m_all); }
    BitBoard black_attackers(const BitBoard &targets) const { return attackers<0>(targets, m_all); }
    template <int colour> BitBoard attackers(const BitBoard &targets, const BitBoard &occupied) const;
    // Pieces of the colour that bear on the square with blockers disregarded (sliders on an open line,
    // knights, pawns and king that attack it directly).
    BitBoard white_blocked_attackers(const Square &s) const { return blocked_attackers<1>(s); }
    BitBoard black_blocked_attackers(const Square &s) const { return blocked_attackers<0>(s); }
    template <int colour> BitBoard blocked_attackers(const Square &s) const;
    Square white_weakest_attacker(const Square &s) const { return weakest_attacker<1>(s); }
    Square black_weakest_attacker(const Square &s) const { return weakest_attacker<0>(s); }
    template <int colour> Square weakest_attacker(const Square &s) const;
    bool white_attacks(const BitBoard &targets) const { return static_cast<bool>(white_attackers(targets)); }
    bool black_attacks(const BitBoard &targets) const { return static_cast<bool>(black_attackers(targets)); }
    void find_pinned_pieces();
    bool look_for_check() const;

    // Why the position cannot be played (empty when it can): a king missing or doubled, a pawn on the
    // first or last rank, or the side not to move in check.
    std::string setup_error() const;

    bool draw_by_threefold_repetition() const;
    bool draw_by_fifty_move_rule() const { return m_history.back().dfz > 99; }

    void flip();
    void flop();

    // State of the current position.
    std::uint16_t castlingrights() const { return m_history.back().castling; }
    void set_castlingrights(short rights);
    Square ep() const { return m_history.back().ep; }
    int get_dfz() const { return m_history.back().dfz; }
    bool check() const { return m_history.back().check != 0; }
    Move last_move() const { return m_history.back().move; }
    Move move_before_last() const {
        return m_history.size() > 1 ? m_history[m_history.size() - 2].move : Move();
    }
    const BitBoard &pinned_pieces() const { return m_history.back().pinned; }
    const BitBoard &discovering_pieces() const { return m_history.back().discovering; }
    int nobelmen() const; // non-pawn material of both sides: 900 Q, 500 R, 300 B/N
    Square white_kingsfield() const { return m_pieces[wking].get_first_square(); }
    Square black_kingsfield() const { return m_pieces[bking].get_first_square(); }
    BitBoard white_queencheck_squares() const; // squares from which a white queen would check black's king
    BitBoard black_queencheck_squares() const;
    std::uint64_t key() const { return m_keys.last(); }
    std::uint64_t get_pawnhash() const { return m_hasher.pawn_key(); }
    const MaterialIndex &materialindex() const { return m_material; }
    MaterialIndex compute_materialindex() const;
    std::uint64_t full_key_from_scratch() const;
    const std::vector<HistoryEntry> &history() const { return m_history; }
    std::string history_str() const;
    std::string moves_history() const;
    int move_number() const { return m_moveno; }
    int id() const { return m_id; }
    bool chess960() const { return m_chess960; }
    void set_chess960(bool on) { m_chess960 = on; }
    std::uint64_t get_make_move_counter() const { return m_make_move_counter; }
    const BoardTables &tables() const { return *m_tables; }
    std::string dump() const;
    void set_logging(bool on);

  private:
    void setup(std::uint16_t castling, Square ep, std::uint16_t dfz, int moveno);
    // Fills the pinned and discovering sets of the current entry and tells whether the side to move is in
    // check, from one walk of the sliders on each king's lines.
    bool find_pins_and_check();

    const BoardTables *m_tables;
    std::vector<HistoryEntry> m_history;
    Rep3filter m_keys; // one key per position, a barrier before each after an irreversible move
    std::uint16_t m_moveno;
    int m_id;
    bool m_chess960;
    MaterialIndex m_material;
    Hasher<1> m_hasher;
    std::uint64_t m_make_move_counter;
    std::string m_initial;
    std::shared_ptr<std::ofstream> m_log;
};

extern int cp_id;

template <int colour>
BitBoard ChessPosition::attackers(const BitBoard &targets, const BitBoard &occupied) const {
    const Attacks &a = m_tables->attacks();
    const int c = colour ? 0 : 8;
    const BitBoard rq = m_pieces[wrook + c] | m_pieces[wqueen + c];
    const BitBoard bq = m_pieces[wbishop + c] | m_pieces[wqueen + c];
    BitBoard result;
    std::uint64_t t = targets.value();
    while (t) {
        const Square s = BitBoard::get_reset_square(t);
        const std::uint64_t sb = Square::bb[s.id()].value();
        // A white pawn attacks s when it stands diagonally below s.
        const std::uint64_t pawn_from = pawn_attack_origins<colour>(sb);
        result |= (BitBoard(pawn_from) & m_pieces[wpawn + c]) | (a.knight(s) & m_pieces[wknight + c]) |
                  (a.king(s) & m_pieces[wking + c]) | (a.rook(s, occupied) & rq) |
                  (a.bishop(s, occupied) & bq);
    }
    return result;
}

template <int colour> BitBoard ChessPosition::blocked_attackers(const Square &s) const {
    const Attacks &a = m_tables->attacks();
    const Connections &cn = m_tables->connections();
    const int c = colour ? 0 : 8;
    const std::uint64_t sb = Square::bb[s.id()].value();
    const std::uint64_t pawn_from = pawn_attack_origins<colour>(sb);
    return (BitBoard(pawn_from) & m_pieces[wpawn + c]) | (a.knight(s) & m_pieces[wknight + c]) |
           (a.king(s) & m_pieces[wking + c]) |
           (cn.rook_attacks(s) & (m_pieces[wrook + c] | m_pieces[wqueen + c])) |
           (cn.bishop_attacks(s) & (m_pieces[wbishop + c] | m_pieces[wqueen + c]));
}

template <int colour> Square ChessPosition::weakest_attacker(const Square &s) const {
    const BitBoard att = attackers<colour>(s.bitboard(), m_all);
    if (!att) return Square();
    const int c = colour ? 0 : 8;
    for (int kind = wpawn; kind <= wking; ++kind) {
        const BitBoard b = att & m_pieces[kind + c];
        if (b) return b.get_first_square();
    }
    return Square();
}

#endif
