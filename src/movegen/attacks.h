// Read-only attack tables, built once at start-up and shared by every thread without locks.
#ifndef DRAVNIK_MOVEGEN_ATTACKS_H
#define DRAVNIK_MOVEGEN_ATTACKS_H

#include <cstdint>
#include <vector>

#include "board/bitboard.h"

struct Magic {
    std::uint64_t multiplier;
    unsigned shift;
};

// The constant multipliers: 0-63 bishops, 64-127 rooks, by square. A candidate table can stand in for the
// engine's own so that the builder's checks can be run on it.
class MagicNumber {
  public:
    static const Magic table[128];
    MagicNumber() : m_entries(table) {}
    explicit MagicNumber(const Magic (&entries)[128]) : m_entries(entries) {}
    const Magic &operator[](int i) const { return m_entries[i]; }

  private:
    const Magic *m_entries;
};

// Relevant occupancy: the rays without the origin and without the last square at the edge.
class RookMask {
  public:
    RookMask();
    const BitBoard &get_mask(Square s) const { return m_mask[s.id()]; }

  private:
    BitBoard m_mask[64];
};

class BishopMask {
  public:
    BishopMask();
    const BitBoard &get_mask(Square s) const { return m_mask[s.id()]; }

  private:
    BitBoard m_mask[64];
};

// Builder of the slider tables; lives only while Attacks is constructed.
class MagicMoves {
  public:
    // Both throw "MagicMoves error(1|2) in constructor" on an inconsistent table.
    MagicMoves();
    explicit MagicMoves(const Magic (&table)[128]);
    static BitBoard rook_moves(const Square &s, const BitBoard &occupied);
    static BitBoard bishop_moves(const Square &s, const BitBoard &occupied);
    static std::vector<BitBoard> possible_occupancies(const BitBoard &mask);
    void construct_magic_bishop_moves();
    void construct_magic_rook_moves();
    std::size_t size() const;
    bool selftest_ok() const;

    RookMask rook_mask;
    BishopMask bishop_mask;
    MagicNumber magic;
    std::vector<BitBoard> bishop_table[64]; // indexed by the magic index
    std::vector<BitBoard> rook_table[64];
};

class Attacks {
  public:
    Attacks();
    // The slider entries point into the object's own stores.
    Attacks(const Attacks &) = delete;
    Attacks &operator=(const Attacks &) = delete;

    const BitBoard &knight(const Square &s) const { return m_knight[s.id()]; }
    const BitBoard &king(const Square &s) const { return m_king[s.id()]; }
    const BitBoard &knight(const BitBoard &b) const { return m_knight[b.get_unique_square().id()]; }
    const BitBoard &king(const BitBoard &b) const { return m_king[b.get_unique_square().id()]; }

    // Slider attacks include the first blocker on each ray, whatever its colour.
    BitBoard bishop(const Square &s, const BitBoard &occupied) const {
        return m_bishop[s.id()].lookup(occupied.value());
    }
    BitBoard rook(const Square &s, const BitBoard &occupied) const {
        return m_rook[s.id()].lookup(occupied.value());
    }
    BitBoard queen(const Square &s, const BitBoard &occupied) const {
        return bishop(s, occupied) | rook(s, occupied);
    }
    BitBoard bishop(const BitBoard &b, const BitBoard &occupied) const {
        return bishop(b.get_unique_square(), occupied);
    }
    BitBoard rook(const BitBoard &b, const BitBoard &occupied) const {
        return rook(b.get_unique_square(), occupied);
    }
    BitBoard queen(const BitBoard &b, const BitBoard &occupied) const {
        return queen(b.get_unique_square(), occupied);
    }

    std::size_t index_bytes() const { return m_index_store.size(); } // memory of the byte index arrays
    std::size_t set_bytes() const { return m_set_store.size() * sizeof(BitBoard); } // distinct attack sets

  private:
    // Everything one lookup needs on one cache line: mask, magic, and where the square's byte index and
    // its list of distinct attack sets start.
    struct alignas(32) Slider {
        std::uint64_t mask;
        std::uint64_t multiplier;
        const unsigned char *index;
        const BitBoard *sets;
        unsigned shift;
        BitBoard lookup(std::uint64_t occupied) const {
            return sets[index[((occupied & mask) * multiplier) >> shift]];
        }
    };

    BitBoard m_knight[64];
    BitBoard m_king[64];
    Slider m_bishop[64];
    Slider m_rook[64];
    std::vector<unsigned char> m_index_store; // all squares' index arrays, bishops first
    std::vector<BitBoard> m_set_store;        // all squares' distinct attack sets, bishops first
};

// Empty-board slider attacks and the line segments between two squares.
class Connections {
  public:
    Connections();
    const BitBoard &rook_attacks(const Square &s) const { return m_rook[s.id()]; }
    const BitBoard &bishop_attacks(const Square &s) const { return m_bishop[s.id()]; }
    const BitBoard &queen_attacks(const Square &s) const { return m_queen[s.id()]; }
    // Squares strictly between a and b on a shared line, else empty.
    const BitBoard &line_segment(const Square &a, const Square &b) const { return m_open[a.id()][b.id()]; }
    // The open segment plus both ends (just the two ends when they share no line).
    const BitBoard &closed_line_segment(const Square &a, const Square &b) const {
        return m_closed[a.id()][b.id()];
    }

  private:
    BitBoard m_rook[64];
    BitBoard m_bishop[64];
    BitBoard m_queen[64];
    BitBoard m_open[64][64];
    BitBoard m_closed[64][64];
};

// King distances and the rings of squares within a distance.
class Distance {
  public:
    Distance();
    int operator()(const Square &a, const Square &b) const { return m_distance[a.id()][b.id()]; }
    // Smallest distance from s to a member of b; 8 for the empty set. The rings grow outwards, so the
    // first one that meets b gives it.
    int operator()(const Square &s, const BitBoard &b) const {
        if (!b) return 8;
        int k = 0;
        while (!(m_ring[s.id()][k] & b))
            ++k;
        return k;
    }
    const BitBoard &ring(const Square &s, int k) const { return m_ring[s.id()][k]; }

  private:
    unsigned char m_distance[64][64];
    BitBoard m_ring[64][8];
};

#endif
