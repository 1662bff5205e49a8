#include "eval/weight.h"

namespace {
struct Row {
    const char *name;
    float mg;
    float eg;
};

// Tuned values, used exactly as stored (the near-zero ones included).
const Row rows[Weight::size] = {{"material", 2.50148f, 2.05895f},
                                {"mobility", 1.04707f, 9.96812e-07f},
                                {"knight_mobility", 0.581864f, 1.63203e-06f},
                                {"bishop_mobility", 0.747138f, 0.905745f},
                                {"rook_mobility", 0.000143933f, 3.77674f},
                                {"queen_mobility", 2.91113f, 14.6056f},
                                {"development", 1.4882f, 1.15224f},
                                {"space", 0.610783f, 1.68053e-05f},
                                {"pst_pawn", 1.63201f, 1.09013f},
                                {"pst_knight", 0.382588f, 10.2664f},
                                {"pst_bishop", 2.19208f, 0.000151478f},
                                {"pst_rook", 0.60714f, 0.723856f},
                                {"pst_queen", 9.94566e-07f, 0.519414f},
                                {"pst_king", 20.1419f, 1.52514f},
                                {"pawn_shield", 2.34221f, 1.49304e-06f},
                                {"king_attack", 2.09817f, 3.56108e-06f},
                                {"castling_rights", 0.0989548f, 6.36035e-06f},
                                {"pawn_storm", 1.15545f, 4.76514e-06f},
                                {"open_files_on_king", 0.236645f, 0.0461258f},
                                {"safe_queencheck", 14.1252f, 0.00166655f},
                                {"knight_king_contact", 0.00010267f, 7.56091e-05f},
                                {"bishop_king_contact", 9.68724e-05f, 8.16766e-05f},
                                {"rook_king_contact", 0.0213516f, 0.000185858f},
                                {"queen_king_contact", 355.561f, 10.2923f},
                                {"knight_battlefield_contact", 19.5868f, 0.000113646f},
                                {"bishop_battlefield_contact", 7.36273e-05f, 3.86269f},
                                {"rook_battlefield_contact", 0.000186614f, 8.42957e-05f},
                                {"queen_battlefield_contact", 0.0344313f, 27.9784f},
                                {"knight_battlefield_attack", 4.84189f, 0.118689f},
                                {"bishop_battlefield_attack", 7.26411f, 8.25708f},
                                {"rook_battlefield_attack", 2.20566f, 0.118689f},
                                {"queen_battlefield_attack", 4.33753f, 8.25708f},
                                {"king_activity", 2.8714e-05f, 4.90238f},
                                {"locked_up_rook", 109.926f, 1.70761f},
                                {"undefended_pieces", 9.65115f, 0.560495f},
                                {"own_hanging_material", 67.9774f, 23.5576f},
                                {"rookpawn", 43.4654f, 3.91959e-06f},
                                {"doubled_pawns", 11.6542f, 46.6105f},
                                {"weak_pawns", 15.4674f, 4.572f},
                                {"isolated_pawns", 2.89348f, 0.00718341f},
                                {"blocked_pawns", 15.0767f, 29.9991f},
                                {"passed_pawns", 0.0350917f, 3.04884f},
                                {"pawn_islands", 24.7771f, 4.52725e-05f},
                                {"pinned_pieces", 2.70945f, 65.7304f},
                                {"bad_bishop", 3.22237f, 9.93572e-07f},
                                {"opposite_colored_bishops", 22.3661f, 2.31197f},
                                {"stm", 14.0f, 14.0f}};
} // namespace

Weight::Weight() {
    m_names.reserve(size);
    m_mg.reserve(size);
    m_eg.reserve(size);
    for (const Row &r : rows) {
        m_names.emplace_back(r.name);
        m_mg.push_back(r.mg);
        m_eg.push_back(r.eg);
    }
}
