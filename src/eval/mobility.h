// Attack sets of both colours and the measurements built on them: piece mobility, safe queen checks,
// trapped rooks, loose and hanging pieces, and the raw material of the king-safety terms.
#ifndef DRAVNIK_EVAL_MOBILITY_H
#define DRAVNIK_EVAL_MOBILITY_H

#include <cstdint>

#include "board/chessposition.h"
#include "movegen/attacks.h"

class Mobility {
  public:
    explicit Mobility(const Attacks &attacks) : m_attacks(attacks) {}

    // Builds the attack sets of the position and writes the variables mobility, knight_mobility ..
    // queen_mobility, safe_queencheck, locked_up_rook, undefended_pieces and own_hanging_material
    // (indexes of eval_var_t) into var, each as white's measure minus black's.
    void compute(const ChessPosition &pos, float *var);

    // Last compute: squares attacked by colour (1 white, 0 black) with pieces of a kind (1 pawn .. 6 king);
    // kind 0 is the union of all kinds, kind 7 the union without the king.
    std::uint64_t attacked(int colour, int kind) const { return m_att[colour][kind]; }
    // The colour's king with its neighbouring squares (empty without a king).
    std::uint64_t king_zone(int colour) const { return m_zone[colour]; }
    // The danger the colour's pieces put the enemy king in (Measures: attacker_weight .. king_attack_cap);
    // 0 below the threshold or without an enemy king.
    int king_danger(int colour) const { return m_danger[colour]; }
    const Attacks &attacks() const { return m_attacks; }

  private:
    template <int colour> void piece_attacks(const ChessPosition &pos, std::uint64_t occupied);
    template <int colour> void danger(const ChessPosition &pos, std::uint64_t occupied);
    template <int colour> int undefended(const ChessPosition &pos) const;
    template <int colour> int hanging(const ChessPosition &pos) const;

    const Attacks &m_attacks;
    std::uint64_t m_att[2][8];
    std::uint64_t m_zone[2];
    int m_zone_attacks[2];    // attacks of pieces on enemy king zone squares, one per square and piece
    int m_king_attackers[2];  // pieces attacking the enemy king zone
    int m_attacker_weight[2]; // their summed weights by kind
    int m_danger[2];
    int m_safe_queen_checks[2];
    int m_squares[2];          // safe squares of knights, bishops, rooks and queens, outposts, open files
    int m_kind_mobility[2][6]; // table values of the safe squares, by kind (knight .. queen)
    int m_locked[2];           // rooks shut in by their own uncastled king
};

#endif
