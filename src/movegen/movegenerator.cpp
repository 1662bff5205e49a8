#include "movegen/movegenerator.h"

namespace {
inline Square pop(std::uint64_t &b) { return BitBoard::get_reset_square(b); }
} // namespace

MoveGenerator::MoveGenerator(const BoardTables &tables)
    : m_tables(tables), m_count(0), m_in_check(false), m_occupied(0), m_pinned(0), m_discovering(0), m_own(0),
      m_enemy(0), m_own_king(0), m_enemy_king(0), m_check_squares{}, m_own_rq(0), m_own_bq(0),
      m_blocked_attackers(0) {}

MoveGenerator::MoveGenerator(const MoveGenerator &o) : MoveGenerator(o.m_tables) {}

void MoveGenerator::create_movetable(const ChessPosition &pos, MoveTable &table) {
    m_occupied = pos.all_pieces().value();
    if (pos.white_to_move())
        generate_movetable<1>(pos, table);
    else
        generate_movetable<0>(pos, table);
}

template <int colour> void MoveGenerator::generate_movetable(const ChessPosition &pos, MoveTable &table) {
    const Attacks &a = m_tables.attacks();
    const int c = colour ? 0 : 8;
    const std::uint64_t occ = pos.all_pieces().value();
    const std::uint64_t empty = ~occ;
    const std::uint64_t enemy = (colour ? pos.black_pieces() : pos.white_pieces()).value();
    for (std::uint64_t b = pos.pieces(wpawn + c).value(); b;) {
        const Square s = pop(b);
        const std::uint64_t sb = 1ULL << s.id();
        std::uint64_t t;
        if (colour) {
            const std::uint64_t one = (sb << 8) & empty;
            t = pawn_attacks<1>(sb) & enemy;
            t |= one | (((one & rank3.value()) << 8) & empty);
        } else {
            const std::uint64_t one = (sb >> 8) & empty;
            t = pawn_attacks<0>(sb) & enemy;
            t |= one | (((one & rank6.value()) >> 8) & empty);
        }
        table[s.id()] = t;
    }
    for (std::uint64_t b = pos.pieces(wknight + c).value(); b;) {
        const Square s = pop(b);
        table[s.id()] = a.knight(s).value();
    }
    for (std::uint64_t b = pos.pieces(wbishop + c).value(); b;) {
        const Square s = pop(b);
        table[s.id()] = a.bishop(s, occ).value();
    }
    for (std::uint64_t b = pos.pieces(wrook + c).value(); b;) {
        const Square s = pop(b);
        table[s.id()] = a.rook(s, occ).value();
    }
    for (std::uint64_t b = pos.pieces(wqueen + c).value(); b;) {
        const Square s = pop(b);
        table[s.id()] = a.queen(s, occ).value();
    }
    for (std::uint64_t b = pos.pieces(wking + c).value(); b;) {
        const Square s = pop(b);
        table[s.id()] = a.king(s).value();
    }
}

void MoveGenerator::generate_moves(const ChessPosition &pos, MoveList &list) {
    MoveTable table;
    create_movetable(pos, table);
    serialize_moves(pos, table, list);
}

void MoveGenerator::serialize_moves(const ChessPosition &pos, const MoveTable &table, MoveList &list) {
    m_count = 0;
    if (pos.white_to_move()) {
        fill_caches<1, true>(pos);
        generate_captures<1>(pos, table, list);
        generate_quiet_moves<1>(pos, table, list);
    } else {
        fill_caches<0, true>(pos);
        generate_captures<0>(pos, table, list);
        generate_quiet_moves<0>(pos, table, list);
    }
    list.set_size(m_count);
}

void MoveGenerator::serialize_captures(const ChessPosition &pos, const MoveTable &table, MoveList &list) {
    m_count = 0;
    if (pos.white_to_move()) {
        fill_caches<1, true>(pos);
        generate_captures<1>(pos, table, list);
    } else {
        fill_caches<0, true>(pos);
        generate_captures<0>(pos, table, list);
    }
    list.set_size(m_count);
}

