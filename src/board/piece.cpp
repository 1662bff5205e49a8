#include "board/piece.h"

#include <iostream>
#include <stdexcept>

int Piece::value() const {
    static const int values[15] = {0, 100,  300,  300,  500,  900,  4000, 0,
                                   0, -100, -300, -300, -500, -900, -4000};
    if (m_id < 0 || m_id > 14 || m_id == 7 || m_id == 8) {
        std::cout << "Piece: " << m_id << "\n";
        throw std::logic_error("Piece::value out of range");
    }
    return values[m_id];
}

int Piece::abs_value() const {
    const int k = m_id & 7;
    if (k == 7) throw std::logic_error("Piece::abs_value out of range:");
    return kind_value[k];
}

std::string Piece::name() const {
    static const char *names[15] = {"no piece",   "white pawn",  "white knight", "white bishop",
                                    "white rook", "white queen", "white king",   nullptr,
                                    nullptr,      "black pawn",  "black knight", "black bishop",
                                    "black rook", "black queen", "black king"};
    if (m_id < 0 || m_id > 14 || !names[m_id]) throw std::logic_error("Piece::unknown piece");
    return names[m_id];
}
