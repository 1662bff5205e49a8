// Raw 64-bit set helpers for the evaluation's hot paths.
#ifndef DRAVNIK_EVAL_EVALBITS_H
#define DRAVNIK_EVAL_EVALBITS_H

#include <cstdint>

#include "board/bitboard.h"

namespace evalbits {

using u64 = std::uint64_t;

constexpr u64 not_a = 0xFEFEFEFEFEFEFEFEULL;
constexpr u64 not_h = 0x7F7F7F7F7F7F7F7FULL;

// Arithmetic population count: no instruction assumed and no 64 KiB table to pull through the cache. A
// 64-bit processor counts the whole word at once; a 32-bit one counts the two halves side by side, since
// each 64-bit step would cost it two instructions.
inline int popcnt(u64 b) {
#if UINTPTR_MAX > 0xFFFFFFFFu
    b = b - ((b >> 1) & 0x5555555555555555ULL);
    b = (b & 0x3333333333333333ULL) + ((b >> 2) & 0x3333333333333333ULL);
    b = (b + (b >> 4)) & 0x0F0F0F0F0F0F0F0FULL;
    return static_cast<int>((b * 0x0101010101010101ULL) >> 56);
#else
    std::uint32_t lo = static_cast<std::uint32_t>(b), hi = static_cast<std::uint32_t>(b >> 32);
    lo = lo - ((lo >> 1) & 0x55555555u);
    hi = hi - ((hi >> 1) & 0x55555555u);
    lo = (lo & 0x33333333u) + ((lo >> 2) & 0x33333333u);
    hi = (hi & 0x33333333u) + ((hi >> 2) & 0x33333333u);
    const std::uint32_t s = ((lo + ((lo >> 4))) & 0x0F0F0F0Fu) + ((hi + (hi >> 4)) & 0x0F0F0F0Fu);
    return static_cast<int>((s * 0x01010101u) >> 24);
#endif
}

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