void MoveGenerator::serialize_quiet_moves(const ChessPosition &pos, const MoveTable &table, MoveList &list) {
    m_count = list.size();
    if (pos.white_to_move()) {
        fill_caches<1, true>(pos);
        generate_quiet_moves<1>(pos, table, list);
    } else {
        fill_caches<0, true>(pos);
        generate_quiet_moves<0>(pos, table, list);
    }
    list.set_size(m_count);
}

template <int colour, bool checks> void MoveGenerator::fill_caches(const ChessPosition &pos) {
    const Attacks &a = m_tables.attacks();
    const int c = colour ? 0 : 8;
    m_in_check = pos.check();
    m_occupied = pos.all_pieces().value();
    m_own = (colour ? pos.white_pieces() : pos.black_pieces()).value();
    m_enemy = (colour ? pos.black_pieces() : pos.white_pieces()).value();
    m_pinned = pos.pinned_pieces().value() & m_own;
    m_discovering = pos.discovering_pieces().value() & m_own;
    m_own_king = pos.pieces(wking + c).value();
    m_enemy_king = pos.pieces(bking - c).value();
    const Square ek = BitBoard(m_enemy_king).get_first_square();
    m_enemy_king_square = ek;
    m_own_king_square = BitBoard(m_own_king).get_first_square();
    m_own_rq = (pos.pieces(wrook + c) | pos.pieces(wqueen + c)).value();
    m_own_bq = (pos.pieces(wbishop + c) | pos.pieces(wqueen + c)).value();
    m_blocked_attackers = m_own_king ? pos.blocked_attackers<1 - colour>(m_own_king_square).value() : 0;
    if (!checks) return;
    const BitBoard occ(m_occupied);
    for (std::uint64_t &squares : m_check_squares)
        squares = 0;
    if (m_enemy_king) {
        m_check_squares[wpawn] = pawn_attack_origins<colour>(m_enemy_king);
        m_check_squares[wknight] = a.knight(ek).value();
        m_check_squares[wbishop] = a.bishop(ek, occ).value();
        m_check_squares[wrook] = a.rook(ek, occ).value();
        m_check_squares[wqueen] = m_check_squares[wbishop] | m_check_squares[wrook];
    }
}

std::uint64_t MoveGenerator::restricted_targets(std::uint64_t from) const {
    // A line to the king that nothing but this piece blocks (or nothing at all, in check) must stay closed:
    // the piece may only go onto it, including the attacker's square.
    const Connections &cn = m_tables.connections();
    std::uint64_t targets = ~0ULL;
    for (std::uint64_t att = m_blocked_attackers; att;) {
        const Square s = pop(att);
        if (!(cn.line_segment(m_own_king_square, s).value() & m_occupied & ~from))
            targets &= cn.closed_line_segment(m_own_king_square, s).value();
    }
    return targets;
}

template <int colour>
void MoveGenerator::append_moves(const ChessPosition &pos, MoveList &list, int piece, int from,
                                 std::uint64_t targets) {
    const std::uint64_t fb = 1ULL << from;
    const int kind = piece & 7;
    if ((m_discovering & fb) && (kind == wpawn || kind == wking)) {
        // Whether a pawn or king uncovers the line depends on where it goes: tested move by move.
        for (; targets; targets &= targets - 1) {
            const Square to = BitBoard::first_square(targets);
            Move m(Square(from), to, normal_move, Piece(piece), Piece(pos.get_piece_id_from(to)));
            set_checkstatus<colour>(pos, m);
            append(list, m);
        }
        return;
    }
    // A knight, bishop, rook or queen that shields a line to the enemy king checks wherever it goes.
    const std::uint64_t checks = (m_discovering & fb) ? ~0ULL : m_check_squares[kind];
    const std::uint32_t base = static_cast<std::uint32_t>(from) << 6 | normal_move << 12 |
                               static_cast<std::uint32_t>(piece) << 20 | xnormal_move << 24;
    for (; targets; targets &= targets - 1) {
        const int to = BitBoard::first_square(targets).id();
        list[m_count++] = Move(base | static_cast<std::uint32_t>(to) |
                               static_cast<std::uint32_t>(pos.get_piece_id_from(Square(to))) << 16 |
                               static_cast<std::uint32_t>((checks >> to) & 1) << 15);
    }
}

