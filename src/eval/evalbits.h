// Raw 64-bit set helpers for the evaluation's hot paths.
#ifndef DRAVNIK_EVAL_EVALBITS_H
#define DRAVNIK_EVAL_EVALBITS_H

#include <cstdint>

#include "board/bitboard.h"

namespace evalbits {

using u64 = std::uint64_t;

constexpr u64 not_a = 0xFEFEFEFEFEFEFEFEULL;
constexpr u64 not_h = 0x7F7F7F7F7F7F7F7FULL;

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
inline u64 west_east(u64 b) { return ((b << 1) & not_a) | ((b >> 1) & not_h); }

// Forward is up the board for white (colour 1) and down for black (colour 0).
template <int colour> inline u64 forward(u64 b, int ranks = 1) {
    return colour ? b << (8 * ranks) : b >> (8 * ranks);
}
template <int colour> inline u64 forward_fill(u64 b) { return colour ? north_fill(b) : south_fill(b); }
template <int colour> inline u64 backward_fill(u64 b) { return colour ? south_fill(b) : north_fill(b); }
template <int colour> inline u64 pawn_attacks(u64 p) {
    return colour ? ((p << 7) & not_h) | ((p << 9) & not_a) : ((p >> 9) & not_h) | ((p >> 7) & not_a);
}
// A rank seen from the colour's own side (0 = its back rank).
template <int colour> constexpr u64 relative_rank(int r) { return 0xFFULL << (8 * (colour ? r : 7 - r)); }

inline int lsb(u64 b) { return BitBoard::first_square(b).id(); }

} // namespace evalbits

#endif
