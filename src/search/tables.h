// Everything built once at start-up and shared by all threads: the board tables, the reduction table
// and the transposition table (the one member the search threads write, without locks).
#ifndef DRAVNIK_SEARCH_TABLES_H
#define DRAVNIK_SEARCH_TABLES_H

#include "movegen/board_tables.h"
#include "search/move_ordering.h"
#include "search/transposition.h"

class Tables : public BoardTables {
  public:
    Tables() = default;
    Tables(const Tables &) = delete;
    Tables &operator=(const Tables &) = delete;

    TranspositionTable &tt() { return m_tt; }
    const TranspositionTable &tt() const { return m_tt; }
    const LmrTable &lmr() const { return m_lmr; }
    // The reduction table anew from its formula's constants, which the tuning build may change.
    void rebuild_lmr() { m_lmr = LmrTable(); }

  private:
    TranspositionTable m_tt;
    LmrTable m_lmr;
};

#endif