namespace {
// Victim values of the capture order (Piece::abs_value by kind); kind 7 never stands on a board.
constexpr int victim_value[16] = {0, 100, 300, 300, 500, 900, 4000, 0, 0, 100, 300, 300, 500, 900, 4000, 0};

// Usable en-passant square for the side to move, or 64: a square read from a FEN is taken as written, so it
// is used only when the pawn to be taken is really there.
template <int colour> int usable_ep(const ChessPosition &pos) {
    const int ep = pos.ep().id();
    const int c = colour ? 0 : 8;
    if (ep != 64 && (pos.get_piece_id_from(Square(colour ? ep - 8 : ep + 8)) != bpawn - c ||
                     pos.get_piece_id_from(Square(ep)) != 0))
        return 64;
    return ep;
}

// The pawn on from can take en passant on ep.
template <int colour> bool ep_reaches(int from, int ep) {
    const int d = ep - from;
    const int fd = (from & 7) - (ep & 7);
    return (colour ? (d == 7 || d == 9) : (d == -7 || d == -9)) && fd < 2 && fd > -2;
}
} // namespace

template <int colour>
void MoveGenerator::generate_captures(const ChessPosition &pos, const MoveTable &table, MoveList &list) {
    const int c = colour ? 0 : 8;
    const int first = m_count;
    const std::uint64_t promo_rank = colour ? rank8.value() : rank1.value();
    const int ep = usable_ep<colour>(pos);

    // Most pieces capture nothing: their legality is worked out only when they do.
    for (std::uint64_t b = pos.pieces(wpawn + c).value(); b; b &= b - 1) {
        const Square from = BitBoard::first_square(b);
        std::uint64_t t = table[from.id()] & (m_enemy | promo_rank);
        if (t) {
            t &= legal_targets(b & (0 - b));
            append_moves<colour>(pos, list, wpawn + c, from.id(), t & ~promo_rank);
        }
        if (ep != 64 && ep_reaches<colour>(from.id(), ep)) {
            Move m(from, Square(ep), en_passant, Piece(wpawn + c), Piece(bpawn - c));
            if (is_legal_pawnmove(pos, m)) {
                set_checkstatus<colour>(pos, m);
                append(list, m);
            }
        }
        for (std::uint64_t promos = t & promo_rank & ~m_enemy_king; promos;) {
            const Square to = pop(promos);
            const Piece victim(pos.get_piece_id_from(to));
            for (unsigned code = promo_queen; code <= promo_knight; ++code) {
                Move m(from, to, code, Piece(wpawn + c), victim);
                set_checkstatus<colour>(pos, m);
                append(list, m);
            }
        }
    }
    for (int kind = wknight; kind <= wqueen; ++kind)
        for (std::uint64_t b = pos.pieces(kind + c).value(); b; b &= b - 1) {
            const int from = BitBoard::first_square(b).id();
            if (const std::uint64_t caps = table[from] & m_enemy)
                append_moves<colour>(pos, list, kind + c, from, caps & legal_targets(b & (0 - b)));
        }
    for (std::uint64_t b = m_own_king; b;) {
        const Square from = pop(b);
        for (std::uint64_t caps = table[from.id()] & m_enemy; caps;) {
            const Square to = pop(caps);
            Move m(from, to, normal_move, Piece(wking + c), Piece(pos.get_piece_id_from(to)));
            if (!is_legal_kingmove<colour>(pos, m)) continue;
            set_checkstatus<colour>(pos, m);
            append(list, m);
        }
    }
    // Stable insertion sort by victim value, most valuable first; straight promotions (no victim) go last.
    for (int i = first + 1; i < m_count; ++i) {
        const Move m = list[i];
        const int v = victim_value[m.capture_id()];
        int j = i;
        while (j > first && victim_value[list[j - 1].capture_id()] < v) {
            list[j] = list[j - 1];
            --j;
        }
        list[j] = m;
    }
}

