#include "eval/mobility.h"

#include "eval/evalbits.h"
#include "eval/measures.h"
#include "eval/weight.h"

using namespace evalbits;

namespace {

// A rook in the corner behind its own king that walked there without castling; the king squares that
// lock it in, by colour (black mirrors white).
constexpr u64 kingside_rook[2] = {0xC080000000000000ULL, 0x80C0ULL};  // g/h on the back rank, h one up
constexpr u64 kingside_king[2] = {0x6000000000000000ULL, 0x60ULL};    // f, g
constexpr u64 queenside_rook[2] = {0x0301000000000000ULL, 0x0103ULL}; // a/b on the back rank, a one up
constexpr u64 queenside_king[2] = {0x0600000000000000ULL, 0x06ULL};   // b, c

} // namespace

// One kind at a time, so that the kind's table and attacker weight are constants of its loop.
template <int colour> void Mobility::piece_attacks(const ChessPosition &pos, u64 occupied) {
    const int c = colour ? 0 : 8;
    const u64 own = colour ? pos.white_pieces().value() : pos.black_pieces().value();
    const u64 safe = ~own & ~m_att[1 - colour][wpawn];
    const u64 enemy_zone = m_zone[1 - colour];
    int zone_attacks = 0, attackers = 0, weight = 0, squares = 0;
    int *kind_mobility = m_kind_mobility[colour];
    const Measures &ms = measures();
    // The safe squares of one piece with attack set a; counts it against the enemy king's zone.
    auto account = [&](u64 a, int attacker_weight) {
        const int n = popcnt(a & safe);
        squares += n;
        if (const u64 in_zone = a & enemy_zone) {
            ++attackers;
            weight += attacker_weight;
            zone_attacks += popcnt(in_zone);
        }
        return n;
    };

    u64 knights = 0, bishops = 0, rooks = 0, queens = 0;
    int knight_mob = 0, bishop_mob = 0, rook_mob = 0, queen_mob = 0;
    // Activity the safe squares miss: minor pieces on outposts (guarded by an own pawn where no enemy
    // pawn, as far as it may still advance, can drive them off) and rooks on files without own pawns.
    const u64 own_pawns = pos.pieces(wpawn + c).value(), enemy_pawns = pos.pieces(wpawn + 8 - c).value();
    const u64 enemy_reach = pawn_attacks<1 - colour>(forward_fill<1 - colour>(enemy_pawns));
    const u64 outposts = (relative_rank<colour>(3) | relative_rank<colour>(4) | relative_rank<colour>(5)) &
                         m_att[colour][wpawn] & ~enemy_reach;
    squares += ms.knight_outpost * popcnt(pos.pieces(wknight + c).value() & outposts) +
               ms.bishop_outpost * popcnt(pos.pieces(wbishop + c).value() & outposts);
    for (u64 b = pos.pieces(wknight + c).value(); b; b &= b - 1) {
        const u64 a = m_attacks.knight(Square(lsb(b))).value();
        knights |= a;
        knight_mob += ms.knight_mobility[account(a, ms.attacker_weight[0])];
    }
    for (u64 b = pos.pieces(wbishop + c).value(); b; b &= b - 1) {
        const u64 a = m_attacks.bishop(Square(lsb(b)), occupied).value();
        bishops |= a;
        bishop_mob += ms.bishop_mobility[account(a, ms.attacker_weight[1])];
    }
    const u64 king = pos.pieces(wking + c).value();
    // Rooks can be shut in only by an own king that has lost its castling rights.
    const bool may_lock = king && (colour ? pos.castlingrights() & 0xFF : pos.castlingrights() >> 8) == 0;
    int locked = 0;
    for (u64 b = pos.pieces(wrook + c).value(); b; b &= b - 1) {
        const int s = lsb(b);
        const u64 a = m_attacks.rook(Square(s), occupied).value();
        rooks |= a;
        rook_mob += ms.rook_mobility[account(a, ms.attacker_weight[2])];
        const u64 file = file_mask(s & 7);
        if (!(file & own_pawns)) squares += file & enemy_pawns ? ms.rook_half_open_file : ms.rook_open_file;
        if (may_lock) {
            const u64 rb = b & (0 - b), free = a & ~own;
            const int king_file = lsb(king) & 7;
            const bool shut =
                ((rb & kingside_rook[colour]) && (king & kingside_king[colour]) && king_file < (s & 7)) ||
                ((rb & queenside_rook[colour]) && (king & queenside_king[colour]) && king_file > (s & 7));
            if (shut && !((free & (free - 1)) & ((free & (free - 1)) - 1))) ++locked; // at most two squares
        }
    }
    for (u64 b = pos.pieces(wqueen + c).value(); b; b &= b - 1) {
        const u64 a = m_attacks.queen(Square(lsb(b)), occupied).value();
        queens |= a;
        queen_mob += ms.queen_mobility[account(a, ms.attacker_weight[3])];
    }
    u64 *att = m_att[colour];
    att[wknight] = knights;
    att[wbishop] = bishops;
    att[wrook] = rooks;
    att[wqueen] = queens;
    att[7] = att[wpawn] | knights | bishops | rooks | queens;
    att[0] = att[7] | att[wking];
    kind_mobility[wknight] = knight_mob;
    kind_mobility[wbishop] = bishop_mob;
    kind_mobility[wrook] = rook_mob;
    kind_mobility[wqueen] = queen_mob;
    m_zone_attacks[colour] = zone_attacks;
    m_king_attackers[colour] = attackers;
    m_attacker_weight[colour] = weight;
    m_squares[colour] = squares;
    m_locked[colour] = locked;
}

