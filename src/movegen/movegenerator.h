// Legal move generation in two stages: a table of pseudo-attack sets per from-square, then serialisation
// into moves with check flags, filtered by the legality tests.
#ifndef DRAVNIK_MOVEGEN_MOVEGENERATOR_H
#define DRAVNIK_MOVEGEN_MOVEGENERATOR_H

#include <cstdint>

#include "board/chessposition.h"
#include "board/move.h"
#include "movegen/board_tables.h"

class MoveGenerator {
  public:
    using MoveTable = std::uint64_t[64];

    explicit MoveGenerator(const BoardTables &tables);
    MoveGenerator(const MoveGenerator &o);
    MoveGenerator &operator=(const MoveGenerator &) = delete;

    // The squares each piece of the side to move attacks or, for pawns, may move to. Only the entries of
    // those pieces' squares are written: the serialisations read no others.
    void create_movetable(const ChessPosition &pos, MoveTable &table);
    void generate_moves(const ChessPosition &pos, MoveList &list);
    void serialize_moves(const ChessPosition &pos, const MoveTable &table, MoveList &list);
    void serialize_captures(const ChessPosition &pos, const MoveTable &table, MoveList &list);
    // Appends the moves serialize_captures leaves out, so that the list then holds what serialize_moves
    // gives, in the same order: a node that cuts on a capture never builds its quiet moves.
    void serialize_quiet_moves(const ChessPosition &pos, const MoveTable &table, MoveList &list);
    // The number of legal moves, which generate_moves would list, without building them.
    int count_moves(const ChessPosition &pos);
    // The legal move of this position that m names (a move read from the transposition table: from, to and
    // kind of move, with the pieces the board shows), with its check flag as the serialisation sets it; a
    // null move when it is not legal here. The table must be this position's.
    Move legal_move(const ChessPosition &pos, const MoveTable &table, const Move &m);
    // Keeps one move (not the null move) out of a later serialisation of the same table.
    static void remove(const Move &m, MoveTable &table) { table[m.from_id()] &= ~(1ULL << m.to_id()); }

    template <int colour> void generate_movetable(const ChessPosition &pos, MoveTable &table);
    template <int colour>
    void generate_captures(const ChessPosition &pos, const MoveTable &table, MoveList &list);
    template <int colour>
    void generate_quiet_moves(const ChessPosition &pos, const MoveTable &table, MoveList &list);
    template <int colour> void set_checkstatus(const ChessPosition &pos, Move &m) const;
    bool is_legal(const ChessPosition &pos, const Move &m) const;
    bool is_legal_pawnmove(const ChessPosition &pos, const Move &m) const;
    template <int colour> bool is_legal_kingmove(const ChessPosition &pos, const Move &m) const;

  private:
    // The caches of a serialisation; the check squares only when moves are built (counting needs none).
    template <int colour, bool checks> void fill_caches(const ChessPosition &pos);
    template <int colour> int count(const ChessPosition &pos);
    // Squares of the own rooks that the king may castle with now.
    template <int colour> std::uint64_t castling_rooks(const ChessPosition &pos) const;
    template <int colour> void generate_castling(const ChessPosition &pos, MoveList &list);
    template <int colour> Move find_legal(const ChessPosition &pos, const MoveTable &table, const Move &m);
    // The targets a piece of the side to move may go to without leaving its king attacked (pawn and piece
    // moves; en passant and the king are tested apart). Almost always everything: only when in check or
    // for a piece that may be pinned are the lines to the king walked, once per piece instead of per move.
    std::uint64_t legal_targets(std::uint64_t from) const {
        return (m_in_check || (m_pinned & from)) ? restricted_targets(from) : ~0ULL;
    }
    std::uint64_t restricted_targets(std::uint64_t from) const;
    // Appends the normal moves (code 1) of one piece to the given targets with their check flags.
    template <int colour>
    void append_moves(const ChessPosition &pos, MoveList &list, int piece, int from, std::uint64_t targets);
    void append(MoveList &list, const Move &m) { list[m_count++] = m; }

    const BoardTables &m_tables;
    int m_count;
    bool m_in_check;
    std::uint64_t m_occupied;
    std::uint64_t m_pinned;      // own pieces that may be pinned to the own king
    std::uint64_t m_discovering; // own pieces that shield an own slider from the enemy king
    std::uint64_t m_own;
    std::uint64_t m_enemy;
    std::uint64_t m_own_king;
    std::uint64_t m_enemy_king;
    // Per piece kind (pawn .. queen), the squares from which an own piece of that kind checks the
    // enemy king: one lookup decides a direct check.
    std::uint64_t m_check_squares[8];
    std::uint64_t m_own_rq; // own rooks and queens
    std::uint64_t m_own_bq; // own bishops and queens
    Square m_own_king_square;
    Square m_enemy_king_square;
    std::uint64_t m_blocked_attackers; // enemy pieces bearing on the own king, blockers disregarded
};

#endif
