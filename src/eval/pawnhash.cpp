#include "eval/pawnhash.h"

#include "eval/evalbits.h"
#include "eval/measures.h"

using namespace evalbits;

PawnHashTable::PawnHashTable() : m_table(entries), m_misses(0) { clear(); }

void PawnHashTable::clear() {
    for (PawnEntry &e : m_table)
        e = PawnEntry{0, {BitBoard(), BitBoard()}, {}, false};
}

namespace {

template <int colour> void measure(PawnEntry &e, u64 own, u64 enemy) {
    std::int16_t *c = e.count[colour];
    const u64 files = file_fill(own);
    const u64 neighbour_files = west_east(files);
    const u64 isolated = own & ~neighbour_files;
    // Squares an own pawn could still be supported on: the neighbouring files from a pawn's rank onwards.
    const u64 supportable = forward_fill<colour>(west_east(own));
    const u64 enemy_attacks = pawn_attacks<1 - colour>(enemy);
    const u64 stop_attacked = forward<1 - colour>(enemy_attacks);
    const u64 weak = own & ~isolated & ~supportable & stop_attacked;
    // Enemy pawns stop a pawn on their own file and capture on the neighbouring ones.
    const u64 enemy_front = backward_fill<colour>(forward<1 - colour>(enemy));
    const u64 blocked_by_own = backward_fill<colour>(forward<1 - colour>(own));
    const u64 passed = own & ~(enemy_front | west_east(enemy_front)) & ~blocked_by_own;

    c[PawnEntry::rookpawns] = static_cast<std::int16_t>(popcnt(own & (a_file | h_file).value()));
    c[PawnEntry::doubled] = static_cast<std::int16_t>(popcnt(own & blocked_by_own));
    c[PawnEntry::isolated] = static_cast<std::int16_t>(popcnt(isolated));
    c[PawnEntry::weak] = static_cast<std::int16_t>(popcnt(weak));
    const unsigned file_bits = static_cast<unsigned>(files & 0xFF);
    c[PawnEntry::islands] = static_cast<std::int16_t>(popcnt(file_bits & ~(file_bits << 1)));
    int value = 0;
    for (u64 p = passed; p; p &= p - 1) {
        const int rank = lsb(p) >> 3;
        value += measures().passed_rank[colour ? rank : 7 - rank];
    }
    c[PawnEntry::passed_value] = static_cast<std::int16_t>(value);
    c[PawnEntry::light] = static_cast<std::int16_t>(popcnt(own & white_squares.value()));
    c[PawnEntry::dark] = static_cast<std::int16_t>(popcnt(own & black_squares.value()));
    e.passed[colour] = BitBoard(passed);
}

} // namespace

void PawnHashTable::compute(PawnEntry &e, const BitBoard &white_pawns, const BitBoard &black_pawns) {
    measure<1>(e, white_pawns.value(), black_pawns.value());
    measure<0>(e, black_pawns.value(), white_pawns.value());
}