// The enemy king's danger from the colour's pieces (see Measures for its parts), and on the way the squares
// from which an own queen would check it safely: one that a queen reaches now and no enemy piece guards.
template <int colour> void Mobility::danger(const ChessPosition &pos, u64 occupied) {
    m_danger[colour] = m_safe_queen_checks[colour] = 0;
    const u64 enemy_king = pos.pieces(colour ? bking : wking).value();
    if (!enemy_king) return;
    const Measures &ms = measures();
    const u64 *us = m_att[colour], *them = m_att[1 - colour];
    const u64 own = colour ? pos.white_pieces().value() : pos.black_pieces().value();
    // Zone squares only the king or queen defends: the ones an attack breaks through.
    const u64 defended = them[wpawn] | them[wknight] | them[wbishop] | them[wrook];
    const int weak = popcnt(m_zone[1 - colour] & us[7] & ~defended);
    int danger = m_king_attackers[colour] * m_attacker_weight[colour] +
                 ms.zone_attack * m_zone_attacks[colour] + ms.weak_zone_square * weak + ms.danger_offset;

    // Checks at hand by kind: safe where no enemy piece guards the square; a kind whose checks are all
    // guarded still ties the defence down.
    const Square k = BitBoard::first_square(enemy_king);
    const u64 diagonals = m_attacks.bishop(k, occupied).value(), lines = m_attacks.rook(k, occupied).value();
    const u64 checks[4] = {m_attacks.knight(k).value() & us[wknight], diagonals & us[wbishop],
                           lines & us[wrook], (diagonals | lines) & us[wqueen]};
    const u64 safe = ~own & ~them[0];
    m_safe_queen_checks[colour] = popcnt(checks[3] & safe);
    int unsafe = 0;
    for (int kind = 0; kind < 4; ++kind) {
        if (checks[kind] & safe)
            danger += ms.safe_check[kind];
        else if (checks[kind] & ~own)
            ++unsafe;
    }
    danger += ms.unsafe_check * unsafe;
    if (!pos.pieces(colour ? wqueen : bqueen).value()) danger -= ms.queenless;

    if (danger <= ms.danger_threshold) return;
    const long long grown = static_cast<long long>(danger) * danger / ms.danger_divisor;
    m_danger[colour] = grown < ms.king_attack_cap ? static_cast<int>(grown) : ms.king_attack_cap;
}

