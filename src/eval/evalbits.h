// Raw 64-bit set helpers for the evaluation's hot paths.
#ifndef DRAVNIK_EVAL_EVALBITS_H
#define DRAVNIK_EVAL_EVALBITS_H

#include <cstdint>

#include "board/bitboard.h"

namespace evalbits {

using u64 = std::uint64_t;

inline int popcnt(u64 b) { return bit_count(b); }

inline u64 north_fill(u64 b) {
    b |= b << 8;
    b |= b << 16;
    return b | (b << 32);
}
inline u64 south_fill(u64 b) {
    b |= b >> 8;
    b |= b >> 16;
    return b | (b >> 32);
}
inline u64 file_fill(u64 b) { return north_fill(south_fill(b)); }
using ::west_east;

// Forward is up the board for white (colour 1) and down for black (colour 0).
template <int colour> inline u64 forward(u64 b, int ranks = 1) {
    return colour ? b << (8 * ranks) : b >> (8 * ranks);
}
template <int colour> inline u64 forward_fill(u64 b) { return colour ? north_fill(b) : south_fill(b); }
template <int colour> inline u64 backward_fill(u64 b) { return colour ? south_fill(b) : north_fill(b); }
using ::pawn_attacks;
// The squares of a file by its number (0 = the a-file).
constexpr u64 file_mask(int file) { return a_file.value() << file; }
// A rank seen from the colour's own side (0 = its back rank).
template <int colour> constexpr u64 relative_rank(int r) { return 0xFFULL << (8 * (colour ? r : 7 - r)); }

inline int lsb(u64 b) { return BitBoard::first_square(b).id(); }

} // namespace evalbits

#endif