template <int colour>
void MoveGenerator::generate_quiet_moves(const ChessPosition &pos, const MoveTable &table, MoveList &list) {
    const int c = colour ? 0 : 8;
    const std::uint64_t empty = ~m_occupied;
    static constexpr int order[4] = {wqueen, wrook, wknight, wbishop};
    for (int kind : order)
        for (std::uint64_t b = pos.pieces(kind + c).value(); b; b &= b - 1) {
            const int from = BitBoard::first_square(b).id();
            if (const std::uint64_t t = table[from] & empty)
                append_moves<colour>(pos, list, kind + c, from, t & legal_targets(b & (0 - b)));
        }
    const std::uint64_t promo_rank = colour ? rank8.value() : rank1.value();
    for (std::uint64_t b = pos.pieces(wpawn + c).value(); b; b &= b - 1) {
        const int from = BitBoard::first_square(b).id();
        if (const std::uint64_t t = table[from] & empty & ~promo_rank)
            append_moves<colour>(pos, list, wpawn + c, from, t & legal_targets(b & (0 - b)));
    }
    for (std::uint64_t b = m_own_king; b;) {
        const Square from = pop(b);
        for (std::uint64_t t = table[from.id()] & empty; t;) {
            Move m(from, pop(t), normal_move, Piece(wking + c), Piece());
            if (!is_legal_kingmove<colour>(pos, m)) continue;
            set_checkstatus<colour>(pos, m);
            append(list, m);
        }
    }
    generate_castling<colour>(pos, list);
}

int MoveGenerator::count_moves(const ChessPosition &pos) {
    return pos.white_to_move() ? count<1>(pos) : count<0>(pos);
}

namespace {
// Sums the members of many sets: each set's bits are counted per byte side by side, the byte counts are
// added up, and one multiplication adds the bytes at the end. Every byte stays below 256 because the sets
// counted are targets of distinct legal moves, at most 218 of them.
class MemberCount {
  public:
    void add(std::uint64_t b) {
        b = b - ((b >> 1) & 0x5555555555555555ULL);
        b = (b & 0x3333333333333333ULL) + ((b >> 2) & 0x3333333333333333ULL);
        m_bytes += (b + (b >> 4)) & 0x0F0F0F0F0F0F0F0FULL;
    }
    int total() const { return static_cast<int>((m_bytes * 0x0101010101010101ULL) >> 56); }

  private:
    std::uint64_t m_bytes = 0;
};
} // namespace

