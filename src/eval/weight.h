// Names and tuned middle-game / end-game weights of the 47 evaluation variables.
#ifndef DRAVNIK_EVAL_WEIGHT_H
#define DRAVNIK_EVAL_WEIGHT_H

#include <string>
#include <vector>

class Weight {
  public:
    static constexpr int size = 47;

    Weight();

    const std::vector<std::string> &names() const { return m_names; }
    const std::vector<float> &mg() const { return m_mg; }
    const std::vector<float> &eg() const { return m_eg; }
    std::vector<float> &mg() { return m_mg; }
    std::vector<float> &eg() { return m_eg; }

  private:
    std::vector<std::string> m_names;
    std::vector<float> m_mg;
    std::vector<float> m_eg;
};

// Variable indexes, in the order of the weight vectors.
enum eval_var_t : int {
    v_material,
    v_mobility,
    v_knight_mobility,
    v_bishop_mobility,
    v_rook_mobility,
    v_queen_mobility,
    v_development,
    v_space,
    v_pst_pawn,
    v_pst_knight,
    v_pst_bishop,
    v_pst_rook,
    v_pst_queen,
    v_pst_king,
    v_pawn_shield,
    v_king_attack,
    v_castling_rights,
    v_pawn_storm,
    v_open_files_on_king,
    v_safe_queencheck,
    v_knight_king_contact,
    v_bishop_king_contact,
    v_rook_king_contact,
    v_queen_king_contact,
    v_knight_battlefield_contact,
    v_bishop_battlefield_contact,
    v_rook_battlefield_contact,
    v_queen_battlefield_contact,
    v_knight_battlefield_attack,
    v_bishop_battlefield_attack,
    v_rook_battlefield_attack,
    v_queen_battlefield_attack,
    v_king_activity,
    v_locked_up_rook,
    v_undefended_pieces,
    v_own_hanging_material,
    v_rookpawn,
    v_doubled_pawns,
    v_weak_pawns,
    v_isolated_pawns,
    v_blocked_pawns,
    v_passed_pawns,
    v_pawn_islands,
    v_pinned_pieces,
    v_bad_bishop,
    v_opposite_colored_bishops,
    v_stm
};

#endif
