#include "board/move.h"

#include <algorithm>

std::string Move::algebraic(bool chess960) const {
    if (m_word == 0) return "0000";
    std::string s = Square(from_id()).name() + Square(to_id()).name();
    if (is_promotion()) s += "qrbn"[code() - promo_queen];
    if (code() == castling && !chess960) {
        if (s == "e1h1") return "e1g1";
        if (s == "e1a1") return "e1c1";
        if (s == "e8h8") return "e8g8";
        if (s == "e8a8") return "e8c8";
    }
    return s;
}

std::string Move::dump() const {
    static const char *codes[8] = {"nullmove  ",     "normal_move  ",  "promo_queen  ", "promo_rook  ",
                                   "promo_bishop  ", "promo_knight  ", "castling  ",    "en_passant  "};
    static const char *xcodes[13] = {
        "hashtable_move", "mate_attack",      "promotion",        "good_capture",     "killer",
        "counter_move",   "historical_move1", "historical_move2", "historical_move3", "xnormal_move",
        "bad move",       "losing_capture",   "no_xmove_t"};
    const unsigned x = xcode();
    return "from:" + from().name() + "  to:" + to().name() + "  code:" + codes[code()] +
           "piece:" + Piece(piece_id()).name() + "  capture:" + Piece(capture_id()).name() +
           "  check:" + (check() ? "true" : "false") + "   xcode:" + (x <= 12 ? xcodes[x] : "no_xmove_t");
}

MoveList::MoveList() : m_size(0), m_moves(new Move[capacity]()), m_owned(true) {}

MoveList::MoveList(const MoveList &o) : m_size(o.m_size), m_moves(new Move[capacity]()), m_owned(true) {
    std::copy(o.begin(), o.end(), m_moves);
}

MoveList &MoveList::operator=(const MoveList &o) {
    if (this != &o) {
        m_size = o.m_size;
        std::copy(o.begin(), o.end(), m_moves);
    }
    return *this;
}

MoveList::~MoveList() {
    if (m_owned) delete[] m_moves;
}
