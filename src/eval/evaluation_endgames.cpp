// Evaluators of a few well-known endings that replace the linear score; all answer from white's side.
#include <cstdlib>

#include "eval/evalbits.h"
#include "eval/evaluation.h"

using namespace evalbits;

namespace {

constexpr int a8 = 56;

inline bool in(const BitBoard &set, int square) { return (set.value() >> square) & 1; }
inline int vflip(int s) { return s ^ 56; }
inline int hflop(int s) { return (s & 56) + 7 - (s & 7); }

// Bonus for a weak king driven to the edge: border, one ring inside, two rings inside, elsewhere.
inline int edge_bonus(int weak_king, int border_value, int ring1, int ring2, int inside) {
    if (in(border, weak_king)) return border_value;
    if (in(border_minus1, weak_king)) return ring1;
    if (in(border_minus2, weak_king)) return ring2;
    return inside;
}

} // namespace

bool Evaluation::special_endgame(std::uint64_t index, int &score) const {
    switch (index) {
    case 0x2000000000ULL:
    case 0x20ULL:
        score = KNNK();
        return true;
    case 0x11000000000ULL:
    case 0x110ULL:
        score = KBNK();
        return true;
    case 0x10100000000ULL:
    case 0x101ULL:
        score = KBPK();
        return true;
    case 0x100000000ULL:
    case 0x1ULL:
        score = KPK();
        return true;
    case 0x100000000000ULL:
    case 0x1000ULL:
        score = KRK();
        return true;
    case 0x20000000000ULL:
    case 0x200ULL:
        score = KBBK();
        return true;
    case 0x1000000000000ULL:
    case 0x10000ULL:
        score = KQK();
        return true;
    case 0x1000000001000ULL:
    case 0x100000010000ULL:
        score = KQKR();
        return true;
    case 0x100100001000ULL:
    case 0x100000001001ULL:
        score = KRPKR();
        return true;
    default:
        return false;
    }
}

// Also KRK: drive the bare king to the edge and bring the kings together.
int Evaluation::KQK() const {
    const bool white_strong = (m_position.materialindex().index() >> 32) != 0;
    const int wk = m_position.white_kingsfield().id(), bk = m_position.black_kingsfield().id();
    const int strong = white_strong ? wk : bk, weak = white_strong ? bk : wk;
    const int v = static_cast<int>(std::abs(m_last_score)) + edge_bonus(weak, 1000, 900, 800, 0) -
                  10 * m_distance(Square(strong), Square(weak));
    return white_strong ? v : -v;
}

// Two knights cannot force mate; only prefer the bare king in a corner.
int Evaluation::KNNK() const {
    if (m_position.pieces(wknight)) return in(corner, m_position.black_kingsfield().id()) ? 100 : 0;
    return in(corner, m_position.white_kingsfield().id()) ? -100 : 0;
}

int Evaluation::KBBK() const {
    const bool white_strong = (m_position.materialindex().index() >> 32) != 0;
    const BitBoard bishops = m_position.pieces(white_strong ? wbishop : bbishop);
    if (!(bishops & white_squares) || !(bishops & black_squares)) return 0;
    const Square wk = m_position.white_kingsfield(), bk = m_position.black_kingsfield();
    const Square strong = white_strong ? wk : bk, weak = white_strong ? bk : wk;
    const int v = 1000 - 100 * m_distance(strong, bigcentre | c2f2b3g3b6g6c7f7) -
                  10 * m_distance(weak, corner) + 10 * m_distance(weak, centre);
    const int d = m_distance(weak, strong);
    return white_strong ? v - d : d - v;
}

// Mate in the corner of the bishop's colour.
int Evaluation::KBNK() const {
    const bool white_strong = static_cast<bool>(m_position.pieces(wknight));
    const Square wk = m_position.white_kingsfield(), bk = m_position.black_kingsfield();
    const Square strong = white_strong ? wk : bk, weak = white_strong ? bk : wk;
    const BitBoard bishop = m_position.pieces(white_strong ? wbishop : bbishop);
    const BitBoard target = (bishop & white_squares) ? white_corner : black_corner;
    const int v =
        edge_bonus(weak.id(), 660, 640, 620, 600) - 10 * m_distance(weak, target) - m_distance(weak, strong);
    return white_strong ? v : -v;
}

