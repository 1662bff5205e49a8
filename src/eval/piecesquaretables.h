// Middle-game and end-game piece-square values with per-piece-code running sums kept in step with the
// position by make/unmake, so that the evaluation never rescans the board for them.
#ifndef DRAVNIK_EVAL_PIECESQUARETABLES_H
#define DRAVNIK_EVAL_PIECESQUARETABLES_H

#include <utility>

#include "board/chessposition.h"
#include "board/move.h"

class PieceSquareTables {
  public:
    using Score = std::pair<float, float>; // (middle game, end game)

    PieceSquareTables();

    void init(const ChessPosition &pos);
    void make_move(const Move &m) { update(m, 1.0f); }
    void unmake_move(const Move &m) { update(m, -1.0f); }

    Score get_score() const;
    Score get_pawn_score() const { return kind_score(wpawn); }
    Score get_knight_score() const { return kind_score(wknight); }
    Score get_bishop_score() const { return kind_score(wbishop); }
    Score get_rook_score() const { return kind_score(wrook); }
    Score get_queen_score() const { return kind_score(wqueen); }
    Score get_king_score() const { return kind_score(wking); }
    const Score &score(int piece) const { return m_score[piece]; }

    // Compares the incremental sums with fresh ones from the position last given to init(); a mismatch is
    // described on the standard error stream.
    bool verify_score() const;

    float mg_value(int piece, int square) const { return m_mg[piece][square]; }
    float eg_value(int piece, int square) const { return m_eg[piece][square]; }

  private:
    Score kind_score(int kind) const {
        return Score(m_score[kind].first + m_score[kind + 8].first,
                     m_score[kind].second + m_score[kind + 8].second);
    }
    void add(int piece, int square, float sign) {
        m_score[piece].first += sign * m_mg[piece][square];
        m_score[piece].second += sign * m_eg[piece][square];
    }
    void update(const Move &m, float sign);
    void fresh_scores(const ChessPosition &pos, Score (&out)[15]) const;

    float m_mg[15][64];
    float m_eg[15][64];
    Score m_score[15];
    const ChessPosition *m_position;
};

#endif