template <int colour> int MoveGenerator::count(const ChessPosition &pos) {
    fill_caches<colour, false>(pos);
    const Attacks &a = m_tables.attacks();
    const int c = colour ? 0 : 8;
    const std::uint64_t empty = ~m_occupied, promo_rank = colour ? rank8.value() : rank1.value();
    const BitBoard occ(m_occupied);
    MemberCount moves, promotions;

    // Pawns that may move freely are counted all at once, the others one by one.
    const std::uint64_t pawns = pos.pieces(wpawn + c).value();
    const std::uint64_t free_pawns = m_in_check ? 0 : pawns & ~m_pinned;
    const std::uint64_t one = (colour ? free_pawns << 8 : free_pawns >> 8) & empty;
    const std::uint64_t two = (colour ? (one & rank3.value()) << 8 : (one & rank6.value()) >> 8) & empty;
    const std::uint64_t left = pawn_captures_west<colour>(free_pawns) & m_enemy;
    const std::uint64_t right = pawn_captures_east<colour>(free_pawns) & m_enemy;
    moves.add(one & ~promo_rank);
    moves.add(two);
    moves.add(left & ~promo_rank);
    moves.add(right & ~promo_rank);
    promotions.add(one & promo_rank);
    promotions.add(left & promo_rank & ~m_enemy_king);
    promotions.add(right & promo_rank & ~m_enemy_king);
    for (std::uint64_t b = pawns & ~free_pawns; b; b &= b - 1) {
        const std::uint64_t fb = b & (0 - b);
        const std::uint64_t push = (colour ? fb << 8 : fb >> 8) & empty;
        const std::uint64_t t =
            (pawn_attacks<colour>(fb) & m_enemy) | push |
            ((colour ? (push & rank3.value()) << 8 : (push & rank6.value()) >> 8) & empty);
        const std::uint64_t legal = t & restricted_targets(fb);
        moves.add(legal & ~promo_rank);
        promotions.add(legal & promo_rank & ~m_enemy_king);
    }
    int n = 0;
    const int ep = usable_ep<colour>(pos);
    if (ep != 64)
        for (std::uint64_t b = pawns; b; b &= b - 1) {
            const Square from = BitBoard::first_square(b);
            if (ep_reaches<colour>(from.id(), ep) &&
                is_legal_pawnmove(pos,
                                  Move(from, Square(ep), en_passant, Piece(wpawn + c), Piece(bpawn - c))))
                ++n;
        }

    const std::uint64_t targets = ~m_own;
    for (std::uint64_t b = pos.pieces(wknight + c).value(); b; b &= b - 1)
        moves.add(a.knight(BitBoard::first_square(b)).value() & targets & legal_targets(b & (0 - b)));
    for (std::uint64_t b = (pos.pieces(wbishop + c) | pos.pieces(wqueen + c)).value(); b; b &= b - 1)
        moves.add(a.bishop(BitBoard::first_square(b), occ).value() & targets & legal_targets(b & (0 - b)));
    for (std::uint64_t b = (pos.pieces(wrook + c) | pos.pieces(wqueen + c)).value(); b; b &= b - 1)
        moves.add(a.rook(BitBoard::first_square(b), occ).value() & targets & legal_targets(b & (0 - b)));

    if (m_own_king) {
        const BitBoard without_king(m_occupied & ~m_own_king);
        for (std::uint64_t t = a.king(m_own_king_square).value() & targets; t; t &= t - 1)
            if (!pos.attackers<1 - colour>(BitBoard(t & (0 - t)), without_king)) ++n;
        n += bit_count(castling_rooks<colour>(pos));
    }
    return n + moves.total() + 4 * promotions.total();
}

template <int colour> std::uint64_t MoveGenerator::castling_rooks(const ChessPosition &pos) const {
    const unsigned rights = colour ? (pos.castlingrights() & 0xFF) : (pos.castlingrights() >> 8);
    if (!rights || !m_own_king || m_in_check) return 0;
    const int c = colour ? 0 : 8;
    const int base = colour ? 0 : 56;
    const Square king = m_own_king_square;
    if ((king.id() & 56) != base) return 0;
    const Attacks &a = m_tables.attacks();
    const Connections &cn = m_tables.connections();
    std::uint64_t rooks = 0;
    for (unsigned r = rights; r; r &= r - 1) {
        const Square rook(base + BitBoard::first_square(r).id());
        // Whatever stands between king and rook blocks one of the two paths: the usual case, decided first.
        if (pos.get_piece_id_from(rook) != wrook + c || (cn.line_segment(king, rook).value() & m_occupied))
            continue;
        const Square kdest(BoardPosition::castle_king_to(king.id(), rook.id()));
        const Square rdest(BoardPosition::castle_rook_to(king.id(), rook.id()));
        const std::uint64_t others = m_occupied & ~(m_own_king | (1ULL << rook.id()));
        const std::uint64_t kpath = cn.closed_line_segment(king, kdest).value();
        if ((kpath | cn.closed_line_segment(rook, rdest).value()) & others) continue;
        bool attacked = false;
        for (std::uint64_t p = kpath; p && !attacked; p &= p - 1)
            attacked = static_cast<bool>(pos.attackers<1 - colour>(BitBoard(p & (0 - p)), pos.all_pieces()));
        if (attacked) continue;
        // The castling rook itself may have shielded the king's destination along the back rank.
        if (a.rook(kdest, BitBoard(others)).value() &
            (pos.pieces(brook - c) | pos.pieces(bqueen - c)).value())
            continue;
        rooks |= 1ULL << rook.id();
    }
    return rooks;
}

