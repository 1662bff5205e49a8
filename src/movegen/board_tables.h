// The read-only tables a position needs: attack tables and position keys. The search's Tables extends it.
#ifndef DRAVNIK_MOVEGEN_BOARD_TABLES_H
#define DRAVNIK_MOVEGEN_BOARD_TABLES_H

#include "board/hashkeys.h"
#include "movegen/attacks.h"

class BoardTables {
  public:
    const Attacks &attacks() const { return m_attacks; }
    const Connections &connections() const { return m_connections; }
    const HashKeys &keys() const { return m_keys; }

  private:
    Attacks m_attacks;
    Connections m_connections;
    HashKeys m_keys;
};

#endif