int Evaluation::KQKR() const {
    const bool white_strong = static_cast<bool>(m_position.pieces(wqueen));
    const Square wk = m_position.white_kingsfield(), bk = m_position.black_kingsfield();
    const Square strong = white_strong ? wk : bk, weak = white_strong ? bk : wk;
    const Square rook = m_position.pieces(white_strong ? brook : wrook).get_first_square();
    const int v =
        m_distance(weak, rook) + edge_bonus(weak.id(), 360, 340, 320, 300) - m_distance(weak, strong);
    return white_strong ? v : -v;
}

// The rook pawn with the bishop of the wrong colour is a draw when the defending king reaches the corner.
int Evaluation::KBPK() const {
    const bool white_strong = static_cast<bool>(m_position.pieces(wpawn));
    int pawn = m_position.pieces(white_strong ? wpawn : bpawn).get_first_square().id();
    int bishop = m_position.pieces(white_strong ? wbishop : bbishop).get_first_square().id();
    int weak = (white_strong ? m_position.black_kingsfield() : m_position.white_kingsfield()).id();
    if (!white_strong) {
        pawn = vflip(pawn);
        bishop = vflip(bishop);
        weak = vflip(weak);
    }
    if (in(kings_half, pawn)) {
        pawn = hflop(pawn);
        bishop = hflop(bishop);
        weak = hflop(weak);
    }
    if ((pawn & 7) == 0 && m_distance(Square(weak), Square(a8)) < 2 && in(black_squares, bishop)) return 0;
    return static_cast<int>(m_last_score);
}

int Evaluation::KPK() const {
    const bool white_strong = static_cast<bool>(m_position.pieces(wpawn));
    int pawn = m_position.pieces(white_strong ? wpawn : bpawn).get_first_square().id();
    int strong = (white_strong ? m_position.white_kingsfield() : m_position.black_kingsfield()).id();
    int weak = (white_strong ? m_position.black_kingsfield() : m_position.white_kingsfield()).id();
    if (!white_strong) {
        pawn = vflip(pawn);
        strong = vflip(strong);
        weak = vflip(weak);
    }
    if (in(kings_half, pawn)) {
        pawn = hflop(pawn);
        strong = hflop(strong);
        weak = hflop(weak);
    }
    const bool strong_to_move = m_position.white_to_move() == white_strong;
    const int sign = white_strong ? 1 : -1;
    const int r = (pawn >> 3) + 1;
    const int base = r <= 3 ? 300 : 100 * r;
    const int steps = r <= 3 ? 5 : 8 - r;
    auto dist = [this](int a, int b) { return m_distance(Square(a), Square(b)); };

    if ((pawn & 7) == 0) { // rook pawns: the corner draw is common
        const int d = dist(weak, a8);
        return sign * (d == 1 ? 0 : d);
    }
    const int dw = dist(weak, pawn);
    if (dw <= steps && !strong_to_move && dist(strong, pawn) > dw) return 0;
    if (r == 7) {
        if (weak == pawn + 7 || weak == pawn + 9) return 0;
    } else {
        if (weak == pawn + 8 || weak == pawn + 16) return 0;
        if (r < 5 && strong == pawn + 8 && weak == pawn + 24 && strong_to_move) return 0; // opposition
    }
    return sign * (base + dw);
}

int Evaluation::KRPKR() const {
    const bool white_strong = static_cast<bool>(m_position.pieces(wpawn));
    int pawn = m_position.pieces(white_strong ? wpawn : bpawn).get_first_square().id();
    int strong = (white_strong ? m_position.white_kingsfield() : m_position.black_kingsfield()).id();
    int weak = (white_strong ? m_position.black_kingsfield() : m_position.white_kingsfield()).id();
    if (!white_strong) {
        pawn = vflip(pawn);
        strong = vflip(strong);
        weak = vflip(weak);
    }
    const int rank = (pawn >> 3) + 1;
    // A pawn on its starting rank is treated like one that has already made its double step.
    const int steps = rank == 2 ? 5 : 8 - rank;
    const int target = rank == 2 ? pawn + 40 : 56 + (pawn & 7);
    int v = 100 * (m_distance(Square(weak), Square(target)) - steps) + 10 -
            10 * m_distance(Square(strong), Square(pawn));
    if (v < 1) v = 10;
    return white_strong ? v : -v;
}