template <int colour> void MoveGenerator::generate_castling(const ChessPosition &pos, MoveList &list) {
    for (std::uint64_t r = castling_rooks<colour>(pos); r; r &= r - 1) {
        Move m(m_own_king_square, BitBoard::first_square(r), castling, Piece(wking + (colour ? 0 : 8)),
               Piece());
        set_checkstatus<colour>(pos, m);
        append(list, m);
    }
}

template <int colour> void MoveGenerator::set_checkstatus(const ChessPosition &, Move &m) const {
    m.xcode(xnormal_move);
    m.check(false);
    if (!m_enemy_king) return;
    const Attacks &a = m_tables.attacks();
    const std::uint64_t own_rq = m_own_rq, own_bq = m_own_bq;
    const Square ek = m_enemy_king_square;
    const int from = m.from_id(), to = m.to_id();
    const std::uint64_t fb = 1ULL << from, tb = 1ULL << to;
    const int kind = m.piece_id() & 7;
    bool check = false;
    switch (m.code()) {
    case normal_move:
        if (m_discovering & fb) {
            if (kind >= 2 && kind <= 5) {
                check = true;
            } else {
                const BitBoard occ((m_occupied & ~fb) | tb);
                check = ((a.rook(ek, occ).value() & own_rq & ~fb) |
                         (a.bishop(ek, occ).value() & own_bq & ~fb)) != 0;
            }
        }
        if (!check) check = (m_check_squares[kind] & tb) != 0;
        break;
    case promo_queen:
    case promo_rook:
    case promo_bishop:
    case promo_knight: {
        const BitBoard occ((m_occupied & ~fb) | tb);
        const std::uint64_t rl = a.rook(ek, occ).value(), bl = a.bishop(ek, occ).value();
        const move_t code = m.code();
        check = ((code == promo_queen || code == promo_rook) && (rl & tb)) ||
                ((code == promo_queen || code == promo_bishop) && (bl & tb)) ||
                (code == promo_knight && (m_check_squares[wknight] & tb)) || (rl & own_rq & ~fb) ||
                (bl & own_bq & ~fb);
        break;
    }
    case castling: {
        const int rdest = BoardPosition::castle_rook_to(from, to);
        check = (a.rook(ek, BitBoard(m_occupied & ~fb)).value() >> rdest) & 1;
        break;
    }
    case en_passant: {
        const std::uint64_t victim = colour ? tb >> 8 : tb << 8;
        const BitBoard occ((m_occupied & ~fb & ~victim) | tb);
        check = (m_check_squares[wpawn] & tb) || (a.rook(ek, occ).value() & own_rq) ||
                (a.bishop(ek, occ).value() & own_bq);
        break;
    }
    default:
        break;
    }
    m.check(check);
}

bool MoveGenerator::is_legal(const ChessPosition &pos, const Move &m) const {
    if (!m_own_king) return true;
    const Connections &cn = m_tables.connections();
    const Square king = BitBoard(m_own_king).get_first_square();
    const std::uint64_t fb = 1ULL << m.from_id(), tb = 1ULL << m.to_id();
    if (pos.check()) {
        // Every piece bearing on the king must be blocked by another piece, captured or blocked by the move.
        for (std::uint64_t att = m_blocked_attackers; att;) {
            const Square s = pop(att);
            if (!(cn.line_segment(king, s).value() & m_occupied & ~fb) &&
                !(cn.closed_line_segment(king, s).value() & tb))
                return false;
        }
        return true;
    }
    if (!(m_pinned & fb)) return true;
    for (std::uint64_t att = m_blocked_attackers; att;) {
        const Square s = pop(att);
        const std::uint64_t seg = cn.line_segment(king, s).value();
        if ((seg & m_occupied) == fb && !(cn.closed_line_segment(king, s).value() & tb)) return false;
    }
    return true;
}

