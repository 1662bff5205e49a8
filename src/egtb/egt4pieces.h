// Four-piece endgame tables built in memory during a game (KBNK; KQKR with KQK and KRK).
//
// The root search drives an instance: constructed for a pair of piece kinds (bishop and knight, or queen and
// rook), pointed at memory (borrowed from the transposition table, or a buffer of its own), advanced by
// create() one bounded step at a time, and probed once complete. The queen-and-rook instance also holds the
// three-piece tables that its captures lead to, and answers for them.
#ifndef DRAVNIK_EGTB_EGT4PIECES_H
#define DRAVNIK_EGTB_EGT4PIECES_H

#include <cstddef>
#include <memory>
#include <string>

#include "board/chessposition.h"
#include "board/piece.h"
#include "egtb/retro_table.h"
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
    std::size_t bytes_needed() const { return m_bytes_needed; }
    // Borrowed memory (not owned); refused when smaller than bytes_needed().
    bool set_memory(unsigned char *memory, std::size_t bytes);
    // A buffer of its own; without memory (allocation failed) the build never starts.
    void use_own_buffer();
    // One bounded step of the build, a few milliseconds of work.
    void create();
    // The work of one step, in the units of RetroTable::step; tests shrink it.
    void set_step_budget(long budget) { m_step_budget = budget; }
    EgtProbe probe(const ChessPosition &pos) const;
    // Whether the material of the position (as MaterialIndex::str) belongs to this table.
    bool handles(const std::string &material) const;

    // The tables in build order: sub-endings first, the four-piece table last.
    int table_count() const { return m_count; }
    const RetroTable &table(int i) const { return *m_tables[i]; }

  private:
    // The table of the position's material and the position's placement and side to move in it.
    struct Lookup {
        const RetroTable *table = nullptr;
        Placement placement{{64, 64, 64, 64}};
        int side = 0;
    };
    Lookup locate(const ChessPosition &pos) const;

    bool m_kbnk;
    std::unique_ptr<RetroTable> m_tables[3];
    int m_count = 0;
    std::size_t m_bytes_needed = 0;
    int m_progress = -1;
    int m_building = 0;
    long m_step_budget = 500000;
    unsigned char *m_memory = nullptr;
    std::unique_ptr<unsigned char[]> m_own;
};

#endif
