// How the evaluation measures its free variables before their fixed weights multiply them: every constant
// of those measuring rules, in one place. The weights were tuned for variables on a certain scale; these
// constants set that scale, so they are what a fit against game results changes (tools/tune_eval writes
// src/eval/measures_values.inc, and nothing else needs to change).
#ifndef DRAVNIK_EVAL_MEASURES_H
#define DRAVNIK_EVAL_MEASURES_H

#include <string>
#include <vector>

#include "eval/weight.h"

struct Measures {
    // Factor from a variable's raw count to the variable, by variable index; applied only to the variables
    // whose measuring rules are ours (free_variables), the others stay exactly as measured.
    float scale[Weight::size];
    // Mobility table values by the number of safe squares (not own pieces, not attacked by enemy pawns).
    int knight_mobility[9];
    int bishop_mobility[14];
    int rook_mobility[15];
    int queen_mobility[28];
    // Activity beyond the count of safe squares, in the general mobility's units: a rook on a file without
    // pawns and on one without own pawns; a knight and a bishop on an outpost (the fourth to sixth rank from
    // their side, guarded by an own pawn, where no enemy pawn can ever attack it).
    int rook_open_file;
    int rook_half_open_file;
    int knight_outpost;
    int bishop_outpost;
    // King danger, the enemy king's peril as one number: each piece attacking the zone (the king and its
    // neighbours) weighs by kind (knight, bishop, rook, queen), and the summed weights count once per
    // attacker, so that a lone attacker does little; then each attack on a zone square, each zone square
    // attacked that no pawn, minor piece or rook defends, a safe check at hand by kind and a kind whose
    // checks are all guarded; less without an own queen, from a base. Beyond the threshold the danger
    // counts by its square over the divisor (a mating attack grows faster than its parts), up to the cap:
    // beyond it the king is lost anyway and a larger number only misleads.
    int attacker_weight[4];
    int zone_attack;
    int weak_zone_square;
    int safe_check[4];
    int unsafe_check;
    int queenless;
    int danger_offset;
    int danger_threshold;
    int danger_divisor;
    int king_attack_cap;
    // Pawn shield: an own pawn one rank ahead on a file at the king, two ranks ahead, and a file beside
    // the king that is off the board (the edge shields like a pawn).
    int shield_near;
    int shield_far;
    int shield_edge;
    // A file at the king with no pawns at all, and one with enemy pawns only (negative: a weakness).
    int open_file;
    int half_open_file;
    // One castling right still held (at most two count).
    int castling_right;
    // Pawn storm: one own pawn on the enemy king's files on its 4th, 5th, 6th and 7th rank. Kept below 21,
    // so that the byte-wise sum of the storm count cannot carry (three pawns a rank at most).
    int storm_rank[4];
    // Passed pawns by rank from their own side (0 = first rank), and again when the stop square is empty.
    int passed_rank[8];
    int free_passer_rank[8];
    // Pawn units of a hanging pawn, minor piece, rook and queen.
    int hanging_value[4];
    // Safe queen checks counted at most.
    int queen_checks_cap;
    // Queen contact next to the enemy king: with the move (nearly mate) and without (a threat).
    int queen_contact_to_move;
    int queen_contact_waiting;
    // King activity: what one step of distance to the enemy pawns and to the own passed pawns costs.
    int king_pawn_distance;
    int king_passer_distance;
};

// The variables whose measuring rules are ours (mobility, development, king safety, king activity, the
// loose-piece terms, the pawn terms and the bad bishop); the rest are measured as the weights demand.
constexpr int free_variables[] = {v_mobility,
                                  v_knight_mobility,
                                  v_bishop_mobility,
                                  v_rook_mobility,
                                  v_queen_mobility,
                                  v_development,
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
                                  v_bad_bishop};
constexpr int free_variable_count = sizeof(free_variables) / sizeof(free_variables[0]);
static_assert(free_variable_count == 36, "the weights leave 36 measuring rules to us");

namespace measures_detail {
extern Measures current;
}
// The measures the evaluation reads.
inline const Measures &measures() { return measures_detail::current; }
// The same, writable: for the tuner only, and only while no evaluation runs (the evaluation caches
// scores and pawn structures measured with the old values: clear them after a change).
Measures &tunable_measures();

// One tunable constant: its name in the source and where it lives, for the tuner.
struct MeasureParameter {
    std::string name;
    int *integer; // exactly one of the two is set
    float *real;
    int low, high; // the range a fit may move an integer in
};
std::vector<MeasureParameter> measure_parameters(Measures &m);
// The values of m as the initializer that src/eval/measures_values.inc holds.
std::string measures_source(const Measures &m);

#endif
