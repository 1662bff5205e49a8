// Four-piece endgame tables built in memory during a game (KBNK; KQKR with KQK and KRK).
//
// The interface the root search drives: a table is constructed for a pair of piece kinds, pointed at
// memory (borrowed from the transposition table, or a buffer of its own), advanced by create() one bounded
// step at a time, and probed once complete. This version holds no tables yet: its progress stays "not
// started" and every probe answers "unknown", which keeps the search correct until the tables are built.
#ifndef DRAVNIK_EGTB_EGT4PIECES_H
#define DRAVNIK_EGTB_EGT4PIECES_H

#include <cstddef>
#include <string>

#include "board/chessposition.h"
#include "board/piece.h"
#include "movegen/attacks.h"

enum class egt_result_t { unknown, illegal, draw, win, loss };

// From the side to move's point of view; plies counts the half-moves to mate.
struct EgtProbe {
    egt_result_t result = egt_result_t::unknown;
    int plies = 0;
};

class Egt4Pieces {
  public:
    Egt4Pieces(const Attacks &attacks, piece_t first, piece_t second);
    Egt4Pieces(const Egt4Pieces &) = delete;
    Egt4Pieces &operator=(const Egt4Pieces &) = delete;

    // Below 0 or above 100: not started; 0 to 100: building; 101: complete.
    int progress() const { return m_progress; }
    bool complete() const { return m_progress == 101; }
    // Back to "not started"; frees a buffer of its own, forgets borrowed memory.
    void release();
    std::size_t bytes_needed() const { return 0; }
    // Borrowed memory (not owned); refused when smaller than bytes_needed().
    bool set_memory(unsigned char *memory, std::size_t bytes);
    void use_own_buffer();
    // One bounded step of the build.
    void create();
    EgtProbe probe(const ChessPosition &pos) const;
    // Whether the material of the position (as MaterialIndex::str) belongs to this table.
    bool handles(const std::string &material) const;

  private:
    const Attacks &m_attacks;
    piece_t m_first, m_second;
    int m_progress = -1;
    unsigned char *m_memory = nullptr;
    std::size_t m_bytes = 0;
};

#endif
