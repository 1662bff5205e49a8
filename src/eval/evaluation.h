// The static evaluation: 47 measured variables, each weighted by a blend of a middle-game and an end-game
// weight, plus the material cache, the opposite-bishop divisor and the special endgame evaluators.
// Inside, scores are floats from white's side; static_eval() answers for the side to move.
#ifndef DRAVNIK_EVAL_EVALUATION_H
#define DRAVNIK_EVAL_EVALUATION_H

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "board/chessposition.h"
#include "eval/material.h"
#include "eval/measures.h"
#include "eval/mobility.h"
#include "eval/pawnhash.h"
#include "eval/piecesquaretables.h"
#include "eval/weight.h"
#include "movegen/attacks.h"
#include "movegen/board_tables.h"

class Evaluation {
  public:
    Evaluation(const ChessPosition &pos, const BoardTables &tables);
    Evaluation(const Evaluation &) = delete;
    Evaluation &operator=(const Evaluation &) = delete;

    void init() { m_pst.init(m_position); }
    void clear() {} // the caches hold pure functions of their keys and survive between games
    // The score for the side to move. A search evaluates many positions again (after a reduced or
    // null-window probe, at transpositions), so recent scores are kept by position key.
    int static_eval();
    // The same, always computed in full: the variables that report() prints then describe this position.
    int full_eval();
    // Starts loading the cached score of the current position.
    void prefetch() const { __builtin_prefetch(&m_cache[m_position.key() & cache_mask]); }
    void make_move(const Move &m) { m_pst.make_move(m); }
    void unmake_move(const Move &m) { m_pst.unmake_move(m); }
    void set_log(bool on);

    // Tapered contributions of the last evaluation, from white's side.
    float material() const { return contribution(v_material, v_material); }
    float mobility() const;
    float king_safety() const;
    float passed_pawns() const { return contribution(v_passed_pawns, v_passed_pawns); }

    std::vector<float> &variable_vector() { return m_variables; }
    std::vector<float> &weight_mg_vector() { return m_weight.mg(); }
    std::vector<float> &weight_eg_vector() { return m_weight.eg(); }
    const Weight &weights() const { return m_weight; }
    int distance_between(const Square &a, const Square &b) const { return m_distance(a, b); }
    int distance_between(const Square &a, const BitBoard &b) const { return m_distance(a, b); }
    std::string fen() const { return m_position.fen(); }
    std::string report() const;
    std::string stats() const;

    float mg_factor() const { return m_mg_factor; }
    float eg_factor() const { return m_eg_factor; }
    float last_score() const { return m_last_score; }
    std::uint64_t evaluations() const { return m_evaluations; }
    // Passed pawns of the last evaluation, for the search's pawn extension.
    const BitBoard &white_passed_pawns() const { return m_passed[1]; }
    const BitBoard &black_passed_pawns() const { return m_passed[0]; }
    const PieceSquareTables &piece_square_tables() const { return m_pst; }
    Material &material_table() { return m_material; }

    void compute_phase();

    // Special endgame evaluators: scores from white's side (see evaluation_endgames.cpp).
    int KNNK() const;
    int KBNK() const;
    int KBPK() const;
    int KPK() const;
    int KRK() const { return KQK(); }
    int KBBK() const;
    int KQK() const;
    int KQKR() const;
    int KRPKR() const;

  private:
    // A score from white's side with the passed pawns it was computed with (the search's extensions read
    // them); direct-mapped by the low bits of the key, always replaced. 2^14 entries, 512 KiB: in the bench
    // searches a third of the evaluations are found here.
    struct CachedEval {
        std::uint64_t key;
        BitBoard passed[2];
        float score;
    };
    static constexpr std::uint64_t cache_mask = (std::uint64_t(1) << 14) - 1;

    float contribution(int first, int last) const;
    float compute(); // the whole evaluation from white's side, also left in m_last_score
    int for_side_to_move() const;
    void compute_material();
    void compute_mobility() { m_mobility.compute(m_position, m_variables.data()); }
    void compute_pst();
    void compute_pawn_eval();
    void compute_development();
    void compute_king_safety();
    template <int colour> void king_safety_of(int *out) const;
    void compute_king_activity();
    void compute_pinned_pieces();
    void compute_opposite_colored_bishops();
    bool special_endgame(std::uint64_t index, int &score) const;

    const ChessPosition &m_position;
    std::unique_ptr<CachedEval[]> m_cache;
    PawnHashTable m_pawnhash;
    Material m_material;
    PieceSquareTables m_pst;
    Mobility m_mobility;
    Distance m_distance;
    Weight m_weight;
    std::vector<float> m_variables;
    bool m_logging;
    std::ofstream m_log;
    std::uint64_t m_evaluations;
    float m_mg_factor;
    float m_eg_factor;
    float m_last_score;
    BitBoard m_passed[2];
};

#endif