// Knights, bishops, rooks and queens that no own piece guards.
template <int colour> int Mobility::undefended(const ChessPosition &pos) const {
    const int c = colour ? 0 : 8;
    const u64 pieces = pos.pieces(wknight + c).value() | pos.pieces(wbishop + c).value() |
                       pos.pieces(wrook + c).value() | pos.pieces(wqueen + c).value();
    return popcnt(pieces & ~m_att[colour][0]);
}

// Pawn units of the colour's pieces that are attacked and either unguarded or attacked by a cheaper piece.
template <int colour> int Mobility::hanging(const ChessPosition &pos) const {
    const int c = colour ? 0 : 8;
    const int *value = measures().hanging_value;
    const u64 *e = m_att[1 - colour];
    const u64 loose = e[0] & ~m_att[colour][0];
    const u64 by_minor = e[wpawn];
    const u64 by_rook = by_minor | e[wknight] | e[wbishop];
    const u64 by_queen = by_rook | e[wrook];
    return value[0] * popcnt(pos.pieces(wpawn + c).value() & loose) +
           value[1] * popcnt((pos.pieces(wknight + c).value() | pos.pieces(wbishop + c).value()) &
                             (loose | by_minor)) +
           value[2] * popcnt(pos.pieces(wrook + c).value() & (loose | by_rook)) +
           value[3] * popcnt(pos.pieces(wqueen + c).value() & (loose | by_queen));
}

void Mobility::compute(const ChessPosition &pos, float *var) {
    const u64 occupied = pos.all_pieces().value();
    for (int colour = 0; colour < 2; ++colour) {
        const int c = colour ? 0 : 8;
        const u64 king = pos.pieces(wking + c).value();
        const u64 pawns = pos.pieces(wpawn + c).value();
        m_att[colour][wpawn] = colour ? pawn_attacks<1>(pawns) : pawn_attacks<0>(pawns);
        m_att[colour][wking] = king ? m_attacks.king(BitBoard::first_square(king)).value() : 0;
        m_zone[colour] = m_att[colour][wking] | king;
    }
    piece_attacks<1>(pos, occupied);
    piece_attacks<0>(pos, occupied);
    danger<1>(pos, occupied);
    danger<0>(pos, occupied);

    // Raw counts: the evaluation applies each variable's scale. mobility: all safe squares of knights,
    // bishops, rooks and queens with the outposts and open files; the kinds: their table values.
    var[v_mobility] = static_cast<float>(m_squares[1] - m_squares[0]);
    var[v_knight_mobility] = static_cast<float>(m_kind_mobility[1][wknight] - m_kind_mobility[0][wknight]);
    var[v_bishop_mobility] = static_cast<float>(m_kind_mobility[1][wbishop] - m_kind_mobility[0][wbishop]);
    var[v_rook_mobility] = static_cast<float>(m_kind_mobility[1][wrook] - m_kind_mobility[0][wrook]);
    var[v_queen_mobility] = static_cast<float>(m_kind_mobility[1][wqueen] - m_kind_mobility[0][wqueen]);
    // safe_queencheck: safe checking squares, up to a cap.
    const int cap = measures().queen_checks_cap;
    const int qw = m_safe_queen_checks[1], qb = m_safe_queen_checks[0];
    var[v_safe_queencheck] = static_cast<float>((qw < cap ? qw : cap) - (qb < cap ? qb : cap));
    // locked_up_rook: rooks shut in by their own king.
    var[v_locked_up_rook] = static_cast<float>(m_locked[0] - m_locked[1]);
    // undefended_pieces: unguarded pieces.
    var[v_undefended_pieces] = static_cast<float>(undefended<0>(pos) - undefended<1>(pos));
    // own_hanging_material: pawn units en prise.
    var[v_own_hanging_material] = static_cast<float>(hanging<0>(pos) - hanging<1>(pos));
}