bool MoveGenerator::is_legal_pawnmove(const ChessPosition &pos, const Move &m) const {
    if (m.code() != en_passant) return is_legal(pos, m);
    if (!m_own_king) return true;
    // En passant vacates two squares at once: test every line to the king on the resulting board.
    const Connections &cn = m_tables.connections();
    const Square king = BitBoard(m_own_king).get_first_square();
    const std::uint64_t fb = 1ULL << m.from_id(), tb = 1ULL << m.to_id();
    const std::uint64_t victim = pos.white_to_move() ? tb >> 8 : tb << 8;
    const std::uint64_t occ = (m_occupied & ~fb & ~victim) | tb;
    for (std::uint64_t att = m_blocked_attackers & ~victim; att;) {
        const Square s = pop(att);
        if (!(cn.line_segment(king, s).value() & occ)) return false;
    }
    return true;
}

template <int colour> bool MoveGenerator::is_legal_kingmove(const ChessPosition &pos, const Move &m) const {
    // Attacks on the destination are seen through the king's origin, so retreating along a line is caught.
    const BitBoard occ(m_occupied & ~m_own_king);
    return !pos.attackers<1 - colour>(Square::bb[m.to_id()], occ);
}

Move MoveGenerator::legal_move(const ChessPosition &pos, const MoveTable &table, const Move &m) {
    return pos.white_to_move() ? find_legal<1>(pos, table, m) : find_legal<0>(pos, table, m);
}

template <int colour>
Move MoveGenerator::find_legal(const ChessPosition &pos, const MoveTable &table, const Move &m) {
    // The same tests as the serialisation's, for one move: the piece is the side's own and stands there, the
    // target is in its table entry and holds neither an own piece nor the king, and the move keeps the own
    // king safe; the special moves as the generator finds them.
    const int piece = m.piece_id(), from = m.from_id(), to = m.to_id();
    if (!m.word() || piece == 0 || (piece & 8) != (colour ? 0 : 8) ||
        pos.get_piece_id_from(Square(from)) != piece)
        return Move();
    fill_caches<colour, true>(pos);
    const std::uint64_t fb = 1ULL << from, tb = 1ULL << to;
    const int kind = piece & 7;
    switch (m.code()) {
    case normal_move:
    case promo_queen:
    case promo_rook:
    case promo_bishop:
    case promo_knight: {
        if (!(table[from] & tb) || (tb & (m_own | m_enemy_king)) ||
            m.capture_id() != pos.get_piece_id_from(Square(to)))
            return Move();
        const bool promotes = kind == wpawn && (tb & (colour ? rank8 : rank1).value());
        if (promotes != (m.code() != normal_move)) return Move();
        if (kind == wking ? !is_legal_kingmove<colour>(pos, m) : !(legal_targets(fb) & tb)) return Move();
        break;
    }
    case en_passant:
        if (kind != wpawn || usable_ep<colour>(pos) != to || !ep_reaches<colour>(from, to) ||
            !is_legal_pawnmove(pos, m))
            return Move();
        break;
    case castling:
        if (kind != wking || !(castling_rooks<colour>(pos) & tb)) return Move();
        break;
    default:
        return Move();
    }
    Move legal(Square(from), Square(to), m.code(), Piece(piece), Piece(m.capture_id()));
    set_checkstatus<colour>(pos, legal);
    return legal;
}

template void MoveGenerator::set_checkstatus<0>(const ChessPosition &, Move &) const;
template void MoveGenerator::set_checkstatus<1>(const ChessPosition &, Move &) const;
template bool MoveGenerator::is_legal_kingmove<0>(const ChessPosition &, const Move &) const;
template bool MoveGenerator::is_legal_kingmove<1>(const ChessPosition &, const Move &) const;
