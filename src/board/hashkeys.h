// Position key tables: the published Polyglot Random64 keys, and a second sparse set for the pawn key.
#ifndef DRAVNIK_BOARD_HASHKEYS_H
#define DRAVNIK_BOARD_HASHKEYS_H

#include <cstdint>

// The 781 Polyglot keys in the format's own order (768 piece-square, 4 castling, 8 en-passant files, turn).
extern const std::uint64_t rndh[781];

struct KeySet {
    std::uint64_t piece[16][64]; // by Piece id; ids 0, 7, 8, 15 are all zero
    std::uint64_t castle[4];     // white short, white long, black short, black long
    std::uint64_t ep[8];         // by file
    std::uint64_t turn;          // enters when white is to move
};

class HashKeys {
  public:
    HashKeys();
    const KeySet &polyglot() const { return m_polyglot; }
    // Second set: two per-square blocks (white pawns, black pawns), then the castling, en-passant and turn
    // shapes; each key is the AND of three draws so its bits are sparse.
    const KeySet &second() const { return m_second; }

  private:
    KeySet m_polyglot;
    KeySet m_second;
};

#endif
